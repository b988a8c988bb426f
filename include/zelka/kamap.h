#ifndef ZELKA_KAMAP_H
#define ZELKA_KAMAP_H

#include <cstdint>
#include <new>
#include <type_traits>
#include "kaexception.h"

// ---- hashing of keys ------------------------------------------------------------------------

// Objects sit on at least 16-byte boundaries, so the low four bits of an address say nothing.
template <class T>
unsigned long KaHashElement(T* p)
{
    return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(p) >> 4);
}

template <class T>
unsigned long KaHashElement(const CKaRef<T>& ref)
{
    return KaHashElement(ref.getPtr());
}

// Integers up to 32 bits are their own hash; wider ones fold their halves together.
template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
unsigned long KaHashElement(T value)
{
    if (sizeof(T) <= sizeof(unsigned long)) return static_cast<unsigned long>(value);
    const unsigned long long bits = static_cast<unsigned long long>(value);
    return static_cast<unsigned long>(bits ^ (bits >> 32));
}

// Texts hash and compare on their units where the map runs, with no call into the library for
// each character or each key compared.
inline unsigned long KaHashElement(const CKaString& text)
{
    // FNV-1a over the UTF-16 units: cheap, and every unit moves every bit of the result.
    const wchar_t* units = text.getSzInline();
    const unsigned long length = text.getLengthInline();
    unsigned long hash = 2166136261u;
    for (unsigned long i = 0; i < length; ++i) {
        hash = (hash ^ static_cast<unsigned long>(units[i])) * 16777619u;
    }
    return hash;
}

// Keys are equal as their type compares them; texts when they hold the same units, embedded
// zeros included, as their hash sees them.
template <class K>
bool KaEqualElements(const K& a, const K& b)
{
    return a == b;
}

inline bool KaEqualElements(const CKaString& a, const CKaString& b)
{
    const unsigned long length = a.getLengthInline();
    if (length != b.getLengthInline()) return false;
    const wchar_t* x = a.getSzInline();
    const wchar_t* y = b.getSzInline();
    if (x == y) return true;
    for (unsigned long i = 0; i < length; ++i) {
        if (x[i] != y[i]) return false;
    }
    return true;
}

template <class K, class V>
class CKaMapIteratorBase;
template <class K, class V>
class CKaMapRwIterator;

// A hash map whose table is shared between copies and copied on the first write. The bucket
// count is fixed (17 unless told otherwise) and there is no rehashing; each bucket's chain keeps
// its elements in insertion order. Iterators stay attached to their map: a copy-on-write moves
// them to the copied elements, and a map that dies detaches them.
template <class K, class V>
class CKaMap
{
public:
    explicit CKaMap(unsigned long bucketCount = 17);
    CKaMap(const CKaMap& other);
    ~CKaMap();
    // Shares the other table (and takes its bucket count); our iterators leave their elements.
    CKaMap& operator=(const CKaMap& other);

    unsigned long getBucketCount() const { return m_bucketCount; }
    unsigned long getCount() const { return m_table ? m_table->count : 0; }
    bool getIsEmpty() const { return getCount() == 0; }

    bool Lookup(const K& key, V& value) const;
    bool Contains(const K& key) const;
    // Adds the key or replaces its value.
    void SetAt(const K& key, const V& value);
    bool RemoveKey(const K& key);
    void RemoveAll();

private:
    friend class CKaMapIteratorBase<K, V>;
    friend class CKaMapRwIterator<K, V>;
    using TIterator = CKaMapIteratorBase<K, V>;

    struct TNode
    {
        TNode(const K& k, const V& v) : next(nullptr), key(k), value(v), spare(nullptr) {}
        TNode* next;
        K key;
        V value;
        TNode* spare; // links a node to its twin while a table is copied
    };
    struct TFreeNode
    {
        TFreeNode* next;
    };
    struct TBucket
    {
        TNode* head;
        TNode* tail;
    };
    struct TTable
    {
        TBucket* buckets;
        unsigned long bucketCount;
        unsigned long count;
        volatile long refCount; // 0 when built; one per map holding the table
        volatile long marker;   // -1 at rest, raised while a copy of the table is made
    };

    unsigned long BucketOf(const K& key) const { return KaHashElement(key) % m_bucketCount; }
    TNode* Find(const K& key, unsigned long bucket) const;
    // The first element in bucket order at or after `bucket`; false (and null) past the end.
    bool SeekFrom(unsigned long& bucket, TNode*& node) const;

