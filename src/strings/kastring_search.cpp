// Reading single characters, searching, and the parts of a string: each part (left, right, mid,
// leading run) is a Range, and the four forms of every part apply one of Kept, Removed, Keep or
// Remove to it.
#include "zelka/kastring.h"
#include "zelka/kaexception.h"
#include "kastring_internal.h"

using KaStringDetail::CopyChars;
using KaStringDetail::LengthOf;
using KaStringDetail::OrEmpty;

namespace {

// A forward search from `from` in a string's own text pointer (null reads as ""). A start at the
// length finds nothing without searching. The header is read inline: searches often sit in
// inner loops, where a call per access shows.
template <class Search>
bool SearchFrom(const wchar_t* text, unsigned long from, unsigned long& pos, Search search)
{
    const unsigned long length = LengthOf(text);
    KaCheckRange(from, 0, length);
    const wchar_t* found = from < length ? search(text + from) : nullptr;
    pos = found ? static_cast<unsigned long>(found - text) : length;
    return found != nullptr;
}

} // namespace

// ---- single characters ----------------------------------------------------------------------

wchar_t CKaString::getAt(unsigned long index) const
{
    KaCheckIndex(index, getLength());
    return m_text[index];
}

wchar_t CKaString::operator[](unsigned long index) const
{
    return getAt(index);
}

wchar_t CKaString::operator[](int index) const
{
    // A negative index turns into one far past the length.
    return getAt(static_cast<unsigned long>(index));
}

void CKaString::setAt(unsigned long index, wchar_t ch)
{
    CheckedRange(index, 1);
    Unshare()[index] = ch;
}

// ---- search ---------------------------------------------------------------------------------

namespace {

// The three forward searches, each from its start onward.
struct TFindChar
{
    wchar_t ch;
    const wchar_t* operator()(const wchar_t* s) const { return CKaStringTraits::Find(s, ch); }
};

struct TFindOneOf
{
    const wchar_t* set;
    const wchar_t* operator()(const wchar_t* s) const
    {
        return CKaStringTraits::FindOneOf(s, OrEmpty(set));
    }
};

struct TFindString
{
    const wchar_t* sub;
    const wchar_t* operator()(const wchar_t* s) const
    {
        return CKaStringTraits::FindString(s, OrEmpty(sub));
    }
};

} // namespace

bool CKaString::Find(wchar_t ch, unsigned long& pos) const
{
    return SearchFrom(m_text, 0, pos, TFindChar{ch});
}

bool CKaString::Find(wchar_t ch, unsigned long from, unsigned long& pos) const
{
    return SearchFrom(m_text, from, pos, TFindChar{ch});
}

bool CKaString::FindOneOf(const wchar_t* set, unsigned long& pos) const
{
    return SearchFrom(m_text, 0, pos, TFindOneOf{set});
}

bool CKaString::FindOneOf(const wchar_t* set, unsigned long from, unsigned long& pos) const
{
    return SearchFrom(m_text, from, pos, TFindOneOf{set});
}

bool CKaString::FindString(const wchar_t* sub, unsigned long& pos) const
{
    return SearchFrom(m_text, 0, pos, TFindString{sub});
}

bool CKaString::FindString(const wchar_t* sub, unsigned long from, unsigned long& pos) const
{
    return SearchFrom(m_text, from, pos, TFindString{sub});
}

bool CKaString::ReverseFind(wchar_t ch, unsigned long& pos) const
{
    // Unlike the forward searches, a miss reports 0xFFFFFFFF: callers test pos + 1.
    const wchar_t* found = CKaStringTraits::ReverseFind(getSz(), ch);
    pos = found ? static_cast<unsigned long>(found - getSz()) : 0xFFFFFFFF;
    return found != nullptr;
}

// ---- ranges ---------------------------------------------------------------------------------

CKaString::Range CKaString::CheckedRange(unsigned long index, unsigned long count) const
{
    KaCheckRange(index, count, getLength());
    return {index, count};
}

CKaString::Range CKaString::LeftRange(unsigned long count) const
{
    return CheckedRange(0, count);
}

CKaString::Range CKaString::RightRange(unsigned long count) const
{
    Range range = CheckedRange(0, count);
    range.index = getLength() - count;
    return range;
}

CKaString::Range CKaString::MidRange(unsigned long index) const
{
    CheckIndex(index);
    return {index, getLength() - index};
}

