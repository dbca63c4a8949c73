#pragma once

/// @file
/// Patterns of file names.

#include "morvex/export.h"

namespace MorvexA106
{

/// Whether the whole name matches: `*` stands for any characters, `?` for one character of the current locale,
/// and the patterns `*.*` and "" for every name. Case counts. Takes at most pattern times name steps.
MORVEX_EXPORT bool matchesWildcard(const char* pattern, const char* name) noexcept;

} // namespace MorvexA106
