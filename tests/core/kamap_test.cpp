#include <gtest/gtest.h>
#include <functional>
#include <utility>
#include <vector>
#include "kaprobe.h"
#include "katest.h"

namespace {

// A value whose copies can be made to run a piece of test code: the n-th copy from now calls
// the hook, which may throw or work on another map in the middle of a table copy.
std::function<void()> g_onCopy;
int g_copyCountdown = 0;

struct CHooked
{
    CHooked(long v = 0) : value(v) {}
    CHooked(const CHooked& other) : value(other.value)
    {
        if (g_copyCountdown > 0 && --g_copyCountdown == 0 && g_onCopy) {
            std::function<void()> hook = std::move(g_onCopy);
            g_onCopy = nullptr;
            hook();
        }
    }
    CHooked& operator=(const CHooked&) = default;

    long value;
};

using CLongMap = CKaMap<long, CHooked>;
using CReader = CKaMapIterator<long, CHooked>;
using CWriter = CKaMapRwIterator<long, CHooked>;

// Integer keys hash to themselves, so k, k + 17, k + 34 share a bucket.
CLongMap Filled(long count)
{
    CLongMap map;
    for (long key = 0; key < count; ++key) map.SetAt(key, key);
    return map;
}

long ValueOf(const CLongMap& map, long key)
{
    CHooked value(-999);
    return map.Lookup(key, value) ? value.value : -999;
}

std::vector<long> KeysInOrder(const CLongMap& map)
{
    std::vector<long> keys;
    CReader it(map);
    for (bool on = it.MoveFirst(); on; on = it.MoveNext()) keys.push_back(it.getKey());
    return keys;
}

} // namespace

// ---- elements and order ---------------------------------------------------------------------

TEST(KaMap, SetLookupRemoveInBucketThenInsertionOrder)
{
    CLongMap map;
    for (long key : {18, 1, 35, 16, 0, 52}) map.SetAt(key, key);
    map.SetAt(1, 11);
    EXPECT_EQ(11, ValueOf(map, 1));
    EXPECT_EQ(-999, ValueOf(map, 69));
    EXPECT_EQ((std::vector<long>{0, 18, 1, 35, 52, 16}), KeysInOrder(map));
    // Removing from the middle and the tail keeps the chain usable at both ends.
    EXPECT_TRUE(map.RemoveKey(1));
    EXPECT_TRUE(map.RemoveKey(52));
    EXPECT_FALSE(map.RemoveKey(52));
    map.SetAt(69, 69);
    EXPECT_EQ((std::vector<long>{0, 18, 35, 69, 16}), KeysInOrder(map));
    map.RemoveAll();
    EXPECT_TRUE(map.getIsEmpty() && !map.Contains(18));

    CLongMap three(3);
    for (long key : {4, 3, 5, 7}) three.SetAt(key, key);
    EXPECT_EQ((std::vector<long>{3, 4, 7, 5}), KeysInOrder(three));
}

TEST(KaMap, StringKeysAreWholeTextsAndValuesAreCounted)
{
    CKaProbe::Counters counters;
    {
        CKaMap<CKaString, CKaRef<CKaObject>> map;
        map.SetAt(CKaString(L"a\0b", 3), new CKaProbe(counters));
        map.SetAt(CKaString(L"a\0c", 3), new CKaProbe(counters));
        CKaRef<CKaObject> found;
        EXPECT_TRUE(map.Lookup(CKaString(L"a\0b", 3), found));
        EXPECT_FALSE(map.Contains(CKaString(L"a")));
        map.SetAt(CKaString(L"a\0b", 3), nullptr);
        EXPECT_EQ(0, counters.destructions); // `found` still holds it
        found = nullptr;
        EXPECT_EQ(1, counters.destructions);
    }
    EXPECT_EQ(2, counters.destructions);
}

// ---- sharing and copy-on-write --------------------------------------------------------------

TEST(KaMapSharing, CopiesShareUntilOneWritesAndLiveIteratorsFollowTheCopy)
{
    CLongMap first = Filled(40);
    CLongMap second = first;
    CWriter firstRw(first), secondRw(second);
    CReader firstRead(first), secondRead(second), secondIdle(second);
    ASSERT_TRUE(firstRw.Seek(0));
    ASSERT_TRUE(firstRead.Seek(39));
    ASSERT_TRUE(secondRw.Seek(22));
    ASSERT_TRUE(secondRead.Seek(39));
    EXPECT_EQ(&firstRead.getValue(), &secondRead.getValue());

    second.RemoveKey(4); // second gets a table of its own

    EXPECT_NE(&firstRead.getValue(), &secondRead.getValue());
    EXPECT_EQ(39, secondRead.getKey());
    EXPECT_EQ(22, secondRw.getKey());
    EXPECT_EQ(0, firstRw.getKey());
    EXPECT_FALSE(secondIdle.getIsOnElement());
    // Each iterator writes to its own map only.
    firstRw.setValue(-1);
    secondRw.setValue(-22);
    first.SetAt(100, 100);
    EXPECT_EQ(-1, ValueOf(first, 0));
    EXPECT_EQ(0, ValueOf(second, 0));
    EXPECT_EQ(-22, ValueOf(second, 22));
    EXPECT_EQ(22, ValueOf(first, 22));
    EXPECT_TRUE(first.Contains(4) && !second.Contains(4) && !second.Contains(100));
    // Iteration goes on from where the moved iterators stand.
    ASSERT_TRUE(secondRead.MoveNext());
    EXPECT_EQ(6, secondRead.getKey()); // bucket 6 after bucket 5's 5, 22, 39
}

