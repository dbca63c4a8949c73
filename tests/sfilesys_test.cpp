#include "latch.h"
#include "morvex/sfilesys.h"

#include "filesystem.h"
#include "morvex/ssfilesearch.h"
#include "morvex/sstringhelper.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

std::set<std::string> found(const SAnsiString& folder, const char* pattern)
{
    std::set<std::string> names;
    SSFileSearch search(folder, pattern);
    SAnsiString name;
    for (bool more = search.FindFirst(name); more; more = search.FindNext(name)) {
        if (!names.insert(std::string(name.view())).second) {
            ADD_FAILURE() << name.view() << " was found twice";
        }
    }
    EXPECT_FALSE(search.failed()) << search.getErrorText().view();
    return names;
}

/// The current folder as it was, whatever happens.
class FolderKept
{
public:
    ~FolderKept() { fs::current_path(m_before); }

private:
    fs::path m_before = fs::current_path();
};

bool onWindows()
{
    return SStringHelper::getDirSeparator() == '\\';
}

} // namespace

TEST(SFileSysException, HasAMessageForEachCode)
{
    const std::string removal =
        "Failed to remove the file a%2 in a file system operation. Please check access rights "
        "or for a sharing violation.  Reason: why";
    const std::string unknown = "Unknown error in file system operation on file a%2. Reason: why";
    const std::string messages[] = {
        "System is out of memory.",
        "Fail to create directory structure in file system operation on file a%2.  Reason given: why",
        "File not found",
        "Fail to get file attributes from operating system in file system operation on file a%2.  Reason "
        "given: "
        "why",
        removal,
        "Failed to copy the file a%2 to b%1 in file system operation. Please check access rights. Reason "
        "given: "
        "why",
        "The file a%2 does not exist.  File system operation failed. Reason give: why",
        "Fail to get status of file from operating system in file system operation on file a%2.  Reason "
        "given: why",
        removal,
        "Fail to set file attributes in file system operation on file a%2.  Reason given: why",
        "Failed to determine the size of the file a%2 in file system operation. Reason: why.  b%1",
        "Failed to generate a unique filename in dir a%2. Reason: why",
        "Failed to retrieve disk statistics from a%2. Reason: why",
        "Failed to rename a%2 to b%1. Reason: why",
        unknown,
        "Failed to set current directory to a%2.  Reason: why",
        "Failed to change ownership to a%2.  Reason: why",
        unknown,
    };
    int code = 0;
    for (const std::string& message : messages) {
        SCOPED_TRACE(code);
        const SFileSysException failure(static_cast<SFileSysException::ErrorCodes>(code++),
                                        SFileSysException::OtherReason, "a%2", "why", "b%1", "act");
        EXPECT_EQ(failure.toString().view(), message);
        EXPECT_EQ(failure.summary().view(), message + ":act");
    }
    EXPECT_EQ(SFileSysException().ErrCode(), SFileSysException::UnknownError);
}

TEST(SFileSys, TellsWhatIsThere)
{
    struct Row
    {
        const char* name;
        bool exists;
        bool folder;
    };
    const std::string tooLong(300, 'n');
    const Row rows[] = {
        {"file", true, false},      {"folder", true, true},          {"folder/", true, true},
        {"folder//", true, true},   {"absent", false, false},        {"file/x", false, false},
        {"absent/x", false, false}, {tooLong.c_str(), false, false},
    };
    const Scratch scratch;
    putFile(scratch / "file", "text");
    fs::create_directory(scratch / "folder");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const SAnsiString path = scratch.path(row.name);
        EXPECT_EQ(SFileSys::exists(path), row.exists);
        if (row.exists) {
            EXPECT_EQ(SFileSys::isDir(path), row.folder);
            EXPECT_EQ(SFileSys::isFile(path), !row.folder);
            EXPECT_FALSE(SFileSys::isDrive(path));
        }
    }
    EXPECT_TRUE(SFileSys::exists(scratch.path("file/")));
    EXPECT_TRUE(SFileSys::exists("/"));
    EXPECT_TRUE(SFileSys::exists("///"));
    EXPECT_TRUE(SFileSys::isDir("/"));
    EXPECT_FALSE(SFileSys::exists(""));
    EXPECT_TRUE(SFileSys::exists("."));
}

