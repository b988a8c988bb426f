#include <gtest/gtest.h>
#include <fstream>
#include <iterator>
#include <shlobj.h>
#include "katempfolder.h"
#include "katextsupport.h"

namespace {

// Opens the character count of the UTF-16 decoder to the tests.
class CUtf16Probe : public CKaUtf16EncodingDecoder
{
public:
    using CKaUtf16EncodingDecoder::CKaUtf16EncodingDecoder;
    using CKaUtf16EncodingDecoder::DetermineAvailableBufferChars;
    using CKaUtf16EncodingDecoder::Feed;
};

CKaRef<CKaEncodingDecoder> Utf8Decoder(const TKaBytes& bytes)
{
    return new CKaUtf8EncodingDecoder(MakeStream(bytes));
}

TEST(DecoderCountTest, Utf16CountsOneCharacterPerUnitAndTwoBytesPerUnit)
{
    CKaRef<CUtf16Probe> decoder =
        new CUtf16Probe(false, MakeStream(PlatformBytes(1200, L"ab\xD83D\xDE00" L"c\xDC00")));
    ASSERT_TRUE(decoder->Feed(100));
    unsigned long bytes = 0;
    EXPECT_EQ(6u, decoder->DetermineAvailableBufferChars(100, bytes));
    EXPECT_EQ(12u, bytes);
    // A pair is not split: the count ends one above the limit.
    EXPECT_EQ(4u, decoder->DetermineAvailableBufferChars(3, bytes));
    EXPECT_EQ(8u, bytes);
}

// A four-byte token counts as a surrogate pair when the byte at start + 1 of the buffer is
// 0x90 or above, whichever token is counted. Where that is wrong, the read throws and leaves
// the bytes unread.
TEST(DecoderCountTest, AUtf8FourByteTokenIsJudgedByTheSecondUnreadByte)
{
    for (const char* text :
         {"\xF0\x9F\x98\x80", "a\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80\xF1\x80\x80\x80"}) {
        const TKaBytes bytes = Bytes(text);
        EXPECT_EQ(PlatformText(CP_UTF8, bytes), Units(Utf8Decoder(bytes)->ReadString()));
    }
    EXPECT_EQ(E_UNEXPECTED,
              ThrownCode([] { Utf8Decoder(Bytes("\xF1\x80\x80\x80"))->ReadString(); }));
    CKaRef<CKaEncodingDecoder> decoder = Utf8Decoder(Bytes("ab\xF0\x9F\x98\x80"));
    EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->ReadString(); }));
    EXPECT_EQ(L"a", Units(decoder->ReadString(1)));
    EXPECT_EQ(L"b\xD83D\xDE00", Units(decoder->ReadString()));
}

// What the library traces while `action` runs: its trace goes to a file of a temporary folder
// meanwhile and is started again as the library starts it afterwards.
template <class Action>
std::string TraceOf(Action action)
{
    const wchar_t* const key = L"Software\\Norvane\\ZelkaEncodingTest";
    const wchar_t* const categories[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};
    CKaTempFolder folder;
    const CKaString file = folder.File(L"encoding.trc");
    const CKaString path(file.getSz(), file.getLength() - 13); // without "\\encoding.trc"
    const DWORD on = 1;
    const std::wstring traceKey = std::wstring(key) + L"\\Trace";
    RegSetKeyValueW(HKEY_CURRENT_USER, traceKey.c_str(), L"Enabled", REG_DWORD, &on, 4);
    RegSetKeyValueW(HKEY_CURRENT_USER, traceKey.c_str(), L"TargetPath", REG_SZ, path.getSz(),
                    (path.getLength() + 1) * sizeof(wchar_t));
    KaTraceStart(CSIDL_LOCAL_APPDATA, L"", L"encoding.trc", key, 4, categories, 3, 5, 30);
    action();
    KaTraceStop();
    RegDeleteTreeW(HKEY_CURRENT_USER, key);
    KaTraceStart(CSIDL_LOCAL_APPDATA, L"Norvane\\Quillmarsh\\Trace", L"zelka130.trc",
                 L"Software\\Norvane\\Quillmarsh\\ZELCORE\\MAIN", 4, categories, 3, 5, 30);
    std::ifstream trace(file.getSz(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(trace), std::istreambuf_iterator<char>());
}

TEST(DecoderReadTest, ACountMismatchThrowsAndIsTracedAsAWarning)
{
    const std::string text = TraceOf([] {
        CKaRef<CKaEncodingDecoder> utf8 = Utf8Decoder(Bytes("ab\xF0\x9F\x98\x80"));
        EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { utf8->ReadString(); }));
        EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { utf8->ReadChars(); }));
        // UTF-8 through the multi-byte decoder: no lead bytes, so "é" counts as two characters.
        CKaRef<CKaEncodingDecoder> multiByte =
            new CKaMultiByteEncodingDecoder(CP_UTF8, MakeStream(Bytes("\xC3\xA9")));
        EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { multiByte->ReadString(); }));
    });
    auto traced = [&](const std::string& site, std::string function, const char* counts) {
        function.resize(30, ' ');
        return text.find("|WARN |EN |" + site + "|" + function +
                         "|Converted char count differs from predetermined char count " +
                         counts) != std::string::npos;
    };
    EXPECT_TRUE(traced("UTF8D", "ReadString", "(4 != 3)")) << text;
    EXPECT_TRUE(traced("UTF8D", "ReadChars", "(4 != 3)"));
    EXPECT_TRUE(traced("MBD  ", "ReadString", "(1 != 2)"));
}

