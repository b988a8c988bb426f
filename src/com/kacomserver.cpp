#include "com/kacomserver.h"
#include <shlwapi.h>
#include "zelka/kacomerror.h"
#include "zelka/kacomobjectset.h"
#include "zelka/kahandle.h"
#include "zelka/kamodule.h"

// zelka130.dll as an in-process COM server. Each class gets its CLSID key (server path, "Both"
// threading model since the library's counts are interlocked, ProgID, type library) and a
// ProgID key, and the type library is registered beside them. Registration goes where regsvr32
// users expect it: for the machine (HKEY_LOCAL_MACHINE\Software\Classes) when the process may
// write there, as an elevated administrator may (and Wine always does: its HKEY_CLASSES_ROOT
// shows only the machine's classes), otherwise for the current user
// (HKEY_CURRENT_USER\Software\Classes), which needs no rights and which COM consults first.

extern "C" IMAGE_DOS_HEADER __ImageBase;

// In oleaut32 since Windows Vista; MinGW-w64's oleauto.h does not declare them.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path,
                                                  OLECHAR* helpFolder);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID libraryId, WORD major, WORD minor,
                                                    LCID lcid, SYSKIND kind);

namespace {

volatile long g_serverLocks = 0;

// Errors made by a client report success and carry no error information.
HRESULT CreateError(REFIID iid, void** out)
{
    return KaQueryComInterface(CKaError::Build(S_OK), iid, out);
}

HRESULT CreateComError(REFIID iid, void** out)
{
    return KaQueryComInterface(CKaComError::Build(S_OK, CKaComRef<IErrorInfo>()), iid, out);
}

HRESULT CreateObjectSet(REFIID iid, void** out)
{
    return KaQueryComInterface(CKaComObjectSet::Build(), iid, out);
}

// One creatable class: its identity in the registry and its class factory. The factories are
// static; a reference to one keeps the server loaded like a live object.
class CKaClassFactory final : public IClassFactory
{
public:
    typedef HRESULT (*TCreate)(REFIID iid, void** out);

    CKaClassFactory(const CLSID& clsid, const wchar_t* progId, const wchar_t* description,
                    TCreate create)
        : m_clsid(clsid), m_progId(progId), m_description(description), m_create(create)
    {
    }
    virtual ~CKaClassFactory() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
        *out = static_cast<IClassFactory*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override
    {
        KaComModuleLock();
        return 2;
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        KaComModuleUnlock();
        return 1;
    }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        try {
            return m_create(iid, out);
        } catch (...) {
            return KaCaughtCode();
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        if (lock) {
            InterlockedIncrement(&g_serverLocks);
            return S_OK;
        }
        // An unlock without a lock is ignored: a negative count could let COM unload the
        // library under live objects.
        for (long count = g_serverLocks; count > 0; count = g_serverLocks) {
            if (InterlockedCompareExchange(&g_serverLocks, count - 1, count) == count) break;
        }
        return S_OK;
    }

