#pragma once

/// @file
/// Locks with one condition each.

#include "etc/export.h"
#include "etc/recursivemutex.h"
#include "etc/waitqueue.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace Etc10012
{

/// A recursive lock with one condition. It belongs to the thread that took it, and that thread may take it
/// again, as `JTCRecursiveMutex`; while it holds it, it can wait for another thread's `notify`.
///
///     JTCLockT guard(monitor);
///     while (work.empty())
///         monitor.wait();
///
/// Waiting is exact: `wait` ends by a `notify` that was sent while it waited, or by its time-out, and by
/// nothing else. Each `notify` ends one `wait`, that of the thread which has waited longest; a thread that
/// starts to wait later never takes it. A `notify` with nobody waiting is lost. Between the `notify` and the
/// return of `wait` other threads may hold the monitor, so what the waiter waits for may have changed again.
///
/// All operations may be called from any thread. A monitor must be free, with nobody waiting, when it is
/// destroyed.
class ETC_EXPORT JTCMonitor
{
public:
    JTCMonitor() noexcept;
    virtual ~JTCMonitor();
    JTCMonitor(const JTCMonitor&) = delete;
    JTCMonitor& operator=(const JTCMonitor&) = delete;

    /// As `JTCRecursiveMutex::lock`.
    bool lock(bool wait = true);

    /// As `JTCRecursiveMutex::unlock`.
    void unlock();

    bool isHeld() const noexcept;

    /// Gives the monitor back with all its levels, waits for a `notify`, and takes it again with the same
    /// levels. Throws `JTCIllegalMonitorState` when the calling thread does not hold it.
    void wait();

    /// As `wait()`, but for `milliseconds` at the most. True when a `notify` ended it, false when the time
    /// did. With 0 or less it returns false at once and does not give the monitor back in between. It can
    /// take longer than the time told, as the monitor must be had again.
    bool wait(long milliseconds);

    /// Ends the `wait` of the thread that has waited longest, if there is one. That thread goes on when the
    /// monitor is free. Throws `JTCIllegalMonitorState` when the calling thread does not hold the monitor.
    void notify();

    /// As `notify`, for all threads that wait now.
    void notifyAll();

private:
    JTCRecursiveMutex m_mutex;
    JTCWaitQueue m_waiting;
};

/// A lock with one condition that a thread can't take twice; else as `JTCMonitor`, with the same exact waiting.
/// It spares the count of the levels.
class ETC_EXPORT JTCFastMonitor
{
public:
    JTCFastMonitor() noexcept;
    ~JTCFastMonitor();
    JTCFastMonitor(const JTCFastMonitor&) = delete;
    JTCFastMonitor& operator=(const JTCFastMonitor&) = delete;

    /// Takes the monitor and returns true. With `wait` false it does not block: where any thread holds the
    /// monitor, the calling one included, it returns false. With `wait` true a thread that holds it already
    /// gets `JTCIllegalMonitorState`, since it would wait for itself.
    bool lock(bool wait = true);

    /// Throws `JTCIllegalMonitorState` when the calling thread does not hold the monitor.
    void unlock();

    bool isHeld() const noexcept;

    /// As those of `JTCMonitor`.
    void wait();
    bool wait(long milliseconds);
    void notify();
    void notifyAll();

private:
    void requireHeld(const char* operation) const;
    void setOwner(std::thread::id owner) noexcept { m_owner.store(owner, std::memory_order_relaxed); }

    std::mutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
    JTCWaitQueue m_waiting;
};

} // namespace Etc10012
