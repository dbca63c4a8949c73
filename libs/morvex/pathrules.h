#pragma once

/// @file
/// The rules of paths as pure functions of text and style: no call here asks the file system.
///
/// Text is walked by the characters of the current locale, since in double-byte locales the byte of a backslash
/// may be the second one of a character.

#include "morvex/export.h"
#include "platform/pathstyle.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace MorvexA106::PathRules
{

using Platform::PathStyle;

constexpr char separatorOf(PathStyle style) noexcept
{
    return style == PathStyle::windows ? '\\' : '/';
}

constexpr bool isSeparator(char byte, PathStyle style) noexcept
{
    return byte == '/' || (byte == '\\' && style == PathStyle::windows);
}

/// `extra` counts as a separator too.
MORVEX_EXPORT bool endsInSeparator(std::string_view path, PathStyle style, char extra = '/') noexcept;

/// Nothing is left of a root.
MORVEX_EXPORT std::string_view withoutEndSeparators(std::string_view path, PathStyle style) noexcept;

/// As `withoutEndSeparators`, but leaves a root, with a drive or without, as it is.
MORVEX_EXPORT std::string_view trimmed(std::string_view path, PathStyle style) noexcept;

/// Every `/` and backslash as the one separator.
MORVEX_EXPORT std::string unified(std::string_view path, char separator);

/// Begins with a letter's place and a colon.
constexpr bool hasDrive(std::string_view path, PathStyle style) noexcept
{
    return style == PathStyle::windows && path.size() >= 2 && path[1] == ':';
}

constexpr bool isDrive(std::string_view path, PathStyle style) noexcept
{
    return hasDrive(path, style) && path.size() == 2;
}

constexpr bool isUncPath(std::string_view path, PathStyle style) noexcept
{
    return style == PathStyle::windows && path.substr(0, 2) == "\\\\";
}

/// Does not depend on the current folder, once its slashes are unified.
MORVEX_EXPORT bool isFullPath(std::string_view path, PathStyle style);

/// Views into the path; one behind the other they are the path.
struct Parts
{
    std::string_view drive{};
    std::string_view folder{}; ///< with its last separator
    std::string_view name{};
    std::string_view extension{}; ///< with its dot
};

MORVEX_EXPORT Parts split(std::string_view path, PathStyle style) noexcept;

/// The inverse of `split`; puts in the separator and the dot where they are missing.
MORVEX_EXPORT std::string join(const Parts& parts, PathStyle style);

/// The lengths of those beginnings of a path that name the folders on the way to it, and of the path itself
/// without separators at its end; the root is not among them, a drive is. False for a UNC path without server
/// or share.
///
/// | path       | style   | beginnings            |
/// |------------|---------|-----------------------|
/// | `/a//b/`   | posix   | `/a`, `/a//b`         |
/// | `C:\a`     | windows | `C:`, `C:\a`          |
/// | `\\s\d\a`  | windows | `\\s\d\a`             |
MORVEX_EXPORT bool foldersOnTheWay(std::string_view path, PathStyle style, std::vector<std::size_t>& lengths);

/// Begins with a root from which `..` can't lead away: `/`, a drive, server and share.
MORVEX_EXPORT std::string_view rootOf(std::string_view unifiedPath, PathStyle style) noexcept;

/// A full path, its slashes unified, without `.`, `..` and repeated separators. `..` at the root stays there. A
/// separator at the end stays.
MORVEX_EXPORT std::string withoutDots(std::string_view fullPath, PathStyle style);

} // namespace MorvexA106::PathRules
