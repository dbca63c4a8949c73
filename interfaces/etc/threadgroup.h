#pragma once

/// @file
/// Threads that belong together.

#include "etc/export.h"
#include "etc/refcount.h"

#include <cstddef>
#include <memory>
#include <string>
#include <thread>

namespace Etc10012
{

/// Threads that belong together, so that one can wait for all of them. Every thread holds its group.
///
///     JTCHandleT<JTCThreadGroup> readers(new JTCThreadGroup("readers"));
///     JTCHandleT<Reader> reader(new Reader(readers, "reader"));
///     reader->start();
///     readers->waitForAll();
///
/// All operations may be called from any thread. Ending the group while its last thread ends is safe.
class ETC_EXPORT JTCThreadGroup : public virtual JTCRefCount
{
public:
    /// A null name is the empty one.
    explicit JTCThreadGroup(const char* name);

    const std::string& getName() const noexcept;

    /// How many threads of the group were started and have not ended. Adopted threads do not count.
    std::size_t activeCount() const;

    /// Waits until no thread of the group runs, those that are started during the wait included. When it
    /// returns, the library has released their objects and the system's threads are gone too (of several
    /// calls at once, one sees to the latter). A thread of the group that calls this waits for the others only.
    void waitForAll();

    /// As `waitForAll()`, for `milliseconds` at the most: false when threads still run then. With 0 or less it
    /// only looks.
    bool waitForAll(long milliseconds);

protected:
    ~JTCThreadGroup() override;

private:
    friend class JTCThread;
    struct Roster;

    void enter();
    void withdraw() noexcept;
    void leave(std::thread&& own) noexcept;

    std::unique_ptr<Roster> m_roster;
};

} // namespace Etc10012
