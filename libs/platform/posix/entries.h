#pragma once

/// @file
/// How the kernel tells of a folder's entries, and which folder of a chain is in hand.

#include "platform/folderchain.h"
#include "platform/posix/owned.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace MorvexA106::Platform
{

/// Reads the entries of an open folder, `.` and `..` among them, from where its descriptor stands. The C library's
/// streams would take a descriptor of their own for each folder.
class EntryReader
{
public:
    /// Forgets what was read of another folder.
    void begin() noexcept { m_used = m_filled = 0; }

    /// The next name, good until the next call; null at the end, and after a failure, with `errno` 0 at the end. The
    /// type has the form of a mode, and is 0 where the file system doesn't tell.
    const char* next(int folder, mode_t& type)
    {
        if (m_used == m_filled && !fill(folder)) {
            return nullptr;
        }
        const char* const entry = m_bytes.get() + m_used;
        unsigned short length;
        std::memcpy(&length, entry + offsetof(dirent64, d_reclen), sizeof length);
        m_used += length;
        type = DTTOIF(static_cast<unsigned char>(entry[offsetof(dirent64, d_type)]));
        return entry + offsetof(dirent64, d_name);
    }

private:
    static constexpr std::size_t size = std::size_t{64} * 1024;

    bool fill(int folder)
    {
        if (!m_bytes) {
            m_bytes = std::make_unique_for_overwrite<char[]>(size);
        }
        begin();
        const ssize_t count = uninterrupted([&] { return ::getdents64(folder, m_bytes.get(), size); });
        if (count <= 0) {
            // A folder that was removed while it was open has no entries.
            errno = count == 0 || errno == ENOENT ? 0 : errno;
            return false;
        }
        m_filled = static_cast<std::size_t>(count);
        return true;
    }

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_used = 0;
    std::size_t m_filled = 0;
};

inline bool isDotName(std::string_view name) noexcept
{
    return name == "." || name == "..";
}

struct FolderChain::Place
{
    Descriptor folder;
};

} // namespace MorvexA106::Platform
