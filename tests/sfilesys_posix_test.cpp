#include "child_posix.h"
#include "filesystem.h"
#include "morvex/sfilesys.h"
#include "morvex/ssfilesearch.h"
#include "morvex/sstringhelper.h"
#include "platform/systemerror.h"
#include "recorder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <set>
#include <string>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

bool isThere(const std::string& path)
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

mode_t modeOf(const std::string& path)
{
    struct stat status
    {};
    ::stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

} // namespace

// errno and Windows error of the same number mean different things: 18 is "other device" here and "no more files"
// there, and only the latter counts as "not found".
TEST(SystemErrorPosix, HasTheWindowsNumberOfTheSameMeaning)
{
    const std::pair<int, unsigned long> rows[] = {
        {ENOENT, 2},  {ENOTDIR, 3},  {EACCES, 5},         {EPERM, 5},    {EXDEV, 17},    {EBUSY, 32},
        {EEXIST, 80}, {ENOSPC, 112}, {ENAMETOOLONG, 206}, {EDQUOT, 112}, {ENOMEM, 1816}, {EPROTO, 31},
    };
    for (const auto& [number, windows] : rows) {
        errno = number;
        const Platform::SystemError error = Platform::lastWindowsError();
        EXPECT_EQ(error.number, windows) << number;
        EXPECT_EQ(Platform::errorText(error), Platform::errorText(Platform::runtimeError(number)));
    }
}

TEST(SFileSysPosix, LinksThatLeadNowhereAreAbsentButTheirNameIsTaken)
{
    const Scratch scratch;
    fs::create_symlink("nowhere", scratch / "dangling");
    fs::create_symlink("loop", scratch / "loop");
    for (const char* name : {"dangling", "loop"}) {
        SCOPED_TRACE(name);
        const SAnsiString path = scratch.path(name);
        EXPECT_FALSE(SFileSys::exists(path));
        EXPECT_THROW(SFileSys::isDir(path), SFileSysException);
        for (const auto make : {&SFileSys::makeDirectory, &SFileSys::makeDirectories}) {
            const SFileSysException failure = thrownBy([&] { make(path, usual); });
            EXPECT_EQ(failure.ErrCode(), SFileSysException::MakeDirectoryFailed);
            EXPECT_EQ(failure.ErrReason(), SFileSysException::AlreadyExists);
        }
        EXPECT_THROW(SFileSys::makeDirectories(path + "/x", usual), SFileSysException);
        EXPECT_TRUE(isThere(scratch / name));
    }
}

TEST(SFileSysPosix, NameThatIsTooLongIsAnInvalidArgumentForANewFolder)
{
    const Scratch scratch;
    const SAnsiString path = scratch.path(std::string(256, 'n'));
    EXPECT_FALSE(SFileSys::exists(path));
    EXPECT_EQ(thrownBy([&] { SFileSys::makeDirectories(path, usual); }).ErrReason(),
              SFileSysException::InvalidArgument);
    EXPECT_NO_THROW(SFileSys::remove(path));
}

TEST(SFileSysPosix, RemoveTakesTheLinkAndLeavesWhatItPointsTo)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    fs::create_directory(scratch / "folder");
    putFile(scratch / "folder/inner", "text");
    const std::pair<const char*, const char*> links[] = {{"file", "toFile"},
                                                         {"folder", "toFolder"},
                                                         {"folder", "toFolder/"},
                                                         {"absent", "dangling"},
                                                         {"loop", "loop"}};
    for (const auto& [target, link] : links) {
        SCOPED_TRACE(link);
        const std::string name = std::string(link).substr(0, std::string(link).find('/'));
        fs::create_symlink(target, scratch / name);
        SFileSys::remove(scratch.path(link));
        EXPECT_FALSE(isThere(scratch / name));
    }
    EXPECT_EQ(contentOf(scratch / "file"), "text");
    EXPECT_EQ(contentOf(scratch / "folder/inner"), "text");
}

