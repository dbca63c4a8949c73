#include "morvex/sstring.h"

#include "locales.h"
#include "opened.h"
#include "recorder.h"

#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

using Character = SChar_t<char, 0>;

/// One locale and text in it: every piece is one character of its code set.
struct Sample
{
    const char* name;
    std::vector<const char*> locales;
    std::vector<std::string> characters;
    std::string wide;       // a character of several bytes, or the widest there is
    std::string trailing;   // begins inside `wide` when its bytes are taken singly
    bool everywhere = true; // known to all systems' C libraries
};

const std::vector<Sample>& samples()
{
    static const std::vector<Sample> all = {
        {"C", {"C"}, {"a", "\\", "b"}, "A", ""},
        {"CP1252", {"de_DE.CP1252", "German_Germany.1252"}, {"a", "\xE4", "\\", "\x80"}, "\xE4", ""},
        {"CP932",
         {"ja_JP.CP932", "Japanese_Japan.932"},
         {"a", "\x83\x5C", "\x83\x41", "\\", "A", "\xB1"},
         "\x83\x5C",
         "\\"},
        {"GBK", {"zh_CN.GBK", "Chinese_China.936"}, {"a", "\x81\x5C", "\xB0\xA1", "\\"}, "\x81\x5C", "\\"},
        {"BIG5", {"zh_TW.BIG5", "Chinese_Taiwan.950"}, {"a", "\xA5\x5C", "\xA4\x41", "A"}, "\xA4\x41", "A"},
        {"UTF-8",
         {"en_US.UTF-8"},
         {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\\"},
         "\xE2\x82\xAC",
         "\x82",
         false},
        {"EUC-JP",
         {"ja_JP.EUC-JP"},
         {"a", "\xA4\xA2", "\x8F\xB0\xA1", "\\"},
         "\x8F\xB0\xA1",
         "\xB0\xA1",
         false},
    };
    return all;
}

std::string nameOfSample(const testing::TestParamInfo<Sample>& sample)
{
    std::string name = sample.param.name;
    std::erase(name, '-');
    return name;
}

std::string joined(const std::vector<std::string>& pieces)
{
    std::string all;
    for (const std::string& piece : pieces) {
        all += piece;
    }
    return all;
}

} // namespace

class InEachLocale : public testing::TestWithParam<Sample>
{
protected:
    InEachLocale() : m_locale(GetParam().locales) {}

    void SetUp() override
    {
        if (!m_locale.found() && !GetParam().everywhere) {
            GTEST_SKIP() << "this system's C library does not know " << GetParam().name;
        }
        ASSERT_TRUE(m_locale.found()) << GetParam().name << " is missing";
    }

    LocaleInForce m_locale;
};

INSTANTIATE_TEST_SUITE_P(Locales, InEachLocale, testing::ValuesIn(samples()), nameOfSample);

TEST_P(InEachLocale, PositionsCountCharacters)
{
    const auto& pieces = GetParam().characters;
    const SAnsiString text(joined(pieces).c_str());
    ASSERT_EQ(text.getNChars(), pieces.size());
    SAnsiString::iterator walk(text);
    for (unsigned i = 0; i < pieces.size(); ++i) {
        EXPECT_EQ(std::string((*walk).getUnits(), pieces[i].size()), pieces[i]);
        EXPECT_EQ((*walk).getLength(), pieces[i].size());
        EXPECT_EQ(text.getAt(i), Character(pieces[i].c_str()));
        EXPECT_EQ(text.getCharIndex(walk), i);
        SAnsiString::iterator next(walk);
        ++next;
        EXPECT_EQ(next - walk, static_cast<std::ptrdiff_t>(pieces[i].size()));
        walk = next;
    }
    EXPECT_TRUE(walk.isAtEnd());
    EXPECT_EQ(text.getCharIndex(walk), pieces.size());
    EXPECT_STREQ(text.right(1), pieces.back().c_str());
    EXPECT_STREQ(text.mid(1, 1), pieces[1].c_str());
}

TEST_P(InEachLocale, ACursorInsideACharacterIsReported)
{
    const std::string& wide = GetParam().wide;
    const SAnsiString text((wide + "z").c_str());
    Recorder recorder;
    EXPECT_EQ(text.getCharIndex(SAnsiString::iterator(text.getString() + wide.size())), 1u);
    EXPECT_EQ(recorder.lines().size(), 0u);
    if (wide.size() > 1) {
        EXPECT_EQ(text.getCharIndex(SAnsiString::iterator(text.getString() + 1)), 1u);
        EXPECT_EQ(recorder.count("(iter2 == iter : no message)"), 1);
    }
}

