#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <cwctype>
#include "katest.h"

TEST(KaStringAnsi, ConstructionAndAssignment)
{
    EXPECT_EQ(L"plain", CKaString("plain"));
    EXPECT_EQ(L"pla", CKaString("plain", 3));
    EXPECT_EQ(L"", CKaString(static_cast<const char*>(nullptr)));
    EXPECT_EQ(L"", CKaString(static_cast<const char*>(nullptr), 4));
    EXPECT_EQ(std::wstring(L"a\0b", 3), Units(CKaString("a\0b", 3)));
    CKaString s(L"old");
    s = "new text";
    EXPECT_EQ(L"new text", s);
    s.SetText("");
    EXPECT_EQ(L"", s);
    if (GetACP() == 1252) {
        EXPECT_EQ(L"\u00e9\u20ac", CKaString("\xE9\x80"));
    }
}

TEST(KaStringAnsi, SettingTextFollowsTheBlockRules)
{
    CKaString roomy;
    roomy.Grow(16);
    const wchar_t* buffer = roomy.getSz();
    roomy.SetText("fits");
    EXPECT_EQ(buffer, roomy.getSz());
    EXPECT_EQ(16u, roomy.getCapacity());

    const CKaString shared = roomy;
    roomy.SetText("changed");
    EXPECT_EQ(L"fits", shared);
    EXPECT_EQ(7u, roomy.getCapacity());

    CKaString locked(L"abc");
    locked.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { locked.SetText("abcd"); }));
    EXPECT_EQ(L"abc", locked);
    locked.SetText("xy");
    locked.UnlockKeepLength();
    EXPECT_EQ(L"xy", locked);
}

namespace {

// The code of the error a TryTo... form returned, S_OK when it returned none.
long ErrorCode(const CKaRef<CKaError>& error)
{
    return error ? error->getCode() : S_OK;
}

} // namespace

TEST(KaStringParse, UnsignedRangesAndSigns)
{
    unsigned long u4 = 7;
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"4294967296").TryToU4(u4, 10)));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L"42x").TryToU4(u4, 10)));
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"-0").TryToU4(u4, 10)));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L"  ").TryToU4(u4, 10)));
    EXPECT_EQ(7u, u4);
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L" 42 ").TryToU4(u4, 10)));
    EXPECT_EQ(42u, u4);
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"4294967295").TryToU4(u4, 10)));
    EXPECT_EQ(0xFFFFFFFFu, u4);

    unsigned char u1 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"ff").TryToU1(u1, 16)));
    EXPECT_EQ(255, u1);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"100").TryToU1(u1, 16)));
    unsigned short u2 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"177777").TryToU2(u2, 8)));
    EXPECT_EQ(0xFFFF, u2);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"65536").TryToU2(u2, 10)));
    unsigned __int64 u8 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"18446744073709551615").TryToU8(u8, 10)));
    EXPECT_EQ(0xFFFFFFFFFFFFFFFFull, u8);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE,
              ErrorCode(CKaString(L"18446744073709551616").TryToU8(u8, 10)));
}

TEST(KaStringParse, SignedRangesReachOneFurtherBelowZero)
{
    __int64 i8 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-9223372036854775808").TryToI8(i8, 10)));
    EXPECT_EQ(-9223372036854775807ll - 1, i8);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE,
              ErrorCode(CKaString(L"9223372036854775808").TryToI8(i8, 10)));
    char i1 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-128").TryToI1(i1, 10)));
    EXPECT_EQ(-128, i1);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"128").TryToI1(i1, 10)));
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"-129").TryToI1(i1, 10)));
    EXPECT_EQ(-128, i1);
    short i2 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-7fff").TryToI2(i2, 16)));
    EXPECT_EQ(-0x7FFF, i2);
    long i4 = 5;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-2147483648").TryToI4(i4, 10)));
    EXPECT_EQ(-2147483647l - 1, i4);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"2147483648").TryToI4(i4, 10)));
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"z").TryToI4(i4, 36)));
    EXPECT_EQ(35, i4);
    // A lone sign is left to the runtime, which reads nothing after it as 0.
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"-").TryToI4(i4, 10)));
    EXPECT_EQ(0, i4);
}

TEST(KaStringParse, FloatingPoint)
{
    double f8 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L" -1.25e2 ").TryToF8(f8)));
    EXPECT_EQ(-125.0, f8);
    EXPECT_EQ(KA_E_NOT_A_NUMBER, ErrorCode(CKaString(L"1.5.").TryToF8(f8)));
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"1e999").TryToF8(f8)));
    EXPECT_EQ(-125.0, f8);
    float f4 = 0;
    EXPECT_EQ(S_OK, ErrorCode(CKaString(L"0.5").TryToF4(f4)));
    EXPECT_EQ(0.5f, f4);
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"1e39").TryToF4(f4)));
    EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, ErrorCode(CKaString(L"-1e39").TryToF4(f4)));
    EXPECT_EQ(0.5f, f4);
    EXPECT_EQ(2.5f, CKaString(L"2.5").ToF4());
    EXPECT_EQ(1e300, CKaString(L"1e300").ToF8());
}

