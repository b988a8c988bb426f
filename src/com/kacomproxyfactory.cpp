#include "zelka/kacomproxyfactory.h"
#include "zelka/kacomobjectset.h"
#include <utility>
#include "zelka/kahandle.h"
#include "zelka/kawait.h"

namespace {

// The process-wide factory behind its own lock. Installing swaps the reference under the lock
// and lets the old factory go after it, since its last release may release proxies.
class CKaInstalledFactory
{
public:
    CKaInstalledFactory() { InitializeCriticalSection(&m_lock); }
    ~CKaInstalledFactory() { DeleteCriticalSection(&m_lock); }
    CKaInstalledFactory(const CKaInstalledFactory&) = delete;
    CKaInstalledFactory& operator=(const CKaInstalledFactory&) = delete;

    CKaRef<CKaComObjectProxyFactory> Exchange(CKaRef<CKaComObjectProxyFactory> factory)
    {
        CKaSectionGuard guard(m_lock);
        std::swap(m_factory, factory);
        return factory;
    }
    CKaRef<CKaComObjectProxyFactory> Get()
    {
        CKaSectionGuard guard(m_lock);
        return m_factory;
    }

private:
    CRITICAL_SECTION m_lock;
    CKaRef<CKaComObjectProxyFactory> m_factory;
};

CKaInstalledFactory g_installed;

} // namespace

// ---- CKaComObjectProxyCreatorBase ---------------------------------------------------------

CKaString CKaComObjectProxyCreatorBase::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.proxycreator", CKaObject::getObjectTypeInfo());
}

// ---- CKaComObjectProxyCache ---------------------------------------------------------------

CKaString CKaComObjectProxyCache::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.proxycache", CKaCriticalSection::getObjectTypeInfo());
}

CKaRef<CKaComObjectProxy> CKaComObjectProxyCache::Find(IUnknown* identity)
{
    CKaLock lock(this);
    CKaComObjectProxy* found = nullptr;
    m_proxies.Lookup(identity, found);
    return found;
}

CKaRef<CKaComObjectProxy> CKaComObjectProxyCache::Enter(CKaComObjectProxy* proxy)
{
    CKaLock lock(this);
    CKaComObjectProxy* live = nullptr;
    if (m_proxies.Lookup(proxy->m_object, live)) return live;
    m_proxies.SetAt(proxy->m_object, proxy);
    proxy->m_cache = this;
    return proxy;
}

unsigned long CKaComObjectProxyCache::getCount()
{
    CKaLock lock(this);
    return m_proxies.getCount();
}

void CKaComObjectProxyCache::Leave(CKaComObjectProxy* proxy)
{
    CKaComObjectProxy* entry = nullptr;
    if (m_proxies.Lookup(proxy->m_object, entry) && entry == proxy) {
        m_proxies.RemoveKey(proxy->m_object);
    }
}

// ---- CKaComObjectProxyFactory -------------------------------------------------------------

CKaComObjectProxyFactory::CKaComObjectProxyFactory()
    : m_creatorsLock(new CKaCriticalSection()), m_cache(new CKaComObjectProxyCache())
{
}

CKaString CKaComObjectProxyFactory::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.proxyfactory", CKaObject::getObjectTypeInfo());
}

void CKaComObjectProxyFactory::RegisterCreator(CKaString typeId,
                                                CKaRef<CKaComObjectProxyCreatorBase> creator)
{
    if (!creator) throw CKaCodeException(E_POINTER);
    CKaLock lock(m_creatorsLock);
    m_creators.SetAt(typeId, creator);
}

bool CKaComObjectProxyFactory::RemoveCreator(CKaString typeId)
{
    CKaLock lock(m_creatorsLock);
    return m_creators.RemoveKey(typeId);
}

unsigned long CKaComObjectProxyFactory::getCreatorCount()
{
    CKaLock lock(m_creatorsLock);
    return m_creators.getCount();
}

void CKaComObjectProxyFactory::RegisterLibraryCreators()
{
    RegisterCreator(L"zel.common.object", new CKaComObjectProxyCreator<CKaComObjectProxy>());
    RegisterCreator(CKaError::GetClassTypeId(), new CKaComObjectProxyCreator<CKaErrorProxy>());
    RegisterCreator(CKaComError::GetClassTypeId(),
                    new CKaComObjectProxyCreator<CKaComErrorProxy>());
    RegisterCreator(CKaComObjectSet::GetClassTypeId(),
                    new CKaComObjectProxyCreator<CKaComObjectSetProxy>());
}

CKaRef<CKaComObjectProxyCreatorBase> CKaComObjectProxyFactory::CreatorFor(
    const CKaString& typeInfo)
{
    CKaLock lock(m_creatorsLock);
    CKaRef<CKaComObjectProxyCreatorBase> creator;
    unsigned long start = 0;
    for (;;) {
        unsigned long end = 0;
        const bool more = typeInfo.Find(L';', start, end);
        if (!more) end = typeInfo.getLength();
        if (m_creators.Lookup(typeInfo.Mid(start, end - start), creator) || !more) {
            return creator;
        }
        start = end + 1;
    }
}

// The remote calls (the identity, the type chain) and the new proxy's construction run outside
// every lock; two threads that race for one object may both make a proxy, and the cache keeps
// the first one entered.
CKaRef<CKaComObjectProxy> CKaComObjectProxyFactory::CreateProxy(IUnknown* object)
{
    const CKaComRef<IUnknown> identity = KaQueryInterface<IUnknown>(object);
    if (CKaRef<CKaComObjectProxy> live = m_cache->Find(identity)) return live;
    CKaRef<CKaComObjectProxyCreatorBase> creator =
        CreatorFor(CKaComObjectProxy::ReadRemoteTypeInfo(identity));
    CKaRef<CKaComObjectProxy> made;
    if (creator) made = creator->Create(identity);
    if (!made) throw CKaCodeException(KA_E_PROXY_CREATION);
    return m_cache->Enter(made);
}

CKaRef<CKaComObjectProxyCache> CKaComObjectProxyFactory::getCache()
{
    return m_cache;
}

void CKaComObjectProxyFactory::Install(CKaRef<CKaComObjectProxyFactory> factory)
{
    g_installed.Exchange(factory);
}

CKaRef<CKaComObjectProxyFactory> CKaComObjectProxyFactory::getInstalled()
{
    return g_installed.Get();
}

CKaRef<CKaComObjectProxy> KaCreateComObjectProxy(IUnknown* object)
{
    CKaRef<CKaComObjectProxyFactory> factory = CKaComObjectProxyFactory::getInstalled();
    if (!factory) throw CKaCodeException(KA_E_PROXY_CREATION);
    return factory->CreateProxy(object);
}
