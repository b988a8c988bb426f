#ifndef ZELKA_SRC_STRINGS_KASTRING_INTERNAL_H
#define ZELKA_SRC_STRINGS_KASTRING_INTERNAL_H

// Small character helpers shared by the string sources; not part of the library's interface.
#include <cstring>
#include "zelka/kastringtraits.h"

namespace KaStringDetail {

// The static block of every empty string (CKaStringTraits::EmptyData()), known here so that the
// hot paths test for it without a call.
extern TKaEmptyStringData g_emptyData;

inline TKaStringData* EmptyBlock()
{
    return &g_emptyData.header;
}

// The block behind a string's text pointer (the header sits right before the text); a string
// without a block reads as the empty one. Inline, for the paths where a call per access shows.
inline TKaStringData* BlockOf(const wchar_t* text)
{
    if (!text) return EmptyBlock();
    return reinterpret_cast<TKaStringData*>(const_cast<wchar_t*>(text)) - 1;
}

// The first character of a block (CKaStringTraits::DataText()), right after its header.
inline wchar_t* TextOf(TKaStringData* data)
{
    return reinterpret_cast<wchar_t*>(data + 1);
}

inline unsigned long LengthOf(const wchar_t* text)
{
    return BlockOf(text)->length;
}

// A null text reads as "" everywhere.
inline const wchar_t* OrEmpty(const wchar_t* text)
{
    return text ? text : CKaStringTraits::Empty();
}

inline unsigned long TextLength(const wchar_t* text)
{
    return text ? CKaStringTraits::Length(text) : 0;
}

// Source and target may overlap.
inline void CopyChars(wchar_t* target, const wchar_t* source, unsigned long count)
{
    if (count) std::memmove(target, source, count * sizeof(wchar_t));
}

// Source and target must not overlap. Short runs, the usual pieces of text built up by appending,
// are copied inline: a call into the runtime's memcpy costs more than such a copy.
inline void CopyText(wchar_t* target, const wchar_t* source, unsigned long count)
{
    if (count > 32) {
        std::memcpy(target, source, count * sizeof(wchar_t));
        return;
    }
    for (unsigned long i = 0; i < count; ++i) target[i] = source[i];
}

inline void FillChars(wchar_t* target, wchar_t ch, unsigned long count)
{
    for (unsigned long i = 0; i < count; ++i) target[i] = ch;
}

} // namespace KaStringDetail

#endif
