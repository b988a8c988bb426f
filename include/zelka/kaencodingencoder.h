#ifndef ZELKA_KAENCODINGENCODER_H
#define ZELKA_KAENCODINGENCODER_H

#include "kabytebuffer.h"
#include "kaencodingdecoder.h"
#include "kastream.h"

// Turns UTF-16 text into the bytes of an encoding and writes them to a stream. Each write
// converts every complete character at once; only a high surrogate that ends a write waits
// for its partner (Flush writes it alone). An encoder is used by one thread at a time.
class ZELKA_API CKaEncodingEncoder : public CKaObject
{
public:
    typedef CKaEncodingDecoder::TTokenState TTokenState;

    CKaString getObjectTypeInfo() override;

    bool getFailOnInvalid() const;
    TTokenState getNextTokenState() const;

    // With failOnInvalid, a write that holds an unpaired surrogate throws and writes nothing;
    // without, unpaired surrogates are converted as they stand.
    virtual void setFailOnInvalid(bool failOnInvalid);
    // `count` units from `start`: a start beyond the source throws, so does a count beyond it.
    virtual void WriteChars(CKaSimpleBuffer<wchar_t> chars, unsigned long start,
                            unsigned long count);
    virtual void WriteChars(CKaSimpleBuffer<wchar_t> chars);
    virtual void WriteString(CKaString text, unsigned long start, unsigned long count);
    virtual void WriteString(CKaString text);
    virtual void WriteChars(const wchar_t* chars, unsigned long count);

protected:
    explicit CKaEncodingEncoder(CKaRef<IKaStream> stream);

    // Adds the units to the pending ones and encodes what is complete.
    virtual void WriteBuffer(const wchar_t* chars, unsigned long count);
    // Converts the complete pending units, writes them with one Write and returns their count.
    virtual unsigned long EncodeBuffer();
    virtual unsigned long DetermineAvailableBufferChars();
    virtual TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                         unsigned long& length);
    virtual TTokenState CheckBufferToken(unsigned long offset);
    virtual void CommitBufferRead(unsigned long count);

public:
    // Writes a pending high surrogate without its partner (with failOnInvalid it throws).
    virtual void Flush();

protected:
    // The first pending unit.
    const wchar_t* PendingUnits() const;
    // Room for `size` bytes of encoded text, kept from write to write.
    unsigned char* ByteRoom(unsigned long size);
    // Writes the bytes of the first `units` pending units and lets go of those units.
    void EmitBytes(const unsigned char* bytes, unsigned long size, unsigned long units);

    bool m_failOnInvalid;
    CKaRef<IKaStream> m_stream;
    TTokenState m_nextTokenState;
    CKaSimpleBuffer<wchar_t> m_pending;
    unsigned long m_start;
    unsigned long m_available;

private:
    // Walks the complete tokens from the start; reports their units and the state that ends
    // the walk.
    TTokenState ScanPending(unsigned long& units);
    void AppendPending(const wchar_t* chars, unsigned long count);

    bool m_flushing;
    CKaByteBuffer m_bytes;
};

class ZELKA_API CKaUtf8EncodingEncoder : public CKaEncodingEncoder
{
public:
    explicit CKaUtf8EncodingEncoder(CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

protected:
    unsigned long EncodeBuffer() override;
};

class ZELKA_API CKaUtf16EncodingEncoder : public CKaEncodingEncoder
{
public:
    CKaUtf16EncodingEncoder(bool bigEndian, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;
    bool getBigEndian() const;

protected:
    unsigned long EncodeBuffer() override;

    bool m_bigEndian;
};

class ZELKA_API CKaMultiByteEncodingEncoder : public CKaEncodingEncoder
{
public:
    CKaMultiByteEncodingEncoder(unsigned short codePage, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;
    unsigned short getCodePage() const;

protected:
    unsigned long EncodeBuffer() override;

    unsigned short m_codePage;
};

#endif
