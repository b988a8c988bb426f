#include "zelka/kaencodingencoder.h"
#include <cstring>
#include "zelka/kaexception.h"
#include "zelka/kahandle.h"
#include "kacodepage.h"
#include "kapendingwindow.h"

namespace {

// A raised flag held like any other resource: lowered again however the scope ends.
struct TKaRaisedFlagTraits
{
    typedef bool* Handle;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle flag) { return flag != nullptr; }
    static void Close(Handle flag) { *flag = false; }
};

} // namespace

CKaEncodingEncoder::CKaEncodingEncoder(CKaRef<IKaStream> stream)
    : m_failOnInvalid(false), m_stream(stream), m_nextTokenState(CKaEncodingDecoder::TokenEmpty),
      m_pending(), m_start(0), m_available(0), m_flushing(false), m_bytes()
{
}

CKaString CKaEncodingEncoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.encodingencoder", CKaObject::getObjectTypeInfo());
}

bool CKaEncodingEncoder::getFailOnInvalid() const
{
    return m_failOnInvalid;
}

CKaEncodingEncoder::TTokenState CKaEncodingEncoder::getNextTokenState() const
{
    return m_nextTokenState;
}

void CKaEncodingEncoder::setFailOnInvalid(bool failOnInvalid)
{
    m_failOnInvalid = failOnInvalid;
}

void CKaEncodingEncoder::WriteChars(CKaSimpleBuffer<wchar_t> chars, unsigned long start,
                                    unsigned long count)
{
    KaCheckRange(start, count, chars.getSize());
    if (count) WriteChars(chars.getBuffer() + start, count);
}

void CKaEncodingEncoder::WriteChars(CKaSimpleBuffer<wchar_t> chars)
{
    WriteChars(chars, 0, chars.getSize());
}

void CKaEncodingEncoder::WriteString(CKaString text, unsigned long start, unsigned long count)
{
    KaCheckRange(start, count, text.getLength());
    WriteChars(text.getSz() + start, count);
}

void CKaEncodingEncoder::WriteString(CKaString text)
{
    WriteString(text, 0, text.getLength());
}

void CKaEncodingEncoder::WriteChars(const wchar_t* chars, unsigned long count)
{
    if (!chars && count) throw CKaCodeException(E_POINTER);
    WriteBuffer(chars, count);
}

void CKaEncodingEncoder::WriteBuffer(const wchar_t* chars, unsigned long count)
{
    if (count == 0) return;
    AppendPending(chars, count);
    unsigned long units = 0;
    if (m_failOnInvalid && ScanPending(units) == CKaEncodingDecoder::TokenInvalid) {
        // A write with an unpaired surrogate is taken back whole.
        m_available -= count;
        m_nextTokenState = CheckBufferToken(0);
        throw CKaCodeException(KA_E_INVALID_UTF16);
    }
    EncodeBuffer();
}

unsigned long CKaEncodingEncoder::EncodeBuffer()
{
    throw CKaCodeException(E_NOTIMPL);
}

unsigned long CKaEncodingEncoder::DetermineAvailableBufferChars()
{
    unsigned long units = 0;
    ScanPending(units);
    return units;
}

CKaEncodingEncoder::TTokenState CKaEncodingEncoder::CheckBufferToken(unsigned long offset,
                                                                     bool failOnInvalid,
                                                                     unsigned long& length)
{
    if (offset == m_available) return CKaEncodingDecoder::TokenEmpty;
    KaCheckIndex(offset, m_pending.getSize() - m_start);
    const TTokenState unpaired =
        failOnInvalid ? CKaEncodingDecoder::TokenInvalid : CKaEncodingDecoder::TokenComplete;
    const wchar_t* unit = PendingUnits() + offset;
    length = 1;
    if (!KaIsSurrogate(unit[0])) return CKaEncodingDecoder::TokenComplete;
    if (KaIsLowSurrogate(unit[0])) return unpaired;
    if (offset + 1 == m_available) {
        return m_flushing ? unpaired : CKaEncodingDecoder::TokenIncomplete;
    }
    if (!KaIsLowSurrogate(unit[1])) return unpaired;
    length = 2;
    return CKaEncodingDecoder::TokenComplete;
}

CKaEncodingEncoder::TTokenState CKaEncodingEncoder::CheckBufferToken(unsigned long offset)
{
    unsigned long length = 0;
    return CheckBufferToken(offset, true, length);
}

void CKaEncodingEncoder::CommitBufferRead(unsigned long count)
{
    KaConsumeWindow(m_start, m_available, count);
    m_nextTokenState = CheckBufferToken(0);
}

void CKaEncodingEncoder::Flush()
{
    if (m_available == 0) return;
    m_flushing = true;
    CKaOwnedHandle<TKaRaisedFlagTraits> flushing(&m_flushing);
    unsigned long units = 0;
    if (m_failOnInvalid && ScanPending(units) == CKaEncodingDecoder::TokenInvalid) {
        throw CKaCodeException(KA_E_INVALID_UTF16);
    }
    EncodeBuffer();
}

