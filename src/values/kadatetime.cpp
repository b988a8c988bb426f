// Points in time: a date and a time of day in one millisecond count.
#include "zelka/kadatetime.h"
#include "zelka/kabinary.h"
#include "kacalendar.h"

using namespace KaCalendar;

namespace {

// One field of the date or the time part changed through that part's setter.
template <class Value>
void ChangeDate(CKaDateTime& t, void (CKaDate::*set)(Value), Value value)
{
    CKaDate date = t.getDate();
    (date.*set)(value);
    t.setDate(date);
}

template <class Value>
void ChangeTime(CKaDateTime& t, void (CKaTime::*set)(Value), Value value)
{
    CKaTime time = t.getTime();
    (time.*set)(value);
    t.setTime(time);
}

// The zone a date-time built from `date` takes, which the date must share.
long SharedZone(const CKaDate& date, long timeZone)
{
    if (date.getTimeZone() != timeZone) throw CKaCodeException(KA_E_DATETIME_INVALID);
    return timeZone;
}

} // namespace

CKaDateTime::CKaDateTime() : m_timeZone(0), m_milliSeconds(0) {}

CKaDateTime::CKaDateTime(__int64 milliSeconds, long timeZone)
    : m_timeZone(timeZone), m_milliSeconds(milliSeconds)
{
}

CKaDateTime::CKaDateTime(const CKaDate& date, const CKaTime& time)
    : m_timeZone(SharedZone(date, time.getTimeZone())), m_milliSeconds(Compose(date, time))
{
}

CKaDateTime::CKaDateTime(const CKaDate& date, long hour, long minute, long second,
                         long milliSecond, long timeZone)
    : m_timeZone(SharedZone(date, timeZone)),
      m_milliSeconds(Compose(date, CKaTime(hour, minute, second, milliSecond, timeZone)))
{
}

CKaDateTime::CKaDateTime(long year, long month, long day, const CKaTime& time)
    : m_timeZone(time.getTimeZone()), m_milliSeconds(Compose(CKaDate(year, month, day, 0), time))
{
}

CKaDateTime::CKaDateTime(long year, long month, long day, long hour, long minute, long second,
                         long milliSecond, long timeZone)
    : m_timeZone(timeZone),
      m_milliSeconds(Compose(CKaDate(year, month, day, timeZone),
                             CKaTime(hour, minute, second, milliSecond, timeZone)))
{
}

CKaDateTime::~CKaDateTime() = default;

__int64 CKaDateTime::Compose(const CKaDate& date, const CKaTime& time)
{
    return date.getDays() * g_msPerDay + time.getMilliSeconds();
}

void CKaDateTime::Decompose(__int64 milliSeconds, CKaDate& date, CKaTime& time)
{
    // Rounding the day down keeps the time of day positive before year 0 too.
    const long days = CheckedLong(FloorDiv(milliSeconds, g_msPerDay));
    date.setDays(days);
    time.setMilliSeconds(static_cast<long>(milliSeconds - days * g_msPerDay));
}

// ---- whole values ---------------------------------------------------------------------------

void CKaDateTime::SetDateAndTime(const CKaDate& date, const CKaTime& time)
{
    m_milliSeconds = Compose(date, time);
    m_timeZone = time.getTimeZone();
}

void CKaDateTime::SetDateAndTime(const CKaDate& date, long hour, long minute, long second,
                                 long milliSecond)
{
    SetDateAndTime(date, CKaTime(hour, minute, second, milliSecond, 0));
}

void CKaDateTime::SetDateAndTime(const CKaDate& date, long hour, long minute, long second,
                                 long milliSecond, long timeZone)
{
    SetDateAndTime(date, CKaTime(hour, minute, second, milliSecond, timeZone));
}

void CKaDateTime::SetDateAndTime(long year, long month, long day, const CKaTime& time)
{
    SetDateAndTime(CKaDate(year, month, day, 0), time);
}

void CKaDateTime::SetDateAndTime(long year, long month, long day, long hour, long minute,
                                 long second, long milliSecond)
{
    SetDateAndTime(CKaDate(year, month, day, 0), CKaTime(hour, minute, second, milliSecond, 0));
}

