#include "etc/recursivemutex.h"

#include "etc/exception.h"

#include <string>
#include <utility>

namespace Etc10012
{

JTCRecursiveMutex::JTCRecursiveMutex() noexcept = default;
JTCRecursiveMutex::~JTCRecursiveMutex() = default;

bool JTCRecursiveMutex::lock(bool wait)
{
    if (isHeld()) {
        ++m_levels;
        return true;
    }
    if (wait)
        m_mutex.lock();
    else if (!m_mutex.try_lock())
        return false;
    resume(1);
    return true;
}

void JTCRecursiveMutex::unlock()
{
    requireHeld("unlock");
    if (--m_levels > 0)
        return;
    suspend();
    m_mutex.unlock();
}

// Relaxed is enough: only the calling thread itself ever stores its own id, so it either finds the id that it
// stored or some other value, and any other value means the same to it.
bool JTCRecursiveMutex::isHeld() const noexcept
{
    return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

bool JTCRecursiveMutex::isFree() const noexcept
{
    return m_owner.load(std::memory_order_relaxed) == std::thread::id();
}

void JTCRecursiveMutex::requireHeld(const char* operation) const
{
    if (!isHeld())
        throw JTCIllegalMonitorState(std::string(operation) + ": the calling thread does not hold the lock");
}

/// Ends the ownership and keeps the system's lock; returns the levels for `resume`.
unsigned JTCRecursiveMutex::suspend() noexcept
{
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    return std::exchange(m_levels, 0);
}

/// Makes the calling thread, which has the system's lock, the owner.
void JTCRecursiveMutex::resume(unsigned levels) noexcept
{
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    m_levels = levels;
}

JTCFastRecursiveMutex::JTCFastRecursiveMutex() noexcept = default;
JTCFastRecursiveMutex::~JTCFastRecursiveMutex() = default;

bool JTCFastRecursiveMutex::lock(bool wait)
{
    if (m_mutex.lock(false))
        return true;
    if (!wait)
        return false;
    constexpr int looks = 200;
    for (int look = 0; look < looks; ++look)
        if (m_mutex.isFree() && m_mutex.lock(false))
            return true;
    return m_mutex.lock();
}

void JTCFastRecursiveMutex::unlock() { m_mutex.unlock(); }

bool JTCFastRecursiveMutex::isHeld() const noexcept { return m_mutex.isHeld(); }

} // namespace Etc10012
