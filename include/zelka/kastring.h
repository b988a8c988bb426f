#ifndef ZELKA_KASTRING_H
#define ZELKA_KASTRING_H

#include <cstdarg>
#include <cstddef>
#include "kaexport.h"
#include "karef.h"
#include "kastringtraits.h"

class CKaError;
class CKaModule;
class CKaSysString;

// Notation of a floating-point number built into text.
enum TKaFloatFormat
{
    KaFloatExponent = 0, // "e": 1.500000e+000
    KaFloatFixed = 1,    // "f": 1.500000
    KaFloatGeneral = 2   // "g": 1.5
};

// UTF-16 text, one pointer wide, in shared copy-on-write blocks with exact-fit growth and a
// lockable buffer. Lengths and indexes are character counts (UTF-16 units).
class ZELKA_API CKaString
{
public:
    CKaString();
    CKaString(const CKaString& other);
    CKaString(const wchar_t* text);
    CKaString(const wchar_t* text, unsigned long count);
    CKaString(wchar_t ch, unsigned long count);
    // ANSI text in the system's code page.
    CKaString(const char* text);
    CKaString(const char* text, unsigned long count);
    // The whole text of a BSTR string, 0 characters included.
    CKaString(const CKaSysString& text);
    ~CKaString();

    CKaString& operator=(const CKaString& other);
    CKaString& operator=(const wchar_t* text);
    CKaString& operator=(const char* text);
    CKaString& operator=(const CKaSysString& text);
    void SetText(const CKaString& other);
    void SetText(const wchar_t* text);
    void SetText(const wchar_t* text, unsigned long count);
    void SetText(wchar_t ch, unsigned long count);
    void SetText(const char* text);
    void SetText(const char* text, unsigned long count);
    void SetText(const CKaSysString& text);

    // Reading
    unsigned long getLength() const;
    unsigned long getCapacity() const;
    bool getIsEmpty() const;
    const wchar_t* getSz() const;
    operator const wchar_t*() const;
    // Single characters: an index at or past the length throws KA_E_INDEX_OUT_OF_RANGE (setAt:
    // above the length; at the length it is KA_E_COUNT_OUT_OF_RANGE).
    // The text (never null) and its length read straight from the block in front of the text,
    // without a call into the library: for inner loops in callers' templates, such as the hash
    // and comparison of map keys, where a call for each shows.
    const wchar_t* getSzInline() const { return m_text ? m_text : L""; }
    unsigned long getLengthInline() const
    {
        return m_text ? (reinterpret_cast<const TKaStringData*>(m_text) - 1)->length : 0;
    }
    wchar_t getAt(unsigned long index) const;
    wchar_t operator[](unsigned long index) const;
    wchar_t operator[](int index) const;
    // size_t indexes would otherwise match both forms above equally well. One beyond 32 bits
    // (64-bit builds) is past any string's end: it is passed on as the largest index.
    wchar_t operator[](std::size_t index) const
    {
        return getAt(index > 0xFFFFFFFFu ? 0xFFFFFFFFul : static_cast<unsigned long>(index));
    }
    void setAt(unsigned long index, wchar_t ch);
    // A BSTR string with the whole text.
    CKaSysString getSysString() const;

    // Comparison: exactly -1, 0 or +1; the operators compare ordinally.
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
    bool operator==(const CKaString& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaString& other) const { return Compare(other) != 0; }
    bool operator<(const CKaString& other) const { return Compare(other) < 0; }
    bool operator<=(const CKaString& other) const { return Compare(other) <= 0; }
    bool operator>(const CKaString& other) const { return Compare(other) > 0; }
    bool operator>=(const CKaString& other) const { return Compare(other) >= 0; }

    // Search: a failed forward search reports the length, a failed ReverseFind 0xFFFFFFFF.
    bool Find(wchar_t ch, unsigned long& pos) const;
    bool Find(wchar_t ch, unsigned long from, unsigned long& pos) const;
    bool FindOneOf(const wchar_t* set, unsigned long& pos) const;
    bool FindOneOf(const wchar_t* set, unsigned long from, unsigned long& pos) const;
    bool FindString(const wchar_t* sub, unsigned long& pos) const;
    bool FindString(const wchar_t* sub, unsigned long from, unsigned long& pos) const;
    bool ReverseFind(wchar_t ch, unsigned long& pos) const;

