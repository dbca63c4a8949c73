#include "morvex/codepages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace MorvexA106::CodePages;

namespace
{

using Units = std::u16string;
using Bytes = std::string;

constexpr unsigned firstTrail = 0x40;

/// Decodes into a block of exactly the promised size, so that a sanitizer sees what goes past it.
Units decoded(CodePage page, const Bytes& bytes)
{
    const std::unique_ptr<char[]> source(new char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), source.get());
    const std::unique_ptr<unsigned short[]> units(new unsigned short[bytes.size()]);
    const std::size_t count = decode(page, {source.get(), bytes.size()}, units.get());
    EXPECT_LE(count, bytes.size());
    return Units(units.get(), units.get() + count);
}

Bytes encoded(CodePage page, const Units& units)
{
    const std::unique_ptr<unsigned short[]> source(new unsigned short[units.size()]);
    std::copy(units.begin(), units.end(), source.get());
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[maxBytes * units.size()]);
    const std::size_t count = encode(page, source.get(), units.size(), bytes.get());
    EXPECT_LE(count, maxBytes * units.size());
    return Bytes(bytes.get(), bytes.get() + count);
}

Bytes pairOf(unsigned lead, unsigned trail)
{
    return {static_cast<char>(lead), static_cast<char>(trail)};
}

/// The bytes of a code as the data file writes it: one or two.
Bytes bytesOf(unsigned code)
{
    return code > 0xFF ? pairOf(code >> 8, code & 0xFF) : Bytes(1, static_cast<char>(code));
}

/// FNV-1a, as the data file has it.
class Hash
{
public:
    void addUnits(const Units& units)
    {
        for (const char16_t unit : units) {
            add(unit & 0xFF);
            add(unit >> 8);
        }
        add(0x100);
    }
    void addBytes(const Bytes& bytes)
    {
        for (const char byte : bytes) {
            add(static_cast<unsigned char>(byte));
        }
        add(0x100);
    }
    std::uint32_t value() const { return m_value; }

private:
    void add(std::uint32_t value) { m_value = (m_value ^ value) * 0x01000193u; }

    std::uint32_t m_value = 0x811C9DC5u;
};

/// UTF-8 of up to three bytes a character.
Units fromUtf8(const std::string& text)
{
    Units units;
    for (std::size_t at = 0; at < text.size();) {
        const unsigned char lead = static_cast<unsigned char>(text[at++]);
        unsigned value = lead < 0x80 ? lead : lead < 0xE0 ? lead & 0x1F : lead & 0x0F;
        for (int more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : 2; more > 0; --more) {
            value = value << 6 | (text[at++] & 0x3F);
        }
        units += static_cast<char16_t>(value);
    }
    return units;
}

unsigned hex(const std::string& text)
{
    return static_cast<unsigned>(std::stoul(text, nullptr, 16));
}

/// What Windows gives: the rows of tests/data/codepages.txt for one code page.
struct Expected
{
    Units singles;
    std::map<unsigned, Units> pairs;
    std::map<unsigned, unsigned> privateFirst;
    std::map<unsigned, unsigned> leadHashes;
    std::map<unsigned, unsigned> fits;
    std::map<unsigned, unsigned> unitHashes;

    void addLine(const std::string& keyword, unsigned argument, const std::string& value)
    {
        if (keyword == "pairs") {
            pairs[argument] = fromUtf8(value);
        } else if (keyword == "private") {
            privateFirst[argument] = hex(value);
        } else if (keyword == "single") {
            addSingles(value);
        } else {
            addMap(keyword == "lead" ? leadHashes : keyword == "fit" ? fits : unitHashes, value);
        }
    }

    /// The unit of a pair, or 0.
    char16_t unitOf(unsigned lead, unsigned trail) const
    {
        if (trail < firstTrail || trail > 0xFC || trail == 0x7F) {
            return 0;
        }
        if (const auto found = privateFirst.find(lead); found != privateFirst.end()) {
            return static_cast<char16_t>(found->second + trail - firstTrail - (trail > 0x7F ? 1 : 0));
        }
        const auto found = pairs.find(lead);
        const char16_t unit = found != pairs.end() ? found->second[trail - firstTrail] : u'.';
        return unit != u'.' ? unit : u'\0';
    }

private:
    void addSingles(const std::string& value)
    {
        std::istringstream items(value);
        for (std::string item; items >> item;) {
            singles += static_cast<char16_t>(hex(item));
        }
    }
    static void addMap(std::map<unsigned, unsigned>& map, const std::string& value)
    {
        std::istringstream items(value);
        for (std::string item; items >> item;) {
            map[hex(item.substr(0, item.find('=')))] = hex(item.substr(item.find('=') + 1));
        }
    }
};

