#include "morvex/calendar.h"
#include "morvex/conversioninput.h"
#include "morvex/sdatetimeconv.h"
#include "morvex/stimezone.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

namespace MorvexA106
{

namespace
{

/// 30 December 1899.
constexpr std::int32_t firstDay = 2'415'018;

// The days that lie within the years 100 to 9999.
constexpr int earliest = -657'434;
constexpr int latest = 2'958'465;

constexpr double halfMillisecond = 5.787037037037037e-09;

bool isInRange(double date) noexcept
{
    return date > earliest - 1.0 && date < latest + 1.0; // not so for what is no number
}

/// The wall clock's moment as if in UTC. The fraction counts forwards from the midnight of its day on both sides of 0.
SDateTime carriedOut(double date)
{
    const double days = std::trunc(date);
    const double fraction = std::fabs(date - days) + halfMillisecond;
    const auto milliseconds = static_cast<std::int64_t>(fraction * Calendar::millisecondsOfDay);
    const SDate day = SDate::FromDayNumber(firstDay + static_cast<std::int32_t>(days));
    return SDateTime::FromUTC(day, STime::FromMilliseconds(0)) + STimeSpan(milliseconds);
}

/// The same of a date that a caller gave; invalid with an assertion where it is none.
SDateTime wallClockOf(double date)
{
    const SDateTime wallClock = isInRange(date) ? carriedOut(date) : SDateTime();
    const bool usable = wallClock.IsValid() && wallClock.GetUTCDate().GetDayNumber() <= firstDay + latest;
    MORVEX_CHECK_INPUT(usable);
    return usable ? wallClock : SDateTime();
}

std::optional<double> dateIn(const SVariant& variant) noexcept
{
    if (variant.vt == SVariant::VT_DATE) {
        return variant.date;
    }
    if (variant.vt == (SVariant::VT_DATE | SVariant::VT_BYREF) && variant.pdate != nullptr) {
        return *variant.pdate;
    }
    return std::nullopt;
}

} // namespace

SDateTime sicDATEToSDateTime(double date, const STimeZone& zone)
{
    const SDateTime wallClock = wallClockOf(date);
    if (!wallClock.IsValid()) {
        return {};
    }
    int year = 0;
    int month = 0;
    int day = 0;
    wallClock.GetUTCDate().GetYearMonthDay(year, month, day);
    const std::int32_t time = wallClock.GetUTCTime().GetTotalMilliseconds();
    return SDateTime(year, month, day, time / 3'600'000, time / 60'000 % 60, time / 1000 % 60, time % 1000,
                     zone);
}

SDateTime sicDATEToSDateTime(double date)
{
    return sicDATEToSDateTime(date, STimeZone::TZ_Local());
}

double sicSDateTimeToDATE(const SDateTime& moment, const STimeZone& zone)
{
    constexpr double noDate = std::numeric_limits<double>::quiet_NaN();
    MORVEX_CHECK_INPUT(moment.IsValid());
    if (!moment.IsValid()) {
        return noDate;
    }
    const SDateTime wallClock = moment - zone.UTCOffset(moment);
    const std::int64_t days = std::int64_t{wallClock.GetUTCDate().GetDayNumber()} - firstDay;
    if (days < earliest || days > latest) {
        MORVEX_FAIL("a day that DATE can't hold");
        return noDate;
    }
    const double fraction = wallClock.GetUTCTime().GetTotalMilliseconds() / 86'400'000.0;
    return static_cast<double>(days) + (days < 0 ? -fraction : fraction);
}

double sicSDateTimeToDATE(const SDateTime& moment)
{
    return sicSDateTimeToDATE(moment, STimeZone::TZ_Local());
}

SAnsiString sicDATEToUTCString(double date, const STimeZone& zone)
{
    return sicDATEToSDateTime(date, zone).Format("yyyy-MM-dd HH:mm:ss", STimeZone::TZ_UTC());
}

SAnsiString sicDATEToUTCString(double date)
{
    return sicDATEToUTCString(date, STimeZone::TZ_Local());
}

SAnsiString sicVariantDateToSString(const VARIANT& variant)
{
    // On Windows the system's structure is known here by its published layout alone, and so it is copied, not read.
    SVariant copied{};
    std::memcpy(&copied, static_cast<const void*>(&variant), sizeof(copied));
    const std::optional<double> date = dateIn(copied);
    MORVEX_CHECK_INPUT(date.has_value());
    const SDateTime wallClock = date ? wallClockOf(*date) : SDateTime();
    return wallClock.IsValid() ? wallClock.Format("yyyy-MM-dd HH:mm:ss", STimeZone::TZ_UTC()) : SAnsiString();
}

} // namespace MorvexA106
