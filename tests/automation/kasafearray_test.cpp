#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>
#include "kaautomationtest.h"

namespace {

// Objects handed out as interface samples; the fixture that uses them gives them back.
std::vector<CKaComRef<IDispatch>> g_objects;

// Every access form of one element type, bound by name, with its type tag as the platform
// knows it and distinct sample values.
template <class T>
struct TElement;

#define ZELKA_TEST_ELEMENT(X, T, TAG)                                                          \
    template <>                                                                                \
    struct TElement<T>                                                                         \
    {                                                                                          \
        static constexpr VARTYPE tag = TAG;                                                    \
        static T Get(const CKaSafeArray& a, unsigned long n, long* i) { return a.Get##X(n, i); } \
        static void Set(CKaSafeArray& a, unsigned long n, long* i, const T& v)                 \
        {                                                                                      \
            a.Set##X(n, i, v);                                                                 \
        }                                                                                      \
        static T Get1(const CKaSafeArray& a, long i) { return a.get##X(i); }                   \
        static T Get2(const CKaSafeArray& a, long i, long j) { return a.get##X(i, j); }        \
        static void Set1(CKaSafeArray& a, long i, const T& v) { a.set##X(i, v); }              \
        static void Set2(CKaSafeArray& a, long i, long j, const T& v) { a.set##X(i, j, v); }   \
        static CKaArray<T> GetVector(const CKaSafeArray& a) { return a.get##X##Vector(); }     \
        static void SetVector(CKaSafeArray& a, const CKaArray<T>& v) { a.set##X##Vector(v); } \
        static T Sample(int k);                                                                \
    };
ZELKA_TEST_ELEMENT(I1, char, VT_I1)
ZELKA_TEST_ELEMENT(I2, short, VT_I2)
ZELKA_TEST_ELEMENT(I4, long, VT_I4)
ZELKA_TEST_ELEMENT(I8, __int64, VT_I8)
ZELKA_TEST_ELEMENT(U1, unsigned char, VT_UI1)
ZELKA_TEST_ELEMENT(U2, unsigned short, VT_UI2)
ZELKA_TEST_ELEMENT(U4, unsigned long, VT_UI4)
ZELKA_TEST_ELEMENT(U8, unsigned __int64, VT_UI8)
ZELKA_TEST_ELEMENT(F4, float, VT_R4)
ZELKA_TEST_ELEMENT(F8, double, VT_R8)
ZELKA_TEST_ELEMENT(Bool, bool, VT_BOOL)
ZELKA_TEST_ELEMENT(String, CKaString, VT_BSTR)
ZELKA_TEST_ELEMENT(Variant, CKaVariant, VT_VARIANT)
ZELKA_TEST_ELEMENT(Unknown, CKaComRef<IUnknown>, VT_UNKNOWN)
ZELKA_TEST_ELEMENT(Dispatch, CKaComRef<IDispatch>, VT_DISPATCH)
#undef ZELKA_TEST_ELEMENT

char TElement<char>::Sample(int k) { return static_cast<char>(k * 7 - 20); }
short TElement<short>::Sample(int k) { return static_cast<short>(k * 1000 - 30000); }
long TElement<long>::Sample(int k) { return k * 100000L - 2000000000L; }
__int64 TElement<__int64>::Sample(int k) { return (__int64)k << 40 | k; }
unsigned char TElement<unsigned char>::Sample(int k) { return static_cast<unsigned char>(250 - k); }
unsigned short TElement<unsigned short>::Sample(int k) { return static_cast<unsigned short>(65535 - k); }
unsigned long TElement<unsigned long>::Sample(int k) { return 4000000000UL + k; }
unsigned __int64 TElement<unsigned __int64>::Sample(int k) { return ~0ULL - k; }
float TElement<float>::Sample(int k) { return k * 0.25f - 1; }
double TElement<double>::Sample(int k) { return std::ldexp(k + 0.5, 300); }
bool TElement<bool>::Sample(int k) { return k % 2 == 0; }
CKaString TElement<CKaString>::Sample(int k)
{
    // Embedded 0 characters must survive every path.
    const std::wstring text = std::wstring(L"s\0", 2) + std::to_wstring(k);
    return CKaString(text.c_str(), static_cast<unsigned long>(text.size()));
}
CKaVariant TElement<CKaVariant>::Sample(int k)
{
    switch (k % 3) {
    case 0: return CKaVariant(static_cast<long>(k));
    case 1: return CKaVariant(TElement<CKaString>::Sample(k));
    default: return CKaVariant(g_objects[k % g_objects.size()]);
    }
}
CKaComRef<IUnknown> TElement<CKaComRef<IUnknown>>::Sample(int k)
{
    return k % 4 == 3 ? CKaComRef<IUnknown>() : CKaComRef<IUnknown>(g_objects[k % g_objects.size()]);
}
CKaComRef<IDispatch> TElement<CKaComRef<IDispatch>>::Sample(int k)
{
    return g_objects[k % g_objects.size()];
}

template <class T>
bool Same(const T& a, const T& b)
{
    return a == b;
}

template <class I>
bool Same(const CKaComRef<I>& a, const CKaComRef<I>& b)
{
    return a.getPtr() == b.getPtr();
}

template <class T>
CKaArray<T> Samples(int count, int first = 0)
{
    CKaArray<T> values;
    for (int k = 0; k < count; ++k) values.Add(TElement<T>::Sample(first + k));
    return values;
}

template <class T>
void ExpectSameVector(const CKaArray<T>& expected, const CKaArray<T>& actual)
{
    ASSERT_EQ(expected.getCount(), actual.getCount());
    for (unsigned long i = 0; i < expected.getCount(); ++i) {
        EXPECT_TRUE(Same(expected[i], actual[i])) << "element " << i;
    }
}

// What the platform itself answers when asked for element `indices` of `array`.
HRESULT PlatformReadCode(SAFEARRAY* array, long* indices)
{
    VARIANT slot[2]; // room for any element, zero bits are a valid empty one
    std::memset(static_cast<void*>(slot), 0, sizeof slot);
    const HRESULT hr = SafeArrayGetElement(array, indices, slot);
    EXPECT_TRUE(FAILED(hr)) << "the index was expected to be bad";
    return hr;
}

class KaSafeArray : public CKaLeakCheckedTest
{
protected:
    void SetUp() override
    {
        CKaLeakCheckedTest::SetUp();
        for (int i = 0; i < 3; ++i) g_objects.push_back(KaNewDispatch());
    }
    void TearDown() override
    {
        g_objects.clear();
        CKaLeakCheckedTest::TearDown();
    }
};

template <class T>
class KaSafeArrayElement : public KaSafeArray {};

typedef ::testing::Types<char, short, long, __int64, unsigned char, unsigned short,
                         unsigned long, unsigned __int64, float, double, bool, CKaString,
                         CKaVariant, CKaComRef<IUnknown>, CKaComRef<IDispatch>>
    TElementTypes;
TYPED_TEST_SUITE(KaSafeArrayElement, TElementTypes);

} // namespace

TYPED_TEST(KaSafeArrayElement, EveryAccessFormReadsWhatTheOthersWrote)
{
    typedef TElement<TypeParam> E;
    CKaSafeArray a;
    a.Create(E::tag, 3, 4);
    EXPECT_EQ(E::tag, a.getType());
    for (int k = 0; k < 4; ++k) E::Set1(a, 3 + k, E::Sample(k));
    long index = 5;
    E::Set(a, 1, &index, E::Sample(9));
    for (int k = 0; k < 4; ++k) {
        const TypeParam expected = E::Sample(k == 2 ? 9 : k);
        EXPECT_TRUE(Same(expected, E::Get1(a, 3 + k))) << k;
        index = 3 + k;
        EXPECT_TRUE(Same(expected, E::Get(a, 1, &index))) << k;
    }
    CKaArray<TypeParam> expected = Samples<TypeParam>(4);
    expected.setAt(2, E::Sample(9));
    ExpectSameVector(expected, E::GetVector(a));

    // Out of bounds on either side: the platform's own answer.
    for (long bad : {2L, 7L, -2147483647L - 1}) {
        EXPECT_EQ(PlatformReadCode(a.getArray(), &bad), ThrownCode([&] { E::Get1(a, bad); }));
        EXPECT_EQ(PlatformReadCode(a.getArray(), &bad),
                  ThrownCode([&] { E::Set1(a, bad, E::Sample(0)); }));
    }
    EXPECT_EQ(KA_E_SAFEARRAY_INDEX_COUNT, ThrownCode([&] { E::Get(a, 0, &index); }));
    long two[2] = {3, 3};
    EXPECT_EQ(KA_E_SAFEARRAY_INDEX_COUNT, ThrownCode([&] { E::Get(a, 2, two); }));
    EXPECT_EQ(KA_E_SAFEARRAY_INDEX_COUNT, ThrownCode([&] { E::Set(a, 2, two, E::Sample(0)); }));

    // A whole vector replaces the array by one from 0.
    const CKaArray<TypeParam> five = Samples<TypeParam>(5, 10);
    E::SetVector(a, five);
    EXPECT_EQ(1u, a.getDimCount());
    EXPECT_EQ(0, a.getLowerBound(0));
    EXPECT_EQ(5u, a.getElementCount(0));
    ExpectSameVector(five, E::GetVector(a));
    EXPECT_TRUE(Same(E::Sample(14), E::Get1(a, 4)));
    E::SetVector(a, CKaArray<TypeParam>());
    EXPECT_EQ(0u, a.getElementCount(0));
    EXPECT_EQ(0u, E::GetVector(a).getCount());
}

TYPED_TEST(KaSafeArrayElement, TwoIndexesPutTheSecondFirstForThePlatform)
{
    typedef TElement<TypeParam> E;
    CKaSafeArray a;
    a.Create(E::tag, 0, 2, 1, 3);
    EXPECT_EQ(2u, a.getDimCount());
    EXPECT_EQ(2u, a.getElementCount(0));
    EXPECT_EQ(3u, a.getElementCount(1));
    EXPECT_EQ(1, a.getLowerBound(1));
    EXPECT_EQ(3, a.getUpperBound(1));
    EXPECT_EQ(6u, a.getTotalElementCount());
    for (long i = 0; i < 2; ++i) {
        for (long j = 1; j <= 3; ++j) E::Set2(a, i, j, E::Sample(static_cast<int>(i * 3 + j)));
    }
    for (long i = 0; i < 2; ++i) {
        for (long j = 1; j <= 3; ++j) {
            const TypeParam expected = E::Sample(static_cast<int>(i * 3 + j));
            EXPECT_TRUE(Same(expected, E::Get2(a, i, j)));
            long platformOrder[2] = {j, i};
            EXPECT_TRUE(Same(expected, E::Get(a, 2, platformOrder)));
        }
    }
    // One index: the other dimension stands at its lower bound.
    long j = 2;
    EXPECT_TRUE(Same(E::Sample(2), E::Get(a, 1, &j)));

    long badI[2] = {1, 2}, badJ[2] = {4, 0};
    EXPECT_EQ(PlatformReadCode(a.getArray(), badI), ThrownCode([&] { E::Get2(a, 2, 1); }));
    EXPECT_EQ(PlatformReadCode(a.getArray(), badJ), ThrownCode([&] { E::Get2(a, 0, 4); }));
    EXPECT_EQ(PlatformReadCode(a.getArray(), badJ),
              ThrownCode([&] { E::Set2(a, 0, 4, E::Sample(0)); }));
    EXPECT_EQ(KA_E_WRONG_SHAPE, ThrownCode([&] { E::GetVector(a); }));
}

TYPED_TEST(KaSafeArrayElement, OtherElementTypesAndEmptyObjectsAreRefused)
{
    typedef TElement<TypeParam> E;
    CKaSafeArray empty;
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { E::Get1(empty, 0); }));
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { E::Set1(empty, 0, E::Sample(0)); }));
    EXPECT_EQ(0u, E::GetVector(empty).getCount());

    CKaSafeArray other;
    other.Create(E::tag == VT_R8 ? VT_I4 : VT_R8, 0, 2);
    SAFEARRAY* before = other.getArray();
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { E::Get1(other, 0); }));
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { E::Set2(other, 0, 0, E::Sample(0)); }));
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { E::GetVector(other); }));
    EXPECT_EQ(before, other.getArray());
    E::SetVector(other, Samples<TypeParam>(1));
    EXPECT_EQ(E::tag, other.getType());
}

