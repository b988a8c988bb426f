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

// The value of each hexadecimal digit of ASCII, -1 for every other character.
struct THexDigits
{
    constexpr THexDigits() : value()
    {
        for (int i = 0; i < 128; ++i) value[i] = -1;
        for (int i = 0; i < 10; ++i) value['0' + i] = static_cast<signed char>(i);
        for (int i = 0; i < 6; ++i) {
            value['a' + i] = static_cast<signed char>(10 + i);
            value['A' + i] = static_cast<signed char>(10 + i);
        }
    }
    signed char value[128];
};

constexpr THexDigits g_hexDigits;

// `count` hexadecimal digits from `text` into `value`; false at anything else.
bool ReadHex(const wchar_t* text, int count, unsigned long& value)
{
    unsigned long v = 0;
    for (int i = 0; i < count; ++i) {
        const wchar_t ch = text[i];
        const int digit = ch < 128 ? g_hexDigits.value[ch] : -1;
        if (digit < 0) return false;
        v = v << 4 | static_cast<unsigned long>(digit);
    }
    value = v;
    return true;
}

// The 36 characters inside the braces of the registry form, read without the system when they
// are exactly 8-4-4-4-12 hexadecimal digits: the system accepts that form and reads it the same
// way. Anything else goes to the system, whose verdict and code stand.
bool ReadRegistryDigits(const wchar_t* inner, GUID& guid)
{
    if (inner[8] != L'-' || inner[13] != L'-' || inner[18] != L'-' || inner[23] != L'-') {
        return false;
    }
    unsigned long data1, data2, data3, clock, nodeHigh, nodeLow;
    if (!ReadHex(inner, 8, data1) || !ReadHex(inner + 9, 4, data2) ||
        !ReadHex(inner + 14, 4, data3) || !ReadHex(inner + 19, 4, clock) ||
        !ReadHex(inner + 24, 4, nodeHigh) || !ReadHex(inner + 28, 8, nodeLow)) {
        return false;
    }
    guid.Data1 = data1;
    guid.Data2 = static_cast<unsigned short>(data2);
    guid.Data3 = static_cast<unsigned short>(data3);
    const unsigned char data4[8] = {
        static_cast<unsigned char>(clock >> 8),     static_cast<unsigned char>(clock),
        static_cast<unsigned char>(nodeHigh >> 8),  static_cast<unsigned char>(nodeHigh),
        static_cast<unsigned char>(nodeLow >> 24),  static_cast<unsigned char>(nodeLow >> 16),
        static_cast<unsigned char>(nodeLow >> 8),   static_cast<unsigned char>(nodeLow)};
    std::memcpy(guid.Data4, data4, sizeof(data4));
    return true;
}

GUID ParsedGuid(const wchar_t* braced)
{
    GUID guid;
    KaThrowIfFailed(CLSIDFromString(braced, &guid));
    return guid;
}

GUID ParsedGuid(const CKaString& text)
{
    const unsigned long bracedLength = 38;
    const wchar_t* units = text.getSz();
    const unsigned long length = text.getLength();
    GUID guid;
    if (length == bracedLength && units[0] == L'{' && units[37] == L'}' &&
        ReadRegistryDigits(units + 1, guid)) {
        return guid;
    }
    if (length == bracedLength - 2 && ReadRegistryDigits(units, guid)) return guid;
    if (length && units[0] == L'{') {
        // The system reads up to the first 0: a registry form followed by a 0 and more text
        // must not pass as the form alone.
        if (length > bracedLength && std::wcslen(units) != length) {
            throw CKaCodeException(CO_E_CLASSSTRING);
        }
        return ParsedGuid(units);
    }
    // Bare text is braced, so that the system never takes it for a programmatic identifier.
    // The usual 36 characters are braced on the stack, longer text (never a GUID, but the
    // system gives the code) in a string of its own.
    if (length > bracedLength - 2) return ParsedGuid(CKaString(L"{" + text + L"}"));
    wchar_t braced[bracedLength + 1];
    braced[0] = L'{';
    std::wmemcpy(braced + 1, units, length);
    braced[length + 1] = L'}';
    braced[length + 2] = 0;
    return ParsedGuid(braced);
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
    // The registry form StringFromGUID2 writes, formatted here: the system call formats through
    // its printf and costs several times the rest of this conversion.
    wchar_t text[38];
    wchar_t* out = text;
    const auto hex = [&out](unsigned long value, int digits) {
        for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
            *out++ = L"0123456789ABCDEF"[(value >> shift) & 15];
        }
    };
    *out++ = L'{';
    hex(Data1, 8);
    *out++ = L'-';
    hex(Data2, 4);
    *out++ = L'-';
    hex(Data3, 4);
    *out++ = L'-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2) *out++ = L'-';
        hex(Data4[i], 2);
    }
    *out = L'}';
    return braced ? CKaString(text, 38) : CKaString(text + 1, 36);
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
