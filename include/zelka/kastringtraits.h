#ifndef ZELKA_KASTRINGTRAITS_H
#define ZELKA_KASTRINGTRAITS_H

#include <cstdarg>
#include <cwchar>
#include "kaexport.h"
#include "kalockmode.h"

// Header of a shared string block; the characters (capacity + 1 units) follow it directly.
struct TKaStringData
{
    volatile long refCount;  // interlocked only; a new block has 0
    unsigned long capacity;  // characters the block can hold, terminator not counted
    TKaLockMode lockState;   // the rule of kalockmode.h
    unsigned long length;    // characters in use; text[length] is 0 while unlocked
};

// The one static block behind every empty string: never counted, never freed.
struct TKaEmptyStringData
{
    TKaStringData header;
    wchar_t text[1];
};

enum TKaConversionResult
{
    KaConversionOk = 0,
    KaConversionNotANumber = 1,
    KaConversionOutOfRange = 2
};

// Character-level rules of CKaString, each a thin rule over the C runtime's wide functions.
// The comparisons always answer exactly -1, 0 or +1.
class ZELKA_API CKaStringTraits
{
public:
    static TKaStringData* EmptyData();
    // Room for the header and n characters, nothing more (the caller counts the terminator).
    static TKaStringData* AllocateData(unsigned long n);
    static void FreeData(TKaStringData* data);
    static wchar_t* DataText(TKaStringData* data);
    static wchar_t* Empty();
    static wchar_t EOS();

    static unsigned long Length(const wchar_t* s);
    static long Compare(const wchar_t* a, const wchar_t* b);
    static long CompareNoCase(const wchar_t* a, const wchar_t* b);
    static long Collate(const wchar_t* a, const wchar_t* b);
    static long CollateNoCase(const wchar_t* a, const wchar_t* b);

    // The searches are inline: they sit in inner loops, where one more call shows.
    static const wchar_t* Find(const wchar_t* s, wchar_t ch) { return wcschr(s, ch); }
    static const wchar_t* ReverseFind(const wchar_t* s, wchar_t ch) { return wcsrchr(s, ch); }
    static const wchar_t* FindOneOf(const wchar_t* s, const wchar_t* set)
    {
        return wcspbrk(s, set);
    }
    static const wchar_t* FindString(const wchar_t* s, const wchar_t* sub)
    {
        return wcsstr(s, sub);
    }
    static unsigned long Span(const wchar_t* s, const wchar_t* set);
    static unsigned long CSpan(const wchar_t* s, const wchar_t* set);
    static const wchar_t* Next(const wchar_t* p);
    static bool IsSpace(wchar_t ch);

    static wchar_t* MakeUpper(wchar_t* s);
    static wchar_t* MakeLower(wchar_t* s);
    static wchar_t* MakeReverse(wchar_t* s);

    static TKaConversionResult ToInteger(const wchar_t* s, unsigned long radix, bool& negative,
                                         unsigned __int64& value);
    static TKaConversionResult ToFloat(const wchar_t* s, double& value);

    // Positional printf (numbered arguments allowed) through the system runtime.
    static unsigned long GetFormattedLength(const wchar_t* format, va_list args);
    static unsigned long Format(wchar_t* buffer, const wchar_t* format, va_list args);
};

#endif
