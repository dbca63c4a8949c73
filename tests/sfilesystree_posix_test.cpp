#include "child_posix.h"
#include "faults_posix.h"
#include "filesystem.h"
#include "latch.h"
#include "morvex/sfilesys.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

bool isThere(const std::string& path)
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

/// Where removing a folder costs no wait for a disk, if there is such a place.
fs::path inMemory()
{
    return ::access("/dev/shm", R_OK | W_OK | X_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path();
}

/// A folder outside of every tree, that must stay whole.
void putVictim(const Scratch& scratch)
{
    fs::create_directories(scratch / "victim/inner");
    putFile(scratch / "victim/file", "text");
    putFile(scratch / "victim/inner/file", "text");
}

void expectVictimWhole(const Scratch& scratch)
{
    EXPECT_EQ(contentOf(scratch / "victim/file"), "text");
    EXPECT_EQ(contentOf(scratch / "victim/inner/file"), "text");
}

/// Links out of the tree, into circles and to nowhere: six, beside one folder and two files.
void putTreeOfLinks(const Scratch& scratch)
{
    fs::create_directories(scratch / "tree/sub");
    putFile(scratch / "tree/file", "12345");
    putFile(scratch / "tree/sub/file", "123");
    fs::create_symlink("../victim", scratch / "tree/out");
    fs::create_symlink("../victim/file", scratch / "tree/outFile");
    fs::create_symlink("..", scratch / "tree/sub/up");
    fs::create_symlink("../sub", scratch / "tree/sub/self");
    fs::create_symlink("loop", scratch / "tree/loop");
    fs::create_symlink("nowhere", scratch / "tree/dangling");
}

/// A file that was begun for a copy, or does not have the content of its source.
bool holdsHalfFile(const std::string& copy)
{
    if (!isThere(copy)) {
        return false;
    }
    for (const auto& entry : fs::recursive_directory_iterator(copy)) {
        const std::string name = entry.path().filename();
        if (name.starts_with(".morvex-") ||
            (entry.symlink_status().type() == fs::file_type::regular && contentOf(entry.path()) != "text")) {
            return true;
        }
    }
    return false;
}

/// Folders of this name one in the other, and a file in the last.
void putDeepTree(const std::string& top, const std::string& name, int depth)
{
    fs::create_directory(top);
    int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i < depth; ++i) {
        ASSERT_EQ(::mkdirat(folder, name.c_str(), 0777), 0);
        const int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(folder);
        folder = next;
        ASSERT_GE(folder, 0);
    }
    const int file = ::openat(folder, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    EXPECT_EQ(::write(file, "text", 4), 4);
    ::close(file);
    ::close(folder);
}

} // namespace

TEST(SFileSysTreePosix, LinksAreEntriesLikeFilesAndNeverFollowed)
{
    const Scratch scratch;
    putVictim(scratch);
    putTreeOfLinks(scratch);
    const SAnsiString tree = scratch.path("tree");
    EXPECT_EQ(SFileSys::countFiles(tree), 8U);
    EXPECT_EQ(SFileSys::countAll(tree), 9U);
    const std::size_t texts = std::string("../victim"
                                          "../victim/file"
                                          ".."
                                          "../sub"
                                          "loop"
                                          "nowhere")
                                  .size();
    EXPECT_EQ(SFileSys::rsizeEx(tree), static_cast<__int64>(5 + 3 + texts));
    SFileSys::rremove(tree);
    EXPECT_FALSE(isThere(scratch / "tree"));
    expectVictimWhole(scratch);
}

