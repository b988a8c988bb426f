#include <gtest/gtest.h>
#include <vector>
#include "katest.h"

TEST(KaVersion, TheDllCarriesItsVersionResource)
{
    wchar_t path[MAX_PATH];
    ASSERT_NE(0u, GetModuleFileNameW(GetModuleHandleW(L"zelka130.dll"), path, MAX_PATH));
    DWORD ignored = 0;
    std::vector<BYTE> info(GetFileVersionInfoSizeW(path, &ignored));
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(info.size()), info.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    wchar_t* text = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
    ASSERT_TRUE(VerQueryValueW(info.data(), L"\\StringFileInfo\\040904B0\\FileVersion",
                               reinterpret_cast<void**>(&text), &size));
    EXPECT_EQ(MAKELONG(30, 1), fixed->dwFileVersionMS);
    EXPECT_EQ(MAKELONG(23, 2), fixed->dwFileVersionLS);
    EXPECT_EQ(CKaString(L"1.30.2.23"), CKaString(text));
}
