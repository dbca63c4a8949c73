#pragma once

/// @file
/// The calendar of `SDate` by integers: Julian up to 4 October 1582, Gregorian from 15 October on, without a year 0,
/// and with leap days before year 1 in the years that can be divided by 4.

#include <cstdint>

namespace MorvexA106::Calendar
{

inline constexpr std::int64_t millisecondsOfDay = 86'400'000;

/// Day numbers: the first Gregorian day, the first of year 1, and 1 January 1970.
inline constexpr std::int32_t firstGregorian = 2'299'160;
inline constexpr std::int32_t firstOfYearOne = 1'721'423;
inline constexpr std::int32_t firstOf1970 = 2'440'587;

struct Day
{
    int year;
    int month;
    int day;
};

constexpr std::int64_t divideDown(std::int64_t value, std::int64_t divisor) noexcept
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

bool isLeapYear(int year) noexcept;

/// 0 for what is no month.
int daysOfMonth(int year, int month) noexcept;

/// The number of a day, whose month must be 1 to 12 and whose year not 0. The days that were dropped in October 1582
/// are counted as Julian ones.
std::int64_t numberOf(int year, int month, int day) noexcept;

// Years are counted from 1 March, so that a leap day is the last day of its year. The calendar begins with 1 March
// of a year 0.
inline constexpr std::int32_t gregorianMarch = 1'721'119;

/// A day in a year that begins on 1 March: 0 for that day.
struct MarchDay
{
    std::uint32_t year;
    std::uint32_t dayOfYear;
};

/// By the Gregorian calendar, of all days from its 1 March of a year 0 on.
///
/// Counts in centuries and years, so that a leap day is the last one of either, and in quarters of days, of which a
/// century has 146097 and a year 1461. Multiplying by 2939745 and taking the high half divides by 1461, and leaves
/// the rest in the low half (C. Neri and L. Schneider, Euclidean affine functions and their application to calendar
/// algorithms, 2022).
constexpr MarchDay marchDayOf(std::int32_t number) noexcept
{
    constexpr std::uint32_t yearFactor = 2'939'745;
    const std::uint64_t quarters = 4 * static_cast<std::uint64_t>(number - gregorianMarch) + 3;
    const auto century = static_cast<std::uint32_t>(quarters / 146'097);
    const auto quartersLeft = static_cast<std::uint32_t>(quarters % 146'097) | 3;
    const std::uint64_t product = std::uint64_t{yearFactor} * quartersLeft;
    const auto yearOfCentury = static_cast<std::uint32_t>(product >> 32);
    return {100 * century + yearOfCentury, static_cast<std::uint32_t>(product) / yearFactor / 4};
}

namespace Inside
{

/// The month and day from the year and the day in it, both from 1 March on. A month has 30.6 days, here as
/// 65536 / 2141 of them.
constexpr Day fromMarch(int years, std::uint32_t dayOfYear) noexcept
{
    const std::uint32_t scaled = 2141 * dayOfYear + 197'913;
    const auto month = static_cast<int>(scaled >> 16);
    const auto day = static_cast<int>((scaled & 0xFFFF) / 2141) + 1;
    return dayOfYear >= 306 ? Day{years + 1, month - 12, day} : Day{years, month, day};
}

/// Of the days from `firstGregorian` on.
constexpr Day gregorianDay(std::int32_t number) noexcept
{
    const MarchDay day = marchDayOf(number);
    return fromMarch(static_cast<int>(day.year), day.dayOfYear);
}

} // namespace Inside

/// Of the days before `firstGregorian`.
Day earlyDayOf(std::int32_t number) noexcept;

/// Of every number.
inline Day dayOf(std::int32_t number) noexcept
{
    if (number >= firstGregorian) [[likely]] {
        return Inside::gregorianDay(number);
    }
    return earlyDayOf(number);
}

/// 0 for Sunday to 6.
constexpr int dayOfWeek(std::int32_t number) noexcept
{
    const std::int64_t days = std::int64_t{number} + 2;
    return static_cast<int>(days - divideDown(days, 7) * 7);
}

} // namespace MorvexA106::Calendar
