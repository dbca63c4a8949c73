#include "morvex/sresmanager.h"

#include "locales.h"
#include "morvex/resourcetexts.h"
#include "morvex/sfileexception.h"
#include "morvex/sfilesysexception.h"
#include "morvex/siserverexception.h"
#include "morvex/sresstring.h"
#include "morvex/sshelp.h"
#include "recorder.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace
{

const std::vector<const char*> german1252 = {"de_DE.CP1252", "German_Germany.1252"};
const std::vector<const char*> japanese932 = {"ja_JP.CP932", "Japanese_Japan.932"};

std::string plain(const SAnsiString& text)
{
    return std::string(text.view());
}

/// Knows one number.
class OneText : public SResourceSource
{
public:
    OneText(unsigned long number, const SAnsiString& text) : m_number(number), m_text(text) {}
    bool Find(unsigned long number, SAnsiString& text) const override
    {
        if (number == m_number) {
            text = m_text;
        }
        return number == m_number;
    }

private:
    unsigned long m_number;
    SAnsiString m_text;
};

void add(const char* name, unsigned long number, const char* text)
{
    SResManager::AddSource(name, CSmartRefCountPtr<SResourceSource>(new OneText(number, text)));
}

/// Sources are the whole process's: each test takes out what it added.
class SResManagerTest : public testing::Test
{
protected:
    ~SResManagerTest() override
    {
        for (const char* name : {"first", "second", "file"}) {
            SResManager::RemoveSource(name);
        }
    }

    /// What is wrong with a file of this content; empty when it is taken.
    std::string problemOf(const std::string& content)
    {
        putFile(m_scratch / "texts", content);
        SAnsiString problem;
        const bool isTaken = SResManager::AddFile("file", m_scratch.path("texts"), &problem);
        EXPECT_EQ(isTaken, problem.isEmpty());
        return plain(problem);
    }

    Scratch m_scratch;
};

} // namespace

TEST(SResString, ReplacesMarkersInOnePass)
{
    struct Row
    {
        const char* name;
        std::string text;
        const char* expected;
    };
    const Row rows[] = {
        {"order and repetition", plain(SResString("%2, %1, %2", '%', "a", "b")), "b, a, b"},
        {"doubled marker", plain(SResString("100 %% %1", '%', "a")), "100 % a"},
        {"doubled marker before a digit", plain(SResString("%%1", '%', "a")), "%1"},
        {"three markers", plain(SResString("%%%1", '%', "a")), "%a"},
        {"no value", plain(SResString("%2 %0 %x %", '%', "a")), "%2 %0 %x %"},
        {"values are not searched", plain(SResString("%1 %2", '%', "%2%%", "%1")), "%2%% %1"},
        {"two digits, one value", plain(SResString("%12", '%', "a")), "a2"},
        {"twelve values", plain(SResString("%12%11%10%1", '%', 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12)),
         "1211101"},
        {"thirteenth", plain(SResString("%13", '%', 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12)), "13"},
        {"numbers", plain(SResString("%1 %2 %3", '%', -7, 2.5, 4000000000u)), "-7 2.5 4000000000"},
        {"another marker", plain(SResString("$1 %1 $$", '$', "a")), "a %1 $"},
        {"no marker", plain(SResString("%1 $1", '\0', "a")), "%1 $1"},
        {"empty message", plain(SResString("", '%', "a")), ""},
        {"empty value", plain(SResString("[%1]", '%', "")), "[]"},
        {"no values", plain(SResString("%1 %%")), "%1 %"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.text, row.expected) << row.name;
    }
}

TEST(SResString, FindsTheMarkerAsACharacterOfTheLocale)
{
    const LocaleInForce inForce(japanese932);
    ASSERT_TRUE(inForce.found());
    // The second byte of the first character is a backslash's.
    EXPECT_EQ(plain(SResString("\x95\x5C\x31 \\1", '\\', "a")), "\x95\x5C\x31 a");
}

TEST_F(SResManagerTest, EveryNumberOfTheLibraryHasAText)
{
    std::vector<unsigned long> numbers = {46606, 47000, 47001, 47002, 47003};
    for (unsigned long number = 0xB090; number <= 0xB09F; ++number) {
        numbers.push_back(number);
    }
    for (const unsigned long number : numbers) {
        SAnsiString text;
        EXPECT_TRUE(SResManager::LoadStringA(number, text)) << number;
        EXPECT_FALSE(text.isEmpty()) << number;
    }
    for (const unsigned long number : {0ul, 0xB08Ful, 47004ul, 0xFFFFFFFFul}) {
        SAnsiString text("as it was");
        EXPECT_FALSE(SResManager::LoadStringA(number, text)) << number;
        EXPECT_EQ(plain(text), "as it was");
        EXPECT_EQ(plain(SResManager::LoadStringA(number)), "");
    }
    EXPECT_EQ(plain(SResString::Load(47002, "ftp://x", "frs")),
              "The URL \"ftp://x\" has another protocol than \"frs\".");
}

