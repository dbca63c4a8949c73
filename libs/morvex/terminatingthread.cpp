#include "morvex/terminatingthread.h"

#include "morvex/checks.h"
#include "morvex/interruptiblesleep.h"
#include "platform/clock.h"

#include <etc/exception.h>
#include <etc/initialize.h>
#include <etc/lock.h>

namespace MorvexA106
{

using Etc10012::JTCException;
using Etc10012::JTCInitialize;
using Etc10012::JTCLockT;

namespace
{

// A counter that went backwards has wrapped; then the time counts as over.
std::int64_t elapsedBetween(std::uint32_t start, std::uint32_t now, long whole) noexcept
{
    return now < start ? std::int64_t{whole} : std::int64_t{now - start};
}

bool waitOrReport(SleepWorld& world, long milliseconds)
{
    try {
        world.wait(milliseconds);
        return true;
    } catch (const JTCException& problem) {
        MORVEX_FAIL(problem.what());
    } catch (...) {
        MORVEX_FAIL("Unknown exception in sleep_with_stop_alarm wait");
    }
    return false;
}

} // namespace

bool sleepUntilAlarm(SleepWorld& world, long milliseconds)
{
    const std::uint32_t start = world.tick();
    std::int64_t elapsed = 0;
    while (!world.isAlarmed() && elapsed < milliseconds) {
        if (!waitOrReport(world, static_cast<long>(milliseconds - elapsed))) {
            return false;
        }
        elapsed = elapsedBetween(start, world.tick(), milliseconds);
    }
    return true;
}

class TerminatingThread::OwnSleep : public SleepWorld
{
public:
    explicit OwnSleep(TerminatingThread& thread) : m_thread(thread) {}

    std::uint32_t tick() override { return Platform::tickCount(); }
    bool isAlarmed() override { return m_thread.m_stopRequested || m_thread.m_awakeRequested; }
    void wait(long milliseconds) override { m_thread.m_monitor.wait(milliseconds); }

private:
    TerminatingThread& m_thread;
};

TerminatingThread::TerminatingThread() : TerminatingThread(nullptr) {}

TerminatingThread::TerminatingThread(const char* name) : JTCThread(JTCInitialize::getTermGroup(), name) {}

TerminatingThread::~TerminatingThread() = default;

bool TerminatingThread::isStopped()
{
    const JTCLockT guard(m_monitor);
    return m_stopRequested;
}

void TerminatingThread::stop()
{
    const JTCLockT guard(m_monitor);
    m_stopRequested = true;
    m_monitor.notifyAll(); // a stop is for everybody who sleeps here
}

void TerminatingThread::awake()
{
    const JTCLockT guard(m_monitor);
    m_awakeRequested = true;
    m_monitor.notify();
}

bool TerminatingThread::sleep_with_stop_alarm(long ms)
{
    const JTCLockT guard(m_monitor);
    OwnSleep world(*this);
    const bool intact = sleepUntilAlarm(world, ms);
    m_awakeRequested = false;
    return intact && !m_stopRequested;
}

} // namespace MorvexA106
