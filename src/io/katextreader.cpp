#include "zelka/katextreader.h"

namespace {

const unsigned long kReadAllPiece = 1000;

bool IsChar(const CKaString& piece, wchar_t ch)
{
    return piece.getLength() == 1 && piece.getSz()[0] == ch;
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
    EnsureDecoder();
    line.Clear();
    CKaString piece = m_decoder->ReadString(1);
    if (piece.getIsEmpty()) return false;
    while (!piece.getIsEmpty() && !IsChar(piece, L'\n')) {
        if (IsChar(piece, L'\r')) {
            piece = m_decoder->ReadString(1);
            if (IsChar(piece, L'\n')) break;
            // A CR without its LF is text; what follows it is looked at afresh.
            line.Append(L"\r");
            continue;
        }
        line.Append(piece);
        piece = m_decoder->ReadString(1);
    }
    return true;
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

CKaLosslessTextReader::CKaLosslessTextReader(CKaRef<IKaStream> stream) : CKaTextReader(stream)
{
}

CKaLosslessTextReader::CKaLosslessTextReader(CKaRef<CKaEncoding> encoding,
                                             CKaRef<IKaStream> stream)
    : CKaTextReader(encoding, stream)
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
