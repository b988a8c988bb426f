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
    CKaMapIterator<long, CHooked> it(map);
    for (bool on = it.MoveFirst(); on; on = it.MoveNext()) keys.push_back(it.getKey());
    return keys;
}

} // namespace

// ---- elements and order ---------------------------------------------------------------------

TEST(KaMap, SetLookupRemove)
{
    CLongMap map;
    EXPECT_EQ(17u, map.getBucketCount());
    EXPECT_TRUE(map.getIsEmpty());
    EXPECT_FALSE(map.Contains(1));
    EXPECT_FALSE(map.RemoveKey(1));

    map.SetAt(1, 10);
    map.SetAt(18, 180);
    map.SetAt(1, 11);
    EXPECT_EQ(2u, map.getCount());
    EXPECT_EQ(11, ValueOf(map, 1));
    EXPECT_EQ(180, ValueOf(map, 18));
    EXPECT_EQ(-999, ValueOf(map, 35));

    EXPECT_TRUE(map.RemoveKey(1));
    EXPECT_FALSE(map.Contains(1));
    EXPECT_EQ(180, ValueOf(map, 18));
    map.RemoveAll();
    EXPECT_EQ(0u, map.getCount());
    EXPECT_FALSE(map.Contains(18));
}

TEST(KaMap, BucketOrderThenInsertionOrder)
{
    CLongMap map;
    for (long key : {18, 1, 35, 16, 0, 52}) map.SetAt(key, key);
    EXPECT_EQ((std::vector<long>{0, 18, 1, 35, 52, 16}), KeysInOrder(map));

    // Removing from the middle and the tail keeps the chain usable at both ends.
    map.RemoveKey(1);
    map.RemoveKey(52);
    map.SetAt(69, 69);
    EXPECT_EQ((std::vector<long>{0, 18, 35, 69, 16}), KeysInOrder(map));
    EXPECT_EQ((std::vector<long>{}), KeysInOrder(CLongMap()));
}

TEST(KaMap, OtherBucketCounts)
{
    CKaMap<long, CHooked> map(3);
    for (long key : {4, 3, 5, 7}) map.SetAt(key, key);
    EXPECT_EQ(3u, map.getBucketCount());
    EXPECT_EQ((std::vector<long>{3, 4, 7, 5}), KeysInOrder(map));
}

TEST(KaMap, RemovedNodesAreReused)
{
    CLongMap map = Filled(3);
    CKaMapIterator<long, CHooked> it(map);
    ASSERT_TRUE(it.Seek(1));
    const long* removedKey = &it.getKey();
    map.RemoveKey(1);
    EXPECT_FALSE(it.getIsOnElement());
    map.SetAt(40, 40);
    ASSERT_TRUE(it.Seek(40));
    EXPECT_EQ(removedKey, &it.getKey());
}

TEST(KaMap, StringKeysAndCountedValues)
{
    CKaProbe::Counters counters;
    {
        CKaMap<CKaString, CKaRef<CKaObject>> map;
        map.SetAt(L"one", new CKaProbe(counters));
        map.SetAt(L"two", new CKaProbe(counters));
        CKaRef<CKaObject> found;
        EXPECT_TRUE(map.Lookup(CKaString(L"one"), found));
        EXPECT_FALSE(map.Lookup(CKaString(L"One"), found));
        // Keys are the whole counted texts, embedded zeros included.
        map.SetAt(CKaString(L"a\0b", 3), nullptr);
        EXPECT_FALSE(map.Contains(CKaString(L"a\0c", 3)));
        EXPECT_FALSE(map.Contains(CKaString(L"a")));
        EXPECT_TRUE(map.Contains(CKaString(L"a\0b", 3)));
        map.SetAt(L"one", nullptr);
        EXPECT_EQ(0, counters.destructions); // `found` still holds it
        found = nullptr;
        EXPECT_EQ(1, counters.destructions);
    }
    EXPECT_EQ(2, counters.destructions);
}

// ---- sharing and copy-on-write --------------------------------------------------------------