TEST(SFileSysPosix, RootIsNeverTakenForAPathThatIsGone)
{
    const SFileSysException failure = thrownBy([] { SFileSys::remove("/"); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveFailed);
}

TEST(SFileSysPosix, WhatMayNotBeLookedAtExistsAndRefusesFurtherQuestions)
{
    const Scratch scratch;
    fs::create_directories(scratch / "in/locked/folder");
    putFile(scratch / "in/locked/file", "text");
    const mode_t locked = ::getuid() == 0 ? 0700 : 0; // of root, or of ourselves
    ASSERT_EQ(::chmod((scratch / "in/locked").c_str(), locked), 0);
    ASSERT_EQ(::chmod((scratch / "in").c_str(), 0555), 0);
    const int result = inChild([&] {
        if (!dropPrivileges() || !SFileSys::exists(scratch.path("in/locked/file")) ||
            !SFileSys::exists(scratch.path("in/locked/absent"))) {
            return 1;
        }
        struct Row
        {
            SFileSysException::ErrorCodes code;
            std::function<void()> act;
        };
        SIArray<FileProp> rows;
        const Row table[] = {
            {SFileSysException::GetAttributesFailed,
             [&] { SFileSys::isDir(scratch.path("in/locked/file")); }},
            {SFileSysException::GetAttributesFailed, [&] { SFileSys::size(scratch.path("in/locked/file")); }},
            {SFileSysException::GetAttributesFailed,
             [&] { SFileSys::listing(scratch.path("in/locked"), "*", rows); }},
            {SFileSysException::GetAttributesFailed,
             [&] { SFileSys::remove(scratch.path("in/locked/file")); }},
            {SFileSysException::MakeDirectoryFailed,
             [&] { SFileSys::makeDirectory(scratch.path("in/new"), usual); }},
            {SFileSysException::RemoveFailed, [&] { SFileSys::remove(scratch.path("in/locked")); }},
        };
        int row = 2;
        for (const auto& [code, act] : table) {
            const SFileSysException failure = thrownBy(act);
            if (failure.ErrCode() != code || failure.ErrReason() != SFileSysException::AccessDenied) {
                return row;
            }
            ++row;
        }
        return 0;
    });
    EXPECT_EQ(result, 0);
    ASSERT_EQ(::chmod((scratch / "in").c_str(), 0700), 0);
    ASSERT_EQ(::chmod((scratch / "in/locked").c_str(), 0700), 0);
    EXPECT_EQ(contentOf(scratch / "in/locked/file"), "text");
}

TEST(SFileSysPosix, FoldersGetTheirPermissionsThroughTheMask)
{
    const Scratch scratch;
    const mode_t before = ::umask(027);
    SFileSys::makeDirectories(scratch.path("a/b"), usual);
    SFileSys::makeDirectory(scratch.path("c"), SFile::readWriteMask);
    ::umask(before);
    EXPECT_EQ(modeOf(scratch / "a"), 0750U);
    EXPECT_EQ(modeOf(scratch / "a/b"), 0750U);
    EXPECT_EQ(modeOf(scratch / "c"), 0700U);
}

TEST(SFileSysPosix, NamesOfAnyBytesGoThroughEveryOperation)
{
    const std::string names[] = {std::string(255, 'n'),
                                 " leading and trailing ",
                                 "back\\slash",
                                 "quote\"'$(x)`*?",
                                 "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80",
                                 "not utf8 \xFF\xFE",
                                 "new\nline",
                                 "-rf",
                                 "%1%2"};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const Scratch scratch;
        SFileSys::makeDirectories(scratch.path("in"), usual);
        SFileSys::makeDirectories(scratch.path("out"), usual);
        const SAnsiString in = SStringHelper::MakePath(scratch.path("in"), name.c_str());
        const SAnsiString out = SStringHelper::MakePath(scratch.path("out"), name.c_str());
        SFile file(in, SFile::writeOnly | SFile::create | SFile::exclusive, usual, SFile::denyWrite);
        EXPECT_EQ(file.write("text", 4), 4);
        file.close();
        SFileSys::copyFile(in, out, false);
        EXPECT_EQ(contentOf(out.getString()), "text");
        SFileSys::renameFile(in, out);
        SIArray<FileProp> rows;
        SFileSys::listing(scratch.path("out"), "*", rows);
        ASSERT_EQ(rows.GetSize(), 1U);
        EXPECT_EQ(rows.GetAt(0).m_name.view(), out.view());
        EXPECT_EQ(SFileSys::sizeEx(out), 4);
        SFileSys::remove(out);
        EXPECT_TRUE(namesIn(scratch / "out").empty());
        SFileSys::makeDirectory(out, usual);
        EXPECT_TRUE(SFileSys::isDir(out));
        SFileSys::remove(out);
        EXPECT_FALSE(SFileSys::exists(out));
    }
}

TEST(SFileSysPosix, CaseCountsInSearches)
{
    const Scratch scratch;
    putFile(scratch / "a.TXT", "");
    SSFileSearch search(scratch.root(), "*.txt");
    SAnsiString name;
    EXPECT_FALSE(search.FindFirst(name));
}

