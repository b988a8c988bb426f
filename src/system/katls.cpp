#include "zelka/katls.h"
#include "zelka/kaarray.h"
#include "system/katlsprocess.h"

// ---- CKaTlsSlot -----------------------------------------------------------------------------

CKaTlsSlot::CKaTlsSlot() : m_index(TLS_OUT_OF_INDEXES) {}

CKaTlsSlot::~CKaTlsSlot()
{
    // A slot dropped without Free still gives its index back; nothing can report a failure here.
    if (m_index != TLS_OUT_OF_INDEXES) TlsFree(m_index);
}

CKaString CKaTlsSlot::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.tlsslot", CKaObject::getObjectTypeInfo());
}

void CKaTlsSlot::Allocate()
{
    if (m_index != TLS_OUT_OF_INDEXES) return;
    const DWORD index = TlsAlloc();
    if (index == TLS_OUT_OF_INDEXES) throw CKaCodeException(KA_E_TLS_NO_INDEX_LEFT);
    m_index = index;
}

void CKaTlsSlot::Free()
{
    if (m_index == TLS_OUT_OF_INDEXES) return;
    if (!TlsFree(m_index)) KaThrowLastError();
    m_index = TLS_OUT_OF_INDEXES;
}

bool CKaTlsSlot::getIsAllocated() const
{
    return m_index != TLS_OUT_OF_INDEXES;
}

void CKaTlsSlot::CheckAllocated() const
{
    if (m_index == TLS_OUT_OF_INDEXES) throw CKaCodeException(KA_E_TLS_NOT_ALLOCATED);
}

void* CKaTlsSlot::getValue()
{
    CheckAllocated();
    // A stored null and a failure look alike but for the last error.
    SetLastError(ERROR_SUCCESS);
    void* value = TlsGetValue(m_index);
    if (!value) {
        const DWORD error = GetLastError();
        if (error != ERROR_SUCCESS) KaThrowWin32Error(static_cast<long>(error));
    }
    return value;
}

void CKaTlsSlot::setValue(void* value)
{
    CheckAllocated();
    if (!TlsSetValue(m_index, value)) KaThrowLastError();
}

// ---- CKaTlsContainer ------------------------------------------------------------------------

CKaString CKaTlsContainer::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.tlscontainer", CKaObject::getObjectTypeInfo());
}

bool CKaTlsContainer::LookupObject(CKaString name, CKaRef<CKaObject>& object)
{
    return m_objects.Lookup(name, object);
}

void CKaTlsContainer::AddObject(CKaString name, CKaRef<CKaObject> object)
{
    m_objects.SetAt(name, object);
}

bool CKaTlsContainer::RemoveObject(CKaString name)
{
    return m_objects.RemoveKey(name);
}

CKaRef<CKaObject> CKaTlsContainer::getObject(CKaString name)
{
    CKaRef<CKaObject> object;
    if (!LookupObject(name, object)) throw CKaCodeException(KA_E_TLS_NO_OBJECT);
    return object;
}

// ---- CKaTlsManager --------------------------------------------------------------------------

CKaTlsManager::CKaTlsManager() : m_lock(new CKaCriticalSection) {}

CKaString CKaTlsManager::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.tlsmanager", CKaObject::getObjectTypeInfo());
}

void CKaTlsManager::FinalRelease()
{
    CKaRef<CKaTlsContainer> container;
    CKaSectionGuard guard(*m_lock->getCs());
    if (!m_slot) return;
    // The last Release cannot report a failure; the slot gives its index back when it goes.
    try {
        container = RemoveTlsContainer();
        m_slot->Free();
    } catch (const CKaException&) {
    }
    m_slot = nullptr;
}

void CKaTlsManager::CreateSlot()
{
    m_slot = new CKaTlsSlot;
    m_slot->Allocate();
}

CKaRef<CKaTlsContainer> CKaTlsManager::LookupTlsContainer()
{
    return static_cast<CKaTlsContainer*>(m_slot->getValue());
}

