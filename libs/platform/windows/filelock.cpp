#include "platform/filelock.h"

#include "platform/locknote.h"
#include "platform/windows/owned.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <cerrno>

namespace MorvexA106::Platform
{

namespace
{

/// Where a range begins, in the form in which the calls take it.
OVERLAPPED beginOf(FileRange range) noexcept
{
    OVERLAPPED begin{};
    begin.Offset = static_cast<DWORD>(range.begin);
    begin.OffsetHigh = static_cast<DWORD>(range.begin >> 32);
    return begin;
}

HANDLE handleOf(int descriptor) noexcept
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

int runtimeNumber(DWORD error) noexcept
{
    switch (error) {
    case ERROR_LOCK_VIOLATION:
    case ERROR_IO_PENDING: // what a lock that doesn't wait may say instead
        return EAGAIN;
    case ERROR_INVALID_HANDLE:
        return EBADF;
    case ERROR_ACCESS_DENIED:
        return EACCES;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return ENOMEM;
    case ERROR_NOT_SUPPORTED:
    case ERROR_INVALID_FUNCTION:
        return ENOSYS;
    case ERROR_NO_SYSTEM_RESOURCES:
        return ENOLCK;
    default:
        return EIO;
    }
}

int setLock(int descriptor, DWORD flags, FileRange range) noexcept
{
    OVERLAPPED begin = beginOf(range);
    const BOOL locked = LockFileEx(handleOf(descriptor), flags, 0, static_cast<DWORD>(range.length),
                                   static_cast<DWORD>(range.length >> 32), &begin);
    return locked ? 0 : runtimeNumber(GetLastError());
}

int clearLock(int descriptor, FileRange range) noexcept
{
    OVERLAPPED begin = beginOf(range);
    const BOOL unlocked = UnlockFileEx(handleOf(descriptor), 0, static_cast<DWORD>(range.length),
                                       static_cast<DWORD>(range.length >> 32), &begin);
    return unlocked ? 0 : runtimeNumber(GetLastError());
}

// --- processes

std::int64_t hundredNanoseconds(const FILETIME& time) noexcept
{
    return std::int64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::optional<std::int64_t> startOf(HANDLE process) noexcept
{
    FILETIME created;
    FILETIME ignored;
    const bool asked = GetProcessTimes(process, &created, &ignored, &ignored, &ignored) != 0;
    return asked ? std::optional(hundredNanoseconds(created)) : std::nullopt;
}

std::uint32_t stampOf(std::int64_t start) noexcept
{
    constexpr std::int64_t tick = 100000; // a hundredth of a second
    return LockNote::stampOf(static_cast<std::uint64_t>(start / tick));
}

/// The system's numbers of processes are multiples of four.
constexpr unsigned processShift = 2;

LockNote ownNote() noexcept
{
    const std::optional<std::int64_t> start = startOf(GetCurrentProcess());
    const DWORD process = GetCurrentProcessId();
    const bool isWhole = (process & ((1U << processShift) - 1)) == 0;
    return start && isWhole ? LockNote{process >> processShift, stampOf(*start)} : LockNote{0, 0};
}

std::optional<LockHolder> holderOf(const LockNote& note) noexcept
{
    const DWORD number = note.process << processShift;
    const FileHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, number));
    const std::optional<std::int64_t> start = process ? startOf(process.get()) : std::nullopt;
    if (!start || stampOf(*start) != note.stamp) {
        return std::nullopt;
    }
    constexpr std::int64_t epoch = 116444736000000000; // 1970
    return LockHolder{static_cast<std::uint32_t>(number), (*start - epoch) / 10000};
}

/// Who looks for a note takes locks for reading as well, for a moment.
constexpr DWORD noteFlags = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;

template <class Visit>
void forEachPlace(const LockNote& note, FileRange held, Visit visit) noexcept
{
    for (unsigned variant = 0; variant < 1U << LockNote::variantBits; ++variant) {
        if (visit(FileRange{note.placeIn(LockNote::regionOf(held.begin), variant), 1})) {
            return;
        }
    }
}

bool hasNote(int descriptor, FileRange range) noexcept
{
    if (setLock(descriptor, LOCKFILE_FAIL_IMMEDIATELY, range) != 0) {
        return true;
    }
    static_cast<void>(clearLock(descriptor, range));
    return false;
}

} // namespace

FileResult openForLocks(const char* path, bool create) noexcept
{
    const int flags = _O_RDONLY | _O_BINARY | _O_NOINHERIT | (create ? _O_CREAT : 0);
    const int descriptor = _sopen(path, flags, _SH_DENYNO, _S_IREAD | _S_IWRITE);
    return descriptor != -1 ? FileResult{descriptor} : FileResult{-1, errno != 0 ? errno : EBADF};
}

int lockRange(int descriptor, FileRange range, bool exclusive, bool wait) noexcept
{
    return setLock(
        descriptor,
        (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0UL) | (wait ? 0UL : DWORD{LOCKFILE_FAIL_IMMEDIATELY}), range);
}

/// The same byte can't be locked twice, be it by two holders in one process or by one who is looking.
void tellHolder(int descriptor, FileRange held) noexcept
{
    const LockNote note = ownNote();
    if (note.canBeTold()) {
        forEachPlace(note, held, [&](FileRange place) { return setLock(descriptor, noteFlags, place) == 0; });
    }
}

int unlockRange(int descriptor, FileRange held) noexcept
{
    const LockNote note = ownNote();
    if (note.canBeTold()) {
        forEachPlace(note, held, [&](FileRange place) { return clearLock(descriptor, place) == 0; });
    }
    return clearLock(descriptor, held);
}

/// The system doesn't tell whose lock is in the way. A note is searched by halves.
std::optional<LockHolder> findHolder(int descriptor, FileRange wanted, bool) noexcept
{
    FileRange region{LockNote::regionOf(wanted.begin), LockNote::regionSize};
    if (!hasNote(descriptor, region)) {
        return std::nullopt;
    }
    while (region.length > 1) {
        region.length /= 2;
        if (!hasNote(descriptor, region)) {
            region.begin += region.length;
        }
    }
    return hasNote(descriptor, region) ? holderOf(LockNote::at(region.begin)) : std::nullopt;
}

} // namespace MorvexA106::Platform
