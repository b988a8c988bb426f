#include <gtest/gtest.h>
#include <vector>
#include "katest.h"

TEST(KaVersion, TheDllCarriesItsVersionResource)
{
    HMODULE dll = GetModuleHandleW(L"zelka130.dll");
    ASSERT_NE(nullptr, dll);
    wchar_t path[MAX_PATH];
    ASSERT_NE(0u, GetModuleFileNameW(dll, path, MAX_PATH));

    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path, &ignored);
    ASSERT_NE(0u, size);
    std::vector<BYTE> info(size);
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, size, info.data()));

    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT fixedSize = 0;
    ASSERT_TRUE(VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&fixed), &fixedSize));
    EXPECT_EQ(MAKELONG(30, 1), fixed->dwFileVersionMS);
    EXPECT_EQ(MAKELONG(23, 2), fixed->dwFileVersionLS);

    wchar_t* text = nullptr;
    UINT textLength = 0;
    ASSERT_TRUE(VerQueryValueW(info.data(), L"\\StringFileInfo\\040904B0\\FileVersion",
                               reinterpret_cast<void**>(&text), &textLength));
    EXPECT_EQ(CKaString(ZELKA_VERSION_TEXT), CKaString(text));
}
