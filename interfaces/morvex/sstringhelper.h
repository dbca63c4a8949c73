#pragma once

/// @file
/// Helpers on paths held as text, the splitting of text into words and their joining, and replacing.

#include "morvex/export.h"
#include "morvex/siarray.h"
#include "morvex/sstring.h"

#include <string_view>

namespace MorvexA106
{

/// Static helpers. None asks the file system, and all may be called on any thread.
///
///     SAnsiString dir("spool");
///     SStringHelper::AppendSlashToDir(dir);
///     SAnsiString path = SStringHelper::MakePath(dir, "outbox", "log");   // spool/outbox.log
///
/// Separators: text is walked by the characters of the current locale, so that a separator's byte inside a
/// multibyte character is never taken for one.
///
/// POSIX: the separator is `/`; a backslash is an ordinary character of a name, except for `UnifyAllSlashes`.
/// There are no drives. Windows: the separator is the backslash, and `/` is understood as well.
class MORVEX_EXPORT SStringHelper
{
public:
    SStringHelper() = delete;

    /// The system's separator.
    static char getDirSeparator() noexcept;

    /// Makes the text end in the separator, the system's where none is named. Empty text, and text that ends
    /// in a separator (the system's or the named one), stays as it is.
    static void AppendSlashToDir(SAnsiString& dir);
    static void AppendSlashToDir(SAnsiString& dir, char separator);

    /// Removes all separators at the end, the root's too: `/` becomes empty text and `C:\` becomes `C:`.
    static void StripSlashOffDirEnd(SAnsiString& dir);

    /// Removes one separator at the beginning, the system's where none is named.
    static void StripSlashOffDirBegin(SAnsiString& dir);
    static void StripSlashOffDirBegin(SAnsiString& dir, char separator);

    /// Turns every `/` and every backslash into the separator, the system's where none is named.
    static void UnifyAllSlashes(SAnsiString& path);
    static void UnifyAllSlashes(SAnsiString& path, char separator);

    /// Puts a path together: the folder with a separator, the name, and the extension with a dot in front
    /// unless it has one. Each part may be empty. A folder that is a bare drive gets no separator.
    ///
    /// | folder | name     | extension | path           |
    /// |--------|----------|-----------|----------------|
    /// | `a/b`  | `c`      | `txt`     | `a/b/c.txt`    |
    /// | `a/b/` | `c`      | `.txt`    | `a/b/c.txt`    |
    /// |        | `c`      |           | `c`            |
    /// | `/`    | `c`      |           | `/c`           |
    /// | `C:`   | `c`      |           | `C:c` (Windows) |
    static SAnsiString MakePath(const SAnsiString& folder, const SAnsiString& name,
                                const SAnsiString& extension = SAnsiString());

    /// The same with the drive apart.
    static SAnsiString MakePath(const SAnsiString& drive, const SAnsiString& folder, const SAnsiString& name,
                                const SAnsiString& extension);

    /// Splits a path so that `MakePath` gives it back. The folder keeps its last separator, the extension its
    /// dot. Dots that begin a name belong to the name.
    ///
    /// | path          | drive | folder   | name    | extension |
    /// |---------------|-------|----------|---------|-----------|
    /// | `/a/b.tar.gz` |       | `/a/`    | `b.tar` | `.gz`     |
    /// | `b.`          |       |          | `b`     | `.`       |
    /// | `a/`          |       | `a/`     |         |           |
    /// | `a/..`        |       | `a/`     | `..`    |           |
    /// | `.profile`    |       |          | `.profile` |        |
    /// | `C:\a\b.c`    | `C:`  | `\a\`    | `b`     | `.c` (Windows) |
    static void SplitPath(const SAnsiString& path, SAnsiString& drive, SAnsiString& folder, SAnsiString& name,
                          SAnsiString& extension);

    /// The same with the drive as part of the folder.
    static void SplitPathEx(const SAnsiString& path, SAnsiString& folder, SAnsiString& name,
                            SAnsiString& extension);

    /// The same with views into the path, of which nothing is copied.
    static void SplitPathEx(std::string_view path, std::string_view& folder, std::string_view& name,
                            std::string_view& extension);

    /// Replaces `words` by the words of the text, which end at any character of `separators`. Separators in a
    /// row count as one, and those at either end as none. With `quotes`, a word that begins with a double
    /// quote runs to the next one, or to the end where there is none, without the quotes and perhaps empty;
    /// a word that begins otherwise ends at a double quote too. Linear in the text.
    static void makeWords(const SAnsiString& text, const SAnsiString& separators, SIArray<SAnsiString>& words,
                          bool quotes);

    /// The same with words that refer to the text, which its caller keeps.
    static void makeWords(std::string_view text, const SAnsiString& separators,
                          SIArray<std::string_view>& words, bool quotes);

    /// The words with the separator between each two of them. One allocation. Words that are empty, or that hold
    /// the separator, are joined as they are, so that splitting the result need not give them back.
    static SAnsiString joinWords(const SIArray<SAnsiString>& words, const SAnsiString& separator);

    /// Replaces each occurrence of a text by another and returns how many there were. From the left; what was put
    /// in is not searched again. Empty text occurs nowhere. Only whole characters count: a match neither begins nor
    /// ends inside one. The texts may be one and the same. Linear; where nothing occurs, nothing is copied.
    static unsigned int replaceAll(SAnsiString& text, const SAnsiString& wanted,
                                   const SAnsiString& replacement);

    /// The same for characters of one byte; the zero character as replacement removes.
    static unsigned int replaceAll(SAnsiString& text, char wanted, char replacement);
};

} // namespace MorvexA106