    // Adds the key when it is absent; either way returns its node.
    TNode* Insert(const K& key, const V& value, unsigned long& bucket, bool& added);
    void Unlink(unsigned long bucket, TNode* node);
    // Gives the map a table of its own (a new one, or a copy of a shared one).
    TTable* Writable();
    bool Unshare();
    TNode* TwinOf(const TTable* copy, unsigned long bucket, const TNode* original) const;

    static TTable* NewTable(unsigned long bucketCount);
    TNode* Append(TTable* table, unsigned long bucket, const K& key, const V& value);
    void Recycle(TNode* node) noexcept;
    void DiscardTable(TTable* table) noexcept;
    void ReleaseTable() noexcept;

    void Register(TIterator* iterator) const noexcept;
    void Unregister(TIterator* iterator) const noexcept;
    void Unposition(const TNode* node) const noexcept; // null: every iterator

    unsigned long m_bucketCount;
    TTable* m_table;
    TFreeNode* m_freeList;
    mutable TIterator* m_iterators;
};

// An iterator attached to a map: it walks the elements in bucket order and seeks keys. Any use
// of an iterator without a map throws KA_E_ITERATOR_DETACHED; reading the element of one that
// is not on an element throws KA_E_ITERATOR_NOT_ON_ELEMENT.
template <class K, class V>
class CKaMapIteratorBase
{
public:
    CKaMapIteratorBase() noexcept;
    CKaMapIteratorBase(const CKaMapIteratorBase& other) noexcept;
    ~CKaMapIteratorBase();
    CKaMapIteratorBase& operator=(const CKaMapIteratorBase& other) noexcept;

    bool getIsAttached() const { return m_map != nullptr; }
    bool getIsOnElement() const { return m_node != nullptr; }

    bool MoveFirst();
    // False at the end, where the iterator stays.
    bool MoveNext();
    bool Seek(const K& key);
    const K& getKey() const;
    const V& getValue() const;

protected:
    friend class CKaMap<K, V>;
    using TMap = CKaMap<K, V>;
    using TNode = typename TMap::TNode;

    explicit CKaMapIteratorBase(TMap* map) noexcept;
    void Attach(TMap* map) noexcept;
    TMap* CheckedMap() const;
    TNode* CheckedNode() const;

    TMap* m_map;
    unsigned long m_bucket;
    TNode* m_node;
    CKaMapIteratorBase* m_prev;
    CKaMapIteratorBase* m_next;
};

// Reads only.
template <class K, class V>
class CKaMapIterator : public CKaMapIteratorBase<K, V>
{
public:
    CKaMapIterator() noexcept = default;
    explicit CKaMapIterator(const CKaMap<K, V>& map) noexcept
        : CKaMapIteratorBase<K, V>(const_cast<CKaMap<K, V>*>(&map))
    {
    }
};

// Reads and writes; every write gives the map a table of its own first.
template <class K, class V>
class CKaMapRwIterator : public CKaMapIteratorBase<K, V>
{
public:
    CKaMapRwIterator() noexcept = default;
    explicit CKaMapRwIterator(CKaMap<K, V>& map) noexcept : CKaMapIteratorBase<K, V>(&map) {}

    void setValue(const V& value);
    // Seeks the key and adds it when it is absent (true); either way stays on its element.
    bool Insert(const K& key, const V& value);
    // Removes the element and moves on to the next one (false at the end).
    bool Remove();
};

// ---- map: finding ---------------------------------------------------------------------------

template <class K, class V>
typename CKaMap<K, V>::TNode* CKaMap<K, V>::Find(const K& key, unsigned long bucket) const
{
    if (!m_table || m_table->count == 0) return nullptr;
    TNode* node = m_table->buckets[bucket].head;
    while (node && !KaEqualElements(node->key, key)) node = node->next;
    return node;
}

template <class K, class V>
bool CKaMap<K, V>::SeekFrom(unsigned long& bucket, TNode*& node) const
{
    for (; m_table && bucket < m_table->bucketCount; ++bucket) {
        node = m_table->buckets[bucket].head;
        if (node) return true;
    }
    node = nullptr;
    return false;
}

template <class K, class V>
bool CKaMap<K, V>::Lookup(const K& key, V& value) const
{
    const TNode* node = Find(key, BucketOf(key));
    if (node) value = node->value;
    return node != nullptr;
}

template <class K, class V>
bool CKaMap<K, V>::Contains(const K& key) const
{
    return Find(key, BucketOf(key)) != nullptr;
}

