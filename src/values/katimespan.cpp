// Lengths of time: signed millisecond spans and calendar durations.
#include "zelka/kadatetime.h"
#include "zelka/kabinary.h"
#include "kacalendar.h"

using namespace KaCalendar;

// ---- CKaTimeSpan ----------------------------------------------------------------------------

namespace {

// The fields of a span, from its magnitude.
struct TSpanFields
{
    explicit TSpanFields(__int64 duration)
    {
        negative = duration < 0;
        // The magnitude of the most negative count still fits unsigned.
        const unsigned __int64 magnitude =
            negative ? 0 - static_cast<unsigned __int64>(duration) : duration;
        milliSeconds = static_cast<long>(magnitude % 1000);
        seconds = static_cast<long>(magnitude / 1000 % 60);
        minutes = static_cast<long>(magnitude / 60000 % 60);
        hours = static_cast<long>(magnitude / 3600000 % 24);
        days = static_cast<long>(magnitude / g_msPerDay);
    }

    __int64 Composed() const;
    // The span with one field replaced, sign and other fields kept.
    static __int64 WithField(__int64 duration, long TSpanFields::*field, long value);

    bool negative;
    long days, hours, minutes, seconds, milliSeconds;
};

} // namespace

CKaTimeSpan::CKaTimeSpan() : m_duration(0) {}

CKaTimeSpan::CKaTimeSpan(__int64 milliSeconds) : m_duration(milliSeconds) {}

CKaTimeSpan::CKaTimeSpan(bool negative, long days, long hours, long minutes, long seconds,
                         long milliSeconds)
    : m_duration(Compose(negative, days, hours, minutes, seconds, milliSeconds))
{
}

CKaTimeSpan::~CKaTimeSpan() = default;

__int64 CKaTimeSpan::Compose(bool negative, long days, long hours, long minutes, long seconds,
                             long milliSeconds)
{
    // 32-bit fields cannot overflow 64 bits here: a day count of 2^31 is about 2^57 ms.
    const __int64 magnitude =
        (((static_cast<__int64>(days) * 24 + hours) * 60 + minutes) * 60 + seconds) * 1000 +
        milliSeconds;
    return negative ? -magnitude : magnitude;
}

__int64 TSpanFields::Composed() const
{
    return CKaTimeSpan(negative, days, hours, minutes, seconds, milliSeconds).getDuration();
}

__int64 TSpanFields::WithField(__int64 duration, long TSpanFields::*field, long value)
{
    TSpanFields fields(duration);
    fields.*field = value;
    return fields.Composed();
}

void CKaTimeSpan::Decompose(__int64 duration, bool& negative, long& days, long& hours,
                            long& minutes, long& seconds, long& milliSeconds)
{
    const TSpanFields f(duration);
    negative = f.negative;
    days = f.days;
    hours = f.hours;
    minutes = f.minutes;
    seconds = f.seconds;
    milliSeconds = f.milliSeconds;
}

void CKaTimeSpan::GetDuration(bool& negative, long& days, long& hours, long& minutes,
                              long& seconds, long& milliSeconds) const
{
    Decompose(m_duration, negative, days, hours, minutes, seconds, milliSeconds);
}

void CKaTimeSpan::SetDuration(bool negative, long days, long hours, long minutes, long seconds,
                              long milliSeconds)
{
    m_duration = Compose(negative, days, hours, minutes, seconds, milliSeconds);
}

void CKaTimeSpan::setNegative(bool negative)
{
    if (negative != getNegative()) m_duration = WrappedNegation(m_duration);
}

long CKaTimeSpan::getDays() const
{
    return TSpanFields(m_duration).days;
}

long CKaTimeSpan::getHours() const
{
    return TSpanFields(m_duration).hours;
}

long CKaTimeSpan::getMinutes() const
{
    return TSpanFields(m_duration).minutes;
}

long CKaTimeSpan::getSeconds() const
{
    return TSpanFields(m_duration).seconds;
}

long CKaTimeSpan::getMilliSeconds() const
{
    return TSpanFields(m_duration).milliSeconds;
}

