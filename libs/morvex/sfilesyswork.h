#pragma once

/// @file
/// What the sources of SFileSys share.

#include "morvex/sassert.h"
#include "morvex/sfilesys.h"
#include "platform/systemerror.h"

#include <string>
#include <string_view>

namespace MorvexA106
{

class TreeWalk;

namespace Platform
{
class FolderWalk;
}

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

    /// Throws where a folder was asked for and something else is there.
    [[noreturn]] static void failAsNoFolder(Codes code, const SAnsiString& path, const char* function);

    /// Throws where there is nothing at the path.
    static void requireExists(const SAnsiString& path, const char* function);

    /// The path without separators at its end, unless it is a root.
    static SAnsiString trimmed(const SAnsiString& path);

    /// Whether a look that failed with this `errno` means that nothing is there.
    static bool meansAbsent(unsigned long errorNumber) noexcept;

    // All sources of the class report under the name of one, since filters go by it.

    static void trace(const char* format, const STraceParameter& first,
                      const STraceParameter& second = STraceParameter());

    /// For a place that should not be reached: the condition reads `false`.
    static void reportFalse(const char* message);

    static bool isDotEntry(std::string_view name) noexcept;

    /// Returns why the folder can't be read.
    static Platform::SystemError addRows(const SAnsiString& folder, const char* pattern,
                                         SIArray<FileProp>& rows);
    static void addRow(const Platform::FolderWalk& walk, std::string_view path, SIArray<FileProp>& rows);

    static std::uint64_t readSize(const SAnsiString& path, const char* function);

    static void giveAccess(const SAnsiString& path, int permissions, bool keepExecute);
    static bool hasPermission(const SAnsiString& path, int mask);
    static bool isLink(const SAnsiString& path);

    /// The path of an entry that is told as from the top of a tree.
    static SAnsiString pathIn(const SAnsiString& top, const std::string& entry);

    /// Throws the first failure of the walk, with the path of the entry that it met.
    static void checkTree(const TreeWalk& walk, const SAnsiString& top, Codes code, const char* function);

    static void removeContentOf(const SAnsiString& folder, const char* function);
    static std::uint64_t sizeOfTree(const SAnsiString& path, std::uint64_t limit, const char* function);
    static unsigned long count(const SAnsiString& path, bool folders, const char* function);

    /// True when the folder is new.
    static bool makeTarget(const SAnsiString& path);

    /// Makes the folders that lead to a path.
    static void makeFolderOf(const SAnsiString& path);

    static void copyTree(const SAnsiString& from, const SAnsiString& to, bool overwrite);

    class UniqueName;
    class ContentRemoval;
};

} // namespace MorvexA106
