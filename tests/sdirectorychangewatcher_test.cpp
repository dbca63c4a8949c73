#include "morvex/sdirectorychangewatcher.h"

#include "foldermirror.h"
#include "morvex/directorywatch.h"
#include "morvex/sfilesysexception.h"
#include "recorder.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace MorvexA106
{
namespace
{

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

/// A folder to watch, and one beside it on the same disk.
class Place
{
public:
    Place()
    {
        fs::create_directory(root());
        fs::create_directory(outside());
    }
    fs::path root() const { return m_scratch / "watched"; }
    fs::path outside() const { return m_scratch / "outside"; }
    SAnsiString text() const { return root().string().c_str(); }

    void put(const std::string& name, const std::string& content = "") const
    {
        putFile((root() / name).string(), content);
    }
    void make(const std::string& name) const { fs::create_directories(root() / name); }
    void move(const std::string& from, const std::string& to) const
    {
        fs::rename(root() / from, root() / to);
    }

private:
    Scratch m_scratch;
};

constexpr SDirectoryWatchOptions wholeTree{.m_tree = true, .m_interval = 50};

/// Where many folders move at once. The systems that stand in for Windows in our tests then lose events in silence.
constexpr SDirectoryWatchOptions busyTree{
    .m_tree = true, .m_interval = 50, .m_alwaysRescan = fs::path::preferred_separator == '\\'};

/// Polls until the mirror shows what is on the disk.
bool follows(SDirectoryChangeWatcher& watcher, const FolderMirror& mirror)
{
    return becomesTrue([&] {
        watcher.poll(20);
        return mirror.equalsDisk();
    });
}

TreeContent lossesOf(const FolderMirror& mirror, const Place& place)
{
    TreeContent losses;
    const TreeContent seen = mirror.tree();
    for (const auto& [name, content] : treeContent(place.root())) {
        if (seen.count(name) == 0) {
            losses[name] = content;
        }
    }
    return losses;
}

/// What one act is told as; the names with "a" in front are there before it.
struct Act
{
    const char* row;
    std::function<void(const Place&)> act;
    Lines told;
};

void expectTold(const Act& row)
{
    SCOPED_TRACE(row.row);
    const Place place;
    place.put("a", "1");
    place.make("ad/inner");
    place.put("ad/inner/af", "x");
    for (const char* old : {"a", "ad/inner/af"}) { // a rescan tells those that are new once more
        fs::last_write_time(place.root() / old, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror, wholeTree);
    watcher.open();
    row.act(place);
    EXPECT_TRUE(follows(watcher, mirror));
    while (watcher.poll(20)) {}
    Lines told = mirror.told();
    told.erase(std::unique(told.begin(), told.end()), told.end());
    const std::string separator(1, static_cast<char>(fs::path::preferred_separator));
    Lines expected = row.told;
    for (std::string& line : expected) {
        for (std::size_t at = line.find('|'); at != std::string::npos; at = line.find('|')) {
            line.replace(at, 1, separator);
        }
    }
    EXPECT_EQ(told, expected);
}

TEST(SDirectoryChangeWatcherTest, TellsEachActOnce)
{
    const Act rows[] = {
        {"a folder is made", [](const Place& p) { p.make("d"); }, {"created d/"}},
        {"a folder is made below", [](const Place& p) { p.make("ad/d"); }, {"created ad|d/"}},
        {"a file is written", [](const Place& p) { p.put("a", "22"); }, {"changed a"}},
        {"a file below is written",
         [](const Place& p) { p.put("ad/inner/af", "22"); },
         {"changed ad|inner|af"}},
        {"a file is renamed", [](const Place& p) { p.move("a", "b"); }, {"renamed a to b"}},
        {"a folder is renamed", [](const Place& p) { p.move("ad", "b"); }, {"renamed ad to b/"}},
        {"a file goes to another folder", [](const Place& p) { p.move("a", "ad/b"); }, {"renamed a to ad|b"}},
        {"a folder goes to another one",
         [](const Place& p) { p.move("ad/inner", "b"); },
         {"renamed ad|inner to b/"}},
        {"a renamed folder goes on to be watched",
         [](const Place& p) {
             p.move("ad", "b");
             p.put("b/inner/af", "longer");
         },
         {"renamed ad to b/", "changed b|inner|af"}},
        {"a file in place of another",
         [](const Place& p) { p.move("ad/inner/af", "a"); },
         {"removed a", "renamed ad|inner|af to a"}},
        {"a file is removed", [](const Place& p) { fs::remove(p.root() / "a"); }, {"removed a"}},
        {"a folder is removed",
         [](const Place& p) { fs::remove_all(p.root() / "ad"); },
         {"removed ad|inner|af", "removed ad|inner/", "removed ad/"}},
        {"a folder leaves the tree",
         [](const Place& p) { fs::rename(p.root() / "ad", p.outside() / "ad"); },
         {"removed ad|inner|af", "removed ad|inner/", "removed ad/"}},
        {"a file comes into the tree",
         [](const Place& p) {
             putFile((p.outside() / "b").string(), "b");
             fs::rename(p.outside() / "b", p.root() / "b");
         },
         {"created b"}},
        {"nothing", [](const Place&) {}, {}},
    };
    for (const Act& row : rows) {
        expectTold(row);
    }
}

TEST(SDirectoryChangeWatcherTest, WatchesOneFolderOnly)
{
    const Place place;
    place.make("d");
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror, {.m_interval = 50});
    watcher.open();
    place.put("d/unseen");
    place.put("seen");
    EXPECT_TRUE(becomesTrue([&] {
        watcher.poll(20);
        return mirror.tree().count("seen") != 0;
    }));
    place.move("d/unseen", "came");
    place.make("e/f");
    EXPECT_TRUE(becomesTrue([&] {
        watcher.poll(20);
        return mirror.tree() == TreeContent{{"came", ""}, {"d", "/"}, {"e", "/"}, {"seen", ""}};
    }));
}

TEST(SDirectoryChangeWatcherTest, TellsWhatIsThereInTheBeginningIfAsked)
{
    for (const bool isAsked : {false, true}) {
        const Place place;
        place.make("d/e");
        place.put("d/e/f", "content");
        FolderMirror mirror(place.root().string());
        if (isAsked) {
            mirror.forgetAll();
        }
        SDirectoryChangeWatcher watcher(place.text(), mirror, {.m_tree = true, .m_reportExisting = isAsked});
        EXPECT_EQ(watcher.poll(0), isAsked);
        EXPECT_TRUE(mirror.equalsDisk());
        EXPECT_EQ(mirror.told().size(), isAsked ? 3u : 0u);
        EXPECT_EQ(watcher.rescans(), 0u);
    }
}

TEST(SDirectoryChangeWatcherTest, RefusesWhatIsNoFolderAndCanBeTriedAgain)
{
    const Place place;
    FolderMirror mirror(place.root().string());
    for (const char* name : {"none", "a file"}) {
        place.put("a file");
        SDirectoryChangeWatcher watcher((place.root() / name).string().c_str(), mirror);
        const auto failure = failureOf<SFileSysException>([&] { watcher.start(); });
        EXPECT_EQ(failure.ErrCode(), SFileSysException::FileNotFound) << name;
        EXPECT_FALSE(failure.reason().isEmpty());
        fs::remove(place.root() / name);
        place.make(name);
        EXPECT_FALSE(watcher.poll(0));
    }
}

// --- A random tree, changed while it is watched

/// Acts at random in a tree of few names, so that they meet.
class Vandal
{
public:
    Vandal(const Place& place, std::uint64_t seed) : m_place(place), m_random(seed) {}

    void act()
    {
        std::error_code ignored; // many acts are impossible
        const fs::path one = anyPath();
        const fs::path other = anyPath();
        switch (m_random() % 12) {
        case 0:
        case 1:
            fs::create_directories(one, ignored);
            write(one / anyName());
            write(one / anyName());
            break;
        case 2:
            fs::remove_all(one, ignored);
            break;
        case 3:
            fs::remove(one, ignored);
            break;
        case 4:
        case 5:
        case 6:
            rename(one, other);
            break;
        case 7:
            rename(one, m_place.outside() / anyName());
            break;
        case 8:
            rename(m_place.outside() / anyName(), one);
            break;
        case 9:
            write(one.string() + ".new");
            rename(one.string() + ".new", one);
            break;
        default:
            write(one);
        }
    }

private:
    std::string anyName() { return std::string(1, static_cast<char>('a' + m_random() % 5)); }

    fs::path anyPath()
    {
        fs::path path = m_place.root() / anyName();
        for (auto depth = m_random() % 3; depth != 0; --depth) {
            path /= anyName();
        }
        return path;
    }

    static void rename(const fs::path& from, const fs::path& to)
    {
        std::error_code ignored;
        fs::rename(from, to, ignored);
    }

    void write(const fs::path& path)
    {
        std::ofstream file(path, m_random() % 2 == 0 ? std::ios::binary | std::ios::app : std::ios::binary);
        file << m_random() % 100;
    }

    const Place& m_place;
    std::mt19937_64 m_random;
};

std::uint64_t freshSeed(const char* what)
{
    const std::uint64_t seed = std::random_device()();
    std::cout << what << ": seed " << seed << std::endl;
    return seed;
}

TEST(SDirectoryChangeWatcherTest, AReceiverThatAppliesEachChangeHasWhatTheDiskHas)
{
    const std::uint64_t seed = freshSeed("on its own thread");
    for (std::uint64_t turn = 0; turn < 6; ++turn) {
        SCOPED_TRACE("turn " + std::to_string(turn) + " of seed " + std::to_string(seed));
        const Place place;
        Vandal vandal(place, seed + turn);
        for (int i = 0; i < 50; ++i) {
            vandal.act();
        }
        FolderMirror mirror(place.root().string());
        SDirectoryChangeWatcher watcher(place.text(), mirror, busyTree);
        watcher.start();
        for (int round = 0; round < 4; ++round) {
            for (int i = 0; i < 100; ++i) {
                vandal.act();
            }
            ASSERT_TRUE(becomesTrue([&] { return mirror.equalsDisk(); }))
                << testing::PrintToString(mirror.tree()) << "\n"
                << testing::PrintToString(treeContent(place.root()));
        }
    }
}

// The events are read late and in heaps, so they tell of what has changed since.
TEST(SDirectoryChangeWatcherTest, LateEventsLeadToTheSame)
{
    const std::uint64_t seed = freshSeed("polled");
    std::mt19937_64 random(seed);
    for (std::uint64_t turn = 0; turn < 5; ++turn) {
        SCOPED_TRACE("turn " + std::to_string(turn) + " of seed " + std::to_string(seed));
        const Place place;
        Vandal vandal(place, seed + turn);
        FolderMirror mirror(place.root().string());
        SDirectoryChangeWatcher watcher(place.text(), mirror, busyTree);
        watcher.open();
        for (int round = 0; round < 40; ++round) {
            for (auto acts = random() % 40; acts != 0; --acts) {
                vandal.act();
            }
            watcher.poll(0);
        }
        ASSERT_TRUE(follows(watcher, mirror)) << testing::PrintToString(mirror.told());
    }
}

TEST(SDirectoryChangeWatcherTest, MissesNothingInAFolderThatIsFilledAtOnce)
{
    const Place place;
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror, busyTree);
    watcher.start();
    for (int turn = 0; turn < 50; ++turn) {
        const std::string name = "new" + std::to_string(turn);
        place.make(name + "/b/c");
        place.put(name + "/f", "1");
        place.put(name + "/b/c/f", "2");
    }
    EXPECT_TRUE(becomesTrue([&] { return mirror.equalsDisk(); }))
        << testing::PrintToString(lossesOf(mirror, place));
}

TEST(SDirectoryChangeWatcherTest, GoesOnWithAFolderThatLeftAndCameBack)
{
    const Place place;
    place.make("d/e");
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror, busyTree);
    watcher.open();
    for (int turn = 0; turn < 3; ++turn) {
        fs::rename(place.root() / "d", place.outside() / "d");
        ASSERT_TRUE(follows(watcher, mirror));
        putFile((place.outside() / "d/e/f").string(), std::to_string(turn));
        fs::rename(place.outside() / "d", place.root() / "d");
        ASSERT_TRUE(follows(watcher, mirror));
        place.put("d/e/f", "changed in turn " + std::to_string(turn));
        ASSERT_TRUE(follows(watcher, mirror));
    }
}

