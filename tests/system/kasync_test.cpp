#include <gtest/gtest.h>
#include <thread>
#include "katest.h"

namespace {

const long kNotOwner = static_cast<long>(HRESULT_FROM_WIN32(ERROR_NOT_OWNER));
const long kTooManyPosts = static_cast<long>(HRESULT_FROM_WIN32(ERROR_TOO_MANY_POSTS));

// A wait from another thread: what a thread that does not own the object sees.
TKaWaitResult WaitElsewhere(CKaRef<IKaWaitable> object, DWORD timeout, bool giveBack)
{
    TKaWaitResult result = KaWaitTimeout;
    std::thread([&] {
        result = object->Wait(timeout);
        if (result != KaWaitTimeout && giveBack) object->ReleaseWait();
    }).join();
    return result;
}

// Whether another thread could take the object at once (and gave it back).
bool IsFree(CKaRef<IKaWaitable> object)
{
    return WaitElsewhere(object, 0, true) == KaWaitSignaled;
}

// A mutex left abandoned: owned by a thread that ended without releasing it.
CKaRef<CKaMutex> AbandonedMutex()
{
    CKaRef<CKaMutex> mutex = new CKaMutex(false);
    EXPECT_EQ(KaWaitSignaled, WaitElsewhere(mutex.getPtr(), INFINITE, false));
    return mutex;
}

// Counts what is done to it and passes it on to a real critical section.
class CCountingLockable : public CKaObjectWithInterface<IKaLockable>
{
public:
    void Lock() override
    {
        m_cs->Lock();
        ++locks;
    }
    void Unlock() override
    {
        ++unlocks;
        m_cs->Unlock();
    }
    int locks = 0;
    int unlocks = 0;

private:
    CKaRef<CKaCriticalSection> m_cs = new CKaCriticalSection;
};

// A waitable over a manual-reset event that counts its releases and may fail them.
class CFakeWaitable : public CKaObjectWithInterface<IKaWaitable>
{
public:
    explicit CFakeWaitable(bool signalled, long failCode = S_OK)
        : event(new CKaEvent(signalled, true)), m_failCode(failCode)
    {
    }
    TKaWaitResult Wait(DWORD timeout) override { return event->Wait(timeout); }
    void ReleaseWait() override
    {
        ++releases;
        if (m_failCode != S_OK) throw CKaCodeException(m_failCode);
    }
    HANDLE getHandle() override { return event->getHandle(); }

    CKaRef<CKaEvent> event;
    int releases = 0;

private:
    long m_failCode;
};

CKaArray<CKaRef<IKaWaitable>> Waitables(std::initializer_list<IKaWaitable*> objects)
{
    CKaArray<CKaRef<IKaWaitable>> array;
    for (IKaWaitable* object : objects) array.Add(object);
    return array;
}

CKaArray<CKaRef<IKaWaitable>> Events(unsigned long count, bool signalled)
{
    CKaArray<CKaRef<IKaWaitable>> array;
    for (unsigned long i = 0; i < count; ++i) array.Add(new CKaEvent(signalled, true));
    return array;
}

} // namespace

// ---- the kernel objects ---------------------------------------------------------------------

TEST(KaEvent, TheInitialStateComesBeforeTheResetMode)
{
    CKaRef<CKaEvent> manual = new CKaEvent(false, true, L"", nullptr);
    EXPECT_EQ(KaWaitTimeout, manual->Wait(0));
    manual->Set();
    EXPECT_EQ(KaWaitSignaled, manual->Wait(0));
    EXPECT_EQ(KaWaitSignaled, manual->Wait(0));
    manual->Reset();
    EXPECT_EQ(KaWaitTimeout, manual->Wait(0));

    CKaRef<CKaEvent> automatic = new CKaEvent(true, false);
    EXPECT_EQ(KaWaitSignaled, automatic->Wait(0));
    EXPECT_EQ(KaWaitTimeout, automatic->Wait(0));
    // A pulse with nobody waiting leaves it unsignalled.
    automatic->Pulse();
    EXPECT_EQ(KaWaitTimeout, automatic->Wait(0));
    automatic->ReleaseWait();

    EXPECT_EQ(static_cast<void*>(manual->getHandle()), static_cast<void*>(*manual));
    EXPECT_EQ(L"zel.core.system.event", manual->getObjectTypeId());
}

