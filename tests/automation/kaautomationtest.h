#ifndef ZELKA_TESTS_KAAUTOMATIONTEST_H
#define ZELKA_TESTS_KAAUTOMATIONTEST_H

#include <set>
#include <gtest/gtest.h>
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
    static long s_live;
};

// A reference to a fresh counted object, as the interface the test asks for.
CKaComRef<IDispatch> KaNewDispatch();
CKaComRef<IUnknown> KaNewUnknown();

// A test that must end with no BSTR, SAFEARRAY or counted object left over from what it did.
class CKaLeakCheckedTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    size_t m_blocksAtStart = 0;
    long m_objectsAtStart = 0;
};

#endif
