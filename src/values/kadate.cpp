// Dates and times of day.
#include "zelka/kadatetime.h"
#include "zelka/kabinary.h"
#include "kacalendar.h"

using namespace KaCalendar;

// ---- CKaDate --------------------------------------------------------------------------------

CKaDate::CKaDate() : m_days(0), m_timeZone(0) {}

CKaDate::CKaDate(long days, long timeZone) : m_days(days), m_timeZone(timeZone) {}

CKaDate::CKaDate(long year, long month, long day, long timeZone)
    : m_days(Compose(year, month, day)), m_timeZone(timeZone)
{
}

CKaDate::~CKaDate() = default;

long CKaDate::Compose(long year, long month, long day)
{
    if (month < 1 || month > 12) throw CKaCodeException(KA_E_DATE_INVALID_MONTH);
    if (day < 1 || day > MonthLength(year, month)) throw CKaCodeException(KA_E_DATE_INVALID_DAY);
    static const long before[] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const long leapDay = month > 2 && IsLeapYear(year) ? 1 : 0;
    return CheckedLong(DaysBeforeYear(year) + before[month] + leapDay + day - 1);
}

void CKaDate::Decompose(long days, long& year, long& month, long& day)
{
    // Counted from 1 March of year 0, every year ends with its leap day, so the 400-year cycle,
    // the year within it and the month within the year follow by division (the month lengths
    // from March on repeat as 31, 30, 31, 30, 31 in a five-month pattern of 153 days). All in
    // 32 bits: 64-bit division is a library call on 32-bit processors.
    const long cycleDays = 146097;
    long cycle = days / cycleDays;
    long dayOfCycle = days % cycleDays - 60; // 1 March of year 0 is day 60
    while (dayOfCycle < 0) {
        dayOfCycle += cycleDays;
        --cycle;
    }
    const long yearOfCycle =
        (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / 146096) / 365;
    const long dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
    const long monthFromMarch = (5 * dayOfYear + 2) / 153;
    day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    year = cycle * 400 + yearOfCycle + (month <= 2 ? 1 : 0);
}

void CKaDate::GetDate(long& year, long& month, long& day) const
{
    Decompose(m_days, year, month, day);
}

void CKaDate::GetDate(long& year, long& month, long& day, long& timeZone) const
{
    GetDate(year, month, day);
    timeZone = m_timeZone;
}

void CKaDate::SetDate(long year, long month, long day)
{
    m_days = Compose(year, month, day);
}

void CKaDate::SetDate(long year, long month, long day, long timeZone)
{
    SetDate(year, month, day);
    m_timeZone = timeZone;
}

long CKaDate::getYear() const
{
    long year, month, day;
    GetDate(year, month, day);
    return year;
}

long CKaDate::getMonth() const
{
    long year, month, day;
    GetDate(year, month, day);
    return month;
}

long CKaDate::getDay() const
{
    long year, month, day;
    GetDate(year, month, day);
    return day;
}

void CKaDate::setYear(long newYear)
{
    long year, month, day;
    GetDate(year, month, day);
    SetDate(newYear, month, day);
}

void CKaDate::setMonth(long newMonth)
{
    long year, month, day;
    GetDate(year, month, day);
    SetDate(year, newMonth, day);
}

void CKaDate::setDay(long newDay)
{
    long year, month, day;
    GetDate(year, month, day);
    SetDate(year, month, newDay);
}

long CKaDate::Compare(const CKaDate& other) const
{
    return Compared(m_days, other.m_days);
}

void CKaDate::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    WriteZoned(writer, m_days, m_timeZone);
}

void CKaDate::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    ReadZoned(reader, m_days, m_timeZone);
}

unsigned long CKaDate::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return (*aspect).getI4Size() + (*aspect).getI2Size();
}

// ---- CKaTime --------------------------------------------------------------------------------

CKaTime::CKaTime() : m_milliSeconds(0), m_timeZone(0) {}

CKaTime::CKaTime(long milliSeconds, long timeZone)
    : m_milliSeconds(milliSeconds), m_timeZone(timeZone)
{
}

CKaTime::CKaTime(long hour, long minute, long second, long milliSecond, long timeZone)
    : m_milliSeconds(Compose(hour, minute, second, milliSecond)), m_timeZone(timeZone)
{
}

CKaTime::~CKaTime() = default;

long CKaTime::Compose(long hour, long minute, long second, long milliSecond)
{
    // Unchecked fields may overflow 32 bits: the count wraps around.
    return Wrapped32(((static_cast<unsigned long>(hour) * 60 + minute) * 60 + second) * 1000 +
                     milliSecond);
}

void CKaTime::Decompose(long milliSeconds, long& hour, long& minute, long& second,
                        long& milliSecond)
{
    // Truncating division: a negative count gives fields of zero or below.
    hour = milliSeconds / 3600000;
    minute = milliSeconds % 3600000 / 60000;
    second = milliSeconds % 60000 / 1000;
    milliSecond = milliSeconds % 1000;
}

void CKaTime::GetTime(long& hour, long& minute, long& second, long& milliSecond) const
{
    Decompose(m_milliSeconds, hour, minute, second, milliSecond);
}

void CKaTime::GetTime(long& hour, long& minute, long& second, long& milliSecond,
                      long& timeZone) const
{
    GetTime(hour, minute, second, milliSecond);
    timeZone = m_timeZone;
}

void CKaTime::SetTime(long hour, long minute, long second, long milliSecond)
{
    m_milliSeconds = Compose(hour, minute, second, milliSecond);
}

void CKaTime::SetTime(long hour, long minute, long second, long milliSecond, long timeZone)
{
    SetTime(hour, minute, second, milliSecond);
    m_timeZone = timeZone;
}

long CKaTime::getHour() const
{
    long hour, minute, second, milliSecond;
    GetTime(hour, minute, second, milliSecond);
    return hour;
}

long CKaTime::getMinute() const
{
    long hour, minute, second, milliSecond;
    GetTime(hour, minute, second, milliSecond);
    return minute;
}

long CKaTime::getSecond() const
{
    long hour, minute, second, milliSecond;
    GetTime(hour, minute, second, milliSecond);
    return second;
}

long CKaTime::getMilliSecond() const
{
    long hour, minute, second, milliSecond;
    GetTime(hour, minute, second, milliSecond);
    return milliSecond;
}

void CKaTime::setHour(long hour)
{
    SetTime(hour, getMinute(), getSecond(), getMilliSecond());
}

void CKaTime::setMinute(long minute)
{
    SetTime(getHour(), minute, getSecond(), getMilliSecond());
}

void CKaTime::setSecond(long second)
{
    SetTime(getHour(), getMinute(), second, getMilliSecond());
}

void CKaTime::setMilliSecond(long milliSecond)
{
    SetTime(getHour(), getMinute(), getSecond(), milliSecond);
}

long CKaTime::Compare(const CKaTime& other) const
{
    const auto instant = [](const CKaTime& t) {
        return Wrapped32(static_cast<unsigned long>(t.m_milliSeconds) -
                         static_cast<unsigned long>(t.m_timeZone) * 60000);
    };
    return Compared(instant(*this), instant(other));
}

void CKaTime::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    WriteZoned(writer, m_milliSeconds, m_timeZone);
}

void CKaTime::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    ReadZoned(reader, m_milliSeconds, m_timeZone);
}

unsigned long CKaTime::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return 2 * (*aspect).getI4Size();
}
