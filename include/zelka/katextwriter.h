#ifndef ZELKA_KATEXTWRITER_H
#define ZELKA_KATEXTWRITER_H

#include "katextreader.h"

// Writes strings and lines to a stream through an encoder of its encoding, created on first
// use.
class ZELKA_API CKaTextWriter : public CKaObject, public CKaTextStreamerAspect
{
public:
    explicit CKaTextWriter(CKaRef<IKaStream> stream);
    CKaTextWriter(CKaRef<CKaEncoding> encoding, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

    void Write(CKaString text);
    // The text, then CR LF, or LF alone when crlf is false.
    void WriteLine(CKaString text, bool crlf = true);
    // Text that ends in a high surrogate keeps it back for its partner; Flush writes it alone.
    void Flush();

protected:
    virtual void EnsureEncoder();
    virtual CKaRef<CKaEncodingEncoder> CreateEncoder();

    CKaRef<CKaEncodingEncoder> m_encoder;
};

#endif
