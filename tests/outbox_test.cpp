#include "agent.h"
#include "dropwatch.h"
#include "events.h"
#include "failures.h"
#include "filenames.h"
#include "outbox_folders.h"

#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Outbox
{
namespace
{

using Names = std::vector<std::string>;

/// What a process does that is killed: it goes no further, and its locks are gone with it.
struct Crash
{};

class Watch : public Events
{
public:
    bool stopRequested() override { return onChunk && onChunk(); }
    void delivered(const SAnsiString& name, const SAnsiString& placedAs, __int64) override
    {
        deliveries.push_back(std::string(name.view()) + ">" + std::string(placedAs.view()));
    }
    void failed(const SAnsiString&, const SAnsiString& reason) override
    {
        failures.emplace_back(reason.view());
    }
    void troubled(const SAnsiString& text) override { troubles.emplace_back(text.view()); }
    void recovered() override { ++recoveries; }
    void waiting(std::size_t files) override { waitingFiles = files; }
    void reached(Step step) override
    {
        if (onStep) {
            onStep(step);
        }
    }

    std::function<bool()> onChunk;
    std::function<void(Step)> onStep;
    Names deliveries;
    Names failures;
    Names troubles;
    int recoveries = 0;
    std::size_t waitingFiles = 0;
};

constexpr int enoughRounds = 4;

class OutboxTest : public testing::Test
{
protected:
    Agent& open(const SAnsiString& target)
    {
        m_agent = std::make_unique<Agent>(folders.drop, target, 10, watch);
        m_agent->open();
        return *m_agent;
    }
    Agent& open() { return open(folders.target); }

    void rounds(int count = enoughRounds)
    {
        for (int i = 0; i < count; ++i) {
            m_agent->round();
        }
    }

    void dropFile(const SAnsiString& name, const std::string& content)
    {
        writeFile(in(folders.drop, name), content);
    }

    Folders folders;
    Watch watch;
    std::unique_ptr<Agent> m_agent;
};

TEST(OutboxFileNames, AreNumberedAndCutBetweenCharacters)
{
    std::setlocale(LC_ALL, "C.UTF-8");
    const std::string umlauts = [] {
        std::string text;
        for (int i = 0; i < 127; ++i) {
            text += "\xC3\xBC";
        }
        return text;
    }();
    const struct
    {
        const char* row;
        std::string stem;
        std::string ending;
        unsigned number;
        std::string expected;
    } rows[] = {
        {"the first has no number", "order", ".xml", 1, "order.xml"},
        {"the second has", "order", ".xml", 2, "order (2).xml"},
        {"no ending", "order", "", 12, "order (12)"},
        {"exactly the limit", std::string(251, 'a'), ".xml", 1, std::string(251, 'a') + ".xml"},
        {"past it", std::string(251, 'a'), ".xml", 2, std::string(247, 'a') + " (2).xml"},
        {"bytes of one character stay together", umlauts, ".x", 1, umlauts.substr(0, 252) + ".x"},
        {"an ending past the limit", "a", std::string(300, 'e'), 1, std::string(300, 'e')},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.row);
        const SAnsiString name = numberedName(row.stem.c_str(), row.ending.c_str(), row.number);
        if (row.stem == umlauts && std::string(std::setlocale(LC_ALL, nullptr)) != "C.UTF-8") {
            continue; // not a multibyte locale here
        }
        EXPECT_EQ(name.view(), row.expected);
    }
    std::setlocale(LC_ALL, "C");
}

TEST(OutboxFileNames, EndAtTheLastDot)
{
    const std::string longest = "a." + std::string(16, 'e');
    const std::string tooLong = "a." + std::string(17, 'e');
    const struct
    {
        std::string name;
        std::size_t ending;
    } rows[] = {{"a.txt", 1}, {"a.tar.gz", 5}, {"none", 4},  {".profile", 8},
                {"end.", 3},  {longest, 1},    {tooLong, 19}};
    for (const auto& row : rows) {
        EXPECT_EQ(endingOf(row.name.c_str()), row.ending) << row.name;
    }
}

TEST(OutboxFileNames, AreShownWithoutControlCharacters)
{
    EXPECT_EQ(printable("a\nb\x1B[0m\x7F \u00FC"), "a?b?[0m? \xC3\xBC");
}

TEST_F(OutboxTest, DeliversEveryKindOfFileWhole)
{
    const std::string chunk(1 << 20, 'c');
    const struct
    {
        const char* name;
        std::string content;
    } rows[] = {
        {"plain.txt", "content"},
        {"a name with blanks", "blanks"},
        {"Gr\u00FC\u00DFe.txt", "UTF-8"},
        {"-option", "a name like an option"},
        {"empty", ""},
        {"one zero", std::string(1, '\0')},
        {"one chunk", chunk},
        {"one chunk and a byte", chunk + "1"},
        {"a hole in the middle", chunk + std::string(chunk.size(), '\0') + "end"},
        {"a hole at the end", chunk + std::string(chunk.size(), '\0')},
        {"only a hole", std::string(2 * chunk.size(), '\0')},
        {"zeros but for the last byte", std::string(chunk.size() - 1, '\0') + "x"},
    };
    Names names;
    for (const auto& row : rows) {
        names.emplace_back(row.name);
        dropFile(row.name, row.content);
    }
    std::sort(names.begin(), names.end());
    open();
    rounds();
    EXPECT_EQ(shown(folders.target), names);
    EXPECT_EQ(shown(folders.sent()), names);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(readFile(in(folders.target, row.name)) == row.content);
        EXPECT_TRUE(readFile(in(folders.sent(), row.name)) == row.content);
    }
    EXPECT_EQ(filesBelow(folders.failed()), Names());
    EXPECT_EQ(shown(folders.drop), (Names{"failed", "sent"}));
    EXPECT_EQ(watch.troubles, Names());
}

