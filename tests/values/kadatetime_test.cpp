#include <gtest/gtest.h>
#include <climits>
#include <random>
#include "kaserialtest.h"

namespace {

// Reaches the conversions the date classes keep to themselves.
struct TDateProbe : CKaDate
{
    using CKaDate::Compose;
    using CKaDate::Decompose;
};

// The model: plain proleptic Gregorian rules, stepping one day at a time.
bool ModelLeap(long year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

long ModelMonthLength(long year, long month)
{
    static const long lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && ModelLeap(year) ? 29 : lengths[month - 1];
}

struct TYmd
{
    long year, month, day;
    bool operator==(const TYmd& o) const
    {
        return year == o.year && month == o.month && day == o.day;
    }
};

std::ostream& operator<<(std::ostream& os, const TYmd& d)
{
    return os << d.year << "-" << d.month << "-" << d.day;
}

TYmd Decomposed(long days)
{
    TYmd d;
    TDateProbe::Decompose(days, d.year, d.month, d.day);
    return d;
}

TYmd DateOf(const CKaDateTime& t)
{
    TYmd d;
    t.GetDate(d.year, d.month, d.day);
    return d;
}

} // namespace

// ---- the calendar ---------------------------------------------------------------------------

TEST(KaCalendar, EveryDayFromYearMinus1000To10000AgreesWithTheModel)
{
    // Day 0 is 1 January of year 0; the years before it are counted back one by one.
    long first = 0;
    for (long year = -1; year >= -1000; --year) first -= ModelLeap(year) ? 366 : 365;
    TYmd model = {-1000, 1, 1};
    long n = first;
    for (; model.year <= 10000; ++n) {
        const TYmd library = Decomposed(n);
        if (!(library == model)) {
            ASSERT_EQ(model, library) << "day " << n;
        }
        const long composed = TDateProbe::Compose(model.year, model.month, model.day);
        if (composed != n) {
            ASSERT_EQ(n, composed) << model;
        }
        if (++model.day > ModelMonthLength(model.year, model.month)) {
            model.day = 1;
            if (++model.month > 12) {
                model.month = 1;
                ++model.year;
            }
        }
    }
    EXPECT_EQ(11001 * 365 + 2668, n - first); // 11001 years, 2668 of them leap years
}

TEST(KaCalendar, EveryDayCountRoundTrips)
{
    std::mt19937 random(13);
    std::vector<long> counts = {LONG_MIN, LONG_MIN + 1, LONG_MAX, LONG_MAX - 1, 0, -1, 59, 60};
    for (int i = 0; i < 200000; ++i) counts.push_back(static_cast<long>(random()));
    for (long n : counts) {
        const TYmd d = Decomposed(n);
        ASSERT_TRUE(d.month >= 1 && d.month <= 12 && d.day >= 1 &&
                    d.day <= ModelMonthLength(d.year, d.month))
            << n << " gave " << d;
        ASSERT_EQ(n, TDateProbe::Compose(d.year, d.month, d.day)) << d;
    }
    // One day past either end no longer fits.
    const TYmd last = Decomposed(LONG_MAX);
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { CKaDate(last.year + 1, 1, 1, 0); }));
    const TYmd firstDay = Decomposed(LONG_MIN);
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { CKaDate(firstDay.year - 1, 1, 1, 0); }));
}

TEST(KaCalendar, AnchorDays)
{
    EXPECT_EQ(0, CKaDate(0, 1, 1, 0).getDays());
    EXPECT_EQ(-365, CKaDate(-1, 1, 1, 0).getDays());
    EXPECT_EQ(-1461, CKaDate(-4, 1, 1, 0).getDays());
    EXPECT_EQ(366, CKaDate(1, 1, 1, 0).getDays());
    EXPECT_EQ(36525, CKaDate(100, 1, 1, 0).getDays());
    EXPECT_EQ(-36524, CKaDate(-100, 1, 1, 0).getDays());
    EXPECT_EQ(-146097, CKaDate(-400, 1, 1, 0).getDays());
    // 1 January 1970 from a well-known figure: 719,528 days after 1 January of year 0.
    EXPECT_EQ(719528, CKaDate(1970, 1, 1, 0).getDays());
}

