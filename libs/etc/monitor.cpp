#include "etc/monitor.h"

#include "etc/exception.h"

#include <string>

namespace Etc10012
{

JTCMonitor::JTCMonitor() noexcept = default;
JTCMonitor::~JTCMonitor() = default;

bool JTCMonitor::lock(bool wait) { return m_mutex.lock(wait); }

void JTCMonitor::unlock() { m_mutex.unlock(); }

bool JTCMonitor::isHeld() const noexcept { return m_mutex.isHeld(); }

void JTCMonitor::wait()
{
    m_mutex.requireHeld("wait");
    const unsigned levels = m_mutex.suspend();
    m_waiting.wait(m_mutex.m_mutex);
    m_mutex.resume(levels);
}

bool JTCMonitor::wait(long milliseconds)
{
    m_mutex.requireHeld("wait");
    if (milliseconds <= 0)
        return false;
    const unsigned levels = m_mutex.suspend();
    const bool notified = m_waiting.wait(m_mutex.m_mutex, milliseconds);
    m_mutex.resume(levels);
    return notified;
}

void JTCMonitor::notify()
{
    m_mutex.requireHeld("notify");
    m_waiting.notifyFirst();
}

void JTCMonitor::notifyAll()
{
    m_mutex.requireHeld("notifyAll");
    while (m_waiting.notifyFirst()) {
    }
}

JTCFastMonitor::JTCFastMonitor() noexcept = default;
JTCFastMonitor::~JTCFastMonitor() = default;

bool JTCFastMonitor::lock(bool wait)
{
    if (isHeld()) {
        if (wait)
            throw JTCIllegalMonitorState("lock: the calling thread holds the lock, which is not recursive");
        return false;
    }
    if (wait)
        m_mutex.lock();
    else if (!m_mutex.try_lock())
        return false;
    setOwner(std::this_thread::get_id());
    return true;
}

void JTCFastMonitor::unlock()
{
    requireHeld("unlock");
    setOwner({});
    m_mutex.unlock();
}

bool JTCFastMonitor::isHeld() const noexcept
{
    return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

void JTCFastMonitor::wait()
{
    requireHeld("wait");
    setOwner({});
    m_waiting.wait(m_mutex);
    setOwner(std::this_thread::get_id());
}

bool JTCFastMonitor::wait(long milliseconds)
{
    requireHeld("wait");
    if (milliseconds <= 0)
        return false;
    setOwner({});
    const bool notified = m_waiting.wait(m_mutex, milliseconds);
    setOwner(std::this_thread::get_id());
    return notified;
}

void JTCFastMonitor::notify()
{
    requireHeld("notify");
    m_waiting.notifyFirst();
}

void JTCFastMonitor::notifyAll()
{
    requireHeld("notifyAll");
    while (m_waiting.notifyFirst()) {
    }
}

void JTCFastMonitor::requireHeld(const char* operation) const
{
    if (!isHeld())
        throw JTCIllegalMonitorState(std::string(operation) + ": the calling thread does not hold the lock");
}

} // namespace Etc10012
