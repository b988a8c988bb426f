#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

TEST(EncodingTest, EmptyInputGivesEmptyOutputInEveryCodec)
{
    for (unsigned short codePage : {CP_UTF8, 1200, 1201, 1252}) {
        SCOPED_TRACE(codePage);
        CKaRef<CKaEncoding> encoding = Encoding(codePage);
        EXPECT_EQ(0u, encoding->GetText(CKaByteBuffer(), true).getLength());
        EXPECT_EQ(0u, encoding->GetBytes(CKaString(), true).getSize());
        EXPECT_EQ(0u, encoding->GetBytes(CKaString(), L'?').getSize());
    }
}

// Texts of every kind of character: the encodings and their encoders, given the text in
// pieces, make the platform's bytes, and the text comes back from them.
TEST(EncodingTest, ConvertsAsThePlatformDoes)
{
    CTextSource source(1);
    for (unsigned short codePage : {CP_UTF8, 1200, 1201}) {
        for (int round = 0; round < 10; ++round) {
            const std::wstring text = source.AnyText(500);
            const TKaBytes bytes = PlatformBytes(codePage, text);
            CKaRef<CKaEncoding> encoding = Encoding(codePage);
            EXPECT_EQ(bytes, Bytes(encoding->GetBytes(text.c_str(), true)));
            EXPECT_EQ(bytes, EncodeInPieces(encoding, text, source));
            EXPECT_EQ(text, Units(encoding->GetText(Buffer(bytes), true)));
        }
    }
    // Both forms of the UTF-8 GetBytes replace a lone surrogate as the system does.
    const std::wstring lone = L"a\xD800" L"b\xDC00";
    EXPECT_EQ(PlatformBytes(CP_UTF8, lone), Bytes(Encoding(CP_UTF8)->GetBytes(lone.c_str(), true)));
    EXPECT_EQ(PlatformBytes(CP_UTF8, lone), Bytes(Encoding(CP_UTF8)->GetBytes(lone.c_str(), L'?')));
    // A byte-order mark stays a character.
    const CKaByteBuffer marked = Buffer(Bytes("\xEF\xBB\xBF" "a"));
    EXPECT_EQ(L"\xFEFF" L"a", Units(Encoding(CP_UTF8)->GetText(marked, true)));
}

TEST(EncodingTest, EveryCodePageConvertsItsCharactersThereAndBack)
{
    CTextSource source(2);
    int tested = 0;
    for (unsigned short codePage : kCodePages) {
        if (!IsValidCodePage(codePage)) continue; // Wine has no code page 858
        SCOPED_TRACE(codePage);
        ++tested;
        const std::wstring text = Representable(codePage);
        ASSERT_GT(text.size(), 100u);
        const TKaBytes bytes = PlatformBytes(codePage, text);
        CKaRef<CKaEncoding> encoding = Encoding(codePage);
        EXPECT_EQ(text, Units(encoding->GetText(Buffer(bytes), true)));
        EXPECT_EQ(bytes, Bytes(encoding->GetBytes(text.c_str(), true)));
        EXPECT_EQ(bytes, Bytes(encoding->GetBytes(text.c_str(), L'?')));
        EXPECT_EQ(bytes, EncodeInPieces(encoding, text, source));
    }
    EXPECT_GE(tested, 33);
}

TEST(EncodingTest, InvalidBytesAreReplacedAsTheSystemDoesOrThrowItsError)
{
    const struct
    {
        unsigned short codePage;
        TKaBytes bytes;
    } cases[] = {{CP_UTF8, Bytes("a\xFF" "b\xC0\x80" "c\xED\xA0\x80")},
                 {932, {0x61, 0x81, 0x7F}}}; // a lead byte with a trail byte it cannot take
    for (const auto& c : cases) {
        CKaRef<CKaEncoding> encoding = Encoding(c.codePage);
        EXPECT_EQ(PlatformText(c.codePage, c.bytes),
                  Units(encoding->GetText(Buffer(c.bytes), false)));
        EXPECT_EQ(KaHResultFromWin32(ERROR_NO_UNICODE_TRANSLATION),
                  ThrownCode([&] { encoding->GetText(Buffer(c.bytes), true); }));
    }
    CKaRef<CKaEncoding> unknown = Encoding(12345);
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { unknown->GetText(Buffer(Bytes("a")), false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { unknown->GetBytes(CKaString(L"a"), true); }));
}

