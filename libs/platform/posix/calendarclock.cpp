#include "platform/calendarclock.h"

namespace MorvexA106::Platform
{

std::int64_t utcMilliseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

bool localFields(std::int64_t seconds, std::tm& fields) noexcept
{
    // The form with a buffer of one's own need not look at the environment.
    tzset();
    const auto time = static_cast<std::time_t>(seconds);
    return localtime_r(&time, &fields) != nullptr;
}

std::int64_t secondsOf(std::tm fields) noexcept
{
    return std::mktime(&fields);
}

} // namespace MorvexA106::Platform
