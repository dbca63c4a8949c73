#include "faults_posix.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace MorvexA106::Faults
{

namespace
{

thread_local Injection* armed = nullptr; // the last one

constexpr std::string_view interruptibleNames[] = {
    "open",      "openat",    "close", "read",  "write",           "pread",    "pwrite", "fsync",
    "fdatasync", "ftruncate", "fcntl", "flock", "copy_file_range", "sendfile", "poll",   "fallocate"};

enum class Outcome
{
    passes,
    fails,
    movesHalf,
    movesNothing
};

} // namespace

Injection* firstHit(const char* name, bool movesBytes) noexcept
{
    Injection* hit = nullptr;
    for (Injection* each = armed; each != nullptr; each = each->m_before) {
        if (each->hits(name, movesBytes) && hit == nullptr) {
            hit = each;
        }
    }
    return hit;
}

namespace
{

Outcome outcomeOf(const char* name, bool movesBytes) noexcept
{
    const Injection* hit = firstHit(name, movesBytes);
    if (hit == nullptr) {
        return Outcome::passes;
    }
    const Fault& fault = hit->fault();
    if (fault.error != 0) {
        errno = fault.error;
        return Outcome::fails;
    }
    return fault.count == Fault::Count::half ? Outcome::movesHalf : Outcome::movesNothing;
}

/// The function that this program's own one hides.
template <class Function>
Function* hidden(const char* name) noexcept
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// A call that moves bytes: `move` is told how many.
template <class Move>
ssize_t moving(const char* name, std::size_t count, Move move)
{
    switch (outcomeOf(name, true)) {
    case Outcome::fails:
        return -1;
    case Outcome::movesNothing:
        return 0;
    case Outcome::movesHalf:
        return move(count - count / 2);
    default:
        return move(count);
    }
}

bool fails(const char* name) noexcept
{
    return outcomeOf(name, false) == Outcome::fails;
}

} // namespace

const std::span<const std::string_view> interruptible = interruptibleNames;

void Injection::arm() noexcept
{
    if (!m_armed) {
        m_before = armed;
        armed = this;
        m_armed = true;
    }
}

void Injection::disarm() noexcept
{
    if (!m_armed) {
        return;
    }
    Injection** link = &armed;
    while (*link != this) {
        link = &(*link)->m_before;
    }
    *link = m_before;
    m_armed = false;
}

bool Injection::hits(const char* name, bool movesBytes) noexcept
{
    if (m_name != nullptr) {
        return m_fault.lasts && std::string_view(m_name) == name;
    }
    const bool meant = m_fault.only.empty() ? movesBytes || m_fault.error != 0
                                            : std::ranges::find(m_fault.only, name) != m_fault.only.end();
    if (!meant || m_passing-- > 0) {
        return false;
    }
    m_name = name;
    return true;
}

unsigned openDescriptors()
{
    unsigned count = 0;
    DIR* folder = ::opendir("/proc/self/fd");
    while (::readdir(folder) != nullptr) {
        ++count;
    }
    ::closedir(folder);
    return count;
}

} // namespace MorvexA106::Faults

using namespace MorvexA106::Faults;

// The library finds what it calls here only where the program shows it.
#pragma GCC visibility push(default)

