// Changing a string: insertion and its named positions (append, prepend, concatenation),
// overwriting, replacement, case change and trimming. Every change but the replacement of
// occurrences goes through Splice, so a shared block is copied first, growth is exact and a block
// locked in place never moves; Replace(old, new) sizes its result once and, where it cannot
// write in place, builds its own block under the same three rules.
#include "zelka/kastring.h"
#include <algorithm>
#include <cstdint>
#include "zelka/kaexception.h"
#include "kastring_internal.h"

using KaStringDetail::CopyChars;
using KaStringDetail::FillChars;
using KaStringDetail::LengthOf;
using KaStringDetail::OrEmpty;
using KaStringDetail::TextLength;

namespace {

// A copy of `s` with `text` (any form Insert takes) at its end or start.
template <class... Text>
CKaString Concatenated(const CKaString& s, bool atEnd, const Text&... text)
{
    CKaString result(s);
    result.Insert(atEnd ? result.getLength() : 0, text...);
    return result;
}

// A one-character set, so that the character forms of trimming share the set forms.
struct TOneChar
{
    explicit TOneChar(wchar_t ch) : text{ch, 0} {}
    wchar_t text[2];
};

unsigned long CountOccurrences(const wchar_t* text, const wchar_t* sub, unsigned long subLength)
{
    unsigned long count = 0;
    while ((text = CKaStringTraits::FindString(text, sub)) != nullptr) {
        ++count;
        text += subLength;
    }
    return count;
}

// Copies `length` characters from `source` to `target`, replacing the first `count` occurrences
// of `oldText`. Target and source may share a buffer when the target starts no later than the
// source and the source lies far enough ahead to absorb any growth: every write then lands on
// characters already read.
void CopyReplacing(wchar_t* target, const wchar_t* source, unsigned long length,
                   const wchar_t* oldText, unsigned long oldLength, const wchar_t* newText,
                   unsigned long newLength, unsigned long count)
{
    const wchar_t* end = source + length;
    for (unsigned long i = 0; i < count; ++i) {
        const wchar_t* found = CKaStringTraits::FindString(source, oldText);
        const unsigned long before = static_cast<unsigned long>(found - source);
        CopyChars(target, source, before);
        CopyChars(target + before, newText, newLength);
        target += before + newLength;
        source = found + oldLength;
    }
    CopyChars(target, source, static_cast<unsigned long>(end - source));
}

} // namespace

// ---- insertion ------------------------------------------------------------------------------

void CKaString::Insert(unsigned long index, const CKaString& text)
{
    Insert(index, text.getSz(), text.getLength());
}

void CKaString::Insert(unsigned long index, const wchar_t* text)
{
    Insert(index, text, TextLength(text));
}

void CKaString::Insert(unsigned long index, const wchar_t* text, unsigned long count)
{
    // The length is read inline: appending piece by piece is this call in a loop.
    KaCheckRange(index, 0, LengthOf(m_text));
    if (text && count) SpliceText(index, 0, text, count);
}

void CKaString::Insert(unsigned long index, wchar_t ch, unsigned long count)
{
    CheckIndex(index);
    if (count) FillChars(Splice(index, 0, count), ch, count);
}

void CKaString::Append(const CKaString& text)
{
    Insert(getLength(), text);
}

void CKaString::Append(const wchar_t* text)
{
    Insert(getLength(), text);
}

void CKaString::Append(const wchar_t* text, unsigned long count)
{
    Insert(LengthOf(m_text), text, count);
}

void CKaString::Append(wchar_t ch, unsigned long count)
{
    Insert(getLength(), ch, count);
}

void CKaString::Prepend(const CKaString& text)
{
    Insert(0, text);
}

void CKaString::Prepend(const wchar_t* text)
{
    Insert(0, text);
}

void CKaString::Prepend(const wchar_t* text, unsigned long count)
{
    Insert(0, text, count);
}

void CKaString::Prepend(wchar_t ch, unsigned long count)
{
    Insert(0, ch, count);
}

