#pragma once

/// @file
/// How paths are written.

namespace MorvexA106::Platform
{

enum class PathStyle
{
    posix,  ///< `/`, no drives
    windows ///< the backslash, and `/` understood; drives and UNC paths
};

/// The style of the system that the library runs on.
PathStyle nativePathStyle() noexcept;

} // namespace MorvexA106::Platform
