#include <gtest/gtest.h>
#include <cstdio>
#include <shlobj.h>
#include "katempfolder.h"
#include "katextsupport.h"

namespace {

typedef CKaEncodingDecoder::TTokenState TState;

// Opens the buffer management of a decoder to the tests.
template <class Decoder>
class CProbe : public Decoder
{
public:
    using Decoder::Decoder;
    using Decoder::CheckBufferToken;
    using Decoder::CommitBufferRead;
    using Decoder::CommitBufferWrite;
    using Decoder::DetermineAvailableBufferChars;
    using Decoder::Feed;
    using Decoder::ReserveBuffer;

    unsigned long Start() const { return this->m_start; }
    unsigned long Available() const { return this->m_available; }
    unsigned long Size() const { return this->m_buffer.getSize(); }
    TBytes Unread() const
    {
        const unsigned char* unread = this->UnreadBytes();
        return TBytes(unread, unread + this->m_available);
    }
    TState Token(unsigned long offset, bool failOnInvalid, unsigned long& length)
    {
        return this->CheckBufferToken(offset, failOnInvalid, length);
    }
    // Feeds everything there is.
    void FeedAll()
    {
        while (this->Feed(256)) {
        }
    }
};

typedef CProbe<CKaUtf8EncodingDecoder> CUtf8Probe;
typedef CProbe<CKaUtf16EncodingDecoder> CUtf16Probe;
typedef CProbe<CKaMultiByteEncodingDecoder> CMultiByteProbe;

CKaRef<CKaEncodingDecoder> Utf8Decoder(const TBytes& bytes, unsigned long chunk = 0xFFFFFFFF)
{
    return new CKaUtf8EncodingDecoder(MakeStream(bytes, chunk));
}

std::vector<std::wstring> ReadOneByOne(CKaRef<CKaEncodingDecoder> decoder)
{
    std::vector<std::wstring> pieces;
    do {
        pieces.push_back(Wide(decoder->ReadString(1)));
    } while (!pieces.back().empty());
    return pieces;
}

TEST(DecoderBufferTest, ReserveMovesUnreadBytesToTheFrontOrIntoALargerBuffer)
{
    CKaRef<CUtf8Probe> decoder = new CUtf8Probe(MakeStream(Bytes("abcde")));
    decoder->ReserveBuffer(0);
    EXPECT_EQ(0u, decoder->Size());
    ASSERT_TRUE(decoder->Feed(2)); // a request of 8 bytes, 5 of them come
    EXPECT_EQ(8u, decoder->Size());
    decoder->CommitBufferRead(3);

    decoder->ReserveBuffer(3); // fits behind the unread bytes
    EXPECT_EQ(3u, decoder->Start());
    decoder->ReserveBuffer(4); // fits once the unread bytes move to the front
    EXPECT_EQ(0u, decoder->Start());
    EXPECT_EQ(8u, decoder->Size());
    EXPECT_EQ(Bytes("de"), decoder->Unread());

    decoder->CommitBufferRead(1);
    decoder->ReserveBuffer(8); // needs a buffer of exactly the unread bytes and the request
    EXPECT_EQ(0u, decoder->Start());
    EXPECT_EQ(9u, decoder->Size());
    EXPECT_EQ(Bytes("e"), decoder->Unread());
}

TEST(DecoderBufferTest, CommitsBeyondTheBufferOrTheUnreadBytesThrow)
{
    CKaRef<CUtf8Probe> decoder = new CUtf8Probe(MakeStream(Bytes("abcd")));
    ASSERT_TRUE(decoder->Feed(1));
    EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->CommitBufferWrite(1); }));
    EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->CommitBufferRead(5); }));
    EXPECT_EQ(4u, decoder->Available());
    decoder->CommitBufferRead(4);
    EXPECT_EQ(CKaEncodingDecoder::TokenEmpty, decoder->getNextTokenState());
}

TEST(DecoderBufferTest, ATokenBeyondTheBufferThrows)
{
    CKaRef<CUtf8Probe> decoder = new CUtf8Probe(MakeStream(Bytes("ab")));
    unsigned long length = 0;
    EXPECT_EQ(CKaEncodingDecoder::TokenEmpty, decoder->Token(0, false, length));
    ASSERT_TRUE(decoder->Feed(1)); // buffer of 4 bytes, 2 of them unread
    EXPECT_EQ(CKaEncodingDecoder::TokenEmpty, decoder->Token(2, false, length));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { decoder->Token(4, false, length); }));
}

