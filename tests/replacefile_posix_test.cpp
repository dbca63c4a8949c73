#include "child_posix.h"
#include "faults_posix.h"
#include "filesystem.h"
#include "morvex/sfilesys.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

using Clock = std::chrono::steady_clock;

struct stat statusOf(const std::string& path)
{
    struct stat status
    {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status;
}

mode_t modeOf(const std::string& path)
{
    return statusOf(path).st_mode & 07777;
}

/// Both ways in which the content can be kept until it is whole: without a name, and under one where the system
/// can't name a file later.
constexpr bool ways[] = {false, true};

/// While it lives the content is kept under a name.
class UnderAName
{
public:
    explicit UnderAName(bool wanted)
    {
        if (wanted) {
            m_blind.arm();
        }
    }

private:
    static constexpr std::string_view looking[] = {"access"};
    Faults::Injection m_blind{{.error = EACCES, .only = looking, .lasts = true}, 0};
};

/// Replaces the file, and has the last steps fail so that what was kept beside it stays there. Returns its name.
std::string leaveBehind(const Scratch& scratch)
{
    static constexpr std::string_view moving[] = {"renameat"};
    static constexpr std::string_view removing[] = {"unlinkat"};
    Faults::Injection unmoved({.error = EIO, .only = moving}, 0);
    Faults::Injection unremoved({.error = EIO, .only = removing}, 0);
    unmoved.arm();
    unremoved.arm();
    EXPECT_THROW(SFileSys::replaceFile(scratch.path("file"), "lost"), SFileSysException);
    for (const std::string& name : namesIn(scratch / "")) {
        if (name.starts_with(".morvex-")) {
            return name;
        }
    }
    ADD_FAILURE() << "nothing was left behind";
    return {};
}

} // namespace

TEST(ReplaceFilePosix, KeepsPermissionsAndOwner)
{
    const Scratch scratch;
    const std::string path = scratch / "file";
    for (const mode_t mode : {0600, 0644, 0755, 0666, 0200, 06755}) {
        putFile(path, "old");
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        if (::getuid() == 0) {
            ASSERT_EQ(::chown(path.c_str(), 1234, 4321), 0);
            ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        }
        const struct stat before = statusOf(path);
        SFileSys::replaceFile(path.c_str(), "new", 0400);
        const struct stat after = statusOf(path);
        EXPECT_EQ(after.st_mode & 07777, mode & 0777);
        EXPECT_EQ(after.st_uid, before.st_uid);
        EXPECT_EQ(after.st_gid, before.st_gid);
        EXPECT_NE(after.st_ino, before.st_ino);
        fs::remove(path);
    }
}

TEST(ReplaceFilePosix, MakesAFileWithThePermissionsThatAreAskedFor)
{
    const Scratch scratch;
    const mode_t mask = ::umask(027);
    for (const bool named : ways) {
        const UnderAName way(named);
        const std::string path = scratch / (named ? "named" : "unnamed");
        SFileSys::replaceFile((path + "1").c_str(), "new");
        SFileSys::replaceFile((path + "2").c_str(), "new", SFile::ownerRMask | SFile::ownerWMask);
        SFileSys::replaceFile((path + "3").c_str(), "new", 0666);
        EXPECT_EQ(modeOf(path + "1"), mode_t{0640});
        EXPECT_EQ(modeOf(path + "2"), mode_t{0600});
        EXPECT_EQ(modeOf(path + "3"), mode_t{0640});
    }
    ::umask(mask);
}

TEST(ReplaceFilePosix, TakesFromAGroupThatCannotBeKeptWhatOthersMayNot)
{
    if (::getuid() != 0) {
        GTEST_SKIP() << "only root makes files of others";
    }
    const Scratch scratch;
    const std::string path = scratch / "file";
    ASSERT_EQ(::chmod((scratch / "").c_str(), 0777), 0);
    putFile(path, "old");
    ASSERT_EQ(::chmod(path.c_str(), 0676), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 1;
        }
        SFileSys::replaceFile(path.c_str(), "new");
        return 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_EQ(modeOf(path), mode_t{0666});
    EXPECT_NE(statusOf(path).st_uid, 0u);
}

