#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

CKaRef<CKaEncodingDecoder> Lossless(CKaRef<CKaEncoding> encoding, const TBytes& bytes,
                                    unsigned long chunk = 0xFFFFFFFF)
{
    return KaCreateLosslessDecoder(encoding, MakeStream(bytes, chunk));
}

CKaRef<CKaEncoding> Utf8()
{
    return new CKaUtf8Encoding();
}

// Reads the bytes through a lossless decoder in pieces of every size class, from a stream that
// hands them out in random short reads, and expects the same text each time.
void ExpectLosslessRead(CKaRef<CKaEncoding> encoding, const TBytes& bytes,
                        const std::wstring& expected, CTextSource& source)
{
    for (unsigned long maxPiece : {1ul, 3ul, 64ul, 5000ul, 0xFFFFFFFEul}) {
        const unsigned long chunk = source.Piece(maxPiece < 64 ? 7 : 3000);
        ASSERT_EQ(expected, ReadInPieces(Lossless(encoding, bytes, chunk), source, maxPiece))
            << "pieces up to " << maxPiece << ", reads of " << chunk;
    }
}

TEST(LosslessTest, ReadsAnyUtf8TextLikeTheWholeConversion)
{
    CTextSource source(10);
    for (int round = 0; round < 10; ++round) {
        const std::wstring text = source.AnyText(2000);
        const TBytes bytes = PlatformBytes(CP_UTF8, text);
        ExpectLosslessRead(Utf8(), bytes, text, source);
    }
}

TEST(LosslessTest, ReadsAnyUtf16TextLikeTheWholeConversion)
{
    CTextSource source(11);
    for (int round = 0; round < 6; ++round) {
        // Lone surrogates too: the whole conversion keeps them as they are.
        const std::wstring text =
            source.Text(2000, {{0x20, 0x7E}, {0x80, 0xFFFD}, {0x10000, 0x10FFFF}}) + L"\xDC00" +
            source.Text(50, {{0x20, 0x7E}}) + L"\xD800";
        for (bool bigEndian : {false, true}) {
            const TBytes bytes = Utf16Bytes(text, bigEndian);
            CKaRef<CKaEncoding> encoding = new CKaUtf16Encoding(bigEndian);
            ASSERT_EQ(Str(text), encoding->GetText(Buffer(bytes), false));
            ExpectLosslessRead(encoding, bytes, text, source);
        }
    }
}

TEST(LosslessTest, ReadsEveryCodePageLikeTheWholeConversion)
{
    CTextSource source(12);
    for (unsigned short codePage : kCodePages) {
        if (!IsValidCodePage(codePage)) continue;
        SCOPED_TRACE(codePage);
        TBytes bytes;
        const std::wstring text = RandomCodePageText(codePage, source, 1500, bytes);
        ExpectLosslessRead(new CKaMultiByteEncoding(codePage), bytes, text, source);
    }
}

TEST(LosslessTest, ANullEncodingMeansUtf16LittleEndian)
{
    const std::wstring text = L"a\xD83D\xDE00" L"b";
    CTextSource source(13);
    EXPECT_EQ(text, ReadInPieces(Lossless(nullptr, Utf16Bytes(text, false), 1), source, 1));
    auto* multiByte = dynamic_cast<CKaMultiByteEncodingDecoder*>(
        KaCreateLosslessDecoder(new CKaMultiByteEncoding(950), MakeStream()).getPtr());
    ASSERT_TRUE(multiByte);
    EXPECT_EQ(950, multiByte->getCodePage());
}

TEST(LosslessTest, EachIllFormedUtf8PartBecomesOneReplacement)
{
    // The example of the Unicode standard for maximal ill-formed parts.
    const TBytes bytes = Bytes("a\xF1\x80\x80\xE1\x80\xC2" "b\x80" "c\x80\xBF" "d");
    const std::wstring expected = L"a\xFFFD\xFFFD\xFFFD" L"b\xFFFD" L"c\xFFFD\xFFFD" L"d";
    ASSERT_EQ(expected, PlatformText(CP_UTF8, bytes));
    CTextSource source(14);
    ExpectLosslessRead(Utf8(), bytes, expected, source);
    // An unfinished character before other text, and one that ends the stream.
    ExpectLosslessRead(Utf8(), Bytes("\xE2\x41\xF0\x9F\x98"), L"\xFFFD" L"A\xFFFD", source);
}

TEST(LosslessTest, ReadsArbitraryBytesLikeTheWholeConversion)
{
    CTextSource source(15);
    for (int round = 0; round < 40; ++round) {
        TBytes bytes(200);
        for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(source.Below(256));
        // Text behind the bytes keeps any unfinished character from reaching the end, where
        // the system's replacement depends on the end of its input.
        bytes.insert(bytes.end(), {'x', 'y', 'z'});
        ExpectLosslessRead(Utf8(), bytes, PlatformText(CP_UTF8, bytes), source);
        ExpectLosslessRead(new CKaMultiByteEncoding(932), bytes, PlatformText(932, bytes), source);
        ExpectLosslessRead(new CKaMultiByteEncoding(1253), bytes, PlatformText(1253, bytes),
                           source);
    }
}

TEST(LosslessTest, UnfinishedCharactersAtTheEndAreKept)
{
    CTextSource source(16);
    ExpectLosslessRead(new CKaUtf16Encoding(false), {0x41, 0x00, 0x42}, L"A\xFFFD", source);
    ExpectLosslessRead(new CKaUtf16Encoding(true), {0xD8, 0x3D, 0x00}, L"\xD83D\xFFFD", source);
    const TBytes leadAtEnd = {0x61, 0x82};
    ExpectLosslessRead(new CKaMultiByteEncoding(932), leadAtEnd, PlatformText(932, leadAtEnd),
                       source);
}

TEST(LosslessTest, InvalidDataThrowsAfterTheTextBeforeIt)
{
    struct Case
    {
        CKaRef<CKaEncoding> encoding;
        TBytes bytes;
        long code;
    };
    const Case cases[] = {
        {Utf8(), Bytes("ab\xFF"), KA_E_INVALID_UTF8},
        {Utf8(), Bytes("ab\xE0\x80\x80"), KA_E_INVALID_UTF8},
        {Utf8(), Bytes("ab\xE2\x82"), KA_E_INVALID_UTF8},
        {new CKaUtf16Encoding(false), {0x61, 0x00, 0x62, 0x00, 0x63}, KA_E_INVALID_UTF16},
        {new CKaUtf16Encoding(false), {0x61, 0x00, 0x62, 0x00, 0x00, 0xD8}, KA_E_INVALID_UTF16},
        {new CKaMultiByteEncoding(932), {0x61, 0x62, 0x82}, KA_E_MULTIBYTE_DECODING},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.encoding->getCodePage());
        CKaRef<CKaEncodingDecoder> decoder = Lossless(c.encoding, c.bytes);
        decoder->setFailOnInvalid(true);
        EXPECT_EQ(CKaString(L"ab"), decoder->ReadString(1000));
        EXPECT_EQ(c.code, ThrownCode([&] { decoder->ReadString(1000); }));
    }
}

} // namespace
