#include <etc/etc.h>

#include "etc/threadstarter.h"
#include "latch.h"
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Etc10012;
using MorvexA106::Latch;
using namespace std::chrono_literals;

namespace
{

using Task = std::function<void()>;

constexpr long patience = 30000; // milliseconds; a test that needs them has failed

void onOtherThread(const Task& task)
{
    std::jthread other(task);
}

class FunctionThread : public JTCThread
{
public:
    FunctionThread(JTCHandleT<JTCThreadGroup> group, const char* name, Task task, Task atEnd = {})
        : JTCThread(group, name),
          m_task(std::move(task)),
          m_atEnd(std::move(atEnd))
    {}
    void run() override { m_task(); }

protected:
    ~FunctionThread() override
    {
        if (m_atEnd) {
            m_atEnd();
        }
    }

private:
    Task m_task;
    Task m_atEnd;
};

using Handle = JTCHandleT<FunctionThread>;

Handle makeThread(Task task, const char* name = "worker")
{
    return new FunctionThread(JTCInitialize::getTermGroup(), name, std::move(task));
}

Handle startThread(Task task)
{
    Handle thread = makeThread(std::move(task));
    thread->start();
    return thread;
}

template <class Problem>
std::string messageOf(const Task& task)
{
    try {
        task();
    } catch (const Problem& problem) {
        return problem.what();
    }
    return "nothing was thrown";
}

// Waits in short steps, for what has no event of its own.
bool comesTrue(const std::function<bool()>& holds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------------- all locks

template <class Lock>
class EveryLock : public testing::Test
{};
using Locks = testing::Types<JTCMonitor, JTCFastMonitor, JTCRecursiveMutex, JTCFastRecursiveMutex>;
TYPED_TEST_SUITE(EveryLock, Locks);

TYPED_TEST(EveryLock, LetsOneThreadInAtATime)
{
    TypeParam lock;
    long plain = 0; // no atomic: a fault of the lock shows here and in the thread sanitizer
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int round = 0; round < 5000; ++round) {
                    JTCLockT guard(lock);
                    ++plain;
                }
            });
        }
    }
    EXPECT_EQ(plain, 20000);
}

TYPED_TEST(EveryLock, TryingFailsWhileAnotherThreadHoldsIt)
{
    TypeParam lock;
    ASSERT_TRUE(lock.lock());
    onOtherThread([&] {
        EXPECT_FALSE(lock.lock(false));
        EXPECT_FALSE(lock.isHeld());
    });
    EXPECT_TRUE(lock.isHeld());
    lock.unlock();
    onOtherThread([&] {
        EXPECT_TRUE(lock.lock(false));
        lock.unlock();
    });
}

TYPED_TEST(EveryLock, UnlockByAThreadThatDoesNotHoldItThrowsAndChangesNothing)
{
    TypeParam lock;
    const std::string message = "unlock: the calling thread does not hold the lock";
    EXPECT_EQ(messageOf<JTCIllegalMonitorState>([&] { lock.unlock(); }), message);
    JTCLockT guard(lock);
    onOtherThread([&] { EXPECT_EQ(messageOf<JTCIllegalMonitorState>([&] { lock.unlock(); }), message); });
    EXPECT_TRUE(lock.isHeld());
}

TYPED_TEST(EveryLock, ScopedLockEndsWithItsScopeAnExceptionOrItsUnlock)
{
    TypeParam lock;
    try {
        JTCLockT guard(lock);
        throw 1;
    } catch (int) {
        EXPECT_FALSE(lock.isHeld());
    }
    JTCLockT guard(lock);
    guard.unlock();
    guard.unlock();
    EXPECT_FALSE(lock.isHeld());
}

template <class Lock>
class EveryRecursiveLock : public testing::Test
{};
using RecursiveLocks = testing::Types<JTCMonitor, JTCRecursiveMutex, JTCFastRecursiveMutex>;
TYPED_TEST_SUITE(EveryRecursiveLock, RecursiveLocks);