TEST(KaMapSharing, CopiesShareUntilOneWrites)
{
    CLongMap first = Filled(20);
    CLongMap second = first;
    CKaMapIterator<long, CHooked> a(first), b(second);
    a.Seek(3);
    b.Seek(3);
    EXPECT_EQ(&a.getValue(), &b.getValue());

    second.SetAt(3, 33);
    second.RemoveKey(4);
    EXPECT_EQ(3, ValueOf(first, 3));
    EXPECT_EQ(4, ValueOf(first, 4));
    EXPECT_EQ(33, ValueOf(second, 3));
    EXPECT_FALSE(second.Contains(4));
    EXPECT_EQ(20u, first.getCount());
    EXPECT_EQ(19u, second.getCount());
}

TEST(KaMapSharing, LiveIteratorsOnBothMapsFollowTheCopy)
{
    CLongMap first = Filled(40);
    CLongMap second = first;
    CKaMapRwIterator<long, CHooked> firstRw(first), secondRw(second);
    CKaMapIterator<long, CHooked> firstRead(first), secondRead(second), firstIdle(first);
    ASSERT_TRUE(firstRw.Seek(0));
    ASSERT_TRUE(firstRead.Seek(39));
    ASSERT_TRUE(secondRw.Seek(22));
    ASSERT_TRUE(secondRead.Seek(5));

    first.SetAt(100, 100); // first gets a table of its own

    EXPECT_EQ(0, firstRw.getKey());
    EXPECT_EQ(39, firstRead.getKey());
    EXPECT_EQ(22, secondRw.getKey());
    EXPECT_EQ(5, secondRead.getKey());
    EXPECT_FALSE(firstIdle.getIsOnElement());

    // Each iterator writes to its own map only.
    firstRw.setValue(-1);
    secondRw.setValue(-22);
    EXPECT_EQ(-1, ValueOf(first, 0));
    EXPECT_EQ(0, ValueOf(second, 0));
    EXPECT_EQ(-22, ValueOf(second, 22));
    EXPECT_EQ(22, ValueOf(first, 22));
    EXPECT_TRUE(first.Contains(100));
    EXPECT_FALSE(second.Contains(100));

    // Iteration goes on from where the moved iterators stand.
    ASSERT_TRUE(firstRead.MoveNext());
    EXPECT_EQ(6, firstRead.getKey()); // bucket 6 after bucket 5's 5, 22, 39
}

TEST(KaMapSharing, ACopyMadeDuringAnotherCopyRebindsItsIteratorsBySearch)
{
    CLongMap first = Filled(40);
    CLongMap second = first;
    CKaMapRwIterator<long, CHooked> firstAtStart(first), firstAtEnd(first);
    CKaMapRwIterator<long, CHooked> secondAtStart(second), secondInside(second);
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
    CKaMapIterator<long, CHooked> firstIt(first), secondIt(second);
    firstIt.Seek(7);
    secondIt.Seek(7);
    const CHooked* shared = &firstIt.getValue();

    g_copyCountdown = 25;
    g_onCopy = [] { throw CKaCodeException(E_FAIL); };
    EXPECT_EQ(E_FAIL, ThrownCode([&] { first.SetAt(7, 70); }));

    EXPECT_EQ(shared, &firstIt.getValue());
    EXPECT_EQ(shared, &secondIt.getValue());
    EXPECT_EQ(40u, first.getCount());
    EXPECT_EQ(7, ValueOf(first, 7));

    first.SetAt(7, 70);
    EXPECT_EQ(70, firstIt.getValue().value);
    EXPECT_EQ(7, secondIt.getValue().value);
}

TEST(KaMapSharing, AssignmentLeavesTheOldElements)
{
    CLongMap first = Filled(5);
    const CLongMap other = Filled(3);
    CKaMapIterator<long, CHooked> it(first);
    it.Seek(4);
    first = other;
    EXPECT_TRUE(it.getIsAttached());
    EXPECT_FALSE(it.getIsOnElement());
    EXPECT_EQ(3u, first.getCount());
    EXPECT_TRUE(it.MoveFirst());
}

// ---- iterators ------------------------------------------------------------------------------