// --- The watched folder itself

TEST(SDirectoryChangeWatcherTest, FollowsThePathAndNotTheFolder)
{
    const Place place;
    place.put("a", "first");
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror, wholeTree);
    watcher.open();
    const fs::path away = place.outside() / "away";
    fs::rename(place.root(), away);
    EXPECT_TRUE(follows(watcher, mirror));
    EXPECT_EQ(mirror.told(), Lines{"removed a"});
    fs::create_directory(place.root());
    place.put("b", "second");
    EXPECT_TRUE(follows(watcher, mirror));
    EXPECT_EQ(mirror.tree(), (TreeContent{{"b", "second"}}));
    putFile((away / "unseen").string(), "");
    fs::rename(place.root(), place.outside() / "second");
    fs::rename(away, place.root());
    EXPECT_TRUE(follows(watcher, mirror));
    EXPECT_EQ(mirror.tree(), (TreeContent{{"a", "first"}, {"unseen", ""}}));
    place.put("c", "watched again");
    EXPECT_TRUE(follows(watcher, mirror));
}

// --- Threads

/// Holds the watcher's thread up until it is let go.
class Gate : public SDirectoryChangeReceiver
{
public:
    void changed(const SDirectoryChange&) override
    {
        std::unique_lock guard(m_lock);
        ++m_calls;
        m_changed.notify_all();
        m_changed.wait(guard, [&] { return m_isOpen; });
    }
    void waitForCall()
    {
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [&] { return m_calls != 0; });
    }
    void open()
    {
        const std::lock_guard guard(m_lock);
        m_isOpen = true;
        m_changed.notify_all();
    }
    int calls() const
    {
        const std::lock_guard guard(m_lock);
        return m_calls;
    }