    // Extraction. Each part of the text comes in four forms: kept as a new string (Left),
    // kept in place (ExtractLeft), removed into a new string (ExceptLeft), removed in place
    // (DeleteLeft). An index above the length throws KA_E_INDEX_OUT_OF_RANGE, an index + count
    // above it KA_E_COUNT_OUT_OF_RANGE.
    CKaString Left(unsigned long count) const;
    CKaString Right(unsigned long count) const;
    CKaString Mid(unsigned long index) const;
    CKaString Mid(unsigned long index, unsigned long count) const;
    CKaString LeftIncluding(const wchar_t* set) const;
    CKaString LeftExcluding(const wchar_t* set) const;
    void ExtractLeft(unsigned long count);
    void ExtractRight(unsigned long count);
    void ExtractMid(unsigned long index);
    void ExtractMid(unsigned long index, unsigned long count);
    void Extract(unsigned long index, unsigned long count);
    void ExtractLeftIncluding(const wchar_t* set);
    void ExtractLeftExcluding(const wchar_t* set);
    CKaString ExceptLeft(unsigned long count) const;
    CKaString ExceptRight(unsigned long count) const;
    CKaString ExceptMid(unsigned long index) const;
    CKaString ExceptMid(unsigned long index, unsigned long count) const;
    CKaString ExceptLeftIncluding(const wchar_t* set) const;
    CKaString ExceptLeftExcluding(const wchar_t* set) const;
    void DeleteLeft(unsigned long count);
    void DeleteRight(unsigned long count);
    void DeleteMid(unsigned long index);
    void DeleteMid(unsigned long index, unsigned long count);
    void Delete(unsigned long index, unsigned long count);
    void DeleteLeftIncluding(const wchar_t* set);
    void DeleteLeftExcluding(const wchar_t* set);

    // Modification. Text comes as a string, a C string, counted characters or one character
    // repeated; a null pointer is "" and a count of 0 changes nothing.
    void Insert(unsigned long index, const CKaString& text);
    void Insert(unsigned long index, const wchar_t* text);
    void Insert(unsigned long index, const wchar_t* text, unsigned long count);
    void Insert(unsigned long index, wchar_t ch, unsigned long count);
    void Append(const CKaString& text);
    void Append(const wchar_t* text);
    void Append(const wchar_t* text, unsigned long count);
    void Append(wchar_t ch, unsigned long count);
    void Prepend(const CKaString& text);
    void Prepend(const wchar_t* text);
    void Prepend(const wchar_t* text, unsigned long count);
    void Prepend(wchar_t ch, unsigned long count);
    CKaString& operator+=(const CKaString& text);
    CKaString& operator+=(const wchar_t* text);
    CKaString& operator+=(wchar_t ch);
    // Replaces characters from `index` on; the length stays.
    void Overwrite(unsigned long index, const CKaString& text);
    void Overwrite(unsigned long index, const wchar_t* text);
    void Overwrite(unsigned long index, const wchar_t* text, unsigned long count);
    void Overwrite(unsigned long index, wchar_t ch, unsigned long count);
    // A copy with the text added at the end (atEnd) or at the start.
    CKaString Concat(const CKaString& text, bool atEnd) const;
    CKaString Concat(const wchar_t* text, bool atEnd) const;
    CKaString Concat(const wchar_t* text, unsigned long count, bool atEnd) const;
    CKaString Concat(wchar_t ch, unsigned long count, bool atEnd) const;
    CKaString operator+(const CKaString& text) const;
    CKaString operator+(const wchar_t* text) const;
    CKaString operator+(wchar_t ch) const;
    // Every occurrence, left to right without overlap; returns how many were replaced.
    unsigned long Replace(wchar_t oldChar, wchar_t newChar);
    unsigned long Replace(const wchar_t* oldText, const wchar_t* newText);
    // Case and order change up to the first 0 character.
    void MakeUpper();
    void MakeLower();
    void MakeReverse();

