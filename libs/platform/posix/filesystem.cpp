#include "platform/filesystem.h"

#include "platform/file.h"
#include "platform/posix/entries.h"
#include "platform/posix/outcome.h"
#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>

namespace MorvexA106::Platform
{

namespace
{

mode_t folderModeBits(int permissions) noexcept
{
    return permissions == FileWord::defaultPermissions ? 0777 : static_cast<mode_t>(permissions & 0777);
}

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return path.substr(0, slash == 0 ? 1 : slash);
}

/// File systems that have nothing to write for a folder say so with one of these.
bool needsNoFlush(int error) noexcept
{
    return error == EINVAL || error == EROFS || error == EOPNOTSUPP;
}

/// A folder that may be written but not read can't be flushed; the rename in it stands all the same.
SystemError flushFolder(const std::string& folder) noexcept
{
    const Descriptor opened(
        uninterrupted([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!opened) {
        return errno == EACCES ? SystemError{} : lastWindowsError();
    }
    const int result = uninterrupted([&] { return ::fsync(opened.get()); });
    return result != 0 && needsNoFlush(errno) ? SystemError{} : windowsOutcome(result);
}

} // namespace

SystemError lookFor(const char* path) noexcept
{
    return runtimeOutcome(::access(path, F_OK));
}

SystemError readAttributes(const char* path, bool& folder) noexcept
{
    struct stat status;
    const SystemError error = windowsOutcome(::stat(path, &status));
    folder = !error && S_ISDIR(status.st_mode);
    return error;
}

bool isLink(const char* path) noexcept
{
    struct stat status;
    return ::lstat(path, &status) == 0 && S_ISLNK(status.st_mode);
}

SystemError readSize(const char* path, std::uint64_t& size) noexcept
{
    struct stat status;
    const SystemError error = windowsOutcome(::stat(path, &status));
    size = error || S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
    return error;
}

bool identify(const char* path, FileIdentity& identity) noexcept
{
    struct stat status;
    if (::stat(path, &status) != 0) {
        return false;
    }
    identity = {status.st_dev, status.st_ino};
    return true;
}

bool isSameFile(const char* left, const char* right) noexcept
{
    FileIdentity one;
    FileIdentity other;
    return identify(left, one) && identify(right, other) && one == other;
}

SystemError makeFolder(const char* path, int permissions) noexcept
{
    return runtimeOutcome(::mkdir(path, folderModeBits(permissions)));
}

SystemError removeFolder(const char* path) noexcept
{
    return runtimeOutcome(::rmdir(path));
}

SystemError removeFile(const char* path) noexcept
{
    return windowsOutcome(::unlink(path));
}

SystemError moveFile(const char* from, const char* to)
{
    if (::rename(from, to) != 0) {
        return lastWindowsError();
    }
    // The new name first: at no moment may the disk know the file under neither.
    const std::string newFolder = folderOf(to);
    const std::string oldFolder = folderOf(from);
    const SystemError error = flushFolder(newFolder);
    return error || oldFolder == newFolder ? error : flushFolder(oldFolder);
}

SystemError currentFolder(std::string& folder)
{
    for (std::size_t size = 260;; size *= 2) {
        folder.resize(size);
        if (::getcwd(folder.data(), size) != nullptr) {
            folder.resize(folder.find('\0'));
            // Outside the process's root the kernel gives a text that is no path.
            return folder[0] == '/' ? SystemError{} : runtimeError(ENOENT);
        }
        if (errno != ERANGE) {
            return lastRuntimeError();
        }
    }
}

SystemError changeFolder(const char* path) noexcept
{
    return runtimeOutcome(::chdir(path));
}

SystemError currentFolderOfDrive(char, std::string&)
{
    return runtimeError(ENOENT);
}

struct FolderWalk::State
{
    Descriptor folder;
    EntryReader reader;
    std::string pattern;
    Matcher matches;
    const char* name = nullptr;
    mode_t type = 0; ///< 0 where the walk doesn't tell it

    bool look(struct stat& status, int flags) const noexcept
    {
        return ::fstatat(folder.get(), name, &status, flags | AT_NO_AUTOMOUNT) == 0;
    }
    mode_t typeOfEntry() const noexcept
    {
        struct stat status;
        if (type != 0) {
            return type;
        }
        return look(status, AT_SYMLINK_NOFOLLOW) ? status.st_mode & S_IFMT : 0;
    }
};

FolderWalk::FolderWalk() noexcept = default;
FolderWalk::~FolderWalk() = default;

SystemError FolderWalk::open(const std::string& folder, const char* pattern, Matcher matches)
{
    const char* const path = folder.empty() ? "." : folder.c_str();
    Descriptor opened(uninterrupted([&] { return ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!opened) {
        return lastWindowsError();
    }
    m_state = std::make_unique<State>(State{std::move(opened), {}, pattern, matches});
    return {};
}

bool FolderWalk::next(const char*& name, SystemError& error)
{
    error = {};
    while (m_state) {
        m_state->name = m_state->reader.next(m_state->folder.get(), m_state->type);
        if (m_state->name == nullptr) {
            error = windowsOutcome(errno);
            m_state.reset();
            return false;
        }
        if (m_state->matches(m_state->pattern.c_str(), m_state->name)) {
            name = m_state->name;
            return true;
        }
    }
    return false;
}

SystemError FolderWalk::readStatus(FoundEntry& result) const noexcept
{
    struct stat status;
    if (!m_state->look(status, 0) && !m_state->look(status, AT_SYMLINK_NOFOLLOW)) {
        return lastWindowsError();
    }
    result = {status.st_mtime, S_ISDIR(status.st_mode), isLink(), static_cast<std::uint64_t>(status.st_size)};
    return {};
}

bool FolderWalk::isFolder() const noexcept
{
    struct stat status;
    const mode_t type = m_state->typeOfEntry();
    return S_ISDIR(type) || (S_ISLNK(type) && m_state->look(status, 0) && S_ISDIR(status.st_mode));
}

bool FolderWalk::isLink() const noexcept
{
    return S_ISLNK(m_state->typeOfEntry());
}

} // namespace MorvexA106::Platform
