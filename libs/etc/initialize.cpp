#include "etc/initialize.h"

#include "etc/exception.h"

#include <cstddef>
#include <mutex>
#include <utility>

namespace Etc10012
{

namespace
{

struct Library
{
    std::mutex mutex;
    std::size_t users = 0;
    JTCHandleT<JTCThreadGroup> group;
};

// Never destroyed: threads may run when the process has begun to destroy its objects.
Library& library()
{
    static Library& only = *new Library;
    return only;
}

} // namespace

JTCInitialize::JTCInitialize()
{
    Library& shared = library();
    const std::lock_guard lock(shared.mutex);
    if (shared.users == 0) {
        shared.group = new JTCThreadGroup("main");
    }
    ++shared.users;
}

JTCInitialize::~JTCInitialize()
{
    Library& shared = library();
    JTCHandleT<JTCThreadGroup> group;
    {
        const std::lock_guard lock(shared.mutex);
        if (--shared.users > 0) {
            return;
        }
        group = std::move(shared.group);
    }
    group->waitForAll();
}

JTCHandleT<JTCThreadGroup> JTCInitialize::getTermGroup()
{
    Library& shared = library();
    const std::lock_guard lock(shared.mutex);
    if (!shared.group) {
        throw JTCNotInitialized("getTermGroup: no JTCInitialize is alive");
    }
    return shared.group;
}

} // namespace Etc10012