TEST_F(OutboxTest, TakesAFileOnlyWhenItStoodStill)
{
    open();
    dropFile("growing", "1");
    rounds(1);
    for (const char* content : {"12", "123", "1234"}) {
        dropFile("growing", content);
        rounds(1);
        EXPECT_EQ(shown(folders.target), Names());
    }
    EXPECT_EQ(watch.waitingFiles, 1u);
    rounds(1);
    EXPECT_EQ(readFile(in(folders.target, "growing")), "1234");
}

TEST_F(OutboxTest, OlderFilesGoFirst)
{
    open();
    dropFile("b older", "");
    dropFile("a newer", "");
    const auto older = std::filesystem::last_write_time(in(folders.drop, "a newer").getString());
    std::filesystem::last_write_time(in(folders.drop, "b older").getString(), older - std::chrono::hours(1));
    rounds();
    EXPECT_EQ(watch.deliveries, (Names{"b older>b older", "a newer>a newer"}));
}

TEST_F(OutboxTest, LeavesHiddenFilesAndFoldersAlone)
{
    dropFile(".unfinished", "a writer's own");
    makeFolder(in(folders.drop, "folder"));
    writeFile(in(in(folders.drop, "folder"), "inside"), "not ours");
    open();
    rounds();
    EXPECT_EQ(shown(folders.target), Names());
    EXPECT_TRUE(SFileSys::exists(in(folders.drop, ".unfinished")));
    EXPECT_TRUE(SFileSys::exists(in(in(folders.drop, "folder"), "inside")));
    SFileSys::renameFile(in(folders.drop, ".unfinished"), in(folders.drop, "finished"));
    rounds();
    EXPECT_EQ(shown(folders.target), Names{"finished"});
}

