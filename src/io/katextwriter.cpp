#include "zelka/katextwriter.h"

CKaTextWriter::CKaTextWriter(CKaRef<IKaStream> stream) : CKaTextStreamerAspect(stream) {}

CKaTextWriter::CKaTextWriter(CKaRef<CKaEncoding> encoding, CKaRef<IKaStream> stream)
    : CKaTextStreamerAspect(encoding, stream)
{
}

CKaString CKaTextWriter::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.textwriter", CKaObject::getObjectTypeInfo());
}

void CKaTextWriter::Write(CKaString text)
{
    EnsureEncoder();
    m_encoder->WriteString(text);
}

void CKaTextWriter::WriteLine(CKaString text, bool crlf)
{
    EnsureEncoder();
    m_encoder->WriteString(text);
    // The line ends are made once: a string made from the text for every line would cost an
    // allocation each.
    static const CKaString crLf(L"\r\n");
    static const CKaString lf(L"\n");
    m_encoder->WriteString(crlf ? crLf : lf);
}

void CKaTextWriter::Flush()
{
    if (m_encoder) m_encoder->Flush();
}

void CKaTextWriter::EnsureEncoder()
{
    if (!m_encoder) m_encoder = Lenient(CreateEncoder());
}

CKaRef<CKaEncodingEncoder> CKaTextWriter::CreateEncoder()
{
    if (!m_encoding) return new CKaUtf16EncodingEncoder(false, m_stream);
    return m_encoding->CreateEncoder(m_stream);
}
