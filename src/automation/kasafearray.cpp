#include "zelka/kasafearray.h"

#include <cstring>
#include <memory>
#include <vector>
#include "automation/kaautomationtype.h"
#include "automation/kanoderules.h"

namespace {

// The data of an array, reached for a scope (SafeArrayAccessData / SafeArrayUnaccessData), so
// that an exception on the way cannot leave the array locked: a locked array cannot be destroyed.
class CKaArrayData
{
public:
    explicit CKaArrayData(SAFEARRAY* array) : m_array(array), m_data(nullptr)
    {
        KaThrowIfFailed(SafeArrayAccessData(m_array, &m_data));
    }
    ~CKaArrayData() { SafeArrayUnaccessData(m_array); }
    CKaArrayData(const CKaArrayData&) = delete;
    CKaArrayData& operator=(const CKaArrayData&) = delete;

    void* Get() const { return m_data; }

private:
    SAFEARRAY* m_array;
    void* m_data;
};

// A copy of an array, or null for null.
SAFEARRAY* CopyArray(SAFEARRAY* array)
{
    SAFEARRAY* copy = nullptr;
    if (array) KaThrowIfFailed(SafeArrayCopy(array, &copy));
    return copy;
}

} // namespace

struct CKaSafeArray::TPayload
{
    typedef TKaNodeRules<TNode, TPayload> Rules;

    static TNode* NewNode(SAFEARRAY* array)
    {
        TNode* node = new TNode;
        node->array = array;
        node->lockMode = KaLockNone;
        node->refCount = 0;
        return node;
    }

    static TNode* Duplicate(const TNode& node)
    {
        SAFEARRAY* copy = CopyArray(node.array);
        try {
            return NewNode(copy);
        } catch (...) {
            SafeArrayDestroy(copy);
            throw;
        }
    }

    static void Free(TNode* node) noexcept
    {
        if (node->array) SafeArrayDestroy(node->array);
        delete node;
    }
};

// ---- nodes ----------------------------------------------------------------------------------

void CKaSafeArray::NeedBlankNode()
{
    TPayload::Rules::Install(m_node, TPayload::NewNode(nullptr));
}

void CKaSafeArray::ReleaseNode()
{
    TPayload::Rules::Release(m_node);
}

void CKaSafeArray::DetachNode() noexcept
{
    TPayload::Rules::Detach(m_node);
}

void CKaSafeArray::UnshareNode()
{
    TPayload::Rules::Unshare(m_node);
}

void CKaSafeArray::ClearNodeData()
{
    KaCheckNotLockedInPlace(m_node->lockMode);
    if (m_node->array) KaThrowIfFailed(SafeArrayDestroy(m_node->array));
    m_node->array = nullptr;
}

// ---- construction, ownership ----------------------------------------------------------------

CKaSafeArray::CKaSafeArray(const CKaSafeArray& other) : m_node(nullptr)
{
    SetArray(other);
}

CKaSafeArray::CKaSafeArray(SAFEARRAY* array) : m_node(nullptr)
{
    SetArray(array);
}

CKaSafeArray::~CKaSafeArray()
{
    DetachNode();
}

void CKaSafeArray::Attach(SAFEARRAY* array)
{
    if (m_node) KaCheckNotLockedInPlace(m_node->lockMode);
    if (m_node && m_node->refCount < 2) {
        ClearNodeData();
    } else {
        NeedBlankNode();
    }
    m_node->array = array;
}

SAFEARRAY* CKaSafeArray::Detach()
{
    if (!m_node) return nullptr;
    KaCheckNotLockedInPlace(m_node->lockMode);
    UnshareNode();
    SAFEARRAY* array = m_node->array;
    m_node->array = nullptr;
    return array;
}

SAFEARRAY* CKaSafeArray::Unshare()
{
    return TPayload::Rules::MakePrivate(m_node, [&] { NeedBlankNode(); })->array;
}

SAFEARRAY* CKaSafeArray::Lock(bool exclusive)
{
    SAFEARRAY* array = Unshare();
    TPayload::Rules::SetLock(m_node, exclusive);
    return array;
}

void CKaSafeArray::Unlock()
{
    TPayload::Rules::ClearLock(m_node);
}

SAFEARRAY* CKaSafeArray::LockArray()
{
    return Lock(true);
}

