#include "morvex/sassert.h"
#include "morvex/sdatetimeconv.h"
#include "morvex/sdatetimestring.h"
#include "morvex/sstringconv.h"
#include "morvex/stimezone.h"

#include "locales.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace MorvexA106
{

namespace
{

const STimeZone& utc()
{
    return STimeZone::TZ_UTC();
}

SDateTime inUtc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                int millisecond = 0)
{
    return SDateTime(year, month, day, hour, minute, second, millisecond, utc());
}

std::string textOf(const SDateTime& moment, const char* pattern, const STimeZone& zone = utc())
{
    return std::string(moment.Format(pattern, zone).view());
}

std::string textOf(const SDate& date)
{
    int year = 0;
    int month = 0;
    int day = 0;
    date.GetYearMonthDay(year, month, day);
    return std::to_string(year) + "-" + std::to_string(month) + "-" + std::to_string(day);
}

/// Runs with its seed in the output of a failure.
class Seeded : public ::testing::Test
{
protected:
    Seeded() { RecordProperty("seed", std::to_string(m_seed)); }
    std::uint64_t random() { return m_random(); }
    SDateTime randomMoment(int firstYear, int lastYear)
    {
        const std::int64_t first = inUtc(firstYear, 1, 1).GetTotalMilliseconds();
        const std::int64_t last = inUtc(lastYear, 12, 31).GetTotalMilliseconds();
        return inUtc(firstYear, 1, 1) +
               STimeSpan(static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(last - first)));
    }

    const std::uint64_t m_seed = std::random_device{}();
    ::testing::ScopedTrace m_trace{__FILE__, __LINE__, "seed " + std::to_string(m_seed)};
    std::mt19937_64 m_random{m_seed};
};

using STimeRoundTrip = Seeded;

/// What is read of the text, where it is taken.
template <class V>
std::optional<V> readNeutral(const std::string& text)
{
    V value;
    return NeutralString::FromString(std::string_view(text), value) ? std::optional(value) : std::nullopt;
}

/// The text of a value, seen to be read back as the value.
template <class V>
std::string neutral(const V& value)
{
    const std::string text(NeutralString::ToString(value).view());
    EXPECT_EQ(readNeutral<V>(text), std::optional(value)) << text;
    return text;
}

/// Counts days one by one as people did.
class DayByDay
{
public:
    int year = -4712;
    int month = 1;
    int day = 1;

    void next()
    {
        if (year == 1582 && month == 10 && day == 4) {
            day = 15;
            return;
        }
        if (++day <= lengthOfMonth()) {
            return;
        }
        day = 1;
        if (++month <= 12) {
            return;
        }
        month = 1;
        year = year == -1 ? 1 : year + 1;
    }
    int lengthOfMonth() const
    {
        if (month == 2) {
            return isLeap() ? 29 : 28;
        }
        return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
    }

private:
    bool isLeap() const
    {
        if (year % 4 != 0) {
            return false;
        }
        return year < 1582 || year % 100 != 0 || year % 400 == 0;
    }
};

} // namespace

TEST(SDateCalendar, AgreesWithCountingTheDaysOneByOneFromTheYearMinus4712To9999)
{
    DayByDay counted;
    SDate date(counted.year, counted.month, counted.day);
    const SDate last(9999, 12, 31);
    int dayOfWeek = date.GetDayOfWeek();
    for (; date != last; counted.next(), date += STimeSpan(1, 0, 0, 0, 0), dayOfWeek = (dayOfWeek + 1) % 7) {
        int year = 0;
        int month = 0;
        int day = 0;
        date.GetYearMonthDay(year, month, day);
        const bool same = year == counted.year && month == counted.month && day == counted.day;
        const bool found = SDate(counted.year, counted.month, counted.day) == date;
        ASSERT_TRUE(same && found && date.GetDayOfWeek() == dayOfWeek)
            << counted.year << "-" << counted.month << "-" << counted.day << " is " << textOf(date);
    }
    EXPECT_EQ(counted.year, 9999);
    EXPECT_EQ(counted.month * 100 + counted.day, 1231);
}

TEST(SDateCalendar, HasTheDayNumbersOfAstronomersLessOne)
{
    struct Row
    {
        int year, month, day, number, dayOfWeek;
    };
    for (const Row& row :
         {Row{2000, 1, 1, 2'451'544, 6}, Row{1970, 1, 1, 2'440'587, 4}, Row{1582, 10, 15, 2'299'160, 5},
          Row{1582, 10, 4, 2'299'159, 4}, Row{1, 1, 1, 1'721'423, 6}, Row{-1, 12, 31, 1'721'422, 5},
          Row{-4712, 1, 1, 365, 3}, Row{6700, 3, 1, 4'168'243, 4}, Row{13100, 3, 1, 6'505'795, 4}}) {
        const SDate date(row.year, row.month, row.day);
        EXPECT_EQ(date.GetDayNumber(), row.number) << row.year;
        EXPECT_EQ(date.GetDayOfWeek(), row.dayOfWeek) << row.year;
    }
}

