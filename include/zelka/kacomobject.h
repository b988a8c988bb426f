#ifndef ZELKA_KACOMOBJECT_H
#define ZELKA_KACOMOBJECT_H

#include <utility>
#include "kaexception.h"
#include "kainterfaceids.h"

// The COM face of library objects. A class that COM clients can reach names its face type as
// `TComFace`; `CKaComObject<T>` adds that face to T. The face is a separate base, not part of
// T, because T counts through IKaRefCounted and the face through IUnknown: the two AddRef and
// Release have different calling conventions on 32-bit Windows and one function cannot
// implement both. The face forwards its counting to the object, so the object and its COM
// interfaces share one count and one lifetime.

// Live COM objects and held class factories; DllCanUnloadNow answers S_OK only when none is
// left and no client holds a server lock.
ZELKA_API void KaComModuleLock();
ZELKA_API void KaComModuleUnlock();
ZELKA_API long KaComModuleLockCount();

// True for the library's own COM interfaces (IZELKaObject, IZELKaError, IZELKaComError,
// IZELKaObjectSet), for which its errors carry rich error information.
ZELKA_API bool KaIsLibraryInterface(const GUID& iid);

// Helpers of the face templates below; each returns a COM result and never throws.
ZELKA_API HRESULT KaComGetTypeInfo(const IID& iid, UINT index, ITypeInfo** info);
ZELKA_API HRESULT KaComGetIDsOfNames(const IID& iid, REFIID riid, LPOLESTR* names, UINT count,
                                     DISPID* ids);
ZELKA_API HRESULT KaComInvoke(IDispatch* self, const IID& iid, DISPID id, REFIID riid,
                              WORD flags, DISPPARAMS* params, VARIANT* result,
                              EXCEPINFO* exception, UINT* argumentError);
ZELKA_API HRESULT KaComGetTypeInfoText(CKaObject* object, BSTR* typeInfo);
ZELKA_API HRESULT KaComGetTypeCount(CKaObject* object, long* count);
ZELKA_API HRESULT KaComGetTypeAt(CKaObject* object, long index, BSTR* typeId);

// How a COM method ends when the library threw: call it inside a catch block. The failure
// becomes the thread's error information (no source, the interface `iid`, the method's name
// as description), an exit line "ERR"/"COM" goes to the trace, and the exception's code is the
// method's result. Anything that is not a CKaException is E_UNEXPECTED.
ZELKA_API HRESULT KaComFailure(const IID& iid, const wchar_t* method);

// The frame of a COM method of interface `iid`: S_OK when `act()` returns; when it throws,
// the failure is reported through KaComFailure under the name `method`.
template <class Act>
HRESULT KaComMethod(const IID& iid, const wchar_t* method, Act&& act)
{
    try {
        act();
        return S_OK;
    } catch (...) {
        return KaComFailure(iid, method);
    }
}

// The frame of a COM property: E_POINTER for a null out-pointer; otherwise the value `read()`
// returns is stored, as a method of KaComMethod.
template <class T, class Read>
HRESULT KaComProperty(T* out, const IID& iid, const wchar_t* method, Read&& read)
{
    if (!out) return E_POINTER;
    *out = T();
    return KaComMethod(iid, method, [&] { *out = read(); });
}

