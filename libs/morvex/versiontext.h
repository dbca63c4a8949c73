#pragma once

/// @file
/// Versions in text and in the names of files, as pure functions.

#include "morvex/export.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace MorvexA106
{

using VersionNumbers = std::array<unsigned short, 4>;

/// As `SVersion::FromString`, with any of the separators in place of the point, and at least so many numbers.
MORVEX_EXPORT std::optional<VersionNumbers>
readVersion(std::string_view text, std::string_view separators = ".", std::size_t atLeast = 1) noexcept;

/// The version in the name of a file; the names are told on `SVersion::OfModule`.
MORVEX_EXPORT std::optional<VersionNumbers> versionInName(std::string_view name) noexcept;

} // namespace MorvexA106