private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_isOpen = false;
    int m_calls = 0;
};

TEST(SDirectoryChangeWatcherTest, StopWaitsForTheCallThatIsUnderWay)
{
    const Place place;
    Gate gate;
    SDirectoryChangeWatcher watcher(place.text(), gate);
    watcher.start();
    watcher.start();
    EXPECT_FALSE(watcher.poll(-1));
    place.put("a");
    place.put("b");
    gate.waitForCall();
    std::atomic<int> returned{0};
    std::vector<std::thread> stoppers(3);
    for (std::thread& stopper : stoppers) {
        stopper = std::thread([&] {
            watcher.stop();
            ++returned;
        });
    }
    EXPECT_TRUE(becomesTrue([&] { return watcher.isStopped(); }));
    EXPECT_EQ(returned, 0);
    gate.open();
    for (std::thread& stopper : stoppers) {
        stopper.join();
    }
    EXPECT_EQ(gate.calls(), 1);
    watcher.start();
    EXPECT_FALSE(watcher.poll(-1));
}

TEST(SDirectoryChangeWatcherTest, StopEndsAPollOnAnotherThread)
{
    const Place place;
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror);
    watcher.open();
    std::thread poller([&] { EXPECT_FALSE(watcher.poll(-1)); });
    watcher.stop();
    poller.join();
}