TEST(ReplaceFilePosix, KeepsTheAccessListAndTakesNoneFromTheFolder)
{
    constexpr const char* attribute = "system.posix_acl_access";
    // version 2; user rw-, user 1234 rw-, group ---, mask rw-, others ---
    constexpr unsigned char list[] = {2, 0,    0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  6,
                                      0, 0xD2, 4,   0,   0,   4,   0,  0, 0,   255, 255, 255, 255, 16, 0,
                                      6, 0,    255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
    const Scratch scratch;
    const std::string path = scratch / "file";
    putFile(path, "old");
    if (::setxattr(path.c_str(), attribute, list, sizeof list, 0) != 0) {
        GTEST_SKIP() << "no access lists in this folder";
    }
    SFileSys::replaceFile(path.c_str(), "new");
    std::vector<unsigned char> kept(sizeof list + 1);
    ASSERT_EQ(::getxattr(path.c_str(), attribute, kept.data(), kept.size()), ssize_t{sizeof list});
    EXPECT_TRUE(std::equal(std::begin(list), std::end(list), kept.begin()));

    ASSERT_EQ(::removexattr(path.c_str(), attribute), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    ASSERT_EQ(::setxattr((scratch / "").c_str(), "system.posix_acl_default", list, sizeof list, 0), 0);
    SFileSys::replaceFile(path.c_str(), "newer");
    EXPECT_EQ(::getxattr(path.c_str(), attribute, kept.data(), kept.size()), -1);
    EXPECT_EQ(modeOf(path), mode_t{0640});
}

TEST(ReplaceFilePosix, FollowsLinks)
{
    const Scratch scratch;
    fs::create_directories(scratch / "a/b");
    putFile(scratch / "a/b/file", "old");
    fs::create_symlink("b/file", scratch / "a/near");
    fs::create_symlink("a/near", scratch / "far");
    fs::create_symlink(scratch / "a/b/none", scratch / "dangling");
    fs::create_symlink("round", scratch / "round");
    SFileSys::replaceFile(scratch.path("far"), "new");
    SFileSys::replaceFile(scratch.path("dangling"), "made");
    EXPECT_THROW(SFileSys::replaceFile(scratch.path("round"), "new"), SFileSysException);
    EXPECT_EQ(contentOf(scratch / "a/b/file"), "new");
    EXPECT_EQ(contentOf(scratch / "a/b/none"), "made");
    for (const char* link : {"far", "a/near", "dangling", "round"}) {
        EXPECT_TRUE(fs::is_symlink(scratch / link)) << link;
    }
    EXPECT_EQ(namesIn(scratch / "a/b"), (std::set<std::string>{"file", "none"}));
}

TEST(ReplaceFilePosix, OtherNamesAndOpenFilesKeepTheOldContent)
{
    const Scratch scratch;
    putFile(scratch / "file", "old");
    fs::create_hard_link(scratch / "file", scratch / "other");
    std::ifstream open(scratch / "file");
    SFileSys::replaceFile(scratch.path("file"), "new");
    EXPECT_EQ(contentOf(scratch / "file"), "new");
    EXPECT_EQ(contentOf(scratch / "other"), "old");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(open), {}), "old");
}