TEST(KaStringParse, ThrowingFormsCarryTheError)
{
    EXPECT_EQ(0xABCDu, CKaString(L"abcd").ToU4(16));
    EXPECT_EQ(-5, CKaString(L"-5").ToI1(10));
    EXPECT_EQ(-1000, CKaString(L"-1000").ToI2(10));
    EXPECT_EQ(200, CKaString(L"200").ToU1(10));
    EXPECT_EQ(60000, CKaString(L"60000").ToU2(10));
    EXPECT_EQ(-3, CKaString(L"-11").ToI4(2));
    EXPECT_EQ(1ull << 40, CKaString(L"1099511627776").ToU8(10));
    EXPECT_EQ(-(1ll << 40), CKaString(L"-1099511627776").ToI8(10));
    try {
        CKaString(L"42x").ToU4(10);
        FAIL() << "no exception";
    } catch (const CKaErrorException& e) {
        EXPECT_EQ(KA_E_NOT_A_NUMBER, e.getCode());
    }
    try {
        CKaString(L"1e39").ToF4();
        FAIL() << "no exception";
    } catch (const CKaErrorException& e) {
        EXPECT_EQ(KA_E_NUMBER_OUT_OF_RANGE, e.getCode());
    }
}

TEST(KaStringParse, ARadixOutside2To36IsAProgrammingError)
{
    const CKaString s(L"10");
    unsigned long u4 = 0;
    for (unsigned long radix : {0ul, 1ul, 37ul, 0xFFFFFFFFul}) {
        SCOPED_TRACE(radix);
        EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { s.TryToU4(u4, radix); }));
        EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { s.ToI8(radix); }));
    }
    try {
        s.ToU4(1);
        FAIL() << "no exception";
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(E_INVALIDARG, e.getCode());
    }
    EXPECT_EQ(2u, s.ToU4(2));
    EXPECT_EQ(36u, s.ToU4(36));
}

TEST(KaStringBuild, IntegersShowASignNeverTwosComplement)
{
    EXPECT_EQ(L"-FF", CKaString::Build(static_cast<__int64>(-255), 16, true));
    EXPECT_EQ(L"ff", CKaString::Build(static_cast<unsigned __int64>(255), 16, false));
    EXPECT_EQ(L"-10", CKaString::Build(static_cast<__int64>(-8), 8, false));
    EXPECT_EQ(L"-9223372036854775808",
              CKaString::Build(-9223372036854775807ll - 1, 10, false));
    EXPECT_EQ(L"-8000000000000000", CKaString::Build(-9223372036854775807ll - 1, 16, false));
    EXPECT_EQ(L"FFFFFFFFFFFFFFFF", CKaString::Build(0xFFFFFFFFFFFFFFFFull, 16, true));
    EXPECT_EQ(L"18446744073709551615", CKaString::Build(0xFFFFFFFFFFFFFFFFull, 10, true));
    EXPECT_EQ(L"-80", CKaString::Build(static_cast<char>(-128), 16, false));
    EXPECT_EQ(L"377", CKaString::Build(static_cast<unsigned char>(255), 8, false));
    EXPECT_EQ(L"-32768", CKaString::Build(static_cast<short>(-32768), 10, false));
    EXPECT_EQ(L"FFFF", CKaString::Build(static_cast<unsigned short>(65535), 16, true));
    EXPECT_EQ(L"-7fffffff", CKaString::Build(-2147483647l, 16, false));
    EXPECT_EQ(L"4294967295", CKaString::Build(4294967295ul, 10, false));
    EXPECT_EQ(L"0", CKaString::Build(0, 8, false));
    EXPECT_EQ(L"12", CKaString::Build(10u, 8, true));
}

TEST(KaStringBuild, OnlyRadix8_10And16)
{
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaString::Build(5, 2, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaString::Build(5ull, 36, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaString::Build(5ll, 0, false); }));
}

TEST(KaStringBuild, FloatingPointNotations)
{
    EXPECT_EQ(L"1.50", CKaString::Build(1.5, KaFloatFixed, 2, false));
    EXPECT_EQ(L"1.500000E+000", CKaString::Build(1.5, KaFloatExponent, -1, true));
    EXPECT_EQ(L"1.500000e+000", CKaString::Build(1.5, KaFloatExponent, -1, false));
    EXPECT_EQ(L"2.5e+001", CKaString::Build(25.0f, KaFloatExponent, 1, false));
    EXPECT_EQ(L"1.500000", CKaString::Build(1.5, KaFloatFixed, -1, true));
    EXPECT_EQ(L"2", CKaString::Build(1.5, KaFloatFixed, 0, false));
    EXPECT_EQ(L"0.25", CKaString::Build(0.25f, KaFloatGeneral, -1, false));
    EXPECT_EQ(L"1E-010", CKaString::Build(1e-10, KaFloatGeneral, 2, true));
    EXPECT_EQ(L"1e-010", CKaString::Build(1e-10, KaFloatGeneral, 2, false));
    EXPECT_EQ(E_INVALIDARG,
              ThrownCode([] { CKaString::Build(1.5, static_cast<TKaFloatFormat>(3), 2, false); }));
}

TEST(KaStringBuild, UpperCaseFixedNotationHasNoLowerCaseLetters)
{
    // The runtime has no "%F"; whatever letters its "%f" writes for special values come out
    // upper-cased.
    for (double value : {HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        const CKaString upper = CKaString::Build(value, KaFloatFixed, 3, true);
        CKaString lower = CKaString::Build(value, KaFloatFixed, 3, false);
        lower.MakeUpper();
        EXPECT_EQ(lower, upper);
        const wchar_t* text = upper.getSz();
        EXPECT_TRUE(std::none_of(text, text + upper.getLength(), iswlower)) << upper;
    }
}
