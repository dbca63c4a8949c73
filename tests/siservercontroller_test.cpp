#include "morvex/siservercontroller.h"

#include "morvex/resourcetexts.h"
#include "morvex/siconsole.h"
#include "recorder.h"

#include <etc/etc.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <iostream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace MorvexA106
{

/// What only the parts of the server framework may do.
class SIServerControllerAccess
{
public:
    using C = SIServerController;

    static void openInitialize(bool result) { C::initialize(result); }
    static void openRun(bool result) { C::runService(result); }
    static void openUninitialize(bool result) { C::uninitialize(result); }
    static void openStop(bool) { C::stop(); }

    static bool canInit() { return C::canInit(); }
    static bool canRun() { return C::canRunService(); }
    static bool canUninit() { return C::canUninit(); }
    static bool waitToStop()
    {
        C::waitingToStop();
        return true;
    }

    static bool isInited() { return C::isInited(); }
    static bool shouldUninit() { return C::shouldUninit(); }
    static void setServiceMode() { C::serviceMode_ = true; }
};

} // namespace MorvexA106

using namespace MorvexA106;
using Access = SIServerControllerAccess;

namespace
{

// A process's command line, with its closing null pointer.
class Arguments
{
public:
    explicit Arguments(std::vector<std::string> words) : m_words(std::move(words))
    {
        for (std::string& word : m_words) {
            m_pointers.push_back(word.data());
        }
        m_pointers.push_back(nullptr);
    }

    int count() const { return static_cast<int>(m_words.size()); }
    char** values() { return m_pointers.data(); }

private:
    std::vector<std::string> m_words;
    std::vector<char*> m_pointers;
};

// What a server went through, kept beyond its life.
class Diary
{
public:
    void write(const std::string& line)
    {
        const std::lock_guard lock(m_mutex);
        m_text += line + " ";
    }
    std::string text() const
    {
        const std::lock_guard lock(m_mutex);
        return m_text;
    }
    void clear()
    {
        const std::lock_guard lock(m_mutex);
        m_text.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::string m_text;
};

using Step = std::function<void(SIServer& server)>;

// A server that does in each phase what the test says.
class ScriptedServer : public SIServer
{
public:
    explicit ScriptedServer(Diary& diary) : m_diary(diary) {}

    bool initialize() override
    {
        enter("initialize", onInitialize);
        return initializes;
    }
    bool run(int mode) override
    {
        EXPECT_EQ(mode, asProgram);
        enter("run", onRun);
        return runsWell;
    }
    void stop() override
    {
        m_diary.write("stop");
        SIServer::stop();
    }
    void uninitialize() override { enter("uninitialize", onUninitialize); }
    SAnsiString getStatusText() override { return statusText.c_str(); }

    using SIServer::reportProgress;
    using SIServer::reportRunning;

    Step onInitialize;
    Step onRun = [](SIServer& server) { server.sleepUntilStop(-1); };
    Step onUninitialize;
    bool initializes = true;
    bool runsWell = true;
    std::string statusText;

protected:
    ~ScriptedServer() override { m_diary.write("gone"); }

private:
    void enter(const char* phase, const Step& step)
    {
        m_diary.write(phase);
        if (step) {
            step(*this);
        }
    }

    Diary& m_diary;
};

void shutDown(SIServer&)
{
    SIServerController::shutdown();
}

Step throwing(auto problem)
{
    return [problem](SIServer&) { throw problem; };
}

// Those that were joined may still be on their way out.
bool noThreadIsLeft()
{
    return Etc10012::JTCInitialize::getTermGroup()->waitForAll(5000);
}

class ServerLife : public testing::Test
{
protected:
    using Library = Etc10012::JTCInitialize;

    ScriptedServer& server() { return *m_server; }

    // Another server, with an empty diary.
    void renew()
    {
        m_server = nullptr;
        m_diary.clear();
        m_server = new ScriptedServer(m_diary);
    }

