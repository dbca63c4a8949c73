// The life of a whole server process.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace
{

class Pipe
{
public:
    Pipe()
    {
        if (pipe2(m_ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
    }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const { return m_ends[0]; }
    int writeEnd() const { return m_ends[1]; }
    void closeWriteEnd() { closeEnd(1); }

private:
    void closeEnd(std::size_t which)
    {
        if (m_ends[which] != -1) {
            close(std::exchange(m_ends[which], -1));
        }
    }

    std::array<int, 2> m_ends{-1, -1};
};

// A server process with the signals as a shell would set them; killed at the end if it still lives.
class Process
{
public:
    explicit Process(std::vector<std::string> options, std::vector<int> blocked = {})
    {
        std::vector<std::string> words = {MORVEX_FGSERVER};
        words.insert(words.end(), options.begin(), options.end());
        start(words, blocked);
        m_input.closeWriteEnd();
        m_output.closeWriteEnd();
        m_errors.closeWriteEnd();
    }

    ~Process()
    {
        if (m_id != 0) {
            kill(m_id, SIGKILL);
            waitpid(m_id, nullptr, 0);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return m_id; }
    void send(int number) const { kill(m_id, number); }

    // True when the server has got so far.
    bool awaitLine(const std::string& line)
    {
        while (m_seen.find(line + "\n") == std::string::npos) {
            std::array<char, 256> bytes{};
            const ssize_t count = read(m_output.readEnd(), bytes.data(), bytes.size());
            if (count <= 0) {
                return false;
            }
            m_seen.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return true;
    }

    int awaitStatus()
    {
        int status = 0;
        waitpid(std::exchange(m_id, 0), &status, 0);
        return status;
    }

    // The exit code, or minus the number of the signal that ended it.
    int awaitEnd()
    {
        const int status = awaitStatus();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    bool hasEnded(int& code)
    {
        int status = 0;
        if (waitpid(m_id, &status, WNOHANG) != m_id) {
            return false;
        }
        m_id = 0;
        code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return true;
    }

    std::string output()
    {
        m_seen += rest(m_output.readEnd());
        return m_seen;
    }
    std::string errors() { return rest(m_errors.readEnd()); }

private:
    void start(std::vector<std::string>& words, const std::vector<int>& blocked)
    {
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, m_input.readEnd(), 0);
        posix_spawn_file_actions_adddup2(&files, m_output.writeEnd(), 1);
        posix_spawn_file_actions_adddup2(&files, m_errors.writeEnd(), 2);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        const sigset_t defaults = setOf({SIGINT, SIGTERM, SIGHUP});
        const sigset_t mask = setOf(blocked);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &mask);
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        const int failure =
            posix_spawn(&m_id, MORVEX_FGSERVER, &files, &attributes, arguments.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
        if (failure != 0) {
            throw std::system_error(failure, std::generic_category(), "posix_spawn");
        }
    }

    static sigset_t setOf(const std::vector<int>& numbers)
    {
        sigset_t set;
        sigemptyset(&set);
        for (const int number : numbers) {
            sigaddset(&set, number);
        }
        return set;
    }

    static std::string rest(int descriptor)
    {
        std::string text;
        std::array<char, 256> bytes{};
        ssize_t count = 0;
        while ((count = read(descriptor, bytes.data(), bytes.size())) > 0) {
            text.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    Pipe m_input;
    Pipe m_output;
    Pipe m_errors;
    pid_t m_id = 0;
    std::string m_seen;
};

class ServerProcess : public testing::Test
{
protected:
    ServerProcess() { fs::create_directory(m_folder); }
    ~ServerProcess() override { fs::remove_all(m_folder); }

    std::string pidFile() const { return (m_folder / "server.pid").string(); }

    std::string pidFileContent() const
    {
        std::ifstream file(pidFile());
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    std::size_t filesLeft() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(m_folder), fs::directory_iterator()));
    }

private:
    fs::path m_folder = fs::temp_directory_path() / ("fgserver" + std::to_string(std::random_device()()));
};

const char* const wholeLife = "initialize\nrun\nuninitialize\n";

} // namespace

TEST_F(ServerProcess, RequestFromOutsideEndsItInOrderWithinASecond)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        Clock::duration fastest = seconds(100);
        for (int round = 0; round < 3; ++round) { // one round may meet a busy machine
            Process server({"-fg", "-pidfile", pidFile()});
            ASSERT_TRUE(server.awaitLine("run"));
            const auto asked = Clock::now();
            server.send(number);
            EXPECT_EQ(server.awaitEnd(), 0) << number;
            fastest = std::min(fastest, Clock::now() - asked);
            EXPECT_EQ(server.output(), wholeLife);
            EXPECT_EQ(server.errors(), "");
            EXPECT_EQ(filesLeft(), 0U);
        }
        EXPECT_LT(fastest, seconds(1)) << number;
    }
}

TEST_F(ServerProcess, RequestsThatComeTogetherAreOne)
{
    Process server({"-fg"});
    ASSERT_TRUE(server.awaitLine("run"));
    server.send(SIGINT);
    server.send(SIGINT);
    server.send(SIGTERM);
    EXPECT_EQ(server.awaitEnd(), 0);
    EXPECT_EQ(server.output(), wholeLife);
}

TEST_F(ServerProcess, RequestThatComesWhileItBeginsIsHeeded)
{
    Process server({"-fg"});
    ASSERT_TRUE(server.awaitLine("initialize"));
    server.send(SIGTERM);
    EXPECT_EQ(server.awaitEnd(), 0);
    EXPECT_EQ(server.output(), wholeLife);
}

TEST_F(ServerProcess, BlockedSignalsOfItsParentDontMatter)
{
    Process server({"-fg"}, {SIGTERM, SIGINT});
    ASSERT_TRUE(server.awaitLine("run"));
    server.send(SIGTERM);
    EXPECT_EQ(server.awaitEnd(), 0);
}

TEST_F(ServerProcess, ServerThatDoesNotStopIsEndedByALateCtrlCOnly)
{
    Process server({"-fg", "-deaf", "-pidfile", pidFile()});
    ASSERT_TRUE(server.awaitLine("run"));
    const auto asked = Clock::now();
    int code = 0;
    while (!server.hasEnded(code)) {
        server.send(SIGTERM);
        server.send(SIGINT);
        poll(nullptr, 0, 20); // pace
    }
    EXPECT_EQ(code, -SIGINT);
    EXPECT_GT(Clock::now() - asked, seconds(2));
    EXPECT_TRUE(Process({"-fg", "-initfalse", "-pidfile", pidFile()}).awaitLine("initialize"))
        << "what it left is an obstacle";
}

TEST_F(ServerProcess, FailuresHaveAnExitCodeAndAReason)
{
    struct Row
    {
        std::vector<std::string> options;
        int code;
        const char* output;
        const char* errors;
    };
    const std::vector<Row> rows = {
        {{"-fg", "-initfalse"}, 1, "initialize\n", "fgserver: The server could not be initialised.\n"},
        {{"-fg", "-initthrow", "no folder"}, 1, "initialize\n", "fgserver: no folder\n"},
        {{"-serverconsole", "-initthrow", "no folder"}, 1, "initialize\n", "fgserver: no folder\n"},
        {{"-fg", "-runthrow"}, -SIGABRT, "initialize\nrun\n", "run was told to fail"},
        {{"-fg", "-pidfile", "/dev/null/x"}, 1, "", "Not a directory (20)"},
        {{}, 1, "", "not available yet"},
    };
    for (const Row& row : rows) {
        auto options = row.options;
        const bool hasFile = std::find(options.begin(), options.end(), "-pidfile") != options.end();
        if (!hasFile) {
            options.insert(options.end(), {"-pidfile", pidFile()});
        }
        Process server(options);
        EXPECT_EQ(server.awaitEnd(), row.code) << row.errors;
        EXPECT_EQ(server.output(), row.output) << row.errors;
        EXPECT_NE(server.errors().find(row.errors), std::string::npos) << row.errors;
        EXPECT_EQ(filesLeft(), 0U) << row.errors;
    }
}

TEST_F(ServerProcess, ExceptionOutOfUninitializeEndsItWithTheStatusAndWithoutItsPidFile)
{
    Process server({"-fg", "-uninitthrow", "-status", "300", "-pidfile", pidFile()});
    ASSERT_TRUE(server.awaitLine("run"));
    server.send(SIGTERM);
    EXPECT_EQ(server.awaitEnd(), 300 - 256);
    EXPECT_NE(server.errors().find("fgserver: The server failed: uninitialize was told to fail."),
              std::string::npos);
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(ServerProcess, ConsoleEndsWithItsInput)
{
    Process server({"-serverconsole", "-pidfile", pidFile()});
    EXPECT_EQ(server.awaitEnd(), 0);
    EXPECT_NE(server.output().find("uninitialize\n"), std::string::npos);
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(ServerProcess, PidFileTellsTheProcessAndRefusesASecondOne)
{
    Process server({"-fg", "-pidfile", pidFile()});
    ASSERT_TRUE(server.awaitLine("run"));
    const std::string id = std::to_string(server.id());
    EXPECT_EQ(pidFileContent(), id + "\n");

    Process second({"-fg", "-pidfile", pidFile()});
    EXPECT_EQ(second.awaitEnd(), 1);
    EXPECT_EQ(second.output(), "");
    EXPECT_EQ(second.errors(),
              "fgserver: The pid file \"" + pidFile() + "\" is held by a running process (" + id + ").\n");
    EXPECT_EQ(pidFileContent(), id + "\n");
    server.send(SIGTERM);
    EXPECT_EQ(server.awaitEnd(), 0);
}

TEST_F(ServerProcess, PidFileOfAKilledProcessIsReplaced)
{
    Process killed({"-fg", "-pidfile", pidFile()});
    ASSERT_TRUE(killed.awaitLine("run"));
    killed.send(SIGKILL);
    EXPECT_EQ(killed.awaitEnd(), -SIGKILL);
    EXPECT_NE(pidFileContent(), "");

    Process server({"-fg", "-pidfile", pidFile()});
    ASSERT_TRUE(server.awaitLine("run"));
    EXPECT_EQ(pidFileContent(), std::to_string(server.id()) + "\n");
    server.send(SIGTERM);
    EXPECT_EQ(server.awaitEnd(), 0);
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(ServerProcess, OneOfManyThatBeginAtOnceGetsThePidFile)
{
    std::vector<std::unique_ptr<Process>> servers;
    for (int i = 0; i < 6; ++i) {
        servers.push_back(std::make_unique<Process>(std::vector<std::string>{"-fg", "-pidfile", pidFile()}));
    }
    int running = 0;
    for (auto& server : servers) {
        if (server->awaitLine("run")) {
            ++running;
            EXPECT_EQ(pidFileContent(), std::to_string(server->id()) + "\n");
        } else {
            EXPECT_EQ(server->awaitEnd(), 1);
        }
    }
    EXPECT_EQ(running, 1);
}