TEST(KaEvent, AFailedCreationThrowsTheSystemError)
{
    // A name that a mutex already holds cannot name an event.
    const CKaString name = L"zelka.test.clash." + CKaString::Build(L"%lu", GetCurrentProcessId());
    CKaRef<CKaMutex> mutex = new CKaMutex(false, name);
    EXPECT_EQ(static_cast<long>(HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE)),
              ThrownCode([&] { CKaRef<CKaEvent> event = new CKaEvent(false, true, name); }));
}

TEST(KaMutex, AnAbandonedMutexIsOwnedByItsNextWaiterButNotAcquiredByASingleWait)
{
    CKaRef<CKaMutex> mutex = AbandonedMutex();
    EXPECT_EQ(KaWaitAbandoned, mutex->Wait(INFINITE));
    EXPECT_FALSE(IsFree(mutex.getPtr())); // owned by this thread now
    mutex->Unlock();
    EXPECT_TRUE(IsFree(mutex.getPtr()));

    mutex = AbandonedMutex();
    CKaSingleWait wait(mutex.getPtr(), false);
    EXPECT_EQ(KaWaitAbandoned, wait.Wait(INFINITE));
    EXPECT_FALSE(wait.getAcquired());
    EXPECT_EQ(E_ACCESSDENIED, ThrownCode([&] { wait.ReleaseWait(); }));
    mutex->ReleaseWait();
}

TEST(KaMutex, LockCountsAnAbandonedMutexAsLockedAndUnlockReleasesIt)
{
    CKaRef<CKaMutex> mutex = AbandonedMutex();
    {
        CKaLock lock(mutex.getPtr());
        EXPECT_TRUE(lock.getLocked());
        EXPECT_FALSE(IsFree(mutex.getPtr()));
    }
    EXPECT_TRUE(IsFree(mutex.getPtr()));
    // Giving back what this thread does not own is the system's ERROR_NOT_OWNER.
    EXPECT_EQ(kNotOwner, ThrownCode([&] { mutex->Unlock(); }));

    CKaRef<CKaMutex> owned = new CKaMutex(true);
    EXPECT_EQ(KaWaitTimeout, WaitElsewhere(owned.getPtr(), 0, true));
    owned->ReleaseWait();
    EXPECT_EQ(L"zel.core.system.mutex", owned->getObjectTypeId());
}

TEST(KaSemaphore, CountsAreReleasedUpToTheMaximum)
{
    CKaRef<CKaSemaphore> semaphore = new CKaSemaphore(0, 5);
    EXPECT_EQ(KaWaitTimeout, semaphore->Wait(0));
    DWORD previous = 99;
    semaphore->Unlock(2, previous);
    EXPECT_EQ(0u, previous);
    semaphore->Unlock();
    semaphore->ReleaseWait();
    semaphore->Unlock(1, previous);
    EXPECT_EQ(4u, previous);
    previous = 99;
    EXPECT_EQ(kTooManyPosts, ThrownCode([&] { semaphore->Unlock(1, previous); }));
    EXPECT_EQ(99u, previous);
    EXPECT_EQ(kTooManyPosts, ThrownCode([&] { semaphore->Unlock(); }));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(KaWaitSignaled, semaphore->Wait(0));
    EXPECT_EQ(KaWaitTimeout, semaphore->Wait(0));

    // Locking takes one count.
    semaphore->Unlock();
    {
        CKaLock lock(semaphore.getPtr());
        EXPECT_EQ(KaWaitTimeout, semaphore->Wait(0));
    }
    EXPECT_EQ(KaWaitSignaled, semaphore->Wait(0));
    // An impossible maximum is refused by the system.
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaRef<CKaSemaphore> s = new CKaSemaphore(3, 2); }));
}

