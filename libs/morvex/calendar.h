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

/// Of every number.
Day dayOf(std::int32_t number) noexcept;

/// 0 for Sunday to 6.
int dayOfWeek(std::int32_t number) noexcept;

} // namespace MorvexA106::Calendar