TYPED_TEST(KaSafeArrayElement, CopiesShareUntilAnElementIsWritten)
{
    typedef TElement<TypeParam> E;
    CKaSafeArray a;
    E::SetVector(a, Samples<TypeParam>(3));
    CKaSafeArray b(a);
    EXPECT_EQ(a.getArray(), b.getArray());
    E::Set1(b, 1, E::Sample(7));
    EXPECT_NE(a.getArray(), b.getArray());
    ExpectSameVector(Samples<TypeParam>(3), E::GetVector(a));
    EXPECT_TRUE(Same(E::Sample(7), E::Get1(b, 1)));
}

TYPED_TEST(KaSafeArrayElement, VectorsTravelThroughAVariantHoldingTheArray)
{
    typedef TElement<TypeParam> E;
    const CKaArray<TypeParam> values = Samples<TypeParam>(4, 20);
    CKaSafeArray array;
    E::SetVector(array, values);

    CKaVariant holder;
    VARIANT* slot = &holder;
    slot->parray = array.Copy();
    slot->vt = VT_ARRAY | E::tag;
    CKaVariant copy;
    copy.Attach(holder.Copy()); // deep: the platform copies the array and its elements
    CKaSafeArray back(copy.getP()->parray);
    EXPECT_NE(array.getArray(), back.getArray());
    ExpectSameVector(values, E::GetVector(back));

    // The same array as an element of an array of variants.
    CKaSafeArray outer;
    outer.Create(VT_VARIANT, 0, 1);
    outer.setVariant(0, copy);
    CKaSafeArray inner(outer.getVariant(0).getP()->parray);
    ExpectSameVector(values, E::GetVector(inner));
}

