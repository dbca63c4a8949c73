#include "agent.h"
#include "outbox_folders.h"
#include "outbox_process_posix.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace Outbox
{
namespace
{

using Names = std::vector<std::string>;

constexpr std::chrono::seconds patience(60);

class Watch : public Events
{
public:
    bool stopRequested() override { return false; }
    void delivered(const SAnsiString&, const SAnsiString&, __int64) override {}
    void failed(const SAnsiString&, const SAnsiString& reason) override
    {
        failures.emplace_back(reason.view());
    }
    void troubled(const SAnsiString& text) override { troubles.emplace_back(text.view()); }
    void recovered() override { ++recoveries; }
    void waiting(std::size_t) override {}

    Names failures;
    Names troubles;
    int recoveries = 0;
};

class OutboxPosix : public testing::Test
{
protected:
    void rounds(int count = 4)
    {
        if (!m_agent) {
            m_agent.emplace(folders.drop, folders.target, 10, watch);
            m_agent->open();
        }
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
    std::optional<Agent> m_agent;
};

/// A file system of its own on a folder.
class Mount
{
public:
    Mount(const SAnsiString& folder, const char* options) : m_folder(folder)
    {
        m_mounted = mount("outbox-test", m_folder.getString(), "tmpfs", 0, options) == 0;
    }
    ~Mount()
    {
        if (m_mounted) {
            umount2(m_folder.getString(), MNT_DETACH);
        }
    }
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;

    bool isMounted() const { return m_mounted; }
    bool setReadOnly(bool readOnly) const
    {
        return mount("outbox-test", m_folder.getString(), "tmpfs", MS_REMOUNT | (readOnly ? MS_RDONLY : 0),
                     nullptr) == 0;
    }

private:
    SAnsiString m_folder;
    bool m_mounted = false;
};

#define SKIP_UNLESS_MOUNTED(mount)                                                                           \
    if (!(mount).isMounted()) {                                                                              \
        GTEST_SKIP() << "needs the right to mount";                                                          \
    }

/// Gives root's rights away for a scope; does nothing for others.
class AsNobody
{
public:
    explicit AsNobody(const Folders& folders) : m_isRoot(geteuid() == 0)
    {
        if (m_isRoot) {
            for (const SAnsiString& folder : {folders.root, folders.drop, folders.target}) {
                EXPECT_EQ(chown(folder.getString(), nobody, nobody), 0);
            }
            EXPECT_EQ(seteuid(nobody), 0);
        }
    }
    ~AsNobody()
    {
        if (m_isRoot) {
            EXPECT_EQ(seteuid(0), 0);
        }
    }

private:
    static constexpr uid_t nobody = 65534;
    bool m_isRoot;
};

TEST_F(OutboxPosix, DeliversNamesOf255Bytes)
{
    std::string umlauts = "x";
    while (umlauts.size() < 255) {
        umlauts += "\xC3\xBC";
    }
    const Names names{std::string(255, 'n'), umlauts};
    for (const char* content : {"first", "second"}) {
        for (const std::string& name : names) {
            dropFile(name.c_str(), content);
        }
        rounds();
    }
    EXPECT_EQ(shown(folders.target),
              (Names{std::string(251, 'n') + " (2)", names[0], umlauts.substr(0, 251) + " (2)", names[1]}));
    EXPECT_EQ(shown(folders.sent()), shown(folders.target));
    EXPECT_EQ(readFile(in(folders.target, names[0].c_str())), "first");
    EXPECT_EQ(readFile(in(folders.target, (std::string(251, 'n') + " (2)").c_str())), "second");
}

TEST_F(OutboxPosix, LeavesWhatIsNoFileAlone)
{
    writeFile(in(folders.root, "elsewhere"), "secret");
    ASSERT_EQ(symlink(in(folders.root, "elsewhere").getString(), in(folders.drop, "link").getString()), 0);
    ASSERT_EQ(symlink("nowhere", in(folders.drop, "dangling").getString()), 0);
    ASSERT_EQ(mkfifo(in(folders.drop, "pipe").getString(), 0600), 0);
    dropFile("file", "file");
    rounds();
    EXPECT_EQ(shown(folders.target), Names{"file"});
    EXPECT_EQ(shown(folders.drop), (Names{"dangling", "failed", "link", "pipe", "sent"}));
    EXPECT_EQ(watch.troubles, Names());
}

TEST_F(OutboxPosix, MovesAnUnreadableFileAside)
{
    const AsNobody nobody(folders);
    const std::string name(255, 'n');
    dropFile(name.c_str(), "secret");
    ASSERT_EQ(chmod(in(folders.drop, name.c_str()).getString(), 0), 0);
    rounds();
    EXPECT_EQ(shown(folders.failed()), (Names{std::string(244, 'n') + ".reason.txt", name}));
    const std::string reason =
        readFile(in(folders.failed(), (std::string(244, 'n') + ".reason.txt").c_str()));
    EXPECT_EQ(reason.substr(0, 256), name + "\n");
    EXPECT_NE(reason.find("Permission denied"), std::string::npos) << reason;
    EXPECT_EQ(filesBelow(folders.target), Names());
    EXPECT_EQ(watch.failures.size(), 1u);
    EXPECT_EQ(watch.troubles, Names());
}

TEST_F(OutboxPosix, MovesAFileThatIsTooLargeForTheTargetAside)
{
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    for (const char* fill : {"x", "\0"}) {
        dropFile("large", std::string(3 << 20, *fill));
        const rlimit small{2 << 20, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        rounds();
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    }
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(watch.failures.size(), 2u);
    EXPECT_EQ(watch.troubles, Names());
    EXPECT_EQ(shown(folders.failed()),
              (Names{"large", "large (2)", "large (2).reason.txt", "large.reason.txt"}));
    rounds();
    EXPECT_EQ(filesBelow(folders.target), Names());
}

TEST_F(OutboxPosix, WaitsWhileTheTargetIsFull)
{
    const Mount disk(folders.target, "size=1m");
    SKIP_UNLESS_MOUNTED(disk);
    writeFile(in(folders.target, "in the way"), std::string(900000, 'x'));
    dropFile("a", std::string(500000, 'a'));
    rounds();
    EXPECT_EQ(watch.troubles.size(), 1u);
    EXPECT_NE(watch.troubles.at(0).find("No space left"), std::string::npos) << watch.troubles.at(0);
    EXPECT_EQ(filesBelow(folders.target), Names{"in the way"}) << "what was copied is given back";
    EXPECT_EQ(filesBelow(folders.failed()), Names());
    SFileSys::remove(in(folders.target, "in the way"));
    rounds();
    EXPECT_EQ(readFile(in(folders.target, "a")), std::string(500000, 'a'));
    EXPECT_EQ(watch.recoveries, 1);
}

TEST_F(OutboxPosix, WaitsWhileTheTargetIsReadOnly)
{
    const Mount disk(folders.target, "size=1m");
    SKIP_UNLESS_MOUNTED(disk);
    for (const bool isFresh : {true, false}) {
        ASSERT_TRUE(disk.setReadOnly(true));
        dropFile("a", "a");
        rounds(10);
        EXPECT_FALSE(SFileSys::exists(in(folders.target, "a")));
        ASSERT_TRUE(disk.setReadOnly(false));
        rounds();
        EXPECT_TRUE(SFileSys::exists(in(folders.target, "a")));
        SFileSys::remove(in(folders.target, "a"));
        EXPECT_EQ(watch.troubles.size(), isFresh ? 1u : 2u);
        EXPECT_EQ(namesIn(in(in(folders.drop, ".outbox"), "delivering")).size(), 1u);
    }
    EXPECT_NE(watch.troubles.at(0).find("Read-only file system"), std::string::npos) << watch.troubles.at(0);
}

// The lock that the process holds is in the folder that was moved away.
TEST_F(OutboxPosix, FollowsTheNameOfTheDropFolder)
{
    dropFile("before", "");
    rounds();
    const SAnsiString away = in(folders.root, "away");
    std::filesystem::rename(folders.drop.getString(), away.getString());
    rounds();
    EXPECT_EQ(watch.troubles.size(), 1u);
    makeFolder(folders.drop);
    dropFile("in a new one", "");
    rounds();
    Watch other;
    EXPECT_THROW(Agent(folders.drop, folders.target, 10, other).open(), Trouble);
    EXPECT_NO_THROW(Agent(away, folders.target, 10, other).open());
    std::filesystem::remove_all(folders.drop.getString());
    std::filesystem::rename(away.getString(), folders.drop.getString());
    dropFile("in the old one", "");
    rounds();
    EXPECT_EQ(shown(folders.target), (Names{"before", "in a new one", "in the old one"}));
}

TEST_F(OutboxPosix, DeliversASparseFileOf5GBAsSparse)
{
    // Holes are read ten times faster there; it is good elsewhere too.
    const Mount disk(folders.drop, "size=1m");
    constexpr off_t size = 5LL * 1000 * 1000 * 1000 + 7;
    dropFile("disk", "begin");
    ASSERT_EQ(truncate(in(folders.drop, "disk").getString(), size), 0);
    rounds();
    ASSERT_EQ(SFileSys::sizeEx(in(folders.target, "disk")), size);
    SFile file(in(folders.target, "disk"), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    char begin[6] = {};
    ASSERT_EQ(file.read(begin, 5), 5);
    EXPECT_STREQ(begin, "begin");
    struct stat status;
    ASSERT_EQ(stat(in(folders.target, "disk").getString(), &status), 0);
    EXPECT_LT(status.st_blocks, 100000);
}

class OutboxProcess : public testing::Test
{
protected:
    std::vector<std::string> arguments(const char* mode) const
    {
        return {mode,        "-from", folders.drop.getString(), "-to", folders.target.getString(),
                "-interval", "20"};
    }
    std::string output() const { return readFile(streams.output.c_str()); }
    std::string errors() const { return readFile(streams.errors.c_str()); }

    Folders folders;
    ServerProcess::Streams streams{"/dev/null", in(folders.root, "output").getString(),
                                   in(folders.root, "errors").getString()};
};

TEST_F(OutboxProcess, TellsDeliveriesAndEndsWithinASecond)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        writeFile(in(folders.drop, "a name"), "123");
        ServerProcess server(arguments("-fg"), streams);
        ASSERT_TRUE(becomesTrue(
            [&] { return !SFileSys::exists(in(folders.drop, "a name")) && !output().empty(); }, patience));
        const auto before = std::chrono::steady_clock::now();
        server.kill(signal);
        EXPECT_EQ(server.wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
    }
    EXPECT_EQ(output().substr(0, 27), "delivered a name (3 bytes)\n");
    EXPECT_EQ(errors(), "");
}

TEST_F(OutboxProcess, EndsWithinASecondInTheMiddleOfALargeCopy)
{
    writeFile(in(folders.drop, "large"), "begin");
    // Sparse, so that it is dropped at once; too large to be read within a second.
    ASSERT_EQ(truncate(in(folders.drop, "large").getString(), 1LL << 40), 0);
    ServerProcess server(arguments("-fg"), streams);
    const SAnsiString staging = in(folders.target, ".outbox");
    ASSERT_TRUE(becomesTrue([&] { return !filesBelow(staging).empty(); }, patience));
    const auto before = std::chrono::steady_clock::now();
    server.kill(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
    EXPECT_EQ(filesBelow(folders.target), Names());
    EXPECT_TRUE(SFileSys::exists(in(in(in(folders.drop, ".outbox"), "claimed"), "large")));
    EXPECT_EQ(output() + errors(), "");
}

TEST_F(OutboxProcess, RefusesToServeWhatAnotherProcessServes)
{
    writeFile(in(folders.drop, "a"), "a");
    ServerProcess first(arguments("-fg"), streams);
    ASSERT_TRUE(becomesTrue([&] { return shown(folders.sent()) == Names{"a"}; }, patience));
    ServerProcess second(arguments("-fg"), streams);
    EXPECT_GT(second.wait(), 0);
    EXPECT_NE(errors().find("Another process serves the drop folder"), std::string::npos) << errors();
    first.kill(SIGTERM);
    EXPECT_EQ(first.wait(), 0);
}

TEST_F(OutboxProcess, SaysWhatIsWrongWithItsOptions)
{
    const std::string drop = folders.drop.getString();
    const std::string target = folders.target.getString();
    const struct
    {
        std::vector<std::string> arguments;
        const char* reason;
    } rows[] = {
        {{"-fg"}, "-from needs a folder"},
        {{"-fg", "-from", drop}, "-to needs a folder"},
        {{"-fg", "-from", drop, "-to", target, "-interval", "9"}, "-interval takes"},
        {{"-fg", "-from", drop, "-to", target, "-interval", "20ms"}, "-interval takes"},
        {{"-fg", "-from", drop, "-to", target + "/none"}, "is not there"},
        {{"-fg", "-from", drop, "-to", drop}, "is the drop folder"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        std::filesystem::remove(streams.errors);
        ServerProcess server(row.arguments, streams);
        EXPECT_GT(server.wait(), 0);
        EXPECT_NE(errors().find(row.reason), std::string::npos) << errors();
    }
}

TEST_F(OutboxProcess, TellsItsCountsOnTheConsole)
{
    const SAnsiString commands = in(folders.root, "commands");
    ASSERT_EQ(mkfifo(commands.getString(), 0600), 0);
    streams.input = commands.getString();
    writeFile(in(folders.drop, "a"), "123");
    ServerProcess server(arguments("-serverconsole"), streams);
    SFile console(commands, SFile::writeOnly, SFile::defaultPermissions, SFile::denyNothing);
    ASSERT_TRUE(
        becomesTrue([&] { return output().find("delivered a (3 bytes)\n") != std::string::npos; }, patience));
    ASSERT_EQ(console.write("status\nquit\n", 12), 12);
    EXPECT_EQ(server.wait(), 0);
    EXPECT_NE(output().find("delivered 1 (3 bytes), failed 0"), std::string::npos) << output();
    EXPECT_EQ(errors(), "");
}

} // namespace
} // namespace Outbox
