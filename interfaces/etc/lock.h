#pragma once

/// @file
/// The scoped lock of the family.

#include <utility>

namespace Etc10012
{

/// Holds a lock for a scope: any of `JTCMonitor`, `JTCFastMonitor`, `JTCRecursiveMutex` and
/// `JTCFastRecursiveMutex`, or another class with `lock()` and `unlock()`.
///
///     {
///         JTCLockT guard(monitor);
///         counter = 5;
///         monitor.notify();
///     }
///
/// What `lock()` throws, the constructor throws. The lock must not be unlocked behind the guard's back: then
/// the guard's own `unlock` fails in its destructor, which ends the process.
template <class Lock>
class JTCLockT
{
public:
    [[nodiscard]] explicit JTCLockT(Lock& lock) : m_lock(lock) { m_lock.lock(); }
    JTCLockT(const JTCLockT&) = delete;
    JTCLockT& operator=(const JTCLockT&) = delete;

    ~JTCLockT() { unlock(); }

    /// Ends the hold before the scope does; a second call does nothing.
    void unlock()
    {
        if (std::exchange(m_held, false)) {
            m_lock.unlock();
        }
    }

private:
    Lock& m_lock;
    bool m_held = true;
};

} // namespace Etc10012
