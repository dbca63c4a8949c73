#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace Outbox
{

/// Asks again and again until it is so; false when that takes longer than anything here should.
inline bool becomesTrue(const std::function<bool()>& condition, std::chrono::seconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// The sample server as a child process, with what it reads and writes in files. Killed when the object ends.
class ServerProcess
{
public:
    struct Streams
    {
        std::string input = "/dev/null";
        std::string output = "/dev/null";
        std::string errors = "/dev/null";
    };

    ServerProcess(std::vector<std::string> arguments, const Streams& streams)
    {
        arguments.insert(arguments.begin(), OUTBOX_PROGRAM);
        std::vector<char*> words;
        for (std::string& argument : arguments) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        constexpr int fresh = O_WRONLY | O_CREAT | O_APPEND;
        // For writing too: the open of a pipe that nobody writes to yet must not wait.
        posix_spawn_file_actions_addopen(&actions, 0, streams.input.c_str(), O_RDWR, 0);
        posix_spawn_file_actions_addopen(&actions, 1, streams.output.c_str(), fresh, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, streams.errors.c_str(), fresh, 0600);
        const int failure = posix_spawn(&m_pid, OUTBOX_PROGRAM, &actions, nullptr, words.data(), environ);
        EXPECT_EQ(failure, 0) << OUTBOX_PROGRAM;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~ServerProcess()
    {
        if (m_pid > 0) {
            kill(SIGKILL);
            wait();
        }
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    void kill(int signal) const
    {
        if (m_pid > 0) {
            ::kill(m_pid, signal);
        }
    }

    /// The exit code; less than 0 when a signal ended the process, as it does when it doesn't end by itself.
    int wait()
    {
        int status = 0;
        if (!becomesTrue([&] { return waitpid(m_pid, &status, WNOHANG) != 0; }, std::chrono::seconds(30))) {
            kill(SIGKILL);
            waitpid(m_pid, &status, 0);
        }
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t m_pid = -1;
};

} // namespace Outbox
