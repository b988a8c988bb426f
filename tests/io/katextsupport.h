#ifndef ZELKA_TESTS_IO_KATEXTSUPPORT_H
#define ZELKA_TESTS_IO_KATEXTSUPPORT_H

#include <algorithm>
#include <map>
#include <cstring>
#include <random>
#include <string>
#include <vector>
#include <zelka/zelka.h>
#include "katest.h"

typedef std::vector<unsigned char> TBytes;

// A stream over bytes in memory that can hand out short reads (at most `chunk` bytes a call)
// and counts the calls made to it.
class CTestStream : public CKaObjectWithInterface<IKaStream>
{
public:
    explicit CTestStream(TBytes bytes = TBytes(), unsigned long chunk = 0xFFFFFFFF)
        : m_bytes(std::move(bytes)), m_pos(0), m_chunk(chunk), m_reads(0)
    {
    }

    unsigned long Read(void* buffer, unsigned long count) override
    {
        ++m_reads;
        m_lastRequest = count;
        const unsigned long left = static_cast<unsigned long>(m_bytes.size() - m_pos);
        const unsigned long n = std::min(std::min(count, m_chunk), left);
        if (n) std::memcpy(buffer, m_bytes.data() + m_pos, n);
        m_pos += n;
        return n;
    }
    void Write(const void* buffer, unsigned long count) override
    {
        const unsigned char* bytes = static_cast<const unsigned char*>(buffer);
        if (m_bytes.size() < m_pos + count) m_bytes.resize(m_pos + count);
        std::copy(bytes, bytes + count, m_bytes.begin() + m_pos);
        m_pos += count;
        ++m_writes;
    }
    void SetFromBegin(__int64 offset) override { m_pos = static_cast<size_t>(offset); }
    void SetFromCurrent(__int64 offset) override { m_pos += static_cast<size_t>(offset); }
    void SetFromEnd(__int64 offset) override { m_pos = m_bytes.size() + offset; }
    unsigned __int64 getPos() override { return m_pos; }
    unsigned __int64 getSize() override { return m_bytes.size(); }

    const TBytes& Bytes() const { return m_bytes; }
    unsigned long Reads() const { return m_reads; }
    unsigned long Writes() const { return m_writes; }
    unsigned long LastRequest() const { return m_lastRequest; }

private:
    TBytes m_bytes;
    size_t m_pos;
    unsigned long m_chunk;
    unsigned long m_reads;
    unsigned long m_writes = 0;
    unsigned long m_lastRequest = 0;
};

inline CKaRef<CTestStream> MakeStream(TBytes bytes = TBytes(), unsigned long chunk = 0xFFFFFFFF)
{
    return new CTestStream(std::move(bytes), chunk);
}

inline TBytes Bytes(const char* text)
{
    return TBytes(text, text + std::strlen(text));
}

inline TBytes Bytes(const CKaByteBuffer& buffer)
{
    return TBytes(buffer.getBuffer(), buffer.getBuffer() + buffer.getSize());
}

