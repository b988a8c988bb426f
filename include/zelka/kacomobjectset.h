#ifndef ZELKA_KACOMOBJECTSET_H
#define ZELKA_KACOMOBJECTSET_H

#include "kaarray.h"
#include "kacomobject.h"

class CKaComObjectSetFace;

// A counted, ordered collection of COM objects that crosses COM as IZELKaObjectSet: Count,
// Item by 0-based index and _NewEnum for For Each, and Add, Remove and Clear, which are on the
// interface too so that a script can fill a set it creates by ProgID. Its storage is a
// copy-on-write CKaArray, so getItems and every enumerator take a copy that later changes of
// the set never touch. The set is free-threaded: one lock on the object guards its array.
class ZELKA_API CKaComObjectSet : public CKaObject
{
public:
    typedef CKaComObjectSetFace TComFace;

    // Creates a set (always inside its creatable wrapper), empty or holding `items`.
    static CKaRef<CKaComObjectSet> Build();
    static CKaRef<CKaComObjectSet> Build(CKaArray<CKaComRef<IUnknown>> items);

    CKaString getObjectTypeInfo() override;
    static CKaString GetClassTypeId();
    CKaString getClassTypeId();

    unsigned long getCount();
    // KA_E_INDEX_OUT_OF_RANGE beyond the last object.
    CKaComRef<IUnknown> getItem(unsigned long index);
    CKaArray<CKaComRef<IUnknown>> getItems();

    // A null object is E_POINTER: a set holds objects only. Add returns the new object's index.
    unsigned long Add(CKaComRef<IUnknown> object);
    // KA_E_INDEX_OUT_OF_RANGE beyond the last object.
    void Remove(unsigned long index);
    void Clear();

    // The properties of IZELKaObjectSet. A null out-pointer gives E_POINTER; a library
    // failure becomes the thread's error information and the result; nothing is thrown. An
    // item comes as VT_DISPATCH when the object offers IDispatch, otherwise as VT_UNKNOWN.
    HRESULT get_Count(long* count);
    HRESULT get_Item(long index, VARIANT* item);
    HRESULT get__NewEnum(IUnknown** enumerator);

protected:
    explicit CKaComObjectSet(CKaArray<CKaComRef<IUnknown>> items);

private:
    CKaArray<CKaComRef<IUnknown>> m_items;
};

class CKaComObjectSetFace : public CKaObjectFace<IZELKaObjectSet>
{
public:
    // Script engines ask for the enumerator as a method (JScript's Enumerator does) as well as
    // a property; _NewEnum is a property here and answers both.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID locale, WORD flags,
                                     DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                     UINT* argumentError) override
    {
        if (id == DISPID_NEWENUM && flags == DISPATCH_METHOD) flags |= DISPATCH_PROPERTYGET;
        return CKaObjectFace<IZELKaObjectSet>::Invoke(id, riid, locale, flags, params, result,
                                                      exception, argumentError);
    }
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override { return Owner()->get_Count(count); }
    HRESULT STDMETHODCALLTYPE get_Item(LONG index, VARIANT* item) override
    {
        return Owner()->get_Item(index, item);
    }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** enumerator) override
    {
        return Owner()->get__NewEnum(enumerator);
    }
    HRESULT STDMETHODCALLTYPE Add(IUnknown* object) override
    {
        return KaComMethod(IID_IZELKaObjectSet, L"Add", [&] { Owner()->Add(object); });
    }
    HRESULT STDMETHODCALLTYPE Remove(LONG index) override
    {
        return KaComMethod(IID_IZELKaObjectSet, L"Remove", [&] {
            Owner()->Remove(KaCheckedIndex(static_cast<int>(index)));
        });
    }
    HRESULT STDMETHODCALLTYPE Clear() override
    {
        return KaComMethod(IID_IZELKaObjectSet, L"Clear", [&] { Owner()->Clear(); });
    }

protected:
    explicit CKaComObjectSetFace(CKaComObjectSet* owner)
        : CKaObjectFace<IZELKaObjectSet>(owner)
    {
    }

private:
    CKaComObjectSet* Owner() const { return static_cast<CKaComObjectSet*>(this->m_owner); }
};

#endif
