#include "morvex/stimezone.h"

#include "morvex/checks.h"
#include "morvex/sdate.h"
#include "morvex/sdatetime.h"
#include "morvex/zonerules.h"
#include "morvex/zonesources.h"

#include <atomic>
#include <cstdint>

namespace MorvexA106
{

namespace
{

using Change = ZoneRules::Change;
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

/// The years from 1583 on.
class GregorianYear
{
public:
    /// Counts in centuries and years that begin on 1 March, so that a leap day is the last one of either, and in
    /// quarters of days, of which a century has 146097 and a year 1461. Multiplying by 2939745 and taking the high
    /// half divides by 1461, and leaves the rest in the low half (C. Neri and L. Schneider, Euclidean affine
    /// functions and their application to calendar algorithms, 2022).
    explicit GregorianYear(std::int32_t day) noexcept
    {
        constexpr std::int32_t firstOfMarch = 1721119;
        const std::uint64_t inQuarters = 4 * static_cast<std::uint64_t>(day - firstOfMarch) + 3;
        const auto century = static_cast<std::uint32_t>(inQuarters / 146097);
        const auto inCentury = static_cast<std::uint32_t>(inQuarters % 146097) | 3;
        const std::uint64_t years = std::uint64_t{2939745} * inCentury;
        const auto inYear = static_cast<std::int32_t>(static_cast<std::uint32_t>(years) / 2939745 / 4);

        const int isNextYear = inYear >= 306 ? 1 : 0; // January and February
        m_leapDay = isLeap(100 * century + static_cast<std::uint32_t>(years >> 32) +
                           static_cast<std::uint32_t>(isNextYear));
        m_firstOfMarch = std::int64_t{day} - inYear + std::int64_t{isNextYear} * (365 + m_leapDay);
    }

    std::int64_t dayOf(const Change& change) const noexcept
    {
        constexpr int fromMarch[] = {0, -59, -28, 0, 31, 61, 92, 122, 153, 184, 214, 245, 275};
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

STimeSpan offsetOf(const Fields& fields, const SDateTime& moment, bool isUTC)
{
    const short minutes = isInDaylight(fields, moment, isUTC) ? fields.daylightOffset : fields.standardOffset;
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
}

STimeZone::STimeZone(const SAnsiString& rules) : STimeZone(fieldsOf(rules)) {}

bool STimeZone::InDST(const SDateTime& moment) const
{
    return isInDaylight(m_fields, moment, true);
}

bool STimeZone::InDST(const SDateTime& moment, bool isUTC) const
{
    return isInDaylight(m_fields, moment, isUTC);
}

STimeSpan STimeZone::UTCOffset() const
{
    const bool asksTheClock = m_fields.dstEnabled;
    return offsetOf(m_fields, asksTheClock ? SDateTime::GetCurrentDateTime() : SDateTime(), true);
}

STimeSpan STimeZone::UTCOffset(const SDateTime& moment) const
{
    return offsetOf(m_fields, moment, true);
}

STimeSpan STimeZone::UTCOffset(const SDateTime& moment, bool isUTC) const
{
    return offsetOf(m_fields, moment, isUTC);
}

SAnsiString STimeZone::GetName(const SDateTime& moment) const
{
    return isInDaylight(m_fields, moment, true) ? m_fields.daylightName : m_fields.standardName;
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
