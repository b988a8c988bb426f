#include <gtest/gtest.h>
#include <cstring>
#include <thread>
#include <vector>
#include "katest.h"

namespace {

const wchar_t* EmptyText()
{
    return CKaStringTraits::DataText(CKaStringTraits::EmptyData());
}

} // namespace

TEST(KaStringStorage, EmptyStringsShareTheStaticBlock)
{
    CKaString empty;
    EXPECT_EQ(0u, empty.getLength());
    EXPECT_EQ(0u, empty.getCapacity());
    EXPECT_TRUE(empty.getIsEmpty());
    EXPECT_EQ(EmptyText(), empty.getSz());
    EXPECT_EQ(EmptyText(), CKaString(static_cast<const wchar_t*>(nullptr)).getSz());
    EXPECT_EQ(EmptyText(), CKaString(L"abc", 0).getSz());
    EXPECT_EQ(EmptyText(), CKaString(L'x', 0).getSz());
    EXPECT_EQ(0, CKaStringTraits::EmptyData()->refCount);
}

TEST(KaStringStorage, ConstructionForms)
{
    EXPECT_EQ(L"abc", CKaString(L"abc"));
    EXPECT_EQ(L"ab", CKaString(L"abc", 2));
    EXPECT_EQ(L"xxx", CKaString(L'x', 3));
    const CKaString counted(L"a\0b", 3);
    EXPECT_EQ(3u, counted.getLength());
    EXPECT_EQ(0, std::memcmp(L"a\0b", counted.getSz(), 4 * sizeof(wchar_t)));
    EXPECT_EQ(3u, CKaString(L"abc").getCapacity());
}

TEST(KaStringStorage, CopiesShareUntilOneIsModified)
{
    CKaString original(L"shared");
    CKaString copy = original;
    EXPECT_EQ(original.getSz(), copy.getSz());
    copy.Append(L"!");
    EXPECT_NE(original.getSz(), copy.getSz());
    EXPECT_EQ(L"shared", original);
    EXPECT_EQ(L"shared!", copy);

    CKaString assigned;
    assigned = original;
    EXPECT_EQ(original.getSz(), assigned.getSz());
    assigned.Clear();
    EXPECT_EQ(EmptyText(), assigned.getSz());
    EXPECT_EQ(L"shared", original);
}

TEST(KaStringStorage, LockedBlocksAreCopiedNeverShared)
{
    CKaString locked(L"text");
    locked.Lock(false);
    CKaString copy(locked);
    EXPECT_NE(locked.getSz(), copy.getSz());
    EXPECT_EQ(L"text", copy);
    copy.Append(L"x"); // the copy is an ordinary string
    locked.UnlockKeepLength();
    EXPECT_EQ(L"text", locked);
}

TEST(KaStringStorage, AssigningIntoALockedBlockCopiesInPlace)
{
    CKaString target;
    target.Grow(10);
    wchar_t* buffer = target.Lock(true);
    const CKaString source(L"12345");
    target = source;
    EXPECT_EQ(buffer, target.getSz());
    EXPECT_EQ(L"12345", target);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { target = CKaString(L'y', 11); }));
    EXPECT_EQ(L"12345", target);
    target.UnlockKeepLength();
    EXPECT_EQ(10u, target.getCapacity());
}

TEST(KaStringStorage, LockedInPlaceRefusesToMove)
{
    CKaString s(L"abcd");
    wchar_t* buffer = s.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Append(L"e"); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Grow(5); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Shrink(2); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.UnshareGrow(8); }));
    EXPECT_EQ(buffer, s.getSz());
    EXPECT_EQ(4u, s.getCapacity());
    s.Unlock(4);
    EXPECT_EQ(L"abcd", s);
}

TEST(KaStringStorage, LockedMayMoveAndStaysLocked)
{
    CKaString s(L"abcd");
    s.Lock(false);
    s.Append(L"ef");
    EXPECT_EQ(6u, s.getCapacity());
    EXPECT_EQ(KA_E_ALREADY_LOCKED, ThrownCode([&] { s.Lock(false); }));
    s.UnlockKeepLength();
    EXPECT_EQ(L"abcdef", s);
}

