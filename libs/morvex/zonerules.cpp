#include "morvex/zonerules.h"

#include "morvex/sstringconv.h"
#include "morvex/sstrtok.h"

#include <limits>

namespace MorvexA106
{

namespace
{

using Change = ZoneRules::Change;
using Fields = ZoneRules::Fields;
using Timing = ZoneRules::Timing;

constexpr int minutesPerHour = 60;
constexpr int minutesPerDay = 24 * minutesPerHour;
constexpr int daysPerWeek = 7;
constexpr int lastWeek = 5;
constexpr int mostHours = std::numeric_limits<unsigned char>::max();

/// February is that of a common year: rules take it so.
constexpr int monthLengths[] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr int february = 2;

int floorDivide(int number, int divisor) noexcept
{
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

int floorModulo(int number, int divisor) noexcept
{
    return number - floorDivide(number, divisor) * divisor;
}

bool isWithin(int number, int least, int most) noexcept
{
    return number >= least && number <= most;
}

bool isTiming(const Timing& timing) noexcept
{
    return isWithin(timing.month, 1, 12) && isWithin(timing.week, 1, lastWeek) &&
           isWithin(timing.dayOfWeek, 0, daysPerWeek - 1);
}

/// The earliest day of the month on which a weekday of that week can fall.
int earliestDay(int month, int week) noexcept
{
    return week == lastWeek ? monthLengths[month] - daysPerWeek + 1 : daysPerWeek * (week - 1) + 1;
}

std::optional<Change> makeChange(int month, int week, int dayOfWeek, int minutes) noexcept
{
    const int hour = minutes / minutesPerHour;
    if (minutes < 0 || hour > mostHours) {
        return std::nullopt;
    }
    return Change{static_cast<unsigned char>(month), static_cast<unsigned char>(week),
                  static_cast<unsigned char>(dayOfWeek), static_cast<unsigned char>(hour),
                  static_cast<unsigned char>(minutes % minutesPerHour)};
}

/// A change that comes before its weekday begins, kept with a weekday some days before. A weekday of week w falls on
/// one of seven days that begin with a fixed one, so it is w and the distance from that day that must be found: the
/// last Sunday of March at -1:00 is Saturday 23:00 on one of the days 24 to 30, and so the fourth Thursday (22 to
/// 28) at 71:00.
std::optional<Change> changeBefore(const Timing& timing) noexcept
{
    const int daysBack = -floorDivide(timing.minutes, minutesPerDay);
    int month = timing.month;
    int day = earliestDay(month, timing.week) - daysBack;
    if (day < 1) {
        // The year's beginning is in the way, or a month whose length isn't the same in every year.
        if (month == 1 || month - 1 == february) {
            return std::nullopt;
        }
        --month;
        day += monthLengths[month];
    }
    const int week = day > earliestDay(month, lastWeek - 1) ? lastWeek - 1 : (day - 1) / daysPerWeek + 1;
    const int distance = day - earliestDay(month, week);
    return makeChange(month, week, floorModulo(timing.dayOfWeek - daysBack - distance, daysPerWeek),
                      timing.minutes + (daysBack + distance) * minutesPerDay);
}

/// Hours and minutes, which share the sign.
bool takeClock(SScanString& text, int& minutes) noexcept
{
    const bool negative = text.Take("-");
    int hour = 0;
    int minute = 0;
    if (!text.TakeInteger(hour) || !text.Take(":") || !text.TakeInteger(minute) ||
        !isWithin(hour, 0, mostHours) || !isWithin(minute, 0, minutesPerHour - 1)) {
        return false;
    }
    minutes = (hour * minutesPerHour + minute) * (negative ? -1 : 1);
    return true;
}

bool takeChange(SScanString& text, Change& change) noexcept
{
    Timing timing;
    if (!text.TakeInteger(timing.month) || !text.Take(".") || !text.TakeInteger(timing.week) ||
        !text.Take(".") || !text.TakeInteger(timing.dayOfWeek) || !text.Take("/") ||
        !takeClock(text, timing.minutes)) {
        return false;
    }
    const std::optional<Change> taken = ZoneRules::changeAt(timing);
    change = taken.value_or(change);
    return taken.has_value();
}

bool takeFields(SScanString& text, Fields& fields)
{
    if (!text.TakeUntil(',', fields.standardName) || !text.TakeInteger(fields.standardOffset)) {
        return false;
    }
    if (text.isAtEnd()) {
        return true;
    }
    fields.dstEnabled = true;
    return text.Take(",") && text.TakeUntil(',', fields.daylightName) &&
           text.TakeInteger(fields.daylightOffset) && text.Take(";") && takeChange(text, fields.start) &&
           text.Take(",") && takeChange(text, fields.end) && text.isAtEnd();
}

void appendTwoDigits(SAnsiString& text, int number)
{
    text << (number < 10 ? "0" : "") << number;
}

void appendChange(SAnsiString& text, const Change& change)
{
    text << int{change.month} << "." << int{change.week} << "." << int{change.dayOfWeek} << "/";
    appendTwoDigits(text, change.hour);
    text << ":";
    appendTwoDigits(text, change.minute);
}

} // namespace

Fields ZoneRules::utc()
{
    Fields fields;
    fields.standardName = "UTC";
    return fields;
}

std::optional<Change> ZoneRules::changeAt(const Timing& timing) noexcept
{
    if (!isTiming(timing) ||
        !isWithin(timing.minutes, -mostHours * minutesPerHour, std::numeric_limits<int>::max())) {
        return std::nullopt;
    }
    return timing.minutes < 0 ? changeBefore(timing)
                              : makeChange(timing.month, timing.week, timing.dayOfWeek, timing.minutes);
}

ZoneRules ZoneRules::fromText(const SAnsiString& text)
{
    ZoneRules rules;
    rules.fields = Fields();
    SScanString scan(text);
    if (!takeFields(scan, rules.fields)) {
        rules.fields = utc();
        rules.problem = "The text is no rule of a time zone: UTC is taken";
    }
    return rules;
}

SAnsiString ZoneRules::textOf(const Fields& fields)
{
    SAnsiString text = fields.standardName;
    text << "," << int{fields.standardOffset};
    if (!fields.dstEnabled) {
        return text;
    }
    text << "," << fields.daylightName.getString() << "," << int{fields.daylightOffset} << ";";
    appendChange(text, fields.start);
    text << ",";
    appendChange(text, fields.end);
    return text;
}

} // namespace MorvexA106
