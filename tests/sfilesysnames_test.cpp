#include "filesystem.h"
#include "latch.h"
#include "morvex/csiprocess.h"
#include "morvex/sfilesys.h"
#include "morvex/sstringhelper.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

std::string hexadecimal(unsigned long number)
{
    char digits[16];
    return {digits, std::to_chars(digits, digits + sizeof digits, number, 16).ptr};
}

/// Runs the task on eight threads at once.
void onEightThreads(const std::function<void(std::size_t)>& task)
{
    Latch start(8);
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            task(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

TEST(SFileSysUniqueNames, TellProcessTimeAndCountInSmallHexadecimalDigits)
{
    const Scratch scratch;
    const SAnsiString path = SFileSys::getUniqueFilename(scratch.root(), "PreFix", "TMP", false, usual);
    EXPECT_FALSE(SFileSys::exists(path));
    SAnsiString folder;
    SAnsiString name;
    SAnsiString extension;
    SStringHelper::SplitPathEx(path, folder, name, extension);
    EXPECT_EQ(folder.view(), std::string(scratch.root().view()) + SStringHelper::getDirSeparator());
    EXPECT_EQ(extension.view(), ".TMP");
    const std::string start = "prefix" + hexadecimal(CSIProcess::GetCurrentProcessID());
    const std::string rest(name.view().substr(start.size()));
    EXPECT_EQ(name.view().substr(0, start.size()), start);
    EXPECT_GT(rest.size(), 10u); // milliseconds since 1997, and a count
    EXPECT_EQ(rest.find_first_not_of("0123456789abcdef"), std::string::npos) << rest;
}

TEST(SFileSysUniqueNames, CreateWhatTheyNameAndTheFoldersThatLeadThere)
{
    const Scratch scratch;
    const SAnsiString file = SFileSys::getUniqueFilename(scratch.path("a/b"), "f", "", true, usual);
    EXPECT_TRUE(SFileSys::isFile(file));
    EXPECT_EQ(SFileSys::sizeEx(file), 0);
    const SAnsiString folder = SFileSys::getUniqueDirname(scratch.path("c/d/"), "sub/f", true, usual);
    EXPECT_TRUE(SFileSys::isDir(folder));
    EXPECT_NE(folder.view().back(), SStringHelper::getDirSeparator());
    EXPECT_EQ(namesIn(scratch / "c/d").size(), 1u);

    EXPECT_FALSE(SFileSys::exists(SFileSys::getUniqueDirname(scratch.root(), "n", false, usual)));
    EXPECT_FALSE(SFileSys::exists(SFileSys::getUniqueFilename(scratch.path("none"), "n", "", false, usual)));
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"a", "c"}));
}

TEST(SFileSysUniqueNames, FailWhereNothingCanBeMade)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    const std::string longName(300, 'n');
    struct Row
    {
        const char* name;
        std::function<void()> act;
        SFileSysException::ErrorCodes code;
        const char* trace;
    };
    const Row rows[] = {
        {"folder is a file",
         [&] { SFileSys::getUniqueFilename(scratch.path("file"), "f", "", false, usual); },
         SFileSysException::UniqueNameFailed, nullptr},
        {"folder is a file, told as a folder",
         [&] { SFileSys::getUniqueFilename(scratch.path("file/"), "f", "", true, usual); },
         SFileSysException::UniqueNameFailed, nullptr},
        {"way is a file", [&] { SFileSys::getUniqueFilename(scratch.path("file/x"), "f", "", true, usual); },
         SFileSysException::MakeDirectoryFailed, "fail to create directories. Fail to create directory"},
        {"name is too long",
         [&] { SFileSys::getUniqueFilename(scratch.root(), longName.c_str(), "", true, usual); },
         SFileSysException::UniqueNameFailed, "Fail to create uniquely-named file. Failed to open the file"},
        {"name of folder is too long",
         [&] { SFileSys::getUniqueDirname(scratch.root(), longName.c_str(), true, usual); },
         SFileSysException::MakeDirectoryFailed, "fail to create directories. Fail to create directory"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Recorder recorder;
        EXPECT_EQ(thrownBy(row.act).ErrCode(), row.code);
        if (row.trace != nullptr) {
            EXPECT_EQ(recorder.count("SFileSys::getUniqueFilenameHelper: " + std::string(row.trace)), 1);
        }
    }
    const SFileSysException failure = thrownBy(rows[0].act);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_NE(failure.summary().view().find(":getUniqueFilenameHelper"), std::string::npos);
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
}

