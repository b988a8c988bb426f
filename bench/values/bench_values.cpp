// Speed of the BSTR string and the value types against the platform's own calls, measured in the
// same run: copying a CKaSysString against SysAllocStringLen copies, date conversions against
// SystemTimeToFileTime/FileTimeToSystemTime, and GUID text both ways against
// StringFromGUID2/CLSIDFromString. Each pair is checked to give the same result first.
#include <windows.h>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

template <class T>
void Keep(T& value)
{
    asm volatile("" : "+m"(value) : : "memory");
}

template <class Ours, class Baseline>
TKaBenchTimes Time(long rounds, Ours ours, Baseline baseline)
{
    TKaBenchTimes best = KaBenchBest(
        15, [&] { for (long i = 0; i < rounds; ++i) ours(); },
        [&] { for (long i = 0; i < rounds; ++i) baseline(); });
    best.library /= rounds;
    best.baseline /= rounds;
    return best;
}

void Report(const char* what, TKaBenchTimes times, const char* aim, long perRun = 1)
{
    times.library /= perRun;
    times.baseline /= perRun;
    std::printf("%-46s %9.1f ns %9.1f ns  ratio %6.2f  (aim: %s)\n", what, times.library * 1e9,
                times.baseline * 1e9, times.baseline / times.library, aim);
}

void Check(bool same, const char* what)
{
    if (same) return;
    std::printf("MISMATCH: %s\n", what);
    std::exit(1);
}

void BenchSysStringCopy()
{
    wchar_t text[101];
    for (int i = 0; i < 100; ++i) text[i] = static_cast<wchar_t>(L'a' + i % 26);
    text[100] = 0;
    const CKaSysString ours(text);
    const BSTR theirs = SysAllocStringLen(text, 100);
    {
        const CKaSysString copy = ours;
        const BSTR other = SysAllocStringLen(theirs, SysStringLen(theirs));
        Check(copy.getLength() == SysStringLen(other) &&
                  std::wmemcmp(copy.getSz(), other, 100) == 0,
              "BSTR copies");
        SysFreeString(other);
    }
    Report("copy a 100-character BSTR string", Time(
               200000,
               [&] {
                   CKaSysString copy = ours;
                   Keep(copy);
               },
               [&] {
                   BSTR copy = SysAllocStringLen(theirs, SysStringLen(theirs));
                   Keep(copy);
                   SysFreeString(copy);
               }),
           "ratio >= 5");
    SysFreeString(theirs);
}

// Day counts of the library against FILETIME days (counted from 1601).
void BenchDates()
{
    const long days1601 = CKaDate(1601, 1, 1, 0).getDays();
    const long first = CKaDate(1700, 1, 1, 0).getDays();
    const long count = 100000;
    const auto fileTimeOf = [&](long days) {
        const unsigned __int64 ticks = static_cast<unsigned __int64>(days - days1601) * 864000000000ULL;
        FILETIME ft;
        ft.dwLowDateTime = static_cast<DWORD>(ticks);
        ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
        return ft;
    };
    for (long n = first; n < first + count; n += 997) {
        SYSTEMTIME st;
        FILETIME ft = fileTimeOf(n);
        FileTimeToSystemTime(&ft, &st);
        long y, m, d;
        CKaDate(n, 0).GetDate(y, m, d);
        Check(y == st.wYear && m == st.wMonth && d == st.wDay, "date decomposition");
    }

    long sum = 0;
    Report("decompose a day count vs FileTimeToSystemTime", Time(
               1,
               [&] {
                   for (long n = first; n < first + count; ++n) {
                       long y, m, d;
                       CKaDate(n, 0).GetDate(y, m, d);
                       sum += d;
                   }
               },
               [&] {
                   for (long n = first; n < first + count; ++n) {
                       SYSTEMTIME st;
                       FILETIME ft = fileTimeOf(n);
                       FileTimeToSystemTime(&ft, &st);
                       sum += st.wDay;
                   }
               }),
           "ratio >= 1", count);
    Keep(sum);
    std::printf("%-46s %9.0f per second\n", "  dates decomposed",
                count / Time(1, [&] {
                    for (long n = first; n < first + count; ++n) {
                        long y, m, d;
                        CKaDate(n, 0).GetDate(y, m, d);
                        sum += y;
                    }
                }, [] {}).library);

    SYSTEMTIME st = {};
    st.wYear = 2024;
    st.wMonth = 2;
    st.wDay = 29;
    FILETIME ft;
    SystemTimeToFileTime(&st, &ft);
    const unsigned __int64 ticks = (static_cast<unsigned __int64>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    Check(CKaDate(2024, 2, 29, 0).getDays() - days1601 == static_cast<long>(ticks / 864000000000ULL),
          "date composition");
    Report("compose a date vs SystemTimeToFileTime", Time(
               1,
               [&] {
                   for (long i = 0; i < count; ++i) {
                       sum += CKaDate(1700 + i % 600, 1 + i % 12, 1 + i % 28, 0).getDays();
                   }
               },
               [&] {
                   for (long i = 0; i < count; ++i) {
                       st.wYear = static_cast<WORD>(1700 + i % 600);
                       st.wMonth = static_cast<WORD>(1 + i % 12);
                       st.wDay = static_cast<WORD>(1 + i % 28);
                       SystemTimeToFileTime(&st, &ft);
                       sum += ft.dwLowDateTime;
                   }
               }),
           "ratio >= 1", count);
    Keep(sum);
}

void BenchGuidText()
{
    const CKaGuid guid(true);
    wchar_t text[40];
    StringFromGUID2(guid, text, 40);
    Check(guid.getAsBracedString() == text, "GUID to text");
    GUID parsed;
    CLSIDFromString(text, &parsed);
    Check(CKaGuid(text) == parsed, "GUID from text");
    const CKaString braced(text);

    Report("GUID to braced text vs StringFromGUID2", Time(
               100000,
               [&] {
                   CKaString s = guid.getAsBracedString();
                   Keep(s);
               },
               [&] {
                   wchar_t out[40];
                   StringFromGUID2(guid, out, 40);
                   Keep(out);
               }),
           "ratio 1.0");
    Report("GUID from braced text vs CLSIDFromString", Time(
               100000,
               [&] {
                   CKaGuid g(braced);
                   Keep(g);
               },
               [&] {
                   GUID g;
                   CLSIDFromString(text, &g);
                   Keep(g);
               }),
           "ratio 1.0");
}

} // namespace

int main()
{
    BenchSysStringCopy();
    BenchDates();
    BenchGuidText();
    return 0;
}