TEST(KaMapIterators, RemoveMovesOnAndLeavesOthersOffTheElement)
{
    CLongMap map = Filled(3);
    CKaMapRwIterator<long, CHooked> remover(map);
    CKaMapIterator<long, CHooked> watcher(map), bystander(map);
    remover.Seek(1);
    watcher.Seek(1);
    bystander.Seek(2);
    EXPECT_TRUE(remover.Remove());
    EXPECT_EQ(2, remover.getKey());
    EXPECT_FALSE(watcher.getIsOnElement());
    EXPECT_EQ(2, bystander.getKey());
    EXPECT_FALSE(remover.Remove());
    EXPECT_FALSE(bystander.getIsOnElement());
    EXPECT_EQ((std::vector<long>{0}), KeysInOrder(map));
}

TEST(KaMapIterators, InsertSeeksFirst)
{
    CLongMap map;
    CKaMapRwIterator<long, CHooked> it(map);
    EXPECT_TRUE(it.Insert(5, 50));
    EXPECT_FALSE(it.Insert(5, 51));
    EXPECT_EQ(50, it.getValue().value);
    EXPECT_EQ(5, it.getKey());
    it.setValue(52);
    EXPECT_EQ(52, ValueOf(map, 5));
}

TEST(KaMapIterators, CopiesAreAttachedToTheSameMap)
{
    CLongMap map = Filled(3);
    CKaMapIterator<long, CHooked> it(map);
    it.Seek(1);
    CKaMapIterator<long, CHooked> copy = it;
    EXPECT_EQ(1, copy.getKey());
    map.RemoveKey(1);
    EXPECT_FALSE(copy.getIsOnElement());
}

TEST(KaMapIterators, UnattachedOrOffElementIteratorsThrow)
{
    CKaMapRwIterator<long, CHooked> loose;
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { loose.MoveFirst(); }));
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { loose.Insert(1, 1); }));
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { loose.setValue(1); }));

    CLongMap map = Filled(2);
    CKaMapRwIterator<long, CHooked> it(map);
    EXPECT_EQ(KA_E_ITERATOR_NOT_ON_ELEMENT, ThrownCode([&] { it.setValue(1); }));
    EXPECT_EQ(KA_E_ITERATOR_NOT_ON_ELEMENT, ThrownCode([&] { it.getKey(); }));
    EXPECT_EQ(KA_E_ITERATOR_NOT_ON_ELEMENT, ThrownCode([&] { it.Remove(); }));
    EXPECT_FALSE(it.Seek(9));
    EXPECT_FALSE(it.MoveNext());
}

TEST(KaMapIterators, AMapThatDiesDetachesItsIterators)
{
    CKaMapIterator<long, CHooked> survivor;
    CKaMapRwIterator<long, CHooked> writer;
    {
        CLongMap map = Filled(3);
        survivor = CKaMapIterator<long, CHooked>(map);
        writer = CKaMapRwIterator<long, CHooked>(map);
        survivor.Seek(2);
        EXPECT_TRUE(survivor.getIsAttached());
    }
    EXPECT_FALSE(survivor.getIsAttached());
    EXPECT_FALSE(survivor.getIsOnElement());
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { survivor.getKey(); }));
    EXPECT_EQ(KA_E_ITERATOR_DETACHED, ThrownCode([&] { writer.Seek(1); }));
}

// ---- hashes ---------------------------------------------------------------------------------

TEST(KaHashElement, AddressesDropTheirLowBits)
{
    int* pointer = reinterpret_cast<int*>(0x12345670);
    EXPECT_EQ(0x1234567u, KaHashElement(pointer));
    CKaProbe::Counters counters;
    CKaRef<CKaObject> object = new CKaProbe(counters);
    EXPECT_EQ(KaHashElement(object.getPtr()), KaHashElement(object));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(object.getPtr()) >> 4, KaHashElement(object));
}

TEST(KaHashElement, ValuesAndTexts)
{
    EXPECT_EQ(40u, KaHashElement(40));
    EXPECT_EQ(0xFFFFFFFFu, KaHashElement(-1));
    EXPECT_EQ(0x12345678u ^ 0x9ABCDEF0u, KaHashElement(0x9ABCDEF012345678ull));
    EXPECT_EQ(0x1234u, KaHashElement(static_cast<unsigned short>(0x1234)));
    CKaString built(L"ab");
    built.Append(L"c");
    EXPECT_EQ(KaHashElement(CKaString(L"abc")), KaHashElement(built));
    EXPECT_NE(KaHashElement(CKaString(L"abc")), KaHashElement(CKaString(L"acb")));
}
