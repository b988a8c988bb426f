#include "kacodepage.h"
#include "zelka/kaexception.h"
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

unsigned long KaTryCodePageToUnits(unsigned short codePage, unsigned long flags,
                                   const unsigned char* bytes, unsigned long count,
                                   wchar_t* target, unsigned long capacity)
{
    const int units = MultiByteToWideChar(codePage, flags, reinterpret_cast<const char*>(bytes),
                                          static_cast<int>(count), target,
                                          target ? static_cast<int>(capacity) : 0);
    return units > 0 ? static_cast<unsigned long>(units) : 0;
}

unsigned long KaTryUnitsToCodePage(unsigned short codePage, const wchar_t* units,
                                   unsigned long count, unsigned char* target,
                                   unsigned long capacity, const char* defaultChar,
                                   BOOL* usedDefault)
{
    const int bytes = WideCharToMultiByte(codePage, 0, units, static_cast<int>(count),
                                          reinterpret_cast<char*>(target),
                                          target ? static_cast<int>(capacity) : 0, defaultChar,
                                          usedDefault);
    return bytes > 0 ? static_cast<unsigned long>(bytes) : 0;
}

unsigned long KaCodePageToUnits(unsigned short codePage, unsigned long flags,
                                const unsigned char* bytes, unsigned long count, wchar_t* target,
                                unsigned long capacity)
{
    const unsigned long units =
        KaTryCodePageToUnits(codePage, flags, bytes, count, target, capacity);
    if (units == 0) KaThrowLastError();
    return units;
}

unsigned long KaUnitsToCodePage(unsigned short codePage, const wchar_t* units,
                                unsigned long count, unsigned char* target,
                                unsigned long capacity, const char* defaultChar,
                                BOOL* usedDefault)
{
    const unsigned long bytes =
        KaTryUnitsToCodePage(codePage, units, count, target, capacity, defaultChar, usedDefault);
    if (bytes == 0) KaThrowLastError();
    return bytes;
}

CKaString KaDecodeCodePage(unsigned short codePage, unsigned long flags,
                           const CKaByteBuffer& bytes)
{
    CKaString text;
    const unsigned long count = bytes.getSize();
    if (count == 0) return text;
    const unsigned long units =
        KaCodePageToUnits(codePage, flags, bytes.getBuffer(), count, nullptr, 0);
    text.setLength(units);
    KaCodePageToUnits(codePage, flags, bytes.getBuffer(), count, text.Unshare(), units);
    return text;
}

CKaByteBuffer KaEncodeUnits(unsigned short codePage, const wchar_t* units, unsigned long count,
                            const char* defaultChar, BOOL* usedDefault)
{
    if (count == 0) return CKaByteBuffer();
    const unsigned long size =
        KaUnitsToCodePage(codePage, units, count, nullptr, 0, defaultChar, nullptr);
    CKaByteBuffer bytes(size);
    KaUnitsToCodePage(codePage, units, count, bytes.Unshare(), size, defaultChar, usedDefault);
    return bytes;
}

unsigned long KaWidenAscii(const unsigned char* bytes, unsigned long count, wchar_t* target)
{
    unsigned long done = 0;
    if (target) {
        for (; done < count && bytes[done] < 0x80; ++done) target[done] = bytes[done];
    } else {
        while (done < count && bytes[done] < 0x80) ++done;
    }
    return done;
}

#ifndef __SSE2__
namespace {

std::uint64_t FourUnits(const wchar_t* units)
{
    std::uint64_t four = 0;
    std::memcpy(&four, units, sizeof(four));
    return four;
}

} // namespace
#endif

unsigned long KaNarrowAscii(const wchar_t* units, unsigned long count, unsigned char* target)
{
    unsigned long done = 0;
#ifdef __SSE2__
    // Eight units at a time while all of them are ASCII.
    const __m128i nonAscii = _mm_set1_epi16(static_cast<short>(0xFF80));
    for (; count - done >= 8; done += 8) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + done));
        const __m128i high = _mm_and_si128(eight, nonAscii);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) != 0xFFFF) break;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + done), _mm_packus_epi16(eight, eight));
    }
#else
    // Four units at a time while all of them are ASCII (the units of a word are in memory
    // order: the platform is little endian).
    for (; count - done >= 4; done += 4) {
        const std::uint64_t four = FourUnits(units + done);
        if (four & 0xFF80FF80FF80FF80ull) break;
        for (unsigned int i = 0; i < 4; ++i) {
            target[done + i] = static_cast<unsigned char>(four >> (16 * i));
        }
    }
#endif
    for (; done < count && units[done] < 0x80; ++done) {
        target[done] = static_cast<unsigned char>(units[done]);
    }
    return done;
}

unsigned long KaNonSurrogateRun(const wchar_t* units, unsigned long count)
{
    unsigned long done = 0;
#ifdef __SSE2__
    // A unit is a surrogate when its top five bits are 11011.
    const __m128i top = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
    for (; count - done >= 8; done += 8) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + done));
        const __m128i found = _mm_cmpeq_epi16(_mm_and_si128(eight, top), surrogate);
        if (_mm_movemask_epi8(found)) break;
    }
#else
    // Four units at a time: a lane is 0 after the masking exactly when its unit is a
    // surrogate, and a lane that is 0 sets its top bit in the subtraction.
    for (; count - done >= 4; done += 4) {
        const std::uint64_t lanes = (FourUnits(units + done) & 0xF800F800F800F800ull) ^
                                    0xD800D800D800D800ull;
        if ((lanes - 0x0001000100010001ull) & ~lanes & 0x8000800080008000ull) break;
    }
#endif
    while (done < count && !KaIsSurrogate(units[done])) ++done;
    return done;
}

void KaUnitsFromBytes(const unsigned char* bytes, unsigned long units, bool bigEndian,
                      wchar_t* target)
{
    const unsigned int high = bigEndian ? 0 : 1;
    for (unsigned long i = 0; i < units; ++i, bytes += 2) {
        target[i] = static_cast<wchar_t>(bytes[high] << 8 | bytes[1 - high]);
    }
}

void KaUnitsToBytes(const wchar_t* units, unsigned long count, bool bigEndian,
                    unsigned char* target)
{
    const unsigned int high = bigEndian ? 0 : 1;
    for (unsigned long i = 0; i < count; ++i, target += 2) {
        target[high] = static_cast<unsigned char>(units[i] >> 8);
        target[1 - high] = static_cast<unsigned char>(units[i]);
    }
}
