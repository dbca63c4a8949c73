#include "child_posix.h"
#include "faults_posix.h"
#include "filesystem.h"
#include "morvex/sfilesys.h"
#include "recorder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

mode_t modeOf(const std::string& path)
{
    struct stat status
    {};
    ::lstat(path.c_str(), &status);
    return status.st_mode & 07777;
}

/// Eight threads that list their names in a file each; every tenth name is created.
void makeNames(const Scratch& scratch, const std::string& list)
{
    constexpr int namesEach = 100'000 / 2 / 8;
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            std::ofstream names(scratch / (list + std::to_string(number)));
            for (int i = 0; i < namesEach; ++i) {
                names << SFileSys::getUniqueFilename(scratch.path("new"), "f", "", i % 10 == 0, usual).view()
                      << '\n';
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Asks for a name when almost everything is gone.
struct Late
{
    ~Late()
    {
        const SAnsiString name = SFileSys::getUniqueFilename("/tmp", "late", "", false, usual);
        std::fputs(name.getString(), stderr);
    }
};

} // namespace

TEST(SFileSysUniqueNamesPosix, DifferInTwoProcessesOfEightThreads)
{
    const Scratch scratch;
    fs::create_directory(scratch / "new");
    const Child other([&](const Child::Ready& ready) {
        makeNames(scratch, "other");
        ready();
    });
    makeNames(scratch, "own");
    ASSERT_TRUE(other.waitUntilReady());
    std::set<std::string> all;
    for (const std::string list : {"own", "other"}) {
        for (int number = 0; number < 8; ++number) {
            std::ifstream names(scratch / (list + std::to_string(number)));
            for (std::string name; std::getline(names, name);) {
                EXPECT_TRUE(all.insert(name).second) << name;
            }
        }
    }
    EXPECT_EQ(all.size(), 100'000u);
    const auto made = std::distance(fs::directory_iterator(scratch / "new"), fs::directory_iterator());
    EXPECT_EQ(made, 10'000);
}

TEST(SFileSysUniqueNamesPosix, MayBeAskedForWhileTheProcessEnds)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            static const Late late;
            SFileSys::getUniqueFilename("/tmp", "early", "", false, usual);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "/tmp/late");
}

TEST(SFileSysUniqueNamesPosix, BelongToTheOwnerAloneUnlessOthersAreTold)
{
    struct Row
    {
        int permissions;
        mode_t file;
        mode_t folder;
    };
    const Row rows[] = {
        {usual, 0700, 0700},
        {SFile::ownerRMask | SFile::ownerWMask, 0600, 0700},
        {0640, 0640, 0750},
        {0200, 0200, 0200},
    };
    const Scratch scratch;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.permissions);
        EXPECT_EQ(
            modeOf(SFileSys::getUniqueFilename(scratch.root(), "f", "", true, row.permissions).getString()),
            row.file);
        EXPECT_EQ(modeOf(SFileSys::getUniqueDirname(scratch.root(), "d", true, row.permissions).getString()),
                  row.folder);
    }
    const SAnsiString inNew = SFileSys::getUniqueFilename(scratch.path("new/er"), "f", "", true, 0640);
    EXPECT_EQ(modeOf(scratch / "new"), mode_t{0750});
    EXPECT_EQ(modeOf(inNew.getString()), mode_t{0640});
}

TEST(SFileSysUniqueNamesPosix, KeepBytesThatAreNoText)
{
    const Scratch scratch;
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    // A lead byte before a letter, a lone trail byte, a capital that has a small form.
    const SAnsiString path =
        SFileSys::getUniqueFilename(scratch.root(), "\xC3X\x80\xC3\x84\xFF", "", true, usual);
    std::setlocale(LC_ALL, before.c_str());
    const std::string name = fs::path(path.getString()).filename().string();
    EXPECT_TRUE(name.starts_with("\xC3x\x80\xC3\xA4\xFF")) << name;
    EXPECT_TRUE(fs::exists(path.getString()));
}

