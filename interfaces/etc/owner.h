#pragma once

/// @file
/// The part that all locks share.

#include "etc/export.h"

#include <atomic>
#include <thread>

namespace Etc10012
{

/// Which thread holds a lock. For the locks alone.
///
/// Relaxed order is enough: only a thread itself ever stores its own id, so it finds either the id that it
/// stored or some other value, and any other value means the same to it.
class JTCOwner
{
public:
    bool isCaller() const noexcept
    {
        return m_id.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }
    void setCaller() noexcept { m_id.store(std::this_thread::get_id(), std::memory_order_relaxed); }
    void clear() noexcept { m_id.store(std::thread::id(), std::memory_order_relaxed); }

    /// Throws `JTCIllegalMonitorState`, naming the operation, when the calling thread is not the owner.
    void requireCaller(const char* operation) const
    {
        if (!isCaller()) [[unlikely]] {
            refuse(operation);
        }
    }

private:
    [[noreturn]] ETC_EXPORT static void refuse(const char* operation);

    std::atomic<std::thread::id> m_id{};
};

} // namespace Etc10012
