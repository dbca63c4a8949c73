#pragma once

/// @file
/// Number types that the interface names.

#include <cstdint>

#ifndef __int64
/// The interface's spelling of a signed 64-bit number.
typedef std::int64_t __int64;
#endif
