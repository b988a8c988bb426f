#include "zelka/kaguid.h"
#include <cstdint>
#include <cstring>
#include <cwchar>
#include "zelka/kabinary.h"
#include "zelka/kaexception.h"
#include "zelka/kahandle.h"
#include "zelka/kasysstring.h"

static_assert(sizeof(CKaGuid) == sizeof(GUID), "a CKaGuid is exactly a GUID");

namespace {

// The GUID as four 32-bit words, for the null test and the hash.
struct TGuidWords
{
    explicit TGuidWords(const GUID& guid) { std::memcpy(words, &guid, sizeof(words)); }
    std::uint32_t words[4];
};

GUID ParsedGuid(const CKaString& text)
{
    // Bare text is braced, so that the system never takes it for a programmatic identifier.
    const CKaString braced =
        !text.getIsEmpty() && text[0ul] == L'{' ? text : L"{" + text + L"}";
    // The system reads up to the first 0: text hidden behind one must not pass unseen.
    if (std::wcslen(braced.getSz()) != braced.getLength()) throw CKaCodeException(CO_E_CLASSSTRING);
    GUID guid;
    KaThrowIfFailed(CLSIDFromString(braced.getSz(), &guid));
    return guid;
}

} // namespace

CKaGuid::CKaGuid(bool create) : GUID()
{
    if (create) Create();
}

CKaGuid::CKaGuid(const GUID& guid) : GUID(guid) {}

CKaGuid::CKaGuid(const CKaString& text) : GUID()
{
    ConstructFromString(text);
}

CKaGuid::CKaGuid(const CKaSysString& text) : GUID()
{
    ConstructFromString(text.getString());
}

CKaGuid::CKaGuid(const char* text) : GUID()
{
    ConstructFromString(CKaString(text));
}

CKaGuid::CKaGuid(const wchar_t* text) : GUID()
{
    ConstructFromString(CKaString(text));
}

void CKaGuid::ConstructFromString(const CKaString& text)
{
    // Parsed aside first: a failed parse leaves the value as it was.
    *static_cast<GUID*>(this) = ParsedGuid(text);
}

const CKaGuid& CKaGuid::operator=(const CKaGuid& other)
{
    *static_cast<GUID*>(this) = other;
    return *this;
}

const CKaGuid& CKaGuid::operator=(const GUID& guid)
{
    *static_cast<GUID*>(this) = guid;
    return *this;
}

const CKaGuid& CKaGuid::operator=(const CKaString& text)
{
    ConstructFromString(text);
    return *this;
}

const CKaGuid& CKaGuid::operator=(const CKaSysString& text)
{
    ConstructFromString(text.getString());
    return *this;
}

const CKaGuid& CKaGuid::operator=(const char* text)
{
    ConstructFromString(CKaString(text));
    return *this;
}

const CKaGuid& CKaGuid::operator=(const wchar_t* text)
{
    ConstructFromString(CKaString(text));
    return *this;
}

bool CKaGuid::operator==(const GUID& other) const
{
    return std::memcmp(static_cast<const GUID*>(this), &other, sizeof(GUID)) == 0;
}

void CKaGuid::Create()
{
    GUID created;
    KaThrowIfFailed(CoCreateGuid(&created));
    *static_cast<GUID*>(this) = created;
}

void CKaGuid::Clear()
{
    *static_cast<GUID*>(this) = GUID();
}

bool CKaGuid::getIsNull() const
{
    const TGuidWords g(*this);
    return (g.words[0] | g.words[1] | g.words[2] | g.words[3]) == 0;
}

CKaString CKaGuid::ToString(bool braced) const
{
    wchar_t text[100];
    // StringFromGUID2 fails only for a buffer too small for the 39 characters, and says no
    // more than that: a failure here is unexpected.
    const int written = StringFromGUID2(*this, text, 100);
    if (written == 0) throw CKaCodeException(E_UNEXPECTED);
    const unsigned long length = static_cast<unsigned long>(written) - 1;
    return braced ? CKaString(text, length) : CKaString(text + 1, length - 2);
}

CKaString CKaGuid::ToProgId() const
{
    if (getIsNull()) return CKaString();
    CKaOwnedCoTaskText progId;
    KaThrowIfFailed(ProgIDFromCLSID(*this, progId.Receive()));
    return CKaString(progId.Get());
}

void CKaGuid::FromProgId(const CKaString& progId)
{
    GUID found;
    KaThrowIfFailed(CLSIDFromProgID(progId.getSz(), &found));
    *static_cast<GUID*>(this) = found;
}

void CKaGuid::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    // Data1, Data2 and Data3 lie in memory little endian, as the format wants them.
    (*writer).Write(static_cast<const GUID*>(this), sizeof(GUID));
}

void CKaGuid::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    GUID loaded;
    (*reader).ReadExact(&loaded, sizeof(GUID));
    *static_cast<GUID*>(this) = loaded;
}

unsigned long CKaGuid::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect>) const
{
    return sizeof(GUID);
}

unsigned long KaHashElement(const CKaGuid& guid)
{
    const TGuidWords g(guid);
    return g.words[0] ^ g.words[1] ^ g.words[2] ^ g.words[3];
}
