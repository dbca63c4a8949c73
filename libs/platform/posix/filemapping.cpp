#include "platform/filemapping.h"

#include "platform/file.h"
#include "platform/posix/owned.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>

namespace MorvexA106::Platform
{

namespace
{

constexpr unsigned long emptyFile = 1006;

MappingOutcome failed(MappingStep step, int error) noexcept
{
    errno = error;
    return {step, lastWindowsError()};
}

int requireRegular(const struct stat& status) noexcept
{
    if (S_ISREG(status.st_mode)) {
        return 0;
    }
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

bool meansNoLocks(int error) noexcept
{
    return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS || error == EINVAL;
}

/// Looks before it opens: the opening of a pipe waits, and that of a device may act.
int openRegular(const char* path, Descriptor& file) noexcept
{
    struct stat status;
    if (::stat(path, &status) != 0) {
        return errno;
    }
    if (const int error = requireRegular(status)) {
        return error;
    }
    auto opened = openFile(path, FileWord::sequential, 0, FileWord::denyWrite);
    if (meansNoLocks(opened.error)) {
        opened = openFile(path, FileWord::sequential, 0, FileWord::denyNothing);
    }
    file = Descriptor(static_cast<int>(opened.value));
    return opened.error;
}

} // namespace

MappingOutcome mapFile(const char* path, FileMapping& mapped) noexcept
{
    Descriptor file;
    if (const int error = openRegular(path, file)) {
        return failed(MappingStep::open, error);
    }
    struct stat status;
    if (::fstat(file.get(), &status) != 0) {
        return failed(MappingStep::size, errno);
    }
    if (status.st_size == 0) {
        return {MappingStep::mapping, {ErrorKind::windows, emptyFile, EINVAL}};
    }
    if (status.st_size >= UINT32_MAX) {
        return failed(MappingStep::mapping, EFBIG);
    }
    const auto size = static_cast<std::uint32_t>(status.st_size);
    void* const view = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file.get(), 0);
    if (view == MAP_FAILED) {
        return failed(MappingStep::mapping, errno);
    }
    mapped = {static_cast<unsigned char*>(view), size, file.release(), 0};
    return {};
}

void unmapFile(const FileMapping& mapped) noexcept
{
    ::munmap(mapped.view, mapped.size);
    Descriptor{static_cast<int>(mapped.file)}.reset();
}

MappedBytes readMapped(std::intptr_t file, std::uint64_t offset, void* bytes, std::size_t count) noexcept
{
    MappedBytes result;
    while (result.count < count) {
        const ssize_t moved = uninterrupted([&] {
            return ::pread(static_cast<int>(file), static_cast<char*>(bytes) + result.count,
                           count - result.count, static_cast<off_t>(offset + result.count));
        });
        if (moved <= 0) {
            result.error = moved == 0 ? SystemError{} : lastRuntimeError();
            break;
        }
        result.count += static_cast<std::size_t>(moved);
    }
    return result;
}

bool isMappedAt(std::intptr_t file, const char* path) noexcept
{
    struct stat mapped;
    struct stat there;
    return ::fstat(static_cast<int>(file), &mapped) == 0 && ::stat(path, &there) == 0 &&
           mapped.st_dev == there.st_dev && mapped.st_ino == there.st_ino;
}

bool isPipe(const char* path) noexcept
{
    struct stat status;
    return ::stat(path, &status) == 0 && S_ISFIFO(status.st_mode);
}

} // namespace MorvexA106::Platform