TEST(KaCriticalSection, IsRecursiveForItsOwnerAndExcludesOthers)
{
    CKaRef<CKaCriticalSection> cs = new CKaCriticalSection;
    cs->Lock();
    cs->Lock();
    bool entered = true;
    auto tryElsewhere = [&] {
        std::thread([&] {
            entered = TryEnterCriticalSection(cs->getCs()) != FALSE;
            if (entered) LeaveCriticalSection(*cs);
        }).join();
        return entered;
    };
    EXPECT_FALSE(tryElsewhere());
    cs->Unlock();
    EXPECT_FALSE(tryElsewhere());
    cs->Unlock();
    EXPECT_TRUE(tryElsewhere());
    EXPECT_EQ(L"zel.core.system.criticalsection", cs->getObjectTypeId());
}

// ---- CKaLock --------------------------------------------------------------------------------

TEST(KaLock, LocksOnceAndUnlocksWhenItGoes)
{
    CKaRef<CCountingLockable> counting = new CCountingLockable;
    {
        CKaLock lock(counting.getPtr());
        EXPECT_TRUE(lock.getLocked());
        EXPECT_EQ(E_ACCESSDENIED, ThrownCode([&] { lock.Lock(); }));
        EXPECT_TRUE(lock.getLocked());
        lock.Unlock();
        lock.Unlock(); // not locked: nothing happens
        lock.Lock();
    }
    EXPECT_EQ(2, counting->locks);
    EXPECT_EQ(2, counting->unlocks);

    CKaLock later(counting.getPtr(), false);
    EXPECT_FALSE(later.getLocked());
    EXPECT_EQ(2, counting->locks);
}

TEST(KaLock, ANullLockableLocksNothing)
{
    CKaLock lock(CKaRef<IKaLockable>(), true);
    EXPECT_FALSE(lock.getLocked());
    lock.Lock();
    EXPECT_FALSE(lock.getLocked());
    lock.Unlock();
}

TEST(KaLock, CopiesBelieveTheyHoldTheLockAndEachUnlocksOnce)
{
    CKaRef<CCountingLockable> counting = new CCountingLockable;
    counting->Lock(); // taken once more by hand, for the copy's unlock
    {
        CKaLock lock(counting.getPtr());
        CKaLock copy(lock);
        EXPECT_TRUE(copy.getLocked());
    }
    EXPECT_EQ(2, counting->locks);
    EXPECT_EQ(2, counting->unlocks);

    // Assigning over a locked CKaLock forgets what it held without unlocking it.
    CKaRef<CCountingLockable> other = new CCountingLockable;
    {
        CKaLock target(counting.getPtr());
        CKaLock source(other.getPtr(), false);
        target = source;
        EXPECT_FALSE(target.getLocked());
    }
    EXPECT_EQ(3, counting->locks);
    EXPECT_EQ(2, counting->unlocks);
    EXPECT_EQ(0, other->unlocks);
    counting->Unlock();

    // Assigning a locked one over an unlocked one on the same lockable copies the flag.
    {
        CKaLock locked(other.getPtr());
        CKaLock target(other.getPtr(), false);
        target = locked;
        EXPECT_TRUE(target.getLocked());
        other->Lock();
    }
    EXPECT_EQ(2, other->unlocks);
}

// ---- CKaSingleWait --------------------------------------------------------------------------

TEST(KaSingleWait, HoldsAWonWaitAndGivesItBack)
{
    CKaRef<CKaSemaphore> semaphore = new CKaSemaphore(1, 1);
    {
        CKaSingleWait wait(semaphore.getPtr());
        EXPECT_TRUE(wait.getAcquired());
        EXPECT_EQ(E_ACCESSDENIED, ThrownCode([&] { wait.Wait(0); }));
        EXPECT_FALSE(IsFree(semaphore.getPtr()));
        wait.ReleaseWait();
        EXPECT_EQ(E_ACCESSDENIED, ThrownCode([&] { wait.ReleaseWait(); }));
        EXPECT_TRUE(IsFree(semaphore.getPtr()));
        EXPECT_EQ(KaWaitSignaled, wait.Wait(0));
    }
    EXPECT_TRUE(IsFree(semaphore.getPtr()));

    CKaSingleWait idle(semaphore.getPtr(), false);
    semaphore->Wait(0);
    EXPECT_EQ(KaWaitTimeout, idle.Wait(0));
    EXPECT_FALSE(idle.getAcquired());
    semaphore->Unlock();
}

