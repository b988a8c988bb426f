#ifndef ZELKA_KATHREAD_H
#define ZELKA_KATHREAD_H

#include <utility>
#include "kasync.h"

class CKaThread;

// What a worker delegate calls: a counted object with one invoke operation.
class ZELKA_API CKaThreadWorkerTarget : public CKaObject
{
public:
    virtual void Invoke(CKaRef<CKaThread> thread) = 0;
};

// The work of a thread: one shared reference to a target, or nothing. Copies share the target.
class ZELKA_API DKaThreadWorker
{
public:
    DKaThreadWorker() noexcept = default;
    explicit DKaThreadWorker(CKaRef<CKaThreadWorkerTarget> target);

    // A worker that calls `callable(thread)`: a free function, a lambda, any function object.
    template <class F>
    static DKaThreadWorker Build(F callable);
    // A null function throws E_POINTER.
    static DKaThreadWorker Build(void (*function)(CKaRef<CKaThread>));
    // A worker that calls `(object->*method)(thread)`, keeping the object alive as long as the
    // worker exists.
    template <class T>
    static DKaThreadWorker Build(CKaRef<T> object, void (T::*method)(CKaRef<CKaThread>));

    // An empty worker throws E_POINTER.
    void Invoke(CKaRef<CKaThread> thread) const;
    void operator()(CKaRef<CKaThread> thread) const { Invoke(thread); }

    bool getIsEmpty() const { return !m_target; }
    CKaRef<CKaThreadWorkerTarget> getTarget() const { return m_target; }

private:
    template <class F>
    class CCallableTarget;

    CKaRef<CKaThreadWorkerTarget> m_target;
};

template <class F>
class DKaThreadWorker::CCallableTarget final : public CKaThreadWorkerTarget
{
public:
    explicit CCallableTarget(F callable) : m_callable(std::move(callable)) {}
    void Invoke(CKaRef<CKaThread> thread) override { m_callable(thread); }

private:
    F m_callable;
};

template <class F>
DKaThreadWorker DKaThreadWorker::Build(F callable)
{
    return DKaThreadWorker(new CCallableTarget<F>(std::move(callable)));
}

template <class T>
DKaThreadWorker DKaThreadWorker::Build(CKaRef<T> object, void (T::*method)(CKaRef<CKaThread>))
{
    if (!object || !method) KaThrowNullReference();
    return Build([object, method](CKaRef<CKaThread> thread) { (object.getPtr()->*method)(thread); });
}

enum TKaThreadState
{
    KaThreadIdle = 0,     // no thread: never started, or joined
    KaThreadStarting = 1, // Run is creating the thread
    KaThreadRunning = 2,  // the thread exists and its work has not ended
    KaThreadFinished = 3, // the work ended (or Exit or Terminate was called); not yet joined
};

// One operating-system thread at a time, running a worker or an overridden WorkerMethod. While
// its thread runs, the object holds a reference on itself, so the creator may let it go. Join
// (or a wait on it) retires the thread, after which the object may Run again.
//
// Every state change happens under one lock, which several thread objects may share. Exit and
// Terminate end the thread at once: whatever is on its stack, the worker's own reference to this
// object included, is never released. Prefer returning from the worker.
class ZELKA_API CKaThread : public CKaObjectWithInterface<IKaWaitable>
{
public:
    // A null lock gives the object a critical section of its own.
    explicit CKaThread(CKaRef<IKaLockable> lock = CKaRef<IKaLockable>());

    CKaString getObjectTypeInfo() override;

    bool getCreateSuspended();
    void setCreateSuspended(bool createSuspended);
    DWORD getStackSize();
    void setStackSize(DWORD stackSize);
    // The thread is created with a block of the size `security->nLength` names, zero-filled (no
    // security descriptor, not inheritable) and at least one whole SECURITY_ATTRIBUTES long; the
    // caller's contents are not copied: fill the block through getSecurityAttributes.
    SECURITY_ATTRIBUTES* getSecurityAttributes();
    void setSecurityAttributes(SECURITY_ATTRIBUTES* security);
    DKaThreadWorker getWorker();
    void setWorker(DKaThreadWorker worker);
    DWORD getExitCodeToReturn();
    void setExitCodeToReturn(DWORD code);
    HANDLE getHandle() override;
    DWORD getId();
    // The code Join read from the ended thread (read without the lock).
    DWORD getExitCode() const;
    TKaThreadState getState();

    virtual void Run();
    TKaWaitResult Join(DWORD timeout);
    // Both return the previous suspend count.
    virtual DWORD Suspend();
    virtual DWORD Resume();
    void Terminate();
    // Called by the thread itself: ends it at once with the exit code to return.
    [[noreturn]] void Exit();
    long getPriority();
    void setPriority(long priority);
    void setAffinityMask(DWORD mask);

    // Waiting on a thread joins it; a won wait takes nothing.
    TKaWaitResult Wait(DWORD timeout) override;
    void ReleaseWait() override;

protected:
    ~CKaThread() override;

    static unsigned __stdcall ThreadProc(void* param);
    DWORD ThreadMethod();
    // Runs the worker; a derived class may do its work here instead.
    virtual void WorkerMethod();
    DWORD PrepareExit();

private:
    // A field read or written under the lock.
    template <class T>
    T Read(const T& field);
    template <class T>
    void Write(T& field, const T& value);
    // The state check of the operations that need a thread: running, or finished and not joined.
    void CheckHasThread() const;
    bool IsCallingThread() const;
    // Clears the self-reference flag (under the lock) and tells whether a Release is owed.
    bool TakeSelfReference();
    void FreeSecurityAttributes() noexcept;

    CKaRef<IKaLockable> m_lock;
    bool m_createSuspended;
    DWORD m_stackSize;
    SECURITY_ATTRIBUTES* m_security;
    TKaThreadState m_state;
    bool m_selfReference;
    HANDLE m_handle;
    DWORD m_id;
    volatile DWORD m_exitCode;
    DKaThreadWorker m_worker;
    DWORD m_exitCodeToReturn;
};

#endif
