#include "morvex/stimezone.h"

#include "morvex/sdate.h"
#include "morvex/sdatetime.h"
#include "morvex/zonesources.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace
{

std::string textOf(const SAnsiString& text)
{
    return std::string(text.view());
}

std::string rulesOf(const char* text)
{
    return textOf(STimeZone(SAnsiString(text)).GetRules());
}

SDateTime utc(int year, int month, int day, int hour, int minute = 0, int second = 0, int millisecond = 0)
{
    return SDateTime(year, month, day, hour, minute, second, millisecond, STimeZone::TZ_UTC());
}

long minutesOf(const STimeSpan& span)
{
    return static_cast<long>(span.GetTotalMinutes());
}

/// Asks for the shared zones when nearly everything of the program is gone.
struct AsksWhileTheProcessEnds
{
    ~AsksWhileTheProcessEnds()
    {
        if (STimeZone::TZ_UTC().GetRules() != SAnsiString("UTC,0") ||
            STimeZone::TZ_Local().GetRules().isEmpty()) {
            std::_Exit(3);
        }
    }
};
const AsksWhileTheProcessEnds asks;

// 18 July 2021, 12:00 UTC.
constexpr std::int64_t summer2021 = 1626609600;

constexpr const char* central = "CET,-60,CEST,-120;3.5.0/02:00,10.5.0/03:00";

/// The stated way to a change's moment, by dates alone.
struct SlowChange
{
    int month;
    int week;
    int dayOfWeek;
    int hour;
    int minute;

    SDateTime momentIn(int year) const
    {
        constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        const int delta = dayOfWeek - SDate(year, month, 1).GetDayOfWeek();
        int day = delta == 0 ? (week - 1) * 7 + 1 : week * 7 + delta + 1;
        if (delta > 0) {
            day -= 7;
        }
        if (day > lengths[month - 1]) {
            day -= 7;
        }
        return utc(year, month, day, hour, minute);
    }
    std::string text() const
    {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%d.%d.%d/%02d:%02d", month, week, dayOfWeek, hour, minute);
        return buffer;
    }
};

SlowChange someChange(std::mt19937& random)
{
    const auto upTo = [&random](int most) { return static_cast<int>(random() % (most + 1u)); };
    return {1 + upTo(11), 1 + upTo(4), upTo(6), upTo(23), upTo(59)};
}

bool slowInDaylight(const SlowChange& start, const SlowChange& end, int standardOffset, int daylightOffset,
                    const SDateTime& moment)
{
    const int year = moment.GetYear(STimeZone::TZ_UTC());
    const SDateTime from = start.momentIn(year) + STimeSpan(standardOffset * 60000);
    const SDateTime to = end.momentIn(year) + STimeSpan(daylightOffset * 60000);
    return from > to ? !(moment >= to && moment < from) : moment >= from && moment < to;
}

} // namespace

