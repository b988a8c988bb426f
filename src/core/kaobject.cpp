#include "zelka/kaobject.h"
#include <new>
#include "zelka/kaexception.h"
#include "core/kaallocation.h"

void* CKaNewDeleteMixin::operator new(std::size_t size)
{
    if (KaAllocationRefused(size)) throw CKaCodeException(E_OUTOFMEMORY);
    void* p = nullptr;
    try {
        p = ::operator new(size);
    } catch (...) {
        p = nullptr;
    }
    if (!p) throw CKaCodeException(E_OUTOFMEMORY);
    return p;
}

void CKaNewDeleteMixin::operator delete(void* p)
{
    ::operator delete(p);
}

CKaObject::CKaObject() : m_count(0), m_critSec(), m_critSecState(0) {}

CKaObject::~CKaObject()
{
    if (m_critSecState == 2) {
        m_critSecState = 0;
        DeleteCriticalSection(&m_critSec);
    }
}

unsigned long CKaObject::AddRef()
{
    return static_cast<unsigned long>(InterlockedIncrement(&m_count));
}

unsigned long CKaObject::Release()
{
    long count = InterlockedDecrement(&m_count);
    if (count < 0) {
        // More releases than references: tolerated, nothing is destroyed.
        m_count = 0;
        return 0;
    }
    if (count == 0) {
        // Clean-up code in FinalRelease may AddRef/Release this object; starting from 1 keeps
        // those pairs from reaching zero again and destroying it twice.
        m_count = 1;
        FinalRelease();
        delete this;
        return 0;
    }
    return static_cast<unsigned long>(count);
}

void CKaObject::FinalRelease() {}

CKaString CKaObject::getObjectTypeInfo()
{
    return L"zel.common.object";
}

CKaString CKaObject::ChainTypeInfo(const CKaString& id, const CKaString& baseInfo)
{
    CKaString info = id;
    info.Append(L";");
    info.Append(baseInfo);
    return info;
}

CKaString CKaObject::getObjectTypeId()
{
    CKaString info = getObjectTypeInfo();
    unsigned long pos = 0;
    return info.Find(L';', pos) ? info.Left(pos) : info;
}

void CKaObject::InternalFinalConstructAddRef()
{
    InterlockedIncrement(&m_count);
}

void CKaObject::InternalFinalConstructRelease()
{
    InterlockedDecrement(&m_count);
}

void CKaObject::EnsureCriticalSection()
{
    // Initialised on first use; a racing thread waits until the winner has finished.
    if (m_critSecState == 2) return;
    if (InterlockedCompareExchange(&m_critSecState, 1, 0) == 0) {
        InitializeCriticalSection(&m_critSec);
        InterlockedExchange(&m_critSecState, 2);
        return;
    }
    while (m_critSecState != 2) Sleep(0);
}

void CKaObject::Lock()
{
    EnsureCriticalSection();
    EnterCriticalSection(&m_critSec);
}

void CKaObject::Unlock()
{
    LeaveCriticalSection(&m_critSec);
}
