// Reading random text line by line through both readers, over plain and buffered streams that
// hand out their bytes in random short reads, against independent models: the whole
// conversion cut at its line ends (lossless reader), and the line built up one character read
// at a time, as the reader has always done it (plain reader).
#include <gtest/gtest.h>
#include "katextsupport.h"

namespace {

// A memory stream whose reads stop at short counts from a seeded sequence, so that two
// streams of one seed hand out the same pieces.
class CShortReads : public CKaMemoryStream
{
public:
    CShortReads(const TKaBytes& bytes, unsigned int seed, unsigned long maxRead)
        : m_random(seed), m_maxRead(maxRead)
    {
        Create(Buffer(bytes));
    }
    unsigned long Read(void* buffer, unsigned long count) override
    {
        const unsigned long piece = 1 + m_random() % m_maxRead;
        return CKaMemoryStream::Read(buffer, std::min(count, piece));
    }

private:
    std::mt19937 m_random;
    unsigned long m_maxRead;
};

struct TCase
{
    unsigned short codePage;
    TKaBytes bytes;
    unsigned int seed;
    unsigned long maxRead;
    bool buffered;
};

CKaRef<IKaStream> Open(const TCase& c)
{
    CKaRef<IKaStream> stream = new CShortReads(c.bytes, c.seed, c.maxRead);
    if (c.buffered) stream = new CKaBufferedStream(stream, 1 + c.seed % 300);
    return stream;
}

// No encoding means UTF-16 little endian: that case goes without one.
CKaRef<CKaEncoding> EncodingOf(const TCase& c)
{
    return c.codePage == 1200 ? nullptr : Encoding(c.codePage);
}

// Lines of 0 to `longest` characters drawn from `chars`, ending in every shape: LF, CR LF,
// CR CR LF, a CR that ends nothing, and the end of the text with or without a line end.
std::wstring Lines(CTextSource& source, const std::wstring& chars, unsigned long lines,
                   unsigned long longest)
{
    static const wchar_t* const ends[] = {L"\n", L"\r\n", L"\r\r\n", L"\r", L"\n\n"};
    std::wstring text;
    for (unsigned long i = 0; i < lines; ++i) {
        const unsigned long kind = source.Below(60);
        const unsigned long length = kind == 0 ? source.Below(longest + 1)
                                     : kind < 10 ? source.Below(1000)
                                                : source.Below(60);
        for (unsigned long j = 0; j < length; ++j) {
            text += chars[source.Below(static_cast<unsigned long>(chars.size()))];
        }
        // A supplementary character drawn whole: no pair is cut by the line end.
        if (!text.empty() && text.back() >= 0xD800 && text.back() <= 0xDBFF) text.pop_back();
        if (i + 1 < lines || source.Below(3)) text += ends[source.Below(5)];
    }
    return text;
}

// The text's lines: only LF ends one, with a CR right before it; the end of the text ends the
// last one, which then keeps any CR it ends in.
std::vector<std::wstring> SplitLines(const std::wstring& text)
{
    std::vector<std::wstring> lines;
    size_t start = 0;
    for (size_t lf = text.find(L'\n'); lf != std::wstring::npos; lf = text.find(L'\n', start)) {
        const size_t end = lf > start && text[lf - 1] == L'\r' ? lf - 1 : lf;
        lines.push_back(text.substr(start, end - start));
        start = lf + 1;
    }
    if (start < text.size()) lines.push_back(text.substr(start));
    return lines;
}

bool IsOnly(const CKaString& piece, wchar_t ch)
{
    return piece.getLength() == 1 && piece.getSz()[0] == ch;
}

// The plain reader's line, built as it always was: one ReadString(1) at a time, the line
// cleared and appended to character by character. Past a few thousand characters the rest
// is appended at once, which leaves the same string (a block of exactly the length) without
// taking time that grows with the square of the length.
bool ModelLine(CKaRef<CKaEncodingDecoder> decoder, CKaString& line)
{
    line.Clear();
    std::wstring rest;
    auto append = [&](const CKaString& piece) {
        if (line.getLength() < 3000 && rest.empty()) {
            line.Append(piece);
        } else {
            rest.append(piece.getSz(), piece.getLength());
        }
    };
    try {
        CKaString piece = decoder->ReadString(1);
        if (piece.getIsEmpty()) return false;
        while (!piece.getIsEmpty() && !IsOnly(piece, L'\n')) {
            if (IsOnly(piece, L'\r')) {
                piece = decoder->ReadString(1);
                if (IsOnly(piece, L'\n')) break;
                append(L"\r");
                continue;
            }
            append(piece);
            piece = decoder->ReadString(1);
        }
    } catch (...) {
        line.Append(rest.c_str(), static_cast<unsigned long>(rest.size()));
        throw;
    }
    line.Append(rest.c_str(), static_cast<unsigned long>(rest.size()));
    return true;
}

struct TLine
{
    bool more;
    std::wstring text;
    unsigned long capacity;
    unsigned __int64 position;
    long code;
};

// Reads lines until the end or a failure, into a line that is kept from call to call (as a
// caller's loop does) or now and then copied, so that its block is shared.
template <class ReadLine>
std::vector<TLine> ReadAllLines(IKaStream* stream, ReadLine readLine)
{
    std::vector<TLine> lines;
    CKaString line;
    CKaString copy;
    for (int i = 0;; ++i) {
        if (i % 7 == 3) copy = line;
        TLine result = {false, L"", 0, 0, S_OK};
        result.code = ThrownCode([&] { result.more = readLine(line); });
        result.text = Units(line);
        result.capacity = line.getCapacity();
        result.position = stream->getPos();
        lines.push_back(result);
        if (!result.more || result.code != S_OK) return lines;
    }
}

void ExpectSameLines(const std::vector<TLine>& expected, const std::vector<TLine>& actual)
{
    ASSERT_EQ(expected.size(), actual.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(expected[i].more, actual[i].more);
        EXPECT_EQ(expected[i].text, actual[i].text);
        EXPECT_EQ(expected[i].capacity, actual[i].capacity);
        EXPECT_EQ(expected[i].position, actual[i].position);
        EXPECT_EQ(expected[i].code, actual[i].code);
    }
}

void CheckPlainReader(const TCase& c)
{
    CKaRef<IKaStream> modelStream = Open(c);
    CKaRef<CKaEncoding> encoding = EncodingOf(c);
    CKaRef<CKaEncodingDecoder> decoder = encoding ? encoding->CreateDecoder(modelStream)
                                                  : new CKaUtf16EncodingDecoder(false, modelStream);
    const std::vector<TLine> expected =
        ReadAllLines(modelStream, [&](CKaString& line) { return ModelLine(decoder, line); });
    CKaRef<IKaStream> stream = Open(c);
    CKaRef<CKaTextReader> reader = new CKaTextReader(encoding, stream);
    ExpectSameLines(expected,
                    ReadAllLines(stream, [&](CKaString& line) { return reader->ReadLine(line); }));
}

std::wstring WholeConversion(const TCase& c)
{
    if (c.codePage != 1200 && c.codePage != 1201) return PlatformText(c.codePage, c.bytes);
    std::wstring text;
    for (size_t i = 0; i + 1 < c.bytes.size(); i += 2) {
        const unsigned high = c.codePage == 1201 ? c.bytes[i] : c.bytes[i + 1];
        const unsigned low = c.codePage == 1201 ? c.bytes[i + 1] : c.bytes[i];
        text += static_cast<wchar_t>(high << 8 | low);
    }
    return text;
}

void CheckLosslessReader(const TCase& c)
{
    CKaRef<IKaStream> stream = Open(c);
    CKaRef<CKaTextReader> reader = new CKaLosslessTextReader(EncodingOf(c), stream);
    std::vector<std::wstring> lines;
    CKaString line;
    while (reader->ReadLine(line)) lines.push_back(Units(line));
    EXPECT_EQ(CKaString(), line);
    EXPECT_EQ(SplitLines(WholeConversion(c)), lines);
}

// Reads of lines, characters and the rest in random turns give the whole text in order.
void CheckLosslessMixedReads(const TCase& c, CTextSource& source)
{
    CKaRef<CKaTextReader> reader = new CKaLosslessTextReader(EncodingOf(c), Open(c));
    const std::wstring whole = WholeConversion(c);
    size_t at = 0;
    while (at < whole.size()) {
        SCOPED_TRACE(at);
        const unsigned long turn = source.Below(10);
        if (turn == 0) {
            ASSERT_EQ(whole.substr(at), Units(reader->ReadAll()));
            at = whole.size();
        } else if (turn < 4) {
            const unsigned long count = source.Below(3000);
            const std::wstring chars = Units(reader->ReadChars(count));
            // A surrogate pair is never cut: one more unit may come.
            ASSERT_GE(chars.size(), std::min<size_t>(count, whole.size() - at));
            ASSERT_LE(chars.size(), static_cast<size_t>(count) + 1);
            ASSERT_EQ(whole.substr(at, chars.size()), chars);
            at += chars.size();
        } else {
            const std::wstring rest = whole.substr(at);
            const std::wstring expected = SplitLines(rest).front();
            ASSERT_EQ(expected, Units(reader->ReadLine()));
            const size_t lf = rest.find(L'\n');
            at += lf == std::wstring::npos ? rest.size() : lf + 1;
        }
    }
    EXPECT_EQ(CKaString(), reader->ReadAll());
}

// Random text of each encoding: UTF-8 with and without supplementary characters (the plain
// reader fails on those by its old rule, at the same line as ever), UTF-16 in both orders,
// and three code pages, one of them with double-byte characters.
std::vector<TCase> Cases(CTextSource& source, unsigned int seed, unsigned long longest)
{
    const std::wstring any = source.AnyText(3000);
    const std::wstring bmp = source.Text(3000, {{0x20, 0x7E}, {0x80, 0x7FF}, {0x800, 0xFFFD}});
    std::vector<TCase> cases;
    auto add = [&](unsigned short codePage, const std::wstring& chars, unsigned long lines) {
        const std::wstring text = Lines(source, chars, lines, longest);
        for (bool buffered : {false, true}) {
            cases.push_back({codePage, PlatformBytes(codePage, text), seed + codePage,
                             1 + source.Below(buffered ? 5000 : 40), buffered});
        }
    };
    add(CP_UTF8, any, 120);
    add(CP_UTF8, bmp, 120);
    add(1200, any, 120);
    add(1201, any, 120);
    for (unsigned short codePage : {932, 1252, 1251}) {
        add(codePage, source.CodePageText(codePage, 500), 120);
    }
    return cases;
}

} // namespace