TEST(STimeZone, WritesTheRuleTextThatItReads)
{
    const char* const texts[] = {
        "UTC,0",
        ",0",
        "West of all,720",
        "a name; with 1.2.3/04:05,-345",
        central,
        "XST,300,XDT,240;4.1.0/02:00,10.5.0/02:00",
        "S,-600,D,-630;10.1.0/02:00,4.1.0/02:00",
        ",0,,0;1.1.0/00:00,12.5.6/23:59",
        "S,32767,D,-32768;1.1.0/24:00,12.5.6/255:59",
    };
    Recorder recorder;
    for (const char* const text : texts) {
        EXPECT_EQ(rulesOf(text), text);
    }
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(STimeZone, MovesAChangeBeforeItsDayToAnEarlierOne)
{
    struct Row
    {
        const char* name;
        const char* change;
        const char* written;
    };
    const Row rows[] = {
        {"an hour before the last Sunday", "3.5.0/-1:00", "3.4.4/71:00"},
        {"half an hour before", "3.5.0/-0:30", "3.4.4/71:30"},
        {"within the month, at the same distance", "3.2.0/-24:00", "3.1.0/144:00"},
        {"the month before", "4.1.0/-1:00", "3.4.4/239:00"},
        {"a whole day, from the first week", "10.1.1/-24:00", "9.4.6/192:00"},
        {"zero with a sign", "3.5.0/-0:00", "3.5.0/00:00"},
    };
    for (const Row& row : rows) {
        const std::string text = std::string("S,0,D,-60;") + row.change + ",10.5.0/03:00";
        const std::string written = std::string("S,0,D,-60;") + row.written + ",10.5.0/03:00";
        EXPECT_EQ(rulesOf(text.c_str()), written) << row.name;
    }
}

TEST(STimeZone, FindsAMovedChangeInEveryYear)
{
    const STimeZone moved("S,0,D,-60;3.5.0/-1:00,10.1.1/-24:00");
    const STimeZone later("S,0,D,-60;3.5.0/24:00,10.5.0/24:00");
    const SlowChange sunday{3, 5, 0, 0, 0};
    const SlowChange monday{10, 1, 1, 0, 0};
    const STimeSpan instant(1);
    for (int year = 1990; year < 2030; ++year) {
        const SDateTime start = sunday.momentIn(year) - STimeSpan(0, 1, 0, 0, 0);
        const SDateTime end = monday.momentIn(year) - STimeSpan(0, 25, 0, 0, 0);
        EXPECT_TRUE(!moved.InDST(start - instant) && moved.InDST(start)) << year;
        EXPECT_TRUE(moved.InDST(end - instant) && !moved.InDST(end)) << year;

        const SDateTime laterStart = sunday.momentIn(year) + STimeSpan(1, 0, 0, 0, 0);
        EXPECT_TRUE(!later.InDST(laterStart - instant) && later.InDST(laterStart)) << year;
    }
}

TEST(STimeZone, TakesTextThatIsNoRuleForUtcAndReportsIt)
{
    const char* const texts[] = {
        "UTC",
        ",",
        "UTC,",
        "UTC,x",
        "UTC,0 ",
        "UTC,0,",
        "UTC,32768",
        "UTC,99999999999999999999",
        "CET-1CEST,M3.5.0,M10.5.0/3",
        "S,0,D,-60",
        "S,0,D,-60;",
        "S,0,D;3.5.0/02:00,10.5.0/03:00",
        "S,0,D,-60;3.5.0/02:00",
        "S,0,D,-60;3.5.0/02:00,10.5.0/03:00,",
        "S,0,D,-60;0.5.0/02:00,10.5.0/03:00",
        "S,0,D,-60;13.5.0/02:00,10.5.0/03:00",
        "S,0,D,-60;3.0.0/02:00,10.5.0/03:00",
        "S,0,D,-60;3.6.0/02:00,10.5.0/03:00",
        "S,0,D,-60;3.5.7/02:00,10.5.0/03:00",
        "S,0,D,-60;3.5.-1/02:00,10.5.0/03:00",
        "S,0,D,-60;3.5.0/256:00,10.5.0/03:00",
        "S,0,D,-60;3.5.0/--1:00,10.5.0/03:00",
        "S,0,D,-60;3.5.0/02:60,10.5.0/03:00",
        "S,0,D,-60;3.5.0/02,10.5.0/03:00",
        "S,0,D,-60;1.1.0/-1:00,10.5.0/03:00",   // in the year before
        "S,0,D,-60;3.1.0/-1:00,10.5.0/03:00",   // in a month of 28 or 29 days
        "S,0,D,-60;3.5.0/-256:00,10.5.0/03:00", // further than a change goes
        "\xFF\xFE",
    };
    for (const char* const text : texts) {
        Recorder recorder;
        EXPECT_EQ(rulesOf(text), "UTC,0") << text;
        EXPECT_EQ(recorder.count("stimezone.cpp"), 1) << text;
        EXPECT_EQ(recorder.count("(false : The text is no rule of a time zone"), 1) << text;
    }
}

TEST(STimeZone, ChangesAtTheVeryMoment)
{
    struct Row
    {
        const char* name;
        const char* rules;
        SDateTime change;
        long before;
        long after;
    };
    const Row rows[] = {
        {"start", "X,300,Y,240;4.1.0/02:00,10.5.0/02:00", utc(2021, 4, 4, 7), 300, 240},
        {"end", "X,300,Y,240;4.1.0/02:00,10.5.0/02:00", utc(2021, 10, 31, 6), 240, 300},
        {"east, start", central, utc(2026, 3, 29, 1), -60, -120},
        {"east, end", central, utc(2026, 10, 25, 1), -120, -60},
        {"south, start", "X,-600,Y,-660;10.1.0/02:00,4.1.0/03:00", utc(2026, 10, 3, 16), -600, -660},
        {"south, end", "X,-600,Y,-660;10.1.0/02:00,4.1.0/03:00", utc(2026, 4, 4, 16), -660, -600},
        {"half an hour", "X,-630,Y,-660;10.1.0/02:00,4.1.0/02:00", utc(2026, 10, 3, 15, 30), -630, -660},
        {"quarters", "X,-765,Y,-825;9.5.0/02:45,4.1.0/03:45", utc(2026, 9, 26, 14), -765, -825},
        {"the first of the month", "X,0,Y,-60;8.1.0/00:00,9.1.0/00:00", utc(2021, 8, 1, 0), 0, -60},
        {"the second week from there", "X,0,Y,-60;8.2.0/00:00,9.1.0/00:00", utc(2021, 8, 8, 0), 0, -60},
        {"the first weekday is the seventh", "X,0,Y,-60;8.1.6/00:00,9.1.0/00:00", utc(2021, 8, 7, 0), 0, -60},
        {"a fifth weekday", "X,0,Y,-60;8.5.0/00:00,9.1.0/00:00", utc(2021, 8, 29, 0), 0, -60},
        {"only four weekdays", "X,0,Y,-60;8.5.3/00:00,9.1.0/00:00", utc(2021, 8, 25, 0), 0, -60},
        {"29 February is no last weekday", "X,0,Y,-60;2.5.4/00:00,9.1.0/00:00", utc(2024, 2, 22, 0), 0, -60},
        {"behind 29 February", "X,0,Y,-60;3.1.0/00:00,9.1.0/00:00", utc(2024, 3, 3, 0), 0, -60},
        {"no leap year", "X,0,Y,-60;3.1.0/00:00,9.1.0/00:00", utc(2100, 3, 7, 0), 0, -60},
        {"daylight time behind standard", "X,-60,Y,0;10.5.0/02:00,3.5.0/01:00", utc(2026, 10, 25, 1), -60, 0},
        {"before 1582", "X,0,Y,-60;4.1.0/00:00,9.1.0/00:00", utc(1500, 4, 5, 0), 0, -60},
        {"the year of the new calendar", "X,0,Y,-60;4.1.0/00:00,11.1.0/00:00", utc(1582, 11, 6, 23), -60, 0},
    };
    for (const Row& row : rows) {
        const STimeZone zone(row.rules);
        const SDateTime before = row.change - STimeSpan(1);
        EXPECT_EQ(minutesOf(zone.UTCOffset(before)), row.before) << row.name;
        EXPECT_EQ(minutesOf(zone.UTCOffset(row.change)), row.after) << row.name;
        const bool toDaylight = zone.StandardOffset() == row.before;
        EXPECT_EQ(zone.InDST(row.change), toDaylight) << row.name;
        EXPECT_EQ(zone.InDST(before), !toDaylight) << row.name;
    }
}

TEST(STimeZone, HasNamesOfBothHalvesOfTheYear)
{
    const STimeZone zone(300, true);
    EXPECT_EQ(textOf(zone.GetRules()), "XST,300,XDT,240;4.1.0/02:00,10.5.0/02:00");
    EXPECT_EQ(textOf(zone.GetName(utc(2021, 7, 1, 0))), "XDT");
    EXPECT_EQ(textOf(zone.GetName(utc(2021, 1, 1, 0))), "XST");

    const STimeZone south("S,-600,D,-660;10.1.0/02:00,4.1.0/03:00");
    EXPECT_EQ(textOf(south.GetName(utc(2021, 1, 1, 0))), "D");
    EXPECT_EQ(textOf(south.GetName(utc(2021, 7, 1, 0))), "S");

    const STimeZone fixed(-90, false);
    EXPECT_EQ(textOf(fixed.GetRules()), "XST,-90");
    EXPECT_EQ(minutesOf(fixed.UTCOffset()), -90);
    EXPECT_EQ(textOf(fixed.GetName(utc(2021, 7, 1, 0))), "XST");
}

TEST(STimeZone, ReadsMissingAndRepeatedHoursOfTheClock)
{
    const STimeZone zone(central);
    struct Row
    {
        const char* name;
        SDateTime read;
        SDateTime moment;
    };
    const Row rows[] = {
        {"before the gap", SDateTime(2026, 3, 29, 1, 59, 0, 0, zone), utc(2026, 3, 29, 0, 59)},
        {"in the gap: standard time", SDateTime(2026, 3, 29, 2, 30, 0, 0, zone), utc(2026, 3, 29, 1, 30)},
        {"behind the gap", SDateTime(2026, 3, 29, 3, 0, 0, 0, zone), utc(2026, 3, 29, 1)},
        {"twice: daylight time", SDateTime(2026, 10, 25, 2, 30, 0, 0, zone), utc(2026, 10, 25, 0, 30)},
        {"the last of it", SDateTime(2026, 10, 25, 2, 59, 59, 999, zone), utc(2026, 10, 25, 0, 59, 59, 999)},
        {"behind it", SDateTime(2026, 10, 25, 3, 0, 0, 0, zone), utc(2026, 10, 25, 2)},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.read, row.moment) << row.name;
    }
}

