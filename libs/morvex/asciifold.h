#pragma once

/// @file
/// Comparison without case of plain ASCII text, which needs no locale, and so most comparisons don't ask for one.

#include "morvex/export.h"

#include <cstddef>

namespace MorvexA106::AsciiFold
{

/// Bytes from the start that are certainly the same without case in every locale: both below 0x80, no terminator, and
/// identical or the two cases of a letter. The letter i is left out, since in some locales I is not its capital.
MORVEX_EXPORT std::size_t equalPrefix(const char* left, const char* right, std::size_t length) noexcept;

/// The small letter of an ASCII byte, and every other byte as it is.
constexpr unsigned char folded(char byte) noexcept
{
    const auto code = static_cast<unsigned char>(byte);
    return code - unsigned{'A'} < 26 ? static_cast<unsigned char>(code | 0x20) : code;
}

/// Whether two bytes, as the first that differ in ASCII text, tell the order by their small letters wherever
/// collation is the order of bytes.
constexpr bool decides(char left, char right) noexcept
{
    const bool ascii = ((static_cast<unsigned char>(left) | static_cast<unsigned char>(right)) & 0x80) == 0;
    return ascii && (left == right || (left != 'I' && right != 'I'));
}

} // namespace MorvexA106::AsciiFold