void CKaSafeArray::AttachOwned(SAFEARRAY* array)
{
    try {
        Attach(array);
    } catch (...) {
        SafeArrayDestroy(array);
        throw;
    }
}

const CKaSafeArray& CKaSafeArray::operator=(const CKaSafeArray& other)
{
    SetArray(other);
    return *this;
}

const CKaSafeArray& CKaSafeArray::operator=(SAFEARRAY* array)
{
    SetArray(array);
    return *this;
}

void CKaSafeArray::SetArray(const CKaSafeArray& other)
{
    TPayload::Rules::Assign(
        m_node, other.m_node, [&](const TNode& node) { SetArray(node.array); }, [&] { Clear(); });
}

void CKaSafeArray::SetArray(SAFEARRAY* array)
{
    if (!array) {
        ReleaseNode();
        return;
    }
    AttachOwned(CopyArray(array));
}

void CKaSafeArray::Create(VARTYPE type, unsigned long dimCount, SAFEARRAYBOUND* bounds)
{
    SAFEARRAY* array = SafeArrayCreate(type, static_cast<UINT>(dimCount), bounds);
    if (!array) throw CKaCodeException(E_OUTOFMEMORY);
    AttachOwned(array);
}

void CKaSafeArray::Create(VARTYPE type, long lowerBound, unsigned long count)
{
    SAFEARRAYBOUND bound = {count, lowerBound};
    Create(type, 1, &bound);
}

void CKaSafeArray::Create(VARTYPE type, long lowerBound1, unsigned long count1, long lowerBound2,
                          unsigned long count2)
{
    // Reversed: the platform's first dimension is the one the second index walks.
    SAFEARRAYBOUND bounds[2] = {{count2, lowerBound2}, {count1, lowerBound1}};
    Create(type, 2, bounds);
}

SAFEARRAY** CKaSafeArray::operator&()
{
    NeedBlankNode();
    return &m_node->array;
}

SAFEARRAY* CKaSafeArray::Copy() const
{
    return CopyArray(getArray());
}

void CKaSafeArray::Clear()
{
    if (!m_node) return;
    // A sharer only lets go: copying an array in order to destroy it would be waste.
    if (m_node->refCount > 1) {
        ReleaseNode();
    } else {
        ClearNodeData();
    }
}

// ---- shape ----------------------------------------------------------------------------------

VARTYPE CKaSafeArray::getType() const
{
    VARTYPE type = VT_EMPTY;
    if (!getIsEmpty()) KaThrowIfFailed(SafeArrayGetVartype(getArray(), &type));
    return type;
}

unsigned long CKaSafeArray::getDimCount() const
{
    return getIsEmpty() ? 0 : SafeArrayGetDim(getArray());
}

unsigned int CKaSafeArray::PlatformDim(unsigned long dim) const
{
    const unsigned long dimCount = getDimCount();
    if (dim >= dimCount) throw CKaCodeException(KA_E_SAFEARRAY_DIMENSION);
    return static_cast<unsigned int>(dimCount - dim);
}

long CKaSafeArray::getLowerBound(unsigned long dim) const
{
    long bound = 0;
    if (!getIsEmpty()) KaThrowIfFailed(SafeArrayGetLBound(getArray(), PlatformDim(dim), &bound));
    return bound;
}

long CKaSafeArray::getUpperBound(unsigned long dim) const
{
    long bound = 0;
    if (!getIsEmpty()) KaThrowIfFailed(SafeArrayGetUBound(getArray(), PlatformDim(dim), &bound));
    return bound;
}

unsigned long CKaSafeArray::getElementCount(unsigned long dim) const
{
    if (getIsEmpty()) return 0;
    return static_cast<unsigned long>(getUpperBound(dim) - getLowerBound(dim)) + 1;
}

unsigned long CKaSafeArray::getTotalElementCount() const
{
    const unsigned long dimCount = getDimCount();
    if (dimCount == 0) return 0;
    unsigned long total = 1;
    for (unsigned long dim = 0; dim < dimCount; ++dim) total *= getElementCount(dim);
    return total;
}

// ---- raw data -------------------------------------------------------------------------------

