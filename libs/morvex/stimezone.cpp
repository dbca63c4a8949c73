#include "morvex/stimezone.h"

#include "checks.h"
#include "morvex/sdate.h"
#include "morvex/sdatetime.h"
#include "zonerules.h"
#include "zonesources.h"

#include <atomic>
#include <cstdint>

namespace MorvexA106
{

namespace
{

using Change = ZoneRules::Change;
using Fields = ZoneRules::Fields;

constexpr __int64 millisecondsPerMinute = 60'000;
constexpr __int64 minutesPerDay = 1440;

/// 1 January 1583, the first day of the first year that is Gregorian from its beginning.
constexpr std::int32_t firstWholeYear = 2299238;

/// Earlier days belong to years whose fields no date can be made from.
constexpr std::int32_t firstUsableDay = -2'000'000'000;

/// February is that of a common year: rules take it so.
constexpr unsigned monthLengths[] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr unsigned daysBefore[] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

/// The day of the month on which a change falls whose month begins with this weekday.
unsigned dayOfMonth(const Change& change, unsigned firstWeekday) noexcept
{
    const unsigned first = (change.dayOfWeek + 7u - firstWeekday) % 7;
    const unsigned day = first + 7u * (change.week - 1u) + 1;
    return day > monthLengths[change.month] ? day - 7 : day;
}

/// The years from 1583 on.
class GregorianYear
{
public:
    /// Counts in eras of 400 years that begin on 1 March of a year 0, so that the leap day ends a year, a century
    /// and an era.
    explicit GregorianYear(std::int32_t day) noexcept
    {
        constexpr std::uint32_t firstOfMarch = 1721119;
        const std::uint32_t days = static_cast<std::uint32_t>(day) - firstOfMarch;
        const std::uint32_t inEra = days % 146097;
        const std::uint32_t yearOfEra = (inEra - inEra / 1460 + inEra / 36524 - inEra / 146096) / 365;
        const std::uint32_t inYear = inEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
        constexpr std::uint32_t upToJanuary = 306;
        if (inYear >= upToJanuary) {
            m_isLeap = isLeap(yearOfEra + 1);
            m_firstDay = static_cast<std::uint32_t>(day) - (inYear - upToJanuary);
        } else {
            m_isLeap = isLeap(yearOfEra);
            m_firstDay = static_cast<std::uint32_t>(day) - inYear - 59 - (m_isLeap ? 1 : 0);
        }
    }

    __int64 dayOf(const Change& change) const noexcept
    {
        const std::uint32_t first =
            m_firstDay + daysBefore[change.month] + (m_isLeap && change.month > 2 ? 1 : 0);
        return __int64(first) + dayOfMonth(change, (first + 2) % 7) - 1;
    }

private:
    static bool isLeap(std::uint32_t year) noexcept
    {
        return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    }

    std::uint32_t m_firstDay;
    bool m_isLeap;
};

/// The years before, in which the calendar changes its rules.
class EarlyYear
{
public:
    explicit EarlyYear(std::int32_t day) : m_year(SDate::FromDayNumber(day).GetYear()) {}

    __int64 dayOf(const Change& change) const
    {
        const int firstWeekday = SDate(m_year, change.month, 1).GetDayOfWeek();
        const auto day = static_cast<int>(dayOfMonth(change, static_cast<unsigned>(firstWeekday + 7) % 7));
        return SDate(m_year, change.month, day).GetDayNumber();
    }

private:
    int m_year;
};

__int64 minuteOf(const Change& change, __int64 day) noexcept
{
    return day * minutesPerDay + change.hour * 60 + change.minute;
}

template <class Year>
bool isInDaylight(const Fields& fields, const Year& year, __int64 moment, bool isUTC)
{
    const int toStart = isUTC ? fields.standardOffset : fields.standardOffset - fields.daylightOffset;
    const int toEnd = isUTC ? fields.daylightOffset : 0;
    const __int64 start =
        (minuteOf(fields.start, year.dayOf(fields.start)) + toStart) * millisecondsPerMinute;
    const __int64 end = (minuteOf(fields.end, year.dayOf(fields.end)) + toEnd) * millisecondsPerMinute;
    return start > end ? moment < end || moment >= start : moment >= start && moment < end;
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
    return InDST(moment, true);
}

bool STimeZone::InDST(const SDateTime& moment, bool isUTC) const
{
    if (!m_fields.dstEnabled) {
        return false;
    }
    const bool isValid = moment.IsValid();
    MORVEX_CHECK(isValid, "IsValid()");
    const std::int32_t day = moment.GetUTCDate().GetDayNumber();
    if (!isValid || day < firstUsableDay) {
        return false;
    }
    const __int64 milliseconds = moment.GetTotalMilliseconds();
    return day >= firstWholeYear ? isInDaylight(m_fields, GregorianYear(day), milliseconds, isUTC)
                                 : isInDaylight(m_fields, EarlyYear(day), milliseconds, isUTC);
}

STimeSpan STimeZone::UTCOffset() const
{
    if (!m_fields.dstEnabled) {
        return STimeSpan(m_fields.standardOffset * millisecondsPerMinute);
    }
    return UTCOffset(SDateTime::GetCurrentDateTime(), true);
}

STimeSpan STimeZone::UTCOffset(const SDateTime& moment) const
{
    return UTCOffset(moment, true);
}

STimeSpan STimeZone::UTCOffset(const SDateTime& moment, bool isUTC) const
{
    const short minutes = InDST(moment, isUTC) ? m_fields.daylightOffset : m_fields.standardOffset;
    return STimeSpan(minutes * millisecondsPerMinute);
}

SAnsiString STimeZone::GetName(const SDateTime& moment) const
{
    return InDST(moment, true) ? m_fields.daylightName : m_fields.standardName;
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