TEST(SFileSysPosix, ListingFollowsLinksAndTellsOfThoseThatLeadNowhere)
{
    const Scratch scratch;
    putFile(scratch / "file", "12345");
    fs::create_directory(scratch / "links");
    fs::create_symlink("../file", scratch / "links/toFile");
    fs::create_symlink("..", scratch / "links/toFolder");
    fs::create_symlink("nowhere", scratch / "links/dangling");
    SIArray<FileProp> rows;
    SFileSys::listing(scratch.path("links"), "*", rows);
    ASSERT_EQ(rows.GetSize(), 3U);
    for (const FileProp& row : rows) {
        const std::string name = fs::path(row.m_name.getString()).filename();
        EXPECT_EQ(row.m_directory, name == "toFolder" ? 1 : 0) << name;
        if (name != "toFolder") {
            EXPECT_EQ(row.m_size, name == "toFile" ? 5U : 7U) << name; // a link's size is its text's
        }
    }
}

TEST(SFileSysPosix, SearchTellsLinksFromWhatTheyLeadTo)
{
    const Scratch scratch;
    fs::create_symlink(".", scratch / "toFolder");
    fs::create_symlink("/dev/null", scratch / "toFile");
    fs::create_symlink("nowhere", scratch / "dangling");
    SSFileSearch search(scratch.root(), "*o*");
    SSFileSearch::Entry entry;
    SAnsiString name;
    for (bool more = search.FindFirst(name); more; more = search.FindNext(name)) {
        EXPECT_TRUE(search.isLink()) << name.view();
        EXPECT_EQ(search.isDir(), name.view() == "toFolder");
        ASSERT_TRUE(search.getEntry(entry));
        EXPECT_TRUE(entry.m_link);
        EXPECT_EQ(entry.m_directory, name.view() == "toFolder");
    }
    EXPECT_TRUE(search.FindFirst(name));
    fs::remove(scratch / std::string(name.view()));
    EXPECT_FALSE(search.getEntry(entry)) << "gone";
    EXPECT_TRUE(search.isLink()) << "told while it was there";
}

TEST(SFileSysPosix, RenameToAnotherDeviceIsRefusedForWhatItIs)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    struct stat here
    {};
    struct stat there
    {};
    const std::string target = "/dev/shm/" + fs::path(scratch / "").parent_path().filename().string();
    if (::stat("/dev/shm", &there) != 0 || ::stat((scratch / "").c_str(), &here) != 0 ||
        here.st_dev == there.st_dev) {
        GTEST_SKIP() << "no second device";
    }
    const SFileSysException failure =
        thrownBy([&] { SFileSys::renameFile(scratch.path("a"), target.c_str()); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::RenameFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::OtherReason);
    EXPECT_EQ(contentOf(scratch / "a"), "text");
    SFileSys::copyFile(scratch.path("a"), target.c_str(), false);
    EXPECT_EQ(contentOf(target), "text");
    SFileSys::remove(target.c_str());
}

TEST(SFileSysPosix, RenameActsOnTheLinkItself)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    fs::create_symlink("file", scratch / "link");
    SFileSys::renameFile(scratch.path("link"), scratch.path("other"));
    EXPECT_TRUE(fs::is_symlink(scratch / "other"));
    EXPECT_EQ(contentOf(scratch / "file"), "text");
}

TEST(SFileSysPosix, CopyKeepsPermissionsButLendsNobodysRights)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    for (const auto& [mode, kept] : {std::pair{0640U, 0640U}, {0755U, 0755U}, {06711U, 0711U}}) {
        ASSERT_EQ(::chmod((scratch / "a").c_str(), mode), 0);
        SFileSys::copyFile(scratch.path("a"), scratch.path("b"), true);
        EXPECT_EQ(modeOf(scratch / "b"), kept);
    }
}

TEST(SFileSysPosix, CopyThatFailsHalfWayLeavesTheOldTargetAndNothingElse)
{
    const Scratch scratch;
    putFile(scratch / "a", std::string(100000, 'n'));
    putFile(scratch / "old", "old");
    const int result = inChild([&] {
        const rlimit limit{5000, 5000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
        for (const char* target : {"old", "new"}) {
            const SFileSysException failure =
                thrownBy([&] { SFileSys::copyFile(scratch.path("a"), scratch.path(target), true); });
            if (failure.ErrCode() != SFileSysException::CopyFailed ||
                failure.reason().view() != "File too large") {
                return 1;
            }
        }
        return 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(contentOf(scratch / "old"), "old");
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"a", "old"}));
}

