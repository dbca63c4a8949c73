#include "outbox_folders.h"
#include "outbox_process_posix.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace Outbox
{
namespace
{

using Random = std::mt19937_64;

constexpr int kills = 500;
constexpr std::size_t longestBacklog = 20;

/// The content of the file with that number: the number, and bytes that follow from it.
std::string contentOf(std::uint64_t number)
{
    Random random(number);
    const bool isBig = random() % 40 == 0;
    std::string content(sizeof number + random() % (isBig ? 4000000 : 60000), '\0');
    std::memcpy(content.data(), &number, sizeof number);
    for (std::size_t at = sizeof number; at + sizeof number <= content.size(); at += sizeof number) {
        const std::uint64_t word = random();
        std::memcpy(content.data() + at, &word, sizeof word);
    }
    return content;
}

/// A name that meets others in the target and in `sent`, or one that doesn't.
SAnsiString nameOf(std::uint64_t number, bool isCommon)
{
    static const char* const common[] = {"order.xml", "a name with blanks", "Gr\u00FC\u00DFe.txt"};
    return isCommon ? common[number / 3 % 3] : ("n" + std::to_string(number)).c_str();
}

/// Keeps dropping files under a hidden name and renames them in, never onto one that waits.
class Writer
{
public:
    explicit Writer(const SAnsiString& drop) : m_drop(drop), m_thread([this] { work(); }) {}
    ~Writer() { stop(); }

    /// Returns how many files there are.
    std::uint64_t stop()
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return m_count;
    }

private:
    void work()
    {
        const SAnsiString unfinished = in(m_drop, ".unfinished");
        while (!m_stop) {
            SAnsiString path = in(m_drop, nameOf(m_count, m_count % 3 == 0));
            if (SFileSys::exists(path)) {
                path = in(m_drop, nameOf(m_count, false));
            }
            if (shown(m_drop).size() > longestBacklog) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            writeFile(unfinished, contentOf(m_count));
            std::filesystem::rename(unfinished.getString(), path.getString());
            ++m_count;
        }
    }

    const SAnsiString m_drop;
    std::uint64_t m_count = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

/// Keeps fetching some of what is in the target.
class Reader
{
public:
    Reader(const Folders& folders, std::uint64_t seed)
        : m_folders(folders),
          m_random(seed),
          m_thread([this] { work(); })
    {}
    ~Reader()
    {
        m_stop = true;
        m_thread.join();
    }

private:
    void work()
    {
        for (int count = 0; !m_stop; std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
            for (const std::string& name : shown(m_folders.target)) {
                if (m_random() % 500 == 0) {
                    const std::string fetched =
                        in(m_folders.basket, std::to_string(++count).c_str()).getString();
                    std::filesystem::rename(in(m_folders.target, name.c_str()).getString(), fetched);
                }
            }
        }
    }

    const Folders& m_folders;
    Random m_random;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

/// How often each number's content is among the files, whole; -1 stands for content that nobody dropped.
using Census = std::map<std::int64_t, int>;

void take(Census& census, const SAnsiString& folder, std::uint64_t numbers)
{
    for (const std::string& name : shown(folder)) {
        const std::string content = readFile(in(folder, name.c_str()));
        std::uint64_t number = numbers;
        if (content.size() >= sizeof number) {
            std::memcpy(&number, content.data(), sizeof number);
        }
        const bool isWhole = number < numbers && content == contentOf(number);
        ++census[isWhole ? static_cast<std::int64_t>(number) : -1];
    }
}

Census eachOnce(std::uint64_t numbers)
{
    Census census;
    for (std::uint64_t number = 0; number < numbers; ++number) {
        census[static_cast<std::int64_t>(number)] = 1;
    }
    return census;
}

/// Where the dead process left its file.
std::string placeOfDeath(const Folders& folders)
{
    bool isClaimed = false;
    bool isDelivering = false;
    for (const std::string& file : filesBelow(in(folders.drop, ".outbox"))) {
        isClaimed = isClaimed || file.starts_with("claimed/");
        isDelivering = isDelivering || file.starts_with("delivering/");
    }
    bool isReady = false;
    bool isPart = false;
    for (const std::string& file : filesBelow(in(folders.target, ".outbox"))) {
        isReady = isReady || file.ends_with("/ready");
        isPart = isPart || file.find("/part/") != std::string::npos;
    }
    if (isDelivering) {
        return isReady ? "delivering" : "placed";
    }
    if (isClaimed) {
        return isReady ? "ready" : isPart ? "copying" : "claimed";
    }
    return "between files";
}

bool isAllSent(const Folders& folders, std::uint64_t files)
{
    return shown(folders.sent()).size() == files;
}

TEST(OutboxKill, EveryFileArrivesOnceWhateverMomentTheProcessDiesAt)
{
    const char* wanted = std::getenv("OUTBOX_KILL_SEED");
    const std::uint64_t seed =
        wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : std::random_device()();
    std::cout << "seed " << seed << " (OUTBOX_KILL_SEED)" << std::endl;
    Random random(seed);
    const Folders folders;
    const std::string output = in(folders.root, "output").getString();
    const std::vector<std::string> arguments{
        "-fg", "-from", folders.drop.getString(), "-to", folders.target.getString(), "-interval", "10"};
    const ServerProcess::Streams streams{"/dev/null", output, output};
    std::map<std::string, int> places;

    Writer writer(folders.drop);
    auto reader = std::make_unique<Reader>(folders, seed + 1);
    for (int i = 0; i < kills; ++i) {
        ServerProcess server(arguments, streams);
        // Some processes die before they have begun, the others when one more file is through, give or take.
        const std::size_t sent = shown(folders.sent()).size();
        if (random() % 8 != 0) {
            ASSERT_TRUE(
                becomesTrue([&] { return shown(folders.sent()).size() > sent; }, std::chrono::seconds(30)))
                << readFile(output.c_str());
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
        server.kill(SIGKILL);
        ASSERT_EQ(server.wait(), -SIGKILL) << readFile(output.c_str());
        ++places[placeOfDeath(folders)];
    }
    ServerProcess last(arguments, streams);
    const std::uint64_t files = writer.stop() + 1;
    // One more, so that all is delivered only when this process does it.
    writeFile(in(folders.drop, ".unfinished"), contentOf(files - 1));
    std::filesystem::rename(in(folders.drop, ".unfinished").getString(),
                            in(folders.drop, "last").getString());
    EXPECT_TRUE(becomesTrue([&] { return isAllSent(folders, files); }, std::chrono::seconds(60)));
    last.kill(SIGTERM);
    EXPECT_EQ(last.wait(), 0);
    reader.reset();

    Census delivered;
    take(delivered, folders.target, files);
    take(delivered, folders.basket, files);
    EXPECT_EQ(delivered, eachOnce(files));
    Census sent;
    take(sent, folders.sent(), files);
    EXPECT_EQ(sent, eachOnce(files));
    EXPECT_EQ(filesBelow(folders.failed()), std::vector<std::string>());
    EXPECT_EQ(filesBelow(in(folders.drop, ".outbox")), (std::vector<std::string>{"lock", "owner"}));
    EXPECT_EQ(filesBelow(in(folders.target, ".outbox")), std::vector<std::string>{"lock"});
    EXPECT_EQ(readFile(output.c_str()).find("outbox: "), std::string::npos) << readFile(output.c_str());

    std::size_t renamed = 0;
    const std::string told = readFile(output.c_str());
    for (std::size_t at = told.find(" as "); at != std::string::npos; at = told.find(" as ", at + 1)) {
        ++renamed;
    }
    std::cout << kills << " kills, " << files << " files, " << renamed
              << " placed beside one of the same name; found after a kill:";
    for (const auto& [place, count] : places) {
        std::cout << " " << place << " " << count;
    }
    std::cout << std::endl;
}

} // namespace
} // namespace Outbox
