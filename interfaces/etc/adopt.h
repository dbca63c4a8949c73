#pragma once

/// @file
/// An identity for threads that others made.

#include "etc/export.h"
#include "etc/handle.h"
#include "etc/thread.h"

namespace Etc10012
{

/// Gives the calling thread an object, so that `JTCThread::currentThread()` is not null, as long as this
/// adoption lives. Meant for threads that the system makes, such as those of a service dispatcher.
///
///     void onSystemThread()
///     {
///         JTCAdoptCurrentThread adopted;
///         serve();
///     }
///
/// Adopting a thread of this library changes nothing. Adoptions of one thread may nest: the object stays
/// until the last of them ends, whatever the order. An adoption may be destroyed on another thread or outlive
/// its own; the identity ends at the latest with the thread.
///
/// The object has the name that the system knows for the thread, belongs to the group of `JTCInitialize` and
/// is not waited for there. `join` on it waits for the end of the adoption.
class ETC_EXPORT JTCAdoptCurrentThread
{
public:
    /// Throws `JTCNotInitialized` when the thread is foreign and no `JTCInitialize` is alive,
    /// and `JTCSystemFailure` when there is no room for the identity.
    JTCAdoptCurrentThread();
    ~JTCAdoptCurrentThread();
    JTCAdoptCurrentThread(const JTCAdoptCurrentThread&) = delete;
    JTCAdoptCurrentThread& operator=(const JTCAdoptCurrentThread&) = delete;

private:
    struct Hold;

    static JTCHandleT<JTCThread> adoptAfresh();
    static void dropEndedIdentity() noexcept;

    JTCHandleT<JTCThread> m_thread;
};

} // namespace Etc10012
