#pragma once

/// @file
/// Characters as code points, from 16-bit units and back.

namespace MorvexA106::Platform
{

constexpr bool isHighSurrogate(char32_t unit) noexcept
{
    return (unit & 0xFFFFFC00) == 0xD800;
}

constexpr bool isLowSurrogate(char32_t unit) noexcept
{
    return (unit & 0xFFFFFC00) == 0xDC00;
}

constexpr char32_t joinSurrogates(char32_t high, char32_t low) noexcept
{
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

/// The character must be above U+FFFF.
constexpr void writePair(char32_t character, unsigned short* units) noexcept
{
    units[0] = static_cast<unsigned short>(0xD7C0 + (character >> 10));
    units[1] = static_cast<unsigned short>(0xDC00 | (character & 0x3FF));
}

/// Writes one or two units and returns where they end.
constexpr unsigned short* putUnits(char32_t character, unsigned short* units) noexcept
{
    if (character >= 0x10000) {
        writePair(character, units);
        return units + 2;
    }
    *units = static_cast<unsigned short>(character);
    return units + 1;
}

/// The character at the cursor, pairs joined; advances the cursor. The end may be unknown where text is terminated.
constexpr char32_t nextCharacter(const unsigned short*& units, const unsigned short* end = nullptr) noexcept
{
    const unsigned short unit = *units++;
    return isHighSurrogate(unit) && units != end && isLowSurrogate(*units) ? joinSurrogates(unit, *units++)
                                                                           : unit;
}

} // namespace MorvexA106::Platform