TEST(SDateCalendar, TakesWhatIsADayAndRefusesTheRestWithAnAssertion)
{
    struct Row
    {
        int year, month, day;
        const char* is; // null: refused
    };
    for (const Row& row : {Row{2004, 2, 100, "2004-2-29"},
                           Row{2003, 2, 100, "2003-2-28"},
                           Row{2003, 12, 100, "2003-12-31"},
                           Row{1500, 2, 29, "1500-2-29"},
                           Row{1900, 2, 29, nullptr},
                           Row{2000, 2, 29, "2000-2-29"},
                           Row{-4, 2, 29, "-4-2-29"},
                           Row{-1, 2, 29, nullptr},
                           Row{4, 2, 29, "4-2-29"},
                           Row{1582, 10, 5, "1582-10-15"},
                           Row{1582, 10, 14, "1582-10-24"},
                           Row{1582, 10, 15, "1582-10-15"},
                           Row{0, 1, 1, nullptr},
                           Row{2000, 0, 1, nullptr},
                           Row{2000, 13, 1, nullptr},
                           Row{2000, 1, 0, nullptr},
                           Row{2000, 4, 31, nullptr},
                           Row{2000, 1, 99, nullptr},
                           Row{2000, 1, -1, nullptr},
                           Row{2000, 13, 100, nullptr},
                           Row{2000, 257, 1, nullptr},
                           Row{2000, 1, 257, nullptr},
                           Row{32768, 1, 1, "32768-1-1"},
                           Row{5'000'000, 2, 100, "5000000-2-29"},
                           Row{-5'000'000, 2, 100, "-5000000-2-29"},
                           Row{5'874'000, 12, 31, "5874000-12-31"},
                           Row{5'875'000, 1, 1, nullptr},
                           Row{-5'884'000, 1, 1, "-5884000-1-1"},
                           Row{-5'885'000, 12, 31, nullptr},
                           Row{std::numeric_limits<int>::max(), 12, 31, nullptr},
                           Row{std::numeric_limits<int>::min(), 1, 1, nullptr}}) {
        const Recorder recorder;
        SDate date(row.year, row.month, row.day, 0);
        EXPECT_EQ(date.IsValid(), row.is != nullptr) << row.year << "-" << row.month << "-" << row.day;
        EXPECT_EQ(recorder.count("(false : no message)"), row.is != nullptr ? 0 : 1);
        if (date.IsValid()) {
            EXPECT_EQ(textOf(date), row.is);
        }
        SDate set(1, 1, 1);
        set.Set(row.year, row.month, row.day);
        EXPECT_EQ(set, date);
    }
}

TEST(SDateCalendar, CountsWeeksFromTheFirstOfTheMonth)
{
    struct Row
    {
        int day;
        unsigned char firstDay;
        int week;
    };
    // 1 August 2026 is a Saturday.
    for (const Row& row :
         {Row{1, 0, 1}, Row{2, 0, 2}, Row{8, 0, 2}, Row{9, 0, 3}, Row{31, 0, 6}, Row{1, 1, 1}, Row{2, 1, 1},
          Row{3, 1, 2}, Row{31, 1, 6}, Row{1, 6, 1}, Row{7, 6, 1}, Row{8, 6, 2}, Row{3, 8, 2}}) {
        EXPECT_EQ(SDate(2026, 8, row.day).GetWeekOfMonth(row.firstDay), row.week)
            << row.day << " from " << int{row.firstDay};
    }
}