TEST_F(OutboxTest, ReplacesNothingThatHasTheName)
{
    open();
    writeFile(in(folders.target, "a.txt"), "somebody's");
    for (const char* content : {"first", "second"}) {
        dropFile("a.txt", content);
        rounds();
    }
    EXPECT_EQ(shown(folders.target), (Names{"a (2).txt", "a (3).txt", "a.txt"}));
    EXPECT_EQ(readFile(in(folders.target, "a.txt")), "somebody's");
    EXPECT_EQ(readFile(in(folders.target, "a (2).txt")), "first");
    EXPECT_EQ(readFile(in(folders.target, "a (3).txt")), "second");
    EXPECT_EQ(readFile(in(folders.sent(), "a.txt")), "first");
    EXPECT_EQ(readFile(in(folders.sent(), "a (2).txt")), "second");
    EXPECT_EQ(watch.deliveries, (Names{"a.txt>a (2).txt", "a.txt>a (3).txt"}));
}

TEST_F(OutboxTest, MovesAFileThatCantBeDeliveredAsideWithTheReason)
{
    watch.onStep = [](Step step) {
        if (step == Step::copied) {
            throw FileFault{"for a test"};
        }
    };
    open();
    for (const char* content : {"first", "second"}) {
        dropFile("a.txt", content);
        rounds();
    }
    watch.onStep = nullptr;
    dropFile("good", "good");
    rounds();
    EXPECT_EQ(shown(folders.failed()),
              (Names{"a (2).txt", "a (2).txt.reason.txt", "a.txt", "a.txt.reason.txt"}));
    EXPECT_EQ(readFile(in(folders.failed(), "a.txt")), "first");
    EXPECT_EQ(readFile(in(folders.failed(), "a (2).txt")), "second");
    EXPECT_EQ(readFile(in(folders.failed(), "a.txt.reason.txt")), "a.txt\nfor a test\n");
    EXPECT_EQ(watch.failures, (Names{"for a test", "for a test"}));
    EXPECT_EQ(shown(folders.target), Names{"good"});
    EXPECT_EQ(shown(folders.sent()), Names{"good"});
}

/// One place to die: after a step, or in the middle of a copy. With `fault`, the copy turns out to be impossible.
struct Death
{
    const char* name;
    std::optional<Step> step;
    bool fault;
};

constexpr Death deaths[] = {
    {"claimed", Step::claimed, false},
    {"in the copy", std::nullopt, false},
    {"copied", Step::copied, false},
    {"ready", Step::ready, false},
    {"delivering", Step::delivering, false},
    {"placed", Step::placed, false},
    {"sent", Step::sent, false},
    {"reason written", Step::reasonWritten, true},
    {"failing", Step::failing, true},
    {"reason moved", Step::reasonMoved, true},
    {"failed", Step::failed, true},
};

void arm(Watch& watch, const Death& death)
{
    watch.onChunk = [death]() -> bool { return death.step ? false : throw Crash{}; };
    watch.onStep = [death](Step step) {
        if (death.step == step) {
            throw Crash{};
        }
        if (death.fault && step == Step::copied) {
            throw FileFault{"for a test"};
        }
    };
}

void disarm(Watch& watch)
{
    watch.onChunk = nullptr;
    watch.onStep = nullptr;
}

