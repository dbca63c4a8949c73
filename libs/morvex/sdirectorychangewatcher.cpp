#include "morvex/sdirectorychangewatcher.h"

#include "morvex/checks.h"
#include "morvex/directorywatch.h"
#include "morvex/sfilesys.h"
#include "platform/thread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace MorvexA106
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr long shortestInterval = 10;

/// Some weeks; far longer ones the clock can't count.
constexpr long longestWait = 0x7FFFFFFF;

/// How long the second half of a move may be away.
constexpr milliseconds patience{5};

/// A failing wait of the system returns at once.
constexpr milliseconds pauseAfterFailure{100};

/// Rescans take this part of the time at the most.
constexpr int idleShare = 10;

Clock::time_point endOf(long ms)
{
    return ms < 0 ? Clock::time_point::max() : Clock::now() + milliseconds(std::min(ms, longestWait));
}

/// Rounded up, so that a wait doesn't end just before its time.
long millisecondsUntil(Clock::time_point moment)
{
    const auto rest = std::chrono::ceil<milliseconds>(moment - Clock::now()).count();
    return static_cast<long>(std::max<milliseconds::rep>(rest, 0));
}

} // namespace

SDirectoryChangeReceiver::~SDirectoryChangeReceiver() = default;

/// Shared with the thread, which may be the one that ends the watcher.
struct SDirectoryChangeWatcher::State
{
    State(const SAnsiString& path, SDirectoryChangeReceiver& told, const SDirectoryWatchOptions& options)
        : folder(path),
          receiver(told),
          watch(std::string(path.view()), options),
          interval(std::clamp(options.m_interval, shortestInterval, longestWait))
    {}

    bool tellAll();
    void takeWhatComes(Clock::time_point end);
    void waitUntil(Clock::time_point end);
    void lookAround();
    bool pollUntil(Clock::time_point end);
    void work() noexcept;
    void workOnce();
    void askToStop() noexcept;
    void join() noexcept;
    void detach() noexcept;
    bool isOwnThread() const noexcept { return worker.load() == std::this_thread::get_id(); }

    const SAnsiString folder;
    SDirectoryChangeReceiver& receiver;
    DirectoryWatch watch;
    const milliseconds interval;
    std::vector<Platform::FolderEvent> batch;
    Clock::time_point nextLook;
    bool isOpen = false;

    std::atomic<bool> stopped{false};
    std::atomic<std::thread::id> worker{};

    /// Held by the one who waits for the thread, for the others to wait as well; taken before the other one.
    std::mutex joining;

    /// Guards what follows.
    std::mutex mutex;
    bool canWake = false;
    std::thread thread;
};

bool SDirectoryChangeWatcher::State::tellAll()
{
    std::deque<SDirectoryChange>& changes = watch.changes();
    bool hasTold = false;
    while (!changes.empty() && !stopped) {
        const SDirectoryChange change = std::move(changes.front());
        changes.pop_front();
        hasTold = true;
        receiver.changed(change);
    }
    return hasTold;
}

void SDirectoryChangeWatcher::State::takeWhatComes(Clock::time_point end)
{
    end = std::min(end, nextLook);
    if (watch.isWaiting()) {
        end = std::min(end, Clock::now() + patience);
    }
    waitUntil(end);
    watch.take(batch);
    if (Clock::now() >= nextLook) {
        lookAround();
    }
}

void SDirectoryChangeWatcher::State::waitUntil(Clock::time_point end)
try {
    batch.clear();
    if (watch.events().wait(millisecondsUntil(end), batch)) {
        watch.lose();
        std::this_thread::sleep_for(pauseAfterFailure);
    }
} catch (...) {
    watch.lose(); // the system doesn't tell again what there was no memory for
    throw;
}

void SDirectoryChangeWatcher::State::lookAround()
{
    const Clock::time_point begin = Clock::now();
    nextLook = begin + interval;
    watch.look();
    const Clock::time_point end = Clock::now();
    nextLook = end + std::max<Clock::duration>(interval, idleShare * (end - begin));
}