TEST(SDirectoryChangeWatcherTest, WaitsForAsLongAsANumberCanSay)
{
    constexpr long longest = std::numeric_limits<long>::max();
    const Place place;
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher(place.text(), mirror, {.m_interval = longest, .m_alwaysRescan = true});
    watcher.open();
    std::thread poller([&] { EXPECT_TRUE(watcher.poll(longest)); });
    place.put("a");
    poller.join();
    EXPECT_EQ(watcher.rescans(), 0u);
}

TEST(SDirectoryChangeWatcherTest, DoesNothingAfterStop)
{
    const Place place;
    FolderMirror mirror(place.root().string());
    SDirectoryChangeWatcher watcher((place.root() / "none").string().c_str(), mirror);
    watcher.stop();
    watcher.start();
    EXPECT_FALSE(watcher.poll(-1));
}

class Calling : public SDirectoryChangeReceiver
{
public:
    explicit Calling(std::function<void(const std::string&)> call) : m_call(std::move(call)) {}
    void changed(const SDirectoryChange& change) override { m_call(std::string(change.m_name.view())); }

private:
    const std::function<void(const std::string&)> m_call;
};

TEST(SDirectoryChangeWatcherTest, MayBeStoppedAndDestroyedByItsReceiver)
{
    for (const bool isDestroyed : {false, true}) {
        const Place place;
        std::unique_ptr<SDirectoryChangeWatcher> watcher;
        std::atomic<int> calls{0};
        Calling receiver([&](const std::string&) {
            isDestroyed ? watcher.reset() : watcher->stop();
            ++calls;
        });
        watcher = std::make_unique<SDirectoryChangeWatcher>(place.text(), receiver);
        watcher->start();
        place.put("a");
        place.put("b");
        EXPECT_TRUE(becomesTrue([&] { return calls != 0; }));
        watcher.reset();
        EXPECT_EQ(calls, 1);
    }
}