// Every place to die, then every place to die while that is being mended; a reader fetches what is delivered at
// once, so that the target never tells what was there.
TEST(OutboxDeath, LosesNothingAndDeliversNothingTwice)
{
    const std::string content(3 << 19, 'x');
    int died = 0;
    for (const Death& first : deaths) {
        for (const Death& second : deaths) {
            SCOPED_TRACE(std::string(first.name) + ", then " + second.name);
            Folders folders;
            Watch watch;
            writeFile(in(folders.drop, "a.txt"), content);
            for (const Death* death : {&first, &second, static_cast<const Death*>(nullptr)}) {
                death != nullptr ? arm(watch, *death) : disarm(watch);
                try {
                    Agent agent(folders.drop, folders.target, 10, watch);
                    agent.open();
                    for (int i = 0; i < enoughRounds; ++i) {
                        agent.round();
                    }
                } catch (const Crash&) {
                    ++died;
                }
                folders.fetch();
            }
            const Names whole{"a.txt"};
            if (shown(folders.basket) == whole) {
                EXPECT_TRUE(readFile(in(folders.basket, "a.txt")) == content);
                EXPECT_EQ(filesBelow(folders.sent()), whole);
                EXPECT_EQ(filesBelow(folders.failed()), Names());
            } else {
                EXPECT_EQ(shown(folders.basket), Names());
                EXPECT_EQ(filesBelow(folders.sent()), Names());
                EXPECT_EQ(filesBelow(folders.failed()), (Names{"a.txt", "a.txt.reason.txt"}));
                EXPECT_TRUE(readFile(in(folders.failed(), "a.txt")) == content);
            }
            EXPECT_EQ(filesBelow(in(folders.drop, ".outbox")), (Names{"lock", "owner"}));
            EXPECT_EQ(filesBelow(in(folders.target, ".outbox")),
                      shown(folders.basket).empty() ? Names() : Names{"lock"});
            EXPECT_EQ(watch.troubles, Names());
        }
    }
    EXPECT_GE(died, int(std::size(deaths) * std::size(deaths)));
}

TEST_F(OutboxTest, AStopInTheMiddleOfACopyLeavesTheFileForTheNextStart)
{
    dropFile("big", std::string(3 << 20, 'b'));
    bool stopped = false;
    watch.onStep = [&](Step) { watch.onChunk = [&] { return stopped = true; }; };
    open();
    rounds(2);
    EXPECT_TRUE(stopped);
    EXPECT_EQ(filesBelow(folders.target), Names());
    EXPECT_EQ(filesBelow(in(in(folders.drop, ".outbox"), "claimed")), Names{"big"});
    watch.onStep = nullptr;
    watch.onChunk = nullptr;
    m_agent.reset();
    open();
    rounds();
    EXPECT_EQ(watch.deliveries, Names{"big>big"});
    EXPECT_EQ(watch.troubles, Names());
}

TEST_F(OutboxTest, OneProcessServesADropFolder)
{
    Agent& first = open();
    Watch other;
    Agent second(folders.drop, folders.target, 10, other);
    EXPECT_THROW(second.open(), Trouble);
    dropFile("a", "a");
    rounds();
    EXPECT_EQ(shown(folders.target), Names{"a"});
    first.close();
    second.open();
    dropFile("b", "b");
    for (int i = 0; i < enoughRounds; ++i) {
        second.round();
    }
    EXPECT_EQ(other.deliveries, Names{"b>b"});
}

TEST_F(OutboxTest, TwoDropFoldersShareATarget)
{
    Folders others;
    open();
    Watch other;
    Agent second(others.drop, folders.target, 10, other);
    second.open();
    dropFile("a", "ours");
    writeFile(in(others.drop, "a"), "theirs");
    watch.onStep = [&](Step step) {
        if (step == Step::ready) {
            for (int i = 0; i < enoughRounds; ++i) {
                second.round();
            }
        }
    };
    rounds();
    EXPECT_EQ(readFile(in(folders.target, "a")), "theirs");
    EXPECT_EQ(readFile(in(folders.target, "a (2)")), "ours");
}

TEST_F(OutboxTest, WaitsWhileAnotherProcessRenamesIntoPlace)
{
    open();
    dropFile("a", "a");
    rounds(1);
    SFile lock(in(in(folders.target, ".outbox"), "lock"));
    lock.open(SFile::readAndWrite | SFile::create, SFile::defaultPermissions, SFile::denyReadAndWrite);
    rounds(1);
    EXPECT_EQ(shown(folders.target), Names());
    EXPECT_EQ(watch.troubles.size(), 1u);
    lock.close();
    rounds(1);
    EXPECT_EQ(watch.deliveries, Names{"a>a"});
}

