#ifndef ZELKA_KABYTEBUFFER_H
#define ZELKA_KABYTEBUFFER_H

#include "kasimplebuffer.h"

// Bytes with typed access at byte offsets and hexadecimal text. The typed readers and writers
// take the machine order (little endian) unless `swap` asks for the reversed (big-endian) one.
// Writers unshare the node first and grow the buffer (with zero bytes) when it is too short.
class ZELKA_API CKaByteBuffer : public CKaSimpleBuffer<unsigned char>
{
public:
    using CKaSimpleBuffer<unsigned char>::CKaSimpleBuffer;
    using CKaSimpleBuffer<unsigned char>::SetBuffer;
    CKaByteBuffer() noexcept = default;
    CKaByteBuffer(const CKaSimpleBuffer<unsigned char>& other) noexcept;
    // Hexadecimal text: two digits per byte, either case, no prefix or separators.
    CKaByteBuffer(const CKaString& hex);
    CKaByteBuffer(const wchar_t* hex);

    void SetBuffer(CKaString hex);
    void SetBuffer(const wchar_t* hex);
    CKaString ToBinHex(bool upper) const;

    // Typed reads: a value reaching beyond the data throws E_INVALIDARG.
    unsigned char ExtractU1(unsigned long offset) const;
    char ExtractI1(unsigned long offset) const;
    unsigned short ExtractU2(unsigned long offset, bool swap) const;
    short ExtractI2(unsigned long offset, bool swap) const;
    unsigned long ExtractU4(unsigned long offset, bool swap) const;
    long ExtractI4(unsigned long offset, bool swap) const;
    unsigned __int64 ExtractU8(unsigned long offset, bool swap) const;
    __int64 ExtractI8(unsigned long offset, bool swap) const;
    float ExtractF4(unsigned long offset, bool swap) const;
    double ExtractF8(unsigned long offset, bool swap) const;
    // `count` UTF-16 units (two bytes each) from `offset`; the whole buffer without an offset.
    CKaString ExtractChars(unsigned long offset, unsigned long count, bool swap) const;
    CKaString ExtractChars(bool swap) const;
    // A new buffer with a copy of the bytes (to the end without a count).
    CKaByteBuffer Extract(unsigned long offset, unsigned long count) const;
    CKaByteBuffer Extract(unsigned long offset) const;

    void EmbedU1(unsigned char value, unsigned long offset);
    void EmbedI1(char value, unsigned long offset);
    void EmbedU2(unsigned short value, unsigned long offset, bool swap);
    void EmbedI2(short value, unsigned long offset, bool swap);
    void EmbedU4(unsigned long value, unsigned long offset, bool swap);
    void EmbedI4(long value, unsigned long offset, bool swap);
    void EmbedU8(unsigned __int64 value, unsigned long offset, bool swap);
    void EmbedI8(__int64 value, unsigned long offset, bool swap);
    void EmbedF4(float value, unsigned long offset, bool swap);
    void EmbedF8(double value, unsigned long offset, bool swap);
    // Another buffer's bytes (all, or its first `count`) at `offset`.
    void Embed(CKaByteBuffer source, unsigned long offset);
    void Embed(CKaByteBuffer source, unsigned long offset, unsigned long count);
    // Writes character i at byte offset + i: each character overwrites the second byte of the
    // one before, so the region ends up holding the first byte of every character and the
    // second byte of the last. Existing data depends on exactly this layout; ExtractChars is
    // not its inverse. The buffer still grows to offset + 2 x length.
    void EmbedChars(CKaString text, unsigned long offset, bool swap);
    void EmbedChars(CKaString text, bool swap);

private:
    void ParseHex(const wchar_t* text, unsigned long length);
    void CheckTypedRange(unsigned long offset, unsigned long width) const;
    template <class V>
    V ExtractValue(unsigned long offset, bool swap) const;
    template <class V>
    void EmbedValue(V value, unsigned long offset, bool swap);
};

#endif
