#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

CKaRef<CKaEncoding> Utf8()
{
    return new CKaUtf8Encoding();
}

CKaRef<CKaEncoding> Utf16(bool bigEndian)
{
    return new CKaUtf16Encoding(bigEndian);
}

CKaRef<CKaEncoding> CodePage(unsigned short codePage)
{
    return new CKaMultiByteEncoding(codePage);
}

TEST(EncodingTest, EmptyInputGivesEmptyOutputInEveryCodec)
{
    for (CKaRef<CKaEncoding> encoding : {Utf8(), Utf16(false), Utf16(true), CodePage(1252)}) {
        SCOPED_TRACE(encoding->getCodePage());
        EXPECT_EQ(0u, encoding->GetText(CKaByteBuffer(), true).getLength());
        EXPECT_EQ(0u, encoding->GetText(CKaByteBuffer(), false).getLength());
        EXPECT_EQ(0u, encoding->GetBytes(CKaString(), true).getSize());
        EXPECT_EQ(0u, encoding->GetBytes(CKaString(), L'?').getSize());
    }
}

TEST(EncodingTest, EachEncodingMakesItsOwnDecoderAndEncoder)
{
    CKaRef<IKaStream> stream = MakeStream();
    EXPECT_TRUE(dynamic_cast<CKaUtf8EncodingDecoder*>(Utf8()->CreateDecoder(stream).getPtr()));
    EXPECT_TRUE(dynamic_cast<CKaUtf8EncodingEncoder*>(Utf8()->CreateEncoder(stream).getPtr()));
    auto* utf16 = dynamic_cast<CKaUtf16EncodingDecoder*>(Utf16(true)->CreateDecoder(stream).getPtr());
    ASSERT_TRUE(utf16);
    EXPECT_TRUE(utf16->getBigEndian());
    auto* encoder =
        dynamic_cast<CKaUtf16EncodingEncoder*>(Utf16(false)->CreateEncoder(stream).getPtr());
    ASSERT_TRUE(encoder);
    EXPECT_FALSE(encoder->getBigEndian());
    auto* multiByte =
        dynamic_cast<CKaMultiByteEncodingDecoder*>(CodePage(932)->CreateDecoder(stream).getPtr());
    ASSERT_TRUE(multiByte);
    EXPECT_EQ(932, multiByte->getCodePage());
    EXPECT_FALSE(multiByte->getFailOnInvalid());
    EXPECT_EQ(1201, Utf16(true)->getCodePage());
}

TEST(Utf8EncodingTest, ConvertsAsThePlatformDoes)
{
    CTextSource source(1);
    for (int round = 0; round < 20; ++round) {
        const std::wstring text = source.AnyText(500);
        const TBytes bytes = PlatformBytes(CP_UTF8, text);
        EXPECT_EQ(bytes, Bytes(Utf8()->GetBytes(Str(text), true)));
        EXPECT_EQ(Str(text), Utf8()->GetText(Buffer(bytes), true));
    }
}

TEST(Utf8EncodingTest, KeepsAByteOrderMarkAsACharacter)
{
    EXPECT_EQ(CKaString(L"\xFEFF" L"a"), Utf8()->GetText(Buffer(Bytes("\xEF\xBB\xBF" "a")), true));
}

TEST(Utf8EncodingTest, InvalidBytesAreReplacedOrThrownAsTheSystemError)
{
    const TBytes invalid = Bytes("a\xFF" "b\xC0\x80" "c\xED\xA0\x80");
    EXPECT_EQ(Str(PlatformText(CP_UTF8, invalid)), Utf8()->GetText(Buffer(invalid), false));
    EXPECT_EQ(CKaString(L"a\xFFFD" L"b"), Utf8()->GetText(Buffer(Bytes("a\xFF" "b")), false));
    EXPECT_EQ(KaHResultFromWin32(ERROR_NO_UNICODE_TRANSLATION),
              ThrownCode([&] { Utf8()->GetText(Buffer(invalid), true); }));
}

TEST(Utf8EncodingTest, BothGetBytesFormsReplaceALoneSurrogateAlike)
{
    const CKaString text(L"a\xD800" L"b");
    const TBytes expected = PlatformBytes(CP_UTF8, L"a\xD800" L"b");
    EXPECT_EQ(expected, Bytes(Utf8()->GetBytes(text, L'?')));
    EXPECT_EQ(expected, Bytes(Utf8()->GetBytes(text, true)));
}

TEST(Utf16EncodingTest, ConvertsInEitherByteOrder)
{
    const std::wstring text = CTextSource(2).AnyText(300);
    for (bool bigEndian : {false, true}) {
        const TBytes bytes = Utf16Bytes(text, bigEndian);
        EXPECT_EQ(bytes, Bytes(Utf16(bigEndian)->GetBytes(Str(text), true)));
        EXPECT_EQ(Str(text), Utf16(bigEndian)->GetText(Buffer(bytes), true));
    }
    EXPECT_EQ(TBytes({0x00, 0x41, 0xD8, 0x3D, 0xDE, 0x00}),
              Bytes(Utf16(true)->GetBytes(CKaString(L"A\xD83D\xDE00"), true)));
}

TEST(Utf16EncodingTest, AnOddByteCountThrows)
{
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE,
              ThrownCode([] { Utf16(false)->GetText(Buffer({0x41, 0x00, 0x42}), false); }));
}

