#pragma once

/// @file
/// Files mapped into memory for reading.

#include "platform/systemerror.h"

#include <cstddef>
#include <cstdint>

namespace MorvexA106::Platform
{

/// The view of a whole file, and the system's handles that stand behind it.
struct FileMapping
{
    unsigned char* view = nullptr;
    std::uint32_t size = 0;
    std::intptr_t file = -1;

    /// POSIX: there is none, and it stays 0.
    std::intptr_t mapping = 0;
};

enum class MappingStep
{
    open,
    size,
    mapping,
    view
};

/// What mapping came to: the step that failed and its Windows error; false when none did.
struct [[nodiscard]] MappingOutcome
{
    MappingStep step = MappingStep::open;
    SystemError error;

    explicit operator bool() const noexcept { return static_cast<bool>(error); }
};

/// Maps the whole of a file, for the caller to unmap; after a failure nothing is left open. As long as it is mapped,
/// others may read the file and not write it. An empty file fails in the step `mapping` with 1006, one whose size
/// 32 bits cannot hold, or only as all ones, with 223.
///
/// POSIX: the others are the users of this library. What is no regular file is refused in the step `open`. On
/// a file system without locks the file is mapped all the same.
MappingOutcome mapFile(const char* path, FileMapping& mapped) noexcept;

void unmapFile(const FileMapping& mapped) noexcept;

/// Bytes that were read: fewer than were asked for at the end of the file, and where there was an error.
struct [[nodiscard]] MappedBytes
{
    std::size_t count = 0;
    SystemError error;
};

/// Reads from the file of a mapping without touching the view, whose pages may be gone when another process has
/// cut the file short. Any number of threads may do so at once.
///
/// POSIX: an `errno`. Windows: a Windows error.
MappedBytes readMapped(std::intptr_t file, std::uint64_t offset, void* bytes, std::size_t count) noexcept;

/// Whether the path leads to the file of a mapping, which may have another name by now. Windows: never, as nobody
/// can write to such a file in any case.
bool isMappedAt(std::intptr_t file, const char* path) noexcept;

/// True where opening would wait for somebody at the other end. Windows: never.
bool isPipe(const char* path) noexcept;

} // namespace MorvexA106::Platform
