#include <gtest/gtest.h>
#include <functional>
#include "katest.h"

TEST(KaStringInsert, EveryFormAtAnyPositionWithExactGrowth)
{
    CKaString s(L"ad");
    s.Insert(1, L"bc");
    EXPECT_EQ(L"abcd", s);
    EXPECT_EQ(4u, s.getCapacity());
    s.Insert(4, L"efgh", 2);
    s.Insert(0, L'-', 2);
    s.Insert(3, CKaString(L"+"));
    EXPECT_EQ(L"--a+bcdef", s);
    EXPECT_EQ(9u, s.getCapacity());
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Insert(10, L"x"); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Insert(10, L'x', 0); }));
    EXPECT_EQ(L"--a+bcdef", s);
}

TEST(KaStringInsert, NothingInsertedChangesNothing)
{
    const CKaString original(L"abc");
    CKaString s = original;
    s.Insert(1, L"xyz", 0);
    s.Insert(1, L'x', 0);
    s.Insert(1, static_cast<const wchar_t*>(nullptr));
    s.Insert(1, nullptr, 5);
    s.Append(CKaString());
    s.Prepend(L"");
    EXPECT_EQ(original.getSz(), s.getSz());
}

TEST(KaStringInsert, AppendPrependAndTheOperators)
{
    CKaString s(L"c");
    s.Append(L"de");
    s.Append(L"fgh", 1);
    s.Append(L'!', 2);
    s.Prepend(CKaString(L"b"));
    s.Prepend(L"xa", 1);
    s.Prepend(L'_', 1);
    s += L"1";
    s += CKaString(L"2");
    s += L'3';
    EXPECT_EQ(L"_xbcdef!!123", s);
    s.Prepend(s);
    EXPECT_EQ(L"_xbcdef!!123_xbcdef!!123", s);
}

TEST(KaStringModification, EveryChangeOfACopyLeavesTheSharedOriginalAlone)
{
    const std::function<void(CKaString&)> changes[] = {
        [](CKaString& s) { s.setAt(0, L'X'); },
        [](CKaString& s) { s.Insert(2, L"--"); },
        [](CKaString& s) { s.Append(L'!', 2); },
        [](CKaString& s) { s.Prepend(L"<"); },
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
    const std::function<void(CKaString&)> changes[] = {
        [](CKaString& s) { s.Insert(1, L"x"); },
        [](CKaString& s) { s.Append(L"x"); },
        [](CKaString& s) { s.Prepend(L'x', 1); },
        [](CKaString& s) { s += L'x'; },
        [](CKaString& s) { s.Replace(L"b", L"bb"); },
        [](CKaString& s) { s.SetText("abcde"); },
    };
    for (const auto& change : changes) {
        CKaString s(L"abcd");
        wchar_t* buffer = s.Lock(true);
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
    const CKaString copy = s;
    s.Overwrite(2, L"XY");
    s.Overwrite(0, L'*', 1);
    s.Overwrite(4, CKaString(L"zz"));
    s.Overwrite(5, L"12345", 1);
    EXPECT_EQ(L"*bXYz1", s);
    EXPECT_EQ(L"abcdef", copy);
    EXPECT_EQ(6u, s.getCapacity());
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Overwrite(5, L"XY"); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Overwrite(0, L'x', 7); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Overwrite(7, L""); }));
    s.Overwrite(6, L"");
    s.Overwrite(1, nullptr, 99);
    EXPECT_EQ(L"*bXYz1", s);
    s.Overwrite(0, s.getSz() + 3, 3);
    EXPECT_EQ(L"Yz1Yz1", s);
}

TEST(KaStringConcat, ReturnsANewStringAtEitherEnd)
{
    const CKaString s(L"mid");
    EXPECT_EQ(L"mid>>", s.Concat(L">>", true));
    EXPECT_EQ(L"<mid", s.Concat(L"<<", 1, false));
    EXPECT_EQ(L"...mid", s.Concat(L'.', 3, false));
    EXPECT_EQ(L"midmid", s.Concat(s, true));
    EXPECT_EQ(L"mid!", s + L'!');
    EXPECT_EQ(L"mid+", s + L"+");
    EXPECT_EQ(L"(mid", L"(" + s);
    EXPECT_EQ(L"midmid", s + s);
    EXPECT_EQ(L"mid", s);
    const CKaString joined = s + L"dle";
    EXPECT_EQ(6u, joined.getCapacity());
    EXPECT_EQ(s.getSz(), s.Concat(L"", true).getSz());
}

