#ifndef ZELKA_KAOBJECT_H
#define ZELKA_KAOBJECT_H

#include <cstddef>
#include "kaexport.h"
#include "karef.h"
#include "kastring.h"

// The counting interface of every shared library object; COM-shaped, without QueryInterface.
class ZELKA_API IKaRefCounted
{
public:
    virtual unsigned long AddRef() = 0;
    virtual unsigned long Release() = 0;
};

// Allocator of every library object: running out of memory is always CKaCodeException
// E_OUTOFMEMORY, never std::bad_alloc.
class ZELKA_API CKaNewDeleteMixin
{
public:
    static void* operator new(std::size_t size);
    static void operator delete(void* p);
    CKaNewDeleteMixin& operator=(const CKaNewDeleteMixin&) = default;
};

// Base of every shared heap object. Owned only through CKaRef; destroyed by the Release that
// takes the count to zero.
class ZELKA_API CKaObject : public IKaRefCounted, public CKaNewDeleteMixin
{
public:
    CKaObject();
    CKaObject(const CKaObject&) = delete;
    CKaObject& operator=(const CKaObject&) = delete;

    unsigned long AddRef() override;
    unsigned long Release() override;
    virtual void FinalRelease();
    virtual CKaString getObjectTypeInfo();

    CKaString getObjectTypeId();

    // Hold the object alive during a COM-side final construction; never destroy it.
    void InternalFinalConstructAddRef();
    void InternalFinalConstructRelease();

    // Object-level lock for classes that guard their state on the object itself.
    void Lock();
    void Unlock();

protected:
    virtual ~CKaObject();

    // "id;baseInfo": how a derived class puts its identifier in front of its base's chain.
    static CKaString ChainTypeInfo(const CKaString& id, const CKaString& baseInfo);

private:
    void EnsureCriticalSection();

    volatile long m_count;
    CRITICAL_SECTION m_critSec;
    volatile long m_critSecState; // 0 not initialised, 1 being initialised, 2 initialised
};

// A library object that also carries a counted interface (a stream, a streamer aspect, a
// lockable): both faces count on the object.
template <class Interface>
class CKaObjectWithInterface : public CKaObject, public Interface
{
public:
    using Interface::Interface;
    unsigned long AddRef() override { return CKaObject::AddRef(); }
    unsigned long Release() override { return CKaObject::Release(); }
};

#endif
