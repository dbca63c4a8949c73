#include "morvex/codesetconverter.h"

#include "morvex/sstring.h"
#include "morvex/sstringkeys.h"

#include "locales.h"
#include "recorder.h"

#include <climits>
#include <string>
#include <unordered_set>
#include <vector>

using namespace MorvexA106;

namespace
{

using Units = std::basic_string<unsigned short>;
constexpr unsigned int none = UINT_MAX;

const std::vector<const char*> japanese = {"ja_JP.CP932", "Japanese_Japan.932"};
const std::vector<const char*> german = {"de_DE.CP1252", "German_Germany.1252"};

constexpr unsigned short hiragana[] = {0x3042, 0x3044, 0};
const char* const hiraganaBytes = "\x82\xA0\x82\xA2";

} // namespace

// --- CodesetConverter

TEST(CodesetConverter, ReadsAndWritesTheLocalesText)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    unsigned short units[3];
    EXPECT_EQ(CodesetConverter::mbstoucs2(units, hiraganaBytes, 3), 2u);
    EXPECT_EQ(Units(units), Units(hiragana));
    char bytes[5];
    EXPECT_EQ(CodesetConverter::ucs2tombs(bytes, hiragana, sizeof bytes), 4u);
    EXPECT_STREQ(bytes, hiraganaBytes);
    EXPECT_EQ(CodesetConverter::mbtoucs2(units, hiraganaBytes), 2);
    EXPECT_EQ(units[0], 0x3042);
    EXPECT_EQ(CodesetConverter::ucs2tomb(bytes, 0x3044), 2);
    EXPECT_EQ(std::string(bytes, 2), "\x82\xA2");
    EXPECT_EQ(CodesetConverter::ucs2tomb(bytes, 0x0E01), -1);
    EXPECT_EQ(CodesetConverter::mbtoucs2(units, "\x82"), -1);
    EXPECT_EQ(CodesetConverter::mbtoucs2(units, ""), 0);
}

TEST(CodesetConverter, NeverCutsACharacter)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    struct Row
    {
        std::size_t size;
        std::string expected;
        std::size_t result;
    };
    for (const Row& row :
         std::vector<Row>{{0, "####", 0}, {1, "?###", 1}, {2, "\x82\xA0##", 2}, {3, "\x82\xA0?#", 3}}) {
        std::string target(4, '#');
        EXPECT_EQ(CodesetConverter::ucs2tombs(target.data(), hiragana, row.size), row.result);
        EXPECT_EQ(target, row.expected) << row.size;
    }
}

TEST(CodesetConverter, CountsAndReplacesWhatIsNoCharacter)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    unsigned short units[8] = {};
    EXPECT_EQ(CodesetConverter::mbstoucs2(nullptr, "a\x82", 0), 2u);
    EXPECT_EQ(CodesetConverter::mbstoucs2(units, "a\x82", 8), 2u);
    EXPECT_EQ(Units(units), (Units{'a', '?'}));
    EXPECT_EQ(CodesetConverter::mbstoucs2(nullptr, "", 0), 0u);
    EXPECT_EQ(CodesetConverter::mbstoucs2(nullptr, nullptr, 0), 0u);
    EXPECT_EQ(CodesetConverter::ucs2tombs(nullptr, nullptr, 0), 0u);
    const unsigned short thaiAndPair[] = {0x0E01, 0xD83D, 0xDE00, 'x', 0};
    char bytes[8];
    EXPECT_EQ(CodesetConverter::ucs2tombs(bytes, thaiAndPair, sizeof bytes), 4u);
    EXPECT_STREQ(bytes, "???x");
}

TEST(CodesetConverter, CopiesUnitsUpToTheTerminator)
{
    const unsigned short source[] = {'a', 'b', 'c', 0, 'd', 0};
    EXPECT_EQ(CodesetConverter::wcstoucs2(nullptr, source, 0), 3u);
    for (std::size_t room = 0; room < 6; ++room) {
        Units target(6, '#');
        EXPECT_EQ(CodesetConverter::ucs2towcs(target.data(), source, room), std::min<std::size_t>(room, 3));
        Units expected = Units(source).substr(0, room);
        expected += room > 3 ? Units(1, 0) : Units();
        expected.resize(6, '#');
        EXPECT_EQ(target, expected) << room;
    }
    unsigned short unit = 0;
    EXPECT_EQ(CodesetConverter::wctoucs2(&unit, 0xD800), 1);
    EXPECT_EQ(unit, 0xD800);
    EXPECT_EQ(CodesetConverter::ucs2towc(nullptr, 'a'), 1);
}

