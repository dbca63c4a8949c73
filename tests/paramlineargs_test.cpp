#include "morvex/paramlineargs.h"

#include "morvex/sstringhelper.h"

#include "locales.h"
#include "recorder.h"

#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

using Words = std::vector<std::string>;

/// What `main` is given, in storage of its own.
class ArgumentVector
{
public:
    explicit ArgumentVector(Words words) : m_words(std::move(words))
    {
        for (std::string& word : m_words) {
            m_pointers.push_back(word.data());
        }
        m_pointers.push_back(nullptr);
    }

    char** get() { return m_pointers.data(); }

private:
    Words m_words;
    std::vector<char*> m_pointers;
};

CParamLineArgs fromVector(const Words& words)
{
    // The count is of no use to anybody, so it may be anything.
    return CParamLineArgs(-7, ArgumentVector(words).get());
}

CParamLineArgs fromLine(const std::string& line)
{
    return CParamLineArgs(SAnsiString(std::string_view(line)));
}

std::string joined(const SIArray<SAnsiString>& words)
{
    std::string text;
    for (const SAnsiString& word : words) {
        text += (text.empty() ? "" : "|") + std::string(word.view());
    }
    return text;
}

/// The program name and the options as "prog|-a|1|-b".
std::string told(const CParamLineArgs& args)
{
    SIArray<SAnsiString> words;
    args.GetArgs(words);
    return joined(words);
}

std::string wordsWithQuote(const CParamLineArgs& args)
{
    SIArray<SAnsiString> words;
    args.GetArgsWithQuote(words);
    return joined(words);
}

unsigned optionCount(const CParamLineArgs& args)
{
    SIArray<SAnsiString> words;
    args.GetArgs(words);
    unsigned count = 0;
    for (const SAnsiString& word : words) {
        count += *word.getString() == '-' ? 1 : 0;
    }
    return count;
}

std::string repeated(std::size_t bytes, const std::function<std::string(unsigned)>& word)
{
    std::string text;
    for (unsigned index = 0; text.size() < bytes; ++index) {
        text += word(index);
    }
    return text;
}

constexpr std::size_t megabyte = 1 << 20;

} // namespace

TEST(makeWords, endsWordsAtWholeCharacters)
{
    struct Row
    {
        const char* name;
        std::vector<const char*> locales;
        const char* text;
        const char* separators;
        bool quotes;
        const char* words;
    };
    const std::vector<const char*> any = {"C"};
    const std::vector<const char*> utf8 = {"ja_JP.UTF-8"};
    const std::vector<const char*> doubleByte = {"ja_JP.CP932", "Japanese_Japan.932"};
    const Row rows[] = {
        {"separators at both ends and in a row", any, ",;a,,b;,", ",;", false, "a|b"},
        {"no separators", any, "a b", "", false, "a b"},
        {"no text", any, "", " ", true, ""},
        {"quotes off", any, "\"a b\"", " ", false, "\"a|b\""},
        {"quotes on and a separator", any, "\"a b\"", " \"", true, "a b"},
        {"quotes off and a separator", any, "\"a b\"", " \"", false, "a|b"},
        {"trail bytes are no separators", doubleByte, "\x83\\b\\\x83\x41", "\\A", false, "\x83\\b|\x83\x41"},
        {"a lead byte before a quote", doubleByte, "a\x83\"b c\"", " ", true, "a\x83|b c"},
        {"long separators", utf8,
         "a\xE3\x80\x81\xE3\x80\x82\xE3\x80\x81"
         "b",
         "\xE3\x80\x81", false, "a|\xE3\x80\x82|b"},
        {"bytes that are no text", utf8, "\x81\xE3 \x80,\xFF", " ,", false, "\x81\xE3|\x80|\xFF"},
    };
    for (const Row& row : rows) {
        const LocaleInForce locale(row.locales);
        if (!locale.found()) {
            ASSERT_EQ(row.locales, utf8) << row.name; // Windows has no such locale
            continue;
        }
        SIArray<SAnsiString> words;
        SStringHelper::makeWords(row.text, row.separators, words, row.quotes);
        EXPECT_EQ(joined(words), row.words) << row.name;
    }
}

