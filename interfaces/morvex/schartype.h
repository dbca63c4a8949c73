#pragma once

/// @file
/// Character classes over the Basic Multilingual Plane.

#include "morvex/export.h"

namespace MorvexA106
{

/// The class of one 16-bit code. Codes up to 0x7F are the C runtime's affair and follow its locale; above, the
/// Unicode general categories decide: letters are alphabetic, upper or lower where they are cased; the
/// separators are space; punctuation takes 0xAD in; decimal digits are digits. Thread safe, no allocation.
MORVEX_EXPORT bool is_upper(unsigned short code);
MORVEX_EXPORT bool is_lower(unsigned short code);
MORVEX_EXPORT bool is_alpha(unsigned short code);
MORVEX_EXPORT bool is_space(unsigned short code);
MORVEX_EXPORT bool is_punct(unsigned short code);
MORVEX_EXPORT bool is_digit(unsigned short code);

} // namespace MorvexA106
