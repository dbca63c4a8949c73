#include "morvex/siserver.h"

#include "morvex/checks.h"
#include "morvex/resourcetexts.h"
#include "morvex/serverbelongings.h"
#include "morvex/siconsole.h"
#include "morvex/siservercontroller.h"
#include "morvex/siservercontrollermonitor.h"
#include "morvex/siservicestopthread.h"
#include "morvex/sresmanager.h"
#include "morvex/sresstring.h"

#include <etc/initialize.h>
#include <etc/lock.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <utility>

namespace MorvexA106
{

using Etc10012::JTCInitialize;
using Etc10012::JTCLockT;

namespace
{

constexpr int informationLevel = 0;
constexpr int errorLevel = 2;
constexpr int serverCategory = 14;
constexpr unsigned long lifeCycleMessage = 0x891C;
constexpr unsigned long failureMessage = 0x891D;

constexpr int failureExitCode = 1;
constexpr long threadPatience = 1000; // milliseconds

struct Options
{
    explicit Options(const CParamLineArgs& arguments)
        : install(has(arguments, "install")),
          uninstall(has(arguments, "uninstall")),
          foreground(has(arguments, "fg")),
          console(has(arguments, "serverconsole"))
    {}

    static bool has(const CParamLineArgs& arguments, const char* name)
    {
        SAnsiString value;
        return arguments.Lookup(name, value);
    }

