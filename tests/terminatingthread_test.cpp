#include "latch.h"
#include "morvex/terminatingthread.h"

#include "morvex/interruptiblesleep.h"
#include "recorder.h"

#include <etc/etc.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace MorvexA106;
using namespace Etc10012;

namespace
{

constexpr long forever = 3600000; // longer than ctest lets a test program live

class Sleeper : public TerminatingThread
{
public:
    explicit Sleeper(std::function<void(Sleeper&)> task)
        : TerminatingThread("sleeper"),
          m_task(std::move(task))
    {}
    void run() override { m_task(*this); }

private:
    std::function<void(Sleeper&)> m_task;
};

JTCHandleT<Sleeper> makeSleeper(std::function<void(Sleeper&)> task = [](Sleeper&) {})
{
    return new Sleeper(std::move(task));
}

std::chrono::steady_clock::duration timeOf(const std::function<void()>& task)
{
    const auto start = std::chrono::steady_clock::now();
    task();
    return std::chrono::steady_clock::now() - start;
}

class Terminating : public testing::Test
{
protected:
    JTCInitialize m_library;
};

// A clock that moves only when somebody waits.
class ScriptedWorld : public SleepWorld
{
public:
    explicit ScriptedWorld(std::uint32_t start, std::uint32_t step = 0) : m_now(start), m_step(step) {}

    std::uint32_t tick() override { return m_now; }
    bool isAlarmed() override { return alarmAfter == waits.size(); }
    void wait(long milliseconds) override
    {
        waits.push_back(milliseconds);
        m_now += m_step;
        if (fail) {
            fail();
        }
    }

    std::vector<long> waits;
    std::size_t alarmAfter = 1000;
    std::function<void()> fail;

private:
    std::uint32_t m_now;
    std::uint32_t m_step;
};

} // namespace

TEST_F(Terminating, SleepWithoutAlarmLastsItsTimeAndLetsTheThreadGoOn)
{
    const auto sleeper = makeSleeper();
    bool goOn = false;
    const auto time = timeOf([&] { goOn = sleeper->sleep_with_stop_alarm(60); });
    EXPECT_TRUE(goOn);
    EXPECT_GE(time, std::chrono::milliseconds(40)); // the tick may be 16 milliseconds coarse
}

TEST_F(Terminating, StopBeforeTheSleepEndsItAndAllLaterOnesAtOnce)
{
    const auto sleeper = makeSleeper();
    EXPECT_FALSE(sleeper->isStopped());
    sleeper->stop();
    EXPECT_TRUE(sleeper->isStopped());
    EXPECT_FALSE(sleeper->sleep_with_stop_alarm(forever));
    EXPECT_FALSE(sleeper->sleep_with_stop_alarm(forever));
    EXPECT_TRUE(sleeper->isStopped());
}

TEST_F(Terminating, AwakeBeforeTheSleepEndsOneSleepAtOnce)
{
    const auto sleeper = makeSleeper();
    sleeper->awake();
    sleeper->awake();
    EXPECT_TRUE(sleeper->sleep_with_stop_alarm(forever));
    EXPECT_GE(timeOf([&] { sleeper->sleep_with_stop_alarm(60); }), std::chrono::milliseconds(40));
    EXPECT_FALSE(sleeper->isStopped());
}

TEST_F(Terminating, SleepOfNoTimeDoesNotSleepButTakesTheAwake)
{
    const auto sleeper = makeSleeper();
    for (const long none : {0L, -1L}) {
        sleeper->awake();
        EXPECT_TRUE(sleeper->sleep_with_stop_alarm(none));
        EXPECT_GE(timeOf([&] { sleeper->sleep_with_stop_alarm(40); }), std::chrono::milliseconds(20));
    }
    sleeper->stop();
    EXPECT_FALSE(sleeper->sleep_with_stop_alarm(0));
}

