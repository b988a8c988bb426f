#ifndef ZELKA_TESTS_IO_KATEXTSUPPORT_H
#define ZELKA_TESTS_IO_KATEXTSUPPORT_H

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>
#include <zelka/zelka.h>
#include "katest.h"

// The byte helpers of katest.h (TKaBytes, Bytes of a buffer) are the ones used here too.

inline CKaByteBuffer Buffer(const TKaBytes& bytes)
{
    return CKaByteBuffer(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

inline TKaBytes Bytes(const char* text)
{
    return TKaBytes(text, text + std::strlen(text));
}

// A memory stream that hands out at most `chunk` bytes a read.
class CTestStream : public CKaMemoryStream
{
public:
    CTestStream(const TKaBytes& bytes, unsigned long chunk) : m_chunk(chunk)
    {
        Create(Buffer(bytes));
    }

    unsigned long Read(void* buffer, unsigned long count) override
    {
        return CKaMemoryStream::Read(buffer, std::min(count, m_chunk));
    }

    TKaBytes Bytes()
    {
        TKaBytes bytes(static_cast<size_t>(getSize()));
        SetFromBegin(0);
        CKaMemoryStream::Read(bytes.data(), static_cast<unsigned long>(bytes.size()));
        return bytes;
    }

private:
    unsigned long m_chunk;
};

inline CKaRef<CTestStream> MakeStream(const TKaBytes& bytes = TKaBytes(),
                                      unsigned long chunk = 0xFFFFFFFF)
{
    return new CTestStream(bytes, chunk);
}

// UTF-8, UTF-16 little (1200) or big endian (1201), or a Windows code page.
inline CKaRef<CKaEncoding> Encoding(unsigned short codePage)
{
    if (codePage == CP_UTF8) return new CKaUtf8Encoding();
    if (codePage == 1200 || codePage == 1201) return new CKaUtf16Encoding(codePage == 1201);
    return new CKaMultiByteEncoding(codePage);
}

// The platform's own conversions, the reference the library is measured against; the bytes of
// UTF-16 are its units in the code page's byte order.
inline TKaBytes PlatformBytes(unsigned short codePage, const std::wstring& text)
{
    if (codePage == 1200 || codePage == 1201) {
        TKaBytes bytes;
        for (wchar_t unit : text) {
            bytes.push_back(static_cast<unsigned char>(codePage == 1201 ? unit >> 8 : unit));
            bytes.push_back(static_cast<unsigned char>(codePage == 1201 ? unit : unit >> 8));
        }
        return bytes;
    }
    const int length = static_cast<int>(text.size());
    TKaBytes bytes(WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr,
                                     nullptr));
    WideCharToMultiByte(codePage, 0, text.data(), length, reinterpret_cast<char*>(bytes.data()),
                        static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

inline std::wstring PlatformText(unsigned short codePage, const TKaBytes& bytes)
{
    const char* source = reinterpret_cast<const char*>(bytes.data());
    const int size = static_cast<int>(bytes.size());
    std::wstring text(MultiByteToWideChar(codePage, 0, source, size, nullptr, 0), L'\0');
    MultiByteToWideChar(codePage, 0, source, size, &text[0], static_cast<int>(text.size()));
    return text;
}

// Every character that a code page represents by a valid byte sequence it converts back to.
inline std::wstring Representable(unsigned short codePage)
{
    std::wstring chars;
    auto take = [&](const char* sequence, int size) {
        wchar_t ch = 0;
        char back[2];
        BOOL usedDefault = FALSE;
        if (MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, sequence, size, &ch, 1) == 1 &&
            WideCharToMultiByte(codePage, 0, &ch, 1, back, 2, nullptr, &usedDefault) == size &&
            !usedDefault && std::memcmp(back, sequence, size) == 0) {
            chars += ch;
        }
    };
    for (int lead = 1; lead < 256; ++lead) {
        char sequence[2] = {static_cast<char>(lead), 0};
        const bool leadByte = IsDBCSLeadByteEx(codePage, static_cast<BYTE>(lead));
        if (!leadByte) take(sequence, 1);
        for (int trail = 0x20; leadByte && trail < 256; ++trail) {
            sequence[1] = static_cast<char>(trail);
            take(sequence, 2);
        }
    }
    return chars;
}

// The Windows code pages among the standard encodings.
const unsigned short kCodePages[] = {874, 932, 936, 949, 950, 1250, 1251, 1252, 1253, 1254, 1255,
                                     1256, 1257, 1258, 437, 720, 737, 775, 850, 852, 855, 857, 858,
                                     862, 866, 28591, 28592, 28593, 28594, 28595, 28596, 28598,
                                     28599, 28605};

// Random text and piece sizes.
class CTextSource
{
public:
    explicit CTextSource(unsigned int seed) : m_random(seed) {}

    // Code points from the given inclusive ranges; supplementary ones become surrogate pairs.
    std::wstring Text(size_t codePoints,
                      const std::vector<std::pair<unsigned long, unsigned long>>& ranges)
    {
        std::wstring text;
        for (size_t i = 0; i < codePoints; ++i) {
            const auto& range = ranges[Below(static_cast<unsigned long>(ranges.size()))];
            unsigned long cp = range.first + Below(range.second - range.first + 1);
            if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xE000; // no lone surrogates here
            if (cp >= 0x10000) {
                text += static_cast<wchar_t>(0xD800 + ((cp - 0x10000) >> 10));
                cp = 0xDC00 + (cp & 0x3FF);
            }
            text += static_cast<wchar_t>(cp);
        }
        return text;
    }

    // Every kind of character: ASCII with line ends, two-, three- and four-byte UTF-8.
    std::wstring AnyText(size_t codePoints)
    {
        return Text(codePoints, {{0x0A, 0x0D}, {0x20, 0x7E}, {0x80, 0x7FF}, {0x800, 0xFFFD},
                                 {0x10000, 0x10FFFF}});
    }

    // Characters that the code page represents.
    std::wstring CodePageText(unsigned short codePage, size_t count)
    {
        const std::wstring chars = Representable(codePage);
        std::wstring text;
        while (text.size() < count) text += chars[Below(static_cast<unsigned long>(chars.size()))];
        return text;
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

// Reads a decoder to its end in pieces of random size up to maxPiece, through ReadString and
// ReadChars at random.
inline std::wstring ReadInPieces(CKaRef<CKaEncodingDecoder> decoder, CTextSource& source,
                                 unsigned long maxPiece)
{
    std::wstring text;
    for (;;) {
        const size_t before = text.size();
        const unsigned long piece = source.Piece(maxPiece);
        if (source.Below(2)) {
            text += Units(decoder->ReadString(piece));
        } else {
            const CKaSimpleBuffer<wchar_t> chars = decoder->ReadChars(piece);
            text.append(chars.getBuffer(), chars.getBuffer() + chars.getSize());
        }
        if (text.size() == before) return text;
    }
}

// The bytes that an encoder of the encoding writes for the text, given to it in pieces of
// random size.
inline TKaBytes EncodeInPieces(CKaRef<CKaEncoding> encoding, const std::wstring& text,
                             CTextSource& source)
{
    CKaRef<CTestStream> stream = MakeStream();
    CKaRef<CKaEncodingEncoder> encoder = encoding->CreateEncoder(stream);
    for (size_t done = 0; done < text.size();) {
        const size_t piece = std::min<size_t>(source.Piece(50), text.size() - done);
        encoder->WriteChars(text.data() + done, static_cast<unsigned long>(piece));
        done += piece;
    }
    return stream->Bytes();
}

#endif