CKaString& CKaString::operator+=(const CKaString& text)
{
    Append(text);
    return *this;
}

CKaString& CKaString::operator+=(const wchar_t* text)
{
    Append(text);
    return *this;
}

CKaString& CKaString::operator+=(wchar_t ch)
{
    Append(ch, 1);
    return *this;
}

CKaString CKaString::Concat(const CKaString& text, bool atEnd) const
{
    return Concatenated(*this, atEnd, text);
}

CKaString CKaString::Concat(const wchar_t* text, bool atEnd) const
{
    return Concatenated(*this, atEnd, text);
}

CKaString CKaString::Concat(const wchar_t* text, unsigned long count, bool atEnd) const
{
    return Concatenated(*this, atEnd, text, count);
}

CKaString CKaString::Concat(wchar_t ch, unsigned long count, bool atEnd) const
{
    return Concatenated(*this, atEnd, ch, count);
}

CKaString CKaString::operator+(const CKaString& text) const
{
    return Concat(text, true);
}

CKaString CKaString::operator+(const wchar_t* text) const
{
    return Concat(text, true);
}

CKaString CKaString::operator+(wchar_t ch) const
{
    return Concat(ch, 1, true);
}

// ---- overwriting ----------------------------------------------------------------------------

void CKaString::Overwrite(unsigned long index, const CKaString& text)
{
    Overwrite(index, text.getSz(), text.getLength());
}

void CKaString::Overwrite(unsigned long index, const wchar_t* text)
{
    Overwrite(index, text, TextLength(text));
}

void CKaString::Overwrite(unsigned long index, const wchar_t* text, unsigned long count)
{
    if (!text) count = 0;
    CheckedRange(index, count);
    if (count) SpliceText(index, count, text, count);
}

void CKaString::Overwrite(unsigned long index, wchar_t ch, unsigned long count)
{
    CheckedRange(index, count);
    if (count) FillChars(Splice(index, count, count), ch, count);
}

// ---- replacement ----------------------------------------------------------------------------

unsigned long CKaString::Replace(wchar_t oldChar, wchar_t newChar)
{
    const unsigned long length = getLength();
    const auto count = static_cast<unsigned long>(std::count(getSz(), getSz() + length, oldChar));
    if (count && oldChar != newChar) {
        wchar_t* text = Unshare();
        std::replace(text, text + length, oldChar, newChar);
    }
    return count;
}

unsigned long CKaString::Replace(const wchar_t* oldText, const wchar_t* newText)
{
    oldText = OrEmpty(oldText);
    newText = OrEmpty(newText);
    if (IsOwnText(oldText) || IsOwnText(newText)) {
        // The texts would change under the replacement: it works on copies of them.
        const CKaString oldCopy(oldText);
        const CKaString newCopy(newText);
        return Replace(oldCopy.getSz(), newCopy.getSz());
    }
    const unsigned long oldLength = CKaStringTraits::Length(oldText);
    if (oldLength == 0) return 0;
    const unsigned long count = CountOccurrences(getSz(), oldText, oldLength);
    if (count == 0) return 0;

    const unsigned long length = getLength();
    const unsigned long newLength = CKaStringTraits::Length(newText);
    const std::int64_t grown = static_cast<std::int64_t>(length) +
                               (static_cast<std::int64_t>(newLength) - oldLength) * count;
    if (grown > 0xFFFFFFFE) throw CKaCodeException(E_OUTOFMEMORY);
    const auto result = static_cast<unsigned long>(grown);

    TKaStringData* data = Data();
    if (IsWritableInPlace(data, result)) {
        // A growing text first moves to the end of the room it will fill, so the copy never
        // overtakes what it has still to read.
        const unsigned long shift = result > length ? result - length : 0;
        if (shift) CopyChars(m_text + shift, m_text, length + 1);
        CopyReplacing(m_text, m_text + shift, length, oldText, oldLength, newText, newLength,
                      count);
        SetDataLength(data, result);
        return count;
    }
    KaCheckNotLockedInPlace(data->lockState);
    TKaStringData* rebuilt = NewData(result, data->lockState);
    CopyReplacing(CKaStringTraits::DataText(rebuilt), m_text, length, oldText, oldLength,
                  newText, newLength, count);
    SetDataLength(rebuilt, result);
    Replace(rebuilt);
    return count;
}

