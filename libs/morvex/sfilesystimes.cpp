#include "morvex/sdatetime.h"
#include "morvex/sfilesyswork.h"
#include "platform/fileattributes.h"
#include "platform/systemerror.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>

namespace MorvexA106
{

using Platform::FileTime;
using std::chrono::milliseconds;

namespace
{

/// A file system may keep times that end no sooner than the count of seconds does.
SDateTime momentOf(const FileTime& time)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 1000 - 1;
    const std::int64_t seconds = std::clamp(time.seconds, -most, most);
    return SDateTime(SDateTime::time_point(milliseconds(seconds * 1000 + time.nanoseconds / 1'000'000)));
}

FileTime fileTimeOf(const SDateTime& moment)
{
    const auto whole = moment.GetTimePoint().time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(whole);
    return {seconds.count(), static_cast<std::uint32_t>((whole - seconds).count()) * 1'000'000};
}

} // namespace

SDateTime SFileSys::getLastModifiedTime(const SAnsiString& path)
{
    Work::requireExists(path, "getLastModifiedTime");
    FileTime time;
    Work::check(Platform::readModificationTime(Work::trimmed(path), time),
                SFileSysException::GetAttributesFailed, path, SAnsiString(), "getLastModifiedTime");
    return momentOf(time);
}

void SFileSys::setLastModifiedTime(const SAnsiString& path, const SDateTime& time)
{
    constexpr const char* function = "setLastModifiedTime";
    Work::requireExists(path, function);
    if (isDir(path)) {
        Work::reportFalse("Not implemented for directories");
        return;
    }
    if (!time.IsValid()) {
        Work::fail(SFileSysException::SetAttributesFailed, Platform::runtimeError(EINVAL), path,
                   SAnsiString(), function);
    }
    Work::check(Platform::writeModificationTime(path, fileTimeOf(time)),
                SFileSysException::SetAttributesFailed, path, SAnsiString(), function);
}

} // namespace MorvexA106