TEST(STimeZone, AgreesWithTheSlowWayInAnyYear)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int i = 0; i < 3000; ++i) {
        const SlowChange start = someChange(random);
        SlowChange end = someChange(random);
        // Which of the two comes first may differ by the year, and in some years they may meet.
        end.month = i % 3 == 0 ? start.month : end.month;
        const bool mayMeet = i % 9 == 0;
        if (mayMeet) {
            end = {start.month, end.week, start.dayOfWeek, start.hour, start.minute};
        }
        const int standardOffset = static_cast<int>(random() % 1441) - 720;
        const int daylightOffset = standardOffset - (mayMeet ? 0 : static_cast<int>(random() % 181) - 60);
        const std::string text = "S," + std::to_string(standardOffset) + ",D," +
                                 std::to_string(daylightOffset) + ";" + start.text() + "," + end.text();
        const STimeZone zone(SAnsiString(text.c_str()));
        const bool early = i % 4 == 0;
        const int year =
            early ? static_cast<int>(random() % 2000) - 400 : 1582 + static_cast<int>(random() % 9000);
        const SDateTime first = SDateTime(year == 0 ? 1582 : year, 1, 1, 0, 0, 0, 0, STimeZone::TZ_UTC());
        const auto check = [&](const SDateTime& moment) {
            ASSERT_EQ(zone.InDST(moment), slowInDaylight(start, end, standardOffset, daylightOffset, moment))
                << text << ": " << moment.Format("yyyy-MM-dd HH:mm:ss.SSS", STimeZone::TZ_UTC()).view();
        };
        for (int day = 0; day < 366; day += 1 + static_cast<int>(random() % 9)) {
            check(first + STimeSpan(day * std::int64_t(86'400'000) + random() % 86'400'000));
        }
        const int changeYear = first.GetYear(STimeZone::TZ_UTC());
        for (const SDateTime& change : {start.momentIn(changeYear) + STimeSpan(standardOffset * 60000),
                                        end.momentIn(changeYear) + STimeSpan(daylightOffset * 60000)}) {
            check(change - STimeSpan(1));
            check(change);
        }
    }
}

