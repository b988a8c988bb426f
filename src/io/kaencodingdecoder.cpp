#include "zelka/kaencodingdecoder.h"
#include <cstring>
#include "zelka/kaexception.h"
#include "zelka/katrace.h"
#include "kacodepage.h"
#include "kapendingwindow.h"
#include "trace/katracecategories.h"

namespace {

const unsigned long kAllChars = 0xFFFFFFFF;

// Keeps a read's bound from wrapping: startIndex plus a count near 2^32 means "no bound".
unsigned long AddSaturated(unsigned long a, unsigned long b)
{
    return a > kAllChars - b ? kAllChars : a + b;
}

// A growing target doubles its room, but never beyond what the read can bring (`limit`), so
// that reading long text copies each character only a bounded number of times.
unsigned long NextRoom(unsigned long room, unsigned long needed, unsigned long limit)
{
    unsigned long doubled = room > limit / 2 ? limit : room * 2;
    return doubled > needed ? doubled : needed;
}

} // namespace

// Where a read puts its characters: `Extend` makes room for `count` more after the `read`
// already there and returns where they go; `Finish` sets the final size.
struct TKaDecodeSink
{
    virtual ~TKaDecodeSink() = default;
    virtual wchar_t* Extend(unsigned long read, unsigned long count) = 0;
    virtual void Finish(unsigned long read) = 0;
};

namespace {

// The strings of one ASCII character, made once and shared: a text read a character at a
// time (as a line reader does) would otherwise allocate a block for every character.
const CKaString& AsciiString(wchar_t ch)
{
    struct TKaAsciiStrings
    {
        TKaAsciiStrings()
        {
            for (wchar_t c = 0; c < 0x80; ++c) strings[c] = CKaString(&c, 1);
        }
        CKaString strings[0x80];
    };
    static const TKaAsciiStrings table;
    return table.strings[ch];
}

// A string target ends at startIndex plus the characters read. Its capacity grows ahead of
// its length while reading and is fitted again afterwards if the read made it grow.
//
// A read of one or two characters into a string without a block lands in a scratch area first
// and becomes a string of exactly its length at the end (a shared one for an ASCII character),
// which is what growing the string would give, without the allocation.
class CKaStringSink : public TKaDecodeSink
{
public:
    CKaStringSink(CKaString& target, unsigned long startIndex, unsigned long maxChars)
        : m_target(target), m_startIndex(startIndex), m_oldLength(target.getLength()),
          m_limit(AddSaturated(startIndex, AddSaturated(maxChars, 1))), m_grew(false),
          m_scratched(0)
    {
    }

    wchar_t* Extend(unsigned long read, unsigned long count) override
    {
        if (read == 0 && count <= kScratch && m_startIndex == 0 &&
            m_target.getCapacity() == 0) {
            m_scratched = count;
            return m_scratch;
        }
        if (m_scratched) {
            const unsigned long scratched = m_scratched;
            m_scratched = 0;
            std::memcpy(Grown(0, scratched), m_scratch, scratched * sizeof(wchar_t));
        }
        return Grown(read, count);
    }

    void Finish(unsigned long read) override
    {
        if (m_scratched) {
            m_scratched = 0;
            if (read == 1 && m_scratch[0] < 0x80) {
                m_target = AsciiString(m_scratch[0]);
            } else {
                m_target.SetText(m_scratch, read);
            }
            return;
        }
        const unsigned long length = AddSaturated(m_startIndex, read);
        SetLength(length);
        if (m_grew && m_target.getCapacity() > length) m_target.ShrinkToFit();
    }

private:
    static const unsigned long kScratch = 2;

    wchar_t* Grown(unsigned long read, unsigned long count)
    {
        const unsigned long length = AddSaturated(m_startIndex, read + count);
        const unsigned long capacity = m_target.getCapacity();
        if (length > capacity) {
            m_target.Grow(NextRoom(capacity, length, m_limit));
            m_grew = true;
        }
        return SetLength(length) + m_startIndex + read;
    }