TEST(makeWords, replacesTheWordsThatItReads)
{
    SIArray<SAnsiString> words;
    words.Add("a b");
    SStringHelper::makeWords(words.ElementAt(0), words.ElementAt(0).mid(1, 1), words, true);
    EXPECT_EQ(joined(words), "a|b");
}

TEST(CParamLineArgs, readsOptionsFromAVectorAndFromALineAlike)
{
    struct Row
    {
        const char* name;
        Words words;
        const char* after;
    };
    const Row rows[] = {
        {"value and flag", {"prog", "-a", "1", "-b"}, "prog|-a|1|-b"},
        {"loose words are dropped", {"prog", "x", "-a", "1", "2", "3", "-b"}, "prog|-a|1|-b"},
        {"no value begins with a dash", {"prog", "-a", "-1"}, "prog|-a|-1"},
        {"the last of two spellings", {"prog", "-A", "1", "-b", "-a", "2"}, "prog|-b|-a|2"},
        {"a repeated option loses its value", {"prog", "-a", "1", "-A"}, "prog|-A"},
        {"all leading dashes go", {"prog", "---log", "x"}, "prog|-log|x"},
        {"inner dashes stay", {"prog", "-a-b-", "x-"}, "prog|-a-b-|x-"},
        {"no equals sign", {"prog", "-a=b", "c"}, "prog|-a=b|c"},
        {"no slash", {"prog", "/a", "-b", "/c"}, "prog|-b|/c"},
        {"the program name is never an option", {"-a", "1", "-b"}, "-a|-b"},
        {"dashes alone are one option without a name", {"prog", "-", "1", "--", "2"}, "prog|-|2"},
        {"no option", {"prog"}, "prog"},
    };
    for (const Row& row : rows) {
        std::string line;
        for (const std::string& word : row.words) {
            line += word + " \t\r\n";
        }
        EXPECT_EQ(told(fromVector(row.words)), row.after) << row.name;
        EXPECT_EQ(told(fromLine(line)), row.after) << row.name;
        EXPECT_EQ(told(fromLine("\n " + line)), row.after) << row.name << ", white space in front";
    }
}

