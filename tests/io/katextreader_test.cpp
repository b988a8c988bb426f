#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

// The lines up to the end of the stream, where a line read is empty.
std::vector<std::wstring> ReadLines(CKaRef<CKaTextReader> reader)
{
    std::vector<std::wstring> lines;
    CKaString line(L"stale");
    while (reader->ReadLine(line)) lines.push_back(Units(line));
    EXPECT_EQ(CKaString(), line);
    EXPECT_EQ(CKaString(), reader->ReadLine());
    return lines;
}

// A strict UTF-16 decoder that records each read the reader asks of it.
class CSpyDecoder : public CKaUtf16EncodingDecoder
{
public:
    explicit CSpyDecoder(CKaRef<IKaStream> stream) : CKaUtf16EncodingDecoder(false, stream)
    {
        setFailOnInvalid(true);
    }
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

// A reader on the spy, or on no decoder at all.
class CSpyReader : public CKaTextReader
{
public:
    CSpyReader(CKaRef<IKaStream> stream, bool withDecoder)
        : CKaTextReader(stream), spy(withDecoder ? new CSpyDecoder(stream) : nullptr)
    {
    }
    CKaRef<CSpyDecoder> spy;

protected:
    CKaRef<CKaEncodingDecoder> CreateDecoder() override { return spy.getPtr(); }
};

TEST(TextReaderTest, OnlyLfAndCrLfEndALine)
{
    const CKaRef<CKaEncoding> utf8 = Encoding(CP_UTF8);
    const struct
    {
        CKaRef<CKaEncoding> encoding;
        TKaBytes bytes;
        std::vector<std::wstring> lines;
    } cases[] = {
        // No encoding: UTF-16 little endian.
        {nullptr, {0x41, 0x00, 0x0D, 0x00, 0x0A, 0x00, 0x42, 0x00}, {L"A", L"B"}},
        {utf8, Bytes("a\rb\nc\r\r\n\nd\r"), {L"a\rb", L"c\r", L"", L"d\r"}},
        {utf8, Bytes("\r\r\r\nx"), {L"\r\r", L"x"}},
        {utf8, Bytes("a\n\n\r"), {L"a", L"", L"\r"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.lines, ReadLines(new CKaTextReader(c.encoding, MakeStream(c.bytes))));
    }
}

TEST(TextReaderTest, ReadCharsTakesItsCountAndReadAllPiecesOfAThousand)
{
    const std::wstring text = CTextSource(20).Text(2502, {{0x20, 0x7E}, {0x100, 0x4000}});
    CKaRef<CSpyReader> reader = new CSpyReader(MakeStream(PlatformBytes(1200, text)), true);
    EXPECT_EQ(text.substr(0, 2), Units(reader->ReadChars(2)));
    EXPECT_EQ(text.substr(2), Units(reader->ReadAll()));
    EXPECT_EQ(CKaString(), reader->ReadChars(5));
    typedef std::pair<unsigned long, unsigned long> Read;
    EXPECT_EQ((std::vector<Read>{{2, 2}, {1000, 1000}, {1000, 1000}, {1000, 500}, {5, 0}}),
              reader->spy->reads);
    // The reader decodes leniently whatever decoder it is given.
    EXPECT_FALSE(reader->spy->getFailOnInvalid());
}

TEST(TextReaderTest, AMissingDecoderEncoderOrStreamThrows)
{
    CKaRef<CKaTextReader> noDecoder = new CSpyReader(MakeStream(), false);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { noDecoder->ReadLine(); }));
    CKaRef<CKaTextReader> reader = new CKaTextReader(Encoding(CP_UTF8), nullptr);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { reader->ReadAll(); }));
    CKaRef<CKaTextWriter> writer = new CKaTextWriter(Encoding(CP_UTF8), nullptr);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { writer->Write(L"a"); }));
}

TEST(TextWriterTest, WritesLinesEndingInCrLfOrLf)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaTextWriter> writer = new CKaTextWriter(stream);
    writer->WriteLine(L"A");
    writer->WriteLine(L"B", false);
    writer->Write(L"C\xD83D"); // the high surrogate waits for its partner or a flush
    EXPECT_EQ(PlatformBytes(1200, L"A\r\nB\nC"), stream->Bytes());
    writer->Flush();
    EXPECT_EQ(PlatformBytes(1200, L"A\r\nB\nC\xD83D"), stream->Bytes());
}

TEST(EncoderTest, AStrictEncoderRejectsAWriteWithAnUnpairedSurrogateWhole)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaEncodingEncoder> encoder = Encoding(1201)->CreateEncoder(stream);
    encoder->setFailOnInvalid(true);
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoder->WriteString(L"ab\xDC00"); }));
    encoder->WriteString(L"x\xD800");
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoder->WriteString(L"y"); }));
    EXPECT_EQ(KA_E_INVALID_UTF16, ThrownCode([&] { encoder->Flush(); }));
    encoder->WriteString(L"\xDC00");
    EXPECT_EQ(TKaBytes({0x00, 0x78, 0xD8, 0x00, 0xDC, 0x00}), stream->Bytes());
    // Without failOnInvalid the same units go out as they stand.
    encoder->setFailOnInvalid(false);
    encoder->WriteString(L"\xDC00\xD800" L"a");
    EXPECT_EQ(PlatformBytes(1201, L"x\xD800\xDC00\xDC00\xD800" L"a"), stream->Bytes());
}

TEST(EncoderTest, RangesBeyondTheSourceThrow)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaEncodingEncoder> encoder = Encoding(1252)->CreateEncoder(stream);
    const CKaSimpleBuffer<wchar_t> chars(L"abc", 3);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { encoder->WriteString(L"abc", 4, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { encoder->WriteChars(chars, 2, 2); }));
    encoder->WriteString(L"abc", 3, 0);
    encoder->WriteChars(chars, 1, 2);
    EXPECT_EQ(Bytes("bc"), stream->Bytes());
}

} // namespace