TYPED_TEST(EveryRecursiveLock, IsFreeOnlyWhenUnlockedAsOftenAsLocked)
{
    TypeParam lock;
    EXPECT_TRUE(lock.lock());
    EXPECT_TRUE(lock.lock(true));
    EXPECT_TRUE(lock.lock(false));
    for (int levels = 3; levels > 0; --levels) {
        onOtherThread([&] { EXPECT_FALSE(lock.lock(false)) << levels; });
        lock.unlock();
    }
    onOtherThread([&] {
        EXPECT_TRUE(lock.lock(false));
        lock.unlock();
    });
    EXPECT_THROW(lock.unlock(), JTCIllegalMonitorState);
}

TEST(FastMonitor, SecondLockByTheSameThreadIsRefusedAndDoesNotHang)
{
    JTCFastMonitor monitor;
    JTCLockT guard(monitor);
    EXPECT_FALSE(monitor.lock(false));
    EXPECT_THROW(monitor.lock(), JTCIllegalMonitorState);
    EXPECT_TRUE(monitor.isHeld());
}

// ----------------------------------------------------------------------------------------------- monitors

template <class Monitor>
class EveryMonitor : public testing::Test
{
protected:
    // Waits on a thread of its own. `begun` returns when the thread is in its wait.
    class Waiting
    {
    public:
        Waiting(Monitor& monitor, long milliseconds)
            : m_where(monitor),
              m_result(std::async(std::launch::async, [this, milliseconds] {
                  JTCLockT guard(m_where);
                  m_inside = true;
                  return m_where.wait(milliseconds);
              }))
        {
            comesTrue([this] {
                JTCLockT guard(m_where);
                return m_inside;
            });
        }
        bool wasNotified() { return m_result.get(); }

    private:
        Monitor& m_where;
        bool m_inside = false;
        std::future<bool> m_result;
    };

    void notify()
    {
        JTCLockT guard(m_monitor);
        m_monitor.notify();
    }

    Monitor m_monitor;
};
using Monitors = testing::Types<JTCMonitor, JTCFastMonitor>;
TYPED_TEST_SUITE(EveryMonitor, Monitors);

TYPED_TEST(EveryMonitor, WaitAndNotifyWithoutTheLockThrow)
{
    TypeParam monitor;
    const std::array<std::pair<const char*, Task>, 4> operations = {{
        {"wait", [&] { monitor.wait(); }},
        {"wait", [&] { monitor.wait(5); }},
        {"notify", [&] { monitor.notify(); }},
        {"notifyAll", [&] { monitor.notifyAll(); }},
    }};
    for (const auto& [name, operation] : operations) {
        EXPECT_EQ(messageOf<JTCIllegalMonitorState>(operation),
                  std::string(name) + ": the calling thread does not hold the lock");
    }
}

TYPED_TEST(EveryMonitor, WaitEndsByItsTimeWhenNobodyNotifies)
{
    JTCLockT guard(this->m_monitor);
    for (const long milliseconds : {30L, 1L, 0L, -1L, LONG_MIN}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(this->m_monitor.wait(milliseconds));
        EXPECT_GE(std::chrono::steady_clock::now() - start,
                  std::chrono::milliseconds(std::max(milliseconds, 0L)));
        EXPECT_TRUE(this->m_monitor.isHeld());
    }
}

TYPED_TEST(EveryMonitor, NotifyWithNobodyWaitingIsLost)
{
    JTCLockT guard(this->m_monitor);
    this->m_monitor.notify();
    this->m_monitor.notifyAll();
    EXPECT_FALSE(this->m_monitor.wait(10));
}

TYPED_TEST(EveryMonitor, LongestTimeDoesNotOverflow)
{
    typename TestFixture::Waiting waiting(this->m_monitor, LONG_MAX);
    this->notify();
    EXPECT_TRUE(waiting.wasNotified());
}

