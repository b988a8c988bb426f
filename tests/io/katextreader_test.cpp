#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

std::vector<std::wstring> ReadLines(CKaRef<CKaTextReader> reader, size_t count)
{
    std::vector<std::wstring> lines;
    for (size_t i = 0; i < count; ++i) lines.push_back(Wide(reader->ReadLine()));
    return lines;
}

CKaRef<CKaTextReader> Utf8Reader(const char* text)
{
    return new CKaTextReader(new CKaUtf8Encoding(), MakeStream(Bytes(text)));
}

// A UTF-16 decoder that records each read the reader asks of it.
class CSpyDecoder : public CKaUtf16EncodingDecoder
{
public:
    explicit CSpyDecoder(CKaRef<IKaStream> stream) : CKaUtf16EncodingDecoder(false, stream) {}
    using CKaEncodingDecoder::ReadString;
    unsigned long ReadString(CKaString& target, unsigned long maxChars,
                             unsigned long startIndex) override
    {
        const unsigned long read =
            CKaUtf16EncodingDecoder::ReadString(target, maxChars, startIndex);
        reads.push_back({maxChars, read});
        return read;
    }
    std::vector<std::pair<unsigned long, unsigned long>> reads;
};

class CSpyReader : public CKaTextReader
{
public:
    CSpyReader(CKaRef<IKaStream> stream, bool giveDecoder)
        : CKaTextReader(stream), spy(new CSpyDecoder(stream)), m_giveDecoder(giveDecoder)
    {
    }
    CKaRef<CSpyDecoder> spy;

protected:
    CKaRef<CKaEncodingDecoder> CreateDecoder() override
    {
        return m_giveDecoder ? CKaRef<CKaEncodingDecoder>(spy) : CKaRef<CKaEncodingDecoder>();
    }

private:
    bool m_giveDecoder;
};

TEST(TextReaderTest, WithoutAnEncodingReadsUtf16LittleEndian)
{
    CKaRef<CKaTextReader> reader =
        new CKaTextReader(MakeStream({0x41, 0x00, 0x0D, 0x00, 0x0A, 0x00, 0x42, 0x00}));
    EXPECT_EQ((std::vector<std::wstring>{L"A", L"B", L""}), ReadLines(reader, 3));
    EXPECT_FALSE(reader->getEncoding());
}

TEST(TextReaderTest, OnlyLfAndCrLfEndALine)
{
    EXPECT_EQ((std::vector<std::wstring>{L"a\rb", L"c\r", L"", L"d\r", L""}),
              ReadLines(Utf8Reader("a\rb\nc\r\r\n\nd\r"), 5));
    EXPECT_EQ((std::vector<std::wstring>{L"\r\r", L"x"}), ReadLines(Utf8Reader("\r\r\r\nx"), 2));
}

TEST(TextReaderTest, TheEndOfTheStreamIsToldApartFromAnEmptyLine)
{
    CKaRef<CKaTextReader> reader = Utf8Reader("a\n\n\r");
    CKaString line(L"stale");
    std::vector<std::wstring> lines;
    while (reader->ReadLine(line)) lines.push_back(Wide(line));
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"", L"\r"}), lines);
    EXPECT_EQ(0u, line.getLength());
    EXPECT_FALSE(reader->ReadLine(line));
}

TEST(TextReaderTest, ReadAllAsksForPiecesOfAThousand)
{
    const std::wstring text = CTextSource(20).Text(2500, {{0x20, 0x7E}, {0x100, 0x4000}});
    CKaRef<CSpyReader> reader = new CSpyReader(MakeStream(Utf16Bytes(text, false)), true);
    EXPECT_EQ(text, Wide(reader->ReadAll()));
    typedef std::pair<unsigned long, unsigned long> Read;
    EXPECT_EQ((std::vector<Read>{{1000, 1000}, {1000, 1000}, {1000, 500}}), reader->spy->reads);
    EXPECT_FALSE(reader->spy->getFailOnInvalid());
}

TEST(TextReaderTest, ReadCharsGivesFewerAtTheEnd)
{
    CKaRef<CKaTextReader> reader = Utf8Reader("abc\xC3\xA9");
    EXPECT_EQ(CKaString(L"ab"), reader->ReadChars(2));
    EXPECT_EQ(CKaString(L"c\xE9"), reader->ReadChars(5));
    EXPECT_EQ(CKaString(), reader->ReadChars(5));
}