TYPED_TEST(KaSafeArrayElement, NumbersAgreeWithThePlatformsElementAccess)
{
    typedef TElement<TypeParam> E;
    if constexpr (std::is_arithmetic<TypeParam>::value && !std::is_same<TypeParam, bool>::value) {
        SAFEARRAY* platform = SafeArrayCreateVector(E::tag, -1, 3);
        for (long i = -1; i < 2; ++i) {
            TypeParam value = E::Sample(static_cast<int>(i + 5));
            ASSERT_EQ(S_OK, SafeArrayPutElement(platform, &i, &value));
        }
        CKaSafeArray a;
        a.Attach(platform);
        for (long i = -1; i < 2; ++i) EXPECT_EQ(E::Sample(static_cast<int>(i + 5)), E::Get1(a, i));
        E::Set1(a, 0, E::Sample(40));
        TypeParam read{};
        long zero = 0;
        ASSERT_EQ(S_OK, SafeArrayGetElement(a.getArray(), &zero, &read));
        EXPECT_EQ(E::Sample(40), read);
    }
}

TEST_F(KaSafeArray, AnEmptyObjectHasNoTypeNoDimensionsAndNoBounds)
{
    CKaSafeArray a;
    EXPECT_TRUE(a.getIsEmpty());
    EXPECT_EQ(VT_EMPTY, a.getType());
    EXPECT_EQ(0u, a.getDimCount());
    EXPECT_EQ(0, a.getLowerBound(0));
    EXPECT_EQ(0, a.getUpperBound(3));
    EXPECT_EQ(0u, a.getElementCount(0));
    EXPECT_EQ(0u, a.getTotalElementCount());
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { a.getI4(0); }));
    EXPECT_EQ(0u, a.getI4Vector().getCount());
    EXPECT_EQ(0u, a.getBytes().getSize());
    EXPECT_EQ(nullptr, a.Copy());
    EXPECT_EQ(nullptr, a.Detach());
    EXPECT_EQ(nullptr, static_cast<SAFEARRAY*>(a));
    a.Clear();
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { a.AccessData(); }));

    CKaSafeArray fromNull(static_cast<SAFEARRAY*>(nullptr));
    EXPECT_TRUE(fromNull.getIsEmpty());
}

