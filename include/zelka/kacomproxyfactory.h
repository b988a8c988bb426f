#ifndef ZELKA_KACOMPROXYFACTORY_H
#define ZELKA_KACOMPROXYFACTORY_H

#include "kacomproxy.h"
#include "kamap.h"
#include "kasync.h"

// Makes the proxy of one proxy class over a COM object.
class ZELKA_API CKaComObjectProxyCreatorBase : public CKaObject
{
public:
    CKaString getObjectTypeInfo() override;
    virtual CKaRef<CKaComObjectProxy> Create(CKaComRef<IUnknown> object) = 0;
};

template <class TProxy>
class CKaComObjectProxyCreator : public CKaComObjectProxyCreatorBase
{
public:
    CKaRef<CKaComObjectProxy> Create(CKaComRef<IUnknown> object) override
    {
        return new TProxy(object);
    }
};

// The live proxies of one factory, at most one per COM object identity. Entries are plain
// pointers: the cache never keeps a proxy alive, and a proxy takes its entry out as it is
// destroyed. The cache is its own lock.
class ZELKA_API CKaComObjectProxyCache : public CKaCriticalSection
{
public:
    CKaString getObjectTypeInfo() override;

    // The live proxy of `identity`, or null.
    CKaRef<CKaComObjectProxy> Find(IUnknown* identity);
    // Enters `proxy` unless its object has a live proxy already; either way the object's one
    // live proxy comes back.
    CKaRef<CKaComObjectProxy> Enter(CKaComObjectProxy* proxy);
    unsigned long getCount();

private:
    friend class CKaComObjectProxy;
    // Called under the lock by the proxy's last Release.
    void Leave(CKaComObjectProxy* proxy);

    CKaMap<CKaRef<IUnknown>, CKaComObjectProxy*> m_proxies;
};

// Proxies by type identifier. A creator is registered for the identifier of the class its
// proxy serves ("zel.core.main.comerror"); CreateProxy asks the object for its type chain and
// takes the creator of the first identifier that has one, most derived first, so an object of
// a class the factory does not know gets the proxy of its nearest known base.
class ZELKA_API CKaComObjectProxyFactory : public CKaObject
{
public:
    CKaComObjectProxyFactory();
    CKaString getObjectTypeInfo() override;

    // Replaces the creator of `typeId`.
    void RegisterCreator(CKaString typeId, CKaRef<CKaComObjectProxyCreatorBase> creator);
    // False when `typeId` had none.
    bool RemoveCreator(CKaString typeId);
    unsigned long getCreatorCount();
    // The creators of the library's own proxy classes: CKaErrorProxy, CKaComErrorProxy,
    // CKaComObjectSetProxy, and CKaComObjectProxy under "zel.common.object", the end of every
    // library type chain, so that any library object gets at least the type-chain proxy and
    // only a chain from elsewhere finds no creator.
    void RegisterLibraryCreators();

    // The object's live proxy, or a new one. A null object is E_POINTER, one without
    // IZELKaObject E_NOINTERFACE, one whose type chain has no creator KA_E_PROXY_CREATION.
    CKaRef<CKaComObjectProxy> CreateProxy(IUnknown* object);
    // The same, refused with E_NOINTERFACE when the proxy is not a TProxy.
    template <class TProxy>
    CKaRef<TProxy> CreateProxyOf(IUnknown* object)
    {
        CKaRef<CKaComObjectProxy> proxy = CreateProxy(object);
        TProxy* typed = dynamic_cast<TProxy*>(proxy.getPtr());
        if (!typed) throw CKaCodeException(E_NOINTERFACE);
        return typed;
    }

    CKaRef<CKaComObjectProxyCache> getCache();

    // The process-wide factory: installed when the library is loaded, with a creator for each
    // of the library's proxy classes, and uninstalled (null) when it is unloaded.
    static void Install(CKaRef<CKaComObjectProxyFactory> factory);
    static CKaRef<CKaComObjectProxyFactory> getInstalled();

private:
    CKaRef<CKaComObjectProxyCreatorBase> CreatorFor(const CKaString& typeInfo);

    CKaRef<CKaCriticalSection> m_creatorsLock;
    CKaMap<CKaString, CKaRef<CKaComObjectProxyCreatorBase>> m_creators;
    CKaRef<CKaComObjectProxyCache> m_cache;
};

// A proxy from the process-wide factory; with none installed, KA_E_PROXY_CREATION.
ZELKA_API CKaRef<CKaComObjectProxy> KaCreateComObjectProxy(IUnknown* object);

#endif
