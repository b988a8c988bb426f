#include "kalosslessdecoder.h"
#include <cstring>
#include "zelka/kaencoding.h"
#include "zelka/kaexception.h"
#include "zelka/katextreader.h"
#include "kacodepage.h"

namespace {

enum TKaUtf8Kind
{
    Utf8WellFormed,
    Utf8IllFormed,
    Utf8Truncated
};

bool IsContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

// What the `left` bytes at `bytes` begin with, and its length: a well-formed character; an
// ill-formed run (a start that goes wrong and the continuation bytes behind it); or the start
// of a character that the data ends in.
//
// An ill-formed run ends before the next byte that cannot continue a sequence. The system
// never takes such a byte into the bytes it replaces, so converting a run alone gives what
// converting it in the middle of the text gives, however the system groups the bytes of the
// run into replacement characters. No replacement takes more than the four bytes of the
// longest sequence, so a long run is cut after eight bytes without changing the result.
TKaUtf8Kind ScanUtf8(const unsigned char* bytes, unsigned long left, unsigned long& length)
{
    const unsigned char lead = bytes[0];
    length = 1;
    if (lead < 0x80) return Utf8WellFormed;
    unsigned long need = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        need = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        need = 3;
        if (lead == 0xE0) low = 0xA0;  // shorter forms
        if (lead == 0xED) high = 0x9F; // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        need = 4;
        if (lead == 0xF0) low = 0x90;  // shorter forms
        if (lead == 0xF4) high = 0x8F; // beyond U+10FFFF
    }
    for (; length < need; ++length) {
        if (length == left) return Utf8Truncated;
        if (bytes[length] < low || bytes[length] > high) break;
        low = 0x80;
        high = 0xBF;
    }
    if (length == need) return Utf8WellFormed;
    const unsigned long longestRun = 8;
    while (length < left && length < longestRun && IsContinuation(bytes[length])) ++length;
    return length == left && length < longestRun ? Utf8Truncated : Utf8IllFormed;
}

// The units the system gives for an ill-formed run where it stands, written to target when
// there is one. In the middle of the text the run is followed by a byte that cannot continue
// it and by more bytes, which decide how far the system looks: three spaces play them. A run
// that ends the stream is converted alone, as the system meets it at the end of the text.
unsigned long ReplaceRun(const unsigned char* run, unsigned long length, bool endsText,
                         wchar_t* target, unsigned long room)
{
    const unsigned long padding = endsText ? 0 : 3;
    unsigned char bytes[16];
    wchar_t units[16];
    std::memcpy(bytes, run, length);
    std::memset(bytes + length, ' ', padding);
    const unsigned long count =
        KaCodePageToUnits(CP_UTF8, 0, bytes, length + padding, units, 16) - padding;
    if (target) {
        if (count > room) throw CKaCodeException(E_UNEXPECTED);
        std::memcpy(target, units, count * sizeof(wchar_t));
    }
    return count;
}

} // namespace

// UTF-8

CKaLosslessUtf8Decoder::CKaLosslessUtf8Decoder(CKaRef<IKaStream> stream)
    : TKaLosslessDecoder<CKaUtf8EncodingDecoder>(stream)
{
}

CKaString CKaLosslessUtf8Decoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.losslessutf8decoder",
                         CKaUtf8EncodingDecoder::getObjectTypeInfo());
}

unsigned long CKaLosslessUtf8Decoder::DetermineAvailableBufferChars(unsigned long maxChars,
                                                                   unsigned long& bytes)
{
    const unsigned char* unread = UnreadBytes();
    unsigned long offset = 0;
    unsigned long chars = 0;
    while (offset < m_available && chars < maxChars) {
        if (unread[offset] < 0x80) {
            ++offset;
            ++chars;
            continue;
        }
        unsigned long length = 0;
        if (CheckBufferToken(offset, m_failOnInvalid, length) != TokenComplete) break;
        chars += TokenUnits(offset, length, nullptr, 0);
        offset += length;
    }
    bytes = offset;
    return chars;
}

CKaEncodingDecoder::TTokenState CKaLosslessUtf8Decoder::CheckBufferToken(
    unsigned long offset, bool failOnInvalid, unsigned long& length)
{
    const unsigned char* token = TokenAt(offset);
    if (!token) return TokenEmpty;
    const unsigned long left = m_available - offset;
    switch (ScanUtf8(token, left, length)) {
    case Utf8WellFormed:
        return TokenComplete;
    case Utf8IllFormed:
        return failOnInvalid ? TokenInvalid : TokenComplete;
    default:
        return m_endOfStream ? FinalToken(failOnInvalid, left, length) : TokenIncomplete;
    }
}

unsigned long CKaLosslessUtf8Decoder::DecodeChars(const unsigned char* bytes, unsigned long count,
                                                  wchar_t* target, unsigned long chars)
{
    // Every token was counted by its own bytes: the count is what they give.
    if (!target) return chars;
    unsigned long done = KaWidenAscii(bytes, count, target);
    if (done == count) return chars;
    // Well-formed text converts in one call.
    const unsigned long units = KaTryCodePageToUnits(CP_UTF8, MB_ERR_INVALID_CHARS, bytes + done,
                                                     count - done, target + done, chars - done);
    if (units == chars - done) return chars;
    // Otherwise token by token, as they were counted; the bytes are the unread ones.
    unsigned long written = done;
    while (done < count) {
        unsigned long length = 0;
        CheckBufferToken(done, false, length);
        written += TokenUnits(done, length, target + written, chars - written);
        done += length;
    }
    if (written != chars) throw CKaCodeException(E_UNEXPECTED);
    return chars;
}

