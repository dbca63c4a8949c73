#include "platform/copyfile.h"

#include "platform/posix/entries.h"
#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>

namespace MorvexA106::Platform
{

namespace
{

// Inside this file a failure is an errno, and 0 is success.

constexpr std::size_t bufferSize = std::size_t{128} * 1024;
constexpr std::size_t kernelStep = std::size_t{1} << 30;
constexpr int bothDescriptors = O_CLOEXEC | O_NOCTTY;

/// Up to the end, or as many bytes as are given.
int copyThroughBuffer(int source, int target, std::uint64_t bytes = UINT64_MAX)
{
    const auto buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
    while (bytes > 0) {
        const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(bufferSize, bytes));
        const ssize_t count = uninterrupted([&] { return ::read(source, buffer.get(), step); });
        if (count <= 0) {
            return count == 0 ? 0 : errno;
        }
        if (const int error = writeAll(target, buffer.get(), static_cast<std::size_t>(count))) {
            return error;
        }
        bytes -= static_cast<std::size_t>(count);
    }
    return 0;
}

bool kernelCannotCopy(int error) noexcept
{
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM;
}

/// Up to the end, or as many bytes as are given. The kernel's copy sees nothing in files whose size the system tells
/// as 0, such as those of /proc, so an "end" before the size that is told is asked again by reading.
int copyBytes(int source, int target, std::uint64_t size, std::uint64_t bytes = UINT64_MAX)
{
    std::uint64_t moved = 0;
    while (moved < bytes) {
        const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(kernelStep, bytes - moved));
        const ssize_t count =
            uninterrupted([&] { return ::copy_file_range(source, nullptr, target, nullptr, step, 0); });
        if (count < 0 && !kernelCannotCopy(errno)) {
            return errno;
        }
        if (count <= 0) {
            const bool atEnd = count == 0 && moved > 0 && moved >= size;
            return atEnd ? 0 : copyThroughBuffer(source, target, bytes - moved);
        }
        moved += static_cast<std::size_t>(count);
    }
    return 0;
}

/// An end that came before the size that was told must be one that the file has by now.
int checkEnd(int source, const struct stat& status, int target) noexcept
{
    const off_t end = ::lseek(target, 0, SEEK_CUR);
    if (end < 0 || end >= status.st_size) {
        return end < 0 ? errno : 0;
    }
    struct stat now
    {};
    if (::fstat(source, &now) != 0) {
        return errno;
    }
    return end < now.st_size ? EIO : 0;
}

int copyWhole(int source, const struct stat& status, int target)
{
    constexpr off_t large = off_t{1} << 20;
    if (status.st_size >= large) {
        ::posix_fadvise(source, 0, 0, POSIX_FADV_SEQUENTIAL); // a wish only
    }
    const int error = copyBytes(source, target, static_cast<std::uint64_t>(status.st_size));
    return error != 0 ? error : checkEnd(source, status, target);
}

bool hasHoles(const struct stat& status) noexcept
{
    constexpr blkcnt_t unit = 512;
    return status.st_blocks < status.st_size / unit;
}

/// From the next byte that is no hole at or after `offset` up to the next hole, which becomes the new offset.
int copyNextData(int source, int target, off_t& offset)
{
    const off_t begin = ::lseek(source, offset, SEEK_DATA);
    const off_t end = begin < 0 ? -1 : ::lseek(source, begin, SEEK_HOLE);
    if (end < 0 || ::lseek(source, begin, SEEK_SET) < 0 || ::lseek(target, begin, SEEK_SET) < 0) {
        return errno;
    }
    offset = end;
    const auto bytes = static_cast<std::uint64_t>(end - begin);
    return copyBytes(source, target, bytes, bytes);
}

/// A hole of terabytes would take as many on the disk if it were written.
int copyBetweenHoles(int source, const struct stat& status, int target)
{
    int error = 0;
    for (off_t offset = 0; error == 0;) {
        error = copyNextData(source, target, offset);
    }
    if (error == EINVAL) { // the file system knows nothing of holes, and nothing was moved
        return copyWhole(source, status, target);
    }
    if (error != ENXIO) { // which says that there is no more
        return error;
    }
    const off_t size = ::lseek(source, 0, SEEK_END);
    return size < 0 ? errno : errorOf(::ftruncate(target, size));
}

int copyContent(int source, const struct stat& status, int target)
{
    return hasHoles(status) ? copyBetweenHoles(source, status, target) : copyWhole(source, status, target);
}

/// Some file systems know no permissions or times; there is nothing to keep then.
int unlessUnknown(int error) noexcept
{
    return error == EPERM || error == ENOSYS || error == EOPNOTSUPP ? 0 : error;
}

