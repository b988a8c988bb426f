#include <gtest/gtest.h>
#include <functional>
#include <thread>
#include "katest.h"
#include "../core/kaprobe.h"

namespace {

// A manager that lets the tests see whether it has a slot yet.
class CInspectableManager : public CKaTlsManager
{
public:
    bool HasSlot()
    {
        return ThrownCode([this] { LookupTlsContainer(); }) != E_POINTER;
    }
};

// Runs `work` on a thread of its own and waits until that thread has ended.
void OnOtherThread(const std::function<void()>& work)
{
    std::thread(work).join();
}

} // namespace

TEST(KaTlsSlot, HoldsOneValuePerThreadOnceAllocated)
{
    CKaRef<CKaTlsSlot> slot = new CKaTlsSlot;
    EXPECT_FALSE(slot->getIsAllocated());
    EXPECT_EQ(KA_E_TLS_NOT_ALLOCATED, ThrownCode([&] { slot->getValue(); }));
    EXPECT_EQ(KA_E_TLS_NOT_ALLOCATED, ThrownCode([&] { slot->setValue(nullptr); }));
    slot->Free(); // nothing to free

    slot->Allocate();
    slot->Allocate(); // keeps its index
    EXPECT_TRUE(slot->getIsAllocated());
    EXPECT_EQ(nullptr, slot->getValue());
    int here = 0, there = 0;
    slot->setValue(&here);
    OnOtherThread([&] {
        EXPECT_EQ(nullptr, slot->getValue());
        slot->setValue(&there);
        EXPECT_EQ(&there, slot->getValue());
    });
    EXPECT_EQ(&here, slot->getValue());
    slot->Free();
    EXPECT_EQ(KA_E_TLS_NOT_ALLOCATED, ThrownCode([&] { slot->getValue(); }));
    EXPECT_EQ(L"zel.core.system.tlsslot", slot->getObjectTypeId());
}

TEST(KaTlsContainer, StoresReplacesAndRemovesByName)
{
    CKaProbe::Counters counters;
    CKaRef<CKaTlsContainer> container = new CKaTlsContainer;
    CKaRef<CKaObject> found;
    EXPECT_FALSE(container->LookupObject(L"a", found));
    EXPECT_EQ(KA_E_TLS_NO_OBJECT, ThrownCode([&] { container->getObject(L"a"); }));

    CKaRef<CKaObject> first = new CKaProbe(counters);
    container->AddObject(L"a", first);
    container->AddObject(L"A", new CKaProbe(counters)); // names are case-sensitive
    container->AddObject(L"a", new CKaProbe(counters));
    first = nullptr;
    EXPECT_EQ(1, counters.destructions);
    EXPECT_TRUE(container->LookupObject(L"a", found));
    EXPECT_EQ(found.getPtr(), container->getObject(L"a").getPtr());
    EXPECT_NE(found.getPtr(), container->getObject(L"A").getPtr());
    found = nullptr;
    EXPECT_TRUE(container->RemoveObject(L"a"));
    EXPECT_FALSE(container->RemoveObject(L"a"));
    EXPECT_EQ(2, counters.destructions);
    container = nullptr;
    EXPECT_EQ(3, counters.destructions);
}

TEST(KaTlsManager, ALookUpBeforeAnyStoreAllocatesNothing)
{
    CKaRef<CInspectableManager> manager = new CInspectableManager;
    CKaRef<CKaObject> found;
    EXPECT_FALSE(manager->LookupObject(L"x", found));
    EXPECT_FALSE(manager->RemoveObject(L"x"));
    EXPECT_EQ(KA_E_TLS_NO_OBJECT, ThrownCode([&] { manager->getObject(L"x"); }));
    manager->ThreadDetached();
    EXPECT_FALSE(manager->HasSlot());
    manager->AddObject(L"x", nullptr);
    EXPECT_TRUE(manager->HasSlot());
    EXPECT_EQ(L"zel.core.system.tlsmanager", manager->getObjectTypeId());
}

