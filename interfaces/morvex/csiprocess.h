#pragma once

/// @file
/// The running process.

#include "morvex/export.h"

namespace MorvexA106
{

/// Static operations on the process that calls. They may be called on any thread.
///
///     const unsigned long number = CSIProcess::GetCurrentProcessID();
///     CSIProcess::SecSleep(1);
class MORVEX_EXPORT CSIProcess
{
public:
    CSIProcess() = delete;

    /// The system's number of this process. It may be given to another process once this one has ended, and is
    /// not the same inside and outside of a container.
    static unsigned long GetCurrentProcessID() noexcept;

    /// Puts the calling thread to sleep for this many seconds, also when signals arrive meanwhile; with 0 or less
    /// not at all. Nothing ends it early: for a sleep that a stop ends see `TerminatingThread`.
    static void SecSleep(long seconds);
};

} // namespace MorvexA106
