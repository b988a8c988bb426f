#include <gtest/gtest.h>
#include "kacomtest.h"

namespace {

const auto* const g_comEnvironment =
    ::testing::AddGlobalTestEnvironment(new CKaComEnvironment);

// The entry points are kept out of the import library, as COM finds them: by name.
template <class F>
F EntryPoint(const char* name)
{
    return reinterpret_cast<F>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"zelka130.dll"), name)));
}

HRESULT CanUnloadNow()
{
    return EntryPoint<HRESULT(STDAPICALLTYPE*)()>("DllCanUnloadNow")();
}

HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out)
{
    return EntryPoint<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>("DllGetClassObject")(
        clsid, iid, out);
}

CKaComRef<IClassFactory> FactoryOf(REFCLSID clsid)
{
    CKaComRef<IClassFactory> factory;
    EXPECT_EQ(S_OK, GetClassObject(clsid, IID_IClassFactory,
                                   reinterpret_cast<void**>(factory.GetAddressOf())));
    return factory;
}

} // namespace

TEST(KaComServer, EveryEntryPointIsExportedByName)
{
    for (const char* name :
         {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"}) {
        EXPECT_NE(nullptr, EntryPoint<void (*)()>(name)) << name;
    }
}

TEST(KaComServer, ClassObjectsForTheLibraryClassesOnly)
{
    void* out = &out;
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, GetClassObject(IID_IZELKaError, IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, GetClassObject(CLSID_ZELKaError, IID_IClassFactory, nullptr));
    EXPECT_EQ(E_NOINTERFACE, GetClassObject(CLSID_ZELKaError, IID_IDispatch, &out));

    CKaComRef<IClassFactory> factory = FactoryOf(CLSID_ZELKaError);
    ASSERT_TRUE(factory);
    CKaComRef<IZELKaError> error;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IZELKaError,
                                            reinterpret_cast<void**>(error.GetAddressOf())));
    long code = -1;
    EXPECT_EQ(S_OK, error->get_Code(&code));
    EXPECT_EQ(S_OK, code);

    EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(error, IID_IUnknown, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, factory->CreateInstance(nullptr, IID_IUnknown, nullptr));
    EXPECT_EQ(E_NOINTERFACE, factory->CreateInstance(nullptr, IID_IStream, &out));
    EXPECT_EQ(nullptr, out);
}

TEST(KaComServer, CanUnloadOnlyWithoutLiveObjectsLocksOrFactories)
{
    ASSERT_EQ(S_OK, CanUnloadNow());
    {
        CKaRef<CKaError> error = CKaError::Build(E_FAIL);
        EXPECT_EQ(S_FALSE, CanUnloadNow()) << "an object made by library code";
    }
    EXPECT_EQ(S_OK, CanUnloadNow());

    CKaComRef<IClassFactory> factory = FactoryOf(CLSID_ZELKaError);
    EXPECT_EQ(S_FALSE, CanUnloadNow()) << "a held class factory";
    CKaComRef<IUnknown> object;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IUnknown,
                                            reinterpret_cast<void**>(object.GetAddressOf())));
    factory->LockServer(TRUE);
    factory = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow()) << "a lock and an object";
    object = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow()) << "a lock";

    factory = FactoryOf(CLSID_ZELKaError);
    factory->LockServer(FALSE);
    factory->LockServer(FALSE); // one too many: ignored
    factory->LockServer(TRUE);
    factory = nullptr;
    EXPECT_EQ(S_FALSE, CanUnloadNow()) << "the extra unlock must not cancel a later lock";
    FactoryOf(CLSID_ZELKaError)->LockServer(FALSE);
    EXPECT_EQ(S_OK, CanUnloadNow());
}

TEST(KaComServer, UnregisteringWhatIsNotRegisteredSucceeds)
{
    const auto unregister = EntryPoint<HRESULT(STDAPICALLTYPE*)()>("DllUnregisterServer");
    EXPECT_EQ(S_OK, unregister());
    EXPECT_EQ(S_OK, unregister());
}