TEST(TextReaderTest, AMissingDecoderOrStreamThrows)
{
    CKaRef<CSpyReader> noDecoder = new CSpyReader(MakeStream(Bytes("ab")), false);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { noDecoder->ReadLine(); }));
    CKaRef<CKaTextReader> noStream = new CKaTextReader(new CKaUtf8Encoding(), nullptr);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { noStream->ReadAll(); }));
}

TEST(TextReaderTest, InvalidBytesNeverThrow)
{
    EXPECT_EQ(CKaString(L"a\xFFFD" L"b"), Utf8Reader("a\xFF" "b")->ReadAll());
    CKaRef<CKaTextReader> utf16 =
        new CKaLosslessTextReader(new CKaUtf16Encoding(false), MakeStream({0x00, 0xDC, 0x41}));
    EXPECT_EQ(CKaString(L"\xDC00\xFFFD"), utf16->ReadAll());
}

TEST(TextReaderTest, OnlyTheLosslessReaderKeepsACharacterSplitByARefill)
{
    // The line's reads of one character feed four bytes at a time; the euro sign straddles
    // two feeds.
    const char* text = "ab\xE2\x82\xAC\nc";
    EXPECT_EQ((std::vector<std::wstring>{L"ab\xFFFD", L"c" + std::wstring(2, L'\0')}),
              ReadLines(Utf8Reader(text), 2));
    CKaRef<CKaTextReader> lossless =
        new CKaLosslessTextReader(new CKaUtf8Encoding(), MakeStream(Bytes(text)));
    EXPECT_EQ((std::vector<std::wstring>{L"ab\x20AC", L"c", L""}), ReadLines(lossless, 3));
}

// Lines of random text (no line ends inside, a CR only where no LF follows it), written with
// one line end or the other.
std::vector<std::wstring> RandomLines(CTextSource& source, const std::wstring& alphabet)
{
    std::vector<std::wstring> lines(30);
    for (std::wstring& line : lines) {
        const size_t length = source.Below(60);
        for (size_t i = 0; i < length; ++i) {
            line += alphabet[source.Below(static_cast<unsigned long>(alphabet.size()))];
        }
        if (source.Below(8) == 0) line += L"\rx";
    }
    return lines;
}

std::wstring Alphabet(CKaRef<CKaEncoding> encoding, CTextSource& source)
{
    const unsigned short codePage = encoding->getCodePage();
    if (codePage == CP_UTF8 || codePage == 1200 || codePage == 1201) {
        std::wstring alphabet = source.Text(200, {{0x20, 0x7E}, {0x80, 0xFFFD}});
        for (wchar_t& ch : alphabet) {
            if (ch >= 0xD800 && ch <= 0xDFFF) ch = L'?';
        }
        return alphabet;
    }
    std::wstring alphabet;
    for (const TCodePageChar& c : Representable(codePage)) {
        if (c.ch != L'\r' && c.ch != L'\n') alphabet += c.ch;
    }
    return alphabet;
}

TEST(TextRoundTripTest, WrittenLinesReadBackInEveryStandardEncoding)
{
    std::vector<CKaRef<CKaEncoding>> encodings = {new CKaUtf8Encoding(),
                                                  new CKaUtf16Encoding(false),
                                                  new CKaUtf16Encoding(true)};
    for (unsigned short codePage : kCodePages) {
        if (IsValidCodePage(codePage)) encodings.push_back(new CKaMultiByteEncoding(codePage));
    }
    CTextSource source(21);
    for (CKaRef<CKaEncoding> encoding : encodings) {
        SCOPED_TRACE(encoding->getCodePage());
        const std::vector<std::wstring> lines = RandomLines(source, Alphabet(encoding, source));
        CKaRef<CTestStream> stream = MakeStream();
        CKaRef<CKaTextWriter> writer = new CKaTextWriter(encoding, stream);
        for (const std::wstring& line : lines) writer->WriteLine(Str(line), source.Below(2) == 0);
        CKaRef<CKaTextReader> reader = new CKaLosslessTextReader(
            encoding, MakeStream(stream->Bytes(), source.Piece(5)));
        EXPECT_EQ(lines, ReadLines(reader, lines.size()));
        EXPECT_EQ(CKaString(), reader->ReadLine());
    }
}

