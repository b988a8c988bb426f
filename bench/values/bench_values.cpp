// Speed of the BSTR string and the value types against the platform's own calls, measured in the
// same run: copying a CKaSysString against SysAllocStringLen copies, date conversions against
// FileTimeToSystemTime/SystemTimeToFileTime, and GUID text both ways against
// StringFromGUID2/CLSIDFromString. Each pair is checked to give the same result first.
#include <windows.h>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

const int g_runs = 15;

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
    const auto copyOurs = [&] {
        CKaSysString copy = ours;
        KaBenchKeep(copy);
    };
    const auto copyTheirs = [&] {
        BSTR copy = SysAllocStringLen(theirs, SysStringLen(theirs));
        KaBenchKeep(copy);
        SysFreeString(copy);
    };
    KaBenchReport("copy a 100-character BSTR string",
                  KaBenchPerCall(g_runs, 200000, copyOurs, copyTheirs), "ratio >= 5");
    SysFreeString(theirs);
}

// FILETIME ticks of a whole day.
const unsigned __int64 g_ticksPerDay = 864000000000ULL;

// Day counts of the library against FILETIME days (counted from 1601), one date a call.
void BenchDates()
{
    const long days1601 = CKaDate(1601, 1, 1, 0).getDays();
    const long first = CKaDate(1700, 1, 1, 0).getDays();
    const long count = 200000;
    const auto fileTimeOf = [&](long days) {
        const unsigned __int64 ticks = static_cast<unsigned __int64>(days - days1601) * g_ticksPerDay;
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

    long n = first;
    long sum = 0;
    const TKaBenchTimes decomposed = KaBenchPerCall(
        g_runs, count,
        [&] {
            long y, m, d;
            CKaDate(first + ++n % count, 0).GetDate(y, m, d);
            sum += d;
        },
        [&] {
            SYSTEMTIME st;
            FILETIME ft = fileTimeOf(first + ++n % count);
            FileTimeToSystemTime(&ft, &st);
            sum += st.wDay;
        });
    KaBenchReport("decompose a day count vs FileTimeToSystemTime", decomposed, "ratio >= 1");
    std::printf("  %.0f dates decomposed a second\n", 1 / decomposed.library);

    SYSTEMTIME st = {};
    st.wYear = 2024;
    st.wMonth = 2;
    st.wDay = 29;
    FILETIME ft;
    SystemTimeToFileTime(&st, &ft);
    const unsigned __int64 ticks =
        (static_cast<unsigned __int64>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    Check(CKaDate(2024, 2, 29, 0).getDays() - days1601 == static_cast<long>(ticks / g_ticksPerDay),
          "date composition");
    long i = 0;
    const TKaBenchTimes composed = KaBenchPerCall(
        g_runs, count,
        [&] {
            ++i;
            sum += CKaDate(1700 + i % 600, 1 + i % 12, 1 + i % 28, 0).getDays();
        },
        [&] {
            ++i;
            st.wYear = static_cast<WORD>(1700 + i % 600);
            st.wMonth = static_cast<WORD>(1 + i % 12);
            st.wDay = static_cast<WORD>(1 + i % 28);
            SystemTimeToFileTime(&st, &ft);
            sum += ft.dwLowDateTime;
        });
    KaBenchReport("compose a date vs SystemTimeToFileTime", composed, "ratio >= 1");
    std::printf("  %.0f dates composed a second\n", 1 / composed.library);
    KaBenchKeep(sum);
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

    KaBenchReport("GUID to braced text vs StringFromGUID2",
                  KaBenchPerCall(
                      g_runs, 100000,
                      [&] {
                          CKaString s = guid.getAsBracedString();
                          KaBenchKeep(s);
                      },
                      [&] {
                          wchar_t out[40];
                          StringFromGUID2(guid, out, 40);
                          KaBenchKeep(out);
                      }),
                  "ratio 1.0");
    KaBenchReport("GUID from braced text vs CLSIDFromString",
                  KaBenchPerCall(
                      g_runs, 100000,
                      [&] {
                          CKaGuid g(braced);
                          KaBenchKeep(g);
                      },
                      [&] {
                          GUID g;
                          CLSIDFromString(text, &g);
                          KaBenchKeep(g);
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
