#ifndef ZELKA_TESTS_KACOMTEST_H
#define ZELKA_TESTS_KACOMTEST_H

#include <set>
#include "katest.h"

// Counts the platform's task-memory blocks, which is where BSTRs and SAFEARRAYs live: every block
// allocated while the spy is registered and not yet freed is outstanding. One spy is registered
// for the whole program and never revoked (the platform keeps using a spy while blocks it saw are
// outstanding). The platform's cache of freed BSTRs is switched off first, so a freed string
// really goes back.
class CKaMallocSpy : public IMallocSpy
{
public:
    static CKaMallocSpy& Instance();
    // Blocks allocated since the spy was registered and not freed.
    size_t Outstanding() const { return m_live.size(); }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return size; }
    STDMETHODIMP_(void*) PostAlloc(void* block) override;
    STDMETHODIMP_(void*) PreFree(void* block, BOOL) override;
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T size, void** newBlock, BOOL) override;
    STDMETHODIMP_(void*) PostRealloc(void* block, BOOL) override;
    STDMETHODIMP_(void*) PreGetSize(void* block, BOOL) override { return block; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, BOOL) override { return size; }
    STDMETHODIMP_(void*) PreDidAlloc(void* block, BOOL) override { return block; }
    STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int result) override { return result; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}

private:
    CKaMallocSpy() : m_reallocated(nullptr) {}
    // Blocks are tracked on one thread at a time: the tests that use the spy run on one.

    std::set<void*> m_live;
    void* m_reallocated;
};

// A dispatch object for interface elements, counting the references it hands out.
class CKaCountedDispatch : public IDispatch
{
public:
    CKaCountedDispatch() : m_count(1) { ++s_live; }
    ULONG Count() const { return m_count; }
    // Objects of this class not yet destroyed.
    static long Live() { return s_live; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_count; }
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP GetTypeInfoCount(UINT* count) override;
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) override
    {
        return E_NOTIMPL;
    }

private:
    virtual ~CKaCountedDispatch() { --s_live; }

    ULONG m_count;
    static inline long s_live = 0;
};

// ---- implementation -------------------------------------------------------------------------

inline CKaMallocSpy& CKaMallocSpy::Instance()
{
    static CKaMallocSpy* spy = [] {
        typedef void(WINAPI * TSetOaNoCache)();
        const FARPROC proc = GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "SetOaNoCache");
        if (proc) reinterpret_cast<TSetOaNoCache>(reinterpret_cast<void*>(proc))();
        CKaMallocSpy* created = new CKaMallocSpy;
        // Should this fail, the spy sees nothing and the leak check's own test fails.
        CoRegisterMallocSpy(created);
        return created;
    }();
    return *spy;
}

inline STDMETHODIMP CKaMallocSpy::QueryInterface(REFIID iid, void** object)
{
    if (iid == IID_IUnknown || iid == IID_IMallocSpy) {
        *object = static_cast<IMallocSpy*>(this);
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

inline STDMETHODIMP_(void*) CKaMallocSpy::PostAlloc(void* block)
{
    if (block) m_live.insert(block);
    return block;
}

inline STDMETHODIMP_(void*) CKaMallocSpy::PreFree(void* block, BOOL)
{
    m_live.erase(block);
    return block;
}

inline STDMETHODIMP_(SIZE_T) CKaMallocSpy::PreRealloc(void* block, SIZE_T size, void** newBlock,
                                                     BOOL)
{
    m_reallocated = block;
    *newBlock = block;
    return size;
}

inline STDMETHODIMP_(void*) CKaMallocSpy::PostRealloc(void* block, BOOL)
{
    // A failed reallocation keeps the old block.
    if (block) {
        m_live.erase(m_reallocated);
        m_live.insert(block);
    }
    return block;
}

inline STDMETHODIMP CKaCountedDispatch::QueryInterface(REFIID iid, void** object)
{
    if (iid == IID_IUnknown || iid == IID_IDispatch) {
        *object = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

inline STDMETHODIMP_(ULONG) CKaCountedDispatch::Release()
{
    const ULONG count = --m_count;
    if (count == 0) delete this;
    return count;
}

inline STDMETHODIMP CKaCountedDispatch::GetTypeInfoCount(UINT* count)
{
    *count = 0;
    return S_OK;
}

// A reference to a fresh counted object, as the interface the test asks for.
inline CKaComRef<IDispatch> KaNewDispatch()
{
    CKaComRef<IDispatch> object;
    object.Attach(new CKaCountedDispatch);
    return object;
}

inline CKaComRef<IUnknown> KaNewUnknown()
{
    return CKaComRef<IUnknown>(KaNewDispatch());
}

#endif
