#pragma once

/// @file
/// Locks between processes on files, and what they report.

#include "morvex/export.h"
#include "morvex/sdatetime.h"
#include "morvex/sfileexception.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

#include <cstdint>

namespace MorvexA106
{

/// A lock that was not refused but failed: "Fail to lock bytes of file ...". Its code is `UnknownError`, and
/// `getErrno` tells the cause: 22 for a range that can't be locked, `EDEADLK` for a second lock with the same object,
/// 13 for an exclusive lock on a file that may only be read, others as the system has them, such as `ENOLCK`
/// where a file system has no locks.
class MORVEX_EXPORT SFileLockException : public SFileException
{
public:
    SFileLockException() noexcept = default;
    SFileLockException(int errorNumber, const SAnsiString& fileName, const SAnsiString& reason) noexcept;
    ~SFileLockException() override;

    SAnsiString toString() const override;
};

/// A lock between processes on a file or a range of its bytes.
///
///     SFileLock lock("/var/lib/outbox/index.lock", true);
///     if (!lock.tryLockFor(5000, SFileLock::exclusive)) {
///         const SFileLock::Owner owner = lock.owner();
///         report(owner.known ? owner.process : 0);
///         return;
///     }
///     changeTheIndex();
///     lock.unlock();
///
/// Any number may hold `shared` locks on a byte, or one an `exclusive` lock. It makes no difference whether the others
/// are objects in other processes, on other threads or on the same: each object locks for itself, by a descriptor of its
/// own, and nothing that happens to other descriptors of the file takes its lock away. The lock ends with `unlock`, with
/// the object and with the process, however that dies.
///
/// | state  | `lock`, `tryLock`, `tryLockFor`                   | `unlock` | destructor       |
/// |--------|---------------------------------------------------|----------|------------------|
/// | free   | locked; free when refused, or after a failure     | nothing  | closes           |
/// | locked | throw `EDEADLK`, and the lock stays               | free     | unlocks, closes  |
///
/// A held lock never changes its kind: unlock, lock anew, and look again at what the lock protects. Several ranges at
/// once are several objects. Locks of several objects are taken in one order everywhere, else two processes can wait for
/// each other; no system notices.
///
/// The file is that which had the name when the object was made. Who replaces the file, or removes it, leaves the
/// holders with locks on something that nobody else finds: lock a file of its own beside the data, make it with
/// `create`, and never remove it. Locking changes no content.
///
/// One object belongs to one thread at a time. Failures are thrown as `SFileLockException`, and `SFileException` with
/// code `OpenFailed` when the file can't be opened.
///
/// POSIX: a lock binds those who lock, nobody else, so that the file can be read and written all the same. It belongs
/// to the open file: a process that is forked off, though not a program that is started, has a share in it. It keeps
/// the lock alive when its parent dies, and ends it by `unlock`, though not with its copy of the object. On NFS the
/// server keeps the locks, and they may be lost when it restarts; other network file systems may lock among the
/// processes of one machine only. Locks of other programs by `lockf` and `fcntl` are respected on both sides, those by
/// `flock` are not seen.
///
/// Windows: the system enforces the lock. What is locked exclusively can be neither read nor written through any other
/// handle, an `SFile` of the same process included, and what is locked shared can't be written at all. The object's
/// handle reads: it can't be had while somebody has the file open and denies reading, nor the other way round.
class MORVEX_EXPORT SFileLock
{
public:
    enum Kind
    {
        shared,
        exclusive
    };

    /// No byte at or past this one can be locked. Bytes need not be there to be locked.
    static constexpr __int64 limit = INT64_C(1) << 61;

    /// As a length: as far as the limit, and so as far as the file may ever go.
    static constexpr __int64 toTheEnd = -1;

    /// A process that holds a lock.
    struct Owner
    {
        /// False where the lock is free by now, or its holder can't be told.
        bool known = false;
        unsigned long process = 0;

        /// When the process started, to a hundredth of a second. By it the process is told from a later one that has
        /// got its number.
        SDateTime started;
    };

    /// Opens the file, and makes an empty one where there is none if `create` is true.
    explicit SFileLock(const SAnsiString& path, bool create = false);
    SFileLock(const SFileLock&) = delete;
    SFileLock& operator=(const SFileLock&) = delete;
    ~SFileLock();

    /// Waits until the lock is there. Costs no processor's time.
    void lock(Kind kind, __int64 begin = 0, __int64 length = toTheEnd);

    /// False when others' locks are in the way.
    [[nodiscard]] bool tryLock(Kind kind, __int64 begin = 0, __int64 length = toTheEnd);

    /// Waits at most that long, in milliseconds; false when others' locks were in the way all the time. It asks again
    /// and again, in intervals that grow from 1 to 50 milliseconds: a lock that becomes free is noticed after 50 at the
    /// latest, and those who wait in `lock` may get it before.
    [[nodiscard]] bool tryLockFor(unsigned long milliseconds, Kind kind, __int64 begin = 0,
                                  __int64 length = toTheEnd);

    /// Throws when the system refuses; then the lock is held still, and ends with the object at the latest.
    void unlock();

    bool isLocked() const noexcept { return m_locked; }
    const SAnsiString& getFilename() const noexcept { return m_filename; }

    /// Who is in the way, now, of the lock that was last asked for, one of them if there are several; nobody where it was
    /// not refused. Only a living process is ever told, and only one that holds a lock in fact: what it tells of
    /// itself is bound to the lock, and ends with it. Not known are holders on other machines, in other
    /// containers with process numbers of their own, and the heirs of a process that forked and died.
    ///
    /// POSIX: where several locks begin at the byte at which the one in the way does, be they of different lengths, the
    /// holder of another of them may be told; beginnings past 8 MiB may be taken for each other. Of locks by other means
    /// than this class, those of `fcntl` and `lockf` are told.
    ///
    /// Windows: known only where the holder's range begins at the same byte as the wanted one.
    Owner owner() const;

private:
    bool attempt(Kind kind, __int64 begin, __int64 length, bool wait);
    [[noreturn]] void fail(int errorNumber) const;

    SAnsiString m_filename;
    int m_fd;
    bool m_locked = false;
    bool m_refused = false;

    // of the lock that is held, or was last refused
    Kind m_kind = shared;
    __int64 m_begin = 0;
    __int64 m_length = 0;
    unsigned long m_process = 0; // that has locked it
};

} // namespace MorvexA106
