#include "etc/waitqueue.h"

#include "etc/deadline.h"

#include <condition_variable>

namespace Etc10012
{

// A doubly linked list through the waiting threads' own stacks. The monitor's lock guards the list and the
// waiters in it: a waiter is signalled under the lock, and so can't return, and take its condition away, before
// the signal is through. Whoever sets `notified` has taken the waiter out of the list.
struct JTCWaitQueue::Waiter
{
    std::condition_variable wake;
    bool notified = false;
    Waiter* previous = nullptr;
    Waiter* next = nullptr;
};

namespace
{

// The monitor has the lock already, and keeps it.
class BorrowedLock : public std::unique_lock<std::mutex>
{
public:
    explicit BorrowedLock(std::mutex& held) : std::unique_lock<std::mutex>(held, std::adopt_lock) {}
    BorrowedLock(const BorrowedLock&) = delete;
    BorrowedLock& operator=(const BorrowedLock&) = delete;
    ~BorrowedLock() { release(); }
};

} // namespace

void JTCWaitQueue::wait(std::mutex& held)
{
    BorrowedLock lock(held);
    Waiter self;
    append(self);
    self.wake.wait(lock, [&self] { return self.notified; });
}

bool JTCWaitQueue::wait(std::mutex& held, long milliseconds)
{
    const Clock::time_point deadline = deadlineAfter(milliseconds);
    BorrowedLock lock(held);
    Waiter self;
    append(self);
    const bool notified = waitUntil(self.wake, lock, deadline, [&self] { return self.notified; });
    if (!notified) {
        remove(self);
    }
    return notified;
}

/// False when nobody waits.
bool JTCWaitQueue::notifyFirst() noexcept
{
    if (!m_first) {
        return false;
    }
    Waiter& waiter = *m_first;
    remove(waiter);
    waiter.notified = true;
    waiter.wake.notify_one();
    return true;
}

void JTCWaitQueue::append(Waiter& waiter) noexcept
{
    waiter.previous = m_last;
    (m_last ? m_last->next : m_first) = &waiter;
    m_last = &waiter;
}

void JTCWaitQueue::remove(Waiter& waiter) noexcept
{
    (waiter.previous ? waiter.previous->next : m_first) = waiter.next;
    (waiter.next ? waiter.next->previous : m_last) = waiter.previous;
}

} // namespace Etc10012