    // Standard input is `m_input`, standard output goes to `m_output`, standard error to `m_errors`.
    int run(std::vector<std::string> words)
    {
        Arguments arguments(std::move(words));
        SIServerController controller("clock", "Clock", "Tells the time", m_server);
        const Redirected redirected(m_input, m_output);
        testing::internal::CaptureStderr();
        struct Captured
        {
            std::string& errors;
            ~Captured() { errors = testing::internal::GetCapturedStderr(); }
        } const captured{m_errors};
        return controller.run(arguments.count(), arguments.values());
    }

    std::string assertions() const
    {
        for (const auto& [channel, text] : m_recorder.lines()) {
            if (text.find("assert failure") != std::string::npos) {
                return text;
            }
        }
        return {};
    }

    bool hasLogged(const std::string& line) const
    {
        const auto logs = m_recorder.logs();
        return std::find(logs.begin(), logs.end(), line) != logs.end();
    }

    Library m_library;
    Recorder m_recorder;
    Diary m_diary;
    CSmartRefCountPtr<ScriptedServer> m_server = new ScriptedServer(m_diary);
    std::istringstream m_input;
    std::ostringstream m_output;
    std::string m_errors;

private:
    class Redirected
    {
    public:
        Redirected(std::istream& input, std::ostream& output)
            : m_in(std::cin.rdbuf(input.rdbuf())),
              m_out(std::cout.rdbuf(output.rdbuf()))
        {
            std::cin.clear();
        }
        ~Redirected()
        {
            std::cin.rdbuf(m_in);
            std::cout.rdbuf(m_out);
        }
        Redirected(const Redirected&) = delete;
        Redirected& operator=(const Redirected&) = delete;

    private:
        std::streambuf* m_in;
        std::streambuf* m_out;
    };
};

class Gates : public testing::Test
{
protected:
    struct Row
    {
        const char* name;
        void (*open)(bool result);
        bool (*pass)();
        bool keepsResult;
    };

    static constexpr std::array<Row, 4> rows = {{
        {"Initialize", &Access::openInitialize, &Access::canInit, true},
        {"RunService", &Access::openRun, &Access::canRun, true},
        {"Uninitialize", &Access::openUninitialize, &Access::canUninit, true},
        {"Stop", &Access::openStop, &Access::waitToStop, false},
    }};

    static std::string waiterLine(const Row& row)
    {
        return std::string("SIServerController::waitingTo") + row.name + "\n";
    }

    static std::string openerLine(const Row& row)
    {
        std::string phase = row.name;
        phase[0] = static_cast<char>(phase[0] - 'A' + 'a');
        return "SIServerController::" + phase + "\n";
    }
};

} // namespace

TEST_F(Gates, OneThatWasOpenedBeforeLetsItsWaiterThroughWithTheResult)
{
    for (const Row& row : rows) {
        for (const bool result : {true, false}) {
            Recorder recorder;
            SIServerController controller("s", "s", "s", nullptr);
            row.open(result);
            EXPECT_EQ(row.pass(), row.keepsResult ? result : true) << row.name;
            EXPECT_EQ(row.pass(), row.keepsResult ? result : true) << row.name << " again";
            EXPECT_EQ(recorder.count(openerLine(row)), row.name == std::string("Uninitialize") ? 2 : 1);
            EXPECT_EQ(recorder.count(waiterLine(row)), 2) << row.name;
        }
    }
}

TEST_F(Gates, WaiterIsHeldUntilItsOwnGateOpens)
{
    for (const Row& row : rows) {
        Recorder recorder;
        SIServerController controller("s", "s", "s", nullptr);
        std::atomic<bool> passed{false};
        std::jthread waiter([&] {
            EXPECT_EQ(row.pass(), !row.keepsResult) << row.name;
            passed = true;
        });
        while (recorder.count(waiterLine(row)) == 0) {
            std::this_thread::yield();
        }
        for (const Row& other : rows) {
            if (other.name != row.name) {
                other.open(true);
            }
        }
        EXPECT_FALSE(passed) << row.name;
        row.open(false);
    }
}

TEST_F(Gates, TraceLinesNameTheSourceFileAndTheMomentAfterTheLastGate)
{
    Recorder recorder;
    SIServerController controller("s", "s", "s", nullptr);
    Access::openUninitialize(true);
    const auto lines = recorder.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].second.find("(siserver.cpp:"), std::string::npos);
    EXPECT_NE(lines[0].second.find(": SIServerController::uninitialize\n"), std::string::npos);
    EXPECT_NE(lines[1].second.find(": After SIServerController::uninitialize\n"), std::string::npos);
}

