#include "etc/monitor.h"

#include "etc/exception.h"

namespace Etc10012
{

JTCMonitor::JTCMonitor() noexcept = default;
JTCMonitor::~JTCMonitor() = default;

bool JTCMonitor::lock(bool wait)
{
    return m_mutex.lock(wait);
}

void JTCMonitor::unlock()
{
    m_mutex.unlock();
}

bool JTCMonitor::isHeld() const noexcept
{
    return m_mutex.isHeld();
}

void JTCMonitor::wait()
{
    m_mutex.m_owner.requireCaller("wait");
    const unsigned levels = m_mutex.suspend();
    m_waiting.wait(m_mutex.m_mutex);
    m_mutex.resume(levels);
}

bool JTCMonitor::wait(long milliseconds)
{
    m_mutex.m_owner.requireCaller("wait");
    if (milliseconds <= 0) {
        return false;
    }
    const unsigned levels = m_mutex.suspend();
    const bool notified = m_waiting.wait(m_mutex.m_mutex, milliseconds);
    m_mutex.resume(levels);
    return notified;
}

void JTCMonitor::notify()
{
    m_mutex.m_owner.requireCaller("notify");
    m_waiting.notifyFirst();
}

void JTCMonitor::notifyAll()
{
    m_mutex.m_owner.requireCaller("notifyAll");
    while (m_waiting.notifyFirst()) {}
}

bool JTCFastMonitor::refuseSecondLock(bool wait)
{
    if (wait) {
        throw JTCIllegalMonitorState("lock: the calling thread holds the lock, which is not recursive");
    }
    return false;
}

void JTCFastMonitor::wait()
{
    m_owner.requireCaller("wait");
    m_owner.clear();
    m_waiting.wait(m_mutex);
    m_owner.setCaller();
}

bool JTCFastMonitor::wait(long milliseconds)
{
    m_owner.requireCaller("wait");
    if (milliseconds <= 0) {
        return false;
    }
    m_owner.clear();
    const bool notified = m_waiting.wait(m_mutex, milliseconds);
    m_owner.setCaller();
    return notified;
}

void JTCFastMonitor::notify()
{
    m_owner.requireCaller("notify");
    m_waiting.notifyFirst();
}

void JTCFastMonitor::notifyAll()
{
    m_owner.requireCaller("notifyAll");
    while (m_waiting.notifyFirst()) {}
}

} // namespace Etc10012