TEST(SDirectoryChangeWatcherTest, AnExceptionOfTheReceiverCostsNoOtherChange)
{
    const Place place;
    std::mutex lock;
    Lines names;
    Calling receiver([&](const std::string& name) {
        const std::lock_guard guard(lock);
        names.push_back(name);
        if (name == "a") {
            throw std::runtime_error("not this one");
        }
    });
    const Lines both{"a", "b"};
    {
        SDirectoryChangeWatcher watcher(place.text(), receiver);
        watcher.open();
        place.make("a");
        place.make("b");
        EXPECT_THROW(watcher.poll(-1), std::runtime_error);
        EXPECT_TRUE(names == both || watcher.poll(-1));
        EXPECT_EQ(names, both);
    }
    names.clear();
    fs::remove(place.root() / "a");
    fs::remove(place.root() / "b");
    Recorder recorder;
    SDirectoryChangeWatcher watcher(place.text(), receiver);
    watcher.start();
    place.make("a");
    place.make("b");
    EXPECT_TRUE(becomesTrue([&] {
        const std::lock_guard guard(lock);
        return names == both;
    }));
    watcher.stop();
    EXPECT_EQ(recorder.count("not this one"), 1);
}

// --- The reading of events, without the system

using Event = Platform::FolderEvent;

TEST(DirectoryWatchTest, PairsTheEndsOfAMoveThatComeInTwoReadings)
{
    const struct
    {
        const char* row;
        std::vector<std::vector<Event>> readings;
        Lines told;
    } rows[] = {
        {"both in one",
         {{{Event::Kind::movedFrom, 0, "a", 7}, {Event::Kind::movedTo, 0, "b", 7}}},
         {"renamed a to b"}},
        {"in two",
         {{{Event::Kind::movedFrom, 0, "a", 7}}, {{Event::Kind::movedTo, 0, "b", 7}}},
         {"renamed a to b"}},
        {"others in between",
         {{{Event::Kind::movedFrom, 0, "a", 7}, {Event::Kind::appeared, 0, "c", 0}},
          {{Event::Kind::movedTo, 0, "b", 7}}},
         {"created c", "renamed a to b"}},
        {"the second end first",
         {{{Event::Kind::movedTo, 0, "b", 7}}, {{Event::Kind::movedFrom, 0, "a", 7}}},
         {"renamed a to b"}},
        {"no second end", {{{Event::Kind::movedFrom, 0, "a", 7}}, {}}, {"removed a"}},
        {"the second end too late",
         {{{Event::Kind::movedFrom, 0, "a", 7}}, {}, {{Event::Kind::movedTo, 0, "b", 7}}},
         {"removed a", "created b"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.row);
        const Place place;
        place.put("a", "x");
        DirectoryWatch watch(place.root().string(), {});
        ASSERT_FALSE(watch.open());
        place.move("a", "b");
        place.put("c");
        for (std::vector<Event> reading : row.readings) {
            for (Event& event : reading) {
                event.watch = watch.rootWatch();
            }
            watch.take(reading);
        }
        Lines told;
        for (const SDirectoryChange& change : watch.changes()) {
            told.push_back(describe(change));
        }
        EXPECT_EQ(told, row.told);
    }
}

TEST(DirectoryWatchTest, LostEventsAreMadeUpForByARescan)
{
    const Place place;
    place.put("a", "1");
    place.make("d/e");
    place.put("gone", "g");
    FolderMirror mirror(place.root().string());
    DirectoryWatch watch(place.root().string(), wholeTree);
    ASSERT_FALSE(watch.open());
    place.put("a", "2"); // of the same length, and maybe within the same tick of the file system's clock
    place.move("d", "moved");
    place.put("moved/e/new", "n");
    fs::remove(place.root() / "gone");
    watch.take({{Event::Kind::lost, 0, {}, 0}});
    Lines told;
    for (const SDirectoryChange& change : watch.changes()) {
        told.push_back(describe(change));
        mirror.changed(change);
    }
    EXPECT_TRUE(mirror.equalsDisk()) << testing::PrintToString(told);
    EXPECT_EQ(std::count(told.begin(), told.end(), "renamed d to moved/"), 1) << testing::PrintToString(told);
    EXPECT_EQ(watch.rescans(), 1u);
}

} // namespace
} // namespace MorvexA106