TEST(SFileSysUniqueNamesPosix, EndWhereOneMayNotLookAndWhereEveryNameIsTaken)
{
    const Scratch scratch;
    fs::create_directory(scratch / "closed");
    fs::permissions(scratch / "closed", fs::perms::none);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 2;
        }
        try {
            SFileSys::getUniqueFilename(scratch.path("closed"), "f", "", false, usual);
        } catch (const SFileSysException& failure) {
            return failure.ErrReason() == SFileSysException::AccessDenied ? 0 : 3;
        }
        return 1;
    });
    EXPECT_EQ(result, 0);

    static constexpr std::string_view creating[] = {"open"};
    Recorder recorder;
    Faults::Injection taken({.error = EEXIST, .only = creating, .lasts = true}, 0);
    taken.arm();
    const SFileSysException failure =
        thrownBy([&] { SFileSys::getUniqueFilename(scratch.root(), "f", "", true, usual); });
    taken.disarm();
    EXPECT_EQ(failure.ErrCode(), SFileSysException::UniqueNameFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::AlreadyExists);
}

TEST(SFileSysUniqueNamesPosix, PassOverANameThatAnotherTook)
{
    const Scratch scratch;
    static constexpr std::string_view creating[] = {"open", "mkdir"};
    for (const bool folder : {false, true}) {
        Faults::Injection taken({.error = EEXIST, .only = creating}, 0);
        taken.arm();
        const SAnsiString path = folder ? SFileSys::getUniqueDirname(scratch.root(), "d", true, usual)
                                        : SFileSys::getUniqueFilename(scratch.root(), "f", "", true, usual);
        taken.disarm();
        EXPECT_TRUE(taken.happened());
        EXPECT_TRUE(SFileSys::exists(path));
    }
}

TEST(SFileSysUniqueNamesPosix, LoseNothingWhenACallFails)
{
    for (const int error : {ENOSPC, EIO, EMFILE, ENOMEM}) {
        const unsigned before = Faults::openDescriptors();
        const unsigned calls = Faults::eachCall({.error = error}, [&](Faults::Injection& injection) {
            const Scratch scratch;
            SAnsiString made;
            injection.arm();
            try {
                made = SFileSys::getUniqueFilename(scratch.path("a/b"), "f", "", true, usual);
            } catch (const SFileSysException&) {}
            injection.disarm();
            std::error_code absent;
            const fs::directory_iterator files(scratch / "a/b", absent);
            EXPECT_EQ(std::distance(files, {}), made.isEmpty() ? 0 : 1) << injection.call();
        });
        EXPECT_GT(calls, 3u);
        EXPECT_EQ(Faults::openDescriptors(), before);
    }
}

TEST(SFileSysTempFilesPosix, FollowTheEnvironmentAsItStands)
{
    const std::string longFolder = "/tmp/" + std::string(300, 'l');
    struct Row
    {
        const char* told;
        std::string folder;
        int assertions;
    };
    const Row rows[] = {
        {nullptr, "/tmp/", 0},
        {"", "/tmp/", 0},
        {"/absent/x", "/absent/x/", 0},
        {"here/", "here/", 0},
        {longFolder.c_str(), longFolder + "/", 1},
    };
    const char* told = std::getenv("TMPDIR");
    const std::string before = told != nullptr ? told : "";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.folder);
        Recorder recorder;
        row.told != nullptr ? ::setenv("TMPDIR", row.told, 1) : ::unsetenv("TMPDIR");
        EXPECT_EQ(SFileSys::getTempDirname().view(), row.folder);
        EXPECT_EQ(recorder.count("Length of temp dir returned is bigger than _MAX_DIR"), row.assertions);
        EXPECT_EQ(recorder.askedFile(), row.assertions != 0 ? "sfilesys.cpp" : "");
    }
    told != nullptr ? ::setenv("TMPDIR", before.c_str(), 1) : ::unsetenv("TMPDIR");
}

