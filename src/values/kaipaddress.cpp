#include "zelka/kaipaddress.h"
#include <cstring>
#include "zelka/kabinary.h"
#include "zelka/kaexception.h"

CKaIpAddress::CKaIpAddress() : m_bytes{0, 0, 0, 0} {}

CKaIpAddress::CKaIpAddress(unsigned char b1, unsigned char b2, unsigned char b3,
                           unsigned char b4)
    : m_bytes{b1, b2, b3, b4}
{
}

CKaIpAddress::CKaIpAddress(const CKaString& text) : CKaIpAddress()
{
    FromString(text);
}

CKaIpAddress::~CKaIpAddress() = default;

CKaIpAddress& CKaIpAddress::operator=(const CKaString& text)
{
    FromString(text);
    return *this;
}

bool CKaIpAddress::operator==(const CKaIpAddress& other) const
{
    return std::memcmp(m_bytes, other.m_bytes, sizeof(m_bytes)) == 0;
}

void CKaIpAddress::GetBytes(unsigned char& b1, unsigned char& b2, unsigned char& b3,
                            unsigned char& b4) const
{
    b1 = m_bytes[0];
    b2 = m_bytes[1];
    b3 = m_bytes[2];
    b4 = m_bytes[3];
}

CKaIpAddress CKaIpAddress::Null()
{
    return CKaIpAddress();
}

CKaIpAddress CKaIpAddress::LocalHost()
{
    return CKaIpAddress(127, 0, 0, 1);
}

CKaString CKaIpAddress::ToString() const
{
    return CKaString::Build(L"%u.%u.%u.%u", static_cast<unsigned>(m_bytes[0]),
                            static_cast<unsigned>(m_bytes[1]), static_cast<unsigned>(m_bytes[2]),
                            static_cast<unsigned>(m_bytes[3]));
}

void CKaIpAddress::FromString(const CKaString& text)
{
    unsigned char parsed[4] = {0, 0, 0, 0};
    unsigned long parts = 0;
    CKaString rest(text);
    for (;;) {
        rest.TrimLeft();
        if (rest.getIsEmpty()) break;
        CKaString part;
        unsigned long dot = 0;
        if (rest.Find(L'.', dot)) {
            part = rest.Left(dot);
            rest.DeleteLeft(dot + 1);
        } else {
            part = rest;
            rest.Clear();
        }
        part.TrimRight();
        // Every part is a number, even one past the fourth: "1.2.3.4.x" is not a number.
        const unsigned char byte = part.ToU1(10);
        if (parts < 4) parsed[parts] = byte;
        ++parts;
    }
    if (parts != 4) throw CKaCodeException(E_INVALIDARG);
    std::memcpy(m_bytes, parsed, sizeof(m_bytes));
}

void CKaIpAddress::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    (*writer).Write(m_bytes, sizeof(m_bytes));
}

void CKaIpAddress::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    unsigned char loaded[4];
    (*reader).ReadExact(loaded, sizeof(loaded));
    std::memcpy(m_bytes, loaded, sizeof(m_bytes));
}

unsigned long CKaIpAddress::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect>) const
{
    return sizeof(m_bytes);
}
