#include "zelka/kacomobjectset.h"

namespace {

// Holds the object-level lock of a library object for a scope.
class CKaObjectGuard
{
public:
    explicit CKaObjectGuard(CKaObject& object) : m_object(object) { m_object.Lock(); }
    ~CKaObjectGuard() { m_object.Unlock(); }
    CKaObjectGuard(const CKaObjectGuard&) = delete;
    CKaObjectGuard& operator=(const CKaObjectGuard&) = delete;

private:
    CKaObject& m_object;
};

// `object` as a VARIANT: VT_DISPATCH when it offers IDispatch (what scripts can call),
// otherwise VT_UNKNOWN. The VARIANT holds its own count.
void ToVariant(IUnknown* object, VARIANT* out)
{
    IDispatch* dispatch = nullptr;
    if (SUCCEEDED(object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch))) &&
        dispatch) {
        out->vt = VT_DISPATCH;
        out->pdispVal = dispatch;
        return;
    }
    object->AddRef();
    out->vt = VT_UNKNOWN;
    out->punkVal = object;
}

class CKaObjectSetEnumeratorFace;

// The enumerator _NewEnum hands out: the objects of the set as they were when it was made (a
// copy-on-write copy, so Add, Remove and Clear of the set never reach it) and a position.
class CKaObjectSetEnumerator : public CKaObject
{
public:
    typedef CKaObjectSetEnumeratorFace TComFace;

    CKaString getObjectTypeInfo() override
    {
        return ChainTypeInfo(L"zel.core.com.objectsetenumerator", CKaObject::getObjectTypeInfo());
    }

    // A new enumerator, counted once for the caller.
    static IEnumVARIANT* Build(const CKaArray<CKaComRef<IUnknown>>& items,
                               unsigned long position);

    HRESULT Next(ULONG wanted, VARIANT* items, ULONG* fetched)
    {
        if (!items || (wanted != 1 && !fetched)) return E_POINTER;
        CKaObjectGuard guard(*this);
        ULONG done = 0;
        for (; done < wanted && m_position < m_items.getCount(); ++done, ++m_position) {
            ToVariant(m_items[m_position], &items[done]);
        }
        if (fetched) *fetched = done;
        return done == wanted ? S_OK : S_FALSE;
    }
    HRESULT Skip(ULONG count)
    {
        CKaObjectGuard guard(*this);
        const unsigned long left = m_items.getCount() - m_position;
        m_position += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT Reset()
    {
        CKaObjectGuard guard(*this);
        m_position = 0;
        return S_OK;
    }
    HRESULT Clone(IEnumVARIANT** out)
    {
        return KaComProperty(out, IID_IEnumVARIANT, L"Clone", [this] {
            CKaObjectGuard guard(*this);
            return Build(m_items, m_position);
        });
    }

protected:
    CKaObjectSetEnumerator(const CKaArray<CKaComRef<IUnknown>>& items, unsigned long position)
        : m_items(items), m_position(position)
    {
    }

private:
    const CKaArray<CKaComRef<IUnknown>> m_items;
    unsigned long m_position;
};

class CKaObjectSetEnumeratorFace : public IEnumVARIANT
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IEnumVARIANT) return E_NOINTERFACE;
        *out = static_cast<IEnumVARIANT*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return m_owner->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_owner->Release(); }
    HRESULT STDMETHODCALLTYPE Next(ULONG wanted, VARIANT* items, ULONG* fetched) override
    {
        return m_owner->Next(wanted, items, fetched);
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override { return m_owner->Skip(count); }
    HRESULT STDMETHODCALLTYPE Reset() override { return m_owner->Reset(); }
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) override { return m_owner->Clone(out); }

protected:
    explicit CKaObjectSetEnumeratorFace(CKaObjectSetEnumerator* owner) : m_owner(owner) {}
    virtual ~CKaObjectSetEnumeratorFace() = default;

private:
    CKaObjectSetEnumerator* m_owner;
};

IEnumVARIANT* CKaObjectSetEnumerator::Build(const CKaArray<CKaComRef<IUnknown>>& items,
                                            unsigned long position)
{
    CKaComObject<CKaObjectSetEnumerator>* made =
        new CKaComObject<CKaObjectSetEnumerator>(items, position);
    made->AddRef();
    return made;
}

} // namespace

CKaComObjectSet::CKaComObjectSet(CKaArray<CKaComRef<IUnknown>> items) : m_items(items) {}

CKaRef<CKaComObjectSet> CKaComObjectSet::Build()
{
    return Build(CKaArray<CKaComRef<IUnknown>>());
}

CKaRef<CKaComObjectSet> CKaComObjectSet::Build(CKaArray<CKaComRef<IUnknown>> items)
{
    for (unsigned long i = 0; i < items.getCount(); ++i) {
        if (!items[i]) throw CKaCodeException(E_POINTER);
    }
    return new CKaComObject<CKaComObjectSet>(items);
}

CKaString CKaComObjectSet::getObjectTypeInfo()
{
    return ChainTypeInfo(GetClassTypeId(), CKaObject::getObjectTypeInfo());
}

CKaString CKaComObjectSet::GetClassTypeId()
{
    return L"zel.core.com.objectset";
}

CKaString CKaComObjectSet::getClassTypeId()
{
    return GetClassTypeId();
}

unsigned long CKaComObjectSet::getCount()
{
    CKaObjectGuard guard(*this);
    return m_items.getCount();
}

CKaComRef<IUnknown> CKaComObjectSet::getItem(unsigned long index)
{
    CKaObjectGuard guard(*this);
    return m_items.getAt(index);
}

CKaArray<CKaComRef<IUnknown>> CKaComObjectSet::getItems()
{
    CKaObjectGuard guard(*this);
    return m_items;
}

unsigned long CKaComObjectSet::Add(CKaComRef<IUnknown> object)
{
    if (!object) throw CKaCodeException(E_POINTER);
    CKaObjectGuard guard(*this);
    return m_items.Add(object);
}

void CKaComObjectSet::Remove(unsigned long index)
{
    // The removed object is let go after the lock: its last release may run any code.
    CKaComRef<IUnknown> removed;
    CKaObjectGuard guard(*this);
    removed = m_items.getAt(index);
    m_items.Remove(index);
}

void CKaComObjectSet::Clear()
{
    CKaArray<CKaComRef<IUnknown>> removed;
    CKaObjectGuard guard(*this);
    removed = m_items;
    m_items.Clear();
}

HRESULT CKaComObjectSet::get_Count(long* count)
{
    return KaComProperty(count, IID_IZELKaObjectSet, L"get_Count",
                         [this] { return static_cast<long>(getCount()); });
}

HRESULT CKaComObjectSet::get_Item(long index, VARIANT* item)
{
    if (!item) return E_POINTER;
    VariantInit(item);
    return KaComMethod(IID_IZELKaObjectSet, L"get_Item", [&] {
        ToVariant(getItem(KaCheckedIndex(static_cast<int>(index))), item);
    });
}

HRESULT CKaComObjectSet::get__NewEnum(IUnknown** enumerator)
{
    return KaComProperty(enumerator, IID_IZELKaObjectSet, L"get__NewEnum", [this] {
        return static_cast<IUnknown*>(CKaObjectSetEnumerator::Build(getItems(), 0));
    });
}