const wchar_t* CKaEncodingEncoder::PendingUnits() const
{
    return m_pending.getBuffer() + m_start;
}

unsigned char* CKaEncodingEncoder::ByteRoom(unsigned long size)
{
    if (m_bytes.getSize() < size) m_bytes = CKaByteBuffer(size);
    return m_bytes.Unshare();
}

void CKaEncodingEncoder::EmitBytes(const unsigned char* bytes, unsigned long size,
                                   unsigned long units)
{
    if (!m_stream) throw CKaCodeException(E_POINTER);
    m_stream->Write(bytes, size);
    CommitBufferRead(units);
}

CKaEncodingEncoder::TTokenState CKaEncodingEncoder::ScanPending(unsigned long& units)
{
    units = 0;
    unsigned long length = 0;
    const wchar_t* pending = PendingUnits();
    for (;;) {
        // A unit outside the surrogates is a whole character by itself: only the surrogates
        // need the token check.
        while (units < m_available && !KaIsSurrogate(pending[units])) {
            ++units;
        }
        const TTokenState state = CheckBufferToken(units, m_failOnInvalid, length);
        if (state != CKaEncodingDecoder::TokenComplete) return state;
        units += length;
    }
}

void CKaEncodingEncoder::AppendPending(const wchar_t* chars, unsigned long count)
{
    KaReserveWindow(m_pending, m_start, m_available, count);
    std::memcpy(m_pending.Unshare() + m_start + m_available, chars, count * sizeof(wchar_t));
    m_available += count;
    if (m_nextTokenState == CKaEncodingDecoder::TokenEmpty ||
        m_nextTokenState == CKaEncodingDecoder::TokenIncomplete) {
        m_nextTokenState = CheckBufferToken(0);
    }
}

// UTF-8

CKaUtf8EncodingEncoder::CKaUtf8EncodingEncoder(CKaRef<IKaStream> stream)
    : CKaEncodingEncoder(stream)
{
}

CKaString CKaUtf8EncodingEncoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.utf8encodingencoder",
                         CKaEncodingEncoder::getObjectTypeInfo());
}

unsigned long CKaUtf8EncodingEncoder::EncodeBuffer()
{
    const unsigned long units = DetermineAvailableBufferChars();
    if (units == 0) return 0;
    // No unit takes more than three bytes. ASCII is its own byte; the system converts only what
    // follows it, which gives the same bytes as converting everything.
    if (units > 0xFFFFFFFF / 3) throw CKaCodeException(E_OUTOFMEMORY);
    const wchar_t* pending = PendingUnits();
    unsigned char* bytes = ByteRoom(3 * units);
    unsigned long size = KaNarrowAscii(pending, units, bytes);
    if (size < units) {
        size += KaUnitsToCodePage(CP_UTF8, pending + size, units - size, bytes + size,
                                  3 * units - size, nullptr, nullptr);
    }
    EmitBytes(bytes, size, units);
    return units;
}

// UTF-16

CKaUtf16EncodingEncoder::CKaUtf16EncodingEncoder(bool bigEndian, CKaRef<IKaStream> stream)
    : CKaEncodingEncoder(stream), m_bigEndian(bigEndian)
{
}

CKaString CKaUtf16EncodingEncoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.utf16encodingencoder",
                         CKaEncodingEncoder::getObjectTypeInfo());
}

bool CKaUtf16EncodingEncoder::getBigEndian() const
{
    return m_bigEndian;
}

unsigned long CKaUtf16EncodingEncoder::EncodeBuffer()
{
    const unsigned long units = DetermineAvailableBufferChars();
    if (units) {
        if (units > 0xFFFFFFFF / 2) throw CKaCodeException(E_OUTOFMEMORY);
        unsigned char* bytes = ByteRoom(2 * units);
        KaUnitsToBytes(PendingUnits(), units, m_bigEndian, bytes);
        EmitBytes(bytes, 2 * units, units);
    }
    return units;
}

// Multi-byte code pages

CKaMultiByteEncodingEncoder::CKaMultiByteEncodingEncoder(unsigned short codePage,
                                                         CKaRef<IKaStream> stream)
    : CKaEncodingEncoder(stream), m_codePage(codePage)
{
}

CKaString CKaMultiByteEncodingEncoder::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.multibyteencodingencoder",
                         CKaEncodingEncoder::getObjectTypeInfo());
}

unsigned short CKaMultiByteEncodingEncoder::getCodePage() const
{
    return m_codePage;
}

unsigned long CKaMultiByteEncodingEncoder::EncodeBuffer()
{
    const unsigned long units = DetermineAvailableBufferChars();
    if (units) {
        const wchar_t* pending = PendingUnits();
        const unsigned long size =
            KaUnitsToCodePage(m_codePage, pending, units, nullptr, 0, nullptr, nullptr);
        unsigned char* bytes = ByteRoom(size);
        KaUnitsToCodePage(m_codePage, pending, units, bytes, size, nullptr, nullptr);
        EmitBytes(bytes, size, units);
    }
    return units;
}
