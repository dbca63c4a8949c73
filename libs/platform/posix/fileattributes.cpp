#include "platform/fileattributes.h"

#include "platform/posix/outcome.h"
#include "platform/posix/owned.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <new>

namespace MorvexA106::Platform
{

namespace
{

constexpr auto nobodyAtAll = static_cast<uid_t>(-1); // leaves the owner as it is

bool isNumber(const char* text, uid_t& number) noexcept
{
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    return error == std::errc{} && stop == end && number != nobodyAtAll;
}

/// 0, or the `errno`. The system's list of users may come from far away and tells its room only by failing.
int findUser(const char* name, uid_t& user) noexcept
{
    constexpr std::size_t mostRoom = std::size_t{1} << 20;
    for (std::size_t room = 1024; room <= mostRoom; room *= 2) {
        const std::unique_ptr<char[]> buffer(new (std::nothrow) char[room]);
        if (!buffer) {
            return ENOMEM;
        }
        passwd entry{};
        passwd* found = nullptr;
        const int error = ::getpwnam_r(name, &entry, buffer.get(), room, &found);
        if (found != nullptr) {
            user = entry.pw_uid;
            return 0;
        }
        if (error != ERANGE && error != EINTR) {
            return error == 0 || error == ENOENT || error == ESRCH ? EINVAL : error;
        }
    }
    return ERANGE;
}

} // namespace

SystemError readModificationTime(const char* path, FileTime& time) noexcept
{
    struct stat status;
    if (::stat(path, &status) != 0) {
        return lastWindowsError();
    }
    time = {status.st_mtim.tv_sec, static_cast<std::uint32_t>(status.st_mtim.tv_nsec)};
    return {};
}

SystemError writeModificationTime(const char* path, const FileTime& time) noexcept
{
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = time.seconds;
    times[1].tv_nsec = time.nanoseconds;
    return windowsOutcome(::utimensat(AT_FDCWD, path, times, 0));
}

SystemError readDiskUsage(const char* folder, DiskUsage& usage) noexcept
{
    struct statvfs status;
    if (uninterrupted([&] { return ::statvfs(folder, &status); }) != 0) {
        return lastWindowsError();
    }
    const std::uint64_t unit = status.f_frsize;
    usage = {status.f_bavail * unit, status.f_blocks * unit, status.f_bfree * unit};
    return {};
}

SystemError readPermissions(const char* path, int& permissions) noexcept
{
    struct stat status;
    const SystemError error = runtimeOutcome(::stat(path, &status));
    permissions = error ? 0 : static_cast<int>(status.st_mode & 0777);
    return error;
}

SystemError writePermissions(const char* path, int permissions) noexcept
{
    return runtimeOutcome(::chmod(path, static_cast<mode_t>(permissions & 0777)));
}

SystemError changeOwner(const char* path, const char* owner) noexcept
{
    uid_t user = 0;
    if (!isNumber(owner, user)) {
        if (const int error = findUser(owner, user)) {
            return runtimeError(error);
        }
    }
    return runtimeOutcome(::chown(path, user, static_cast<gid_t>(-1)));
}

SystemError readEntry(const char* path, EntryStatus& result) noexcept
{
    struct stat status;
    if (::lstat(path, &status) != 0) {
        return lastWindowsError();
    }
    result = {S_ISDIR(status.st_mode), S_ISLNK(status.st_mode), static_cast<std::uint64_t>(status.st_size)};
    return {};
}

} // namespace MorvexA106::Platform
