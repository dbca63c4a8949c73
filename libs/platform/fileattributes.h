#pragma once

/// @file
/// Times, permissions, owners and what a disk holds. Links are followed but where it is said. Paths are handed to
/// the system as they stand. Each function says which kind of number its failure has.

#include "platform/systemerror.h"

#include <cstdint>

namespace MorvexA106::Platform
{

/// Since the beginning of 1970, UTC; before it the seconds are negative and the nanoseconds count forwards still.
struct FileTime
{
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
};

/// When the content last changed. Windows error.
SystemError readModificationTime(const char* path, FileTime& time) noexcept;

/// Leaves the time of the last access alone. Windows error.
///
/// POSIX: a time that the file system can't keep becomes the nearest one that it can. Windows: a time before 1601
/// fails, and so does a file that somebody has open.
SystemError writeModificationTime(const char* path, const FileTime& time) noexcept;

/// In bytes.
struct DiskUsage
{
    std::uint64_t availableToCaller = 0;
    std::uint64_t total = 0;
    std::uint64_t free = 0;
};

/// Of the disk on which the folder is. Windows error.
SystemError readDiskUsage(const char* folder, DiskUsage& usage) noexcept;

/// The nine permission bits. `errno`.
///
/// Windows: as the runtime makes them up of the attribute "read only" and of the name's extension.
SystemError readPermissions(const char* path, int& permissions) noexcept;
SystemError writePermissions(const char* path, int permissions) noexcept;

/// Gives the file to a user, told by name or decimal number. `errno`: EINVAL where there is no such user.
///
/// Windows: does nothing, and succeeds.
SystemError changeOwner(const char* path, const char* owner) noexcept;

/// An entry of a folder by itself: of a link, not what it points to.
struct EntryStatus
{
    bool folder = false;
    bool link = false;
    std::uint64_t size = 0;
};

/// Windows error.
///
/// Windows: there are no links that removing would follow, so none is told.
SystemError readEntry(const char* path, EntryStatus& status) noexcept;

} // namespace MorvexA106::Platform
