#ifndef ZELKA_KASIMPLEBUFFER_H
#define ZELKA_KASIMPLEBUFFER_H

#include <cstring>
#include <type_traits>
#include "kaexception.h"

class CKaBinaryWriter;
class CKaBinaryReader;
class CKaBinaryStreamerAspect;

// Raw memory of a buffer node: a header of `headerSize` bytes followed by `count` elements.
// A total beyond 32 bits or an exhausted heap throws E_OUTOFMEMORY. Every node of every buffer
// comes from here and goes back here, so nodes may cross between the DLL and its callers.
ZELKA_API void* KaAllocateBufferNode(unsigned long headerSize, unsigned long count,
                                     unsigned long elementSize);
ZELKA_API void KaFreeBufferNode(void* node);

// A counted, lockable run of plain elements. Copies share one node until one of them writes;
// an empty buffer has no node at all. A node locked in place is never released or replaced by
// its holder, which keeps the pointer handed out by Lock(true) valid.
template <class T>
class CKaSimpleBuffer
{
    static_assert(std::is_trivially_copyable<T>::value, "buffer elements are copied as bytes");

public:
    struct TNode
    {
        unsigned long size;     // elements following the header
        TKaLockMode lockState;
        volatile long refCount; // interlocked; 0 until a buffer holds the node
    };

    CKaSimpleBuffer() noexcept : m_node(nullptr) {}
    // `size` elements, not initialised.
    explicit CKaSimpleBuffer(unsigned long size);
    CKaSimpleBuffer(const T* data, unsigned long size);
    CKaSimpleBuffer(const CKaSimpleBuffer& other) noexcept;
    // A destructor cannot refuse: the node is let go even when it is locked in place.
    virtual ~CKaSimpleBuffer();

    CKaSimpleBuffer& operator=(const CKaSimpleBuffer& other);
    void SetBuffer(const CKaSimpleBuffer& other);
    // A private copy of `data`; `data` may point into this very buffer.
    void SetBuffer(const T* data, unsigned long size);
    void Clear();

    unsigned long getSize() const { return m_node ? m_node->size : 0; }
    const T* getBuffer() const { return m_node ? Elements(m_node) : nullptr; }
    operator const T*() const { return getBuffer(); }

    const T& operator[](unsigned long i) const;
    const T& operator[](int i) const;
    // Writable access copies a shared node first.
    T& operator[](unsigned long i);
    T& operator[](int i);

    bool IsEqual(const CKaSimpleBuffer& other) const;
    bool operator==(const CKaSimpleBuffer& other) const { return IsEqual(other); }
    bool operator!=(const CKaSimpleBuffer& other) const { return !IsEqual(other); }

    // Makes the node private and marks it locked (in place: it will not be released or
    // replaced until Unlock). Null for an empty buffer.
    T* Lock(bool inPlace);
    void Unlock();
    // Copies a shared node; returns the (now private) elements, null for an empty buffer.
    T* Unshare();

    // The binary form: the size as a 32-bit count, then the elements' bytes. The stream
    // members are defined with the binary reader and writer (kabinary.h).
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;
    // The elements' bytes without a count: all, or `count` from `offset`.
    void WriteStream(CKaRef<CKaBinaryWriter> writer) const;
    void WriteStream(CKaRef<CKaBinaryWriter> writer, unsigned long offset,
                     unsigned long count) const;
    // Fills elements already in the buffer (all, or `count` from `offset`) from the reader;
    // returns how many were filled, fewer when the stream ends first.
    unsigned long ReadStream(CKaRef<CKaBinaryReader> reader);
    unsigned long ReadStream(CKaRef<CKaBinaryReader> reader, unsigned long offset,
                             unsigned long count);
    // The buffer keeps its first `offset` elements and then holds the rest of the stream
    // (ToEnd: from the reader's position; All: the whole stream); returns the elements read.
    unsigned long ReadStreamToEnd(CKaRef<CKaBinaryReader> reader);
    unsigned long ReadStreamToEnd(CKaRef<CKaBinaryReader> reader, unsigned long offset);
    unsigned long ReadStreamAll(CKaRef<CKaBinaryReader> reader);
    unsigned long ReadStreamAll(CKaRef<CKaBinaryReader> reader, unsigned long offset);

protected:
    static T* Elements(TNode* node) { return reinterpret_cast<T*>(node + 1); }
    // offset + count, or E_OUTOFMEMORY when no buffer could ever reach that far.
    static unsigned long EndOf(unsigned long offset, unsigned long count);

    void CheckReplaceable() const;
    // KaCheckRange over the elements.
    void CheckRange(unsigned long offset, unsigned long count) const;
    // A new node of `size` elements with the first ones copied; elements beyond them are zeroed.
    void Resize(unsigned long size);
    // The private elements, grown to hold at least `end` of them.
    T* WritableUpTo(unsigned long end);
    // Takes `node` (which may be null) in place of the current one; no checks.
    void Replace(TNode* node) noexcept;

    TNode* m_node;

private:
    static TNode* NewNode(unsigned long size);
    static TNode* CopyNode(const T* data, unsigned long copied, unsigned long size);
    static void Drop(TNode* node) noexcept;
    TNode* CheckedNode(unsigned long i) const;
};

// ---- nodes ----------------------------------------------------------------------------------

template <class T>
typename CKaSimpleBuffer<T>::TNode* CKaSimpleBuffer<T>::NewNode(unsigned long size)
{
    TNode* node = static_cast<TNode*>(KaAllocateBufferNode(sizeof(TNode), size, sizeof(T)));
    node->size = size;
    node->lockState = KaLockNone;
    node->refCount = 0;
    return node;
}

