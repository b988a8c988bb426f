// Conversions between strings and other data: ANSI text, numbers parsed from text and numbers
// built into text.
#include "zelka/kastring.h"
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include "zelka/kaexception.h"
#include "io/kacodepage.h"

namespace {

// The error a parse result stands for; null when the text converted.
CKaRef<CKaError> ConversionError(TKaConversionResult result)
{
    switch (result) {
    case KaConversionOk:
        return {};
    case KaConversionOutOfRange:
        return CKaError::Build(KA_E_NUMBER_OUT_OF_RANGE);
    default:
        return CKaError::Build(KA_E_NOT_A_NUMBER);
    }
}

// Every integer type parses as a 64-bit magnitude and a sign, then has to fit.
template <class T>
CKaRef<CKaError> TryToInteger(const CKaString& s, T& value, unsigned long radix)
{
    if (radix - 2 > 34) throw CKaCodeException(E_INVALIDARG);
    bool negative = false;
    unsigned __int64 magnitude = 0;
    CKaRef<CKaError> error =
        ConversionError(CKaStringTraits::ToInteger(s.getSz(), radix, negative, magnitude));
    if (error) return error;
    using Limits = std::numeric_limits<T>;
    // A sign on an unsigned type is out of range even for "-0"; a signed type reaches one
    // further below zero than above.
    const unsigned __int64 limit = static_cast<unsigned __int64>(Limits::max()) + negative;
    if ((negative && !Limits::is_signed) || magnitude > limit) {
        return CKaError::Build(KA_E_NUMBER_OUT_OF_RANGE);
    }
    value = static_cast<T>(negative ? 0 - magnitude : magnitude);
    return {};
}

template <class T>
CKaRef<CKaError> TryToFloat(const CKaString& s, T& value)
{
    double parsed = 0;
    CKaRef<CKaError> error = ConversionError(CKaStringTraits::ToFloat(s.getSz(), parsed));
    if (error) return error;
    if (std::isfinite(parsed) && std::fabs(parsed) > std::numeric_limits<T>::max()) {
        return CKaError::Build(KA_E_NUMBER_OUT_OF_RANGE);
    }
    value = static_cast<T>(parsed);
    return {};
}

// The throwing form of a TryTo... member.
template <class T, class... Args>
T Converted(const CKaString& s, CKaRef<CKaError> (CKaString::*tryTo)(T&, Args...) const,
            Args... args)
{
    T value = T();
    CKaRef<CKaError> error = (s.*tryTo)(value, args...);
    if (error) error->Throw();
    return value;
}

// The sign goes before the magnitude, so negative octal and hexadecimal numbers never show
// their two's complement.
CKaString BuildInteger(bool negative, unsigned __int64 magnitude, unsigned long radix, bool upper)
{
    const wchar_t* format = nullptr;
    switch (radix) {
    case 8:
        format = L"-%I64o";
        break;
    case 10:
        format = L"-%I64u";
        break;
    case 16:
        format = upper ? L"-%I64X" : L"-%I64x";
        break;
    default:
        throw CKaCodeException(E_INVALIDARG);
    }
    return CKaString::Build(negative ? format : format + 1, magnitude);
}

// [with precision][upper][notation]. The runtime has no upper-case fixed notation ("%F" is
// rejected): the lower-case one is upper-cased afterwards, as all upper-case results are.
const wchar_t* const g_floatFormats[2][2][3] = {
    {{L"%e", L"%f", L"%g"}, {L"%E", L"%f", L"%G"}},
    {{L"%.*e", L"%.*f", L"%.*g"}, {L"%.*E", L"%.*f", L"%.*G"}}};

} // namespace

// ---- ANSI text ------------------------------------------------------------------------------

CKaString::CKaString(const char* text) : CKaString()
{
    SetText(text);
}

CKaString::CKaString(const char* text, unsigned long count) : CKaString()
{
    SetText(text, count);
}

CKaString& CKaString::operator=(const char* text)
{
    SetText(text);
    return *this;
}

void CKaString::SetText(const char* text)
{
    SetText(text, text ? static_cast<unsigned long>(std::strlen(text)) : 0);
}

