#include "morvex/csiprocess.h"

#include "platform/process.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace MorvexA106
{

unsigned long CSIProcess::GetCurrentProcessID() noexcept
{
    return Platform::processId();
}

/// An hour at a time: some systems count a single sleep in 32 bits of milliseconds.
void CSIProcess::SecSleep(long seconds)
{
    constexpr long step = 3600;
    for (long left = seconds; left > 0; left -= std::min(left, step)) {
        std::this_thread::sleep_for(std::chrono::seconds(std::min(left, step)));
    }
}

} // namespace MorvexA106