void* CKaSafeArray::AccessData()
{
    if (getIsEmpty() || m_node->lockMode != KaLockInPlace) throw CKaCodeException(KA_E_NOT_LOCKED);
    void* data = nullptr;
    KaThrowIfFailed(SafeArrayAccessData(m_node->array, &data));
    return data;
}

void CKaSafeArray::UnaccessData()
{
    if (getIsEmpty() || m_node->lockMode != KaLockInPlace) throw CKaCodeException(KA_E_NOT_LOCKED);
    KaThrowIfFailed(SafeArrayUnaccessData(m_node->array));
}

// ---- elements -------------------------------------------------------------------------------

void CKaSafeArray::CheckElementType(VARTYPE type) const
{
    if (getIsEmpty() || getType() != type) throw CKaCodeException(KA_E_WRONG_TYPE);
}

template <class Call>
void CKaSafeArray::WithFullIndices(unsigned long indexCount, long* indices, Call&& call) const
{
    const unsigned long dimCount = getDimCount();
    if (indexCount == 0 || indexCount > dimCount) {
        throw CKaCodeException(KA_E_SAFEARRAY_INDEX_COUNT);
    }
    if (!indices) throw CKaCodeException(E_POINTER);
    if (indexCount == dimCount) {
        call(indices);
        return;
    }
    // The platform reads one index per dimension whatever it is given; the ones not given
    // stand at their dimension's lower bound (the platform's dimension k + 1 is number
    // dimCount - k - 1 here).
    std::vector<long> full(indices, indices + indexCount);
    for (unsigned long k = indexCount; k < dimCount; ++k) {
        full.push_back(getLowerBound(dimCount - k - 1));
    }
    call(full.data());
}

namespace {

// The address of an element that owns nothing (no string, interface, variant or record), or
// null for arrays of elements that do. A plain element is copied through its address: that is
// what SafeArrayGetElement and SafeArrayPutElement do for it, at a fraction of their cost, as
// those lock the array around every single copy.
void* PlainElementAt(SAFEARRAY* array, long* indices)
{
    const USHORT owning = FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT | FADF_RECORD;
    if (array->fFeatures & owning) return nullptr;
    void* element = nullptr;
    KaThrowIfFailed(SafeArrayPtrOfIndex(array, indices, &element));
    return element;
}

} // namespace

void CKaSafeArray::GetAt(unsigned long indexCount, long* indices, void* value) const
{
    SAFEARRAY* array = getArray();
    WithFullIndices(indexCount, indices, [&](long* full) {
        if (void* element = PlainElementAt(array, full)) {
            std::memcpy(value, element, array->cbElements);
        } else {
            KaThrowIfFailed(SafeArrayGetElement(array, full, value));
        }
    });
}

void CKaSafeArray::SetAt(unsigned long indexCount, long* indices, void* value)
{
    SAFEARRAY* array = getArray();
    WithFullIndices(indexCount, indices, [&](long* full) {
        if (void* element = PlainElementAt(array, full)) {
            std::memcpy(element, value, array->cbElements);
        } else {
            KaThrowIfFailed(SafeArrayPutElement(array, full, value));
        }
    });
}

template <class T>
T CKaSafeArray::GetElement(unsigned long indexCount, long* indices) const
{
    CheckElementType(TKaAutomationType<T>::tag);
    // The platform hands out a copy (a new string, a copied VARIANT, a counted interface).
    CKaOwnedRaw<T> raw;
    GetAt(indexCount, indices, &raw.Get());
    return TKaAutomationType<T>::Get(raw.Get());
}

template <class T>
void CKaSafeArray::SetElement(unsigned long indexCount, long* indices, const T& value)
{
    typedef TKaAutomationType<T> Type;
    CheckElementType(Type::tag);
    CKaOwnedRaw<T> raw;
    Type::Put(raw.Get(), value);
    UnshareNode();
    // The platform stores its own copy of the value.
    SetAt(indexCount, indices, Type::Argument(raw.Get()));
}

template <class Read>
void CKaSafeArray::ReadVector(VARTYPE type, Read&& read) const
{
    if (getIsEmpty()) return;
    CheckElementType(type);
    if (getDimCount() != 1) throw CKaCodeException(KA_E_WRONG_SHAPE);
    const unsigned long count = getElementCount(0);
    CKaArrayData data(getArray());
    read(data.Get(), count);
}