void CKaDateTime::SetDateAndTime(long year, long month, long day, long hour, long minute,
                                 long second, long milliSecond, long timeZone)
{
    SetDateAndTime(CKaDate(year, month, day, 0),
                   CKaTime(hour, minute, second, milliSecond, timeZone));
}

void CKaDateTime::GetDateAndTime(CKaDate& date, CKaTime& time) const
{
    CKaDate d;
    CKaTime t;
    Decompose(m_milliSeconds, d, t);
    d.setTimeZone(m_timeZone);
    t.setTimeZone(m_timeZone);
    date = d;
    time = t;
}

void CKaDateTime::GetDateAndTime(CKaDate& date, long& hour, long& minute, long& second,
                                 long& milliSecond) const
{
    CKaTime time;
    GetDateAndTime(date, time);
    time.GetTime(hour, minute, second, milliSecond);
}

void CKaDateTime::GetDateAndTime(CKaDate& date, long& hour, long& minute, long& second,
                                 long& milliSecond, long& timeZone) const
{
    GetDateAndTime(date, hour, minute, second, milliSecond);
    timeZone = m_timeZone;
}

void CKaDateTime::GetDateAndTime(long& year, long& month, long& day, CKaTime& time) const
{
    CKaDate date;
    GetDateAndTime(date, time);
    date.GetDate(year, month, day);
}

void CKaDateTime::GetDateAndTime(long& year, long& month, long& day, long& hour, long& minute,
                                 long& second, long& milliSecond) const
{
    CKaTime time;
    GetDateAndTime(year, month, day, time);
    time.GetTime(hour, minute, second, milliSecond);
}

void CKaDateTime::GetDateAndTime(long& year, long& month, long& day, long& hour, long& minute,
                                 long& second, long& milliSecond, long& timeZone) const
{
    GetDateAndTime(year, month, day, hour, minute, second, milliSecond);
    timeZone = m_timeZone;
}

// ---- the date and time parts ----------------------------------------------------------------

CKaDate CKaDateTime::getDate() const
{
    CKaDate date;
    CKaTime time;
    GetDateAndTime(date, time);
    return date;
}

CKaTime CKaDateTime::getTime() const
{
    CKaDate date;
    CKaTime time;
    GetDateAndTime(date, time);
    return time;
}

void CKaDateTime::setDate(const CKaDate& date)
{
    m_milliSeconds = Compose(date, getTime());
}

void CKaDateTime::setTime(const CKaTime& time)
{
    m_milliSeconds = Compose(getDate(), time);
    m_timeZone = time.getTimeZone();
}

void CKaDateTime::GetDate(long& year, long& month, long& day) const
{
    getDate().GetDate(year, month, day);
}

void CKaDateTime::SetDate(long year, long month, long day)
{
    setDate(CKaDate(year, month, day, 0));
}

void CKaDateTime::GetTime(long& hour, long& minute, long& second, long& milliSecond) const
{
    getTime().GetTime(hour, minute, second, milliSecond);
}

void CKaDateTime::GetTime(long& hour, long& minute, long& second, long& milliSecond,
                          long& timeZone) const
{
    getTime().GetTime(hour, minute, second, milliSecond, timeZone);
}

void CKaDateTime::SetTime(long hour, long minute, long second, long milliSecond)
{
    setTime(CKaTime(hour, minute, second, milliSecond, m_timeZone));
}

void CKaDateTime::SetTime(long hour, long minute, long second, long milliSecond,
                          long timeZone)
{
    setTime(CKaTime(hour, minute, second, milliSecond, timeZone));
}

void CKaDateTime::setYear(long year)
{
    ChangeDate(*this, &CKaDate::setYear, year);
}

void CKaDateTime::setMonth(long month)
{
    ChangeDate(*this, &CKaDate::setMonth, month);
}

void CKaDateTime::setDay(long day)
{
    ChangeDate(*this, &CKaDate::setDay, day);
}

void CKaDateTime::setDays(long days)
{
    setDate(CKaDate(days, 0));
}

void CKaDateTime::setHour(long hour)
{
    ChangeTime(*this, &CKaTime::setHour, hour);
}

void CKaDateTime::setMinute(long minute)
{
    ChangeTime(*this, &CKaTime::setMinute, minute);
}

void CKaDateTime::setSecond(long second)
{
    ChangeTime(*this, &CKaTime::setSecond, second);
}

