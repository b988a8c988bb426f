#include <gtest/gtest.h>
#include <functional>
#include "katest.h"

TEST(KaStringReading, CharactersAndTheirRangeCodes)
{
    const CKaString s(L"abc");
    EXPECT_EQ(L'a', s.getAt(0));
    EXPECT_EQ(L'c', s[2ul]);
    EXPECT_EQ(L'b', s[1]);
    EXPECT_EQ(L'c', s[sizeof(wchar_t)]);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.getAt(3); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s[3ul]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s[-1]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { CKaString().getAt(0); }));
}

TEST(KaStringReading, SetAtAndItsTwoRangeCodes)
{
    CKaString s(L"abc");
    s.setAt(1, L'X');
    EXPECT_EQ(L"aXc", s);
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.setAt(3, L'!'); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.setAt(4, L'!'); }));
    EXPECT_EQ(L"aXc", s);
}

TEST(KaStringSearch, ForwardSearchesReportAbsolutePositions)
{
    const CKaString s(L"one two one");
    unsigned long pos = 99;
    EXPECT_TRUE(s.Find(L'o', 1, pos));
    EXPECT_EQ(6u, pos);
    EXPECT_TRUE(s.FindOneOf(L"wt", pos));
    EXPECT_EQ(4u, pos);
    EXPECT_TRUE(s.FindOneOf(L"en", 3, pos));
    EXPECT_EQ(9u, pos);
    EXPECT_TRUE(s.FindString(L"one", 1, pos));
    EXPECT_EQ(8u, pos);
    EXPECT_TRUE(s.FindString(L"one", pos));
    EXPECT_EQ(0u, pos);
    EXPECT_TRUE(s.FindString(L"", 5, pos));
    EXPECT_EQ(5u, pos);
}

