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

using Longs = std::vector<long>;

} // namespace

TEST(KaArray, CopiesShareUntilOneWrites)
{
    CKaArray<CKaString> first;
    first.Add(L"a");
    EXPECT_EQ(1u, first.Add(L"b"));
    CKaArray<CKaString> second = first;
    const CKaArray<CKaString>& firstView = first;
    const CKaArray<CKaString>& secondView = second;
    EXPECT_EQ(&firstView[0], &secondView[0]);
    second[0] = L"changed";
    second.Add(L"c");
    EXPECT_EQ((std::vector<CKaString>{L"a", L"b"}), Items(first));
    EXPECT_EQ((std::vector<CKaString>{L"changed", L"b", L"c"}), Items(second));
}

TEST(KaArray, InsertRemoveAndTheirRangeCodes)
{
    CKaArray<long> array;
    for (long value : {1, 2, 3}) array.Add(value);
    array.Insert(0, 0);
    array.Insert(4, 4);
    array.Insert(2, 9);
    EXPECT_EQ((Longs{0, 1, 9, 2, 3, 4}), Items(array));
    array.Remove(2);
    array.Remove(1, 3);
    EXPECT_EQ((Longs{0, 4}), Items(array));
    const CKaArray<long>& view = array;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)view[-1]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array.setAt(2, 0); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { array.Insert(3, 0); }));
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

TEST(KaArray, SetCountValueInitialisesAndReleasesElements)
{
    CKaArray<bool> flags;
    flags.SetCount(3);
    flags[1] = true;
    flags.SetCount(2);
    EXPECT_EQ((std::vector<bool>{false, true}), Items(flags));

    CKaProbe::Counters counters;
    {
        CKaArray<CKaRef<CKaObject>> array;
        array.Add(new CKaProbe(counters));
        array.Add(new CKaProbe(counters));
        CKaArray<CKaRef<CKaObject>> copy = array;
        copy.Remove(0);
        EXPECT_EQ(0, counters.destructions);
        array.SetCount(1);
        array.Clear();
        EXPECT_EQ(1, counters.destructions);
    }
    EXPECT_EQ(2, counters.destructions);
}
