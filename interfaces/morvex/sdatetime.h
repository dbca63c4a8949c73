#pragma once

/// @file
/// A moment, and its text.

#include "morvex/export.h"
#include "morvex/sdate.h"
#include "morvex/sstring.h"
#include "morvex/stime.h"
#include "morvex/stimespan.h"
#include "morvex/systemtime.h"

#include <chrono>
#include <compare>
#include <cstdint>
#include <ctime>

namespace MorvexA106
{

class STimeZone;

/// A moment to the millisecond, held in UTC as a day and a time of day. Moments compare and subtract without a zone;
/// one is named where fields of the calendar are given or asked. Plain value of 8 bytes; objects have no shared state.
///
///     const SDateTime begun = SDateTime::GetCurrentDateTime();
///     const SDateTime due(2027, 3, 28, 9, 0, 0, 0, STimeZone::TZ_Local());
///     if (due - begun < STimeSpan(1, 0, 0, 0, 0)) { ... }
///     SAnsiString text = due.Format("yyyy-MM-dd HH:mm:ss", STimeZone::TZ_UTC());
///
/// Fields in a zone that skips an hour or goes through one twice: what they mean is told with `STimeZone`.
///
/// A default moment is invalid and comes before all others. Asking an invalid one is safe: it is reported as an
/// assertion, and the answer is what the numbers held happen to mean.
class MORVEX_EXPORT SDateTime
{
public:
    using time_point = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

    constexpr SDateTime() noexcept = default;

    /// A calendar's and a wall clock's fields in a zone, in the ranges of `SDate` and `STime`. Others are reported as
    /// an assertion and give an invalid moment.
    SDateTime(int year, int month, int day, int hour, int minute, int second, int millisecond,
              const STimeZone& zone);

    /// As `sicTime_tToSDateTime`, `sicTmToSDateTime`, `sicSYSTEMTIMEToSDateTime` and `sicDATEToSDateTime`, which tell
    /// what is taken (sdatetimeconv.h). A `time_t` of -1 and null are reported as an assertion and give an
    /// invalid moment.
    SDateTime(long time, const STimeZone& zone);
    SDateTime(const struct std::tm* pTm, const STimeZone& zone);
    SDateTime(const SYSTEMTIME* pSystemTime, const STimeZone& zone);
    SDateTime(double date, const STimeZone& zone);

    /// The last whole millisecond at or before the point.
    template <class Duration>
    explicit SDateTime(std::chrono::time_point<std::chrono::system_clock, Duration> point)
        : SDateTime(fromMilliseconds(
              std::chrono::floor<std::chrono::milliseconds>(point).time_since_epoch().count()))
    {}

    /// From a day and a time of day that are both in UTC.
    static constexpr SDateTime FromUTC(const SDate& date, const STime& time) noexcept
    {
        return SDateTime(date, time);
    }

    /// From the system's clock. Takes no lock.
    static SDateTime GetCurrentDateTime();

    constexpr bool IsValid() const noexcept { return m_date.IsValid() && m_time.IsValid(); }

    /// The fields in a zone. Cheaper than asking for them one by one.
    void GetDateTime(int& year, int& month, int& day, int& hour, int& minute, int& second, int& millisecond,
                     const STimeZone& zone) const;
    int GetYear(const STimeZone& zone) const;
    int GetMonth(const STimeZone& zone) const;
    int GetDay(const STimeZone& zone) const;
    int GetDayOfWeek(const STimeZone& zone) const;
    int GetHour(const STimeZone& zone) const;
    int GetMinute(const STimeZone& zone) const;
    int GetSecond() const;
    int GetMillisecond() const;

    /// The day in the zone, and the time of day that reads in the zone, by its offset of now, as this moment does.
    SDate GetDate(const STimeZone& zone) const;
    STime GetTime(const STimeZone& zone) const;

    /// The two halves held, in UTC.
    constexpr SDate GetUTCDate() const noexcept { return m_date; }
    constexpr STime GetUTCTime() const noexcept { return m_time; }

    /// As `sicSDateTimeToTime_t`, `sicSDateTimeToSYSTEMTIME` and `sicSDateTimeToDATE` (sdatetimeconv.h).
    long GetTimeT(const STimeZone& zone) const;
    bool GetSYSTEMTIME(SYSTEMTIME* pSystemTime, const STimeZone& zone) const;
    double GetOleDate(const STimeZone& zone) const;

    /// The same moment for the standard library. An invalid one is reported as an assertion and gives the earliest
    /// point. Assign it to a point of `std::chrono::milliseconds` or coarser: nanoseconds end in the year 2262.
    time_point GetTimePoint() const;

    /// Milliseconds since the beginning of day number 0, UTC. Orders valid moments; an invalid one gives a number too.
    constexpr __int64 GetTotalMilliseconds() const noexcept
    {
        return m_date.GetDayNumber() * INT64_C(86400000) + m_time.GetTotalMilliseconds();
    }