TEST(SFileSys, MissingPathIsReportedByTheOperationThatWasAsked)
{
    const Scratch scratch;
    const SAnsiString absent = scratch.path("absent");
    SIArray<FileProp> rows;
    struct Row
    {
        const char* operation;
        std::function<void()> act;
    };
    const Row table[] = {
        {"isDir", [&] { SFileSys::isDir(absent); }},
        {"isFile", [&] { SFileSys::isFile(absent); }},
        {"isDrive", [&] { SFileSys::isDrive(absent); }},
        {"size", [&] { SFileSys::size(absent); }},
        {"sizeEx", [&] { SFileSys::sizeEx(absent); }},
        {"rsize", [&] { SFileSys::rsize(absent); }},
        {"rsizeEx", [&] { SFileSys::rsizeEx(absent); }},
        {"countFiles", [&] { SFileSys::countFiles(absent); }},
        {"countAll", [&] { SFileSys::countAll(absent); }},
        {"listing", [&] { SFileSys::listing(absent, "*", rows); }},
        {"renameFile", [&] { SFileSys::renameFile(absent, scratch.path("b")); }},
        {"copyFile", [&] { SFileSys::copyFile(absent, scratch.path("b"), true); }},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.operation);
        const SFileSysException failure = thrownBy(row.act);
        EXPECT_EQ(failure.ErrCode(), SFileSysException::FileNotFound);
        EXPECT_EQ(failure.ErrReason(), SFileSysException::NotFound);
        EXPECT_EQ(failure.toString().view(), "File not found");
        EXPECT_FALSE(failure.reason().isEmpty());
        EXPECT_EQ(operationOf(failure), row.operation);
    }
    EXPECT_TRUE(namesIn(scratch / "").empty());
}

TEST(SFileSys, MakesFoldersWithAllThatLeadToThem)
{
    const Scratch scratch;
    for (const char* path :
         {"a", "b/c/d", "b/c/e/", "f//g///h", "./i/../i/j", "blank in it/ \xC3\xBC", "b/c"}) {
        SCOPED_TRACE(path);
        SFileSys::makeDirectories(scratch.path(path), usual);
        EXPECT_TRUE(SFileSys::isDir(scratch.path(path)));
        EXPECT_NO_THROW(SFileSys::makeDirectories(scratch.path(path), usual));
        EXPECT_NO_THROW(SFileSys::makeDirectory(scratch.path(path), usual));
    }
    const FolderKept kept;
    SFileSys::setCurrentDirectory(scratch.root());
    SFileSys::makeDirectories("x/y", SFile::ownerRWXMask);
    EXPECT_TRUE(fs::is_directory(scratch / "x/y"));
}

TEST(SFileSys, FolderThatCannotBeMadeIsNeverPassedOverInSilence)
{
    struct Row
    {
        std::string path;
        SFileSysException::ErrorCodes code;
        const char* operation;
    };
    const Row rows[] = {
        {"file/x", SFileSysException::MakeDirectoryFailed, "makeDirectory"},
        {"file/x/y/", SFileSysException::MakeDirectoryFailed, "makeDirectory"},
        {"ok/" + std::string(300, 'n') + "/x", SFileSysException::MakeDirectoryFailed, "makeDirectory"},
    };
    const Scratch scratch;
    putFile(scratch / "file", "text");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const SFileSysException failure =
            thrownBy([&] { SFileSys::makeDirectories(scratch.path(row.path), usual); });
        EXPECT_EQ(failure.ErrCode(), row.code);
        EXPECT_EQ(operationOf(failure), row.operation);
    }
    EXPECT_NO_THROW(SFileSys::makeDirectories(scratch.path("file"), usual)) << "something is there";

    const SFileSysException empty = thrownBy([] { SFileSys::makeDirectories("", usual); });
    EXPECT_EQ(empty.ErrCode(), SFileSysException::BadPath);
    EXPECT_EQ(empty.ErrReason(), SFileSysException::InvalidArgument);
    EXPECT_EQ(operationOf(empty), "makeDirectories");

    const SFileSysException orphan =
        thrownBy([&] { SFileSys::makeDirectory(scratch.path("no/parent"), usual); });
    EXPECT_EQ(orphan.ErrCode(), SFileSysException::MakeDirectoryFailed);
    EXPECT_EQ(orphan.ErrReason(), SFileSysException::NotFound);
}

