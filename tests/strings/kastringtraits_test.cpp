#include <gtest/gtest.h>
#include "katest.h"

namespace {

struct IntegerCase
{
    const wchar_t* text;
    unsigned long radix;
    TKaConversionResult result;
    bool negative;
    unsigned __int64 value;
};

unsigned long FormattedLength(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    unsigned long length = CKaStringTraits::GetFormattedLength(format, args);
    va_end(args);
    return length;
}

unsigned long FormatInto(wchar_t* buffer, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    unsigned long length = CKaStringTraits::Format(buffer, format, args);
    va_end(args);
    return length;
}

} // namespace

TEST(KaStringTraits, ComparisonsAnswerOnlyMinusOneZeroOrOne)
{
    EXPECT_EQ(1, CKaStringTraits::Compare(L"a", L"B"));
    EXPECT_EQ(-1, CKaStringTraits::CompareNoCase(L"a", L"B"));
    EXPECT_EQ(-1, CKaStringTraits::Compare(L"a", L"z"));
    EXPECT_EQ(1, CKaStringTraits::Compare(L"\xFFFF", L"a"));
    EXPECT_EQ(0, CKaStringTraits::CompareNoCase(L"MiXeD", L"mixed"));
    EXPECT_EQ(-1, CKaStringTraits::Collate(L"a", L"zzz"));
    EXPECT_EQ(1, CKaStringTraits::CollateNoCase(L"zzz", L"A"));
    EXPECT_EQ(0, CKaStringTraits::CollateNoCase(L"abc", L"ABC"));
}

TEST(KaStringTraits, IntegerParsing)
{
    const IntegerCase cases[] = {
        {L"  -", 10, KaConversionOk, true, 0},
        {L"12 x", 10, KaConversionNotANumber, false, 0},
        {L"99999999999999999999", 10, KaConversionOutOfRange, false, 0},
        {L" 42 ", 10, KaConversionOk, false, 42},
        {L"-17", 10, KaConversionOk, true, 17},
        {L"+7", 10, KaConversionOk, false, 7},
        {L"ff", 16, KaConversionOk, false, 255},
        {L"0x1F", 0, KaConversionOk, false, 31},
        {L"18446744073709551615", 10, KaConversionOk, false, 0xFFFFFFFFFFFFFFFFull},
        {L"", 10, KaConversionNotANumber, false, 0},
        {L" \t\r\n", 10, KaConversionNotANumber, false, 0},
        {L"abc", 10, KaConversionNotANumber, false, 0},
        {L"-x", 10, KaConversionNotANumber, true, 0},
    };
    for (const IntegerCase& c : cases) {
        bool negative = !c.negative;
        unsigned __int64 value = 12345;
        EXPECT_EQ(c.result, CKaStringTraits::ToInteger(c.text, c.radix, negative, value)) << c.text;
        if (c.result == KaConversionOk) {
            EXPECT_EQ(c.negative, negative) << c.text;
            EXPECT_EQ(c.value, value) << c.text;
        }
    }
}

TEST(KaStringTraits, FloatParsing)
{
    double value = 0;
    EXPECT_EQ(KaConversionOk, CKaStringTraits::ToFloat(L" 2.5 ", value));
    EXPECT_DOUBLE_EQ(2.5, value);
    EXPECT_EQ(KaConversionOk, CKaStringTraits::ToFloat(L"-1e3", value));
    EXPECT_DOUBLE_EQ(-1000.0, value);
    EXPECT_EQ(KaConversionOutOfRange, CKaStringTraits::ToFloat(L"1e999", value));
    EXPECT_EQ(KaConversionNotANumber, CKaStringTraits::ToFloat(L"1.5kg", value));
    EXPECT_EQ(KaConversionNotANumber, CKaStringTraits::ToFloat(L"   ", value));
}

TEST(KaStringTraits, PositionalFormattingThroughTheSystemRuntime)
{
    const wchar_t* format = L"%2$s=%1$d";
    const unsigned long length = FormattedLength(format, 42, L"answer");
    ASSERT_EQ(9u, length);
    wchar_t buffer[16] = {};
    EXPECT_EQ(length, FormatInto(buffer, format, 42, L"answer"));
    EXPECT_STREQ(L"answer=42", buffer);
    // Three-digit exponents and %I64d belong to the system runtime, not MinGW's stdio.
    FormatInto(buffer, L"%E|%I64d", 1.5, static_cast<__int64>(-5));
    EXPECT_STREQ(L"1.500000E+000|-5", buffer);
}

TEST(KaStringTraits, BlocksAndTheEmptyBlock)
{
    TKaStringData* empty = CKaStringTraits::EmptyData();
    EXPECT_EQ(0, empty->refCount);
    EXPECT_EQ(0u, empty->capacity);
    EXPECT_EQ(0u, empty->length);
    EXPECT_EQ(0, CKaStringTraits::DataText(empty)[0]);
    EXPECT_EQ(reinterpret_cast<wchar_t*>(empty + 1), CKaStringTraits::DataText(empty));

    TKaStringData* data = CKaStringTraits::AllocateData(8);
    CKaStringTraits::DataText(data)[7] = L'x'; // all eight units belong to the block
    CKaStringTraits::FreeData(data);

    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaStringTraits::AllocateData(0xFFFFFFFFu); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaStringTraits::AllocateData(0x7FFFFFF0u); }));
}
