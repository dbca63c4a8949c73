#include "platform/calendarclock.h"

#include <windows.h>

namespace MorvexA106::Platform
{

std::int64_t utcMilliseconds() noexcept
{
    // Steps of 100 nanoseconds since the beginning of 1601.
    constexpr std::int64_t stepsTo1970 = 116'444'736'000'000'000;
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const auto steps =
        static_cast<std::int64_t>((static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime);
    return (steps - stepsTo1970) / 10'000;
}

bool localFields(std::int64_t seconds, std::tm& fields) noexcept
{
    const __time64_t time = seconds;
    return _localtime64_s(&fields, &time) == 0;
}

std::int64_t secondsOf(std::tm fields) noexcept
{
    return _mktime64(&fields);
}

} // namespace MorvexA106::Platform
