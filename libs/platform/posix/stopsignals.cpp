#include "platform/stopsignals.h"

#include "platform/stoprequests.h"
#include "platform/thread.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace MorvexA106::Platform
{

namespace
{

constexpr unsigned char endOfListening = 0; // no signal has this number

std::system_error failureOf(const char* operation, int number = errno)
{
    return std::system_error(number, std::generic_category(), operation);
}

// Made once and never closed: a handler that was interrupted on some thread may write to it long after its
// listener has gone.
struct SignalPipe
{
    int readEnd;
    int writeEnd;

    static const SignalPipe& instance()
    {
        static const SignalPipe only = make();
        return only;
    }

    static SignalPipe make()
    {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
            throw failureOf("pipe2");
        }
        return {ends[0], ends[1]};
    }
};

std::atomic<int> handlersEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers read it");

extern "C" void passOn(int number)
{
    const int before = errno;
    const auto byte = static_cast<unsigned char>(number);
    // A pipe that is full holds enough requests already.
    [[maybe_unused]] const ssize_t written = write(handlersEnd.load(), &byte, 1);
    errno = before;
}

// Puts the handler in place of what was there, and that back at the end.
class Handling
{
public:
    explicit Handling(int number) : m_number(number)
    {
        struct sigaction action = {};
        action.sa_handler = &passOn;
        action.sa_flags = SA_RESTART;
        sigfillset(&action.sa_mask);
        if (sigaction(number, &action, &m_before) != 0) {
            throw failureOf("sigaction");
        }
    }
    ~Handling() { sigaction(m_number, &m_before, nullptr); }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;

private:
    int m_number;
    struct sigaction m_before = {};
};

bool isIgnored(int number)
{
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void allowHere(std::initializer_list<int> numbers)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers) {
        sigaddset(&set, number);
    }
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

[[noreturn]] void endAtOnce(int number)
{
    std::signal(number, SIG_DFL);
    std::raise(number);
    std::abort(); // not reached: the signal is not blocked here, and its default is the end
}

std::optional<unsigned char> take(int readEnd)
{
    unsigned char byte = 0;
    return read(readEnd, &byte, 1) == 1 ? std::optional(byte) : std::nullopt;
}

unsigned char await(int readEnd)
{
    for (;;) {
        if (const auto byte = take(readEnd)) {
            return *byte;
        }
        pollfd source{readEnd, POLLIN, 0};
        poll(&source, 1, -1);
    }
}

// What came too late for the listener before.
void drain(int readEnd)
{
    while (take(readEnd)) {}
}

std::atomic_flag listening = ATOMIC_FLAG_INIT;

class OnlyListener
{
public:
    OnlyListener()
    {
        if (listening.test_and_set()) {
            throw failureOf("listen to signals", EBUSY);
        }
    }
    ~OnlyListener() { listening.clear(); }
    OnlyListener(const OnlyListener&) = delete;
    OnlyListener& operator=(const OnlyListener&) = delete;
};

// Calls back for what comes through the pipe, until it is destroyed.
class ListeningThread
{
public:
    explicit ListeningThread(std::function<void()> asked) : m_asked(std::move(asked))
    {
        drain(m_pipe.readEnd);
        handlersEnd = m_pipe.writeEnd;
        m_thread = std::thread([this] { listen(); });
    }

    ~ListeningThread()
    {
        while (write(m_pipe.writeEnd, &endOfListening, 1) != 1) {
            std::this_thread::yield(); // full: the thread is at it
        }
        m_thread.join();
    }
    ListeningThread(const ListeningThread&) = delete;
    ListeningThread& operator=(const ListeningThread&) = delete;

private:
    void listen()
    {
        nameThisThread("stopsignals");
        allowHere({SIGINT, SIGTERM, SIGHUP});
        for (int number = await(m_pipe.readEnd); number != endOfListening; number = await(m_pipe.readEnd)) {
            if (m_requests.isImpatient(number == SIGINT, StopRequests::Clock::now())) {
                endAtOnce(number);
            }
            m_asked();
        }
    }

    const SignalPipe& m_pipe = SignalPipe::instance();
    std::function<void()> m_asked;
    StopRequests m_requests;
    std::thread m_thread;
};

} // namespace

class StopSignals::Listener
{
public:
    explicit Listener(std::function<void()> asked) : m_thread(std::move(asked))
    {
        if (!isIgnored(SIGHUP)) {
            m_hangup.emplace(SIGHUP);
        }
    }

private:
    OnlyListener m_only;
    ListeningThread m_thread; // outlives the handlers, so that nothing piles up in the pipe
    Handling m_interrupt{SIGINT};
    Handling m_terminate{SIGTERM};
    std::optional<Handling> m_hangup;
};

StopSignals::StopSignals(std::function<void()> asked) : m_listener(new Listener(std::move(asked))) {}

StopSignals::~StopSignals() = default;

} // namespace MorvexA106::Platform
