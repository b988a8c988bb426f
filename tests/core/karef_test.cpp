#include <gtest/gtest.h>
#include "kaprobe.h"
#include "katest.h"

namespace {

// Counts AddRef/Release the way a COM object would, without ever deleting itself.
class FakeUnknown : public IUnknown
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override
    {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
    ULONG STDMETHODCALLTYPE Release() override { return --count; }
    ULONG count = 0;
};

// Counted reference held by a probe: lets a test make one object the only owner of another.
class CKaOwner : public CKaProbe
{
public:
    using CKaProbe::CKaProbe;
    CKaRef<CKaProbe> owned;
};

} // namespace

TEST(KaRef, CopiesCountAndDestructionReleases)
{
    CKaProbe::Counters counters;
    {
        CKaRef<CKaProbe> first(new CKaProbe(counters));
        EXPECT_EQ(2u, first->AddRef());
        EXPECT_EQ(1u, first->Release());
        {
            CKaRef<CKaProbe> second = first;
            CKaRef<CKaProbe> third;
            third = second;
            EXPECT_EQ(4u, first->AddRef());
            first->Release();
        }
        EXPECT_EQ(0, counters.destructions);
        EXPECT_EQ(2u, first->AddRef());
        first->Release();
    }
    EXPECT_EQ(1, counters.finalReleases);
    EXPECT_EQ(1, counters.destructions);
}

TEST(KaRef, AssigningTheHeldPointerChangesNoCount)
{
    CKaProbe::Counters counters;
    CKaRef<CKaProbe> ref(new CKaProbe(counters));
    CKaRef<CKaProbe> same = ref;
    CKaRef<CKaProbe>& alias = ref;
    ref = alias;
    ref = same;
    ref = same.getPtr();
    EXPECT_EQ(3u, ref->AddRef());
    ref->Release();
    EXPECT_EQ(0, counters.destructions);
}

TEST(KaRef, ReassignmentReleasesTheOldObject)
{
    CKaProbe::Counters a, b;
    CKaRef<CKaProbe> ref(new CKaProbe(a));
    ref = new CKaProbe(b);
    EXPECT_EQ(1, a.destructions);
    ref = nullptr;
    EXPECT_EQ(1, b.destructions);
    EXPECT_TRUE(!ref);
}

TEST(KaRef, ReplacingAnOwnerByWhatItOwnsKeepsTheOwnedObjectAlive)
{
    CKaProbe::Counters ownerCounters, ownedCounters;
    CKaRef<CKaProbe> ref;
    {
        CKaRef<CKaOwner> owner(new CKaOwner(ownerCounters));
        owner->owned = new CKaProbe(ownedCounters);
        ref = owner;
    }
    // The owner holds the only other reference to the new target.
    ref = static_cast<CKaOwner*>(ref.getPtr())->owned.getPtr();
    EXPECT_EQ(1, ownerCounters.destructions);
    EXPECT_EQ(0, ownedCounters.destructions);
    EXPECT_EQ(L"zel.test.probe", ref->getObjectTypeId());
}

TEST(KaRef, NullReferenceThrowsOnMemberAccessOnly)
{
    CKaRef<CKaProbe> none;
    EXPECT_EQ(E_POINTER, ThrownCode([&] { none->AddRef(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { (*none).AddRef(); }));
    EXPECT_EQ(S_OK, ThrownCode([&] {
        EXPECT_TRUE(!none);
        EXPECT_TRUE(none == nullptr);
        EXPECT_EQ(nullptr, none.getPtr());
        CKaProbe* raw = none;
        EXPECT_EQ(nullptr, raw);
    }));
}

TEST(KaRef, NullAccessIsACodeException)
{
    CKaRef<CKaError> none;
    try {
        none->getCode();
        FAIL() << "no exception";
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(E_POINTER, e.getCode());
    }
}

TEST(KaRef, ConvertsToABaseReferenceAndDetaches)
{
    CKaProbe::Counters counters;
    CKaRef<CKaProbe> probe(new CKaProbe(counters));
    CKaRef<CKaObject> base = probe;
    EXPECT_EQ(base.getPtr(), static_cast<CKaObject*>(probe.getPtr()));
    EXPECT_EQ(3u, base->AddRef());
    base->Release();

    CKaProbe* raw = probe.Detach();
    EXPECT_TRUE(!probe);
    CKaRef<CKaProbe> again;
    again.Attach(raw);
    base = nullptr;
    EXPECT_EQ(0, counters.destructions);
    again = nullptr;
    EXPECT_EQ(1, counters.destructions);
}

TEST(KaComRef, CountsThroughTheInterface)
{
    FakeUnknown unknown;
    {
        CKaComRef<IUnknown> ref(&unknown);
        CKaComRef<IUnknown> copy = ref;
        EXPECT_EQ(2u, unknown.count);
        copy = ref;
        EXPECT_EQ(2u, unknown.count);
        void* out = &out;
        EXPECT_EQ(E_NOINTERFACE, ref->QueryInterface(IID_IDispatch, &out));
    }
    EXPECT_EQ(0u, unknown.count);
}

TEST(KaComRef, OutParameterReleasesTheHeldInterface)
{
    FakeUnknown held, returned;
    CKaComRef<IUnknown> ref(&held);
    IUnknown** slot = ref.GetAddressOf();
    EXPECT_EQ(0u, held.count);
    returned.AddRef();
    *slot = &returned;
    ref = nullptr;
    EXPECT_EQ(0u, returned.count);
}

TEST(KaComRef, NullAccessThrowsPointerError)
{
    CKaComRef<IUnknown> none;
    EXPECT_EQ(E_POINTER, ThrownCode([&] { none->AddRef(); }));
    EXPECT_TRUE(!none);
}