TEST(SDateCalendar, MovesByWholeDaysAndEndsWhere32BitsEnd)
{
    const SDate day(2000, 3, 1);
    EXPECT_EQ(textOf(day - STimeSpan(1, 0, 0, 0, 0)), "2000-2-29");
    EXPECT_EQ(day + STimeSpan(0, 23, 59, 59, 999), day);
    EXPECT_EQ(day - STimeSpan(0, -23, 0, 0, 0), day);
    EXPECT_EQ((SDate(2001, 3, 1) - day).GetDays(), 365);
    EXPECT_EQ((SDate(-1, 12, 31) - SDate(1, 1, 1)).GetDays(), -1);

    const Recorder recorder;
    for (const std::int64_t count :
         {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_FALSE((day + STimeSpan(count)).IsValid());
        EXPECT_FALSE((day - STimeSpan(count)).IsValid());
    }
    EXPECT_EQ(recorder.count("(false : no message)"), 4);
    EXPECT_FALSE((SDate() + STimeSpan(1, 0, 0, 0, 0)).IsValid());
}

TEST(STimeSpanParts, AreCutTowardsZeroAndBearTheSign)
{
    struct Row
    {
        std::int64_t count, days;
        long hours, minutes, seconds, milliseconds;
        std::int64_t totalSeconds;
    };
    for (const Row& row :
         {Row{93'784'005, 1, 2, 3, 4, 5, 93'784}, Row{-93'784'005, -1, -2, -3, -4, -5, -93'784},
          Row{-1, 0, 0, 0, 0, -1, 0}, Row{0, 0, 0, 0, 0, 0, 0},
          Row{std::numeric_limits<std::int64_t>::min(), -106'751'991'167, -7, -12, -55, -808,
              -9'223'372'036'854'775}}) {
        const STimeSpan span(row.count);
        EXPECT_EQ(span.GetDays(), row.days);
        EXPECT_EQ(span.GetHours(), row.hours);
        EXPECT_EQ(span.GetMinutes(), row.minutes);
        EXPECT_EQ(span.GetSeconds(), row.seconds);
        EXPECT_EQ(span.GetMilliseconds(), row.milliseconds);
        EXPECT_EQ(span.GetTotalSeconds(), row.totalSeconds);
    }
    EXPECT_EQ(STimeSpan(1, 2, 3, 4, 5), STimeSpan(93'784'005));
    EXPECT_EQ(STimeSpan(-1, -2, -3, -4, -5), STimeSpan(-93'784'005));
    EXPECT_LT(STimeSpan(-1), STimeSpan());
    EXPECT_EQ(STimeSpan(std::chrono::milliseconds(7)).GetDuration(), std::chrono::milliseconds(7));
}

TEST(STimeSpanParts, OfTwoSignsAreReportedAndAddedUp)
{
    const Recorder recorder;
    EXPECT_EQ(STimeSpan(1, -1, 0, 0, 0), STimeSpan(0, 23, 0, 0, 0));
    EXPECT_EQ(recorder.count("((nDays >= 0) && (nHours >= 0) && (nMinutes >= 0) && (nSeconds >= 0) && "
                             "(nMilliseconds >= 0)) || ((nDays <= 0) && (nHours <= 0) && (nMinutes <= 0) && "
                             "(nSeconds <= 0) && (nMilliseconds <= 0))"),
              1);
    EXPECT_EQ(recorder.askedFile(), "stime.cpp");
}

TEST(STimeSpanParts, StopAtTheLargestSpan)
{
    const STimeSpan largest(std::numeric_limits<std::int64_t>::max());
    const STimeSpan smallest(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(largest + STimeSpan(1), largest);
    EXPECT_EQ(smallest - STimeSpan(1), smallest);
    EXPECT_EQ(STimeSpan() - smallest, largest);
    EXPECT_EQ(STimeSpan(std::numeric_limits<long>::max(), 0, 0, 0, 0) > STimeSpan(100'000'000, 0, 0, 0, 0),
              true);
}

TEST(STimeOfDay, WrapsAroundMidnightAndLosesTheDay)
{
    struct Row
    {
        std::int64_t span;
        int hour, minute;
    };
    const STime late(23, 0, 0, 0, utc());
    for (const Row& row :
         {Row{2 * 3'600'000, 1, 0}, Row{-24 * 3'600'000, 23, 0}, Row{-23 * 3'600'000 - 60'000, 23, 59},
          Row{std::numeric_limits<std::int64_t>::min(), 15, 47},
          Row{std::numeric_limits<std::int64_t>::max(), 6, 12}}) {
        const STime moved = late + STimeSpan(row.span);
        EXPECT_EQ(moved.GetHour(utc()), row.hour) << row.span;
        EXPECT_EQ(moved.GetMinute(utc()), row.minute) << row.span;
    }
    EXPECT_EQ(late - STimeSpan(0, 24, 0, 0, 1), STime(22, 59, 59, 999, utc()));
    EXPECT_EQ(STime(1, 0, 0, 0, utc()) - late, STimeSpan(0, -22, 0, 0, 0));
}

TEST(STimeOfDay, IsHeldInUtc)
{
    const STimeZone kathmandu("NPT,-345");
    const STime time(1, 2, 3, 4, kathmandu);
    EXPECT_EQ(time, STime(19, 17, 3, 4, utc()));
    int hour = 0;
    int minute = 0;
    int second = 0;
    time.GetHourMinuteSecond(hour, minute, second, kathmandu);
    EXPECT_EQ(hour * 10'000 + minute * 100 + second, 10'203);
    EXPECT_EQ(time.GetHour(kathmandu), 1);
    EXPECT_EQ(time.GetMinute(kathmandu), 2);
    EXPECT_EQ(time.Format("H:m:s.S d", kathmandu).view(), "1:2:3.4 ");
}

TEST(STimeOfDay, RefusesFieldsOutOfRange)
{
    struct Row
    {
        int hour, minute, second, millisecond;
    };
    for (const Row& row : {Row{24, 0, 0, 0}, Row{0, 60, 0, 0}, Row{0, 0, 60, 0}, Row{0, 0, 0, 1000},
                           Row{-1, 0, 0, 0}, Row{256, 0, 0, 0}, Row{0, 0, 0, -1}}) {
        const Recorder recorder;
        EXPECT_FALSE(STime(row.hour, row.minute, row.second, row.millisecond, utc()).IsValid());
        EXPECT_EQ(recorder.count("(false : no message)"), 1);
        STime set(1, 1, 1, 1, utc());
        set.Set(row.hour, row.minute, row.second, row.millisecond, utc());
        EXPECT_FALSE(set.IsValid());
        EXPECT_EQ(recorder.count("((hour < 24) && (minute < 60) && (second < 60) && (millisecond < 1000) : "),
                  1);
    }
}

TEST(SDateTimeFields, AreReadInTheZone)
{
    const STimeZone zone(300, true); // New York by the rules of old
    const SDateTime winter(2003, 1, 31, 23, 30, 15, 250, zone);
    EXPECT_EQ(winter, inUtc(2003, 2, 1, 4, 30, 15, 250));
    EXPECT_EQ(winter.GetMonth(zone), 1);
    EXPECT_EQ(winter.GetMonth(utc()), 2);
    EXPECT_EQ(winter.GetDay(zone), 31);
    EXPECT_EQ(winter.GetDayOfWeek(zone), 5);
    EXPECT_EQ(winter.GetHour(zone), 23);
    EXPECT_EQ(winter.GetMinute(zone), 30);
    EXPECT_EQ(winter.GetSecond(), 15);
    EXPECT_EQ(winter.GetMillisecond(), 250);
    EXPECT_EQ(winter.GetDate(zone), SDate(2003, 1, 31));
    EXPECT_EQ(winter.GetTime(zone).GetHour(zone), 23);
    EXPECT_EQ(SDateTime(2003, 7, 5, 12, 0, 0, 0, zone), inUtc(2003, 7, 5, 16));
    EXPECT_EQ(SDateTime(2003, 12, 31, 23, 0, 0, 0, zone).GetYear(utc()), 2004);
}

TEST(SDateTimeFields, MoveOverMidnightBothWays)
{
    const SDateTime moment = inUtc(1582, 10, 4, 23, 59, 59, 999);
    EXPECT_EQ(moment + STimeSpan(1), inUtc(1582, 10, 15));
    EXPECT_EQ(moment + STimeSpan(1) - STimeSpan(1), moment);
    EXPECT_EQ(inUtc(1, 1, 1) - STimeSpan(1), inUtc(-1, 12, 31, 23, 59, 59, 999));
    EXPECT_EQ(inUtc(2000, 3, 1) - inUtc(2000, 2, 28, 12), STimeSpan(1, 12, 0, 0, 0));
    EXPECT_LT(inUtc(1999, 12, 31, 23), inUtc(2000, 1, 1, 1));
    EXPECT_LT(SDateTime(), inUtc(-4000, 1, 1));
}

TEST(SDateTimeFields, OfAnInvalidMomentCanBeAskedAndAreReported)
{
    const SDateTime invalid;
    const STimeZone zone(300, true);
    using Question = void (*)(const SDateTime&, const STimeZone&);
    const std::vector<Question> questions = {
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetYear(asked); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetMonth(asked); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetDay(asked); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetDayOfWeek(asked); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetHour(asked); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetMinute(asked); },
        [](const SDateTime& moment, const STimeZone&) { (void)moment.GetSecond(); },
        [](const SDateTime& moment, const STimeZone&) { (void)moment.GetMillisecond(); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetDate(asked); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetTime(asked); },
        [](const SDateTime& moment, const STimeZone&) { (void)moment.GetTimePoint(); },
        [](const SDateTime& moment, const STimeZone&) { (void)moment.GetUTCDate().GetWeekOfMonth(1); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetUTCTime().GetHour(asked); },
        [](const SDateTime& moment, const STimeZone&) { (void)moment.GetUTCDate().Format("d"); },
        [](const SDateTime& moment, const STimeZone& asked) { (void)moment.GetUTCTime().Format("H", asked); },
    };
    for (std::size_t place = 0; place < questions.size(); ++place) {
        const Recorder recorder;
        questions[place](invalid, zone);
        EXPECT_EQ(recorder.count("(IsValid() : no message)"), 1) << place;
    }
    const Recorder recorder;
    (void)(invalid - inUtc(2000, 1, 1));
    (void)(invalid.GetUTCDate() - SDate(2000, 1, 1));
    (void)(STime(1, 1, 1, 1, utc()) - invalid.GetUTCTime());
    EXPECT_EQ(recorder.count("(IsValid() && datetime.IsValid() : "), 1);
    EXPECT_EQ(recorder.count("(IsValid() && date.IsValid() : "), 1);
    EXPECT_EQ(recorder.count("(IsValid() && timeOfDay.IsValid() : "), 1);
    EXPECT_FALSE((invalid + STimeSpan(1, 2, 3, 4, 5)).IsValid());
    EXPECT_FALSE(inUtc(2000, 2, 30).IsValid());
    EXPECT_FALSE(inUtc(2000, 2, 3, 24).IsValid());
}

TEST(SDateTimeFormat, WritesEveryTokenInEveryLength)
{
    struct Row
    {
        const char* pattern;
        const char* text;
    };
    const SDateTime moment = inUtc(2003, 7, 5, 1, 2, 3, 4); // a Saturday
    for (const Row& row : {Row{"d|dd|ddd|dddd|ddddd", "5|05|Sat|Saturday|Saturday"},
                           Row{"M|MM|MMM|MMMM|MMMMM", "7|07|Jul|July|July"},
                           Row{"y|yy|yyy|yyyy|yyyyy", "3|03|2003|2003|2003"},
                           Row{"h|hh|hhh", "1|01|01"},
                           Row{"H|HH|HHH", "1|01|01"},
                           Row{"m|mm|mmm", "2|02|02"},
                           Row{"s|ss|sss", "3|03|03"},
                           Row{"S|SS|SSS|SSSS", "4|004|004|004"},
                           Row{"tt", "AM"},
                           Row{"yyyy-MM-dd@HH:mm:ss.SS", "2003-07-05@01:02:03.004"},
                           Row{"yyyyMMdd_HHmmss", "20030705_010203"},
                           Row{"_yyyyMMdd_HHmmss", "_20030705_010203"},
                           Row{"yyyy-MM-dd\tHH:mm:ss\t", "2003-07-05\t01:02:03\t"},
                           Row{"dd MMM yyyy HH':'mm':'ss", "05 Jul 2003 01:02:03"},
                           Row{"'d'd\"M\"M", "d5M7"},
                           Row{"'it\"s' \"it's\"", "it\"s it's"},
                           Row{"h 'o''clock'", "1 oclock"},
                           Row{"d 'M d", "5 M d"},
                           Row{"d''d", "55"},
                           Row{"'", ""},
                           Row{"\"'", "'"},
                           Row{"", ""},
                           Row{"\\d", "\\5"},
                           Row{"%1 Z", "%1 Z"}}) {
        EXPECT_EQ(textOf(moment, row.pattern), row.text) << row.pattern;
    }
    EXPECT_EQ(textOf(moment, nullptr), "");
    EXPECT_EQ(textOf(moment, "g"), SDateTimeString::GetEra(SDate(2003, 7, 5)).view());
    EXPECT_EQ(textOf(moment, "t"), SDateTimeString::GetShortAM(true).view());
}

TEST(SDateTimeFormat, KnowsTheHoursOfTheHalfDayAndOddYears)
{
    struct Row
    {
        SDateTime moment;
        const char* pattern;
        const char* text;
    };
    for (const Row& row :
         {Row{inUtc(2000, 1, 1, 0, 30), "h hh tt", "12 12 AM"}, Row{inUtc(2000, 1, 1, 12), "h tt", "12 PM"},
          Row{inUtc(2000, 1, 1, 23), "hh H tt", "11 23 PM"}, Row{inUtc(2000, 1, 1, 11, 59), "tt", "AM"},
          Row{inUtc(-44, 3, 15), "y yy yyyy", "44 44 -44"}, Row{inUtc(7, 3, 15), "y yy yyyy", "7 07 7"},
          Row{inUtc(2000, 3, 15), "y yy", "0 00"}, Row{inUtc(40000, 3, 15), "yy yyyy", "00 40000"},
          Row{inUtc(2000, 1, 1, 0, 0, 0, 45), "S SS", "45 045"},
          Row{inUtc(2000, 1, 1, 0, 0, 0, 456), "S SS", "456 456"}}) {
        EXPECT_EQ(textOf(row.moment, row.pattern), row.text);
    }
}

TEST(SDateTimeFormat, LeavesTheLiteralTextOfAnInvalidMoment)
{
    const Recorder recorder;
    EXPECT_EQ(textOf(SDateTime(), "yyyy"), "");
    EXPECT_EQ(textOf(SDateTime(), "yyyy-MM-dd 'at' HH:mm", STimeZone(300, true)), "-- at :");
    EXPECT_TRUE(recorder.lines().empty());
    EXPECT_EQ(SDate(2003, 7, 5).Format("d.M. H:m").view(), "5.7. :");
}

TEST(SDateTimeFormat, WritesTextOfAnyLength)
{
    for (const std::size_t length : {100U, 127U, 128U, 129U, 1000U}) {
        const std::string filler(length, 'x');
        EXPECT_EQ(textOf(inUtc(2003, 7, 5), ("yyyy" + filler + "dd" + filler).c_str()),
                  "2003" + filler + "05" + filler);
    }
}

TEST(SDateTimeParse, TakesWhatThePatternWrites)
{
    struct Row
    {
        const char* pattern;
        const char* text;
        SDateTime moment;
    };
    const SDateTime day = inUtc(2003, 7, 5);
    for (const Row& row :
         {Row{"yyyy-MM-dd HH:mm:ss.SS", "2003-07-05 01:02:03.004", inUtc(2003, 7, 5, 1, 2, 3, 4)},
          Row{"yyyy-MM-dd", "2003-07-05", day},
          Row{"yyyyMMdd_HHmmss", "20030705_010203", inUtc(2003, 7, 5, 1, 2, 3)}, Row{"d.M.yy", "5.7.03", day},
          Row{"d.M.y", "5.7.3", day}, Row{"d.M.yy", "5.7.70", inUtc(1970, 7, 5)},
          Row{"dddd, d MMMM yyyy", "Saturday, 5 July 2003", day},
          Row{"ddd d MMM yyyy", "Sat 5 Jul 2003", day},
          Row{"yyyy-M-d h:mm tt", "2003-7-5 12:30 AM", inUtc(2003, 7, 5, 0, 30)},
          Row{"yyyy-M-d h:mm tt", "2003-7-5 12:30 PM", inUtc(2003, 7, 5, 12, 30)},
          Row{"yyyy-M-d h H m", "2003-7-5 1 13 0", inUtc(2003, 7, 5, 13)},
          Row{"yyyy-M-d tt", "2003-7-5 PM", inUtc(2003, 7, 5, 12)}, Row{"S yyyy-M-d", "0 2003-7-5", day},
          Row{"yyyy-M-d", "-44-3-15", inUtc(-44, 3, 15)}, Row{"yyyy.M.d", "40000.3.15", inUtc(40000, 3, 15)},
          Row{"yyyy'1'M'-'d", "200317-5", day}, Row{"'day 'd' of 'M yyyy", "day 5 of 7 2003", day},
          Row{"yyyy yy M d dd", "2003 03 7 5 05", day}}) {
        unsigned int mismatch = 1000;
        EXPECT_EQ(SDateTime::Parse(row.text, row.pattern, utc(), &mismatch), row.moment) << row.text;
        EXPECT_EQ(mismatch, std::string(row.text).size()) << row.text;
    }
    EXPECT_EQ(SDateTime::Parse("2003-07-05 12:00", "yyyy-MM-dd HH:mm", STimeZone(300, true)),
              inUtc(2003, 7, 5, 16));
}

TEST(SDateTimeParse, TellsWhereATextDiffers)
{
    struct Row
    {
        const char* pattern;
        const char* text;
        unsigned int mismatch;
    };
    const Recorder recorder;
    for (const Row& row : {Row{"yyyy-MM-dd", "2003-7-05", 6},
                           Row{"yyyy-MM-dd", "2003-07-05 ", 10},
                           Row{"yyyy-MM-dd", "2003-07-5", 9},
                           Row{"yyyy-MM-dd", "2003/07/05", 4},
                           Row{"yyyy-MM-dd", "", 0},
                           Row{"yyyy-MM-dd", "2003-13-05", 5},
                           Row{"yyyy-MM-dd", "2003-02-29", 8},
                           Row{"yyyy-MM-dd", "1582-10-10", 8},
                           Row{"yyyy-MM-dd", "0-01-01", 0},
                           Row{"yyyy-MM-dd", "02003-01-01", 0},
                           Row{"yyyyMMdd", "00050705", 0},
                           Row{"yyyy-MM-dd", "+2003-01-01", 0},
                           Row{"yyyy-MM-dd", "2003-07-05x", 10},
                           Row{"yyyy-M-d", "2003-7-05", 7},
                           Row{"yyyy-M-d", "9999999-7-5", 0},
                           Row{"yyyyMMdd", "2003075", 7},
                           Row{"yyyy-M-d H", "2003-7-5 24", 9},
                           Row{"yyyy-M-d h tt", "2003-7-5 13 AM", 9},
                           Row{"yyyy-M-d h tt", "2003-7-5 0 AM", 9},
                           Row{"yyyy-M-d h tt", "2003-7-5 1 am", 11},
                           Row{"yyyy-M-d H tt", "2003-7-5 13 AM", 12},
                           Row{"yyyy-M-d H h", "2003-7-5 13 2", 12},
                           Row{"ddd d.M.yyyy", "Sun 5.7.2003", 0},
                           Row{"d MMM yyyy", "5 July 2003", 5},
                           Row{"yyyy yy M d", "2003 04 7 5", 5},
                           Row{"d dd M yyyy", "5 06 7 2003", 2},
                           Row{"S yyyy-M-d", "04 2003-7-5", 1},
                           Row{"SS yyyy-M-d", "04 2003-7-5", 2},
                           Row{"yyyy-M-d'T'", "2003-7-5t", 8}}) {
        unsigned int mismatch = 1000;
        EXPECT_FALSE(SDateTime::Parse(row.text, row.pattern, utc(), &mismatch).IsValid()) << row.text;
        EXPECT_EQ(mismatch, row.mismatch) << row.text << " by " << row.pattern;
    }
    EXPECT_FALSE(SDateTime::Parse(nullptr, "yyyy-MM-dd", utc()).IsValid());
    EXPECT_FALSE(SDateTime::Parse("2003-07-05", nullptr, utc()).IsValid());
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(SDateTimeParse, ReportsAPatternThatTellsTooLittle)
{
    struct Row
    {
        const char* pattern;
        const char* text;
    };
    for (const Row& row : {Row{"HH:mm", "01:02"}, Row{"yyyy-MM", "2003-07"}, Row{"yyyy-M-d h", "2003-7-5 3"},
                           Row{nullptr, ""}}) {
        const Recorder recorder;
        EXPECT_FALSE(SDateTime::Parse(row.text, row.pattern, utc()).IsValid());
        EXPECT_EQ(recorder.count("a pattern to read by tells year, month and day"), 1);
    }
}

TEST_F(STimeRoundTrip, TextComesBackByManyPatterns)
{
    const STimeZone zone("X,-345");
    const std::vector<const char*> patterns = {
        "yyyy-MM-dd HH:mm:ss.SS", "d.M.yyyy H:m:s.S", "dddd d MMMM yyyy g hh'h'mm'm'ss's'SS tt",
        "ss mm HH dd MM yyyy SS", "\"y\"yyyy' dd 'ddd MMM d h:m:s S tt"};
    for (int round = 0; round < 20'000; ++round) {
        const SDateTime moment = randomMoment(-4000, 40'000);
        const char* const pattern = patterns[random() % patterns.size()];
        const std::string text = textOf(moment, pattern, zone);
        ASSERT_EQ(SDateTime::Parse(text.c_str(), pattern, zone), moment) << text;
    }
}

TEST(SDateTimeLocale, KeepsTheTrailBytesOfLiteralCharacters)
{
    const LocaleInForce locale({"ja_JP.CP932", "Japanese_Japan.932"});
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    // Characters whose second bytes are the letters d, M, y, H and the bracket's 0x5D.
    const char* const pattern = "\x83"
                                "d"
                                "d"
                                "\x83"
                                "M"
                                "M'\x83"
                                "y'\x83"
                                "H"
                                "\x83]"
                                "yyyy";
    const char* const text = "\x83"
                             "d"
                             "5"
                             "\x83"
                             "M"
                             "7"
                             "\x83"
                             "y\x83"
                             "H"
                             "\x83]"
                             "2003";
    EXPECT_EQ(textOf(inUtc(2003, 7, 5), pattern), text);
    EXPECT_EQ(SDateTime::Parse(text, pattern, utc()), inUtc(2003, 7, 5));
}

TEST(SDateTimeLocale, WritesAndReadsItsNames)
{
    for (const auto& names :
         {std::vector<const char*>{"de_DE.ISO-8859-1", "de_DE.CP1252", "German_Germany.1252"},
          std::vector<const char*>{"ja_JP.UTF-8", "Japanese_Japan.932"},
          std::vector<const char*>{"zh_TW.BIG5", "Chinese_Taiwan.950"},
          std::vector<const char*>{"tr_TR.UTF-8", "Turkish_Turkey.1254"}}) {
        const LocaleInForce locale(names);
        if (!locale.found()) {
            continue;
        }
        const char* const pattern = "dddd ddd d MMMM MMM yyyy g H";
        for (int month = 1; month <= 12; ++month) {
            const SDateTime moment = inUtc(2026, month, month, 13);
            const std::string text = textOf(moment, pattern);
            const std::string longMonth(SDateTimeString::GetLongMonth(month).view());
            EXPECT_NE(text.find(" " + longMonth + " "), std::string::npos) << text;
            EXPECT_EQ(SDateTime::Parse(text.c_str(), pattern, utc()), moment) << text;
        }
    }
}

TEST(SDateTimeLocale, WritesLongNamesWhereverTheyStand)
{
    const LocaleInForce locale({"ps_AF.UTF-8", "Portuguese_Brazil.1252"});
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    for (int day = 1; day <= 7; ++day) {
        const SDateTime moment = inUtc(2026, 11, day);
        const std::string name(SDateTimeString::GetLongDay(moment.GetDayOfWeek(utc())).view());
        for (std::size_t before = 0; before < 150; ++before) {
            const std::string text(before, '.');
            ASSERT_EQ(textOf(moment, (text + "dddd,yyyy").c_str()), text + name + ",2026");
        }
    }
}

TEST(NeutralDates, AreWrittenInOneWayAndReadBack)
{
    constexpr auto largestDay = std::numeric_limits<std::int32_t>::max();
    constexpr auto largestSpan = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(neutral(SDate(2026, 11, 21)), "2026-11-21");
    EXPECT_EQ(neutral(SDate(44, 3, 15)), "0044-03-15");
    EXPECT_EQ(neutral(SDate(-44, 3, 15)), "-0044-03-15");
    EXPECT_EQ(neutral(SDate(12026, 1, 1)), "12026-01-01");
    EXPECT_EQ(neutral(SDate(1582, 10, 4)), "1582-10-04");
    EXPECT_EQ(neutral(SDate(1500, 2, 29)), "1500-02-29");
    EXPECT_EQ(neutral(SDate::FromDayNumber(largestDay)).size(), std::size_t{13});
    EXPECT_EQ(neutral(SDate::FromDayNumber(-largestDay)).size(), std::size_t{14});
    EXPECT_EQ(neutral(SDate()), "invalid");
    EXPECT_EQ(neutral(STime::FromMilliseconds(86'399'999)), "23:59:59.999Z");
    EXPECT_EQ(neutral(STime()), "invalid");
    EXPECT_EQ(neutral(inUtc(2026, 11, 21, 10, 15, 33, 7)), "2026-11-21T10:15:33.007Z");
    EXPECT_EQ(neutral(SDateTime()), "invalid");
    EXPECT_EQ(NeutralString::ToString(SDateTime::FromUTC(SDate(2026, 1, 1), STime())).view(), "invalid");
    EXPECT_EQ(neutral(STimeSpan(90'061'005)), "PT90061.005S");
    EXPECT_EQ(neutral(STimeSpan()), "PT0.000S");
    EXPECT_EQ(neutral(STimeSpan(-1)), "-PT0.001S");
    EXPECT_EQ(neutral(STimeSpan(largestSpan)), "PT9223372036854775.807S");
    EXPECT_EQ(neutral(STimeSpan(-largestSpan - 1)), "-PT9223372036854775.808S");
}

TEST_F(STimeRoundTrip, NeutralTextComesBack)
{
    for (int round = 0; round < 20'000; ++round) {
        const auto date = SDate::FromDayNumber(static_cast<std::int32_t>(random()));
        const auto time = STime::FromMilliseconds(static_cast<std::int32_t>(random() % 86'400'000));
        const STimeSpan span(static_cast<std::int64_t>(random()) >> random() % 64);
        neutral(SDateTime::FromUTC(date, time));
        neutral(span);
        neutral(randomMoment(1, 9999));
    }
}

TEST(NeutralDates, RefuseEveryOtherText)
{
    for (const char* text : {"",
                             "26-11-21",
                             "2026-11-2",
                             "2026-11-211",
                             "2026-11-31",
                             "2026-13-01",
                             "2026-00-01",
                             "2026-01-00",
                             "02026-11-21",
                             "+2026-11-21",
                             " 2026-11-21",
                             "2026-11-21 ",
                             "2026/11/21",
                             "0000-01-01",
                             "-0000-01-01",
                             "--2026-01-01",
                             "1582-10-05",
                             "1582-10-14",
                             "1900-02-29",
                             "9999999-01-01",
                             "-9999999-01-01",
                             "12345678-01-01",
                             "Invalid",
                             "2026-11-21T10:15:33.123Z"}) {
        EXPECT_FALSE(readNeutral<SDate>(text)) << text;
    }
    for (const char* text : {"", "24:00:00.000Z", "10:60:00.000Z", "10:00:60.000Z", "10:00:00.000",
                             "10:00:00Z", "10:00:00.000z", "1:00:00.000Z"}) {
        EXPECT_FALSE(readNeutral<STime>(text)) << text;
    }
    for (const char* text : {"", "T", "Z", "T10:15:33.123Z", "2026-11-21", "2026-11-21 10:15:33.123Z",
                             "2026-11-21T10:15:33Z", "2026-11-21T24:00:00.000Z", "2026-11-31T10:15:33.123Z",
                             "invalidT10:15:33.123Z", "2026-11-21TT10:15:33.123Z"}) {
        EXPECT_FALSE(readNeutral<SDateTime>(text)) << text;
    }
    for (const char* text :
         {"", "invalid", "PT1S", "PT.000S", "PT01.000S", "-PT0.000S", "--PT1.000S", "PT-1.000S", "PT+1.000S",
          "PT1.000", "1.000S", "PT1,000S", "PT9223372036854775.808S", "-PT9223372036854775.809S",
          "PT18446744073709551.616S", "PT99999999999999999999.000S"}) {
        EXPECT_FALSE(readNeutral<STimeSpan>(text)) << text;
    }
    SDate kept(2026, 11, 21);
    EXPECT_FALSE(NeutralString::FromString("2026-02-30", kept));
    EXPECT_FALSE(NeutralString::FromString(static_cast<const char*>(nullptr), kept));
    EXPECT_EQ(kept, SDate(2026, 11, 21));
}

TEST(SDateTimeTrace, WritesLocalTimeOrThatItIsInvalid)
{
    const SDateTime moment(2003, 7, 5, 1, 2, 3, 4, STimeZone::TZ_Local());
    EXPECT_EQ(STraceHelper("%1 %2", moment, SDateTime()).view(), "2003-07-05@01:02:03.004 invalid-date-time");
}

TEST(SDateTimeConversion, ReadsOleDatesAsPublished)
{
    struct Row
    {
        double date;
        const char* text;
    };
    for (const Row& row :
         {Row{0, "1899-12-30 00:00:00.000"}, Row{-1.25, "1899-12-29 06:00:00.000"},
          Row{-0.25, "1899-12-30 06:00:00.000"}, Row{0.25, "1899-12-30 06:00:00.000"},
          Row{1, "1899-12-31 00:00:00.000"}, Row{36526.5, "2000-01-01 12:00:00.000"},
          Row{36525.999999999, "2000-01-01 00:00:00.000"}, Row{-1.999999999, "1899-12-30 00:00:00.000"},
          Row{2958465.5, "9999-12-31 12:00:00.000"}}) {
        EXPECT_EQ(textOf(SDateTime(row.date, utc()), "yyyy-MM-dd HH:mm:ss.SSS"), row.text) << row.date;
    }
    EXPECT_EQ(sicDATEToUTCString(36526.5, STimeZone("X,60")).view(), "2000-01-01 13:00:00");
    EXPECT_EQ(SDateTime(-657434.0, utc()).GetYear(utc()), 100);
}

TEST(SDateTimeConversion, RefusesWhatIsNoOleDate)
{
    const Recorder recorder;
    const std::vector<double> refused = {std::numeric_limits<double>::quiet_NaN(),
                                         std::numeric_limits<double>::infinity(),
                                         -std::numeric_limits<double>::infinity(),
                                         -657435.0,
                                         2958466.0,
                                         1e300,
                                         2958465.9999999999};
    for (const double date : refused) {
        EXPECT_FALSE(SDateTime(date, utc()).IsValid()) << date;
    }
    EXPECT_EQ(recorder.count("(0 : Input SDateTime value is NULL or not valid)"),
              static_cast<int>(refused.size()));
    EXPECT_EQ(recorder.askedFile(), "sic_sdatetime_date.cpp");
    EXPECT_TRUE(std::isnan(SDateTime().GetOleDate(utc())));
    EXPECT_TRUE(std::isnan(inUtc(10000, 1, 1).GetOleDate(utc())));
    EXPECT_TRUE(std::isnan(inUtc(99, 1, 1).GetOleDate(utc())));
}

TEST_F(STimeRoundTrip, OleDatesComeBackToTheMillisecond)
{
    const STimeZone zone("X,-345");
    for (int round = 0; round < 20'000; ++round) {
        const SDateTime moment = randomMoment(101, 9998);
        ASSERT_EQ(SDateTime(moment.GetOleDate(zone), zone), moment)
            << textOf(moment, "yyyy-MM-dd HH:mm:ss.SS");
    }
}

TEST_F(STimeRoundTrip, FieldsComeBackInAnyZone)
{
    const STimeZone zone("X,-570");
    for (int round = 0; round < 20'000; ++round) {
        const SDateTime moment = randomMoment(-4000, 40'000);
        int year = 0;
        int month = 0;
        int day = 0;
        int hour = 0;
        int minute = 0;
        int second = 0;
        int millisecond = 0;
        moment.GetDateTime(year, month, day, hour, minute, second, millisecond, zone);
        ASSERT_EQ(SDateTime(year, month, day, hour, minute, second, millisecond, zone), moment) << year;
    }
}

TEST_F(STimeRoundTrip, PointsOfTheStandardLibraryComeBack)
{
    for (int round = 0; round < 20'000; ++round) {
        const auto count = static_cast<std::int64_t>(random() % 100'000'000'000'000) - 50'000'000'000'000;
        const SDateTime::time_point point{std::chrono::milliseconds(count)};
        const SDateTime moment(point);
        ASSERT_EQ(moment.GetTimePoint(), point);
        ASSERT_EQ(moment - inUtc(1970, 1, 1), STimeSpan(count));
    }
    using Nano = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;
    EXPECT_EQ(SDateTime(Nano(std::chrono::nanoseconds(-1))), inUtc(1969, 12, 31, 23, 59, 59, 999));
}

TEST(SDateTimeConversion, GoesByTheCLibrarysSeconds)
{
    const STimeZone& local = STimeZone::TZ_Local();
    EXPECT_EQ(SDateTime(86'400L * 365, local).GetTimeT(local), 86'400L * 365);
    EXPECT_EQ(sicSDateTimeToTime_t(sicTime_tToSDateTime(1'000'000'000L)), 1'000'000'000L);

    const Recorder recorder;
    EXPECT_FALSE(sicTime_tToSDateTime(-1, local).IsValid());
    EXPECT_TRUE(recorder.lines().empty());
    EXPECT_FALSE(SDateTime(-1L, local).IsValid());
    EXPECT_EQ(recorder.count("(FALSE : time_t is invalid)"), 1);
    EXPECT_EQ(SDateTime().GetTimeT(local), -1);
    EXPECT_EQ(recorder.count("(0 : Input SDateTime value is NULL or not valid)"), 1);
    EXPECT_EQ(recorder.askedFile(), "sic_sdatetime_tm.cpp");
}

TEST(SDateTimeConversion, ReadsAndWritesBrokenDownTime)
{
    const STimeZone zone("X,-60");
    const SDateTime moment(2004, 12, 31, 23, 58, 59, 999, zone);
    std::tm fields{};
    ASSERT_TRUE(sicSDateTimeToTm(moment, &fields, zone));
    EXPECT_EQ(fields.tm_year, 104);
    EXPECT_EQ(fields.tm_mon, 11);
    EXPECT_EQ(fields.tm_yday, 365);
    EXPECT_EQ(fields.tm_wday, 5);
    EXPECT_EQ(fields.tm_isdst, -1);
    EXPECT_EQ(SDateTime(&fields, zone), moment - STimeSpan(999));

    const Recorder recorder;
    fields.tm_sec = 60;
    EXPECT_FALSE(SDateTime(&fields, zone).IsValid());
    fields.tm_sec = 0;
    fields.tm_year = std::numeric_limits<int>::max();
    EXPECT_FALSE(SDateTime(&fields, zone).IsValid());
    fields.tm_year = 100;
    fields.tm_mon = std::numeric_limits<int>::max();
    EXPECT_FALSE(SDateTime(&fields, zone).IsValid());
    EXPECT_FALSE(SDateTime(static_cast<std::tm*>(nullptr), zone).IsValid());
    EXPECT_EQ(recorder.count("(FALSE : pTm is NULL)"), 1);
    EXPECT_FALSE(sicTmToSDateTime(nullptr, zone).IsValid());
    EXPECT_FALSE(sicSDateTimeToTm(moment, nullptr, zone));
    EXPECT_FALSE(sicSDateTimeToTm(SDateTime(), &fields, zone));
    EXPECT_EQ(recorder.count("(0 : Input SDateTime value is NULL or not valid)"), 3);
}

TEST(SDateTimeConversion, ReadsAndWritesSystemTimeByItsLayout)
{
    // On Windows the name is that of the system, whose layout this is.
    std::array<unsigned short, 8> fields = {2004, 2, 9, 29, 13, 14, 15, 16};
    auto* const systemTime = reinterpret_cast<SYSTEMTIME*>(fields.data());
    const SDateTime moment(systemTime, utc());
    EXPECT_EQ(moment, inUtc(2004, 2, 29, 13, 14, 15, 16));
    ASSERT_TRUE(inUtc(40000, 1, 2, 3, 4, 5, 6).GetSYSTEMTIME(systemTime, utc()));
    EXPECT_EQ(fields, (std::array<unsigned short, 8>{40000, 1, 0, 2, 3, 4, 5, 6}));

    const auto before = fields;
    const Recorder recorder;
    EXPECT_FALSE(inUtc(65536, 1, 1).GetSYSTEMTIME(systemTime, utc()));
    EXPECT_FALSE(inUtc(-1, 1, 1).GetSYSTEMTIME(systemTime, utc()));
    EXPECT_FALSE(SDateTime().GetSYSTEMTIME(systemTime, utc()));
    EXPECT_FALSE(moment.GetSYSTEMTIME(nullptr, utc()));
    EXPECT_FALSE(sicSYSTEMTIMEToSDateTime(nullptr, utc()).IsValid());
    EXPECT_EQ(recorder.count("(0 : Input SDateTime value is NULL or not valid)"), 3);
    EXPECT_EQ(fields, before);
}

TEST(SDateTimeConversion, WritesTheDateOfAVariantAsItStands)
{
    // On Windows the name is that of the system, whose layout this is.
    const auto textOf = [](const SVariant& variant) {
        return std::string(sicVariantDateToSString(reinterpret_cast<const VARIANT&>(variant)).view());
    };
    double date = -1.25;
    SVariant variant{};
    variant.vt = SVariant::VT_DATE;
    variant.date = date;
    EXPECT_EQ(textOf(variant), "1899-12-29 06:00:00");
    variant.vt = SVariant::VT_DATE | SVariant::VT_BYREF;
    variant.pdate = &date;
    EXPECT_EQ(textOf(variant), "1899-12-29 06:00:00");

    const Recorder recorder;
    variant.pdate = nullptr;
    EXPECT_EQ(textOf(variant), "");
    variant.vt = SVariant::VT_EMPTY;
    EXPECT_EQ(textOf(variant), "");
    variant.vt = SVariant::VT_DATE;
    variant.date = 2958466.0;
    EXPECT_EQ(textOf(variant), "");
    EXPECT_EQ(recorder.count("(0 : Input SDateTime value is NULL or not valid)"), 3);
}

TEST(SDateTimeClock, TellsTheSystemsTime)
{
    const auto before = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const SDateTime now = SDateTime::GetCurrentDateTime();
    const auto after = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const auto slack = std::chrono::milliseconds(20); // Windows' two clocks step apart
    EXPECT_GE(now.GetTimePoint(), before - slack);
    EXPECT_LE(now.GetTimePoint(), after + slack);
    EXPECT_LE(SDate::GetCurrentDate(utc()) - now.GetDate(utc()), STimeSpan(1, 0, 0, 0, 0));
    EXPECT_TRUE((STime::GetCurrentTime)(utc()).IsValid());
}

} // namespace MorvexA106
