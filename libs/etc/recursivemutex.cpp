#include "etc/recursivemutex.h"

#include "etc/exception.h"

#include <string>
#include <utility>

namespace Etc10012
{

void JTCOwner::refuse(const char* operation)
{
    throw JTCIllegalMonitorState(std::string(operation) + ": the calling thread does not hold the lock");
}

bool JTCRecursiveMutex::lock(bool wait)
{
    if (isHeld()) {
        ++m_levels;
        return true;
    }
    if (wait) {
        m_mutex.lock();
    } else if (!m_mutex.try_lock()) {
        return false;
    }
    resume(1);
    return true;
}

void JTCRecursiveMutex::unlock()
{
    m_owner.requireCaller("unlock");
    if (m_levels > 1) {
        --m_levels;
        return;
    }
    suspend();
    m_mutex.unlock();
}

bool JTCRecursiveMutex::isHeld() const noexcept
{
    return m_owner.isCaller();
}

/// Ends the ownership and keeps the system's lock; returns the levels for `resume`.
unsigned JTCRecursiveMutex::suspend() noexcept
{
    m_owner.clear();
    return std::exchange(m_levels, 0);
}

/// Makes the calling thread, which has the system's lock, the owner.
void JTCRecursiveMutex::resume(unsigned levels) noexcept
{
    m_owner.setCaller();
    m_levels = levels;
}

} // namespace Etc10012