/// A function in the C library's place: passes the call on unless it is to fail.
#define MORVEX_FAULTY(Result, name, parameters, exceptions, arguments, failed)                               \
    extern "C" Result name parameters exceptions                                                             \
    {                                                                                                        \
        static const auto real = hidden<Result parameters>(#name);                                           \
        return fails(#name) ? (failed) : real arguments;                                                     \
    }

/// The same for one that moves `count` bytes.
#define MORVEX_FAULTY_MOVE(name, parameters, arguments)                                                      \
    extern "C" ssize_t name parameters                                                                       \
    {                                                                                                        \
        static const auto real = hidden<ssize_t parameters>(#name);                                          \
        return moving(#name, count, [&](std::size_t moved) {                                                 \
            count = moved;                                                                                   \
            return real arguments;                                                                           \
        });                                                                                                  \
    }

MORVEX_FAULTY_MOVE(read, (int file, void* bytes, std::size_t count), (file, bytes, count))
MORVEX_FAULTY_MOVE(write, (int file, const void* bytes, std::size_t count), (file, bytes, count))
MORVEX_FAULTY_MOVE(pread, (int file, void* bytes, std::size_t count, off_t at), (file, bytes, count, at))
MORVEX_FAULTY_MOVE(pwrite, (int file, const void* bytes, std::size_t count, off_t at),
                   (file, bytes, count, at))
MORVEX_FAULTY_MOVE(copy_file_range,
                   (int from, off64_t* fromAt, int to, off64_t* toAt, std::size_t count, unsigned flags),
                   (from, fromAt, to, toAt, count, flags))

extern "C" ssize_t sendfile(int to, int from, off_t* at, std::size_t count) noexcept
{
    static const auto real = hidden<ssize_t(int, int, off_t*, std::size_t)>("sendfile");
    return moving("sendfile", count, [&](std::size_t moved) { return real(to, from, at, moved); });
}

extern "C" int close(int file)
{
    static const auto real = hidden<int(int)>("close");
    const bool failing = fails("close");
    const int error = errno;
    const int closed = real(file); // the system lets go of the descriptor even when it reports a failure
    errno = failing ? error : errno;
    return failing ? -1 : closed;
}

namespace
{

/// The permissions, which are handed over only where a file may be made.
int permissionsOf(int flags, std::va_list arguments)
{
    const bool making = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return making ? va_arg(arguments, int) : 0;
}

} // namespace

extern "C" int open(const char* path, int flags, ...)
{
    static const auto real = hidden<int(const char*, int, ...)>("open");
    std::va_list arguments;
    va_start(arguments, flags);
    const int permissions = permissionsOf(flags, arguments);
    va_end(arguments);
    return fails("open") ? -1 : real(path, flags, permissions);
}

extern "C" int openat(int folder, const char* path, int flags, ...)
{
    static const auto real = hidden<int(int, const char*, int, ...)>("openat");
    std::va_list arguments;
    va_start(arguments, flags);
    const int permissions = permissionsOf(flags, arguments);
    va_end(arguments);
    return fails("openat") ? -1 : real(folder, path, flags, permissions);
}

extern "C" int fcntl(int file, int command, ...)
{
    static const auto real = hidden<int(int, int, ...)>("fcntl");
    std::va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*); // an int goes through the same register
    va_end(arguments);
    return fails("fcntl") ? -1 : real(file, command, argument);
}

extern "C" int ioctl(int file, unsigned long request, ...) noexcept
{
    static const auto real = hidden<int(int, unsigned long, ...)>("ioctl");
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return fails("ioctl") ? -1 : real(file, request, argument);
}

/// The end of a folder and a failure look alike but for `errno`.
MORVEX_FAULTY(dirent*, readdir, (DIR * folder), , (folder), nullptr)
MORVEX_FAULTY(DIR*, opendir, (const char* path), , (path), nullptr)
MORVEX_FAULTY(DIR*, fdopendir, (int file), , (file), nullptr)

MORVEX_FAULTY(ssize_t, getdents64, (int file, void* bytes, std::size_t count), noexcept, (file, bytes, count),
              -1)

MORVEX_FAULTY(int, fsync, (int file), , (file), -1)
MORVEX_FAULTY(int, fdatasync, (int file), , (file), -1)
MORVEX_FAULTY(int, fallocate, (int file, int mode, off_t at, off_t count), , (file, mode, at, count), -1)
MORVEX_FAULTY(int, ftruncate, (int file, off_t size), noexcept, (file, size), -1)
MORVEX_FAULTY(off_t, lseek, (int file, off_t offset, int whence), noexcept, (file, offset, whence), -1)
MORVEX_FAULTY(int, flock, (int file, int operation), noexcept, (file, operation), -1)
MORVEX_FAULTY(int, poll, (pollfd * files, nfds_t count, int limit), , (files, count, limit), -1)

MORVEX_FAULTY(int, stat, (const char* path, struct stat* status), noexcept, (path, status), -1)
MORVEX_FAULTY(int, lstat, (const char* path, struct stat* status), noexcept, (path, status), -1)
MORVEX_FAULTY(int, fstat, (int file, struct stat* status), noexcept, (file, status), -1)
MORVEX_FAULTY(int, fstatat, (int folder, const char* path, struct stat* status, int flags), noexcept,
              (folder, path, status, flags), -1)
MORVEX_FAULTY(int, statx, (int folder, const char* path, int flags, unsigned mask, struct statx* status),
              noexcept, (folder, path, flags, mask, status), -1)
MORVEX_FAULTY(int, statvfs, (const char* path, struct statvfs* status), noexcept, (path, status), -1)
MORVEX_FAULTY(int, access, (const char* path, int mode), noexcept, (path, mode), -1)
MORVEX_FAULTY(int, faccessat, (int folder, const char* path, int mode, int flags), noexcept,
              (folder, path, mode, flags), -1)

MORVEX_FAULTY(int, rename, (const char* from, const char* to), noexcept, (from, to), -1)
MORVEX_FAULTY(int, renameat, (int fromFolder, const char* from, int toFolder, const char* to), noexcept,
              (fromFolder, from, toFolder, to), -1)
MORVEX_FAULTY(int, renameat2,
              (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags), noexcept,
              (fromFolder, from, toFolder, to, flags), -1)
MORVEX_FAULTY(int, link, (const char* from, const char* to), noexcept, (from, to), -1)
MORVEX_FAULTY(int, linkat, (int fromFolder, const char* from, int toFolder, const char* to, int flags),
              noexcept, (fromFolder, from, toFolder, to, flags), -1)
MORVEX_FAULTY(int, symlinkat, (const char* content, int folder, const char* path), noexcept,
              (content, folder, path), -1)
MORVEX_FAULTY(ssize_t, readlink, (const char* path, char* bytes, std::size_t count), noexcept,
              (path, bytes, count), -1)
MORVEX_FAULTY(ssize_t, readlinkat, (int folder, const char* path, char* bytes, std::size_t count), noexcept,
              (folder, path, bytes, count), -1)
MORVEX_FAULTY(int, unlink, (const char* path), noexcept, (path), -1)
MORVEX_FAULTY(int, unlinkat, (int folder, const char* path, int flags), noexcept, (folder, path, flags), -1)
MORVEX_FAULTY(int, mkdir, (const char* path, mode_t mode), noexcept, (path, mode), -1)
MORVEX_FAULTY(int, mkdirat, (int folder, const char* path, mode_t mode), noexcept, (folder, path, mode), -1)
MORVEX_FAULTY(int, rmdir, (const char* path), noexcept, (path), -1)

MORVEX_FAULTY(int, chmod, (const char* path, mode_t mode), noexcept, (path, mode), -1)
MORVEX_FAULTY(int, fchmod, (int file, mode_t mode), noexcept, (file, mode), -1)
MORVEX_FAULTY(int, fchown, (int file, uid_t owner, gid_t group), noexcept, (file, owner, group), -1)
MORVEX_FAULTY(int, futimens, (int file, const timespec times[2]), noexcept, (file, times), -1)
MORVEX_FAULTY(int, utimensat, (int folder, const char* path, const timespec times[2], int flags), noexcept,
              (folder, path, times, flags), -1)

MORVEX_FAULTY(ssize_t, lgetxattr, (const char* path, const char* name, void* bytes, std::size_t count),
              noexcept, (path, name, bytes, count), -1)
MORVEX_FAULTY(int, fsetxattr, (int file, const char* name, const void* bytes, std::size_t count, int flags),
              noexcept, (file, name, bytes, count, flags), -1)
MORVEX_FAULTY(int, fremovexattr, (int file, const char* name), noexcept, (file, name), -1)

MORVEX_FAULTY(void*, mmap, (void* at, std::size_t count, int access, int flags, int file, off_t offset),
              noexcept, (at, count, access, flags, file, offset), MAP_FAILED)

MORVEX_FAULTY(int, inotify_init1, (int flags), noexcept, (flags), -1)
MORVEX_FAULTY(int, inotify_add_watch, (int file, const char* path, std::uint32_t mask), noexcept,
              (file, path, mask), -1)

#pragma GCC visibility pop
