#include "platform/filesystem.h"

#include "platform/file.h"
#include "platform/posix/owned.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>

namespace MorvexA106::Platform
{

namespace
{

SystemError windowsOutcome(int result) noexcept
{
    return result == 0 ? SystemError{} : lastWindowsError();
}

SystemError runtimeOutcome(int result) noexcept
{
    return result == 0 ? SystemError{} : lastRuntimeError();
}

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

SystemError readStatus(const char* path, FileStatus& result) noexcept
{
    struct stat status;
    if (::stat(path, &status) != 0 && ::lstat(path, &status) != 0) {
        return lastRuntimeError();
    }
    result = {status.st_mtime, S_ISDIR(status.st_mode), static_cast<std::uint64_t>(status.st_size)};
    return {};
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
    struct Close
    {
        void operator()(DIR* folder) const noexcept { ::closedir(folder); }
    };

    std::unique_ptr<DIR, Close> entries;
    std::string pattern;
    Matcher matches;
};

FolderWalk::FolderWalk() noexcept = default;
FolderWalk::~FolderWalk() = default;

SystemError FolderWalk::open(const std::string& folder, const char* pattern, Matcher matches)
{
    auto state = std::make_unique<State>(State{nullptr, pattern, matches});
    state->entries.reset(::opendir(folder.empty() ? "." : folder.c_str()));
    if (!state->entries) {
        return lastWindowsError();
    }
    m_state = std::move(state);
    return {};
}

bool FolderWalk::next(std::string& name, SystemError& error)
{
    error = {};
    while (m_state) {
        errno = 0;
        const dirent* entry = ::readdir(m_state->entries.get());
        if (entry == nullptr) {
            error = errno != 0 ? lastWindowsError() : SystemError{};
            m_state.reset();
            return false;
        }
        if (m_state->matches(m_state->pattern.c_str(), entry->d_name)) {
            name = entry->d_name;
            return true;
        }
    }
    return false;
}

} // namespace MorvexA106::Platform
