#ifndef ZELKA_KAWAIT_H
#define ZELKA_KAWAIT_H

#include "kaarray.h"
#include "kasync.h"

// Holds a lock for a scope. A null lockable is accepted: locking it does nothing.
//
// Copies are deliberately naive: a copy of a locked CKaLock believes it holds the lock too, so
// each of the two unlocks once when it goes; assigning over a locked CKaLock forgets what it held
// without unlocking it. Pass a CKaLock by reference, or copy it only with a recursive lock taken
// once more for the copy.
class ZELKA_API CKaLock
{
public:
    explicit CKaLock(CKaRef<IKaLockable> lockable, bool lockNow = true);
    CKaLock(const CKaLock& other);
    CKaLock& operator=(const CKaLock& other);
    // Unlocks as Unlock does; a failure to unlock cannot be reported from here and is dropped.
    ~CKaLock();

    // Locking twice through one CKaLock is E_ACCESSDENIED.
    void Lock();
    // Does nothing when not locked.
    void Unlock();
    bool getLocked() const;

private:
    CKaRef<IKaLockable> m_lockable;
    bool m_locked;
};

// Holds a won wait on one object for a scope. Only a signalled wait counts as won: a wait that
// found a mutex abandoned owns the mutex but leaves this object idle, and the mutex must then be
// given back through the mutex itself. A null waitable is always signalled and never won.
class ZELKA_API CKaSingleWait
{
public:
    explicit CKaSingleWait(CKaRef<IKaWaitable> waitable, bool waitNow = true);
    CKaSingleWait(const CKaSingleWait&) = delete;
    CKaSingleWait& operator=(const CKaSingleWait&) = delete;
    // Gives back a won wait; a failure cannot be reported from here and is dropped.
    ~CKaSingleWait();

    // Waiting again while a wait is held is E_ACCESSDENIED.
    TKaWaitResult Wait(DWORD timeout);
    // E_ACCESSDENIED when no wait is held.
    void ReleaseWait();
    bool getAcquired() const;

private:
    CKaRef<IKaWaitable> m_waitable;
    bool m_acquired;
};

// Waits on several objects at once and remembers which waits were won, so that they can be given
// back together. The handles are taken once, at the first wait; up to 10 objects need no heap.
//
// The selecting waits reuse their time-out (Wait) or wake mask (MsgWait) as the index of the
// object they report, and a time-out writes no index: after a time-out they report the object at
// that position, or throw KA_E_INDEX_OUT_OF_RANGE when there is none. Use them with INFINITE.
// A message-aware wait never returns because input arrived: it throws
// KA_E_UNEXPECTED_WAIT_RESULT, which a caller that pumps messages catches.
class ZELKA_API CKaMultiWait
{
public:
    static const unsigned long kInlineCount = 10;

    // With `waitNow`, waits for all of them without a time-out.
    explicit CKaMultiWait(CKaArray<CKaRef<IKaWaitable>> objects, bool waitNow = true);
    CKaMultiWait(const CKaMultiWait&) = delete;
    CKaMultiWait& operator=(const CKaMultiWait&) = delete;
    // Gives back every won wait (failures are dropped: nothing can report them here).
    virtual ~CKaMultiWait();

    // Waits for all.
    TKaWaitResult Wait(DWORD timeout);
    // Waits for any one and stores it in `which`.
    TKaWaitResult Wait(CKaRef<IKaWaitable>& which, DWORD timeout);
    // As the two waits above, also woken by input of the kinds in `wakeMask`.
    TKaWaitResult MsgWait(DWORD wakeMask, DWORD timeout);
    TKaWaitResult MsgWait(CKaRef<IKaWaitable>& which, DWORD wakeMask, DWORD timeout);

    // Gives back every won wait in order; when some fail, the others are still given back, the
    // failed ones stay marked as won, and the first failure is thrown at the end.
    void ReleaseWait();

    // Whether the wait on the object at `index` is held (false before the first wait).
    bool getAcquired(unsigned long index) const;
    // Whether the handles live in the object itself rather than on the heap (false before the
    // first wait).
    bool getUsesInlineStorage() const;

protected:
    void BuildHandleArray();
    TKaWaitResult HandleWaitResult(bool waitAll, DWORD result, DWORD& index);

private:
    DWORD Count() const;
    TKaWaitResult Select(CKaRef<IKaWaitable>& which, DWORD result, DWORD index);
    void FreeArrays() noexcept;

    CKaArray<CKaRef<IKaWaitable>> m_objects;
    HANDLE* m_handles;
    bool* m_acquired;
    HANDLE m_inlineHandles[kInlineCount];
    bool m_inlineAcquired[kInlineCount];
};

#endif
