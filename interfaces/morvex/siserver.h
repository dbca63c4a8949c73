#pragma once

/// @file
/// What a server process is about.

#include "morvex/export.h"
#include "morvex/paramlineargs.h"
#include "morvex/refcount.h"
#include "morvex/sstring.h"

#include <etc/monitor.h>

#include <atomic>

namespace MorvexA106
{

/// The command line that a process was started with, shared by the controller and its server.
class MORVEX_EXPORT SIServerStartupParam : public CRefCount
{
public:
    SIServerStartupParam();

    CParamLineArgs arguments;

protected:
    ~SIServerStartupParam() override;
};

/// The work of a server process. Derive from it, make the object with `new` and hand it to the one
/// `SIServerController`, which drives it in every mode alike:
///
///     class Clock : public SIServer
///     {
///     public:
///         bool initialize() override { return getServerStartupParam().Lookup("zone", m_zone); }
///         bool run(int) override
///         {
///             while (!sleepUntilStop(1000))
///                 tellTime(m_zone);
///             return true;
///         }
///         SAnsiString getStatusText() override { return "telling the time"; }
///         ...
///
/// Who calls what:
///
/// | operation          | on which thread                                              | when                 |
/// |--------------------|--------------------------------------------------------------|----------------------|
/// | `initialize`       | the main thread                                              | first, once          |
/// | `isReady`, `readyToServe` | that of `run`                                         | as a service only, before `run` |
/// | `run`              | `fg`: the main thread. `serverconsole`: one of its own. Service: the dispatcher's | once, if `initialize` returned true |
/// | `stop`             | another one than `run`                                       | any time from the beginning of `initialize`, also before `run` and after it |
/// | `getStatusText`    | another one than `run`                                       | `serverconsole`: at any time between `initialize` and `uninitialize` |
/// | `uninitialize`     | the main thread                                              | last, when `run` has ended by returning |
///
/// After a failed `initialize`, or an exception out of `initialize` or `run`, `uninitialize` is not called:
/// release what is held in the destructor as well.
class MORVEX_EXPORT SIServer : public CRefCount
{
public:
    /// What `run` is told: how the process lives.
    enum RunMode : int
    {
        asProgram = 0,
        asService = 1
    };

    SIServer();
    SIServer(const SIServer&) = delete;
    SIServer& operator=(const SIServer&) = delete;

    /// Gets ready to run; the options are in `getServerStartupParam()`. False, or an exception, ends the
    /// process with an exit code that is not 0. To say why on standard error, throw `SIServerException`.
    virtual bool initialize() = 0;

    /// Does the work until it is done or `stop` is called, and says whether that went well: after false the
    /// process ends in order, and its exit code is not 0. A `stop` that came before must end it at once. As
    /// it stands, `run` waits for `stop`.
    virtual bool run(int mode);

    /// Asks `run` to end, and returns soon, without waiting for that. Whoever overrides it, to wake up what
    /// `run` waits for, calls it as well.
    virtual void stop();

    /// Undoes what `initialize` did.
    virtual void uninitialize() = 0;

    /// Whether `run` is worth being called. As it stands, true.
    virtual bool isReady();

    /// Waits at most this long (milliseconds; negative: no limit) until the server can serve, and says
    /// whether it can. A service is reported as running on true; on false the server reports that itself,
    /// with `reportRunning`. As it stands, true.
    virtual bool readyToServe(long milliseconds);

    /// What the console tells on "status", in a line or more, without a line end behind. As it stands, empty.
    virtual SAnsiString getStatusText();

    /// The options that the process was started with; filled before `initialize`.
    const CParamLineArgs& getServerStartupParam() const noexcept { return m_startupParam->arguments; }
    CParamLineArgs& getServerStartupParam() noexcept { return m_startupParam->arguments; }

    /// The holder of those options.
    CSmartRefCountPtr<SIServerStartupParam> shareServerStartupParam() const { return m_startupParam; }

    /// The exit code of the process when it ends in order, 0 at first. Its low 8 bits count, as a signed
    /// number. Any thread may set it.
    int getStatus() const noexcept { return m_status; }
    void setStatus(int status) noexcept { m_status = status; }

    /// Whether `stop` was called. Any thread may ask.
    bool isStopRequested() const;

    /// Sleeps for this long (milliseconds; negative: no limit), or until `stop`; at once when that came
    /// before. True when `stop` was called. Any thread may sleep here.
    bool sleepUntilStop(long milliseconds) const;

protected:
    ~SIServer() override;

    /// As a service: tells the system that starting or stopping goes on and takes this much longer
    /// (milliseconds). In other modes nothing.
    static void reportProgress(unsigned long milliseconds);

    /// As a service: tells the system that the server serves now. In other modes nothing.
    static void reportRunning();

private:
    CSmartRefCountPtr<SIServerStartupParam> m_startupParam;
    std::atomic<int> m_status{0};
    mutable Etc10012::JTCMonitor m_monitor;
    bool m_stopRequested = false;
};

} // namespace MorvexA106
