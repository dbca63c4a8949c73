#include "morvex/pathrules.h"

#include "locales.h"
#include "morvex/sstringhelper.h"
#include "morvex/wildcard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;
using PathRules::PathStyle;

namespace
{

constexpr PathStyle posix = PathStyle::posix;
constexpr PathStyle windows = PathStyle::windows;

const char* nameOf(PathStyle style)
{
    return style == posix ? "posix " : "windows ";
}

/// A character of code page 932 whose second byte is that of a backslash.
const std::string table932 = "\x95\x5C";

/// Written with `/`, read in the system's own form.
std::string native(std::string path)
{
    std::ranges::replace(path, '/', SStringHelper::getDirSeparator());
    return path;
}

SAnsiString text(const std::string& bytes)
{
    return SAnsiString(bytes.c_str());
}

} // namespace

TEST(PathRules, TellsFullUncAndDrivePaths)
{
    struct Row
    {
        PathStyle style;
        const char* path;
        bool full;
        bool unc;
        bool drive;
    };
    const Row rows[] = {
        {posix, "", false, false, false},         {posix, "/", true, false, false},
        {posix, "/a", true, false, false},        {posix, "a/b", false, false, false},
        {posix, "\\a", true, false, false}, // once its slashes are unified
        {posix, "//s/d", true, false, false},     {posix, "\\\\s\\d", true, false, false},
        {posix, "C:", false, false, false},       {posix, "C:\\a", false, false, false},
        {windows, "", false, false, false},       {windows, "C", false, false, false},
        {windows, "C:", true, false, true},       {windows, "C:\\", true, false, false},
        {windows, "C:a", true, false, false},     {windows, "C:/a", true, false, false},
        {windows, "\\a", false, false, false},    {windows, "/a", false, false, false},
        {windows, "\\\\s\\d", true, true, false}, {windows, "//s/d", true, false, false},
        {windows, "a:\\b", true, false, false},   {windows, "ab:", false, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.style)) + row.path);
        EXPECT_EQ(PathRules::isFullPath(row.path, row.style), row.full);
        EXPECT_EQ(PathRules::isUncPath(row.path, row.style), row.unc);
        EXPECT_EQ(PathRules::isDrive(row.path, row.style), row.drive);
    }
}

TEST(PathRules, StripsSeparatorsAtTheEnd)
{
    struct Row
    {
        PathStyle style;
        const char* path;
        const char* stripped;
        const char* trimmed; ///< where the root stays
    };
    const Row rows[] = {
        {posix, "", "", ""},
        {posix, "a", "a", "a"},
        {posix, "a/", "a", "a"},
        {posix, "a//", "a", "a"},
        {posix, "a\\", "a\\", "a\\"},
        {posix, "/", "", "/"},
        {posix, "//", "", "//"},
        {posix, "/a/b/", "/a/b", "/a/b"},
        {windows, "a\\", "a", "a"},
        {windows, "a/\\/", "a", "a"},
        {windows, "C:\\", "C:", "C:\\"},
        {windows, "C:", "C:", "C:"},
        {windows, "\\", "", "\\"},
        {windows, "C:\\a\\", "C:\\a", "C:\\a"},
        {windows, "\\\\s\\d\\", "\\\\s\\d", "\\\\s\\d"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.style)) + row.path);
        EXPECT_EQ(PathRules::withoutEndSeparators(row.path, row.style), row.stripped);
        EXPECT_EQ(PathRules::trimmed(row.path, row.style), row.trimmed);
    }
}

