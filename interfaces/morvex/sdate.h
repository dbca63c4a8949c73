#pragma once

/// @file
/// A calendar day.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/stimespan.h"

#include <compare>
#include <cstdint>
#include <limits>

namespace MorvexA106
{

class STimeZone;

/// A day of the calendar that people used: Julian up to 4 October 1582, Gregorian from the next day on, which is
/// 15 October 1582. Plain value of 4 bytes; objects have no shared state.
///
///     SDate due(2026, 2, 100);                    // 28 February 2026: 100 stands for the last day
///     due += STimeSpan(14, 0, 0, 0, 0);
///     SAnsiString text = due.Format("d MMMM yyyy");
///
/// Held is a day number, one less than the Julian day number of astronomers at noon: 2451544 is 1 January 2000.
///
/// There is no year 0: the day before 1 January of year 1 is 31 December of year -1. Years before 1 have their leap
/// day when their number can be divided by 4, so that -4 has one.
///
/// | made from        | is                              |
/// |------------------|---------------------------------|
/// | 2000, 2, 29      | that day                        |
/// | 1900, 2, 29      | invalid                         |
/// | 1500, 2, 29      | that day: leap year of old      |
/// | 2003, 2, 100     | 28 February 2003                |
/// | 1582, 10, 4 + 1 day | 15 October 1582              |
/// | 1582, 10, 5 to 14   | 15 to 24 October: the days that were dropped are not refused |
/// | 0, 1, 1          | invalid                         |
///
/// A default date is invalid and comes before all others. Asking an invalid one is safe: it is reported as an
/// assertion, and the answer is what its number happens to mean, but never a way to tell it from a valid one.
class MORVEX_EXPORT SDate
{
public:
    /// What `day` is given as for the last day of the month.
    static constexpr int lastDayOfMonth = 100;

    constexpr SDate() noexcept = default;

    /// Fields that name no day are reported as an assertion and give an invalid date. A number of any size is taken
    /// as it is and never cut to a smaller type; years from -5884000 to 5874000 can be held.
    SDate(int year, int month, int day) { assign(year, month, day); }

    /// The same; the last number has no meaning.
    SDate(int year, int month, int day, long) { assign(year, month, day); }
    void Set(int year, int month, int day) { assign(year, month, day); }

    /// Today in a zone.
    static SDate GetCurrentDate(const STimeZone& zone);

    /// The day of a day number.
    static constexpr SDate FromDayNumber(std::int32_t number) noexcept { return SDate(Number{number}); }
    constexpr std::int32_t GetDayNumber() const noexcept { return m_day; }

    constexpr bool IsValid() const noexcept { return m_day != invalidDay; }

    /// Cheaper than asking for the three one by one.
    void GetYearMonthDay(int& year, int& month, int& day) const;

    /// Never 0. Up to 5.8 million both ways, so that it is too large for a `short` where spans were added.
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;

    /// 0 for Sunday to 6 for Saturday.
    int GetDayOfWeek() const;

    /// 1 for the week with the first of the month, however short, and one more from each `firstDayOfWeek` on, which
    /// is 0 for Sunday to 6 for Saturday (others modulo 7).
    int GetWeekOfMonth(unsigned char firstDayOfWeek) const;

    /// Move by the whole days of the span, cut towards zero; the rest of it is lost. An invalid date stays invalid,
    /// and a day that can't be held becomes invalid with an assertion.
    SDate& operator+=(const STimeSpan& span);
    SDate& operator-=(const STimeSpan& span);
    friend SDate operator+(SDate date, const STimeSpan& span) { return date += span; }
    friend SDate operator-(SDate date, const STimeSpan& span) { return date -= span; }

    /// The days between two dates as a span. An invalid one is reported as an assertion.
    STimeSpan operator-(const SDate& date) const;

    constexpr auto operator<=>(const SDate&) const noexcept = default;

    /// By the patterns of `SDateTime::Format`; what tells the time of day gives nothing. An invalid date is reported
    /// as an assertion and leaves the literal text.
    SAnsiString Format(const char* pattern) const;

private:
    struct Number
    {
        std::int32_t day;
    };
    constexpr explicit SDate(Number number) noexcept : m_day(number.day) {}

    static constexpr std::int32_t invalidDay = std::numeric_limits<std::int32_t>::min();

    friend class SDateTime;

    /// The invalid day where 32 bits can't hold it.
    static std::int32_t YMDToJulian(int year, int month, int day) noexcept;
    static void JulianToYMD(std::int32_t number, int& year, int& month, int& day) noexcept;
    void assign(int year, int month, int day);
    void move(__int64 days);

    std::int32_t m_day = invalidDay;
};

static_assert(sizeof(SDate) == 4);

} // namespace MorvexA106
