#ifndef ZELKA_KADATETIME_H
#define ZELKA_KADATETIME_H

#include "kaexport.h"
#include "karef.h"

class CKaBinaryWriter;
class CKaBinaryReader;
class CKaBinaryStreamerAspect;

// Calendar values: plain numbers (day or millisecond counts) on the proleptic Gregorian
// calendar with astronomical years (year 0 exists and is a leap year; years may be negative).
// They never read the clock. Dates, times and date-times carry a time-zone offset in minutes;
// only CKaTime takes it into account when comparing.
// Invalid calendar fields throw KA_E_DATE_INVALID_MONTH or KA_E_DATE_INVALID_DAY; a date whose
// day count would leave the signed 32-bit range throws E_INVALIDARG. A failed setter leaves the
// value as it was. Times, spans and durations are never checked.

// A day: the number of days since 1 January of year 0 (that day is 0).
class ZELKA_API CKaDate
{
public:
    CKaDate();
    CKaDate(const CKaDate& other) = default;
    CKaDate(long days, long timeZone);
    CKaDate(long year, long month, long day, long timeZone);
    virtual ~CKaDate();
    CKaDate& operator=(const CKaDate& other) = default;

    void GetDate(long& year, long& month, long& day) const;
    void GetDate(long& year, long& month, long& day, long& timeZone) const;
    void SetDate(long year, long month, long day);
    void SetDate(long year, long month, long day, long timeZone);
    long getYear() const;
    long getMonth() const;
    long getDay() const;
    // Each replaces one field of the current date and validates the result.
    void setYear(long year);
    void setMonth(long month);
    void setDay(long day);
    long getDays() const { return m_days; }
    void setDays(long days) { m_days = days; }
    long getTimeZone() const { return m_timeZone; }
    void setTimeZone(long timeZone) { m_timeZone = timeZone; }

    // By day count only; the zone is not compared.
    long Compare(const CKaDate& other) const;
    bool operator==(const CKaDate& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaDate& other) const { return Compare(other) != 0; }
    bool operator<(const CKaDate& other) const { return Compare(other) < 0; }
    bool operator<=(const CKaDate& other) const { return Compare(other) <= 0; }
    bool operator>(const CKaDate& other) const { return Compare(other) > 0; }
    bool operator>=(const CKaDate& other) const { return Compare(other) >= 0; }

    // The day count as 4 bytes, the zone as 2 (truncated on writing, sign-extended on reading).
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;

protected:
    static long Compose(long year, long month, long day);
    static void Decompose(long days, long& year, long& month, long& day);

private:
    long m_days;
    long m_timeZone;
};

// A time of day in milliseconds since midnight; any count is kept as given (25 hours too).
class ZELKA_API CKaTime
{
public:
    CKaTime();
    CKaTime(const CKaTime& other) = default;
    CKaTime(long milliSeconds, long timeZone);
    CKaTime(long hour, long minute, long second, long milliSecond, long timeZone);
    virtual ~CKaTime();
    CKaTime& operator=(const CKaTime& other) = default;

    void GetTime(long& hour, long& minute, long& second, long& milliSecond) const;
    void GetTime(long& hour, long& minute, long& second, long& milliSecond,
                 long& timeZone) const;
    // The four-field form keeps the zone.
    void SetTime(long hour, long minute, long second, long milliSecond);
    void SetTime(long hour, long minute, long second, long milliSecond, long timeZone);
    long getHour() const;
    long getMinute() const;
    long getSecond() const;
    long getMilliSecond() const;
    void setHour(long hour);
    void setMinute(long minute);
    void setSecond(long second);
    void setMilliSecond(long milliSecond);
    long getMilliSeconds() const { return m_milliSeconds; }
    void setMilliSeconds(long milliSeconds) { m_milliSeconds = milliSeconds; }
    long getTimeZone() const { return m_timeZone; }
    void setTimeZone(long timeZone) { m_timeZone = timeZone; }

    // By the instant the time denotes: milliseconds less the zone offset.
    long Compare(const CKaTime& other) const;
    bool operator==(const CKaTime& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaTime& other) const { return Compare(other) != 0; }
    bool operator<(const CKaTime& other) const { return Compare(other) < 0; }
    bool operator<=(const CKaTime& other) const { return Compare(other) <= 0; }
    bool operator>(const CKaTime& other) const { return Compare(other) > 0; }
    bool operator>=(const CKaTime& other) const { return Compare(other) >= 0; }

    // The count as 4 bytes, the zone as 2. The size reported is 8, which record layouts
    // built on it rely on, although 6 bytes are written.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;

protected:
    static long Compose(long hour, long minute, long second, long milliSecond);
    static void Decompose(long milliSeconds, long& hour, long& minute, long& second,
                          long& milliSecond);

private:
    long m_milliSeconds;
    long m_timeZone;
};

