#ifndef ZELKA_SRC_IO_KACODEPAGE_H
#define ZELKA_SRC_IO_KACODEPAGE_H

#include "zelka/kabytebuffer.h"
#include "zelka/kastring.h"

// The one place where the library calls the system's code-page conversions. A failed call is
// thrown as the thread's last error, so every codec reports conversion failures alike; the Try
// forms are for the callers that must not throw (a validity test, the trace, a char* string
// that converts what it can) and answer 0 for a failure, the reason left in the last error.

unsigned long KaTryCodePageToUnits(unsigned short codePage, unsigned long flags,
                                   const unsigned char* bytes, unsigned long count,
                                   wchar_t* target, unsigned long capacity);
unsigned long KaTryUnitsToCodePage(unsigned short codePage, const wchar_t* units,
                                   unsigned long count, unsigned char* target,
                                   unsigned long capacity, const char* defaultChar,
                                   BOOL* usedDefault);

// MultiByteToWideChar: with a null target it measures. Returns the UTF-16 units (at least 1).
unsigned long KaCodePageToUnits(unsigned short codePage, unsigned long flags,
                                const unsigned char* bytes, unsigned long count, wchar_t* target,
                                unsigned long capacity);

// WideCharToMultiByte: with a null target it measures. defaultChar and usedDefault may be null
// (they must be for UTF-8). Returns the bytes (at least 1).
unsigned long KaUnitsToCodePage(unsigned short codePage, const wchar_t* units,
                                unsigned long count, unsigned char* target,
                                unsigned long capacity, const char* defaultChar,
                                BOOL* usedDefault);

// Whole-buffer forms: measure, then convert into a result of exactly that size. Empty input
// gives an empty result without asking the system.
CKaString KaDecodeCodePage(unsigned short codePage, unsigned long flags,
                           const CKaByteBuffer& bytes);
CKaByteBuffer KaEncodeUnits(unsigned short codePage, const wchar_t* units, unsigned long count,
                            const char* defaultChar, BOOL* usedDefault);

// The length of the ASCII run the bytes begin with, widened into target when there is one.
// ASCII is the same character in UTF-8 and UTF-16, and no UTF-8 sequence, whole or broken,
// takes an ASCII byte into it: a conversion may stop asking the system at the first such run.
unsigned long KaWidenAscii(const unsigned char* bytes, unsigned long count, wchar_t* target);

// The length of the ASCII run the units begin with, narrowed into target: the UTF-8 bytes of
// those units, for the same reason as above.
unsigned long KaNarrowAscii(const wchar_t* units, unsigned long count, unsigned char* target);

// The surrogate ranges of UTF-16, for every codec.
inline bool KaIsSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

inline bool KaIsHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

inline bool KaIsLowSurrogate(wchar_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// UTF-16 units from and to bytes in a given byte order (two bytes per unit).
void KaUnitsFromBytes(const unsigned char* bytes, unsigned long units, bool bigEndian,
                      wchar_t* target);
void KaUnitsToBytes(const wchar_t* units, unsigned long count, bool bigEndian,
                    unsigned char* target);

#endif
