#pragma once

/// @file
/// How the locale writes numbers.

#include <cstddef>

namespace MorvexA106::Platform
{

/// The sign between a number's whole and its fraction, in the locale's multibyte form.
struct DecimalSign
{
    char bytes[16];
    std::size_t length; ///< at least 1
};

/// The point where the locale has no sign of its own.
///
/// POSIX: the calling thread's current locale (`uselocale` counts). Windows: the C runtime's.
DecimalSign decimalSign() noexcept;

} // namespace MorvexA106::Platform
