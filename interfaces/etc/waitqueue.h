#pragma once

/// @file
/// The part that the monitors share.

#include "etc/export.h"

#include <mutex>

namespace Etc10012
{

/// The threads that wait on one monitor, in the order in which they came. Each waits for a notification of
/// its own, so that none wakes without one, and none takes one that was meant for an earlier thread.
/// For the monitors alone.
class ETC_EXPORT JTCWaitQueue
{
public:
    JTCWaitQueue() noexcept = default;
    JTCWaitQueue(const JTCWaitQueue&) = delete;
    JTCWaitQueue& operator=(const JTCWaitQueue&) = delete;

private:
    friend class JTCFastMonitor;
    friend class JTCMonitor;
    struct Waiter;

    void wait(std::mutex& held);
    bool wait(std::mutex& held, long milliseconds);
    bool notifyFirst() noexcept;
    void append(Waiter& waiter) noexcept;
    void remove(Waiter& waiter) noexcept;

    Waiter* m_first = nullptr;
    Waiter* m_last = nullptr;
};

} // namespace Etc10012
