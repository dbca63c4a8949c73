#pragma once

/// @file
/// What a program or library file says of its version.

#include <array>
#include <optional>
#include <string>

namespace MorvexA106::Platform
{

struct ModuleFile
{
    std::string name; ///< without its folder
    std::optional<std::array<unsigned short, 4>> version;
};

/// Null when there is no such file. Throws std::bad_alloc.
///
/// POSIX: files carry no version; the name is the one behind symbolic links. Windows: the version resource.
std::optional<ModuleFile> lookAtModule(const std::string& path);

} // namespace MorvexA106::Platform
