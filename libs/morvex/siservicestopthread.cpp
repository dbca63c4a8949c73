#include "morvex/siservicestopthread.h"

#include "morvex/resourcetexts.h"
#include "morvex/siservercontroller.h"
#include "morvex/siserverexception.h"
#include "morvex/sresstring.h"

#include <etc/exception.h>

#include <mutex>
#include <utility>

namespace MorvexA106
{

using Etc10012::JTCException;
using Etc10012::JTCHandleT;

namespace
{

constexpr long pollPeriod = 10000; // milliseconds

// Never destroyed: a shutdown may be asked for until the process is gone.
struct Current
{
    std::mutex mutex;
    JTCHandleT<SIServiceStopThread> thread;

    static Current& instance()
    {
        static Current& only = *new Current;
        return only;
    }

    JTCHandleT<SIServiceStopThread> exchange(JTCHandleT<SIServiceStopThread> next)
    {
        const std::lock_guard lock(mutex);
        next.swap(thread);
        return next;
    }

    JTCHandleT<SIServiceStopThread> get()
    {
        const std::lock_guard lock(mutex);
        return thread;
    }
};

} // namespace

SIServiceStopThread::SIServiceStopThread(CSmartRefCountPtr<SIServer> server)
    : TerminatingThread("serverstopthread"),
      m_server(std::move(server))
{}

SIServiceStopThread::~SIServiceStopThread() = default;

void SIServiceStopThread::run()
{
    while (!isStopped()) {
        if (SIServerController::getServerShutdownFlag()) {
            m_server->stop();
            return;
        }
        sleep_with_stop_alarm(pollPeriod);
    }
}

void SIServiceStopThread::startFor(CSmartRefCountPtr<SIServer> server)
{
    try {
        const JTCHandleT<SIServiceStopThread> thread(new SIServiceStopThread(std::move(server)));
        Current::instance().exchange(thread); // before it looks at the flag, or an awake could miss it
        thread->start();
    } catch (const JTCException& problem) {
        Current::instance().exchange(nullptr);
        throw SIServerException(SIServerException::noResources,
                                SResString::Load(noStopThread, problem.what()));
    }
}

void SIServiceStopThread::stopCurrent()
{
    const auto thread = Current::instance().exchange(nullptr);
    if (thread) {
        thread->stop();
        thread->join();
    }
}

void SIServiceStopThread::awakeCurrent()
{
    if (const auto thread = Current::instance().get()) {
        thread->awake();
    }
}

} // namespace MorvexA106
