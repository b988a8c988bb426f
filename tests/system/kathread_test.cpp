#include <gtest/gtest.h>
#include <thread>
#include "katest.h"

namespace {

// A thread object whose work waits for `go`, reports `started`, then ends with `result` (or
// throws it when `fail` is set). It counts its destructions in `destroyed`.
class CGatedThread : public CKaThread
{
public:
    explicit CGatedThread(int* destroyed = nullptr, CKaRef<IKaLockable> lock = nullptr)
        : CKaThread(lock), m_destroyed(destroyed)
    {
    }

    CKaRef<CKaEvent> go = new CKaEvent(false, true);
    CKaRef<CKaEvent> started = new CKaEvent(false, true);
    DWORD result = 0;
    bool fail = false;

protected:
    ~CGatedThread() override
    {
        if (m_destroyed) ++*m_destroyed;
    }

    void WorkerMethod() override
    {
        started->Set();
        go->Wait(INFINITE);
        if (fail) throw CKaCodeException(E_FAIL);
        setExitCodeToReturn(result);
    }

private:
    int* m_destroyed;
};

const long kWrongState = KA_E_THREAD_STATE;

} // namespace

TEST(KaThread, AJoinedThreadIsIdleAndMayRunAgain)
{
    CKaRef<CKaThread> thread = new CKaThread;
    EXPECT_EQ(KaThreadIdle, thread->getState());
    EXPECT_EQ(L"zel.core.system.thread", thread->getObjectTypeId());
    for (int round = 0; round < 2; ++round) {
        thread->Run();
        EXPECT_NE(0u, thread->getId());
        EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
        EXPECT_EQ(0u, thread->getExitCode());
        EXPECT_EQ(KaThreadIdle, thread->getState());
        EXPECT_EQ(nullptr, thread->getHandle());
        EXPECT_EQ(0u, thread->getId());
    }
}

TEST(KaThread, OperationsOutOfStateThrow)
{
    CKaRef<CGatedThread> thread = new CGatedThread;
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Join(0); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Suspend(); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Resume(); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->getPriority(); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->setPriority(0); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->setAffinityMask(1); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Terminate(); }));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Exit(); }));

    thread->Run();
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Run(); }));
    EXPECT_EQ(KaWaitTimeout, thread->Join(0));
    EXPECT_EQ(KaThreadRunning, thread->getState());
    thread->go->Set();
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Join(0); }));
}

TEST(KaThread, TheExitCodeIsWhatTheWorkSetOrAllOnesWhenItThrew)
{
    int destroyed = 0;
    {
        CKaRef<CGatedThread> thread = new CGatedThread(&destroyed);
        thread->result = 1234;
        thread->Run();
        thread->go->Set();
        EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
        EXPECT_EQ(1234u, thread->getExitCode());

        thread->fail = true;
        thread->go->Reset();
        thread->Run();
        EXPECT_EQ(0u, thread->getExitCode());
        thread->go->Set();
        // The failed work leaves the thread running until it is joined.
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread->getHandle(), INFINITE));
        EXPECT_EQ(KaThreadRunning, thread->getState());
        EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
        EXPECT_EQ(0xFFFFFFFFu, thread->getExitCode());
        EXPECT_EQ(KaThreadIdle, thread->getState());
    }
    // Neither ending left a reference behind.
    EXPECT_EQ(1, destroyed);
}

TEST(KaThread, AThreadReleasedByItsCreatorLivesUntilItsWorkEnds)
{
    for (bool fail : {false, true}) {
        int destroyed = 0;
        CKaRef<CGatedThread> thread = new CGatedThread(&destroyed);
        thread->fail = fail;
        thread->Run();
        const HANDLE handle = thread->getHandle();
        CKaRef<CKaEvent> go = thread->go;
        thread = nullptr;
        EXPECT_EQ(0, destroyed);
        go->Set();
        WaitForSingleObject(handle, INFINITE);
        EXPECT_EQ(1, destroyed);
        DWORD code = 0;
        GetExitCodeThread(handle, &code);
        EXPECT_EQ(fail ? 0xFFFFFFFFu : 0u, code);
        // Never joined, the handle was left open: its holder closes it.
        EXPECT_TRUE(CloseHandle(handle));
    }
}

