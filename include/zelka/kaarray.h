#ifndef ZELKA_KAARRAY_H
#define ZELKA_KAARRAY_H

#include <algorithm>
#include <new>
#include <utility>
#include "kaexception.h"

// A vector of T in a counted body shared between copies; the first write through a copy gives
// it a body of its own. Every index is checked (KA_E_INDEX_OUT_OF_RANGE).
template <class T>
class CKaArray
{
public:
    CKaArray() noexcept : m_body(nullptr) {}
    CKaArray(const CKaArray& other) noexcept;
    virtual ~CKaArray();
    CKaArray& operator=(const CKaArray& other);

    unsigned long getCount() const { return m_body ? m_body->count : 0; }
    bool getIsEmpty() const { return getCount() == 0; }

    const T& operator[](unsigned long index) const;
    const T& operator[](int index) const;
    // Writable access unshares the body first.
    T& operator[](unsigned long index);
    T& operator[](int index);
    const T& getAt(unsigned long index) const;
    void setAt(unsigned long index, const T& value);

    // Appends; returns the new element's index.
    unsigned long Add(const T& value);
    // Inserts before `index` (the count appends).
    void Insert(unsigned long index, const T& value);
    void Remove(unsigned long index);
    void Remove(unsigned long index, unsigned long count);
    // Grows with value-initialised elements or drops the last ones.
    void SetCount(unsigned long count);
    void Clear();

private:
    struct TBody : CKaNewDeleteMixin
    {
        volatile long refCount;
        unsigned long count;
        unsigned long capacity;
        T* items;
    };

    static TBody* NewBody(const TBody* source, unsigned long capacity);
    static void Drop(TBody* body) noexcept;
    static void FreeItems(T* items) noexcept;
    // The private body with room for at least `capacity` elements.
    TBody* Writable(unsigned long capacity);

    TBody* m_body;
};

// ---- bodies ---------------------------------------------------------------------------------

template <class T>
void CKaArray<T>::FreeItems(T* items) noexcept
{
    CKaNewDeleteMixin::operator delete(items);
}

template <class T>
typename CKaArray<T>::TBody* CKaArray<T>::NewBody(const TBody* source, unsigned long capacity)
{
    if (capacity > 0xFFFFFFFF / sizeof(T)) throw CKaCodeException(E_OUTOFMEMORY);
    T* items = static_cast<T*>(CKaNewDeleteMixin::operator new(capacity * sizeof(T)));
    const unsigned long count = source ? source->count : 0;
    unsigned long built = 0;
    try {
        for (; built < count; ++built) new (items + built) T(source->items[built]);
        TBody* body = new TBody;
        body->refCount = 0;
        body->count = count;
        body->capacity = capacity;
        body->items = items;
        return body;
    } catch (...) {
        while (built) items[--built].~T();
        FreeItems(items);
        throw;
    }
}

template <class T>
void CKaArray<T>::Drop(TBody* body) noexcept
{
    if (!body || InterlockedDecrement(&body->refCount) != 0) return;
    for (unsigned long i = 0; i < body->count; ++i) body->items[i].~T();
    FreeItems(body->items);
    delete body;
}

template <class T>
typename CKaArray<T>::TBody* CKaArray<T>::Writable(unsigned long capacity)
{
    if (m_body && m_body->refCount == 1 && m_body->capacity >= capacity) return m_body;
    const unsigned long current = m_body ? m_body->capacity : 0;
    if (capacity > current) {
        // Growing doubles, so a run of Add calls copies each element a bounded number of times.
        const unsigned long doubled = current > 0x7FFFFFFF ? 0xFFFFFFFF : 2 * current;
        capacity = std::max(capacity, std::max(doubled, 4ul));
    } else {
        capacity = current;
    }
    TBody* body = NewBody(m_body, capacity);
    InterlockedIncrement(&body->refCount);
    Drop(m_body);
    m_body = body;
    return body;
}

// ---- construction and assignment ------------------------------------------------------------