TEST(TextWriterTest, WritesLinesEndingInCrLfOrLf)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaTextWriter> writer = new CKaTextWriter(stream);
    writer->WriteLine(L"A");
    writer->WriteLine(L"B", false);
    writer->Write(L"C");
    EXPECT_EQ(TBytes({0x41, 0, 0x0D, 0, 0x0A, 0, 0x42, 0, 0x0A, 0, 0x43, 0}), stream->Bytes());
}

TEST(TextWriterTest, AHighSurrogateWaitsForItsPartner)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaTextWriter> writer = new CKaTextWriter(new CKaUtf8Encoding(), stream);
    writer->Write(L"a\xD83D");
    EXPECT_EQ(Bytes("a"), stream->Bytes());
    writer->Write(L"\xDE00");
    EXPECT_EQ(Bytes("a\xF0\x9F\x98\x80"), stream->Bytes());
    writer->Flush();
    writer->Write(L"\xD83D");
    writer->Flush();
    EXPECT_EQ(Bytes("a\xF0\x9F\x98\x80\xEF\xBF\xBD"), stream->Bytes());
}

TEST(TextWriterTest, AMissingEncoderOrStreamThrows)
{
    CKaRef<CKaTextWriter> writer = new CKaTextWriter(new CKaUtf8Encoding(), nullptr);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { writer->Write(L"a"); }));
}

CKaRef<CKaEncodingEncoder> StrictEncoder(CKaRef<IKaStream> stream)
{
    CKaRef<CKaEncodingEncoder> encoder = (new CKaUtf16Encoding(true))->CreateEncoder(stream);
    encoder->setFailOnInvalid(true);
    return encoder;
}

TEST(EncoderTest, AStrictEncoderRejectsAWriteWithAnUnpairedSurrogateWhole)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaEncodingEncoder> encoder = StrictEncoder(stream);
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoder->WriteString(L"ab\xDC00"); }));
    encoder->WriteString(L"x\xD800");
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoder->WriteString(L"y"); }));
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoder->Flush(); }));
    encoder->WriteString(L"\xDC00");
    EXPECT_EQ(TBytes({0x00, 0x78, 0xD8, 0x00, 0xDC, 0x00}), stream->Bytes());
    EXPECT_EQ(CKaEncodingDecoder::TokenEmpty, encoder->getNextTokenState());
}

TEST(EncoderTest, ALenientEncoderConvertsUnpairedSurrogatesAsTheyStand)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaEncodingEncoder> encoder = (new CKaUtf16Encoding(false))->CreateEncoder(stream);
    encoder->WriteString(L"\xDC00\xD800" L"a");
    EXPECT_EQ(Utf16Bytes(L"\xDC00\xD800" L"a", false), stream->Bytes());
}

TEST(EncoderTest, RangesBeyondTheSourceThrow)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaEncodingEncoder> encoder = (new CKaMultiByteEncoding(1252))->CreateEncoder(stream);
    const CKaSimpleBuffer<wchar_t> chars(L"abc", 3);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { encoder->WriteString(L"abc", 4, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { encoder->WriteString(L"abc", 1, 3); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { encoder->WriteChars(chars, 4, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { encoder->WriteChars(chars, 2, 2); }));
    encoder->WriteString(L"abc", 3, 0);
    encoder->WriteChars(chars, 1, 2);
    encoder->WriteChars(chars);
    EXPECT_EQ(Bytes("bcabc"), stream->Bytes());
    EXPECT_EQ(2u, stream->Writes());
}

class CBareEncoder : public CKaEncodingEncoder
{
public:
    explicit CBareEncoder(CKaRef<IKaStream> stream) : CKaEncodingEncoder(stream) {}
};

TEST(EncoderTest, TheBaseEncoderCannotEncode)
{
    CKaRef<CKaEncodingEncoder> encoder = new CBareEncoder(MakeStream());
    EXPECT_EQ(E_NOTIMPL, ThrownCode([&] { encoder->WriteString(L"a"); }));
}

} // namespace