TEST(KaCalendar, InvalidFieldsThrowAndKeepTheDate)
{
    const struct
    {
        long year, month, day;
        long code;
    } invalid[] = {
        {2023, 0, 1, KA_E_DATE_INVALID_MONTH}, {2023, 13, 1, KA_E_DATE_INVALID_MONTH},
        {2023, -1, 1, KA_E_DATE_INVALID_MONTH}, {2023, 1, 0, KA_E_DATE_INVALID_DAY},
        {2023, 2, 29, KA_E_DATE_INVALID_DAY},  {1900, 2, 29, KA_E_DATE_INVALID_DAY},
        {-100, 2, 29, KA_E_DATE_INVALID_DAY},  {2023, 4, 31, KA_E_DATE_INVALID_DAY},
        {2023, 1, 32, KA_E_DATE_INVALID_DAY},  {2023, 1, -5, KA_E_DATE_INVALID_DAY},
    };
    for (const auto& c : invalid) {
        SCOPED_TRACE(testing::Message() << c.year << "-" << c.month << "-" << c.day);
        CKaDate date(2020, 6, 15, 7);
        EXPECT_EQ(c.code, ThrownCode([&] { date.SetDate(c.year, c.month, c.day, 3); }));
        EXPECT_EQ(CKaDate(2020, 6, 15, 0).getDays(), date.getDays());
        EXPECT_EQ(7, date.getTimeZone());
        CKaDateTime t(2020, 6, 15, 10, 0, 0, 0, 0);
        const CKaDateTime before = t;
        EXPECT_EQ(c.code, ThrownCode([&] { t.SetDate(c.year, c.month, c.day); }));
        EXPECT_EQ(before.getMilliSeconds(), t.getMilliSeconds());
    }
    EXPECT_EQ(S_OK, ThrownCode([] { CKaDate(2000, 2, 29, 0); }));
    EXPECT_EQ(S_OK, ThrownCode([] { CKaDate(-4, 2, 29, 0); }));

    CKaDate april(2023, 4, 30, 0);
    EXPECT_EQ(KA_E_DATE_INVALID_DAY, ThrownCode([&] { april.setDay(31); }));
    EXPECT_EQ(KA_E_DATE_INVALID_MONTH, ThrownCode([&] { april.setMonth(13); }));
    april.setMonth(5);
    april.setDay(31);
    EXPECT_EQ(CKaDate(2023, 5, 31, 0), april);
    CKaDate leapDay(2024, 2, 29, 0);
    EXPECT_EQ(KA_E_DATE_INVALID_DAY, ThrownCode([&] { leapDay.setYear(2023); }));
    leapDay.setYear(2028);
    EXPECT_EQ(2028, leapDay.getYear());
    EXPECT_EQ(2, leapDay.getMonth());
    EXPECT_EQ(29, leapDay.getDay());
}

TEST(KaCalendar, DatesCompareByDayAlone)
{
    EXPECT_TRUE(CKaDate(5, 60) == CKaDate(5, -60));
    EXPECT_TRUE(CKaDate(4, 0) < CKaDate(5, -600));
    EXPECT_EQ(-1, CKaDate(LONG_MIN, 0).Compare(CKaDate(LONG_MAX, 0)));
}

// ---- times of day ---------------------------------------------------------------------------

TEST(KaTime, FieldsAreNeverChecked)
{
    const CKaTime late(25, 0, 0, 0, 0);
    EXPECT_EQ(25, late.getHour());
    EXPECT_EQ(24, CKaTime(24, 0, 0, 0, 0).getHour());
    long h, m, s, ms;
    CKaTime(-3723004, 0).GetTime(h, m, s, ms);
    EXPECT_EQ((std::vector<long>{-1, -2, -3, -4}), (std::vector<long>{h, m, s, ms}));
    CKaTime t(1, 2, 3, 4, 9);
    t.setMinute(59);
    t.setMilliSecond(999);
    long zone;
    t.GetTime(h, m, s, ms, zone);
    EXPECT_EQ((std::vector<long>{1, 59, 3, 999, 9}), (std::vector<long>{h, m, s, ms, zone}));
    t.SetTime(0, 0, 1, 0);
    EXPECT_EQ(1000, t.getMilliSeconds());
    EXPECT_EQ(9, t.getTimeZone());
}

