#pragma once

/// @file
/// The machine's clock, and the C library's reckoning of it in the machine's zone.

#include <cstdint>
#include <ctime>

namespace MorvexA106::Platform
{

/// Milliseconds since the beginning of 1970, UTC.
std::int64_t utcMilliseconds() noexcept;

/// Seconds since then as the fields of the machine's zone, in the caller's own buffer. False, with the buffer in any
/// state, where the C library can't tell: on Windows before 1970.
bool localFields(std::int64_t seconds, std::tm& fields) noexcept;

/// The way back; -1 where the C library can't tell.
std::int64_t secondsOf(std::tm fields) noexcept;

} // namespace MorvexA106::Platform
