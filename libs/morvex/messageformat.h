#pragma once

/// @file
/// Messages with numbered markers.

#include "morvex/sstring.h"

#include <span>

namespace MorvexA106
{

/// Replaces `%1`, `%2`, ... by the values, in one pass: a value's own text is not searched. A marker takes two
/// digits where there are so many values, and one without a value stays as it stands.
///
/// | message | values   | result |
/// |---------|----------|--------|
/// | `%2 %1` | a, b     | `b a`  |
/// | `%12`   | a        | `a2`   |
/// | `%3`    | a        | `%3`   |
SAnsiString replaceMarkers(const char* message, std::span<const SAnsiString> values);

} // namespace MorvexA106