TEST(KaThread, ACreateSuspendedThreadWaitsForResume)
{
    CKaRef<CGatedThread> thread = new CGatedThread;
    thread->setCreateSuspended(true);
    EXPECT_TRUE(thread->getCreateSuspended());
    thread->go->Set();
    thread->Run();
    EXPECT_EQ(KaWaitTimeout, thread->started->Wait(0));
    EXPECT_EQ(1u, thread->Suspend());
    EXPECT_EQ(2u, thread->Resume());
    EXPECT_EQ(1u, thread->Resume());
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
    EXPECT_EQ(KaWaitSignaled, thread->started->Wait(0));
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Resume(); }));
}

TEST(KaThread, ARunningThreadCanBePrioritisedAndPinned)
{
    CKaRef<CGatedThread> thread = new CGatedThread;
    thread->Run();
    thread->setPriority(THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, thread->getPriority());
    thread->setAffinityMask(1);
    EXPECT_EQ(static_cast<long>(HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER)),
              ThrownCode([&] { thread->setPriority(12345); }));
    thread->go->Set();
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
}

TEST(KaThread, TerminateEndsTheThreadWithTheExitCodeToReturn)
{
    int destroyed = 0;
    {
        CKaRef<CGatedThread> thread = new CGatedThread(&destroyed);
        thread->Run();
        thread->started->Wait(INFINITE);
        thread->setExitCodeToReturn(77);
        thread->Terminate();
        EXPECT_EQ(KaThreadFinished, thread->getState());
        EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Terminate(); }));
        EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
        EXPECT_EQ(77u, thread->getExitCode());
    }
    // The terminated thread's own reference was given back for it.
    EXPECT_EQ(1, destroyed);
}

TEST(KaThread, ExitFromAnotherThreadIsRefusedAndLeavesTheStateFinished)
{
    CKaRef<CGatedThread> thread = new CGatedThread;
    thread->Run();
    EXPECT_EQ(KA_E_THREAD_NOT_CURRENT, ThrownCode([&] { thread->Exit(); }));
    EXPECT_EQ(KaThreadFinished, thread->getState());
    EXPECT_EQ(kWrongState, ThrownCode([&] { thread->Exit(); }));
    thread->result = 5;
    thread->go->Set();
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
    EXPECT_EQ(5u, thread->getExitCode());
}

TEST(KaThread, ExitOnTheThreadItselfEndsItAtOnce)
{
    CKaRef<CKaThread> thread = new CKaThread;
    bool after = false;
    thread->setWorker(DKaThreadWorker::Build([&](CKaRef<CKaThread> self) {
        self->setExitCodeToReturn(42);
        self->Exit();
        after = true;
    }));
    thread->Run();
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
    EXPECT_EQ(42u, thread->getExitCode());
    EXPECT_FALSE(after);
}

TEST(KaThread, TheThreadCanSuspendItselfWithoutHoldingItsLock)
{
    CKaRef<CKaThread> thread = new CKaThread;
    CKaRef<CKaEvent> suspending = new CKaEvent(false, true);
    thread->setWorker(DKaThreadWorker::Build([&](CKaRef<CKaThread> self) {
        suspending->Set();
        self->Suspend();
    }));
    thread->Run();
    suspending->Wait(INFINITE);
    // Each call below takes the lock; a thread asleep holding it would block them forever. The
    // thread may not have gone to sleep yet: resume until it has been woken once.
    while (thread->Resume() == 0) Sleep(1);
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
}

namespace {

class CWorkerHost : public CKaObject
{
public:
    void Work(CKaRef<CKaThread> thread) { seen = thread.getPtr(); }
    CKaThread* seen = nullptr;
};

DWORD g_freeFunctionCalls = 0;
void FreeWorker(CKaRef<CKaThread> thread)
{
    ++g_freeFunctionCalls;
    thread->setExitCodeToReturn(g_freeFunctionCalls);
}

// Counts every call of its Lock, so that a test can see who takes it.
class CCountingLock : public CKaObjectWithInterface<IKaLockable>
{
public:
    void Lock() override
    {
        m_cs->Lock();
        InterlockedIncrement(&locks);
    }
    void Unlock() override { m_cs->Unlock(); }
    volatile long locks = 0;

private:
    CKaRef<CKaCriticalSection> m_cs = new CKaCriticalSection;
};

} // namespace

