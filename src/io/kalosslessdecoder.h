#ifndef ZELKA_SRC_IO_KALOSSLESSDECODER_H
#define ZELKA_SRC_IO_KALOSSLESSDECODER_H

#include <utility>
#include "zelka/kaencodingdecoder.h"

// Decoders that give exactly what converting the whole stream at once gives, whatever the
// size of the pieces read. They differ from the decoders they derive from in three ways:
// - a feed appends behind the unread bytes, so a character split between two feeds is joined
//   instead of overwritten, and it reads ahead in large steps;
// - every token is counted by its own bytes;
// - at the end of the stream, an unfinished character is taken as it stands (as invalid data
//   with failOnInvalid) instead of being left unread.
template <class Decoder>
class TKaLosslessDecoder : public Decoder
{
public:
    template <class... Args>
    explicit TKaLosslessDecoder(Args&&... args)
        : Decoder(std::forward<Args>(args)...), m_endOfStream(false)
    {
    }

protected:
    static const unsigned long kReadAhead = 65536;

    bool Feed(unsigned long) override
    {
        if (this->FeedBytes(kReadAhead, this->m_available)) {
            m_endOfStream = false;
            return true;
        }
        if (this->m_available == 0 || m_endOfStream) return false;
        // One more round lets the read take the unfinished character now left at the end.
        m_endOfStream = true;
        this->m_nextTokenState = this->CheckBufferToken(0);
        return true;
    }

    // An incomplete token at the end of the stream: invalid with failOnInvalid, otherwise
    // complete as the bytes that are there.
    typename Decoder::TTokenState FinalToken(bool failOnInvalid, unsigned long left,
                                             unsigned long& length) const
    {
        if (failOnInvalid) return Decoder::TokenInvalid;
        length = left;
        return Decoder::TokenComplete;
    }

    bool m_endOfStream;
};

class CKaLosslessUtf8Decoder : public TKaLosslessDecoder<CKaUtf8EncodingDecoder>
{
public:
    explicit CKaLosslessUtf8Decoder(CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

protected:
    using CKaEncodingDecoder::CheckBufferToken;
    unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                unsigned long& bytes) override;
    TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                 unsigned long& length) override;
    unsigned long DecodeChars(const unsigned char* bytes, unsigned long count, wchar_t* target,
                              unsigned long chars) override;

private:
    // The units of the complete token `offset` bytes behind the start, written to target
    // when there is one.
    unsigned long TokenUnits(unsigned long offset, unsigned long length, wchar_t* target,
                             unsigned long room);
};

class CKaLosslessUtf16Decoder : public TKaLosslessDecoder<CKaUtf16EncodingDecoder>
{
public:
    CKaLosslessUtf16Decoder(bool bigEndian, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

protected:
    using CKaEncodingDecoder::CheckBufferToken;
    unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                unsigned long& bytes) override;
    TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                 unsigned long& length) override;
    unsigned long DecodeChars(const unsigned char* bytes, unsigned long count, wchar_t* target,
                              unsigned long chars) override;
};

class CKaLosslessMultiByteDecoder : public TKaLosslessDecoder<CKaMultiByteEncodingDecoder>
{
public:
    CKaLosslessMultiByteDecoder(unsigned short codePage, CKaRef<IKaStream> stream);
    CKaString getObjectTypeInfo() override;

protected:
    using CKaEncodingDecoder::CheckBufferToken;
    unsigned long DetermineAvailableBufferChars(unsigned long maxChars,
                                                unsigned long& bytes) override;
    TTokenState CheckBufferToken(unsigned long offset, bool failOnInvalid,
                                 unsigned long& length) override;

private:
    bool m_doubleByte; // the code page has lead bytes
};

#endif