TEST_F(SResManagerTest, TheLastSourceIsAskedFirst)
{
    add("first", 700, "one");
    add("second", 700, "two");
    add("second", 701, "replaced");
    EXPECT_EQ(plain(SResManager::LoadStringA(700)), "one");
    EXPECT_EQ(plain(SResManager::LoadStringA(701)), "replaced");
    add("first", 701, "stays in its place");
    EXPECT_EQ(plain(SResManager::LoadStringA(701)), "replaced");
    EXPECT_TRUE(SResManager::RemoveSource("second"));
    EXPECT_EQ(plain(SResManager::LoadStringA(701)), "stays in its place");
    EXPECT_FALSE(SResManager::RemoveSource("second"));
    EXPECT_FALSE(SResManager::RemoveSource("FIRST"));

    Recorder recorder;
    SResManager::AddSource("first", nullptr);
    EXPECT_EQ(recorder.count("source != NULL"), 1);
    EXPECT_EQ(plain(SResManager::LoadStringA(701)), "stays in its place");
}

TEST_F(SResManagerTest, FailuresSpeakTheTranslatorsWords)
{
    const SFileException open(SFileException::OpenFailed, 2, "a", SFileException::FileNotFound, "gone", "");
    const SFileException seek(SFileException::SeekFailed, 2, "a", SFileException::Other, "gone", "");
    const SFileSysException rename(SFileSysException::RenameFailed, SFileSysException::NotFound, "a", "gone",
                                   "b", "rename");
    const SIServerException coded(77, "");
    EXPECT_EQ(plain(open.toString()), "Failed to open the file a.  Reason: gone");
    EXPECT_EQ(plain(rename.toString()), "Failed to rename a to b. Reason: gone");
    EXPECT_EQ(plain(coded.toString()), "Server failure 77");

    ASSERT_EQ(problemOf("0xB0B0 = %1 geht nicht auf: %2\n45261 = %2 statt %1: %3\n0xB09F = Nummer %1\n"), "");
    EXPECT_EQ(plain(open.toString()), "a geht nicht auf: gone");
    EXPECT_EQ(plain(seek.toString()), "Unknown error (exception).  ");
    EXPECT_EQ(plain(coded.toString()), "Nummer 77");
    EXPECT_EQ(plain(rename.toString()), "b statt a: gone");
}

TEST_F(SResManagerTest, FileHoldsTextsByNumber)
{
    ASSERT_EQ(problemOf("\xEF\xBB\xBF# comment\r\n"
                        "\r\n"
                        "  1=one\r\n"
                        "0x2 = \ttwo = 2 \t\r\n"
                        "0XfFfFfFfF = \" kept \"\n"
                        "4 =\n"
                        "5 = a\\n\\t\\\\\\\"b # no comment\n"
                        "6 = \"%1\" begins with a quotation\n"
                        "7 = \"\\\"\"\n"
                        "8 = \"\n"
                        "9 = no end of line"),
              "");
    const std::pair<unsigned long, const char*> rows[] = {{1, "one"},
                                                          {2, "two = 2"},
                                                          {0xFFFFFFFF, " kept "},
                                                          {4, ""},
                                                          {5, "a\n\t\\\"b # no comment"},
                                                          {6, "\"%1\" begins with a quotation"},
                                                          {7, "\""},
                                                          {8, "\""},
                                                          {9, "no end of line"}};
    for (const auto& [number, expected] : rows) {
        SAnsiString text("none");
        EXPECT_TRUE(SResManager::LoadStringA(number, text)) << number;
        EXPECT_EQ(plain(text), expected) << number;
    }
    EXPECT_EQ(problemOf(""), "");
    EXPECT_EQ(plain(SResManager::LoadStringA(1)), "");
}

