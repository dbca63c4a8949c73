#pragma once

/// @file
/// The locale's multibyte text to and from 16-bit units.

#include "morvex/export.h"

#include <cstddef>

namespace MorvexA106
{

/// Conversions that always succeed: what has no form on the other side becomes `?`. All are static, keep no state
/// and may be called on any thread; multibyte text is read and written by the calling thread's current locale.
///
///     std::size_t units = CodesetConverter::mbstoucs2(nullptr, text, 0);
///
/// A character beyond U+FFFF is a surrogate pair of two units; where it has no form in the locale each of the two
/// becomes a `?`. The system's wide text and the 16-bit form are the same here: both have 16-bit units everywhere.
///
/// A null source is read as empty text. The two conversions of whole texts may leave anything in the part of the
/// target that lies behind the terminator.
class MORVEX_EXPORT CodesetConverter
{
public:
    CodesetConverter() = delete;

    /// Multibyte text to units. A byte that is no character becomes one `?`; so does a character that has no 16-bit
    /// form (a code above U+10FFFF).
    ///
    /// Returns the units without the terminator. With a null target they are only counted. Otherwise at most
    /// `count` units are written, and a terminator only where room remains; a pair of which one unit only would fit
    /// is written as `?`.
    static std::size_t mbstoucs2(unsigned short* target, const char* source, std::size_t count);

    /// Units to multibyte text. A unit without a form in the locale becomes one `?`; half a surrogate pair has none.
    ///
    /// Returns the bytes without the terminator. With a null target they are only counted. Otherwise at most `size`
    /// bytes are written, and a terminator only where room remains. A character is never cut: where it does not fit,
    /// every remaining byte becomes `?` and `size` is returned.
    static std::size_t ucs2tombs(char* target, const unsigned short* source, std::size_t size);

    /// Copy units. Return the units copied without the terminator, which is written where room remains; the length
    /// of the source for a null target.
    static std::size_t wcstoucs2(unsigned short* target, const unsigned short* source,
                                 std::size_t count) noexcept;
    static std::size_t ucs2towcs(unsigned short* target, const unsigned short* source,
                                 std::size_t count) noexcept;

    /// One character of up to six bytes to one unit: its bytes, 0 at the terminator or for null, -1 when the bytes
    /// are no character or the character does not fit into one unit. The target may be null.
    static int mbtoucs2(unsigned short* target, const char* source) noexcept;

    /// One unit to multibyte text: the bytes written, or -1 when it has no form in the locale. The target needs room
    /// for 16 bytes; a null target gives 0.
    static int ucs2tomb(char* target, unsigned short source) noexcept;

    /// One unit as it is; always 1. The target may be null.
    static int wctoucs2(unsigned short* target, unsigned short source) noexcept;
    static int ucs2towc(unsigned short* target, unsigned short source) noexcept;
};

} // namespace MorvexA106