TEST(KaTime, ComparesTheInstantAfterTheZoneOffset)
{
    EXPECT_TRUE(CKaTime(10, 0, 0, 0, 60) == CKaTime(9, 0, 0, 0, 0));
    EXPECT_TRUE(CKaTime(10, 0, 0, 0, 61) < CKaTime(9, 0, 0, 0, 0));
    EXPECT_TRUE(CKaTime(10, 0, 0, 0, 0) != CKaTime(10, 0, 0, 0, 1));
}

// ---- date-times -----------------------------------------------------------------------------

TEST(KaDateTime, DateAndTimeParts)
{
    const CKaDateTime beforeYear0(-1, 0);
    EXPECT_EQ(-1, beforeYear0.getDays());
    EXPECT_EQ(86399999, beforeYear0.getTime().getMilliSeconds());
    EXPECT_EQ((TYmd{-1, 12, 31}), DateOf(beforeYear0));

    CKaDateTime t(2023, 6, 30, 23, 59, 59, 999, 120);
    CKaDate date;
    CKaTime time;
    t.GetDateAndTime(date, time);
    EXPECT_EQ(120, date.getTimeZone());
    EXPECT_EQ(120, time.getTimeZone());
    EXPECT_EQ(CKaDate(2023, 6, 30, 0), date);
    long y, mo, d, h, mi, s, ms, zone;
    t.GetDateAndTime(y, mo, d, h, mi, s, ms, zone);
    EXPECT_EQ((std::vector<long>{2023, 6, 30, 23, 59, 59, 999, 120}),
              (std::vector<long>{y, mo, d, h, mi, s, ms, zone}));
    // Hours beyond the day carry into the next one.
    EXPECT_EQ((TYmd{2023, 7, 1}), DateOf(CKaDateTime(2023, 6, 30, 24, 0, 0, 0, 0)));

    t.setDate(CKaDate(2024, 2, 29, -300)); // the date's zone is ignored
    EXPECT_EQ(120, t.getTimeZone());
    EXPECT_EQ(23, t.getHour());
    t.setTime(CKaTime(1, 0, 0, 0, -60)); // the time's zone is taken
    EXPECT_EQ(-60, t.getTimeZone());
    EXPECT_EQ((TYmd{2024, 2, 29}), DateOf(t));
    EXPECT_EQ(KA_E_DATE_INVALID_DAY, ThrownCode([&] { t.setYear(2023); }));
    t.setMonth(3);
    t.setHour(30); // unchecked: carries into the next day
    EXPECT_EQ((TYmd{2024, 3, 30}), DateOf(t));
    EXPECT_EQ(6, t.getHour());
    t.setDays(0);
    EXPECT_EQ((TYmd{0, 1, 1}), DateOf(t));
    EXPECT_EQ(6, t.getHour());
    EXPECT_EQ(-60, t.getTimeZone());
}

TEST(KaDateTime, ZoneRulesOfConstructionAndAssignment)
{
    EXPECT_EQ(KA_E_DATETIME_INVALID,
              ThrownCode([] { CKaDateTime(CKaDate(0, 60), CKaTime(0, 0)); }));
    EXPECT_EQ(KA_E_DATETIME_INVALID,
              ThrownCode([] { CKaDateTime(CKaDate(0, 60), 1, 2, 3, 4, 0); }));
    EXPECT_EQ(60, CKaDateTime(CKaDate(0, 60), CKaTime(0, 60)).getTimeZone());
    EXPECT_EQ(30, CKaDateTime(2023, 1, 1, CKaTime(0, 30)).getTimeZone());

    CKaDateTime t(0, 15);
    t.SetDateAndTime(CKaDate(0, 60), CKaTime(5, 30));
    EXPECT_EQ(30, t.getTimeZone());
    t.SetDateAndTime(CKaDate(0, 60), 1, 0, 0, 0);
    EXPECT_EQ(0, t.getTimeZone());
    t.SetDateAndTime(2023, 1, 1, 1, 0, 0, 0, 45);
    EXPECT_EQ(45, t.getTimeZone());
    t.SetDateAndTime(2023, 1, 1, 1, 0, 0, 0);
    EXPECT_EQ(0, t.getTimeZone());
    // Equal instants in different zones are equal date-times.
    EXPECT_TRUE(CKaDateTime(100, 60) == CKaDateTime(100, -60));
}

