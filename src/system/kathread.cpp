#include "zelka/kathread.h"
#include <process.h>
#include <stdlib.h>
#include <cstring>
#include "zelka/kawait.h"
#include "system/kawaitresult.h"

// ---- DKaThreadWorker ------------------------------------------------------------------------

DKaThreadWorker::DKaThreadWorker(CKaRef<CKaThreadWorkerTarget> target) : m_target(target) {}

DKaThreadWorker DKaThreadWorker::Build(void (*function)(CKaRef<CKaThread>))
{
    if (!function) KaThrowNullReference();
    return Build<void (*)(CKaRef<CKaThread>)>(function);
}

void DKaThreadWorker::Invoke(CKaRef<CKaThread> thread) const
{
    m_target->Invoke(thread);
}

// ---- construction and properties ------------------------------------------------------------

template <class T>
T CKaThread::Read(const T& field)
{
    CKaLock lock(m_lock);
    return field;
}

template <class T>
void CKaThread::Write(T& field, const T& value)
{
    CKaLock lock(m_lock);
    field = value;
}

CKaThread::CKaThread(CKaRef<IKaLockable> lock)
    : m_lock(lock), m_createSuspended(false), m_stackSize(0), m_security(nullptr),
      m_state(KaThreadIdle), m_selfReference(false), m_handle(nullptr), m_id(0), m_exitCode(0),
      m_exitCodeToReturn(0)
{
    if (!m_lock) m_lock = new CKaCriticalSection;
}

// The thread handle is not closed here: a thread that was never joined keeps it open, so that a
// handle taken from getHandle stays valid for its holder.
CKaThread::~CKaThread()
{
    FreeSecurityAttributes();
}

CKaString CKaThread::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.thread", CKaObject::getObjectTypeInfo());
}

bool CKaThread::getCreateSuspended()
{
    return Read(m_createSuspended);
}

void CKaThread::setCreateSuspended(bool createSuspended)
{
    Write(m_createSuspended, createSuspended);
}

DWORD CKaThread::getStackSize()
{
    return Read(m_stackSize);
}

void CKaThread::setStackSize(DWORD stackSize)
{
    Write(m_stackSize, stackSize);
}

SECURITY_ATTRIBUTES* CKaThread::getSecurityAttributes()
{
    return Read(m_security);
}

void CKaThread::FreeSecurityAttributes() noexcept
{
    CKaNewDeleteMixin::operator delete(m_security);
    m_security = nullptr;
}

void CKaThread::setSecurityAttributes(SECURITY_ATTRIBUTES* security)
{
    CKaLock lock(m_lock);
    FreeSecurityAttributes();
    if (!security) return;
    // The block is never filled from the caller's structure; zero-filled and never shorter than
    // the structure, it still is a valid default when nobody fills it, and the system never reads
    // beyond it whatever nLength said.
    const std::size_t size = security->nLength > sizeof(SECURITY_ATTRIBUTES)
                                 ? security->nLength
                                 : sizeof(SECURITY_ATTRIBUTES);
    void* block = CKaNewDeleteMixin::operator new(size);
    std::memset(block, 0, size);
    m_security = static_cast<SECURITY_ATTRIBUTES*>(block);
}

DKaThreadWorker CKaThread::getWorker()
{
    return Read(m_worker);
}

void CKaThread::setWorker(DKaThreadWorker worker)
{
    Write(m_worker, worker);
}

DWORD CKaThread::getExitCodeToReturn()
{
    return Read(m_exitCodeToReturn);
}

void CKaThread::setExitCodeToReturn(DWORD code)
{
    Write(m_exitCodeToReturn, code);
}

HANDLE CKaThread::getHandle()
{
    return Read(m_handle);
}

DWORD CKaThread::getId()
{
    return Read(m_id);
}

DWORD CKaThread::getExitCode() const
{
    return m_exitCode;
}

TKaThreadState CKaThread::getState()
{
    return Read(m_state);
}

// ---- helpers (callers hold the lock) --------------------------------------------------------

void CKaThread::CheckHasThread() const
{
    if (m_state != KaThreadRunning && m_state != KaThreadFinished) {
        throw CKaCodeException(KA_E_THREAD_STATE);
    }
}

bool CKaThread::IsCallingThread() const
{
    return m_id == GetCurrentThreadId();
}

bool CKaThread::TakeSelfReference()
{
    const bool held = m_selfReference;
    m_selfReference = false;
    return held;
}

// ---- running --------------------------------------------------------------------------------

void CKaThread::Run()
{
    unsigned flags;
    unsigned stackSize;
    SECURITY_ATTRIBUTES* security;
    {
        CKaLock lock(m_lock);
        if (m_state != KaThreadIdle) throw CKaCodeException(KA_E_THREAD_STATE);
        m_state = KaThreadStarting;
        m_exitCode = 0;
        m_exitCodeToReturn = 0;
        AddRef();
        m_selfReference = true;
        flags = m_createSuspended ? CREATE_SUSPENDED : 0;
        stackSize = m_stackSize;
        security = m_security;
    }
    _doserrno = 0;
    unsigned id = 0;
    const uintptr_t handle = _beginthreadex(security, stackSize, ThreadProc, this, flags, &id);
    if (handle == 0) {
        // The runtime's own error number, thrown as it is.
        const long error = _doserrno ? static_cast<long>(_doserrno) : KA_E_THREAD_START;
        bool release;
        {
            CKaLock lock(m_lock);
            m_state = KaThreadIdle;
            release = TakeSelfReference();
        }
        if (release) Release();
        throw CKaCodeException(error);
    }
    // The thread may already have finished its work: it is running all the same until joined.
    CKaLock lock(m_lock);
    m_state = KaThreadRunning;
    m_handle = reinterpret_cast<HANDLE>(handle);
    m_id = id;
}