TEST_F(OutboxTest, SettlesWhatIsReadyBeforeItCopiesAgain)
{
    watch.onStep = [](Step step) {
        if (step == Step::delivering) {
            throw Crash{};
        }
    };
    dropFile("a", "a");
    open();
    EXPECT_THROW(rounds(), Crash);
    watch.onStep = nullptr;
    // By hand: it doesn't come so far by itself while another file is under way.
    writeFile(in(in(in(folders.drop, ".outbox"), "claimed"), "b"), "b");
    m_agent.reset();
    open();
    rounds();
    EXPECT_EQ(readFile(in(folders.target, "a")), "a");
    EXPECT_EQ(readFile(in(folders.target, "b")), "b");
}

TEST_F(OutboxTest, RefusesFoldersThatCantWork)
{
    const struct
    {
        const char* row;
        SAnsiString from;
        SAnsiString to;
    } rows[] = {
        {"no drop folder", in(folders.root, "none"), folders.target},
        {"no target folder", folders.drop, in(folders.root, "none")},
        {"one folder", folders.drop, folders.drop},
        {"delivered into sent", folders.drop, folders.sent()},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.row);
        Agent agent(row.from, row.to, 10, watch);
        EXPECT_THROW(agent.open(), Trouble);
    }
}

TEST_F(OutboxTest, WaitsForATargetThatIsAway)
{
    open();
    rounds(1);
    const SAnsiString away = in(folders.root, "away");
    std::filesystem::rename(folders.target.getString(), away.getString());
    dropFile("a", "a");
    long wait = 0;
    for (int i = 0; i < 20; ++i) {
        const long before = wait;
        wait = m_agent->round();
        EXPECT_GE(wait, before);
    }
    EXPECT_EQ(wait, 5000);
    EXPECT_EQ(
        watch.troubles,
        Names{std::string((SAnsiString("The target folder ") + folders.target + " is not there").view())});
    EXPECT_TRUE(SFileSys::exists(in(folders.drop, "a")));
    std::filesystem::rename(away.getString(), folders.target.getString());
    rounds();
    EXPECT_EQ(watch.deliveries, Names{"a>a"});
    EXPECT_EQ(watch.recoveries, 1);
    EXPECT_EQ(m_agent->round(), 10);
}

TEST_F(OutboxTest, GoesOnWithADropFolderThatVanishedAndCameBack)
{
    open();
    dropFile("before", "");
    rounds();
    const SAnsiString away = in(folders.root, "away");
    m_agent->close(); // Windows doesn't let a folder go in which a file is open
    std::filesystem::rename(folders.drop.getString(), away.getString());
    rounds();
    EXPECT_EQ(watch.troubles.size(), 1u);
    makeFolder(folders.drop);
    dropFile("in a new one", "");
    rounds();
    m_agent->close();
    std::filesystem::remove_all(folders.drop.getString());
    std::filesystem::rename(away.getString(), folders.drop.getString());
    dropFile("in the old one", "");
    rounds();
    EXPECT_EQ(shown(folders.target), (Names{"before", "in a new one", "in the old one"}));
    EXPECT_EQ(watch.recoveries, 1);
}

// The target folder comes back as another one (an empty mount point, say) or is named differently, when it can't
// be told whether the file had been delivered.
TEST_F(OutboxTest, DecidesNothingAboutAFileInATargetThatItCantSee)
{
    for (const Step step : {Step::delivering, Step::placed}) {
        Folders own;
        Watch now;
        const SAnsiString other = in(own.root, "other");
        makeFolder(other);
        writeFile(in(own.drop, "a"), "a");
        now.onStep = [step](Step reached) {
            if (reached == step) {
                throw Crash{};
            }
        };
        const auto run = [&](const SAnsiString& target) {
            Agent agent(own.drop, target, 10, now);
            agent.open();
            for (int i = 0; i < enoughRounds; ++i) {
                agent.round();
            }
        };
        EXPECT_THROW(run(own.target), Crash);
        now.onStep = nullptr;
        writeFile(in(own.drop, "b"), "b");
        run(other);
        EXPECT_EQ(shown(other), Names{"b"});
        EXPECT_EQ(shown(own.sent()), Names{"b"});
        EXPECT_EQ(now.troubles.size(), 1u);
        own.fetch();
        run(own.target);
        own.fetch();
        EXPECT_EQ(shown(own.basket), Names{"a"});
        EXPECT_EQ(shown(own.sent()), (Names{"a", "b"}));
    }
}