TEST(KaDateTime, SpanArithmetic)
{
    const CKaDateTime a(2023, 3, 1, 12, 0, 0, 0, 90);
    const CKaTimeSpan day(false, 1, 0, 0, 0, 0);
    const CKaDateTime later = a + day;
    EXPECT_EQ(0, later.getTimeZone());
    EXPECT_EQ(a.getMilliSeconds() + 86400000, later.getMilliSeconds());
    EXPECT_EQ((TYmd{2023, 2, 28}), DateOf(a - day));
    EXPECT_EQ(0, (a - day).getTimeZone());
    CKaDateTime b = a;
    b += day;
    EXPECT_EQ(90, b.getTimeZone());
    b -= CKaTimeSpan(2 * 86400000LL);
    EXPECT_EQ(-86400000, (b - a).getDuration());

    EXPECT_EQ(7000, (CKaTimeSpan(5000) - CKaTimeSpan(2000)).getDuration());
    CKaTimeSpan s(5000);
    s -= CKaTimeSpan(2000);
    EXPECT_EQ(3000, s.getDuration());
    s += CKaTimeSpan(-4000);
    EXPECT_TRUE(s < CKaTimeSpan(0));
}

TEST(KaTimeSpan, FieldsComeFromTheMagnitude)
{
    CKaTimeSpan s(-90061001);
    bool negative;
    long d, h, m, sec, ms;
    s.GetDuration(negative, d, h, m, sec, ms);
    EXPECT_TRUE(negative);
    EXPECT_EQ((std::vector<long>{1, 1, 1, 1, 1}), (std::vector<long>{d, h, m, sec, ms}));
    s.setHours(5);
    EXPECT_EQ(-(90061001 + 4 * 3600000LL), s.getDuration());
    s.setNegative(false);
    EXPECT_EQ(90061001 + 4 * 3600000LL, s.getDuration());
    CKaTimeSpan zero;
    zero.setNegative(true);
    EXPECT_FALSE(zero.getNegative());
    EXPECT_EQ(-90061001, CKaTimeSpan(true, 1, 1, 1, 1, 1).getDuration());
    // The most negative count still has a magnitude.
    const CKaTimeSpan most(LLONG_MIN);
    EXPECT_TRUE(most.getNegative());
    EXPECT_EQ(808, most.getMilliSeconds());
}

TEST(KaDuration, ComparesFieldByFieldYearsFirst)
{
    EXPECT_TRUE(CKaDuration(1, 0, 0, 0, 0, 0, 0) > CKaDuration(0, 99, 99, 99, 99, 99, 99));
    EXPECT_TRUE(CKaDuration(0, 0, 0, 0, 0, 0, -1) < CKaDuration(0, 0, 0, 0, 0, 0, 0));
    EXPECT_TRUE(CKaDuration(0, 0, 0, 25, 0, 0, 0) == CKaDuration(0, 0, 0, 25, 0, 0, 0));
    EXPECT_EQ(25, CKaDuration(0, 0, 0, 25, 0, 0, 0).getHours());
}