// A signed length of time in milliseconds. Its fields (days, hours...) come from the magnitude;
// the sign is reported apart.
class ZELKA_API CKaTimeSpan
{
public:
    CKaTimeSpan();
    CKaTimeSpan(const CKaTimeSpan& other) = default;
    CKaTimeSpan(__int64 milliSeconds);
    CKaTimeSpan(bool negative, long days, long hours, long minutes, long seconds,
                long milliSeconds);
    virtual ~CKaTimeSpan();
    CKaTimeSpan& operator=(const CKaTimeSpan& other) = default;

    __int64 getDuration() const { return m_duration; }
    void setDuration(__int64 duration) { m_duration = duration; }
    void GetDuration(bool& negative, long& days, long& hours, long& minutes, long& seconds,
                     long& milliSeconds) const;
    void SetDuration(bool negative, long days, long hours, long minutes, long seconds,
                     long milliSeconds);
    bool getNegative() const { return m_duration < 0; }
    // Changes the sign when it differs: a zero span stays zero.
    void setNegative(bool negative);
    long getDays() const;
    long getHours() const;
    long getMinutes() const;
    long getSeconds() const;
    long getMilliSeconds() const;
    // Each replaces one field, keeping the sign and the other fields.
    void setDays(long days);
    void setHours(long hours);
    void setMinutes(long minutes);
    void setSeconds(long seconds);
    void setMilliSeconds(long milliSeconds);

    CKaTimeSpan operator+(const CKaTimeSpan& other) const;
    // Adds, exactly as operator+ does: existing callers depend on it. operator-= subtracts.
    CKaTimeSpan operator-(const CKaTimeSpan& other) const;
    CKaTimeSpan& operator+=(const CKaTimeSpan& other);
    CKaTimeSpan& operator-=(const CKaTimeSpan& other);

    long Compare(const CKaTimeSpan& other) const;
    bool operator==(const CKaTimeSpan& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaTimeSpan& other) const { return Compare(other) != 0; }
    bool operator<(const CKaTimeSpan& other) const { return Compare(other) < 0; }
    bool operator<=(const CKaTimeSpan& other) const { return Compare(other) <= 0; }
    bool operator>(const CKaTimeSpan& other) const { return Compare(other) > 0; }
    bool operator>=(const CKaTimeSpan& other) const { return Compare(other) >= 0; }

    // 8 bytes.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;

protected:
    static __int64 Compose(bool negative, long days, long hours, long minutes, long seconds,
                           long milliSeconds);
    static void Decompose(__int64 duration, bool& negative, long& days, long& hours,
                          long& minutes, long& seconds, long& milliSeconds);

private:
    __int64 m_duration;
};

// Seven independent calendar amounts, never normalised against each other (25 hours stay 25
// hours); only adding one to a CKaDateTime gives them meaning.
class ZELKA_API CKaDuration
{
public:
    CKaDuration(const CKaDuration& other) = default;
    CKaDuration(long years, long months, long days, long hours, long minutes, long seconds,
                long milliSeconds);
    virtual ~CKaDuration();
    CKaDuration& operator=(const CKaDuration& other) = default;

    long getYears() const { return m_years; }
    void setYears(long years) { m_years = years; }
    long getMonths() const { return m_months; }
    void setMonths(long months) { m_months = months; }
    long getDays() const { return m_days; }
    void setDays(long days) { m_days = days; }
    long getHours() const { return m_hours; }
    void setHours(long hours) { m_hours = hours; }
    long getMinutes() const { return m_minutes; }
    void setMinutes(long minutes) { m_minutes = minutes; }
    long getSeconds() const { return m_seconds; }
    void setSeconds(long seconds) { m_seconds = seconds; }
    long getMilliSeconds() const { return m_milliSeconds; }
    void setMilliSeconds(long milliSeconds) { m_milliSeconds = milliSeconds; }

    // Field by field, years first.
    long Compare(const CKaDuration& other) const;
    bool operator==(const CKaDuration& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaDuration& other) const { return Compare(other) != 0; }
    bool operator<(const CKaDuration& other) const { return Compare(other) < 0; }
    bool operator<=(const CKaDuration& other) const { return Compare(other) <= 0; }
    bool operator>(const CKaDuration& other) const { return Compare(other) > 0; }
    bool operator>=(const CKaDuration& other) const { return Compare(other) >= 0; }

    // Years as 4 bytes; months, days, hours, minutes and seconds as 1 byte each; then 2 bytes
    // holding the low byte of the milliseconds, sign-extended. So only -128..127 of each narrow
    // field survive: that is the format.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;

private:
    long m_years;
    long m_months;
    long m_days;
    long m_hours;
    long m_minutes;
    long m_seconds;
    long m_milliSeconds;
};

// A point in time: milliseconds since 1 January of year 0, 00:00. The time of day is always
// 0..86,399,999, before year 0 too.
class ZELKA_API CKaDateTime
{
public:
    CKaDateTime();
    CKaDateTime(const CKaDateTime& other) = default;
    CKaDateTime(__int64 milliSeconds, long timeZone);
    // These take the zone of the time (or the zone given) and throw KA_E_DATETIME_INVALID when
    // the date's zone differs from it.
    CKaDateTime(const CKaDate& date, const CKaTime& time);
    CKaDateTime(const CKaDate& date, long hour, long minute, long second, long milliSecond,
                long timeZone);
    CKaDateTime(long year, long month, long day, const CKaTime& time);
    CKaDateTime(long year, long month, long day, long hour, long minute, long second,
                long milliSecond, long timeZone);
    virtual ~CKaDateTime();
    CKaDateTime& operator=(const CKaDateTime& other) = default;