TEST(DecoderBufferTest, FeedRequestsDependOnTheCodec)
{
    struct Case
    {
        unsigned long chars;
        unsigned long utf8;
        unsigned long others;
    };
    for (const Case& c : {Case{1, 4, 2}, Case{255, 1020, 510}, Case{256, 1024, 512},
                          Case{511, 1024, 1022}, Case{512, 1024, 1024}, Case{70000, 1024, 1024}}) {
        CKaRef<CTestStream> stream = MakeStream(Bytes("x"));
        CKaRef<CUtf8Probe> utf8 = new CUtf8Probe(stream);
        utf8->Feed(c.chars);
        EXPECT_EQ(c.utf8, stream->LastRequest());
        CKaRef<CUtf16Probe> utf16 = new CUtf16Probe(false, stream);
        utf16->Feed(c.chars);
        EXPECT_EQ(c.others, stream->LastRequest());
        CKaRef<CMultiByteProbe> multiByte = new CMultiByteProbe(1252, stream);
        multiByte->Feed(c.chars);
        EXPECT_EQ(c.others, stream->LastRequest());
    }
}

TEST(DecoderBufferTest, AFeedLandsOnTheStartOffsetOverTheUnreadBytes)
{
    CKaRef<CUtf8Probe> decoder = new CUtf8Probe(MakeStream(Bytes("ab\xE2\x82\xAC" "cdef")));
    ASSERT_TRUE(decoder->Feed(1)); // "ab" and the first two bytes of the euro sign
    decoder->CommitBufferRead(2);
    EXPECT_EQ(CKaEncodingDecoder::TokenIncomplete, decoder->getNextTokenState());
    ASSERT_TRUE(decoder->Feed(1));
    // The new bytes overwrite E2 82; the two bytes behind them count as unread too.
    EXPECT_EQ(0u, decoder->Start());
    EXPECT_EQ(6u, decoder->Available());
    EXPECT_EQ(TBytes({0xAC, 'c', 'd', 'e', 0, 0}), decoder->Unread());
}

