#include "morvex/calendar.h"

#include <array>

namespace MorvexA106::Calendar
{

namespace
{

// Years are counted from 1 March, so that a leap day is the last day of its year. Both calendars begin with 1 March
// of a year 0, which the Julian one has 366 days later than we count before year 1.
constexpr std::int64_t julianMarch = 1'721'117;
constexpr std::int64_t gregorianMarch = 1'721'119;
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

/// The month and day from the year and the day in it, both from 1 March on. A month has 30.6 days, here as
/// 65536 / 2141 of them.
constexpr Day fromMarch(int years, std::uint32_t dayOfYear) noexcept
{
    const std::uint32_t scaled = 2141 * dayOfYear + 197'913;
    const auto month = static_cast<int>(scaled >> 16);
    const auto day = static_cast<int>((scaled & 0xFFFF) / 2141) + 1;
    return dayOfYear >= 306 ? Day{years + 1, month - 12, day} : Day{years, month, day};
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

Day gregorianDay(std::int32_t number) noexcept
{
    // Division by 1461 as a multiplication, whose upper half is the year and whose lower half the day in it.
    constexpr std::uint32_t yearFactor = 2'939'745;
    const std::uint64_t quarters = 4 * static_cast<std::uint64_t>(number - gregorianMarch) + 3;
    const auto century = static_cast<std::uint32_t>(quarters / 146'097);
    const auto quartersLeft = static_cast<std::uint32_t>(quarters % 146'097) | 3;
    const std::uint64_t product = std::uint64_t{yearFactor} * quartersLeft;
    const auto yearOfCentury = static_cast<std::uint32_t>(product >> 32);
    const std::uint32_t dayOfYear = static_cast<std::uint32_t>(product) / yearFactor / 4;
    return fromMarch(static_cast<int>(100 * century + yearOfCentury), dayOfYear);
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

Day dayOf(std::int32_t number) noexcept
{
    if (number >= firstGregorian) [[likely]] {
        return gregorianDay(number);
    }
    return julianDay(number < firstOfYearOne ? number - missingYear : number);
}

int dayOfWeek(std::int32_t number) noexcept
{
    const std::int64_t days = std::int64_t{number} + 2;
    return static_cast<int>(days - divideDown(days, 7) * 7);
}

} // namespace MorvexA106::Calendar
