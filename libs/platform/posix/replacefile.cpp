#include "platform/replacefile.h"

#include "platform/file.h"
#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// How a file is replaced.
///
/// The content is written into a file without a name in the target's folder, so that a process that dies leaves
/// nothing behind. Once it is whole and on the disk the file gets a name, and that name is moved over the target's.
///
///     without a name --write, keep properties, flush--> ".morvex-HASH-0" --rename--> target --> flush folder
///
/// What stands under such a name belongs to a process that lives exactly when it is locked (`flock`): the lock is
/// taken before the name is given and ends with the process. Who finds the name taken and the file unlocked removes
/// it, and takes the next name otherwise. A file is removed only by who holds its lock and has seen, holding it, that
/// the name still means this file: nobody else can give the name another meaning meanwhile.
///
/// Where the system knows no files without a name, or lets no process name one later, the content grows under the name.
namespace MorvexA106::Platform
{

namespace
{

// Inside this file a failure is an errno, and 0 is success.

constexpr int always = O_CLOEXEC | O_NOCTTY;
constexpr const char* accessList = "system.posix_acl_access";

/// Some file systems know no owners, permissions or access lists, and some owners may not be given.
int unlessUnknown(int error) noexcept
{
    return error == EPERM || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP ? 0 : error;
}

bool isSameFile(const struct stat& left, const struct stat& right) noexcept
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

/// Does not wait for a lock that somebody has.
int lockAlone(int file) noexcept
{
    return errorOf(uninterrupted([&] { return ::flock(file, LOCK_EX | LOCK_NB); }));
}

std::string folderOf(const std::string& path)
{
    return path.substr(0, path.find_last_of('/') + 1);
}

/// Where the path leads when its last part is a link, also to what isn't there yet.
int followLinks(std::string& path)
{
    constexpr int mostLinks = 40; // as in the kernel
    char content[PATH_MAX];
    for (int links = 0; links < mostLinks; ++links) {
        const ssize_t length = ::readlink(path.c_str(), content, sizeof content);
        if (length < 0) {
            return errno == EINVAL || errno == ENOENT ? 0 : errno; // no link, or nothing
        }
        const std::string_view next(content, static_cast<std::size_t>(length));
        path = (next.starts_with('/') ? "" : folderOf(path)) + std::string(next);
    }
    return ELOOP;
}

/// The file that is to be replaced, in a folder that stays the same whatever becomes of its path.
class Target
{
public:
    int open(const char* path);

    int folder() const noexcept { return m_folder.get(); }
    const char* name() const noexcept { return m_name.c_str(); }
    const std::string& path() const noexcept { return m_path; }
    bool exists() const noexcept { return m_exists; }
    const struct stat& status() const noexcept { return m_status; }

    /// A folder that may be written but not read can't be flushed; the rename in it stands all the same.
    int flushFolder() const noexcept;

private:
    int openFolder();
    int readStatus() noexcept;