TEST_F(KaSafeArray, DimensionsCountFromThePlatformsLast)
{
    CKaSafeArray one;
    one.Create(VT_I4, 5, 3);
    EXPECT_EQ(5, one.getLowerBound(0));
    EXPECT_EQ(7, one.getUpperBound(0));
    EXPECT_EQ(3u, one.getElementCount(0));
    EXPECT_EQ(DISP_E_BADINDEX, ThrownCode([&] { one.getI4(4); }));
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { one.getI2(5); }));
    EXPECT_EQ(KA_E_SAFEARRAY_DIMENSION, ThrownCode([&] { one.getElementCount(1); }));

    CKaSafeArray two;
    two.Create(VT_I4, 0, 2, 0, 3);
    EXPECT_EQ(2u, two.getElementCount(0));
    EXPECT_EQ(3u, two.getElementCount(1));
    EXPECT_EQ(KA_E_SAFEARRAY_DIMENSION, ThrownCode([&] { two.getElementCount(2); }));
    EXPECT_EQ(KA_E_SAFEARRAY_DIMENSION, ThrownCode([&] { two.getLowerBound(2); }));
    EXPECT_EQ(KA_E_WRONG_SHAPE, ThrownCode([&] { two.getI4Vector(); }));
    CKaSafeArray twoBytes;
    twoBytes.Create(VT_UI1, 0, 1, 0, 1);
    EXPECT_EQ(KA_E_WRONG_SHAPE, ThrownCode([&] { twoBytes.getBytes(); }));
    LONG upper = 0;
    ASSERT_EQ(S_OK, SafeArrayGetUBound(two.getArray(), 1, &upper));
    EXPECT_EQ(2, upper); // the platform's first dimension is the second argument pair
    ASSERT_EQ(S_OK, SafeArrayGetUBound(two.getArray(), 2, &upper));
    EXPECT_EQ(1, upper);

    // Three dimensions from the platform's bounds, numbered backwards.
    SAFEARRAYBOUND bounds[3] = {{2, 10}, {3, 20}, {4, 30}};
    CKaSafeArray three;
    three.Create(VT_UI1, 3, bounds);
    EXPECT_EQ(30, three.getLowerBound(0));
    EXPECT_EQ(20, three.getLowerBound(1));
    EXPECT_EQ(10, three.getLowerBound(2));
    EXPECT_EQ(24u, three.getTotalElementCount());
}

