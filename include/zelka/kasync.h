#ifndef ZELKA_KASYNC_H
#define ZELKA_KASYNC_H

#include "kaexport.h"
#include "kahandle.h"
#include "kaobject.h"

// How a wait ended.
enum TKaWaitResult
{
    KaWaitTimeout = 0,   // the time-out elapsed
    KaWaitSignaled = 1,  // the object (for a wait on all: every object) was signalled
    KaWaitAbandoned = 2, // a mutex whose owner ended without releasing it; the caller owns it now
};

// Something that can be locked and unlocked; failures are thrown.
class ZELKA_API IKaLockable : public IKaRefCounted
{
public:
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
};

// Something with a kernel handle that can be waited on. ReleaseWait gives back what a won wait
// took (nothing for an event or a thread); getHandle is what a wait on several objects is given.
class ZELKA_API IKaWaitable : public IKaRefCounted
{
public:
    virtual TKaWaitResult Wait(DWORD timeout) = 0;
    virtual void ReleaseWait() = 0;
    virtual HANDLE getHandle() = 0;
};

// A critical section: recursive for its owning thread, never failing.
class ZELKA_API CKaCriticalSection : public CKaObjectWithInterface<IKaLockable>
{
public:
    CKaCriticalSection();

    CKaString getObjectTypeInfo() override;

    void Lock() override;
    void Unlock() override;

    CRITICAL_SECTION* getCs();
    operator CRITICAL_SECTION*();

protected:
    ~CKaCriticalSection() override;

private:
    CRITICAL_SECTION m_cs;
};

// The part every kernel-object wrapper shares: the owned handle, closed with the object, and the
// one way a wait on it fails.
class ZELKA_API CKaKernelWaitable : public CKaObjectWithInterface<IKaWaitable>
{
public:
    HANDLE getHandle() override;
    operator void*();

protected:
    // A null handle is the failure of the call that made it: its last error is thrown.
    explicit CKaKernelWaitable(HANDLE handle);

    // WaitForSingleObject on the handle, read as a wait result; `abandonable` objects (mutexes
    // and semaphores) may end a wait abandoned, anything else unmapped is E_UNEXPECTED.
    TKaWaitResult WaitHandle(DWORD timeout, bool abandonable);

private:
    CKaOwnedKernelHandle m_handle;
};

// A kernel object that is also a lock: Lock waits for it without a time-out and counts an
// abandoned wait as locked; Unlock gives the wait back.
class ZELKA_API CKaKernelLockable : public CKaKernelWaitable, public IKaLockable
{
public:
    unsigned long AddRef() override;
    unsigned long Release() override;

    TKaWaitResult Wait(DWORD timeout) override;
    void Lock() override;

protected:
    using CKaKernelWaitable::CKaKernelWaitable;
};

// An empty name makes an unnamed object; the security attributes go to the system unchanged.
class ZELKA_API CKaEvent : public CKaKernelWaitable
{
public:
    // The initial state comes before the manual-reset choice.
    CKaEvent(bool initialState, bool manualReset, CKaString name = CKaString(),
             SECURITY_ATTRIBUTES* security = nullptr);

    CKaString getObjectTypeInfo() override;

    void Set();
    void Reset();
    void Pulse();

    // A won event wait takes nothing: ReleaseWait does nothing.
    TKaWaitResult Wait(DWORD timeout) override;
    void ReleaseWait() override;
};

class ZELKA_API CKaMutex : public CKaKernelLockable
{
public:
    explicit CKaMutex(bool initialOwner, CKaString name = CKaString(),
                      SECURITY_ATTRIBUTES* security = nullptr);

    CKaString getObjectTypeInfo() override;

    // ReleaseMutex; Unlock is the same.
    void ReleaseWait() override;
    void Unlock() override;
};

class ZELKA_API CKaSemaphore : public CKaKernelLockable
{
public:
    CKaSemaphore(DWORD initialCount, DWORD maximumCount, CKaString name = CKaString(),
                 SECURITY_ATTRIBUTES* security = nullptr);

    CKaString getObjectTypeInfo() override;

    // ReleaseSemaphore by `count`; the second form also tells the count before.
    void Unlock(DWORD count);
    void Unlock(DWORD count, DWORD& previousCount);
    // Both release by one.
    void Unlock() override;
    void ReleaseWait() override;
};

// Mixed into classes that fire events from several threads: they serialise the firing on the
// one process-wide section, which exists while the library is loaded.
class ZELKA_API CKaTsEventMixin
{
public:
    CKaTsEventMixin() {}
    CKaTsEventMixin(const CKaTsEventMixin&) {}
    CKaTsEventMixin& operator=(const CKaTsEventMixin&) { return *this; }
    ~CKaTsEventMixin() {}

    // Called by the library when it is attached to and detached from a process.
    static void Initialize();
    static void Cleanup();

protected:
    static CRITICAL_SECTION m_Cs;
};

#endif
