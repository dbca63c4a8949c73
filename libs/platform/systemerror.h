#pragma once

/// @file
/// Failures of the system: a number, and which kind of number it is. The two kinds are classed by different
/// tables, and the same number means different things in them.

#include <string>

namespace MorvexA106::Platform
{

enum class ErrorKind
{
    runtime, ///< the C runtime's `errno`
    windows  ///< a Windows error
};

/// What a call came to; false when it succeeded.
struct [[nodiscard]] SystemError
{
    ErrorKind kind = ErrorKind::runtime;

    /// In the numbering of `kind`; 0 for no failure.
    unsigned long number = 0;

    /// What the system itself said, for `errorText`.
    unsigned long native = 0;

    explicit operator bool() const noexcept { return number != 0; }
};

/// A failure with this `errno`.
SystemError runtimeError(int number) noexcept;

/// The last failure of this thread as `errno`; never 0.
SystemError lastRuntimeError() noexcept;

/// The last failure of this thread as a Windows error; never 0.
///
/// POSIX: `errno` turned into the Windows error of the same meaning.
SystemError lastWindowsError() noexcept;

/// The failure of a call that would take a file for both its source and its target, as a Windows error.
SystemError fileInUse() noexcept;

/// The system's words for a failure: the C runtime's for `errno`, and for a Windows error those of Windows.
///
/// POSIX: always the C runtime's. Throws std::bad_alloc.
std::string errorText(const SystemError& error);

} // namespace MorvexA106::Platform