void CKaString::SetText(const char* text, unsigned long count)
{
    if (!text) count = 0;
    // The system counts in int: a longer text cannot be handed over in one piece.
    if (count > INT_MAX) throw CKaCodeException(E_INVALIDARG);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    const unsigned long length =
        count ? KaTryCodePageToUnits(CP_ACP, 0, bytes, count, nullptr, 0) : 0;
    if (length == 0 && getIsEmpty()) return;
    wchar_t* target = Splice(0, getLength(), length);
    if (length == 0) return;
    const unsigned long written = KaTryCodePageToUnits(CP_ACP, 0, bytes, count, target, length);
    if (written != length) setLength(written);
}

// ---- parsing --------------------------------------------------------------------------------

CKaRef<CKaError> CKaString::TryToU1(unsigned char& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToU2(unsigned short& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToU4(unsigned long& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToU8(unsigned __int64& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToI1(char& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToI2(short& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToI4(long& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToI8(__int64& value, unsigned long radix) const
{
    return TryToInteger(*this, value, radix);
}

CKaRef<CKaError> CKaString::TryToF4(float& value) const
{
    return TryToFloat(*this, value);
}

CKaRef<CKaError> CKaString::TryToF8(double& value) const
{
    return TryToFloat(*this, value);
}

unsigned char CKaString::ToU1(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToU1, radix);
}

unsigned short CKaString::ToU2(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToU2, radix);
}

unsigned long CKaString::ToU4(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToU4, radix);
}

unsigned __int64 CKaString::ToU8(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToU8, radix);
}

char CKaString::ToI1(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToI1, radix);
}

short CKaString::ToI2(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToI2, radix);
}

long CKaString::ToI4(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToI4, radix);
}

__int64 CKaString::ToI8(unsigned long radix) const
{
    return Converted(*this, &CKaString::TryToI8, radix);
}

float CKaString::ToF4() const
{
    return Converted(*this, &CKaString::TryToF4);
}

double CKaString::ToF8() const
{
    return Converted(*this, &CKaString::TryToF8);
}

// ---- number formatting ----------------------------------------------------------------------

CKaString CKaString::Build(unsigned __int64 value, unsigned long radix, bool upper)
{
    return BuildInteger(false, value, radix, upper);
}

CKaString CKaString::Build(__int64 value, unsigned long radix, bool upper)
{
    const auto bits = static_cast<unsigned __int64>(value);
    return BuildInteger(value < 0, value < 0 ? 0 - bits : bits, radix, upper);
}

CKaString CKaString::Build(unsigned char value, unsigned long radix, bool upper)
{
    return Build(static_cast<unsigned __int64>(value), radix, upper);
}

CKaString CKaString::Build(unsigned short value, unsigned long radix, bool upper)
{
    return Build(static_cast<unsigned __int64>(value), radix, upper);
}

CKaString CKaString::Build(unsigned long value, unsigned long radix, bool upper)
{
    return Build(static_cast<unsigned __int64>(value), radix, upper);
}

CKaString CKaString::Build(char value, unsigned long radix, bool upper)
{
    return Build(static_cast<__int64>(value), radix, upper);
}

CKaString CKaString::Build(short value, unsigned long radix, bool upper)
{
    return Build(static_cast<__int64>(value), radix, upper);
}

CKaString CKaString::Build(long value, unsigned long radix, bool upper)
{
    return Build(static_cast<__int64>(value), radix, upper);
}

CKaString CKaString::Build(double value, TKaFloatFormat format, long precision, bool upper)
{
    if (static_cast<unsigned long>(format) > KaFloatGeneral) {
        throw CKaCodeException(E_INVALIDARG);
    }
    const wchar_t* pattern = g_floatFormats[precision >= 0][upper][format];
    CKaString result = precision >= 0 ? Build(pattern, static_cast<int>(precision), value)
                                      : Build(pattern, value);
    if (upper) result.MakeUpper();
    return result;
}

CKaString CKaString::Build(float value, TKaFloatFormat format, long precision, bool upper)
{
    return Build(static_cast<double>(value), format, precision, upper);
}
