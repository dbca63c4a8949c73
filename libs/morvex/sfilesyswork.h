#pragma once

/// @file
/// What the sources of SFileSys share.

#include "morvex/sfilesys.h"
#include "platform/systemerror.h"

namespace MorvexA106
{

struct SFileSys::Work
{
    using Codes = SFileSysException::ErrorCodes;
    using Reasons = SFileSysException::ErrorReasons;

    static Reasons reasonOf(const Platform::SystemError& error) noexcept;
    static SAnsiString textOf(const Platform::SystemError& error);

    [[noreturn]] static void fail(Codes code, const Platform::SystemError& error, const SAnsiString& path,
                                  const SAnsiString& second, const char* function);

    /// Throws where the call failed.
    static void check(const Platform::SystemError& error, Codes code, const SAnsiString& path,
                      const SAnsiString& second, const char* function)
    {
        if (error) {
            fail(code, error, path, second, function);
        }
    }

    /// Throws where there is nothing at the path.
    static void requireExists(const SAnsiString& path, const char* function);

    /// The path without separators at its end, unless it is a root.
    static SAnsiString trimmed(const SAnsiString& path);

    static bool isDotEntry(const SAnsiString& name) noexcept;

    static std::uint64_t readSize(const SAnsiString& path, const char* function);

    class TreeCopy;
};

} // namespace MorvexA106
