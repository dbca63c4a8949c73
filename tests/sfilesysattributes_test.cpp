#include "filesystem.h"
#include "morvex/sdatetimeconv.h"
#include "morvex/sfilesys.h"
#include "morvex/stimezone.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

SDateTime utc(int year, int month, int day, int hour, int minute, int second, int millisecond)
{
    return SDateTime(year, month, day, hour, minute, second, millisecond, STimeZone::TZ_UTC());
}

} // namespace

TEST(SFileSysTimes, AreReadAsTheyWereSet)
{
    struct Row
    {
        const char* name;
        SDateTime time;
    };
    const Row rows[] = {
        {"usual", utc(2003, 7, 5, 1, 2, 3, 4)},
        {"first moment", utc(1970, 1, 1, 0, 0, 0, 0)},
        {"a millisecond before it", utc(1969, 12, 31, 23, 59, 59, 999)},
        {"the second that looks like a failure", utc(1969, 12, 31, 23, 59, 59, 0)},
        {"long before 1970", utc(1902, 1, 1, 12, 0, 0, 1)},
        {"end of 31 bits", utc(2038, 1, 19, 3, 14, 7, 999)},
        {"after 2038", utc(2038, 1, 19, 3, 14, 8, 0)},
        {"much later", utc(2262, 4, 12, 0, 0, 0, 500)},
        {"29 February", utc(2024, 2, 29, 23, 59, 59, 999)},
    };
    const Scratch scratch;
    putFile(scratch / "file", "text");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        SFileSys::setLastModifiedTime(scratch.path("file"), row.time);
        EXPECT_EQ(SFileSys::getLastModifiedTime(scratch.path("file")).GetTotalMilliseconds(),
                  row.time.GetTotalMilliseconds());
    }
    EXPECT_EQ(contentOf(scratch / "file"), "text");
}

TEST(SFileSysTimes, AreToldOfFoldersToo)
{
    const Scratch scratch;
    const SDateTime now = SDateTime::GetCurrentDateTime();
    fs::create_directory(scratch / "folder");
    for (const char* path : {"folder", "folder/"}) {
        const STimeSpan age = now - SFileSys::getLastModifiedTime(scratch.path(path));
        EXPECT_LT(age, STimeSpan(0, 0, 1, 0, 0));
        EXPECT_GT(age, STimeSpan(0, 0, -10, 0, 0));
    }
    Recorder recorder;
    const SDateTime before = SFileSys::getLastModifiedTime(scratch.path("folder"));
    SFileSys::setLastModifiedTime(scratch.path("folder"), utc(2003, 7, 5, 1, 2, 3, 4));
    EXPECT_EQ(recorder.count("Not implemented for directories"), 1);
    EXPECT_EQ(SFileSys::getLastModifiedTime(scratch.path("folder")), before);
}

TEST(SFileSysTimes, InvalidMomentIsRefused)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    const SFileSysException failure =
        thrownBy([&] { SFileSys::setLastModifiedTime(scratch.path("file"), SDateTime()); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::SetAttributesFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_TRUE(failure.summary().view().ends_with(":setLastModifiedTime"));
}

TEST(SFileSysAttributes, MissingPathIsReportedByTheOperationThatWasAsked)
{
    const Scratch scratch;
    const SAnsiString absent = scratch.path("absent");
    __int64 figure = 0;
    struct Row
    {
        const char* operation;
        std::function<void()> act;
    };
    const Row rows[] = {
        {"getLastModifiedTime", [&] { SFileSys::getLastModifiedTime(absent); }},
        {"setLastModifiedTime", [&] { SFileSys::setLastModifiedTime(absent, utc(2003, 7, 5, 1, 2, 3, 4)); }},
        {"isDir", [&] { SFileSys::diskUsageInfo(absent, figure, figure, figure); }},
        {"giveAccess", [&] { SFileSys::giveAccess(absent, SFile::readWriteMask); }},
        {"giveAccess", [&] { SFileSys::giveAllAccess(absent, false); }},
        {"HasOwnerExePermission", [&] { SFileSys::HasOwnerExePermission(absent); }},
        {"HasOwnerExePermission", [&] { SFileSys::HasOwnerWritePermission(absent); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.operation);
        const SFileSysException failure = thrownBy(row.act);
        EXPECT_EQ(failure.ErrCode(), SFileSysException::FileNotFound);
        EXPECT_EQ(failure.ErrReason(), SFileSysException::NotFound);
        EXPECT_TRUE(failure.summary().view().ends_with(std::string(":") + row.operation));
    }
}

TEST(SFileSysAttributes, DiskTellsWhatIsAvailableItsSizeAndWhatIsFree)
{
    const Scratch scratch;
    __int64 available = -1;
    __int64 total = -1;
    __int64 free = -1;
    SFileSys::diskUsageInfo(scratch.root(), available, total, free);
    EXPECT_GE(available, 0);
    EXPECT_LE(available, free);
    EXPECT_LE(free, total);
    const fs::space_info space = fs::space(scratch / "");
    EXPECT_EQ(total, static_cast<__int64>(space.capacity));

    putFile(scratch / "file", "text");
    total = 4711;
    const SFileSysException failure =
        thrownBy([&] { SFileSys::diskUsageInfo(scratch.path("file"), available, total, free); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::DiskUsageFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_EQ(total, 4711);
}

TEST(SFileSysAttributes, OwnerMayWriteWhenTold)
{
    const Scratch scratch;
    const SAnsiString path = scratch.path("file");
    putFile(scratch / "file", "text");
    SFileSys::giveAccess(path, SFile::ownerRMask);
    EXPECT_FALSE(SFileSys::HasOwnerWritePermission(path));
    EXPECT_FALSE(SFileSys::HasOwnerExePermission(path));
    SFileSys::giveAccess(path, SFile::ownerRMask | SFile::ownerWMask);
    EXPECT_TRUE(SFileSys::HasOwnerWritePermission(path));
    for (const bool readWrite : {true, false}) {
        SFileSys::giveAccess(path, SFile::ownerRMask);
        SFileSys::giveAllAccess(path, readWrite);
        EXPECT_TRUE(SFileSys::HasOwnerWritePermission(path));
    }
}

TEST(SFileSysAttributes, MarkerForUsualPermissionsIsNoPermission)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    const SFileSysException failure =
        thrownBy([&] { SFileSys::giveAccess(scratch.path("file"), SFile::defaultPermissions); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::SetAttributesFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_TRUE(SFileSys::HasOwnerWritePermission(scratch.path("file")));
}

TEST(SFileSysAttributes, PermissionsOfAFolderAreNotAskedFor)
{
    const Scratch scratch;
    Recorder recorder;
    EXPECT_FALSE(SFileSys::HasOwnerExePermission(scratch.root()));
    EXPECT_FALSE(SFileSys::HasOwnerWritePermission(scratch.root()));
    EXPECT_EQ(recorder.count("HasOwnerPermission is not implemented for directories"), 2);
}