/// The bits that lend the owner's rights to others are not handed on to another owner's file.
int copyProperties(int target, const struct stat& status) noexcept
{
    if (const int error = unlessUnknown(errorOf(::fchmod(target, status.st_mode & 0777)))) {
        return error;
    }
    const timespec times[] = {status.st_atim, status.st_mtim};
    return unlessUnknown(errorOf(::futimens(target, times)));
}

/// A path from a folder's descriptor, or from the current folder.
struct Where
{
    int folder;
    std::string path;

    const char* name() const noexcept { return path.c_str(); }
};

int openSource(const Where& from, int flags, Descriptor& source, struct stat& status) noexcept
{
    // Not to wait for the writer of a pipe, which is refused below.
    Descriptor opened(uninterrupted(
        [&] { return ::openat(from.folder, from.name(), O_RDONLY | O_NONBLOCK | bothDescriptors | flags); }));
    if (!opened || ::fstat(opened.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    source = std::move(opened);
    return 0;
}

/// A new file or link, which goes away again unless it was put in the target's place. A file has no name until then, so
/// that a process which dies leaves nothing; a link, or a file where the system can't name it later, stands beside the
/// target.
class Staged
{
public:
    explicit Staged(const Where& target)
        : m_target(target),
          m_folder(target.path.substr(0, target.path.find_last_of('/') + 1))
    {}
    Staged(const Staged&) = delete;
    Staged& operator=(const Staged&) = delete;
    ~Staged()
    {
        if (!m_name.empty()) {
            ::unlinkat(m_target.folder, m_name.c_str(), 0);
        }
    }

    /// `needsName` where it has to be with a name.
    int createWithoutName()
    {
        return createNameless(m_target.folder, m_folder.empty() ? "." : m_folder.c_str(), 0600, m_file);
    }

    int createWithName()
    {
        return takeName([&](const char* name) {
            m_file = Descriptor(uninterrupted([&] {
                return ::openat(m_target.folder, name, O_WRONLY | O_CREAT | O_EXCL | bothDescriptors, 0600);
            }));
            return m_file ? 0 : errno;
        });
    }

    int createLink(const std::string& text)
    {
        return takeName(
            [&](const char* name) { return errorOf(::symlinkat(text.c_str(), m_target.folder, name)); });
    }

    int descriptor() const noexcept { return m_file.get(); }

    /// `needsName` as well.
    int publish(bool overwrite)
    {
        if (m_name.empty()) {
            const int error = nameFile(m_file.get(), m_target.folder, m_target.name());
            if (error != EEXIST || !overwrite) {
                return error;
            }
            if (const int unnamed = giveName()) {
                return unnamed;
            }
        }
        // What a remote disk refuses is sometimes told only here.
        if (m_file && ::close(m_file.release()) != 0 && errno != EINTR) {
            return errno;
        }
        const int error =
            overwrite ? errorOf(::renameat(m_target.folder, m_name.c_str(), m_target.folder, m_target.name()))
                      : moveToNew();
        if (error == 0) {
            m_name.clear();
        }
        return error;
    }

private:
    /// Short, so that it fits where the target's does.
    static std::string randomName()
    {
        std::random_device random;
        char name[24];
        std::snprintf(name, sizeof name, ".morvex-%08x", random());
        return name;
    }

    /// `take` returns EEXIST for a name that somebody has.
    template <class Take>
    int takeName(Take take)
    {
        for (;;) {
            std::string name = m_folder + randomName();
            const int error = take(name.c_str());
            if (error == 0) {
                m_name = std::move(name);
            }
            if (error != EEXIST) {
                return error;
            }
        }
    }

    int giveName()
    {
        return takeName([&](const char* name) { return nameFile(m_file.get(), m_target.folder, name); });
    }

    int moveToNew() const noexcept
    {
        const int folder = m_target.folder;
        const int result = ::renameat2(folder, m_name.c_str(), folder, m_target.name(), RENAME_NOREPLACE);
        if (result == 0 || (errno != EINVAL && errno != ENOSYS)) {
            return errorOf(result);
        }
        if (::linkat(folder, m_name.c_str(), folder, m_target.name(), 0) != 0) {
            return errno;
        }
        ::unlinkat(folder, m_name.c_str(), 0);
        return 0;
    }

    Where m_target;
    std::string m_folder; ///< "", or with a separator at its end
    std::string m_name;   ///< "" while it has none
    Descriptor m_file;
};

/// Where the content goes when the target is a link.
std::string followed(const char* path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path, nullptr), &std::free);
    return resolved ? resolved.get() : path;
}

int copyBy(int (Staged::*create)(), int source, const struct stat& status, const Where& target,
           bool overwrite)
{
    Staged staged(target);
    int error = (staged.*create)();
    if (error == 0) {
        error = copyContent(source, status, staged.descriptor());
    }
    if (error == 0) {
        error = copyProperties(staged.descriptor(), status);
    }
    return error != 0 ? error : staged.publish(overwrite);
}

