#include "filesystem.h"
#include "morvex/sfilesys.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

void putSparse(const SAnsiString& path, __int64 size)
{
    SFile file(path, SFile::writeOnly | SFile::create, usual, SFile::denyNothing);
    file.seekEx(SFile::seekBegin, size - 1);
    ASSERT_EQ(file.write("!", 1), 1);
}

/// Files by their paths with their content, and folders with a word that no file has.
using Picture = std::map<std::string, std::string>;

Picture pictureOf(const std::string& folder)
{
    Picture picture;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        picture[fs::relative(entry.path(), folder).generic_string()] =
            entry.is_directory() ? "a folder" : contentOf(entry.path().string());
    }
    return picture;
}

/// Fills a folder at random and returns what is in it.
void fill(const std::string& folder, std::mt19937& random, int entries)
{
    std::vector<fs::path> folders{folder};
    for (int i = 0; i < entries; ++i) {
        const fs::path path = folders[random() % folders.size()] / ("entry " + std::to_string(i));
        if (random() % 3 == 0) {
            fs::create_directory(path);
            folders.push_back(path);
        } else {
            putFile(path.string(), std::string(random() % 9, 'x'));
        }
    }
}

} // namespace

TEST(SFileSysTree, RemovesWhateverStandsAtThePath)
{
    const Scratch scratch;
    fs::create_directories(scratch / "tree/a/b/c");
    fs::create_directories(scratch / "tree/empty");
    putFile(scratch / "tree/a/b/file", "text");
    putFile(scratch / "tree/.hidden", "text");
    fs::create_directories(scratch / "slash/inner");
    putFile(scratch / "file", "text");
    putFile(scratch / "kept", "text");
    for (const char* name : {"tree", "slash/", "file", "absent", "absent/x", "kept/x"}) {
        SCOPED_TRACE(name);
        EXPECT_NO_THROW(SFileSys::rremove(scratch.path(name)));
    }
    EXPECT_EQ(pictureOf(scratch / ""), (Picture{{"kept", "text"}}));
}

TEST(SFileSysTree, ContentIsRemovedAndTheFolderStays)
{
    const Scratch scratch;
    fs::create_directories(scratch / "tree/a/b");
    putFile(scratch / "tree/a/file", "text");
    putFile(scratch / "file", "text");
    SFileSys::rremoveContent(scratch.path("tree/"));
    EXPECT_EQ(pictureOf(scratch / ""), (Picture{{"tree", "a folder"}, {"file", "text"}}));
    EXPECT_NO_THROW(SFileSys::rremoveContent(scratch.path("tree")));
    EXPECT_NO_THROW(SFileSys::rremoveContent(scratch.path("absent")));

    const SFileSysException failure = thrownBy([&] { SFileSys::rremoveContent(scratch.path("file")); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveTreeFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_EQ(failure.reason().view(), "Not a directory");
    EXPECT_EQ(operationOf(failure), "rremoveContent");
    EXPECT_EQ(contentOf(scratch / "file"), "text");
}

TEST(SFileSysTree, SizesCountsAndCopiesAgreeWithTheStandardLibrary)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const int entries : {0, 1, 20, 300}) {
        const Scratch scratch;
        fill(scratch / "", random, entries);
        const Picture picture = pictureOf(scratch / "");
        unsigned long files = 0;
        std::uint64_t bytes = 0;
        for (const auto& [path, content] : picture) {
            const bool folder = content == "a folder";
            files += folder ? 0 : 1;
            bytes += folder ? 0 : content.size();
        }
        EXPECT_EQ(SFileSys::countFiles(scratch.root()), files);
        EXPECT_EQ(SFileSys::countAll(scratch.root()), picture.size());
        EXPECT_EQ(SFileSys::rsize(scratch.root()), bytes);
        EXPECT_EQ(SFileSys::rsizeEx(scratch.root()), static_cast<__int64>(bytes));

        const Scratch other;
        SFileSys::copyFile(scratch.root(), other.path("a/b"), false);
        EXPECT_EQ(pictureOf(other / "a/b"), picture);
        SFileSys::rremoveContent(scratch.root());
        EXPECT_TRUE(fs::is_empty(scratch / ""));
    }
}

TEST(SFileSysTree, AFileIsATreeOfOne)
{
    const Scratch scratch;
    putFile(scratch / "file", "12345");
    putSparse(scratch.path("big"), 5LL << 30);
    EXPECT_EQ(SFileSys::countFiles(scratch.path("file")), 1U);
    EXPECT_EQ(SFileSys::countAll(scratch.path("file")), 1U);
    EXPECT_EQ(SFileSys::rsize(scratch.path("file")), 5U);
    EXPECT_EQ(SFileSys::rsize(scratch.path("big")), 1U << 30) << "as size";
    EXPECT_EQ(SFileSys::rsizeEx(scratch.path("big")), 5LL << 30);
}

TEST(SFileSysTree, MoreThanFourGigabytesAreToldOnlyInSixtyFourBits)
{
    const Scratch scratch;
    fs::create_directories(scratch / "tree/sub");
    putSparse(scratch.path("tree/big"), 3LL << 30);
    putSparse(scratch.path("tree/sub/big"), (1LL << 30) - 1);
    EXPECT_EQ(SFileSys::rsize(scratch.path("tree")), 0xFFFFFFFFU);
    putFile(scratch / "tree/sub/byte", "x");
    EXPECT_EQ(SFileSys::rsizeEx(scratch.path("tree")), 4LL << 30);

    const SFileSysException failure = thrownBy([&] { SFileSys::rsize(scratch.path("tree")); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::GetSizeFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::SizeLimit);
    EXPECT_EQ(failure.reason().view(), "File too large");
    EXPECT_EQ(operationOf(failure), "rsize");
    EXPECT_EQ(failure.toString().view(),
              "Failed to determine the size of the file " + (scratch / "tree") +
                  " in file system operation. Reason: File too large.  Size of file exceeds 4 GBytes.");
}
