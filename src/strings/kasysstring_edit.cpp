// Searching, extracting and editing a BSTR string. Each works on the text as a CKaString, so
// the two string types share one set of rules and range checks; an edit then puts the text back
// in a BSTR of exactly its length.
#include "zelka/kasysstring.h"
#include "zelka/kaexception.h"

// ---- search ---------------------------------------------------------------------------------

bool CKaSysString::Find(wchar_t ch, unsigned long& pos) const
{
    return getString().Find(ch, pos);
}

bool CKaSysString::Find(wchar_t ch, unsigned long from, unsigned long& pos) const
{
    return getString().Find(ch, from, pos);
}

bool CKaSysString::FindOneOf(const wchar_t* set, unsigned long& pos) const
{
    return getString().FindOneOf(set, pos);
}

bool CKaSysString::FindOneOf(const wchar_t* set, unsigned long from, unsigned long& pos) const
{
    return getString().FindOneOf(set, from, pos);
}

bool CKaSysString::FindString(const wchar_t* sub, unsigned long& pos) const
{
    return getString().FindString(sub, pos);
}

bool CKaSysString::FindString(const wchar_t* sub, unsigned long from, unsigned long& pos) const
{
    return getString().FindString(sub, from, pos);
}

bool CKaSysString::ReverseFind(wchar_t ch, unsigned long& pos) const
{
    return getString().ReverseFind(ch, pos);
}

// ---- parts kept or removed into a new string -------------------------------------------------

CKaSysString CKaSysString::Left(unsigned long count) const
{
    return getString().Left(count).getSysString();
}

CKaSysString CKaSysString::Right(unsigned long count) const
{
    return getString().Right(count).getSysString();
}

CKaSysString CKaSysString::Mid(unsigned long index) const
{
    return getString().Mid(index).getSysString();
}

CKaSysString CKaSysString::Mid(unsigned long index, unsigned long count) const
{
    return getString().Mid(index, count).getSysString();
}

CKaSysString CKaSysString::LeftIncluding(const wchar_t* set) const
{
    return getString().LeftIncluding(set).getSysString();
}

CKaSysString CKaSysString::LeftExcluding(const wchar_t* set) const
{
    return getString().LeftExcluding(set).getSysString();
}

CKaSysString CKaSysString::ExceptLeft(unsigned long count) const
{
    return getString().ExceptLeft(count).getSysString();
}

CKaSysString CKaSysString::ExceptRight(unsigned long count) const
{
    return getString().ExceptRight(count).getSysString();
}

CKaSysString CKaSysString::ExceptMid(unsigned long index) const
{
    return getString().ExceptMid(index).getSysString();
}

CKaSysString CKaSysString::ExceptMid(unsigned long index, unsigned long count) const
{
    return getString().ExceptMid(index, count).getSysString();
}

CKaSysString CKaSysString::ExceptLeftIncluding(const wchar_t* set) const
{
    return getString().ExceptLeftIncluding(set).getSysString();
}

CKaSysString CKaSysString::ExceptLeftExcluding(const wchar_t* set) const
{
    return getString().ExceptLeftExcluding(set).getSysString();
}

// ---- changes in place ------------------------------------------------------------------------

// Every edit runs on a CKaString copy, which holds the editing rules, and is stored back.
template <class F>
void CKaSysString::Edit(F edit)
{
    CKaString edited = EditableText();
    edit(edited);
    StoreText(edited);
}

void CKaSysString::ExtractLeft(unsigned long count)
{
    Edit([&](CKaString& edited) { edited.ExtractLeft(count); });
}

void CKaSysString::ExtractRight(unsigned long count)
{
    Edit([&](CKaString& edited) { edited.ExtractRight(count); });
}

void CKaSysString::ExtractMid(unsigned long index)
{
    Edit([&](CKaString& edited) { edited.ExtractMid(index); });
}

void CKaSysString::ExtractMid(unsigned long index, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.ExtractMid(index, count); });
}

void CKaSysString::Extract(unsigned long index, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Extract(index, count); });
}

void CKaSysString::ExtractLeftIncluding(const wchar_t* set)
{
    Edit([&](CKaString& edited) { edited.ExtractLeftIncluding(set); });
}

void CKaSysString::ExtractLeftExcluding(const wchar_t* set)
{
    Edit([&](CKaString& edited) { edited.ExtractLeftExcluding(set); });
}

void CKaSysString::DeleteLeft(unsigned long count)
{
    Edit([&](CKaString& edited) { edited.DeleteLeft(count); });
}

