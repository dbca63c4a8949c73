#pragma once

/// @file
/// Versions of the library and of program files.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <array>
#include <compare>

namespace MorvexA106
{

/// Up to four numbers, the first being the most important. A default version is all zero.
///
///     if (SVersion::Library() < SVersion(1, 6, 2)) { ... }
///     SVersion plugin;
///     if (!SVersion::OfModule(path, plugin)) { ... }
///
/// A plain value. Numbers that were not given are 0, so 1.6 equals 1.6.0.0.
class MORVEX_EXPORT SVersion
{
public:
    constexpr SVersion() noexcept = default;
    constexpr SVersion(unsigned short first, unsigned short second, unsigned short third = 0,
                       unsigned short fourth = 0) noexcept
        : m_numbers{first, second, third, fourth}
    {}

    /// That of the library which is running, and not of the headers that its caller was built with.
    static SVersion Library();

    /// The version of a program or library file. False, with the version as it was, when there is no such file or it
    /// tells none.
    ///
    /// Windows: the numbers in the file's version resource; without one, as on POSIX.
    ///
    /// POSIX: files have no such thing, so the name behind all symbolic links tells it:
    ///
    /// | name                  | version  |
    /// |-----------------------|----------|
    /// | `libname.so.6.0.30`   | 6.0.30   |
    /// | `libname.so.6`        | 6.0.0    |
    /// | `libname-1-6.so`      | 1.6.0    |
    /// | `name-1.0.12.1.exe`   | 1.0.12.1 |
    /// | `libname.so`, `name-64` | none: without `.so.` there must be two numbers at least |
    [[nodiscard]] static bool OfModule(const SAnsiString& path, SVersion& version);

    /// Reads one to four decimal numbers with points between them, each up to 65535, and nothing else. False, with
    /// the version as it was, for other text.
    [[nodiscard]] static bool FromString(const SAnsiString& text, SVersion& version);

    /// "1.6.0": three numbers, and the fourth unless it is 0.
    SAnsiString ToString() const;

    constexpr unsigned short GetMajor() const noexcept { return m_numbers[0]; }
    constexpr unsigned short GetMinor() const noexcept { return m_numbers[1]; }
    constexpr unsigned short GetPatch() const noexcept { return m_numbers[2]; }
    constexpr unsigned short GetBuild() const noexcept { return m_numbers[3]; }

    constexpr auto operator<=>(const SVersion&) const noexcept = default;

private:
    std::array<unsigned short, 4> m_numbers{};
};

} // namespace MorvexA106
