#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Etc10012
{

using Clock = std::chrono::steady_clock;

/// The end of a wait that begins now. A time beyond a hundred years is a hundred years, so that the addition
/// can't overflow.
inline Clock::time_point deadlineAfter(std::int64_t milliseconds)
{
    using namespace std::chrono;
    constexpr std::int64_t longest = duration_cast<std::chrono::milliseconds>(hours(24 * 365 * 100)).count();
    return Clock::now() + std::chrono::milliseconds(std::clamp<std::int64_t>(milliseconds, 0, longest));
}

/// Waits on `changed` until `done()` holds, or the deadline has passed: then false. Sleeps an hour at the most
/// at a time, as some systems count a single sleep in 32 bits.
template <class Predicate>
bool waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
               Clock::time_point deadline, Predicate done)
{
    while (!done()) {
        const Clock::time_point now = Clock::now();
        if (now >= deadline) {
            return false;
        }
        changed.wait_until(lock, std::min(deadline, now + std::chrono::hours(1)));
    }
    return true;
}

} // namespace Etc10012