void CKaTimeSpan::setDays(long days)
{
    m_duration = TSpanFields::WithField(m_duration, &TSpanFields::days, days);
}

void CKaTimeSpan::setHours(long hours)
{
    m_duration = TSpanFields::WithField(m_duration, &TSpanFields::hours, hours);
}

void CKaTimeSpan::setMinutes(long minutes)
{
    m_duration = TSpanFields::WithField(m_duration, &TSpanFields::minutes, minutes);
}

void CKaTimeSpan::setSeconds(long seconds)
{
    m_duration = TSpanFields::WithField(m_duration, &TSpanFields::seconds, seconds);
}

void CKaTimeSpan::setMilliSeconds(long milliSeconds)
{
    m_duration = TSpanFields::WithField(m_duration, &TSpanFields::milliSeconds, milliSeconds);
}

CKaTimeSpan CKaTimeSpan::operator+(const CKaTimeSpan& other) const
{
    return CKaTimeSpan(WrappedSum(m_duration, other.m_duration));
}

CKaTimeSpan CKaTimeSpan::operator-(const CKaTimeSpan& other) const
{
    // Adds: the binary minus has always summed its operands, and callers count on it.
    return *this + other;
}

CKaTimeSpan& CKaTimeSpan::operator+=(const CKaTimeSpan& other)
{
    m_duration = WrappedSum(m_duration, other.m_duration);
    return *this;
}

CKaTimeSpan& CKaTimeSpan::operator-=(const CKaTimeSpan& other)
{
    m_duration = WrappedSum(m_duration, WrappedNegation(other.m_duration));
    return *this;
}

long CKaTimeSpan::Compare(const CKaTimeSpan& other) const
{
    return Compared(m_duration, other.m_duration);
}

void CKaTimeSpan::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    (*writer).WriteI8(m_duration);
}

void CKaTimeSpan::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    m_duration = (*reader).ReadI8();
}

unsigned long CKaTimeSpan::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return (*aspect).getI8Size();
}

// ---- CKaDuration ----------------------------------------------------------------------------

CKaDuration::CKaDuration(long years, long months, long days, long hours, long minutes,
                         long seconds, long milliSeconds)
    : m_years(years), m_months(months), m_days(days), m_hours(hours), m_minutes(minutes),
      m_seconds(seconds), m_milliSeconds(milliSeconds)
{
}

CKaDuration::~CKaDuration() = default;

long CKaDuration::Compare(const CKaDuration& other) const
{
    const long mine[] = {m_years, m_months, m_days, m_hours, m_minutes, m_seconds, m_milliSeconds};
    const long theirs[] = {other.m_years,   other.m_months,  other.m_days,
                           other.m_hours,   other.m_minutes, other.m_seconds,
                           other.m_milliSeconds};
    for (int i = 0; i < 7; ++i) {
        if (mine[i] != theirs[i]) return Compared(mine[i], theirs[i]);
    }
    return 0;
}

void CKaDuration::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    CKaBinaryWriter& target = *writer;
    target.WriteI4(m_years);
    target.WriteI1(static_cast<char>(m_months));
    target.WriteI1(static_cast<char>(m_days));
    target.WriteI1(static_cast<char>(m_hours));
    target.WriteI1(static_cast<char>(m_minutes));
    target.WriteI1(static_cast<char>(m_seconds));
    // Two bytes, but only the low byte of the milliseconds, sign-extended: that is the format.
    target.WriteI2(static_cast<signed char>(m_milliSeconds));
}

void CKaDuration::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    CKaBinaryReader& source = *reader;
    const long years = source.ReadI4();
    signed char narrow[5];
    for (signed char& field : narrow) field = static_cast<signed char>(source.ReadI1());
    const short milliSeconds = source.ReadI2();
    *this = CKaDuration(years, narrow[0], narrow[1], narrow[2], narrow[3], narrow[4],
                        milliSeconds);
}

unsigned long CKaDuration::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    const CKaBinaryStreamerAspect& sizes = *aspect;
    return sizes.getI4Size() + 5 * sizes.getI1Size() + sizes.getI2Size();
}
