#pragma once

/// @file
/// Operations on paths: tests, folders, removing, sizes, listing, moving and the current folder.

#include "morvex/export.h"
#include "morvex/sfilesysexception.h"
#include "morvex/siarray.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

#include <cstdint>
#include <ctime>

namespace MorvexA106
{

/// A row of a listing.
struct FileProp
{
    /// When the content last changed.
    std::time_t m_modificationTime = 0;

    /// The entry's path: the folder as it was asked for, and the name.
    SAnsiString m_name;

    /// 1 for a folder, 0 for everything else.
    int m_directory = 0;

    /// Bytes, modulo 4 GiB.
    std::uint32_t m_size = 0;
};

/// Static operations on paths. Every failure is thrown as `SFileSysException`.
///
///     SFileSys::makeDirectories("spool/sent", SFile::defaultPermissions);
///     if (SFileSys::exists("spool/new/order.txt"))
///         SFileSys::renameFile("spool/new/order.txt", "spool/sent/order.txt");
///
/// "Missing" below is the failure of code `FileNotFound` and reason `NotFound` that most operations throw when
/// their path does not exist. Between such a test and the act another process may change what the path
/// names; the act then fails with its own code.
///
/// Paths are multibyte text of the current locale, and are handed to the system as they stand. Nothing here
/// keeps state: every operation may be called on any thread, but all threads share one current folder.
///
/// POSIX: the separator is `/`. Links are followed, except by `remove` and `renameFile`, which act on the link
/// itself. Windows: the separator is the backslash, and `/` is understood.
class MORVEX_EXPORT SFileSys
{
public:
    SFileSys() = delete;

    /// False when there is nothing at the path, and true also when the system doesn't let one look. Separators
    /// at the end do not count, and the root exists.
    ///
    /// | `errno` of the look          | result |
    /// |------------------------------|--------|
    /// | none                         | true   |
    /// | 2, 22                        | false  |
    /// | path through a file, loop of links, name too long | false |
    /// | anything else                | true   |
    static bool exists(SAnsiString path);

    /// Throws missing, and `GetAttributesFailed`.
    static bool isDir(const SAnsiString& path);

    /// True for everything that is no folder, devices and pipes included. Throws as `isDir`.
    static bool isFile(const SAnsiString& path);

    /// True for a bare drive: `C:` is one and `C:\` is not. Throws missing. POSIX: there are none.
    static bool isDrive(const SAnsiString& path);

    /// True when the path doesn't depend on the current folder; it need not exist. POSIX: it begins with `/`,
    /// or with a backslash. Windows: it begins with two separators or with a drive, so `C:name` counts.
    static bool isFullPath(const SAnsiString& path);

    /// True when the path begins with two backslashes; it need not exist. POSIX: there are none.
    static bool isUNCPath(const SAnsiString& path);

    /// Makes one folder; nothing when something exists there, be it a file. Throws `MakeDirectoryFailed`, also
    /// when a link that leads nowhere has the name.
    ///
    /// POSIX: the permissions are those of `SFile`, and `SFile::defaultPermissions` leaves all that the
    /// process's file mode mask leaves. Windows: they are ignored.
    static void makeDirectory(const SAnsiString& path, int permissions);

    /// Makes a folder with all that lead to it; nothing when something exists there. Folders made before a
    /// failure stay. Throws `BadPath` on an empty path and on a UNC path without server and share, else as
    /// `makeDirectory`.
    static void makeDirectories(const SAnsiString& path, int permissions);

    /// Removes a file, or a folder that is empty. What is not there counts as removed. A link is removed
    /// itself, whatever it points to. Throws `RemoveFailed`.
    static void remove(const SAnsiString& path);

    /// Bytes of a file modulo 4 GiB; 0 for a folder. Throws missing, and `GetAttributesFailed`.
    static unsigned long size(const SAnsiString& path);

    /// Bytes of a file; 0 for a folder. Throws as `size`.
    static __int64 sizeEx(const SAnsiString& path);

    /// Appends a row for each entry of the folder that matches the pattern (see `SSFileSearch`), without `.`
    /// and `..`. A folder part of the pattern is joined to the folder. Rows that were added before a failure
    /// stay. Throws missing, and `GetAttributesFailed` when the folder can't be read or an entry is gone
    /// before its turn, the latter with the reason `NotFound`.
    ///
    /// POSIX: a link counts as what it points to, and as itself when it leads nowhere.
    static void listing(const SAnsiString& folder, const SAnsiString& pattern, SIArray<FileProp>& rows);

    /// Gives a file another name in one step, in place of what has that name, and returns when the change has
    /// reached the disk. It does not move a file to another disk. A folder is reported as an assertion and
    /// left alone. Throws missing, and `RenameFailed`; the file then has its old name, or, when only writing
    /// it to the disk failed, the new one.
    ///
    /// POSIX: when both are names of one file already, both stay.
    static void renameFile(const SAnsiString& from, const SAnsiString& to);

    /// Copies a file, or a folder with all that is in it, and makes the folders that lead to the target. A
    /// file keeps its permissions and its time of change. With `overwrite` false a file that exists is not
    /// touched and is a failure.
    ///
    /// A file that can't be copied leaves the target as it was. A folder is copied as far as possible, and
    /// the first failure is thrown at the end. Onto itself, be it through a link, nothing is copied and the
    /// failure has the reason `AccessDenied`. When the target lies inside the source, the copy leaves the
    /// target's own folder out. Throws missing, `CopyFailed`, and as `makeDirectories`.
    ///
    /// POSIX: the content is put together under another name beside the target, which begins with `.morvex-`,
    /// and then takes its place, so the target's folder must be writable; other names of an old target keep
    /// the old content. A target that is a link is followed, a device or a pipe is written to.
    static void copyFile(const SAnsiString& from, const SAnsiString& to, bool overwrite);

    /// Empty after a failure.
    static SAnsiString getCurrentDirectory();

    /// For the whole process. Throws `SetCurrentDirectoryFailed`.
    static void setCurrentDirectory(const SAnsiString& path);

    /// The full form of a path, which need not exist: slashes unified, joined to the current folder unless it
    /// is full, `.` and repeated separators dropped, `..` taken back with the segment before it but never
    /// past the root. A separator at the end stays. This is done on the text: where the segment before `..`
    /// is a link, the path names another place than the system would find. Where the current folder can't be
    /// told, the path stays relative.
    ///
    /// | path         | current folder | result          |
    /// |--------------|----------------|-----------------|
    /// |              | `/home/u`      | `/home/u`       |
    /// | `a/./b`      | `/home/u`      | `/home/u/a/b`   |
    /// | `../x/`      | `/home/u`      | `/home/x/`      |
    /// | `/a//b/..`   |                | `/a`            |
    /// | `/../..`     |                | `/`             |
    /// | `C:a`        | `C:\u` on `C:` | `C:\u\a` (Windows) |
    /// | `\\s\d\..\a` |                | `\\s\d\a` (Windows) |
    ///
    /// Windows: a path that begins with one separator belongs to the current drive; it is reported as an
    /// assertion. The folder of another drive is found without changing the current one; a drive that is not
    /// there throws `SetCurrentDirectoryFailed`.
    static SAnsiString getFullPath(const SAnsiString& path);

private:
    struct Work;
};

} // namespace MorvexA106
