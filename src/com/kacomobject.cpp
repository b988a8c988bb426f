#include "zelka/kacomobject.h"
#include "com/kacomserver.h"
#include "zelka/kahandle.h"
#include "zelka/kasysstring.h"

namespace {

volatile long g_moduleLocks = 0;

const IID* const g_libraryInterfaces[] = {&IID_IZELKaObject, &IID_IZELKaError,
                                          &IID_IZELKaComError, &IID_IZELKaObjectSet};
const int g_libraryInterfaceCount = sizeof(g_libraryInterfaces) / sizeof(g_libraryInterfaces[0]);

int LibraryInterfaceIndex(const GUID& iid)
{
    for (int i = 0; i < g_libraryInterfaceCount; ++i) {
        if (IsEqualGUID(*g_libraryInterfaces[i], iid)) return i;
    }
    return -1;
}

// The type library embedded in zelka130.dll and the type information of each library
// interface, loaded on first use and kept until the library is unloaded.
class CKaTypeInfoCache
{
public:
    CKaTypeInfoCache() { InitializeCriticalSection(&m_lock); }
    ~CKaTypeInfoCache() { DeleteCriticalSection(&m_lock); }

    HRESULT Get(const IID& iid, ITypeInfo** info)
    {
        const int index = LibraryInterfaceIndex(iid);
        if (index < 0) return E_NOINTERFACE;
        CKaSectionGuard guard(m_lock);
        if (!m_infos[index]) {
            if (!m_library) {
                const HRESULT hr = LoadTypeLibEx(KaComServerPath().getSz(), REGKIND_NONE,
                                                 m_library.GetAddressOf());
                if (FAILED(hr)) return hr;
            }
            const HRESULT hr = m_library->GetTypeInfoOfGuid(iid, m_infos[index].GetAddressOf());
            if (FAILED(hr)) return hr;
        }
        *info = m_infos[index];
        (*info)->AddRef();
        return S_OK;
    }

private:
    CRITICAL_SECTION m_lock;
    CKaComRef<ITypeLib> m_library;
    CKaComRef<ITypeInfo> m_infos[g_libraryInterfaceCount];
};

HRESULT TypeInfoOf(const IID& iid, CKaComRef<ITypeInfo>& info)
{
    static CKaTypeInfoCache cache;
    return cache.Get(iid, info.GetAddressOf());
}

// The elements of a type chain ("a;b;c").
unsigned long TypeCount(const CKaString& chain)
{
    unsigned long count = 1;
    for (unsigned long pos = 0; chain.Find(L';', pos, pos); ++pos) ++count;
    return count;
}

CKaString TypeAt(const CKaString& chain, long index)
{
    if (index < 0 || static_cast<unsigned long>(index) >= TypeCount(chain)) {
        throw CKaCodeException(KA_E_INDEX_OUT_OF_RANGE);
    }
    unsigned long start = 0;
    for (long i = 0; i < index; ++i) {
        unsigned long separator = 0;
        chain.Find(L';', start, separator);
        start = separator + 1;
    }
    unsigned long end = 0;
    chain.Find(L';', start, end);
    return chain.Mid(start, end - start);
}

} // namespace

void KaComModuleLock()
{
    InterlockedIncrement(&g_moduleLocks);
}

void KaComModuleUnlock()
{
    InterlockedDecrement(&g_moduleLocks);
}

long KaComModuleLockCount()
{
    return InterlockedCompareExchange(&g_moduleLocks, 0, 0);
}

bool KaIsLibraryInterface(const GUID& iid)
{
    return LibraryInterfaceIndex(iid) >= 0;
}

HRESULT KaComGetTypeInfo(const IID& iid, UINT index, ITypeInfo** info)
{
    if (!info) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    CKaComRef<ITypeInfo> found;
    const HRESULT hr = TypeInfoOf(iid, found);
    if (FAILED(hr)) return hr;
    *info = found.Detach();
    return S_OK;
}

HRESULT KaComGetIDsOfNames(const IID& iid, REFIID riid, LPOLESTR* names, UINT count,
                           DISPID* ids)
{
    if (!names || !ids) return E_POINTER;
    if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    CKaComRef<ITypeInfo> info;
    const HRESULT hr = TypeInfoOf(iid, info);
    if (FAILED(hr)) return hr;
    return DispGetIDsOfNames(info, names, count, ids);
}

HRESULT KaComInvoke(IDispatch* self, const IID& iid, DISPID id, REFIID riid, WORD flags,
                    DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                    UINT* argumentError)
{
    if (!params) return E_POINTER;
    if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    CKaComRef<ITypeInfo> info;
    const HRESULT hr = TypeInfoOf(iid, info);
    if (FAILED(hr)) return hr;
    return DispInvoke(self, info, id, flags, params, result, exception, argumentError);
}

HRESULT KaComGetTypeInfoText(CKaObject* object, BSTR* typeInfo)
{
    return KaComProperty(typeInfo, IID_IZELKaObject, L"get_TypeInfo", [object] {
        return object->getObjectTypeInfo().getSysString().Detach(true);
    });
}

HRESULT KaComGetTypeCount(CKaObject* object, long* count)
{
    return KaComProperty(count, IID_IZELKaObject, L"get_TypeCount", [object] {
        return static_cast<long>(TypeCount(object->getObjectTypeInfo()));
    });
}

HRESULT KaComGetTypeAt(CKaObject* object, long index, BSTR* typeId)
{
    return KaComProperty(typeId, IID_IZELKaObject, L"get_TypeAt", [object, index] {
        return TypeAt(object->getObjectTypeInfo(), index).getSysString().Detach(true);
    });
}

HRESULT KaQueryComInterface(CKaObject* object, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    if (!object) return E_POINTER;
    IZELKaObject* face = dynamic_cast<IZELKaObject*>(object);
    return face ? face->QueryInterface(iid, out) : E_NOINTERFACE;
}
