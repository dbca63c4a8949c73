#pragma once

/// @file
/// The Windows code pages 1252 and 932 on every system, by tables of our own: what Windows' own calls
/// (`MultiByteToWideChar` and `WideCharToMultiByte` with no flags) give for every byte, pair and unit.

#include "morvex/export.h"

#include <cstddef>
#include <string_view>

namespace MorvexA106::CodePages
{

enum class CodePage
{
    windows1252,
    windows932
};

/// The most bytes that a unit takes.
constexpr std::size_t maxBytes = 2;

/// Bytes to units; the target needs room for as many units as there are bytes. Returns the units written. Zero
/// bytes are decoded as any other, and nothing is refused:
///
/// | code page | bytes                                                  | units                                |
/// |-----------|--------------------------------------------------------|--------------------------------------|
/// | 1252      | 81, 8D, 8F, 90, 9D                                     | the control of the same number       |
/// | 932       | 80; A0; FD, FE, FF                                     | U+0080; U+F8F0; U+F8F1, F8F2, F8F3   |
/// | 932       | F040 to F9FC, the user's own area                      | U+E000 to U+E757                     |
/// | 932       | 81-9F or E0-FC and any byte with which it is no pair   | one U+30FB for both                  |
/// | 932       | the same before a zero byte or the end                 | U+30FB, and the zero byte its own    |
MORVEX_EXPORT std::size_t decode(CodePage page, std::string_view bytes, unsigned short* units) noexcept;

/// Units to bytes; the target needs room for `maxBytes` bytes a unit. Returns the bytes written. A unit that the
/// code page does not have becomes the character that Windows finds next best (in 1252 an A for U+0100, in 932 a
/// backslash for U+00A5), so that harmless text can turn into quotes, slashes and blanks: check the bytes, not the
/// units. Where there is none it is a `?`, and so is each half of a surrogate pair.
MORVEX_EXPORT std::size_t encode(CodePage page, const unsigned short* units, std::size_t count,
                                 unsigned char* bytes) noexcept;

} // namespace MorvexA106::CodePages