TEST(SFileSys, ManyThreadsMakeTheSameFoldersWithoutAFailure)
{
    const Scratch scratch;
    constexpr int threads = 4;
    for (int round = 0; round < 50; ++round) {
        const SAnsiString path = scratch.path(std::to_string(round) + "/a/b/c/d");
        Latch begin(threads);
        std::vector<std::jthread> makers;
        for (int i = 0; i < threads; ++i) {
            makers.emplace_back([&] {
                begin.arrive_and_wait();
                EXPECT_NO_THROW(SFileSys::makeDirectories(path, usual));
            });
        }
        makers.clear();
        EXPECT_TRUE(SFileSys::isDir(path));
    }
}

TEST(SFileSys, RemovesFilesAndEmptyFoldersAndWhatIsNotThere)
{
    const Scratch scratch;
    putFile(scratch / "file", "text");
    putFile(scratch / "name with blanks", "text");
    fs::create_directories(scratch / "folder/inner");
    for (const char* name :
         {"file", "name with blanks", "folder/inner/", "folder", "absent", "absent/x", ""}) {
        SCOPED_TRACE(name);
        EXPECT_NO_THROW(SFileSys::remove(scratch.path(name).isEmpty() ? SAnsiString() : scratch.path(name)));
        if (*name != '\0') {
            EXPECT_FALSE(SFileSys::exists(scratch.path(name)));
        } else {
            break; // the scratch folder itself, empty by now
        }
    }
    EXPECT_FALSE(SFileSys::exists(scratch.root()));
    EXPECT_NO_THROW(SFileSys::remove(""));
}

TEST(SFileSys, FolderThatIsNotEmptyStays)
{
    const Scratch scratch;
    fs::create_directory(scratch / "folder");
    putFile(scratch / "folder/file", "text");
    const SFileSysException failure = thrownBy([&] { SFileSys::remove(scratch.path("folder")); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::RemoveFailed);
    EXPECT_EQ(operationOf(failure), "remove");
    EXPECT_EQ(contentOf(scratch / "folder/file"), "text");
    EXPECT_NO_THROW(SFileSys::remove(scratch.path("folder/file/x"))) << "not there";
    EXPECT_EQ(contentOf(scratch / "folder/file"), "text");
}

TEST(SFileSys, SizeIsCutAndSizeExIsWhole)
{
    const Scratch scratch;
    {
        SFile big(scratch.path("big"), SFile::writeOnly | SFile::create, usual, SFile::denyNothing);
        big.seekEx(SFile::seekBegin, (5LL << 30) - 1);
        ASSERT_EQ(big.write("!", 1), 1);
    }
    putFile(scratch / "small", "12345");
    putFile(scratch / "empty", "");
    fs::create_directory(scratch / "folder");
    EXPECT_EQ(SFileSys::size(scratch.path("big")), 1UL << 30);
    EXPECT_EQ(SFileSys::sizeEx(scratch.path("big")), 5LL << 30);
    EXPECT_EQ(SFileSys::size(scratch.path("small")), 5U);
    EXPECT_EQ(SFileSys::sizeEx(scratch.path("empty")), 0);
    EXPECT_EQ(SFileSys::size(scratch.path("folder/")), 0U);
}

TEST(SSFileSearch, FindsWhatMatchesOnce)
{
    struct Row
    {
        const char* pattern;
        std::set<std::string> names;
    };
    const Row rows[] = {
        {"*", {".", "..", "a.txt", "b.txt", "c", "folder"}},
        {"*.*", {".", "..", "a.txt", "b.txt", "c", "folder"}},
        {"", {".", "..", "a.txt", "b.txt", "c", "folder"}},
        {"*.txt", {"a.txt", "b.txt"}},
        {"?.txt", {"a.txt", "b.txt"}},
        {"c", {"c"}},
        {"fold*", {"folder"}},
        {"z*", {}},
    };
    const Scratch scratch;
    for (const char* name : {"a.txt", "b.txt", "c"}) {
        putFile(scratch / name, name);
    }
    fs::create_directory(scratch / "folder");
    SAnsiString withSeparator = scratch.root();
    SStringHelper::AppendSlashToDir(withSeparator);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pattern);
        EXPECT_EQ(found(scratch.root(), row.pattern), row.names);
        EXPECT_EQ(found(withSeparator, row.pattern), row.names);
    }
    const FolderKept kept;
    SFileSys::setCurrentDirectory(scratch.root());
    EXPECT_EQ(found("", "*.txt"), (std::set<std::string>{"a.txt", "b.txt"}));
}