TEST(SFileSysPosix, CopyOntoItselfByAnyOtherNameChangesNothing)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    fs::create_symlink("a", scratch / "link");
    fs::create_hard_link(scratch / "a", scratch / "hard");
    for (const auto& pair : {std::pair{"a", "link"}, {"link", "a"}, {"a", "hard"}}) {
        const SFileSysException failure =
            thrownBy([&] { SFileSys::copyFile(scratch.path(pair.first), scratch.path(pair.second), true); });
        EXPECT_EQ(failure.ErrReason(), SFileSysException::AccessDenied) << pair.first << " " << pair.second;
    }
    EXPECT_EQ(contentOf(scratch / "a"), "text");
    EXPECT_TRUE(fs::is_symlink(scratch / "link"));
    EXPECT_EQ(fs::hard_link_count(scratch / "a"), 2U);
}

TEST(SFileSysPosix, CopyFollowsALinkThatIsTheTarget)
{
    const Scratch scratch;
    putFile(scratch / "a", "new");
    fs::create_directory(scratch / "elsewhere");
    putFile(scratch / "elsewhere/b", "old");
    fs::create_symlink("elsewhere/b", scratch / "link");
    EXPECT_THROW(SFileSys::copyFile(scratch.path("a"), scratch.path("link"), false), SFileSysException);
    SFileSys::copyFile(scratch.path("a"), scratch.path("link"), true);
    EXPECT_TRUE(fs::is_symlink(scratch / "link"));
    EXPECT_EQ(contentOf(scratch / "elsewhere/b"), "new");
    EXPECT_EQ(namesIn(scratch / "elsewhere"), (std::set<std::string>{"b"}));
}

TEST(SFileSysPosix, DevicesAndPipesAreNeitherReplacedNorWaitedFor)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    const std::string pipe = scratch / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const SFileSysException fromPipe =
        thrownBy([&] { SFileSys::copyFile(pipe.c_str(), scratch.path("b"), true); });
    EXPECT_EQ(fromPipe.ErrCode(), SFileSysException::CopyFailed);
    EXPECT_FALSE(isThere(scratch / "b"));

    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    SFileSys::copyFile(scratch.path("a"), pipe.c_str(), true);
    char bytes[8];
    EXPECT_EQ(::read(reader, bytes, sizeof bytes), 4);
    ::close(reader);
    EXPECT_TRUE(fs::is_fifo(pipe));

    // A node of our own: should it be replaced after all, the machine keeps its device.
    const std::string full = scratch / "full";
    if (::mknod(full.c_str(), S_IFCHR | 0600, ::makedev(1, 7)) != 0) {
        GTEST_SKIP() << "only root makes devices";
    }
    const int opened = ::open(full.c_str(), O_WRONLY | O_CLOEXEC);
    if (opened < 0) {
        GTEST_SKIP() << "no devices in this folder";
    }
    ::close(opened);
    EXPECT_EQ(thrownBy([&] { SFileSys::copyFile(scratch.path("a"), full.c_str(), true); }).ErrReason(),
              SFileSysException::NoSpace);
    EXPECT_TRUE(fs::is_character_file(full));
}

TEST(SFileSysPosix, FilesWhoseSizeIsNotToldAreCopiedWhole)
{
    const Scratch scratch;
    SFileSys::copyFile("/proc/self/limits", scratch.path("a"), false);
    EXPECT_EQ(contentOf(scratch / "a"), contentOf("/proc/self/limits"));
}

TEST(SFileSysPosix, CurrentFolderMayHaveALongPathOrBeGone)
{
    const Scratch scratch;
    const int result = inChild([&] {
        SFileSys::setCurrentDirectory(scratch.root());
        std::string path(SFileSys::getCurrentDirectory().view());
        for (int i = 0; i < 5; ++i) {
            const std::string name(200, static_cast<char>('a' + i));
            SFileSys::makeDirectory(name.c_str(), usual);
            SFileSys::setCurrentDirectory(name.c_str());
            path += "/" + name;
        }
        if (SFileSys::getCurrentDirectory().view() != path) {
            return 1;
        }
        SFileSys::makeDirectory("gone", usual);
        SFileSys::setCurrentDirectory("gone");
        SFileSys::remove((path + "/gone").c_str());
        if (!SFileSys::getCurrentDirectory().isEmpty()) {
            return 2;
        }
        return SFileSys::getFullPath("a/b").view() == "a/b" ? 0 : 3;
    });
    EXPECT_EQ(result, 0);
}

TEST(SFileSysPosix, AttributesThatCannotBeReadAreTraced)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    Recorder recorder;
    const SAnsiString path = scratch.path("file/"); // exists, but is no folder to step into
    const SFileSysException failure = thrownBy([&] { SFileSys::isDir(path); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::GetAttributesFailed);
    EXPECT_EQ(
        recorder.count("Failed to get file attribute for file: " + std::string(path.view()) + ", error: 3"),
        1);
}