TEST(KaSingleWait, ANullWaitableIsSignalledButNeverAcquired)
{
    CKaSingleWait wait(CKaRef<IKaWaitable>(), false);
    EXPECT_EQ(KaWaitSignaled, wait.Wait(0));
    EXPECT_EQ(KaWaitSignaled, wait.Wait(INFINITE));
    EXPECT_EQ(E_ACCESSDENIED, ThrownCode([&] { wait.ReleaseWait(); }));
}

// ---- CKaMultiWait ---------------------------------------------------------------------------

TEST(KaMultiWait, WaitsForAllAndGivesEveryWaitBack)
{
    CKaRef<CKaMutex> mutex = new CKaMutex(false);
    CKaRef<CKaSemaphore> semaphore = new CKaSemaphore(1, 1);
    CKaRef<CKaEvent> event = new CKaEvent(false, true);
    {
        CKaMultiWait wait(Waitables({mutex, semaphore, event}), false);
        EXPECT_EQ(KaWaitTimeout, wait.Wait(0));
        // A wait on all takes nothing until all are signalled.
        EXPECT_TRUE(IsFree(mutex.getPtr()));
        EXPECT_TRUE(IsFree(semaphore.getPtr()));
        event->Set();
        EXPECT_EQ(KaWaitSignaled, wait.Wait(INFINITE));
        for (unsigned long i = 0; i < 3; ++i) EXPECT_TRUE(wait.getAcquired(i));
        EXPECT_FALSE(IsFree(mutex.getPtr()));
        EXPECT_FALSE(IsFree(semaphore.getPtr()));
        wait.ReleaseWait();
        EXPECT_FALSE(wait.getAcquired(0));
        EXPECT_TRUE(IsFree(mutex.getPtr()));
        EXPECT_TRUE(IsFree(semaphore.getPtr()));
        EXPECT_EQ(KaWaitSignaled, wait.Wait(INFINITE));
        EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { wait.getAcquired(3); }));
    }
    // The destructor gave back what the last wait won.
    EXPECT_TRUE(IsFree(mutex.getPtr()));
    EXPECT_TRUE(IsFree(semaphore.getPtr()));
}

TEST(KaMultiWait, TheHandlesAreTakenOnceAndTheArrayIsShared)
{
    CKaArray<CKaRef<IKaWaitable>> objects = Events(2, true);
    CKaMultiWait wait(objects, false);
    EXPECT_FALSE(wait.getUsesInlineStorage());
    EXPECT_EQ(KaWaitSignaled, wait.Wait(0));
    // The caller's later changes give its array a body of its own.
    objects.setAt(0, CKaRef<IKaWaitable>());
    objects.Add(new CKaEvent(false, true));
    EXPECT_EQ(KaWaitSignaled, wait.Wait(0));
    EXPECT_TRUE(wait.getUsesInlineStorage());
}

TEST(KaMultiWait, TenObjectsStayInlineElevenGoToTheHeap)
{
    for (unsigned long count : {1ul, 10ul, 11ul, 40ul}) {
        CKaArray<CKaRef<IKaWaitable>> objects = Events(count, true);
        CKaMultiWait wait(objects);
        EXPECT_EQ(count <= 10, wait.getUsesInlineStorage()) << count;
        for (unsigned long i = 0; i < count; ++i) EXPECT_TRUE(wait.getAcquired(i));
        CKaRef<IKaWaitable> which;
        EXPECT_EQ(KaWaitSignaled, wait.Wait(which, INFINITE));
        EXPECT_EQ(objects[0ul].getPtr(), which.getPtr());
    }
}

