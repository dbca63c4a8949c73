#pragma once

/// @file
/// Objects that live as long as somebody holds them.

#include "etc/export.h"

#include <atomic>
#include <cstddef>

namespace Etc10012
{

/// Base of objects that `JTCHandleT` shares. A new object has a count of 0 and belongs to nobody: put it into
/// a handle at once. It deletes itself when the last reference is released, so it must come from `new`.
///
///     class Job : public virtual JTCRefCount { ... };
///     JTCHandleT<Job> job(new Job); // count 1
///
/// Counting may be done on any thread; the thread that releases last runs the destructor. A constructor must
/// not put its own object into a handle that ends before the constructor does: the object would go with it.
class ETC_EXPORT JTCRefCount
{
public:
    JTCRefCount() noexcept = default;
    JTCRefCount(const JTCRefCount&) = delete;
    JTCRefCount& operator=(const JTCRefCount&) = delete;

    void addRef() noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }

    /// The object may be gone afterwards. Every call must answer an `addRef`.
    void release() noexcept;

    /// A moment's value, for tests and diagnosis: other threads may change it at any time.
    std::size_t refCount() const noexcept { return m_count.load(std::memory_order_relaxed); }

protected:
    virtual ~JTCRefCount();

    /// Takes an `addRef` back and leaves the object alive, also at 0.
    void dropRef() noexcept { m_count.fetch_sub(1, std::memory_order_acq_rel); }

private:
    std::atomic<std::size_t> m_count{0};
};

} // namespace Etc10012
