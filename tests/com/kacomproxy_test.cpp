#include <gtest/gtest.h>
#include <windows.h>
#include <atomic>
#include <thread>
#include <vector>
#include "kacomtest.h"

namespace {

// A COM object of the library's kind written here, not by the library: a type chain of the
// test's choosing, and IZELKaError only when asked for.
class CKaForeignObject final : public CKaTestComObject<IZELKaError>
{
public:
    CKaForeignObject(const wchar_t* chain, bool isError) : m_chain(chain), m_isError(isError) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IZELKaObject ||
            (m_isError && iid == IID_IZELKaError)) {
            *out = static_cast<IZELKaError*>(this);
            AddRef();
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*,
                                     EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE get_TypeInfo(BSTR* chain) override
    {
        *chain = SysAllocString(m_chain);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_TypeCount(LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_TypeAt(LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Code(LONG* code) override
    {
        *code = E_ABORT;
        return S_OK;
    }

private:
    const wchar_t* m_chain;
    bool m_isError;
};

CKaComRef<IUnknown> Foreign(const wchar_t* chain, bool isError = false)
{
    return CKaComRef<IUnknown>(new CKaForeignObject(chain, isError));
}

CKaRef<CKaComObjectProxyFactory> LibraryFactory()
{
    CKaRef<CKaComObjectProxyFactory> factory = new CKaComObjectProxyFactory();
    factory->RegisterLibraryCreators();
    return factory;
}

// A proxy that counts how many were made and how many live, and knows whether it is alive.
class CKaProbeProxy : public CKaComObjectProxy
{
public:
    static std::atomic<long> made;
    static std::atomic<long> live;

    explicit CKaProbeProxy(CKaComRef<IUnknown> object)
        : CKaComObjectProxy(object), m_alive(kAlive)
    {
        ++made;
        ++live;
    }
    bool IsAlive() const { return m_alive == kAlive; }

protected:
    ~CKaProbeProxy() override
    {
        m_alive = 0;
        --live;
    }

private:
    static const unsigned long kAlive = 0xA11FE;
    volatile unsigned long m_alive;
};

std::atomic<long> CKaProbeProxy::made{0};
std::atomic<long> CKaProbeProxy::live{0};

CKaRef<CKaComObjectProxyFactory> ProbeFactory()
{
    CKaRef<CKaComObjectProxyFactory> factory = new CKaComObjectProxyFactory();
    factory->RegisterCreator(CKaError::GetClassTypeId(),
                             new CKaComObjectProxyCreator<CKaProbeProxy>());
    return factory;
}

} // namespace

TEST(KaComObjectProxyFactory, IsInstalledWithTheLibrarysFourCreators)
{
    CKaRef<CKaComObjectProxyFactory> installed = CKaComObjectProxyFactory::getInstalled();
    ASSERT_TRUE(installed);
    EXPECT_EQ(4u, installed->getCreatorCount());
    CKaRef<CKaComObjectProxy> proxy =
        KaCreateComObjectProxy(KaGetComInterface<IUnknown>(CKaError::Build(E_FAIL)));
    EXPECT_EQ(L"zel.core.com.errorproxy", proxy->getObjectTypeId());
    EXPECT_EQ(1u, installed->getCache()->getCount());
    proxy = nullptr;
    EXPECT_EQ(0u, installed->getCache()->getCount());
}

TEST(KaComObjectProxyFactory, GivesEachObjectItsNearestProxy)
{
    CKaRef<CKaComObjectProxyFactory> factory = LibraryFactory();
    const CKaComRef<IUnknown> comError = KaGetComInterface<IUnknown>(CKaComError::Build(
        E_ABORT, CKaString(L"remote"), CKaGuid(), CKaString(L"text"), CKaString(), 0));
    const struct
    {
        CKaComRef<IUnknown> object;
        const wchar_t* proxyType;
    } cases[] = {
        {KaGetComInterface<IUnknown>(CKaError::Build(E_FAIL)), L"zel.core.com.errorproxy"},
        {comError, L"zel.core.com.comerrorproxy"},
        {KaGetComInterface<IUnknown>(CKaComObjectSet::Build()), L"zel.core.com.objectsetproxy"},
        {Foreign(L"zel.common.object"), L"zel.core.com.objectproxy"},
        // Classes the factory does not know get the proxy of their nearest known base.
        {Foreign(L"app.special;app.error;zel.core.main.error;zel.common.object", true),
         L"zel.core.com.errorproxy"},
        {Foreign(L"app.thing;zel.common.object"), L"zel.core.com.objectproxy"},
    };
    for (const auto& c : cases) {
        CKaRef<CKaComObjectProxy> proxy = factory->CreateProxy(c.object);
        EXPECT_EQ(c.proxyType, proxy->getObjectTypeId()) << Units(proxy->getRemoteTypeInfo());
        EXPECT_EQ(c.object.getPtr(), proxy->getObject().getPtr());
    }
    EXPECT_EQ(L"text", factory->CreateProxyOf<CKaComErrorProxy>(comError)->getDescription());
    EXPECT_EQ(E_ABORT,
              factory->CreateProxyOf<CKaErrorProxy>(Foreign(L"x;zel.core.main.error", true))
                  ->getCode());

    // Without its own creator a COM error is still an error.
    EXPECT_TRUE(factory->RemoveCreator(CKaComError::GetClassTypeId()));
    EXPECT_FALSE(factory->RemoveCreator(CKaComError::GetClassTypeId()));
    EXPECT_EQ(3u, factory->getCreatorCount());
    EXPECT_EQ(L"zel.core.com.errorproxy", factory->CreateProxy(comError)->getObjectTypeId());
}

TEST(KaComObjectProxyFactory, RefusesWhatItCannotServe)
{
    CKaRef<CKaComObjectProxyFactory> factory = LibraryFactory();
    EXPECT_EQ(KA_E_PROXY_CREATION, ThrownCode([&] { factory->CreateProxy(Foreign(L"a;b")); }));
    EXPECT_EQ(KA_E_PROXY_CREATION, ThrownCode([&] { factory->CreateProxy(Foreign(L"")); }));
    // An identifier is matched whole, not as a part of the chain's text.
    EXPECT_EQ(KA_E_PROXY_CREATION,
              ThrownCode([&] { factory->CreateProxy(Foreign(L"zel.common.object.x")); }));
    CKaComRef<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, stream.GetAddressOf()));
    EXPECT_EQ(E_NOINTERFACE, ThrownCode([&] { factory->CreateProxy(stream); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { factory->CreateProxy(nullptr); }));
    // The nearest creator's proxy needs an interface this object lacks.
    EXPECT_EQ(E_NOINTERFACE,
              ThrownCode([&] { factory->CreateProxy(Foreign(L"zel.core.main.error")); }));
    EXPECT_EQ(E_NOINTERFACE, ThrownCode([&] {
                  factory->CreateProxyOf<CKaErrorProxy>(Foreign(L"zel.common.object"));
              }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { factory->RegisterCreator(L"x", nullptr); }));
    EXPECT_EQ(0u, factory->getCache()->getCount());

    CKaRef<CKaComObjectProxyFactory> installed = CKaComObjectProxyFactory::getInstalled();
    CKaComObjectProxyFactory::Install(nullptr);
    const long withoutFactory = ThrownCode([] { KaCreateComObjectProxy(Foreign(L"x")); });
    CKaComObjectProxyFactory::Install(installed);
    EXPECT_EQ(KA_E_PROXY_CREATION, withoutFactory);
}

TEST(KaComObjectProxyCache, KeepsOneLiveProxyPerObject)
{
    CKaRef<CKaComObjectProxyFactory> factory = ProbeFactory();
    CKaRef<CKaComObjectProxyCache> cache = factory->getCache();
    CKaRef<CKaError> error = CKaError::Build(E_FAIL);
    const long madeBefore = CKaProbeProxy::made;

    // Two interface pointers of one object: one proxy.
    CKaRef<CKaComObjectProxy> first = factory->CreateProxy(KaGetComInterface<IZELKaError>(error));
    CKaRef<CKaComObjectProxy> second = factory->CreateProxy(KaGetComInterface<IDispatch>(error));
    EXPECT_EQ(first.getPtr(), second.getPtr());
    EXPECT_EQ(1, CKaProbeProxy::made - madeBefore);
    EXPECT_EQ(1u, cache->getCount());
    EXPECT_TRUE(cache->Find(KaGetComInterface<IUnknown>(error)));

    // Another object, another proxy.
    CKaRef<CKaComObjectProxy> other =
        factory->CreateProxy(KaGetComInterface<IUnknown>(CKaError::Build(E_FAIL)));
    EXPECT_NE(first.getPtr(), other.getPtr());
    EXPECT_EQ(2u, cache->getCount());

    // After the last release the entry is gone and a new proxy is made.
    first = nullptr;
    EXPECT_EQ(2u, cache->getCount());
    second = nullptr;
    EXPECT_EQ(1u, cache->getCount());
    EXPECT_FALSE(cache->Find(KaGetComInterface<IUnknown>(error)));
    first = factory->CreateProxy(KaGetComInterface<IUnknown>(error));
    EXPECT_EQ(3, CKaProbeProxy::made - madeBefore);

    // A proxy made directly is not the cache's.
    CKaRef<CKaComObjectProxy> direct = new CKaErrorProxy(KaGetComInterface<IUnknown>(error));
    EXPECT_NE(direct.getPtr(), factory->CreateProxy(KaGetComInterface<IUnknown>(error)).getPtr());
    direct = nullptr;
    EXPECT_EQ(2u, cache->getCount());

    // A factory that goes first leaves its cache to the proxies still alive.
    factory = nullptr;
    EXPECT_EQ(2u, cache->getCount());
    EXPECT_EQ(L"zel.core.main.error", first->getRemoteTypeId());
    first = nullptr;
    other = nullptr;
    EXPECT_EQ(0u, cache->getCount());
}

TEST(KaComObjectProxyCache, ThreadsNeverGetADyingProxy)
{
    CKaRef<CKaComObjectProxyFactory> factory = ProbeFactory();
    std::vector<CKaComRef<IUnknown>> objects;
    for (int i = 0; i < 3; ++i) objects.push_back(KaGetComInterface<IUnknown>(CKaError::Build(i)));
    const long liveBefore = CKaProbeProxy::live;

    std::atomic<long> failures{0};
    std::atomic<long> rounds{0};
    const DWORD end = GetTickCount() + 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (unsigned long i = t; GetTickCount() < end; ++i) {
                IUnknown* object = objects[i % objects.size()];
                try {
                    CKaRef<CKaComObjectProxy> proxy = factory->CreateProxy(object);
                    CKaProbeProxy* probe = dynamic_cast<CKaProbeProxy*>(proxy.getPtr());
                    // Two looks from this thread while it holds the proxy: the cache gives this
                    // very proxy back for the object.
                    if (!probe || !probe->IsAlive() || proxy->getObject().getPtr() != object ||
                        factory->CreateProxy(object).getPtr() != probe || !probe->IsAlive()) {
                        ++failures;
                    }
                } catch (const CKaException&) {
                    ++failures;
                }
                ++rounds;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_GT(rounds.load(), 8);
    EXPECT_EQ(0u, factory->getCache()->getCount());
    EXPECT_EQ(liveBefore, CKaProbeProxy::live.load());
}
