#pragma once

/// @file
/// Ownership of what the system hands out, calls that signals interrupt, and files without a name.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

namespace MorvexA106::Platform
{

/// Closes its descriptor; `errno` stays what it was.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) noexcept : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const noexcept { return m_number; }
    explicit operator bool() const noexcept { return m_number >= 0; }
    int release() noexcept { return std::exchange(m_number, -1); }

    /// An interrupted close is not repeated: the number is free already and may be somebody else's by now.
    void reset() noexcept
    {
        if (m_number >= 0) {
            const int before = errno;
            ::close(release());
            errno = before;
        }
    }

private:
    int m_number;
};

/// Makes the call until no signal interrupts it.
template <class Call>
auto uninterrupted(Call call) noexcept
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Below, a failure is an errno, and 0 is success.

inline int errorOf(int result) noexcept
{
    return result == 0 ? 0 : errno;
}

inline int writeAll(int file, const void* bytes, std::size_t count) noexcept
{
    for (const char* at = static_cast<const char*>(bytes); count > 0;) {
        const ssize_t written = uninterrupted([&] { return ::write(file, at, count); });
        if (written <= 0) {
            return written < 0 ? errno : EIO;
        }
        at += written;
        count -= static_cast<std::size_t>(written);
    }
    return 0;
}

/// What making or naming a file without a name comes to where it needs a name from the start.
inline constexpr int needsName = EOPNOTSUPP;

inline std::string pathOfNameless(int file)
{
    return "/proc/self/fd/" + std::to_string(file);
}

/// A file that is gone with its last descriptor unless it is given a name.
inline int createNameless(int folder, const char* path, mode_t mode, Descriptor& file)
{
    file = Descriptor(
        uninterrupted([&] { return ::openat(folder, path, O_RDWR | O_TMPFILE | O_CLOEXEC, mode); }));
    if (!file) {
        const bool unknown = errno == EISDIR || errno == EINVAL || errno == ENOSYS;
        return unknown ? needsName : errno;
    }
    return ::access(pathOfNameless(file.get()).c_str(), F_OK) == 0 ? 0 : needsName;
}

/// EEXIST for a name that is taken. Some security modules let no process name a file later, each with an error of its
/// own.
inline int nameFile(int file, int folder, const char* name)
{
    const int error =
        errorOf(::linkat(AT_FDCWD, pathOfNameless(file).c_str(), folder, name, AT_SYMLINK_FOLLOW));
    return error == 0 || error == EEXIST ? error : needsName;
}

} // namespace MorvexA106::Platform