    // Characters between the old end and startIndex become U+0000, never stale memory.
    wchar_t* SetLength(unsigned long length)
    {
        m_target.setLength(length);
        wchar_t* text = m_target.Unshare();
        if (m_oldLength < m_startIndex) {
            std::memset(text + m_oldLength, 0, (m_startIndex - m_oldLength) * sizeof(wchar_t));
            m_oldLength = m_startIndex;
        }
        return text;
    }

    CKaString& m_target;
    const unsigned long m_startIndex;
    unsigned long m_oldLength;
    const unsigned long m_limit;
    bool m_grew;
    unsigned long m_scratched; // characters waiting in m_scratch
    wchar_t m_scratch[kScratch];
};

// A buffer target keeps at least its old size. Its size runs ahead while reading and is set to
// the larger of its old size and startIndex plus the characters read at the end.
class CKaBufferSink : public TKaDecodeSink
{
public:
    CKaBufferSink(CKaSimpleBuffer<wchar_t>& target, unsigned long startIndex,
                  unsigned long maxChars)
        : m_target(target), m_startIndex(startIndex), m_oldSize(target.getSize()),
          m_limit(AddSaturated(startIndex, AddSaturated(maxChars, 1)))
    {
    }

    wchar_t* Extend(unsigned long read, unsigned long count) override
    {
        const unsigned long size = AddSaturated(m_startIndex, read + count);
        if (size > m_target.getSize()) {
            Resize(NextRoom(m_target.getSize(), size, m_limit));
        }
        return m_target.Unshare() + m_startIndex + read;
    }

    void Finish(unsigned long read) override
    {
        unsigned long size = read ? AddSaturated(m_startIndex, read) : 0;
        if (size < m_oldSize) size = m_oldSize;
        if (m_target.getSize() > size) Resize(size);
    }

private:
    // Copies what the target holds into a buffer of the new size; a gap between the old end
    // and startIndex becomes U+0000.
    void Resize(unsigned long size)
    {
        CKaSimpleBuffer<wchar_t> resized(size);
        wchar_t* text = resized.Unshare();
        const unsigned long kept = m_target.getSize() < size ? m_target.getSize() : size;
        if (kept) std::memcpy(text, m_target.getBuffer(), kept * sizeof(wchar_t));
        if (kept < m_startIndex && kept < size) {
            const unsigned long end = m_startIndex < size ? m_startIndex : size;
            std::memset(text + kept, 0, (end - kept) * sizeof(wchar_t));
        }
        m_target = resized;
    }

    CKaSimpleBuffer<wchar_t>& m_target;
    const unsigned long m_startIndex;
    const unsigned long m_oldSize;
    const unsigned long m_limit;
};

} // namespace

CKaEncodingDecoder::CKaEncodingDecoder(CKaRef<IKaStream> stream, long invalidDataCode,
                                       const wchar_t* traceClass)
    : m_failOnInvalid(false), m_stream(stream), m_nextTokenState(TokenEmpty), m_buffer(),
      m_start(0), m_available(0), m_invalidDataCode(invalidDataCode), m_traceClass(traceClass)
{
}

CKaString CKaEncodingDecoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.encodingdecoder", CKaObject::getObjectTypeInfo());
}

bool CKaEncodingDecoder::getFailOnInvalid() const
{
    return m_failOnInvalid;
}

CKaEncodingDecoder::TTokenState CKaEncodingDecoder::getNextTokenState() const
{
    return m_nextTokenState;
}

void CKaEncodingDecoder::setFailOnInvalid(bool failOnInvalid)
{
    m_failOnInvalid = failOnInvalid;
}

unsigned long CKaEncodingDecoder::ReadChars(CKaSimpleBuffer<wchar_t>& target,
                                            unsigned long maxChars, unsigned long startIndex)
{
    CKaBufferSink sink(target, startIndex, maxChars);
    return Read(sink, maxChars, L"ReadChars");
}

unsigned long CKaEncodingDecoder::ReadChars(CKaSimpleBuffer<wchar_t>& target,
                                            unsigned long startIndex)
{
    return ReadChars(target, kAllChars, startIndex);
}

CKaSimpleBuffer<wchar_t> CKaEncodingDecoder::ReadChars(unsigned long maxChars)
{
    CKaSimpleBuffer<wchar_t> chars;
    ReadChars(chars, maxChars, 0);
    return chars;
}

