#include <gtest/gtest.h>
#include "katest.h"

TEST(KaStringStorage, EmptyStringsShareTheStaticBlockWhichIsNeverWritten)
{
    const wchar_t* empty = CKaStringTraits::DataText(CKaStringTraits::EmptyData());
    EXPECT_EQ(empty, CKaString().getSz());
    EXPECT_EQ(empty, CKaString(L"abc", 0).getSz());
    CKaString locked;
    EXPECT_NE(empty, locked.Lock(true));
    locked.Unlock(0);
    EXPECT_EQ(0, CKaStringTraits::EmptyData()->refCount);
}

TEST(KaStringStorage, CopiesShareUntilOneIsModifiedLockedBlocksNever)
{
    CKaString original(L"shared");
    CKaString copy = original;
    EXPECT_EQ(original.getSz(), copy.getSz());
    copy.Append(L"!");
    EXPECT_EQ(L"shared", original);
    EXPECT_EQ(L"shared!", copy);
    original.Lock(false);
    const CKaString ofLocked(original);
    EXPECT_NE(original.getSz(), ofLocked.getSz());
    EXPECT_EQ(L"shared", ofLocked);
    original.UnlockKeepLength();
}

TEST(KaStringStorage, LockRules)
{
    CKaString s(L"abcd");
    s.Lock(false);
    // A block locked but not in place may move: an exact new block, still locked.
    s.Append(L"ef");
    EXPECT_EQ(6u, s.getCapacity());
    EXPECT_EQ(KA_E_ALREADY_LOCKED, ThrownCode([&] { s.Lock(true); }));
    EXPECT_EQ(KA_E_LENGTH_BEYOND_CAPACITY, ThrownCode([&] { s.Unlock(7); }));
    s.Unlock(2);
    EXPECT_EQ(L"ab", s);
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { s.Unlock(1); }));
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { s.UnlockKeepLength(); }));
    EXPECT_EQ(KA_E_NOT_LOCKED, ThrownCode([&] { s.UnlockFindNull(); }));
}

TEST(KaStringStorage, WritingThroughALock)
{
    CKaString s;
    wchar_t* buffer = s.LockGrow(4, false);
    for (int i = 0; i < 4; ++i) buffer[i] = L'z'; // no terminator: the capacity ends the text
    s.UnlockFindNull();
    EXPECT_EQ(L"zzzz", s);
    // A shared string is copied before it is handed out for writing.
    CKaString copy = s;
    copy.Lock(false)[0] = L'W';
    copy.UnlockKeepLength();
    EXPECT_EQ(L"Wzzz", copy);
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
    s.ShrinkToFit();
    EXPECT_EQ(7u, s.getCapacity());
    EXPECT_EQ(KA_E_LENGTH_BEYOND_CAPACITY, ThrownCode([&] { s.Shrink(6); }));
    // A shared block that is large enough stays shared; unsharing copies to an exact fit.
    CKaString copy = s;
    copy.Grow(3);
    EXPECT_EQ(s.getSz(), copy.getSz());
    EXPECT_NE(s.getSz(), copy.Unshare());
    EXPECT_EQ(7u, copy.getCapacity());
    copy.UnshareGrow(10);
    EXPECT_EQ(10u, copy.getCapacity());
    EXPECT_EQ(L"abcdefg", copy);
}

TEST(KaStringStorage, SetLengthAndClearKeepThePrivateBlock)
{
    CKaString s(L"abc");
    s.SetLengthFill(6, L'-');
    EXPECT_EQ(L"abc---", s);
    s.setLength(2);
    EXPECT_EQ(L"ab", s);
    s.setLength(4);
    EXPECT_EQ(0, s.getSz()[4]);
    s.Clear();
    EXPECT_EQ(L"", s);
    EXPECT_EQ(6u, s.getCapacity());
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
    {
        CKaFailingAllocations failing;
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Grow(100); }));
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Append(L" more"); }));
    }
    // Blocks beyond 32 bits are refused by rule, whatever the address space.
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Grow(0x7FFFFFF8u); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Grow(0x7FFFFFFFu); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.Grow(0xFFFFFFFFu); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { s.SetLengthFill(0xFFFFFFF0u, L'x'); }));
    EXPECT_EQ(L"keep", s);
    EXPECT_EQ(4u, s.getCapacity());
}

TEST(KaString, ComparisonIsOrdinalAndAnswersOnlyMinusOneZeroOrOne)
{
    const CKaString a(L"a");
    EXPECT_EQ(1, a.Compare(L"B"));
    EXPECT_EQ(-1, a.CompareNoCase(L"B"));
    EXPECT_EQ(1, CKaString(L"\xFFFF").Compare(L"a"));
    EXPECT_EQ(-1, a.Collate(L"zzz"));
    EXPECT_EQ(1, CKaString(L"zzz").CollateNoCase(L"A"));
    EXPECT_EQ(0, CKaString(L"MiXeD").CompareNoCase(L"mixed"));
    EXPECT_TRUE(a > CKaString(L"B"));
    EXPECT_TRUE(L"B" < a);
    EXPECT_EQ(1, a.Compare(nullptr));
}
