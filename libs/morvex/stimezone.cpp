#include "morvex/stimezone.h"

#include "morvex/calendar.h"
#include "morvex/checks.h"
#include "morvex/sdate.h"
#include "morvex/sdatetime.h"
#include "morvex/zonerules.h"
#include "morvex/zonesources.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace MorvexA106
{

namespace
{

using Change = ZoneRules::Change;
using Changes = ZoneRules::Changes;
using Fields = ZoneRules::Fields;

constexpr std::int64_t millisecondsPerMinute = 60'000;
constexpr std::int64_t minutesPerDay = 1440;

/// 1 January 1583, the first day of the first year that is Gregorian from its beginning.
constexpr std::int32_t firstWholeYear = 2299238;

/// Earlier days belong to years whose fields no date can be made from.
constexpr std::int32_t firstUsableDay = -2'000'000'000;

/// February is that of a common year: rules take it so.
constexpr int monthLengths[] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

/// The day of the month on which a change falls, where `first` is that of the first such weekday.
int dayOfMonth(const Change& change, int first) noexcept
{
    const int day = first + 7 * (change.week - 1);
    return day > monthLengths[change.month] ? day - 7 : day;
}

/// From 1 March to the first of each month; of January and February, to those before.
constexpr int fromMarch[] = {0, -59, -28, 0, 31, 61, 92, 122, 153, 184, 214, 245, 275};

/// The years from 1583 on.
class GregorianYear
{
public:
    explicit GregorianYear(std::int32_t day) noexcept
    {
        const Calendar::MarchDay march = Calendar::marchDayOf(day);
        const std::uint32_t isNextYear = march.dayOfYear >= 306 ? 1 : 0; // January and February
        m_leapDay = isLeap(march.year + isNextYear);
        m_firstOfMarch = std::int64_t{day} - march.dayOfYear + std::int64_t{isNextYear} * (365 + m_leapDay);
    }

    std::int64_t dayOf(const Change& change) const noexcept
    {
        constexpr std::uint64_t manyWeeks = 7'000'000'000;
        const std::int64_t month =
            m_firstOfMarch + fromMarch[change.month] - (change.month < 3 ? m_leapDay : 0);
        // The weekday of a day number is two more than its rest.
        const auto toWeekday = manyWeeks + change.dayOfWeek - 2 - static_cast<std::uint64_t>(month);
        return month + dayOfMonth(change, static_cast<int>(toWeekday % 7) + 1) - 1;
    }

private:
    /// Of the years that 25 divides those are leap that 16 divides, of the others those that 4 divides.
    static int isLeap(std::uint32_t year) noexcept { return (year & (year % 25 == 0 ? 15 : 3)) == 0 ? 1 : 0; }

    std::int64_t m_firstOfMarch;
    int m_leapDay;
};

/// The years before, in which the calendar changes its rules.
class EarlyYear
{
public:
    explicit EarlyYear(std::int32_t day) : m_year(SDate::FromDayNumber(day).GetYear()) {}

    std::int64_t dayOf(const Change& change) const
    {
        const int weekday = SDate(m_year, change.month, 1).GetDayOfWeek();
        const int day = dayOfMonth(change, (change.dayOfWeek + 7 - weekday) % 7 + 1);
        return SDate(m_year, change.month, day).GetDayNumber();
    }

private:
    int m_year;
};

std::int64_t minuteOf(const Change& change, std::int64_t day) noexcept
{
    return day * minutesPerDay + std::int64_t{change.hour} * 60 + change.minute;
}

template <class Year>
bool isInDaylight(const Fields& fields, const Year& year, std::int64_t moment, bool isUTC)
{
    const int toStart = isUTC ? fields.standardOffset : fields.standardOffset - fields.daylightOffset;
    const int toEnd = isUTC ? fields.daylightOffset : 0;
    const std::int64_t start =
        (minuteOf(fields.start, year.dayOf(fields.start)) + toStart) * millisecondsPerMinute;
    const std::int64_t end = (minuteOf(fields.end, year.dayOf(fields.end)) + toEnd) * millisecondsPerMinute;
    const bool isStarted = moment >= start;
    const bool isEnded = moment >= end;
    return start > end ? isStarted | !isEnded : isStarted & !isEnded;
}

bool isInDaylight(const Fields& fields, const SDateTime& moment, bool isUTC)
{
    if (!fields.dstEnabled) {
        return false;
    }
    const bool isValid = moment.IsValid();
    MORVEX_CHECK(isValid, "IsValid()");
    const std::int32_t day = moment.GetUTCDate().GetDayNumber();
    if (!isValid || day < firstUsableDay) {
        return false;
    }
    const std::int64_t milliseconds = moment.GetTotalMilliseconds();
    return day >= firstWholeYear ? isInDaylight(fields, GregorianYear(day), milliseconds, isUTC)
                                 : isInDaylight(fields, EarlyYear(day), milliseconds, isUTC);
}

/// Minutes from 1 March of a year, which has the weekday, to the change in the twelve months from there on.
int minutesFromMarch(const Change& change, int weekdayOfFirst) noexcept
{
    const int month = fromMarch[change.month] + (change.month < 3 ? 365 : 0);
    const int toWeekday = (change.dayOfWeek + 70 - weekdayOfFirst - month % 7) % 7;
    return (month + dayOfMonth(change, toWeekday + 1) - 1) * static_cast<int>(minutesPerDay) +
           change.hour * 60 + change.minute;
}

/// Whether the minutes, from 1 March on, are in the calendar year of the change's month.
bool staysInItsYear(const Change& change, int minutes) noexcept
{
    constexpr int newYear = 306 * 1440;
    constexpr int end = 365 * 1440;
    return change.month >= 3 ? minutes >= 0 && minutes < newYear : minutes >= newYear && minutes < end;
}

/// Where both changes stay in their years, and come in the same order in each, it doesn't matter on which day years
/// begin: it is daylight time if the last change was its beginning.
Changes changesOf(const Fields& fields) noexcept
{
    Changes changes;
    changes.isKnown = fields.dstEnabled;
    for (int weekday = 0; weekday < 7; ++weekday) {
        const int start = minutesFromMarch(fields.start, weekday) + fields.standardOffset;
        const int end = minutesFromMarch(fields.end, weekday) + fields.daylightOffset;
        const bool isDaylightBetween = start < end;
        changes.isKnown = changes.isKnown && start != end && staysInItsYear(fields.start, start) &&
                          staysInItsYear(fields.end, end) &&
                          (weekday == 0 || isDaylightBetween == changes.isDaylightBetween);
        changes.isDaylightBetween = isDaylightBetween;
        changes.first[weekday] = std::min(start, end);
        changes.second[weekday] = std::max(start, end);
    }
    return changes;
}

/// The changes must be known, and the moment be valid and not before `firstWholeYear`.
bool isInDaylight(const Changes& changes, const SDateTime& moment) noexcept
{
    const auto day = static_cast<std::uint32_t>(moment.GetUTCDate().GetDayNumber());
    const std::uint32_t dayOfYear = Calendar::marchDayOf(static_cast<std::int32_t>(day)).dayOfYear;
    const auto sinceMidnight = static_cast<std::uint32_t>(moment.GetUTCTime().GetTotalMilliseconds());
    const auto minute = static_cast<int>(dayOfYear * 1440 + sinceMidnight / 60'000);
    const std::uint32_t weekday = (day - dayOfYear + 2) % 7;
    const bool isBetween = (minute >= changes.first[weekday]) & (minute < changes.second[weekday]);
    return isBetween == changes.isDaylightBetween;
}

STimeSpan offsetOf(const Fields& fields, bool isDaylight) noexcept
{
    const short minutes = isDaylight ? fields.daylightOffset : fields.standardOffset;
    return STimeSpan(minutes * millisecondsPerMinute);
}

ZoneRules readRules(const SAnsiString& rules)
{
    return rules.isEmpty() ? ZoneSources::fromMachine() : ZoneRules::fromText(rules);
}

void report(const char* problem)
{
    MORVEX_CHECK_SAYING(problem == nullptr, "false", problem);
}

Fields fieldsOf(const SAnsiString& text)
{
    const ZoneRules rules = readRules(text);
    report(rules.problem);
    return rules.fields;
}

} // namespace

STimeZone::STimeZone(short offset, bool useDST)
{
    m_fields.standardName = "XST";
    m_fields.standardOffset = offset;
    m_fields.daylightName = "XDT";
    m_fields.daylightOffset = static_cast<short>(offset - 60);
    m_fields.dstEnabled = useDST;
    m_fields.start = {4, 1, 0, 2, 0};
    m_fields.end = {10, 5, 0, 2, 0};
    m_changes = changesOf(m_fields);
}

STimeZone::STimeZone(const Fields& fields) : m_fields(fields), m_changes(changesOf(fields)) {}

STimeZone::STimeZone(const SAnsiString& rules) : STimeZone(fieldsOf(rules)) {}

bool STimeZone::isInDaylight(const SDateTime& moment) const
{
    // An invalid time of day is negative; an invalid date is an early one.
    if (m_changes.isKnown && moment.GetUTCDate().GetDayNumber() >= firstWholeYear &&
        moment.GetUTCTime().GetTotalMilliseconds() >= 0) [[likely]] {
        return MorvexA106::isInDaylight(m_changes, moment);
    }
    return MorvexA106::isInDaylight(m_fields, moment, true);
}

bool STimeZone::InDST(const SDateTime& moment) const
{
    return isInDaylight(moment);
}

bool STimeZone::InDST(const SDateTime& moment, bool isUTC) const
{
    return isUTC ? isInDaylight(moment) : MorvexA106::isInDaylight(m_fields, moment, false);
}

STimeSpan STimeZone::UTCOffset() const
{
    return offsetOf(m_fields, m_fields.dstEnabled && isInDaylight(SDateTime::GetCurrentDateTime()));
}

STimeSpan STimeZone::UTCOffset(const SDateTime& moment) const
{
    return offsetOf(m_fields, isInDaylight(moment));
}

STimeSpan STimeZone::UTCOffset(const SDateTime& moment, bool isUTC) const
{
    return offsetOf(m_fields, InDST(moment, isUTC));
}

SAnsiString STimeZone::GetName(const SDateTime& moment) const
{
    return isInDaylight(moment) ? m_fields.daylightName : m_fields.standardName;
}

SAnsiString STimeZone::GetRules() const
{
    return ZoneRules::textOf(m_fields);
}

// Both are kept for ever: whatever runs while the process ends may still ask for the time.

const STimeZone& STimeZone::TZ_UTC()
{
    static const STimeZone* const zone = new STimeZone(ZoneRules::utc());
    return *zone;
}

const STimeZone& STimeZone::TZ_Local()
{
    struct Local
    {
        const ZoneRules rules = ZoneSources::fromMachine();
        const STimeZone zone{rules.fields};
        std::atomic<bool> isReported{rules.problem == nullptr};
    };
    // Told only when the zone is there: who hears of it may want the local time himself.
    static Local* const local = new Local;
    if (!local->isReported.load(std::memory_order_relaxed) && !local->isReported.exchange(true)) {
        report(local->rules.problem);
    }
    return local->zone;
}

} // namespace MorvexA106