// IUnknown, IDispatch (through the embedded type library), ISupportErrorInfo and IZELKaObject
// for a library object whose primary interface is I (IZELKaObject or one derived from it).
template <class I>
class CKaObjectFace : public I, public ISupportErrorInfo
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid == IID_ISupportErrorInfo) {
            *out = static_cast<ISupportErrorInfo*>(this);
        } else if (Offers(iid)) {
            *out = static_cast<I*>(this);
        } else {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return m_owner->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_owner->Release(); }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override
    {
        return KaComGetTypeInfo(__uuidof(I), index, info);
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override
    {
        return KaComGetIDsOfNames(__uuidof(I), riid, names, count, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID, WORD flags,
                                     DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                     UINT* argumentError) override
    {
        return KaComInvoke(static_cast<I*>(this), __uuidof(I), id, riid, flags, params, result,
                           exception, argumentError);
    }

    HRESULT STDMETHODCALLTYPE get_TypeInfo(BSTR* typeInfo) override
    {
        return KaComGetTypeInfoText(m_owner, typeInfo);
    }
    HRESULT STDMETHODCALLTYPE get_TypeCount(LONG* count) override
    {
        return KaComGetTypeCount(m_owner, count);
    }
    HRESULT STDMETHODCALLTYPE get_TypeAt(LONG index, BSTR* typeId) override
    {
        return KaComGetTypeAt(m_owner, index, typeId);
    }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override
    {
        return SupportsErrorInfo(iid) ? S_OK : S_FALSE;
    }

protected:
    explicit CKaObjectFace(CKaObject* owner) : m_owner(owner) {}
    virtual ~CKaObjectFace() = default;
    CKaObjectFace(const CKaObjectFace&) = delete;
    CKaObjectFace& operator=(const CKaObjectFace&) = delete;

    // The interfaces QueryInterface answers with the primary interface; a derived face adds
    // the ones between IZELKaObject and I.
    virtual bool Offers(REFIID iid)
    {
        return iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IZELKaObject ||
               iid == __uuidof(I);
    }
    virtual bool SupportsErrorInfo(REFIID iid) { return KaIsLibraryInterface(iid); }

    CKaObject* m_owner;
};

// The face of errors: IZELKaError on top of IZELKaObject; I is IZELKaError or derived from it.
template <class I>
class CKaErrorFaceOf : public CKaObjectFace<I>
{
public:
    HRESULT STDMETHODCALLTYPE get_Code(LONG* code) override
    {
        if (!code) return E_POINTER;
        *code = Error()->getCode();
        return S_OK;
    }

protected:
    explicit CKaErrorFaceOf(CKaError* owner) : CKaObjectFace<I>(owner) {}

    bool Offers(REFIID iid) override
    {
        return iid == IID_IZELKaError || CKaObjectFace<I>::Offers(iid);
    }
    bool SupportsErrorInfo(REFIID iid) override
    {
        return Error()->DoesInterfaceSupportErrorInfo(iid);
    }
    CKaError* Error() const { return static_cast<CKaError*>(this->m_owner); }
};

class CKaErrorFace : public CKaErrorFaceOf<IZELKaError>
{
protected:
    explicit CKaErrorFace(CKaError* owner) : CKaErrorFaceOf<IZELKaError>(owner) {}
};

// The creatable form of a library object with a COM face: T with T::TComFace added. Every
// live one keeps the COM server loaded (KaComModuleLock).
template <class T>
class CKaComObject final : public T, public T::TComFace
{
public:
    template <class... Args>
    explicit CKaComObject(Args&&... args)
        : T(std::forward<Args>(args)...), T::TComFace(static_cast<T*>(this))
    {
        KaComModuleLock();
    }

    // Library code counts through T, COM clients through the face.
    using T::AddRef;
    using T::Release;

protected:
    ~CKaComObject() override { KaComModuleUnlock(); }
};

// The COM interface `iid` of a library object that has a COM face (E_NOINTERFACE for one that
// has none, E_POINTER for null pointers).
ZELKA_API HRESULT KaQueryComInterface(CKaObject* object, REFIID iid, void** out);

// The same as a counted reference; a failure is thrown.
template <class I>
CKaComRef<I> KaGetComInterface(CKaObject* object)
{
    CKaComRef<I> result;
    KaThrowIfFailed(
        KaQueryComInterface(object, __uuidof(I), reinterpret_cast<void**>(result.GetAddressOf())));
    return result;
}

// Interface I of a COM object; the object's refusal (E_NOINTERFACE) is thrown, and a null
// object or a null answer is E_POINTER.
template <class I>
CKaComRef<I> KaQueryInterface(IUnknown* object)
{
    if (!object) throw CKaCodeException(E_POINTER);
    CKaComRef<I> result;
    KaThrowIfFailed(
        object->QueryInterface(__uuidof(I), reinterpret_cast<void**>(result.GetAddressOf())));
    if (!result) throw CKaCodeException(E_POINTER);
    return result;
}

#endif
