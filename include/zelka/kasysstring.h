#ifndef ZELKA_KASYSSTRING_H
#define ZELKA_KASYSSTRING_H

#include "kaexport.h"
#include "karef.h"
#include "kastring.h"

struct TKaSysStringNode;

// The COM-facing twin of CKaString: the text lives in an Automation BSTR, so it crosses COM
// calls without conversion (Attach/Detach move a BSTR in and out, operator& hands a BSTR* to a
// callee). Copies share one counted node that owns the BSTR; a write first gives the writer a
// node of its own. Lengths come from SysStringLen, so the text may hold 0 characters, but
// unsharing copies the text only up to the first of them (SysAllocString): a copy that is
// written to keeps just the part before its first 0.
// The operations not described here behave as their CKaString namesakes, with the same range
// codes; the editing members keep the BSTR exactly as long as the text.
class ZELKA_API CKaSysString
{
public:
    CKaSysString() noexcept : m_node(nullptr) {}
    CKaSysString(const CKaSysString& other);
    CKaSysString(CKaSysString&& other) noexcept : m_node(other.m_node) { other.m_node = nullptr; }
    CKaSysString(const wchar_t* text);
    CKaSysString(const wchar_t* text, unsigned long count);
    CKaSysString(wchar_t ch, unsigned long count);
    // ANSI text in the system's code page.
    CKaSysString(const char* text);
    CKaSysString(const char* text, unsigned long count);
    ~CKaSysString();

    CKaSysString& operator=(const CKaSysString& other);
    CKaSysString& operator=(CKaSysString&& other);
    CKaSysString& operator=(const wchar_t* text);
    CKaSysString& operator=(const char* text);
    void SetText(const CKaSysString& other);
    void SetText(const wchar_t* text);
    void SetText(const wchar_t* text, unsigned long count);
    void SetText(wchar_t ch, unsigned long count);
    void SetText(const char* text);
    void SetText(const char* text, unsigned long count);

    // Reading. getSz() is never null (an empty string gives one process-wide empty BSTR); the
    // conversion to wchar_t* is the BSTR as stored, null for an empty string.
    const wchar_t* getSz() const;
    operator wchar_t*() const;
    unsigned long getLength() const;
    bool getIsEmpty() const { return getLength() == 0; }
    wchar_t getAt(unsigned long index) const;
    wchar_t operator[](unsigned long index) const { return getAt(index); }
    // A negative index is out of range.
    wchar_t operator[](int index) const;
    wchar_t operator[](unsigned int index) const { return getAt(index); }
    void setAt(unsigned long index, wchar_t ch);

    // The BSTR and its ownership.
    // A new BSTR of the whole text, owned by the caller (an empty BSTR for an empty string).
    wchar_t* Copy() const;
    // Takes ownership of `bstr`. Throws KA_E_LOCKED_IN_PLACE when the string is locked in place
    // (even without text); on any failure the caller keeps `bstr`.
    void Attach(wchar_t* bstr);
    // Gives up the BSTR: the caller owns what comes back. Without text: an empty BSTR when
    // `emptyIfNone`, else null.
    wchar_t* Detach(bool emptyIfNone);
    // For a callee that stores a new BSTR: the text is dropped first, and the string owns
    // whatever the callee leaves there.
    wchar_t** operator&();
    // The BSTR of a node of our own, locked (in place: it may not be replaced until Unlock);
    // null when there is no text.
    wchar_t* Lock(bool inPlace);
    void Unlock();
    wchar_t* Unshare();

    // Conversion to the other string type (a copy of the whole text).
    CKaString getString() const;

