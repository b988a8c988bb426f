#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include "kaprobe.h"
#include "katest.h"

TEST(KaObject, OverReleaseIsClampedAndDestroysNothing)
{
    CKaProbe::Counters counters;
    CKaProbe* probe = new CKaProbe(counters);
    EXPECT_EQ(0u, probe->Release());
    EXPECT_EQ(0u, probe->Release());
    EXPECT_EQ(0, counters.destructions);
    // The count stayed at 0: the next reference is the first.
    EXPECT_EQ(1u, probe->AddRef());
    EXPECT_EQ(0u, probe->Release());
    EXPECT_EQ(1, counters.finalReleases);
    EXPECT_EQ(1, counters.destructions);
}

TEST(KaObject, CountingReturnsTheNewCount)
{
    CKaProbe::Counters counters;
    CKaRef<CKaProbe> ref(new CKaProbe(counters));
    EXPECT_EQ(2u, ref->AddRef());
    EXPECT_EQ(3u, ref->AddRef());
    EXPECT_EQ(2u, ref->Release());
    EXPECT_EQ(1u, ref->Release());
    EXPECT_EQ(0, counters.destructions);
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

TEST(KaObject, FinalConstructHooksNeverDestroy)
{
    CKaProbe::Counters counters;
    CKaProbe* probe = new CKaProbe(counters);
    probe->InternalFinalConstructAddRef();
    probe->InternalFinalConstructRelease();
    EXPECT_EQ(0, counters.destructions);
    EXPECT_EQ(1u, probe->AddRef());
    probe->Release();
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

TEST(KaObject, ReferencesMayBeCopiedFromManyThreads)
{
    CKaProbe::Counters counters;
    {
        CKaRef<CKaProbe> shared(new CKaProbe(counters));
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([shared] {
                for (int i = 0; i < 20000; ++i) {
                    CKaRef<CKaProbe> copy = shared;
                }
            });
        }
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(2u, shared->AddRef());
        shared->Release();
        EXPECT_EQ(0, counters.destructions);
    }
    EXPECT_EQ(1, counters.destructions);
}

TEST(KaObject, ObjectLockExcludesOtherThreads)
{
    CKaRef<CKaObject> object(new CKaObject);
    long total = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                object->Lock();
                const long seen = total;
                if (i % 64 == 0) Sleep(0);
                total = seen + 1;
                object->Unlock();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(20000, total);
}

TEST(KaNewDeleteMixin, ExhaustionIsOutOfMemoryNotBadAlloc)
{
    try {
        void* p = CKaNewDeleteMixin::operator new(0xFFFFFFF0u);
        CKaNewDeleteMixin::operator delete(p);
        FAIL() << "a 4 GiB request succeeded in a 32-bit process";
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(E_OUTOFMEMORY, e.getCode());
    }
}

TEST(KaNewDeleteMixin, ObjectCreationFailureLeavesNothingBehind)
{
    // An object too large for the address space: new must throw before any constructor runs.
    struct CKaHuge : CKaObject
    {
        char payload[0x7FFFFF00];
    };
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaRef<CKaObject> ref(new CKaHuge); }));
}