TEST_F(Gates, PhasesCountAsDoneUntilOneReportsFailure)
{
    SIServerController controller("s", "s", "s", nullptr);
    EXPECT_TRUE(Access::isInited());
    EXPECT_TRUE(Access::shouldUninit());
    Access::openInitialize(false);
    Access::openUninitialize(false);
    EXPECT_FALSE(Access::isInited());
    EXPECT_FALSE(Access::shouldUninit());
}

TEST_F(Gates, WithoutAControllerNobodyWaitsAndNothingIsGranted)
{
    Recorder recorder;
    for (const Row& row : rows) {
        row.open(true);
        EXPECT_EQ(row.pass(), !row.keepsResult) << row.name;
    }
    EXPECT_EQ(SIServerController::instance(), nullptr);
    EXPECT_EQ(recorder.count("(__gInstance : no message)"), 1);
    EXPECT_GT(recorder.count("(gate != NULL : no message)"), 0);
}

TEST(SecondController, IsReportedAndTakesOverAndEachFreesItsOwn)
{
    for (const bool firstGoesFirst : {true, false}) {
        Recorder recorder;
        auto first = std::make_unique<SIServerController>("a", "a", "a", nullptr);
        EXPECT_EQ(recorder.count("assert failure"), 0);
        auto second = std::make_unique<SIServerController>("b", "b", "b", nullptr);
        EXPECT_EQ(
            recorder.count("(SIServerController::m_pWaitUninitialize==NULL && "
                           "SIServerController::m_pWaitStop==NULL && "
                           "SIServerController::m_pWaitInitialize==NULL && "
                           "SIServerController::m_pWaitRun==NULL : Only one SIServerController per process)"),
            1);
        EXPECT_EQ(recorder.count("(__gInstance==NULL : no message)"), 1);
        EXPECT_EQ(SIServerController::instance(), second.get());
        (firstGoesFirst ? first : second).reset();
        EXPECT_EQ(SIServerController::instance(), firstGoesFirst ? second.get() : nullptr);
        EXPECT_EQ(Access::isInited(), firstGoesFirst);
    }
}