TEST(KaMultiWait, AWaitForAnyReportsTheObjectThatWasSignalled)
{
    for (unsigned long count : {3ul, 12ul}) {
        CKaArray<CKaRef<IKaWaitable>> objects = Events(count, false);
        CKaMultiWait wait(objects, false);
        static_cast<CKaEvent*>(objects[count - 1].getPtr())->Set();
        CKaRef<IKaWaitable> which = objects[0ul];
        EXPECT_EQ(KaWaitSignaled, wait.Wait(which, INFINITE));
        EXPECT_EQ(objects[count - 1].getPtr(), which.getPtr());
        EXPECT_TRUE(wait.getAcquired(count - 1));
        EXPECT_FALSE(wait.getAcquired(0));
    }
}

TEST(KaMultiWait, ATimedOutSelectingWaitReportsTheObjectAtTheTimeOutsPosition)
{
    CKaArray<CKaRef<IKaWaitable>> objects = Events(3, false);
    CKaMultiWait wait(objects, false);
    CKaRef<IKaWaitable> which;
    EXPECT_EQ(KaWaitTimeout, wait.Wait(which, 0));
    EXPECT_EQ(objects[0ul].getPtr(), which.getPtr());
    EXPECT_EQ(KaWaitTimeout, wait.Wait(which, 2));
    EXPECT_EQ(objects[2ul].getPtr(), which.getPtr());
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { wait.Wait(which, 50); }));
    EXPECT_EQ(objects[2ul].getPtr(), which.getPtr());
    for (unsigned long i = 0; i < 3; ++i) EXPECT_FALSE(wait.getAcquired(i));
}

TEST(KaMultiWait, AnAbandonedMutexIsReportedAndCountsAsWon)
{
    CKaRef<CKaMutex> mutex = AbandonedMutex();
    CKaRef<CKaEvent> event = new CKaEvent(false, true);
    CKaMultiWait wait(Waitables({event, mutex}), false);
    CKaRef<IKaWaitable> which;
    EXPECT_EQ(KaWaitAbandoned, wait.Wait(which, INFINITE));
    EXPECT_EQ(static_cast<IKaWaitable*>(mutex.getPtr()), which.getPtr());
    EXPECT_TRUE(wait.getAcquired(1));
    wait.ReleaseWait();
    EXPECT_TRUE(IsFree(mutex.getPtr()));

    CKaRef<CKaMutex> again = AbandonedMutex();
    CKaRef<CKaEvent> set = new CKaEvent(true, true);
    CKaMultiWait all(Waitables({set, again}), false);
    EXPECT_EQ(KaWaitAbandoned, all.Wait(INFINITE));
    EXPECT_TRUE(all.getAcquired(0) && all.getAcquired(1));
}

TEST(KaMultiWait, ANullEntryFailsEveryWaitBeforeWaiting)
{
    CKaRef<CKaSemaphore> semaphore = new CKaSemaphore(1, 1);
    CKaArray<CKaRef<IKaWaitable>> objects;
    objects.Add(semaphore.getPtr());
    objects.Add(CKaRef<IKaWaitable>());
    {
        CKaMultiWait wait(objects, false);
        EXPECT_EQ(E_POINTER, ThrownCode([&] { wait.Wait(0); }));
        EXPECT_EQ(E_POINTER, ThrownCode([&] { wait.Wait(0); }));
        EXPECT_FALSE(wait.getAcquired(0));
        EXPECT_TRUE(IsFree(semaphore.getPtr()));
    }
    EXPECT_EQ(E_POINTER, ThrownCode([&] { CKaMultiWait now(objects); }));
    EXPECT_TRUE(IsFree(semaphore.getPtr()));
    // With more than ten entries the arrays come from the heap; they go the same way.
    for (int i = 0; i < 10; ++i) objects.Add(new CKaEvent(true, true));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { CKaMultiWait now(objects); }));
}

TEST(KaMultiWait, AnEmptyWaitIsRefusedByTheSystem)
{
    CKaMultiWait wait(CKaArray<CKaRef<IKaWaitable>>(), false);
    EXPECT_EQ(static_cast<long>(HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER)),
              ThrownCode([&] { wait.Wait(0); }));
}

