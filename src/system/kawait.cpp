#include "zelka/kawait.h"
#include <exception>
#include <utility>

// ---- CKaLock --------------------------------------------------------------------------------

CKaLock::CKaLock(CKaRef<IKaLockable> lockable, bool lockNow)
    : m_lockable(std::move(lockable)), m_locked(false)
{
    if (lockNow) Lock();
}

CKaLock::CKaLock(const CKaLock& other) : m_lockable(other.m_lockable), m_locked(other.m_locked)
{
}

CKaLock& CKaLock::operator=(const CKaLock& other)
{
    m_lockable = other.m_lockable;
    m_locked = other.m_locked;
    return *this;
}

CKaLock::~CKaLock()
{
    try {
        Unlock();
    } catch (...) {
    }
}

void CKaLock::Lock()
{
    if (m_locked) throw CKaCodeException(E_ACCESSDENIED);
    if (!m_lockable) return;
    m_lockable->Lock();
    m_locked = true;
}

void CKaLock::Unlock()
{
    if (!m_locked) return;
    m_lockable->Unlock();
    m_locked = false;
}

bool CKaLock::getLocked() const
{
    return m_locked;
}

// ---- CKaSingleWait --------------------------------------------------------------------------

CKaSingleWait::CKaSingleWait(CKaRef<IKaWaitable> waitable, bool waitNow)
    : m_waitable(std::move(waitable)), m_acquired(false)
{
    if (waitNow) Wait(INFINITE);
}

CKaSingleWait::~CKaSingleWait()
{
    if (!m_acquired) return;
    try {
        ReleaseWait();
    } catch (...) {
    }
}

TKaWaitResult CKaSingleWait::Wait(DWORD timeout)
{
    if (m_acquired) throw CKaCodeException(E_ACCESSDENIED);
    if (!m_waitable) return KaWaitSignaled;
    const TKaWaitResult result = m_waitable->Wait(timeout);
    m_acquired = result == KaWaitSignaled;
    return result;
}

void CKaSingleWait::ReleaseWait()
{
    if (!m_acquired) throw CKaCodeException(E_ACCESSDENIED);
    m_waitable->ReleaseWait();
    m_acquired = false;
}

bool CKaSingleWait::getAcquired() const
{
    return m_acquired;
}

// ---- CKaMultiWait ---------------------------------------------------------------------------

CKaMultiWait::CKaMultiWait(CKaArray<CKaRef<IKaWaitable>> objects, bool waitNow)
    : m_objects(objects), m_handles(nullptr), m_acquired(nullptr)
{
    if (!waitNow) return;
    try {
        Wait(INFINITE);
    } catch (...) {
        // No destructor runs for an object whose constructor throws.
        FreeArrays();
        throw;
    }
}

CKaMultiWait::~CKaMultiWait()
{
    try {
        ReleaseWait();
    } catch (...) {
    }
    FreeArrays();
}

DWORD CKaMultiWait::Count() const
{
    return m_objects.getCount();
}

void CKaMultiWait::FreeArrays() noexcept
{
    if (m_handles != m_inlineHandles) {
        CKaNewDeleteMixin::operator delete(m_handles);
        CKaNewDeleteMixin::operator delete(m_acquired);
    }
    m_handles = nullptr;
    m_acquired = nullptr;
}

void CKaMultiWait::BuildHandleArray()
{
    if (m_handles) return;
    const DWORD count = Count();
    HANDLE* handles = m_inlineHandles;
    bool* acquired = m_inlineAcquired;
    if (count > kInlineCount) {
        handles = static_cast<HANDLE*>(CKaNewDeleteMixin::operator new(count * sizeof(HANDLE)));
        acquired = static_cast<bool*>(CKaNewDeleteMixin::operator new(count * sizeof(bool)));
    }
    m_handles = handles;
    m_acquired = acquired;
    // Every flag is cleared before any entry is checked, so a build that fails on a null entry
    // leaves nothing marked as won; the arrays are dropped again so that every later wait fails
    // the same way instead of waiting on a half-built array.
    for (DWORD i = 0; i < count; ++i) acquired[i] = false;
    try {
        for (DWORD i = 0; i < count; ++i) handles[i] = m_objects.getAt(i)->getHandle();
    } catch (...) {
        FreeArrays();
        throw;
    }
}

TKaWaitResult CKaMultiWait::HandleWaitResult(bool waitAll, DWORD result, DWORD& index)
{
    const DWORD count = Count();
    TKaWaitResult outcome;
    DWORD won;
    if (result == WAIT_FAILED) {
        KaThrowLastError();
    } else if (result == WAIT_TIMEOUT) {
        return KaWaitTimeout;
    } else if (result < WAIT_OBJECT_0 + count) {
        outcome = KaWaitSignaled;
        won = result - WAIT_OBJECT_0;
    } else if (result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count) {
        outcome = KaWaitAbandoned;
        won = result - WAIT_ABANDONED_0;
    } else {
        // WAIT_OBJECT_0 + count included: input arrived during a message-aware wait.
        throw CKaCodeException(KA_E_UNEXPECTED_WAIT_RESULT);
    }
    if (waitAll) {
        for (DWORD i = 0; i < count; ++i) m_acquired[i] = true;
    } else {
        index = won;
        m_acquired[won] = true;
    }
    return outcome;
}

TKaWaitResult CKaMultiWait::Select(CKaRef<IKaWaitable>& which, DWORD result, DWORD index)
{
    // `index` arrives holding the caller's time-out (or wake mask) and is overwritten only when
    // an object was won, so a time-out selects the object at that position.
    const TKaWaitResult outcome = HandleWaitResult(false, result, index);
    which = m_objects.getAt(index);
    return outcome;
}

TKaWaitResult CKaMultiWait::Wait(DWORD timeout)
{
    BuildHandleArray();
    DWORD unused = 0;
    return HandleWaitResult(true, WaitForMultipleObjects(Count(), m_handles, TRUE, timeout),
                            unused);
}

TKaWaitResult CKaMultiWait::Wait(CKaRef<IKaWaitable>& which, DWORD timeout)
{
    BuildHandleArray();
    return Select(which, WaitForMultipleObjects(Count(), m_handles, FALSE, timeout), timeout);
}

TKaWaitResult CKaMultiWait::MsgWait(DWORD wakeMask, DWORD timeout)
{
    BuildHandleArray();
    DWORD unused = 0;
    return HandleWaitResult(
        true, MsgWaitForMultipleObjects(Count(), m_handles, TRUE, timeout, wakeMask), unused);
}

TKaWaitResult CKaMultiWait::MsgWait(CKaRef<IKaWaitable>& which, DWORD wakeMask, DWORD timeout)
{
    BuildHandleArray();
    return Select(which, MsgWaitForMultipleObjects(Count(), m_handles, FALSE, timeout, wakeMask),
                  wakeMask);
}

void CKaMultiWait::ReleaseWait()
{
    if (!m_acquired) return;
    std::exception_ptr first;
    const DWORD count = Count();
    for (DWORD i = 0; i < count; ++i) {
        if (!m_acquired[i]) continue;
        try {
            m_objects.getAt(i)->ReleaseWait();
            m_acquired[i] = false;
        } catch (const CKaException&) {
            if (!first) first = std::current_exception();
        }
    }
    if (first) std::rethrow_exception(first);
}

bool CKaMultiWait::getAcquired(unsigned long index) const
{
    KaCheckIndex(index, Count());
    return m_acquired && m_acquired[index];
}

bool CKaMultiWait::getUsesInlineStorage() const
{
    return m_handles && m_handles == m_inlineHandles;
}