TEST(KaTlsManager, EachThreadSeesOnlyItsOwnObjects)
{
    CKaProbe::Counters counters;
    CKaRef<CKaTlsManager> manager = new CKaTlsManager;
    CKaRef<CKaObject> mine = new CKaProbe(counters);
    manager->AddObject(L"shared name", mine);
    OnOtherThread([&] {
        CKaRef<CKaObject> found;
        EXPECT_FALSE(manager->LookupObject(L"shared name", found));
        EXPECT_EQ(KA_E_TLS_NO_OBJECT, ThrownCode([&] { manager->getObject(L"shared name"); }));
        EXPECT_FALSE(manager->RemoveObject(L"shared name"));
        manager->AddObject(L"shared name", new CKaProbe(counters));
        EXPECT_NE(mine.getPtr(), manager->getObject(L"shared name").getPtr());
        // This manager is not the library's: its containers go only when asked to.
        manager->ThreadDetached();
    });
    EXPECT_EQ(1, counters.destructions);
    EXPECT_EQ(mine.getPtr(), manager->getObject(L"shared name").getPtr());
    mine = nullptr;
    EXPECT_EQ(1, counters.destructions);
    manager = nullptr; // the final release drops this thread's container
    EXPECT_EQ(2, counters.destructions);
}

TEST(KaTlsManager, DetachAllThreadsReleasesTheObjectsOfLiveThreads)
{
    CKaProbe::Counters counters;
    CKaRef<CInspectableManager> manager = new CInspectableManager;
    CKaRef<CKaEvent> stored = new CKaEvent(false, true);
    CKaRef<CKaEvent> detached = new CKaEvent(false, true);
    bool foundAfter = true;
    std::thread other([&] {
        manager->AddObject(L"o", new CKaProbe(counters));
        stored->Set();
        detached->Wait(INFINITE);
        CKaRef<CKaObject> found;
        foundAfter = manager->LookupObject(L"o", found);
    });
    stored->Wait(INFINITE);
    manager->AddObject(L"m", new CKaProbe(counters));
    manager->DetachAllThreads();
    EXPECT_EQ(2, counters.destructions);
    EXPECT_FALSE(manager->HasSlot());
    detached->Set();
    other.join();
    EXPECT_FALSE(foundAfter);
    // It starts afresh.
    manager->AddObject(L"m", new CKaProbe(counters));
    EXPECT_EQ(2, counters.destructions);
    manager = nullptr;
    EXPECT_EQ(3, counters.destructions);
}

TEST(KaTlsManager, TheLibrarysManagerDropsAThreadsObjectsWhenTheThreadEnds)
{
    CKaRef<CKaTlsManager> manager = KaGetTlsManager();
    ASSERT_FALSE(!manager);
    EXPECT_EQ(manager.getPtr(), KaGetTlsManager().getPtr());
    CKaProbe::Counters counters;
    bool reentered = false;
    OnOtherThread([&] {
        CKaRef<CKaProbe> probe = new CKaProbe(counters);
        // Released at the thread's end, the object may still use the manager.
        probe->onFinalRelease = [&](CKaProbe*) {
            CKaRef<CKaObject> found;
            reentered = !KaGetTlsManager()->LookupObject(L"probe", found);
        };
        KaGetTlsManager()->AddObject(L"probe", probe.getPtr());
        KaGetTlsManager()->AddObject(L"other", new CKaProbe(counters));
    });
    EXPECT_EQ(2, counters.destructions);
    EXPECT_TRUE(reentered);

    // A CKaThread's objects go the same way.
    CKaRef<CKaThread> thread = new CKaThread;
    thread->setWorker(DKaThreadWorker::Build([&](CKaRef<CKaThread>) {
        KaGetTlsManager()->AddObject(L"probe", new CKaProbe(counters));
    }));
    thread->Run();
    thread->Join(INFINITE);
    EXPECT_EQ(3, counters.destructions);
}