TYPED_TEST(EveryMonitor, LaterWaiterDoesNotTakeANotifyMeantForAnEarlierOne)
{
    typename TestFixture::Waiting earlier(this->m_monitor, patience);
    {
        JTCLockT guard(this->m_monitor);
        this->m_monitor.notify();
        EXPECT_FALSE(this->m_monitor.wait(20)); // in the queue before the other can have come out
    }
    EXPECT_TRUE(earlier.wasNotified());
}

TYPED_TEST(EveryMonitor, NotifyEndsTheLongestWaitFirst)
{
    std::vector<std::unique_ptr<typename TestFixture::Waiting>> waiting(4);
    for (auto& next : waiting) {
        next = std::make_unique<typename TestFixture::Waiting>(this->m_monitor, patience);
    }
    for (auto& next : waiting) {
        this->notify();
        EXPECT_TRUE(next->wasNotified());
    }
}

TYPED_TEST(EveryMonitor, NotifyPassesOverAWaiterWhoseTimeIsOver)
{
    typename TestFixture::Waiting first(this->m_monitor, patience);
    typename TestFixture::Waiting middle(this->m_monitor, 1);
    typename TestFixture::Waiting last(this->m_monitor, patience);
    EXPECT_FALSE(middle.wasNotified());
    this->notify();
    this->notify();
    EXPECT_TRUE(first.wasNotified());
    EXPECT_TRUE(last.wasNotified());
}

TYPED_TEST(EveryMonitor, NotifyAllEndsEveryWait)
{
    typename TestFixture::Waiting first(this->m_monitor, patience);
    typename TestFixture::Waiting second(this->m_monitor, patience);
    {
        JTCLockT guard(this->m_monitor);
        this->m_monitor.notifyAll();
    }
    EXPECT_TRUE(first.wasNotified());
    EXPECT_TRUE(second.wasNotified());
}

