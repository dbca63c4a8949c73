#include "child_posix.h"
#include "faults_posix.h"
#include "filesystem.h"
#include "morvex/sfilesys.h"
#include "morvex/stimezone.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <string>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

struct stat statusOf(const std::string& path)
{
    struct stat status
    {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status;
}

void setTimes(const std::string& path, timespec accessed, timespec modified)
{
    const timespec times[] = {accessed, modified};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

} // namespace

TEST(SFileSysTimesPosix, AreSetToTheMillisecondAndLeaveTheLastAccessAlone)
{
    const Scratch scratch;
    const std::string path = scratch / "file";
    putFile(path, "text");
    setTimes(path, {1'000'000, 123'456'789}, {2'000'000, 987'654'321});
    EXPECT_EQ(SFileSys::getLastModifiedTime(path.c_str()).GetMillisecond(), 987);
    SFileSys::setLastModifiedTime(path.c_str(), SDateTime(1969, 12, 31, 23, 59, 58, 7, STimeZone::TZ_UTC()));
    const struct stat status = statusOf(path);
    EXPECT_EQ(status.st_mtim.tv_sec, -2);
    EXPECT_EQ(status.st_mtim.tv_nsec, 7'000'000);
    EXPECT_EQ(status.st_atim.tv_sec, 1'000'000);
    EXPECT_EQ(status.st_atim.tv_nsec, 123'456'789);
}

TEST(SFileSysTimesPosix, BeforeTheFirstMomentAreCutDownwards)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    setTimes(scratch / "file", {0, 0}, {-1, 999'999'999});
    EXPECT_EQ(SFileSys::getLastModifiedTime(scratch.path("file")).GetTimePoint().time_since_epoch().count(),
              -1);
}

TEST(SFileSysTimesPosix, OfALinkAreThoseOfItsTarget)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    fs::create_symlink("file", scratch / "link");
    SFileSys::setLastModifiedTime(scratch.path("link"),
                                  SDateTime(2003, 7, 5, 1, 2, 3, 4, STimeZone::TZ_UTC()));
    EXPECT_EQ(statusOf(scratch / "file").st_mtim.tv_nsec, 4'000'000);
}

TEST(SFileSysAccessPosix, SetsExactlyTheBits)
{
    struct Row
    {
        const char* name;
        mode_t before;
        std::function<void(const SAnsiString&)> act;
        mode_t after;
    };
    const Row rows[] = {
        {"the owner's words", 0644,
         [](const SAnsiString& path) { SFileSys::giveAccess(path, SFile::ownerRMask); }, 0400},
        {"any bits", 0600, [](const SAnsiString& path) { SFileSys::giveAccess(path, 0754); }, 0754},
        {"lent rights go", 06755, [](const SAnsiString& path) { SFileSys::giveAccess(path, 0755); }, 0755},
        {"all", 0455, [](const SAnsiString& path) { SFileSys::giveAllAccess(path, true); }, 0700},
        {"all, execution kept", 0455, [](const SAnsiString& path) { SFileSys::giveAllAccess(path, false); },
         0711},
    };
    const Scratch scratch;
    for (const bool folder : {false, true}) {
        const std::string path = scratch / (folder ? "folder" : "file");
        folder ? static_cast<void>(fs::create_directory(path)) : putFile(path, "text");
        for (const Row& row : rows) {
            SCOPED_TRACE(row.name);
            ASSERT_EQ(::chmod(path.c_str(), row.before), 0);
            row.act((path + (folder ? "/" : "")).c_str());
            EXPECT_EQ(statusOf(path).st_mode & 07777, row.after);
        }
        ::chmod(path.c_str(), 0700);
    }
}

TEST(SFileSysAccessPosix, OwnersBitsCountAndNobodyElses)
{
    const Scratch scratch;
    const std::string path = scratch / "file";
    putFile(path, "text");
    ASSERT_EQ(::chmod(path.c_str(), 0033), 0);
    EXPECT_FALSE(SFileSys::HasOwnerExePermission(path.c_str()));
    EXPECT_FALSE(SFileSys::HasOwnerWritePermission(path.c_str()));
    ASSERT_EQ(::chmod(path.c_str(), 0300), 0);
    EXPECT_TRUE(SFileSys::HasOwnerExePermission(path.c_str()));
    EXPECT_TRUE(SFileSys::HasOwnerWritePermission(path.c_str()));
}

