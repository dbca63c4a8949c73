#pragma once

/// @file
/// An interval of time.

#include "morvex/export.h"
#include "morvex/types.h"

#include <chrono>
#include <compare>

namespace MorvexA106
{

/// A signed count of milliseconds. Plain value of 8 bytes; objects have no shared state.
///
///     const STimeSpan limit(0, 1, 30, 0, 0);         // an hour and a half
///     if (SDateTime::GetCurrentDateTime() - begun > limit) { ... }
///
/// The parts are cut towards zero and bear the sign of the span:
///
/// | milliseconds | days | hours | minutes | seconds | milliseconds |
/// |--------------|------|-------|---------|---------|--------------|
/// | 93784005     | 1    | 2     | 3       | 4       | 5            |
/// | -93784005    | -1   | -2    | -3      | -4      | -5           |
/// | -1           | 0    | 0     | 0       | 0       | -1           |
///
/// What 64 bits can't hold becomes the nearest span that they can: about 292 million years.
class MORVEX_EXPORT STimeSpan
{
public:
    constexpr STimeSpan() noexcept = default;
    constexpr STimeSpan(__int64 milliseconds) noexcept : m_count(milliseconds) {}
    constexpr explicit STimeSpan(std::chrono::milliseconds duration) noexcept : m_count(duration.count()) {}

    /// The sum of the five. All of one sign, zeros apart; else it is reported as an assertion, and the sum is taken
    /// all the same.
    STimeSpan(long nDays, long nHours, long nMinutes, long nSeconds, long nMilliseconds);
    void Set(long nDays, long nHours, long nMinutes, long nSeconds, long nMilliseconds);

    constexpr __int64 GetDays() const noexcept { return m_count / dayLength; }
    constexpr long GetHours() const noexcept { return static_cast<long>(m_count / hourLength % 24); }
    constexpr long GetMinutes() const noexcept { return static_cast<long>(m_count / minuteLength % 60); }
    constexpr long GetSeconds() const noexcept { return static_cast<long>(m_count / secondLength % 60); }
    constexpr long GetMilliseconds() const noexcept { return static_cast<long>(m_count % secondLength); }

    /// The whole span in one unit, cut towards zero.
    constexpr __int64 GetTotalHours() const noexcept { return m_count / hourLength; }
    constexpr __int64 GetTotalMinutes() const noexcept { return m_count / minuteLength; }
    constexpr __int64 GetTotalSeconds() const noexcept { return m_count / secondLength; }
    constexpr __int64 GetTotalMilliseconds() const noexcept { return m_count; }
    constexpr std::chrono::milliseconds GetDuration() const noexcept
    {
        return std::chrono::milliseconds(m_count);
    }

    STimeSpan& operator+=(const STimeSpan& span) noexcept;
    STimeSpan& operator-=(const STimeSpan& span) noexcept;
    friend STimeSpan operator+(STimeSpan left, const STimeSpan& right) noexcept { return left += right; }
    friend STimeSpan operator-(STimeSpan left, const STimeSpan& right) noexcept { return left -= right; }

    constexpr auto operator<=>(const STimeSpan&) const noexcept = default;

private:
    static constexpr __int64 secondLength = 1000;
    static constexpr __int64 minuteLength = 60 * secondLength;
    static constexpr __int64 hourLength = 60 * minuteLength;
    static constexpr __int64 dayLength = 24 * hourLength;

    __int64 m_count = 0;
};

} // namespace MorvexA106
