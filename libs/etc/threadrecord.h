#pragma once

#include "etc/deadline.h"
#include "etc/thread.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>

namespace Etc10012
{

/// What is known of a thread. It has a life of its own, since joins go on, and the thread's last steps are
/// taken, when the thread's object may be gone.
struct JTCThread::Record
{
    enum class Phase
    {
        fresh,
        running,
        ended,    // `run` is over, the library's reference is not yet released
        released, // nothing of the object is touched any more
    };

    Record(const JTCHandleT<JTCThreadGroup>& itsGroup, const char* itsName);

    void advance(Phase next) noexcept;

    /// False when the thread ran at the deadline. Throws when the running thread itself asks.
    bool awaitEnd(const std::optional<Clock::time_point>& deadline);

    std::thread takeSystemThread() noexcept;

    /// Makes the calling thread, which others made, the one that runs, with one adoption.
    void adopt();

    /// One more adoption; false when the last one ended meanwhile.
    bool adoptAgain() noexcept;
    void endAdoption() noexcept;

    const std::string name;
    const JTCHandleT<JTCThreadGroup> group;

    mutable std::mutex mutex; // guards all that follows
    std::condition_variable changed;
    std::atomic<Phase> phase{Phase::fresh}; // may be read without the lock
    std::thread systemThread;
    std::thread::id id;
    std::exception_ptr uncaught;
    bool adopted = false; // constant once the object is published
    std::size_t adoptions = 0;
};

} // namespace Etc10012
