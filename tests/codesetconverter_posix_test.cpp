#include "morvex/codesetconverter.h"

#include "morvex/sstring.h"

#include "locales.h"
#include "locales_posix.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

using Units = std::basic_string<unsigned short>;

constexpr unsigned short unitGuard = 0xA5A5;
constexpr char byteGuard = '\x5A';

/// One character after the other through the C library, each with a state of its own.
std::vector<Units> referencePieces(const std::string& text)
{
    std::vector<Units> pieces;
    for (const char* at = text.c_str(); *at != 0;) {
        std::mbstate_t state{};
        wchar_t wide = 0;
        const std::size_t limit = std::min<std::size_t>(std::strlen(at), 6);
        const std::size_t length = std::mbrtowc(&wide, at, limit, &state);
        const auto code = static_cast<char32_t>(wide);
        if (length > limit || code > 0x10FFFF) {
            pieces.push_back({'?'});
        } else if (code > 0xFFFF) {
            pieces.push_back({static_cast<unsigned short>(0xD800 + ((code - 0x10000) >> 10)),
                              static_cast<unsigned short>(0xDC00 + (code & 0x3FF))});
        } else {
            pieces.push_back({static_cast<unsigned short>(code)});
        }
        at += length > limit ? 1 : length;
    }
    return pieces;
}

std::vector<std::string> referencePieces(const Units& units)
{
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < units.size(); ++at) {
        const bool pair =
            (units[at] & 0xFC00) == 0xD800 && at + 1 < units.size() && (units[at + 1] & 0xFC00) == 0xDC00;
        const wchar_t code =
            pair ? 0x10000 + ((units[at] & 0x3FF) << 10) + (units[at + 1] & 0x3FF) : units[at];
        char bytes[MB_LEN_MAX];
        std::mbstate_t state{};
        const std::size_t length = std::wcrtomb(bytes, code, &state);
        if (length == static_cast<std::size_t>(-1) || length == 0) { // 0: the library drops language tags
            pieces.push_back("?");
        } else {
            pieces.emplace_back(bytes, length);
            at += pair ? 1 : 0;
        }
    }
    return pieces;
}

/// What a target of that size holds: whole pieces, and where one does not fit `?` to the end; then a terminator, if
/// it has room. What lies behind the terminator is nobody's business.
template <class Text>
Text referenceInto(const std::vector<Text>& pieces, std::size_t room)
{
    Text target;
    for (const Text& piece : pieces) {
        if (target.size() + piece.size() > room) {
            target.resize(room, '?');
            return target;
        }
        target += piece;
    }
    if (target.size() < room) {
        target += typename Text::value_type{0};
    }
    return target;
}

std::size_t totalOf(const auto& pieces)
{
    std::size_t total = 0;
    for (const auto& piece : pieces) {
        total += piece.size();
    }
    return total;
}

template <class Text>
Text joined(const std::vector<Text>& pieces)
{
    Text all;
    for (const Text& piece : pieces) {
        all += piece;
    }
    return all;
}

void expectDecoding(const std::string& text, const std::vector<std::size_t>& rooms)
{
    const std::vector<Units> pieces = referencePieces(text);
    const std::size_t total = totalOf(pieces);
    ASSERT_EQ(CodesetConverter::mbstoucs2(nullptr, text.c_str(), 0), total) << testing::PrintToString(text);
    for (const std::size_t room : rooms) {
        Units target(room + 1, unitGuard);
        const std::size_t result = CodesetConverter::mbstoucs2(target.data(), text.c_str(), room);
        const Units expected = referenceInto(pieces, room);
        ASSERT_EQ(target.substr(0, expected.size()), expected) << room << testing::PrintToString(text);
        ASSERT_EQ(target.back(), unitGuard) << room;
        ASSERT_EQ(result, std::min(room, total));
    }
    SWCharString wide;
    ASSERT_TRUE(wide.fromMBCS(text.c_str()));
    ASSERT_EQ(Units(wide.getString()), joined(pieces)) << testing::PrintToString(text);
}

void expectEncoding(const Units& units, const std::vector<std::size_t>& rooms)
{
    const std::vector<std::string> pieces = referencePieces(units);
    const std::size_t total = totalOf(pieces);
    ASSERT_EQ(CodesetConverter::ucs2tombs(nullptr, units.c_str(), 0), total) << testing::PrintToString(units);
    for (const std::size_t room : rooms) {
        std::string target(room + 1, byteGuard);
        const std::size_t result = CodesetConverter::ucs2tombs(target.data(), units.c_str(), room);
        const std::string expected = referenceInto(pieces, room);
        ASSERT_EQ(target.substr(0, expected.size()), expected) << room;
        ASSERT_EQ(target.back(), byteGuard) << room;
        ASSERT_EQ(result, std::min(room, total));
    }
    SAnsiString text;
    ASSERT_TRUE(text.fromQCA(units.c_str()));
    ASSERT_EQ(text.view(), joined(pieces));
}

