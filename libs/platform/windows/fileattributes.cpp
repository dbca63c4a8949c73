#include "platform/fileattributes.h"

#include "platform/windows/outcome.h"
#include "platform/windows/owned.h"

#include <windows.h>

#include <io.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <limits>

namespace MorvexA106::Platform
{

namespace
{

constexpr std::int64_t ticksPerSecond = 10'000'000;
constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;

SystemError findEntry(const char* path, WIN32_FIND_DATAA& found) noexcept
{
    const FindHandle search(validOrNull(FindFirstFileA(path, &found)));
    return windowsOutcome(search != nullptr);
}

SystemError refused() noexcept
{
    SetLastError(ERROR_INVALID_PARAMETER);
    return lastWindowsError();
}

/// False for what the system's own clock can't say.
bool ticksOf(const FileTime& time, ULARGE_INTEGER& ticks) noexcept
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / ticksPerSecond - 1;
    if (time.seconds < -secondsFrom1601To1970 || time.seconds > most - secondsFrom1601To1970) {
        return false;
    }
    ticks.QuadPart = static_cast<ULONGLONG>((time.seconds + secondsFrom1601To1970) * ticksPerSecond +
                                            time.nanoseconds / 100);
    return true;
}

} // namespace

SystemError readModificationTime(const char* path, FileTime& time) noexcept
{
    WIN32_FIND_DATAA found;
    if (const SystemError error = findEntry(path, found)) {
        return error;
    }
    const ULARGE_INTEGER ticks = {
        {found.ftLastWriteTime.dwLowDateTime, found.ftLastWriteTime.dwHighDateTime}};
    if (ticks.QuadPart > static_cast<ULONGLONG>(std::numeric_limits<std::int64_t>::max())) {
        return refused();
    }
    const auto count = static_cast<std::int64_t>(ticks.QuadPart);
    time = {count / ticksPerSecond - secondsFrom1601To1970,
            static_cast<std::uint32_t>(count % ticksPerSecond * 100)};
    return {};
}

SystemError writeModificationTime(const char* path, const FileTime& time) noexcept
{
    ULARGE_INTEGER ticks;
    if (!ticksOf(time, ticks)) {
        return refused();
    }
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return lastWindowsError();
    }
    const FileHandle file(validOrNull(
        CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, attributes, nullptr)));
    if (!file) {
        return lastWindowsError();
    }
    const FILETIME stamp = {ticks.LowPart, ticks.HighPart};
    return windowsOutcome(SetFileTime(file.get(), nullptr, nullptr, &stamp));
}

SystemError readDiskUsage(const char* folder, DiskUsage& usage) noexcept
{
    ULARGE_INTEGER available;
    ULARGE_INTEGER total;
    ULARGE_INTEGER free;
    const SystemError error = windowsOutcome(GetDiskFreeSpaceExA(folder, &available, &total, &free));
    if (!error) {
        usage = {available.QuadPart, total.QuadPart, free.QuadPart};
    }
    return error;
}

SystemError readPermissions(const char* path, int& permissions) noexcept
{
    struct _stat64 status;
    const SystemError error = runtimeOutcome(_stat64(path, &status));
    permissions = error ? 0 : status.st_mode & 0777;
    return error;
}

SystemError writePermissions(const char* path, int permissions) noexcept
{
    return runtimeOutcome(_chmod(path, permissions & (_S_IREAD | _S_IWRITE)));
}

SystemError changeOwner(const char*, const char*) noexcept
{
    return {};
}

SystemError readEntry(const char* path, EntryStatus& status) noexcept
{
    WIN32_FIND_DATAA found;
    const SystemError error = findEntry(path, found);
    if (!error) {
        status = {(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, false,
                  (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) + found.nFileSizeLow};
    }
    return error;
}

} // namespace MorvexA106::Platform