TEST_F(KaSafeArray, CreateFailuresKeepTheOldArray)
{
    CKaSafeArray a(CKaArray<long>(Samples<long>(2)));
    SAFEARRAY* before = a.getArray();
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { a.Create(VT_EMPTY, 0, 1); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { a.Create(VT_I4, 0, nullptr); }));
    EXPECT_EQ(before, a.getArray());
    EXPECT_EQ(TElement<long>::Sample(1), a.getI4(1));
}

TEST_F(KaSafeArray, RawDataNeedsAnExclusiveLock)
{
    CKaSafeArray a;
    a.Create(VT_I4, 0, 3);
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { a.AccessData(); }));
    a.Lock(false);
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { a.AccessData(); }));
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { a.UnaccessData(); }));
    CKaSafeArray sharer;
    a.Unlock();
    sharer = a;
    EXPECT_EQ(a.getLockMode(), KaLockNone);
    SAFEARRAY* locked = a.LockArray();
    EXPECT_NE(sharer.getArray(), locked); // locking made it private
    EXPECT_EQ(KaLockInPlace, a.getLockMode());
    long* data = static_cast<long*>(a.AccessData());
    data[2] = 42;
    a.UnaccessData();
    a.Unlock();
    EXPECT_EQ(42, a.getI4(2));
    EXPECT_EQ(0, sharer.getI4(2));
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { a.UnaccessData(); }));
}

