#include "zelka/kabytebuffer.h"
#include "zelka/kabinary.h"
#include <algorithm>
#include <cstdlib>
#include <cwchar>

// With its stream members, which kabinary.h defines.
template class CKaSimpleBuffer<unsigned char>;

// ---- construction and hexadecimal text ------------------------------------------------------

CKaByteBuffer::CKaByteBuffer(const CKaSimpleBuffer<unsigned char>& other) noexcept
    : CKaSimpleBuffer<unsigned char>(other)
{
}

CKaByteBuffer::CKaByteBuffer(const CKaString& hex)
{
    SetBuffer(hex);
}

CKaByteBuffer::CKaByteBuffer(const wchar_t* hex)
{
    SetBuffer(hex);
}

void CKaByteBuffer::SetBuffer(CKaString hex)
{
    ParseHex(hex.getSz(), hex.getLength());
}

void CKaByteBuffer::SetBuffer(const wchar_t* hex)
{
    ParseHex(hex, hex ? static_cast<unsigned long>(std::wcslen(hex)) : 0);
}

void CKaByteBuffer::ParseHex(const wchar_t* text, unsigned long length)
{
    if (length % 2) throw CKaCodeException(KA_E_INVALID_HEX_TEXT);
    CheckReplaceable();
    // The bytes are parsed into a buffer of their own first, so malformed text leaves this one
    // as it was.
    CKaByteBuffer parsed(length / 2);
    unsigned char* bytes = parsed.Unshare();
    for (unsigned long i = 0; i < length / 2; ++i) {
        const wchar_t pair[3] = {text[2 * i], text[2 * i + 1], 0};
        wchar_t* end = nullptr;
        const unsigned long value = std::wcstoul(pair, &end, 16);
        if (end != pair + 2) throw CKaCodeException(KA_E_INVALID_HEX_TEXT);
        bytes[i] = static_cast<unsigned char>(value);
    }
    Replace(parsed.m_node);
}

CKaString CKaByteBuffer::ToBinHex(bool upper) const
{
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    const unsigned long size = getSize();
    if (size == 0) return CKaString();
    CKaString text;
    wchar_t* target = text.LockGrow(EndOf(size, size), false);
    const unsigned char* bytes = getBuffer();
    for (unsigned long i = 0; i < size; ++i) {
        target[2 * i] = static_cast<wchar_t>(digits[bytes[i] >> 4]);
        target[2 * i + 1] = static_cast<wchar_t>(digits[bytes[i] & 15]);
    }
    text.Unlock(2 * size);
    return text;
}

// ---- typed reads ----------------------------------------------------------------------------

void CKaByteBuffer::CheckTypedRange(unsigned long offset, unsigned long width) const
{
    if (offset > getSize() || width > getSize() - offset) throw CKaCodeException(E_INVALIDARG);
}

template <class V>
V CKaByteBuffer::ExtractValue(unsigned long offset, bool swap) const
{
    CheckTypedRange(offset, sizeof(V));
    unsigned char bytes[sizeof(V)];
    std::memcpy(bytes, getBuffer() + offset, sizeof(V));
    if (swap) std::reverse(bytes, bytes + sizeof(V));
    V value;
    std::memcpy(&value, bytes, sizeof(V));
    return value;
}

unsigned char CKaByteBuffer::ExtractU1(unsigned long offset) const
{
    return ExtractValue<unsigned char>(offset, false);
}

char CKaByteBuffer::ExtractI1(unsigned long offset) const
{
    return ExtractValue<char>(offset, false);
}

unsigned short CKaByteBuffer::ExtractU2(unsigned long offset, bool swap) const
{
    return ExtractValue<unsigned short>(offset, swap);
}

short CKaByteBuffer::ExtractI2(unsigned long offset, bool swap) const
{
    return ExtractValue<short>(offset, swap);
}

unsigned long CKaByteBuffer::ExtractU4(unsigned long offset, bool swap) const
{
    return ExtractValue<unsigned long>(offset, swap);
}

long CKaByteBuffer::ExtractI4(unsigned long offset, bool swap) const
{
    return ExtractValue<long>(offset, swap);
}