    /// Move by the span, over midnight too. A half that is invalid stays so, and a day that can't be held becomes
    /// invalid with an assertion.
    SDateTime& operator+=(const STimeSpan& span);
    SDateTime& operator-=(const STimeSpan& span);
    friend SDateTime operator+(SDateTime moment, const STimeSpan& span) { return moment += span; }
    friend SDateTime operator-(SDateTime moment, const STimeSpan& span) { return moment -= span; }

    /// An invalid moment is reported as an assertion.
    STimeSpan operator-(const SDateTime& datetime) const;

    constexpr auto operator<=>(const SDateTime&) const noexcept = default;

    /// The moment in a zone as text. In the pattern a run of one of these letters stands for:
    ///
    /// | letter | 1                       | 2               | 3                 | 4 or more       |
    /// |--------|-------------------------|-----------------|-------------------|-----------------|
    /// | `d`    | day of the month: 5     | 05              | short day name    | long day name   |
    /// | `M`    | month: 7                | 07              | short month name  | long month name |
    /// | `y`    | year modulo 100: 3      | 03              | 2003              | 2003            |
    /// | `g`    | era                     | era             | era               | era             |
    /// | `h`    | hour of 12: 1 to 12     | 01 to 12        | as 2              | as 2            |
    /// | `H`    | hour of 24: 0 to 23     | 00 to 23        | as 2              | as 2            |
    /// | `m`    | minute                  | two digits      | as 2              | as 2            |
    /// | `s`    | second                  | two digits      | as 2              | as 2            |
    /// | `S`    | milliseconds            | three digits    | as 2              | as 2            |
    /// | `t`    | short AM or PM          | long AM or PM   | as 2              | as 2            |
    ///
    /// The full year has no padding, and a minus before year 1; modulo 100 it has none. Names come from
    /// `SDateTimeString`, in the locale.
    ///
    /// All else is literal and copied. Text between two `'`, or two `"`, is literal too, whatever its letters, and
    /// loses the marks; one that is not closed goes on to the end. Nothing stands for a mark inside its own kind:
    /// take the other one. The pattern is multibyte text of the locale.
    ///
    /// | pattern                    | text                       |
    /// |----------------------------|----------------------------|
    /// | `yyyy-MM-dd@HH:mm:ss.SS`   | `2003-07-05@01:02:03.004`  |
    /// | `h 'o''clock' t`           | `1 oclock AM`              |
    /// | `"it's" d.M.yy`            | `it's 5.7.03`              |
    ///
    /// An invalid moment gives the literal text alone, without an assertion, and null gives an empty text. Takes no
    /// lock. Throws "bad allocation".
    SAnsiString Format(const char* pattern, const STimeZone& zone) const;

    /// The moment whose fields in a zone stand in a text, by the patterns of `Format`. Strict: taken is what `Format`
    /// writes by the same pattern of a moment, in the calling thread's locale, and nothing more; invalid without an
    /// assertion for every other text, also for null.
    ///
    ///     unsigned int mismatch = 0;
    ///     const SDateTime due = SDateTime::Parse(text, "yyyy-MM-dd HH:mm", zone, &mismatch);
    ///     if (!due.IsValid()) { ... }            // text differs from its byte `mismatch` on
    ///
    /// | pattern          | text             | moment, or where it differs                       |
    /// |------------------|------------------|---------------------------------------------------|
    /// | `yyyy-MM-dd`     | `2003-07-05`     | midnight: what is not told of the time is 0       |
    /// | `yyyy-MM-dd`     | `2003-7-05`      | 6                                                 |
    /// | `yyyy-MM-dd`     | `2003-02-29`     | 8: no such day                                    |
    /// | `yyyy-MM-dd`     | `2003-07-05 `    | 10                                                |
    /// | `yyyyMMdd`       | `20030705`       | a full year in front of a number has four digits  |
    /// | `d.M.yy`         | `5.7.03`         | 2003: two digits mean 1970 to 2069                |
    /// | `ddd d.M.yyyy`   | `Sun 5.7.2003`   | 0: it was a Saturday                              |
    ///
    /// The pattern must tell year, month and day, and AM or PM with the hours of 12; else a text that follows it is
    /// refused with an assertion. Fields that are told twice must agree. A name is the longest that fits, with its
    /// case. An hour that the zone leaves out, or has twice, is read as the constructor does.
    ///
    /// `mismatch` may be null; it gets the length of a text that is taken. Throws "bad allocation".
    static SDateTime Parse(const char* text, const char* pattern, const STimeZone& zone,
                           unsigned int* mismatch = nullptr);

private:
    constexpr SDateTime(const SDate& date, const STime& time) noexcept : m_date(date), m_time(time) {}

    static SDateTime fromMilliseconds(__int64 sinceEpoch);
    void carry(__int64 days, __int64 milliseconds);
    SDateTime inZone(const STimeZone& zone) const;
    static SDateTime fromWallClock(const SDateTime& fields, const STimeZone& zone);
    SDateTime readInZone(const STimeZone& zone) const;

    SDate m_date;
    STime m_time;
};

static_assert(sizeof(SDateTime) == 8);

} // namespace MorvexA106