TEST(KaStringReplace, CharactersEverywhere)
{
    const CKaString original(L"a.b.c");
    CKaString s = original;
    EXPECT_EQ(2u, s.Replace(L'.', L'/'));
    EXPECT_EQ(L"a/b/c", s);
    EXPECT_EQ(L"a.b.c", original);
    CKaString same = original;
    EXPECT_EQ(0u, same.Replace(L'x', L'y'));
    EXPECT_EQ(2u, same.Replace(L'.', L'.'));
    EXPECT_EQ(original.getSz(), same.getSz());
}

TEST(KaStringReplace, TextWithoutOverlapNorRescanning)
{
    CKaString s(L"aaaaa");
    EXPECT_EQ(2u, s.Replace(L"aa", L"b"));
    EXPECT_EQ(L"bba", s);
    CKaString grow(L"abcXabc");
    EXPECT_EQ(2u, grow.Replace(L"abc", L"abcabc"));
    EXPECT_EQ(L"abcabcXabcabc", grow);
    EXPECT_EQ(13u, grow.getCapacity());
    CKaString erase(L"a-b-c-");
    EXPECT_EQ(3u, erase.Replace(L"-", nullptr));
    EXPECT_EQ(L"abc", erase);
}

TEST(KaStringReplace, NothingToReplace)
{
    CKaString s(L"abc");
    const wchar_t* before = s.getSz();
    EXPECT_EQ(0u, s.Replace(L"", L"x"));
    EXPECT_EQ(0u, s.Replace(nullptr, L"x"));
    EXPECT_EQ(0u, s.Replace(L"abcd", L"x"));
    EXPECT_EQ(0u, CKaString().Replace(L"a", L"b"));
    EXPECT_EQ(before, s.getSz());
    EXPECT_EQ(L"abc", s);
}

TEST(KaStringReplace, InPlaceWhenItFitsElseAnExactBlock)
{
    CKaString s(L"x-y-z");
    s.Grow(20);
    const wchar_t* buffer = s.getSz();
    EXPECT_EQ(2u, s.Replace(L"-", L" -- "));
    EXPECT_EQ(L"x -- y -- z", s);
    EXPECT_EQ(buffer, s.getSz());
    EXPECT_EQ(20u, s.getCapacity());
    EXPECT_EQ(2u, s.Replace(L" -- ", L"+"));
    EXPECT_EQ(L"x+y+z", s);
    EXPECT_EQ(buffer, s.getSz());

    const CKaString copy = s;
    EXPECT_EQ(2u, s.Replace(L"+", L"++"));
    EXPECT_EQ(L"x++y++z", s);
    EXPECT_EQ(7u, s.getCapacity());
    EXPECT_EQ(L"x+y+z", copy);
}

TEST(KaStringReplace, LockedBlocks)
{
    CKaString s(L"a,b");
    wchar_t* buffer = s.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Replace(L",", L", "); }));
    EXPECT_EQ(L"a,b", s);
    EXPECT_EQ(1u, s.Replace(L",", L";"));
    EXPECT_EQ(buffer, s.getSz());
    s.UnlockKeepLength();
    EXPECT_EQ(L"a;b", s);

    CKaString movable(L"a,b");
    movable.Lock(false);
    EXPECT_EQ(1u, movable.Replace(L",", L", "));
    EXPECT_EQ(KA_E_ALREADY_LOCKED, ThrownCode([&] { movable.Lock(false); }));
    movable.UnlockKeepLength();
    EXPECT_EQ(L"a, b", movable);
}

TEST(KaStringReplace, TextFromTheStringItselfAndEmbeddedZeros)
{
    CKaString s(L"ab");
    EXPECT_EQ(1u, s.Replace(s.getSz(), L"[ab]"));
    EXPECT_EQ(L"[ab]", s);
    EXPECT_EQ(1u, s.Replace(L"ab", s.getSz()));
    EXPECT_EQ(L"[[ab]]", s);
    // In place, the texts would move under the replacement.
    CKaString roomy(L"abab");
    roomy.Grow(20);
    EXPECT_EQ(2u, roomy.Replace(roomy.getSz() + 2, L"xyz"));
    EXPECT_EQ(L"xyzxyz", roomy);
    EXPECT_EQ(2u, roomy.Replace(L"y", roomy.getSz()));
    EXPECT_EQ(L"xxyzxyzzxxyzxyzz", roomy);
    // The runtime search stops at the first 0; what follows it is carried along.
    CKaString embedded(L"ab\0ab", 5);
    EXPECT_EQ(1u, embedded.Replace(L"ab", L"xyz"));
    EXPECT_EQ(std::wstring(L"xyz\0ab", 6), Units(embedded));
}

