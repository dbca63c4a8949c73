#pragma once

/// @file
/// Messages with numbered markers.

#include "morvex/sstring.h"

#include <span>

namespace MorvexA106
{

/// How a message writes its markers.
struct MarkerStyle
{
    char marker = '%';
    bool doubledIsOne = false; ///< two marker characters in a row stand for one as text
};

/// Replaces `%1`, `%2`, ... by the values, in one pass: a value's own text is not searched. A marker takes two
/// digits where there are so many values, and one without a value stays as it stands. The marker is found as a
/// character of the current locale, never inside one of several bytes.
///
/// | message | values   | result | doubled is one |
/// |---------|----------|--------|----------------|
/// | `%2 %1` | a, b     | `b a`  | the same       |
/// | `%12`   | a        | `a2`   | the same       |
/// | `%3`    | a        | `%3`   | the same       |
/// | `%%1`   | a        | `%a`   | `%1`           |
SAnsiString replaceMarkers(const char* message, std::span<const SAnsiString> values,
                           const MarkerStyle& style = {});

} // namespace MorvexA106
