#pragma once

#include "morvex/export.h"

#include <cstdint>

namespace MorvexA106
{

/// What an interruptible sleep needs of the world around it, so that a test can let the clock wrap and the wait
/// fail.
class SleepWorld
{
public:
    virtual ~SleepWorld() = default;

    /// Milliseconds, cut to 32 bits.
    virtual std::uint32_t tick() = 0;
    virtual bool isAlarmed() = 0;
    /// Returns after the time, or earlier when something happened. May throw.
    virtual void wait(long milliseconds) = 0;
};

/// Sleeps until there is an alarm or the time is over. False when a wait failed, which ends the sleep and is
/// reported as an assertion.
MORVEX_EXPORT bool sleepUntilAlarm(SleepWorld& world, long milliseconds);

} // namespace MorvexA106