TEST(SFileSysUniqueNames, DifferOnAllThreads)
{
    const Scratch scratch;
    std::vector<std::vector<std::string>> names(8);
    onEightThreads([&](std::size_t number) {
        for (int i = 0; i < 500; ++i) {
            const bool create = i % 5 == 0;
            names[number].emplace_back(
                SFileSys::getUniqueFilename(scratch.root(), "f", "", create, usual).view());
        }
    });
    std::set<std::string> all;
    for (const auto& some : names) {
        all.insert(some.begin(), some.end());
    }
    EXPECT_EQ(all.size(), 8u * 500);
    EXPECT_EQ(namesIn(scratch / "").size(), 8u * 100);
}

TEST(SFileSysTempFiles, StandInTheFolderForThem)
{
    const SAnsiString folder = SFileSys::getTempDirname();
    EXPECT_EQ(folder.view().back(), SStringHelper::getDirSeparator());
    const SAnsiString one = SFileSys::getTempFilename("morvex");
    const SAnsiString other = SFileSys::getTempFilename("morvex");
    EXPECT_NE(one.view(), other.view());
    for (const SAnsiString& path : {one, other}) {
        EXPECT_TRUE(path.view().starts_with(std::string(folder.view()) + "morvex")) << path.view();
        EXPECT_EQ(contentOf(path.getString()), "");
        EXPECT_TRUE(SFileSys::isFile(path));
        SFileSys::remove(path);
    }
}

TEST(SFileSysRemoveContent, RemovesFilesThatMatchAndCountsTheirBytes)
{
    struct Row
    {
        const char* pattern;
        unsigned long bytes;
        std::set<std::string> left;
    };
    const Row rows[] = {
        {"*.log", 1 + 20, {"sub", "sub.log", "c.txt"}},
        {"*", 1 + 20 + 300, {"sub", "sub.log"}},
        {"*.*", 1 + 20 + 300, {"sub", "sub.log"}},
        {"none", 0, {"sub", "sub.log", "a.log", "b.log", "c.txt"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pattern);
        const Scratch scratch;
        for (const char* folder : {"sub", "sub.log"}) {
            fs::create_directory(scratch / folder);
            putFile(scratch / (std::string(folder) + "/x.log"), "kept");
        }
        putFile(scratch / "a.log", "1");
        putFile(scratch / "b.log", std::string(20, 'b'));
        putFile(scratch / "c.txt", std::string(300, 'c'));
        unsigned long bytes = 4711;
        SFileSys::removeContent(scratch.root(), row.pattern, bytes);
        EXPECT_EQ(bytes, row.bytes);
        EXPECT_EQ(namesIn(scratch / ""), row.left);
        EXPECT_EQ(contentOf(scratch / "sub/x.log"), "kept");
        EXPECT_EQ(contentOf(scratch / "sub.log/x.log"), "kept");
    }
}

TEST(SFileSysRemoveContent, TellsMoreThanFourGigabytesInItsWideForm)
{
    const Scratch scratch;
    constexpr std::uintmax_t size = std::uintmax_t{5} << 30;
    for (const bool wide : {true, false}) {
        putFile(scratch / "large", "");
        std::error_code refused;
        fs::resize_file(scratch / "large", size, refused);
        if (refused) {
            GTEST_SKIP() << "no file of 5 GiB here: " << refused.message();
        }
        __int64 bytes = 0;
        unsigned long low = 0;
        if (wide) {
            SFileSys::removeContentEx(scratch.root(), "*", bytes);
            EXPECT_EQ(bytes, static_cast<__int64>(size));
        } else {
            SFileSys::removeContent(scratch.root(), "*", low);
            EXPECT_EQ(low, 1ul << 30);
        }
        EXPECT_TRUE(namesIn(scratch / "").empty());
    }
}

TEST(SFileSysRemoveContent, NothingWhereThereIsNoFolderAndAFailureOnAFile)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    __int64 bytes = 4711;
    SFileSys::removeContentEx(scratch.path("absent"), "*", bytes);
    EXPECT_EQ(bytes, 0);
    const SFileSysException failure =
        thrownBy([&] { SFileSys::removeContentEx(scratch.path("file"), "*", bytes); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveTreeFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_TRUE(failure.summary().view().ends_with(":removeContentEx"));
    EXPECT_EQ(contentOf(scratch / "file"), "text");
}