CKaSimpleBuffer<wchar_t> CKaEncodingDecoder::ReadChars()
{
    return ReadChars(kAllChars);
}

unsigned long CKaEncodingDecoder::ReadString(CKaString& target, unsigned long maxChars,
                                             unsigned long startIndex)
{
    CKaStringSink sink(target, startIndex, maxChars);
    return Read(sink, maxChars, L"ReadString");
}

unsigned long CKaEncodingDecoder::ReadString(CKaString& target, unsigned long startIndex)
{
    return ReadString(target, kAllChars, startIndex);
}

CKaString CKaEncodingDecoder::ReadString(unsigned long maxChars)
{
    CKaString text;
    ReadString(text, maxChars, 0);
    return text;
}

CKaString CKaEncodingDecoder::ReadString()
{
    return ReadString(kAllChars);
}

unsigned long CKaEncodingDecoder::Read(TKaDecodeSink& sink, unsigned long maxChars,
                                       const wchar_t* function)
{
    // A read of nothing leaves the target as it is, whatever startIndex says.
    if (maxChars == 0) return 0;
    unsigned long read = 0;
    try {
        while (read < maxChars) {
            if (m_failOnInvalid && m_nextTokenState == TokenInvalid) {
                // Characters before invalid data are handed out first; the next read fails.
                if (read == 0) throw CKaCodeException(m_invalidDataCode);
                break;
            }
            unsigned long bytes = 0;
            const unsigned long chars = DetermineAvailableBufferChars(maxChars - read, bytes);
            if (chars == 0) {
                if (!Feed(maxChars - read)) break;
                continue;
            }
            const unsigned char* source = UnreadBytes();
            const unsigned long measured = DecodeChars(source, bytes, nullptr, chars);
            if (measured != chars) ReportCountMismatch(function, measured, chars);
            DecodeChars(source, bytes, sink.Extend(read, chars), chars);
            CommitBufferRead(bytes);
            read += chars;
        }
    } catch (...) {
        sink.Finish(read);
        throw;
    }
    sink.Finish(read);
    return read;
}

void CKaEncodingDecoder::ReportCountMismatch(const wchar_t* function, unsigned long measured,
                                             unsigned long predicted)
{
    const TKaTraceSite site = {KaTraceWarning, L"EN", m_traceClass, function};
    KaTrace(site, L"Converted char count differs from predetermined char count (%d != %u)",
            static_cast<int>(measured), predicted);
    throw CKaCodeException(E_UNEXPECTED);
}

void CKaEncodingDecoder::ReserveBuffer(unsigned long bytes)
{
    // A feed that lands on the start offset leaves bytes behind the new ones counted as unread;
    // the window's zeroed new room keeps those bytes defined.
    KaReserveWindow<unsigned char>(m_buffer, m_start, m_available, bytes);
}

void CKaEncodingDecoder::CommitBufferWrite(unsigned long bytes)
{
    if (static_cast<unsigned __int64>(m_start) + m_available + bytes > m_buffer.getSize()) {
        throw CKaCodeException(E_UNEXPECTED);
    }
    m_available += bytes;
    if (m_nextTokenState == TokenEmpty || m_nextTokenState == TokenIncomplete) {
        m_nextTokenState = CheckBufferToken(0);
    }
}

void CKaEncodingDecoder::CommitBufferRead(unsigned long bytes)
{
    KaConsumeWindow(m_start, m_available, bytes);
    m_nextTokenState = CheckBufferToken(0);
}

CKaEncodingDecoder::TTokenState CKaEncodingDecoder::CheckBufferToken(unsigned long offset)
{
    unsigned long length = 0;
    return CheckBufferToken(offset, true, length);
}

unsigned long CKaEncodingDecoder::FeedRequest(unsigned long chars, unsigned long bytesPerChar)
{
    return chars < 1024 / bytesPerChar ? chars * bytesPerChar : 1024;
}

unsigned long CKaEncodingDecoder::FeedBytes(unsigned long request, unsigned long offset)
{
    ReserveBuffer(request);
    if (!m_stream) throw CKaCodeException(E_POINTER);
    unsigned char* buffer = m_buffer.Unshare();
    const unsigned long count = m_stream->Read(buffer + m_start + offset, request);
    if (count) CommitBufferWrite(count);
    return count;
}

