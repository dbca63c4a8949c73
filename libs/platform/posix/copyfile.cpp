#include "platform/copyfile.h"

#include "platform/posix/owned.h"

#include <fcntl.h>
#include <sys/stat.h>

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

int errorOf(int result) noexcept
{
    return result == 0 ? 0 : errno;
}

int writeAll(int target, const char* bytes, std::size_t count) noexcept
{
    while (count > 0) {
        const ssize_t written = uninterrupted([&] { return ::write(target, bytes, count); });
        if (written < 0) {
            return errno;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return 0;
}

int copyThroughBuffer(int source, int target)
{
    const auto buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
    for (;;) {
        const ssize_t count = uninterrupted([&] { return ::read(source, buffer.get(), bufferSize); });
        if (count <= 0) {
            return count == 0 ? 0 : errno;
        }
        if (const int error = writeAll(target, buffer.get(), static_cast<std::size_t>(count))) {
            return error;
        }
    }
}

bool kernelCannotCopy(int error) noexcept
{
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM;
}

/// The kernel's copy sees nothing in files whose size the system tells as 0, such as those of /proc, so its
/// "end" is asked again by reading.
int copyContent(int source, int target)
{
    ssize_t count = 0;
    do {
        count =
            uninterrupted([&] { return ::copy_file_range(source, nullptr, target, nullptr, kernelStep, 0); });
    } while (count > 0);
    if (count < 0 && !kernelCannotCopy(errno)) {
        return errno;
    }
    return copyThroughBuffer(source, target);
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

int openSource(const char* path, Descriptor& source, struct stat& status) noexcept
{
    // Not to wait for the writer of a pipe, which is refused below.
    Descriptor opened(uninterrupted([&] { return ::open(path, O_RDONLY | O_NONBLOCK | bothDescriptors); }));
    if (!opened || ::fstat(opened.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    source = std::move(opened);
    return 0;
}

/// A new file beside the target, which goes away again unless it was put in the target's place.
class StagedFile
{
public:
    explicit StagedFile(const std::string& target) : m_target(target) {}
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;
    ~StagedFile()
    {
        if (!m_name.empty()) {
            ::unlink(m_name.c_str());
        }
    }

    int create()
    {
        const std::string folder = m_target.substr(0, m_target.find_last_of('/') + 1);
        for (;;) {
            const std::string name = folder + randomName();
            Descriptor file(uninterrupted(
                [&] { return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | bothDescriptors, 0600); }));
            if (file) {
                m_name = name;
                m_file = std::move(file);
                return 0;
            }
            if (errno != EEXIST) {
                return errno;
            }
        }
    }

    int descriptor() const noexcept { return m_file.get(); }

    int publish(bool overwrite) noexcept
    {
        // What a remote disk refuses is sometimes told only here.
        if (::close(m_file.release()) != 0 && errno != EINTR) {
            return errno;
        }
        const int error = overwrite ? errorOf(::rename(m_name.c_str(), m_target.c_str())) : publishNew();
        if (error == 0) {
            m_name.clear();
        }
        return error;
    }

private:
    /// Short, so that it fits where the target's name does.
    static std::string randomName()
    {
        std::random_device random;
        char name[24];
        std::snprintf(name, sizeof name, ".morvex-%08x", random());
        return name;
    }

    int publishNew() const noexcept
    {
        const int result =
            ::renameat2(AT_FDCWD, m_name.c_str(), AT_FDCWD, m_target.c_str(), RENAME_NOREPLACE);
        if (result == 0 || (errno != EINVAL && errno != ENOSYS)) {
            return errorOf(result);
        }
        if (::link(m_name.c_str(), m_target.c_str()) != 0) {
            return errno;
        }
        ::unlink(m_name.c_str());
        return 0;
    }

    std::string m_target;
    std::string m_name;
    Descriptor m_file;
};

/// Where the content goes when the target is a link.
std::string followed(const char* path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path, nullptr), &std::free);
    return resolved ? resolved.get() : path;
}

int copyStaged(int source, const struct stat& status, const std::string& target, bool overwrite)
{
    StagedFile staged(target);
    int error = staged.create();
    if (error == 0) {
        error = copyContent(source, staged.descriptor());
    }
    if (error == 0) {
        error = copyProperties(staged.descriptor(), status);
    }
    return error != 0 ? error : staged.publish(overwrite);
}

int copyIntoDevice(int source, const char* path)
{
    const Descriptor target(uninterrupted([&] { return ::open(path, O_WRONLY | bothDescriptors); }));
    return target ? copyThroughBuffer(source, target.get()) : errno;
}

int copyOver(int source, const struct stat& status, const char* to, const struct stat& old)
{
    if (old.st_dev == status.st_dev && old.st_ino == status.st_ino) {
        return EBUSY;
    }
    if (S_ISDIR(old.st_mode)) {
        return EISDIR;
    }
    if (!S_ISREG(old.st_mode)) {
        return copyIntoDevice(source, to);
    }
    // A file that is protected from writing is not replaced either.
    if (::faccessat(AT_FDCWD, to, W_OK, AT_EACCESS) != 0) {
        return errno;
    }
    return copyStaged(source, status, followed(to), true);
}

int copyByErrno(const char* from, const char* to, bool overwrite)
{
    Descriptor source;
    struct stat status
    {};
    if (const int error = openSource(from, source, status)) {
        return error;
    }
    struct stat old
    {};
    if (::lstat(to, &old) != 0) {
        return errno == ENOENT ? copyStaged(source.get(), status, to, false) : errno;
    }
    if (!overwrite) {
        return EEXIST;
    }
    if (::stat(to, &old) != 0) {
        return errno == ENOENT ? copyStaged(source.get(), status, to, true) : errno; // a link to nothing
    }
    return copyOver(source.get(), status, to, old);
}

} // namespace

SystemError copyFile(const char* from, const char* to, bool overwrite)
{
    const int error = copyByErrno(from, to, overwrite);
    errno = error;
    return error == 0 ? SystemError{} : lastWindowsError();
}

} // namespace MorvexA106::Platform