    // No zone check here: the zone becomes the time's, the one given, or 0 when none is.
    void SetDateAndTime(const CKaDate& date, const CKaTime& time);
    void SetDateAndTime(const CKaDate& date, long hour, long minute, long second,
                        long milliSecond);
    void SetDateAndTime(const CKaDate& date, long hour, long minute, long second,
                        long milliSecond, long timeZone);
    void SetDateAndTime(long year, long month, long day, const CKaTime& time);
    void SetDateAndTime(long year, long month, long day, long hour, long minute, long second,
                        long milliSecond);
    void SetDateAndTime(long year, long month, long day, long hour, long minute, long second,
                        long milliSecond, long timeZone);
    // The parts handed out carry the date-time's zone.
    void GetDateAndTime(CKaDate& date, CKaTime& time) const;
    void GetDateAndTime(CKaDate& date, long& hour, long& minute, long& second,
                        long& milliSecond) const;
    void GetDateAndTime(CKaDate& date, long& hour, long& minute, long& second,
                        long& milliSecond, long& timeZone) const;
    void GetDateAndTime(long& year, long& month, long& day, CKaTime& time) const;
    void GetDateAndTime(long& year, long& month, long& day, long& hour, long& minute,
                        long& second, long& milliSecond) const;
    void GetDateAndTime(long& year, long& month, long& day, long& hour, long& minute,
                        long& second, long& milliSecond, long& timeZone) const;

    CKaDate getDate() const;
    CKaTime getTime() const;
    // Keeps the time of day and this zone (the date's own zone is ignored).
    void setDate(const CKaDate& date);
    // Keeps the date and takes the time's zone.
    void setTime(const CKaTime& time);
    void GetDate(long& year, long& month, long& day) const;
    void SetDate(long year, long month, long day);
    void GetTime(long& hour, long& minute, long& second, long& milliSecond) const;
    void GetTime(long& hour, long& minute, long& second, long& milliSecond,
                 long& timeZone) const;
    void SetTime(long hour, long minute, long second, long milliSecond);
    void SetTime(long hour, long minute, long second, long milliSecond, long timeZone);

    // Date fields are validated, time fields are not.
    long getYear() const { return getDate().getYear(); }
    long getMonth() const { return getDate().getMonth(); }
    long getDay() const { return getDate().getDay(); }
    long getDays() const { return getDate().getDays(); }
    long getHour() const { return getTime().getHour(); }
    long getMinute() const { return getTime().getMinute(); }
    long getSecond() const { return getTime().getSecond(); }
    long getMilliSecond() const { return getTime().getMilliSecond(); }
    void setYear(long year);
    void setMonth(long month);
    void setDay(long day);
    // Another day, same time of day and zone.
    void setDays(long days);
    void setHour(long hour);
    void setMinute(long minute);
    void setSecond(long second);
    void setMilliSecond(long milliSecond);
    __int64 getMilliSeconds() const { return m_milliSeconds; }
    void setMilliSeconds(__int64 milliSeconds) { m_milliSeconds = milliSeconds; }
    long getTimeZone() const { return m_timeZone; }
    void setTimeZone(long timeZone) { m_timeZone = timeZone; }

    // A new value in zone 0, whatever this zone; += and -= keep the zone. No overflow checks.
    CKaDateTime operator+(const CKaTimeSpan& span) const;
    CKaDateTime operator-(const CKaTimeSpan& span) const;
    CKaDateTime& operator+=(const CKaTimeSpan& span);
    CKaDateTime& operator-=(const CKaTimeSpan& span);
    // Zones ignored.
    CKaTimeSpan operator-(const CKaDateTime& other) const;
    // Calendar addition: years and months move the month, days and times carry into days and
    // months; the result, in this zone, must be a valid date.
    CKaDateTime operator+(const CKaDuration& duration) const;

    // By milliseconds only; the zone is not compared.
    long Compare(const CKaDateTime& other) const;
    bool operator==(const CKaDateTime& other) const { return Compare(other) == 0; }
    bool operator!=(const CKaDateTime& other) const { return Compare(other) != 0; }
    bool operator<(const CKaDateTime& other) const { return Compare(other) < 0; }
    bool operator<=(const CKaDateTime& other) const { return Compare(other) <= 0; }
    bool operator>(const CKaDateTime& other) const { return Compare(other) > 0; }
    bool operator>=(const CKaDateTime& other) const { return Compare(other) >= 0; }

    // The count as 8 bytes, the zone as 2.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;

protected:
    static __int64 Compose(const CKaDate& date, const CKaTime& time);
    static void Decompose(__int64 milliSeconds, CKaDate& date, CKaTime& time);

private:
    long m_timeZone;
    __int64 m_milliSeconds;
};

#endif
