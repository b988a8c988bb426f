#include <gtest/gtest.h>
#include <vector>
#include "kacomtest.h"

namespace {

typedef CKaArray<CKaComRef<IUnknown>> TKaObjects;

CKaComRef<IUnknown> NewError(long code)
{
    return KaGetComInterface<IUnknown>(CKaError::Build(code));
}

// The code of each error a set holds, in order, read through the library.
std::vector<long> CodesOf(const TKaObjects& objects)
{
    std::vector<long> codes;
    for (unsigned long i = 0; i < objects.getCount(); ++i) {
        codes.push_back(CKaRef<CKaErrorProxy>(new CKaErrorProxy(objects[i]))->getCode());
    }
    return codes;
}

// The codes an enumerator gives from where it stands, fetched `step` at a time.
std::vector<long> Enumerate(IEnumVARIANT* enumerator, ULONG step)
{
    std::vector<long> codes;
    std::vector<VARIANT> items(step);
    for (;;) {
        ULONG fetched = 0;
        const HRESULT hr = enumerator->Next(step, items.data(), &fetched);
        EXPECT_EQ(fetched == step ? S_OK : S_FALSE, hr);
        for (ULONG i = 0; i < fetched; ++i) {
            EXPECT_EQ(VT_DISPATCH, items[i].vt);
            codes.push_back(CKaRef<CKaErrorProxy>(new CKaErrorProxy(items[i].pdispVal))->getCode());
            VariantClear(&items[i]);
        }
        if (hr != S_OK) return codes;
    }
}

CKaComRef<IEnumVARIANT> EnumeratorOf(IZELKaObjectSet* set)
{
    CKaComRef<IUnknown> unknown;
    EXPECT_EQ(S_OK, set->get__NewEnum(unknown.GetAddressOf()));
    return KaQueryInterface<IEnumVARIANT>(unknown);
}

} // namespace

TEST(KaComObjectSet, HoldsObjectsInOrderAndSharesItsStorageCopyOnWrite)
{
    CKaRef<CKaComObjectSet> set = CKaComObjectSet::Build();
    EXPECT_EQ(L"zel.core.com.objectset", set->getObjectTypeId());
    EXPECT_EQ(0u, set->Add(NewError(10)));
    EXPECT_EQ(1u, set->Add(NewError(11)));
    EXPECT_EQ(2u, set->Add(NewError(12)));
    const TKaObjects before = set->getItems();
    set->Remove(1);
    EXPECT_EQ((std::vector<long>{10, 12}), CodesOf(set->getItems()));
    EXPECT_EQ((std::vector<long>{10, 11, 12}), CodesOf(before)) << "a copy taken earlier";
    EXPECT_EQ(before[0].getPtr(), set->getItem(0).getPtr());

    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { set->getItem(2); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { set->Remove(2); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { set->Add(CKaComRef<IUnknown>()); }));
    EXPECT_EQ(2u, set->getCount());
    set->Clear();
    EXPECT_EQ(0u, set->getCount());
    EXPECT_EQ(3u, before.getCount());

    CKaRef<CKaComObjectSet> built = CKaComObjectSet::Build(before);
    EXPECT_EQ((std::vector<long>{10, 11, 12}), CodesOf(built->getItems()));
    TKaObjects withNull = before;
    withNull.Add(CKaComRef<IUnknown>());
    EXPECT_EQ(E_POINTER, ThrownCode([&] { CKaComObjectSet::Build(withNull); }));
}

TEST(KaComObjectSet, ItsCollectionFaceAnswersAsAutomationExpects)
{
    CKaRef<CKaComObjectSet> set = CKaComObjectSet::Build();
    CKaComRef<IZELKaObjectSet> face = KaGetComInterface<IZELKaObjectSet>(set);
    EXPECT_EQ(S_OK, face->Add(NewError(20)));
    EXPECT_EQ(S_OK, face->Add(NewError(21)));
    EXPECT_EQ(E_POINTER, face->Add(nullptr));
    TakeErrorInfo();
    LONG count = 0;
    EXPECT_EQ(S_OK, face->get_Count(&count));
    EXPECT_EQ(2, count);

    VARIANT item;
    VariantInit(&item);
    ASSERT_EQ(S_OK, face->get_Item(1, &item));
    ASSERT_EQ(VT_DISPATCH, item.vt);
    EXPECT_EQ(21, CKaRef<CKaErrorProxy>(new CKaErrorProxy(item.pdispVal))->getCode());
    VariantClear(&item);
    // Beyond the set either way: the library's code, with the thread's error information.
    for (LONG index : {2L, -1L}) {
        EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, face->get_Item(index, &item)) << index;
        EXPECT_EQ(VT_EMPTY, item.vt);
        const TKaTakenErrorInfo info = TakeErrorInfo();
        EXPECT_TRUE(info.present);
        EXPECT_EQ(L"get_Item", info.description);
        EXPECT_TRUE(IsEqualGUID(IID_IZELKaObjectSet, info.guid));
    }
    EXPECT_EQ(E_POINTER, face->get_Item(0, nullptr));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, face->Remove(-1));
    EXPECT_EQ(S_OK, face->Remove(0));
    EXPECT_EQ(1u, set->getCount());
    EXPECT_EQ(S_OK, face->Clear());
    EXPECT_EQ(0u, set->getCount());

    // Library objects whose interfaces carry error information: the set's does.
    CKaComRef<ISupportErrorInfo> support = KaQueryInterface<ISupportErrorInfo>(face);
    EXPECT_EQ(S_OK, support->InterfaceSupportsErrorInfo(IID_IZELKaObjectSet));
}

