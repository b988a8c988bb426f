// Text conversion speed against the system's own conversions, measured in the same run:
// - GetText / GetBytes of 10 MB of UTF-8 against MultiByteToWideChar / WideCharToMultiByte
//   (measure, allocate, convert, as a caller would do it by hand); aim: 0.9 or more;
// - a decoder reading the 10 MB from a memory stream with ReadString in pieces of 64K
//   characters against the plain conversion: the lossless decoder on mixed text and the
//   plain one on ASCII text; aim: 0.5 or more;
// - ReadLine over a memory stream, in lines per second.
// The system's and the library's runs alternate, and each figure is the best of its runs, so
// that other load on the machine weighs on both alike.
#include <windows.h>
#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

const size_t kTextBytes = 10 * 1024 * 1024;
const unsigned long kPiece = 64 * 1024;
const int kRuns = 9;

// About `bytes` bytes of UTF-8 text: mostly ASCII letters and line ends, with Cyrillic,
// CJK and supplementary characters mixed in (or ASCII alone).
std::wstring MakeText(size_t bytes, bool asciiOnly)
{
    std::mt19937 random(7);
    std::wstring text;
    size_t size = 0;
    while (size < bytes) {
        const unsigned pick = random() % 100;
        if (pick < 3) {
            text += L'\n';
            size += 1;
        } else if (asciiOnly || pick < 80) {
            text += static_cast<wchar_t>(L'a' + random() % 26);
            size += 1;
        } else if (pick < 90) {
            text += static_cast<wchar_t>(0x400 + random() % 0x60);
            size += 2;
        } else if (pick < 98) {
            text += static_cast<wchar_t>(0x4E00 + random() % 0x5000);
            size += 3;
        } else {
            const unsigned cp = 0x1F300 + random() % 0x200 - 0x10000;
            text += static_cast<wchar_t>(0xD800 + (cp >> 10));
            text += static_cast<wchar_t>(0xDC00 + (cp & 0x3FF));
            size += 4;
        }
    }
    return text;
}

CKaByteBuffer Utf8Bytes(const std::wstring& text)
{
    return (new CKaUtf8Encoding())->GetBytes(CKaString(text.data(),
                                                       static_cast<unsigned long>(text.size())),
                                             true);
}

std::wstring RawText(const CKaByteBuffer& bytes)
{
    const char* source = reinterpret_cast<const char*>(bytes.getBuffer());
    const int size = static_cast<int>(bytes.getSize());
    std::wstring text(MultiByteToWideChar(CP_UTF8, 0, source, size, nullptr, 0), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, source, size, &text[0], static_cast<int>(text.size()));
    return text;
}

std::string RawBytes(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    std::string bytes(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr,
                                          nullptr),
                      '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, &bytes[0],
                        static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

CKaRef<IKaStream> MemoryStream(const CKaByteBuffer& bytes)
{
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream();
    stream->Create(bytes);
    return stream;
}

// Reads the whole stream in pieces; returns the characters read.
unsigned long ReadPieces(CKaRef<CKaEncodingDecoder> decoder)
{
    unsigned long total = 0;
    CKaString piece;
    while (decoder->ReadString(piece, kPiece, 0) > 0) total += piece.getLength();
    return total;
}

void Report(const char* what, const TKaBenchTimes& times, const char* aim)
{
    std::printf("%-44s system %7.1f ms  zelka %7.1f ms  ratio %.2f (aim %s)\n", what,
                times.baseline * 1000, times.library * 1000, times.baseline / times.library, aim);
}

void CompareWholeBuffers(const std::wstring& text, const CKaByteBuffer& bytes)
{
    CKaRef<CKaEncoding> utf8 = new CKaUtf8Encoding();
    const CKaString string(text.data(), static_cast<unsigned long>(text.size()));
    Report("GetText, 10 MB of UTF-8",
           KaBenchBest(
               kRuns, [&] { utf8->GetText(bytes, false); }, [&] { RawText(bytes); }),
           ">= 0.9");
    Report("GetBytes, 10 MB of UTF-8",
           KaBenchBest(kRuns, [&] { utf8->GetBytes(string, true); }, [&] { RawBytes(text); }),
           ">= 0.9");
}

void CompareDecoder(const char* what, const CKaByteBuffer& bytes, bool lossless)
{
    CKaRef<CKaEncoding> utf8 = new CKaUtf8Encoding();
    unsigned long chars = 0;
    const TKaBenchTimes times = KaBenchBest(
        kRuns,
        [&] {
            CKaRef<IKaStream> stream = MemoryStream(bytes);
            chars = ReadPieces(lossless ? KaCreateLosslessDecoder(utf8, stream)
                                        : utf8->CreateDecoder(stream));
        },
        [&] { RawText(bytes); });
    if (chars != RawText(bytes).size()) std::printf("  (read %lu characters: wrong)\n", chars);
    Report(what, times, ">= 0.5");
}

void MeasureLines(const char* what, const CKaByteBuffer& bytes, bool lossless)
{
    CKaRef<CKaEncoding> utf8 = new CKaUtf8Encoding();
    unsigned long lines = 0;
    double seconds = 1e30;
    for (int run = 0; run < kRuns; ++run) {
        seconds = std::min(seconds, KaBenchSeconds([&] {
            CKaRef<IKaStream> stream = MemoryStream(bytes);
            CKaRef<CKaTextReader> reader = lossless ? new CKaLosslessTextReader(utf8, stream)
                                                    : new CKaTextReader(utf8, stream);
            CKaString line;
            lines = 0;
            while (reader->ReadLine(line)) ++lines;
        }));
    }
    std::printf("%-44s %lu lines in %.1f ms: %.0f lines per second\n", what, lines,
                seconds * 1000, lines / seconds);
}

} // namespace

int main()
{
    try {
        const std::wstring mixed = MakeText(kTextBytes, false);
        const std::wstring ascii = MakeText(kTextBytes, true);
        const CKaByteBuffer mixedBytes = Utf8Bytes(mixed);
        const CKaByteBuffer asciiBytes = Utf8Bytes(ascii);
        std::printf("%lu bytes of mixed UTF-8, %lu of ASCII\n", mixedBytes.getSize(),
                    asciiBytes.getSize());
        CompareWholeBuffers(mixed, mixedBytes);
        CompareDecoder("lossless decoder, 64K pieces, mixed text", mixedBytes, true);
        CompareDecoder("lossless decoder, 64K pieces, ASCII text", asciiBytes, true);
        CompareDecoder("plain decoder, 64K pieces, ASCII text", asciiBytes, false);
        const CKaByteBuffer lineBytes = Utf8Bytes(mixed.substr(0, mixed.size() / 10));
        MeasureLines("ReadLine, lossless reader, 1 MB mixed", lineBytes, true);
        const CKaByteBuffer asciiLines = Utf8Bytes(ascii.substr(0, ascii.size() / 10));
        MeasureLines("ReadLine, plain reader, 1 MB ASCII", asciiLines, false);
    } catch (const CKaException& e) {
        std::printf("failed: 0x%08lX\n", static_cast<unsigned long>(e.getCode()));
        return 1;
    }
    return 0;
}