bool SDirectoryChangeWatcher::State::pollUntil(Clock::time_point end)
{
    while (!stopped) {
        if (tellAll()) {
            return !stopped;
        }
        const bool isOver = Clock::now() >= end;
        takeWhatComes(end);
        if (isOver) {
            return tellAll() && !stopped;
        }
    }
    return false;
}

void SDirectoryChangeWatcher::State::work() noexcept
{
    worker = std::this_thread::get_id();
    Platform::nameThisThread("watcher");
    while (!stopped) {
        workOnce();
    }
    worker = std::thread::id(); // another thread may get the same one
}

void SDirectoryChangeWatcher::State::workOnce()
try {
    pollUntil(Clock::time_point::max());
} catch (const std::exception& problem) {
    MORVEX_FAIL(problem.what());
} catch (...) {
    MORVEX_FAIL("Unknown exception out of a receiver of directory changes");
}

void SDirectoryChangeWatcher::State::askToStop() noexcept
{
    const std::lock_guard guard(mutex);
    stopped = true;
    if (canWake) {
        watch.events().wake();
    }
}

void SDirectoryChangeWatcher::State::join() noexcept
{
    const std::lock_guard one(joining);
    std::thread ended;
    {
        const std::lock_guard guard(mutex);
        ended.swap(thread);
    }
    if (ended.joinable()) {
        ended.join();
    }
}

// The thread holds on to what it needs.
void SDirectoryChangeWatcher::State::detach() noexcept
{
    const std::lock_guard guard(mutex);
    if (thread.joinable()) {
        thread.detach();
    }
}

SDirectoryChangeWatcher::SDirectoryChangeWatcher(const SAnsiString& folder,
                                                 SDirectoryChangeReceiver& receiver,
                                                 const SDirectoryWatchOptions& options)
    : m_state(std::make_shared<State>(SFileSys::getFullPath(folder), receiver, options))
{}

SDirectoryChangeWatcher::~SDirectoryChangeWatcher()
{
    stop();
    if (m_state->isOwnThread()) {
        m_state->detach();
    }
}

void SDirectoryChangeWatcher::open()
{
    State& state = *m_state;
    if (state.isOpen) {
        return;
    }
    if (const Platform::SystemError error = state.watch.open()) {
        const auto code = Platform::meansAbsent(error) ? SFileSysException::FileNotFound
                                                       : SFileSysException::GetAttributesFailed;
        throw SFileSysException(code, SFileSysException::mapError(error.number), state.folder,
                                Platform::errorText(error).c_str(), SAnsiString(), "watch");
    }
    state.isOpen = true;
    state.nextLook = Clock::now() + state.interval;
    const std::lock_guard guard(state.mutex);
    state.canWake = true;
}

void SDirectoryChangeWatcher::start()
{
    if (m_state->stopped) {
        return;
    }
    open();
    const std::lock_guard guard(m_state->mutex);
    if (!m_state->stopped && !m_state->thread.joinable()) {
        m_state->thread = std::thread([state = m_state] { state->work(); });
    }
}

bool SDirectoryChangeWatcher::poll(long ms)
{
    if (m_state->stopped) {
        return false;
    }
    open();
    {
        const std::lock_guard guard(m_state->mutex);
        if (m_state->thread.joinable()) {
            return false;
        }
    }
    return m_state->pollUntil(endOf(ms));
}

void SDirectoryChangeWatcher::stop() noexcept
{
    State& state = *m_state;
    state.askToStop();
    if (!state.isOwnThread()) {
        state.join();
    }
}

bool SDirectoryChangeWatcher::isStopped() const noexcept
{
    return m_state->stopped;
}

SDirectoryChangeWatcher::Source SDirectoryChangeWatcher::source() const noexcept
{
    return m_state->watch.source();
}

unsigned long SDirectoryChangeWatcher::rescans() const noexcept
{
    return m_state->watch.rescans();
}

const SAnsiString& SDirectoryChangeWatcher::folder() const noexcept
{
    return m_state->folder;
}

} // namespace MorvexA106
