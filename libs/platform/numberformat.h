#pragma once

/// @file
/// How the locale writes numbers.

#include <cstddef>
#include <cstring>

namespace MorvexA106::Platform
{

/// The sign between a number's whole and its fraction, in the locale's multibyte form.
struct DecimalSign
{
    char bytes[16];
    std::size_t length; ///< at least 1
};

/// A sign from terminated text, or the point where that is empty or too long to be one.
inline DecimalSign decimalSignFrom(const char* text) noexcept
{
    DecimalSign sign{".", 1};
    const std::size_t length = std::strlen(text);
    if (length > 0 && length <= sizeof sign.bytes) {
        std::memcpy(sign.bytes, text, length);
        sign.length = length;
    }
    return sign;
}

/// The point where the locale has no sign of its own.
///
/// POSIX: the calling thread's current locale (`uselocale` counts). Windows: the C runtime's.
DecimalSign decimalSign() noexcept;

} // namespace MorvexA106::Platform
