#include "morvex/sdirectorychangewatcher.h"

#include "faults_posix.h"
#include "foldermirror.h"
#include "morvex/sfilesysexception.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace MorvexA106
{
namespace
{

namespace fs = std::filesystem;

constexpr SDirectoryWatchOptions wholeTree{.m_tree = true, .m_interval = 10};

class SDirectoryChangeWatcherPosixTest : public testing::Test
{
protected:
    SDirectoryChangeWatcherPosixTest() : root(scratch / "watched"), mirror(root.string())
    {
        fs::create_directory(root);
    }

    static bool follows(SDirectoryChangeWatcher& watcher, const FolderMirror& mirror)
    {
        return becomesTrue([&] {
            watcher.poll(5);
            return mirror.equalsDisk();
        });
    }
    SAnsiString path() const { return root.string().c_str(); }

    Scratch scratch;
    const fs::path root;
    FolderMirror mirror;
};

/// More changes than the kernel keeps for a receiver that doesn't come.
TEST_F(SDirectoryChangeWatcherPosixTest, TellsTheDifferenceWhenTheKernelDroppedEvents)
{
    unsigned kept = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> kept;
    ASSERT_GT(kept, 0u);
    if (kept > 100000) {
        GTEST_SKIP() << "the kernel keeps " << kept << " events here";
    }
    fs::create_directories(root / "moved/below");
    for (const char* name : {"gone", "a", "b"}) {
        putFile((root / name).string(), "");
    }
    FolderMirror now(root.string());
    SDirectoryChangeWatcher watcher(path(), now, {.m_tree = true, .m_interval = 60000});
    watcher.open();
    std::ofstream one(root / "a");
    std::ofstream other(root / "b");
    for (unsigned i = 0; i < kept; i += 2) { // the same event twice in a row counts once
        one << "x" << std::flush;
        other << "y" << std::flush;
    }
    fs::rename(root / "moved", root / "elsewhere");
    putFile((root / "elsewhere/below/new").string(), "y");
    fs::remove(root / "gone");
    EXPECT_TRUE(follows(watcher, now));
    EXPECT_EQ(watcher.rescans(), 1u);
    putFile((root / "elsewhere/below/later").string(), "z");
    EXPECT_TRUE(follows(watcher, now));
    EXPECT_EQ(watcher.rescans(), 1u);
    EXPECT_EQ(watcher.source(), SDirectoryChangeWatcher::Events);
}

TEST_F(SDirectoryChangeWatcherPosixTest, RescansWhatTheSystemWontWatchUntilItDoes)
{
    constexpr std::string_view instance[] = {"inotify_init1"};
    constexpr std::string_view watch[] = {"inotify_add_watch"};
    const struct
    {
        const char* row;
        Faults::Fault fault;
        unsigned passing;
        SDirectoryChangeWatcher::Source source;
    } rows[] = {
        {"no instance left",
         {.error = EMFILE, .only = instance, .lasts = true},
         0,
         SDirectoryChangeWatcher::Rescans},
        {"no watch left",
         {.error = ENOSPC, .only = watch, .lasts = true},
         0,
         SDirectoryChangeWatcher::Rescans},
        {"one watch left",
         {.error = ENOSPC, .only = watch, .lasts = true},
         1,
         SDirectoryChangeWatcher::EventsAndRescans},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.row);
        fs::create_directories(root / "d/e");
        FolderMirror now(root.string());
        SDirectoryChangeWatcher watcher(path(), now, wholeTree);
        Faults::Injection injection(row.fault, row.passing);
        injection.arm();
        watcher.open();
        EXPECT_EQ(watcher.source(), row.source);
        for (const char* content : {"1", "2"}) {
            putFile((root / "d/e/f").string(), content);
            EXPECT_TRUE(follows(watcher, now));
        }
        injection.disarm();
        EXPECT_TRUE(becomesTrue([&] {
            watcher.poll(5);
            return watcher.source() == SDirectoryChangeWatcher::Events;
        }));
        const unsigned long rescans = watcher.rescans();
        fs::remove_all(root / "d");
        EXPECT_TRUE(follows(watcher, now));
        EXPECT_LE(watcher.rescans(), rescans + 1);
    }
}

/// The receiver's own calls don't fail.
class Spared : public SDirectoryChangeReceiver
{
public:
    Spared(Faults::Injection& injection, SDirectoryChangeReceiver& receiver)
        : m_injection(injection),
          m_receiver(receiver)
    {}
    void changed(const SDirectoryChange& change) override
    {
        m_injection.disarm();
        m_receiver.changed(change);
    }

private:
    Faults::Injection& m_injection;
    SDirectoryChangeReceiver& m_receiver;
};

// A call that fails is no sign that something is gone.
TEST_F(SDirectoryChangeWatcherPosixTest, AFailureAtAnyCallIsMadeUpFor)
{
    for (const int error : {EIO, EMFILE}) {
        const unsigned before = Faults::openDescriptors();
        const unsigned calls = Faults::eachCall({.error = error}, [&](Faults::Injection& injection) {
            fs::remove_all(root);
            fs::create_directories(root / "d/e");
            putFile((root / "d/kept").string(), "kept");
            FolderMirror now(root.string());
            Spared receiver(injection, now);
            SDirectoryChangeWatcher watcher(path(), receiver, wholeTree);
            injection.arm();
            try {
                watcher.open();
            } catch (const SFileSysException&) {
                EXPECT_TRUE(injection.happened());
            }
            injection.disarm();
            watcher.open();
            putFile((root / "d/f").string(), "1");
            fs::rename(root / "d/e", root / "d/g");
            putFile((root / "d/g/h").string(), "2");
            injection.arm();
            watcher.poll(0);
            injection.disarm();
            EXPECT_TRUE(follows(watcher, now));
            const auto told = now.told();
            EXPECT_EQ(std::count(told.begin(), told.end(), "removed d/kept"), 0);
        });
        EXPECT_GT(calls, 20u);
        EXPECT_EQ(Faults::openDescriptors(), before);
    }
}

TEST_F(SDirectoryChangeWatcherPosixTest, WaitsForTheFolderWhenItIsRemovedOrOneAboveItIsMoved)
{
    const fs::path above(scratch / "above");
    const fs::path watched = above / "watched";
    fs::create_directories(watched);
    putFile((watched / "a").string(), "a");
    FolderMirror now(watched.string());
    SDirectoryChangeWatcher watcher(watched.string().c_str(), now, wholeTree);
    watcher.open();
    fs::rename(above, scratch / "elsewhere");
    EXPECT_TRUE(follows(watcher, now));
    EXPECT_EQ(now.tree(), TreeContent());
    fs::create_directory(above);
    fs::create_directory_symlink(scratch / "elsewhere/watched", watched); // the path's own links are followed
    putFile(scratch / "elsewhere/watched/b", "b");
    EXPECT_TRUE(follows(watcher, now));
    EXPECT_EQ(now.tree(), (TreeContent{{"a", "a"}, {"b", "b"}}));
    fs::remove_all(scratch / "elsewhere");
    EXPECT_TRUE(follows(watcher, now));
    EXPECT_EQ(now.tree(), TreeContent());
}

/// Counts nothing and tells nobody.
class Deaf : public SDirectoryChangeReceiver
{
    void changed(const SDirectoryChange&) override {}
};

// The kernel changes what is there without anybody's writing, as others change what is on a network folder.
TEST_F(SDirectoryChangeWatcherPosixTest, GoesOnRescanningWhereEventsDontTellAll)
{
    Deaf receiver;
    SDirectoryChangeWatcher watcher("/proc/self", receiver, {.m_interval = 10});
    watcher.open();
    EXPECT_TRUE(becomesTrue([&] {
        watcher.poll(5);
        return watcher.rescans() >= 3;
    }));
    EXPECT_EQ(watcher.source(), SDirectoryChangeWatcher::EventsAndRescans);
}

TEST_F(SDirectoryChangeWatcherPosixTest, NeverFollowsALink)
{
    const fs::path outside = scratch / "outside";
    fs::create_directories(outside / "deep");
    fs::create_directories(root / "d");
    fs::create_directory_symlink(outside, root / "out");
    FolderMirror now(root.string());
    SDirectoryChangeWatcher watcher(path(), now, wholeTree);
    watcher.open();
    fs::create_directory_symlink("..", root / "d/circle");
    putFile((outside / "deep/unseen").string(), "");
    fs::rename(root / "d", root / "moved");
    fs::create_directory_symlink(outside, root / "d"); // in place of a folder that was watched
    EXPECT_TRUE(follows(watcher, now));
    for (const std::string& line : now.told()) {
        EXPECT_EQ(line.find("unseen"), std::string::npos) << line;
    }
    EXPECT_EQ(now.tree(), (TreeContent{{"d", "->"}, {"moved", "/"}, {"moved/circle", "->"}, {"out", "->"}}));
}

TEST_F(SDirectoryChangeWatcherPosixTest, TakesNamesAsTheyStand)
{
    SDirectoryChangeWatcher watcher(path(), mirror, wholeTree);
    watcher.open();
    for (const std::string name : {"with\nnewline", "back\\slash", "\xFF\xFE no text", " ", "*?", "a\x01"}) {
        fs::create_directory(root / name);
        putFile((root / name / name).string(), name);
    }
    putFile((root / std::string(255, 'n')).string(), "");
    EXPECT_TRUE(follows(watcher, mirror));
}

// Deeper than a path may be long, so that it can be reached step by step only.
TEST_F(SDirectoryChangeWatcherPosixTest, GoesAsDeepAsTheDiskDoes)
{
    constexpr int depth = 60;
    const std::string name(200, 'd');
    const fs::path before = fs::current_path();
    const auto descend = [&] {
        fs::current_path(root);
        for (int i = 0; i < depth; ++i) {
            fs::create_directory(name);
            fs::current_path(name);
        }
    };
    std::size_t longest = 0;
    class Longest : public SDirectoryChangeReceiver
    {
    public:
        explicit Longest(std::size_t& length) : m_length(length) {}
        void changed(const SDirectoryChange& change) override
        {
            m_length = std::max(m_length, change.m_name.view().size());
        }

    private:
        std::size_t& m_length;
    } receiver(longest);
    SDirectoryChangeWatcher watcher(path(), receiver, wholeTree);
    watcher.open();
    descend();
    constexpr std::size_t whole = depth * 201 - 1;
    EXPECT_TRUE(becomesTrue([&] {
        watcher.poll(5);
        return longest == whole;
    }));
    putFile("file", "");
    fs::current_path(before);
    EXPECT_TRUE(becomesTrue([&] {
        watcher.poll(5);
        return longest == whole + 5;
    }));
}

TEST_F(SDirectoryChangeWatcherPosixTest, FollowsEntriesThatChangePlaces)
{
    fs::create_directories(root / "d/inner");
    putFile((root / "f").string(), "file");
    FolderMirror now(root.string());
    SDirectoryChangeWatcher watcher(path(), now, wholeTree);
    watcher.open();
    const std::string one = (root / "d").string();
    const std::string other = (root / "f").string();
    ASSERT_EQ(renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE), 0);
    EXPECT_TRUE(follows(watcher, now));
    putFile((root / "f/inner/new").string(), "1");
    EXPECT_TRUE(follows(watcher, now));
    fs::create_hard_link(root / "d", root / "f/link");
    EXPECT_TRUE(follows(watcher, now));
    fs::rename(root / "f/link", root / "link");
    EXPECT_TRUE(follows(watcher, now));
    fs::remove(root / "d");
    EXPECT_TRUE(follows(watcher, now));
}

