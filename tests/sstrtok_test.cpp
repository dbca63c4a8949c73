#include "morvex/sstrtok.h"

#include "locales.h"
#include "morvex/sstringhelper.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

using Names = std::vector<const char*>;
using Words = std::vector<std::string>;

const Names doubleByte = {"ja_JP.CP932", "Japanese_Japan.932"};
const std::vector<Names> someLocales = {
    {"C"},           doubleByte, {"ja_JP.UTF-8"}, {"zh_CN.GBK", "Chinese_China.936"}, {"de_DE.CP1252"},
    {"ja_JP.EUC-JP"}};

/// A character of code page 932 whose second byte is a backslash's, and one whose second byte is `|`.
const std::string table932 = "\x95\x5C";
const std::string bar932 = "\x83\x7C";

/// The characters, as the string engine walks them.
Words charactersOf(const std::string& text)
{
    Words characters;
    const SAnsiString string(text.c_str());
    for (SAnsiString::iterator at(string); !at.isAtEnd();) {
        const char* const begin = at.getCursor();
        ++at;
        characters.emplace_back(begin, at.getCursor());
    }
    return characters;
}

bool contains(const Words& words, const std::string& word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// Tokens at any of the delimiters, empty ones too.
Words slowTokens(const std::string& text, const std::string& delimiters)
{
    const Words set = charactersOf(delimiters);
    Words tokens(1);
    for (const std::string& character : charactersOf(text)) {
        if (contains(set, character)) {
            tokens.emplace_back();
        } else {
            tokens.back() += character;
        }
    }
    return tokens;
}

Words tokensOf(SStrTok tokens)
{
    Words found;
    for (std::string_view token; tokens.Next(token);) {
        found.emplace_back(token);
    }
    return found;
}

Words tokensOf(RSStrTok tokens, char delimiter)
{
    Words found;
    while (!tokens.isAtEnd()) {
        found.emplace_back(tokens.NextView(delimiter));
    }
    return found;
}

/// Text for which no byte behind its end may be read: there is none.
class Unterminated
{
public:
    explicit Unterminated(const std::string& text) : m_bytes(new char[text.size()]), m_size(text.size())
    {
        std::copy(text.begin(), text.end(), m_bytes.get());
    }
    std::string_view view() const { return std::string_view(m_bytes.get(), m_size); }

private:
    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size;
};

std::string someText(std::mt19937& random)
{
    static const Words pieces = {"a",    "b",    "&",    "=",    " ",    ",",
                                 "\\",   "|",    "\x95", "\x83", "\x5C", "\xE3\x81\x82",
                                 "\xE3", "\x81", "\xFF", "\xE4", "\x8E", "\xA4"};
    std::string text;
    while (random() % 16 != 0) {
        text += pieces[random() % pieces.size()];
    }
    return text;
}

} // namespace