TEST(KaStringStorage, LockAndUnlockRules)
{
    CKaString s(L"abcd");
    s.Lock(true);
    EXPECT_EQ(KA_E_ALREADY_LOCKED, ThrownCode([&] { s.Lock(true); }));
    EXPECT_EQ(KA_E_ALREADY_LOCKED, ThrownCode([&] { s.LockGrow(10, false); }));
    EXPECT_EQ(KA_E_LENGTH_BEYOND_CAPACITY, ThrownCode([&] { s.Unlock(5); }));
    s.Unlock(2);
    EXPECT_EQ(L"ab", s);
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { s.Unlock(1); }));
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { s.UnlockKeepLength(); }));
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { s.UnlockFindNull(); }));
    EXPECT_EQ(L"ab", s);
}

TEST(KaStringStorage, WritingThroughALock)
{
    CKaString s;
    wchar_t* buffer = s.LockGrow(16, true);
    ASSERT_NE(EmptyText(), buffer);
    EXPECT_EQ(16u, s.getCapacity());
    std::wcscpy(buffer, L"written");
    s.UnlockFindNull();
    EXPECT_EQ(L"written", s);
    EXPECT_EQ(7u, s.getLength());

    // A shared string is copied before it is handed out for writing.
    CKaString copy = s;
    buffer = copy.Lock(false);
    EXPECT_NE(s.getSz(), buffer);
    buffer[0] = L'W';
    copy.Unlock(copy.getLength());
    EXPECT_EQ(L"Written", copy);
    EXPECT_EQ(L"written", s);
}

TEST(KaStringStorage, LockOfAnEmptyStringGivesAWritableBlock)
{
    CKaString s;
    wchar_t* buffer = s.Lock(true);
    ASSERT_NE(EmptyText(), buffer);
    EXPECT_EQ(0u, s.getCapacity());
    s.Unlock(0);
    EXPECT_EQ(L"", s);
    EXPECT_EQ(0, CKaStringTraits::DataText(CKaStringTraits::EmptyData())[0]);
}

TEST(KaStringStorage, UnlockFindNullStopsAtTheCapacity)
{
    CKaString s;
    wchar_t* buffer = s.LockGrow(4, false);
    for (int i = 0; i < 4; ++i) buffer[i] = L'z'; // no terminator written
    s.UnlockFindNull();
    EXPECT_EQ(L"zzzz", s);
}

TEST(KaStringStorage, GrowthIsExactFit)
{
    CKaString s(L"abc");
    s.Append(L"d");
    EXPECT_EQ(4u, s.getCapacity());
    s.Grow(100);
    EXPECT_EQ(100u, s.getCapacity());
    const wchar_t* buffer = s.getSz();
    s.Append(L"efg");
    EXPECT_EQ(buffer, s.getSz());
    EXPECT_EQ(100u, s.getCapacity());
    s.ShrinkToFit();
    EXPECT_EQ(7u, s.getCapacity());
    EXPECT_EQ(L"abcdefg", s);
    EXPECT_EQ(KA_E_LENGTH_BEYOND_CAPACITY, ThrownCode([&] { s.Shrink(6); }));
    EXPECT_EQ(7u, s.getCapacity());
}

TEST(KaStringStorage, GrowKeepsASharedBlockThatIsLargeEnough)
{
    CKaString s(L"abcdef");
    s.Shrink(6);
    CKaString copy = s;
    copy.Grow(3);
    EXPECT_EQ(s.getSz(), copy.getSz());
    copy.Grow(7);
    EXPECT_NE(s.getSz(), copy.getSz());
    EXPECT_EQ(L"abcdef", copy);
}

TEST(KaStringStorage, UnshareMakesAPrivateCopy)
{
    CKaString s(L"abc");
    CKaString copy = s;
    wchar_t* buffer = copy.Unshare();
    EXPECT_NE(s.getSz(), buffer);
    EXPECT_EQ(3u, copy.getCapacity());
    buffer = copy.UnshareGrow(10);
    EXPECT_EQ(10u, copy.getCapacity());
    EXPECT_EQ(buffer, copy.UnshareGrow(2)); // private and large enough: stays
    EXPECT_EQ(L"abc", copy);
}

TEST(KaStringStorage, SetLengthAndFill)
{
    CKaString s(L"abc");
    s.SetLengthFill(6, L'-');
    EXPECT_EQ(L"abc---", s);
    EXPECT_EQ(6u, s.getCapacity());
    s.setLength(2);
    EXPECT_EQ(L"ab", s);
    EXPECT_EQ(6u, s.getCapacity());
    s.setLength(4);
    EXPECT_EQ(4u, s.getLength());
    EXPECT_EQ(0, s.getSz()[4]);
}