TEST(Utf16EncodingTest, ValidationFindsEveryUnpairedSurrogate)
{
    CKaRef<CKaUtf16Encoding> encoding = new CKaUtf16Encoding(false);
    for (const wchar_t* text : {L"a\xDC00", L"a\xD800", L"\xD800" L"b", L"\xD800\xD800\xDC00"}) {
        EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoding->ValidateText(text); }));
        EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoding->GetBytes(text, true); }));
        const CKaByteBuffer bytes = encoding->GetBytes(text, false);
        EXPECT_EQ(CKaString(text), encoding->GetText(bytes, false));
        EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoding->GetText(bytes, true); }));
    }
    EXPECT_EQ(S_OK, ThrownCode([&] { encoding->ValidateText(L"\xD800\xDFFF" L"a\xDBFF\xDC00"); }));
}

TEST(Utf16EncodingTest, ReplacementRulesForUnpairedSurrogates)
{
    CKaRef<CKaEncoding> encoding = Utf16(false);
    auto replaced = [&](const wchar_t* text, unsigned long length) {
        return Wide(encoding->GetText(encoding->GetBytes(CKaString(text, length), L'?'), false));
    };
    // The unit after an unpaired high surrogate is skipped with it.
    EXPECT_EQ(L"A?", replaced(L"A\xD800" L"B", 3));
    EXPECT_EQ(L"?B", replaced(L"\xDC00" L"B", 2));
    EXPECT_EQ(L"A?", replaced(L"A\xD800", 2));
    EXPECT_EQ(L"\xD800\xDC00\xDBFF\xDFFE", replaced(L"\xD800\xDC00\xDBFF\xDFFE", 4));
    // U+DFFF does not complete a pair here.
    EXPECT_EQ(L"?x", replaced(L"\xD800\xDFFF" L"x", 3));
    EXPECT_EQ(TBytes({0xFF, 0xFD}),
              Bytes(Utf16(true)->GetBytes(CKaString(L"\xDC00"), L'\xFFFD')));
}

TEST(MultiByteEncodingTest, UnmappableCharactersThrowOnlyWhenAsked)
{
    CKaRef<CKaEncoding> encoding = CodePage(1252);
    const CKaString text(L"a\x0416" L"b"); // a Cyrillic letter has no byte in 1252
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { encoding->GetBytes(text, true); }));
    EXPECT_EQ(PlatformBytes(1252, L"a\x0416" L"b"), Bytes(encoding->GetBytes(text, false)));
    EXPECT_EQ(Bytes("a\x80" "b"), Bytes(encoding->GetBytes(CKaString(L"a\x20AC" L"b"), true)));
}

TEST(MultiByteEncodingTest, TheReplacementTakesThePlaceOfUnmappableCharacters)
{
    EXPECT_EQ(Bytes("a#b#"), Bytes(CodePage(1252)->GetBytes(CKaString(L"a\x0416" L"b\x4E00"), L'#')));
    // A double-byte replacement in a double-byte code page.
    const TBytes hiragana = PlatformBytes(932, L"\x3042");
    ASSERT_EQ(2u, hiragana.size());
    TBytes expected = Bytes("x");
    expected.insert(expected.end(), hiragana.begin(), hiragana.end());
    EXPECT_EQ(expected, Bytes(CodePage(932)->GetBytes(CKaString(L"x\x0E01"), L'\x3042')));
}

TEST(MultiByteEncodingTest, AReplacementWithoutMappingThrows)
{
    EXPECT_EQ(KA_E_DEFAULT_CHAR_USED,
              ThrownCode([] { CodePage(1252)->GetBytes(CKaString(L"a"), L'\x0416'); }));
}

TEST(MultiByteEncodingTest, InvalidBytesThrowOnlyWhenAsked)
{
    const TBytes invalid = {0x61, 0x81, 0x7F}; // a lead byte with a trail byte it cannot take
    EXPECT_EQ(Str(PlatformText(932, invalid)), CodePage(932)->GetText(Buffer(invalid), false));
    EXPECT_EQ(KaHResultFromWin32(ERROR_NO_UNICODE_TRANSLATION),
              ThrownCode([&] { CodePage(932)->GetText(Buffer(invalid), true); }));
}

TEST(MultiByteEncodingTest, AnUnknownCodePageThrowsTheSystemError)
{
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CodePage(12345)->GetText(Buffer(Bytes("a")), false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CodePage(12345)->GetBytes(CKaString(L"a"), true); }));
}

TEST(MultiByteEncodingTest, EveryCodePageConvertsItsCharactersThereAndBack)
{
    int tested = 0;
    for (unsigned short codePage : kCodePages) {
        if (!IsValidCodePage(codePage)) continue; // Wine has no code page 858
        SCOPED_TRACE(codePage);
        ++tested;
        TBytes bytes;
        std::wstring text;
        for (const TCodePageChar& c : Representable(codePage)) {
            text += c.ch;
            bytes.insert(bytes.end(), c.bytes.begin(), c.bytes.end());
        }
        ASSERT_GT(text.size(), 100u);
        CKaRef<CKaEncoding> encoding = CodePage(codePage);
        EXPECT_EQ(Str(text), encoding->GetText(Buffer(bytes), true));
        EXPECT_EQ(bytes, Bytes(encoding->GetBytes(Str(text), true)));
        EXPECT_EQ(bytes, Bytes(encoding->GetBytes(Str(text), L'?')));
    }
    EXPECT_GE(tested, 33);
}

} // namespace
