#ifndef ZELKA_KACOMPROXY_H
#define ZELKA_KACOMPROXY_H

#include "kacomerror.h"

class CKaComObjectProxyCache;

// Library access to a COM object of this library's kind (one that offers IZELKaObject): typed
// getters that throw instead of returning HRESULTs. A proxy holds the object by its identity
// (the IUnknown that QueryInterface(IID_IUnknown) gives), so two interface pointers of one
// object make equal proxies. A failing remote property arrives through KaThrowComError, with
// the remote object's own error information when it offers it.
//
// Proxies are made directly (`new CKaErrorProxy(object)`) or, with the nearest proxy class
// for whatever the object is, through CKaComObjectProxyFactory::CreateProxy, which keeps at
// most one live proxy per object in its cache.
class ZELKA_API CKaComObjectProxy : public CKaObject
{
public:
    // A null object is E_POINTER; one without IZELKaObject is E_NOINTERFACE.
    explicit CKaComObjectProxy(CKaComRef<IUnknown> object);

    // A cached proxy's last reference goes under the cache's lock, so that the cache never
    // hands out a proxy that is being destroyed; FinalRelease takes it out of the cache.
    unsigned long Release() override;
    void FinalRelease() override;
    CKaString getObjectTypeInfo() override;

    // The proxied object's identity.
    CKaComRef<IUnknown> getObject() const;
    // The proxied object's own type chain and its first identifier.
    CKaString getRemoteTypeInfo();
    CKaString getRemoteTypeId();

    // The type chain of any object of this library's kind; E_NOINTERFACE for another object.
    static CKaString ReadRemoteTypeInfo(IUnknown* object);

protected:
    ~CKaComObjectProxy() override;

    // The result `hr` of a call on `proxied`: a failure is thrown through KaThrowComError.
    template <class I>
    static void Check(const CKaComRef<I>& proxied, HRESULT hr)
    {
        if (FAILED(hr)) KaThrowComError(proxied, __uuidof(I), hr);
    }
    // Calls a property of `proxied` that returns its value through an out-parameter.
    template <class I, class T>
    static void Read(const CKaComRef<I>& proxied, HRESULT (STDMETHODCALLTYPE I::*property)(T*),
                     T* value)
    {
        Check(proxied, (proxied.operator->()->*property)(value));
    }
    // The same for a text property.
    template <class I>
    static CKaString ReadText(const CKaComRef<I>& proxied,
                              HRESULT (STDMETHODCALLTYPE I::*property)(BSTR*))
    {
        CKaSysString text;
        Read(proxied, property, &text);
        return text.getString();
    }

private:
    friend class CKaComObjectProxyCache;

    CKaComRef<IUnknown> m_object;
    CKaComRef<IZELKaObject> m_face;
    // The cache that lists this proxy; set once, by the cache, before anyone else can see it.
    CKaRef<CKaComObjectProxyCache> m_cache;
};

// An error behind IZELKaError.
class ZELKA_API CKaErrorProxy : public CKaComObjectProxy
{
public:
    explicit CKaErrorProxy(CKaComRef<IUnknown> object);
    CKaString getObjectTypeInfo() override;

    long getCode();

private:
    CKaComRef<IZELKaError> m_error;
};

// A COM error behind IZELKaComError.
class ZELKA_API CKaComErrorProxy : public CKaErrorProxy
{
public:
    explicit CKaComErrorProxy(CKaComRef<IUnknown> object);
    CKaString getObjectTypeInfo() override;

    CKaGuid getGuid();
    CKaString getSource();
    CKaString getDescription();
    CKaString getHelpFile();
    unsigned long getHelpContext();

private:
    CKaComRef<IZELKaComError> m_error;
};

// An object set behind IZELKaObjectSet. Items come back as the objects the set holds; an
// index beyond the set arrives as the set's own failure (KA_E_INDEX_OUT_OF_RANGE).
class ZELKA_API CKaComObjectSetProxy : public CKaComObjectProxy
{
public:
    explicit CKaComObjectSetProxy(CKaComRef<IUnknown> object);
    CKaString getObjectTypeInfo() override;

    unsigned long getCount();
    CKaComRef<IUnknown> getItem(unsigned long index);

private:
    CKaComRef<IZELKaObjectSet> m_set;
};

#endif
