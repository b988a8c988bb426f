#ifndef ZELKA_KAIPADDRESS_H
#define ZELKA_KAIPADDRESS_H

#include "kaexport.h"
#include "karef.h"
#include "kastring.h"

// An IPv4 address: four bytes in text order (the first is the leftmost number of the dotted
// form).
class ZELKA_API CKaIpAddress
{
public:
    CKaIpAddress();
    CKaIpAddress(unsigned char b1, unsigned char b2, unsigned char b3, unsigned char b4);
    CKaIpAddress(const CKaIpAddress& other) = default;
    // Parses as FromString.
    explicit CKaIpAddress(const CKaString& text);
    virtual ~CKaIpAddress();

    CKaIpAddress& operator=(const CKaIpAddress& other) = default;
    CKaIpAddress& operator=(const CKaString& text);

    bool operator==(const CKaIpAddress& other) const;
    bool operator!=(const CKaIpAddress& other) const { return !(*this == other); }
    // True when any byte is not 0.
    explicit operator bool() const { return !getIsNull(); }

    void GetBytes(unsigned char& b1, unsigned char& b2, unsigned char& b3,
                  unsigned char& b4) const;
    static CKaIpAddress Null();
    static CKaIpAddress LocalHost();
    bool getIsNull() const { return *this == Null(); }
    bool getIsLocalHost() const { return *this == LocalHost(); }
    void Clear() { *this = Null(); }
    void SetLocalHost() { *this = LocalHost(); }

    // "%u.%u.%u.%u".
    CKaString ToString() const;
    // Dotted decimal; white space around each number is allowed and one dot may end the text.
    // Not exactly four numbers: E_INVALIDARG; a number CKaString::ToU1 refuses: what it throws.
    // On failure the address keeps its value.
    void FromString(const CKaString& text);

    // The four bytes in text order.
    void Serialize(CKaRef<class CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<class CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<class CKaBinaryStreamerAspect> aspect) const;

private:
    unsigned char m_bytes[4];
};

#endif