std::vector<std::wstring> ReadOneByOne(CKaRef<CKaEncodingDecoder> decoder)
{
    std::vector<std::wstring> pieces;
    do {
        pieces.push_back(Units(decoder->ReadString(1)));
    } while (!pieces.back().empty());
    return pieces;
}

TEST(DecoderReadTest, ACharacterSplitByARefillIsOverwritten)
{
    // "ab" and E2 82 come with the first feed; the refill puts AC over E2 and leaves 82 and a
    // zero byte of the new room behind it as unread bytes.
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b", L"\xFFFD", L"\xFFFD", std::wstring(1, 0),
                                         L""}),
              ReadOneByOne(Utf8Decoder(Bytes("ab\xE2\x82\xAC"))));
    // The refill puts the low surrogate over the high one.
    EXPECT_EQ((std::vector<std::wstring>{L"\xDE00", std::wstring(1, 0), L""}),
              ReadOneByOne(Encoding(1200)->CreateDecoder(
                  MakeStream(PlatformBytes(1200, L"\xD83D\xDE00")))));
    // The refill puts the trail byte over the lead byte.
    const TKaBytes bytes = PlatformBytes(932, L"a\x3042");
    EXPECT_EQ((std::vector<std::wstring>{L"a", PlatformText(932, {bytes[2]}), std::wstring(1, 0),
                                         L""}),
              ReadOneByOne(Encoding(932)->CreateDecoder(MakeStream(bytes))));
}