TEST_F(OutboxTest, CopiesAFileAgainThatChangesUnderTheCopy)
{
    bool changed = false;
    watch.onStep = [&](Step step) {
        if (step == Step::copied && !changed) {
            changed = true;
            writeFile(in(in(in(folders.drop, ".outbox"), "claimed"), "log"), " second", SFile::append);
        }
    };
    dropFile("log", "first");
    open();
    rounds();
    EXPECT_EQ(readFile(in(folders.target, "log")), "first second");
    EXPECT_EQ(watch.deliveries, Names{"log>log"});
    EXPECT_EQ(watch.troubles, Names{"The file log is still being written"});
}

TEST(OutboxDropWatch, SaysWhenToLook)
{
    const struct
    {
        const char* row;
        std::function<void(const SAnsiString&)> act;
        bool isWork;
    } rows[] = {
        {"a file comes", [](const SAnsiString& drop) { writeFile(in(drop, "new"), "1"); }, true},
        {"a file grows", [](const SAnsiString& drop) { writeFile(in(drop, "old"), "22"); }, true},
        {"a file is unveiled",
         [](const SAnsiString& drop) { SFileSys::renameFile(in(drop, ".hidden"), in(drop, "shown")); }, true},
        {"a folder of ours goes", [](const SAnsiString& drop) { SFileSys::remove(in(drop, "sent")); }, true},
        {"a hidden file grows", [](const SAnsiString& drop) { writeFile(in(drop, ".hidden"), "22"); }, false},
        {"a file is taken", [](const SAnsiString& drop) { SFileSys::remove(in(drop, "old")); }, false},
        {"nothing", [](const SAnsiString&) {}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.row);
        const Folders folders;
        makeFolder(folders.sent());
        writeFile(in(folders.drop, "old"), "1");
        writeFile(in(folders.drop, ".hidden"), "1");
        DropWatch watch;
        watch.open(folders.drop);
        ASSERT_TRUE(watch.isReliable());
        row.act(folders.drop);
        EXPECT_EQ(watch.waitForFile(row.isWork ? 60000 : 100), row.isWork);
    }
}

TEST(OutboxDropWatch, IsNotReliableWithoutAFolderAndEndsWhenStopped)
{
    const Folders folders;
    DropWatch nowhere;
    nowhere.open(in(folders.root, "none"));
    EXPECT_FALSE(nowhere.isReliable());
    EXPECT_FALSE(nowhere.waitForFile(60000));
    DropWatch watch;
    watch.open(folders.drop);
    std::thread waiting([&] { EXPECT_FALSE(watch.waitForFile(60000)); });
    watch.stop();
    waiting.join();
}

TEST_F(OutboxTest, IsIdleOnlyWhenNoFileWaitsAndNothingIsInDisorder)
{
    open();
    rounds(1);
    EXPECT_TRUE(m_agent->isIdle());
    dropFile("a", "a");
    rounds(1);
    EXPECT_FALSE(m_agent->isIdle());
    rounds(1);
    EXPECT_TRUE(m_agent->isIdle());
    const SAnsiString away = in(folders.root, "away");
    std::filesystem::rename(folders.target.getString(), away.getString());
    rounds(1);
    EXPECT_FALSE(m_agent->isIdle());
}

} // namespace
} // namespace Outbox