TEST(KaStringSearch, MissesReportTheLengthButReverseFindAllOnes)
{
    const CKaString s(L"abc");
    unsigned long pos = 0;
    EXPECT_FALSE(s.Find(L'x', pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(s.FindOneOf(L"xyz", 1, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(s.FindOneOf(nullptr, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(s.FindString(L"bcd", pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(s.ReverseFind(L'x', pos));
    EXPECT_EQ(0xFFFFFFFFu, pos);
    EXPECT_TRUE(CKaString(L"abcabc").ReverseFind(L'b', pos));
    EXPECT_EQ(4u, pos);
}

TEST(KaStringSearch, StartAtOrPastTheEnd)
{
    const CKaString s(L"abc");
    unsigned long pos = 0;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Find(L'a', 4, pos); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.FindOneOf(L"a", 4, pos); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.FindString(L"a", 4, pos); }));
    // At the length nothing is searched, not even the empty text or the terminator.
    EXPECT_FALSE(s.FindString(L"", 3, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(s.Find(0, 3, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(CKaString().FindString(nullptr, pos));
    EXPECT_EQ(0u, pos);
}

TEST(KaStringSearch, TheTerminatorAndEmbeddedZeros)
{
    unsigned long pos = 0;
    EXPECT_TRUE(CKaString(L"abc").Find(0, 1, pos));
    EXPECT_EQ(3u, pos);
    const CKaString embedded(L"ab\0cd", 5);
    EXPECT_TRUE(embedded.Find(0, pos));
    EXPECT_EQ(2u, pos);
    // The runtime search ends at the first 0.
    EXPECT_FALSE(embedded.Find(L'c', pos));
    EXPECT_EQ(5u, pos);
    EXPECT_TRUE(embedded.Find(L'c', 3, pos));
    EXPECT_EQ(3u, pos);
}

namespace {

// One part of "abcdef" through its four forms.
struct TPartCase
{
    const char* name;
    std::function<CKaString(const CKaString&)> keep;
    std::function<void(CKaString&)> extract;
    std::function<CKaString(const CKaString&)> except;
    std::function<void(CKaString&)> remove;
    const wchar_t* kept;
    const wchar_t* removed;
};

} // namespace

TEST(KaStringParts, FourFormsOfEachPartAgree)
{
    const TPartCase cases[] = {
        {"Left", [](const CKaString& s) { return s.Left(2); },
         [](CKaString& s) { s.ExtractLeft(2); }, [](const CKaString& s) { return s.ExceptLeft(2); },
         [](CKaString& s) { s.DeleteLeft(2); }, L"ab", L"cdef"},
        {"Right", [](const CKaString& s) { return s.Right(2); },
         [](CKaString& s) { s.ExtractRight(2); },
         [](const CKaString& s) { return s.ExceptRight(2); },
         [](CKaString& s) { s.DeleteRight(2); }, L"ef", L"abcd"},
        {"Mid", [](const CKaString& s) { return s.Mid(4); }, [](CKaString& s) { s.ExtractMid(4); },
         [](const CKaString& s) { return s.ExceptMid(4); }, [](CKaString& s) { s.DeleteMid(4); },
         L"ef", L"abcd"},
        {"MidCount", [](const CKaString& s) { return s.Mid(1, 3); },
         [](CKaString& s) { s.ExtractMid(1, 3); },
         [](const CKaString& s) { return s.ExceptMid(1, 3); },
         [](CKaString& s) { s.DeleteMid(1, 3); }, L"bcd", L"aef"},
        {"Extract/Delete", [](const CKaString& s) { return s.Mid(2, 1); },
         [](CKaString& s) { s.Extract(2, 1); }, [](const CKaString& s) { return s.ExceptMid(2, 1); },
         [](CKaString& s) { s.Delete(2, 1); }, L"c", L"abdef"},
        {"Including", [](const CKaString& s) { return s.LeftIncluding(L"bax"); },
         [](CKaString& s) { s.ExtractLeftIncluding(L"bax"); },
         [](const CKaString& s) { return s.ExceptLeftIncluding(L"bax"); },
         [](CKaString& s) { s.DeleteLeftIncluding(L"bax"); }, L"ab", L"cdef"},
        {"Excluding", [](const CKaString& s) { return s.LeftExcluding(L"ed"); },
         [](CKaString& s) { s.ExtractLeftExcluding(L"ed"); },
         [](const CKaString& s) { return s.ExceptLeftExcluding(L"ed"); },
         [](CKaString& s) { s.DeleteLeftExcluding(L"ed"); }, L"abc", L"def"},
    };
    for (const TPartCase& c : cases) {
        SCOPED_TRACE(c.name);
        const CKaString source(L"abcdef");
        EXPECT_EQ(c.kept, c.keep(source));
        EXPECT_EQ(c.removed, c.except(source));
        CKaString extracted = source;
        c.extract(extracted);
        EXPECT_EQ(c.kept, extracted);
        CKaString deleted = source;
        c.remove(deleted);
        EXPECT_EQ(c.removed, deleted);
        // In-place forms on copies never reach the shared original, and get exact blocks.
        EXPECT_EQ(L"abcdef", source);
        EXPECT_EQ(extracted.getLength(), extracted.getCapacity());
        EXPECT_EQ(deleted.getLength(), deleted.getCapacity());
    }
}

TEST(KaStringParts, LeadingRuns)
{
    EXPECT_EQ(L"  ", CKaString(L"  ab").LeftIncluding(L" \t"));
    EXPECT_EQ(L"=value", CKaString(L"key=value").ExceptLeftExcluding(L"="));
    EXPECT_EQ(L"", CKaString(L"abc").LeftIncluding(nullptr));
    EXPECT_EQ(L"abc", CKaString(L"abc").LeftExcluding(nullptr));
    CKaString s(L"key=value");
    s.ExtractLeftIncluding(L"=");
    EXPECT_EQ(L"", s);
}

TEST(KaStringParts, IndexAndCountCodesLeaveTheStringAlone)
{
    CKaString s(L"abcdef");
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Mid(7); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Mid(7, 0); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.DeleteMid(7, 0); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.ExtractMid(7); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Mid(2, 5); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Delete(2, 0xFFFFFFFF); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Extract(6, 1); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Left(7); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.ExceptRight(7); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.DeleteRight(7); }));
    EXPECT_EQ(L"abcdef", s);
    EXPECT_EQ(L"", s.Mid(6));
    EXPECT_EQ(L"", s.Mid(6, 0));
}

TEST(KaStringParts, NothingRemovedKeepsTheBlockShared)
{
    const CKaString source(L"abcdef");
    CKaString copy = source;
    copy.Delete(3, 0);
    copy.DeleteLeftIncluding(L"x");
    copy.ExtractMid(0);
    EXPECT_EQ(source.getSz(), copy.getSz());
    EXPECT_EQ(source.getSz(), source.ExceptRight(0).getSz());
    EXPECT_EQ(source.getSz(), source.Left(6).getSz());
    // Keeping nothing leaves nothing.
    copy.Extract(2, 0);
    EXPECT_EQ(L"", copy);
}

TEST(KaStringParts, InPlaceFormsWorkInABlockLockedInPlace)
{
    CKaString s(L"abcdef");
    wchar_t* buffer = s.Lock(true);
    s.ExtractMid(1, 4);
    EXPECT_EQ(buffer, s.getSz());
    s.DeleteLeft(1);
    EXPECT_EQ(buffer, s.getSz());
    s.Unlock(s.getLength());
    EXPECT_EQ(L"cde", s);
    EXPECT_EQ(6u, s.getCapacity());
}

TEST(KaStringParts, EmbeddedZerosSurviveThePositionalForms)
{
    const CKaString s(L"a\0b\0c", 5);
    EXPECT_EQ(std::wstring(L"b\0c", 3), Units(s.Right(3)));
    EXPECT_EQ(std::wstring(L"a\0c", 3), Units(s.ExceptMid(1, 2)));
    EXPECT_EQ(L"a", s.LeftExcluding(L"x"));
}