// --- the forms of a string

TEST(StringForms, SizesCountTheTerminator)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    const SAnsiString multibyte(hiraganaBytes);
    const SAsciiString ascii("abc");
    const SWCharString wide(hiragana);
    EXPECT_EQ(multibyte.getNBytesForMBCS(), 5u);
    EXPECT_EQ(multibyte.getNBytesForQCA(), 6u);
    EXPECT_EQ(multibyte.getNBytesForWChar(), 6u);
    EXPECT_EQ(multibyte.getNBytesForAscii(), 5u);
    EXPECT_EQ(multibyte.getTotalBytes(), 5u);
    EXPECT_EQ(ascii.getNBytesForMBCS(), 4u);
    EXPECT_EQ(ascii.getNBytesForQCA(), 8u);
    EXPECT_EQ(ascii.getTotalBytes(), 4u);
    EXPECT_EQ(wide.getNBytesForMBCS(), 5u);
    EXPECT_EQ(wide.getNBytesForWChar(), 6u);
    EXPECT_EQ(wide.getNBytesForAscii(), 3u);
    EXPECT_EQ(wide.getTotalBytes(), 6u);
    EXPECT_EQ(SQCAString(hiragana).getTotalBytes(), 6u);
    EXPECT_EQ(SAnsiString("a\x82").getNBytesForWChar(), 6u);
    EXPECT_EQ(SAnsiString().getNBytesForQCA(), 2u);
}

/// Every form writes the whole text or says no, and never writes past the size that it was given.
template <class Text, class Unit>
void expectWriting(const Text& text, unsigned int (Text::*write)(Unit*, unsigned int) const,
                   const std::type_identity_t<std::basic_string<Unit>>& expected)
{
    const std::size_t needed = (expected.size() + 1) * sizeof(Unit);
    for (unsigned int size = 0; size < needed + 6; ++size) {
        std::basic_string<Unit> buffer(needed + 8, '#');
        const unsigned int result = (text.*write)(buffer.data(), size);
        ASSERT_EQ(result, size >= needed ? expected.size() + 1 : none) << size;
        if (result != none) {
            ASSERT_EQ(std::basic_string<Unit>(buffer.c_str()), expected);
        }
        const std::size_t within = std::min(size / sizeof(Unit), expected.size() + 1);
        ASSERT_EQ(buffer.substr(within), std::basic_string<Unit>(buffer.size() - within, '#')) << size;
    }
}

TEST(StringForms, WriteAllOrSayNo)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    using Multibyte = SString_t<char, 0>;
    using Ascii = SString_t<char, 1>;
    using Wide = SString_t<unsigned short, 1>;
    const Units wide(hiragana);
    expectWriting<Multibyte>(hiraganaBytes, &Multibyte::toMBCS, hiraganaBytes);
    expectWriting<Multibyte>(hiraganaBytes, &Multibyte::toQCA, wide);
    expectWriting<Multibyte>(hiraganaBytes, &Multibyte::toWChar, wide);
    expectWriting<Multibyte>("plain", &Multibyte::toAscii, "plain");
    expectWriting<Ascii>("plain", &Ascii::toMBCS, "plain");
    expectWriting<Ascii>("plain", &Ascii::toQCA, Units{'p', 'l', 'a', 'i', 'n'});
    expectWriting<Ascii>("plain", &Ascii::toWChar, Units{'p', 'l', 'a', 'i', 'n'});
    expectWriting<Ascii>("plain", &Ascii::toAscii, "plain");
    expectWriting<Wide>(hiragana, &Wide::toMBCS, hiraganaBytes);
    expectWriting<Wide>(hiragana, &Wide::toQCA, wide);
    expectWriting<Wide>(hiragana, &Wide::toWChar, wide);
    expectWriting<Wide>(Units{'o', 'k'}.c_str(), &Wide::toAscii, "ok");
    expectWriting<Wide>(nullptr, &Wide::toMBCS, "");
}