TEST(SFileSysTreePosix, LinkAtThePathIsRemovedAndWhatItLeadsToIsNot)
{
    const Scratch scratch;
    putVictim(scratch);
    const std::pair<const char*, const char*> links[] = {{"victim", "link"},
                                                         {"victim", "link/"},
                                                         {"victim/file", "link"},
                                                         {"nowhere", "link"},
                                                         {"link", "link"}};
    for (const auto& [target, path] : links) {
        SCOPED_TRACE(std::string(path) + " to " + target);
        fs::create_symlink(target, scratch / "link");
        const SAnsiString link = scratch.path(path);
        const SFileSysException failure = thrownBy([&] { SFileSys::rremoveContent(link); });
        EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveTreeFailed);
        EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
        EXPECT_TRUE(isThere(scratch / "link"));
        SFileSys::rremove(link);
        EXPECT_FALSE(isThere(scratch / "link"));
        expectVictimWhole(scratch);
    }
    fs::create_symlink("victim", scratch / "link");
    EXPECT_EQ(SFileSys::countAll(scratch.path("link")), 3U) << "what only reads follows the path";
    EXPECT_EQ(SFileSys::rsize(scratch.path("link/")), 8U);
}

TEST(SFileSysTreePosix, RootIsNotEmptied)
{
    const Scratch scratch; // a root that may be lost
    putFile(scratch / "file", "text");
    if (::getuid() != 0) {
        GTEST_SKIP() << "only root may change the root";
    }
    const int result = inChild([&] {
        if (::chroot(scratch.root()) != 0 || ::chdir("/") != 0) {
            return 1;
        }
        for (const char* root : {"/", "//", "..", "/.."}) {
            for (const auto operation : {&SFileSys::rremove, &SFileSys::rremoveContent}) {
                const SFileSysException failure = thrownBy([&] { operation(root); });
                if (failure.ErrCode() != SFileSysException::RemoveTreeFailed ||
                    failure.ErrReason() != SFileSysException::AccessDenied) {
                    return 2;
                }
            }
        }
        return 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(contentOf(scratch / "file"), "text");
}

TEST(SFileSysTreePosix, NamesMayHaveAnyBytes)
{
    const Scratch scratch;
    const std::string names[] = {"new\nline",   "not utf8 \xFF\xFE",  "...", ".. ", "*",
                                 "back\\slash", std::string(255, 'n')};
    fs::create_directory(scratch / "tree");
    for (const std::string& name : names) {
        fs::create_directory(scratch / "tree/" + name);
        for (const std::string& inner : names) {
            putFile((fs::path(scratch / "tree") / name / inner).string(), "x");
        }
    }
    EXPECT_EQ(SFileSys::countAll(scratch.path("tree")), 7U + 49U);
    EXPECT_EQ(SFileSys::rsize(scratch.path("tree")), 49U);
    SFileSys::rremove(scratch.path("tree"));
    EXPECT_FALSE(isThere(scratch / "tree"));
}

TEST(SFileSysTreePosix, GoesAsDeepAsTheDiskDoes)
{
    struct Row
    {
        std::string name;
        int depth;
    };
    const Row rows[] = {{"d", 3000}, {std::string(255, 'n'), 200}, {std::string(250, 'n'), 15}};
    for (const auto& [name, depth] : rows) {
        SCOPED_TRACE(std::to_string(depth) + " folders with names of " + std::to_string(name.size()));
        const Scratch scratch(inMemory());
        putDeepTree(scratch / "tree", name, depth);
        EXPECT_EQ(SFileSys::countAll(scratch.path("tree")), static_cast<unsigned long>(depth) + 1);
        EXPECT_EQ(SFileSys::rsize(scratch.path("tree")), 4U);
        SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), false);
        EXPECT_EQ(SFileSys::rsize(scratch.path("copy")), 4U);
        for (const char* top : {"tree", "copy"}) {
            SFileSys::rremove(scratch.path(top));
            EXPECT_FALSE(isThere(scratch / top));
        }
    }
}

TEST(SFileSysTreePosix, GetsAlongWithFewDescriptors)
{
    const Scratch scratch(inMemory());
    putDeepTree(scratch / "tree", "d", 100);
    const int result = inChild([&] {
        const rlimit few{Faults::openDescriptors() + 8UL, 1024};
        ::setrlimit(RLIMIT_NOFILE, &few);
        if (SFileSys::countAll(scratch.path("tree")) != 101) {
            return 1;
        }
        SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), false);
        SFileSys::rremove(scratch.path("tree"));
        return 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(isThere(scratch / "tree"));
    EXPECT_EQ(SFileSys::countAll(scratch.path("copy")), 101U);
}