TEST_F(Terminating, StopEndsASleepThatIsUnderWay)
{
    Latch aboutToSleep(1);
    bool goOn = true;
    const auto sleeper = makeSleeper([&](Sleeper& self) {
        aboutToSleep.count_down();
        goOn = self.sleep_with_stop_alarm(forever);
    });
    sleeper->start();
    aboutToSleep.wait();
    sleeper->stop();
    sleeper->join();
    EXPECT_FALSE(goOn);
}

// Awakes that meet the sleep at every moment, before, during and after: none may be lost, or the thread sleeps
// for an hour.
TEST_F(Terminating, NoAwakeIsLostWheneverItComes)
{
    constexpr int rounds = 2000;
    std::atomic<int> asked{0};
    std::atomic<int> slept{0};
    const auto sleeper = makeSleeper([&](Sleeper& self) {
        for (int round = 1; round <= rounds; ++round) {
            self.sleep_with_stop_alarm(forever);
            slept = round;
        }
    });
    sleeper->start();
    for (asked = 1; asked <= rounds; ++asked) {
        sleeper->awake();
        while (slept < asked) {
            std::this_thread::yield();
        }
    }
    sleeper->join();
    EXPECT_EQ(slept, rounds);
}

TEST_F(Terminating, StopMeetsTheSleepAtEveryMoment)
{
    for (int round = 0; round < 200; ++round) {
        const auto sleeper = makeSleeper([](Sleeper& self) {
            while (self.sleep_with_stop_alarm(forever)) {}
        });
        sleeper->start();
        if (round % 2 == 0) {
            sleeper->awake();
        }
        sleeper->stop();
        sleeper->join();
    }
}

TEST_F(Terminating, StopEndsTheSleepOfEveryThreadThatSleepsHere)
{
    const auto sleeper = makeSleeper();
    std::atomic<int> about{0};
    std::vector<std::jthread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            ++about;
            EXPECT_FALSE(sleeper->sleep_with_stop_alarm(forever));
        });
    }
    while (about < 3) {
        std::this_thread::yield();
    }
    sleeper->stop();
}

TEST(Sleep, TimeIsCountedByTheTickCounterAndEndsAtItsWrap)
{
    struct Row
    {
        const char* name;
        std::uint32_t start;
        std::uint32_t step;
        long milliseconds;
        std::size_t alarmAfter;
        std::vector<long> waits;
    };
    const std::array<Row, 6> rows = {{
        {"waits the whole time at first", 1000, 100, 100, 99, {100}},
        {"waits what is left after an early return", 1000, 40, 100, 99, {100, 60, 20}},
        {"the wrap counts as the whole time", 0xFFFFFFF0U, 0x20, 100, 99, {100}},
        {"the last tick before the wrap does not", 0xFFFFFFF0U, 0x0F, 16, 1, {16}},
        {"an alarm ends it", 5, 1, 100, 2, {100, 99}},
        {"an alarm that came before ends it at once", 5, 1, 100, 0, {}},
    }};
    for (const Row& row : rows) {
        ScriptedWorld world(row.start, row.step);
        world.alarmAfter = row.alarmAfter;
        EXPECT_TRUE(sleepUntilAlarm(world, row.milliseconds)) << row.name;
        EXPECT_EQ(world.waits, row.waits) << row.name;
    }
}

TEST(Sleep, FailedWaitEndsItAndIsAsserted)
{
    struct Row
    {
        std::function<void()> fail;
        const char* text;
    };
    const std::array<Row, 3> rows = {{
        {[] { throw JTCIllegalMonitorState("not mine"); }, "(false : not mine)"},
        {[] { throw std::runtime_error("other"); },
         "(false : Unknown exception in sleep_with_stop_alarm wait)"},
        {[] { throw 1; }, "(false : Unknown exception in sleep_with_stop_alarm wait)"},
    }};
    for (const Row& row : rows) {
        Recorder recorder;
        ScriptedWorld world(0);
        world.fail = row.fail;
        EXPECT_FALSE(sleepUntilAlarm(world, 100));
        EXPECT_EQ(world.waits.size(), 1U);
        EXPECT_EQ(recorder.count("assert failure: (terminatingthread.cpp:"), 1);
        EXPECT_EQ(recorder.count(row.text), 1);
    }
}