// Waiters with short and long times, and notifiers, against the books that are kept under the lock: every
// notify sent while somebody was waiting must end exactly one wait, and no wait may end without one.
TYPED_TEST(EveryMonitor, EveryNotifyEndsExactlyOneWait)
{
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << '\n';
    TypeParam& monitor = this->m_monitor;
    constexpr int waiters = 8;
    int waiting = 0;
    int sent = 0;
    int received = 0;
    int timedOut = 0;
    std::atomic<int> active{waiters};
    std::vector<std::jthread> threads;
    for (unsigned i = 0; i < waiters; ++i) {
        threads.emplace_back([&, i] {
            std::mt19937 random(seed + i);
            for (int round = 0; round < 300; ++round) {
                JTCLockT guard(monitor);
                ++waiting;
                if (random() % 4 == 0) {
                    monitor.wait();
                    ++received;
                } else if (monitor.wait(static_cast<long>(random() % 3))) {
                    ++received;
                } else {
                    --waiting;
                    ++timedOut;
                }
            }
            --active;
        });
    }
    for (unsigned i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            std::mt19937 random(seed - i - 1);
            while (active > 0) {
                JTCLockT guard(monitor);
                for (unsigned burst = random() % 3 + 1; burst > 0 && waiting > 0; --burst) {
                    --waiting;
                    ++sent;
                    monitor.notify();
                }
                guard.unlock();
                std::this_thread::yield();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(sent, received);
    EXPECT_EQ(waiting, 0);
    EXPECT_EQ(received + timedOut, waiters * 300);
}

TEST(Monitor, WaitGivesBackAllLevelsAndTakesTheSameAgain)
{
    JTCMonitor monitor;
    const auto ended = [&] { EXPECT_TRUE(monitor.wait(patience)); };
    const auto either = [&] { monitor.wait(1); };
    const std::array<std::pair<const char*, Task>, 3> waits = {
        {{"wait()", [&] { monitor.wait(); }}, {"wait(long)", ended}, {"a short wait(long)", either}}};
    for (const auto& [name, wait] : waits) {
        for (int i = 0; i < 3; ++i) {
            monitor.lock();
        }
        std::jthread other([&] {
            JTCLockT guard(monitor); // gets in only while the wait has given all levels back
            monitor.notify();
        });
        wait();
        for (int i = 0; i < 3; ++i) {
            EXPECT_NO_THROW(monitor.unlock()) << name;
        }
        EXPECT_THROW(monitor.unlock(), JTCIllegalMonitorState) << name;
    }
}

TEST(Monitor, SingleWaitWithoutALoopIsEnoughForAHandOver)
{
    JTCMonitor monitor;
    int turn = 0; // each thread waits once for its turn, as a gate does
    constexpr int rounds = 3000;
    const auto play = [&](int mine) {
        JTCLockT guard(monitor);
        for (int round = 0; round < rounds; ++round) {
            if (turn != mine) {
                monitor.wait();
            }
            ASSERT_EQ(turn, mine);
            turn = 1 - mine;
            monitor.notify();
        }
    };
    std::jthread other([&] { play(1); });
    play(0);
}

// ------------------------------------------------------------------------------------- handles and counting

namespace
{

struct Node : virtual JTCRefCount
{
    explicit Node(std::atomic<int>& counter) : living(counter) { ++living; }
    ~Node() override { --living; }
    std::atomic<int>& living;
    JTCHandleT<Node> next;
};

struct SpecialNode : Node
{
    using Node::Node;
};

} // namespace

TEST(Handle, ObjectLivesAsLongAsAHandleHoldsIt)
{
    std::atomic<int> living{0};
    JTCHandleT<SpecialNode> special(new SpecialNode(living));
    JTCHandleT<Node> node = special;
    EXPECT_EQ(node, special);
    EXPECT_EQ(node->refCount(), 2U);
    JTCHandleT<Node> moved = std::move(node);
    EXPECT_TRUE(node == nullptr); // NOLINT(bugprone-use-after-move): an empty handle is the promise
    special = nullptr;
    EXPECT_EQ(living, 1);
    moved = JTCHandleT<Node>();
    EXPECT_EQ(living, 0);
}

TEST(Handle, AssigningItselfOrItsOwnNextIsSafe)
{
    std::atomic<int> living{0};
    JTCHandleT<Node> list(new Node(living));
    list->next = new Node(living);
    const JTCHandleT<Node>& same = list;
    list = same;
    list = list.get();
    EXPECT_EQ(living, 2);
    list = list->next;
    EXPECT_EQ(living, 1);
    EXPECT_EQ(list->refCount(), 1U);
}

TEST(Handle, FollowingAnEmptyOneThrows)
{
    const JTCHandleT<Node> empty;
    EXPECT_FALSE(empty);
    EXPECT_THROW((void)empty->refCount(), JTCNullHandle);
    EXPECT_THROW((void)*empty, JTCNullHandle);
}

TEST(Handle, CountsRightWhenManyThreadsCopy)
{
    std::atomic<int> living{0};
    {
        const JTCHandleT<Node> shared(new Node(living));
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([mine = shared] {
                for (int round = 0; round < 10000; ++round) {
                    JTCHandleT<Node>(mine)->refCount();
                }
            });
        }
    }
    EXPECT_EQ(living, 0);
}

// ------------------------------------------------------------------------------------------------ threads

class Threads : public testing::Test
{
protected:
    JTCInitialize m_library;
};

TEST_F(Threads, StatesFollowTheLifeCycle)
{
    Latch go(1);
    Handle thread = makeThread([&] { go.wait(); });
    EXPECT_FALSE(thread->isAlive());
    thread->join(); // not started: returns
    EXPECT_TRUE(thread->join(0));
    thread->start();
    EXPECT_TRUE(thread->isAlive());
    EXPECT_FALSE(thread->join(0));
    EXPECT_FALSE(thread->join(5));
    EXPECT_THROW(thread->start(), JTCIllegalThreadState);
    go.count_down();
    EXPECT_TRUE(thread->join(patience));
    EXPECT_FALSE(thread->isAlive());
    EXPECT_EQ(messageOf<JTCIllegalThreadState>([&] { thread->start(); }),
              "start: thread \"worker\" was started before");
    thread->join();
}

TEST_F(Threads, ManyThreadsMayJoinOne)
{
    Latch go(1);
    int written = 0;
    Handle thread = startThread([&] {
        go.wait();
        written = 7;
    });
    std::vector<std::jthread> joiners;
    joiners.reserve(4);
    for (int i = 0; i < 4; ++i) {
        joiners.emplace_back([&written, thread] {
            thread->join();
            EXPECT_EQ(written, 7);
        });
    }
    go.count_down();
}

TEST_F(Threads, AfterJoinTheCallerHoldsTheLastReference)
{
    for (int round = 0; round < 200; ++round) {
        Handle thread = startThread([] {});
        thread->join();
        ASSERT_EQ(thread->refCount(), 1U);
    }
}

TEST_F(Threads, JoinOnItselfThrowsInPlaceOfHanging)
{
    std::string message;
    Handle thread = startThread(
        [&] { message = messageOf<JTCIllegalThreadState>([] { JTCThread::currentThread()->join(); }); });
    thread->join();
    EXPECT_EQ(message, "join: thread \"worker\" can't wait for itself");
}

TEST_F(Threads, LibraryKeepsAThreadAliveUntilRunHasEnded)
{
    Latch go(1);
    std::thread::id runner;
    std::thread::id destroyer;
    JTCThread* seenInDestructor = nullptr;
    Handle thread = new FunctionThread(
        JTCInitialize::getTermGroup(), "alone",
        [&] {
            go.wait();
            runner = std::this_thread::get_id();
        },
        [&] {
            destroyer = std::this_thread::get_id();
            seenInDestructor = JTCThread::currentThread();
        });
    thread->start();
    thread = nullptr;
    go.count_down();
    JTCInitialize::getTermGroup()->waitForAll();
    EXPECT_EQ(runner, destroyer);
    EXPECT_EQ(seenInDestructor, nullptr);
}

TEST_F(Threads, DestructorOnTheOwnThreadMayJoin)
{
    struct SelfJoining : JTCThread
    {
        explicit SelfJoining(bool& itsEnd) : JTCThread(JTCInitialize::getTermGroup(), "self"), ended(itsEnd)
        {}
        ~SelfJoining() override
        {
            join();
            ended = true;
        }
        bool& ended;
    };
    bool ended = false;
    JTCHandleT<SelfJoining>(new SelfJoining(ended))->start();
    JTCInitialize::getTermGroup()->waitForAll();
    EXPECT_TRUE(ended);
}

TEST_F(Threads, OneThatWasNeverStartedGoesWithItsHandle)
{
    bool destroyed = false;
    Handle thread = new FunctionThread(
        JTCInitialize::getTermGroup(), "idle", [] {}, [&] { destroyed = true; });
    thread = nullptr;
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(JTCInitialize::getTermGroup()->activeCount(), 0U);
}

TEST_F(Threads, CurrentThreadIsTheRunningOneAndNullOnForeignThreads)
{
    EXPECT_EQ(JTCThread::currentThread(), nullptr);
    JTCThread* seen = nullptr;
    Handle thread = startThread([&] { seen = JTCThread::currentThread(); });
    thread->join();
    EXPECT_EQ(seen, thread.get());
}

TEST_F(Threads, SystemShowsTheName)
{
    const std::string cut = "fourteen-bytes"; // and an umlaut, which the limit of 15 bytes would split
    struct Row
    {
        const char* name;
        std::string object;
        std::vector<std::string> system; // a short limit, or none
    };
    const std::array<Row, 3> rows = {{
        {"short", "short", {"short"}},
        {"a-name-of-20-bytes..", "a-name-of-20-bytes..", {"a-name-of-20-by", "a-name-of-20-bytes.."}},
        {"fourteen-bytes\xC3\xBC", cut + "\xC3\xBC", {cut, cut + "\xC3\xBC"}},
    }};
    for (const Row& row : rows) {
        std::string shown;
        Handle thread = makeThread([&] { shown = MorvexA106::Platform::nameOfThisThread(); }, row.name);
        thread->start();
        thread->join();
        EXPECT_EQ(thread->getName(), row.object);
        EXPECT_EQ(std::count(row.system.begin(), row.system.end(), shown), 1) << row.name << ": " << shown;
    }
}

TEST_F(Threads, UnnamedOnesGetNamesOfTheirOwn)
{
    const Handle first = makeThread([] {}, nullptr);
    const Handle second = makeThread([] {}, "");
    EXPECT_EQ(first->getName().rfind("thread-", 0), 0U);
    EXPECT_NE(first->getName(), second->getName());
}

TEST_F(Threads, ExceptionThatLeavesRunEndsThatThreadOnlyAndIsKeptAndTold)
{
    testing::internal::CaptureStderr();
    Handle known = startThread([] { throw std::runtime_error("no more ink"); });
    known->join();
    Handle unknown = startThread([] { throw 5; });
    unknown->join();
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find("thread \"worker\" was ended by an exception: no more ink"), std::string::npos)
        << told;
    EXPECT_NE(told.find("unknown exception"), std::string::npos) << told;
    EXPECT_THROW(std::rethrow_exception(known->uncaughtException()), std::runtime_error);
    EXPECT_THROW(std::rethrow_exception(unknown->uncaughtException()), int);
    EXPECT_FALSE(startThread([] {})->uncaughtException());
}