TEST(DecoderBufferTest, AFeedWithoutStreamThrows)
{
    CKaRef<CUtf8Probe> decoder = new CUtf8Probe(CKaRef<IKaStream>());
    EXPECT_EQ(E_POINTER, ThrownCode([&] { decoder->Feed(1); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { decoder->ReadString(1); }));
}

TEST(DecoderTokenTest, Utf8Tokens)
{
    CKaRef<CUtf8Probe> decoder =
        new CUtf8Probe(MakeStream(Bytes("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x80\xF8\xE2\x41\xE2\x82")));
    decoder->FeedAll();
    struct Case
    {
        unsigned long offset;
        TState lenient;
        TState strict;
        unsigned long length;
    };
    const TState complete = CKaEncodingDecoder::TokenComplete;
    const TState invalid = CKaEncodingDecoder::TokenInvalid;
    const TState incomplete = CKaEncodingDecoder::TokenIncomplete;
    for (const Case& c : {Case{0, complete, complete, 1}, Case{1, complete, complete, 2},
                          Case{3, complete, complete, 3}, Case{6, complete, complete, 4},
                          Case{10, complete, invalid, 1},  // a continuation byte leads
                          Case{11, complete, invalid, 1},  // F8 leads nothing
                          Case{12, complete, invalid, 3},  // 41 cannot continue E2
                          Case{14, incomplete, incomplete, 3}}) {
        SCOPED_TRACE(c.offset);
        unsigned long length = 0;
        EXPECT_EQ(c.lenient, decoder->Token(c.offset, false, length));
        EXPECT_EQ(c.length, length);
        EXPECT_EQ(c.strict, decoder->Token(c.offset, true, length));
    }
}

TEST(DecoderTokenTest, Utf16Tokens)
{
    // A, a pair, a lone low surrogate, a high surrogate before A, then one byte.
    CKaRef<CUtf16Probe> decoder = new CUtf16Probe(
        true, MakeStream({0x00, 0x41, 0xD8, 0x3D, 0xDE, 0x00, 0xDC, 0x00, 0xD8, 0x00, 0x00,
                          0x41, 0x00}));
    decoder->FeedAll();
    const TState complete = CKaEncodingDecoder::TokenComplete;
    unsigned long length = 0;
    EXPECT_EQ(complete, decoder->Token(0, true, length));
    EXPECT_EQ(1u, length);
    EXPECT_EQ(complete, decoder->Token(2, true, length));
    EXPECT_EQ(2u, length);
    EXPECT_EQ(complete, decoder->Token(6, false, length));
    EXPECT_EQ(CKaEncodingDecoder::TokenInvalid, decoder->Token(6, true, length));
    EXPECT_EQ(complete, decoder->Token(8, false, length));
    EXPECT_EQ(2u, length);
    EXPECT_EQ(CKaEncodingDecoder::TokenInvalid, decoder->Token(8, true, length));
    EXPECT_EQ(CKaEncodingDecoder::TokenIncomplete, decoder->Token(12, true, length));
}

TEST(DecoderTokenTest, MultiByteTokens)
{
    const TBytes bytes = PlatformBytes(932, L"a\x3042");
    ASSERT_EQ(3u, bytes.size());
    TBytes data = bytes;
    data.push_back(0x81); // a lead byte before a trail byte it cannot take
    data.push_back(0x7F);
    data.push_back(0x82); // a lead byte that ends the data
    CKaRef<CMultiByteProbe> decoder = new CMultiByteProbe(932, MakeStream(data));
    decoder->FeedAll();
    unsigned long length = 0;
    EXPECT_EQ(CKaEncodingDecoder::TokenComplete, decoder->Token(0, true, length));
    EXPECT_EQ(1u, length);
    EXPECT_EQ(CKaEncodingDecoder::TokenComplete, decoder->Token(1, true, length));
    EXPECT_EQ(2u, length);
    EXPECT_EQ(CKaEncodingDecoder::TokenComplete, decoder->Token(3, false, length));
    EXPECT_EQ(CKaEncodingDecoder::TokenInvalid, decoder->Token(3, true, length));
    EXPECT_EQ(CKaEncodingDecoder::TokenIncomplete, decoder->Token(5, false, length));
}

TEST(DecoderCountTest, Utf16CountsOneCharacterPerUnitAndTwoBytesPerUnit)
{
    CKaRef<CUtf16Probe> decoder = new CUtf16Probe(
        false, MakeStream(Utf16Bytes(L"ab\xD83D\xDE00" L"c\xDC00", false)));
    decoder->FeedAll();
    unsigned long bytes = 0;
    EXPECT_EQ(6u, decoder->DetermineAvailableBufferChars(100, bytes));
    EXPECT_EQ(12u, bytes);
    // A pair is not split: the count ends one above the limit.
    EXPECT_EQ(4u, decoder->DetermineAvailableBufferChars(3, bytes));
    EXPECT_EQ(8u, bytes);
}

TEST(DecoderCountTest, AUtf8FourByteTokenIsJudgedByTheSecondUnreadByte)
{
    struct Case
    {
        const char* bytes;
        unsigned long predicted;
    };
    // The byte at start + 1 decides for every four-byte token in the buffer.
    for (const Case& c : {Case{"\xF0\x9F\x98\x80", 2}, Case{"a\xF0\x9F\x98\x80", 3},
                          Case{"ab\xF0\x9F\x98\x80", 3}, Case{"\xC3\xA9\xF0\x9F\x98\x80", 3},
                          Case{"\xF1\x80\x80\x80", 1}, Case{"\xF0\x9F\x98\x80\xF1\x80\x80\x80", 4}}) {
        CKaRef<CUtf8Probe> decoder = new CUtf8Probe(MakeStream(Bytes(c.bytes)));
        decoder->FeedAll();
        unsigned long bytes = 0;
        EXPECT_EQ(c.predicted, decoder->DetermineAvailableBufferChars(100, bytes)) << c.bytes;
        EXPECT_EQ(std::strlen(c.bytes), bytes);
    }
}

TEST(DecoderReadTest, ReadingNothingLeavesTheStreamAlone)
{
    CKaRef<CTestStream> stream = MakeStream(Bytes("abc"));
    CKaRef<CKaEncodingDecoder> decoder = new CKaUtf8EncodingDecoder(stream);
    EXPECT_EQ(0u, decoder->ReadString(0).getLength());
    EXPECT_EQ(0u, decoder->ReadChars(0).getSize());
    EXPECT_EQ(0u, stream->Reads());
}

TEST(DecoderReadTest, ACountMismatchThrowsWithoutConsuming)
{
    for (const char* text : {"ab\xF0\x9F\x98\x80", "\xF1\x80\x80\x80"}) {
        CKaRef<CKaEncodingDecoder> decoder = Utf8Decoder(Bytes(text));
        EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->ReadString(); })) << text;
        EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->ReadChars(); })) << text;
    }
    // Where the rule holds, the same characters read well.
    EXPECT_EQ(CKaString(L"a\xD83D\xDE00" L"b"),
              Utf8Decoder(Bytes("a\xF0\x9F\x98\x80" "b"))->ReadString());
}