TEST_F(KaSafeArray, AnExclusiveLockRefusesEveryReplacementAndKeepsTheArray)
{
    CKaSafeArray other(CKaArray<long>(Samples<long>(1)));
    CKaSafeArray a(CKaArray<CKaString>(Samples<CKaString>(2)));
    SAFEARRAY* locked = a.Lock(true);
    const std::vector<std::function<void()>> replacements = {
        [&] { a.Create(VT_I4, 0, 1); },
        [&] { a.Detach(); },
        [&] { a.SetArray(other.getArray()); },
        [&] { a = other; },
        [&] { a.SetArray(static_cast<SAFEARRAY*>(nullptr)); },
        [&] { a.Clear(); },
        [&] { (void)&a; },
        [&] { a.setI4Vector(Samples<long>(2)); },
        [&] { a = Samples<CKaString>(3); },
        [&] { a.setBytes(CKaByteBuffer(L"00")); },
    };
    for (size_t i = 0; i < replacements.size(); ++i) {
        EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode(replacements[i])) << "replacement " << i;
        EXPECT_EQ(locked, a.getArray());
    }
    SAFEARRAY* attached = SafeArrayCreateVector(VT_I4, 0, 1);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { a.Attach(attached); }));
    SafeArrayDestroy(attached); // nothing was taken
    ExpectSameVector(Samples<CKaString>(2), a.getStringVector());
    // Writing elements is what the lock is for.
    a.setString(1, L"written");
    EXPECT_EQ(L"written", Units(a.getString(1)));
    a.Unlock();
    a.Clear();
    EXPECT_TRUE(a.getIsEmpty());
}

TEST_F(KaSafeArray, ALockedArrayIsCopiedNotShared)
{
    CKaSafeArray a(CKaArray<long>(Samples<long>(2)));
    a.Lock(false);
    CKaSafeArray copy(a);
    EXPECT_NE(a.getArray(), copy.getArray());
    CKaSafeArray target;
    target.Lock(false);
    target = copy;
    EXPECT_NE(copy.getArray(), target.getArray());
    ExpectSameVector(Samples<long>(2), target.getI4Vector());
}

TEST_F(KaSafeArray, AttachDetachAndTheAddressOperatorMoveOwnership)
{
    CKaSafeArray a(CKaArray<double>(Samples<double>(2)));
    CKaSafeArray sharer(a);
    SAFEARRAY* detached = a.Detach();
    EXPECT_NE(sharer.getArray(), detached);
    EXPECT_TRUE(a.getIsEmpty());
    a.Attach(detached);
    EXPECT_EQ(detached, a.getArray());
    a.Attach(SafeArrayCreateVector(VT_BSTR, 0, 2)); // the old array goes
    EXPECT_EQ(VT_BSTR, a.getType());

    SAFEARRAY** out = &sharer;
    EXPECT_EQ(nullptr, *out);
    EXPECT_EQ(S_OK, SafeArrayCopy(a.getArray(), out));
    EXPECT_EQ(VT_BSTR, sharer.getType());
}