std::map<std::string, Expected> readExpected()
{
    std::map<std::string, Expected> pages;
    std::ifstream file(MORVEX_TEST_DATA "/codepages.txt");
    std::string page;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("page ")) {
            page = line.substr(5);
        } else if (const std::size_t colon = line.find(':'); !line.starts_with('#') && colon != line.npos) {
            std::istringstream head(line.substr(0, colon));
            std::string keyword;
            std::string argument = "0";
            head >> keyword >> argument;
            pages[page].addLine(keyword, hex(argument), line.substr(colon + 1));
        }
    }
    return pages;
}

const Expected& expected(CodePage page)
{
    static const std::map<std::string, Expected> all = readExpected();
    return all.at(page == CodePage::windows1252 ? "1252" : "932");
}

constexpr CodePage everyPage[] = {CodePage::windows1252, CodePage::windows932};

/// Decodes by the data file, slowly.
Units slowlyDecoded(CodePage page, const Bytes& bytes)
{
    const Expected& table = expected(page);
    Units units;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const unsigned first = static_cast<unsigned char>(bytes[at]);
        const bool more = at + 1 < bytes.size() && bytes[at + 1] != 0;
        if (!table.leadHashes.contains(first) || !more) {
            units += table.singles[first];
            continue;
        }
        const char16_t unit = table.unitOf(first, static_cast<unsigned char>(bytes[++at]));
        units += unit != 0 ? unit : u'\u30FB';
    }
    return units;
}

} // namespace

TEST(CodePages, EveryByteAloneDecodesAsOnWindows)
{
    for (const CodePage page : everyPage) {
        ASSERT_EQ(expected(page).singles.size(), 256u);
        for (int byte = 0; byte < 256; ++byte) {
            EXPECT_EQ(decoded(page, Bytes(1, static_cast<char>(byte))),
                      Units(1, expected(page).singles[byte]))
                << "byte " << byte;
        }
    }
}

TEST(CodePages, EveryPairDecodesAsOnWindows)
{
    const Expected& table = expected(CodePage::windows932);
    ASSERT_EQ(table.leadHashes.size(), 60u);
    int characters = 0;
    for (const auto& [lead, expectedHash] : table.leadHashes) {
        Hash hash;
        for (unsigned trail = 0; trail < 256; ++trail) {
            const Units units = decoded(CodePage::windows932, pairOf(lead, trail));
            const char16_t unit = table.unitOf(lead, trail);
            characters += unit != 0 ? 1 : 0;
            EXPECT_EQ(units[0], unit != 0 ? unit : u'\u30FB') << "lead " << lead << " trail " << trail;
            hash.addUnits(units);
        }
        EXPECT_EQ(hash.value(), expectedHash) << "lead " << lead;
    }
    EXPECT_EQ(characters, 7724 + 1880) << "characters of the code page, and the user's own";
}

TEST(CodePages, EveryUnitEncodesAsOnWindows)
{
    for (const CodePage page : everyPage) {
        Hash unknown;
        for (int i = 0; i < 256; ++i) {
            unknown.addBytes("?");
        }
        for (unsigned high = 0; high < 256; ++high) {
            Hash hash;
            for (unsigned low = 0; low < 256; ++low) {
                hash.addBytes(encoded(page, Units(1, static_cast<char16_t>(high << 8 | low))));
            }
            const auto found = expected(page).unitHashes.find(high);
            EXPECT_EQ(hash.value(),
                      found != expected(page).unitHashes.end() ? found->second : unknown.value())
                << "units from " << std::hex << (high << 8);
        }
        for (const auto& [unit, code] : expected(page).fits) {
            EXPECT_EQ(encoded(page, Units(1, static_cast<char16_t>(unit))), bytesOf(code))
                << std::hex << unit;
        }
    }
    EXPECT_EQ(expected(CodePage::windows1252).fits.size(), 441u);
    EXPECT_EQ(expected(CodePage::windows932).fits.size(), 83u);
}

TEST(CodePages, WhatIsACharacterComesBackThoughNotAlwaysInTheSameBytes)
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        const Bytes single(1, static_cast<char>(byte));
        EXPECT_EQ(encoded(CodePage::windows1252, decoded(CodePage::windows1252, single)), single);
    }
    const Expected& table = expected(CodePage::windows932);
    int elsewhere = 0;
    for (const auto& [lead, hash] : table.leadHashes) {
        for (unsigned trail = firstTrail; trail <= 0xFC; ++trail) {
            if (const char16_t unit = table.unitOf(lead, trail); unit != 0) {
                const Bytes back = encoded(CodePage::windows932, Units(1, unit));
                EXPECT_EQ(decoded(CodePage::windows932, back), Units(1, unit));
                elsewhere += back != pairOf(lead, trail) ? 1 : 0;
            }
        }
    }
    EXPECT_EQ(elsewhere, 398) << "the characters that stand twice";
}

