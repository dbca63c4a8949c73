#include "morvex/siserver.h"
#include "morvex/siservercontroller.h"

#include <etc/lock.h>

namespace MorvexA106
{

using Etc10012::JTCLockT;

SIServerStartupParam::SIServerStartupParam() = default;

SIServerStartupParam::~SIServerStartupParam() = default;

SIServer::SIServer() : m_startupParam(new SIServerStartupParam) {}

SIServer::~SIServer() = default;

bool SIServer::run(int)
{
    sleepUntilStop(-1);
    return true;
}

void SIServer::stop()
{
    const JTCLockT guard(m_monitor);
    m_stopRequested = true;
    m_monitor.notifyAll();
}

bool SIServer::isReady()
{
    return true;
}

bool SIServer::readyToServe(long)
{
    return true;
}

SAnsiString SIServer::getStatusText()
{
    return {};
}

bool SIServer::isStopRequested() const
{
    const JTCLockT guard(m_monitor);
    return m_stopRequested;
}

bool SIServer::sleepUntilStop(long milliseconds) const
{
    const JTCLockT guard(m_monitor);
    if (m_stopRequested) {
        return true;
    }
    if (milliseconds < 0) {
        m_monitor.wait();
    } else {
        m_monitor.wait(milliseconds);
    }
    return m_stopRequested;
}

void SIServer::reportProgress(unsigned long milliseconds)
{
    SIServerController::serverInProgress(milliseconds);
}

void SIServer::reportRunning()
{
    SIServerController::signalServerRunning();
}

} // namespace MorvexA106
