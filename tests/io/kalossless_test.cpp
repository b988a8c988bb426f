#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

CKaRef<CKaEncodingDecoder> Lossless(CKaRef<CKaEncoding> encoding, const TKaBytes& bytes,
                                    unsigned long chunk = 0xFFFFFFFF)
{
    return KaCreateLosslessDecoder(encoding, MakeStream(bytes, chunk));
}

// Reads the bytes through a lossless decoder in pieces of every size class, from a stream that
// hands them out in random short reads, and expects the same text each time.
void ExpectLosslessRead(CKaRef<CKaEncoding> encoding, const TKaBytes& bytes,
                        const std::wstring& expected, CTextSource& source)
{
    for (unsigned long maxPiece : {1ul, 3ul, 64ul, 5000ul, 0xFFFFFFFEul}) {
        const unsigned long chunk = source.Piece(maxPiece < 64 ? 7 : 3000);
        ASSERT_EQ(expected, ReadInPieces(Lossless(encoding, bytes, chunk), source, maxPiece))
            << "pieces up to " << maxPiece << ", reads of " << chunk;
    }
}

TEST(LosslessTest, ReadsAnyTextLikeTheWholeConversion)
{
    CTextSource source(10);
    for (int round = 0; round < 10; ++round) {
        const std::wstring text = source.AnyText(2000);
        ExpectLosslessRead(Encoding(CP_UTF8), PlatformBytes(CP_UTF8, text), text, source);
        // Lone surrogates too: the whole conversion keeps them as they are.
        const std::wstring units = text + L"\xDC00" + source.AnyText(50) + L"\xD800";
        const unsigned short utf16 = static_cast<unsigned short>(1200 + round % 2);
        ExpectLosslessRead(Encoding(utf16), PlatformBytes(utf16, units), units, source);
    }
    for (unsigned short codePage : kCodePages) {
        if (!IsValidCodePage(codePage)) continue;
        SCOPED_TRACE(codePage);
        const std::wstring text = source.CodePageText(codePage, 1500);
        ExpectLosslessRead(Encoding(codePage), PlatformBytes(codePage, text), text, source);
    }
}

TEST(LosslessTest, ReadsArbitraryBytesLikeTheWholeConversion)
{
    CTextSource source(15);
    for (int round = 0; round < 40; ++round) {
        TKaBytes bytes(200);
        for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(source.Below(256));
        // Text behind the bytes keeps any unfinished character from reaching the end, where
        // the system's replacement depends on the end of its input.
        bytes.insert(bytes.end(), {'x', 'y', 'z'});
        for (unsigned short codePage : {CP_UTF8, 932, 1253}) {
            ExpectLosslessRead(Encoding(codePage), bytes, PlatformText(codePage, bytes), source);
        }
    }
}

// Ill-formed parts and unfinished characters at the end: what the whole conversion gives for
// them, or, with failOnInvalid, the text before them and then the codec's error.
TEST(LosslessTest, InvalidDataIsReplacedOrThrowsAfterTheTextBeforeIt)
{
    const TKaBytes overlong = Bytes("ab\xE0\x80\x80");
    const TKaBytes leadAtEnd = {0x61, 0x82};
    const struct
    {
        unsigned short codePage;
        TKaBytes bytes;
        std::wstring text;
        std::wstring strict;
        long code;
    } cases[] = {
        // The example of the Unicode standard for maximal ill-formed parts.
        {CP_UTF8, Bytes("a\xF1\x80\x80\xE1\x80\xC2" "b\x80" "c\x80\xBF" "d"),
         L"a\xFFFD\xFFFD\xFFFD" L"b\xFFFD" L"c\xFFFD\xFFFD" L"d", L"a", KA_E_INVALID_UTF8},
        {CP_UTF8, overlong, PlatformText(CP_UTF8, overlong), L"ab", KA_E_INVALID_UTF8},
        {CP_UTF8, Bytes("a\xE2\x41\xF0\x9F\x98"), L"a\xFFFD" L"A\xFFFD", L"a", KA_E_INVALID_UTF8},
        {1200, {0x41, 0x00, 0x42}, L"A\xFFFD", L"A", KA_E_INVALID_UTF16},
        {1201, {0x00, 0x61, 0xD8, 0x3D, 0x00}, L"a\xD83D\xFFFD", L"a", KA_E_INVALID_UTF16},
        {1201, {0x00, 0x61, 0xD8, 0x3D}, L"a\xD83D", L"a", KA_E_INVALID_UTF16},
        {932, leadAtEnd, PlatformText(932, leadAtEnd), L"a", KA_E_MULTIBYTE_DECODING},
    };
    CTextSource source(16);
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.strict << " " << c.code);
        // No encoding means UTF-16 little endian.
        CKaRef<CKaEncoding> encoding = c.codePage == 1200 ? nullptr : Encoding(c.codePage);
        ExpectLosslessRead(encoding, c.bytes, c.text, source);
        CKaRef<CKaEncodingDecoder> decoder = Lossless(encoding, c.bytes);
        decoder->setFailOnInvalid(true);
        EXPECT_EQ(c.strict, Units(decoder->ReadString(1000)));
        EXPECT_EQ(c.code, ThrownCode([&] { decoder->ReadString(1000); }));
    }
}

// At the end of the data the reader keeps the rule of the Unicode standard, not the system's
// whole conversion (which on some systems swallows the text behind a cut-off sequence): every
// maximal ill-formed part becomes one U+FFFD and what follows it stays.
TEST(LosslessTest, ACutOffSequenceAtTheEndFollowsTheUnicodeRule)
{
    CTextSource source(17);
    ExpectLosslessRead(Encoding(CP_UTF8), {0x61, 0xE2, 0x20}, L"a\xFFFD ", source);
    ExpectLosslessRead(Encoding(CP_UTF8), {0x61, 0xF4, 0xF0}, L"a\xFFFD\xFFFD", source);
    ExpectLosslessRead(Encoding(CP_UTF8), {0xE2, 0x82}, L"\xFFFD", source);
}

} // namespace
