#pragma once

#include "platform/thread.h"

namespace Etc10012
{

class JTCThread;

/// Who a thread is. It stands in the thread's slot.
class Identity : public MorvexA106::Platform::ThreadSlot::Occupant
{
public:
    explicit Identity(JTCThread& thread) noexcept : m_thread(thread) {}

    /// The threads of this library take theirs back themselves.
    void threadEnds() noexcept override {}

    JTCThread& thread() const noexcept { return m_thread; }

    /// That of the calling thread, or null.
    static Identity* current() noexcept;

    /// False when the system has no memory for it.
    static bool setCurrent(Identity* identity) noexcept;

private:
    JTCThread& m_thread;
};

} // namespace Etc10012