const unsigned char* CKaEncodingDecoder::UnreadBytes() const
{
    return m_buffer.getBuffer() + m_start;
}

const unsigned char* CKaEncodingDecoder::TokenAt(unsigned long offset) const
{
    if (offset == m_available) return nullptr;
    KaCheckIndex(offset, m_buffer.getSize() - m_start);
    return UnreadBytes() + offset;
}

// UTF-8

CKaUtf8EncodingDecoder::CKaUtf8EncodingDecoder(CKaRef<IKaStream> stream)
    : CKaEncodingDecoder(stream, KA_E_INVALID_UTF8, L"UTF8D")
{
}

CKaString CKaUtf8EncodingDecoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.utf8encodingdecoder",
                         CKaEncodingDecoder::getObjectTypeInfo());
}

bool CKaUtf8EncodingDecoder::Feed(unsigned long chars)
{
    // The feed lands on the start offset, over any unread bytes of an unfinished character.
    return FeedBytes(FeedRequest(chars, 4), 0) != 0;
}

unsigned long CKaUtf8EncodingDecoder::DetermineAvailableBufferChars(unsigned long maxChars,
                                                                   unsigned long& bytes)
{
    // A four-byte token is a surrogate pair when the second byte of the buffer's first unread
    // token is 0x90 or above, whichever token is being counted.
    const unsigned char* buffer = m_buffer.getBuffer();
    const unsigned long second = m_start + 1;
    return CountTokens(maxChars, bytes, [&](unsigned long length, unsigned long& offset,
                                            unsigned long& chars) {
        chars += length == 4 && buffer[second] >= 0x90 ? 2 : 1;
        offset += length;
    });
}

CKaEncodingDecoder::TTokenState CKaUtf8EncodingDecoder::CheckBufferToken(
    unsigned long offset, bool failOnInvalid, unsigned long& length)
{
    const unsigned char* token = TokenAt(offset);
    if (!token) return TokenEmpty;
    const unsigned char lead = token[0];
    if (lead < 0x80) {
        length = 1;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
    } else {
        // Without failOnInvalid a stray byte passes on alone and the system replaces it.
        length = 1;
        if (failOnInvalid) return TokenInvalid;
    }
    if (!failOnInvalid) return offset + length > m_available ? TokenIncomplete : TokenComplete;
    for (unsigned long i = 1; i < length; ++i) {
        if (offset + i >= m_available) return TokenIncomplete;
        if ((token[i] & 0xC0) != 0x80) return TokenInvalid;
    }
    return TokenComplete;
}

unsigned long CKaUtf8EncodingDecoder::DecodeChars(const unsigned char* bytes, unsigned long count,
                                                  wchar_t* target, unsigned long chars)
{
    // The system converts only what follows the ASCII the bytes begin with: the result is the
    // same, and a read of plain text costs no call into the system.
    const unsigned long ascii = KaWidenAscii(bytes, count, target);
    if (ascii == count) return count;
    return ascii + KaCodePageToUnits(CP_UTF8, 0, bytes + ascii, count - ascii,
                                     target ? target + ascii : nullptr, chars - ascii);
}

// UTF-16

CKaUtf16EncodingDecoder::CKaUtf16EncodingDecoder(bool bigEndian, CKaRef<IKaStream> stream)
    : CKaEncodingDecoder(stream, KA_E_INVALID_UTF16, L"UTF16D"), m_bigEndian(bigEndian)
{
}

CKaString CKaUtf16EncodingDecoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.utf16encodingdecoder",
                         CKaEncodingDecoder::getObjectTypeInfo());
}

bool CKaUtf16EncodingDecoder::getBigEndian() const
{
    return m_bigEndian;
}

bool CKaUtf16EncodingDecoder::Feed(unsigned long chars)
{
    // The feed lands on the start offset, over any unread bytes of an unfinished character.
    return FeedBytes(FeedRequest(chars, 2), 0) != 0;
}

