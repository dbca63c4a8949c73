#pragma once

/// @file
/// Number types that the interface names.

#include <cstdint>
#include <type_traits>

#ifndef __int64
/// The interface's spelling of a signed 64-bit number.
typedef std::int64_t __int64;
#endif

namespace MorvexA106
{

/// A unit of UCS-4: 32 bits everywhere, and `unsigned long` where that has 32.
using SUcs4 =
    std::conditional_t<sizeof(unsigned long) == sizeof(std::uint32_t), unsigned long, std::uint32_t>;

} // namespace MorvexA106