// The library's own trace, moved into a file of a temporary folder for the life of the object
// and started again as the library starts it when it goes.
class CTraceCapture
{
public:
    CTraceCapture()
    {
        const CKaString file = m_folder.File(L"encoding.trc");
        const unsigned long folderLength = file.getLength() - 13; // without "\\encoding.trc"
        const DWORD on = 1;
        const DWORD off = 0;
        RegSetKeyValueW(HKEY_CURRENT_USER, kTraceKey, L"Enabled", REG_DWORD, &on, 4);
        RegSetKeyValueW(HKEY_CURRENT_USER, kTraceKey, L"KeepFileOpen", REG_DWORD, &off, 4);
        RegSetKeyValueW(HKEY_CURRENT_USER, kTraceKey, L"TargetPath", REG_SZ,
                        CKaString(file.getSz(), folderLength).getSz(),
                        (folderLength + 1) * sizeof(wchar_t));
        KaTraceStart(CSIDL_LOCAL_APPDATA, L"", L"encoding.trc", kKey, 4, kCategories, 3, 5, 30);
    }

    ~CTraceCapture()
    {
        KaTraceStop();
        RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
        KaTraceStart(CSIDL_LOCAL_APPDATA, L"Norvane\\Quillmarsh\\Trace", L"zelka130.trc",
                     L"Software\\Norvane\\Quillmarsh\\ZELCORE\\MAIN", 4, kCategories, 3, 5,
                     30);
    }

    std::string Text() const
    {
        std::string text;
        FILE* file = _wfopen(m_folder.File(L"encoding.trc").getSz(), L"rb");
        if (!file) return text;
        char buffer[4096];
        size_t read = 0;
        while ((read = std::fread(buffer, 1, sizeof(buffer), file)) > 0) text.append(buffer, read);
        std::fclose(file);
        return text;
    }

private:
    static constexpr const wchar_t* kKey = L"Software\\Norvane\\ZelkaEncodingTest";
    static constexpr const wchar_t* kTraceKey = L"Software\\Norvane\\ZelkaEncodingTest\\Trace";
    static constexpr const wchar_t* kCategories[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};
    CKaTempFolder m_folder;
};

TEST(DecoderReadTest, ACountMismatchIsTracedAsAWarning)
{
    CTraceCapture trace;
    CKaRef<CKaEncodingDecoder> decoder = Utf8Decoder(Bytes("ab\xF0\x9F\x98\x80"));
    EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->ReadString(); }));
    EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { decoder->ReadChars(); }));
    const std::string text = trace.Text();
    const std::string message =
        "|Converted char count differs from predetermined char count (4 != 3)";
    EXPECT_NE(std::string::npos,
              text.find("|WARN |EN |UTF8D|ReadString" + std::string(20, ' ') + message))
        << text;
    EXPECT_NE(std::string::npos,
              text.find("|WARN |EN |UTF8D|ReadChars" + std::string(21, ' ') + message));
    // UTF-8 through the multi-byte decoder: no lead bytes, so "é" counts as two characters.
    CKaRef<CKaEncodingDecoder> multiByte =
        new CKaMultiByteEncodingDecoder(CP_UTF8, MakeStream(Bytes("\xC3\xA9")));
    EXPECT_EQ(E_UNEXPECTED, ThrownCode([&] { multiByte->ReadString(); }));
    EXPECT_NE(std::string::npos,
              trace.Text().find("|WARN |EN |MBD  |ReadString" + std::string(20, ' ') +
                                "|Converted char count differs from predetermined char count "
                                "(1 != 2)"));
}