template <class T>
typename CKaSimpleBuffer<T>::TNode* CKaSimpleBuffer<T>::CopyNode(const T* data,
                                                                 unsigned long copied,
                                                                 unsigned long size)
{
    TNode* node = NewNode(size);
    if (copied) std::memcpy(Elements(node), data, copied * sizeof(T));
    if (size > copied) std::memset(Elements(node) + copied, 0, (size - copied) * sizeof(T));
    return node;
}

template <class T>
void CKaSimpleBuffer<T>::Drop(TNode* node) noexcept
{
    if (node && InterlockedDecrement(&node->refCount) == 0) KaFreeBufferNode(node);
}

template <class T>
void CKaSimpleBuffer<T>::Replace(TNode* node) noexcept
{
    if (node) InterlockedIncrement(&node->refCount);
    TNode* old = m_node;
    m_node = node;
    Drop(old);
}

template <class T>
void CKaSimpleBuffer<T>::CheckReplaceable() const
{
    if (m_node) KaCheckNotLockedInPlace(m_node->lockState);
}

template <class T>
void CKaSimpleBuffer<T>::CheckRange(unsigned long offset, unsigned long count) const
{
    KaCheckRange(offset, count, getSize());
}

template <class T>
unsigned long CKaSimpleBuffer<T>::EndOf(unsigned long offset, unsigned long count)
{
    if (count > 0xFFFFFFFF - offset) throw CKaCodeException(E_OUTOFMEMORY);
    return offset + count;
}

template <class T>
void CKaSimpleBuffer<T>::Resize(unsigned long size)
{
    CheckReplaceable();
    const unsigned long copied = getSize() < size ? getSize() : size;
    Replace(size ? CopyNode(getBuffer(), copied, size) : nullptr);
}

template <class T>
T* CKaSimpleBuffer<T>::WritableUpTo(unsigned long end)
{
    if (end > getSize()) Resize(end);
    return Unshare();
}

// ---- construction and assignment ------------------------------------------------------------

template <class T>
CKaSimpleBuffer<T>::CKaSimpleBuffer(unsigned long size) : m_node(nullptr)
{
    if (size) Replace(NewNode(size));
}

template <class T>
CKaSimpleBuffer<T>::CKaSimpleBuffer(const T* data, unsigned long size) : m_node(nullptr)
{
    SetBuffer(data, size);
}

template <class T>
CKaSimpleBuffer<T>::CKaSimpleBuffer(const CKaSimpleBuffer& other) noexcept : m_node(nullptr)
{
    Replace(other.m_node);
}

template <class T>
CKaSimpleBuffer<T>::~CKaSimpleBuffer()
{
    Drop(m_node);
}

template <class T>
CKaSimpleBuffer<T>& CKaSimpleBuffer<T>::operator=(const CKaSimpleBuffer& other)
{
    SetBuffer(other);
    return *this;
}

template <class T>
void CKaSimpleBuffer<T>::SetBuffer(const CKaSimpleBuffer& other)
{
    if (other.m_node == m_node) return;
    CheckReplaceable();
    Replace(other.m_node);
}

template <class T>
void CKaSimpleBuffer<T>::SetBuffer(const T* data, unsigned long size)
{
    CheckReplaceable();
    Replace(size ? CopyNode(data, size, size) : nullptr);
}

template <class T>
void CKaSimpleBuffer<T>::Clear()
{
    CheckReplaceable();
    Replace(nullptr);
}

// ---- element access -------------------------------------------------------------------------

template <class T>
typename CKaSimpleBuffer<T>::TNode* CKaSimpleBuffer<T>::CheckedNode(unsigned long i) const
{
    KaCheckIndex(i, getSize());
    return m_node;
}

template <class T>
const T& CKaSimpleBuffer<T>::operator[](unsigned long i) const
{
    return Elements(CheckedNode(i))[i];
}

template <class T>
const T& CKaSimpleBuffer<T>::operator[](int i) const
{
    return (*this)[KaCheckedIndex(i)];
}

template <class T>
T& CKaSimpleBuffer<T>::operator[](unsigned long i)
{
    CheckedNode(i);
    return Unshare()[i];
}

template <class T>
T& CKaSimpleBuffer<T>::operator[](int i)
{
    return (*this)[KaCheckedIndex(i)];
}

template <class T>
bool CKaSimpleBuffer<T>::IsEqual(const CKaSimpleBuffer& other) const
{
    if (m_node == other.m_node) return true;
    const unsigned long size = getSize();
    return size == other.getSize() &&
           (size == 0 || std::memcmp(getBuffer(), other.getBuffer(), size * sizeof(T)) == 0);
}

// ---- locking and sharing --------------------------------------------------------------------

template <class T>
T* CKaSimpleBuffer<T>::Lock(bool inPlace)
{
    if (!m_node) return nullptr;
    T* elements = Unshare();
    m_node->lockState = inPlace ? KaLockInPlace : KaLockLocked;
    return elements;
}

template <class T>
void CKaSimpleBuffer<T>::Unlock()
{
    if (m_node) m_node->lockState = KaLockNone;
}

template <class T>
T* CKaSimpleBuffer<T>::Unshare()
{
    if (m_node && m_node->refCount > 1) {
        CheckReplaceable();
        Replace(CopyNode(Elements(m_node), m_node->size, m_node->size));
    }
    return m_node ? Elements(m_node) : nullptr;
}

// The byte instance lives in the DLL.
extern template class ZELKA_API CKaSimpleBuffer<unsigned char>;

#endif
