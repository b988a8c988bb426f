#include <gtest/gtest.h>
#include <functional>
#include "katest.h"

TEST(KaStringInsert, AtAnyPositionWithExactGrowth)
{
    CKaString s(L"ad");
    s.Insert(1, L"bc");
    EXPECT_EQ(4u, s.getCapacity());
    s.Insert(4, L"efgh", 2);
    s.Insert(0, L'-', 2);
    s += L'!';
    EXPECT_EQ(L"--abcdef!", s);
    EXPECT_EQ(9u, s.getCapacity());
    s.Prepend(s);
    EXPECT_EQ(L"--abcdef!--abcdef!", s);
    EXPECT_EQ(L"(mid", L"(" + CKaString(L"mid"));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Insert(19, L"x"); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Insert(19, L'x', 0); }));
    // Nothing to insert changes nothing, a null text with a count included.
    const wchar_t* before = s.getSz();
    s.Insert(1, nullptr, 5);
    s.Append(L"xyz", 0);
    EXPECT_EQ(before, s.getSz());
    EXPECT_EQ(18u, s.getLength());
}

TEST(KaStringModification, EveryChangeOfACopyLeavesTheSharedOriginalAlone)
{
    const std::function<void(CKaString&)> changes[] = {
        [](CKaString& s) { s.setAt(0, L'X'); },
        [](CKaString& s) { s.Insert(2, L"--"); },
        [](CKaString& s) { s.Append(L'!', 2); },
        [](CKaString& s) { s.Overwrite(1, L"zz"); },
        [](CKaString& s) { s.Replace(L'b', L'B'); },
        [](CKaString& s) { s.Replace(L"bc", L"B"); },
        [](CKaString& s) { s.MakeUpper(); },
        [](CKaString& s) { s.MakeReverse(); },
        [](CKaString& s) { s.TrimLeft(L'a'); },
        [](CKaString& s) { s.DeleteMid(1, 1); },
        [](CKaString& s) { s.ExtractRight(2); },
        [](CKaString& s) { s.SetText("ansi"); },
    };
    for (const auto& change : changes) {
        const CKaString original(L"abcd");
        CKaString copy = original;
        change(copy);
        EXPECT_EQ(L"abcd", original);
        EXPECT_NE(L"abcd", copy);
        EXPECT_EQ(copy.getLength(), copy.getCapacity());
    }
}

TEST(KaStringModification, GrowingABlockLockedInPlaceFailsAndChangesNothing)
{
    CKaString pinned(L"abcd");
    wchar_t* buffer = pinned.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { pinned.Grow(5); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { pinned.Shrink(2); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { pinned.UnshareGrow(8); }));
    EXPECT_EQ(buffer, pinned.getSz());
    EXPECT_EQ(4u, pinned.getCapacity());
    const std::function<void(CKaString&)> changes[] = {
        [](CKaString& s) { s.Insert(1, L"x"); },
        [](CKaString& s) { s.Prepend(L'x', 1); },
        [](CKaString& s) { s.Replace(L"b", L"bb"); },
        [](CKaString& s) { s.SetText("abcde"); },
        [](CKaString& s) { s = CKaString(L"abcde"); },
    };
    for (const auto& change : changes) {
        CKaString s(L"abcd");
        buffer = s.Lock(true);
        EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { change(s); }));
        EXPECT_EQ(buffer, s.getSz());
        s.Unlock(s.getLength());
        EXPECT_EQ(L"abcd", s);
        // With room to spare the same change is made in the locked buffer.
        CKaString roomy(L"abcd");
        roomy.Grow(8);
        buffer = roomy.Lock(true);
        change(roomy);
        EXPECT_EQ(buffer, roomy.getSz());
        roomy.UnlockKeepLength();
        EXPECT_EQ(5u, roomy.getLength());
    }
}

TEST(KaStringOverwrite, KeepsTheLengthAndChecksTheRange)
{
    CKaString s(L"abcdef");
    s.Overwrite(2, L"XY");
    s.Overwrite(0, L'*', 1);
    EXPECT_EQ(L"*bXYef", s);
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Overwrite(5, L"XY"); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Overwrite(7, L""); }));
    s.Overwrite(0, s.getSz() + 3, 3);
    EXPECT_EQ(L"YefYef", s);
}