TEST(StringForms, RefuseToWriteIntoNothing)
{
    const Recorder recorder;
    EXPECT_EQ(SAnsiString("a").toMBCS(nullptr, 9), none);
    EXPECT_EQ(recorder.count("outBuffer != 0"), 1);
    EXPECT_EQ(SAnsiString("a").toQCA(nullptr, 9), none);
    EXPECT_EQ(SWCharString().toMBCS(nullptr, 9), none);
    EXPECT_EQ(recorder.count("outBuffer!=NULL"), 2);
    EXPECT_EQ(recorder.count("sstring.cpp"), 3);
    char small[1] = {'#'};
    EXPECT_EQ(SAsciiString("a").toMBCS(small, 1), none);
    EXPECT_EQ(recorder.count("nBytesInBuffer >= nBytesUsed"), 1);
    EXPECT_EQ(*small, '#');
}

TEST(StringForms, AsciiIsRefusedAtTheFirstOtherUnit)
{
    const Recorder recorder;
    char buffer[8] = "#######";
    EXPECT_EQ(SAnsiString("ab\xE4z").toAscii(buffer, sizeof buffer), none);
    EXPECT_EQ(std::string(buffer), "ab#####");
    EXPECT_EQ(recorder.count("Not a valid ASCII string in SString"), 1);
    const unsigned short wide[] = {'a', 0x100, 0};
    EXPECT_EQ(SQCAString(wide).toAscii(buffer, sizeof buffer), none);
    EXPECT_EQ(recorder.count("Not a valid ASCII string in SString"), 2);
}

TEST(StringForms, SevenBitBytesWidenWithTheirSignWhenWritten)
{
    unsigned short units[3];
    EXPECT_EQ(SAsciiString("a\xE4").toQCA(units, sizeof units), 3u);
    EXPECT_EQ(Units(units), (Units{'a', 0xFFE4}));
    SQCAString wide;
    EXPECT_TRUE(wide.fromAscii("a\xE4"));
    EXPECT_EQ(Units(wide.getString()), (Units{'a', 0xE4}));
}

TEST(StringForms, SevenBitTextIsTakenWholeOrNotAtAll)
{
    const Recorder recorder;
    SAsciiString text("old");
    const unsigned short wide[] = {'o', 'k', 0x80, 0};
    EXPECT_FALSE(text.fromMBCS("ok\x80"));
    EXPECT_FALSE(text.fromQCA(wide));
    EXPECT_FALSE(text.fromWChar(wide));
    EXPECT_FALSE(text.copyFrom(wide));
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(recorder.count("Not a valid ASCII string in MBCS"), 1);
    EXPECT_EQ(recorder.count("Not a valid ASCII string in QCA"), 2);
    EXPECT_EQ(recorder.count("Not a valid ASCII string in WChar"), 1);
    EXPECT_TRUE(text.fromMBCS("new"));
    EXPECT_STREQ(text, "new");
    EXPECT_TRUE(text.fromMBCS(text.getString() + 1));
    EXPECT_STREQ(text, "ew");
}

template <class Text>
void expectNullIsRefused(const Text& sample)
{
    const Recorder recorder;
    Text text(sample);
    EXPECT_FALSE(text.fromQCA(nullptr));
    EXPECT_FALSE(text.fromWChar(nullptr));
    EXPECT_FALSE(text.fromAscii(nullptr));
    EXPECT_EQ(recorder.count("inBuffer != 0"), 3);
    EXPECT_TRUE(text == sample);
    EXPECT_TRUE(text.copyFrom(static_cast<const typename Text::other_unit*>(nullptr)));
    EXPECT_TRUE(text.isEmpty());
}

