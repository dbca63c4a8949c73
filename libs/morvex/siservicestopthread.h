#pragma once

/// @file
/// The thread that acts upon the shutdown flag. Not installed.

#include "morvex/export.h"
#include "morvex/refcount.h"
#include "morvex/siserver.h"
#include "morvex/terminatingthread.h"

namespace MorvexA106
{

/// Looks at `SIServerController::getServerShutdownFlag` every 10 seconds, and whenever `awake` is called; once
/// the flag is set it calls the server's `stop` and ends.
class MORVEX_EXPORT SIServiceStopThread : public TerminatingThread
{
public:
    explicit SIServiceStopThread(CSmartRefCountPtr<SIServer> server);

    void run() override;

    /// The one that the process has at a time. Throws `SIServerException` when the system makes no thread.
    static void startFor(CSmartRefCountPtr<SIServer> server);

    /// Ends it and waits for that; does nothing when there is none.
    static void stopCurrent();

    /// Lets it look at the flag now, if there is one. Any thread.
    static void awakeCurrent();

protected:
    ~SIServiceStopThread() override;

private:
    CSmartRefCountPtr<SIServer> m_server;
};

} // namespace MorvexA106