    bool install;
    bool uninstall;
    bool foreground;
    bool console;
};

// A controller that went away took its gates along; then nobody waits, and nothing is granted.
bool isThere(const SIServerControllerMonitor* gate)
{
    MORVEX_CHECK(gate != nullptr, "gate != NULL");
    return gate != nullptr;
}

void waitAtGate(SIServerControllerMonitor* gate, const char* line)
{
    if (!isThere(gate)) {
        return;
    }
    const JTCLockT guard(*gate);
    MORVEX_TRACE(line);
    if (!gate->signalled) {
        gate->wait(); // once: it does not return without a notify
    }
}

void openGate(SIServerControllerMonitor* gate, const char* line, std::optional<bool> result,
              const char* lineAfter = nullptr)
{
    if (!isThere(gate)) {
        return;
    }
    const JTCLockT guard(*gate);
    MORVEX_TRACE(line);
    gate->result = result.value_or(gate->result);
    gate->signalled = true;
    gate->notify();
    if (lineAfter) {
        MORVEX_TRACE(lineAfter);
    }
}

bool resultOf(SIServerControllerMonitor* gate)
{
    if (!isThere(gate)) {
        return false;
    }
    const JTCLockT guard(*gate);
    return gate->result;
}

void logMessage(int level, unsigned long id, const SAnsiString& text, const char* detail = nullptr)
{
    SLog(level, serverCategory, id, text.getString(), detail);
}

// Logs the exception that is being handled, and returns what it says.
SAnsiString logUnknownFailure()
{
    SAnsiString detail;
    try {
        throw;
    } catch (const std::exception& known) {
        detail = known.what();
    } catch (...) {
        detail = SResManager::LoadStringA(unknownReason);
    }
    const SAnsiString text = SResString::Load(serverFailed, SResManager::LoadStringA(unknownReason));
    logMessage(errorLevel, failureMessage, text, detail.getString());
    return detail;
}

SIServerException refusedService()
{
    return SIServerException(SIServerException::noService, SResManager::LoadStringA(serviceUnavailable));
}

} // namespace

// The statics point at the gates of the controller that was made last; each controller owns its own.
struct SIServerController::Gates
{
    SIServerControllerMonitor uninitialize;
    SIServerControllerMonitor stop;
    SIServerControllerMonitor initialize;
    SIServerControllerMonitor run;
};

// The stop thread for a scope.
class SIServerController::StopThread
{
public:
    explicit StopThread(const CSmartRefCountPtr<SIServer>& server) { startInternalShutdownThread(server); }
    ~StopThread() { stopInternalShutdownThread(); }
    StopThread(const StopThread&) = delete;
    StopThread& operator=(const StopThread&) = delete;
};

SIServerController* SIServerController::__gInstance = nullptr;
SIServerControllerMonitor* SIServerController::m_pWaitUninitialize = nullptr;
SIServerControllerMonitor* SIServerController::m_pWaitStop = nullptr;
SIServerControllerMonitor* SIServerController::m_pWaitInitialize = nullptr;
SIServerControllerMonitor* SIServerController::m_pWaitRun = nullptr;
std::atomic<bool> SIServerController::restartFlag_{false};
std::atomic<bool> SIServerController::serviceMode_{false};
std::atomic<bool> SIServerController::shutdownFlag_{false};
std::atomic<bool> SIServerController::consoleMode_{false};

SIServerController::SIServerController(const SAnsiString& serviceName, const SAnsiString& displayName,
                                       const SAnsiString& description, CSmartRefCountPtr<SIServer> server)
    : m_pServer(std::move(server)),
      m_serviceName(serviceName),
      m_displayName(displayName),
      m_description(description),
      m_gates(new Gates),
      m_belongings(new ServerBelongings)
{
    MORVEX_CHECK_SAYING(
        m_pWaitUninitialize == nullptr && m_pWaitStop == nullptr && m_pWaitInitialize == nullptr &&
            m_pWaitRun == nullptr,
        "SIServerController::m_pWaitUninitialize==NULL && SIServerController::m_pWaitStop==NULL && "
        "SIServerController::m_pWaitInitialize==NULL && SIServerController::m_pWaitRun==NULL",
        "Only one SIServerController per process");
    MORVEX_CHECK(__gInstance == nullptr, "__gInstance==NULL");
    if (m_pServer) {
        m_startupParam = m_pServer->shareServerStartupParam();
    }
    if (!__gInstance) {
        // Those of the controller that went before; its main function may have read them until now.
        restartFlag_ = false;
        shutdownFlag_ = false;
        consoleMode_ = false;
    }
    serviceMode_ = false;
    m_pWaitUninitialize = &m_gates->uninitialize;
    m_pWaitStop = &m_gates->stop;
    m_pWaitInitialize = &m_gates->initialize;
    m_pWaitRun = &m_gates->run;
    __gInstance = this;
}

SIServerController::~SIServerController()
{
    if (__gInstance == this) {
        __gInstance = nullptr;
        m_pWaitUninitialize = nullptr;
        m_pWaitStop = nullptr;
        m_pWaitInitialize = nullptr;
        m_pWaitRun = nullptr;
    }
}

SIServerController* SIServerController::instance()
{
    MORVEX_CHECK(__gInstance != nullptr, "__gInstance");
    return __gInstance;
}

int SIServerController::run(int argc, char** argv)
{
    const JTCInitialize threads;
    try {
        const int code = runMode(argc, argv);
        m_belongings->release();
        return code;
    } catch (const SIServerException& problem) {
        return endAfter(problem);
    } catch (...) {
        endAfterUnknown();
        throw;
    }
}

int SIServerController::runMode(int argc, char** argv)
{
    const CParamLineArgs arguments(argc, argv);
    const Options options(arguments);
    if (options.install || options.uninstall) {
        throw refusedService();
    }
    logMessage(informationLevel, lifeCycleMessage, SResString::Load(serverStarting, m_serviceName));
    requireServer();
    m_startupParam->arguments.SetArgs(argc, argv);
    if (options.console) {
        m_belongings->takePidFile(arguments);
        return exitCode(runInConsole());
    }
    if (options.foreground) {
        m_belongings->listen(&shutdown);
        m_belongings->takePidFile(arguments);
        return exitCode(runInForeground());
    }
    throw refusedService();
}

void SIServerController::requireServer() const
{
    MORVEX_CHECK(m_pServer != nullptr, "m_pServer != NULL");
    if (!m_pServer) {
        throw SIServerException(SIServerException::noServer, SResManager::LoadStringA(noServerGiven));
    }
}

bool SIServerController::runInConsole()
{
    consoleMode_ = true;
    try {
        initializeServer();
        const bool ranWell = SIConsole(m_pServer).run();
        uninitializeServer();
        return ranWell;
    } catch (const SIServerException& problem) {
        if (problem.ErrCode() == SIServerException::toldToUser) {
            std::cout << problem.toString().getString() << std::endl;
        }
        throw SIServerException(problem);
    }
}

bool SIServerController::runInForeground()
{
    const StopThread stopThread(m_pServer);
    initializeServer();
    const bool ranWell = m_pServer->run(SIServer::asProgram);
    stopInternalShutdownThread();
    uninitializeServer();
    return ranWell;
}

void SIServerController::initializeServer()
{
    if (!m_pServer->initialize()) {
        throw SIServerException(SIServerException::initializeFailed,
                                SResManager::LoadStringA(initializeFailedText));
    }
}

void SIServerController::uninitializeServer()
{
    try {
        m_pServer->uninitialize();
    } catch (const SIServerException&) {
        throw;
    } catch (...) {
        const SAnsiString reason = logUnknownFailure();
        MORVEX_FAIL(
            "SIServerController::run: Unknown exception caught in server's uninitialization function\n");
        exitAfterUninitialize(reason);
    }
}

void SIServerController::exitAfterUninitialize(const SAnsiString& reason)
{
    tellOperator(SResString::Load(serverFailed, reason));
    logMessage(errorLevel, lifeCycleMessage, SResString::Load(serverEnding, m_serviceName));
    m_belongings->release();
    // What a server left running after such a failure can't be waited for without a limit.
    JTCInitialize::getTermGroup()->waitForAll(threadPatience);
    std::exit(static_cast<signed char>(m_pServer->getStatus()));
}

int SIServerController::exitCode(bool ranWell) const noexcept
{
    // A number with a sign, no character. NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const int status = static_cast<signed char>(m_pServer->getStatus());
    return status == 0 && !ranWell ? failureExitCode : status;
}

int SIServerController::endAfter(const SIServerException& problem)
{
    stopInternalShutdownThread();
    openLastGates();
    const SAnsiString reason = problem.toString();
    logMessage(errorLevel, failureMessage, reason);
    MORVEX_TRACE("SIServerController:run: Fail to initialize or uninitialize.  Reason is %1\n", reason);
    tellOperator(reason);
    m_belongings->release();
    return failureExitCode;
}

void SIServerController::endAfterUnknown()
{
    logUnknownFailure();
    MORVEX_FAIL("Unknown exception caught in SIServerController::run\n");
    openLastGates();
    m_belongings->release();
}

void SIServerController::tellOperator(const SAnsiString& reason) const
{
    std::fprintf(stderr, "%s: %s\n", m_serviceName.getString(), reason.getString());
}

// Nobody is left to wait for what will not come.
void SIServerController::openLastGates()
{
    runService(false);
    stop();
}

void SIServerController::shutdown()
{
    MORVEX_TRACE("SIServerController::shutdown: Carrying out internal shutdown");
    if (consoleMode_) {
        MORVEX_TRACE("SIServerController::shutdown: Internal shutdown is not supported in console mode");
        return;
    }
    shutdownFlag_ = true;
    SIServiceStopThread::awakeCurrent(); // or it would see the flag at the end of its period only
}

void SIServerController::setServerRestartFlag() noexcept
{
    restartFlag_ = true;
}

bool SIServerController::getServerRestartFlag() noexcept
{
    return restartFlag_;
}

bool SIServerController::getServerShutdownFlag() noexcept
{
    return shutdownFlag_;
}

void SIServerController::waitingToInitialize()
{
    waitAtGate(m_pWaitInitialize, "SIServerController::waitingToInitialize\n");
}

void SIServerController::waitingToRunService()
{
    waitAtGate(m_pWaitRun, "SIServerController::waitingToRunService\n");
}

void SIServerController::waitingToStop()
{
    waitAtGate(m_pWaitStop, "SIServerController::waitingToStop\n");
}

void SIServerController::waitingToUninitialize()
{
    waitAtGate(m_pWaitUninitialize, "SIServerController::waitingToUninitialize\n");
}

void SIServerController::initialize(bool result)
{
    openGate(m_pWaitInitialize, "SIServerController::initialize\n", result);
}

void SIServerController::runService(bool result)
{
    openGate(m_pWaitRun, "SIServerController::runService\n", result);
}

void SIServerController::uninitialize(bool result)
{
    openGate(m_pWaitUninitialize, "SIServerController::uninitialize\n", result,
             "After SIServerController::uninitialize\n");
}

void SIServerController::stop()
{
    openGate(m_pWaitStop, "SIServerController::stop\n", std::nullopt);
}

bool SIServerController::canInit()
{
    waitingToInitialize();
    return resultOf(m_pWaitInitialize);
}

bool SIServerController::canRunService()
{
    waitingToRunService();
    return resultOf(m_pWaitRun);
}

bool SIServerController::canUninit()
{
    waitingToUninitialize();
    return resultOf(m_pWaitUninitialize);
}

bool SIServerController::isInited()
{
    return resultOf(m_pWaitInitialize);
}

bool SIServerController::shouldUninit()
{
    return resultOf(m_pWaitUninitialize);
}

void SIServerController::serverInProgress(unsigned long)
{
    requireServiceIfAny();
}

void SIServerController::signalServerRunning()
{
    requireServiceIfAny();
}

// There is no service yet that could be told.
void SIServerController::requireServiceIfAny()
{
    MORVEX_CHECK_SAYING(!serviceMode_, "false", "Service reference is NULL in server controller\n");
}

void SIServerController::startInternalShutdownThread(CSmartRefCountPtr<SIServer> server)
{
    SIServiceStopThread::startFor(std::move(server));
}

void SIServerController::stopInternalShutdownThread()
{
    SIServiceStopThread::stopCurrent();
}

} // namespace MorvexA106
