#pragma once

/// @file
/// Locks with one condition each.

#include "etc/export.h"
#include "etc/owner.h"
#include "etc/recursivemutex.h"
#include "etc/waitqueue.h"

#include <mutex>

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
/// `lock` and `unlock` stand in the header: while nobody else wants the monitor, they cost no call into this
/// library.
class ETC_EXPORT JTCFastMonitor
{
public:
    JTCFastMonitor() noexcept = default;
    ~JTCFastMonitor() = default;
    JTCFastMonitor(const JTCFastMonitor&) = delete;
    JTCFastMonitor& operator=(const JTCFastMonitor&) = delete;

    /// Takes the monitor and returns true. With `wait` false it does not block: where any thread holds the
    /// monitor, the calling one included, it returns false. With `wait` true a thread that holds it already
    /// gets `JTCIllegalMonitorState`, since it would wait for itself.
    bool lock(bool wait = true)
    {
        if (m_owner.isCaller()) [[unlikely]] {
            return refuseSecondLock(wait);
        }
        if (wait) {
            m_mutex.lock();
        } else if (!m_mutex.try_lock()) {
            return false;
        }
        m_owner.setCaller();
        return true;
    }

    /// Throws `JTCIllegalMonitorState` when the calling thread does not hold the monitor.
    void unlock()
    {
        m_owner.requireCaller("unlock");
        m_owner.clear();
        m_mutex.unlock();
    }

    bool isHeld() const noexcept { return m_owner.isCaller(); }

    /// As those of `JTCMonitor`.
    void wait();
    bool wait(long milliseconds);
    void notify();
    void notifyAll();

private:
    static bool refuseSecondLock(bool wait);

    std::mutex m_mutex;
    JTCOwner m_owner;
    JTCWaitQueue m_waiting;
};

} // namespace Etc10012