    // Comparison: exactly -1, 0 or +1 (up to the first 0 character); the operators are ordinal.
    long Compare(const wchar_t* other) const;
    long CompareNoCase(const wchar_t* other) const;
    long Collate(const wchar_t* other) const;
    long CollateNoCase(const wchar_t* other) const;
    bool operator==(const wchar_t* other) const { return Compare(other) == 0; }
    bool operator!=(const wchar_t* other) const { return Compare(other) != 0; }
    bool operator<(const wchar_t* other) const { return Compare(other) < 0; }
    bool operator<=(const wchar_t* other) const { return Compare(other) <= 0; }
    bool operator>(const wchar_t* other) const { return Compare(other) > 0; }
    bool operator>=(const wchar_t* other) const { return Compare(other) >= 0; }
    bool operator==(const CKaSysString& other) const { return Compare(other.getSz()) == 0; }
    bool operator!=(const CKaSysString& other) const { return Compare(other.getSz()) != 0; }
    bool operator<(const CKaSysString& other) const { return Compare(other.getSz()) < 0; }
    bool operator<=(const CKaSysString& other) const { return Compare(other.getSz()) <= 0; }
    bool operator>(const CKaSysString& other) const { return Compare(other.getSz()) > 0; }
    bool operator>=(const CKaSysString& other) const { return Compare(other.getSz()) >= 0; }
    // Both string types convert to a C string; these settle which conversion a mixed
    // comparison takes.
    bool operator==(const CKaString& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaString& other) const { return Compare(other) != 0; }

    // Search, as CKaString's.
    bool Find(wchar_t ch, unsigned long& pos) const;
    bool Find(wchar_t ch, unsigned long from, unsigned long& pos) const;
    bool FindOneOf(const wchar_t* set, unsigned long& pos) const;
    bool FindOneOf(const wchar_t* set, unsigned long from, unsigned long& pos) const;
    bool FindString(const wchar_t* sub, unsigned long& pos) const;
    bool FindString(const wchar_t* sub, unsigned long from, unsigned long& pos) const;
    bool ReverseFind(wchar_t ch, unsigned long& pos) const;

    // Extraction, as CKaString's.
    CKaSysString Left(unsigned long count) const;
    CKaSysString Right(unsigned long count) const;
    CKaSysString Mid(unsigned long index) const;
    CKaSysString Mid(unsigned long index, unsigned long count) const;
    CKaSysString LeftIncluding(const wchar_t* set) const;
    CKaSysString LeftExcluding(const wchar_t* set) const;
    void ExtractLeft(unsigned long count);
    void ExtractRight(unsigned long count);
    void ExtractMid(unsigned long index);
    void ExtractMid(unsigned long index, unsigned long count);
    void Extract(unsigned long index, unsigned long count);
    void ExtractLeftIncluding(const wchar_t* set);
    void ExtractLeftExcluding(const wchar_t* set);
    CKaSysString ExceptLeft(unsigned long count) const;
    CKaSysString ExceptRight(unsigned long count) const;
    CKaSysString ExceptMid(unsigned long index) const;
    CKaSysString ExceptMid(unsigned long index, unsigned long count) const;
    CKaSysString ExceptLeftIncluding(const wchar_t* set) const;
    CKaSysString ExceptLeftExcluding(const wchar_t* set) const;
    void DeleteLeft(unsigned long count);
    void DeleteRight(unsigned long count);
    void DeleteMid(unsigned long index);
    void DeleteMid(unsigned long index, unsigned long count);
    void Delete(unsigned long index, unsigned long count);
    void DeleteLeftIncluding(const wchar_t* set);
    void DeleteLeftExcluding(const wchar_t* set);