TEST(SFileSysRemoveContentPosix, RemovesLinksThemselves)
{
    const Scratch scratch;
    fs::create_directories(scratch / "dir");
    fs::create_directories(scratch / "elsewhere");
    putFile(scratch / "elsewhere/file", "kept");
    putFile(scratch / "dir/file", "1234");
    fs::create_symlink("../elsewhere", scratch / "dir/toFolder");
    fs::create_symlink("../elsewhere/file", scratch / "dir/toFile");
    fs::create_symlink("nowhere", scratch / "dir/dangling");
    fs::create_symlink("round", scratch / "dir/round");
    fs::create_symlink("dir", scratch / "toDir");
    __int64 bytes = 0;
    SFileSys::removeContentEx(scratch.path("toDir"), "*", bytes);
    EXPECT_EQ(bytes, 4);
    EXPECT_TRUE(fs::is_empty(scratch / "dir"));
    EXPECT_TRUE(fs::is_symlink(scratch / "toDir"));
    EXPECT_EQ(contentOf(scratch / "elsewhere/file"), "kept");
}

TEST(SFileSysRemoveContentPosix, GoesOnPastWhatCannotBeRemovedAndLeavesItOut)
{
    static constexpr std::string_view removing[] = {"unlink"};
    struct Row
    {
        int error;
        const char* reason; // none for what somebody else removed
    };
    for (const Row& row : {Row{EBUSY, ". Reason: Device or resource busy\n"},
                           Row{ENAMETOOLONG, ". Reason: File name too long\n"}, Row{ENOENT, nullptr}}) {
        const unsigned removals =
            Faults::eachCall({.error = row.error, .only = removing}, [&](Faults::Injection& injection) {
                const Scratch scratch;
                for (const char* name : {"a", "b", "c"}) {
                    putFile(scratch / name, "12345");
                }
                Recorder recorder;
                __int64 bytes = 0;
                injection.arm();
                SFileSys::removeContentEx(scratch.root(), "*", bytes);
                injection.disarm();
                const int kept = injection.happened() ? 1 : 0;
                EXPECT_EQ(bytes, 15 - 5 * kept);
                EXPECT_EQ(std::distance(fs::directory_iterator(scratch / ""), fs::directory_iterator()),
                          kept);
                const int told = row.reason != nullptr ? kept : 0;
                EXPECT_EQ(recorder.count("SFileSys::removeContent: Can't remove file "), told);
                EXPECT_EQ(recorder.count(row.reason != nullptr ? row.reason : "Reason"), told);
            });
        EXPECT_EQ(removals, 3u);
    }
}

TEST(SFileSysRemoveContentPosix, FailsWhenTheFolderCannotBeReadToItsEnd)
{
    const Scratch scratch;
    putFile(scratch / "a", "12345");
    static constexpr std::string_view walking[] = {"open", "openat", "getdents64"};
    const unsigned calls =
        Faults::eachCall({.error = EIO, .only = walking}, [&](Faults::Injection& injection) {
            __int64 bytes = 0;
            injection.arm();
            try {
                SFileSys::removeContentEx(scratch.root(), "*", bytes);
                injection.disarm();
                EXPECT_FALSE(injection.happened());
            } catch (const SFileSysException& failure) {
                injection.disarm();
                EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveTreeFailed);
            }
        });
    EXPECT_GE(calls, 2u);
}

// Several at once: each file counts for the one of them that removed it.
TEST(SFileSysRemoveContentPosix, CountsEachFileOnceWhenSeveralRemove)
{
    const Scratch scratch;
    constexpr int files = 400;
    for (int i = 0; i < files; ++i) {
        putFile(scratch / std::to_string(i), "0123456789");
    }
    std::vector<__int64> sums(8);
    Recorder recorder;
    std::vector<std::thread> threads;
    for (__int64& removed : sums) {
        threads.emplace_back([&] { SFileSys::removeContentEx(scratch.root(), "*", removed); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    __int64 sum = 0;
    for (const __int64 bytes : sums) {
        sum += bytes;
    }
    EXPECT_EQ(sum, files * 10);
    EXPECT_TRUE(fs::is_empty(scratch / ""));
}