unsigned __int64 CKaByteBuffer::ExtractU8(unsigned long offset, bool swap) const
{
    return ExtractValue<unsigned __int64>(offset, swap);
}

__int64 CKaByteBuffer::ExtractI8(unsigned long offset, bool swap) const
{
    return ExtractValue<__int64>(offset, swap);
}

float CKaByteBuffer::ExtractF4(unsigned long offset, bool swap) const
{
    return ExtractValue<float>(offset, swap);
}

double CKaByteBuffer::ExtractF8(unsigned long offset, bool swap) const
{
    return ExtractValue<double>(offset, swap);
}

CKaString CKaByteBuffer::ExtractChars(unsigned long offset, unsigned long count, bool swap) const
{
    CheckTypedRange(offset, count);
    // The units take two bytes each; checking the count alone would let them run past the data.
    CheckTypedRange(offset, count > 0x7FFFFFFF ? 0xFFFFFFFF : 2 * count);
    if (count == 0) return CKaString();
    CKaString text;
    wchar_t* target = text.LockGrow(count, false);
    const unsigned char* bytes = getBuffer() + offset;
    for (unsigned long i = 0; i < count; ++i) {
        const unsigned first = bytes[2 * i];
        const unsigned second = bytes[2 * i + 1];
        target[i] = static_cast<wchar_t>(swap ? (first << 8) | second : (second << 8) | first);
    }
    text.Unlock(count);
    return text;
}

CKaString CKaByteBuffer::ExtractChars(bool swap) const
{
    return ExtractChars(0, getSize() / 2, swap);
}

CKaByteBuffer CKaByteBuffer::Extract(unsigned long offset, unsigned long count) const
{
    CheckRange(offset, count);
    return CKaByteBuffer(getBuffer() + offset, count);
}

CKaByteBuffer CKaByteBuffer::Extract(unsigned long offset) const
{
    CheckRange(offset, 0);
    return Extract(offset, getSize() - offset);
}

// ---- writes ---------------------------------------------------------------------------------

template <class V>
void CKaByteBuffer::EmbedValue(V value, unsigned long offset, bool swap)
{
    unsigned char bytes[sizeof(V)];
    std::memcpy(bytes, &value, sizeof(V));
    if (swap) std::reverse(bytes, bytes + sizeof(V));
    std::memcpy(WritableUpTo(EndOf(offset, sizeof(V))) + offset, bytes, sizeof(V));
}

void CKaByteBuffer::EmbedU1(unsigned char value, unsigned long offset)
{
    EmbedValue(value, offset, false);
}

void CKaByteBuffer::EmbedI1(char value, unsigned long offset)
{
    EmbedValue(value, offset, false);
}

void CKaByteBuffer::EmbedU2(unsigned short value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedI2(short value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedU4(unsigned long value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedI4(long value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedU8(unsigned __int64 value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedI8(__int64 value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedF4(float value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::EmbedF8(double value, unsigned long offset, bool swap)
{
    EmbedValue(value, offset, swap);
}

void CKaByteBuffer::Embed(CKaByteBuffer source, unsigned long offset)
{
    Embed(source, offset, source.getSize());
}

void CKaByteBuffer::Embed(CKaByteBuffer source, unsigned long offset, unsigned long count)
{
    KaCheckRange(0, count, source.getSize());
    // `source` holds its own count on its node, so even our own bytes stay put while we grow.
    unsigned char* target = WritableUpTo(EndOf(offset, count));
    if (count) std::memcpy(target + offset, source.getBuffer(), count);
}

void CKaByteBuffer::EmbedChars(CKaString text, unsigned long offset, bool swap)
{
    const unsigned long length = text.getLength();
    unsigned char* target = WritableUpTo(EndOf(offset, EndOf(length, length)));
    const wchar_t* units = text.getSz();
    for (unsigned long i = 0; i < length; ++i) {
        const unsigned char low = static_cast<unsigned char>(units[i] & 0xFF);
        const unsigned char high = static_cast<unsigned char>(units[i] >> 8);
        target[offset + i] = swap ? high : low;
        target[offset + i + 1] = swap ? low : high;
    }
}

void CKaByteBuffer::EmbedChars(CKaString text, bool swap)
{
    EmbedChars(text, 0, swap);
}