TEST(SSFileSearch, SaysWhyItEndedAndBeginsAgain)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    SAnsiString name("kept");
    SSFileSearch absent(scratch.path("absent"));
    EXPECT_FALSE(absent.FindNext(name)) << "no walk yet";
    EXPECT_FALSE(absent.failed());
    EXPECT_FALSE(absent.FindFirst(name));
    EXPECT_TRUE(absent.failed());
    EXPECT_TRUE(absent.getError() == 2 || absent.getError() == 3) << absent.getError();
    EXPECT_FALSE(absent.getErrorText().isEmpty());
    EXPECT_EQ(name.view(), "kept");

    SSFileSearch search(scratch.root(), "a");
    for (int walk = 0; walk < 2; ++walk) {
        EXPECT_TRUE(search.FindFirst(name));
        EXPECT_EQ(name.view(), "a");
        EXPECT_FALSE(search.FindNext(name));
        EXPECT_FALSE(search.FindNext(name));
        EXPECT_FALSE(search.failed());
    }
}

TEST(SSFileSearch, TellsOfTheEntryThatItFoundLast)
{
    const Scratch scratch;
    putFile(scratch / "file", "12345");
    fs::create_directory(scratch / "folder");
    SSFileSearch search(scratch.root());
    SSFileSearch::Entry entry;
    EXPECT_FALSE(search.getEntry(entry));
    SAnsiString name;
    int seen = 0;
    for (bool more = search.FindFirst(name); more; more = search.FindNext(name)) {
        const bool file = name.view() == "file";
        EXPECT_EQ(search.isDir(), !file) << name.view();
        EXPECT_FALSE(search.isLink());
        ASSERT_TRUE(search.getEntry(entry));
        EXPECT_EQ(entry.m_directory, !file);
        EXPECT_LT(std::abs(entry.m_modificationTime - std::time(nullptr)), 3600);
        EXPECT_EQ(file ? entry.m_size : 5, 5);
        ++seen;
    }
    EXPECT_EQ(seen, 4);
    EXPECT_FALSE(search.getEntry(entry));
    EXPECT_FALSE(search.isDir());
}

