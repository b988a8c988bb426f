#ifndef ZELKA_KAGUID_H
#define ZELKA_KAGUID_H

#include "kaexport.h"
#include "karef.h"
#include "kastring.h"

class CKaSysString;

// A globally unique identifier: exactly one platform GUID and nothing else (no virtual
// members), so a CKaGuid goes wherever a GUID is read. The null GUID is the empty value.
// Text is the registry form: 38 characters, braced, upper-case hexadecimal digits.
class ZELKA_API CKaGuid : public GUID
{
public:
    // The null GUID; a new one from CoCreateGuid when `create`.
    explicit CKaGuid(bool create = false);
    CKaGuid(const CKaGuid& other) = default;
    CKaGuid(const GUID& guid);
    // Registry text with or without braces, digits in either case. A failed parse throws the
    // system's code (CO_E_CLASSSTRING...). The text forms are explicit: a literal converts to
    // CKaString as well, and an overload set taking either must not become ambiguous.
    explicit CKaGuid(const CKaString& text);
    explicit CKaGuid(const CKaSysString& text);
    explicit CKaGuid(const char* text);
    explicit CKaGuid(const wchar_t* text);
    ~CKaGuid() = default;

    // A failed parse leaves the value as it was.
    const CKaGuid& operator=(const CKaGuid& other);
    const CKaGuid& operator=(const GUID& guid);
    const CKaGuid& operator=(const CKaString& text);
    const CKaGuid& operator=(const CKaSysString& text);
    const CKaGuid& operator=(const char* text);
    const CKaGuid& operator=(const wchar_t* text);

    bool operator==(const GUID& other) const;
    bool operator!=(const GUID& other) const { return !(*this == other); }

    void Create();
    void Clear();
    bool getIsNull() const;

    // 38 characters braced, 36 without.
    CKaString ToString(bool braced) const;
    CKaString getAsString() const { return ToString(false); }
    CKaString getAsBracedString() const { return ToString(true); }

    // The programmatic identifier registered for this class identifier ("" for the null GUID);
    // the system's code when there is none.
    CKaString ToProgId() const;
    // The class identifier registered for `progId`.
    void FromProgId(const CKaString& progId);

    // 16 bytes as the structure lies in memory.
    void Serialize(CKaRef<class CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<class CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<class CKaBinaryStreamerAspect> aspect) const;

private:
    void ConstructFromString(const CKaString& text);
};

// For CKaGuid keys of CKaMap: the four 32-bit words exclusive-or'ed.
ZELKA_API unsigned long KaHashElement(const CKaGuid& guid);

#endif