TEST(SFileSysTreePosix, WhatMayNotBeRemovedIsNamedAfterTheRestIsGone)
{
    const Scratch scratch;
    fs::create_directories(scratch / "tree/a/locked/kept");
    fs::create_directories(scratch / "tree/unreadable");
    fs::create_directories(scratch / "tree/b/c");
    putFile(scratch / "tree/a/file", "text");
    putFile(scratch / "tree/b/file", "text");
    if (::getuid() == 0) {
        constexpr uid_t nobody = 65534;
        for (const char* folder : {"", "tree", "tree/a", "tree/b", "tree/b/c", "tree/unreadable"}) {
            ASSERT_EQ(::chown((scratch / folder).c_str(), nobody, nobody), 0);
        }
    } else {
        ASSERT_EQ(::chmod((scratch / "tree/a/locked").c_str(), 0500), 0);
    }
    ASSERT_EQ(::chmod((scratch / "tree/unreadable").c_str(), 0), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 1;
        }
        const SFileSysException uncounted = thrownBy([&] { SFileSys::countAll(scratch.path("tree")); });
        if (uncounted.ErrCode() != SFileSysException::GetAttributesFailed ||
            uncounted.ErrReason() != SFileSysException::AccessDenied) {
            return 2;
        }
        const SFileSysException failure = thrownBy([&] { SFileSys::rremove(scratch.path("tree")); });
        if (failure.ErrCode() != SFileSysException::RemoveTreeFailed ||
            failure.ErrReason() != SFileSysException::AccessDenied) {
            return 3;
        }
        const std::string entry = scratch / "tree/a/locked/kept in a file system operation";
        return failure.toString().view().find(entry) != std::string::npos ? 0 : 4;
    });
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(isThere(scratch / "tree/a/locked/kept"));
    for (const char* path : {"tree/a/file", "tree/b", "tree/unreadable"}) {
        EXPECT_FALSE(isThere(scratch / path)) << path << ", be it unreadable, can be removed";
    }
    ::chmod((scratch / "tree/a/locked").c_str(), 0700);
}