// ---- map: tables and nodes ------------------------------------------------------------------

template <class K, class V>
typename CKaMap<K, V>::TTable* CKaMap<K, V>::NewTable(unsigned long bucketCount)
{
    if (bucketCount > 0xFFFFFFFF / sizeof(TBucket)) throw CKaCodeException(E_OUTOFMEMORY);
    void* buckets = CKaNewDeleteMixin::operator new(bucketCount * sizeof(TBucket));
    TTable* table = nullptr;
    try {
        table = static_cast<TTable*>(CKaNewDeleteMixin::operator new(sizeof(TTable)));
    } catch (...) {
        CKaNewDeleteMixin::operator delete(buckets);
        throw;
    }
    table->buckets = static_cast<TBucket*>(buckets);
    for (unsigned long b = 0; b < bucketCount; ++b) table->buckets[b] = TBucket{nullptr, nullptr};
    table->bucketCount = bucketCount;
    table->count = 0;
    table->refCount = 0;
    table->marker = -1;
    return table;
}

template <class K, class V>
typename CKaMap<K, V>::TNode* CKaMap<K, V>::Append(TTable* table, unsigned long bucket,
                                                     const K& key, const V& value)
{
    void* memory = m_freeList;
    if (memory) {
        m_freeList = m_freeList->next;
    } else {
        memory = CKaNewDeleteMixin::operator new(sizeof(TNode));
    }
    TNode* node = nullptr;
    try {
        node = new (memory) TNode(key, value);
    } catch (...) {
        m_freeList = new (memory) TFreeNode{m_freeList};
        throw;
    }
    TBucket& chain = table->buckets[bucket];
    if (chain.tail) {
        chain.tail->next = node;
    } else {
        chain.head = node;
    }
    chain.tail = node;
    ++table->count;
    return node;
}

template <class K, class V>
void CKaMap<K, V>::Recycle(TNode* node) noexcept
{
    node->~TNode();
    m_freeList = new (static_cast<void*>(node)) TFreeNode{m_freeList};
}

template <class K, class V>
void CKaMap<K, V>::DiscardTable(TTable* table) noexcept
{
    for (unsigned long b = 0; b < table->bucketCount; ++b) {
        for (TNode* node = table->buckets[b].head; node;) {
            TNode* next = node->next;
            Recycle(node);
            node = next;
        }
    }
    CKaNewDeleteMixin::operator delete(table->buckets);
    CKaNewDeleteMixin::operator delete(table);
}

template <class K, class V>
void CKaMap<K, V>::ReleaseTable() noexcept
{
    Unposition(nullptr);
    if (m_table && InterlockedDecrement(&m_table->refCount) == 0) DiscardTable(m_table);
    m_table = nullptr;
}

template <class K, class V>
typename CKaMap<K, V>::TTable* CKaMap<K, V>::Writable()
{
    if (!m_table) {
        m_table = NewTable(m_bucketCount);
        m_table->refCount = 1;
    } else {
        Unshare();
    }
    return m_table;
}

template <class K, class V>
bool CKaMap<K, V>::Unshare()
{
    TTable* original = m_table;
    if (!original || original->refCount < 2) return false;
    TTable* copy = NewTable(original->bucketCount);
    // The first map to copy a table may use the original nodes' spare links to find the twins;
    // a map copying the same table at the same time (on another thread) must leave them alone
    // and link its own new nodes back to the originals instead.
    const bool forward = InterlockedIncrement(&original->marker) == 0;
    if (!forward) InterlockedDecrement(&original->marker);
    try {
        for (unsigned long b = 0; b < original->bucketCount; ++b) {
            for (TNode* node = original->buckets[b].head; node; node = node->next) {
                TNode* twin = Append(copy, b, node->key, node->value);
                if (forward) {
                    node->spare = twin;
                } else {
                    twin->spare = node;
                }
            }
        }
    } catch (...) {
        if (forward) InterlockedDecrement(&original->marker);
        DiscardTable(copy);
        throw;
    }
    for (TIterator* it = m_iterators; it; it = it->m_next) {
        if (!it->m_node) continue;
        it->m_node = forward ? it->m_node->spare : TwinOf(copy, it->m_bucket, it->m_node);
    }
    if (forward) InterlockedDecrement(&original->marker);
    copy->refCount = 1;
    m_table = copy;
    if (InterlockedDecrement(&original->refCount) == 0) DiscardTable(original);
    return true;
}

