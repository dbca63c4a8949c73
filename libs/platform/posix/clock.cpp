#include "platform/clock.h"

#include <ctime>

namespace MorvexA106::Platform
{

std::uint32_t tickCount() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto seconds = static_cast<std::uint64_t>(now.tv_sec);
    const auto nanoseconds = static_cast<std::uint64_t>(now.tv_nsec);
    return static_cast<std::uint32_t>(seconds * 1000 + nanoseconds / 1000000);
}

} // namespace MorvexA106::Platform