TEST_F(Threads, RefusedStartKeepsTheNumberAndCanBeRepeated)
{
    const ThreadStarter original = exchangeThreadStarter([](ThreadEntry, JTCThread*) -> std::thread {
        throw std::system_error(EAGAIN, std::generic_category());
    });
    bool ran = false;
    auto* const raw = new FunctionThread(JTCInitialize::getTermGroup(), "late", [&] { ran = true; });
    int number = 0;
    try {
        raw->start(); // no handle holds it: a refused start must not delete it
    } catch (const JTCSystemFailure& failure) {
        number = failure.number();
        EXPECT_NE(std::string(failure.what()).find("start: no thread for \"late\" (11: "), std::string::npos)
            << failure.what();
    }
    exchangeThreadStarter(original);
    EXPECT_EQ(number, EAGAIN);
    const Handle thread(raw);
    EXPECT_FALSE(thread->isAlive());
    EXPECT_EQ(thread->getGroup()->activeCount(), 0U);
    thread->start();
    thread->join();
    EXPECT_TRUE(ran);
}

TEST_F(Threads, OnlyOneOfManyStartsSucceeds)
{
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> runs{0};
        std::atomic<int> refused{0};
        Handle thread = makeThread([&] { ++runs; });
        {
            std::vector<std::jthread> starters;
            starters.reserve(3);
            for (int i = 0; i < 3; ++i) {
                starters.emplace_back([&] {
                    try {
                        thread->start();
                    } catch (const JTCIllegalThreadState&) {
                        ++refused;
                    }
                });
            }
        }
        thread->join();
        ASSERT_EQ(runs, 1);
        ASSERT_EQ(refused, 2);
    }
}