TEST(KaStringStorage, ClearKeepsAPrivateBlock)
{
    CKaString s(L"abc");
    s.Grow(20);
    s.Clear();
    EXPECT_EQ(0u, s.getLength());
    EXPECT_EQ(20u, s.getCapacity());
    EXPECT_EQ(L"", s);
}

TEST(KaStringStorage, TextFromTheStringItself)
{
    CKaString s(L"abc");
    s.Append(s);
    EXPECT_EQ(L"abcabc", s);
    s.Append(s.getSz() + 4);
    EXPECT_EQ(L"abcabcbc", s);
    s.Grow(32);
    s.Append(s.getSz(), 3);
    EXPECT_EQ(L"abcabcbcabc", s);
    s.SetText(s.getSz() + 1);
    EXPECT_EQ(L"bcabcbcabc", s);
}

TEST(KaStringStorage, AllocationFailureLeavesTheStringUnchanged)
{
    CKaString s(L"keep");
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Grow(0x7FFFFFF0u); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Grow(0xFFFFFFFFu); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.SetLengthFill(0xFFFFFFF0u, L'x'); }));
    EXPECT_EQ(L"keep", s);
    EXPECT_EQ(4u, s.getCapacity());
}

TEST(KaStringStorage, SharedBlocksSurviveCopiesOnManyThreads)
{
    const CKaString shared(L"across threads");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&shared] {
            for (int i = 0; i < 20000; ++i) {
                CKaString copy = shared;
                if (i % 100 == 0) copy.Append(L".");
            }
        });
    }
    for (auto& thread : threads) thread.join();
    CKaString last = shared;
    EXPECT_EQ(shared.getSz(), last.getSz());
    EXPECT_EQ(L"across threads", last);
}

TEST(KaString, ComparisonIsOrdinal)
{
    const CKaString a(L"a");
    EXPECT_EQ(1, a.Compare(L"B"));
    EXPECT_EQ(-1, a.CompareNoCase(L"B"));
    EXPECT_TRUE(a > CKaString(L"B"));
    EXPECT_TRUE(L"B" < a);
    EXPECT_TRUE(a != L"A");
    EXPECT_EQ(1, a.Compare(nullptr));
    EXPECT_EQ(0, CKaString().Compare(nullptr));
}

TEST(KaString, FindAndLeft)
{
    const CKaString s(L"key;value");
    unsigned long pos = 99;
    EXPECT_TRUE(s.Find(L';', pos));
    EXPECT_EQ(3u, pos);
    EXPECT_EQ(L"key", s.Left(pos));
    EXPECT_FALSE(s.Find(L'x', pos));
    EXPECT_EQ(9u, pos);
    EXPECT_FALSE(s.Find(L'k', 9, pos));
    EXPECT_EQ(9u, pos);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Find(L'k', 10, pos); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Left(10); }));
}

TEST(KaString, PositionalFormatting)
{
    EXPECT_EQ(L"x-7", CKaString::Build(L"%2$s-%1$d", 7, L"x"));
    EXPECT_EQ(L"1.500000e+000", CKaString::Build(L"%e", 1.5));
    EXPECT_EQ(L"", CKaString::Build(nullptr));

    CKaString s;
    s.Grow(50);
    s.Format(L"%d items", 3);
    EXPECT_EQ(L"3 items", s);
    EXPECT_EQ(50u, s.getCapacity());
}

TEST(KaString, RejectedFormatLeavesTheStringUnchanged)
{
    CKaString s(L"before");
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { s.Format(L"%F", 1.5); }));
    EXPECT_EQ(L"before", s);
}

TEST(KaString, MessageFormatting)
{
    CKaString s(L"old");
    EXPECT_TRUE(s.FormatMessageW(L"%1 and %2!d!", L"one", 2));
    EXPECT_EQ(L"one and 2", s);
    EXPECT_FALSE(s.FormatMessageW(L""));
    EXPECT_EQ(L"", s);
    EXPECT_EQ(L"a b", CKaString::BuildMessage(L"%1 %2", L"a", L"b"));
}
