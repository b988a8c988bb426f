#include <gtest/gtest.h>
#include <vector>
#include "kaprobe.h"
#include "katest.h"

namespace {

template <class T>
std::vector<T> Items(const CKaArray<T>& array)
{
    std::vector<T> items;
    for (unsigned long i = 0; i < array.getCount(); ++i) items.push_back(array[i]);
    return items;
}

CKaArray<long> Numbers(std::initializer_list<long> values)
{
    CKaArray<long> array;
    for (long value : values) array.Add(value);
    return array;
}

using Longs = std::vector<long>;

} // namespace

TEST(KaArray, AddAndIndex)
{
    CKaArray<long> array;
    EXPECT_TRUE(array.getIsEmpty());
    for (long i = 0; i < 100; ++i) EXPECT_EQ(static_cast<unsigned long>(i), array.Add(i * i));
    EXPECT_EQ(100u, array.getCount());
    EXPECT_EQ(81, array[9]);
    EXPECT_EQ(81, array.getAt(9ul));
    array.setAt(9, -1);
    EXPECT_EQ(-1, array[9ul]);
}

TEST(KaArray, AccessIsBoundsChecked)
{
    CKaArray<long> array = Numbers({1, 2});
    const CKaArray<long>& view = array;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)view[2]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)view[-1]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array[2ul] = 0; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array.setAt(5, 0); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([] { (void)CKaArray<long>()[0]; }));
}

TEST(KaArray, CopiesShareUntilOneWrites)
{
    CKaArray<CKaString> first;
    first.Add(L"a");
    first.Add(L"b");
    CKaArray<CKaString> second = first;
    const CKaArray<CKaString>& firstView = first;
    const CKaArray<CKaString>& secondView = second;
    EXPECT_EQ(&firstView[0], &secondView[0]);

    second[0] = L"changed";
    second.Add(L"c");
    EXPECT_EQ((std::vector<CKaString>{L"a", L"b"}), Items(first));
    EXPECT_EQ((std::vector<CKaString>{L"changed", L"b", L"c"}), Items(second));

    CKaArray<CKaString> third;
    third = second;
    third.Clear();
    EXPECT_EQ(0u, third.getCount());
    EXPECT_EQ(3u, second.getCount());
}

TEST(KaArray, InsertAndRemove)
{
    CKaArray<long> array = Numbers({1, 2, 3});
    array.Insert(0, 0);
    array.Insert(4, 4);
    array.Insert(2, 9);
    EXPECT_EQ((Longs{0, 1, 9, 2, 3, 4}), Items(array));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array.Insert(7, 0); }));

    array.Remove(2);
    EXPECT_EQ((Longs{0, 1, 2, 3, 4}), Items(array));
    array.Remove(1, 3);
    EXPECT_EQ((Longs{0, 4}), Items(array));
    array.Remove(2, 0);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array.Remove(2); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array.Remove(3, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { array.Remove(1, 2); }));
    EXPECT_EQ((Longs{0, 4}), Items(array));
}

TEST(KaArray, AddingAnOwnElementSurvivesGrowth)
{
    CKaArray<CKaString> array;
    array.Add(L"first");
    for (int i = 0; i < 20; ++i) array.Add(array[0ul]);
    array.Insert(1, array[20ul]);
    EXPECT_EQ(22u, array.getCount());
    for (const CKaString& item : Items(array)) EXPECT_EQ(L"first", item);
}

TEST(KaArray, SetCount)
{
    CKaArray<bool> flags;
    flags.SetCount(3);
    EXPECT_EQ((std::vector<bool>{false, false, false}), Items(flags));
    flags[1] = true;
    flags.SetCount(2);
    EXPECT_EQ((std::vector<bool>{false, true}), Items(flags));

    CKaArray<CKaString> texts;
    texts.SetCount(2);
    EXPECT_EQ(L"", texts[1]);
}

TEST(KaArray, ReleasesItsElements)
{
    CKaProbe::Counters counters;
    {
        CKaArray<CKaRef<CKaObject>> array;
        array.Add(new CKaProbe(counters));
        array.Add(new CKaProbe(counters));
        CKaArray<CKaRef<CKaObject>> copy = array;
        copy.Remove(0);
        EXPECT_EQ(0, counters.destructions);
        array.Clear();
        EXPECT_EQ(1, counters.destructions);
    }
    EXPECT_EQ(2, counters.destructions);
}