template <class T>
CKaArray<T>::CKaArray(const CKaArray& other) noexcept : m_body(other.m_body)
{
    if (m_body) InterlockedIncrement(&m_body->refCount);
}

template <class T>
CKaArray<T>::~CKaArray()
{
    Drop(m_body);
}

template <class T>
CKaArray<T>& CKaArray<T>::operator=(const CKaArray& other)
{
    if (other.m_body != m_body) {
        if (other.m_body) InterlockedIncrement(&other.m_body->refCount);
        Drop(m_body);
        m_body = other.m_body;
    }
    return *this;
}

// ---- access ---------------------------------------------------------------------------------

template <class T>
const T& CKaArray<T>::operator[](unsigned long index) const
{
    KaCheckIndex(index, getCount());
    return m_body->items[index];
}

template <class T>
const T& CKaArray<T>::operator[](int index) const
{
    return (*this)[KaCheckedIndex(index)];
}

template <class T>
T& CKaArray<T>::operator[](unsigned long index)
{
    KaCheckIndex(index, getCount());
    return Writable(0)->items[index];
}

template <class T>
T& CKaArray<T>::operator[](int index)
{
    return (*this)[KaCheckedIndex(index)];
}

template <class T>
const T& CKaArray<T>::getAt(unsigned long index) const
{
    return (*this)[index];
}

template <class T>
void CKaArray<T>::setAt(unsigned long index, const T& value)
{
    (*this)[index] = value;
}

// ---- changes --------------------------------------------------------------------------------

template <class T>
unsigned long CKaArray<T>::Add(const T& value)
{
    const unsigned long count = getCount();
    Insert(count, value);
    return count;
}

template <class T>
void CKaArray<T>::Insert(unsigned long index, const T& value)
{
    const unsigned long count = getCount();
    KaCheckRange(index, 0, count);
    if (count == 0xFFFFFFFF) throw CKaCodeException(E_OUTOFMEMORY);
    // `value` may be one of our own elements, which growing would destroy.
    T copy(value);
    TBody* body = Writable(count + 1);
    new (body->items + count) T(std::move(copy));
    body->count = count + 1;
    std::rotate(body->items + index, body->items + count, body->items + count + 1);
}

template <class T>
void CKaArray<T>::Remove(unsigned long index)
{
    KaCheckIndex(index, getCount());
    Remove(index, 1);
}

template <class T>
void CKaArray<T>::Remove(unsigned long index, unsigned long count)
{
    const unsigned long total = getCount();
    KaCheckRange(index, count, total);
    if (count == 0) return;
    TBody* body = Writable(0);
    std::move(body->items + index + count, body->items + total, body->items + index);
    for (unsigned long i = total - count; i < total; ++i) body->items[i].~T();
    body->count = total - count;
}

template <class T>
void CKaArray<T>::SetCount(unsigned long count)
{
    const unsigned long total = getCount();
    if (count < total) {
        Remove(count, total - count);
        return;
    }
    if (count == total) return;
    TBody* body = Writable(count);
    for (; body->count < count; ++body->count) new (body->items + body->count) T();
}

template <class T>
void CKaArray<T>::Clear()
{
    Drop(m_body);
    m_body = nullptr;
}

// The instances the library itself uses live in the DLL.
extern template class ZELKA_API CKaArray<char>;
extern template class ZELKA_API CKaArray<unsigned char>;
extern template class ZELKA_API CKaArray<short>;
extern template class ZELKA_API CKaArray<unsigned short>;
extern template class ZELKA_API CKaArray<long>;
extern template class ZELKA_API CKaArray<unsigned long>;
extern template class ZELKA_API CKaArray<__int64>;
extern template class ZELKA_API CKaArray<unsigned __int64>;
extern template class ZELKA_API CKaArray<float>;
extern template class ZELKA_API CKaArray<double>;
extern template class ZELKA_API CKaArray<bool>;
extern template class ZELKA_API CKaArray<CKaString>;
extern template class ZELKA_API CKaArray<CKaComRef<IUnknown>>;
extern template class ZELKA_API CKaArray<CKaComRef<IDispatch>>;

#endif