// ---- case and order -------------------------------------------------------------------------

void CKaString::MakeUpper()
{
    if (!getIsEmpty()) CKaStringTraits::MakeUpper(Unshare());
}

void CKaString::MakeLower()
{
    if (!getIsEmpty()) CKaStringTraits::MakeLower(Unshare());
}

void CKaString::MakeReverse()
{
    if (!getIsEmpty()) CKaStringTraits::MakeReverse(Unshare());
}

// ---- trimming -------------------------------------------------------------------------------

CKaString::Range CKaString::TrimRange(const wchar_t* set, bool left, bool right) const
{
    const wchar_t* text = getSz();
    const auto trims = [set](wchar_t ch) {
        return set ? CKaStringTraits::Find(set, ch) != nullptr : CKaStringTraits::IsSpace(ch);
    };
    unsigned long begin = 0;
    while (left && text[begin] && trims(text[begin])) ++begin;
    unsigned long end = getLength();
    if (right) {
        // The trailing run is the one that reaches the first 0; what follows that 0 goes with
        // it, and without such a run nothing is cut.
        const unsigned long none = 0xFFFFFFFF;
        unsigned long run = none;
        for (unsigned long i = begin; text[i]; ++i) {
            if (!trims(text[i])) {
                run = none;
            } else if (run == none) {
                run = i;
            }
        }
        if (run != none) end = run;
    }
    return {begin, end - begin};
}

void CKaString::Trim()
{
    Keep(TrimRange(nullptr, true, true));
}

void CKaString::Trim(wchar_t ch)
{
    Trim(TOneChar(ch).text);
}

void CKaString::Trim(const wchar_t* set)
{
    Keep(TrimRange(OrEmpty(set), true, true));
}

void CKaString::TrimLeft()
{
    Keep(TrimRange(nullptr, true, false));
}

void CKaString::TrimLeft(wchar_t ch)
{
    TrimLeft(TOneChar(ch).text);
}

void CKaString::TrimLeft(const wchar_t* set)
{
    Keep(TrimRange(OrEmpty(set), true, false));
}

void CKaString::TrimRight()
{
    Keep(TrimRange(nullptr, false, true));
}

void CKaString::TrimRight(wchar_t ch)
{
    TrimRight(TOneChar(ch).text);
}

void CKaString::TrimRight(const wchar_t* set)
{
    Keep(TrimRange(OrEmpty(set), false, true));
}

CKaString CKaString::Trimmed() const
{
    return Kept(TrimRange(nullptr, true, true));
}

CKaString CKaString::Trimmed(wchar_t ch) const
{
    return Trimmed(TOneChar(ch).text);
}

CKaString CKaString::Trimmed(const wchar_t* set) const
{
    return Kept(TrimRange(OrEmpty(set), true, true));
}

CKaString CKaString::TrimmedLeft() const
{
    return Kept(TrimRange(nullptr, true, false));
}

CKaString CKaString::TrimmedLeft(wchar_t ch) const
{
    return TrimmedLeft(TOneChar(ch).text);
}

CKaString CKaString::TrimmedLeft(const wchar_t* set) const
{
    return Kept(TrimRange(OrEmpty(set), true, false));
}

CKaString CKaString::TrimmedRight() const
{
    return Kept(TrimRange(nullptr, false, true));
}

CKaString CKaString::TrimmedRight(wchar_t ch) const
{
    return TrimmedRight(TOneChar(ch).text);
}

CKaString CKaString::TrimmedRight(const wchar_t* set) const
{
    return Kept(TrimRange(OrEmpty(set), false, true));
}