TEST(TextLinesTest, TheLosslessReaderGivesTheLinesOfTheWholeConversion)
{
    CTextSource source(31);
    for (unsigned int seed = 1; seed <= 2; ++seed) {
        for (const TCase& c : Cases(source, seed, seed == 1 ? 100000 : 3000)) {
            SCOPED_TRACE(testing::Message() << "code page " << c.codePage << ", reads up to "
                                            << c.maxRead << (c.buffered ? ", buffered" : ""));
            CheckLosslessReader(c);
            CheckLosslessMixedReads(c, source);
        }
    }
}

TEST(TextLinesTest, ThePlainReaderGivesTheLinesItAlwaysGave)
{
    CTextSource source(32);
    for (unsigned int seed = 1; seed <= 2; ++seed) {
        for (const TCase& c : Cases(source, seed, seed == 1 ? 100000 : 3000)) {
            SCOPED_TRACE(testing::Message() << "code page " << c.codePage << ", reads up to "
                                            << c.maxRead << (c.buffered ? ", buffered" : ""));
            CheckPlainReader(c);
        }
    }
}

// A line read into a string that already has room keeps that room, and a shared string gets a
// block of its own of exactly the line's length, as appending character by character gave.
TEST(TextLinesTest, TheReturnedLineTakesTheRoomOfTheCallersString)
{
    CKaRef<CKaTextReader> reader = new CKaTextReader(Encoding(CP_UTF8), MakeStream(Bytes("abc\nde\n")));
    CKaString line;
    line.Grow(10);
    ASSERT_TRUE(reader->ReadLine(line));
    EXPECT_EQ(CKaString(L"abc"), line);
    EXPECT_EQ(10u, line.getCapacity());
    const CKaString shared = line;
    ASSERT_TRUE(reader->ReadLine(line));
    EXPECT_EQ(CKaString(L"de"), line);
    EXPECT_EQ(2u, line.getCapacity());
    EXPECT_EQ(CKaString(L"abc"), shared);
}