TEST_F(SResManagerTest, FileThatBreaksTheFormatChangesNothing)
{
    struct Row
    {
        const char* name;
        std::string content;
        const char* line;
    };
    const Row rows[] = {
        {"no equals sign", "1 = a\n2\n", ":2:"},
        {"no number", "one = a\n", ":1:"},
        {"empty number", "= a\n", ":1:"},
        {"hexadecimal without digits", "0x = a\n", ":1:"},
        {"more than 32 bits", "4294967296 = a\n", ":1:"},
        {"negative", "-1 = a\n", ":1:"},
        {"sign", "+1 = a\n", ":1:"},
        {"sign behind the prefix", "0x+1 = a\n", ":1:"},
        {"twice", "1 = a\n\n0x1 = b\n", ":3:"},
        {"unknown escape", "1 = a\\x\n", ":1:"},
        {"escape at the end", "1 = a\\\n", ":1:"},
        {"quotation mark inside", "1 = \"a\" and \"b\"\n", ":1:"},
        {"quotation mark that is escaped away", "1 = \"a\\\"\n", ":1:"},
        {"zero byte", std::string("1 = a\0b\n", 8), ":1:"},
        {"lone byte", "1 = \xE4\n", ":1:"},
        {"overlong form", "1 = \xC0\xAF\n", ":1:"},
        {"surrogate", "1 = \xED\xA0\x80\n", ":1:"},
        {"beyond Unicode", "1 = \xF4\x90\x80\x80\n", ":1:"},
        {"cut sequence", "1 = \xE2\x82", ":1:"},
        {"bad bytes in a comment", "1 = a\n# \xFF\n", ":2:"},
    };
    ASSERT_EQ(problemOf("1 = before\n"), "");
    for (const Row& row : rows) {
        EXPECT_NE(problemOf(row.content).find(std::string("texts") + row.line), std::string::npos)
            << row.name;
        EXPECT_EQ(plain(SResManager::LoadStringA(1)), "before") << row.name;
    }
    SAnsiString problem;
    EXPECT_FALSE(SResManager::AddFile("file", m_scratch.path("missing"), &problem));
    EXPECT_NE(plain(problem).find("Failed to open the file"), std::string::npos);
    EXPECT_FALSE(SResManager::AddFile("file", m_scratch.path("missing")));
    EXPECT_FALSE(SResManager::AddFile("file", m_scratch.root()));
    EXPECT_EQ(plain(SResManager::LoadStringA(1)), "before");
}

TEST_F(SResManagerTest, TextsOfAFileComeInTheFormOfTheLocaleInForce)
{
    ASSERT_EQ(problemOf("1 = M\xC3\xA4rz\n2 = \xE6\x97\xA5\n3 = \xF0\x9F\x98\x80\n"), "");
    EXPECT_EQ(plain(SResManager::LoadStringA(2)), "?");
    {
        const LocaleInForce inForce(german1252);
        ASSERT_TRUE(inForce.found());
        EXPECT_EQ(plain(SResManager::LoadStringA(1)), "M\xE4rz");
        EXPECT_EQ(plain(SResManager::LoadStringA(2)), "?");
    }
    const LocaleInForce inForce(japanese932);
    ASSERT_TRUE(inForce.found());
    EXPECT_EQ(plain(SResManager::LoadStringA(2)), "\x93\xFA");
    SAnsiString wide;
    const unsigned short pair[] = {0xD83D, 0xDE00, 0};
    wide.copyFrom(pair);
    EXPECT_EQ(plain(SResManager::LoadStringA(3)), plain(wide));
}

TEST_F(SResManagerTest, LongFileIsReadWhole)
{
    std::string content;
    for (int number = 1; number <= 20000; ++number) {
        content += std::to_string(number) + " = text " + std::to_string(number) + "\n";
    }
    ASSERT_EQ(problemOf(content), "");
    EXPECT_EQ(plain(SResManager::LoadStringA(1)), "text 1");
    EXPECT_EQ(plain(SResManager::LoadStringA(20000)), "text 20000");
}

TEST_F(SResManagerTest, SourcesComeAndGoWhileOthersLookUp)
{
    std::atomic<bool> ends = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&ends, &wrong] {
            while (!ends) {
                const std::string text = plain(SResManager::LoadStringA(47001));
                const bool isKnown = text == "one" || text == "two" || text == resourceText(47001);
                wrong += isKnown ? 0 : 1;
            }
        });
    }
    for (int i = 0; i < 300; ++i) {
        add("first", 47001, "one");
        add("second", 47001, "two");
        SResManager::RemoveSource("first");
        SResManager::RemoveSource("second");
    }
    ends = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(SResManagerTest, SourceMayLookUpItself)
{
    class Asking : public SResourceSource
    {
    public:
        ~Asking() override { SResManager::RemoveSource("none"); }
        bool Find(unsigned long number, SAnsiString& text) const override
        {
            if (number == 47001) {
                text = SAnsiString("see ") + SResManager::LoadStringA(47000);
            }
            return number == 47001;
        }
    };
    SResManager::AddSource("first", CSmartRefCountPtr<SResourceSource>(new Asking));
    EXPECT_EQ(plain(SResManager::LoadStringA(47001)), std::string("see ") + resourceText(47000));
    add("first", 5, "five");
    EXPECT_EQ(plain(SResManager::LoadStringA(5)), "five");
}

TEST_F(SResManagerTest, HelpStandsWhereTheSuiteSays)
{
    EXPECT_EQ(plain(SSHelp::GetTopicAddress(47001)), "help/47001.html");
    ASSERT_EQ(problemOf("0xB0E0 = https://example.com/?topic=%1&x=100%%\n"), "");
    EXPECT_EQ(plain(SSHelp::GetTopicAddress(7)), "https://example.com/?topic=7&x=100%");
}
