#include "zelka/kasync.h"
#include "zelka/kaexception.h"
#include "system/kawaitresult.h"

namespace {

// The system takes a null name for an unnamed object.
const wchar_t* KernelName(const CKaString& name)
{
    return name.getIsEmpty() ? nullptr : name.getSz();
}

void CheckWin32(BOOL succeeded)
{
    if (!succeeded) KaThrowLastError();
}

} // namespace

TKaWaitResult KaReadSingleWait(DWORD result, bool abandonable, long unexpected)
{
    switch (result) {
    case WAIT_OBJECT_0:
        return KaWaitSignaled;
    case WAIT_TIMEOUT:
        return KaWaitTimeout;
    case WAIT_FAILED:
        KaThrowLastError();
    case WAIT_ABANDONED:
        if (abandonable) return KaWaitAbandoned;
        break;
    default:
        break;
    }
    throw CKaCodeException(unexpected);
}

// ---- CKaCriticalSection ---------------------------------------------------------------------

CKaCriticalSection::CKaCriticalSection()
{
    InitializeCriticalSection(&m_cs);
}

CKaCriticalSection::~CKaCriticalSection()
{
    DeleteCriticalSection(&m_cs);
}

CKaString CKaCriticalSection::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.criticalsection", CKaObject::getObjectTypeInfo());
}

void CKaCriticalSection::Lock()
{
    EnterCriticalSection(&m_cs);
}

void CKaCriticalSection::Unlock()
{
    LeaveCriticalSection(&m_cs);
}

CRITICAL_SECTION* CKaCriticalSection::getCs()
{
    return &m_cs;
}

CKaCriticalSection::operator CRITICAL_SECTION*()
{
    return &m_cs;
}

// ---- kernel objects -------------------------------------------------------------------------

CKaKernelWaitable::CKaKernelWaitable(HANDLE handle) : m_handle(handle)
{
    if (!handle) KaThrowLastError();
}

HANDLE CKaKernelWaitable::getHandle()
{
    return m_handle.Get();
}

CKaKernelWaitable::operator void*()
{
    return m_handle.Get();
}

TKaWaitResult CKaKernelWaitable::WaitHandle(DWORD timeout, bool abandonable)
{
    return KaReadSingleWait(WaitForSingleObject(m_handle.Get(), timeout), abandonable,
                            E_UNEXPECTED);
}

unsigned long CKaKernelLockable::AddRef()
{
    return CKaObject::AddRef();
}

unsigned long CKaKernelLockable::Release()
{
    return CKaObject::Release();
}

TKaWaitResult CKaKernelLockable::Wait(DWORD timeout)
{
    return WaitHandle(timeout, true);
}

void CKaKernelLockable::Lock()
{
    // Through the waitable face, so a class that changes Wait changes Lock too.
    static_cast<IKaWaitable*>(this)->Wait(INFINITE);
}

// ---- CKaEvent -------------------------------------------------------------------------------

CKaEvent::CKaEvent(bool initialState, bool manualReset, CKaString name,
                   SECURITY_ATTRIBUTES* security)
    : CKaKernelWaitable(CreateEventW(security, manualReset, initialState, KernelName(name)))
{
}

CKaString CKaEvent::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.event", CKaObject::getObjectTypeInfo());
}

void CKaEvent::Set()
{
    CheckWin32(SetEvent(getHandle()));
}

void CKaEvent::Reset()
{
    CheckWin32(ResetEvent(getHandle()));
}

void CKaEvent::Pulse()
{
    CheckWin32(PulseEvent(getHandle()));
}

TKaWaitResult CKaEvent::Wait(DWORD timeout)
{
    return WaitHandle(timeout, false);
}

void CKaEvent::ReleaseWait() {}

// ---- CKaMutex -------------------------------------------------------------------------------

CKaMutex::CKaMutex(bool initialOwner, CKaString name, SECURITY_ATTRIBUTES* security)
    : CKaKernelLockable(CreateMutexW(security, initialOwner, KernelName(name)))
{
}

CKaString CKaMutex::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.mutex", CKaObject::getObjectTypeInfo());
}

void CKaMutex::ReleaseWait()
{
    CheckWin32(ReleaseMutex(getHandle()));
}

void CKaMutex::Unlock()
{
    ReleaseWait();
}

// ---- CKaSemaphore ---------------------------------------------------------------------------

CKaSemaphore::CKaSemaphore(DWORD initialCount, DWORD maximumCount, CKaString name,
                           SECURITY_ATTRIBUTES* security)
    : CKaKernelLockable(CreateSemaphoreW(security, static_cast<LONG>(initialCount),
                                         static_cast<LONG>(maximumCount), KernelName(name)))
{
}

CKaString CKaSemaphore::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.semaphore", CKaObject::getObjectTypeInfo());
}

void CKaSemaphore::Unlock(DWORD count)
{
    CheckWin32(ReleaseSemaphore(getHandle(), static_cast<LONG>(count), nullptr));
}

void CKaSemaphore::Unlock(DWORD count, DWORD& previousCount)
{
    LONG previous = 0;
    CheckWin32(ReleaseSemaphore(getHandle(), static_cast<LONG>(count), &previous));
    previousCount = static_cast<DWORD>(previous);
}

void CKaSemaphore::Unlock()
{
    Unlock(1);
}

void CKaSemaphore::ReleaseWait()
{
    Unlock(1);
}

// ---- CKaTsEventMixin ------------------------------------------------------------------------

CRITICAL_SECTION CKaTsEventMixin::m_Cs;

void CKaTsEventMixin::Initialize()
{
    InitializeCriticalSection(&m_Cs);
}

void CKaTsEventMixin::Cleanup()
{
    DeleteCriticalSection(&m_Cs);
}