TEST(KaMultiWait, ReleasingGoesOnPastFailuresAndThrowsTheFirst)
{
    CKaRef<CFakeWaitable> good1 = new CFakeWaitable(true);
    CKaRef<CFakeWaitable> bad1 = new CFakeWaitable(true, E_FAIL);
    CKaRef<CFakeWaitable> good2 = new CFakeWaitable(true);
    CKaRef<CFakeWaitable> bad2 = new CFakeWaitable(true, E_UNEXPECTED);
    CKaMultiWait wait(Waitables({good1, bad1, good2, bad2}));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { wait.ReleaseWait(); }));
    EXPECT_EQ(1, good1->releases);
    EXPECT_EQ(1, good2->releases);
    EXPECT_EQ(1, bad2->releases);
    EXPECT_FALSE(wait.getAcquired(0) || wait.getAcquired(2));
    EXPECT_TRUE(wait.getAcquired(1) && wait.getAcquired(3));
    // Released again, only the failed ones are tried.
    EXPECT_EQ(E_FAIL, ThrownCode([&] { wait.ReleaseWait(); }));
    EXPECT_EQ(1, good1->releases);
    EXPECT_EQ(2, bad1->releases);
}

TEST(KaMultiWait, AMutexReleasedElsewhereFailsOnlyItsOwnRelease)
{
    CKaRef<CKaMutex> first = new CKaMutex(false);
    CKaRef<CKaMutex> second = new CKaMutex(false);
    CKaRef<CKaMutex> third = new CKaMutex(false);
    CKaMultiWait wait(Waitables({first, second, third}));
    second->Unlock();
    EXPECT_EQ(kNotOwner, ThrownCode([&] { wait.ReleaseWait(); }));
    EXPECT_TRUE(IsFree(first.getPtr()));
    EXPECT_TRUE(IsFree(third.getPtr()));
    EXPECT_TRUE(wait.getAcquired(1));
    EXPECT_FALSE(wait.getAcquired(0) || wait.getAcquired(2));
}

TEST(KaMultiWait, InputEndsAMessageAwareWaitForAnyWithAnException)
{
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE); // gives the thread a message queue
    CKaArray<CKaRef<IKaWaitable>> objects = Events(2, false);
    CKaMultiWait wait(objects, false);
    ASSERT_TRUE(PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0));
    CKaRef<IKaWaitable> which;
    EXPECT_EQ(KA_E_UNEXPECTED_WAIT_RESULT,
              ThrownCode([&] { wait.MsgWait(which, QS_ALLINPUT, INFINITE); }));
    EXPECT_TRUE(!which);
    // A wait for all needs the objects as well as the input.
    EXPECT_EQ(KaWaitTimeout, wait.MsgWait(QS_ALLINPUT, 0));
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
    }

    static_cast<CKaEvent*>(objects[1ul].getPtr())->Set();
    EXPECT_EQ(KaWaitSignaled, wait.MsgWait(which, QS_ALLINPUT, INFINITE));
    EXPECT_EQ(objects[1ul].getPtr(), which.getPtr());
    // On a time-out the wake mask is the position reported.
    static_cast<CKaEvent*>(objects[1ul].getPtr())->Reset();
    EXPECT_EQ(KaWaitTimeout, wait.MsgWait(which, 0, 0));
    EXPECT_EQ(objects[0ul].getPtr(), which.getPtr());
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { wait.MsgWait(which, QS_ALLINPUT, 0); }));
}

// ---- CKaTsEventMixin ------------------------------------------------------------------------

namespace {

class CFiring : public CKaTsEventMixin
{
public:
    static CRITICAL_SECTION& Section() { return m_Cs; }
};

} // namespace

TEST(KaTsEventMixin, TheProcessWideSectionIsReadyWhileTheLibraryIsLoaded)
{
    CFiring a, b;
    a = b;
    CKaSectionGuard guard(CFiring::Section());
    bool entered = true;
    std::thread([&] {
        entered = TryEnterCriticalSection(&CFiring::Section()) != FALSE;
        if (entered) LeaveCriticalSection(&CFiring::Section());
    }).join();
    EXPECT_FALSE(entered);
}