template <class K, class V>
typename CKaMap<K, V>::TNode* CKaMap<K, V>::TwinOf(const TTable* copy, unsigned long bucket,
                                                     const TNode* original) const
{
    TNode* twin = copy->buckets[bucket].head;
    while (twin && twin->spare != original) twin = twin->next;
    return twin;
}

// ---- map: changes ---------------------------------------------------------------------------

template <class K, class V>
typename CKaMap<K, V>::TNode* CKaMap<K, V>::Insert(const K& key, const V& value,
                                                     unsigned long& bucket, bool& added)
{
    bucket = BucketOf(key);
    TNode* node = Find(key, bucket);
    added = node == nullptr;
    return node ? node : Append(Writable(), bucket, key, value);
}

template <class K, class V>
void CKaMap<K, V>::Unlink(unsigned long bucket, TNode* node)
{
    TBucket& chain = m_table->buckets[bucket];
    TNode* previous = nullptr;
    for (TNode* at = chain.head; at != node; at = at->next) previous = at;
    if (previous) {
        previous->next = node->next;
    } else {
        chain.head = node->next;
    }
    if (chain.tail == node) chain.tail = previous;
    --m_table->count;
    Unposition(node);
    Recycle(node);
}

template <class K, class V>
void CKaMap<K, V>::SetAt(const K& key, const V& value)
{
    CKaMapRwIterator<K, V> it(*this);
    if (!it.Insert(key, value)) it.setValue(value);
}

template <class K, class V>
bool CKaMap<K, V>::RemoveKey(const K& key)
{
    CKaMapRwIterator<K, V> it(*this);
    if (!it.Seek(key)) return false;
    it.Remove();
    return true;
}

template <class K, class V>
void CKaMap<K, V>::RemoveAll()
{
    ReleaseTable();
}

// ---- map: life and iterators ----------------------------------------------------------------

template <class K, class V>
CKaMap<K, V>::CKaMap(unsigned long bucketCount)
    : m_bucketCount(bucketCount ? bucketCount : 1), m_table(nullptr), m_freeList(nullptr),
      m_iterators(nullptr)
{
}

template <class K, class V>
CKaMap<K, V>::CKaMap(const CKaMap& other)
    : m_bucketCount(other.m_bucketCount), m_table(other.m_table), m_freeList(nullptr),
      m_iterators(nullptr)
{
    if (m_table) InterlockedIncrement(&m_table->refCount);
}

template <class K, class V>
CKaMap<K, V>::~CKaMap()
{
    while (m_iterators) {
        TIterator* it = m_iterators;
        m_iterators = it->m_next;
        it->m_map = nullptr;
        it->m_node = nullptr;
        it->m_prev = it->m_next = nullptr;
    }
    ReleaseTable();
    while (m_freeList) {
        TFreeNode* node = m_freeList;
        m_freeList = node->next;
        CKaNewDeleteMixin::operator delete(node);
    }
}

template <class K, class V>
CKaMap<K, V>& CKaMap<K, V>::operator=(const CKaMap& other)
{
    if (other.m_table != m_table) {
        TTable* table = other.m_table;
        if (table) InterlockedIncrement(&table->refCount);
        ReleaseTable();
        m_table = table;
    }
    m_bucketCount = other.m_bucketCount;
    return *this;
}

// An iterator on the stack leaves the list in its destructor; GCC cannot see that far and
// warns about the map keeping the iterator's address.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
template <class K, class V>
void CKaMap<K, V>::Register(TIterator* iterator) const noexcept
{
    iterator->m_prev = nullptr;
    iterator->m_next = m_iterators;
    if (m_iterators) m_iterators->m_prev = iterator;
    m_iterators = iterator;
}
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic pop
#endif

template <class K, class V>
void CKaMap<K, V>::Unregister(TIterator* iterator) const noexcept
{
    if (iterator->m_prev) {
        iterator->m_prev->m_next = iterator->m_next;
    } else {
        m_iterators = iterator->m_next;
    }
    if (iterator->m_next) iterator->m_next->m_prev = iterator->m_prev;
    iterator->m_prev = iterator->m_next = nullptr;
}

template <class K, class V>
void CKaMap<K, V>::Unposition(const TNode* node) const noexcept
{
    for (TIterator* it = m_iterators; it; it = it->m_next) {
        if (!node || it->m_node == node) it->m_node = nullptr;
    }
}

// ---- iterators ------------------------------------------------------------------------------