TEST(SFileSysOwnerPosix, IsFoundByNameOrNumberAndOnlyRootMayGive)
{
    const Scratch scratch;
    const std::string path = scratch / "file";
    putFile(path, "text");
    for (const char* nobody : {"no such user", "", "12x", "-1", "4294967295"}) {
        const SFileSysException failure = thrownBy([&] { SFileSys::setFileOwner(path.c_str(), nobody); });
        EXPECT_EQ(failure.ErrCode(), SFileSysException::SetOwnerFailed) << nobody;
        EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument) << nobody;
        EXPECT_TRUE(failure.toString().view().starts_with("Failed to change ownership to " +
                                                          std::string(nobody) + ".  Reason: "));
    }
    const std::string own = std::to_string(::getuid());
    EXPECT_NO_THROW(SFileSys::setFileOwner(path.c_str(), own.c_str()));
    if (::getuid() != 0) {
        EXPECT_EQ(thrownBy([&] { SFileSys::setFileOwner(path.c_str(), "0"); }).ErrReason(),
                  SFileSysException::AccessDenied);
        return;
    }
    const gid_t group = statusOf(path).st_gid;
    SFileSys::setFileOwner(path.c_str(), "12345");
    EXPECT_EQ(statusOf(path).st_uid, 12345u);
    SFileSys::setFileOwner(path.c_str(), "root");
    EXPECT_EQ(statusOf(path).st_uid, 0u);
    EXPECT_EQ(statusOf(path).st_gid, group);
}

TEST(SFileSysAttributesPosix, FailedCallsAreReportedByTheirOperation)
{
    const Scratch scratch;
    const SAnsiString path = scratch.path("file");
    putFile(scratch / "file", "text");
    __int64 figure = 0;
    struct Row
    {
        const char* name;
        std::string_view call;
        unsigned passing; // the calls before it ask whether the file is there, and whether it is a folder
        std::function<void()> act;
        SFileSysException::ErrorCodes code;
    };
    const SDateTime time(2003, 7, 5, 1, 2, 3, 4, STimeZone::TZ_UTC());
    const Row rows[] = {
        {"getLastModifiedTime", "stat", 0, [&] { SFileSys::getLastModifiedTime(path); },
         SFileSysException::GetAttributesFailed},
        {"setLastModifiedTime", "utimensat", 0, [&] { SFileSys::setLastModifiedTime(path, time); },
         SFileSysException::SetAttributesFailed},
        {"giveAccess", "stat", 0, [&] { SFileSys::giveAccess(path, 0600); },
         SFileSysException::SetAttributesFailed},
        {"giveAccessHelper", "chmod", 0, [&] { SFileSys::giveAccess(path, 0600); },
         SFileSysException::SetAttributesFailed},
        {"HasOwnerPermissionHelper", "stat", 1, [&] { SFileSys::HasOwnerWritePermission(path); },
         SFileSysException::SetAttributesFailed},
        {"diskUsageInfo", "statvfs", 0,
         [&] { SFileSys::diskUsageInfo(scratch.root(), figure, figure, figure); },
         SFileSysException::DiskUsageFailed},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Faults::Injection injection({.error = EACCES, .only = {&row.call, 1}}, row.passing);
        injection.arm();
        const SFileSysException failure = thrownBy(row.act);
        injection.disarm();
        EXPECT_EQ(failure.ErrCode(), row.code);
        EXPECT_EQ(failure.ErrReason(), SFileSysException::AccessDenied);
        EXPECT_TRUE(failure.summary().view().ends_with(std::string(":") + row.name));
        EXPECT_EQ(failure.reason().view() == "The operating system's call has failed.  Please contact your "
                                             "system administrator.",
                  row.code == SFileSysException::DiskUsageFailed);
    }
}