    std::string m_path;
    std::string m_name;
    Descriptor m_folder;
    bool m_readable = true;
    bool m_exists = false;
    struct stat m_status
    {};
};

int Target::open(const char* path)
{
    m_path = path;
    int error = followLinks(m_path);
    if (error == 0) {
        error = openFolder();
    }
    return error == 0 ? readStatus() : error;
}

int Target::openFolder()
{
    m_name = m_path.substr(m_path.find_last_of('/') + 1);
    if (m_name.empty()) {
        return m_path.empty() ? ENOENT : EISDIR;
    }
    const std::string folder = m_path.size() == m_name.size() ? "." : folderOf(m_path);
    const auto openAs = [&](int access) {
        return Descriptor(
            uninterrupted([&] { return ::open(folder.c_str(), access | O_DIRECTORY | always); }));
    };
    m_folder = openAs(O_RDONLY);
    if (!m_folder && errno == EACCES) {
        m_readable = false;
        m_folder = openAs(O_PATH);
    }
    return m_folder ? 0 : errno;
}

int Target::readStatus() noexcept
{
    if (::fstatat(folder(), name(), &m_status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    if (!S_ISREG(m_status.st_mode)) {
        return S_ISDIR(m_status.st_mode) ? EISDIR : EINVAL;
    }
    m_exists = true;
    // A file that is protected from writing is not replaced either.
    return errorOf(::faccessat(folder(), name(), W_OK, AT_EACCESS));
}

int Target::flushFolder() const noexcept
{
    if (!m_readable) {
        return 0;
    }
    const int error = errorOf(uninterrupted([&] { return ::fsync(folder()); }));
    const bool nothingToFlush = error == EINVAL || error == EROFS || error == EOPNOTSUPP;
    return nothingToFlush ? 0 : error;
}

/// The name is short, so that it fits where the target's does, and the same for each replacing of one target.
std::string stageName(std::string_view target, unsigned turn)
{
    std::uint32_t hash = 0x811C9DC5;
    for (const char byte : target) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x01000193;
    }
    char name[40];
    std::snprintf(name, sizeof name, ".morvex-%08x-%u", hash, turn);
    return name;
}

/// The new content until it has taken the target's place.
class Stage
{
public:
    explicit Stage(const Target& target) : m_target(target) {}
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;
    ~Stage()
    {
        if (!m_name.empty()) {
            removeName(m_name);
        }
    }

    /// `needsName` where it has to be with a name.
    int createWithoutName(mode_t mode);
    int createWithName(mode_t mode);
    int file() const noexcept { return m_file.get(); }

    /// `needsName` as well.
    int publish();

private:
    int giveName();
    int createUnder(const std::string& name, mode_t mode);
    int lock() const noexcept;
    int confirm(const std::string& name) const noexcept;
    Descriptor openLeft(const std::string& name) const noexcept;
    bool clear(const std::string& name) const noexcept;
    bool removeName(const std::string& name) const noexcept
    {
        return ::unlinkat(m_target.folder(), name.c_str(), 0) == 0;
    }

    template <class Take>
    int takeName(Take take);

    const Target& m_target;
    Descriptor m_file;
    std::string m_name;
};

/// Tries one name after the other. `take` returns EEXIST for a name that somebody has.
template <class Take>
int Stage::takeName(Take take)
{
    constexpr unsigned mostTurns = 4096; // so many are never at one file at once
    for (unsigned turn = 0; turn < mostTurns; ++turn) {
        std::string name = stageName(m_target.name(), turn);
        int error = take(name);
        if (error == EEXIST && clear(name)) {
            error = take(name);
        }
        if (error == 0) {
            m_name = std::move(name); // needs no memory: from here on the name is there
        }
        if (error != EEXIST) {
            return error;
        }
    }
    return EEXIST;
}

/// Network folders lock alone only what is open for writing.
Descriptor Stage::openLeft(const std::string& name) const noexcept
{
    const auto openAs = [&](int access) {
        return Descriptor(uninterrupted([&] {
            return ::openat(m_target.folder(), name.c_str(), access | O_NOFOLLOW | O_NONBLOCK | always);
        }));
    };
    Descriptor left = openAs(O_WRONLY);
    return left || errno != EACCES ? std::move(left) : openAs(O_RDONLY);
}

/// True when the name is free now, as far as one can tell.
bool Stage::clear(const std::string& name) const noexcept
{
    const int folder = m_target.folder();
    const Descriptor left = openLeft(name);
    if (!left) {
        return errno == ENOENT;
    }
    struct stat opened;
    struct stat named;
    if (lockAlone(left.get()) != 0 || ::fstat(left.get(), &opened) != 0 || !S_ISREG(opened.st_mode)) {
        return false;
    }
    if (::fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT;
    }
    return isSameFile(opened, named) && removeName(name);
}

/// A file system without locks refuses them to everybody, and then nobody removes anything.
int Stage::lock() const noexcept
{
    const int error = lockAlone(m_file.get());
    return error == ENOLCK ? 0 : unlessUnknown(error);
}

int Stage::createWithoutName(mode_t mode)
{
    const int error = createNameless(m_target.folder(), ".", mode, m_file);
    return error == 0 ? lock() : error;
}

int Stage::giveName()
{
    return takeName(
        [&](const std::string& name) { return nameFile(m_file.get(), m_target.folder(), name.c_str()); });
}

int Stage::createWithName(mode_t mode)
{
    return takeName([&](const std::string& name) { return createUnder(name, mode); });
}

/// Before the file is locked somebody may take it for one that was left behind. Whoever did removes it.
int Stage::createUnder(const std::string& name, mode_t mode)
{
    m_file = Descriptor(uninterrupted([&] {
        return ::openat(m_target.folder(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | always,
                        mode);
    }));
    if (!m_file) {
        return errno;
    }
    int error = lock();
    if (error == 0) {
        error = confirm(name);
    }
    if (error == EWOULDBLOCK || error == ENOENT) {
        return EEXIST;
    }
    if (error != 0 && error != EEXIST) {
        removeName(name);
    }
    return error;
}

/// EEXIST or ENOENT when the name means another file, or none.
int Stage::confirm(const std::string& name) const noexcept
{
    struct stat opened;
    struct stat named;
    if (::fstat(m_file.get(), &opened) != 0 ||
        ::fstatat(m_target.folder(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    return isSameFile(opened, named) ? 0 : EEXIST;
}

/// The file is unlocked before the folder is flushed: it is the target now, and others may want to lock it. Closing
/// is not enough where a process that was forked off has the descriptor too.
int Stage::publish()
{
    int error = m_name.empty() ? giveName() : 0;
    if (error == 0) {
        error = errorOf(::renameat(m_target.folder(), m_name.c_str(), m_target.folder(), m_target.name()));
    }
    if (error != 0) {
        return error;
    }
    m_name.clear();
    ::flock(m_file.get(), LOCK_UN);
    m_file.reset();
    return m_target.flushFolder();
}

/// Of rights that were meant for another group only those stay that everybody has.
mode_t withoutGroup(mode_t mode) noexcept
{
    return (mode & 0707) | ((mode & 07) << 3);
}

int keepOwner(int file, const struct stat& old, mode_t& mode) noexcept
{
    struct stat made;
    if (::fstat(file, &made) != 0) {
        return errno;
    }
    if (made.st_uid == old.st_uid && made.st_gid == old.st_gid) {
        return 0;
    }
    int error = errorOf(::fchown(file, old.st_uid, old.st_gid));
    if (error != 0 && unlessUnknown(error) == 0) {
        error = errorOf(::fchown(file, static_cast<uid_t>(-1), old.st_gid));
    }
    if (error != 0) {
        mode = withoutGroup(mode);
    }
    return unlessUnknown(error);
}

/// Also takes away what the folder gives to each new file.
int removeAccessList(int file) noexcept
{
    const int error = errorOf(::fremovexattr(file, accessList));
    return error == ENODATA ? 0 : unlessUnknown(error);
}

/// With a list the bits of the group say something else.
int keepAccessList(int file, const char* old, mode_t& mode)
{
    const ssize_t size = ::lgetxattr(old, accessList, nullptr, 0);
    if (size < 0) {
        return errno == ENODATA || unlessUnknown(errno) == 0 ? removeAccessList(file) : errno;
    }
    std::vector<char> list(static_cast<std::size_t>(size));
    if (::lgetxattr(old, accessList, list.data(), list.size()) != size) {
        return EAGAIN; // somebody changes it at this moment
    }
    const int error = errorOf(::fsetxattr(file, accessList, list.data(), list.size(), 0));
    if (error != 0) {
        mode = withoutGroup(mode);
    }
    return unlessUnknown(error);
}

/// The bits that lend the owner's rights to others are lost to any writer.
int keepProperties(int file, const Target& target)
{
    mode_t mode = target.status().st_mode & 0777;
    int error = keepOwner(file, target.status(), mode);
    if (error == 0) {
        error = keepAccessList(file, target.path().c_str(), mode);
    }
    return error == 0 ? unlessUnknown(errorOf(::fchmod(file, mode))) : error;
}

mode_t modeBits(int permissions) noexcept
{
    return permissions == FileWord::defaultPermissions ? 0666 : static_cast<mode_t>(permissions & 0777);
}

int replaceBy(int (Stage::*create)(mode_t), const Target& target, std::span<const unsigned char> content,
              int permissions)
{
    Stage stage(target);
    // Until it has the old file's permissions nobody else sees what is in it.
    int error = (stage.*create)(target.exists() ? 0600 : modeBits(permissions));
    if (error == 0) {
        error = writeAll(stage.file(), content.data(), content.size());
    }
    if (error == 0 && target.exists()) {
        error = keepProperties(stage.file(), target);
    }
    if (error == 0) {
        error = errorOf(uninterrupted([&] { return ::fsync(stage.file()); }));
    }
    return error == 0 ? stage.publish() : error;
}

int replaceByErrno(const char* path, std::span<const unsigned char> content, int permissions)
{
    Target target;
    if (const int error = target.open(path)) {
        return error;
    }
    const int error = replaceBy(&Stage::createWithoutName, target, content, permissions);
    return error == needsName ? replaceBy(&Stage::createWithName, target, content, permissions) : error;
}

} // namespace

SystemError replaceFile(const char* path, std::span<const unsigned char> content, int permissions)
{
    const int error = replaceByErrno(path, content, permissions);
    errno = error;
    return error == 0 ? SystemError{} : lastWindowsError();
}

} // namespace MorvexA106::Platform