void CKaSysString::DeleteRight(unsigned long count)
{
    Edit([&](CKaString& edited) { edited.DeleteRight(count); });
}

void CKaSysString::DeleteMid(unsigned long index)
{
    Edit([&](CKaString& edited) { edited.DeleteMid(index); });
}

void CKaSysString::DeleteMid(unsigned long index, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.DeleteMid(index, count); });
}

void CKaSysString::Delete(unsigned long index, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Delete(index, count); });
}

void CKaSysString::DeleteLeftIncluding(const wchar_t* set)
{
    Edit([&](CKaString& edited) { edited.DeleteLeftIncluding(set); });
}

void CKaSysString::DeleteLeftExcluding(const wchar_t* set)
{
    Edit([&](CKaString& edited) { edited.DeleteLeftExcluding(set); });
}

void CKaSysString::Insert(unsigned long index, const wchar_t* text)
{
    Edit([&](CKaString& edited) { edited.Insert(index, text); });
}

void CKaSysString::Insert(unsigned long index, const wchar_t* text, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Insert(index, text, count); });
}

void CKaSysString::Insert(unsigned long index, wchar_t ch, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Insert(index, ch, count); });
}

void CKaSysString::Overwrite(unsigned long index, const wchar_t* text)
{
    Edit([&](CKaString& edited) { edited.Overwrite(index, text); });
}

void CKaSysString::Overwrite(unsigned long index, const wchar_t* text, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Overwrite(index, text, count); });
}

void CKaSysString::Overwrite(unsigned long index, wchar_t ch, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Overwrite(index, ch, count); });
}

void CKaSysString::SetLengthFill(unsigned long length, wchar_t ch)
{
    Edit([&](CKaString& edited) { edited.SetLengthFill(length, ch); });
}

void CKaSysString::Insert(unsigned long index, const CKaSysString& text)
{
    // A copy first: `text` may be this very string, which the edit unshares.
    const CKaString inserted = text.getString();
    Insert(index, inserted.getSz(), inserted.getLength());
}

void CKaSysString::Overwrite(unsigned long index, const CKaSysString& text)
{
    const CKaString written = text.getString();
    Overwrite(index, written.getSz(), written.getLength());
}

void CKaSysString::Append(const CKaSysString& text)
{
    const CKaString appended = text.getString();
    Append(appended.getSz(), appended.getLength());
}

void CKaSysString::Append(const wchar_t* text)
{
    Edit([&](CKaString& edited) { edited.Append(text); });
}

void CKaSysString::Append(const wchar_t* text, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Append(text, count); });
}

void CKaSysString::Append(wchar_t ch, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Append(ch, count); });
}

void CKaSysString::Prepend(const CKaSysString& text)
{
    const CKaString prepended = text.getString();
    Prepend(prepended.getSz(), prepended.getLength());
}

void CKaSysString::Prepend(const wchar_t* text)
{
    Edit([&](CKaString& edited) { edited.Prepend(text); });
}

void CKaSysString::Prepend(const wchar_t* text, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Prepend(text, count); });
}

void CKaSysString::Prepend(wchar_t ch, unsigned long count)
{
    Edit([&](CKaString& edited) { edited.Prepend(ch, count); });
}

CKaSysString& CKaSysString::operator+=(const CKaSysString& text)
{
    Append(text);
    return *this;
}

CKaSysString& CKaSysString::operator+=(const wchar_t* text)
{
    Append(text);
    return *this;
}

CKaSysString& CKaSysString::operator+=(wchar_t ch)
{
    Append(ch, 1);
    return *this;
}

// A copy of a shared string would lose what follows a 0: concatenation works on the text.
CKaSysString CKaSysString::Concat(const CKaSysString& text, bool atEnd) const
{
    return getString().Concat(text.getString(), atEnd).getSysString();
}

CKaSysString CKaSysString::Concat(const wchar_t* text, bool atEnd) const
{
    return getString().Concat(text, atEnd).getSysString();
}

CKaSysString CKaSysString::Concat(const wchar_t* text, unsigned long count, bool atEnd) const
{
    return getString().Concat(text, count, atEnd).getSysString();
}

CKaSysString CKaSysString::Concat(wchar_t ch, unsigned long count, bool atEnd) const
{
    return getString().Concat(ch, count, atEnd).getSysString();
}

void CKaSysString::setLength(unsigned long length)
{
    // A BSTR handed to COM must not carry uninitialised units: growth adds zeros.
    SetLengthFill(length, 0);
}

void CKaSysString::Clear()
{
    SetText(static_cast<const wchar_t*>(nullptr), 0);
}
