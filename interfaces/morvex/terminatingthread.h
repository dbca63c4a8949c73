#pragma once

/// @file
/// A thread that can be asked to stop.

#include "morvex/export.h"

#include <etc/monitor.h>
#include <etc/thread.h>

namespace MorvexA106
{

/// A thread that can be asked to stop, and that sleeps in a way which a stop interrupts. Derive from it, make
/// it with `new` and keep it in an `Etc10012::JTCHandleT`:
///
///     class Poller : public TerminatingThread
///     {
///     public:
///         void run() override
///         {
///             while (sleep_with_stop_alarm(10000))
///                 poll();
///         }
///     };
///
///     Etc10012::JTCHandleT<Poller> poller(new Poller);
///     poller->start();
///     ...
///     poller->stop();
///     poller->join();
///
/// | asked          | while it sleeps   | before it sleeps                          | afterwards             |
/// |----------------|-------------------|-------------------------------------------|------------------------|
/// | `stop()`       | ends the sleep    | ends every later sleep at once            | stays                  |
/// | `awake()`      | ends the sleep    | ends the next sleep at once, even if several were sent | cleared by that sleep |
///
/// All operations may be called from any thread; sleeping is meant for the thread itself.
class MORVEX_EXPORT TerminatingThread : public Etc10012::JTCThread
{
public:
    /// In the group of `Etc10012::JTCInitialize`; throws `Etc10012::JTCNotInitialized` when none is alive.
    /// Without a name it is named by a number.
    TerminatingThread();
    explicit TerminatingThread(const char* name);

    virtual bool isStopped();
    virtual void stop();
    virtual void awake();

    /// Sleeps for `ms` milliseconds, or until `stop` or `awake`. With 0 or less it does not sleep, but takes
    /// an `awake` all the same. A sleep that meets the wrap of the system's 32-bit tick counter, once in 49.7
    /// days, ends there, and so no sleep is longer than that.
    ///
    /// Returns whether the thread may go on: false when it was asked to stop, or when the wait failed (which
    /// is reported as an assertion); true after an `awake` or when the time is over.
    virtual bool sleep_with_stop_alarm(long ms);

protected:
    ~TerminatingThread() override;

private:
    class OwnSleep;

    Etc10012::JTCMonitor m_monitor;
    bool m_stopRequested = false;
    bool m_awakeRequested = false;
};

} // namespace MorvexA106