TEST_P(InEachLocale, AMatchBeginsAtACharacter)
{
    const Sample& sample = GetParam();
    if (sample.trailing.empty()) {
        return;
    }
    const std::string before = sample.wide + sample.wide;
    const SAnsiString text((before + sample.trailing).c_str());
    const SAnsiString wanted(sample.trailing.c_str());
    EXPECT_EQ(text.find(wanted) - SAnsiString::iterator(text), static_cast<std::ptrdiff_t>(before.size()));
    EXPECT_TRUE(SAnsiString(before.c_str()).find(wanted).isAtEnd());
    const SAsciiString bytes((before + sample.trailing).c_str());
    EXPECT_EQ(bytes.find(SAsciiString(sample.trailing.c_str())) - SAsciiString::iterator(bytes),
              static_cast<std::ptrdiff_t>(before.size()))
        << "both byte forms search by the locale's characters";
}

TEST_P(InEachLocale, ReplacingMovesTheRestAndKeepsTheCursor)
{
    const Sample& sample = GetParam();
    SAnsiString text("xyz");
    const SAnsiString sharer(text);
    SAnsiString::iterator at(text);
    ++at;
    const Character wide(sample.wide.c_str());
    text.setAt(at, wide);
    EXPECT_STREQ(text, ("x" + sample.wide + "z").c_str());
    EXPECT_EQ(*at, wide);
    EXPECT_STREQ(sharer, "xyz");
    text.setAt(at, 'y');
    text.setAt(2u, wide);
    EXPECT_STREQ(text, ("xy" + sample.wide).c_str());
    text.insertChar(0u, wide);
    text.deleteChar(1u);
    EXPECT_STREQ(text, (sample.wide + "y" + sample.wide).c_str());
    EXPECT_EQ(text.findLast(wide) - SAnsiString::iterator(text),
              static_cast<std::ptrdiff_t>(sample.wide.size() + 1));
    text.deleteChars(0u, 99);
    EXPECT_TRUE(text.isEmpty());
}

TEST_P(InEachLocale, BytesThatAreNoCharacterAreWalkedOneByOne)
{
    const std::string& wide = GetParam().wide;
    if (wide.size() < 2) {
        return;
    }
    const std::string cut = "a" + wide.substr(0, wide.size() - 1);
    const SAnsiString text(cut.c_str());
    EXPECT_EQ(text.getNChars(), cut.size());
    EXPECT_EQ(text.getAt(1u).getLength(), UINT32_MAX);
    EXPECT_FALSE(text.getAt(1u).isAlpha() || text.getAt(1u).isWhiteSpace());

    Recorder recorder;
    SAnsiString unchanged("abc");
    unchanged.setAt(1u, text.getAt(1u));
    EXPECT_STREQ(unchanged, "abc");
    EXPECT_EQ(recorder.count(
                  "(false : SString::setAt: Cannot set because c is not a valid character in this locale)"),
              1);
    EXPECT_EQ(Character(wide[0]).toUpper(), Character());
    EXPECT_EQ(recorder.count("(false : MakeUpperCaseChar: Fail to convert to wchar_t)"), 1);
    SAnsiString mapped(("x" + cut).c_str());
    mapped.toUpper();
    EXPECT_STREQ(mapped, ("XA" + cut.substr(1)).c_str()) << "what is no character is copied";
}

TEST_P(InEachLocale, EqualTextIsEqualAndOrderIsTotal)
{
    const auto& pieces = GetParam().characters;
    for (const std::string& left : pieces) {
        const SAnsiString l(left.c_str());
        EXPECT_TRUE(l == SAnsiString(left.c_str()));
        for (const std::string& right : pieces) {
            const SAnsiString r(right.c_str());
            EXPECT_EQ(l<r, r> l);
            EXPECT_EQ(l == r, left == right);
            EXPECT_EQ((l < r) + (l == r) + (l > r), 1);
        }
    }
}

TEST(CaseInLocale, FoldingFollowsTheLocale)
{
    const LocaleInForce german({"de_DE.CP1252", "German_Germany.1252"});
    ASSERT_TRUE(german.found());
    SAnsiString text("\xE4\xF6\xFC");
    text.toUpper();
    EXPECT_STREQ(text, "\xC4\xD6\xDC");
    EXPECT_TRUE(SAnsiStringCI("\xC4") == "\xE4");
    EXPECT_EQ(Character('\xE4').toUpper(), Character('\xC4'));
    const SAnsiStringCI street("GR\xDC\xDF"
                               "E");
    EXPECT_STREQ(street.find("\xFC").getCursor(), "\xDC\xDF"
                                                  "E");
}