TEST(KaThreadWorker, BindsMembersFreeFunctionsAndLambdas)
{
    CKaRef<CWorkerHost> host = new CWorkerHost;
    CKaRef<CKaThread> thread = new CKaThread;
    thread->setWorker(DKaThreadWorker::Build(host, &CWorkerHost::Work));
    thread->Run();
    thread->Join(INFINITE);
    EXPECT_EQ(thread.getPtr(), host->seen);

    thread->setWorker(DKaThreadWorker::Build(&FreeWorker));
    thread->Run();
    thread->Join(INFINITE);
    EXPECT_EQ(1u, thread->getExitCode());

    int calls = 0;
    DKaThreadWorker lambda = DKaThreadWorker::Build([&calls](CKaRef<CKaThread>) { ++calls; });
    DKaThreadWorker copy = lambda;
    EXPECT_EQ(lambda.getTarget().getPtr(), copy.getTarget().getPtr());
    copy(thread);
    lambda.Invoke(nullptr);
    EXPECT_EQ(2, calls);
}

TEST(KaThreadWorker, EmptyWorkersAndNullTargets)
{
    DKaThreadWorker empty;
    EXPECT_TRUE(empty.getIsEmpty());
    EXPECT_EQ(E_POINTER, ThrownCode([&] { empty.Invoke(nullptr); }));
    void (*noFunction)(CKaRef<CKaThread>) = nullptr;
    EXPECT_EQ(E_POINTER, ThrownCode([&] { DKaThreadWorker::Build(noFunction); }));
    void (CWorkerHost::*none)(CKaRef<CKaThread>) = nullptr;
    EXPECT_EQ(E_POINTER,
              ThrownCode([&] { DKaThreadWorker::Build(CKaRef<CWorkerHost>(new CWorkerHost), none); }));

    // A thread without a worker does nothing and ends with 0.
    CKaRef<CKaThread> thread = new CKaThread;
    EXPECT_TRUE(thread->getWorker().getIsEmpty());
    thread->Run();
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
    EXPECT_EQ(0u, thread->getExitCode());
}

TEST(KaThread, ThreadsSharingALockTakeThatLock)
{
    CKaRef<CCountingLock> lock = new CCountingLock;
    CKaRef<CKaThread> first = new CKaThread(lock.getPtr());
    CKaRef<CKaThread> second = new CKaThread(lock.getPtr());
    first->setStackSize(128 * 1024);
    const long before = lock->locks;
    EXPECT_EQ(128u * 1024u, first->getStackSize());
    second->getStackSize();
    EXPECT_EQ(before + 2, lock->locks);
}

TEST(KaThread, SecurityAttributesAreAFreshZeroedBlock)
{
    CKaRef<CKaThread> thread = new CKaThread;
    EXPECT_EQ(nullptr, thread->getSecurityAttributes());
    SECURITY_ATTRIBUTES mine = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    thread->setSecurityAttributes(&mine);
    SECURITY_ATTRIBUTES* block = thread->getSecurityAttributes();
    ASSERT_NE(nullptr, block);
    EXPECT_NE(&mine, block);
    EXPECT_FALSE(block->bInheritHandle);
    // A block that claims to be shorter than the structure is still safe to start with.
    SECURITY_ATTRIBUTES tiny = {1, nullptr, TRUE};
    thread->setSecurityAttributes(&tiny);
    thread->Run();
    EXPECT_EQ(KaWaitSignaled, thread->Join(INFINITE));
    thread->setSecurityAttributes(nullptr);
    EXPECT_EQ(nullptr, thread->getSecurityAttributes());
}

TEST(KaThread, WaitingOnThreadsJoinsThem)
{
    CKaRef<CGatedThread> first = new CGatedThread;
    CKaRef<CGatedThread> second = new CGatedThread;
    first->Run();
    second->Run();
    {
        CKaSingleWait single(first.getPtr(), false);
        EXPECT_EQ(KaWaitTimeout, single.Wait(0));
        first->go->Set();
        EXPECT_EQ(KaWaitSignaled, single.Wait(INFINITE));
        EXPECT_EQ(KaThreadIdle, first->getState());
    }
    first->Run();
    CKaArray<CKaRef<IKaWaitable>> both;
    both.Add(first.getPtr());
    both.Add(second.getPtr());
    CKaMultiWait multi(both, false);
    EXPECT_EQ(KaWaitTimeout, multi.Wait(0));
    second->go->Set();
    EXPECT_EQ(KaWaitSignaled, multi.Wait(INFINITE));
    // The wait on several handles sees the threads end; joining them is still the caller's.
    EXPECT_EQ(KaWaitSignaled, first->Join(0));
    EXPECT_EQ(KaWaitSignaled, second->Join(0));
}
