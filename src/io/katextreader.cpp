#include "zelka/katextreader.h"
#include <cstring>
#include "kacodepage.h"
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

const unsigned long kReadAllPiece = 1000;
const unsigned long kAllChars = 0xFFFFFFFF;
// Characters a lossless reader decodes at once: enough that a line costs no call of its own.
const unsigned long kDecodeBlock = 32768;

bool IsChar(const CKaString& piece, wchar_t ch)
{
    return piece.getLengthInline() == 1 && piece.getSzInline()[0] == ch;
}

// The elements of the buffer with room for at least `size`, the first `kept` kept. The room
// doubles, so that a long line is copied only a bounded number of times as it grows.
wchar_t* Room(CKaSimpleBuffer<wchar_t>& buffer, unsigned long kept, unsigned long size)
{
    const unsigned long room = buffer.getSize();
    if (room < size) {
        const unsigned long doubled = room > kAllChars / 2 ? kAllChars : 2 * room;
        CKaSimpleBuffer<wchar_t> grown(doubled > size ? doubled : size);
        if (kept) std::memcpy(grown.Unshare(), buffer.getBuffer(), kept * sizeof(wchar_t));
        buffer = grown;
    }
    return buffer.Unshare();
}

// The first `unit` in [p, end), or end. Eight units are compared at a time where the
// processor can.
const wchar_t* FindUnit(const wchar_t* p, const wchar_t* end, wchar_t unit)
{
#ifdef __SSE2__
    const __m128i wanted = _mm_set1_epi16(static_cast<short>(unit));
    for (; end - p >= 8; p += 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int found = _mm_movemask_epi8(_mm_cmpeq_epi16(units, wanted));
        if (found) return p + __builtin_ctz(static_cast<unsigned>(found)) / 2;
    }
#endif
    while (p != end && *p != unit) ++p;
    return p;
}

} // namespace

CKaTextStreamerAspect::CKaTextStreamerAspect(CKaRef<IKaStream> stream) : m_stream(stream) {}

CKaTextStreamerAspect::CKaTextStreamerAspect(CKaRef<CKaEncoding> encoding,
                                             CKaRef<IKaStream> stream)
    : m_stream(stream), m_encoding(encoding)
{
}

CKaRef<CKaEncoding> CKaTextStreamerAspect::getEncoding() const
{
    return m_encoding;
}

CKaRef<IKaStream> CKaTextStreamerAspect::getStream() const
{
    return m_stream;
}

CKaTextReader::CKaTextReader(CKaRef<IKaStream> stream) : CKaTextStreamerAspect(stream) {}

CKaTextReader::CKaTextReader(CKaRef<CKaEncoding> encoding, CKaRef<IKaStream> stream)
    : CKaTextStreamerAspect(encoding, stream)
{
}

CKaString CKaTextReader::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.textreader", CKaObject::getObjectTypeInfo());
}

CKaString CKaTextReader::ReadChars(unsigned long count)
{
    EnsureDecoder();
    return m_decoder->ReadString(count);
}

CKaString CKaTextReader::ReadLine()
{
    CKaString line;
    ReadLine(line);
    return line;
}

bool CKaTextReader::ReadLine(CKaString& line)
{
    return NextLine(line);
}

bool CKaTextReader::NextLine(CKaString& line)
{
    EnsureDecoder();
    line.Clear();
    unsigned long length = 0;
    bool any = false;
    try {
        // A CR is held back until the character after it shows whether it ends the line.
        bool cr = false;
        for (;;) {
            const CKaString piece = m_decoder->ReadString(1);
            if (piece.getIsEmpty()) break;
            any = true;
            if (IsChar(piece, L'\n')) {
                cr = false;
                break;
            }
            if (cr) Collect(L"\r", 1, length);
            cr = IsChar(piece, L'\r');
            if (!cr) Collect(piece.getSzInline(), piece.getLengthInline(), length);
        }
        // The end of the stream keeps a CR at the end of the line.
        if (cr) Collect(L"\r", 1, length);
    } catch (...) {
        // A failed read leaves the caller's line holding what came before the failure, as a
        // line built up character by character would.
        line.Append(m_collected.getBuffer(), length);
        throw;
    }
    // Appended to the cleared line, the text takes the room the line has, or a block of exactly
    // its length: the same string as appending it character by character gives.
    line.Append(m_collected.getBuffer(), length);
    return any;
}