TEST(SFileSys, ListingGivesARowForEachEntryThatMatches)
{
    const Scratch scratch;
    fs::create_directories(scratch / "sub/inner");
    putFile(scratch / "sub/a.txt", "12345");
    putFile(scratch / "sub/b c.txt", "");
    putFile(scratch / "other.txt", "x");
    const auto rowsOf = [](const SAnsiString& folder, const SAnsiString& pattern) {
        SIArray<FileProp> rows;
        SFileSys::listing(folder, pattern, rows);
        std::sort(rows.Begin(), rows.End(), [](const FileProp& left, const FileProp& right) {
            return left.m_name.view() < right.m_name.view();
        });
        return rows;
    };
    const SIArray<FileProp> all = rowsOf(scratch.path("sub"), "*");
    ASSERT_EQ(all.GetSize(), 3U);
    EXPECT_EQ(all.GetAt(0).m_name.view(), scratch / "sub/a.txt");
    EXPECT_EQ(all.GetAt(0).m_size, 5U);
    EXPECT_EQ(all.GetAt(0).m_directory, 0);
    EXPECT_EQ(all.GetAt(1).m_name.view(), scratch / "sub/b c.txt");
    EXPECT_EQ(all.GetAt(1).m_size, 0U);
    EXPECT_EQ(all.GetAt(2).m_directory, 1);
    EXPECT_LT(std::abs(all.GetAt(0).m_modificationTime - std::time(nullptr)), 3600);

    const SAnsiString inSub = SStringHelper::MakePath("sub", "*.txt");
    const SIArray<FileProp> joined = rowsOf(scratch.root(), inSub);
    ASSERT_EQ(joined.GetSize(), 2U) << "the pattern's folder is searched";
    EXPECT_EQ(joined.GetAt(1).m_name.view(), scratch / "sub/b c.txt");

    SIArray<FileProp> rows = rowsOf(scratch.root(), "other*");
    SFileSys::listing(scratch.root(), "nothing*", rows);
    EXPECT_EQ(rows.GetSize(), 1U) << "rows are added to those that are there";
    const SFileSysException failure =
        thrownBy([&] { SFileSys::listing(scratch.path("other.txt"), "*", rows); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::GetAttributesFailed);
    EXPECT_EQ(operationOf(failure), "listing");
}

TEST(SFileSys, RenamesInPlaceOfWhatHasTheName)
{
    const Scratch scratch;
    putFile(scratch / "a", "new");
    putFile(scratch / "b", "old");
    SFileSys::renameFile(scratch.path("a"), scratch.path("b"));
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"b"}));
    EXPECT_EQ(contentOf(scratch / "b"), "new");

    const SFileSysException failure =
        thrownBy([&] { SFileSys::renameFile(scratch.path("b"), scratch.path("no/b")); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::RenameFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::NotFound);
    EXPECT_EQ(operationOf(failure), "renameFile");
    EXPECT_EQ(failure.toString().view(), "Failed to rename " + (scratch / "b") + " to " + (scratch / "no/b") +
                                             ". Reason: " + std::string(failure.reason().view()));
    EXPECT_EQ(contentOf(scratch / "b"), "new");
}

TEST(SFileSys, RenamingAFolderIsReportedAndNotDone)
{
    const Scratch scratch;
    fs::create_directory(scratch / "folder");
    Recorder recorder;
    SFileSys::renameFile(scratch.path("folder"), scratch.path("other"));
    EXPECT_EQ(recorder.count("(false : SFileSys::renameFile: Directory rename not supported\n)"), 1);
    EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"folder"}));
}

TEST(SFileSys, CopiesContentAndTimeAndMakesFolders)
{
    const Scratch scratch;
    std::string content(3 << 20, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 7 / 3);
    }
    putFile(scratch / "a", content);
    const auto before = fs::file_time_type::clock::now() - std::chrono::hours(48);
    fs::last_write_time(scratch / "a", before);
    SFileSys::copyFile(scratch.path("a"), scratch.path("x/y/b"), false);
    EXPECT_EQ(contentOf(scratch / "x/y/b"), content);
    EXPECT_LT(std::chrono::abs(fs::last_write_time(scratch / "x/y/b") - before), std::chrono::seconds(3));
    EXPECT_EQ(namesIn(scratch / "x/y"), (std::set<std::string>{"b"}));

    putFile(scratch / "empty", "");
    SFileSys::copyFile(scratch.path("empty"), scratch.path("x/y/b"), true);
    EXPECT_EQ(contentOf(scratch / "x/y/b"), "");
}

