#ifndef ZELKA_KATLS_H
#define ZELKA_KATLS_H

#include "kamap.h"
#include "kasync.h"

// One system TLS index, allocated on demand and freed with the object at the latest.
class ZELKA_API CKaTlsSlot : public CKaObject
{
public:
    CKaTlsSlot();

    CKaString getObjectTypeInfo() override;

    // Does nothing when an index is held; KA_E_TLS_NO_INDEX_LEFT when the system has none.
    virtual void Allocate();
    // Does nothing when no index is held.
    virtual void Free();

    bool getIsAllocated() const;
    // The calling thread's value; KA_E_TLS_NOT_ALLOCATED without an index.
    void* getValue();
    void setValue(void* value);

protected:
    ~CKaTlsSlot() override;

private:
    void CheckAllocated() const;

    DWORD m_index;
};

// The named objects of one thread. Only its own thread reaches it, so it takes no lock.
class ZELKA_API CKaTlsContainer : public CKaObject
{
public:
    CKaString getObjectTypeInfo() override;

    virtual bool LookupObject(CKaString name, CKaRef<CKaObject>& object);
    // Replaces what was stored under the name.
    virtual void AddObject(CKaString name, CKaRef<CKaObject> object);
    // False when nothing was stored under the name.
    virtual bool RemoveObject(CKaString name);
    // KA_E_TLS_NO_OBJECT when nothing is stored under the name.
    virtual CKaRef<CKaObject> getObject(CKaString name);

private:
    CKaMap<CKaString, CKaRef<CKaObject>> m_objects;
};

// Named objects per thread: every call reaches the calling thread's own container, made at its
// first AddObject and dropped, with everything in it, when the thread ends (the library's thread
// notification calls ThreadDetached) or removes the objects itself.
//
// The library's own manager (KaGetTlsManager) lives while the library is loaded. When the library
// is unloaded while other threads still hold containers, DetachAllThreads releases theirs too;
// when the process ends, threads other than the last one are already gone and their containers
// are left to the end of the process. A manager created by hand releases only its last user's
// container at its final release: call DetachAllThreads before letting it go.
class ZELKA_API CKaTlsManager : public CKaObject
{
public:
    CKaTlsManager();

    CKaString getObjectTypeInfo() override;
    void FinalRelease() override;

    // Drops the calling thread's container.
    virtual void ThreadDetached();
    virtual bool LookupObject(CKaString name, CKaRef<CKaObject>& object);
    virtual void AddObject(CKaString name, CKaRef<CKaObject> object);
    virtual bool RemoveObject(CKaString name);
    virtual CKaRef<CKaObject> getObject(CKaString name);

    // Drops the containers of every thread and frees the TLS index; the manager starts afresh
    // at the next AddObject.
    void DetachAllThreads();

protected:
    void CreateSlot();
    CKaRef<CKaTlsContainer> LookupTlsContainer();
    CKaRef<CKaTlsContainer> AddTlsContainer();
    // Takes the calling thread's container out of the slot and hands over the slot's reference,
    // so that the caller lets the objects go after leaving the manager's lock.
    CKaRef<CKaTlsContainer> RemoveTlsContainer();

private:
    // The calling thread's container, looked up under the lock (null when it has none).
    CKaRef<CKaTlsContainer> CurrentContainer();

    CKaRef<CKaCriticalSection> m_lock;
    CKaRef<CKaTlsSlot> m_slot;
    // Every container a slot holds, so that DetachAllThreads can reach other threads' ones.
    CKaMap<CKaTlsContainer*, bool> m_containers;
};

// The library's manager; null while the library is not attached.
ZELKA_API CKaRef<CKaTlsManager> KaGetTlsManager();

#endif
