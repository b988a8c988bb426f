#ifndef ZELKA_KAENCODINGDECODER_H
#define ZELKA_KAENCODINGDECODER_H

#include "kabytebuffer.h"
#include "kastream.h"

struct TKaDecodeSink;
class CKaTextReader;

// Turns the bytes of a stream into UTF-16 text a piece at a time. Bytes read from the stream
// wait in a buffer until they form whole tokens (the bytes of one character); a read converts
// the complete tokens at the front of the buffer and feeds more bytes when there are none.
// A decoder is used by one thread at a time.
class ZELKA_API CKaEncodingDecoder : public CKaObject
{
public:
    enum TTokenState
    {
        TokenEmpty = 0,      // the offset is at the end of the unread bytes
        TokenComplete = 1,   // a whole token starts here; its length is reported
        TokenIncomplete = 2, // a token starts here but its bytes are not all in the buffer
        TokenInvalid = 3     // the bytes here are not a valid token
    };

    CKaString getObjectTypeInfo() override;

    bool getFailOnInvalid() const;
    // The state of the first unread token, judged strictly whatever getFailOnInvalid says.
    TTokenState getNextTokenState() const;

    virtual void setFailOnInvalid(bool failOnInvalid);
    // Reads up to maxChars characters into target from startIndex on and returns how many came;
    // fewer come only at the end of the stream or before invalid data (with failOnInvalid).
    // A surrogate pair is never split, so the count may end one above maxChars. The buffer
    // grows as needed and never shrinks.
    virtual unsigned long ReadChars(CKaSimpleBuffer<wchar_t>& target, unsigned long maxChars,
                                    unsigned long startIndex);
    virtual unsigned long ReadChars(CKaSimpleBuffer<wchar_t>& target, unsigned long startIndex);
    virtual CKaSimpleBuffer<wchar_t> ReadChars(unsigned long maxChars);
    virtual CKaSimpleBuffer<wchar_t> ReadChars();
    // As ReadChars; the string's length ends at startIndex plus the characters read.
    virtual unsigned long ReadString(CKaString& target, unsigned long maxChars,
                                     unsigned long startIndex);
    virtual unsigned long ReadString(CKaString& target, unsigned long startIndex);
    virtual CKaString ReadString(unsigned long maxChars);
    virtual CKaString ReadString();

protected:
    CKaEncodingDecoder(CKaRef<IKaStream> stream, long invalidDataCode, const wchar_t* traceClass);

    // Makes room for `bytes` more behind the unread ones (start becomes 0 when it moves them).
    virtual void ReserveBuffer(unsigned long bytes);
    virtual void CommitBufferWrite(unsigned long bytes);
    virtual void CommitBufferRead(unsigned long bytes);
    virtual TTokenState CheckBufferToken(unsigned long offset);
    // Reads more bytes for a read that still wants `chars` characters; false at the end.
    virtual bool Feed(unsigned long chars) = 0;
    // Counts the characters of the complete tokens at the front (at most maxChars, or one
    // above for a surrogate pair) and reports the bytes they take.
    virtual unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                        unsigned long& bytes) = 0;
    // Classifies the token `offset` bytes behind the start and reports its length.
    virtual TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                         unsigned long& length) = 0;
    // Converts `count` unread bytes of whole tokens into the `chars` UTF-16 units that
    // DetermineAvailableBufferChars counted for them, and returns the units made. With a null
    // target it only counts them (a codec that cannot differ from the count returns it).
    virtual unsigned long DecodeChars(const unsigned char* bytes, unsigned long count,
                                      wchar_t* target, unsigned long chars) = 0;

    // The byte request of a feed for `chars` characters of up to `bytesPerChar` bytes each:
    // enough for them, but never more than 1024 bytes at once.
    static unsigned long FeedRequest(unsigned long chars, unsigned long bytesPerChar);
    // Reserves `request` bytes and reads up to that many from the stream into the buffer,
    // `offset` bytes behind the start; returns the count read (0 at the end of the stream).
    unsigned long FeedBytes(unsigned long request, unsigned long offset);
    // The first unread byte.
    const unsigned char* UnreadBytes() const;
    // The byte `offset` bytes behind the start, or null when the offset is at the end of the
    // unread bytes; an offset beyond the buffer throws.
    const unsigned char* TokenAt(unsigned long offset) const;
    // Counts the complete tokens from the start: each moves the offset and the count as
    // `advance(length, offset, chars)` says.
    template <class Advance>
    unsigned long CountTokens(unsigned long maxChars, unsigned long& bytes, Advance advance);

    bool m_failOnInvalid;
    CKaRef<IKaStream> m_stream;
    TTokenState m_nextTokenState;
    CKaByteBuffer m_buffer;
    unsigned long m_start;
    unsigned long m_available;