TEST(PathRules, SplitsAPathIntoPartsThatJoinToItAgain)
{
    struct Row
    {
        PathStyle style;
        const char* path;
        const char* drive;
        const char* folder;
        const char* name;
        const char* extension;
    };
    const Row rows[] = {
        {posix, "", "", "", "", ""},
        {posix, "/", "", "/", "", ""},
        {posix, "a", "", "", "a", ""},
        {posix, "a.b", "", "", "a", ".b"},
        {posix, "a.", "", "", "a", "."},
        {posix, "a.b.c", "", "", "a.b", ".c"},
        {posix, ".a", "", "", ".a", ""},
        {posix, "..a.b", "", "", "..a", ".b"},
        {posix, "a/.", "", "a/", ".", ""},
        {posix, "..", "", "", "..", ""},
        {posix, "...", "", "", "...", ""},
        {posix, "/a.d/b", "", "/a.d/", "b", ""},
        {posix, "a//b", "", "a//", "b", ""},
        {posix, "C:\\a\\b.c", "", "", "C:\\a\\b", ".c"},
        {windows, "C:\\a\\b.c", "C:", "\\a\\", "b", ".c"},
        {windows, "C:b.c", "C:", "", "b", ".c"},
        {windows, "C:", "C:", "", "", ""},
        {windows, "a/b\\c.d", "", "a/b\\", "c", ".d"},
        {windows, "\\\\s\\d\\a.b", "", "\\\\s\\d\\", "a", ".b"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.style)) + row.path);
        const PathRules::Parts parts = PathRules::split(row.path, row.style);
        EXPECT_EQ(parts.drive, row.drive);
        EXPECT_EQ(parts.folder, row.folder);
        EXPECT_EQ(parts.name, row.name);
        EXPECT_EQ(parts.extension, row.extension);
        EXPECT_EQ(PathRules::join(parts, row.style), row.path);
    }
}

TEST(PathRules, JoinsWithTheSeparatorAndTheDotThatAreMissing)
{
    struct Row
    {
        PathStyle style;
        PathRules::Parts parts;
        const char* path;
    };
    const Row rows[] = {
        {posix, {"", "a", "b", "c"}, "a/b.c"},     {posix, {"", "a/", "b", ".c"}, "a/b.c"},
        {posix, {"", "a\\", "b", ""}, "a\\/b"},    {posix, {"", "", "b", ""}, "b"},
        {posix, {"", "/", "b", ""}, "/b"},         {posix, {"", "a", "", ""}, "a/"},
        {windows, {"", "a", "b", "c"}, "a\\b.c"},  {windows, {"", "a/", "b", ""}, "a/b"},
        {windows, {"", "C:", "b", ""}, "C:b"},     {windows, {"C:", "", "b", ""}, "C:b"},
        {windows, {"C:", "\\", "b", ""}, "C:\\b"}, {windows, {"C:", "a", "b", ""}, "C:a\\b"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(PathRules::join(row.parts, row.style), row.path) << nameOf(row.style);
    }
}

TEST(PathRules, FindsTheFoldersOnTheWay)
{
    struct Row
    {
        PathStyle style;
        const char* path;
        std::vector<std::string> folders;
    };
    const Row rows[] = {
        {posix, "/", {}},
        {posix, "a", {"a"}},
        {posix, "/a//b/", {"/a", "/a//b"}},
        {posix, "a/b", {"a", "a/b"}},
        {posix, "//a/b", {"//a", "//a/b"}},
        {posix, "a\\b/c", {"a\\b", "a\\b/c"}},
        {posix, "./../a", {".", "./..", "./../a"}},
        {windows, "C:\\a", {"C:", "C:\\a"}},
        {windows, "\\a\\b", {"\\a", "\\a\\b"}},
        {windows, "a/b\\c\\", {"a", "a/b", "a/b\\c"}},
        {windows, "\\\\s\\d\\a\\b", {"\\\\s\\d\\a", "\\\\s\\d\\a\\b"}},
        {windows, "//s/d/a", {"//s/d/a"}},
        {windows, "\\\\s\\d", {}},
        {windows, "\\\\s\\d\\", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.style)) + row.path);
        std::vector<std::size_t> lengths;
        EXPECT_TRUE(PathRules::foldersOnTheWay(row.path, row.style, lengths));
        std::vector<std::string> folders;
        for (const std::size_t length : lengths) {
            folders.push_back(std::string(row.path).substr(0, length));
        }
        EXPECT_EQ(folders, row.folders);
    }
    for (const char* malformed : {"\\\\", "\\\\s", "\\\\s\\", "\\\\\\d\\a", "\\\\s\\\\a"}) {
        std::vector<std::size_t> lengths;
        EXPECT_FALSE(PathRules::foldersOnTheWay(malformed, windows, lengths)) << malformed;
    }
}

