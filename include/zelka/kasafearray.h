#ifndef ZELKA_KASAFEARRAY_H
#define ZELKA_KASAFEARRAY_H

#include "kaarray.h"
#include "kabytebuffer.h"
#include "kavariant.h"

// The element types of safe arrays that have typed access: M(suffix, element type). The first
// list also converts from CKaArray by construction and assignment; the second adds the
// interface types, which have every other form.
#define ZELKA_SAFEARRAY_VECTOR_TYPES(M)                                                        \
    M(I1, char)                                                                                \
    M(I2, short)                                                                               \
    M(I4, long)                                                                                \
    M(I8, __int64)                                                                             \
    M(U1, unsigned char)                                                                       \
    M(U2, unsigned short)                                                                      \
    M(U4, unsigned long)                                                                       \
    M(U8, unsigned __int64)                                                                    \
    M(F4, float)                                                                               \
    M(F8, double)                                                                              \
    M(Bool, bool)                                                                              \
    M(String, CKaString)                                                                       \
    M(Variant, CKaVariant)
#define ZELKA_SAFEARRAY_ELEMENT_TYPES(M)                                                       \
    ZELKA_SAFEARRAY_VECTOR_TYPES(M)                                                            \
    M(Unknown, CKaComRef<IUnknown>)                                                            \
    M(Dispatch, CKaComRef<IDispatch>)

// An automation SAFEARRAY passed around by value: copies share one counted node and a writer
// that finds the node shared works on its own copy. Elements are read and written with a strict
// check of the array's element type (KA_E_WRONG_TYPE).
//
// Dimensions are numbered from 0 in the order of the indexes of get/set(i, j): dimension 0 is
// the platform's last dimension (SafeArrayGetLBound(array, dimCount)), dimension 1 the one
// before. Create(type, lb1, count1, lb2, count2) makes dimension 0 hold count1 elements from
// lb1, which is what getX(i, j) indexes with i.
class ZELKA_API CKaSafeArray
{
public:
    struct TNode : CKaNewDeleteMixin
    {
        SAFEARRAY* array;
        TKaLockMode lockMode;
        volatile long refCount;
    };

    CKaSafeArray() noexcept : m_node(nullptr) {}
    CKaSafeArray(const CKaSafeArray& other);
    // A copy (SafeArrayCopy); null makes an empty object.
    CKaSafeArray(SAFEARRAY* array);
    // Lets go of the node without looking at its lock: a destructor cannot refuse.
    virtual ~CKaSafeArray();

    // Takes ownership of `array` without copying it. When the call throws, nothing was taken.
    virtual void Attach(SAFEARRAY* array);
    // Hands the array out (the caller owns it); other sharers keep theirs.
    virtual SAFEARRAY* Detach();
    // Makes the node private (a blank node when there is none) and returns its array.
    virtual SAFEARRAY* Unshare();
    // As Unshare, and marks the node locked (exclusive: locked in place, which AccessData needs).
    virtual SAFEARRAY* Lock(bool exclusive);
    virtual void Unlock();

    const CKaSafeArray& operator=(const CKaSafeArray& other);
    const CKaSafeArray& operator=(SAFEARRAY* array);
    // Shares the other node; copies the array instead when either node is locked.
    void SetArray(const CKaSafeArray& other);
    // A copy of `array`; null empties the object.
    void SetArray(SAFEARRAY* array);
    void setArray(SAFEARRAY* array) { SetArray(array); }

    // A new array (SafeArrayCreate); bounds as the platform takes them.
    void Create(VARTYPE type, unsigned long dimCount, SAFEARRAYBOUND* bounds);
    void Create(VARTYPE type, long lowerBound, unsigned long count);
    void Create(VARTYPE type, long lowerBound1, unsigned long count1, long lowerBound2,
                unsigned long count2);

    // VT_EMPTY for an empty object.
    VARTYPE getType() const;
    unsigned long getDimCount() const;
    // 0 without an array; a dimension not below the dimension count throws
    // KA_E_SAFEARRAY_DIMENSION.
    long getLowerBound(unsigned long dim) const;
    long getUpperBound(unsigned long dim) const;
    unsigned long getElementCount(unsigned long dim) const;
    unsigned long getTotalElementCount() const;
    bool getIsEmpty() const { return getArray() == nullptr; }