int copyStaged(int source, const struct stat& status, const Where& target, bool overwrite)
{
    const int error = copyBy(&Staged::createWithoutName, source, status, target, overwrite);
    if (error != needsName) {
        return error;
    }
    return ::lseek(source, 0, SEEK_SET) < 0
               ? errno
               : copyBy(&Staged::createWithName, source, status, target, overwrite);
}

int copyIntoDevice(int source, const char* path)
{
    const Descriptor target(uninterrupted([&] { return ::open(path, O_WRONLY | bothDescriptors); }));
    return target ? copyThroughBuffer(source, target.get()) : errno;
}

/// A file that is protected from writing, or is the source itself, is not replaced, and a folder isn't either.
int refusal(const struct stat& source, const Where& target, const struct stat& old) noexcept
{
    if (old.st_dev == source.st_dev && old.st_ino == source.st_ino) {
        return EBUSY;
    }
    if (S_ISDIR(old.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(old.st_mode) ? errorOf(::faccessat(target.folder, target.name(), W_OK, AT_EACCESS)) : 0;
}

int copyOver(int source, const struct stat& status, const Where& to, const struct stat& old)
{
    if (const int error = refusal(status, to, old)) {
        return error;
    }
    if (!S_ISREG(old.st_mode)) {
        return copyIntoDevice(source, to.name());
    }
    return copyStaged(source, status, {to.folder, followed(to.name())}, true);
}

int copyByErrno(const Where& from, const Where& to, bool overwrite)
{
    Descriptor source;
    struct stat status
    {};
    if (const int error = openSource(from, 0, source, status)) {
        return error;
    }
    struct stat old
    {};
    if (::lstat(to.name(), &old) != 0) {
        return errno == ENOENT ? copyStaged(source.get(), status, to, false) : errno;
    }
    if (!overwrite) {
        return EEXIST;
    }
    if (::stat(to.name(), &old) != 0) {
        return errno == ENOENT ? copyStaged(source.get(), status, to, true) : errno; // a link to nothing
    }
    return copyOver(source.get(), status, to, old);
}

int readLink(const Where& link, std::string& text)
{
    for (std::size_t size = 256;; size *= 2) {
        text.resize(size);
        const ssize_t length = ::readlinkat(link.folder, link.name(), text.data(), size);
        if (length < 0) {
            return errno;
        }
        if (static_cast<std::size_t>(length) < size) {
            text.resize(static_cast<std::size_t>(length));
            return 0;
        }
    }
}

int copyLink(const Where& from, const Where& to, bool overwrite)
{
    std::string text;
    int error = readLink(from, text);
    Staged staged(to);
    if (error == 0) {
        error = staged.createLink(text);
    }
    return error != 0 ? error : staged.publish(overwrite);
}

/// What stands in the target's place itself, links not followed, and whether it may be replaced.
int checkEntry(const struct stat& source, const Where& to, bool overwrite) noexcept
{
    struct stat old
    {};
    if (::fstatat(to.folder, to.name(), &old, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    if (!overwrite) {
        return EEXIST;
    }
    const bool replaceable = S_ISREG(old.st_mode) || S_ISLNK(old.st_mode) || S_ISDIR(old.st_mode);
    return replaceable ? refusal(source, to, old) : EEXIST;
}

int copyEntryByErrno(const Where& from, const Where& to, bool overwrite)
{
    Descriptor source;
    struct stat status
    {};
    const int opened = openSource(from, O_NOFOLLOW, source, status);
    if (opened != 0 && opened != ELOOP) { // which says that it is a link
        return opened;
    }
    if (const int error = checkEntry(status, to, overwrite)) {
        return error;
    }
    return opened != 0 ? copyLink(from, to, overwrite) : copyStaged(source.get(), status, to, overwrite);
}

SystemError outcome(int error) noexcept
{
    errno = error;
    return error == 0 ? SystemError{} : lastWindowsError();
}

int inHandOf(const FolderChain& chain) noexcept
{
    return chain.inHand().folder.get();
}

} // namespace

SystemError copyFile(const char* from, const char* to, bool overwrite)
{
    return outcome(copyByErrno({AT_FDCWD, from}, {AT_FDCWD, to}, overwrite));
}

SystemError copyEntry(const FolderChain& from, const FolderChain& to, FolderChain::NameText name,
                      bool overwrite)
{
    return outcome(copyEntryByErrno({inHandOf(from), name}, {inHandOf(to), name}, overwrite));
}

SystemError copyFolderProperties(const FolderChain& from, const FolderChain& to) noexcept
{
    struct stat status
    {};
    if (::fstat(inHandOf(from), &status) != 0) {
        return lastWindowsError();
    }
    return outcome(copyProperties(inHandOf(to), status));
}

} // namespace MorvexA106::Platform
