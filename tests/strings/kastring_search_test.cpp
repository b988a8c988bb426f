#include <gtest/gtest.h>
#include "katest.h"

TEST(KaStringReading, CharactersAndTheirRangeCodes)
{
    CKaString s(L"abc");
    EXPECT_EQ(L'b', s[1]);
    EXPECT_EQ(L'c', s[sizeof(wchar_t)]);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.getAt(3); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s[-1]; }));
    // setAt at the length: the count is out of range; above it: the index.
    s.setAt(1, L'X');
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.setAt(3, L'!'); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.setAt(4, L'!'); }));
    EXPECT_EQ(L"aXc", s);
}

TEST(KaStringSearch, PositionsMissesAndStarts)
{
    const CKaString s(L"one two one");
    unsigned long pos = 99;
    EXPECT_TRUE(s.Find(L'o', 1, pos));
    EXPECT_EQ(6u, pos);
    EXPECT_TRUE(s.FindOneOf(L"en", 3, pos));
    EXPECT_EQ(9u, pos);
    EXPECT_TRUE(s.FindString(L"one", 1, pos));
    EXPECT_EQ(8u, pos);
    EXPECT_TRUE(s.ReverseFind(L'o', pos));
    EXPECT_EQ(8u, pos);
    // A forward miss reports the length, a reverse one all ones.
    const CKaString abc(L"abc");
    EXPECT_FALSE(abc.Find(L'x', pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(abc.FindOneOf(nullptr, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_FALSE(abc.ReverseFind(L'x', pos));
    EXPECT_EQ(0xFFFFFFFFu, pos);
    // A start at the length searches nothing, not even for the terminator; past it is refused.
    EXPECT_FALSE(abc.Find(0, 3, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { abc.Find(L'a', 4, pos); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { abc.FindString(L"a", 4, pos); }));
}

TEST(KaStringSearch, TheTerminatorAndEmbeddedZeros)
{
    unsigned long pos = 0;
    EXPECT_TRUE(CKaString(L"abc").Find(0, 1, pos));
    EXPECT_EQ(3u, pos);
    // The runtime search ends at the first 0; the positional forms do not.
    const CKaString embedded(L"ab\0cd", 5);
    EXPECT_FALSE(embedded.Find(L'c', pos));
    EXPECT_EQ(5u, pos);
    EXPECT_TRUE(embedded.Find(L'c', 3, pos));
    EXPECT_EQ(3u, pos);
    EXPECT_EQ(std::wstring(L"a\0cd", 4), Units(embedded.ExceptMid(1, 1)));
}

TEST(KaStringParts, KeptRemovedInPlaceAndTheirRangeCodes)
{
    const CKaString s(L"abcdef");
    EXPECT_EQ(L"ab", s.Left(2));
    EXPECT_EQ(L"ef", s.Right(2));
    EXPECT_EQ(L"ef", s.Mid(4));
    EXPECT_EQ(L"", s.Mid(6));
    EXPECT_EQ(L"aef", s.ExceptMid(1, 3));
    EXPECT_EQ(L"abcd", s.ExceptRight(2));
    EXPECT_EQ(L"  ", CKaString(L"  ab").LeftIncluding(L" \t"));
    EXPECT_EQ(L"=value", CKaString(L"key=value").ExceptLeftExcluding(L"="));
    // The in-place forms change a copy only, which gets a block of its exact size.
    CKaString extracted = s;
    extracted.ExtractMid(1, 3);
    CKaString deleted = s;
    deleted.DeleteLeftIncluding(L"ba");
    EXPECT_EQ(L"bcd", extracted);
    EXPECT_EQ(L"cdef", deleted);
    EXPECT_EQ(3u, extracted.getCapacity());
    EXPECT_EQ(4u, deleted.getCapacity());
    EXPECT_EQ(L"abcdef", s);

    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Mid(7, 0); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { extracted.DeleteMid(4); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Mid(2, 5); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { extracted.Delete(2, 0xFFFFFFFF); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.ExceptLeft(7); }));
    EXPECT_EQ(L"bcd", extracted);
}

TEST(KaStringParts, InPlaceFormsWorkInABlockLockedInPlace)
{
    CKaString s(L"abcdef");
    wchar_t* buffer = s.Lock(true);
    s.ExtractMid(1, 4);
    s.DeleteLeft(1);
    EXPECT_EQ(buffer, s.getSz());
    s.Unlock(s.getLength());
    EXPECT_EQ(L"cde", s);
    EXPECT_EQ(6u, s.getCapacity());
}