TEST(KaDateTime, CalendarAddition)
{
    const struct
    {
        CKaDateTime start;
        CKaDuration duration;
        TYmd expected;
        long hour;
    } cases[] = {
        // The step compares with the length of the month that follows.
        {CKaDateTime(2023, 1, 30, 0, 0, 0, 0, 0), CKaDuration(0, 0, 0, 0, 0, 0, 0), {2023, 2, 2}, 0},
        {CKaDateTime(2023, 3, 31, 0, 0, 0, 0, 0), CKaDuration(0, 0, 0, 0, 0, 0, 0), {2023, 4, 1}, 0},
        {CKaDateTime(2023, 1, 15, 0, 0, 0, 0, 0), CKaDuration(0, 0, 20, 0, 0, 0, 0), {2023, 2, 7}, 0},
        {CKaDateTime(2023, 1, 15, 8, 0, 0, 0, 0), CKaDuration(0, 1, 0, 0, 0, 0, 0), {2023, 2, 15}, 8},
        {CKaDateTime(2023, 11, 15, 0, 0, 0, 0, 0), CKaDuration(1, 3, 0, 0, 0, 0, 0), {2025, 2, 15}, 0},
        {CKaDateTime(2023, 3, 15, 0, 0, 0, 0, 0), CKaDuration(0, -2, 0, 0, 0, 0, 0), {2023, 1, 15}, 0},
        {CKaDateTime(2023, 1, 1, 23, 0, 0, 0, 0), CKaDuration(0, 0, 0, 2, 0, 0, 0), {2023, 1, 2}, 1},
        {CKaDateTime(2023, 12, 31, 0, 0, 0, 0, 0), CKaDuration(0, 0, 1, 0, 0, 0, 0), {2024, 1, 1}, 0},
        {CKaDateTime(2024, 1, 28, 0, 0, 0, 0, 0), CKaDuration(0, 0, 1, 0, 0, 0, 0), {2024, 1, 29}, 0},
        {CKaDateTime(2024, 1, 28, 0, 0, 0, 0, 0), CKaDuration(0, 0, 2, 0, 0, 0, 0), {2024, 2, 1}, 0},
        // Days before the first of the month borrow from the months before.
        {CKaDateTime(2023, 3, 5, 0, 0, 0, 0, 0), CKaDuration(0, 0, -10, 0, 0, 0, 0), {2023, 2, 23}, 0},
        {CKaDateTime(2023, 1, 1, 0, 0, 0, 0, 0), CKaDuration(0, 0, 0, -1, 0, 0, 0), {2022, 12, 31}, 23},
        // Whole 400-year cycles keep the month and the day.
        {CKaDateTime(2000, 1, 10, 0, 0, 0, 0, 0), CKaDuration(0, 0, 146097 * 5, 0, 0, 0, 0), {4000, 1, 10}, 0},
        {CKaDateTime(2000, 1, 10, 0, 0, 0, 0, 0), CKaDuration(0, 0, -146097 * 5, 0, 0, 0, 0), {0, 1, 10}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.expected);
        const CKaDateTime sum = c.start + c.duration;
        EXPECT_EQ(c.expected, DateOf(sum));
        EXPECT_EQ(c.hour, sum.getHour());
    }
    const CKaDateTime zoned(2023, 5, 5, 0, 0, 0, 0, 330);
    EXPECT_EQ(330, (zoned + CKaDuration(0, 0, 1, 0, 0, 0, 0)).getTimeZone());

    const CKaDateTime jan31(2023, 1, 31, 0, 0, 0, 0, 0);
    EXPECT_EQ(KA_E_DATE_INVALID_DAY, ThrownCode([&] { jan31 + CKaDuration(0, 1, 0, 0, 0, 0, 0); }));
    EXPECT_EQ(KA_E_DATE_INVALID_MONTH,
              ThrownCode([&] { jan31 + CKaDuration(0, -1, 0, 0, 0, 0, 0); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { jan31 + CKaDuration(0, 0, LONG_MAX, 0, 0, 0, 0); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { jan31 + CKaDuration(LONG_MAX, 0, 0, 0, 0, 0, 0); }));
}

// ---- binary forms ---------------------------------------------------------------------------

TEST(KaDateTimeBinary, HandMadeBytesAndRoundTrips)
{
    EXPECT_EQ((TKaBytes{4, 3, 2, 1, 0xFE, 0xFF}), SerializedBytes(CKaDate(0x01020304, -2)));
    EXPECT_EQ((TKaBytes{4, 3, 2, 1, 0x45, 0x23}), SerializedBytes(CKaTime(0x01020304, 0x12345)));
    EXPECT_EQ((TKaBytes{8, 7, 6, 5, 4, 3, 2, 1, 0xC4, 0xFF}),
              SerializedBytes(CKaDateTime(0x0102030405060708LL, -60)));
    EXPECT_EQ((TKaBytes{0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              SerializedBytes(CKaTimeSpan(-2)));
    EXPECT_EQ((TKaBytes{1, 0, 0, 0, 2, 3, 4, 5, 0xC8, 0xF4, 0xFF}),
              SerializedBytes(CKaDuration(1, 2, 3, 4, 5, 200, 500)));

    CKaDate date;
    DeserializeBytes(date, {4, 3, 2, 1, 0xFE, 0xFF});
    EXPECT_EQ(0x01020304, date.getDays());
    EXPECT_EQ(-2, date.getTimeZone());
    CKaTime time;
    DeserializeBytes(time, SerializedBytes(CKaTime(-5, 0x12345)));
    EXPECT_EQ(-5, time.getMilliSeconds());
    EXPECT_EQ(0x2345, time.getTimeZone());
    CKaDateTime dateTime;
    DeserializeBytes(dateTime, SerializedBytes(CKaDateTime(LLONG_MIN, 0x8000)));
    EXPECT_EQ(LLONG_MIN, dateTime.getMilliSeconds());
    EXPECT_EQ(-0x8000, dateTime.getTimeZone());
    CKaTimeSpan span;
    DeserializeBytes(span, SerializedBytes(CKaTimeSpan(LLONG_MAX)));
    EXPECT_EQ(LLONG_MAX, span.getDuration());
    CKaDuration duration(0, 0, 0, 0, 0, 0, 0);
    DeserializeBytes(duration, SerializedBytes(CKaDuration(-7, 127, -128, 255, 1, 200, 500)));
    EXPECT_TRUE(duration == CKaDuration(-7, 127, -128, -1, 1, -56, -12));
}

TEST(KaDateTimeBinary, SizesAndBadStreams)
{
    const CKaRef<CKaBinaryReader> any = ReaderOf({});
    EXPECT_EQ(6u, CKaDate().GetSerializeSize(any));
    EXPECT_EQ(8u, CKaTime().GetSerializeSize(any)); // 6 bytes written, 8 reported
    EXPECT_EQ(10u, CKaDateTime().GetSerializeSize(any));
    EXPECT_EQ(8u, CKaTimeSpan().GetSerializeSize(any));
    const CKaDuration duration(1, 2, 3, 4, 5, 6, 7);
    EXPECT_EQ(11u, duration.GetSerializeSize(any));

    EXPECT_EQ(E_POINTER, ThrownCode([] { CKaDate().GetSerializeSize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { CKaTime().GetSerializeSize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { CKaDateTime().GetSerializeSize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { CKaTimeSpan().Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { duration.Serialize(nullptr); }));
    CKaDate date(7, 8);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { date.Deserialize(nullptr); }));

    // Cut short: E_FAIL, and the value stays whole.
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(date, {1, 0, 0, 0, 5}); }));
    EXPECT_EQ(7, date.getDays());
    EXPECT_EQ(8, date.getTimeZone());
    CKaDateTime dateTime(99, 9);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(dateTime, {1, 2, 3, 4, 5, 6, 7, 8, 9}); }));
    EXPECT_EQ(99, dateTime.getMilliSeconds());
    CKaDuration kept = duration;
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(kept, {0, 0, 0, 0, 1, 1, 1, 1, 1, 1}); }));
    EXPECT_TRUE(kept == duration);
    CKaTimeSpan span(3);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(span, {1, 2, 3}); }));
    EXPECT_EQ(3, span.getDuration());
}
