#include "platform/filelock.h"

#include "platform/locknote.h"
#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string_view>

namespace MorvexA106::Platform
{

namespace
{

struct flock bytesOf(short type, FileRange range) noexcept
{
    struct flock bytes
    {};
    bytes.l_type = type;
    bytes.l_whence = SEEK_SET;
    bytes.l_start = range.begin;
    bytes.l_len = range.length;
    return bytes;
}

int setLock(int descriptor, int command, short type, FileRange range) noexcept
{
    struct flock bytes = bytesOf(type, range);
    return uninterrupted([&] { return ::fcntl(descriptor, command, &bytes); }) == 0 ? 0 : errno;
}

/// Somebody else's lock that forbids this one.
std::optional<struct flock> lockInTheWay(int descriptor, short type, FileRange range) noexcept
{
    struct flock bytes = bytesOf(type, range);
    const bool asked = uninterrupted([&] { return ::fcntl(descriptor, F_OFD_GETLK, &bytes); }) == 0;
    return asked && bytes.l_type != F_UNLCK ? std::optional(bytes) : std::nullopt;
}

bool isReadOnly(int descriptor) noexcept
{
    const int flags = ::fcntl(descriptor, F_GETFL);
    return flags != -1 && (flags & O_ACCMODE) == O_RDONLY;
}

Descriptor opened(const char* path, int flags) noexcept
{
    return Descriptor(
        uninterrupted([&] { return ::open(path, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666); }));
}

bool mayBeReadable(int error) noexcept
{
    return error == EACCES || error == EPERM || error == EROFS;
}

// --- processes

/// The number behind that many blanks.
std::optional<std::uint64_t> fieldOf(std::string_view text, int blanks) noexcept
{
    for (; blanks > 0; --blanks) {
        const std::size_t blank = text.find(' ');
        if (blank == std::string_view::npos) {
            return std::nullopt;
        }
        text.remove_prefix(blank + 1);
    }
    std::uint64_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    return read.ec == std::errc() ? std::optional(value) : std::nullopt;
}

/// When the process started, in the machine's ticks since it did; nothing for one that isn't there or isn't shown.
std::optional<std::uint64_t> startTicksOf(std::uint32_t process) noexcept
{
    std::array<char, 32> path{};
    std::snprintf(path.data(), path.size(), "/proc/%u/stat", process);
    const Descriptor file = opened(path.data(), O_RDONLY);
    std::array<char, 1024> text{};
    const auto count =
        file ? uninterrupted([&] { return ::read(file.get(), text.data(), text.size()); }) : -1;
    const std::string_view line(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    const std::size_t nameEnd = line.rfind(')'); // the name before may hold anything
    constexpr int blanksBeforeStart = 20;
    return nameEnd != std::string_view::npos ? fieldOf(line.substr(nameEnd), blanksBeforeStart)
                                             : std::nullopt;
}

std::int64_t millisecondsOf(clockid_t clock) noexcept
{
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

std::int64_t momentOf(std::uint64_t ticks) noexcept
{
    const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    const auto sinceBoot = static_cast<std::int64_t>(ticks * 1000 / ticksPerSecond);
    return millisecondsOf(CLOCK_REALTIME) - millisecondsOf(CLOCK_BOOTTIME) + sinceBoot;
}

std::optional<LockHolder> holderOf(std::uint32_t process, std::optional<std::uint32_t> stamp) noexcept
{
    const auto ticks = startTicksOf(process);
    if (!ticks || (stamp && LockNote::stampOf(*ticks) != *stamp)) {
        return std::nullopt;
    }
    return LockHolder{process, momentOf(*ticks)};
}

/// Asked of the system once, and once more in every process that is forked off.
LockNote ownNote() noexcept
{
    static std::atomic<std::uint64_t> known{0};
    const auto process = static_cast<std::uint32_t>(::getpid());
    const std::uint64_t found = known.load(std::memory_order_relaxed);
    if (found >> 32 == process) {
        return {process, static_cast<std::uint32_t>(found)};
    }
    const auto ticks = startTicksOf(process);
    if (!ticks) {
        return {0, 0};
    }
    const std::uint32_t stamp = LockNote::stampOf(*ticks);
    known.store(std::uint64_t{process} << 32 | stamp, std::memory_order_relaxed);
    return {process, stamp};
}

} // namespace

FileResult openForLocks(const char* path, bool create) noexcept
{
    Descriptor file = opened(path, O_RDWR | (create ? O_CREAT : 0));
    if (!file && mayBeReadable(errno)) {
        const int error = errno;
        file = opened(path, O_RDONLY);
        errno = file ? 0 : error;
    }
    return file ? FileResult{file.release()} : FileResult{-1, errno};
}

int lockRange(int descriptor, FileRange range, bool exclusive, bool wait) noexcept
{
    const short type = exclusive ? F_WRLCK : F_RDLCK;
    const int error = setLock(descriptor, wait ? F_OFD_SETLKW : F_OFD_SETLK, type, range);
    if (error == EACCES) {
        return EAGAIN; // the other number for the same thing
    }
    return error == EBADF && exclusive && isReadOnly(descriptor) ? EACCES : error;
}

/// A lock for reading, whatever the lock is that it tells of: all holders may have it on the same byte.
void tellHolder(int descriptor, FileRange held) noexcept
{
    const LockNote note = ownNote();
    if (note.canBeTold()) {
        const std::int64_t place = note.placeIn(LockNote::regionOf(held.begin), 0);
        static_cast<void>(setLock(descriptor, F_OFD_SETLK, F_RDLCK, {place, 1}));
    }
}

/// All that the descriptor has locked, lock and note, goes in one step.
int unlockRange(int descriptor, FileRange) noexcept
{
    return setLock(descriptor, F_OFD_SETLK, F_UNLCK, {0, LockNote::last});
}

std::optional<LockHolder> findHolder(int descriptor, FileRange wanted, bool exclusive) noexcept
{
    const auto held = lockInTheWay(descriptor, exclusive ? F_WRLCK : F_RDLCK, wanted);
    if (!held) {
        return std::nullopt;
    }
    if (held->l_pid > 0) { // a lock of another kind, with which the system tells the process
        return holderOf(static_cast<std::uint32_t>(held->l_pid), std::nullopt);
    }
    const std::int64_t region = LockNote::regionOf(held->l_start);
    const auto found = lockInTheWay(descriptor, F_WRLCK, {region, LockNote::regionSize});
    if (!found || found->l_start < region || found->l_len != 1) {
        return std::nullopt;
    }
    const LockNote note = LockNote::at(found->l_start);
    return holderOf(note.process, note.stamp);
}

} // namespace MorvexA106::Platform
