#include "platform/windows/folderview.h"

#include "platform/windows/owned.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace MorvexA106::Platform
{

namespace
{

/// Of FILETIME, 100 nanoseconds each, between 1601 and 1970.
constexpr std::int64_t ticksTo1970 = 116444736000000000;

SystemError failure(DWORD number) noexcept
{
    SetLastError(number);
    return lastWindowsError();
}

std::int64_t nanosecondsOf(const FILETIME& moment) noexcept
{
    const auto high = static_cast<std::uint64_t>(moment.dwHighDateTime);
    return (static_cast<std::int64_t>((high << 32) + moment.dwLowDateTime) - ticksTo1970) * 100;
}

SystemError lookAt(const std::string& path, DWORD linkFlag, EntryLook& look) noexcept
{
    // Opened for nothing but questions, which no other opener's sharing forbids.
    const FileHandle entry(
        validOrNull(CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | linkFlag, nullptr)));
    BY_HANDLE_FILE_INFORMATION told;
    if (!entry || !GetFileInformationByHandle(entry.get(), &told)) {
        return lastWindowsError();
    }
    constexpr DWORD kind = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    look.identity.device = told.dwVolumeSerialNumber;
    look.identity.index = (static_cast<std::uint64_t>(told.nFileIndexHigh) << 32) + told.nFileIndexLow;
    look.identity.birth = 0; // the index has a part that counts its owners, and anybody may set the time
    look.folder = (told.dwFileAttributes & (linkFlag != 0 ? kind : FILE_ATTRIBUTE_DIRECTORY)) ==
                  FILE_ATTRIBUTE_DIRECTORY;
    look.size = look.folder ? 0 : (static_cast<std::uint64_t>(told.nFileSizeHigh) << 32) + told.nFileSizeLow;
    look.modified = nanosecondsOf(told.ftLastWriteTime);
    return {};
}

SystemError requireFolder(const std::string& path, DWORD linkFlag) noexcept
{
    EntryLook look;
    const SystemError error = lookAt(path, linkFlag, look);
    return error || look.folder ? error : failure(ERROR_DIRECTORY);
}

/// Characters that the code page doesn't have come as question marks, and such a name leads nowhere.
bool canBeNamed(const std::string& name) noexcept
{
    return name.find_first_of("?*") == std::string::npos;
}

std::string pathIn(const std::string& folder, const std::string& name)
{
    return folder.ends_with('\\') ? folder + name : folder + '\\' + name;
}

std::string fullPath(const std::string& path)
{
    std::string full(GetFullPathNameA(path.c_str(), 0, nullptr, nullptr), '\0');
    full.resize(GetFullPathNameA(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full.empty() ? path : full;
}

/// The system finds a name in any case, and by its short form.
SystemError requireSpelling(const std::string& path, const std::string& name) noexcept
{
    WIN32_FIND_DATAA found;
    const FindHandle search(validOrNull(FindFirstFileA(path.c_str(), &found)));
    if (!search) {
        return lastWindowsError();
    }
    return name == found.cFileName ? SystemError{} : failure(ERROR_FILE_NOT_FOUND);
}

bool isDotEntry(const std::string& name) noexcept
{
    return name == "." || name == "..";
}

} // namespace

bool meansAbsent(const SystemError& error) noexcept
{
    constexpr std::array<unsigned long, 4> absent = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND,
                                                     ERROR_INVALID_NAME, ERROR_DIRECTORY};
    return std::ranges::find(absent, error.native) != absent.end();
}

std::int64_t fileClock() noexcept
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return nanosecondsOf(now);
}

FolderView::FolderView() noexcept = default;
FolderView::FolderView(FolderView&& other) noexcept = default;
FolderView& FolderView::operator=(FolderView&& other) noexcept = default;
FolderView::~FolderView() = default;

SystemError FolderView::open(const std::string& path)
{
    m_state.reset();
    if (const SystemError error = requireFolder(path, 0)) {
        return error;
    }
    m_state = std::make_unique<State>(State{fullPath(path)});
    return {};
}

SystemError FolderView::openIn(const FolderView& parent, const std::string& name)
{
    std::string path = pathIn(parent.m_state->path, name);
    m_state.reset();
    if (const SystemError error = requireFolder(path, FILE_FLAG_OPEN_REPARSE_POINT)) {
        return error;
    }
    m_state = std::make_unique<State>(State{std::move(path)});
    return {};
}

SystemError FolderView::look(EntryLook& look) const
{
    return lookAt(m_state->path, 0, look);
}

SystemError FolderView::look(const std::string& name, EntryLook& look) const
{
    if (!canBeNamed(name)) {
        return failure(ERROR_INVALID_NAME);
    }
    const std::string path = pathIn(m_state->path, name);
    const SystemError error = requireSpelling(path, name);
    return error ? error : lookAt(path, FILE_FLAG_OPEN_REPARSE_POINT, look);
}

SystemError FolderView::list(std::vector<std::string>& names) const
{
    WIN32_FIND_DATAA found;
    const FindHandle search(validOrNull(FindFirstFileA(pathIn(m_state->path, "*").c_str(), &found)));
    if (!search) { // the root of a disk has no entries that are always there
        return GetLastError() == ERROR_FILE_NOT_FOUND ? SystemError{} : lastWindowsError();
    }
    do {
        std::string name = found.cFileName;
        if (!isDotEntry(name) && canBeNamed(name)) {
            names.push_back(std::move(name));
        }
    } while (FindNextFileA(search.get(), &found));
    return GetLastError() == ERROR_NO_MORE_FILES ? SystemError{} : lastWindowsError();
}

bool FolderView::isShared() const noexcept
{
    const std::string& path = m_state->path;
    if (path.starts_with("\\\\")) {
        return true;
    }
    const std::array<char, 4> drive = {path.empty() ? '\0' : path[0], ':', '\\', '\0'};
    return GetDriveTypeA(drive.data()) == DRIVE_REMOTE;
}

} // namespace MorvexA106::Platform
