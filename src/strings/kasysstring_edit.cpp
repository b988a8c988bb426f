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

void CKaSysString::ExtractLeft(unsigned long count)
{
    CKaString edited = EditableText();
    edited.ExtractLeft(count);
    StoreText(edited);
}

void CKaSysString::ExtractRight(unsigned long count)
{
    CKaString edited = EditableText();
    edited.ExtractRight(count);
    StoreText(edited);
}

void CKaSysString::ExtractMid(unsigned long index)
{
    CKaString edited = EditableText();
    edited.ExtractMid(index);
    StoreText(edited);
}

void CKaSysString::ExtractMid(unsigned long index, unsigned long count)
{
    CKaString edited = EditableText();
    edited.ExtractMid(index, count);
    StoreText(edited);
}

void CKaSysString::Extract(unsigned long index, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Extract(index, count);
    StoreText(edited);
}

void CKaSysString::ExtractLeftIncluding(const wchar_t* set)
{
    CKaString edited = EditableText();
    edited.ExtractLeftIncluding(set);
    StoreText(edited);
}

void CKaSysString::ExtractLeftExcluding(const wchar_t* set)
{
    CKaString edited = EditableText();
    edited.ExtractLeftExcluding(set);
    StoreText(edited);
}

void CKaSysString::DeleteLeft(unsigned long count)
{
    CKaString edited = EditableText();
    edited.DeleteLeft(count);
    StoreText(edited);
}

void CKaSysString::DeleteRight(unsigned long count)
{
    CKaString edited = EditableText();
    edited.DeleteRight(count);
    StoreText(edited);
}

void CKaSysString::DeleteMid(unsigned long index)
{
    CKaString edited = EditableText();
    edited.DeleteMid(index);
    StoreText(edited);
}

void CKaSysString::DeleteMid(unsigned long index, unsigned long count)
{
    CKaString edited = EditableText();
    edited.DeleteMid(index, count);
    StoreText(edited);
}

void CKaSysString::Delete(unsigned long index, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Delete(index, count);
    StoreText(edited);
}

void CKaSysString::DeleteLeftIncluding(const wchar_t* set)
{
    CKaString edited = EditableText();
    edited.DeleteLeftIncluding(set);
    StoreText(edited);
}

void CKaSysString::DeleteLeftExcluding(const wchar_t* set)
{
    CKaString edited = EditableText();
    edited.DeleteLeftExcluding(set);
    StoreText(edited);
}

void CKaSysString::Insert(unsigned long index, const wchar_t* text)
{
    CKaString edited = EditableText();
    edited.Insert(index, text);
    StoreText(edited);
}

void CKaSysString::Insert(unsigned long index, const wchar_t* text, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Insert(index, text, count);
    StoreText(edited);
}

void CKaSysString::Insert(unsigned long index, wchar_t ch, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Insert(index, ch, count);
    StoreText(edited);
}

void CKaSysString::Overwrite(unsigned long index, const wchar_t* text)
{
    CKaString edited = EditableText();
    edited.Overwrite(index, text);
    StoreText(edited);
}

void CKaSysString::Overwrite(unsigned long index, const wchar_t* text, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Overwrite(index, text, count);
    StoreText(edited);
}

void CKaSysString::Overwrite(unsigned long index, wchar_t ch, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Overwrite(index, ch, count);
    StoreText(edited);
}

void CKaSysString::SetLengthFill(unsigned long length, wchar_t ch)
{
    CKaString edited = EditableText();
    edited.SetLengthFill(length, ch);
    StoreText(edited);
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
    CKaString edited = EditableText();
    edited.Append(text);
    StoreText(edited);
}

void CKaSysString::Append(const wchar_t* text, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Append(text, count);
    StoreText(edited);
}

void CKaSysString::Append(wchar_t ch, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Append(ch, count);
    StoreText(edited);
}

void CKaSysString::Prepend(const CKaSysString& text)
{
    const CKaString prepended = text.getString();
    Prepend(prepended.getSz(), prepended.getLength());
}

void CKaSysString::Prepend(const wchar_t* text)
{
    CKaString edited = EditableText();
    edited.Prepend(text);
    StoreText(edited);
}

void CKaSysString::Prepend(const wchar_t* text, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Prepend(text, count);
    StoreText(edited);
}

void CKaSysString::Prepend(wchar_t ch, unsigned long count)
{
    CKaString edited = EditableText();
    edited.Prepend(ch, count);
    StoreText(edited);
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