    // The held array or null; never a copy.
    SAFEARRAY* getArray() const { return m_node ? m_node->array : nullptr; }
    SAFEARRAY* GetArray() const { return getArray(); }
    SAFEARRAY* getP() const { return getArray(); }
    operator SAFEARRAY*() const { return getArray(); }
    // A blank node for a COM call's output argument; the old array is let go first.
    SAFEARRAY** operator&();
    // A copy the caller owns; null for an empty object.
    SAFEARRAY* Copy() const;

    // The array's data; both need an array locked in place (Lock(true)), else KA_E_NOT_LOCKED.
    void* AccessData();
    void UnaccessData();
    // The exclusive lock AccessData needs, in one word: Lock(true).
    SAFEARRAY* LockArray();
    bool getLocked() const { return getLockMode() != KaLockNone; }
    TKaLockMode getLockMode() const { return m_node ? m_node->lockMode : KaLockNone; }

    // Empties the object; sharers keep their array.
    void Clear();

    // A one-dimensional VT_UI1 array as bytes, and back.
    CKaByteBuffer getBytes() const;
    void setBytes(const CKaByteBuffer& bytes);

    // Per element type X (see the lists above), with T its type:
    //   GetX(indexCount, indices), SetX(indexCount, indices, value): one element, the indexes in
    //     the platform's order (first index: the platform's first dimension). Fewer indexes than
    //     dimensions leave the missing last ones at their lower bound.
    //   getX(i), getX(i, j), setX(i, value), setX(i, j, value): the same by dimension number
    //   getXVector(): a whole one-dimensional array; an empty object gives an empty one
    //   setXVector(values): a new one-dimensional array from 0
#define ZELKA_SAFEARRAY_ACCESS(X, T)                                                           \
    T Get##X(unsigned long indexCount, long* indices) const;                                   \
    void Set##X(unsigned long indexCount, long* indices, const T& value);                      \
    T get##X(long i) const;                                                                    \
    T get##X(long i, long j) const;                                                            \
    void set##X(long i, const T& value);                                                       \
    void set##X(long i, long j, const T& value);                                               \
    CKaArray<T> get##X##Vector() const;                                                        \
    void set##X##Vector(const CKaArray<T>& values);
    ZELKA_SAFEARRAY_ELEMENT_TYPES(ZELKA_SAFEARRAY_ACCESS)
#undef ZELKA_SAFEARRAY_ACCESS

    // As setXVector.
#define ZELKA_SAFEARRAY_FROM_VECTOR(X, T)                                                      \
    CKaSafeArray(const CKaArray<T>& values);                                                   \
    const CKaSafeArray& operator=(const CKaArray<T>& values);
    ZELKA_SAFEARRAY_VECTOR_TYPES(ZELKA_SAFEARRAY_FROM_VECTOR)
#undef ZELKA_SAFEARRAY_FROM_VECTOR

protected:
    // One element by the platform's index vector (KA_E_SAFEARRAY_INDEX_COUNT for a count of 0 or
    // above the dimension count); `value` as SafeArrayGetElement/SafeArrayPutElement take it.
    void GetAt(unsigned long indexCount, long* indices, void* value) const;
    void SetAt(unsigned long indexCount, long* indices, void* value);
    void NeedBlankNode();
    void ReleaseNode();
    void DetachNode() noexcept;
    void UnshareNode();
    void ClearNodeData();

    TNode* m_node;

private:
    struct TPayload;

    // Attaches an array made for this object; when attaching throws, the array is destroyed.
    void AttachOwned(SAFEARRAY* array);
    // The platform's dimension of a dimension number, after the range check.
    unsigned int PlatformDim(unsigned long dim) const;
    void CheckElementType(VARTYPE type) const;
    // Runs `call` with an index vector of one entry per dimension.
    template <class Call>
    void WithFullIndices(unsigned long indexCount, long* indices, Call&& call) const;

    template <class T>
    T GetElement(unsigned long indexCount, long* indices) const;
    template <class T>
    void SetElement(unsigned long indexCount, long* indices, const T& value);
    // Runs `read(data, count)` on the data of a one-dimensional array of `type`; nothing for
    // an empty object.
    template <class Read>
    void ReadVector(VARTYPE type, Read&& read) const;
    // Replaces the array by a new one-dimensional array of `count` elements from 0, which
    // `write(data)` fills.
    template <class Write>
    void WriteVector(VARTYPE type, unsigned long count, Write&& write);
    template <class T>
    CKaArray<T> GetVector() const;
    template <class T>
    void SetVector(const CKaArray<T>& values);
};

#endif