unsigned long CKaLosslessUtf8Decoder::TokenUnits(unsigned long offset, unsigned long length,
                                                 wchar_t* target, unsigned long room)
{
    const unsigned char* token = UnreadBytes() + offset;
    unsigned long scanned = 0;
    if (ScanUtf8(token, length, scanned) != Utf8WellFormed) {
        const bool endsText = m_endOfStream && offset + length == m_available;
        return ReplaceRun(token, length, endsText, target, room);
    }
    // Each well-formed four-byte character is a surrogate pair.
    if (!target) return length == 4 ? 2 : 1;
    return KaCodePageToUnits(CP_UTF8, 0, token, length, target, room);
}

// UTF-16

CKaLosslessUtf16Decoder::CKaLosslessUtf16Decoder(bool bigEndian, CKaRef<IKaStream> stream)
    : TKaLosslessDecoder<CKaUtf16EncodingDecoder>(bigEndian, stream)
{
}

CKaString CKaLosslessUtf16Decoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.losslessutf16decoder",
                         CKaUtf16EncodingDecoder::getObjectTypeInfo());
}

unsigned long CKaLosslessUtf16Decoder::DetermineAvailableBufferChars(unsigned long maxChars,
                                                                    unsigned long& bytes)
{
    unsigned long chars = CKaUtf16EncodingDecoder::DetermineAvailableBufferChars(maxChars, bytes);
    // A last odd byte is half a unit; it becomes one U+FFFD.
    if (m_endOfStream && !m_failOnInvalid && chars < maxChars && m_available - bytes == 1) {
        ++chars;
        ++bytes;
    }
    return chars;
}

CKaEncodingDecoder::TTokenState CKaLosslessUtf16Decoder::CheckBufferToken(
    unsigned long offset, bool failOnInvalid, unsigned long& length)
{
    const TTokenState state =
        CKaUtf16EncodingDecoder::CheckBufferToken(offset, failOnInvalid, length);
    if (state != TokenIncomplete || !m_endOfStream) return state;
    if (m_available - offset == 1) return failOnInvalid ? TokenInvalid : TokenIncomplete;
    // A high surrogate whose partner never came stands alone, as it would in the whole text.
    return FinalToken(failOnInvalid, 1, length);
}

unsigned long CKaLosslessUtf16Decoder::DecodeChars(const unsigned char* bytes,
                                                   unsigned long count, wchar_t* target,
                                                   unsigned long chars)
{
    CKaUtf16EncodingDecoder::DecodeChars(bytes, count, target, chars);
    if (target && count % 2) target[count / 2] = 0xFFFD;
    return chars;
}

// Multi-byte code pages

CKaLosslessMultiByteDecoder::CKaLosslessMultiByteDecoder(unsigned short codePage,
                                                         CKaRef<IKaStream> stream)
    : TKaLosslessDecoder<CKaMultiByteEncodingDecoder>(codePage, stream), m_doubleByte(false)
{
    for (bool lead : m_leadBytes) m_doubleByte = m_doubleByte || lead;
}

CKaString CKaLosslessMultiByteDecoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.losslessmultibytedecoder",
                         CKaMultiByteEncodingDecoder::getObjectTypeInfo());
}

unsigned long CKaLosslessMultiByteDecoder::DetermineAvailableBufferChars(
    unsigned long maxChars, unsigned long& bytes)
{
    const unsigned long tokens =
        CKaMultiByteEncodingDecoder::DetermineAvailableBufferChars(maxChars, bytes);
    // A single byte is always one unit, but how many units an invalid double-byte token gives
    // is the system's choice: there the tokens are measured.
    if (tokens == 0 || !m_doubleByte) return tokens;
    return KaCodePageToUnits(m_codePage, 0, UnreadBytes(), bytes, nullptr, 0);
}

CKaEncodingDecoder::TTokenState CKaLosslessMultiByteDecoder::CheckBufferToken(
    unsigned long offset, bool failOnInvalid, unsigned long& length)
{
    const TTokenState state =
        CKaMultiByteEncodingDecoder::CheckBufferToken(offset, failOnInvalid, length);
    if (state != TokenIncomplete || !m_endOfStream) return state;
    // A lead byte that ends the stream stands alone, as it would in the whole text.
    return FinalToken(failOnInvalid, 1, length);
}

CKaRef<CKaEncodingDecoder> KaCreateLosslessDecoder(CKaRef<CKaEncoding> encoding,
                                                   CKaRef<IKaStream> stream)
{
    const unsigned short codePage = encoding ? encoding->getCodePage() : 1200;
    switch (codePage) {
    case CP_UTF8:
        return new CKaLosslessUtf8Decoder(stream);
    case 1200:
    case 1201:
        return new CKaLosslessUtf16Decoder(codePage == 1201, stream);
    default:
        return new CKaLosslessMultiByteDecoder(codePage, stream);
    }
}