TEST(STimeZone, AnswersForInvalidMomentsAndForTheEndsOfTime)
{
    const STimeZone zone(central);
    Recorder recorder;
    EXPECT_FALSE(zone.InDST(SDateTime()));
    EXPECT_EQ(recorder.count("(IsValid() : no message)"), 1);
    EXPECT_EQ(minutesOf(zone.UTCOffset(SDateTime())), -60);
    EXPECT_EQ(minutesOf(STimeZone::TZ_UTC().UTCOffset(SDateTime())), 0);
    EXPECT_EQ(recorder.count("IsValid()"), 2) << "without daylight time the moment is not looked at";

    recorder.clear();
    const std::int32_t ends[] = {std::numeric_limits<std::int32_t>::min() + 1,
                                 std::numeric_limits<std::int32_t>::max()};
    for (const std::int32_t day : ends) {
        const SDateTime moment =
            SDateTime::FromUTC(SDate::FromDayNumber(day), STime(0, 0, 0, 0, STimeZone::TZ_UTC()));
        static_cast<void>(zone.UTCOffset(moment));
    }
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(STimeZone, GivesAllThreadsTheSameSharedZones)
{
    constexpr std::size_t count = 8;
    std::vector<const STimeZone*> zones(2 * count);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&zones, i] {
            zones[2 * i] = &STimeZone::TZ_UTC();
            zones[2 * i + 1] = &STimeZone::TZ_Local();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(zones[2 * i], zones[0]);
        EXPECT_EQ(zones[2 * i + 1], zones[1]);
    }
    EXPECT_EQ(textOf(STimeZone::TZ_UTC().GetRules()), "UTC,0");
    EXPECT_EQ(textOf(STimeZone::TZ_Local().GetRules()), rulesOf(""));
}

