#ifndef ZELKA_SRC_VALUES_KACALENDAR_H
#define ZELKA_SRC_VALUES_KACALENDAR_H

// Calendar arithmetic shared by the date and time classes; not part of the library's interface.
#include <climits>
#include "zelka/kabinary.h"
#include "zelka/kaexception.h"

namespace KaCalendar {

const __int64 g_msPerDay = 86400000;

// Division rounding toward minus infinity (b > 0).
inline __int64 FloorDiv(__int64 a, __int64 b)
{
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// Year 0, -4 and 2000 are leap years; 100, -100 and 1900 are not.
inline bool IsLeapYear(__int64 year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Month 1..12; month 13 is the January that follows.
inline long MonthLength(__int64 year, long month)
{
    static const long lengths[] = {31, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31, 31};
    return month == 2 && IsLeapYear(year) ? 29 : lengths[month];
}

// The day count of 1 January of `year`: 365 days a year plus the leap days before it (year 0
// is the first of them, which the rounding toward minus infinity counts for negative years).
inline __int64 DaysBeforeYear(__int64 year)
{
    return 365 * year + FloorDiv(year + 3, 4) - FloorDiv(year + 99, 100) +
           FloorDiv(year + 399, 400);
}

// Day counts and years must fit the 32 bits the calendar fields hold.
inline long CheckedLong(__int64 value)
{
    if (value < LONG_MIN || value > LONG_MAX) throw CKaCodeException(E_INVALIDARG);
    return static_cast<long>(value);
}

// Exactly -1, 0 or +1.
template <class T>
long Compared(T a, T b)
{
    return a < b ? -1 : (a > b ? 1 : 0);
}

// Sums that wrap around instead of overflowing, where the values are kept unchecked.
inline __int64 WrappedSum(__int64 a, __int64 b)
{
    return static_cast<__int64>(static_cast<unsigned __int64>(a) + static_cast<unsigned __int64>(b));
}

inline __int64 WrappedNegation(__int64 a)
{
    return static_cast<__int64>(0 - static_cast<unsigned __int64>(a));
}

inline long Wrapped32(unsigned long value)
{
    return static_cast<long>(value);
}

// Dates, times and date-times write their count, then their zone in 16 bits (cut on writing,
// sign-extended on reading). A value read short throws before the target changes.
inline void WriteCount(CKaBinaryWriter& target, long count)
{
    target.WriteI4(count);
}

inline void WriteCount(CKaBinaryWriter& target, __int64 count)
{
    target.WriteI8(count);
}

inline void ReadCount(CKaBinaryReader& source, long& count)
{
    count = source.ReadI4();
}

inline void ReadCount(CKaBinaryReader& source, __int64& count)
{
    count = source.ReadI8();
}

template <class T>
void WriteZoned(CKaRef<CKaBinaryWriter>& writer, T count, long timeZone)
{
    CKaBinaryWriter& target = *writer;
    WriteCount(target, count);
    target.WriteI2(static_cast<short>(timeZone));
}

template <class T>
void ReadZoned(CKaRef<CKaBinaryReader>& reader, T& count, long& timeZone)
{
    CKaBinaryReader& source = *reader;
    T readCount;
    ReadCount(source, readCount);
    const short readZone = source.ReadI2();
    count = readCount;
    timeZone = readZone;
}

} // namespace KaCalendar

#endif