template <class K, class V>
CKaMapIteratorBase<K, V>::CKaMapIteratorBase() noexcept
    : m_map(nullptr), m_bucket(0), m_node(nullptr), m_prev(nullptr), m_next(nullptr)
{
}

template <class K, class V>
CKaMapIteratorBase<K, V>::CKaMapIteratorBase(TMap* map) noexcept : CKaMapIteratorBase()
{
    Attach(map);
}

template <class K, class V>
CKaMapIteratorBase<K, V>::CKaMapIteratorBase(const CKaMapIteratorBase& other) noexcept
    : CKaMapIteratorBase()
{
    *this = other;
}

template <class K, class V>
CKaMapIteratorBase<K, V>::~CKaMapIteratorBase()
{
    Attach(nullptr);
}

template <class K, class V>
CKaMapIteratorBase<K, V>& CKaMapIteratorBase<K, V>::operator=(
    const CKaMapIteratorBase& other) noexcept
{
    if (this != &other) {
        Attach(other.m_map);
        m_bucket = other.m_bucket;
        m_node = other.m_node;
    }
    return *this;
}

template <class K, class V>
void CKaMapIteratorBase<K, V>::Attach(TMap* map) noexcept
{
    if (m_map) m_map->Unregister(this);
    m_map = map;
    m_bucket = 0;
    m_node = nullptr;
    if (m_map) m_map->Register(this);
}

template <class K, class V>
typename CKaMapIteratorBase<K, V>::TMap* CKaMapIteratorBase<K, V>::CheckedMap() const
{
    if (!m_map) throw CKaCodeException(KA_E_ITERATOR_DETACHED);
    return m_map;
}

template <class K, class V>
typename CKaMapIteratorBase<K, V>::TNode* CKaMapIteratorBase<K, V>::CheckedNode() const
{
    CheckedMap();
    if (!m_node) throw CKaCodeException(KA_E_ITERATOR_NOT_ON_ELEMENT);
    return m_node;
}

template <class K, class V>
bool CKaMapIteratorBase<K, V>::MoveFirst()
{
    m_bucket = 0;
    return CheckedMap()->SeekFrom(m_bucket, m_node);
}

template <class K, class V>
bool CKaMapIteratorBase<K, V>::MoveNext()
{
    const TMap* map = CheckedMap();
    if (!m_node) return false;
    if (m_node->next) {
        m_node = m_node->next;
        return true;
    }
    ++m_bucket;
    return map->SeekFrom(m_bucket, m_node);
}

template <class K, class V>
bool CKaMapIteratorBase<K, V>::Seek(const K& key)
{
    const TMap* map = CheckedMap();
    m_bucket = map->BucketOf(key);
    m_node = map->Find(key, m_bucket);
    return m_node != nullptr;
}

template <class K, class V>
const K& CKaMapIteratorBase<K, V>::getKey() const
{
    return CheckedNode()->key;
}

template <class K, class V>
const V& CKaMapIteratorBase<K, V>::getValue() const
{
    return CheckedNode()->value;
}

template <class K, class V>
void CKaMapRwIterator<K, V>::setValue(const V& value)
{
    this->CheckedNode();
    // Unsharing moves this iterator (with every other one of the map) to the copied element.
    this->m_map->Unshare();
    this->m_node->value = value;
}

template <class K, class V>
bool CKaMapRwIterator<K, V>::Insert(const K& key, const V& value)
{
    bool added = false;
    this->m_node = this->CheckedMap()->Insert(key, value, this->m_bucket, added);
    return added;
}

template <class K, class V>
bool CKaMapRwIterator<K, V>::Remove()
{
    this->CheckedNode();
    typename CKaMapIteratorBase<K, V>::TMap* map = this->m_map;
    map->Unshare();
    typename CKaMapIteratorBase<K, V>::TNode* removed = this->m_node;
    const unsigned long bucket = this->m_bucket;
    this->MoveNext();
    typename CKaMapIteratorBase<K, V>::TNode* next = this->m_node;
    map->Unlink(bucket, removed);
    this->m_node = next;
    return next != nullptr;
}

// The instances the library itself uses live in the DLL.
extern template class ZELKA_API CKaMap<CKaString, CKaRef<CKaObject>>;
extern template class ZELKA_API CKaMapIteratorBase<CKaString, CKaRef<CKaObject>>;
extern template class ZELKA_API CKaMapIterator<CKaString, CKaRef<CKaObject>>;
extern template class ZELKA_API CKaMapRwIterator<CKaString, CKaRef<CKaObject>>;

#endif
