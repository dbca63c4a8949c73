#include "etc/threadgroup.h"

#include "etc/deadline.h"
#include "etc/membership.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace Etc10012
{

// Nobody has to join a thread, and yet no thread of the system may be left behind. So each thread that ends
// leaves its own handle in `last` and joins the one that it finds there, which is at its very end; the group's
// wait or its destructor joins the one that remains.
struct JTCThreadGroup::Roster
{
    explicit Roster(const char* groupName) : name(groupName ? groupName : "") {}

    bool await(const std::optional<Clock::time_point>& deadline, std::size_t own);

    const std::string name;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::size_t active = 0;
    std::thread last;
};

namespace
{

thread_local const JTCThreadGroup* memberOf = nullptr;

// The last handle of a group can go on the thread that ended last.
void joinOrLetGo(std::thread thread)
{
    if (!thread.joinable()) {
        return;
    }
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

} // namespace

Membership::Membership(const JTCThreadGroup& group) noexcept
{
    memberOf = &group;
}

Membership::~Membership()
{
    memberOf = nullptr;
}

bool JTCThreadGroup::Roster::await(const std::optional<Clock::time_point>& deadline, std::size_t own)
{
    std::unique_lock lock(mutex);
    const auto othersEnded = [&] { return active <= own; };
    if (!deadline) {
        changed.wait(lock, othersEnded);
    } else if (!waitUntil(changed, lock, *deadline, othersEnded)) {
        return false;
    }
    std::thread remaining = std::move(last);
    lock.unlock();
    joinOrLetGo(std::move(remaining));
    return true;
}

JTCThreadGroup::JTCThreadGroup(const char* name) : m_roster(std::make_unique<Roster>(name)) {}

JTCThreadGroup::~JTCThreadGroup()
{
    joinOrLetGo(std::move(m_roster->last));
}

const std::string& JTCThreadGroup::getName() const noexcept
{
    return m_roster->name;
}

std::size_t JTCThreadGroup::activeCount() const
{
    const std::lock_guard lock(m_roster->mutex);
    return m_roster->active;
}

void JTCThreadGroup::waitForAll()
{
    m_roster->await(std::nullopt, memberOf == this ? 1 : 0);
}

bool JTCThreadGroup::waitForAll(long milliseconds)
{
    return m_roster->await(deadlineAfter(milliseconds), memberOf == this ? 1 : 0);
}

void JTCThreadGroup::enter()
{
    const std::lock_guard lock(m_roster->mutex);
    ++m_roster->active;
}

/// Takes an `enter` back whose thread did not come to be.
void JTCThreadGroup::withdraw() noexcept
{
    const std::lock_guard lock(m_roster->mutex);
    --m_roster->active;
    m_roster->changed.notify_all();
}

/// The last deed of a thread of the group, with its own handle.
void JTCThreadGroup::leave(std::thread&& own) noexcept
{
    std::thread previous;
    {
        const std::lock_guard lock(m_roster->mutex);
        previous = std::exchange(m_roster->last, std::move(own));
        --m_roster->active;
        m_roster->changed.notify_all();
    }
    joinOrLetGo(std::move(previous));
}

} // namespace Etc10012