TEST(StringForms, NullIsAnErrorButEmptiesWhereCopied)
{
    expectNullIsRefused(SAnsiString("old"));
    expectNullIsRefused(SAsciiString("old"));
    expectNullIsRefused(SWCharString(hiragana));
    const Recorder recorder;
    SWCharString wide(hiragana);
    EXPECT_FALSE(wide.fromMBCS(nullptr));
    EXPECT_TRUE(wide == hiragana);
    SAnsiString text("old");
    EXPECT_TRUE(text.fromMBCS(nullptr));
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(recorder.count("inBuffer != 0"), 1);
}

TEST(StringForms, TheOtherWidthIsConverted)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    SAnsiString text("a longer text that is replaced");
    EXPECT_TRUE(text.copyFrom(hiragana));
    EXPECT_STREQ(text, hiraganaBytes);
    SQCAString wide;
    EXPECT_TRUE(wide.copyFrom("a\x82\xA0\x82"));
    EXPECT_EQ(Units(wide.getString()), (Units{'a', 0x3042, '?'}));
    const unsigned short thai[] = {'x', 0x0E01, 0};
    EXPECT_TRUE(text.fromWChar(thai));
    EXPECT_STREQ(text, "x?");
}

TEST(StringForms, AsciiOfTheStringsOwnTextIsWhatItSaid)
{
    SAnsiString text("a text that moves");
    EXPECT_TRUE(text.fromAscii(text.getString() + 2, 4));
    EXPECT_STREQ(text, "text");
    EXPECT_TRUE(text.fromAscii(text.getString()));
    EXPECT_STREQ(text, "text");
    EXPECT_TRUE(text.fromAscii("a\0b", 3));
    EXPECT_EQ(text.view(), std::string_view("a\0b", 3));
    EXPECT_TRUE(text.fromAscii("abc", 0));
    EXPECT_TRUE(text.isEmpty());
}

TEST(StringForms, AnAsciiStringTakesRawUnitsUnchecked)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    const SAnsiString multibyte(hiraganaBytes);
    EXPECT_EQ(SAsciiString(multibyte, true).view(), "\x82\xA0"); // as many bytes as characters
    EXPECT_TRUE(SAsciiString(multibyte, false).isEmpty());
    EXPECT_EQ(SAsciiString(SWCharString(hiragana), true).view(), "\x42\x44");
    EXPECT_EQ(SAsciiString(SQCAString(hiragana), true).view(), "\x42\x44");
    EXPECT_TRUE(SAsciiString(SQCAString(hiragana), false).isEmpty());
    SAsciiString text("abcdef");
    SAsciiString::iterator first(text);
    SAsciiString::iterator last(text);
    EXPECT_EQ(SAsciiString(first += 1, last += 3).view(), "bc");
    text.concatFromAsciiCharacters(text.getString() + 3, 3);
    EXPECT_EQ(text.view(), "abcdefdef");
    text.concatFromAsciiCharacters(static_cast<const unsigned short*>(nullptr), 3);
    EXPECT_EQ(text.view(), "abcdefdef");
}

// --- characters