// ----------------------------------------------------------------------------------- groups and the library

TEST_F(Threads, GroupWaitsForItsOwnThreadsOnly)
{
    JTCHandleT<JTCThreadGroup> group(new JTCThreadGroup("own"));
    Latch go(1);
    Latch otherGo(1);
    Handle other = startThread([&] { otherGo.wait(); });
    for (int i = 0; i < 3; ++i) {
        Handle(new FunctionThread(group, "member", [&] { go.wait(); }))->start();
    }
    EXPECT_EQ(group->activeCount(), 3U);
    EXPECT_FALSE(group->waitForAll(5));
    go.count_down();
    group->waitForAll();
    EXPECT_EQ(group->activeCount(), 0U);
    EXPECT_EQ(group->refCount(), 1U);
    EXPECT_TRUE(other->isAlive());
    otherGo.count_down();
    other->join();
}

TEST_F(Threads, MemberThatWaitsForItsGroupDoesNotWaitForItself)
{
    JTCHandleT<JTCThreadGroup> group(new JTCThreadGroup("own"));
    std::atomic<bool> otherEnded{false};
    bool seen = false;
    Handle waiting(new FunctionThread(group, "waiting", [&] {
        Handle other(new FunctionThread(group, "other", [&] { otherEnded = true; }));
        other->start();
        group->waitForAll();
        seen = otherEnded;
    }));
    waiting->start();
    EXPECT_TRUE(waiting->join(patience));
    EXPECT_TRUE(seen);
}