TEST(KaStringReplace, EveryOccurrenceLeftToRightWithoutOverlapNorRescanning)
{
    CKaString s(L"aaaaa");
    EXPECT_EQ(2u, s.Replace(L"aa", L"b"));
    EXPECT_EQ(L"bba", s);
    CKaString grow(L"abcXabc");
    EXPECT_EQ(2u, grow.Replace(L"abc", L"abcabc"));
    EXPECT_EQ(L"abcabcXabcabc", grow);
    EXPECT_EQ(13u, grow.getCapacity());
    EXPECT_EQ(0u, grow.Replace(L"", L"x"));
    EXPECT_EQ(4u, grow.Replace(L"abc", nullptr));
    EXPECT_EQ(L"X", grow);
    // A character is counted even where it stays as it is; then nothing is copied.
    const CKaString copy = grow;
    EXPECT_EQ(1u, grow.Replace(L'X', L'X'));
    EXPECT_EQ(copy.getSz(), grow.getSz());
}

TEST(KaStringReplace, InPlaceWhenItFitsElseAnExactBlock)
{
    CKaString s(L"x-y-z");
    s.Grow(20);
    const wchar_t* buffer = s.getSz();
    EXPECT_EQ(2u, s.Replace(L"-", L" -- "));
    EXPECT_EQ(L"x -- y -- z", s);
    EXPECT_EQ(2u, s.Replace(L" -- ", L"+"));
    EXPECT_EQ(L"x+y+z", s);
    EXPECT_EQ(buffer, s.getSz());
    const CKaString copy = s;
    EXPECT_EQ(2u, s.Replace(L"+", L"++"));
    EXPECT_EQ(L"x++y++z", s);
    EXPECT_EQ(7u, s.getCapacity());
    EXPECT_EQ(L"x+y+z", copy);
    // Locked but movable: the new block is locked too.
    s.Lock(false);
    EXPECT_EQ(2u, s.Replace(L"++", L", "));
    EXPECT_EQ(KA_E_ALREADY_LOCKED, ThrownCode([&] { s.Lock(false); }));
    s.UnlockKeepLength();
    EXPECT_EQ(L"x, y, z", s);
}

TEST(KaStringReplace, TextFromTheStringItselfAndEmbeddedZeros)
{
    CKaString s(L"ab");
    EXPECT_EQ(1u, s.Replace(s.getSz(), L"[ab]"));
    EXPECT_EQ(1u, s.Replace(L"ab", s.getSz()));
    EXPECT_EQ(L"[[ab]]", s);
    // In place, the texts would move under the replacement.
    CKaString roomy(L"abab");
    roomy.Grow(20);
    EXPECT_EQ(2u, roomy.Replace(roomy.getSz() + 2, L"xyz"));
    EXPECT_EQ(2u, roomy.Replace(L"y", roomy.getSz()));
    EXPECT_EQ(L"xxyzxyzzxxyzxyzz", roomy);
    // The runtime search stops at the first 0; what follows it is carried along, as it is by
    // the case changes.
    CKaString embedded(L"ab\0ab", 5);
    EXPECT_EQ(1u, embedded.Replace(L"ab", L"xyz"));
    embedded.MakeUpper();
    EXPECT_EQ(std::wstring(L"XYZ\0ab", 6), Units(embedded));
}

TEST(KaStringTrim, WhiteSpaceOneCharacterOrASetUpToTheFirstZero)
{
    const CKaString spaced(L" \t ab c \r\n");
    EXPECT_EQ(L"ab c", spaced.Trimmed());
    EXPECT_EQ(L"**a*b", CKaString(L"**a*b**").TrimmedRight(L'*'));
    EXPECT_EQ(L"a->", CKaString(L"<-a->").TrimmedLeft(L"-<"));
    EXPECT_EQ(L"", CKaString(L"   ").Trimmed());
    CKaString s = spaced;
    s.TrimRight();
    s.TrimLeft(L" \t");
    EXPECT_EQ(L"ab c", s);
    EXPECT_EQ(L" \t ab c \r\n", spaced);
    // Trailing white space before the first 0 takes the rest with it; without such a run
    // nothing is cut.
    EXPECT_EQ(std::wstring(L"ab"), Units(CKaString(L"ab \0cd", 6).TrimmedRight()));
    EXPECT_EQ(std::wstring(L"ab\0 cd ", 7), Units(CKaString(L"ab\0 cd ", 7).TrimmedRight()));
    EXPECT_EQ(std::wstring(L"\0 a", 3), Units(CKaString(L"\0 a", 3).Trimmed()));
}