TEST(KaComObjectSet, AnEnumeratorWalksItsOwnCopy)
{
    CKaRef<CKaComObjectSet> set = CKaComObjectSet::Build();
    for (long code = 30; code < 35; ++code) set->Add(NewError(code));
    CKaComRef<IZELKaObjectSet> face = KaGetComInterface<IZELKaObjectSet>(set);
    CKaComRef<IEnumVARIANT> enumerator = EnumeratorOf(face);

    // The set changes and empties; the enumerator goes on over what it was given.
    set->Remove(0);
    set->Clear();
    set->Add(NewError(99));
    EXPECT_EQ((std::vector<long>{30, 31, 32, 33, 34}), Enumerate(enumerator, 2));
    EXPECT_TRUE(Enumerate(enumerator, 1).empty());
    EXPECT_EQ(S_OK, enumerator->Reset());
    EXPECT_EQ(S_OK, enumerator->Skip(3));
    CKaComRef<IEnumVARIANT> clone;
    ASSERT_EQ(S_OK, enumerator->Clone(clone.GetAddressOf()));
    EXPECT_EQ(S_FALSE, enumerator->Skip(5));
    EXPECT_TRUE(Enumerate(enumerator, 1).empty());
    EXPECT_EQ((std::vector<long>{33, 34}), Enumerate(clone, 3)) << "the clone keeps the position";

    EXPECT_EQ((std::vector<long>{99}), Enumerate(EnumeratorOf(face), 1));
    VARIANT item;
    EXPECT_EQ(E_POINTER, enumerator->Next(2, &item, nullptr));
    EXPECT_EQ(E_POINTER, enumerator->Clone(nullptr));
    EXPECT_EQ(E_POINTER, face->get__NewEnum(nullptr));

    // An enumerator keeps the server loaded.
    const long locks = KaComModuleLockCount();
    clone = nullptr;
    EXPECT_EQ(locks - 1, KaComModuleLockCount());
}

TEST(KaComObjectSetProxy, ReadsASetBehindItsInterface)
{
    CKaRef<CKaComObjectSet> set = CKaComObjectSet::Build();
    CKaComRef<IUnknown> first = NewError(40);
    set->Add(first);
    set->Add(NewError(41));
    CKaRef<CKaComObjectSetProxy> proxy =
        CKaComObjectProxyFactory::getInstalled()->CreateProxyOf<CKaComObjectSetProxy>(
            KaGetComInterface<IUnknown>(set));
    EXPECT_EQ(2u, proxy->getCount());
    EXPECT_EQ(first.getPtr(), KaQueryInterface<IUnknown>(proxy->getItem(0)).getPtr());
    EXPECT_EQ(L"zel.core.com.objectset", proxy->getRemoteTypeId());

    // The set's failure, with its error information, as a CKaErrorException.
    for (unsigned long index : {2ul, 0x80000000ul}) {
        try {
            proxy->getItem(index);
            ADD_FAILURE() << "nothing thrown for " << index;
        } catch (const CKaException& e) {
            EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, e.getCode());
            CKaRef<CKaError> error = e.getError();
            CKaComError* comError = dynamic_cast<CKaComError*>(error.getPtr());
            ASSERT_NE(nullptr, comError);
            EXPECT_EQ(L"get_Item", comError->getDescription());
        }
    }
}

TEST(KaComObjectSetProxy, TheReadmeExampleWorksAsWritten)
{
    CKaRef<CKaComObjectSet> set = CKaComObjectSet::Build();
    set->Add(KaGetComInterface<IUnknown>(CKaError::Build(E_ABORT)));

    CKaRef<CKaComObjectProxyFactory> factory = CKaComObjectProxyFactory::getInstalled();
    CKaRef<CKaComObjectSetProxy> items =
        factory->CreateProxyOf<CKaComObjectSetProxy>(KaGetComInterface<IUnknown>(set));
    CKaRef<CKaErrorProxy> first = factory->CreateProxyOf<CKaErrorProxy>(items->getItem(0));
    long code = first->getCode();   // E_ABORT; items->getItem(1) throws 0xC2000002

    EXPECT_EQ(E_ABORT, code);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { items->getItem(1); }));
}
