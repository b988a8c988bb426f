#include <gtest/gtest.h>
#include "katest.h"

namespace {

// The code of the error a TryTo... form returned, S_OK when it returned none.
long ErrorCode(const CKaRef<CKaError>& error)
{
    return error ? error->getCode() : S_OK;
}

} // namespace

TEST(KaStringAnsi, ConvertedInTheSystemCodePage)
{
    EXPECT_EQ(L"pla", CKaString("plain", 3));
    EXPECT_EQ(L"", CKaString(static_cast<const char*>(nullptr), 4));
    EXPECT_EQ(std::wstring(L"a\0b", 3), Units(CKaString("a\0b", 3)));
    CKaString s(L"old");
    s = "new text";
    EXPECT_EQ(L"new text", s);
    if (GetACP() != 1252) GTEST_SKIP() << "the last check needs code page 1252";
    EXPECT_EQ(L"\u00e9\u20ac", CKaString("\xE9\x80"));
}

TEST(KaStringParse, EveryTypeHasItsRangeAndAFailureLeavesTheValue)
{
    unsigned long u4 = 7;
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"4294967296").TryToU4(u4)));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L"42x").TryToU4(u4)));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L"12 x").TryToU4(u4)));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L" \t\r\n").TryToU4(u4)));
    // A sign on an unsigned type is out of range, even on no digits at all.
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"-0").TryToU4(u4)));
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"  -").TryToU4(u4)));
    EXPECT_EQ(7u, u4);
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L" 42 ").TryToU4(u4)));
    EXPECT_EQ(42u, u4);
    // A signed type reaches one further below zero than above.
    __int64 i8 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-9223372036854775808").TryToI8(i8)));
    EXPECT_EQ(-9223372036854775807ll - 1, i8);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"9223372036854775808").TryToI8(i8)));
    unsigned __int64 u8 = 0;
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"18446744073709551616").TryToU8(u8)));
    char i1 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-80").TryToI1(i1, 16)));
    EXPECT_EQ(-128, i1);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"128").TryToI1(i1)));
    unsigned char u1 = 0;
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"100").TryToU1(u1, 16)));
    float f4 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L" -1.25e2 ").TryToF4(f4)));
    EXPECT_EQ(-125.0f, f4);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"-1e39").TryToF4(f4)));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L"1.5.").TryToF4(f4)));
    double f8 = 0;
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"1e999").TryToF8(f8)));
    EXPECT_EQ(-125.0f, f4);
}

TEST(KaStringParse, ThrowingFormsThrowTheErrorAndABadRadixIsAProgrammingError)
{
    EXPECT_EQ(0xABCDu, CKaString(L"abcd").ToU4(16));
    EXPECT_EQ(-3, CKaString(L"-11").ToI4(2));
    EXPECT_EQ(0, CKaString(L"  -").ToI4());
    EXPECT_EQ(35, CKaString(L"z").ToI2(36));
    try {
        CKaString(L"42x").ToU8();
        FAIL() << "no exception";
    } catch (const CKaErrorException& e) {
        EXPECT_EQ(KA_E_NOT_A_NUMBER, e.getCode());
    }
    unsigned long u4 = 0;
    for (unsigned long radix : {0ul, 1ul, 37ul, 0xFFFFFFFFul}) {
        EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { CKaString(L"10").TryToU4(u4, radix); }))
            << radix;
    }
    try {
        CKaString(L"10").ToU4(1);
        FAIL() << "no exception";
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(E_INVALIDARG, e.getCode());
    }
}

TEST(KaStringBuild, IntegersShowASignNeverTwosComplement)
{
    EXPECT_EQ(L"-FF", CKaString::Build(static_cast<__int64>(-255), 16, true));
    EXPECT_EQ(L"ff", CKaString::Build(static_cast<unsigned __int64>(255), 16, false));
    EXPECT_EQ(L"-10", CKaString::Build(static_cast<__int64>(-8), 8, false));
    EXPECT_EQ(L"-8000000000000000", CKaString::Build(-9223372036854775807ll - 1, 16, false));
    EXPECT_EQ(L"18446744073709551615", CKaString::Build(0xFFFFFFFFFFFFFFFFull, 10, true));
    EXPECT_EQ(L"-80", CKaString::Build(static_cast<char>(-128), 16, false));
    EXPECT_EQ(L"4294967295", CKaString::Build(4294967295ul, 10, false));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaString::Build(5, 2, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaString::Build(5ull, 36, false); }));
}

TEST(KaStringBuild, FloatingPointInTheSystemRuntimesNotations)
{
    EXPECT_EQ(L"1.50", CKaString::Build(1.5, KaFloatFixed, 2, false));
    EXPECT_EQ(L"1.500000E+000", CKaString::Build(1.5, KaFloatExponent, -1, true));
    EXPECT_EQ(L"2.5e+001", CKaString::Build(25.0f, KaFloatExponent, 1, false));
    EXPECT_EQ(L"1E-010", CKaString::Build(1e-10, KaFloatGeneral, 2, true));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] {
                  CKaString::Build(1.5, static_cast<TKaFloatFormat>(3), 2, false);
              }));
    // The runtime refuses "%F": upper-case fixed notation must not ask for it.
    EXPECT_EQ(L"1.50", CKaString::Build(1.5, KaFloatFixed, 2, true));
}

TEST(KaStringFormat, PositionalPrintfAndMessageInserts)
{
    EXPECT_EQ(L"x-7", CKaString::Build(L"%2$s-%1$d", 7, L"x"));
    EXPECT_EQ(L"1.500000E+000|-5", CKaString::Build(L"%E|%I64d", 1.5, static_cast<__int64>(-5)));
    EXPECT_EQ(L"", CKaString::Build(nullptr));
    CKaString s(L"before");
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { s.Format(L"%F", 1.5); }));
    EXPECT_EQ(L"before", s);
    s.Grow(50);
    s.Format(L"%d items", 3);
    EXPECT_EQ(L"3 items", s);
    EXPECT_EQ(50u, s.getCapacity());
    EXPECT_TRUE(s.FormatMessageW(L"%1 and %2!d!", L"one", 2));
    EXPECT_EQ(L"one and 2", s);
    EXPECT_FALSE(s.FormatMessageW(L""));
    EXPECT_EQ(L"", s);
}
