#pragma once

/// @file
/// Questions about paths and acts on them. Each function says which kind of number its failure has. A call that
/// a signal interrupts is taken up again. Paths are handed to the system as they stand.

#include "platform/systemerror.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

namespace MorvexA106::Platform
{

/// Whether there is something at a path, links followed. `errno`.
SystemError lookFor(const char* path) noexcept;

/// Whether the path is a folder, links followed. Windows error.
SystemError readAttributes(const char* path, bool& folder) noexcept;

/// True for a link that the calls for removing would not take by its own name unless told so.
///
/// Windows: never, since those calls act on the link.
bool isLink(const char* path) noexcept;

/// The size as the folder's entry tells it; 0 for a folder. Windows error.
SystemError readSize(const char* path, std::uint64_t& size) noexcept;

/// What tells one file or folder from all others, by whatever path it is reached.
struct FileIdentity
{
    std::uint64_t device = 0;
    std::uint64_t index = 0;

    bool operator==(const FileIdentity&) const = default;
};

/// False when there is nothing at the path, or the system doesn't tell.
bool identify(const char* path, FileIdentity& identity) noexcept;
bool isSameFile(const char* left, const char* right) noexcept;

/// Windows: the permissions are ignored. `errno`.
SystemError makeFolder(const char* path, int permissions) noexcept;

/// `errno`.
SystemError removeFolder(const char* path) noexcept;

/// Windows error.
SystemError removeFile(const char* path) noexcept;

/// Puts the file in place of what has the new name, and returns when that has reached the disk. Windows error.
SystemError moveFile(const char* from, const char* to);

/// `errno`.
SystemError currentFolder(std::string& folder);
SystemError changeFolder(const char* path) noexcept;

/// The current folder of a drive, named by its letter. `errno`. POSIX: there are no drives, and always fails.
SystemError currentFolderOfDrive(char drive, std::string& folder);

struct FoundEntry
{
    std::time_t modificationTime = 0;
    bool folder = false;
    bool link = false;
    std::uint64_t size = 0;
};

/// A walk over the entries of one folder, which is held open. Windows errors.
class FolderWalk
{
public:
    /// Whether a name matches a pattern, for systems that leave this to the program.
    using Matcher = bool (*)(const char* pattern, const char* name);

    FolderWalk() noexcept;
    ~FolderWalk();

    /// `folder` is empty or ends in a separator.
    SystemError open(const std::string& folder, const char* pattern, Matcher matches);

    /// The name stays until the next call. False at the end and after a failure, which is stored. Closes the folder
    /// then.
    bool next(const char*& name, SystemError& error);

    // Of the entry that was found last; not to be asked after the end.

    /// POSIX: of what a link leads to; of the link itself where it leads nowhere, but `link` is told either way. One
    /// or two calls each time. Windows: of the entry itself, from what is known already.
    SystemError readStatus(FoundEntry& status) const noexcept;

    /// Asks the system only where the walk didn't tell it, or, POSIX, for a link. What can't be asked is no folder.
    bool isFolder() const noexcept;
    bool isLink() const noexcept;

private:
    struct State;

    std::unique_ptr<State> m_state;
};

} // namespace MorvexA106::Platform