TEST(KaStringCase, StopsAtTheFirstZero)
{
    CKaString s(L"MiXed");
    s.MakeUpper();
    EXPECT_EQ(L"MIXED", s);
    s.MakeLower();
    EXPECT_EQ(L"mixed", s);
    s.MakeReverse();
    EXPECT_EQ(L"dexim", s);
    CKaString embedded(L"ab\0cd", 5);
    embedded.MakeReverse();
    embedded.MakeUpper();
    EXPECT_EQ(std::wstring(L"BA\0cd", 5), Units(embedded));
    CKaString empty;
    empty.MakeUpper();
    EXPECT_EQ(L"", empty);
}

TEST(KaStringTrim, ThreeArgumentKinds)
{
    const CKaString spaced(L" \t ab c \r\n");
    EXPECT_EQ(L"ab c", spaced.Trimmed());
    EXPECT_EQ(L"ab c \r\n", spaced.TrimmedLeft());
    EXPECT_EQ(L" \t ab c", spaced.TrimmedRight());
    const CKaString stars(L"**a*b**");
    EXPECT_EQ(L"a*b", stars.Trimmed(L'*'));
    EXPECT_EQ(L"a*b**", stars.TrimmedLeft(L'*'));
    EXPECT_EQ(L"**a*b", stars.TrimmedRight(L'*'));
    const CKaString marks(L"<-a->");
    EXPECT_EQ(L"a", marks.Trimmed(L"<>-"));
    EXPECT_EQ(L"a->", marks.TrimmedLeft(L"-<"));
    EXPECT_EQ(L"<-a", marks.TrimmedRight(L">-"));
    EXPECT_EQ(L"<-a->", marks.Trimmed(L""));
    EXPECT_EQ(L"<-a->", marks.Trimmed(nullptr));
    EXPECT_EQ(L"<-a->", marks.Trimmed(L'\0'));
    EXPECT_EQ(L"", CKaString(L"   ").Trimmed());
}

TEST(KaStringTrim, InPlaceFormsMatchTheQueries)
{
    const CKaString original(L"  x  ");
    CKaString s = original;
    s.TrimLeft();
    EXPECT_EQ(L"x  ", s);
    EXPECT_EQ(3u, s.getCapacity());
    s.TrimRight(L' ');
    EXPECT_EQ(L"x", s);
    CKaString t = original;
    t.Trim(L" x");
    EXPECT_EQ(L"", t);
    CKaString u(L"--y--");
    u.Trim(L'-');
    u.TrimLeft(L"y");
    EXPECT_EQ(L"", u);
    CKaString v(L"\tz\t");
    v.Trim();
    v.TrimLeft(L'z');
    v.TrimRight(L"q");
    v.TrimRight();
    EXPECT_EQ(L"", v);
    EXPECT_EQ(L"  x  ", original);
    // Nothing trimmed: the block stays shared.
    CKaString w = CKaString(L"w");
    const CKaString wCopy = w;
    w.Trim();
    EXPECT_EQ(wCopy.getSz(), w.getSz());
    EXPECT_EQ(wCopy.getSz(), wCopy.Trimmed().getSz());
}

TEST(KaStringTrim, ScansStopAtTheFirstZero)
{
    // Trailing white space before the first 0 takes the rest with it.
    EXPECT_EQ(std::wstring(L"ab"), Units(CKaString(L"ab \0cd", 6).TrimmedRight()));
    // Without such a run nothing is cut.
    EXPECT_EQ(std::wstring(L"ab\0 cd ", 7), Units(CKaString(L"ab\0 cd ", 7).TrimmedRight()));
    EXPECT_EQ(std::wstring(L"\0 a", 3), Units(CKaString(L"\0 a", 3).Trimmed()));
}