unsigned long CKaUtf16EncodingDecoder::DetermineAvailableBufferChars(unsigned long maxChars,
                                                                    unsigned long& bytes)
{
    // A token's length is counted in 16-bit units, the offset in bytes: each unit of a token
    // moves the offset by two bytes and adds one character, so a surrogate pair takes four
    // bytes and gives two characters.
    return CountTokens(maxChars, bytes, [](unsigned long length, unsigned long& offset,
                                           unsigned long& chars) {
        offset += 2 * length;
        chars += length;
    });
}

CKaEncodingDecoder::TTokenState CKaUtf16EncodingDecoder::CheckBufferToken(
    unsigned long offset, bool failOnInvalid, unsigned long& length)
{
    if (!TokenAt(offset)) return TokenEmpty;
    if (m_available - offset < 2) return TokenIncomplete;
    const wchar_t unit = UnitAt(offset);
    length = 1;
    if (!KaIsSurrogate(unit)) return TokenComplete;
    if (KaIsLowSurrogate(unit)) return failOnInvalid ? TokenInvalid : TokenComplete;
    length = 2;
    if (m_available - offset < 4) return TokenIncomplete;
    if (!failOnInvalid) return TokenComplete;
    return KaIsLowSurrogate(UnitAt(offset + 2)) ? TokenComplete : TokenInvalid;
}

wchar_t CKaUtf16EncodingDecoder::UnitAt(unsigned long offset) const
{
    wchar_t unit = 0;
    KaUnitsFromBytes(UnreadBytes() + offset, 1, m_bigEndian, &unit);
    return unit;
}

unsigned long CKaUtf16EncodingDecoder::DecodeChars(const unsigned char* bytes,
                                                   unsigned long count, wchar_t* target,
                                                   unsigned long chars)
{
    // Units are copied, not converted: their count cannot differ from the prediction.
    if (target) KaUnitsFromBytes(bytes, count / 2, m_bigEndian, target);
    return chars;
}

// Multi-byte code pages

CKaMultiByteEncodingDecoder::CKaMultiByteEncodingDecoder(unsigned short codePage,
                                                         CKaRef<IKaStream> stream)
    : CKaEncodingDecoder(stream, KA_E_MULTIBYTE_DECODING, L"MBD"), m_codePage(codePage),
      m_leadBytes()
{
    for (unsigned int byte = 0; byte < 256; ++byte) {
        m_leadBytes[byte] = IsDBCSLeadByteEx(codePage, static_cast<BYTE>(byte)) != FALSE;
    }
}

CKaString CKaMultiByteEncodingDecoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.multibyteencodingdecoder",
                         CKaEncodingDecoder::getObjectTypeInfo());
}

unsigned short CKaMultiByteEncodingDecoder::getCodePage() const
{
    return m_codePage;
}

bool CKaMultiByteEncodingDecoder::Feed(unsigned long chars)
{
    // The feed lands on the start offset, over the lead byte of an unfinished character.
    return FeedBytes(FeedRequest(chars, 2), 0) != 0;
}

unsigned long CKaMultiByteEncodingDecoder::DetermineAvailableBufferChars(
    unsigned long maxChars, unsigned long& bytes)
{
    return CountTokens(maxChars, bytes, [](unsigned long length, unsigned long& offset,
                                           unsigned long& chars) {
        offset += length;
        ++chars;
    });
}

CKaEncodingDecoder::TTokenState CKaMultiByteEncodingDecoder::CheckBufferToken(
    unsigned long offset, bool failOnInvalid, unsigned long& length)
{
    const unsigned char* token = TokenAt(offset);
    if (!token) return TokenEmpty;
    length = m_leadBytes[token[0]] ? 2 : 1;
    if (offset + length > m_available) return TokenIncomplete;
    if (!failOnInvalid) return TokenComplete;
    return KaTryCodePageToUnits(m_codePage, MB_ERR_INVALID_CHARS, token, length, nullptr, 0)
               ? TokenComplete
               : TokenInvalid;
}

unsigned long CKaMultiByteEncodingDecoder::DecodeChars(const unsigned char* bytes,
                                                       unsigned long count, wchar_t* target,
                                                       unsigned long chars)
{
    return KaCodePageToUnits(m_codePage, 0, bytes, count, target, chars);
}
