#include "kaautomationtest.h"

long CKaCountedDispatch::s_live = 0;

CKaMallocSpy& CKaMallocSpy::Instance()
{
    static CKaMallocSpy* spy = [] {
        typedef void(WINAPI * TSetOaNoCache)();
        const auto noCache = reinterpret_cast<TSetOaNoCache>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "SetOaNoCache")));
        if (noCache) noCache();
        CKaMallocSpy* created = new CKaMallocSpy;
        const HRESULT hr = CoRegisterMallocSpy(created);
        if (FAILED(hr)) ADD_FAILURE() << "CoRegisterMallocSpy failed: " << std::hex << hr;
        return created;
    }();
    return *spy;
}

STDMETHODIMP CKaMallocSpy::QueryInterface(REFIID iid, void** object)
{
    if (iid == IID_IUnknown || iid == IID_IMallocSpy) {
        *object = static_cast<IMallocSpy*>(this);
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(void*) CKaMallocSpy::PostAlloc(void* block)
{
    if (block) m_live.insert(block);
    return block;
}

STDMETHODIMP_(void*) CKaMallocSpy::PreFree(void* block, BOOL)
{
    m_live.erase(block);
    return block;
}

STDMETHODIMP_(SIZE_T) CKaMallocSpy::PreRealloc(void* block, SIZE_T size, void** newBlock, BOOL)
{
    m_reallocated = block;
    *newBlock = block;
    return size;
}

STDMETHODIMP_(void*) CKaMallocSpy::PostRealloc(void* block, BOOL)
{
    // A failed reallocation keeps the old block.
    if (block) {
        m_live.erase(m_reallocated);
        m_live.insert(block);
    }
    return block;
}

STDMETHODIMP CKaCountedDispatch::QueryInterface(REFIID iid, void** object)
{
    if (iid == IID_IUnknown || iid == IID_IDispatch) {
        *object = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CKaCountedDispatch::Release()
{
    const ULONG count = --m_count;
    if (count == 0) delete this;
    return count;
}

STDMETHODIMP CKaCountedDispatch::GetTypeInfoCount(UINT* count)
{
    *count = 0;
    return S_OK;
}

CKaComRef<IDispatch> KaNewDispatch()
{
    CKaComRef<IDispatch> object;
    object.Attach(new CKaCountedDispatch);
    return object;
}

CKaComRef<IUnknown> KaNewUnknown()
{
    return CKaComRef<IUnknown>(KaNewDispatch());
}

void CKaLeakCheckedTest::SetUp()
{
    m_blocksAtStart = CKaMallocSpy::Instance().Outstanding();
    m_objectsAtStart = CKaCountedDispatch::Live();
}

void CKaLeakCheckedTest::TearDown()
{
    EXPECT_EQ(m_blocksAtStart, CKaMallocSpy::Instance().Outstanding())
        << "BSTRs or SAFEARRAYs left over";
    EXPECT_EQ(m_objectsAtStart, CKaCountedDispatch::Live()) << "counted objects left over";
}
