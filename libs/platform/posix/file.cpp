#include "platform/file.h"

#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace MorvexA106::Platform
{

/// Sharing among the users of this library, which the system itself doesn't have.
///
/// Who has a file open for reading, for writing, and who denies others the one or the other, is marked by locks
/// on bytes far past the end of any file. The locks belong to the open file description: they hold between two
/// opens of one process as well, and end with the description, however the process ends.
///
/// A read lock needs a descriptor that can read, and is shared. A descriptor that can only write takes a write
/// lock instead, which is exclusive, so each such mark is one byte out of 2^32, picked at random. Bytes in order:
///
///     reader, writer, [writers that can't read], [deniers of reading that can't], denier of reading,
///     denier of writing, [deniers of writing that can't read]
///
/// so that every question of an opener is one look at one range.
namespace ShareMarks
{
namespace
{

/// What an opener does and what it denies.
struct Wish
{
    bool reads;
    bool writes;
    bool deniesReading;
    bool deniesWriting;

    bool denies() const noexcept { return deniesReading || deniesWriting; }
};

constexpr off_t sole = off_t{1} << 32; // bytes for the marks of descriptors that can only write
constexpr off_t reader = off_t{1} << 62;
constexpr off_t writer = reader + 1;
constexpr off_t soleWriters = writer + 1;
constexpr off_t soleReadDeniers = soleWriters + sole;
constexpr off_t readDenier = soleReadDeniers + sole;
constexpr off_t writeDenier = readDenier + 1;
constexpr off_t soleWriteDeniers = writeDenier + 1;
constexpr off_t end = soleWriteDeniers + sole;

/// The bytes from `first` up to, and not including, `last`.
struct flock range(short type, off_t first, off_t last) noexcept
{
    struct flock bytes
    {};
    bytes.l_type = type;
    bytes.l_whence = SEEK_SET;
    bytes.l_start = first;
    bytes.l_len = last - first;
    return bytes;
}

int mark(int descriptor, short type, off_t first, off_t last) noexcept
{
    struct flock bytes = range(type, first, last);
    return uninterrupted([&] { return ::fcntl(descriptor, F_OFD_SETLK, &bytes); }) == 0 ? 0 : errno;
}

bool isMarkedByOthers(int descriptor, off_t first, off_t last) noexcept
{
    struct flock bytes = range(F_WRLCK, first, last);
    return uninterrupted([&] { return ::fcntl(descriptor, F_OFD_GETLK, &bytes); }) == 0 &&
           bytes.l_type != F_UNLCK;
}

std::uint64_t scatter() noexcept
{
    static std::atomic<std::uint64_t> calls{0};
    std::uint64_t mixed = (static_cast<std::uint64_t>(::getpid()) << 32) + calls.fetch_add(1);
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
}

/// Takes one byte of a region for itself; a byte that somebody has is not the only one.
int markSole(int descriptor, off_t region) noexcept
{
    int error = EAGAIN;
    for (int tries = 0; tries < 8 && (error == EAGAIN || error == EACCES); ++tries) {
        const off_t byte = region + static_cast<off_t>(scatter() % static_cast<std::uint64_t>(sole));
        error = mark(descriptor, F_WRLCK, byte, byte + 1);
    }
    return error;
}

int markAsReader(int descriptor, const Wish& wish) noexcept
{
    const int error = mark(descriptor, F_RDLCK, reader, wish.writes ? writer + 1 : reader + 1);
    if (error != 0 || !wish.denies()) {
        return error;
    }
    return mark(descriptor, F_RDLCK, wish.deniesReading ? readDenier : writeDenier,
                wish.deniesWriting ? writeDenier + 1 : readDenier + 1);
}

int markAsWriter(int descriptor, const Wish& wish) noexcept
{
    int error = markSole(descriptor, soleWriters);
    if (error == 0 && wish.deniesReading) {
        error = markSole(descriptor, soleReadDeniers);
    }
    if (error == 0 && wish.deniesWriting) {
        error = markSole(descriptor, soleWriteDeniers);
    }
    return error;
}

int place(int descriptor, const Wish& wish) noexcept
{
    return wish.reads ? markAsReader(descriptor, wish) : markAsWriter(descriptor, wish);
}

void drop(int descriptor) noexcept
{
    static_cast<void>(mark(descriptor, F_UNLCK, reader, end));
}

bool isDenied(int descriptor, const Wish& wish) noexcept
{
    return isMarkedByOthers(descriptor, wish.reads ? soleReadDeniers : writeDenier,
                            wish.writes ? end : readDenier + 1);
}

bool deniesOthers(int descriptor, const Wish& wish) noexcept
{
    return wish.denies() && isMarkedByOthers(descriptor, wish.deniesReading ? reader : writer,
                                             wish.deniesWriting ? soleReadDeniers : reader + 1);
}

/// Lets one opener at a time place its marks and look around, so that of two that exclude each other one gets
/// the file. The program may hold such a lock on the file for its own purposes: after a while the gate is left
/// open, since the marks alone never let both in.
class Gate
{
public:
    explicit Gate(int descriptor) noexcept : m_descriptor(descriptor)
    {
        for (int tries = 0; tries < 100 && !m_held; ++tries) {
            m_held = uninterrupted([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) == 0;
            if (!m_held && errno != EWOULDBLOCK) {
                return;
            }
            if (!m_held) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate()
    {
        if (m_held) {
            ::flock(m_descriptor, LOCK_UN);
        }
    }

private:
    int m_descriptor;
    bool m_held = false;
};

int admitThroughGate(int descriptor, const Wish& wish) noexcept
{
    const Gate gate(descriptor);
    int error = place(descriptor, wish);
    if (error == 0 && (isDenied(descriptor, wish) || deniesOthers(descriptor, wish))) {
        error = EACCES;
    }
    if (error != 0) {
        drop(descriptor); // before the gate opens, so that nobody is refused because of a refused one
    }
    return error;
}

/// Marks an open file, or finds that others' marks forbid it. 0, or the `errno`: EACCES for a refusal, another
/// where the file system has no locks and the wish needs them. A refused open leaves no marks.
int admit(int descriptor, const Wish& wish) noexcept
{
    if (wish.denies()) {
        return admitThroughGate(descriptor, wish);
    }
    if (place(descriptor, wish) != 0 || !isDenied(descriptor, wish)) {
        return 0; // no locks there, or nobody minds
    }
    drop(descriptor);
    return admitThroughGate(descriptor, wish);
}

} // namespace
} // namespace ShareMarks

namespace
{

// The kernel moves no more in one call.
constexpr unsigned transferLimit = 0x7FFFF000;

FileResult failed(int error) noexcept
{
    return {-1, error};
}

FileResult outcome(std::int64_t value) noexcept
{
    return value == -1 ? failed(errno) : FileResult{value};
}

int systemFlags(int flags) noexcept
{
    constexpr int access[] = {O_RDONLY, O_WRONLY, O_RDWR};
    int result = access[flags & FileWord::accessMask] | O_CLOEXEC | O_NOCTTY;
    if ((flags & FileWord::append) != 0) {
        result |= O_APPEND;
    }
    if ((flags & FileWord::create) != 0) {
        result |= O_CREAT | ((flags & FileWord::exclusive) != 0 ? O_EXCL : 0);
    }
    return result;
}

mode_t modeBits(int permissions) noexcept
{
    return permissions == FileWord::defaultPermissions ? 0666 : static_cast<mode_t>(permissions & 0777);
}

ShareMarks::Wish shareWish(int flags, int sharing) noexcept
{
    const int access = flags & FileWord::accessMask;
    return {.reads = access != FileWord::writeOnly,
            .writes = access != 0,
            .deniesReading = sharing == FileWord::denyRead || sharing == FileWord::denyReadAndWrite,
            .deniesWriting = sharing == FileWord::denyWrite || sharing == FileWord::denyReadAndWrite};
}

/// The truncating open of a pipe or a device is no failure, and has no effect.
int truncateOpened(int descriptor) noexcept
{
    if (uninterrupted([&] { return ::ftruncate(descriptor, 0); }) == 0) {
        return 0;
    }
    const int error = errno;
    struct stat status;
    const bool regular = ::fstat(descriptor, &status) != 0 || S_ISREG(status.st_mode);
    return regular ? error : 0;
}

/// What happens to the file only once nobody's sharing stands against the open.
int actOnAdmitted(int descriptor, const char* path, int flags) noexcept
{
    // The name first: where it can't go, nothing is emptied.
    if ((flags & FileWord::temporary) != 0 && ::unlink(path) != 0) {
        return errno;
    }
    const int error = (flags & FileWord::truncate) != 0 ? truncateOpened(descriptor) : 0;
    if (error != 0) {
        return error;
    }
    if ((flags & FileWord::sequential) != 0) {
        ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    } else if ((flags & FileWord::random) != 0) {
        ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    }
    return 0;
}

} // namespace

FileResult openFile(const char* path, int flags, int permissions, int sharing) noexcept
{
    if (!isValidOpen(flags, sharing)) {
        return failed(EINVAL);
    }
    Descriptor file(uninterrupted([&] { return ::open(path, systemFlags(flags), modeBits(permissions)); }));
    if (!file) {
        return failed(errno);
    }
    int error = ShareMarks::admit(file.get(), shareWish(flags, sharing));
    if (error == 0) {
        error = actOnAdmitted(file.get(), path, flags);
    }
    return error != 0 ? failed(error) : FileResult{file.release()};
}

void closeFile(int descriptor) noexcept
{
    Descriptor{descriptor}.reset();
}

FileResult readFile(int descriptor, void* bytes, unsigned count) noexcept
{
    const unsigned limited = std::min(count, transferLimit);
    return outcome(uninterrupted([&] { return ::read(descriptor, bytes, limited); }));
}

FileResult writeFile(int descriptor, const void* bytes, unsigned count) noexcept
{
    const unsigned limited = std::min(count, transferLimit);
    return outcome(uninterrupted([&] { return ::write(descriptor, bytes, limited); }));
}

FileResult commitFile(int descriptor) noexcept
{
    return outcome(uninterrupted([&] { return ::fsync(descriptor); }));
}

FileResult seekFile(int descriptor, std::int64_t offset, int whence) noexcept
{
    constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (whence < 0 || whence > 2) {
        return failed(EINVAL); // the kernel knows further origins
    }
    return outcome(::lseek(descriptor, offset, origins[whence]));
}

} // namespace MorvexA106::Platform