TEST(DecoderReadTest, InvalidDataEndsAStrictReadAndThrowsOnTheNext)
{
    const TKaBytes badTrail = {0x61, 0x81, 0x7F}; // a lead byte with a trail byte it cannot take
    const struct
    {
        unsigned short codePage;
        TKaBytes bytes;
        std::wstring strict;
        long code; // of the next strict read; S_OK: an unfinished character stays unread
        std::wstring lenient;
    } cases[] = {
        {CP_UTF8, Bytes("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xFF"), L"\xE9\x20AC\xD83D\xDE00",
         KA_E_INVALID_UTF8, L"\xE9\x20AC\xD83D\xDE00\xFFFD"},
        {CP_UTF8, Bytes("ab\x80"), L"ab", KA_E_INVALID_UTF8, L"ab\xFFFD"},
        {CP_UTF8, Bytes("ab\xE2\x41"), L"ab", KA_E_INVALID_UTF8, L"ab"},
        {CP_UTF8, Bytes("ab\xE2\x82"), L"ab", S_OK, L"ab"},
        {1200, PlatformBytes(1200, L"a\xDC00"), L"a", KA_E_INVALID_UTF16, L"a\xDC00"},
        {1200, PlatformBytes(1200, L"a\xD800" L"b"), L"a", KA_E_INVALID_UTF16, L"a\xD800" L"b"},
        {1201, {0x00, 0x61, 0xD8}, L"a", S_OK, L"a"},
        {932, badTrail, L"a", KA_E_MULTIBYTE_DECODING, PlatformText(932, badTrail)},
        {932, {0x61, 0x82}, L"a", S_OK, L"a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.codePage << " " << c.lenient);
        CKaRef<CKaEncodingDecoder> strict =
            Encoding(c.codePage)->CreateDecoder(MakeStream(c.bytes));
        strict->setFailOnInvalid(true);
        EXPECT_EQ(c.strict, Units(strict->ReadString()));
        EXPECT_EQ(c.code, ThrownCode([&] { EXPECT_EQ(L"", Units(strict->ReadString())); }));
        EXPECT_EQ(c.lenient,
                  Units(Encoding(c.codePage)->CreateDecoder(MakeStream(c.bytes))->ReadString()));
    }
}

TEST(DecoderReadTest, TargetsTakeTheCharactersFromTheirStartIndex)
{
    // Reading nothing leaves the stream alone: there is none to read here.
    EXPECT_EQ(0u, CKaRef<CKaEncodingDecoder>(new CKaUtf8EncodingDecoder(nullptr))->ReadString(0)
                      .getLength());
    // A string ends where the read ends; a gap before the start index becomes zeros.
    CKaString text(L"0123456789");
    EXPECT_EQ(3u, Utf8Decoder(Bytes("abc"))->ReadString(text, 5, 2));
    EXPECT_EQ(CKaString(L"01abc"), text);
    EXPECT_EQ(2u, Utf8Decoder(Bytes("xy"))->ReadString(text, 7));
    EXPECT_EQ(std::wstring(L"01abc\0\0xy", 9), Units(text));
    // A buffer grows but never shrinks, and a copy that shared it keeps its characters.
    CKaSimpleBuffer<wchar_t> chars(L"0123456789", 10);
    const CKaSimpleBuffer<wchar_t> shared = chars;
    EXPECT_EQ(3u, Utf8Decoder(Bytes("abc"))->ReadChars(chars, 2));
    EXPECT_EQ(3u, Utf8Decoder(Bytes("xyz"))->ReadChars(chars, 9));
    EXPECT_EQ(std::wstring(L"01abc5678xyz"), std::wstring(chars.getBuffer(), chars.getSize()));
    EXPECT_EQ(std::wstring(L"0123456789"), std::wstring(shared.getBuffer(), shared.getSize()));
    CKaSimpleBuffer<wchar_t> gap;
    EXPECT_EQ(1u, Utf8Decoder(Bytes("a"))->ReadChars(gap, 2));
    EXPECT_EQ(std::wstring(L"\0\0a", 3), std::wstring(gap.getBuffer(), gap.getSize()));
}

// A read of nothing returns 0 and leaves target and stream as they are, whatever its start
// index, for every decoder: plain or lossless, over a stream or none.
TEST(DecoderReadTest, AReadOfNothingChangesNothing)
{
    for (unsigned short codePage : {CP_UTF8, 1200, 1201, 1252}) {
        SCOPED_TRACE(codePage);
        const TKaBytes bytes = PlatformBytes(codePage, L"abc");
        CKaRef<CKaEncodingDecoder> decoders[] = {
            Encoding(codePage)->CreateDecoder(MakeStream(bytes)),
            KaCreateLosslessDecoder(Encoding(codePage), MakeStream(bytes)),
            Encoding(codePage)->CreateDecoder(nullptr)};
        for (CKaRef<CKaEncodingDecoder>& decoder : decoders) {
            for (unsigned long startIndex : {0ul, 1ul, 3ul, 5ul}) {
                CKaString text(L"xyz");
                EXPECT_EQ(0u, decoder->ReadString(text, 0, startIndex));
                EXPECT_EQ(CKaString(L"xyz"), text);
                CKaSimpleBuffer<wchar_t> chars(L"xyz", 3);
                EXPECT_EQ(0u, decoder->ReadChars(chars, 0, startIndex));
                EXPECT_EQ(std::wstring(L"xyz"), std::wstring(chars.getBuffer(), chars.getSize()));
            }
        }
        // The bytes are all still there for the next read.
        EXPECT_EQ(3u, decoders[0]->ReadString(3).getLength());
        EXPECT_EQ(3u, decoders[1]->ReadString(3).getLength());
    }
}

// Texts whose characters a refill never splits (the feeds ask for even byte counts, and every
// character is one byte or every character is two), read in pieces of random size.
TEST(DecoderReadTest, ReadsLikeThePlatformWhereNoCharacterIsSplit)
{
    CTextSource source(3);
    std::vector<std::pair<unsigned short, std::wstring>> texts;
    for (int round = 0; round < 12; ++round) {
        texts.push_back({CP_UTF8, source.Text(3000, {{0x0A, 0x0D}, {0x20, 0x7F}})});
        texts.push_back({CP_UTF8, source.Text(3000, {{0x80, 0x7FF}})});
        const std::wstring bmp = source.Text(3000, {{0x01, 0xD7FF}, {0xE000, 0xFFFF}});
        texts.push_back({static_cast<unsigned short>(1200 + round % 2), bmp});
    }
    for (unsigned short codePage : kCodePages) {
        CPINFO info;
        if (GetCPInfo(codePage, &info) && info.MaxCharSize == 1) {
            texts.push_back({codePage, source.CodePageText(codePage, 3000)});
        }
    }
    for (const auto& text : texts) {
        SCOPED_TRACE(text.first);
        CKaRef<CKaEncodingDecoder> decoder =
            Encoding(text.first)->CreateDecoder(MakeStream(PlatformBytes(text.first, text.second)));
        EXPECT_EQ(text.second, ReadInPieces(decoder, source, source.Piece(600)));
    }
}

} // namespace
