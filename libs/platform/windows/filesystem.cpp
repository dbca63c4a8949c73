#include "platform/filesystem.h"

#include "platform/windows/entries.h"
#include "platform/windows/outcome.h"
#include "platform/windows/owned.h"

#include <windows.h>

#include <direct.h>
#include <io.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <type_traits>

namespace MorvexA106::Platform
{

namespace
{

/// Since 1970, rounded down.
std::time_t secondsOf(const FILETIME& time) noexcept
{
    constexpr std::int64_t unitsASecond = 10'000'000;
    constexpr std::int64_t before1970 = 11'644'473'600;
    const auto units = (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) + time.dwLowDateTime;
    return static_cast<std::time_t>(static_cast<std::int64_t>(units / unitsASecond) - before1970);
}

/// Calls with a buffer that doubles until the result fits.
template <class Call>
SystemError readFolder(std::string& folder, Call call)
{
    for (int size = 260;; size *= 2) {
        folder.resize(static_cast<std::size_t>(size));
        if (call(folder.data(), size) != nullptr) {
            folder.resize(folder.find('\0'));
            return {};
        }
        if (errno != ERANGE) {
            return lastRuntimeError();
        }
    }
}

} // namespace

SystemError lookFor(const char* path) noexcept
{
    return runtimeOutcome(_access(path, 0));
}

SystemError readAttributes(const char* path, bool& folder) noexcept
{
    const DWORD attributes = GetFileAttributesA(path);
    const SystemError error = windowsOutcome(attributes != INVALID_FILE_ATTRIBUTES);
    folder = !error && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return error;
}

bool isLink(const char*) noexcept
{
    return false;
}

SystemError readSize(const char* path, std::uint64_t& size) noexcept
{
    WIN32_FIND_DATAA found;
    const FindHandle search(validOrNull(FindFirstFileA(path, &found)));
    const SystemError error = windowsOutcome(search != nullptr);
    size = error ? 0 : (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) + found.nFileSizeLow;
    return error;
}

bool identify(const char* path, FileIdentity& identity) noexcept
{
    // Opened for nothing but questions, which no other opener's sharing forbids.
    const FileHandle file(
        validOrNull(CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
    BY_HANDLE_FILE_INFORMATION told;
    if (!file || !GetFileInformationByHandle(file.get(), &told)) {
        return false;
    }
    identity = {told.dwVolumeSerialNumber,
                (static_cast<std::uint64_t>(told.nFileIndexHigh) << 32) + told.nFileIndexLow};
    return true;
}

bool isSameFile(const char* left, const char* right) noexcept
{
    FileIdentity one;
    FileIdentity other;
    return identify(left, one) && identify(right, other) && one == other;
}

SystemError makeFolder(const char* path, int) noexcept
{
    return runtimeOutcome(_mkdir(path));
}

SystemError removeFolder(const char* path) noexcept
{
    return runtimeOutcome(_rmdir(path));
}

SystemError removeFile(const char* path) noexcept
{
    return windowsOutcome(DeleteFileA(path));
}

SystemError moveFile(const char* from, const char* to)
{
    return windowsOutcome(MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
}

SystemError currentFolder(std::string& folder)
{
    return readFolder(folder, [](char* buffer, int size) { return _getcwd(buffer, size); });
}

SystemError changeFolder(const char* path) noexcept
{
    return runtimeOutcome(_chdir(path));
}

SystemError currentFolderOfDrive(char drive, std::string& folder)
{
    const int number = (drive | 0x20) - 'a'; // letters only come here
    if (number < 0 || number > 25 || (GetLogicalDrives() >> number & 1) == 0) {
        return runtimeError(ENOENT);
    }
    return readFolder(folder, [=](char* buffer, int size) { return _getdcwd(number + 1, buffer, size); });
}

struct FolderWalk::State
{
    FindHandle search;
    WIN32_FIND_DATAA entry;
    bool fresh = true;
};

FolderWalk::FolderWalk() noexcept = default;
FolderWalk::~FolderWalk() = default;

SystemError FolderWalk::open(const std::string& folder, const char* pattern, Matcher)
{
    auto state = std::make_unique<State>();
    state->search.reset(validOrNull(FindFirstFileA((folder + pattern).c_str(), &state->entry)));
    if (state->search) {
        m_state = std::move(state);
        return {};
    }
    m_state.reset();
    return GetLastError() == ERROR_FILE_NOT_FOUND ? SystemError{} : lastWindowsError(); // nothing matches
}

bool FolderWalk::next(const char*& name, SystemError& error)
{
    error = {};
    if (!m_state) {
        return false;
    }
    if (!m_state->fresh && !FindNextFileA(m_state->search.get(), &m_state->entry)) {
        error = GetLastError() == ERROR_NO_MORE_FILES ? SystemError{} : lastWindowsError();
        m_state.reset();
        return false;
    }
    m_state->fresh = false;
    name = m_state->entry.cFileName;
    return true;
}

SystemError FolderWalk::readStatus(FoundEntry& status) const noexcept
{
    const WIN32_FIND_DATAA& entry = m_state->entry;
    status = {secondsOf(entry.ftLastWriteTime), isFolder(), isLink(), sizeOf(entry)};
    return {};
}

bool FolderWalk::isFolder() const noexcept
{
    return (m_state->entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool FolderWalk::isLink() const noexcept
{
    return kindOf(m_state->entry) == EntryKind::link;
}

} // namespace MorvexA106::Platform