template <class Write>
void CKaSafeArray::WriteVector(VARTYPE type, unsigned long count, Write&& write)
{
    // Built aside, so that a failure half way leaves this object's array as it was; what was
    // written before the failure goes with the new array.
    CKaSafeArray built;
    built.Create(type, 0, count);
    {
        CKaArrayData data(built.getArray());
        write(data.Get());
    }
    AttachOwned(built.Detach());
}

template <class T>
CKaArray<T> CKaSafeArray::GetVector() const
{
    typedef TKaAutomationType<T> Type;
    CKaArray<T> values;
    ReadVector(Type::tag, [&](const void* data, unsigned long count) {
        if (count == 0) return;
        const typename Type::Raw* raw = static_cast<const typename Type::Raw*>(data);
        values.SetCount(count);
        T* items = std::addressof(values[0ul]);
        for (unsigned long i = 0; i < count; ++i) items[i] = Type::Get(raw[i]);
    });
    return values;
}

template <class T>
void CKaSafeArray::SetVector(const CKaArray<T>& values)
{
    typedef TKaAutomationType<T> Type;
    const unsigned long count = values.getCount();
    WriteVector(Type::tag, count, [&](void* data) {
        typename Type::Raw* raw = static_cast<typename Type::Raw*>(data);
        for (unsigned long i = 0; i < count; ++i) Type::Put(raw[i], values[i]);
    });
}

#define ZELKA_SAFEARRAY_ACCESS(X, T)                                                           \
    T CKaSafeArray::Get##X(unsigned long indexCount, long* indices) const                      \
    {                                                                                          \
        return GetElement<T>(indexCount, indices);                                             \
    }                                                                                          \
    void CKaSafeArray::Set##X(unsigned long indexCount, long* indices, const T& value)         \
    {                                                                                          \
        SetElement<T>(indexCount, indices, value);                                             \
    }                                                                                          \
    T CKaSafeArray::get##X(long i) const { return Get##X(1, &i); }                             \
    T CKaSafeArray::get##X(long i, long j) const                                               \
    {                                                                                          \
        long indices[2] = {j, i};                                                              \
        return Get##X(2, indices);                                                             \
    }                                                                                          \
    void CKaSafeArray::set##X(long i, const T& value) { Set##X(1, &i, value); }                \
    void CKaSafeArray::set##X(long i, long j, const T& value)                                  \
    {                                                                                          \
        long indices[2] = {j, i};                                                              \
        Set##X(2, indices, value);                                                             \
    }                                                                                          \
    CKaArray<T> CKaSafeArray::get##X##Vector() const { return GetVector<T>(); }                \
    void CKaSafeArray::set##X##Vector(const CKaArray<T>& values) { SetVector(values); }
ZELKA_SAFEARRAY_ELEMENT_TYPES(ZELKA_SAFEARRAY_ACCESS)
#undef ZELKA_SAFEARRAY_ACCESS

#define ZELKA_SAFEARRAY_FROM_VECTOR(X, T)                                                      \
    CKaSafeArray::CKaSafeArray(const CKaArray<T>& values) : m_node(nullptr)                    \
    {                                                                                          \
        SetVector(values);                                                                     \
    }                                                                                          \
    const CKaSafeArray& CKaSafeArray::operator=(const CKaArray<T>& values)                     \
    {                                                                                          \
        SetVector(values);                                                                     \
        return *this;                                                                          \
    }
ZELKA_SAFEARRAY_VECTOR_TYPES(ZELKA_SAFEARRAY_FROM_VECTOR)
#undef ZELKA_SAFEARRAY_FROM_VECTOR

// ---- bytes ----------------------------------------------------------------------------------

CKaByteBuffer CKaSafeArray::getBytes() const
{
    CKaByteBuffer bytes;
    ReadVector(VT_UI1, [&](const void* data, unsigned long count) {
        bytes.SetBuffer(static_cast<const unsigned char*>(data), count);
    });
    return bytes;
}

void CKaSafeArray::setBytes(const CKaByteBuffer& bytes)
{
    const unsigned long count = bytes.getSize();
    WriteVector(VT_UI1, count, [&](void* data) {
        if (count) std::memcpy(data, bytes.getBuffer(), count);
    });
}