TEST(PathRules, ResolvesDotsOnTheText)
{
    struct Row
    {
        PathStyle style;
        const char* path;
        const char* result;
    };
    const Row rows[] = {
        {posix, "/", "/"},
        {posix, "//", "/"},
        {posix, "/a", "/a"},
        {posix, "/a/", "/a/"},
        {posix, "/a/./b", "/a/b"},
        {posix, "/a/.", "/a"},
        {posix, "/a/./", "/a/"},
        {posix, "/a/../b", "/b"},
        {posix, "/a/b/..", "/a"},
        {posix, "/..", "/"},
        {posix, "/../../a", "/a"},
        {posix, "/a/../..", "/"},
        {posix, "/a//b///c", "/a/b/c"},
        {posix, "/...", "/..."},
        {posix, "/a../..b/.c", "/a../..b/.c"},
        {windows, "C:\\", "C:\\"},
        {windows, "C:\\a\\..\\..\\b", "C:\\b"},
        {windows, "C:\\..", "C:\\"},
        {windows, "C:\\a\\.\\", "C:\\a\\"},
        {windows, "\\\\s\\d", "\\\\s\\d"},
        {windows, "\\\\s\\d\\", "\\\\s\\d\\"},
        {windows, "\\\\s\\d\\..\\a", "\\\\s\\d\\a"},
        {windows, "\\\\s\\d\\a\\..", "\\\\s\\d\\"},
        {windows, "\\\\s", "\\\\s"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(PathRules::withoutDots(row.path, row.style), row.result) << nameOf(row.style) << row.path;
    }
}

TEST(PathRules, SecondByteOfADoubleByteCharacterIsNoSeparator)
{
    const LocaleInForce locale({"ja_JP.CP932", "Japanese_Japan.932", ".932"});
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    const std::string& t = table932;
    EXPECT_EQ(PathRules::unified(t + "\\a/" + t, '\\'), t + "\\a\\" + t);
    EXPECT_EQ(PathRules::unified(t + "\\a/" + t, '/'), t + "/a/" + t);
    EXPECT_FALSE(PathRules::endsInSeparator("a" + t, windows));
    EXPECT_TRUE(PathRules::endsInSeparator(t + "\\", windows));
    EXPECT_EQ(PathRules::withoutEndSeparators(t + "\\", windows), t);
    EXPECT_EQ(PathRules::withoutDots("C:\\" + t + "\\..\\" + t, windows), "C:\\" + t);
    EXPECT_EQ(PathRules::join({"", t, t, "x"}, windows), t + "\\" + t + ".x");

    const std::string path = "a\\" + t + "b\\" + t + ".c";
    const PathRules::Parts parts = PathRules::split(path, windows);
    EXPECT_EQ(parts.folder, "a\\" + t + "b\\");
    EXPECT_EQ(parts.name, t);

    std::vector<std::size_t> lengths;
    EXPECT_TRUE(PathRules::foldersOnTheWay(t + "\\" + t, windows, lengths));
    EXPECT_EQ(lengths, (std::vector<std::size_t>{2, 5}));
    EXPECT_EQ(PathRules::rootOf("\\\\" + t + "\\" + t + "\\a", windows), "\\\\" + t + "\\" + t);
    // The first byte alone, at the end, is a character by itself.
    EXPECT_EQ(PathRules::unified("a\x95", '/'), "a\x95");
}

// Whatever a path looks like, its parts are the path, and cleaning it twice is cleaning it once.
TEST(PathRules, HoldForRandomPaths)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (int i = 0; i < 20000; ++i) {
        std::string path;
        while (path.size() < 14 && random() % 12 != 0) {
            path += "//\\\\..:aC "[random() % 10];
        }
        for (const PathStyle style : {posix, windows}) {
            SCOPED_TRACE(nameOf(style) + path);
            const PathRules::Parts parts = PathRules::split(path, style);
            ASSERT_EQ(PathRules::join(parts, style), path);
            const std::string full = (style == posix ? "/" : "C:\\") + path;
            const std::string clean =
                PathRules::withoutDots(PathRules::unified(full, PathRules::separatorOf(style)), style);
            ASSERT_EQ(PathRules::withoutDots(clean, style), clean);
            ASSERT_TRUE(PathRules::isFullPath(clean, style));
            const auto stripped = PathRules::withoutEndSeparators(path, style);
            ASSERT_FALSE(PathRules::endsInSeparator(stripped, style));
        }
    }
}

