#pragma once

/// @file
/// Comparison without case of plain ASCII text, which needs no locale, and so most comparisons don't ask for one.

#include "morvex/export.h"

#include <cstddef>

namespace MorvexA106::AsciiFold
{

/// Whether the letter i counts as having two cases: in some locales I is not its capital.
enum class LetterI
{
    apart,
    folded
};

/// Bytes from the start that are the same without case: both below 0x80, no terminator, and identical or the two cases
/// of a letter. With the letter i apart this holds in every locale.
MORVEX_EXPORT std::size_t equalPrefix(const char* left, const char* right, std::size_t length,
                                      LetterI letterI) noexcept;

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