    const CLSID& m_clsid;
    const wchar_t* const m_progId;
    const wchar_t* const m_description;

private:
    const TCreate m_create;
};

CKaClassFactory g_classes[] = {
    {CLSID_ZELKaError, L"Zelka.Error", L"zelka130 error", CreateError},
    {CLSID_ZELKaComError, L"Zelka.ComError", L"zelka130 COM error", CreateComError},
    {CLSID_ZELKaObjectSet, L"Zelka.ObjectSet", L"zelka130 object set", CreateObjectSet},
};

// Type library versions are written in hexadecimal in the registry.
CKaString HexText(WORD value)
{
    return CKaString::Build(static_cast<unsigned long>(value), 16, false);
}

CKaString GuidText(const GUID& guid)
{
    wchar_t text[40];
    if (!StringFromGUID2(guid, text, 40)) throw CKaCodeException(E_UNEXPECTED);
    return text;
}

// The two places a registration can live, machine first.
struct TKaClassesRoot
{
    HKEY hive;
    HRESULT(WINAPI* registerTypeLib)(ITypeLib* library, OLECHAR* path, OLECHAR* helpFolder);
    HRESULT(WINAPI* unregisterTypeLib)(REFGUID libraryId, WORD major, WORD minor, LCID lcid,
                                       SYSKIND kind);
};

const TKaClassesRoot g_roots[] = {
    {HKEY_LOCAL_MACHINE, RegisterTypeLib, UnRegisterTypeLib},
    {HKEY_CURRENT_USER, RegisterTypeLibForUser, UnRegisterTypeLibForUser},
};

// The classes key of `root` opened for writing; an invalid key when this process may not write
// there.
CKaOwnedRegKey OpenClasses(const TKaClassesRoot& root)
{
    CKaOwnedRegKey key;
    const LONG error = RegCreateKeyExW(root.hive, L"Software\\Classes", 0, nullptr, 0,
                                       KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr);
    if (error == ERROR_ACCESS_DENIED) return CKaOwnedRegKey();
    if (error != ERROR_SUCCESS) KaThrowWin32Error(error);
    return key;
}

// Creates `subKey` when missing and sets its value `name` (null: the default value).
void WriteString(HKEY root, const CKaString& subKey, const wchar_t* name, const CKaString& value)
{
    CKaOwnedRegKey key;
    LONG error = RegCreateKeyExW(root, subKey.getSz(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                 key.Receive(), nullptr);
    if (error == ERROR_SUCCESS) {
        error = RegSetValueExW(key.Get(), name, 0, REG_SZ,
                               reinterpret_cast<const BYTE*>(value.getSz()),
                               (value.getLength() + 1) * sizeof(wchar_t));
    }
    if (error != ERROR_SUCCESS) KaThrowWin32Error(error);
}

// The default value of `subKey`, empty when the key or the value is missing.
CKaString ReadDefault(HKEY root, const CKaString& subKey)
{
    wchar_t value[64] = L"";
    DWORD size = sizeof(value) - sizeof(wchar_t);
    if (RegGetValueW(root, subKey.getSz(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size) !=
        ERROR_SUCCESS) {
        return CKaString();
    }
    return value;
}

void DeleteTree(HKEY root, const CKaString& subKey)
{
    const LONG error = SHDeleteKeyW(root, subKey.getSz());
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) KaThrowWin32Error(error);
}

CKaComRef<ITypeLib> LoadOwnTypeLibrary()
{
    CKaComRef<ITypeLib> library;
    KaThrowIfFailed(LoadTypeLibEx(KaComServerPath().getSz(), REGKIND_NONE,
                                  library.GetAddressOf()));
    return library;
}

void RegisterClass(HKEY root, const CKaClassFactory& cls, const CKaString& path)
{
    const CKaString clsid = GuidText(cls.m_clsid);
    const CKaString key = CKaString(L"CLSID\\") + clsid;
    WriteString(root, key, nullptr, cls.m_description);
    WriteString(root, key + L"\\InprocServer32", nullptr, path);
    WriteString(root, key + L"\\InprocServer32", L"ThreadingModel", L"Both");
    WriteString(root, key + L"\\ProgID", nullptr, cls.m_progId);
    WriteString(root, key + L"\\TypeLib", nullptr, GuidText(LIBID_ZELCORE2));
    WriteString(root, cls.m_progId, nullptr, cls.m_description);
    WriteString(root, CKaString(cls.m_progId) + L"\\CLSID", nullptr, clsid);
}

// Removes the class key, and the ProgID only while it still names this class: another server
// may have taken the name since.
void UnregisterClass(HKEY root, const CKaClassFactory& cls)
{
    const CKaString clsid = GuidText(cls.m_clsid);
    if (ReadDefault(root, CKaString(cls.m_progId) + L"\\CLSID").CompareNoCase(clsid) == 0) {
        DeleteTree(root, cls.m_progId);
    }
    DeleteTree(root, CKaString(L"CLSID\\") + clsid);
}

// Only a type library registered below `classes` is unregistered there: for one that is not,
// the platform's unregistration fails, and with different codes on different systems.
void UnregisterTypeLibrary(const TKaClassesRoot& root, HKEY classes)
{
    CKaComRef<ITypeLib> library = LoadOwnTypeLibrary();
    TLIBATTR* attributes = nullptr;
    KaThrowIfFailed(library->GetLibAttr(&attributes));
    const TLIBATTR copy = *attributes;
    library->ReleaseTLibAttr(attributes);
    const CKaString versionKey = CKaString(L"TypeLib\\") + GuidText(copy.guid) + L"\\" +
                                 HexText(copy.wMajorVerNum) + L"." + HexText(copy.wMinorVerNum);
    CKaOwnedRegKey registered;
    if (RegOpenKeyExW(classes, versionKey.getSz(), 0, KEY_READ, registered.Receive()) !=
        ERROR_SUCCESS) {
        return;
    }
    registered.Reset();
    KaThrowIfFailed(root.unregisterTypeLib(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum,
                                           copy.lcid, copy.syskind));
}

// Cleans both places, so that a registration made by an administrator or by the user goes
// away alike; a place this process may not write to cannot hold anything it wrote.
void Unregister()
{
    for (const TKaClassesRoot& root : g_roots) {
        CKaOwnedRegKey classes = OpenClasses(root);
        if (!classes) continue;
        for (const CKaClassFactory& cls : g_classes) UnregisterClass(classes.Get(), cls);
        UnregisterTypeLibrary(root, classes.Get());
    }
}

void Register()
{
    const CKaString path = KaComServerPath();
    for (const TKaClassesRoot& root : g_roots) {
        CKaOwnedRegKey classes = OpenClasses(root);
        if (!classes) continue;
        for (const CKaClassFactory& cls : g_classes) RegisterClass(classes.Get(), cls, path);
        KaThrowIfFailed(root.registerTypeLib(LoadOwnTypeLibrary(),
                                             const_cast<wchar_t*>(path.getSz()), nullptr));
        return;
    }
    throw CKaCodeException(E_ACCESSDENIED);
}

HRESULT ResultOf(void (*action)())
{
    try {
        action();
        return S_OK;
    } catch (...) {
        return KaCaughtCode();
    }
}

} // namespace

CKaString KaComServerPath()
{
    return CKaModule::FromHandle(reinterpret_cast<HINSTANCE>(&__ImageBase), false)
        ->getFilePath();
}

STDAPI DllCanUnloadNow()
{
    return KaComModuleLockCount() == 0 && g_serverLocks == 0 ? S_OK : S_FALSE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    for (CKaClassFactory& cls : g_classes) {
        if (cls.m_clsid == clsid) return cls.QueryInterface(iid, out);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllRegisterServer()
{
    const HRESULT hr = ResultOf(Register);
    // A half-done registration is taken back whole.
    if (FAILED(hr)) ResultOf(Unregister);
    return hr;
}

// Removes what DllRegisterServer wrote; with nothing registered it has nothing to do and
// succeeds, so that uninstalling twice is not an error.
STDAPI DllUnregisterServer()
{
    return ResultOf(Unregister);
}
