#include "platform/file.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace MorvexA106::Platform
{

namespace
{

static_assert(FileWord::create == _O_CREAT && FileWord::truncate == _O_TRUNC &&
                  FileWord::exclusive == _O_EXCL && FileWord::append == _O_APPEND &&
                  FileWord::temporary == _O_TEMPORARY && FileWord::binary == _O_BINARY,
              "the words are the runtime's own");
static_assert(FileWord::denyReadAndWrite == _SH_DENYRW && FileWord::denyWrite == _SH_DENYWR &&
                  FileWord::denyRead == _SH_DENYRD && FileWord::denyNothing == _SH_DENYNO,
              "the words are the runtime's own");

/// A failure is one also where the runtime gives no number for it.
FileResult outcome(std::int64_t value) noexcept
{
    return value == -1 ? FileResult{-1, errno != 0 ? errno : EBADF} : FileResult{value};
}

/// The runtime would take the marker for permissions without the right to write.
int knownPermissions(int permissions) noexcept
{
    return permissions == FileWord::defaultPermissions ? FileWord::ownerRWXMask : permissions;
}

} // namespace

FileResult openFile(const char* path, int flags, int permissions, int sharing) noexcept
{
    if (!isValidOpen(flags, sharing)) {
        return {-1, EINVAL};
    }
    return outcome(_sopen(path, flags, sharing, knownPermissions(permissions)));
}

void closeFile(int descriptor) noexcept
{
    _close(descriptor);
}

FileResult readFile(int descriptor, void* bytes, unsigned count) noexcept
{
    return outcome(_read(descriptor, bytes, std::min<unsigned>(count, INT_MAX)));
}

FileResult writeFile(int descriptor, const void* bytes, unsigned count) noexcept
{
    return outcome(_write(descriptor, bytes, std::min<unsigned>(count, INT_MAX)));
}

FileResult commitFile(int descriptor) noexcept
{
    return outcome(_commit(descriptor));
}

FileResult seekFile(int descriptor, std::int64_t offset, int whence) noexcept
{
    return outcome(_lseeki64(descriptor, offset, whence));
}

} // namespace MorvexA106::Platform