TEST(SFileSysTreePosix, FolderThatIsSwappedForALinkNeverLeadsOut)
{
    const Scratch scratch(inMemory());
    putVictim(scratch);
    std::atomic<int> now = 0;
    const auto folderOf = [&](int round) { return scratch / ("tree" + std::to_string(round) + "/sub"); };
    const auto linkOf = [&](int round) { return scratch / ("link" + std::to_string(round)); };
    std::jthread swapper([&](const std::stop_token& done) {
        while (!done.stop_requested()) {
            const std::string folder = folderOf(now);
            const std::string link = linkOf(now);
            ::renameat2(AT_FDCWD, folder.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
        }
    });
    for (int round = 1; round <= 1000; ++round) {
        fs::create_directories(folderOf(round) + "/a");
        fs::create_symlink(scratch / "victim", linkOf(round));
        now = round;
        const SAnsiString tree = scratch.path("tree" + std::to_string(round));
        try {
            EXPECT_LE(SFileSys::countFiles(tree), 1U) << "of what is elsewhere";
            SFileSys::rremove(tree);
        } catch (const SFileSysException&) {
            // the swapper may be faster; what counts is the victim
        }
        ASSERT_TRUE(isThere(scratch / "victim/inner/file")) << "round " << round;
    }
    swapper = {};
    expectVictimWhole(scratch);
}

TEST(SFileSysTreePosix, FolderThatIsMovedAwayMeanwhileNeverLeadsOut)
{
    const Scratch scratch(inMemory());
    putVictim(scratch);
    std::atomic<int> now = 0;
    const auto treeOf = [&](int round) { return scratch / ("tree" + std::to_string(round)); };
    std::jthread mover([&](const std::stop_token& done) {
        while (!done.stop_requested()) {
            const std::string inside = treeOf(now) + "/d/d/d/d";
            const std::string outside = scratch / ("victim/guest" + std::to_string(now));
            ::rename(inside.c_str(), outside.c_str());
            ::rename(outside.c_str(), inside.c_str());
        }
    });
    for (int round = 1; round <= 100; ++round) {
        putDeepTree(treeOf(round), "d", 60); // deeper than what is kept open
        for (const char* name : {"a", "b", "c", "e"}) {
            // named alike, whichever of them and the way down comes first
            fs::create_directory(treeOf(round) + "/d/d/d/" + name);
            fs::create_directory(scratch / ("victim/" + std::string(name)));
        }
        now = round;
        try {
            SFileSys::rremove(treeOf(round).c_str());
        } catch (const SFileSysException&) {
            // what was moved away while it was in hand is told, and left where it is
        }
        for (const char* name : {"a", "b", "c", "e"}) {
            ASSERT_TRUE(isThere(scratch / ("victim/" + std::string(name)))) << "round " << round;
        }
    }
    mover = {};
    expectVictimWhole(scratch);
}

TEST(SFileSysTreePosix, EntriesThatComeAndGoAreNoFailure)
{
    const Scratch scratch;
    fs::create_directories(scratch / "tree/busy");
    for (int i = 0; i < 200; ++i) {
        putFile(scratch / "tree/busy/kept" + std::to_string(i), "x");
    }
    std::jthread comer([&](const std::stop_token& done) {
        while (!done.stop_requested()) {
            const std::string folder = scratch / "tree/busy/coming";
            ::mkdir(folder.c_str(), 0777);
            putFile(scratch / "tree/busy/going", "x");
            ::rmdir(folder.c_str());
            ::unlink((scratch / "tree/busy/going").c_str());
        }
    });
    for (int round = 0; round < 100; ++round) {
        EXPECT_NO_THROW(EXPECT_GE(SFileSys::countFiles(scratch.path("tree")), 200U));
        EXPECT_NO_THROW(EXPECT_GE(SFileSys::rsizeEx(scratch.path("tree")), 200));
        SIArray<FileProp> rows;
        EXPECT_NO_THROW(SFileSys::listing(scratch.path("tree/busy"), "*", rows));
        EXPECT_GE(rows.GetSize(), 200U);
    }
    comer = {};
}

TEST(SFileSysTreePosix, RemovalEndsWhereOthersAddWithoutEnd)
{
    const Scratch scratch(inMemory());
    for (int round = 0; round < 5; ++round) {
        fs::create_directories(scratch / "tree/sub");
        Latch busy(1);
        std::jthread adder([&](const std::stop_token& done) {
            for (int i = 0; !done.stop_requested(); ++i) {
                ::mkdir((scratch / ("tree/sub/" + std::to_string(i % 100))).c_str(), 0777);
                if (i == 100) {
                    busy.count_down();
                }
            }
        });
        busy.wait();
        try {
            SFileSys::rremove(scratch.path("tree"));
        } catch (const SFileSysException& failure) {
            EXPECT_EQ(failure.reason().view(), "Directory not empty");
        }
    }
}

TEST(SFileSysTreePosix, FolderThatIsFilledBeforeItsRemovalIsEmptiedAgain)
{
    const Scratch scratch(inMemory());
    const std::string filled = scratch / "tree/sub/filled";
    std::atomic<int> now = 0;
    std::jthread filler([&](const std::stop_token& done) {
        for (int last = 0; !done.stop_requested();) {
            const int round = now;
            if (round == last || ::mkdir(filled.c_str(), 0777) != 0) {
                continue;
            }
            last = round;
        }
    });
    for (int round = 1; round <= 2000; ++round) {
        fs::create_directories(scratch / "tree/sub");
        now = round;
        ASSERT_NO_THROW(SFileSys::rremoveContent(scratch.path("tree"))) << "round " << round;
    }
}

TEST(SFileSysTreePosix, ManyRemoveTheSameTreeWithoutAFailure)
{
    const Scratch scratch(inMemory());
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < 50; ++i) {
            fs::create_directories(scratch / ("tree/" + std::to_string(i) + "/a/b"));
            putFile(scratch / ("tree/" + std::to_string(i) + "/file"), "text");
        }
        std::vector<std::jthread> removers;
        removers.reserve(3);
        for (int i = 0; i < 3; ++i) {
            removers.emplace_back([&] { EXPECT_NO_THROW(SFileSys::rremove(scratch.path("tree"))); });
        }
        removers.clear();
        EXPECT_FALSE(isThere(scratch / "tree"));
    }
}

