#ifndef ZELKA_KAREF_H
#define ZELKA_KAREF_H

#include "kaexport.h"

// Throws CKaCodeException(E_POINTER): the one answer to using a null reference.
[[noreturn]] ZELKA_API void KaThrowNullReference();

// A counted reference, one pointer wide. Works for library objects (IKaRefCounted) and, through
// CKaComRef, for COM interfaces: both count with AddRef/Release of the held pointer.
template <class T>
class CKaRef
{
public:
    CKaRef() noexcept : m_p(nullptr) {}
    CKaRef(T* p) : m_p(p) { if (m_p) m_p->AddRef(); }
    CKaRef(const CKaRef& other) : CKaRef(other.m_p) {}
    CKaRef(CKaRef&& other) noexcept : m_p(other.m_p) { other.m_p = nullptr; }
    template <class U>
    CKaRef(const CKaRef<U>& other) : CKaRef(static_cast<U*>(other)) {}
    ~CKaRef() { Reset(); }

    CKaRef& operator=(const CKaRef& other) { return *this = other.m_p; }
    template <class U>
    CKaRef& operator=(const CKaRef<U>& other) { return *this = static_cast<U*>(other); }
    CKaRef& operator=(CKaRef&& other) noexcept
    {
        if (this != &other) {
            T* old = m_p;
            m_p = other.m_p;
            other.m_p = nullptr;
            if (old) old->Release();
        }
        return *this;
    }
    CKaRef& operator=(T* p)
    {
        if (p != m_p) {
            // The new object is counted before the old one is let go: releasing the old one
            // may otherwise destroy the new one when the old one owned it.
            if (p) p->AddRef();
            T* old = m_p;
            m_p = p;
            if (old) old->Release();
        }
        return *this;
    }

    T* operator->() const { if (!m_p) KaThrowNullReference(); return m_p; }
    T& operator*() const { if (!m_p) KaThrowNullReference(); return *m_p; }

    // Raw access and null tests never throw.
    operator T*() const noexcept { return m_p; }
    T* getPtr() const noexcept { return m_p; }
    bool operator!() const noexcept { return m_p == nullptr; }

    // Hands the pointer out with its count; the reference becomes null.
    T* Detach() noexcept { T* p = m_p; m_p = nullptr; return p; }
    // Takes over a pointer whose count the caller already holds.
    void Attach(T* p) noexcept { Reset(); m_p = p; }

protected:
    void Reset() noexcept
    {
        if (m_p) {
            T* old = m_p;
            m_p = nullptr;
            old->Release();
        }
    }

    T* m_p;
};

// A counted COM interface pointer (IUnknown, IDispatch, IErrorInfo, IStream...).
template <class T>
class CKaComRef : public CKaRef<T>
{
public:
    using CKaRef<T>::CKaRef;
    using CKaRef<T>::operator=;
    CKaComRef() noexcept = default;

    // For COM calls that return an interface through an out parameter.
    T** GetAddressOf() noexcept { this->Reset(); return &this->m_p; }
};

#endif
