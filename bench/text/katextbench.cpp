// Reading and writing text files against the platform, measured in the same run. Every line
// prints baseline / library (above 1: the library is faster) with its aim, after checking that
// both sides produced the same result.
// - Whole-buffer GetText / GetBytes of 10 MB of mixed UTF-8 against MultiByteToWideChar /
//   WideCharToMultiByte (measure, allocate, convert).
// - Reading a 20 MB file line by line (a generated ASCII file and a mixed UTF-8 one, on disk):
//   ReadFile of the whole file, MultiByteToWideChar and cutting the lines by hand into strings
//   of their own, against the library's readers over a CKaFile or a buffered one.
// - Writing the same lines with CKaTextWriter over a buffered file against WideCharToMultiByte
//   of the whole text and one WriteFile.
// - ReadLine of one long line: the time per character at 100 000 characters against that at
//   1 000 (the same if a line costs time in proportion to its length).
#include <windows.h>
#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

const size_t kFileBytes = 20 * 1024 * 1024;
const int kRuns = 3;

// About `bytes` bytes of UTF-8 text in lines of 0 to 120 characters: ASCII letters, or mixed
// with Cyrillic, CJK and supplementary characters.
std::wstring MakeText(size_t bytes, bool asciiOnly)
{
    std::mt19937 random(7);
    std::wstring text;
    size_t size = 0;
    while (size < bytes) {
        const unsigned pick = random() % 100;
        if (pick < 2) {
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

std::wstring PlatformText(const char* bytes, size_t size)
{
    const int count = static_cast<int>(size);
    std::wstring text(MultiByteToWideChar(CP_UTF8, 0, bytes, count, nullptr, 0), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes, count, &text[0], static_cast<int>(text.size()));
    return text;
}

std::string PlatformBytes(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    std::string bytes(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr,
                                          nullptr),
                      '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, &bytes[0],
                        static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

// What both sides of a reading measure must agree on: the lines and their characters.
struct TLines
{
    unsigned long count = 0;
    unsigned long hash = 2166136261u;

    void Add(const wchar_t* units, size_t length)
    {
        ++count;
        for (size_t i = 0; i < length; ++i) hash = (hash ^ units[i]) * 16777619u;
        hash = (hash ^ 0x10000u) * 16777619u;
    }
    bool operator==(const TLines& other) const
    {
        return count == other.count && hash == other.hash;
    }
};

// A folder of the run's files below the temp folder, removed with them at the end.
class CBenchFolder
{
public:
    CBenchFolder()
    {
        wchar_t base[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH, base);
        m_path = std::wstring(base) + L"zelka-bench-" + std::to_wstring(GetCurrentProcessId());
        CreateDirectoryW(m_path.c_str(), nullptr);
    }
    ~CBenchFolder()
    {
        for (const std::wstring& file : m_files) DeleteFileW(file.c_str());
        RemoveDirectoryW(m_path.c_str());
    }
    std::wstring File(const wchar_t* name)
    {
        m_files.push_back(m_path + L"\\" + name);
        return m_files.back();
    }

private:
    std::wstring m_path;
    std::vector<std::wstring> m_files;
};

HANDLE OpenRaw(const std::wstring& path, bool write)
{
    HANDLE file = CreateFileW(path.c_str(), write ? GENERIC_WRITE : GENERIC_READ,
                              write ? 0 : FILE_SHARE_READ, nullptr,
                              write ? CREATE_ALWAYS : OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) KaThrowLastError();
    return file;
}

void WriteRaw(const std::wstring& path, const std::string& bytes)
{
    HANDLE file = OpenRaw(path, true);
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
}

std::string ReadRaw(const std::wstring& path)
{
    HANDLE file = OpenRaw(path, false);
    std::string bytes(GetFileSize(file, nullptr), '\0');
    DWORD read = 0;
    ReadFile(file, &bytes[0], static_cast<DWORD>(bytes.size()), &read, nullptr);
    CloseHandle(file);
    bytes.resize(read);
    return bytes;
}

// The baseline of reading: the whole file, one conversion, each line cut out by hand into one
// string kept from line to line (as the library's readers fill the caller's line). Only LF
// ends a line, with a CR right before it.
TLines PlatformLines(const std::wstring& path)
{
    const std::string bytes = ReadRaw(path);
    const std::wstring text = PlatformText(bytes.data(), bytes.size());
    TLines lines;
    std::wstring line;
    for (size_t start = 0; start < text.size();) {
        const size_t lf = text.find(L'\n', start);
        const size_t next = lf == std::wstring::npos ? text.size() : lf + 1;
        size_t end = std::min(lf, text.size());
        if (lf != std::wstring::npos && end > start && text[end - 1] == L'\r') --end;
        line.assign(text, start, end - start);
        lines.Add(line.data(), line.size());
        start = next;
    }
    return lines;
}

enum TReaderKind
{
    LosslessOverFile,
    LosslessOverBufferedFile,
    PlainOverBufferedFile
};

CKaRef<CKaTextReader> OpenReader(TReaderKind kind, CKaRef<IKaStream> stream)
{
    if (kind != LosslessOverFile) stream = new CKaBufferedStream(stream);
    if (kind == PlainOverBufferedFile) return new CKaTextReader(KaGetUtf8Encoding(), stream);
    return new CKaLosslessTextReader(KaGetUtf8Encoding(), stream);
}

TLines LibraryLines(TReaderKind kind, const std::wstring& path)
{
    CKaRef<CKaFile> file = new CKaFile();
    file->OpenExisting(path.c_str(), true);
    CKaRef<CKaTextReader> reader = OpenReader(kind, file.getPtr());
    TLines lines;
    CKaString line;
    while (reader->ReadLine(line)) lines.Add(line.getSz(), line.getLength());
    return lines;
}

void Report(const char* what, const TKaBenchTimes& times, double megabytes, double aim)
{
    std::printf("%-50s %7.1f MB/s %7.1f MB/s  ratio %.2f (aim %.1f or more)\n", what,
                megabytes / times.baseline, megabytes / times.library,
                times.baseline / times.library, aim);
}

void Mismatch(const char* what)
{
    std::printf("%-50s DIFFERENT RESULTS: no figure\n", what);
}

void CompareReading(const char* what, TReaderKind kind, const std::wstring& path, double aim)
{
    const double megabytes = static_cast<double>(kFileBytes) / (1024 * 1024);
    TLines ours, theirs;
    const TKaBenchTimes times = KaBenchBest(
        kRuns, [&] { ours = LibraryLines(kind, path); }, [&] { theirs = PlatformLines(path); });
    if (!(ours == theirs)) return Mismatch(what);
    Report(what, times, megabytes, aim);
}

void CompareWriting(std::wstring text, CBenchFolder& folder)
{
    const char* what = "CKaTextWriter over a buffered file, ASCII";
    // Every line written ends in LF, the last one too.
    if (text.empty() || text.back() != L'\n') text += L'\n';
    std::vector<CKaString> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(L'\n', start), text.size());
        lines.push_back(CKaString(text.data() + start, static_cast<unsigned long>(end - start)));
        start = end + 1;
    }
    const std::wstring ours = folder.File(L"written-by-zelka.txt");
    const std::wstring theirs = folder.File(L"written-by-platform.txt");
    const TKaBenchTimes times = KaBenchBest(
        kRuns,
        [&] {
            CKaRef<CKaFile> file = new CKaFile();
            file->OpenCreate(ours.c_str());
            CKaRef<CKaBufferedStream> buffered = new CKaBufferedStream(file.getPtr());
            CKaRef<CKaTextWriter> writer = new CKaTextWriter(KaGetUtf8Encoding(), buffered);
            for (const CKaString& line : lines) writer->WriteLine(line, false);
            buffered->Flush();
        },
        [&] { WriteRaw(theirs, PlatformBytes(text)); });
    if (ReadRaw(ours) != ReadRaw(theirs)) return Mismatch(what);
    Report(what, times, static_cast<double>(text.size()) / (1024 * 1024), 0.5);
}

void CompareWholeBuffers(const std::wstring& text)
{
    CKaRef<CKaEncoding> utf8 = KaGetUtf8Encoding();
    const CKaString string(text.data(), static_cast<unsigned long>(text.size()));
    const std::string raw = PlatformBytes(text);
    const CKaByteBuffer bytes(reinterpret_cast<const unsigned char*>(raw.data()),
                              static_cast<unsigned long>(raw.size()));
    const double megabytes = static_cast<double>(raw.size()) / (1024 * 1024);
    CKaString decoded;
    std::wstring platformText;
    TKaBenchTimes times = KaBenchBest(
        5, [&] { decoded = utf8->GetText(bytes, false); },
        [&] { platformText = PlatformText(raw.data(), raw.size()); });
    if (std::wstring(decoded.getSz(), decoded.getLength()) != platformText) {
        Mismatch("GetText, mixed UTF-8");
    } else {
        Report("GetText, mixed UTF-8", times, megabytes, 0.9);
    }
    CKaByteBuffer encoded;
    std::string platformBytes;
    times = KaBenchBest(
        5, [&] { encoded = utf8->GetBytes(string, true); },
        [&] { platformBytes = PlatformBytes(text); });
    if (std::string(reinterpret_cast<const char*>(encoded.getBuffer()), encoded.getSize()) !=
        platformBytes) {
        Mismatch("GetBytes, mixed UTF-8");
    } else {
        Report("GetBytes, mixed UTF-8", times, megabytes, 0.9);
    }
}

// Seconds per character of ReadLine over one line of `length` characters (and its LF) in a
// memory stream, the best of runs over enough lines to time.
double SecondsPerChar(TReaderKind kind, unsigned long length, unsigned long& read)
{
    std::string bytes(length, 'x');
    bytes += '\n';
    const CKaByteBuffer buffer(reinterpret_cast<const unsigned char*>(bytes.data()),
                               static_cast<unsigned long>(bytes.size()));
    const unsigned long lines = std::max(1ul, 200000 / length);
    double best = 1e300;
    for (int run = 0; run < kRuns; ++run) {
        double seconds = 0;
        for (unsigned long i = 0; i < lines; ++i) {
            CKaRef<CKaMemoryStream> stream = new CKaMemoryStream();
            stream->Create(buffer);
            CKaRef<CKaTextReader> reader = OpenReader(kind, stream.getPtr());
            seconds += KaBenchSeconds([&] { read = reader->ReadLine().getLength(); });
        }
        best = std::min(best, seconds / lines / length);
    }
    return best;
}

void CompareLineLengths(const char* what, TReaderKind kind)
{
    unsigned long shortRead = 0, longRead = 0;
    const double shortLine = SecondsPerChar(kind, 1000, shortRead);
    const double longLine = SecondsPerChar(kind, 100000, longRead);
    if (shortRead != 1000 || longRead != 100000) return Mismatch(what);
    std::printf("%-50s %7.1f ns/ch  %7.1f ns/ch  ratio %.2f (aim 0.5 or more)\n", what,
                shortLine * 1e9, longLine * 1e9, shortLine / longLine);
}

} // namespace

int main()
{
    try {
        CBenchFolder folder;
        const std::wstring ascii = MakeText(kFileBytes, true);
        const std::wstring mixed = MakeText(kFileBytes, false);
        const std::wstring asciiFile = folder.File(L"ascii.txt");
        const std::wstring mixedFile = folder.File(L"mixed.txt");
        WriteRaw(asciiFile, PlatformBytes(ascii));
        WriteRaw(mixedFile, PlatformBytes(mixed));

        std::printf("%-50s %12s %12s  (ratio = baseline time / library time)\n", "",
                    "baseline", "library");
        CompareWholeBuffers(mixed.substr(0, mixed.size() / 2));
        CompareReading("ReadLine, lossless reader over CKaFile, ASCII", LosslessOverFile,
                       asciiFile, 0.6);
        CompareReading("ReadLine, lossless reader over CKaFile, mixed", LosslessOverFile,
                       mixedFile, 0.6);
        CompareReading("ReadLine, lossless reader, buffered file, ASCII",
                       LosslessOverBufferedFile, asciiFile, 0.6);
        CompareReading("ReadLine, lossless reader, buffered file, mixed",
                       LosslessOverBufferedFile, mixedFile, 0.6);
        CompareReading("ReadLine, CKaTextReader, buffered file, ASCII", PlainOverBufferedFile,
                       asciiFile, 0.3);
        CompareWriting(ascii, folder);
        std::printf("%-50s %12s %12s\n", "one line: time per character", "1 000 chars",
                    "100 000");
        CompareLineLengths("ReadLine, lossless reader", LosslessOverBufferedFile);
        CompareLineLengths("ReadLine, CKaTextReader", PlainOverBufferedFile);
    } catch (const CKaException& e) {
        std::printf("failed: 0x%08lX\n", static_cast<unsigned long>(e.getCode()));
        return 1;
    }
    return 0;
}