TEST_F(KaSafeArray, BytesTravelAsAOneDimensionalByteArray)
{
    const CKaByteBuffer bytes(L"00ff7f80");
    CKaSafeArray a;
    a.setBytes(bytes);
    EXPECT_EQ(VT_UI1, a.getType());
    EXPECT_EQ(4u, a.getElementCount(0));
    EXPECT_EQ(0xFF, a.getU1(1));
    EXPECT_EQ(Bytes(bytes), Bytes(a.getBytes()));
    a.setBytes(CKaByteBuffer());
    EXPECT_EQ(VT_UI1, a.getType());
    EXPECT_EQ(0u, a.getBytes().getSize());
    a.Create(VT_I1, 0, 1);
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { a.getBytes(); }));
}

TEST_F(KaSafeArray, ArraysOfOtherTypesAreKeptButNotRead)
{
    SAFEARRAY* dates = SafeArrayCreateVector(VT_DATE, 0, 2);
    CKaSafeArray a(dates);
    SafeArrayDestroy(dates);
    EXPECT_EQ(VT_DATE, a.getType());
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { a.getF8(0); }));
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { a.getF8Vector(); }));
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { a.setF8(0, 1.0); }));
    SAFEARRAY* copy = a.Copy();
    EXPECT_NE(nullptr, copy);
    SafeArrayDestroy(copy);
}

TEST_F(KaSafeArray, StringsBuiltByThePlatformAreReadWhole)
{
    SAFEARRAY* platform = SafeArrayCreateVector(VT_BSTR, 0, 1);
    BSTR text = SysAllocStringLen(L"x\0y", 3);
    long zero = 0;
    ASSERT_EQ(S_OK, SafeArrayPutElement(platform, &zero, text));
    SysFreeString(text);
    CKaSafeArray a;
    a.Attach(platform);
    EXPECT_EQ(std::wstring(L"x\0y", 3), Units(a.getString(0)));
    a.setString(0, CKaString(L"p\0q", 3));
    BSTR read = nullptr;
    ASSERT_EQ(S_OK, SafeArrayGetElement(a.getArray(), &zero, &read));
    EXPECT_EQ(std::wstring(L"p\0q", 3), std::wstring(read, SysStringLen(read)));
    SysFreeString(read);
}

TEST_F(KaSafeArray, InterfaceElementsAreCountedByTheArray)
{
    CKaCountedDispatch* counted = static_cast<CKaCountedDispatch*>(g_objects[0].getPtr());
    const ULONG base = counted->Count();
    {
        CKaSafeArray a;
        a.Create(VT_DISPATCH, 0, 2);
        a.setDispatch(0, g_objects[0]);
        EXPECT_EQ(base + 1, counted->Count());
        a.setDispatch(0, g_objects[1]);
        EXPECT_EQ(base, counted->Count());
        a.setDispatchVector(Samples<CKaComRef<IDispatch>>(3));
        EXPECT_EQ(base + 1, counted->Count());
        CKaArray<CKaComRef<IDispatch>> read = a.getDispatchVector();
        EXPECT_EQ(base + 2, counted->Count());
        EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { a.getUnknownVector(); }));
    }
    EXPECT_EQ(base, counted->Count());
}

TEST_F(KaSafeArray, ExhaustedMemoryLeavesTheOldArray)
{
    CKaSafeArray a(CKaArray<CKaString>(Samples<CKaString>(2))), sharer(a);
    {
        CKaFailingAllocations failing;
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { a.setStringVector(Samples<CKaString>(3)); }));
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { a.setString(0, L"x"); }));
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { a.Create(VT_I4, 0, 1); }));
    }
    EXPECT_EQ(sharer.getArray(), a.getArray());
    ExpectSameVector(Samples<CKaString>(2), a.getStringVector());
}