TEST(DecoderReadTest, ACharacterSplitByARefillIsOverwritten)
{
    // "ab" and E2 82 come with the first feed; the refill puts AC over E2 and leaves 82 and a
    // zero byte of the new room behind it as unread bytes.
    const std::vector<std::wstring> utf8 = ReadOneByOne(Utf8Decoder(Bytes("ab\xE2\x82\xAC")));
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b", L"\xFFFD", L"\xFFFD", std::wstring(1, L'\0'),
                                         L""}),
              utf8);

    // The refill puts the low surrogate over the high one.
    CKaRef<CKaEncodingDecoder> utf16 =
        new CKaUtf16EncodingDecoder(false, MakeStream(Utf16Bytes(L"\xD83D\xDE00", false)));
    EXPECT_EQ((std::vector<std::wstring>{L"\xDE00", std::wstring(1, L'\0'), L""}),
              ReadOneByOne(utf16));

    // The refill puts the trail byte over the lead byte.
    TBytes bytes = PlatformBytes(932, L"a\x3042");
    CKaRef<CKaEncodingDecoder> multiByte = new CKaMultiByteEncodingDecoder(932, MakeStream(bytes));
    EXPECT_EQ((std::vector<std::wstring>{L"a", PlatformText(932, {bytes[2]}),
                                         std::wstring(1, L'\0'), L""}),
              ReadOneByOne(multiByte));
}

TEST(DecoderReadTest, InvalidDataEndsAReadAndThrowsOnTheNext)
{
    CKaRef<CKaEncodingDecoder> utf8 = Utf8Decoder(Bytes("ab\xFF"));
    utf8->setFailOnInvalid(true);
    EXPECT_EQ(CKaString(L"ab"), utf8->ReadString());
    EXPECT_EQ(CKaEncodingDecoder::TokenInvalid, utf8->getNextTokenState());
    EXPECT_EQ(KA_E_INVALID_UTF8, ThrownCode([&] { utf8->ReadString(); }));

    CKaRef<CKaEncodingDecoder> utf16 =
        new CKaUtf16EncodingDecoder(false, MakeStream(Utf16Bytes(L"a\xDC00", false)));
    utf16->setFailOnInvalid(true);
    EXPECT_EQ(1u, utf16->ReadChars().getSize());
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { utf16->ReadChars(); }));

    CKaRef<CKaEncodingDecoder> multiByte =
        new CKaMultiByteEncodingDecoder(932, MakeStream({0x61, 0x81, 0x7F}));
    multiByte->setFailOnInvalid(true);
    EXPECT_EQ(CKaString(L"a"), multiByte->ReadString(5));
    EXPECT_EQ(KA_E_MULTIBYTE_DECODING, ThrownCode([&] { multiByte->ReadString(5); }));
}

TEST(DecoderReadTest, LenientDecodersPassInvalidBytesToTheSystem)
{
    const TBytes bytes = Bytes("ab\xFF" "c\x80");
    EXPECT_EQ(Str(PlatformText(CP_UTF8, bytes)), Utf8Decoder(bytes)->ReadString());
    CKaRef<CKaEncodingDecoder> utf16 =
        new CKaUtf16EncodingDecoder(false, MakeStream(Utf16Bytes(L"a\xDC00\xD800" L"b", false)));
    EXPECT_EQ(CKaString(L"a\xDC00\xD800" L"b"), utf16->ReadString());
}

TEST(DecoderReadTest, AStringTargetEndsWhereTheReadEnds)
{
    CKaString target(L"0123456789");
    EXPECT_EQ(3u, Utf8Decoder(Bytes("abc"))->ReadString(target, 5, 2));
    EXPECT_EQ(CKaString(L"01abc"), target);

    CKaString shorter(L"01");
    EXPECT_EQ(2u, Utf8Decoder(Bytes("ab"))->ReadString(shorter, 4));
    EXPECT_EQ(CKaString(L"01\0\0ab", 6), shorter);

    CKaString untouched(L"012");
    EXPECT_EQ(0u, Utf8Decoder(TBytes())->ReadString(untouched, 1));
    EXPECT_EQ(CKaString(L"0"), untouched);
}