TEST(CParamLineArgs, readsQuotes)
{
    struct Row
    {
        const char* name;
        const char* line;
        const char* after;
    };
    const Row rows[] = {
        {"separators inside", "\"my prog\" -p \"a\tb\r\nc d\"", "my prog|-p|a\tb\r\nc d"},
        {"a word right behind a closing quote", "prog -p \"a b\"-q 1", "prog|-p|a b|-q|1"},
        {"a quote right behind a word", "prog -p\"a b\"-q", "prog|-p|a b|-q"},
        {"two quoted words in a row", "\"a b\"\"-c\"\"d\"", "a b|-c|d"},
        {"an unclosed quote runs to the end", "prog -p \"a -b ", "prog|-p|a -b "},
        {"a lone quote at the end", "prog -p 1 \"", "prog|-p|1"},
        {"an empty word takes the value's place", "prog -p \"\" 1 -q", "prog|-p|-q"},
        {"a loose empty word is skipped", "prog \"\" -p 1 \"\" \"\"", "prog|-p|1"},
        {"quotes don't hide a dash", "prog \"-p\" \"-1\"", "prog|-p|-1"},
        {"no escape", "prog -p a\\\"b", "prog|-p|a\\"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(told(fromLine(row.line)), row.after) << row.name;
    }
}

TEST(CParamLineArgs, reportsALineWithoutAProgramName)
{
    for (const char* line : {" ", "\t\r\n \n", "\"\"", "\"", " \"\" -a 1"}) {
        Recorder recorder;
        CParamLineArgs args("earlier -old");
        SAnsiString value;
        args.SetArgs(line);
        EXPECT_EQ(recorder.count("!m_programName.isEmpty()"), 1) << line;
        EXPECT_EQ(recorder.askedFile(), "paramlineargs.cpp");
        EXPECT_TRUE(args.GetProgramName().isEmpty()) << line;
        EXPECT_FALSE(args.Lookup("old", value)) << line;
        EXPECT_EQ(args.Lookup("a", value), std::string(line).find('a') != std::string::npos) << line;
    }
}

TEST(CParamLineArgs, keepsEverythingForAnEmptyLineButNotForAnEmptyVector)
{
    Recorder recorder;
    CParamLineArgs args("prog -a 1");
    args.SetArgs("");
    EXPECT_EQ(told(args), "prog|-a|1");

    CParamLineArgs none(args);
    none.SetArgs(0, nullptr);
    EXPECT_STREQ(none.GetCmdLine(), "");
    args.SetArgs(0, ArgumentVector({}).get());
    EXPECT_STREQ(args.GetCmdLine(), "");
    EXPECT_TRUE(recorder.lines().empty());
}

TEST(CParamLineArgs, readsItsOwnProgramName)
{
    CParamLineArgs args("\"prog -a 1\"");
    args.SetArgs(args.GetProgramName());
    EXPECT_EQ(told(args), "prog|-a|1");
}

TEST(CParamLineArgs, setsLooksUpAndRemovesWithoutCase)
{
    CParamLineArgs args("prog -Path here -flag");
    SAnsiString value("before");
    EXPECT_FALSE(args.Lookup("none", value));
    EXPECT_STREQ(value, "before");
    EXPECT_TRUE(args.Lookup("FLAG", value));
    EXPECT_STREQ(value, "");

    args.SetArg("PATH", "there");
    EXPECT_EQ(told(args), "prog|-flag|-PATH|there");
    EXPECT_TRUE(args.RemoveArg("Flag"));
    EXPECT_FALSE(args.RemoveArg("flag"));
    EXPECT_EQ(told(args), "prog|-PATH|there");
}

TEST(CParamLineArgs, copiesDeeply)
{
    CParamLineArgs args("prog -a 1");
    CParamLineArgs copy;
    copy = args;
    copy.SetArg("a", "2");
    copy.SetProgramName("other");
    EXPECT_EQ(told(args), "prog|-a|1");
    EXPECT_EQ(told(copy), "other|-a|2");
}

TEST(CParamLineArgs, quotesWhatHoldsABlank)
{
    struct Row
    {
        const char* name;
        const char* value;
        const char* written;
    };
    const Row rows[] = {
        {"plain", "ab", "ab"},
        {"blank", "a b", "\"a b\""},
        {"blank alone", " ", "\" \""},
        {"tab", "a\tb", "a\tb"},
        {"quote inside is not escaped", "a \"b\"", "\"a \"b\"\""},
        {"quoted already", "\"a b\"", "\"a b\""},
        {"begins with a quote", "\"a b", "\"a b"},
    };
    for (const Row& row : rows) {
        CParamLineArgs args;
        args.SetProgramName(row.value);
        args.SetArg("o p", row.value);
        const std::string written = row.written;
        EXPECT_EQ(told(args), std::string(row.value) + "|-o p|" + row.value) << row.name;
        EXPECT_EQ(wordsWithQuote(args), written + "|-o p|" + written) << row.name;
        EXPECT_EQ(std::string(args.GetCmdLine()), written + " -o p " + written + " ") << row.name;
    }
}

TEST(CParamLineArgs, writesTheLineWithATrailingBlank)
{
    const SAnsiString line("\"my prog\" -p \"a b\"");
    EXPECT_STREQ(CParamLineArgs(line).GetCmdLine(), SAnsiString(line + " "));
    CParamLineArgs nameless;
    EXPECT_STREQ(nameless.GetCmdLine(), "");
    nameless.SetArg("a", "");
    EXPECT_STREQ(nameless.GetCmdLine(), "-a ");
}

TEST(CParamLineArgs, reportsWhatItCannotWriteWell)
{
    Recorder recorder;
    SIArray<SAnsiString> words;
    const CParamLineArgs nameless;
    nameless.GetArgs(words);
    EXPECT_EQ(recorder.count("!m_programName.isEmpty()"), 1);
    EXPECT_EQ(recorder.count("args.GetSize() == 0"), 0);
    EXPECT_EQ(words.GetSize(), 1u);
    EXPECT_STREQ(words[0], "");

    CParamLineArgs("prog -a").GetArgsWithQuote(words);
    EXPECT_EQ(recorder.count("args.GetSize() == 0"), 1);
    EXPECT_EQ(joined(words), "prog|-a");
}

/// A random command line, read as a whole, must leave what its options leave when they are set one by one;
/// and what was read must come back from the line that it is written as.
TEST(CParamLineArgs, readsTheWholeAsItSetsOneByOneAndReadsBackWhatItWrites)
{
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    const auto text = [&random](const char* alphabet, std::size_t least) {
        const std::string_view letters(alphabet);
        std::string result;
        for (std::size_t length = least + random() % 3; length > 0; --length) {
            result += letters[random() % letters.size()];
        }
        return result;
    };
    for (int round = 0; round < 300; ++round) {
        CParamLineArgs oneByOne;
        oneByOne.SetProgramName(text("pq -\\/", 2).c_str());
        Words words{oneByOne.GetProgramName().getString()};
        for (std::size_t left = random() % 40; left > 0; --left) {
            const std::string name = text("abAB=\\\xE4", 0);
            const std::string value = random() % 2 == 0 ? "" : text("xy =/\\\xE4\xC3", 1);
            oneByOne.SetArg(name.c_str(), value.c_str());
            words.push_back("--" + name);
            if (!value.empty()) {
                words.push_back(value);
            }
        }
        const CParamLineArgs whole = fromVector(words);
        ASSERT_EQ(told(whole), told(oneByOne)) << "seed " << seed << " round " << round;
        const CParamLineArgs readBack(whole.GetCmdLine());
        ASSERT_EQ(told(readBack), told(whole)) << "seed " << seed << " round " << round;
    }
}

/// Each of these takes minutes as soon as a step of it is quadratic.
TEST(CParamLineArgs, survivesAMegabyteOfMalice)
{
    const auto sixDigits = [](unsigned index) { return std::to_string(100000 + index); };
    const auto distinct = [&](unsigned index) { return "-" + sixDigits(index) + " "; };
    const auto inTwoRounds = [&](unsigned index) { return "-" + sixDigits(index % 60000) + " "; };
    struct Row
    {
        const char* name;
        std::string line;
        unsigned options;
    };
    const Row rows[] = {
        {"one option over and over", repeated(megabyte, [](unsigned) { return "-a "; }), 1},
        {"one option in two spellings",
         repeated(megabyte, [](unsigned i) { return i % 2 ? "-a " : "-A 1 "; }), 1},
        {"all options distinct", repeated(megabyte, distinct), 131072},
        {"all options twice", repeated(megabyte, inTwoRounds), 60000},
        {"one name", "-" + std::string(megabyte, 'n'), 1},
        {"dashes", std::string(megabyte, '-'), 1},
        {"loose words", repeated(megabyte, [](unsigned) { return "w "; }), 0},
        {"separators", std::string(megabyte, '\t'), 0},
        {"quotes", std::string(megabyte, '"'), 0},
        {"quotes and blanks out of step", repeated(megabyte, [](unsigned) { return "\" "; }), 0},
        {"an unclosed quote", "\"" + std::string(megabyte, ' '), 0},
        {"bytes that are no text", std::string(megabyte, '\xFF'), 0},
    };
    for (const Row& row : rows) {
        const CParamLineArgs args = fromLine("prog " + row.line);
        EXPECT_STREQ(args.GetProgramName(), "prog") << row.name;
        EXPECT_EQ(optionCount(args), row.options) << row.name;
        EXPECT_EQ(optionCount(CParamLineArgs(args.GetCmdLine())), row.options) << row.name;
    }
}