TEST(ZoneSources, ReadsTheRulesOfPosix)
{
    struct Row
    {
        const char* text;
        const char* rules;
        const char* problem = "";
    };
    const char* const noRule = "can't be read";
    const char* const fixed = "fixed dates";
    const char* const unsaid = "left out";
    const char* const seconds = "rounded";
    const Row rows[] = {
        {"CET-1CEST,M3.5.0,M10.5.0/3", central},
        {"<+03>-3", "+03,-180"},
        {"UTC", "UTC,0"},
        {"GMT", "GMT,0"},
        {"<-03>3<-02>,M3.2.0,M11.1.0", "-03,180,-02,120;3.2.0/02:00,11.1.0/02:00"},
        {"EST5EDT", "EST,300,EDT,240;3.2.0/02:00,11.1.0/02:00"},
        {"EST+5EDT+4:30", "EST,300,EDT,270;3.2.0/02:00,11.1.0/02:00"},
        {"NZST-12:45NZDT,M9.5.0/2:45,M4.1.0/3:45:00", "NZST,-765,NZDT,-825;9.5.0/02:45,4.1.0/03:45"},
        {"<-02>2<-01>,M3.5.0/-1,M10.5.0/0", "-02,120,-01,60;3.4.4/71:00,10.5.0/00:00"},
        {"EET-2EEST,M3.4.4/50,M10.4.4/50", "EET,-120,EEST,-180;3.4.4/50:00,10.4.4/50:00"},
        {"AAA3BBB,M3.1.0/-1,M10.5.0", "AAA,180", unsaid},
        {"AAA3BBB,J60,J300", "AAA,180,BBB,120;3.1.1/02:00,10.4.3/02:00", fixed},
        {"AAA3BBB,0/0,365/1", "AAA,180,BBB,120;1.1.5/00:00,12.5.5/01:00", fixed},
        {"AAA3:00:40BBB,M3.5.0,M10.5.0/3:00:20", "AAA,181,BBB,121;3.5.0/02:00,10.5.0/03:00", seconds},
        {"", "UTC,0", noRule},
        {"Europe", "UTC,0", noRule},
        {"Europe/Berlin", "UTC,0", noRule},
        {"AB3", "UTC,0", noRule},
        {"<+03-3", "UTC,0", noRule},
        {"AAA25", "UTC,0", noRule},
        {"AAA3:60", "UTC,0", noRule},
        {"AAA3:", "UTC,0", noRule},
        {"AAA3BBB,", "UTC,0", noRule},
        {"AAA3BBB,M3.5.0", "UTC,0", noRule},
        {"AAA3BBB,M13.5.0,M10.5.0", "UTC,0", noRule},
        {"AAA3BBB,M3.6.0,M10.5.0", "UTC,0", noRule},
        {"AAA3BBB,M3.5.7,M10.5.0", "UTC,0", noRule},
        {"AAA3BBB,M3.5.0/168,M10.5.0", "UTC,0", noRule},
        {"AAA3BBB,J0,J300", "UTC,0", noRule},
        {"AAA3BBB,J60,J366", "UTC,0", noRule},
        {"AAA3BBB,M3.5.0,M10.5.0,", "UTC,0", noRule},
        {"AAA99999999999", "UTC,0", noRule},
    };
    for (const Row& row : rows) {
        const ZoneRules read = ZoneSources::fromPosix(row.text, summer2021);
        EXPECT_EQ(textOf(ZoneRules::textOf(read.fields)), row.rules) << row.text;
        const std::string problem = read.problem != nullptr ? read.problem : "";
        EXPECT_NE(problem.find(row.problem), std::string::npos) << row.text << ": " << problem;
        EXPECT_EQ(problem.empty(), *row.problem == '\0') << row.text << ": " << problem;
    }
}