void CKaDateTime::setMilliSecond(long milliSecond)
{
    ChangeTime(*this, &CKaTime::setMilliSecond, milliSecond);
}

// ---- arithmetic -----------------------------------------------------------------------------

CKaDateTime CKaDateTime::operator+(const CKaTimeSpan& span) const
{
    return CKaDateTime(WrappedSum(m_milliSeconds, span.getDuration()), 0);
}

CKaDateTime CKaDateTime::operator-(const CKaTimeSpan& span) const
{
    return CKaDateTime(WrappedSum(m_milliSeconds, WrappedNegation(span.getDuration())), 0);
}

CKaDateTime& CKaDateTime::operator+=(const CKaTimeSpan& span)
{
    m_milliSeconds = WrappedSum(m_milliSeconds, span.getDuration());
    return *this;
}

CKaDateTime& CKaDateTime::operator-=(const CKaTimeSpan& span)
{
    m_milliSeconds = WrappedSum(m_milliSeconds, WrappedNegation(span.getDuration()));
    return *this;
}

CKaTimeSpan CKaDateTime::operator-(const CKaDateTime& other) const
{
    return CKaTimeSpan(WrappedSum(m_milliSeconds, WrappedNegation(other.m_milliSeconds)));
}

CKaDateTime CKaDateTime::operator+(const CKaDuration& u) const
{
    long year, month, day, hour, minute, second, milliSecond;
    GetDateAndTime(year, month, day, hour, minute, second, milliSecond);
    // The day of the month and the time of day, with the duration's days and times added so
    // that times carry into days. Neither span can overflow: each field is 32 bits.
    const __int64 span =
        CKaTimeSpan(false, day, hour, minute, second, milliSecond).getDuration() +
        CKaTimeSpan(false, u.getDays(), u.getHours(), u.getMinutes(), u.getSeconds(),
                    u.getMilliSeconds())
            .getDuration();
    __int64 days = FloorDiv(span, g_msPerDay);
    const long timeOfDay = static_cast<long>(span - days * g_msPerDay);

    const __int64 months = static_cast<__int64>(month) + u.getMonths() - 1;
    // A month before the first of the year of the sum has no place in the month table.
    if (months < 0) throw CKaCodeException(KA_E_DATE_INVALID_MONTH);
    __int64 y = static_cast<__int64>(year) + u.getYears() + months / 12;
    long m = static_cast<long>(months % 12) + 1;

    // Any 4800 months in a row hold 146,097 days: whole 400-year cycles are taken at once, so
    // that the month walks below stay short.
    const __int64 cycleDays = 146097;
    if (days > cycleDays + 31) {
        const __int64 cycles = (days - 32) / cycleDays;
        days -= cycles * cycleDays;
        y += 400 * cycles;
    } else if (days < -cycleDays) {
        const __int64 cycles = -days / cycleDays;
        days += cycles * cycleDays;
        y -= 400 * cycles;
    }
    // Days that fall before the first of the month are taken from the months before it.
    while (days < 1) {
        if (--m < 1) {
            m = 12;
            --y;
        }
        days += MonthLength(y, m);
    }
    // Days beyond the month move on month by month. Each step compares with the length of the
    // month that follows, not the current one (30 January + nothing is 2 February): callers'
    // results depend on this, so it stays.
    while (days > MonthLength(y, m + 1)) {
        days -= MonthLength(y, m + 1);
        if (++m > 12) {
            m = 1;
            ++y;
        }
    }
    const CKaTime time(timeOfDay, 0);
    return CKaDateTime(CheckedLong(y), m, static_cast<long>(days), time.getHour(),
                       time.getMinute(), time.getSecond(), time.getMilliSecond(), m_timeZone);
}

long CKaDateTime::Compare(const CKaDateTime& other) const
{
    return Compared(m_milliSeconds, other.m_milliSeconds);
}

// ---- binary form ----------------------------------------------------------------------------

void CKaDateTime::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    WriteZoned(writer, m_milliSeconds, m_timeZone);
}

void CKaDateTime::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    ReadZoned(reader, m_milliSeconds, m_timeZone);
}

unsigned long CKaDateTime::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return (*aspect).getI8Size() + (*aspect).getI2Size();
}
