#include "morvex/calendar.h"

#include <array>

namespace MorvexA106::Calendar
{

namespace
{

using Inside::fromMarch;

// As in the header, years are counted from 1 March. The calendar begins with 1 March of a year 0, which it has 366
// days later than we count before year 1.
constexpr std::int64_t julianMarch = 1'721'117;
constexpr std::int64_t missingYear = 366;
constexpr std::int64_t daysOfFourYears = 1461;

constexpr std::int64_t marchYear(int year, int month) noexcept
{
    return month <= 2 ? std::int64_t{year} - 1 : year;
}

/// Days from 1 March to the day in a year that begins there.
constexpr int dayOfMarchYear(int month, int day) noexcept
{
    const int sinceMarch = month <= 2 ? month + 9 : month - 3;
    return (153 * sinceMarch + 2) / 5 + day - 1;
}

std::int64_t julianNumber(int year, int month, int day) noexcept
{
    const std::int64_t years = marchYear(year, month);
    return julianMarch + years * 365 + divideDown(years, 4) + dayOfMarchYear(month, day);
}

std::int64_t gregorianNumber(int year, int month, int day) noexcept
{
    const std::int64_t years = marchYear(year, month);
    return gregorianMarch + years * 365 + years / 4 - years / 100 + years / 400 + dayOfMarchYear(month, day);
}

bool isGregorian(int year, int month, int day) noexcept
{
    if (year != 1582) {
        return year > 1582;
    }
    return month * 100 + day >= 1015;
}

Day julianDay(std::int64_t number) noexcept
{
    // Moved by whole cycles to where every number of 32 bits is positive.
    constexpr std::int64_t cycles = 1'500'000;
    const auto days = static_cast<std::uint64_t>(number - julianMarch + cycles * daysOfFourYears);
    const std::uint64_t quarters = 4 * days + 3;
    const auto years = static_cast<std::int64_t>(quarters / daysOfFourYears) - 4 * cycles;
    return fromMarch(static_cast<int>(years), static_cast<std::uint32_t>(quarters % daysOfFourYears / 4));
}

} // namespace

bool isLeapYear(int year) noexcept
{
    if (year < 1582) {
        return year % 4 == 0;
    }
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int daysOfMonth(int year, int month) noexcept
{
    constexpr std::array<int, 12> lengths = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) {
        return 0;
    }
    return lengths[static_cast<std::size_t>(month - 1)] + (month == 2 && isLeapYear(year) ? 1 : 0);
}

std::int64_t numberOf(int year, int month, int day) noexcept
{
    if (isGregorian(year, month, day)) {
        return gregorianNumber(year, month, day);
    }
    return julianNumber(year, month, day) + (year < 0 ? missingYear : 0);
}

Day earlyDayOf(std::int32_t number) noexcept
{
    return julianDay(number < firstOfYearOne ? number - missingYear : number);
}

} // namespace MorvexA106::Calendar