TEST(SStrTok, TakesDelimitersInARowAsOne)
{
    struct Row
    {
        const char* name;
        const char* text;
        const char* delimiters;
        Words tokens;
    };
    const Row rows[] = {
        {"one delimiter", "a b  c", " ", {"a", "b", "c"}},
        {"delimiters at both ends", ",a;,b,", ",;", {"a", "b"}},
        {"delimiters alone", ",,", ",", {}},
        {"no delimiters", "a b", "", {"a b"}},
        {"no text", "", ",", {}},
        {"every character a delimiter", "abc", "cba", {}},
        {"the delimiter twice", "a,b", ",,", {"a", "b"}},
        {"high bytes",
         "a\xFF"
         "b",
         "\xFF",
         {"a", "b"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(tokensOf(SStrTok(row.text, row.delimiters)), row.tokens) << row.name;
        EXPECT_EQ(tokensOf(SStrTok(std::string_view(row.text), row.delimiters)), row.tokens) << row.name;
    }
}

TEST(SStrTok, TellsTheEndAndKeepsTheTargetThere)
{
    SStrTok words("a  b", " ");
    EXPECT_EQ(words.Next().view(), "a");
    EXPECT_EQ(words.rest().view(), " b") << "one delimiter is taken with the token";
    SAnsiString word;
    EXPECT_TRUE(words.Next(word));
    EXPECT_FALSE(words.Next(word));
    EXPECT_EQ(word.view(), "b");
    EXPECT_TRUE(words.Next().isEmpty());
    EXPECT_TRUE(words.rest().isEmpty());
}

TEST(SStrTok, HoldsItsTextAndCopiesGoTheirOwnWay)
{
    SAnsiString text("a b c");
    SStrTok words(text, " ");
    text.setAt(2, 'x');
    text = "other";
    EXPECT_EQ(words.Next().view(), "a");
    SStrTok copy(words);
    EXPECT_EQ(words.Next().view(), "b");
    words = SStrTok("d", " ");
    EXPECT_EQ(copy.Next().view(), "b");
    EXPECT_EQ(copy.Next().view(), "c");
}

TEST(RSStrTok, GivesEmptyTokensAndWhatIsLeft)
{
    struct Row
    {
        const char* text;
        const char* token;
        const char* rest;
        bool isAtEnd;
        Words all;
    };
    const Row rows[] = {
        {"a=1&b&c", "a=1", "b&c", false, {"a=1", "b", "c"}},
        {"a=1", "a=1", "", true, {"a=1"}},
        {"a=1&", "a=1", "", false, {"a=1", ""}},
        {"&b", "", "b", false, {"", "b"}},
        {"&&", "", "&", false, {"", "", ""}},
        {"&", "", "", false, {"", ""}},
        {"", "", "", true, {""}},
    };
    for (const Row& row : rows) {
        SAnsiString held(row.text);
        RSStrTok tokens(held);
        EXPECT_FALSE(tokens.isAtEnd()) << row.text;
        EXPECT_EQ(tokens.Next('&').view(), row.token) << row.text;
        held = tokens.rest();
        EXPECT_EQ(held.view(), row.rest) << row.text;
        EXPECT_EQ(tokens.isAtEnd(), row.isAtEnd) << row.text;
        EXPECT_EQ(tokensOf(RSStrTok(row.text), '&'), row.all) << row.text;
    }
}

TEST(RSStrTok, NextWithoutADelimiterTakesAllThatFollows)
{
    struct Row
    {
        const char* text;
        const char* name;
        const char* value;
    };
    const Row rows[] = {
        {"a=1", "a", "1"}, {"a=b=c", "a", "b=c"}, {"a=", "a", ""}, {"a", "a", ""}, {"=1", "", "1"}};
    for (const Row& row : rows) {
        RSStrTok pair((SAnsiString(row.text)));
        EXPECT_EQ(pair.Next('=').view(), row.name) << row.text;
        EXPECT_EQ(pair.Next().view(), row.value) << row.text;
        EXPECT_TRUE(pair.isAtEnd()) << row.text;
        EXPECT_TRUE(pair.Next().isEmpty());
        EXPECT_TRUE(pair.Next('=').isEmpty());
        EXPECT_TRUE(pair.rest().isEmpty());
    }
}

TEST(Tokens, SecondByteOfADoubleByteCharacterIsNoDelimiter)
{
    const LocaleInForce locale(doubleByte);
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    const std::string text = table932 + "\\" + bar932 + "|" + table932;
    EXPECT_EQ(tokensOf(RSStrTok(text.c_str()), '\\'), (Words{table932, bar932 + "|" + table932}));
    EXPECT_EQ(tokensOf(SStrTok(text.c_str(), "\\|")), (Words{table932, bar932, table932}));
    EXPECT_EQ(tokensOf(SStrTok(text.c_str(), table932.c_str())), (Words{"\\" + bar932 + "|"}));
    EXPECT_EQ(tokensOf(SStrTok("a\x95", "\x95")), Words{"a"})
        << "a first byte alone is a character by itself";

    SScanString scan((SAnsiString(text.c_str())));
    std::string_view token;
    EXPECT_FALSE(scan.Take(table932.substr(0, 1))) << "half a character";
    EXPECT_TRUE(scan.TakeUntil('\\', token));
    EXPECT_EQ(token, table932);
    EXPECT_TRUE(scan.Take(bar932));
    EXPECT_EQ(scan.restView(), "|" + table932);
}

TEST(Tokens, AgreeWithASlowSplitterInEveryLocale)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (const Names& names : someLocales) {
        const LocaleInForce locale(names);
        if (!locale.found()) {
            continue;
        }
        SCOPED_TRACE(names[0]);
        for (int i = 0; i < 3000; ++i) {
            const std::string text = someText(random);
            const std::string delimiters = someText(random).substr(0, 4);
            SCOPED_TRACE(testing::PrintToString(text) + " at " + testing::PrintToString(delimiters));
            Words expected = slowTokens(text, delimiters);
            if (delimiters.size() == 1) {
                ASSERT_EQ(tokensOf(RSStrTok(text.c_str()), delimiters[0]), expected);
                ASSERT_EQ(tokensOf(RSStrTok(Unterminated(text).view()), delimiters[0]), expected);
            }
            std::erase(expected, "");
            ASSERT_EQ(tokensOf(SStrTok(text.c_str(), delimiters.c_str())), expected);
            const Unterminated bytes(text);
            ASSERT_EQ(tokensOf(SStrTok(bytes.view(), delimiters)), expected);
            SIArray<std::string_view> words;
            SStringHelper::makeWords(bytes.view(), delimiters.c_str(), words, false);
            ASSERT_EQ(Words(words.begin(), words.end()), expected);
        }
    }
}

TEST(SScanString, TakesWhatIsThereAndLeavesTheRest)
{
    SScanString scan("  port = -12;ratio=+1.5e2,\"a b\"\"\"last 7f");
    std::string_view text;
    SAnsiString word;
    int number = 0;
    unsigned hex = 0;
    double real = 0;
    EXPECT_TRUE(scan.SkipBlanks().TakeWord(word));
    EXPECT_EQ(word.view(), "port");
    EXPECT_TRUE(scan.SkipBlanks().Take("="));
    EXPECT_TRUE(scan.SkipBlanks().TakeInteger(number));
    EXPECT_EQ(number, -12);
    EXPECT_TRUE(scan.Take(";ratio="));
    EXPECT_TRUE(scan.TakeReal(real));
    EXPECT_EQ(real, 150);
    EXPECT_TRUE(scan.TakeUntil(',', text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(scan.TakeQuoted(word));
    EXPECT_EQ(word.view(), "a b");
    EXPECT_TRUE(scan.TakeQuoted(text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(scan.TakeUntil(' ', word));
    EXPECT_EQ(word.view(), "last");
    EXPECT_FALSE(scan.isAtEnd());
    EXPECT_TRUE(scan.TakeInteger(hex, 16));
    EXPECT_EQ(hex, 0x7Fu);
    EXPECT_TRUE(scan.isAtEnd());
}

TEST(SScanString, LeavesCursorAndTargetAloneWhenItFindsSomethingElse)
{
    struct Row
    {
        const char* text;
        bool (*take)(SScanString&, SAnsiString&, int&, double&);
    };
    const Row rows[] = {
        {"", [](SScanString& s, SAnsiString& t, int&, double&) { return s.TakeWord(t); }},
        {" a", [](SScanString& s, SAnsiString& t, int&, double&) { return s.TakeWord(t); }},
        {"ab", [](SScanString& s, SAnsiString&, int&, double&) { return s.Take("abc"); }},
        {"Ab", [](SScanString& s, SAnsiString&, int&, double&) { return s.Take("ab"); }},
        {"a b", [](SScanString& s, SAnsiString& t, int&, double&) { return s.TakeUntil(';', t); }},
        {"\"a b", [](SScanString& s, SAnsiString& t, int&, double&) { return s.TakeQuoted(t); }},
        {"a\"b\"", [](SScanString& s, SAnsiString& t, int&, double&) { return s.TakeQuoted(t); }},
        {"-", [](SScanString& s, SAnsiString&, int& n, double&) { return s.TakeInteger(n); }},
        {"--1", [](SScanString& s, SAnsiString&, int& n, double&) { return s.TakeInteger(n); }},
        {" 1", [](SScanString& s, SAnsiString&, int& n, double&) { return s.TakeInteger(n); }},
        {"2147483648", [](SScanString& s, SAnsiString&, int& n, double&) { return s.TakeInteger(n); }},
        {"99999999999999999999",
         [](SScanString& s, SAnsiString&, int& n, double&) { return s.TakeInteger(n); }},
        {"1", [](SScanString& s, SAnsiString&, int& n, double&) { return s.TakeInteger(n, 1); }},
        {"", [](SScanString& s, SAnsiString&, int&, double& d) { return s.TakeReal(d); }},
        {"+-1", [](SScanString& s, SAnsiString&, int&, double& d) { return s.TakeReal(d); }},
        {"e5", [](SScanString& s, SAnsiString&, int&, double& d) { return s.TakeReal(d); }},
        {"1e999", [](SScanString& s, SAnsiString&, int&, double& d) { return s.TakeReal(d); }},
    };
    const Recorder recorder;
    for (const Row& row : rows) {
        SScanString scan((SAnsiString(row.text)));
        SAnsiString text("before");
        int number = 42;
        double real = 42;
        EXPECT_FALSE(row.take(scan, text, number, real)) << row.text;
        EXPECT_EQ(scan.restView(), row.text);
        EXPECT_EQ(text.view(), "before") << row.text;
        EXPECT_EQ(number, 42) << row.text;
        EXPECT_EQ(real, 42) << row.text;
    }
}

TEST(SScanString, TakesTheLongestRealNumber)
{
    struct Row
    {
        const char* text;
        double value;
        const char* left;
    };
    const Row rows[] = {{"1e", 1, "e"},
                        {"1.5.5", 1.5, ".5"},
                        {"0x1", 0, "x1"},
                        {"-.5-", -.5, "-"},
                        {"infinite", HUGE_VAL, "inite"},
                        {"1e+5+", 1e5, "+"},
                        {"5.", 5, ""}};
    for (const Row& row : rows) {
        SScanString scan((SAnsiString(row.text)));
        double value = 42;
        EXPECT_TRUE(scan.TakeReal(value)) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
        EXPECT_EQ(scan.restView(), row.left);
    }
    SScanString scan("nan(5)");
    double value = 42;
    EXPECT_TRUE(scan.TakeReal(value));
    EXPECT_NE(value, value);
    EXPECT_EQ(scan.restView(), "(5)");
}

TEST(SScanString, SkipsTheBlanksOfTheLocale)
{
    const LocaleInForce locale({"ja_JP.UTF-8"});
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    SScanString scan(" \t\n\xE3\x80\x80"
                     "a\xE3\x80\x80"
                     "b\xE3\x80");
    std::string_view word;
    EXPECT_TRUE(scan.SkipBlanks().TakeWord(word));
    EXPECT_EQ(word, "a");
    EXPECT_TRUE(scan.SkipBlanks().TakeWord(word));
    EXPECT_EQ(word, "b\xE3\x80") << "half a blank is none";
}
