#ifndef ZELKA_SRC_STRINGS_KASTRING_INTERNAL_H
#define ZELKA_SRC_STRINGS_KASTRING_INTERNAL_H

// Small character helpers shared by the string sources; not part of the library's interface.
#include <cstring>
#include "zelka/kastringtraits.h"

namespace KaStringDetail {

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

inline void FillChars(wchar_t* target, wchar_t ch, unsigned long count)
{
    for (unsigned long i = 0; i < count; ++i) target[i] = ch;
}

} // namespace KaStringDetail

#endif
