#include <gtest/gtest.h>
#include "katest.h"
#include "katestres.h"

namespace {

const HRESULT kModNotFound = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);

// Every test starts and ends with the test library unloaded, so that whether a module object
// freed it can be seen from the loader.
class KaModule : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_FALSE(IsTestResLoaded()); }
    void TearDown() override
    {
        while (HMODULE left = GetModuleHandleW(kTestResName)) FreeLibrary(left);
    }
};

} // namespace

TEST_F(KaModule, AFailedLoadKeepsWhatWasHeldWhichTheLastReleaseFrees)
{
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    EXPECT_EQ(kModNotFound, ThrownCode([&] { module->Load(L"zelka_no_such_module.dll"); }));
    EXPECT_TRUE(module->getIsOwner());
    EXPECT_EQ(GetModuleHandleW(kTestResName), module->getHandle());
    EXPECT_EQ(0, module->getFolderPath().CompareNoCase(TestProgramFolder()));
    CKaRef<CKaModule> second = module;
    module = nullptr;
    EXPECT_TRUE(IsTestResLoaded());
    second = nullptr;
    EXPECT_FALSE(IsTestResLoaded());
}

TEST_F(KaModule, DetachHandsTheModuleOutABorrowedOneIsNeverFreed)
{
    EXPECT_TRUE(!CKaModule::FromHandle(nullptr, true));
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    const HINSTANCE handle = module->Detach();
    module->DropOwnership();
    EXPECT_FALSE(module->getIsOwner() || module->getIsAttached());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { module->getFilePath(); }));
    module = CKaModule::FromHandle(handle, false);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { module->Free(); }));
    module->Discard();
    module = nullptr;
    EXPECT_TRUE(IsTestResLoaded());
    CKaModule::FromHandle(handle, true); // its owner frees it
    EXPECT_FALSE(IsTestResLoaded());
    module = CKaModule::FromHandle(LoadLibraryW(TestResPath()), true);
    module->DropOwnership();
    module = nullptr;
    EXPECT_TRUE(IsTestResLoaded());
}

// The first buffer holds 501 characters; texts that come near it take the grown buffers.
TEST_F(KaModule, StringResourcesAreLoadedWholeAndFormatted)
{
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    CKaString text(L"previous text");
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.LoadStringW(CKaRef<CKaModule>(), 4); }));
    EXPECT_EQ(L"previous text", text);
    EXPECT_FALSE(text.LoadStringW(module, KATESTRES_MISSING));
    EXPECT_TRUE(text.getIsEmpty());
    const struct
    {
        unsigned int id;
        const wchar_t* unit;
        unsigned long times;
    } cases[] = {{KATESTRES_TEXT_499, L"x", 499},
                 {KATESTRES_TEXT_501, L"y", 501},
                 {KATESTRES_TEXT_700, L"0123456789", 70},
                 {KATESTRES_TEXT_2500, L"abcdefghij", 250}};
    for (const auto& c : cases) {
        CKaString expected;
        for (unsigned long i = 0; i < c.times; ++i) expected.Append(c.unit);
        EXPECT_TRUE(text.LoadStringW(module, c.id)) << c.id;
        EXPECT_EQ(expected, text) << c.id;
    }
    EXPECT_EQ(L"Shelf holds 3 items", CKaString::Build(module, KATESTRES_POSITIONAL, 3, L"Shelf"));
    EXPECT_TRUE(text.FormatMessageW(module, KATESTRES_INSERTS, L"Pump", 0));
    EXPECT_EQ(L"Device Pump reported 0 errors", text);
    EXPECT_FALSE(text.FormatMessageW(module, KATESTRES_MISSING, L"a", 1));
    EXPECT_TRUE(text.getIsEmpty());
}
