#pragma once

/// @file
/// The main loop of a server process.

#include "morvex/export.h"
#include "morvex/refcount.h"
#include "morvex/siserver.h"
#include "morvex/siserverexception.h"
#include "morvex/sstring.h"

#include <atomic>
#include <memory>

namespace MorvexA106
{

class ServerBelongings;
class SIServerControllerMonitor;

/// The main loop of a server process: one object, made and run on the main thread.
///
///     int main(int argc, char** argv)
///     {
///         SIServerController controller("clock", "Clock", "Tells the time", new Clock);
///         return controller.run(argc, argv);
///     }
///
/// The command line decides how the process lives:
///
/// | option          | effect                                                                            |
/// |-----------------|-----------------------------------------------------------------------------------|
/// | `serverconsole` | the server runs, and `SIConsole` reads commands from standard input; wins over `fg` |
/// | `fg`            | the server runs until Ctrl-C, SIGTERM or `shutdown()`                               |
/// | neither         | a service of the system: not available yet                                        |
/// | `install`, `uninstall` | the service's registration: not available yet                              |
/// | `restart`       | of a service: not available yet; else without effect                              |
/// | `pidfile PATH`  | PATH holds the process's id in decimal and a line end while the server lives      |
///
/// The pid file appears whole, is locked while the process lives and is removed at its end. One that a dead
/// process left is no obstacle; with one of a living process `run` fails.
///
/// In the `fg` mode, from before `initialize` until after `uninitialize`, a request to end from outside is
/// taken as `shutdown()`: POSIX: SIGINT, SIGTERM, and SIGHUP unless it was ignored; Windows: Ctrl-C,
/// Ctrl-Break, and the closing of the console. Repeated requests change nothing, except that a Ctrl-C more
/// than two seconds after the first request ends the process at once, as it would have without us.
///
/// There is one controller in a process. A second one is reported by assertions, and takes over as the
/// instance and with its own gates; each keeps and frees what it made. When the instance goes there is none.
class MORVEX_EXPORT SIServerController
{
public:
    /// `description` is the long text that the system's service manager shows. Any server pointer is
    /// accepted; `run` refuses to run none. The flags of a controller that went before are cleared.
    SIServerController(const SAnsiString& serviceName, const SAnsiString& displayName,
                       const SAnsiString& description, CSmartRefCountPtr<SIServer> server);
    SIServerController(const SIServerController&) = delete;
    SIServerController& operator=(const SIServerController&) = delete;
    virtual ~SIServerController();

    /// The whole life of the process, once. `argv` ends with a null pointer, as that of `main` does.
    ///
    /// Returns the process's exit code: after an orderly end the server's status as a signed byte (0 unless
    /// the server set another), or 1 when that is 0 and the server's `run` returned false; and 1 after a
    /// `SIServerException`, whose text is then on standard error.
    ///
    /// Any other exception of the server goes on to the caller. But one that leaves the server's
    /// `uninitialize` ends the process with `exit` and the server's status. Whatever happens, the threads
    /// that `run` made have ended and the handlers of signals are as they were.
    virtual int run(int argc, char** argv);

    /// Asserts "__gInstance"; null when there is no controller.
    static SIServerController* instance();

    /// Asks for an internal shutdown: the server's `stop` is called, on a thread made for it, at once. Under
    /// `serverconsole` it does nothing. May be called on any thread, more than once, and from the time when
    /// the controller exists; not in a signal handler.
    static void shutdown();

    /// Polled flags; any thread.
    static void setServerRestartFlag() noexcept;
    static bool getServerRestartFlag() noexcept;
    static bool getServerShutdownFlag() noexcept;

private:
    friend class SIServer;
    friend class SIServerControllerAccess;

    struct Gates;
    class StopThread;

    static void waitingToInitialize();
    static void waitingToRunService();
    static void waitingToStop();
    static void waitingToUninitialize();

    static void initialize(bool result);
    static void runService(bool result);
    static void uninitialize(bool result);
    static void stop();

    static bool canInit();
    static bool canRunService();
    static bool canUninit();

    static bool isInited();
    static bool shouldUninit();

    static void serverInProgress(unsigned long hint);
    static void signalServerRunning();
    static void requireServiceIfAny();

    static void startInternalShutdownThread(CSmartRefCountPtr<SIServer> server);
    static void stopInternalShutdownThread();

    int runMode(int argc, char** argv);
    void requireServer() const;
    bool runInConsole();
    bool runInForeground();
    void initializeServer();
    void uninitializeServer();
    int exitCode(bool ranWell) const noexcept;
    int endAfter(const SIServerException& problem);
    void endAfterUnknown();
    [[noreturn]] void exitAfterUninitialize(const SAnsiString& reason);
    void openLastGates();
    void tellOperator(const SAnsiString& reason) const;

    CSmartRefCountPtr<SIServerStartupParam> m_startupParam;
    CSmartRefCountPtr<SIServer> m_pServer;
    SAnsiString m_serviceName;
    SAnsiString m_displayName;
    SAnsiString m_description;
    std::unique_ptr<Gates> m_gates;
    std::unique_ptr<ServerBelongings> m_belongings;

    static SIServerController* __gInstance;
    static SIServerControllerMonitor* m_pWaitUninitialize;
    static SIServerControllerMonitor* m_pWaitStop;
    static SIServerControllerMonitor* m_pWaitInitialize;
    static SIServerControllerMonitor* m_pWaitRun;
    static std::atomic<bool> restartFlag_;
    static std::atomic<bool> serviceMode_;
    static std::atomic<bool> shutdownFlag_;
    static std::atomic<bool> consoleMode_;
};

} // namespace MorvexA106