TEST(ReplaceFilePosix, RefusesWhatIsNoFileAndWhatMayNotBeWritten)
{
    const Scratch scratch;
    ASSERT_EQ(::mkfifo((scratch / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(thrownBy([&] { SFileSys::replaceFile(scratch.path("pipe"), "new"); }).ErrCode(),
              SFileSysException::ReplaceFailed);
    EXPECT_TRUE(fs::is_fifo(scratch / "pipe"));

    ASSERT_EQ(::chmod((scratch / "").c_str(), 0777), 0);
    putFile(scratch / "protected", "old");
    ASSERT_EQ(::chmod((scratch / "protected").c_str(), 0444), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 2;
        }
        try {
            SFileSys::replaceFile(scratch.path("protected"), "new");
        } catch (const SFileSysException& failure) {
            return failure.ErrReason() == SFileSysException::AccessDenied ? 0 : 3;
        }
        return 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(contentOf(scratch / "protected"), "old");
}

TEST(ReplaceFilePosix, WorksInAFolderThatMayNotBeRead)
{
    const Scratch scratch;
    ASSERT_EQ(::chmod((scratch / "").c_str(), 0333), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 1;
        }
        SFileSys::replaceFile(scratch.path("file"), "new");
        return 0;
    });
    EXPECT_EQ(result, 0);
    ASSERT_EQ(::chmod((scratch / "").c_str(), 0777), 0);
    EXPECT_EQ(contentOf(scratch / "file"), "new");
}

TEST(ReplaceFilePosix, RemovesWhatADeadProcessLeftAndNothingThatALiveOneHolds)
{
    for (const bool named : ways) {
        const UnderAName way(named);
        const Scratch scratch;
        putFile(scratch / "file", "old");
        const std::string left = leaveBehind(scratch);
        EXPECT_EQ(contentOf(scratch / "file"), "old");
        const int held = ::open((scratch / left).c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);
        SFileSys::replaceFile(scratch.path("file"), "new");
        EXPECT_EQ(contentOf(scratch / "file"), "new");
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file", left}));
        ::close(held);
        SFileSys::replaceFile(scratch.path("file"), "newer");
        EXPECT_EQ(contentOf(scratch / "file"), "newer");
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
    }
}

TEST(ReplaceFilePosix, RemovesWhatWasLeftOfAFileThatMayNotBeRead)
{
    const Scratch scratch;
    ASSERT_EQ(::chmod((scratch / "").c_str(), 0777), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 2;
        }
        putFile(scratch / "file", "old");
        ::chmod((scratch / "file").c_str(), 0200);
        leaveBehind(scratch);
        SFileSys::replaceFile(scratch.path("file"), "new");
        return namesIn(scratch / "").size() == 1 ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
}

TEST(ReplaceFilePosix, LeavesNoLockToAProcessThatWasForkedOffMeanwhile)
{
    const Scratch scratch;
    const std::string content(8'000'000, 'n');
    for (int i = 0; i < 5; ++i) {
        std::atomic<bool> started = false;
        std::thread replacing([&] {
            started = true;
            SFileSys::replaceFile(scratch.path("file"), content);
        });
        while (!started) {}
        const Child forked([](const Child::Ready&) { ::pause(); });
        replacing.join();
        const int file = ::open((scratch / "file").c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(::flock(file, LOCK_EX | LOCK_NB), 0);
        ::close(file);
    }
}

TEST(ReplaceFilePosix, IsNotLedAwayByWhatStandsUnderItsNames)
{
    for (const bool named : ways) {
        const UnderAName way(named);
        const Scratch scratch;
        putFile(scratch / "victim", "kept");
        putFile(scratch / "file", "old");
        const std::string left = leaveBehind(scratch);
        fs::remove(scratch / left);
        fs::create_symlink("victim", scratch / left);
        SFileSys::replaceFile(scratch.path("file"), "new");
        fs::remove(scratch / left);
        fs::create_directory(scratch / left);
        SFileSys::replaceFile(scratch.path("file"), "newer");
        EXPECT_EQ(contentOf(scratch / "victim"), "kept");
        EXPECT_EQ(contentOf(scratch / "file"), "newer");
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file", "victim", left}));
    }
}

TEST(ReplaceFilePosix, LeavesOldOrNewAndNothingElseWhenACallFails)
{
    const std::string content(100'000, 'n');
    for (const bool named : ways) {
        for (const int error : {ENOSPC, EIO, EMFILE, ENOMEM, EACCES}) {
            const unsigned before = Faults::openDescriptors();
            const Scratch scratch;
            const unsigned calls = Faults::eachCall({.error = error}, [&](Faults::Injection& injection) {
                const UnderAName way(named);
                putFile(scratch / "file", "old");
                ASSERT_EQ(::chmod((scratch / "file").c_str(), 0640), 0);
                bool told = false;
                injection.arm();
                try {
                    SFileSys::replaceFile(scratch.path("file"), content);
                } catch (const SFileSysException& failure) {
                    told = failure.ErrCode() == SFileSysException::ReplaceFailed;
                }
                injection.disarm();
                const std::string now = contentOf(scratch / "file");
                EXPECT_TRUE(now == content || (told && now == "old")) << injection.call();
                EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"})) << injection.call();
                EXPECT_EQ(modeOf(scratch / "file"), mode_t{0640}) << injection.call();
            });
            EXPECT_GT(calls, 12u);
            EXPECT_EQ(Faults::openDescriptors(), before);
        }
    }
}

// The content is on the disk before it takes the old one's place, and that is on the disk before the call returns.
TEST(ReplaceFilePosix, FlushesTheFileBeforeAndTheFolderAfter)
{
    static constexpr std::string_view flushing[] = {"fsync"};
    std::vector<std::string> contents;
    const unsigned flushes =
        Faults::eachCall({.error = EIO, .only = flushing}, [&](Faults::Injection& injection) {
            const Scratch scratch;
            putFile(scratch / "file", "old");
            injection.arm();
            try {
                SFileSys::replaceFile(scratch.path("file"), "new");
                EXPECT_FALSE(injection.happened());
            } catch (const SFileSysException&) {}
            injection.disarm();
            contents.push_back(contentOf(scratch / "file"));
        });
    EXPECT_EQ(flushes, 2u);
    EXPECT_EQ(contents, (std::vector<std::string>{"old", "new", "new"}));
}

// As security modules refuse it to the programs that they watch.
TEST(ReplaceFilePosix, WorksWhereNoFileMayBeNamedLater)
{
    static constexpr std::string_view naming[] = {"linkat"};
    const Scratch scratch;
    for (const char* content : {"made", "replaced"}) {
        Faults::Injection refused({.error = ENOENT, .only = naming, .lasts = true}, 0);
        refused.arm();
        SFileSys::replaceFile(scratch.path("file"), content);
        refused.disarm();
        EXPECT_TRUE(refused.happened());
        EXPECT_EQ(contentOf(scratch / "file"), content);
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
    }
}

TEST(ReplaceFilePosix, SeveralAtOnceDoNotTakeEachOthersFilesForLeftOnes)
{
    const Scratch scratch;
    std::vector<std::thread> threads;
    for (int number = 0; number < 6; ++number) {
        threads.emplace_back([&, number] {
            const UnderAName way(number % 3 != 0);
            const std::string content(number % 2 == 0 ? 200'000 : 1, static_cast<char>('a' + number));
            for (int i = 0; i < 40; ++i) {
                EXPECT_NO_THROW(SFileSys::replaceFile(scratch.path("file"), content));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
}

TEST(ReplaceFilePosix, GoesOnAfterSignalsAndShortWrites)
{
    const std::string content(100'000, 'n');
    const Faults::Fault passing[] = {{.error = EINTR, .only = Faults::interruptible},
                                     {.count = Faults::Fault::Count::half}};
    for (const Faults::Fault& fault : passing) {
        const Scratch scratch;
        const unsigned calls = Faults::eachCall(fault, [&](Faults::Injection& injection) {
            putFile(scratch / "file", "old");
            injection.arm();
            SFileSys::replaceFile(scratch.path("file"), content);
            injection.disarm();
            EXPECT_EQ(contentOf(scratch / "file"), content);
        });
        EXPECT_GT(calls, 0u);
    }
    const Scratch scratch;
    putFile(scratch / "file", "old");
    Faults::Injection stuck({.count = Faults::Fault::Count::none, .lasts = true}, 0);
    stuck.arm();
    EXPECT_THROW(SFileSys::replaceFile(scratch.path("file"), content), SFileSysException);
    stuck.disarm();
    EXPECT_EQ(contentOf(scratch / "file"), "old");
}

TEST(ReplaceFilePosix, KeepsTheOldContentOnAFullDisk)
{
    enum Result
    {
        passed,
        noMount,
        wrongFailure,
        contentLost,
        somethingLeft
    };
    const Scratch scratch;
    const int result = inChild([&]() -> int {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tmpfs", (scratch / "").c_str(), "tmpfs", 0, "size=1m") != 0) {
            return noMount;
        }
        const std::string old(400'000, 'o');
        SFileSys::replaceFile(scratch.path("file"), old);
        for (const bool named : ways) {
            const UnderAName way(named);
            try {
                SFileSys::replaceFile(scratch.path("file"), std::string(900'000, 'n'));
                return wrongFailure;
            } catch (const SFileSysException& failure) {
                if (failure.ErrReason() != SFileSysException::NoSpace) {
                    return wrongFailure;
                }
            }
            if (contentOf(scratch / "file") != old) {
                return contentLost;
            }
            if (namesIn(scratch / "").size() != 1) {
                return somethingLeft;
            }
        }
        return passed;
    });
    if (result == noMount) {
        GTEST_SKIP() << "this user may not mount a small disk";
    }
    EXPECT_EQ(result, passed);
}

namespace
{

/// Content that tells its number, and is whole only if all of it is there.
std::string contentOfNumber(int number)
{
    return std::to_string(number) + std::string(static_cast<std::size_t>(number * 7919 % 60'000),
                                                static_cast<char>('a' + number % 26));
}

/// The number, or -1 when the content is not one of ours, whole.
int numberOf(const std::string& content)
{
    const int number = std::atoi(content.c_str());
    return content == contentOfNumber(number) ? number : -1;
}

/// Memory that a child shares with its parent.
class SharedNumber
{
public:
    SharedNumber()
        : m_place(::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                         MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        std::construct_at(&get(), 0);
    }
    SharedNumber(const SharedNumber&) = delete;
    SharedNumber& operator=(const SharedNumber&) = delete;
    ~SharedNumber() { ::munmap(m_place, sizeof(std::atomic<int>)); }

    std::atomic<int>& get() const { return *static_cast<std::atomic<int>*>(m_place); }

private:
    void* m_place;
};

void replaceForEver(const Scratch& scratch, std::atomic<int>& done, const Child::Ready& ready)
{
    ready();
    for (int next = done + 1;; ++next) {
        SFileSys::replaceFile(scratch.path("file"), contentOfNumber(next));
        done = next;
    }
}

void waitUntil(Clock::time_point end)
{
    while (Clock::now() < end) {
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
}

} // namespace

TEST(ReplaceFilePosix, FileIsWholeWheneverTheProcessIsKilled)
{
    constexpr int killsEach = 300;
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const bool named : ways) {
        const Scratch scratch;
        const SharedNumber done;
        putFile(scratch / "file", contentOfNumber(0));
        int leftBehind = 0;
        for (int kills = 0; kills < killsEach; ++kills) {
            Child child([&](const Child::Ready& ready) {
                const UnderAName way(named);
                replaceForEver(scratch, done.get(), ready);
            });
            ASSERT_TRUE(child.waitUntilReady());
            waitUntil(Clock::now() + std::chrono::microseconds(random() % 4000));
            child.kill();
            // What had returned counts, and so may the one under way.
            const int number = numberOf(contentOf(scratch / "file"));
            ASSERT_TRUE(number == done.get() || number == done.get() + 1) << number << " of " << done.get();
            done.get() = number;
            const auto names = namesIn(scratch / "");
            ASSERT_LE(names.size(), 2u);
            leftBehind += static_cast<int>(names.size()) - 1;
        }
        RecordProperty(named ? "left_under_a_name" : "left_without_a_name", leftBehind);
        SFileSys::replaceFile(scratch.path("file"), "at last");
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
        EXPECT_GT(done.get(), 0);
    }
}