TEST(ZoneSources, ReadsTheSettingsOfAMachine)
{
    using Platform::ZoneSettings;
    struct Row
    {
        const char* name;
        ZoneSettings settings;
        const char* rules;
        bool isProblem = false;
    };
    const Row rows[] = {
        {"daylight time", {"CET", -60, "CEST", -120, {0, 3, 0, 5, 120}, {0, 10, 0, 5, 180}}, central},
        {"none", {"IST", -330, "IDT", -330, {}, {}}, "IST,-330"},
        {"a comma in a name", {"Rome, Berlin", -60, "", -60, {}, {}}, "Rome  Berlin,-60"},
        {"one minute to midnight, rounded",
         {"S", 0, "D", -60, {0, 9, 6, 1, 1440}, {0, 4, 6, 1, 1440}},
         "S,0,D,-60;9.1.6/24:00,4.1.6/24:00"},
        {"fixed dates: 31 May 2021 was the last Monday, 8 June 2021 the second Tuesday",
         {"S", 0, "D", -60, {2021, 5, 0, 31, 0}, {2021, 6, 0, 8, 60}},
         "S,0,D,-60;5.5.1/00:00,6.2.2/01:00"},
        {"a month that is none", {"S", 0, "D", -60, {0, 13, 0, 1, 0}, {0, 6, 0, 1, 0}}, "S,0", true},
        {"a date that is none", {"S", 0, "D", -60, {2021, 5, 0, 32, 0}, {2021, 6, 0, 8, 0}}, "S,0", true},
        {"an offset past all", {"S", 40000, "D", 0, {}, {}}, "UTC,0", true},
    };
    for (const Row& row : rows) {
        const ZoneRules read = ZoneSources::fromSettings(row.settings);
        EXPECT_EQ(textOf(ZoneRules::textOf(read.fields)), row.rules) << row.name;
        EXPECT_EQ(read.problem != nullptr, row.isProblem) << row.name;
    }
}

namespace
{

std::string bigEndian(std::int64_t number, int size)
{
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
        bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> shift & 0xFF);
    }
    return bytes;
}

/// Two offsets: "OLD", one hour west, and "NEW", two and a half hours east from summer 2021 on.
std::string zoneData(char version, int timeSize)
{
    std::string bytes = "TZif";
    bytes += version;
    bytes.append(15, '\0');
    for (const int count : {0, 0, 0, 1, 2, 8}) {
        bytes += bigEndian(count, 4);
    }
    bytes += bigEndian(summer2021, timeSize) + '\1';
    bytes += bigEndian(-3600, 4) + std::string("\0\0", 2) + bigEndian(9000, 4) + std::string("\0\4", 2);
    return bytes + std::string("OLD\0NEW\0", 8);
}

std::string rulesOfFile(const std::string& bytes, std::int64_t now)
{
    return textOf(ZoneRules::textOf(ZoneSources::fromFile(bytes, now).fields));
}

} // namespace

TEST(ZoneSources, ReadsCompiledZoneFiles)
{
    const std::string old = zoneData('\0', 4);
    const std::string both = zoneData('2', 4) + zoneData('2', 8);
    struct Row
    {
        const char* name;
        std::string bytes;
        std::int64_t now;
        const char* rules;
    };
    const Row rows[] = {
        {"the first version, before the change", old, summer2021 - 1, "OLD,60"},
        {"at the change", old, summer2021, "NEW,-150"},
        {"without a rule", both + "\n\n", summer2021 + 1, "NEW,-150"},
        {"with nothing at the end", both, summer2021 - 1, "OLD,60"},
        {"with a rule", both + "\nCET-1CEST,M3.5.0,M10.5.0/3\n", summer2021, central},
        {"with a rule that is none", both + "\nnone\n", summer2021, "UTC,0"},
        {"with a rule that is cut off", both + "\nCET-1CEST,M3.5.0", summer2021, "NEW,-150"},
        {"a file of zeros", std::string(500, '\0'), summer2021, "UTC,0"},
        {"no file", "", summer2021, "UTC,0"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(rulesOfFile(row.bytes, row.now), row.rules) << row.name;
    }
}

TEST(ZoneSources, TakesNoZoneFromAFileThatIsCutOrLies)
{
    const std::string whole = zoneData('2', 4) + zoneData('2', 8);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string block(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(rulesOfFile(block, summer2021), "UTC,0") << size;
    }
    const std::size_t header = zoneData('2', 4).size();
    for (std::size_t at = 20; at < 44; at += 4) {
        std::string lying = whole;
        lying.replace(header + at, 4, "\xFF\xFF\xFF\xFF");
        EXPECT_EQ(rulesOfFile(lying, summer2021), "UTC,0") << at;
    }
    std::string noSuchType = zoneData('\0', 4);
    noSuchType[48] = '\x7F';
    EXPECT_EQ(rulesOfFile(noSuchType, summer2021), "UTC,0");
    EXPECT_NE(ZoneSources::fromFile(noSuchType, summer2021).problem, nullptr);
}
