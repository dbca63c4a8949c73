#pragma once

/// @file
/// Characters of 32 bits, as the C library has them here, from 16-bit units and back.

#include "platform/text.h"

#include <cstddef>
#include <cwchar>

namespace MorvexA106::Platform
{

static_assert(sizeof(wchar_t) == 4, "a wide character holds a code point here");

/// No locale's character is longer.
inline constexpr std::size_t maxEncodedBytes = 16;

inline bool isHighSurrogate(unsigned short unit) noexcept
{
    return (unit & 0xFC00) == 0xD800;
}
inline bool isLowSurrogate(unsigned short unit) noexcept
{
    return (unit & 0xFC00) == 0xDC00;
}

/// Writes one or two units and returns where they end.
inline unsigned short* putUnits(WideCode character, unsigned short* units) noexcept
{
    if (character >= 0x10000) {
        *units++ = static_cast<unsigned short>(0xD7C0 + (character >> 10));
        character = 0xDC00 | (character & 0x3FF);
    }
    *units++ = static_cast<unsigned short>(character);
    return units;
}

/// The character at the cursor, pairs joined; advances the cursor. The end may be unknown where text is terminated.
inline wchar_t nextWide(const unsigned short*& text, const unsigned short* end = nullptr) noexcept
{
    const unsigned short unit = *text++;
    if (isHighSurrogate(unit) && text != end && isLowSurrogate(*text)) {
        const unsigned short low = *text++;
        return static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
    }
    return static_cast<wchar_t>(unit);
}

} // namespace MorvexA106::Platform
