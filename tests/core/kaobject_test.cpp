#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include "kaprobe.h"
#include "katest.h"

namespace {

// A probe holding a counted reference: lets a test make one object the only owner of another.
class CKaOwner : public CKaProbe
{
public:
    using CKaProbe::CKaProbe;
    CKaRef<CKaProbe> owned;
};

} // namespace

// ---- references -----------------------------------------------------------------------------

TEST(KaRef, CopiesCountAndTheLastReleaseDestroys)
{
    CKaProbe::Counters counters;
    {
        CKaRef<CKaProbe> first(new CKaProbe(counters));
        CKaRef<CKaProbe> second = first;
        CKaRef<CKaObject> base;
        base = second;
        // Assigning the pointer a reference already holds changes no count.
        CKaRef<CKaProbe>& alias = first;
        first = alias;
        first = second.getPtr();
        EXPECT_EQ(4u, first->AddRef());
        EXPECT_EQ(3u, first->Release());
        EXPECT_EQ(0, counters.destructions);
    }
    EXPECT_EQ(1, counters.finalReleases);
    EXPECT_EQ(1, counters.destructions);
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

TEST(KaRef, NullMemberAccessThrowsAPointerCodeException)
{
    CKaRef<CKaError> none;
    try {
        none->getCode();
        FAIL() << "no exception";
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(E_POINTER, e.getCode());
    }
    EXPECT_EQ(E_POINTER, ThrownCode([&] { (*none).getCode(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { CKaComRef<IUnknown>()->AddRef(); }));
    // Raw access and null tests never throw.
    EXPECT_EQ(S_OK, ThrownCode([&] { EXPECT_TRUE(!none && none.getPtr() == nullptr); }));
}

TEST(KaComRef, AnOutParameterSlotReleasesWhatTheReferenceHeld)
{
    CKaProbe::Counters counters;
    CKaComRef<CKaProbe> ref(new CKaProbe(counters));
    CKaProbe* returned = new CKaProbe(counters);
    returned->AddRef();
    *ref.GetAddressOf() = returned;
    EXPECT_EQ(1, counters.destructions);
    ref = nullptr;
    EXPECT_EQ(2, counters.destructions);
}

// ---- objects --------------------------------------------------------------------------------

TEST(KaObject, OverReleaseIsClampedAndFinalConstructionNeverDestroys)
{
    CKaProbe::Counters counters;
    CKaProbe* probe = new CKaProbe(counters);
    EXPECT_EQ(0u, probe->Release());
    EXPECT_EQ(0u, probe->Release());
    probe->InternalFinalConstructAddRef();
    probe->InternalFinalConstructRelease();
    EXPECT_EQ(0, counters.destructions);
    // The count stayed at 0: the next reference is the first.
    EXPECT_EQ(1u, probe->AddRef());
    EXPECT_EQ(0u, probe->Release());
    EXPECT_EQ(1, counters.finalReleases);
    EXPECT_EQ(1, counters.destructions);
}

TEST(KaObject, ReferencesTakenDuringFinalReleaseDoNotDestroyTwice)
{
    CKaProbe::Counters counters;
    CKaProbe* probe = new CKaProbe(counters);
    int seenCount = 0;
    probe->onFinalRelease = [&](CKaProbe* dying) {
        CKaRef<CKaProbe> again(dying);
        seenCount = static_cast<int>(dying->AddRef());
        dying->Release();
    };
    probe->AddRef();
    EXPECT_EQ(0u, probe->Release());
    EXPECT_EQ(3, seenCount); // 1 stored on the way out, plus the two taken above
    EXPECT_EQ(1, counters.finalReleases);
    EXPECT_EQ(1, counters.destructions);
}

TEST(KaObject, TypeChainNamesTheMostDerivedFirst)
{
    CKaRef<CKaObject> plain(new CKaObject);
    EXPECT_EQ(L"zel.common.object", plain->getObjectTypeInfo());
    EXPECT_EQ(L"zel.common.object", plain->getObjectTypeId());
    CKaProbe::Counters counters;
    CKaRef<CKaObject> probe(new CKaProbe(counters));
    EXPECT_EQ(L"zel.test.probe;zel.common.object", probe->getObjectTypeInfo());
    EXPECT_EQ(L"zel.test.probe", probe->getObjectTypeId());
}

TEST(KaObject, CountAndLockHoldAcrossThreads)
{
    CKaProbe::Counters counters;
    CKaRef<CKaProbe> shared(new CKaProbe(counters));
    long total = 0;
    volatile bool go = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([shared, &total, &go] {
            while (!go) Sleep(0);
            for (int i = 0; i < 20000; ++i) {
                CKaRef<CKaProbe> copy = shared;
                if (i % 4) continue;
                // The first locks race each other into the lazily made critical section.
                copy->Lock();
                const long seen = total;
                if (i % 256 == 0) Sleep(0);
                total = seen + 1;
                copy->Unlock();
            }
        });
    }
    go = true;
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(20000, total);
    EXPECT_EQ(2u, shared->AddRef());
    shared->Release();
    EXPECT_EQ(0, counters.destructions);
}

TEST(KaNewDeleteMixin, ExhaustionIsOutOfMemoryBeforeAnyConstructorRuns)
{
    // std::bad_alloc would escape ThrownCode.
    static bool constructed = false;
    struct CKaProbe : CKaObject
    {
        CKaProbe() { constructed = true; }
    };
    {
        CKaFailingAllocations failing;
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaRef<CKaObject> ref(new CKaProbe); }));
    }
    EXPECT_FALSE(constructed);
    CKaRef<CKaObject> ref(new CKaProbe);
    EXPECT_TRUE(constructed);
}