TEST(DecoderReadTest, ABufferTargetGrowsButNeverShrinks)
{
    CKaSimpleBuffer<wchar_t> target(L"0123456789", 10);
    const CKaSimpleBuffer<wchar_t> shared = target;
    EXPECT_EQ(3u, Utf8Decoder(Bytes("abc"))->ReadChars(target, 2));
    EXPECT_EQ(std::wstring(L"01abc56789"), std::wstring(target.getBuffer(), target.getSize()));
    EXPECT_EQ(std::wstring(L"0123456789"), std::wstring(shared.getBuffer(), shared.getSize()));

    EXPECT_EQ(3u, Utf8Decoder(Bytes("xyz"))->ReadChars(target, 9));
    EXPECT_EQ(std::wstring(L"01abc5678xyz"), std::wstring(target.getBuffer(), target.getSize()));

    CKaSimpleBuffer<wchar_t> gap;
    EXPECT_EQ(1u, Utf8Decoder(Bytes("a"))->ReadChars(gap, 2));
    EXPECT_EQ(std::wstring(L"\0\0a", 3), std::wstring(gap.getBuffer(), gap.getSize()));
}

// Reads the bytes in pieces of random size through the decoder and compares the whole with
// the platform's conversion.
void ExpectReadLikeThePlatform(CKaRef<CKaEncodingDecoder> decoder, const std::wstring& expected,
                               unsigned int seed)
{
    CTextSource pieces(seed);
    EXPECT_EQ(expected, ReadInPieces(decoder, pieces, 1 + seed % 600));
}

// Texts whose characters a refill can never split: the feeds ask for even byte counts and
// every character is one byte or every character is two.
TEST(DecoderReadTest, ReadsLikeThePlatformWhereNoCharacterIsSplit)
{
    CTextSource source(3);
    for (unsigned int round = 0; round < 12; ++round) {
        const std::wstring ascii = source.Text(3000, {{0x0A, 0x0D}, {0x20, 0x7F}});
        ExpectReadLikeThePlatform(Utf8Decoder(PlatformBytes(CP_UTF8, ascii)), ascii, round);
        const std::wstring twoBytes = source.Text(3000, {{0x80, 0x7FF}});
        ExpectReadLikeThePlatform(Utf8Decoder(PlatformBytes(CP_UTF8, twoBytes)), twoBytes, round);
        const std::wstring bmp = source.Text(3000, {{0x01, 0xD7FF}, {0xE000, 0xFFFF}});
        for (bool bigEndian : {false, true}) {
            ExpectReadLikeThePlatform(
                new CKaUtf16EncodingDecoder(bigEndian, MakeStream(Utf16Bytes(bmp, bigEndian))),
                bmp, round);
        }
    }
}

TEST(DecoderReadTest, ReadsEverySingleByteCodePageLikeThePlatform)
{
    CTextSource source(5);
    for (unsigned short codePage : kCodePages) {
        CPINFO info;
        if (!GetCPInfo(codePage, &info) || info.MaxCharSize != 1) continue;
        SCOPED_TRACE(codePage);
        TBytes bytes;
        const std::wstring text = RandomCodePageText(codePage, source, 3000, bytes);
        ExpectReadLikeThePlatform(new CKaMultiByteEncodingDecoder(codePage, MakeStream(bytes)),
                                  PlatformText(codePage, bytes), codePage);
        EXPECT_EQ(text, PlatformText(codePage, bytes));
    }
}

TEST(DecoderReadTest, ReadCharsAndReadStringReadAlike)
{
    const std::wstring text = CTextSource(4).Text(2000, {{0x20, 0x7E}});
    CKaRef<CKaEncodingDecoder> decoder = Utf8Decoder(PlatformBytes(CP_UTF8, text));
    CKaSimpleBuffer<wchar_t> chars = decoder->ReadChars(700);
    EXPECT_EQ(700u, chars.getSize());
    CKaString rest = decoder->ReadString();
    EXPECT_EQ(text, std::wstring(chars.getBuffer(), chars.getSize()) + Wide(rest));
}

} // namespace