TEST(Utf16EncodingTest, UnpairedSurrogatesThrowOrStayOrBecomeTheReplacement)
{
    CKaRef<CKaEncoding> encoding = Encoding(1200);
    const struct
    {
        std::wstring text;
        bool valid;
        std::wstring replaced;
    } cases[] = {
        // The unit after an unpaired high surrogate is skipped with it.
        {L"A\xD800" L"B", false, L"A?"},
        {L"\xD800\xD800\xDC00", false, L"??"},
        {L"A\xD800", false, L"A?"},
        {L"\xDC00" L"B", false, L"?B"},
        {L"\xD800\xDC00\xDBFF\xDFFE", true, L"\xD800\xDC00\xDBFF\xDFFE"},
        // U+DFFF completes a pair for validation but not for the replacement.
        {L"\xD800\xDFFF" L"x", true, L"?x"},
    };
    for (const auto& c : cases) {
        const long code = c.valid ? S_OK : KA_E_INVALID_UTF16;
        EXPECT_EQ(code, ThrownCode([&] { encoding->GetBytes(c.text.c_str(), true); }));
        const CKaByteBuffer bytes = encoding->GetBytes(c.text.c_str(), false);
        EXPECT_EQ(c.text, Units(encoding->GetText(bytes, false)));
        EXPECT_EQ(code, ThrownCode([&] { encoding->GetText(bytes, true); }));
        EXPECT_EQ(PlatformBytes(1200, c.replaced), Bytes(encoding->GetBytes(c.text.c_str(), L'?')));
    }
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE,
              ThrownCode([&] { encoding->GetText(Buffer({0x41, 0x00, 0x42}), false); }));
    EXPECT_EQ(TKaBytes({0xFF, 0xFD}),
              Bytes(Encoding(1201)->GetBytes(CKaString(L"\xDC00"), L'\xFFFD')));
}

TEST(MultiByteEncodingTest, UnmappableCharactersThrowOrBecomeTheDefaultOrTheReplacement)
{
    CKaRef<CKaEncoding> encoding = Encoding(1252);
    const std::wstring text = L"a\x0416" L"b\x4E00"; // neither letter has a byte in 1252
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { encoding->GetBytes(text.c_str(), true); }));
    EXPECT_EQ(PlatformBytes(1252, text), Bytes(encoding->GetBytes(text.c_str(), false)));
    EXPECT_EQ(Bytes("a#b#"), Bytes(encoding->GetBytes(text.c_str(), L'#')));
    EXPECT_EQ(KA_E_DEFAULT_CHAR_USED,
              ThrownCode([&] { encoding->GetBytes(text.c_str(), L'\x0416'); }));
    // A double-byte replacement in a double-byte code page.
    EXPECT_EQ(PlatformBytes(932, L"x\x3042"),
              Bytes(Encoding(932)->GetBytes(CKaString(L"x\x0E01"), L'\x3042')));
}

} // namespace

// Every class of the subsystem names itself zel.core.io.<class>, most derived first.
TEST(EncodingTest, TypeIdentifiersFollowTheLibraryScheme)
{
    const std::wstring object = L"zel.common.object";
    const std::wstring encoding = L"zel.core.io.encoding;" + object;
    const std::wstring decoder = L"zel.core.io.encodingdecoder;" + object;
    const std::wstring encoder = L"zel.core.io.encodingencoder;" + object;
    const std::wstring reader = L"zel.core.io.textreader;" + object;
    CKaRef<IKaStream> stream = MakeStream();
    const struct
    {
        CKaRef<CKaObject> object;
        std::wstring info;
    } cases[] = {
        {Encoding(CP_UTF8), L"zel.core.io.utf8encoding;" + encoding},
        {Encoding(1201), L"zel.core.io.utf16encoding;" + encoding},
        {Encoding(1252), L"zel.core.io.multibyteencoding;" + encoding},
        {Encoding(CP_UTF8)->CreateDecoder(stream), L"zel.core.io.utf8encodingdecoder;" + decoder},
        {Encoding(1200)->CreateDecoder(stream), L"zel.core.io.utf16encodingdecoder;" + decoder},
        {Encoding(1252)->CreateDecoder(stream),
         L"zel.core.io.multibyteencodingdecoder;" + decoder},
        {KaCreateLosslessDecoder(Encoding(CP_UTF8), stream),
         L"zel.core.io.losslessutf8decoder;zel.core.io.utf8encodingdecoder;" + decoder},
        {KaCreateLosslessDecoder(Encoding(1200), stream),
         L"zel.core.io.losslessutf16decoder;zel.core.io.utf16encodingdecoder;" + decoder},
        {KaCreateLosslessDecoder(Encoding(1252), stream),
         L"zel.core.io.losslessmultibytedecoder;zel.core.io.multibyteencodingdecoder;" +
             decoder},
        {Encoding(CP_UTF8)->CreateEncoder(stream), L"zel.core.io.utf8encodingencoder;" + encoder},
        {Encoding(1200)->CreateEncoder(stream), L"zel.core.io.utf16encodingencoder;" + encoder},
        {Encoding(1252)->CreateEncoder(stream),
         L"zel.core.io.multibyteencodingencoder;" + encoder},
        {new CKaTextReader(stream), reader},
        {new CKaLosslessTextReader(stream), L"zel.core.io.losslesstextreader;" + reader},
        {new CKaTextWriter(stream), L"zel.core.io.textwriter;" + object},
    };
    for (const auto& c : cases) EXPECT_EQ(c.info, Units(c.object->getObjectTypeInfo()));
}