unsigned __stdcall CKaThread::ThreadProc(void* param)
{
    try {
        return static_cast<CKaThread*>(param)->ThreadMethod();
    } catch (...) {
        return 0xFFFFFFFF;
    }
}

DWORD CKaThread::ThreadMethod()
{
    try {
        WorkerMethod();
    } catch (...) {
        // A failed worker leaves the state running; Join retires the thread as usual.
        bool release;
        {
            CKaLock lock(m_lock);
            release = TakeSelfReference();
        }
        if (release) Release();
        throw;
    }
    DWORD code;
    bool release;
    {
        CKaLock lock(m_lock);
        m_state = KaThreadFinished;
        code = m_exitCodeToReturn;
        release = TakeSelfReference();
    }
    if (release) Release();
    return code;
}

void CKaThread::WorkerMethod()
{
    DKaThreadWorker worker = getWorker();
    if (!worker.getIsEmpty()) worker.Invoke(this);
}

TKaWaitResult CKaThread::Join(DWORD timeout)
{
    HANDLE handle;
    {
        CKaLock lock(m_lock);
        CheckHasThread();
        handle = m_handle;
    }
    const TKaWaitResult result =
        KaReadSingleWait(WaitForSingleObject(handle, timeout), true, KA_E_UNEXPECTED_WAIT_RESULT);
    if (result != KaWaitSignaled) return result;

    CKaLock lock(m_lock);
    // Another Join that waited on the same thread has retired it already.
    if (m_handle != handle) return KaWaitSignaled;
    m_state = KaThreadIdle;
    m_handle = nullptr;
    m_id = 0;
    CKaOwnedKernelHandle owned(handle);
    DWORD code = 0;
    if (!GetExitCodeThread(handle, &code)) KaThrowLastError();
    if (code == STILL_ACTIVE) throw CKaCodeException(KA_E_THREAD_STILL_ACTIVE);
    m_exitCode = code;
    if (!CloseHandle(owned.Release())) KaThrowLastError();
    return KaWaitSignaled;
}

TKaWaitResult CKaThread::Wait(DWORD timeout)
{
    return Join(timeout);
}

void CKaThread::ReleaseWait() {}

// ---- controlling a running thread -----------------------------------------------------------

DWORD CKaThread::Suspend()
{
    CKaLock lock(m_lock);
    CheckHasThread();
    const HANDLE handle = m_handle;
    // A thread that suspends itself must not sleep holding the lock.
    if (IsCallingThread()) lock.Unlock();
    const DWORD previous = SuspendThread(handle);
    if (previous == 0xFFFFFFFF) KaThrowLastError();
    return previous;
}

DWORD CKaThread::Resume()
{
    CKaLock lock(m_lock);
    CheckHasThread();
    const DWORD previous = ResumeThread(m_handle);
    if (previous == 0xFFFFFFFF) KaThrowLastError();
    return previous;
}

long CKaThread::getPriority()
{
    CKaLock lock(m_lock);
    CheckHasThread();
    const int priority = GetThreadPriority(m_handle);
    if (priority == THREAD_PRIORITY_ERROR_RETURN) KaThrowLastError();
    return priority;
}

void CKaThread::setPriority(long priority)
{
    CKaLock lock(m_lock);
    CheckHasThread();
    if (!SetThreadPriority(m_handle, static_cast<int>(priority))) KaThrowLastError();
}

void CKaThread::setAffinityMask(DWORD mask)
{
    CKaLock lock(m_lock);
    CheckHasThread();
    if (SetThreadAffinityMask(m_handle, mask) == 0) KaThrowLastError();
}

void CKaThread::Terminate()
{
    CKaLock lock(m_lock);
    if (m_state != KaThreadRunning) throw CKaCodeException(KA_E_THREAD_STATE);
    m_state = KaThreadFinished;
    const bool release = TakeSelfReference();
    const HANDLE handle = m_handle;
    const DWORD code = m_exitCodeToReturn;
    if (!IsCallingThread()) {
        // The result is not checked: the thread may have ended on its own meanwhile.
        TerminateThread(handle, code);
        lock.Unlock();
        if (release) Release();
        return;
    }
    // Ending itself, the thread gives back the lock and its reference first: nothing after
    // TerminateThread runs. The object may be gone once the reference is released.
    lock.Unlock();
    if (release) Release();
    TerminateThread(handle, code);
}

DWORD CKaThread::PrepareExit()
{
    bool release;
    DWORD code;
    {
        CKaLock lock(m_lock);
        if (m_state != KaThreadRunning) throw CKaCodeException(KA_E_THREAD_STATE);
        // Finished even when the check below fails: that is how a wrong Exit shows.
        m_state = KaThreadFinished;
        if (!IsCallingThread()) throw CKaCodeException(KA_E_THREAD_NOT_CURRENT);
        code = m_exitCodeToReturn;
        release = TakeSelfReference();
    }
    if (release) Release();
    return code;
}

void CKaThread::Exit()
{
    // Keeps the object alive through PrepareExit, which drops the thread's own reference.
    AddRef();
    DWORD code;
    try {
        code = PrepareExit();
    } catch (...) {
        Release();
        throw;
    }
    Release();
    _endthreadex(code);
}
