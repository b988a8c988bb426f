#ifndef ZELKA_KASTRING_H
#define ZELKA_KASTRING_H

#include <cstdarg>
#include "kaexport.h"
#include "karef.h"
#include "kastringtraits.h"

class CKaModule;

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
    ~CKaString();

    CKaString& operator=(const CKaString& other);
    CKaString& operator=(const wchar_t* text);
    void SetText(const CKaString& other);
    void SetText(const wchar_t* text);
    void SetText(const wchar_t* text, unsigned long count);
    void SetText(wchar_t ch, unsigned long count);

    // Reading
    unsigned long getLength() const;
    unsigned long getCapacity() const;
    bool getIsEmpty() const;
    const wchar_t* getSz() const;
    operator const wchar_t*() const;

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

    // Search: a failed forward search reports the length.
    bool Find(wchar_t ch, unsigned long& pos) const;
    bool Find(wchar_t ch, unsigned long from, unsigned long& pos) const;

    // Extraction
    CKaString Left(unsigned long count) const;

    // Modification
    void Append(const CKaString& text);
    void Append(const wchar_t* text);
    void Append(const wchar_t* text, unsigned long count);

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

private:
    static TKaStringData* NewData(unsigned long capacity, long lockState);
    static void TakeData(TKaStringData* data);
    static void DropData(TKaStringData* data);
    static void SetDataLength(TKaStringData* data, unsigned long length);
    static bool IsWritableInPlace(const TKaStringData* data, unsigned long capacity);
    void Replace(TKaStringData* data);
    void Rebuild(unsigned long capacity, long lockState, unsigned long index,
                 unsigned long removed, unsigned long inserted);
    void LockData(long lockState, unsigned long capacity);
    TKaStringData* LockedData() const;
    void CheckIndex(unsigned long index) const;

    wchar_t* m_text;
};

// Text on the left compares as the string on the right would, mirrored.
inline bool operator==(const wchar_t* a, const CKaString& b) { return b.Compare(a) == 0; }
inline bool operator!=(const wchar_t* a, const CKaString& b) { return b.Compare(a) != 0; }
inline bool operator<(const wchar_t* a, const CKaString& b) { return b.Compare(a) > 0; }
inline bool operator<=(const wchar_t* a, const CKaString& b) { return b.Compare(a) >= 0; }
inline bool operator>(const wchar_t* a, const CKaString& b) { return b.Compare(a) < 0; }
inline bool operator>=(const wchar_t* a, const CKaString& b) { return b.Compare(a) <= 0; }

#endif
