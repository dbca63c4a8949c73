#include "platform/stopsignals.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <vector>

using namespace MorvexA106::Platform;

namespace
{

extern "C" void ownHandler(int) {}

// The handling of a signal for a scope.
class Handled
{
public:
    Handled(int number, void (*handler)(int)) : m_number(number)
    {
        struct sigaction action = {};
        action.sa_handler = handler;
        sigaction(number, &action, &m_before);
    }
    ~Handled() { sigaction(m_number, &m_before, nullptr); }
    Handled(const Handled&) = delete;
    Handled& operator=(const Handled&) = delete;

private:
    int m_number;
    struct sigaction m_before = {};
};

void (*handlerOf(int number))(int)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

// Counts requests; `await` has no time limit of its own, the test program has.
class Count
{
public:
    void operator()() { ++m_value; }
    void await(int value) const
    {
        while (m_value < value) {
            std::this_thread::yield();
        }
    }
    int value() const { return m_value; }

private:
    std::atomic<int> m_value{0};
};

// Asks the process to end until that came through; more than once, because the thread sanitizer loses a signal
// that meets a thread in its first wait.
void askUntil(const Count& count, int value)
{
    while (count.value() < value) {
        kill(getpid(), SIGTERM);
        std::this_thread::yield();
    }
}

} // namespace

TEST(StopSignals, EachRequestIsPassedOnAndTheFormerHandlingComesBack)
{
    const Handled own(SIGTERM, &ownHandler);
    const Handled none(SIGINT, SIG_DFL);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        Count count;
        {
            const StopSignals signals([&] { count(); });
            raise(number);
            count.await(1);
            raise(number);
            count.await(2);
        }
        EXPECT_EQ(handlerOf(SIGTERM), &ownHandler);
        EXPECT_EQ(handlerOf(SIGINT), SIG_DFL);
        EXPECT_EQ(handlerOf(SIGHUP), SIG_DFL);
    }
}

TEST(StopSignals, HangupThatWasIgnoredStaysIgnored)
{
    const Handled ignored(SIGHUP, SIG_IGN);
    Count count;
    {
        const StopSignals signals([&] { count(); });
        raise(SIGHUP);
        raise(SIGTERM);
        count.await(1);
    }
    EXPECT_EQ(count.value(), 1);
    EXPECT_EQ(handlerOf(SIGHUP), SIG_IGN);
}

TEST(StopSignals, RequestComesThroughWhenEveryThreadBlocksIt)
{
    const Handled own(SIGTERM, &ownHandler); // for one that comes too late
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    {
        Count count;
        const StopSignals signals([&] { count(); });
        std::jthread other([&] { askUntil(count, 1); });
        other.join();
        askUntil(count, 2);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(StopSignals, FloodFromManyThreadsBlocksNobodyAndErrnoIsKept)
{
    Count count;
    const StopSignals signals([&] { count(); });
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 5000; ++round) {
                errno = ERANGE;
                pthread_kill(pthread_self(), SIGTERM);
                ASSERT_EQ(errno, ERANGE);
            }
        });
    }
    threads.clear();
    count.await(1);
}

TEST(StopSignals, ListenersFollowEachOtherAndAreNeverTwo)
{
    Count count;
    for (int round = 1; round <= 20; ++round) {
        const StopSignals signals([&] { count(); });
        try {
            const StopSignals second([] {});
            ADD_FAILURE() << "two listen";
        } catch (const std::system_error& problem) {
            EXPECT_EQ(problem.code().value(), EBUSY);
        }
        raise(SIGTERM);
        count.await(round);
    }
}
