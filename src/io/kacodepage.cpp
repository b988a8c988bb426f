#include "kacodepage.h"
#include "zelka/kaexception.h"

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

unsigned long KaNarrowAscii(const wchar_t* units, unsigned long count, unsigned char* target)
{
    unsigned long done = 0;
    for (; done < count && units[done] < 0x80; ++done) {
        target[done] = static_cast<unsigned char>(units[done]);
    }
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
