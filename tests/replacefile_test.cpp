#include "filesystem.h"
#include "morvex/sfilesys.h"
#include "morvex/simplebuffer.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

TEST(ReplaceFile, PutsAnyContentInPlaceOfAny)
{
    const Scratch scratch;
    const std::string contents[] = {
        "first",      std::string(3'000'000, 'l'), "", std::string("zeros\0in it\0", 12), std::string(1, 0),
        "\r\nlast\n",
    };
    for (const std::string& content : contents) {
        SFileSys::replaceFile(scratch.path("file"), content);
        EXPECT_EQ(contentOf(scratch / "file"), content);
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
    }
    SSimpleBuffer bytes;
    bytes << 'b' << 0 << 0xFF;
    SFileSys::replaceFile(scratch.path("file"), bytes.view());
    EXPECT_EQ(contentOf(scratch / "file"), std::string("b\0\xFF", 3));
    SFileSys::replaceFile(scratch.path("file"), SAnsiString("text").view());
    EXPECT_EQ(contentOf(scratch / "file"), "text");
}

TEST(ReplaceFile, TakesPathsOfTheCurrentFolder)
{
    const Scratch scratch;
    const fs::path before = fs::current_path();
    fs::current_path(scratch / "");
    SFileSys::replaceFile("file", "text");
    SFileSys::replaceFile("./file", "more");
    fs::current_path(before);
    EXPECT_EQ(contentOf(scratch / "file"), "more");
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
}

TEST(ReplaceFile, FailsWithoutATraceOfItself)
{
    const Scratch scratch;
    putFile(scratch / "file", "old");
    putFile(scratch / "protected", "old");
    SFileSys::giveAccess(scratch.path("protected"), SFile::ownerRMask);
    fs::create_directory(scratch / "folder");
    struct Row
    {
        std::string path;
        SFileSysException::ErrorReasons reason;
    };
    const Row rows[] = {
        {"folder", SFileSysException::AccessDenied},
        {"absent/file", SFileSysException::NotFound},
        {"file/x", SFileSysException::NotFound},
        {std::string(300, 'n'), SFileSysException::NotFound},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const SFileSysException failure =
            thrownBy([&] { SFileSys::replaceFile(scratch.path(row.path), "new"); });
        EXPECT_EQ(failure.ErrCode(), SFileSysException::ReplaceFailed);
        EXPECT_EQ(failure.ErrReason(), row.reason);
        EXPECT_TRUE(failure.toString().view().starts_with("Failed to replace the file "))
            << failure.toString().view();
        EXPECT_TRUE(failure.summary().view().ends_with(":replaceFile"));
    }
    EXPECT_THROW(SFileSys::replaceFile("", "new"), SFileSysException);
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file", "protected", "folder"}));
    EXPECT_EQ(contentOf(scratch / "file"), "old");
}

// Where the system lets only one at a time move a file to the name, the others are told so.
TEST(ReplaceFile, SeveralAtOnceLeaveOneContentWhole)
{
    constexpr std::size_t length = 100'000;
    const Scratch scratch;
    putFile(scratch / "file", std::string(length, '0'));
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'a' + 6; ++letter) {
        threads.emplace_back([&, letter] {
            for (int i = 0; i < 20; ++i) {
                try {
                    SFileSys::replaceFile(scratch.path("file"), std::string(length, letter));
                } catch (const SFileSysException& failure) {
                    EXPECT_EQ(failure.ErrReason(), SFileSysException::AccessDenied)
                        << failure.summary().view();
                }
                // Windows: may be refused while the system moves another there.
                if (std::ifstream file(scratch / "file", std::ios::binary); file) {
                    const std::string content(std::istreambuf_iterator<char>(file), {});
                    EXPECT_EQ(content, std::string(length, content.empty() ? '0' : content[0]));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string content = contentOf(scratch / "file");
    EXPECT_EQ(content, std::string(length, content[0]));
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"file"}));
}