CKaString::Range CKaString::SpanRange(const wchar_t* set, bool including) const
{
    set = OrEmpty(set);
    return {0, including ? CKaStringTraits::Span(getSz(), set)
                         : CKaStringTraits::CSpan(getSz(), set)};
}

CKaString CKaString::Kept(Range range) const
{
    if (range.count == getLength()) return *this;
    return CKaString(getSz() + range.index, range.count);
}

CKaString CKaString::Removed(Range range) const
{
    if (range.count == 0) return *this;
    const unsigned long tail = getLength() - range.index - range.count;
    CKaString result;
    wchar_t* target = result.Splice(0, 0, range.index + tail);
    CopyChars(target, getSz(), range.index);
    CopyChars(target + range.index, getSz() + range.index + range.count, tail);
    return result;
}

void CKaString::Keep(Range range)
{
    const unsigned long length = getLength();
    if (range.count == length) return;
    if (!IsWritableInPlace(Data(), range.count)) {
        // Only an unlocked shared block gets here (a locked one always has room to shrink):
        // the part gets a block of exactly its size, which this string then shares.
        SetText(Kept(range));
        return;
    }
    Splice(range.index + range.count, length - range.index - range.count, 0);
    Splice(0, range.index, 0);
}

void CKaString::Remove(Range range)
{
    if (range.count) Splice(range.index, range.count, 0);
}

// ---- the four forms of each part ------------------------------------------------------------

CKaString CKaString::Left(unsigned long count) const
{
    return Kept(LeftRange(count));
}

CKaString CKaString::Right(unsigned long count) const
{
    return Kept(RightRange(count));
}

CKaString CKaString::Mid(unsigned long index) const
{
    return Kept(MidRange(index));
}

CKaString CKaString::Mid(unsigned long index, unsigned long count) const
{
    return Kept(CheckedRange(index, count));
}

CKaString CKaString::LeftIncluding(const wchar_t* set) const
{
    return Kept(SpanRange(set, true));
}

CKaString CKaString::LeftExcluding(const wchar_t* set) const
{
    return Kept(SpanRange(set, false));
}

void CKaString::ExtractLeft(unsigned long count)
{
    Keep(LeftRange(count));
}

void CKaString::ExtractRight(unsigned long count)
{
    Keep(RightRange(count));
}

void CKaString::ExtractMid(unsigned long index)
{
    Keep(MidRange(index));
}

void CKaString::ExtractMid(unsigned long index, unsigned long count)
{
    Keep(CheckedRange(index, count));
}

void CKaString::Extract(unsigned long index, unsigned long count)
{
    ExtractMid(index, count);
}

void CKaString::ExtractLeftIncluding(const wchar_t* set)
{
    Keep(SpanRange(set, true));
}

void CKaString::ExtractLeftExcluding(const wchar_t* set)
{
    Keep(SpanRange(set, false));
}

CKaString CKaString::ExceptLeft(unsigned long count) const
{
    return Removed(LeftRange(count));
}

CKaString CKaString::ExceptRight(unsigned long count) const
{
    return Removed(RightRange(count));
}

CKaString CKaString::ExceptMid(unsigned long index) const
{
    return Removed(MidRange(index));
}

CKaString CKaString::ExceptMid(unsigned long index, unsigned long count) const
{
    return Removed(CheckedRange(index, count));
}

CKaString CKaString::ExceptLeftIncluding(const wchar_t* set) const
{
    return Removed(SpanRange(set, true));
}

CKaString CKaString::ExceptLeftExcluding(const wchar_t* set) const
{
    return Removed(SpanRange(set, false));
}

void CKaString::DeleteLeft(unsigned long count)
{
    Remove(LeftRange(count));
}

void CKaString::DeleteRight(unsigned long count)
{
    Remove(RightRange(count));
}

void CKaString::DeleteMid(unsigned long index)
{
    Remove(MidRange(index));
}

void CKaString::DeleteMid(unsigned long index, unsigned long count)
{
    Remove(CheckedRange(index, count));
}

void CKaString::Delete(unsigned long index, unsigned long count)
{
    DeleteMid(index, count);
}

void CKaString::DeleteLeftIncluding(const wchar_t* set)
{
    Remove(SpanRange(set, true));
}

void CKaString::DeleteLeftExcluding(const wchar_t* set)
{
    Remove(SpanRange(set, false));
}