TEST(KaMapSharing, ACopyMadeDuringAnotherCopyRebindsItsIteratorsBySearch)
{
    CLongMap first = Filled(40);
    CLongMap second = first;
    CWriter firstAtStart(first), firstAtEnd(first), secondAtStart(second), secondInside(second);
    firstAtStart.Seek(0);
    firstAtEnd.Seek(39);
    secondAtStart.Seek(0);
    secondInside.Seek(22);

    // Half way through first's copy of the shared table, second copies it too. The nodes that
    // first has already copied must still lead first's iterators to first's copies.
    g_copyCountdown = 20;
    g_onCopy = [&] { second.SetAt(200, 200); };
    first.SetAt(100, 100);
    ASSERT_FALSE(static_cast<bool>(g_onCopy));

    firstAtStart.setValue(-1);
    firstAtEnd.setValue(-39);
    secondAtStart.setValue(-2);
    secondInside.setValue(-22);
    EXPECT_EQ(-1, ValueOf(first, 0));
    EXPECT_EQ(-39, ValueOf(first, 39));
    EXPECT_EQ(22, ValueOf(first, 22));
    EXPECT_EQ(-2, ValueOf(second, 0));
    EXPECT_EQ(-22, ValueOf(second, 22));
    EXPECT_EQ(39, ValueOf(second, 39));
    EXPECT_TRUE(first.Contains(100) && !first.Contains(200));
    EXPECT_TRUE(second.Contains(200) && !second.Contains(100));
}

TEST(KaMapSharing, AFailedCopyLeavesBothMapsAsTheyWere)
{
    CLongMap first = Filled(40);
    CLongMap second = first;
    CReader firstIt(first), secondIt(second);
    firstIt.Seek(7);
    secondIt.Seek(7);
    const CHooked* shared = &firstIt.getValue();

    g_copyCountdown = 25;
    g_onCopy = [] { throw CKaCodeException(E_FAIL); };
    EXPECT_EQ(E_FAIL, ThrownCode([&] { first.SetAt(7, 70); }));
    EXPECT_EQ(shared, &firstIt.getValue());
    EXPECT_EQ(shared, &secondIt.getValue());
    EXPECT_EQ(40u, first.getCount());

    first.SetAt(7, 70);
    EXPECT_EQ(70, firstIt.getValue().value);
    EXPECT_EQ(7, secondIt.getValue().value);
}

TEST(KaMapSharing, AssignmentLeavesTheOldElements)
{
    CLongMap first = Filled(5);
    CReader it(first);
    it.Seek(4);
    first = Filled(3);
    EXPECT_TRUE(it.getIsAttached());
    EXPECT_FALSE(it.getIsOnElement());
    EXPECT_EQ((std::vector<long>{0, 1, 2}), KeysInOrder(first));
}

// ---- iterators ------------------------------------------------------------------------------

TEST(KaMapIterators, RemoveMovesOnAndTakesOthersOffTheElement)
{
    CLongMap map = Filled(3);
    CWriter remover(map);
    CReader watcher(map), bystander(map);
    remover.Seek(1);
    watcher.Seek(1);
    bystander.Seek(2);
    const CReader copy = watcher;
    EXPECT_TRUE(remover.Remove());
    EXPECT_EQ(2, remover.getKey());
    EXPECT_FALSE(watcher.getIsOnElement());
    EXPECT_FALSE(copy.getIsOnElement());
    EXPECT_EQ(2, bystander.getKey());
    EXPECT_FALSE(remover.Remove());
    EXPECT_FALSE(bystander.getIsOnElement());
    EXPECT_EQ((std::vector<long>{0}), KeysInOrder(map));

    // Insert seeks first: an existing key keeps its value.
    EXPECT_TRUE(remover.Insert(5, 50));
    EXPECT_FALSE(remover.Insert(5, 51));
    EXPECT_EQ(50, ValueOf(map, 5));
}

TEST(KaMapIterators, WithoutAMapOrAnElementIteratorsThrow)
{
    CLongMap map = Filled(2);
    CWriter it(map);
    EXPECT_EQ(KA_E_ITERATOR_NOT_ON_ELEMENT, ThrownCode([&] { it.setValue(1); }));
    EXPECT_EQ(KA_E_ITERATOR_NOT_ON_ELEMENT, ThrownCode([&] { it.Remove(); }));
    EXPECT_FALSE(it.Seek(9));
    EXPECT_FALSE(it.MoveNext());
    CReader survivor;
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { survivor.MoveFirst(); }));
    {
        CLongMap dying = Filled(3);
        survivor = CReader(dying);
        it = CWriter(dying);
        survivor.Seek(2);
    }
    // A map that dies detaches its iterators.
    EXPECT_FALSE(survivor.getIsAttached());
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { survivor.getKey(); }));
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { it.Insert(1, 1); }));
}