TEST_F(Threads, LastHandleOfAGroupMayGoOnAnyThread)
{
    for (int round = 0; round < 100; ++round) {
        JTCHandleT<JTCThreadGroup> group(new JTCThreadGroup("short"));
        for (int i = 0; i < 2; ++i) {
            Handle(new FunctionThread(group, "member", [] {}))->start();
        }
        group = nullptr;
    }
}

TEST_F(Threads, EmptyGroupHandleStandsForTheLibrarysGroup)
{
    JTCHandleT<JTCThreadGroup> none;
    const Handle thread(new FunctionThread(none, "grouped", [] {}));
    EXPECT_EQ(thread->getGroup(), JTCInitialize::getTermGroup());
}

TEST(Initialize, OnlyTheFirstAndTheLastCount)
{
    EXPECT_THROW(JTCInitialize::getTermGroup(), JTCNotInitialized);
    {
        auto outer = std::make_unique<JTCInitialize>();
        const JTCHandleT<JTCThreadGroup> group = JTCInitialize::getTermGroup();
        auto inner = std::make_unique<JTCInitialize>();
        outer.reset();
        EXPECT_EQ(JTCInitialize::getTermGroup(), group);
    }
    EXPECT_THROW(JTCInitialize::getTermGroup(), JTCNotInitialized);
    JTCHandleT<JTCThreadGroup> none;
    EXPECT_THROW(Handle(new FunctionThread(none, "too late", [] {})), JTCNotInitialized);
}

TEST(Initialize, EndWaitsForThreadsAndThoseThatTheyStart)
{
    std::atomic<int> ended{0};
    std::function<void(int)> spawn = [&](int depth) {
        if (depth > 0) {
            const JTCHandleT<JTCThreadGroup> group = JTCThread::currentThread()->getGroup();
            Handle(new FunctionThread(group, "child", [&spawn, depth] { spawn(depth - 1); }))->start();
        }
        ++ended;
    };
    {
        const JTCInitialize library;
        startThread([&] { spawn(20); });
    }
    EXPECT_EQ(ended, 21);
}

TEST(Initialize, MayEndOnAThreadOfItsOwnGroup)
{
    auto library = std::make_unique<JTCInitialize>();
    Handle thread = startThread([&] { library.reset(); });
    EXPECT_TRUE(thread->join(patience));
    EXPECT_THROW(JTCInitialize::getTermGroup(), JTCNotInitialized);
    thread->getGroup()->waitForAll();
}

TEST(Initialize, ManyThreadsThatNobodyJoinsLeaveNothingBehind)
{
    std::atomic<int> living{0};
    {
        const JTCInitialize library;
        for (int i = 0; i < 500; ++i) {
            ++living;
            Handle(new FunctionThread(
                       JTCInitialize::getTermGroup(), "brief", [] {}, [&] { --living; }))
                ->start();
        }
    }
    EXPECT_EQ(living, 0);
}

// ----------------------------------------------------------------------------------------------- adoption

