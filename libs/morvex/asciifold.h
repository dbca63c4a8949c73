#pragma once

/// @file
/// Comparison without case of plain ASCII text, which needs no locale, and so most comparisons don't ask for one.

#include "morvex/export.h"

#include <cstddef>

namespace MorvexA106::AsciiFold
{

/// How far two texts are the same.
struct Prefix
{
    std::size_t length;

    /// The letter i stands there in its two cases, which are not each other's in every locale.
    bool needsI;
};

/// The beginning that is the same without case: both bytes below 0x80, none of them zero, and identical or the two
/// cases of a letter.
MORVEX_EXPORT Prefix equalPrefix(const char* left, const char* right, std::size_t length) noexcept;

/// The small letter of an ASCII byte, and every other byte as it is.
constexpr unsigned char folded(char byte) noexcept
{
    const auto code = static_cast<unsigned char>(byte);
    return code - unsigned{'A'} < 26 ? static_cast<unsigned char>(code | 0x20) : code;
}

constexpr bool areAscii(char left, char right) noexcept
{
    return ((static_cast<unsigned char>(left) | static_cast<unsigned char>(right)) & 0x80) == 0;
}

} // namespace MorvexA106::AsciiFold