private:
    friend class CKaTextReader;

    // The library's decoder class this object is exactly, if any: a subclass may read
    // otherwise, so only these take the text reader's shortcuts.
    enum TOwnCodec
    {
        OwnCodecUnknown, // not asked yet
        OwnCodecNone,
        OwnCodecUtf8,
        OwnCodecUtf16,
        OwnCodecMultiByte
    };

    unsigned long Read(TKaDecodeSink& sink, unsigned long maxChars, const wchar_t* function);
    [[noreturn]] void ReportCountMismatch(const wchar_t* function, unsigned long measured,
                                          unsigned long predicted);
    // What the text reader's line loop reads next: one character as ReadString(1) gives it
    // (all `count` units belong to it), or a run of characters of one unit each, as that many
    // ReadString(1) calls one after another give them.
    struct TCharsRead
    {
        const wchar_t* units;
        unsigned long count; // 0 at the end of the stream
        bool run;            // each unit is a character of its own
    };
    static const unsigned long kRunUnits = 8;

    // The library's own decoders take the one-unit characters that wait whole in their buffer
    // as a run into `units`, and read any other character into `units` without making a
    // string; any other decoder (a subclass may read otherwise) is asked ReadString(1), whose
    // result `piece` keeps. The same reads reach the stream either way.
    TCharsRead ReadCharsFor(CKaString& piece, wchar_t (&units)[kRunUnits]);
    // The run of one-unit characters at the front, up to and including the first LF; 0 when
    // none waits.
    unsigned long TakeWaitingUnits(TOwnCodec codec, wchar_t (&units)[kRunUnits]);
    // The bytes of the character `offset` bytes behind the start when it is one whole UTF-8 or
    // UTF-16 unit (put in `unit`), else 0.
    unsigned long WholeUnitAt(TOwnCodec codec, unsigned long offset, wchar_t& unit) const;
    TOwnCodec OwnCodec();

    const long m_invalidDataCode;
    const wchar_t* const m_traceClass;
    TOwnCodec m_ownCodec;
};

template <class Advance>
unsigned long CKaEncodingDecoder::CountTokens(unsigned long maxChars, unsigned long& bytes,
                                             Advance advance)
{
    unsigned long offset = 0;
    unsigned long chars = 0;
    unsigned long length = 0;
    while (offset < m_available && chars < maxChars &&
           CheckBufferToken(offset, m_failOnInvalid, length) == TokenComplete) {
        advance(length, offset, chars);
    }
    bytes = offset;
    return chars;
}

class ZELKA_API CKaUtf8EncodingDecoder : public CKaEncodingDecoder
{
public:
    explicit CKaUtf8EncodingDecoder(CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

protected:
    using CKaEncodingDecoder::CheckBufferToken;
    bool Feed(unsigned long chars) override;
    unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                unsigned long& bytes) override;
    TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                 unsigned long& length) override;
    unsigned long DecodeChars(const unsigned char* bytes, unsigned long count, wchar_t* target,
                              unsigned long chars) override;
};

class ZELKA_API CKaUtf16EncodingDecoder : public CKaEncodingDecoder
{
public:
    CKaUtf16EncodingDecoder(bool bigEndian, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;
    bool getBigEndian() const;

protected:
    using CKaEncodingDecoder::CheckBufferToken;
    bool Feed(unsigned long chars) override;
    unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                unsigned long& bytes) override;
    TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                 unsigned long& length) override;
    unsigned long DecodeChars(const unsigned char* bytes, unsigned long count, wchar_t* target,
                              unsigned long chars) override;

    // The UTF-16 unit at byte offset `offset` behind the start, in the decoder's byte order.
    wchar_t UnitAt(unsigned long offset) const;

    bool m_bigEndian;
};

class ZELKA_API CKaMultiByteEncodingDecoder : public CKaEncodingDecoder
{
public:
    CKaMultiByteEncodingDecoder(unsigned short codePage, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;
    unsigned short getCodePage() const;

protected:
    using CKaEncodingDecoder::CheckBufferToken;
    bool Feed(unsigned long chars) override;
    unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                unsigned long& bytes) override;
    TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                 unsigned long& length) override;
    unsigned long DecodeChars(const unsigned char* bytes, unsigned long count, wchar_t* target,
                              unsigned long chars) override;

    unsigned short m_codePage;
    // IsDBCSLeadByteEx of the code page for every byte, asked once.
    bool m_leadBytes[256];
};

#endif