TEST_F(Threads, AdoptionLendsAForeignThreadAnIdentityForItsScope)
{
    onOtherThread([] {
        MorvexA106::Platform::nameThisThread("dispatcher");
        JTCHandleT<JTCThread> kept;
        {
            const JTCAdoptCurrentThread adoption;
            kept = JTCThread::currentThread();
            ASSERT_TRUE(kept);
            EXPECT_TRUE(kept->isAlive());
            EXPECT_EQ(kept->getName(), "dispatcher");
            EXPECT_THROW(kept->join(), JTCIllegalThreadState);
            EXPECT_THROW(kept->start(), JTCIllegalThreadState);
            EXPECT_EQ(kept->getGroup()->activeCount(), 0U);
        }
        EXPECT_EQ(JTCThread::currentThread(), nullptr);
        EXPECT_FALSE(kept->isAlive());
        EXPECT_EQ(kept->refCount(), 1U);
        kept->join();
    });
}

TEST_F(Threads, NestedAdoptionsKeepTheIdentityUntilTheLastEndsInEveryOrder)
{
    for (const bool outerFirst : {false, true}) {
        auto outer = std::make_unique<JTCAdoptCurrentThread>();
        JTCThread* const identity = JTCThread::currentThread();
        auto inner = std::make_unique<JTCAdoptCurrentThread>();
        EXPECT_EQ(JTCThread::currentThread(), identity);
        (outerFirst ? outer : inner).reset();
        EXPECT_EQ(JTCThread::currentThread(), identity);
        (outerFirst ? inner : outer).reset();
        EXPECT_EQ(JTCThread::currentThread(), nullptr);
    }
}

TEST_F(Threads, AdoptingAThreadOfTheLibraryChangesNothing)
{
    std::unique_ptr<JTCAdoptCurrentThread> leftOver;
    Handle thread = startThread([&] {
        JTCThread* const self = JTCThread::currentThread();
        {
            const JTCAdoptCurrentThread adoption;
            EXPECT_EQ(JTCThread::currentThread(), self);
        }
        EXPECT_EQ(JTCThread::currentThread(), self);
        leftOver = std::make_unique<JTCAdoptCurrentThread>();
    });
    thread->join();
    leftOver.reset();
    EXPECT_FALSE(thread->isAlive());
}

TEST_F(Threads, AdoptionMayEndOnAnotherThread)
{
    auto adoption = std::make_unique<JTCAdoptCurrentThread>();
    const JTCHandleT<JTCThread> identity = JTCThread::currentThread();
    std::jthread joiner([identity] { identity->join(); });
    onOtherThread([&] { adoption.reset(); });
    EXPECT_EQ(JTCThread::currentThread(), nullptr);
    const JTCAdoptCurrentThread again;
    ASSERT_NE(JTCThread::currentThread(), nullptr);
    EXPECT_NE(JTCThread::currentThread(), identity.get());
}

TEST_F(Threads, IdentityEndsWithTheThreadWhenTheAdoptionOutlivesIt)
{
    std::unique_ptr<JTCAdoptCurrentThread> adoption;
    JTCHandleT<JTCThread> identity;
    onOtherThread([&] {
        adoption = std::make_unique<JTCAdoptCurrentThread>();
        identity = JTCThread::currentThread();
    });
    EXPECT_FALSE(identity->isAlive());
    identity->join();
    adoption.reset();
    EXPECT_EQ(identity->refCount(), 1U);
}

TEST_F(Threads, AdoptionWorksWhileTheThreadIsEnding)
{
    struct Late
    {
        ~Late()
        {
            EXPECT_EQ(JTCThread::currentThread(), nullptr);
            const JTCAdoptCurrentThread adoption;
            EXPECT_NE(JTCThread::currentThread(), nullptr);
        }
    };
    onOtherThread([] {
        thread_local Late late;
        (void)&late;
        const JTCAdoptCurrentThread adoption;
    });
}

TEST(Adoption, NeedsTheLibraryOnlyForForeignThreads)
{
    EXPECT_THROW(JTCAdoptCurrentThread(), JTCNotInitialized);
}
