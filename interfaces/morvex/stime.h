#pragma once

/// @file
/// A time of day.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/stimespan.h"

#include <compare>
#include <cstdint>
#include <limits>

namespace MorvexA106
{

class STimeZone;

/// A time of day without a day, to the millisecond, held in UTC. Plain value of 4 bytes; objects have no shared
/// state.
///
///     const STime opening(8, 30, 0, 0, STimeZone::TZ_Local());
///     if (STime::GetCurrentTime(STimeZone::TZ_Local()) < opening) { ... }
///
/// A time has no date, so where a zone comes in, the zone's offset of now is taken: in summer a time is made, and
/// read, as in summer. Use `SDateTime` for a time on some day.
///
/// A default time is invalid and comes before all others. Asking an invalid one is safe: it is reported as an
/// assertion, and the answer is what the number held happens to mean.
class MORVEX_EXPORT STime
{
public:
    constexpr STime() noexcept = default;

    /// A wall clock's fields in a zone: hour 0 to 23, minute and second 0 to 59, millisecond 0 to 999. Others are
    /// reported as an assertion and give an invalid time.
    STime(int hour, int minute, int second, int millisecond, const STimeZone& zone);
    void Set(int hour, int minute, int second, int millisecond, const STimeZone& zone);

    /// Now in UTC, as which a time is held in every zone. Where <windows.h> has made a macro of the name, write
    /// `(STime::GetCurrentTime)(zone)`.
    static STime(GetCurrentTime)(const STimeZone& zone);

    /// Milliseconds since midnight UTC: invalid when not below 86400000.
    static constexpr STime FromMilliseconds(std::int32_t sinceMidnight) noexcept
    {
        return STime(Count{sinceMidnight});
    }
    constexpr std::int32_t GetTotalMilliseconds() const noexcept { return m_count; }

    constexpr bool IsValid() const noexcept { return m_count != invalidCount; }

    /// The second and millisecond are the same in every zone, whose offsets are of whole minutes.
    void GetHourMinuteSecond(int& hour, int& minute, int& second, const STimeZone& zone) const;
    int GetHour(const STimeZone& zone) const;
    int GetMinute(const STimeZone& zone) const;
    int GetSecond() const;
    int GetMillisecond() const;

    /// Move around the clock: past midnight it goes on at 0 and the day is lost. An invalid time stays invalid.
    STime& operator+=(const STimeSpan& span) noexcept;
    STime& operator-=(const STimeSpan& span) noexcept;
    friend STime operator+(STime time, const STimeSpan& span) noexcept { return time += span; }
    friend STime operator-(STime time, const STimeSpan& span) noexcept { return time -= span; }

    /// Negative when this one is the earlier of the two on one UTC day. An invalid one is reported as an assertion.
    STimeSpan operator-(const STime& timeOfDay) const;

    constexpr auto operator<=>(const STime&) const noexcept = default;

    /// By the patterns of `SDateTime::Format`; what tells the date gives nothing. An invalid time is reported as an
    /// assertion and leaves the literal text.
    SAnsiString Format(const char* pattern, const STimeZone& zone) const;

private:
    struct Count
    {
        std::int32_t milliseconds;
    };
    static constexpr std::int32_t invalidCount = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int32_t dayLength = 86'400'000;

    constexpr explicit STime(Count count) noexcept
        : m_count(count.milliseconds >= 0 && count.milliseconds < dayLength ? count.milliseconds
                                                                            : invalidCount)
    {}

    std::int32_t m_count = invalidCount;
};

static_assert(sizeof(STime) == 4);

} // namespace MorvexA106