TEST(SFileSysTreePosix, LinksAreCopiedAsLinks)
{
    const Scratch scratch;
    putVictim(scratch);
    putTreeOfLinks(scratch);
    SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), false);
    for (const auto& [link, target] : {std::pair{"out", "../victim"},
                                       {"outFile", "../victim/file"},
                                       {"sub/up", ".."},
                                       {"loop", "loop"},
                                       {"dangling", "nowhere"}}) {
        EXPECT_EQ(fs::read_symlink(scratch / ("copy/" + std::string(link))), target);
    }
    EXPECT_EQ(contentOf(scratch / "copy/sub/file"), "123");
    EXPECT_EQ(SFileSys::countAll(scratch.path("copy")), 9U);

    EXPECT_THROW(SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), false), SFileSysException);
    EXPECT_NO_THROW(SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), true));
    EXPECT_EQ(SFileSys::countAll(scratch.path("copy")), 9U);
    expectVictimWhole(scratch);
}

TEST(SFileSysTreePosix, LinksInTheTargetLeadNoCopyAway)
{
    const Scratch scratch;
    putVictim(scratch);
    fs::create_directories(scratch / "tree/inner");
    putFile(scratch / "tree/inner/file", "new");
    putFile(scratch / "tree/file", "new");
    fs::create_directory(scratch / "copy");
    fs::create_symlink("../victim/inner", scratch / "copy/inner");
    fs::create_symlink("../victim/file", scratch / "copy/file");
    const SFileSysException failure =
        thrownBy([&] { SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), true); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::CopyFailed);
    EXPECT_EQ(failure.toString().view().find("Failed to copy the file " + (scratch / "tree/inner to ") +
                                             (scratch / "copy/inner ")),
              0U)
        << failure.toString().view();
    EXPECT_EQ(contentOf(scratch / "copy/file"), "new");
    EXPECT_FALSE(fs::is_symlink(scratch / "copy/file"));
    expectVictimWhole(scratch);
}