TEST(CodePages, TextDecodes)
{
    struct Row
    {
        const char* name;
        CodePage page;
        Bytes bytes;
        Units units;
    };
    const Row rows[] = {
        {"nothing", CodePage::windows932, "", u""},
        {"an undefined byte", CodePage::windows1252, "a\x81z", u"a\u0081z"},
        {"the euro", CodePage::windows1252, "\x80 5", u"\u20AC 5"},
        {"a pair whose trail is a backslash", CodePage::windows932, "\x83\x5C\\", u"\u30BD\\"},
        {"a pair whose trail is a lead byte", CodePage::windows932, "\x81\x81\x81\x40", u"\uFF1D\u3000"},
        {"half width", CodePage::windows932, "\xB1\xDE", u"\uFF71\uFF9E"},
        {"a lead byte at the end", CodePage::windows932, "a\x83", u"a\u30FB"},
        {"a lead byte before a zero", CodePage::windows932, Bytes("\x83\0\x41", 3), Units(u"\u30FB\0A", 3)},
        {"a lead byte takes an ASCII byte with it", CodePage::windows932, "\x83\"q", u"\u30FBq"},
        {"a lead byte takes a lead byte with it", CodePage::windows932, "\x85\x83\x5C", u"\u30FB\\"},
        {"bytes that never lead", CodePage::windows932, "\x80\xA0\xFD\xFE\xFF\x5C",
         u"\x80\uF8F0\uF8F1\uF8F2\uF8F3\\"},
        {"the user's own area", CodePage::windows932, "\xF0\x40\xF0\x7F\xF0\x80\xF9\xFC\xFA\x40",
         u"\uE000\u30FB\uE03F\uE757\u2170"},
        {"the wave dash and the minus", CodePage::windows932, "\x81\x60\x81\x7C", u"\uFF5E\uFF0D"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(decoded(row.page, row.bytes), row.units) << row.name;
    }
}

TEST(CodePages, TextEncodes)
{
    struct Row
    {
        const char* name;
        CodePage page;
        Units units;
        Bytes bytes;
    };
    const Row rows[] = {
        {"nothing", CodePage::windows932, u"", ""},
        {"zero units", CodePage::windows932, Units(u"a\0b", 3), Bytes("a\0b", 3)},
        {"best fit", CodePage::windows1252, u"\u0100\u2215\uFF02\u221E", "A/\"8"},
        {"best fit of a yen sign is a backslash", CodePage::windows932, u"\u00A5", "\\"},
        {"no best fit for the wave dash of others", CodePage::windows932, u"\u301C\u2212", "??"},
        {"surrogates", CodePage::windows932, u"\U0001F600\xD83Dx", "???x"},
        {"surrogates", CodePage::windows1252, u"\U0001F600\xDE00x", "???x"},
        {"a character that stands in three places", CodePage::windows932, u"\u2252\u2170\uFFE2\u7E8A",
         "\x81\xE0\xFA\x40\x81\xCA\xFA\x5C"},
        {"the user's own area", CodePage::windows932, u"\uE000\uE757\uE758", "\xF0\x40\xF9\xFC?"},
        {"no breaking blank", CodePage::windows932, u"\u00A0", "?"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(encoded(row.page, row.units), row.bytes) << row.name;
    }
}

TEST(CodePages, RandomTextIsDecodedAndEncodedPieceByPiece)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const CodePage page = everyPage[round % 2];
        Bytes bytes;
        Units units;
        Bytes single;
        while (bytes.size() < random() % 60) {
            // Runs of ASCII of every length between pairs, wrong ones among them.
            bytes.append(random() % 24, static_cast<char>(random() % 0x80));
            bytes += pairOf(random() % 256, random() % 256);
            units.append(random() % 24, static_cast<char16_t>(random() % 0x80));
            units += static_cast<char16_t>(random());
        }
        for (const char16_t unit : units) {
            single += encoded(page, Units(1, unit));
        }
        ASSERT_EQ(decoded(page, bytes), slowlyDecoded(page, bytes)) << "round " << round;
        ASSERT_EQ(encoded(page, units), single) << "round " << round;
    }
}