    // Modification, as CKaString's.
    void Insert(unsigned long index, const CKaSysString& text);
    void Insert(unsigned long index, const wchar_t* text);
    void Insert(unsigned long index, const wchar_t* text, unsigned long count);
    void Insert(unsigned long index, wchar_t ch, unsigned long count);
    void Append(const CKaSysString& text);
    void Append(const wchar_t* text);
    void Append(const wchar_t* text, unsigned long count);
    void Append(wchar_t ch, unsigned long count);
    void Prepend(const CKaSysString& text);
    void Prepend(const wchar_t* text);
    void Prepend(const wchar_t* text, unsigned long count);
    void Prepend(wchar_t ch, unsigned long count);
    CKaSysString& operator+=(const CKaSysString& text);
    CKaSysString& operator+=(const wchar_t* text);
    CKaSysString& operator+=(wchar_t ch);
    void Overwrite(unsigned long index, const CKaSysString& text);
    void Overwrite(unsigned long index, const wchar_t* text);
    void Overwrite(unsigned long index, const wchar_t* text, unsigned long count);
    void Overwrite(unsigned long index, wchar_t ch, unsigned long count);
    CKaSysString Concat(const CKaSysString& text, bool atEnd) const;
    CKaSysString Concat(const wchar_t* text, bool atEnd) const;
    CKaSysString Concat(const wchar_t* text, unsigned long count, bool atEnd) const;
    CKaSysString Concat(wchar_t ch, unsigned long count, bool atEnd) const;
    CKaSysString operator+(const CKaSysString& text) const { return Concat(text, true); }
    CKaSysString operator+(const wchar_t* text) const { return Concat(text, true); }
    CKaSysString operator+(wchar_t ch) const { return Concat(ch, 1, true); }
    // Characters added by growing are 0 (setLength) or `ch`.
    void setLength(unsigned long length);
    void SetLengthFill(unsigned long length, wchar_t ch);
    void Clear();

    // Number parsing, always throwing CKaCodeException: E_INVALIDARG for a radix outside
    // 2..36, KA_E_NOT_A_NUMBER, KA_E_NUMBER_OUT_OF_RANGE for a sign on an unsigned type or a
    // 64-bit overflow, and E_FAIL when the value does not fit a narrower type.
    unsigned char ToU1(unsigned long radix = 10) const;
    unsigned short ToU2(unsigned long radix = 10) const;
    unsigned long ToU4(unsigned long radix = 10) const;
    unsigned __int64 ToU8(unsigned long radix = 10) const;
    char ToI1(unsigned long radix = 10) const;
    short ToI2(unsigned long radix = 10) const;
    long ToI4(unsigned long radix = 10) const;
    __int64 ToI8(unsigned long radix = 10) const;
    float ToF4() const;
    double ToF8() const;

    // The binary form of CKaString: a 32-bit count of UTF-16 units, then the units.
    void Serialize(CKaRef<class CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<class CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<class CKaBinaryStreamerAspect> aspect) const;

private:
    // The text without the shared empty BSTR ("" when there is none).
    const wchar_t* Text() const;
    void ReleaseNode() noexcept;
    void MakeBlankNode();
    // Stores `text` (owned: taken on success) as the whole content.
    void Store(wchar_t* text);
    // A copy of the text to edit, and the edited text put back exactly as long as it is.
    CKaString EditableText();
    void StoreText(const CKaString& text);
    template <class F>
    void Edit(F edit);

    TKaSysStringNode* m_node;
};

// Text on the left compares as the string on the right would, mirrored.
inline bool operator==(const wchar_t* a, const CKaSysString& b) { return b.Compare(a) == 0; }
inline bool operator!=(const wchar_t* a, const CKaSysString& b) { return b.Compare(a) != 0; }
inline bool operator<(const wchar_t* a, const CKaSysString& b) { return b.Compare(a) > 0; }
inline bool operator<=(const wchar_t* a, const CKaSysString& b) { return b.Compare(a) >= 0; }
inline bool operator>(const wchar_t* a, const CKaSysString& b) { return b.Compare(a) < 0; }
inline bool operator>=(const wchar_t* a, const CKaSysString& b) { return b.Compare(a) <= 0; }
inline bool operator==(const CKaString& a, const CKaSysString& b) { return b.Compare(a) == 0; }
inline bool operator!=(const CKaString& a, const CKaSysString& b) { return b.Compare(a) != 0; }
inline CKaSysString operator+(const wchar_t* a, const CKaSysString& b)
{
    return b.Concat(a, false);
}

#endif