void CKaTextReader::Collect(const wchar_t* chars, unsigned long count, unsigned long& length)
{
    if (count > kAllChars - length) throw CKaCodeException(E_OUTOFMEMORY);
    wchar_t* target = Room(m_collected, length, length + count) + length;
    for (unsigned long i = 0; i < count; ++i) target[i] = chars[i];
    length += count;
}

CKaString CKaTextReader::ReadAll()
{
    EnsureDecoder();
    CKaString all;
    for (;;) {
        // The text is read in pieces straight behind what is there, in room that doubles.
        const unsigned long length = all.getLength();
        if (all.getCapacity() < length + kReadAllPiece + 1) {
            all.Grow(2 * all.getCapacity() + kReadAllPiece + 1);
        }
        if (m_decoder->ReadString(all, kReadAllPiece, length) < kReadAllPiece) break;
    }
    all.ShrinkToFit();
    return all;
}

void CKaTextReader::EnsureDecoder()
{
    if (!m_decoder) m_decoder = Lenient(CreateDecoder());
}

CKaRef<CKaEncodingDecoder> CKaTextReader::CreateDecoder()
{
    if (!m_encoding) return new CKaUtf16EncodingDecoder(false, m_stream);
    return m_encoding->CreateDecoder(m_stream);
}

CKaLosslessTextReader::CKaLosslessTextReader(CKaRef<IKaStream> stream)
    : CKaTextReader(stream), m_next(0), m_end(0)
{
}

CKaLosslessTextReader::CKaLosslessTextReader(CKaRef<CKaEncoding> encoding,
                                             CKaRef<IKaStream> stream)
    : CKaTextReader(encoding, stream), m_next(0), m_end(0)
{
}

CKaString CKaLosslessTextReader::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.losslesstextreader", CKaTextReader::getObjectTypeInfo());
}

CKaRef<CKaEncodingDecoder> CKaLosslessTextReader::CreateDecoder()
{
    return KaCreateLosslessDecoder(m_encoding, m_stream);
}

CKaString CKaLosslessTextReader::ReadChars(unsigned long count)
{
    EnsureDecoder();
    CKaString text = TakeDecoded(count);
    const unsigned long taken = text.getLength();
    if (taken < count) m_decoder->ReadString(text, count - taken, taken);
    return text;
}

CKaString CKaLosslessTextReader::ReadAll()
{
    EnsureDecoder();
    CKaString text = TakeDecoded(kAllChars);
    m_decoder->ReadString(text, kAllChars, text.getLength());
    return text;
}

CKaString CKaLosslessTextReader::TakeDecoded(unsigned long count)
{
    const wchar_t* chars = m_decoded.getBuffer() + m_next;
    unsigned long taken = m_end - m_next;
    if (count < taken) {
        taken = count;
        if (taken && KaIsHighSurrogate(chars[taken - 1])) ++taken;
    }
    m_next += taken;
    return CKaString(chars, taken);
}

bool CKaLosslessTextReader::NextLine(CKaString& line)
{
    EnsureDecoder();
    // Only LF ends a line; a CR right before it belongs to the line end too.
    unsigned long searched = m_next;
    for (;;) {
        const wchar_t* chars = m_decoded.getBuffer();
        const wchar_t* lf = FindUnit(chars + searched, chars + m_end, L'\n');
        if (lf != chars + m_end) {
            const unsigned long end = static_cast<unsigned long>(lf - chars);
            const bool cr = end > m_next && chars[end - 1] == L'\r';
            line.SetText(chars + m_next, end - m_next - (cr ? 1 : 0));
            m_next = end + 1;
            return true;
        }
        searched = m_end - m_next;
        if (!DecodeBlock()) break;
    }
    // The end of the stream ends the last line, with any CR it ends in.
    const bool any = m_next < m_end;
    line.SetText(m_decoded.getBuffer() + m_next, m_end - m_next);
    m_next = m_end;
    return any;
}

bool CKaLosslessTextReader::DecodeBlock()
{
    // The characters not handed out yet move to the front, and the block lands behind them.
    const unsigned long kept = m_end - m_next;
    if (kept > kAllChars - kDecodeBlock - 1) throw CKaCodeException(E_OUTOFMEMORY);
    wchar_t* chars = Room(m_decoded, m_end, kept + kDecodeBlock + 1);
    if (m_next && kept) std::memmove(chars, chars + m_next, kept * sizeof(wchar_t));
    m_next = 0;
    m_end = kept;
    const unsigned long read = m_decoder->ReadChars(m_decoded, kDecodeBlock, kept);
    m_end = kept + read;
    return read != 0;
}
