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
    m_encoder->WriteString(crlf ? L"\r\n" : L"\n");
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