std::string noise(std::mt19937& random, std::size_t longest)
{
    static constexpr unsigned char edges[] = {0x41, 0x5C, 0x7F, 0x80, 0x9F, 0xA0, 0xBF, 0xC0,
                                              0xC2, 0xE0, 0xE3, 0xED, 0xEF, 0xF0, 0xF4, 0xF8,
                                              0xFC, 0xFE, 0xFF, 0x8E, 0x8F, 0x81};
    std::string text;
    while (text.size() < longest) {
        const unsigned draw = random();
        // Now and then a stretch of plain text, so that the quick ways begin and end in the middle.
        text += draw % 7 == 0  ? std::string(draw / 7 % 80, 'a')
                : draw % 7 < 3 ? std::string(1, static_cast<char>(draw / 7 % 255 + 1))
                               : std::string(1, static_cast<char>(edges[draw / 7 % sizeof edges]));
    }
    return text;
}

} // namespace

TEST(CodesetsOfTheLocale, EveryPairOfBytesIsReadAsTheLibraryReadsIt)
{
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        for (int first = 0x80; first < 256; ++first) {
            for (int second = 1; second < 256; ++second) {
                const std::string text = {static_cast<char>(first), static_cast<char>(second), 'x'};
                ASSERT_NO_FATAL_FAILURE(expectDecoding(text, {})) << name << first << " " << second;
            }
        }
    }
}

TEST(CodesetsOfTheLocale, EveryUnitAndPairIsWrittenAsTheLibraryWritesIt)
{
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        for (unsigned unit = 1; unit < 0x10000; unit += 61) {
            Units units;
            for (unsigned next = unit; next < std::min(unit + 61, 0x10000u); ++next) {
                units += static_cast<unsigned short>(next);
            }
            ASSERT_NO_FATAL_FAILURE(expectEncoding(units, {})) << name << unit;
        }
        ASSERT_NO_FATAL_FAILURE(expectEncoding({'a', 0xDB40, 0xDC6A, 'b', 0xDB40, 0xDC7F}, {}))
            << name << ": tags";
        for (unsigned high = 0xD800; high < 0xDC00; high += 11) {
            const auto unit = static_cast<unsigned short>(high);
            ASSERT_NO_FATAL_FAILURE(
                expectEncoding({unit, 0xDC00, unit, 0xDFFF, unit, unit, 0xDEAD, 0xDEAD}, {}))
                << name;
        }
    }
}

TEST(CodesetsOfTheLocale, NoiseIsReadPieceByPieceIntoTargetsOfEverySize)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        for (int round = 0; round < 60; ++round) {
            const std::string text = noise(random, random() % 40);
            std::vector<std::size_t> rooms;
            for (std::size_t room = 0; room < text.size() + 3; ++room) {
                rooms.push_back(room);
            }
            ASSERT_NO_FATAL_FAILURE(expectDecoding(text, rooms)) << name;
        }
        const std::string long_text = noise(random, 3000);
        ASSERT_NO_FATAL_FAILURE(expectDecoding(long_text, {0, 1, 127, 128, 129, 1000, 4000})) << name;
    }
}

TEST(CodesetsOfTheLocale, NoiseIsWrittenPieceByPieceIntoTargetsOfEverySize)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        for (int round = 0; round < 60; ++round) {
            // Text of the locale with arbitrary units and surrogates in it.
            SWCharString base;
            ASSERT_TRUE(base.fromMBCS(noise(random, random() % 40).c_str()));
            Units units(base.getString());
            for (unsigned short& unit : units) {
                const unsigned draw = random();
                unit = draw % 5 == 0   ? static_cast<unsigned short>(draw / 5 % 0xFFFF + 1)
                       : draw % 5 == 1 ? static_cast<unsigned short>(0xD800 + draw / 5 % 0x800)
                                       : unit;
            }
            std::vector<std::size_t> rooms;
            for (std::size_t room = 0; room < 3 * units.size() + 3; ++room) {
                rooms.push_back(room);
            }
            ASSERT_NO_FATAL_FAILURE(expectEncoding(units, rooms)) << name;
        }
    }
}
