#pragma once

/// @file
/// Locks between processes on the bytes of files. They belong to the descriptor and end with it. Every failure here
/// is an `errno`. A call that a signal interrupts is taken up again.

#include "platform/file.h"

#include <cstdint>
#include <optional>

namespace MorvexA106::Platform
{

struct FileRange
{
    std::int64_t begin;
    std::int64_t length;
};

/// Opens a file so that it can be locked, and creates it if it is absent and `create` says so; the caller closes it
/// with `closeFile`.
///
/// POSIX: where only reading is allowed it can't be locked exclusively.
FileResult openForLocks(const char* path, bool create) noexcept;

/// 0, EAGAIN when somebody else's lock is in the way and `wait` is false, or another number. A descriptor has one lock
/// at a time. The range must end before `LockNote::first`.
int lockRange(int descriptor, FileRange range, bool exclusive, bool wait) noexcept;

/// Lets others find this process by the lock that the descriptor holds. Where that is not possible, nothing happens.
void tellHolder(int descriptor, FileRange held) noexcept;

/// Exactly the range that is locked. 0, or the number of the failure, after which it is locked still.
int unlockRange(int descriptor, FileRange held) noexcept;

struct LockHolder
{
    std::uint32_t process;

    /// Milliseconds since 1970, UTC.
    std::int64_t started;
};

/// A living process whose lock is in the way of this one; nothing where nobody's is, or none that is known.
///
/// POSIX: changes nothing.
///
/// Windows: found only where its lock begins at the same byte.
std::optional<LockHolder> findHolder(int descriptor, FileRange wanted, bool exclusive) noexcept;

} // namespace MorvexA106::Platform
