#ifndef ZELKA_KATEXTREADER_H
#define ZELKA_KATEXTREADER_H

#include "kaencoding.h"
#include "kaexception.h"

// What a text reader and a text writer share: the stream and the encoding (null means
// UTF-16 little endian). Neither reads nor writes a byte-order mark.
class ZELKA_API CKaTextStreamerAspect
{
public:
    explicit CKaTextStreamerAspect(CKaRef<IKaStream> stream);
    CKaTextStreamerAspect(CKaRef<CKaEncoding> encoding, CKaRef<IKaStream> stream);

    CKaRef<CKaEncoding> getEncoding() const;
    CKaRef<IKaStream> getStream() const;

protected:
    // A decoder or encoder that a text reader or writer works with: never null, and lenient
    // (invalid input is converted as the encoding converts it, never thrown).
    template <class T>
    static CKaRef<T> Lenient(CKaRef<T> coder)
    {
        if (!coder) throw CKaCodeException(E_POINTER);
        coder->setFailOnInvalid(false);
        return coder;
    }

    CKaRef<IKaStream> m_stream;
    CKaRef<CKaEncoding> m_encoding;
};

// Reads characters, lines or the whole rest of a stream through a decoder of its encoding,
// created on first use.
class ZELKA_API CKaTextReader : public CKaObject, public CKaTextStreamerAspect
{
public:
    explicit CKaTextReader(CKaRef<IKaStream> stream);
    CKaTextReader(CKaRef<CKaEncoding> encoding, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

    // Up to `count` characters; fewer at the end of the stream.
    virtual CKaString ReadChars(unsigned long count);
    // The next line without its end. Only LF and CR LF end a line: a CR followed by anything
    // else stays in the text. At the end of the stream the line is empty.
    virtual CKaString ReadLine();
    virtual CKaString ReadAll();
    // As ReadLine, but false (and an empty line) only at the end of the stream, so that an
    // empty line and the end can be told apart.
    bool ReadLine(CKaString& line);

protected:
    virtual void EnsureDecoder();
    virtual CKaRef<CKaEncodingDecoder> CreateDecoder();
    // Both forms of ReadLine come here. The line is read one character at a time from the
    // decoder and collected out of sight, then handed out at once.
    virtual bool NextLine(CKaString& line);

    CKaRef<CKaEncodingDecoder> m_decoder;

private:
    void Collect(const wchar_t* chars, unsigned long count, unsigned long& length);

    CKaSimpleBuffer<wchar_t> m_collected; // the line being read; it only grows
};

// A text reader that gives exactly the text that converting the whole stream at once would
// give, however the reads divide it: a character split between two reads from the stream is
// joined, a supplementary character always counts as its surrogate pair, and the bytes of an
// unfinished character at the end become U+FFFD. A read may end above its count by the
// replacement characters of one run of invalid bytes.
//
// It decodes ahead in blocks of many thousand characters and hands lines out of them, so a
// subclass that reads through m_decoder itself must not mix that with ReadLine.
class ZELKA_API CKaLosslessTextReader : public CKaTextReader
{
public:
    explicit CKaLosslessTextReader(CKaRef<IKaStream> stream);
    CKaLosslessTextReader(CKaRef<CKaEncoding> encoding, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

    CKaString ReadChars(unsigned long count) override;
    CKaString ReadAll() override;

protected:
    CKaRef<CKaEncodingDecoder> CreateDecoder() override;
    bool NextLine(CKaString& line) override;

private:
    // Decodes the next block behind the characters not yet handed out; false at the end.
    bool DecodeBlock();
    // Takes `count` decoded characters, or one more to keep a surrogate pair whole.
    CKaString TakeDecoded(unsigned long count);

    CKaSimpleBuffer<wchar_t> m_decoded;
    unsigned long m_next; // the first character of m_decoded not yet handed out
    unsigned long m_end;  // the end of the decoded characters
};

// The lossless decoder of CKaLosslessTextReader for an encoding's code page (a null encoding
// means UTF-16 little endian), for callers that read through a decoder themselves.
ZELKA_API CKaRef<CKaEncodingDecoder> KaCreateLosslessDecoder(CKaRef<CKaEncoding> encoding,
                                                            CKaRef<IKaStream> stream);

#endif
