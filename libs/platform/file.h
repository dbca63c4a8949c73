#pragma once

/// @file
/// Descriptors of files, with the published words for access, permissions and sharing. Every failure here is
/// an `errno`. A call that a signal interrupts is taken up again, except closing.

#include <cstdint>

namespace MorvexA106::Platform
{

/// The words that the seam has to know; their values are part of the library's interface.
namespace FileWord
{
inline constexpr int accessMask = 0x3;
inline constexpr int writeOnly = 0x1;
inline constexpr int readAndWrite = 0x2;
inline constexpr int append = 0x8;
inline constexpr int random = 0x10;
inline constexpr int sequential = 0x20;
inline constexpr int temporary = 0x40;
inline constexpr int create = 0x100;
inline constexpr int truncate = 0x200;
inline constexpr int exclusive = 0x400;
inline constexpr int binary = 0x8000;

inline constexpr int ownerRWXMask = 0x1C0;
inline constexpr int defaultPermissions = 0x60000000;

inline constexpr int denyReadAndWrite = 0x10;
inline constexpr int denyWrite = 0x20;
inline constexpr int denyRead = 0x30;
inline constexpr int denyNothing = 0x40;
} // namespace FileWord

/// Whether the words make sense together: a known access, a known sharing, and nothing truncated unwritten.
/// What isn't valid fails with EINVAL before anything is opened.
constexpr bool isValidOpen(int flags, int sharing) noexcept
{
    const bool known = sharing == FileWord::denyNothing || sharing == FileWord::denyRead ||
                       sharing == FileWord::denyWrite || sharing == FileWord::denyReadAndWrite;
    const int access = flags & FileWord::accessMask;
    return known && access != FileWord::accessMask && ((flags & FileWord::truncate) == 0 || access != 0);
}

/// A descriptor, a count or a position, or -1 with the `errno`.
struct [[nodiscard]] FileResult
{
    std::int64_t value;
    int error = 0;

    bool failed() const noexcept { return error != 0; }
};

/// Opens a file for the caller to close. An open that fails for any reason truncates nothing.
FileResult openFile(const char* path, int flags, int permissions, int sharing) noexcept;

void closeFile(int descriptor) noexcept;

/// Counts may be short. No more than 2 GiB are moved in one call.
FileResult readFile(int descriptor, void* bytes, unsigned count) noexcept;
FileResult writeFile(int descriptor, const void* bytes, unsigned count) noexcept;

/// Returns when all that was written has reached the disk.
FileResult commitFile(int descriptor) noexcept;

/// `whence` is 0 for the beginning, 1 for the position, 2 for the end.
FileResult seekFile(int descriptor, std::int64_t offset, int whence) noexcept;

} // namespace MorvexA106::Platform