TEST_F(ServerLife, ForegroundGoesThroughItsPhasesUntilShutdown)
{
    std::thread::id stopper;
    std::jthread asker;
    server().onRun = [&](SIServer& self) {
        asker = std::jthread(&SIServerController::shutdown);
        EXPECT_TRUE(self.sleepUntilStop(-1));
        EXPECT_TRUE(self.isStopRequested());
    };
    server().onUninitialize = [&](SIServer&) {
        EXPECT_TRUE(noThreadIsLeft());
        EXPECT_EQ(SIServerController::instance()->getServerShutdownFlag(), true);
    };
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(run({"clock", "-fg"}), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "waited for the poll";
    EXPECT_EQ(m_diary.text(), "initialize run stop uninitialize ");
    EXPECT_EQ(m_recorder.count("SIServerController::shutdown: Carrying out internal shutdown"), 1);
    EXPECT_EQ(m_recorder.count("not supported in console mode"), 0);
    EXPECT_TRUE(hasLogged("0/14/" + std::to_string(0x891C) + "/clock is starting."));
    EXPECT_EQ(m_errors, "");
    EXPECT_EQ(assertions(), "");
}

TEST_F(ServerLife, ShutdownMayComeInAnyPhaseAndMoreThanOnce)
{
    struct Row
    {
        const char* phase;
        Step ScriptedServer::*step;
    };
    for (const Row& row :
         {Row{"initialize", &ScriptedServer::onInitialize}, Row{"run", &ScriptedServer::onRun},
          Row{"uninitialize", &ScriptedServer::onUninitialize}}) {
        renew();
        server().onRun = [&](SIServer& self) {
            if (std::string(row.phase) != "uninitialize") {
                self.sleepUntilStop(-1);
            }
        };
        const Step before = server().*row.step;
        server().*row.step = [&](SIServer& self) {
            SIServerController::shutdown();
            SIServerController::shutdown();
            if (before) {
                before(self);
            }
        };
        EXPECT_EQ(run({"clock", "-fg"}), 0) << row.phase;
        EXPECT_NE(m_diary.text().find("uninitialize"), std::string::npos) << row.phase;
        EXPECT_TRUE(noThreadIsLeft());
    }
}

TEST_F(ServerLife, ShutdownThatCameBeforeRunIsHeeded)
{
    Arguments arguments({"clock", "-fg"});
    SIServerController controller("clock", "Clock", "Tells the time", m_server);
    SIServerController::shutdown();
    EXPECT_EQ(controller.run(arguments.count(), arguments.values()), 0);
}

TEST_F(ServerLife, FlagsOfAControllerThatWentBeforeAreCleared)
{
    server().onRun = [](SIServer& self) {
        SIServerController::setServerRestartFlag();
        shutDown(self);
    };
    EXPECT_EQ(run({"clock", "-fg"}), 0);
    EXPECT_TRUE(SIServerController::getServerRestartFlag());
    EXPECT_TRUE(SIServerController::getServerShutdownFlag());
    SIServerController next("clock", "Clock", "Tells the time", nullptr);
    EXPECT_FALSE(SIServerController::getServerRestartFlag());
    EXPECT_FALSE(SIServerController::getServerShutdownFlag());
}

TEST_F(ServerLife, ConsoleRunsTheServerBesideTheCommandsAndIgnoresShutdown)
{
    const std::thread::id here = std::this_thread::get_id();
    std::promise<void> running;
    server().onInitialize = [&](SIServer&) { EXPECT_EQ(std::this_thread::get_id(), here); };
    server().onRun = [&](SIServer& self) {
        EXPECT_NE(std::this_thread::get_id(), here);
        shutDown(self);
        running.set_value();
        self.sleepUntilStop(-1);
    };
    server().onUninitialize = [&](SIServer&) {
        running.get_future().wait();
        EXPECT_FALSE(SIServerController::getServerShutdownFlag());
    };
    m_input.str("status\nquit\nstatus\n");
    EXPECT_EQ(run({"clock", "-serverconsole", "-fg"}), 0);
    const std::string diary = m_diary.text();
    EXPECT_EQ(diary.find("initialize "), 0U);
    EXPECT_NE(diary.find("uninitialize "), std::string::npos);
    EXPECT_EQ(m_recorder.count("SIServerController::shutdown: Carrying out internal shutdown"), 1);
    EXPECT_EQ(
        m_recorder.count("SIServerController::shutdown: Internal shutdown is not supported in console mode"),
        1);
    EXPECT_EQ(m_output.str(), "Type help for the commands.\nThe server is running.\n");
}

TEST_F(ServerLife, ServerSeesTheCommandLine)
{
    server().onInitialize = [](SIServer& self) {
        SAnsiString from;
        EXPECT_TRUE(self.getServerStartupParam().Lookup("FROM", from));
        EXPECT_EQ(from, "a folder");
    };
    server().onRun = {};
    EXPECT_EQ(run({"clock", "-fg", "-from", "a folder"}), 0);
}

TEST_F(ServerLife, ExitCodeIsTheStatusOrTellsAFailedRun)
{
    struct Row
    {
        int status;
        bool ranWell;
        int code;
    };
    for (const Row& row : {Row{0, true, 0}, Row{0, false, 1}, Row{5, true, 5}, Row{5, false, 5},
                           Row{0x107, true, 7}, Row{255, true, -1}}) {
        for (const char* mode : {"-fg", "-serverconsole"}) {
            renew();
            server().onRun = [&](SIServer& self) { self.setStatus(row.status); };
            server().runsWell = row.ranWell;
            EXPECT_EQ(run({"clock", mode}), row.code) << mode << " " << row.status << " " << row.ranWell;
        }
    }
}

TEST_F(ServerLife, FailureThatTheServerReportsEndsTheProcessInOrder)
{
    const SIServerException told(SIServerException::toldToUser, "no folder", "where");
    struct Row
    {
        const char* name;
        std::function<void(ScriptedServer&)> prepare;
        const char* diary;
        const char* reason;
        bool onOutput;
    };
    const std::array<Row, 4> rows = {{
        {"initialize is false", [](ScriptedServer& self) { self.initializes = false; }, "initialize ",
         "The server could not be initialised.", false},
        {"initialize throws", [&](ScriptedServer& self) { self.onInitialize = throwing(told); },
         "initialize ", "no folder", true},
        {"run throws", [&](ScriptedServer& self) { self.onRun = throwing(told); }, "initialize run ",
         "no folder", true},
        {"uninitialize throws",
         [](ScriptedServer& self) {
             self.onRun = {};
             self.onUninitialize = throwing(SIServerException(SIServerException::firstOfServer, ""));
         },
         "initialize run uninitialize ", "Server failure 100", false},
    }};
    for (const Row& row : rows) {
        for (const std::string mode : {"-fg", "-serverconsole"}) {
            m_recorder.clear();
            m_output.str("");
            renew();
            row.prepare(server());
            EXPECT_EQ(run({"clock", mode}), 1) << row.name << mode;
            std::string went = m_diary.text();
            if (const auto stop = went.find("stop "); stop != std::string::npos) {
                went.erase(stop, 5); // the console stops the server that it ran
            }
            EXPECT_EQ(went, row.diary) << row.name << mode;
            EXPECT_EQ(m_errors, std::string("clock: ") + row.reason + "\n") << mode;
            const bool said = m_output.str().find(row.reason + std::string("\n")) != std::string::npos;
            EXPECT_EQ(said, row.onOutput && mode == "-serverconsole") << row.name << mode;
            EXPECT_TRUE(hasLogged("2/14/" + std::to_string(0x891D) + "/" + row.reason));
            EXPECT_EQ(
                m_recorder.count(
                    std::string("SIServerController:run: Fail to initialize or uninitialize.  Reason is ") +
                    row.reason + "\n"),
                1);
            EXPECT_EQ(m_recorder.count(": SIServerController::runService\n"), 1);
            EXPECT_EQ(m_recorder.count(": SIServerController::stop\n"), 1);
            EXPECT_TRUE(noThreadIsLeft()) << row.name << mode;
            EXPECT_EQ(assertions(), "");
        }
    }
}

TEST_F(ServerLife, UnknownExceptionGoesOnToTheCallerAndLeavesNoThread)
{
    struct Row
    {
        const char* name;
        Step ScriptedServer::*phase;
        Step step;
        const char* logged;
    };
    const std::array<Row, 3> rows = {{
        {"a standard one in initialize", &ScriptedServer::onInitialize,
         throwing(std::runtime_error("broken")), "broken"},
        {"a standard one in run", &ScriptedServer::onRun, throwing(std::runtime_error("broken")), "broken"},
        {"a number in run", &ScriptedServer::onRun, throwing(7), "an exception of an unknown kind"},
    }};
    for (const Row& row : rows) {
        for (const char* mode : {"-fg", "-serverconsole"}) {
            m_recorder.clear();
            renew();
            server().*row.phase = row.step;
            EXPECT_ANY_THROW(run({"clock", mode})) << row.name << mode;
            EXPECT_TRUE(noThreadIsLeft()) << row.name << mode;
            EXPECT_EQ(m_recorder.count("(false : Unknown exception caught in SIServerController::run\n)"), 1);
            EXPECT_TRUE(hasLogged("2/14/" + std::to_string(0x891D) +
                                  "/The server failed: an exception of an unknown kind./" + row.logged));
            EXPECT_EQ(m_recorder.count(": SIServerController::runService\n"), 1) << row.name << mode;
            EXPECT_EQ(m_diary.text().find("uninitialize"), std::string::npos);
        }
    }
}

TEST_F(ServerLife, ProcessThatCannotLiveAsAskedSaysWhyAndTouchesNoServer)
{
    struct Row
    {
        std::vector<std::string> words;
        const char* reason;
    };
    const char* const noService =
        "Running as a service of the system is not available yet: use -fg or -serverconsole.";
    const std::array<Row, 5> rows = {{
        {{"clock"}, noService},
        {{"clock", "-install"}, noService},
        {{"clock", "-fg", "-uninstall"}, noService},
        {{"clock", "-fg", "-pidfile"}, "The option pidfile needs a path."},
        {{"clock", "-serverconsole", "-pidfile", "-fg"}, "The option pidfile needs a path."},
    }};
    for (const Row& row : rows) {
        EXPECT_EQ(run(row.words), 1);
        EXPECT_EQ(m_errors, std::string("clock: ") + row.reason + "\n");
    }
    EXPECT_EQ(m_diary.text(), "");
}

TEST_F(ServerLife, ControllerWithoutServerRefusesToRun)
{
    m_server = nullptr;
    EXPECT_EQ(run({"clock", "-fg"}), 1);
    EXPECT_EQ(m_errors, "clock: The server controller was given no server.\n");
    EXPECT_EQ(m_recorder.count("(m_pServer != NULL : no message)"), 1);
}

TEST_F(ServerLife, HostileArgumentVectorsAreAServiceWithoutOptions)
{
    SIServerController controller("clock", "Clock", "Tells the time", m_server);
    char* nothing[] = {nullptr};
    testing::internal::CaptureStderr();
    EXPECT_EQ(controller.run(0, nothing), 1);
    EXPECT_EQ(controller.run(0, nullptr), 1);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ServerLife, ReportsToTheServiceAreForServicesOnly)
{
    SIServerController controller("clock", "Clock", "Tells the time", m_server);
    ScriptedServer::reportProgress(1000);
    ScriptedServer::reportRunning();
    EXPECT_EQ(assertions(), "");
    Access::setServiceMode();
    ScriptedServer::reportProgress(1000);
    ScriptedServer::reportRunning();
    EXPECT_EQ(m_recorder.count("(false : Service reference is NULL in server controller\n)"), 2);
}

TEST_F(ServerLife, ServerIsReleasedWithItsController)
{
    run({"clock"});
    m_server = nullptr;
    EXPECT_EQ(m_diary.text(), "gone ");
}

TEST_F(ServerLife, SleepOfAServerEndsWithItsTimeOrAtStop)
{
    EXPECT_FALSE(server().sleepUntilStop(0));
    EXPECT_FALSE(server().sleepUntilStop(1));
    std::vector<std::jthread> sleepers;
    for (int i = 0; i < 3; ++i) {
        sleepers.emplace_back([&] { EXPECT_TRUE(server().sleepUntilStop(-1)); });
    }
    server().stop();
    EXPECT_TRUE(server().sleepUntilStop(3600000));
}

TEST_F(ServerLife, ConsoleObeysItsCommands)
{
    const std::string hello = "Type help for the commands.\n";
    const std::string running = "The server is running.\n";
    const std::string ended = "The server has ended.\n";
    const std::string unknown = "Type help for the commands.\n";
    struct Row
    {
        const char* name;
        const char* input;
        std::string output;
    };
    const std::array<Row, 9> rows = {{
        {"the end of input is quit", "", hello},
        {"a last line without end counts", "status", hello + running + "3 done\n"},
        {"nothing is read behind quit", "quit\nstatus\n", hello},
        {"case and blanks don't count", " \tSTATUS \r\n Quit\r\n", hello + running + "3 done\n"},
        {"empty lines are nothing", "\n\n  \n", hello},
        {"stop leaves the console", "stop\nstatus\nstop\n", hello + ended + ended + "3 done\n" + ended},
        {"other words are answered", "what\n", hello + "There is no command \"what\". " + unknown},
        {"no command is known by its beginning", "qui\n", hello + "There is no command \"qui\". " + unknown},
        {"help names them all", "help\n",
         hello + "status: tells how the server is\nstop: stops the server\nquit: stops the server and ends\n"
                 "help: tells this\n"},
    }};
    for (const Row& row : rows) {
        renew();
        server().statusText = "3 done";
        std::istringstream commands(row.input);
        std::ostringstream answers;
        EXPECT_TRUE(SIConsole(m_server, commands, answers).run()) << row.name;
        EXPECT_EQ(answers.str(), row.output) << row.name;
        EXPECT_TRUE(noThreadIsLeft()) << row.name;
    }
}

// Gives its lines one at a time, each when its condition holds.
class PatientInput : public std::streambuf
{
public:
    PatientInput(std::string text, std::function<bool()> ready)
        : m_text(std::move(text)),
          m_ready(std::move(ready))
    {}

protected:
    int_type underflow() override
    {
        while (!m_ready()) {
            std::this_thread::yield();
        }
        if (gptr() == m_text.data() + m_text.size()) {
            return traits_type::eof();
        }
        setg(m_text.data(), m_text.data(), m_text.data() + m_text.size());
        return traits_type::to_int_type(*gptr());
    }

private:
    std::string m_text;
    std::function<bool()> m_ready;
};

TEST_F(ServerLife, ConsoleOutlivesAServerThatEndsByItself)
{
    struct Row
    {
        Step step;
        bool ranWell;
        const char* status;
        bool throws;
    };
    const std::array<Row, 4> rows = {{
        {{}, true, "The server has ended.\n", false},
        {{}, false, "The server has ended with a failure.\n", false},
        {throwing(std::runtime_error("broken")), true, "The server has failed: broken\n", true},
        {throwing(SIServerException(8, "told")), true, "The server has failed: told\n", true},
    }};
    for (const Row& row : rows) {
        renew();
        server().onRun = row.step;
        server().runsWell = row.ranWell;
        std::atomic<bool> begun{false};
        PatientInput input("status\n", [&] { return begun.load() && noThreadIsLeft(); });
        const Step step = row.step;
        server().onRun = [&](SIServer& self) {
            begun = true;
            if (step) {
                step(self);
            }
        };
        std::istream commands(&input);
        std::ostringstream answers;
        SIConsole console(m_server, commands, answers);
        if (row.throws) {
            EXPECT_ANY_THROW(console.run());
        } else {
            EXPECT_EQ(console.run(), row.ranWell);
        }
        EXPECT_EQ(answers.str(), std::string("Type help for the commands.\n") + row.status);
    }
}

using ServerLifeDeathTest = ServerLife;

TEST_F(ServerLifeDeathTest, UnknownExceptionInUninitializeEndsTheProcessWithTheStatus)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto live = [](const char* mode) {
        Diary diary;
        CSmartRefCountPtr<ScriptedServer> server = new ScriptedServer(diary);
        server->onRun = [](SIServer& self) { self.setStatus(0x103); };
        server->onUninitialize = throwing(std::runtime_error("stuck"));
        Arguments arguments({"clock", mode});
        SIServerController controller("clock", "Clock", "Tells the time", server);
        controller.run(arguments.count(), arguments.values());
    };
    EXPECT_EXIT(live("-fg"), testing::ExitedWithCode(3), "clock: The server failed: stuck.");
    EXPECT_EXIT(live("-serverconsole"), testing::ExitedWithCode(3), "clock: The server failed: stuck.");
}

TEST(ServerException, TellsItsTextsAndNeverNothing)
{
    const SIServerException full(4, "no drop", "initialize");
    EXPECT_EQ(full.ErrCode(), 4);
    EXPECT_EQ(full.toString(), "no drop");
    EXPECT_EQ(full.summary(), "no drop:initialize");
    EXPECT_EQ(SIServerException(4, "").summary(), "Server failure 4:");
    EXPECT_EQ(SIServerException().toString(), "Server failure 0");
}
