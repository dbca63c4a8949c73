#include "platform/pidfile.h"
#include "platform/stoprequests.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using namespace MorvexA106::Platform;
namespace fs = std::filesystem;

namespace
{

class PidFiles : public testing::Test
{
protected:
    PidFiles() { fs::create_directory(m_folder); }
    ~PidFiles() override { fs::remove_all(m_folder); }

    std::string at(const char* name) const { return (m_folder / name).string(); }

    static std::string contentOf(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    static void write(const std::string& path, const std::string& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }

    std::size_t filesLeft() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(m_folder), fs::directory_iterator()));
    }

private:
    fs::path m_folder = fs::temp_directory_path() / ("pidfile" + std::to_string(std::random_device()()));
};

// Lets nobody through before all have come.
void meet(std::atomic<int>& present, int all)
{
    ++present;
    while (present < all) {
        std::this_thread::yield();
    }
}

bool isOneNumberWithLineEnd(const std::string& text)
{
    return text.size() > 1 && text.find_first_not_of("0123456789") == text.size() - 1 && text.back() == '\n';
}

} // namespace

TEST_F(PidFiles, HoldsTheProcessIdWhileItLivesAndLeavesNothing)
{
    const std::string path = at("a.pid");
    {
        const PidFile file(path);
        EXPECT_TRUE(isOneNumberWithLineEnd(contentOf(path))) << contentOf(path);
        EXPECT_EQ(filesLeft(), 1U);
    }
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(PidFiles, SecondHolderIsRefusedAndToldTheFirst)
{
    const std::string path = at("a.pid");
    const PidFile file(path);
    const std::string content = contentOf(path);
    try {
        const PidFile second(path);
        ADD_FAILURE() << "two hold it";
    } catch (const PidFileInUse& holder) {
        EXPECT_EQ(std::string(holder.what()) + "\n", content);
    }
    EXPECT_EQ(contentOf(path), content);
    EXPECT_EQ(filesLeft(), 1U);
}

TEST_F(PidFiles, WhatADeadProcessLeftIsNoObstacle)
{
    for (const char* left : {"", "1\n", "99999999\n", "not a number", "123456789012345678901234567890"}) {
        const std::string path = at("a.pid");
        write(path, left);
        write(path + ".new", "half a numb");
        {
            const PidFile file(path);
            EXPECT_TRUE(isOneNumberWithLineEnd(contentOf(path))) << left;
        }
        EXPECT_EQ(filesLeft(), 0U) << left;
    }
}

TEST_F(PidFiles, RelativePathIsThatOfTheFolderOfTheBeginning)
{
    const fs::path before = fs::current_path();
    const std::string folder = at("x");
    fs::create_directory(folder);
    fs::current_path(folder);
    auto file = std::make_unique<PidFile>("a.pid");
    fs::current_path(before);
    EXPECT_TRUE(fs::exists(fs::path(folder) / "a.pid"));
    file.reset();
    EXPECT_FALSE(fs::exists(fs::path(folder) / "a.pid"));
}

TEST_F(PidFiles, PathThatCannotBeIsReportedWithTheSystemsNumber)
{
    fs::create_directory(at("folder"));
    for (const std::string& path : {at("none/a.pid"), at("folder")}) {
        try {
            const PidFile file(path);
            ADD_FAILURE() << path;
        } catch (const std::system_error& problem) {
            EXPECT_NE(problem.code().value(), 0) << path;
        }
    }
    EXPECT_EQ(filesLeft(), 1U);
}

TEST_F(PidFiles, OneOfManyThatComeAtOnceHoldsIt)
{
    const std::string path = at("a.pid");
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> holders{0};
        std::atomic<int> ready{0};
        std::atomic<int> decided{0};
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                meet(ready, 4);
                std::unique_ptr<PidFile> file;
                try {
                    file = std::make_unique<PidFile>(path);
                    ++holders;
                } catch (const PidFileInUse&) {}
                meet(decided, 4);
            });
        }
        threads.clear();
        ASSERT_EQ(holders, 1) << round;
        ASSERT_EQ(filesLeft(), 0U) << round;
    }
}

TEST(StopRequests, OnlyALateCtrlCIsImpatient)
{
    using std::chrono::milliseconds;
    struct Request
    {
        bool byCtrlC;
        int milliseconds;
        bool impatient;
    };
    struct Row
    {
        const char* name;
        std::vector<Request> requests;
    };
    const std::array<Row, 4> rows = {{
        {"the first never is", {{true, 5000, false}}},
        {"the same Ctrl-C twice", {{true, 0, false}, {true, 100, false}, {true, 2000, false}}},
        {"a late one", {{true, 0, false}, {true, 1000, false}, {true, 2001, true}}},
        {"others wait as long as it takes", {{false, 0, false}, {false, 9000, false}, {true, 9001, true}}},
    }};
    for (const Row& row : rows) {
        StopRequests requests;
        const StopRequests::Clock::time_point start;
        for (const Request& request : row.requests) {
            EXPECT_EQ(requests.isImpatient(request.byCtrlC, start + milliseconds(request.milliseconds)),
                      request.impatient)
                << row.name << " at " << request.milliseconds;
        }
    }
}
