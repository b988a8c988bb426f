#include "zelka/kastringtraits.h"
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <new>
#include "zelka/kaexception.h"
#include "kastring_internal.h"
#include "core/kaallocation.h"

namespace KaStringDetail {

TKaEmptyStringData g_emptyData = {{0, 0, KaLockNone, 0}, {0}};

} // namespace KaStringDetail

namespace {

wchar_t g_emptyText[1] = {0};

long Normalise(int result)
{
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

const wchar_t* SkipSpace(const wchar_t* p)
{
    while (*p && CKaStringTraits::IsSpace(*p)) ++p;
    return p;
}

// Shared tail of the number parsers: the runtime parses from `start`, and the number counts only
// when nothing but white space follows it.
template <class Parse>
TKaConversionResult ParseNumber(const wchar_t* start, Parse parse)
{
    wchar_t* end = nullptr;
    errno = 0;
    parse(start, &end);
    if (errno != 0) return KaConversionOutOfRange;
    return *SkipSpace(end) ? KaConversionNotANumber : KaConversionOk;
}

} // namespace

TKaStringData* CKaStringTraits::EmptyData()
{
    return KaStringDetail::EmptyBlock();
}

TKaStringData* CKaStringTraits::AllocateData(unsigned long n)
{
    const unsigned long long bytes =
        sizeof(TKaStringData) + static_cast<unsigned long long>(n) * sizeof(wchar_t);
    if (KaAllocationRefused(bytes)) throw CKaCodeException(E_OUTOFMEMORY);
    void* p = ::operator new(static_cast<std::size_t>(bytes), std::nothrow);
    if (!p) throw CKaCodeException(E_OUTOFMEMORY);
    return static_cast<TKaStringData*>(p);
}

void CKaStringTraits::FreeData(TKaStringData* data)
{
    ::operator delete(data);
}

wchar_t* CKaStringTraits::DataText(TKaStringData* data)
{
    return KaStringDetail::TextOf(data);
}

wchar_t* CKaStringTraits::Empty()
{
    return g_emptyText;
}

wchar_t CKaStringTraits::EOS()
{
    return 0;
}

unsigned long CKaStringTraits::Length(const wchar_t* s)
{
    return static_cast<unsigned long>(lstrlenW(s));
}

long CKaStringTraits::Compare(const wchar_t* a, const wchar_t* b)
{
    return Normalise(wcscmp(a, b));
}

long CKaStringTraits::CompareNoCase(const wchar_t* a, const wchar_t* b)
{
    return Normalise(_wcsicmp(a, b));
}

long CKaStringTraits::Collate(const wchar_t* a, const wchar_t* b)
{
    return Normalise(wcscoll(a, b));
}

long CKaStringTraits::CollateNoCase(const wchar_t* a, const wchar_t* b)
{
    return Normalise(_wcsicoll(a, b));
}

unsigned long CKaStringTraits::Span(const wchar_t* s, const wchar_t* set)
{
    return static_cast<unsigned long>(wcsspn(s, set));
}

unsigned long CKaStringTraits::CSpan(const wchar_t* s, const wchar_t* set)
{
    return static_cast<unsigned long>(wcscspn(s, set));
}

const wchar_t* CKaStringTraits::Next(const wchar_t* p)
{
    return p + 1;
}

bool CKaStringTraits::IsSpace(wchar_t ch)
{
    return iswspace(ch) != 0;
}

wchar_t* CKaStringTraits::MakeUpper(wchar_t* s)
{
    return _wcsupr(s);
}

wchar_t* CKaStringTraits::MakeLower(wchar_t* s)
{
    return _wcslwr(s);
}

wchar_t* CKaStringTraits::MakeReverse(wchar_t* s)
{
    return _wcsrev(s);
}

TKaConversionResult CKaStringTraits::ToInteger(const wchar_t* s, unsigned long radix,
                                               bool& negative, unsigned __int64& value)
{
    const wchar_t* p = SkipSpace(s);
    if (!*p) return KaConversionNotANumber;
    negative = *p == L'-';
    if (negative) ++p;
    // A lone "-" parses as 0: the runtime's rules decide what follows the sign.
    return ParseNumber(p, [&](const wchar_t* start, wchar_t** end) {
        value = _wcstoui64(start, end, static_cast<int>(radix));
    });
}

TKaConversionResult CKaStringTraits::ToFloat(const wchar_t* s, double& value)
{
    const wchar_t* p = SkipSpace(s);
    if (!*p) return KaConversionNotANumber;
    return ParseNumber(p, [&](const wchar_t* start, wchar_t** end) {
        value = wcstod(start, end);
    });
}

unsigned long CKaStringTraits::GetFormattedLength(const wchar_t* format, va_list args)
{
    return static_cast<unsigned long>(_vscwprintf_p(format, args));
}

unsigned long CKaStringTraits::Format(wchar_t* buffer, const wchar_t* format, va_list args)
{
    return static_cast<unsigned long>(_vswprintf_p(buffer, 0x7FFFFFFF, format, args));
}