TEST_F(SDirectoryChangeWatcherPosixTest, EntersAFolderWhenItMayBeRead)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read everything";
    }
    fs::create_directory(root / "d");
    putFile((root / "d/f").string(), "1");
    fs::permissions(root / "d", fs::perms::none);
    FolderMirror now((root / "none").string());
    SDirectoryChangeWatcher watcher(path(), now,
                                    {.m_tree = true, .m_reportExisting = true, .m_interval = 60000});
    EXPECT_TRUE(watcher.poll(0));
    EXPECT_EQ(watcher.source(), SDirectoryChangeWatcher::Events);
    fs::permissions(root / "d", fs::perms::owner_all);
    EXPECT_TRUE(becomesTrue([&] {
        watcher.poll(5);
        return now.tree().count("d/f") != 0;
    }));
}

TEST_F(SDirectoryChangeWatcherPosixTest, LeavesNoDescriptorOpen)
{
    const unsigned before = Faults::openDescriptors();
    for (int turn = 0; turn < 5; ++turn) {
        SDirectoryChangeWatcher watcher(path(), mirror, wholeTree);
        watcher.start();
        fs::create_directories(root / std::to_string(turn) / "d");
        EXPECT_TRUE(becomesTrue([&] { return mirror.equalsDisk(); }));
    }
    EXPECT_EQ(Faults::openDescriptors(), before);
}

} // namespace
} // namespace MorvexA106