CKaRef<CKaTlsContainer> CKaTlsManager::AddTlsContainer()
{
    CKaRef<CKaTlsContainer> container = new CKaTlsContainer;
    m_containers.SetAt(container.getPtr(), true);
    try {
        m_slot->setValue(container.getPtr());
    } catch (...) {
        m_containers.RemoveKey(container.getPtr());
        throw;
    }
    // The slot's own reference, held as the plain pointer value.
    container->AddRef();
    return container;
}

CKaRef<CKaTlsContainer> CKaTlsManager::RemoveTlsContainer()
{
    CKaRef<CKaTlsContainer> container = LookupTlsContainer();
    if (!container) return container;
    m_slot->setValue(nullptr);
    m_containers.RemoveKey(container.getPtr());
    // Give back the slot's reference; the caller's look-up reference is now the last one.
    container->Release();
    return container;
}

CKaRef<CKaTlsContainer> CKaTlsManager::CurrentContainer()
{
    CKaSectionGuard guard(*m_lock->getCs());
    return m_slot ? LookupTlsContainer() : CKaRef<CKaTlsContainer>();
}

void CKaTlsManager::ThreadDetached()
{
    // Declared before the guard: the objects go after the lock is left, so that their
    // destructors may use the manager or wait for other threads.
    CKaRef<CKaTlsContainer> container;
    CKaSectionGuard guard(*m_lock->getCs());
    if (m_slot) container = RemoveTlsContainer();
}

bool CKaTlsManager::LookupObject(CKaString name, CKaRef<CKaObject>& object)
{
    CKaRef<CKaTlsContainer> container = CurrentContainer();
    return container && container->LookupObject(name, object);
}

void CKaTlsManager::AddObject(CKaString name, CKaRef<CKaObject> object)
{
    CKaRef<CKaTlsContainer> container;
    {
        CKaSectionGuard guard(*m_lock->getCs());
        if (!m_slot) CreateSlot();
        container = LookupTlsContainer();
        if (!container) container = AddTlsContainer();
    }
    container->AddObject(name, object);
}

bool CKaTlsManager::RemoveObject(CKaString name)
{
    CKaRef<CKaTlsContainer> container = CurrentContainer();
    return container && container->RemoveObject(name);
}

CKaRef<CKaObject> CKaTlsManager::getObject(CKaString name)
{
    CKaRef<CKaObject> object;
    if (!LookupObject(name, object)) throw CKaCodeException(KA_E_TLS_NO_OBJECT);
    return object;
}

void CKaTlsManager::DetachAllThreads()
{
    CKaArray<CKaRef<CKaTlsContainer>> containers;
    CKaSectionGuard guard(*m_lock->getCs());
    CKaMapIterator<CKaTlsContainer*, bool> it(m_containers);
    for (bool more = it.MoveFirst(); more; more = it.MoveNext()) {
        CKaTlsContainer* container = it.getKey();
        containers.Add(container);
        container->Release(); // the slot's reference
    }
    m_containers.RemoveAll();
    // Freeing the index forgets every thread's value at once; the next AddObject allocates anew.
    if (m_slot) m_slot->Free();
    m_slot = nullptr;
}

// ---- the library's manager ------------------------------------------------------------------

namespace {

CKaTlsManager* g_manager = nullptr;

} // namespace

CKaRef<CKaTlsManager> KaGetTlsManager()
{
    return g_manager;
}

void KaCreateProcessTlsManager()
{
    CKaRef<CKaTlsManager> manager = new CKaTlsManager;
    g_manager = manager.Detach();
}

void KaReleaseProcessTlsManager(bool unloading)
{
    CKaRef<CKaTlsManager> manager;
    manager.Attach(g_manager);
    g_manager = nullptr;
    if (manager && unloading) manager->DetachAllThreads();
}

void KaProcessThreadDetached()
{
    if (g_manager) g_manager->ThreadDetached();
}
