#pragma once

/// @file
/// Locks that a thread may take again while it holds them.

#include "etc/export.h"
#include "etc/owner.h"

#include <mutex>

namespace Etc10012
{

/// A lock that belongs to the thread that took it, and that this thread may take again; it is free when it
/// was unlocked as often.
///
///     JTCRecursiveMutex mutex;
///     JTCLockT guard(mutex);
///
/// | state       | `lock` by the owner | `lock(true)` by another | `lock(false)` by another | `unlock`             |
/// |-------------|---------------------|-------------------------|--------------------------|----------------------|
/// | free        | -                   | taken, 1 level          | taken, 1 level: true     | throws               |
/// | held, n     | n + 1 levels        | blocks                  | false                    | owner: n - 1; others: throws |
///
/// All operations may be called from any thread. A lock must be free when it is destroyed.
class ETC_EXPORT JTCRecursiveMutex
{
public:
    JTCRecursiveMutex() noexcept = default;
    ~JTCRecursiveMutex() = default;
    JTCRecursiveMutex(const JTCRecursiveMutex&) = delete;
    JTCRecursiveMutex& operator=(const JTCRecursiveMutex&) = delete;

    /// Takes the lock and returns true. With `wait` false it does not block: where another thread holds the
    /// lock, it returns false and nothing has changed.
    bool lock(bool wait = true);

    /// Gives one level back. Throws `JTCIllegalMonitorState` when the calling thread does not hold the lock.
    void unlock();

    /// Whether the calling thread holds the lock.
    bool isHeld() const noexcept;

private:
    friend class JTCMonitor;

    unsigned suspend() noexcept;
    void resume(unsigned levels) noexcept;

    std::mutex m_mutex;
    JTCOwner m_owner;
    unsigned m_levels = 0;
};

/// `JTCRecursiveMutex` with its operations in the header: while nobody else wants the lock, taking it and
/// giving it back costs no call into this library.
class JTCFastRecursiveMutex
{
public:
    JTCFastRecursiveMutex() noexcept = default;
    ~JTCFastRecursiveMutex() = default;
    JTCFastRecursiveMutex(const JTCFastRecursiveMutex&) = delete;
    JTCFastRecursiveMutex& operator=(const JTCFastRecursiveMutex&) = delete;

    /// As `JTCRecursiveMutex::lock`.
    bool lock(bool wait = true)
    {
        if (m_owner.isCaller()) {
            ++m_levels;
            return true;
        }
        if (wait) {
            m_mutex.lock();
        } else if (!m_mutex.try_lock()) {
            return false;
        }
        m_owner.setCaller();
        m_levels = 1;
        return true;
    }

    /// As `JTCRecursiveMutex::unlock`.
    void unlock()
    {
        m_owner.requireCaller("unlock");
        if (--m_levels == 0) {
            m_owner.clear();
            m_mutex.unlock();
        }
    }

    bool isHeld() const noexcept { return m_owner.isCaller(); }

private:
    std::mutex m_mutex;
    JTCOwner m_owner;
    unsigned m_levels = 0;
};

} // namespace Etc10012
