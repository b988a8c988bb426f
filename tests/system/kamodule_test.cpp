#include <gtest/gtest.h>
#include "katest.h"
#include "katestres.h"

namespace {

const HRESULT kModNotFound = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
const wchar_t* const kMissingLibrary = L"zelka_no_such_module.dll";

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

TEST_F(KaModule, LoadedByPathItIsOwnedAndFreedAtTheLastRelease)
{
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    EXPECT_TRUE(module->getIsAttached());
    EXPECT_TRUE(module->getIsOwner());
    EXPECT_EQ(GetModuleHandleW(kTestResName), module->getHandle());
    CKaRef<CKaModule> second = module;
    module = nullptr;
    EXPECT_TRUE(IsTestResLoaded());
    second = nullptr;
    EXPECT_FALSE(IsTestResLoaded());
}

TEST_F(KaModule, ADetachedObjectHasNothingToAnswerOrFree)
{
    CKaRef<CKaModule> module = new CKaModule();
    EXPECT_FALSE(module->getIsAttached());
    EXPECT_FALSE(module->getIsOwner());
    EXPECT_EQ(nullptr, module->getHandle());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { module->getFilePath(); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { module->getFolderPath(); }));
    EXPECT_EQ(S_OK, ThrownCode([&] { module->Free(); }));
    module->DropOwnership();
    EXPECT_FALSE(module->getIsOwner());
    EXPECT_EQ(nullptr, module->Detach());
}

TEST_F(KaModule, AFailedLoadThrowsTheSystemErrorAndKeepsWhatWasHeld)
{
    EXPECT_EQ(kModNotFound, ThrownCode([] { CKaRef<CKaModule>(new CKaModule(kMissingLibrary)); }));

    CKaRef<CKaModule> module = new CKaModule();
    module->Load(TestResPath());
    const HINSTANCE held = module->getHandle();
    EXPECT_EQ(kModNotFound, ThrownCode([&] { module->Load(kMissingLibrary); }));
    EXPECT_EQ(held, module->getHandle());
    EXPECT_TRUE(module->getIsOwner());
    EXPECT_TRUE(IsTestResLoaded());
}

TEST_F(KaModule, LoadGivesBackWhatWasHeldByItsOwnerRule)
{
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    module->Load(L"shlwapi.dll");
    EXPECT_FALSE(IsTestResLoaded());
    EXPECT_EQ(GetModuleHandleW(L"shlwapi.dll"), module->getHandle());

    const HINSTANCE borrowed = LoadLibraryW(TestResPath());
    CKaRef<CKaModule> other = CKaModule::FromHandle(borrowed, false);
    other->Load(L"shlwapi.dll");
    EXPECT_EQ(borrowed, GetModuleHandleW(kTestResName));
}

TEST_F(KaModule, DetachHandsTheModuleOutWhileFreeGivesItBack)
{
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    const HINSTANCE handle = module->Detach();
    EXPECT_EQ(GetModuleHandleW(kTestResName), handle);
    EXPECT_FALSE(module->getIsAttached());
    EXPECT_FALSE(module->getIsOwner());
    module = nullptr;
    EXPECT_TRUE(IsTestResLoaded());
    FreeLibrary(handle);
    EXPECT_FALSE(IsTestResLoaded());

    module = new CKaModule(TestResPath());
    module->Free();
    EXPECT_FALSE(module->getIsAttached());
    EXPECT_FALSE(module->getIsOwner());
    EXPECT_FALSE(IsTestResLoaded());
}

TEST_F(KaModule, ABorrowedHandleIsNeverFreed)
{
    const HINSTANCE handle = LoadLibraryW(TestResPath());
    ASSERT_NE(nullptr, handle);
    CKaRef<CKaModule> module = CKaModule::FromHandle(handle, false);
    EXPECT_TRUE(module->getIsAttached());
    EXPECT_FALSE(module->getIsOwner());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { module->Free(); }));
    EXPECT_EQ(handle, module->getHandle());
    module->Discard();
    EXPECT_FALSE(module->getIsAttached());
    EXPECT_TRUE(IsTestResLoaded());

    CKaModule::FromHandle(handle, false); // released at once, merely forgotten
    EXPECT_TRUE(IsTestResLoaded());
}

TEST_F(KaModule, AnOwnedHandleIsFreedUnlessOwnershipIsDropped)
{
    CKaModule::FromHandle(LoadLibraryW(TestResPath()), true);
    EXPECT_FALSE(IsTestResLoaded());

    CKaRef<CKaModule> module = CKaModule::FromHandle(LoadLibraryW(TestResPath()), true);
    EXPECT_TRUE(module->getIsOwner());
    module->DropOwnership();
    EXPECT_FALSE(module->getIsOwner());
    EXPECT_TRUE(module->getIsAttached());
    module = nullptr;
    EXPECT_TRUE(IsTestResLoaded());
}

TEST_F(KaModule, FromHandleMakesANewObjectForEveryCall)
{
    EXPECT_TRUE(!CKaModule::FromHandle(nullptr, true));
    const HINSTANCE program = GetModuleHandleW(nullptr);
    CKaRef<CKaModule> first = CKaModule::FromHandle(program, false);
    CKaRef<CKaModule> second = CKaModule::FromHandle(program, false);
    EXPECT_NE(first.getPtr(), second.getPtr());
    EXPECT_EQ(program, second->getHandle());
}

TEST_F(KaModule, FileAndFolderPaths)
{
    CKaRef<CKaModule> module = new CKaModule(TestResPath());
    EXPECT_EQ(0, module->getFilePath().CompareNoCase(TestResPath()));
    EXPECT_EQ(0, module->getFolderPath().CompareNoCase(TestProgramFolder()));

    wchar_t program[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
    CKaRef<CKaModule> self = CKaModule::FromHandle(GetModuleHandleW(nullptr), false);
    EXPECT_EQ(CKaString(program, length), self->getFilePath());
    EXPECT_EQ(TestProgramFolder(), self->getFolderPath());
}

TEST_F(KaModule, AHandleThatIsNoModuleHasNoPath)
{
    int notAModule = 0;
    CKaRef<CKaModule> module = CKaModule::FromHandle(reinterpret_cast<HINSTANCE>(&notAModule),
                                                     false);
    EXPECT_EQ(kModNotFound, ThrownCode([&] { module->getFilePath(); }));
    EXPECT_EQ(kModNotFound, ThrownCode([&] { module->getFolderPath(); }));
}