TEST(SFileSysTreePosix, CopiedFoldersKeepTheirPermissionsAndTimes)
{
    const Scratch scratch;
    fs::create_directories(scratch / "tree/private");
    putFile(scratch / "tree/private/file", "text");
    const timespec times[] = {{1000, 0}, {86400, 123456789}};
    ASSERT_EQ(::chmod((scratch / "tree").c_str(), 0750), 0);
    ASSERT_EQ(::chmod((scratch / "tree/private").c_str(), 0500), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, (scratch / "tree/private").c_str(), times, 0), 0);
    const mode_t before = ::umask(077);
    SFileSys::copyFile(scratch.path("tree"), scratch.path("x/copy"), false);
    ::umask(before);
    struct stat status
    {};
    ASSERT_EQ(::stat((scratch / "x/copy").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0750U);
    ASSERT_EQ(::stat((scratch / "x/copy/private").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0500U);
    EXPECT_EQ(status.st_mtim.tv_sec, 86400);
    EXPECT_EQ(status.st_mtim.tv_nsec, 123456789);
    for (const char* folder : {"tree/private", "x/copy/private"}) {
        ::chmod((scratch / folder).c_str(), 0700);
    }
}

TEST(SFileSysTreePosix, WhatIsSpecialIsNotCopiedAndTheRestIs)
{
    const Scratch scratch;
    fs::create_directory(scratch / "tree");
    ASSERT_EQ(::mkfifo((scratch / "tree/pipe").c_str(), 0666), 0);
    putFile(scratch / "tree/file", "text");
    const SFileSysException failure =
        thrownBy([&] { SFileSys::copyFile(scratch.path("tree"), scratch.path("copy"), false); });
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_EQ(contentOf(scratch / "copy/file"), "text");
    EXPECT_FALSE(isThere(scratch / "copy/pipe"));
}

TEST(SFileSysTreePosix, HolesAreCopiedAsHoles)
{
    const Scratch scratch;
    constexpr off_t size = off_t{20} << 30;
    const int file = ::open((scratch / "a").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    for (const off_t at : {off_t{0}, size / 2, size / 2 + 1}) {
        EXPECT_EQ(::pwrite(file, "text", 4, at), 4);
    }
    EXPECT_EQ(::ftruncate(file, size), 0);
    ::close(file);
    SFileSys::copyFile(scratch.path("a"), scratch.path("b"), false);
    struct stat status
    {};
    ASSERT_EQ(::stat((scratch / "b").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, size);
    EXPECT_LT(status.st_blocks, 1000);
    char bytes[6] = {};
    const int copy = ::open((scratch / "b").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(::pread(copy, bytes, 5, size / 2), 5);
    ::close(copy);
    EXPECT_STREQ(bytes, "ttext");
}

TEST(SFileSysTreePosix, EachFailedCallIsReportedAndNothingLeaks)
{
    struct Row
    {
        const char* operation;
        std::function<__int64(const SAnsiString& tree)> act;
        std::function<bool(__int64 result, const std::string& tree)> isRight;
    };
    const auto isTold = [](__int64 told) {
        return [told](__int64 result, const std::string&) { return result == told; };
    };
    const Row rows[] = {
        {"rremove",
         [](const SAnsiString& tree) {
             SFileSys::rremove(tree);
             return 0;
         },
         [](__int64, const std::string& tree) { return !isThere(tree); }},
        {"rremoveContent",
         [](const SAnsiString& tree) {
             SFileSys::rremoveContent(tree);
             return 0;
         },
         [](__int64, const std::string& tree) { return fs::is_empty(tree); }},
        {"copyFile",
         [](const SAnsiString& tree) {
             SFileSys::copyFile(tree, tree + "copy", false);
             return 0;
         },
         [](__int64, const std::string& tree) {
             return contentOf(tree + "copy/a/x") == "text" && contentOf(tree + "copy/a/b/y") == "text" &&
                    contentOf(tree + "copy/z") == "text" && fs::is_directory(tree + "copy/empty") &&
                    fs::is_symlink(tree + "copy/link");
         }},
        {"listing",
         [](const SAnsiString& tree) {
             SIArray<FileProp> listed;
             SFileSys::listing(tree, "*", listed);
             return static_cast<__int64>(listed.GetSize());
         },
         isTold(4)},
        {"rsizeEx", [](const SAnsiString& tree) { return SFileSys::rsizeEx(tree); }, isTold(12 + 7)},
        {"countAll", [](const SAnsiString& tree) { return static_cast<__int64>(SFileSys::countAll(tree)); },
         isTold(7)},
    };
    for (const Row& row : rows) {
        for (const int error : {EIO, ENOMEM, EMFILE}) {
            SCOPED_TRACE(std::string(row.operation) + " with error " + std::to_string(error));
            const unsigned calls = Faults::eachCall({.error = error}, [&](Faults::Injection& injection) {
                const Scratch scratch(inMemory());
                fs::create_directories(scratch / "tree/a/b");
                for (const char* name : {"tree/a/x", "tree/a/b/y", "tree/z"}) {
                    putFile(scratch / name, "text");
                }
                fs::create_directory(scratch / "tree/empty");
                fs::create_symlink("nowhere", scratch / "tree/link");
                const SAnsiString tree = scratch.path("tree");
                const unsigned before = Faults::openDescriptors();
                __int64 result = 0;
                bool thrown = false;
                injection.arm();
                try {
                    result = row.act(tree);
                } catch (const SFileSysException&) {
                    thrown = true;
                }
                injection.disarm();
                EXPECT_TRUE(thrown ? injection.happened() : row.isRight(result, tree.getString()))
                    << injection.call();
                EXPECT_EQ(Faults::openDescriptors(), before) << injection.call();
                EXPECT_FALSE(holdsHalfFile(scratch / "treecopy")) << injection.call();
            });
            EXPECT_GT(calls, 7U);
        }
    }
}

TEST(SFileSysTreePosix, CopiedFileIsOldOrNewWhateverCallFails)
{
    const std::string content(300'000, 'n');
    const Faults::Fault faults[] = {{.error = EIO},
                                    {.error = ENOSPC},
                                    {.error = EINTR, .only = Faults::interruptible},
                                    {.count = Faults::Fault::Count::half},
                                    {.count = Faults::Fault::Count::none},
                                    {.error = EXDEV, .lasts = true}};
    for (const char* target : {"old", "new"}) {
        for (const Faults::Fault& fault : faults) {
            SCOPED_TRACE(std::string(target) + ", error " + std::to_string(fault.error));
            Faults::eachCall(fault, [&](Faults::Injection& injection) {
                const Scratch scratch(inMemory());
                putFile(scratch / "from", content);
                putFile(scratch / "old", "old");
                const SAnsiString from = scratch.path("from");
                const SAnsiString to = scratch.path(target);
                bool thrown = false;
                injection.arm();
                try {
                    SFileSys::copyFile(from, to, true);
                } catch (const SFileSysException&) {
                    thrown = true;
                }
                injection.disarm();
                const std::string before = target == std::string("old") ? "old" : "";
                EXPECT_EQ(contentOf(to.getString()) == content, !thrown) << injection.call();
                EXPECT_TRUE(!thrown || contentOf(to.getString()) == before) << injection.call();
                EXPECT_LE(SFileSys::countAll(scratch.root()), 3U)
                    << injection.call() << " left something behind";
            });
        }
    }
}

// As security modules refuse it to the programs that they watch.
TEST(SFileSysTreePosix, CopiesWhereNoFileMayBeNamedLater)
{
    static constexpr std::string_view naming[] = {"linkat"};
    const Scratch scratch;
    putFile(scratch / "from", "text");
    for (const bool overwrite : {false, true}) {
        Faults::Injection refused({.error = ENOENT, .only = naming, .lasts = true}, 0);
        refused.arm();
        SFileSys::copyFile(scratch.path("from"), scratch.path("to"), overwrite);
        refused.disarm();
        EXPECT_TRUE(refused.happened());
        EXPECT_EQ(contentOf(scratch / "to"), "text");
        EXPECT_EQ(SFileSys::countAll(scratch.root()), 2U);
    }
}

TEST(SFileSysTreePosix, CopyThatIsKilledLeavesNothing)
{
    const Scratch scratch;
    if (const int nameless = ::open((scratch / "").c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
        nameless >= 0) {
        ::close(nameless);
    } else {
        GTEST_SKIP() << "this file system knows no files without a name";
    }
    const std::string content(20'000'000, 'x');
    putFile(scratch / "from", content);
    int killed = 0;
    for (int i = 0; i < 20; ++i) {
        Child child([&](const Child::Ready& ready) {
            ready();
            SFileSys::copyFile(scratch.path("from"), scratch.path("to"), false);
            ::pause();
        });
        ASSERT_TRUE(child.waitUntilReady());
        child.kill();
        const bool whole = isThere(scratch / "to");
        killed += whole ? 0 : 1;
        EXPECT_EQ(SFileSys::countAll(scratch.root()), whole ? 2U : 1U);
        EXPECT_TRUE(!whole || contentOf(scratch / "to") == content);
        fs::remove(scratch / "to");
    }
    EXPECT_GT(killed, 0);
}
