#include "morvex/sfile.h"
#include "morvex/sfilesyswork.h"
#include "platform/fileattributes.h"
#include "platform/systemerror.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace MorvexA106
{

using Platform::SystemError;

namespace
{

constexpr int executeBits = 0111;

__int64 figureOf(std::uint64_t bytes) noexcept
{
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    return static_cast<__int64>(std::min<std::uint64_t>(bytes, most));
}

} // namespace

void SFileSys::Work::giveAccess(const SAnsiString& path, int permissions, bool keepExecute)
{
    requireExists(path, "giveAccess");
    const SAnsiString target = trimmed(path);
    int now = 0;
    check(Platform::readPermissions(target, now), Codes::SetAttributesFailed, path, SAnsiString(),
          "giveAccess");
    const int wanted = keepExecute ? permissions | (now & executeBits) : permissions;
    // The marker has none of the bits, and would shut everybody out.
    const SystemError error = permissions == SFile::defaultPermissions
                                  ? Platform::runtimeError(EINVAL)
                                  : Platform::writePermissions(target, wanted);
    check(error, Codes::SetAttributesFailed, path, SAnsiString(), "giveAccessHelper");
}

bool SFileSys::Work::hasPermission(const SAnsiString& path, int mask)
{
    requireExists(path, "HasOwnerExePermission");
    if (isDir(path)) {
        reportFalse("HasOwnerPermission is not implemented for directories");
        return false;
    }
    int now = 0;
    check(Platform::readPermissions(path, now), Codes::SetAttributesFailed, path, SAnsiString(),
          "HasOwnerPermissionHelper");
    return (now & mask) != 0;
}

void SFileSys::giveAccess(const SAnsiString& path, int permissions)
{
    Work::giveAccess(path, permissions, false);
}

void SFileSys::giveAllAccess(const SAnsiString& path, bool readWrite)
{
    if (readWrite) {
        Work::giveAccess(path, SFile::readWriteMask, false);
    } else {
        Work::giveAccess(path, SFile::writeMask | SFile::readMask, true);
    }
}

bool SFileSys::HasOwnerExePermission(const SAnsiString& path)
{
    return Work::hasPermission(path, SFile::ownerXMask);
}

bool SFileSys::HasOwnerWritePermission(const SAnsiString& path)
{
    return Work::hasPermission(path, SFile::ownerWMask);
}

void SFileSys::setFileOwner(const SAnsiString& path, const SAnsiString& owner)
{
    // The text of this failure names the owner where the others name the file.
    Work::check(Platform::changeOwner(path, owner), SFileSysException::SetOwnerFailed, owner, path,
                "setFileOwner");
}

void SFileSys::diskUsageInfo(const SAnsiString& path, __int64& available, __int64& total, __int64& free)
{
    constexpr const char* function = "diskUsageInfo";
    if (!isDir(path)) {
        Work::failAsNoFolder(SFileSysException::DiskUsageFailed, path, function);
    }
    Platform::DiskUsage usage;
    if (const SystemError error = Platform::readDiskUsage(path, usage)) {
        throw SFileSysException(SFileSysException::DiskUsageFailed, Work::reasonOf(error), path,
                                "The operating system's call has failed.  Please contact your system "
                                "administrator.",
                                SAnsiString(), function);
    }
    available = figureOf(usage.availableToCaller);
    total = figureOf(usage.total);
    free = figureOf(usage.free);
}

} // namespace MorvexA106