TEST(SFileSys, CopyThatIsNotAllowedLeavesTheTargetAsItWas)
{
    const Scratch scratch;
    putFile(scratch / "a", "new");
    putFile(scratch / "b", "old");
    fs::create_directory(scratch / "folder");
    struct Row
    {
        const char* from;
        const char* to;
        bool overwrite;
        SFileSysException::ErrorReasons reason;
    };
    const Row rows[] = {
        {"a", "b", false, SFileSysException::OtherReason},
        {"a", "a", false, SFileSysException::OtherReason},
        {"a", "a", true, SFileSysException::AccessDenied},
        {"a", "./a", true, SFileSysException::AccessDenied},
        {"a", "folder", true, SFileSysException::AccessDenied},
        {"folder", "folder", true, SFileSysException::AccessDenied},
        {"folder", "./folder/", true, SFileSysException::AccessDenied},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.from) + " to " + row.to + (row.overwrite ? " over" : ""));
        const SFileSysException failure = thrownBy(
            [&] { SFileSys::copyFile(scratch.path(row.from), scratch.path(row.to), row.overwrite); });
        EXPECT_EQ(failure.ErrCode(), SFileSysException::CopyFailed);
        EXPECT_EQ(failure.ErrReason(), row.reason) << failure.reason().view();
        EXPECT_EQ(operationOf(failure), "copyFile");
        EXPECT_EQ(failure.toString().view().find("Failed to copy the file " + (scratch / row.from) + " to "),
                  0U);
        EXPECT_EQ(contentOf(scratch / "a"), "new");
        EXPECT_EQ(contentOf(scratch / "b"), "old");
        EXPECT_EQ(namesIn(scratch / ""), (std::set<std::string>{"a", "b", "folder"}));
    }
}

