#pragma once

/// @file
/// Texts to try the Unicode conversions on, and places in memory to put them.

#include "utforacle.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

namespace UtfTexts
{

using UtfOracle::Byte;
using UtfOracle::SUcs4;
using UtfOracle::Unit;

inline std::uint32_t seedOfRun()
{
    static const std::uint32_t seed = [] {
        const char* given = std::getenv("MORVEX_TEST_SEED");
        return given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10))
                                : std::random_device()();
    }();
    return seed;
}

using Random = std::mt19937;

inline std::uint32_t below(Random& random, std::uint32_t limit)
{
    return std::uniform_int_distribution<std::uint32_t>(0, limit - 1)(random);
}

/// A character, every length of UTF-8 as likely as the others; no surrogate.
inline std::uint32_t character(Random& random)
{
    static constexpr std::uint32_t limits[] = {0, 0x80, 0x800, 0x10000, 0x110000};
    const std::uint32_t kind = below(random, 4);
    const std::uint32_t value = limits[kind] + below(random, limits[kind + 1] - limits[kind]);
    return value >= 0xD800 && value <= 0xDFFF ? value - 0x800 : value;
}

/// A text of the given number of characters with runs of one kind, so that every path of a loop has its turn.
inline std::vector<std::uint32_t> characters(Random& random, std::size_t count)
{
    std::vector<std::uint32_t> text;
    while (text.size() < count) {
        const std::size_t run = 1 + below(random, below(random, 2) == 0 ? 3 : 60);
        const std::uint32_t first = character(random);
        for (std::size_t i = 0; i < run && text.size() < count; ++i) {
            text.push_back(below(random, 20) == 0 ? character(random) : first);
        }
    }
    return text;
}

template <class T>
std::vector<T> encoded(const std::vector<std::uint32_t>& text, std::vector<T> (*as)(std::uint32_t))
{
    std::vector<T> units;
    for (const std::uint32_t value : text) {
        const std::vector<T> one = as(value);
        units.insert(units.end(), one.begin(), one.end());
    }
    return units;
}

/// Well-formed text with a few units overwritten, at times with many.
template <class T>
void spoil(Random& random, std::vector<T>& units, const std::vector<T>& spoilers)
{
    const std::uint32_t most = below(random, 8) == 0 ? 40 : 3;
    for (std::uint32_t times = below(random, most); times > 0 && !units.empty(); --times) {
        units[below(random, static_cast<std::uint32_t>(units.size()))] =
            spoilers[below(random, static_cast<std::uint32_t>(spoilers.size()))];
    }
    units.resize(units.size() - std::min<std::size_t>(units.size(), below(random, 4)));
}

inline const std::vector<Byte> badBytes = {0x00, 0x2F, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                                           0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEE, 0xEF, 0xF0, 0xF1,
                                           0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
inline const std::vector<Unit> badUnits = {0x0000, 0x007F, 0x0080, 0x07FF, 0x0800, 0xD7FF, 0xD800,
                                           0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFD, 0xFFFF};
inline const std::vector<SUcs4> badUcs4s = {0x0,       0x7F,      0x80,       0x7FF,      0x800,
                                            0xD800,    0xDBFF,    0xDC00,     0xDFFF,     0xFFFF,
                                            0x10000,   0x10FFFF,  0x110000,   0x1FFFFF,   0x200000,
                                            0x3FFFFFF, 0x4000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

/// A copy of a text that begins at the given distance from an aligned place and ends where its block ends, so
/// that the address sanitizer sees a read past it.
template <class T>
class Placed
{
public:
    Placed(const std::vector<T>& text, std::size_t offset) : m_offset(offset), m_block(offset + text.size())
    {
        std::copy(text.begin(), text.end(), m_block.begin() + static_cast<std::ptrdiff_t>(offset));
    }

    const T* begin() const { return m_block.data() + m_offset; }
    const T* end() const { return m_block.data() + m_block.size(); }

private:
    std::size_t m_offset;
    std::vector<T> m_block;
};

/// Room for a conversion, with units behind it that must stay.
template <class T>
class Guarded
{
public:
    explicit Guarded(std::size_t room) : m_room(room), m_block(room + guards, guard) {}

    T* begin() { return m_block.data(); }
    const T* end() const { return m_block.data() + m_room; }
    std::vector<T> upTo(const T* cursor) const { return {m_block.data(), cursor}; }
    bool isIntact() const
    {
        return std::all_of(m_block.end() - guards, m_block.end(), [](T unit) { return unit == guard; });
    }

private:
    static constexpr std::ptrdiff_t guards = 64;
    static constexpr T guard = static_cast<T>(0xA5A5A5A5);

    std::size_t m_room;
    std::vector<T> m_block;
};

} // namespace UtfTexts
