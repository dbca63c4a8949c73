#include "platform/stopsignals.h"

#include "platform/stoprequests.h"

#include <windows.h>

#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

namespace MorvexA106::Platform
{

class StopSignals::Listener
{
public:
    explicit Listener(std::function<void()> asked) : m_asked(std::move(asked))
    {
        install();
        State& shared = state();
        const std::lock_guard lock(shared.mutex);
        if (shared.listener) {
            throw std::system_error(EBUSY, std::generic_category(), "listen to console events");
        }
        shared.listener = this;
    }

    ~Listener()
    {
        State& shared = state();
        const std::lock_guard lock(shared.mutex);
        shared.listener = nullptr;
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    struct State
    {
        std::mutex mutex;
        Listener* listener = nullptr;
    };

    // Never destroyed: the system calls on a thread of its own, also while the process ends.
    static State& state()
    {
        static State& only = *new State;
        return only;
    }

    // Once and for good: with no listener it is as if it were not there. The system holds a lock while it
    // calls a handler, so that taking one away waits for one that sleeps.
    static void install()
    {
        static const bool installed = SetConsoleCtrlHandler(&Listener::handle, TRUE) || refuse();
        static_cast<void>(installed);
    }

    [[noreturn]] static bool refuse()
    {
        const auto number = static_cast<int>(GetLastError());
        throw std::system_error(number, std::system_category(), "SetConsoleCtrlHandler");
    }

    static BOOL WINAPI handle(DWORD event)
    {
        if (!passOn(event)) {
            return FALSE;
        }
        if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
            // Returning would end the process now; it has the system's few seconds to end by itself.
            Sleep(INFINITE);
        }
        return TRUE;
    }

    static bool passOn(DWORD event)
    {
        State& shared = state();
        const std::lock_guard lock(shared.mutex);
        Listener* const listener = shared.listener;
        if (!listener ||
            listener->m_requests.isImpatient(event == CTRL_C_EVENT, StopRequests::Clock::now())) {
            return false;
        }
        listener->m_asked();
        return true;
    }

    std::function<void()> m_asked;
    StopRequests m_requests;
};

StopSignals::StopSignals(std::function<void()> asked) : m_listener(new Listener(std::move(asked))) {}

StopSignals::~StopSignals() = default;

} // namespace MorvexA106::Platform