    // Trimming: white space (iswspace), one character or any character of a set. The scans stop
    // at the first 0 character.
    void Trim();
    void Trim(wchar_t ch);
    void Trim(const wchar_t* set);
    void TrimLeft();
    void TrimLeft(wchar_t ch);
    void TrimLeft(const wchar_t* set);
    void TrimRight();
    void TrimRight(wchar_t ch);
    void TrimRight(const wchar_t* set);
    CKaString Trimmed() const;
    CKaString Trimmed(wchar_t ch) const;
    CKaString Trimmed(const wchar_t* set) const;
    CKaString TrimmedLeft() const;
    CKaString TrimmedLeft(wchar_t ch) const;
    CKaString TrimmedLeft(const wchar_t* set) const;
    CKaString TrimmedRight() const;
    CKaString TrimmedRight(wchar_t ch) const;
    CKaString TrimmedRight(const wchar_t* set) const;

    // Number parsing. TryTo... returns null and sets `value`, or returns an error
    // (KA_E_NOT_A_NUMBER, KA_E_NUMBER_OUT_OF_RANGE) and leaves `value` alone; To... throws that
    // error. A radix outside 2..36 is a programming error: both forms throw E_INVALIDARG.
    CKaRef<CKaError> TryToU1(unsigned char& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToU2(unsigned short& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToU4(unsigned long& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToU8(unsigned __int64& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToI1(char& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToI2(short& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToI4(long& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToI8(__int64& value, unsigned long radix = 10) const;
    CKaRef<CKaError> TryToF4(float& value) const;
    CKaRef<CKaError> TryToF8(double& value) const;
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

    // Number formatting. Integers in radix 8, 10 or 16 (others throw E_INVALIDARG), negative
    // ones as a sign and a magnitude, without prefix or padding; `upper` gives "FF" for "ff".
    static CKaString Build(unsigned __int64 value, unsigned long radix, bool upper);
    static CKaString Build(__int64 value, unsigned long radix, bool upper);
    static CKaString Build(unsigned char value, unsigned long radix, bool upper);
    static CKaString Build(unsigned short value, unsigned long radix, bool upper);
    static CKaString Build(unsigned long value, unsigned long radix, bool upper);
    static CKaString Build(char value, unsigned long radix, bool upper);
    static CKaString Build(short value, unsigned long radix, bool upper);
    static CKaString Build(long value, unsigned long radix, bool upper);
    // int is long on this platform; these keep plain literals such as Build(5, 10, false) whole.
    static CKaString Build(int value, unsigned long radix, bool upper)
    {
        return Build(static_cast<long>(value), radix, upper);
    }
    static CKaString Build(unsigned int value, unsigned long radix, bool upper)
    {
        return Build(static_cast<unsigned long>(value), radix, upper);
    }
    // Floating point as printf's "%e", "%f" or "%g"; a negative precision is the runtime's
    // default. `upper` gives "E+000", "INF"...
    static CKaString Build(double value, TKaFloatFormat format, long precision, bool upper);
    static CKaString Build(float value, TKaFloatFormat format, long precision, bool upper);

    // Positional printf formatting ("%d" and numbered "%1$d") through the system runtime.
    static CKaString Build(const wchar_t* format, ...);
    static CKaString BuildV(const wchar_t* format, va_list args);
    void Format(const wchar_t* format, ...);
    void FormatV(const wchar_t* format, va_list args);

    // FormatMessage inserts ("%1", "%2!d!"); false (and an empty string) when formatting fails.
    static CKaString BuildMessage(const wchar_t* text, ...);
    static CKaString BuildMessageV(const wchar_t* text, va_list args);
    bool FormatMessageW(const wchar_t* text, ...);
    bool FormatMessageV(const wchar_t* text, va_list args);

    // String resources of a module (a null module throws E_POINTER). The resource forms load
    // the text, then format it as the forms above; a missing resource loads as "" (false).
    bool LoadStringW(CKaRef<CKaModule> module, unsigned int id);
    static CKaString Build(CKaRef<CKaModule> module, unsigned int id, ...);
    void Format(CKaRef<CKaModule> module, unsigned int id, ...);
    static CKaString BuildMessage(CKaRef<CKaModule> module, unsigned int id, ...);
    bool FormatMessageW(CKaRef<CKaModule> module, unsigned int id, ...);

    // Binary form: a 32-bit count of UTF-16 units, then the units (little endian). Reading a
    // count the stream cannot hold throws E_FAIL and leaves the string as it was.
    void Serialize(CKaRef<class CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<class CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<class CKaBinaryStreamerAspect> aspect) const;

    // Storage
    void Grow(unsigned long capacity);
    void Shrink(unsigned long capacity);
    void ShrinkToFit();
    wchar_t* Unshare();
    wchar_t* UnshareGrow(unsigned long capacity);
    wchar_t* Lock(bool inPlace);
    wchar_t* LockGrow(unsigned long capacity, bool inPlace);
    void Unlock(unsigned long length);
    void UnlockKeepLength();
    void UnlockFindNull();
    void setLength(unsigned long length);
    void SetLengthFill(unsigned long length, wchar_t ch);
    void Clear();

protected:
    TKaStringData* Data() const;
    static TKaStringData* Data(const wchar_t* text);

    // Makes room for `inserted` characters at `index` in place of `removed` ones, following the
    // writable-block rule; returns where the new characters go (left uninitialised).
    wchar_t* Splice(unsigned long index, unsigned long removed, unsigned long inserted);
    // Splice, then copies `count` characters from `text` into the gap (text may be our own).
    void SpliceText(unsigned long index, unsigned long removed, const wchar_t* text,
                    unsigned long count);
    // Whether `text` points into this string's own block.
    bool IsOwnText(const wchar_t* text) const;

private:
    static TKaStringData* NewData(unsigned long capacity, TKaLockMode lockState);
    static void TakeData(TKaStringData* data);
    static void DropData(TKaStringData* data);
    static void SetDataLength(TKaStringData* data, unsigned long length);
    static bool IsWritableInPlace(const TKaStringData* data, unsigned long capacity);
    void Replace(TKaStringData* data);
    void Rebuild(unsigned long capacity, TKaLockMode lockState, unsigned long index,
                 unsigned long removed, unsigned long inserted);
    void LockData(TKaLockMode lockState, unsigned long capacity);
    TKaStringData* LockedData() const;
    void CheckIndex(unsigned long index) const;

    // A part of the text, checked against the length when it is made.
    struct Range
    {
        unsigned long index;
        unsigned long count;
    };
    Range CheckedRange(unsigned long index, unsigned long count) const;
    Range LeftRange(unsigned long count) const;
    Range RightRange(unsigned long count) const;
    Range MidRange(unsigned long index) const;
    Range SpanRange(const wchar_t* set, bool including) const;
    // The part that stays after trimming `set` (null: white space) from the chosen ends.
    Range TrimRange(const wchar_t* set, bool left, bool right) const;
    CKaString Kept(Range range) const;
    CKaString Removed(Range range) const;
    void Keep(Range range);
    void Remove(Range range);

    wchar_t* m_text;
};

// Text on the left compares as the string on the right would, mirrored.
inline bool operator==(const wchar_t* a, const CKaString& b) { return b.Compare(a) == 0; }
inline bool operator!=(const wchar_t* a, const CKaString& b) { return b.Compare(a) != 0; }
inline bool operator<(const wchar_t* a, const CKaString& b) { return b.Compare(a) > 0; }
inline bool operator<=(const wchar_t* a, const CKaString& b) { return b.Compare(a) >= 0; }
inline bool operator>(const wchar_t* a, const CKaString& b) { return b.Compare(a) < 0; }
inline bool operator>=(const wchar_t* a, const CKaString& b) { return b.Compare(a) <= 0; }
// Text on the left of + goes before the string.
inline CKaString operator+(const wchar_t* a, const CKaString& b) { return b.Concat(a, false); }

#endif