TEST(Wildcard, MatchesTheWholeName)
{
    struct Row
    {
        const char* pattern;
        const char* name;
        bool matches;
    };
    const Row rows[] = {
        {"", "a", true},
        {"*", "", true},
        {"*.*", "noextension", true},
        {"*.txt", "a.txt", true},
        {"*.txt", "a.txt~", false},
        {"*.txt", ".txt", true},
        {"a?c", "abc", true},
        {"a?c", "ac", false},
        {"a?c", "abbc", false},
        {"?", "", false},
        {"a*", "a", true},
        {"*a*b*", "xxaxxbxx", true},
        {"*a*b*", "xxbxxaxx", false},
        {"*aab", "aaaab", true},
        {"A*", "abc", false},
        {"a.b", "a.b", true},
        {"a.b", "a.bc", false},
        {"*.*.*", "a.b", false},
        {"log_xn_*.dll", "log_xn_system.dll", true},
        {"**", "a", true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(matchesWildcard(row.pattern, row.name), row.matches) << row.pattern << " on " << row.name;
    }
}

TEST(Wildcard, QuestionMarkIsOneCharacterOfTheLocale)
{
    const LocaleInForce locale({"ja_JP.CP932", "Japanese_Japan.932", ".932"});
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    EXPECT_TRUE(matchesWildcard("?.txt", (table932 + ".txt").c_str()));
    EXPECT_FALSE(matchesWildcard("??.txt", (table932 + ".txt").c_str()));
    EXPECT_FALSE(matchesWildcard("*\\", table932.c_str())) << "no match inside a character";
}

TEST(Wildcard, ManyStarsDoNotTakeForever)
{
    std::string pattern;
    for (int i = 0; i < 60; ++i) {
        pattern += "a*";
    }
    pattern += "b";
    EXPECT_FALSE(matchesWildcard(pattern.c_str(), std::string(250, 'a').c_str()));
}

TEST(SStringHelper, AppendsAndStripsTheSystemsSeparator)
{
    struct Row
    {
        const char* before;
        const char* appended;
        const char* endStripped;
        const char* beginStripped;
    };
    const Row rows[] = {
        {"", "", "", ""},           {"a", "a/", "a", "a"}, {"a/", "a/", "a", "a/"},
        {"a//", "a//", "a", "a//"}, {"/", "/", "", ""},    {"//a", "//a/", "//a", "/a"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.before);
        SAnsiString appended = text(native(row.before));
        SAnsiString endStripped(appended);
        SAnsiString beginStripped(appended);
        SStringHelper::AppendSlashToDir(appended);
        SStringHelper::StripSlashOffDirEnd(endStripped);
        SStringHelper::StripSlashOffDirBegin(beginStripped);
        EXPECT_EQ(appended.view(), native(row.appended));
        EXPECT_EQ(endStripped.view(), native(row.endStripped));
        EXPECT_EQ(beginStripped.view(), native(row.beginStripped));
    }
}

TEST(SStringHelper, TakesAnotherSeparatorWhereOneIsNamed)
{
    SAnsiString url("a");
    SStringHelper::AppendSlashToDir(url, '/');
    SStringHelper::AppendSlashToDir(url, '/');
    EXPECT_EQ(url.view(), "a/");
    SAnsiString path("\\/a");
    SStringHelper::StripSlashOffDirBegin(path, '/');
    EXPECT_EQ(path.view(), "\\/a");
    SStringHelper::StripSlashOffDirBegin(path, '\\');
    EXPECT_EQ(path.view(), "/a");
    SAnsiString mixed("a\\b/c");
    SStringHelper::UnifyAllSlashes(mixed, '\\');
    EXPECT_EQ(mixed.view(), "a\\b\\c");
    SStringHelper::UnifyAllSlashes(mixed);
    EXPECT_EQ(mixed.view(), native("a/b/c"));
}

TEST(SStringHelper, SplitsInPlaceAndMakesThePathAgain)
{
    SAnsiString path = text(native("a/b.tar.gz"));
    SAnsiString folder;
    SAnsiString extension;
    SStringHelper::SplitPathEx(path, folder, path, extension); // the name takes the path's place
    EXPECT_EQ(folder.view(), native("a/"));
    EXPECT_EQ(path.view(), "b.tar");
    EXPECT_EQ(extension.view(), ".gz");
    EXPECT_EQ(SStringHelper::MakePath(folder, path, extension).view(), native("a/b.tar.gz"));
    EXPECT_EQ(SStringHelper::MakePath("", folder, "c", "d").view(), native("a/c.d"));
}

TEST(SStringHelper, SplitsIntoViewsOfThePath)
{
    const std::string path = native("a/b.c/d.tar.gz");
    std::string_view folder;
    std::string_view name;
    std::string_view extension;
    SStringHelper::SplitPathEx(std::string_view(path), folder, name, extension);
    EXPECT_EQ(folder, native("a/b.c/"));
    EXPECT_EQ(folder.data(), path.data());
    EXPECT_EQ(name, "d.tar");
    EXPECT_EQ(extension, ".gz");
}

TEST(SStringHelper, JoinsWords)
{
    SIArray<SAnsiString> words;
    EXPECT_TRUE(SStringHelper::joinWords(words, ", ").isEmpty());
    words.Add("");
    EXPECT_TRUE(SStringHelper::joinWords(words, ", ").isEmpty());
    words.Add("a");
    words.Add("");
    EXPECT_EQ(SStringHelper::joinWords(words, ", ").view(), ", a, ");
    EXPECT_EQ(SStringHelper::joinWords(words, "").view(), "a");
    EXPECT_EQ(SStringHelper::joinWords(words, words[1]).view(), "aaa");
}

TEST(SStringHelper, ReplacesEachOccurrence)
{
    struct Row
    {
        const char* name;
        const char* text;
        const char* wanted;
        const char* replacement;
        const char* result;
        unsigned count;
    };
    const Row rows[] = {
        {"none", "abc", "x", "y", "abc", 0},
        {"a shorter text", "aabcaa", "aa", "x", "xbcx", 2},
        {"a longer text", "aXbX", "X", "<->", "a<->b<->", 2},
        {"nothing", "a.b.", ".", "", "ab", 2},
        {"all by nothing", "...", ".", "", "", 3},
        {"what was put in is not searched", "aa", "a", "aa", "aaaa", 2},
        {"from the left", "aaa", "aa", "b", "ba", 1},
        {"empty text occurs nowhere", "abc", "", "x", "abc", 0},
        {"in empty text", "", "a", "x", "", 0},
        {"the whole", "abc", "abc", "", "", 1},
        {"longer than the text", "ab", "abc", "", "ab", 0},
    };
    for (const Row& row : rows) {
        SAnsiString result(row.text);
        EXPECT_EQ(SStringHelper::replaceAll(result, row.wanted, row.replacement), row.count) << row.name;
        EXPECT_EQ(result.view(), row.result) << row.name;
    }
    SAnsiString own("aa");
    EXPECT_EQ(SStringHelper::replaceAll(own, own, own), 1u);
    EXPECT_EQ(own.view(), "aa");
    EXPECT_EQ(SStringHelper::replaceAll(own, 'a', 'b'), 2u);
    EXPECT_EQ(own.view(), "bb");
    EXPECT_EQ(SStringHelper::replaceAll(own, 'b', '\0'), 2u);
    EXPECT_TRUE(own.isEmpty());
}

TEST(SStringHelper, ReplacesWholeCharactersOnly)
{
    const LocaleInForce locale({"ja_JP.CP932", "Japanese_Japan.932", ".932"});
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    const std::string& t = table932;
    SAnsiString path = text(t + "\\" + t);
    EXPECT_EQ(SStringHelper::replaceAll(path, '\\', '/'), 1u);
    EXPECT_EQ(path.view(), t + "/" + t);
    EXPECT_EQ(SStringHelper::replaceAll(path, text(t.substr(0, 1)), "x"), 0u) << "half a character";
    EXPECT_EQ(SStringHelper::replaceAll(path, text(t), "\\"), 2u);
    EXPECT_EQ(path.view(), "\\/\\");
}

TEST(SStringHelper, ReplacesInLinearTime)
{
    const std::string many(1 << 16, 'a');
    SAnsiString result = text(many);
    EXPECT_EQ(SStringHelper::replaceAll(result, "a", "bc"), many.size());
    EXPECT_EQ(result.view().size(), 2 * many.size());
    EXPECT_EQ(SStringHelper::replaceAll(result, text(many + "b"), ""), 0u);
}
