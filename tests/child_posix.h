#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

namespace MorvexA106
{

/// Runs the task in a process of its own and returns what it returned (below 256), or -1 when it died.
inline int inChild(const std::function<int()>& task)
{
    const pid_t child = ::fork();
    if (child == 0) {
        int result = 255;
        try {
            result = task();
        } catch (...) {
            result = 254;
        }
        ::_exit(result);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// For a child: root's rights would let it do everything.
inline bool dropPrivileges()
{
    constexpr id_t nobody = 65534;
    return ::getuid() != 0 || (::setgid(nobody) == 0 && ::setuid(nobody) == 0);
}

/// A process that says when it is ready and lives until it is killed.
class Child
{
public:
    using Ready = std::function<void()>;

    explicit Child(const std::function<void(Ready)>& task)
    {
        int ends[2];
        if (::pipe(ends) != 0) {
            std::abort();
        }
        m_process = ::fork();
        if (m_process == 0) {
            ::close(ends[0]);
            try {
                task([&] { static_cast<void>(!::write(ends[1], "r", 1)); });
            } catch (...) {}
            ::_exit(1);
        }
        ::close(ends[1]);
        m_ready = ends[0];
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child()
    {
        kill();
        ::close(m_ready);
    }

    pid_t process() const noexcept { return m_process; }

    /// False when the process ended instead.
    bool waitUntilReady() const
    {
        char byte;
        return ::read(m_ready, &byte, 1) == 1;
    }
    void kill()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
            m_process = 0;
        }
    }

private:
    pid_t m_process;
    int m_ready;
};

} // namespace MorvexA106
