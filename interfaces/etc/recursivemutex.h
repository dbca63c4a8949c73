#pragma once

/// @file
/// Locks that a thread may take again while it holds them.

#include "etc/export.h"

#include <atomic>
#include <mutex>
#include <thread>

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
    JTCRecursiveMutex() noexcept;
    ~JTCRecursiveMutex();
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
    friend class JTCFastRecursiveMutex;
    friend class JTCMonitor;

    bool isFree() const noexcept;
    void requireHeld(const char* operation) const;
    unsigned suspend() noexcept;
    void resume(unsigned levels) noexcept;

    std::mutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
    unsigned m_levels = 0;
};

/// `JTCRecursiveMutex` for sections of a few instructions that several processors want at once: a thread that
/// finds the lock held looks for a moment whether it gets free, before it lets itself be put to sleep.
class ETC_EXPORT JTCFastRecursiveMutex
{
public:
    JTCFastRecursiveMutex() noexcept;
    ~JTCFastRecursiveMutex();
    JTCFastRecursiveMutex(const JTCFastRecursiveMutex&) = delete;
    JTCFastRecursiveMutex& operator=(const JTCFastRecursiveMutex&) = delete;

    /// As `JTCRecursiveMutex::lock`.
    bool lock(bool wait = true);

    /// As `JTCRecursiveMutex::unlock`.
    void unlock();

    bool isHeld() const noexcept;

private:
    JTCRecursiveMutex m_mutex;
};

} // namespace Etc10012