TEST(CharacterForms, GiveTheUnitsWritten)
{
    const LocaleInForce inForce(japanese);
    ASSERT_TRUE(inForce.found());
    using Multibyte = SChar_t<char, 0>;
    using Ascii = SChar_t<char, 1>;
    using Wide = SChar_t<unsigned short, 1>;
    char bytes[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(Multibyte("\x82\xA0").toMBCSChar(nullptr, 0), 2u);
    EXPECT_EQ(Multibyte("\x82\xA0").toMBCSChar(bytes, 1), 2u);
    EXPECT_EQ(std::string(bytes, 4), "####");
    EXPECT_EQ(Multibyte("\x82\xA0").toMBCSChar(bytes, 3), 2u);
    EXPECT_EQ(std::string(bytes, 4), std::string("\x82\xA0\0#", 4));
    EXPECT_EQ(Multibyte("\x82").toMBCSChar(bytes, 4), none);
    EXPECT_EQ(Multibyte().toMBCSChar(bytes, 1), 0u);
    EXPECT_EQ(Wide(0x3044).toMBCSChar(bytes, 4), 2u);
    EXPECT_EQ(std::string(bytes, 2), "\x82\xA2");
    EXPECT_EQ(Wide(0x0E01).toMBCSChar(bytes, 4), none);
    EXPECT_EQ(Ascii('a').toMBCSChar(bytes, 4), 1u);
    EXPECT_EQ(Ascii('a').toMBCSChar(nullptr, 4), 0u);

    char byte = '#';
    EXPECT_EQ(Multibyte("\x82\xA0").toAsciiChar(&byte), 0u);
    EXPECT_EQ(Multibyte('\xB1').toAsciiChar(&byte), 0u);
    EXPECT_EQ(Wide(0x80).toAsciiChar(&byte), 0u);
    EXPECT_EQ(byte, '#');
    EXPECT_EQ(Multibyte('x').toAsciiChar(&byte), 1u);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(Ascii('\x80').toAsciiChar(&byte), 1u);
    EXPECT_EQ(Ascii('a').toAsciiChar(nullptr), 0u);

    unsigned short units[2] = {1, 1};
    EXPECT_EQ(Multibyte("\x82\xA0").toQCAChar(units), 1u);
    EXPECT_EQ(units[0], 0x3042);
    EXPECT_EQ(Multibyte("\x82").toWideChar(units), 0u);
    EXPECT_EQ(Ascii('\xE4').toQCAChar(units), 1u);
    EXPECT_EQ(units[0], 0xFFE4);
    EXPECT_EQ(Wide(0xD800).toWideChar(units), 1u);
    EXPECT_EQ(Wide(0xD800).toWideChar(nullptr), 0u);
    EXPECT_EQ(units[1], 1);
}

TEST(CharacterForms, ACharacterBeyond16BitsIsAPair)
{
    const LocaleInForce inForce({"en_US.UTF-8"});
    if (!inForce.found()) {
        GTEST_SKIP() << "this system's C library does not know UTF-8";
    }
    unsigned short units[2];
    EXPECT_EQ((SChar_t<char, 0>("\xF0\x9F\x98\x80").toQCAChar(units)), 2u);
    EXPECT_EQ(units[0], 0xD83D);
    EXPECT_EQ(units[1], 0xDE00);
    EXPECT_EQ(CodesetConverter::mbtoucs2(units, "\xF0\x9F\x98\x80"), -1);
    EXPECT_EQ(units[0], 0xD83D);
}

// --- keys and views

TEST(StringKeys, OrderByBytesAndWithoutCase)
{
    const LocaleInForce inForce(german);
    ASSERT_TRUE(inForce.found());
    EXPECT_TRUE(SStringBinary("b") < SStringBinary("\xE4"));
    EXPECT_TRUE(SStringBinary("B") < "b");
    EXPECT_FALSE(SStringBinary("B") == SAnsiString("b"));
    EXPECT_TRUE(SMapStringCaseInsensitive("Timeout") == SMapStringCaseInsensitive("tIMEOUT"));
    EXPECT_FALSE(SMapStringCaseInsensitive("a") < "A");
    EXPECT_TRUE(SMapStringCaseInsensitive("a") < SAnsiString("B"));
}

TEST(StandardTypes, ViewsShowTheUnitsAndHashesGoByEquality)
{
    SWCharString wide(std::u16string_view(u"\x3042 b"));
    EXPECT_EQ(wide.view(), u"\x3042 b");
    wide += static_cast<unsigned short>('c');
    EXPECT_EQ(wide.view(), u"\x3042 bc");

    std::unordered_set<SAnsiString> names = {"one", "two", "one"};
    EXPECT_EQ(names.size(), 2u);
    EXPECT_TRUE(names.contains("two"));
    EXPECT_EQ(std::hash<SAnsiString>()("text"), std::hash<SAnsiString>()(SAnsiString("te") + "xt"));
    EXPECT_EQ(std::hash<SAsciiString>()("a"),
              std::hash<SAsciiString>()(SAsciiString(std::string_view("a\0b", 3))));
    EXPECT_EQ(std::hash<SQCAString>()(hiragana), std::hash<SQCAString>()(SQCAString(hiragana)));
    EXPECT_NE(std::hash<SStringBinary>()("a"), std::hash<SStringBinary>()("b"));
}