inline CKaByteBuffer Buffer(const TBytes& bytes)
{
    return CKaByteBuffer(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

inline CKaString Str(const std::wstring& text)
{
    return CKaString(text.data(), static_cast<unsigned long>(text.size()));
}

// The platform's own conversions, the reference the library is measured against.
inline std::wstring PlatformText(unsigned short codePage, const TBytes& bytes)
{
    if (bytes.empty()) return std::wstring();
    const char* source = reinterpret_cast<const char*>(bytes.data());
    const int size = static_cast<int>(bytes.size());
    std::wstring text(MultiByteToWideChar(codePage, 0, source, size, nullptr, 0), L'\0');
    MultiByteToWideChar(codePage, 0, source, size, &text[0], static_cast<int>(text.size()));
    return text;
}

inline TBytes PlatformBytes(unsigned short codePage, const std::wstring& text)
{
    if (text.empty()) return TBytes();
    const int length = static_cast<int>(text.size());
    TBytes bytes(WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr,
                                     nullptr));
    WideCharToMultiByte(codePage, 0, text.data(), length, reinterpret_cast<char*>(bytes.data()),
                        static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

inline TBytes Utf16Bytes(const std::wstring& text, bool bigEndian)
{
    TBytes bytes;
    for (wchar_t unit : text) {
        const unsigned char high = static_cast<unsigned char>(unit >> 8);
        const unsigned char low = static_cast<unsigned char>(unit);
        bytes.push_back(bigEndian ? high : low);
        bytes.push_back(bigEndian ? low : high);
    }
    return bytes;
}

// Random text of code points drawn from the given inclusive ranges; supplementary code points
// become surrogate pairs.
class CTextSource
{
public:
    explicit CTextSource(unsigned int seed) : m_random(seed) {}

    std::wstring Text(size_t codePoints,
                      const std::vector<std::pair<unsigned long, unsigned long>>& ranges)
    {
        std::wstring text;
        for (size_t i = 0; i < codePoints; ++i) {
            const auto& range = ranges[Below(static_cast<unsigned long>(ranges.size()))];
            unsigned long cp = range.first + Below(range.second - range.first + 1);
            if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xE000; // no lone surrogates here
            if (cp >= 0x10000) {
                cp -= 0x10000;
                text += static_cast<wchar_t>(0xD800 + (cp >> 10));
                text += static_cast<wchar_t>(0xDC00 + (cp & 0x3FF));
            } else {
                text += static_cast<wchar_t>(cp);
            }
        }
        return text;
    }

    // Every kind of character: ASCII with line ends, two-, three- and four-byte UTF-8.
    std::wstring AnyText(size_t codePoints)
    {
        return Text(codePoints, {{0x0A, 0x0D}, {0x20, 0x7E}, {0x80, 0x7FF}, {0x800, 0xFFFD},
                                 {0x10000, 0x10FFFF}});
    }

    // 1..maxPiece
    unsigned long Piece(unsigned long maxPiece) { return 1 + Below(maxPiece); }
    unsigned long Below(unsigned long n)
    {
        return std::uniform_int_distribution<unsigned long>(0, n - 1)(m_random);
    }

private:
    std::mt19937 m_random;
};

inline std::wstring Wide(const CKaString& text)
{
    return std::wstring(text.getSz(), text.getLength());
}

// Reads a decoder to its end in pieces of random size up to maxPiece.
inline std::wstring ReadInPieces(CKaRef<CKaEncodingDecoder> decoder, CTextSource& source,
                                 unsigned long maxPiece)
{
    std::wstring text;
    for (;;) {
        const unsigned long piece = source.Piece(maxPiece);
        const CKaString read = decoder->ReadString(piece);
        text += Wide(read);
        if (read.getLength() == 0) return text;
    }
}

// The Windows code pages among the standard encodings.
const unsigned short kCodePages[] = {874,   932,   936,   949,   950,   1250,  1251,
                                     1252,  1253,  1254,  1255,  1256,  1257,  1258,
                                     437,   720,   737,   775,   850,   852,   855,
                                     857,   858,   862,   866,   28591, 28592, 28593,
                                     28594, 28595, 28596, 28598, 28599, 28605};

// Every character a code page can represent, with its bytes: each valid byte sequence whose
// character converts back to the same bytes (worked out once per code page).
struct TCodePageChar
{
    TBytes bytes;
    wchar_t ch;
};

inline const std::vector<TCodePageChar>& Representable(unsigned short codePage)
{
    static std::map<unsigned short, std::vector<TCodePageChar>> known;
    auto found = known.find(codePage);
    if (found != known.end()) return found->second;
    std::vector<TCodePageChar>& chars = known[codePage];
    auto take = [&](const TBytes& sequence) {
        wchar_t units[2];
        const int count = MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS,
                                              reinterpret_cast<const char*>(sequence.data()),
                                              static_cast<int>(sequence.size()), units, 2);
        if (count != 1) return;
        BOOL usedDefault = FALSE;
        unsigned char back[4];
        const int size = WideCharToMultiByte(codePage, 0, units, 1, reinterpret_cast<char*>(back),
                                             4, nullptr, &usedDefault);
        if (!usedDefault && TBytes(back, back + (size > 0 ? size : 0)) == sequence) {
            chars.push_back({sequence, units[0]});
        }
    };
    for (unsigned int lead = 1; lead < 256; ++lead) {
        if (!IsDBCSLeadByteEx(codePage, static_cast<BYTE>(lead))) {
            take({static_cast<unsigned char>(lead)});
            continue;
        }
        for (unsigned int trail = 0x20; trail < 256; ++trail) {
            take({static_cast<unsigned char>(lead), static_cast<unsigned char>(trail)});
        }
    }
    return chars;
}

// Text of `count` characters picked at random from a code page's, and its bytes.
inline std::wstring RandomCodePageText(unsigned short codePage, CTextSource& source,
                                       size_t count, TBytes& bytes)
{
    const std::vector<TCodePageChar>& chars = Representable(codePage);
    std::wstring text;
    for (size_t i = 0; i < count; ++i) {
        const TCodePageChar& pick = chars[source.Below(static_cast<unsigned long>(chars.size()))];
        text += pick.ch;
        bytes.insert(bytes.end(), pick.bytes.begin(), pick.bytes.end());
    }
    return text;
}

#endif