TEST(SFileSys, CopiesATreeAsFarAsPossible)
{
    const Scratch scratch;
    fs::create_directories(scratch / "from/one/two");
    fs::create_directories(scratch / "from/empty");
    for (const char* name : {"from/a", "from/b", "from/one/c", "from/one/two/d"}) {
        putFile(scratch / name, name);
    }
    SFileSys::copyFile(scratch.path("from"), scratch.path("deep/to"), false);
    EXPECT_EQ(contentOf(scratch / "deep/to/one/two/d"), "from/one/two/d");
    EXPECT_TRUE(fs::is_directory(scratch / "deep/to/empty"));

    fs::create_directories(scratch / "blocked/a"); // in the way of a file
    putFile(scratch / "blocked/one", "x");         // in the way of a folder
    const SFileSysException failure =
        thrownBy([&] { SFileSys::copyFile(scratch.path("from"), scratch.path("blocked"), true); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::CopyFailed);
    EXPECT_EQ(operationOf(failure), "copyFile");
    EXPECT_EQ(contentOf(scratch / "blocked/b"), "from/b") << "the others are copied";
    EXPECT_TRUE(fs::is_directory(scratch / "blocked/empty"));
    EXPECT_EQ(contentOf(scratch / "blocked/one"), "x");
}

TEST(SFileSys, CopyOfAFolderIntoItselfEnds)
{
    const Scratch scratch;
    fs::create_directories(scratch / "a/sub");
    putFile(scratch / "a/file", "text");
    putFile(scratch / "a/sub/file", "text");
    SFileSys::copyFile(scratch.path("a"), scratch.path("a/sub/copy"), true);
    EXPECT_EQ(namesIn(scratch / "a/sub/copy"), (std::set<std::string>{"file", "sub"}));
    EXPECT_EQ(namesIn(scratch / "a/sub/copy/sub"), (std::set<std::string>{"file"}));
    EXPECT_EQ(namesIn(scratch / "a/sub"), (std::set<std::string>{"copy", "file"}));
}

TEST(SFileSys, ChangesAndTellsTheCurrentFolder)
{
    const FolderKept kept;
    const Scratch scratch;
    const std::string root = fs::canonical(scratch / ".").string();
    SFileSys::setCurrentDirectory(root.c_str());
    EXPECT_EQ(SFileSys::getCurrentDirectory().view(), root);
    const SFileSysException failure = thrownBy([] { SFileSys::setCurrentDirectory("absent"); });
    EXPECT_EQ(failure.ErrCode(), SFileSysException::SetCurrentDirectoryFailed);
    EXPECT_EQ(failure.ErrReason(), SFileSysException::NotFound);
    EXPECT_EQ(operationOf(failure), "setCurrentDirectory");
    EXPECT_EQ(SFileSys::getCurrentDirectory().view(), root);
    fs::current_path(fs::temp_directory_path());
}

TEST(SFileSys, FullPathIsTheCurrentFoldersUnlessThePathIsFull)
{
    const FolderKept kept;
    const Scratch scratch;
    const std::string root = fs::canonical(scratch / ".").string();
    SFileSys::setCurrentDirectory(root.c_str());
    const auto native = [](std::string path) {
        std::ranges::replace(path, '/', SStringHelper::getDirSeparator());
        return path;
    };
    const std::string parent = fs::path(root).parent_path().string();
    const std::pair<const char*, std::string> rows[] = {
        {"", root},
        {".", root},
        {"a", root + native("/a")},
        {"a/./b//c/", root + native("/a/b/c/")},
        {"a\\b", root + native("/a/b")},
        {"..", parent},
        {"../x/..", parent},
        {"a/../../x", parent + native("/x")},
        {"...", root + native("/...")},
    };
    for (const auto& [path, full] : rows) {
        EXPECT_EQ(SFileSys::getFullPath(path).view(), full) << path;
    }
    const SAnsiString full = SFileSys::getFullPath("a/b");
    EXPECT_EQ(SFileSys::getFullPath(full).view(), full.view());
    EXPECT_EQ(SFileSys::getFullPath(full + "/../c").view(), root + native("/a/c"));
    EXPECT_TRUE(SFileSys::isFullPath(full));
    fs::current_path(fs::temp_directory_path());
}

TEST(SFileSys, DrivesHaveCurrentFoldersOfTheirOwn)
{
    if (!onWindows()) {
        GTEST_SKIP() << "no drives";
    }
    const FolderKept kept;
    fs::create_directories("C:\\windows\\temp");
    SFileSys::setCurrentDirectory("C:\\windows\\temp");
    EXPECT_EQ(SFileSys::getFullPath("C:a").view(), "C:\\windows\\temp\\a");
    EXPECT_EQ(SFileSys::getFullPath("C:..\\a").view(), "C:\\windows\\a");
    EXPECT_EQ(SFileSys::getFullPath("C:\\..\\a").view(), "C:\\a");
    EXPECT_EQ(SFileSys::getFullPath("\\\\s\\d\\..\\a").view(), "\\\\s\\d\\a");
    EXPECT_TRUE(SFileSys::isDrive("C:"));
    EXPECT_TRUE(SFileSys::isDir("C:"));
    EXPECT_FALSE(SFileSys::isFile("C:"));
    EXPECT_FALSE(SFileSys::isDrive("C:\\"));
    EXPECT_TRUE(SFileSys::exists("C:\\"));
    Recorder recorder;
    EXPECT_EQ(SFileSys::getFullPath("\\a").view(), "C:\\a");
    EXPECT_EQ(recorder.count("(dir.getNChars() == 0 || dir.getAt(0) != DIRSEPARATOR : no message)"), 1);
    EXPECT_EQ(thrownBy([] { SFileSys::getFullPath("Q:a"); }).ErrCode(),
              SFileSysException::SetCurrentDirectoryFailed);
    EXPECT_THROW(SFileSys::makeDirectories("\\\\server", usual), SFileSysException);
    EXPECT_THROW(SFileSys::makeDirectories("Q:\\a", usual), SFileSysException);
}
