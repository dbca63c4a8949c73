#pragma once

/// @file
/// Operations on paths: tests, folders, unique names, removing, sizes, listing, times, moving, permissions and the
/// current folder.

#include "morvex/export.h"
#include "morvex/sdatetime.h"
#include "morvex/sfile.h"
#include "morvex/sfilesysexception.h"
#include "morvex/siarray.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

#include <cstdint>
#include <ctime>
#include <span>
#include <string_view>

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
/// Paths are multibyte text of the current locale, and are handed to the system as they stand. Every operation may
/// be called on any thread, but all threads share one current folder.
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

    /// The path of a file that is not there yet: in the folder, with the prefix, then in hexadecimal digits the
    /// number of the process, the time and a count, all in lower case by the current locale, and the extension.
    /// The prefix may be any bytes. An empty folder is the current one. Two calls never return the same path, on
    /// whatever threads of a process; calls of two processes don't where the system gives them different
    /// numbers.
    ///
    /// With `create` the file is there on return, empty, and it was this call that made it: nobody else gets it,
    /// not even a process with the same number elsewhere on the network. The folders that lead to it are made
    /// too. Without, nothing is created, nothing reserves the name, and it may be taken by the time it is
    /// used.
    ///
    /// `SFile::defaultPermissions` gives file and folders to the owner alone, with all rights: on POSIX 0700, so
    /// that the file may be executed. With others the file gets them as they stand; a folder also gets the right
    /// to enter for whoever may read. POSIX: the process's file mode mask applies to both.
    ///
    /// Throws `UniqueNameFailed`: with `InvalidArgument` when the folder is a file, else by what the system says to
    /// the name; and as `makeDirectories`. Folders that were made stay.
    static SAnsiString getUniqueFilename(const SAnsiString& dir, const SAnsiString& prefix,
                                         const SAnsiString& extension, bool create, int permissions);

    /// The same for a folder, without extension. The path has no separator at its end.
    static SAnsiString getUniqueDirname(const SAnsiString& dir, const SAnsiString& prefix, bool create,
                                        int permissions);

    /// Makes an empty file with a unique name in the folder for temporary files. It is the caller's, who removes
    /// it. Throws as `getUniqueFilename` and `getTempDirname`.
    static SAnsiString getTempFilename(const SAnsiString& prefix);

    /// The folder for temporary files, with a separator at its end. It need not exist. A path of 256 bytes and more is
    /// reported as an assertion, and returned whole.
    ///
    /// POSIX: `TMPDIR` as it stands, be it relative, else `/tmp`; also where the program has more rights than who
    /// started it. Windows: as the system tells. Throws `UniqueNameFailed` with `NoTempFolder` when it doesn't.
    static SAnsiString getTempDirname();

    /// Removes a file, or a folder that is empty. What is not there counts as removed. A link is removed
    /// itself, whatever it points to. Throws `RemoveFailed`.
    static void remove(const SAnsiString& path);

    /// Removes the entries of a folder that match the pattern (see `SSFileSearch`), and stores how many bytes those had
    /// that it removed itself, modulo 4 GiB. Sub-folders stay, with all that is in them. Entries that are
    /// gone before their turn don't count; one that can't be removed is traced and left out, and the others are
    /// still removed. Nothing when the folder doesn't exist.
    ///
    /// Throws `RemoveTreeFailed`: with `InvalidArgument` when it is no folder, and when it can't be read to its
    /// end; the sum is then 0, though something may be gone.
    ///
    /// POSIX: links that match are removed themselves, be it that they point to a folder, and count nothing. A
    /// folder that is told by a link is emptied. A file with further names counts in full. Windows: a file that two
    /// remove at the same moment may count for both.
    static void removeContent(const SAnsiString& dir, const SAnsiString& pattern, unsigned long& bytes);

    /// The same with the sum in full.
    static void removeContentEx(const SAnsiString& dir, const SAnsiString& pattern, __int64& bytes);

    /// Bytes of a file modulo 4 GiB; 0 for a folder. Throws missing, and `GetAttributesFailed`.
    static unsigned long size(const SAnsiString& path);

    /// Bytes of a file; 0 for a folder. Throws as `size`.
    static __int64 sizeEx(const SAnsiString& path);

    /// Removes a file, or a folder with all that is in it; nothing when nothing is there. A link is removed itself, at
    /// the path and anywhere below it, and what it leads to is not touched: not even when others put a link in a
    /// folder's place meanwhile. The depth of the tree has no limit but the disk's.
    ///
    /// As much as possible is removed. The first failure is then thrown as `RemoveTreeFailed`, with the path of the
    /// entry that it met; that of the folder itself, in the end, as `RemoveFailed`. Entries that others remove
    /// meanwhile count as removed, and those that they add are removed as well, unless more and more come.
    ///
    /// POSIX: the root is refused, with the reason `AccessDenied`. Windows: an entry that is in use or read-only
    /// stays.
    static void rremove(const SAnsiString& path);

    /// As `rremove` for all that is in a folder, which itself stays. A link to a folder is no folder here: all that is
    /// no folder throws `RemoveTreeFailed` with the reason `InvalidArgument`.
    static void rremoveContent(const SAnsiString& folder);

    /// Bytes of all files in a folder and below it, the folders themselves not counted; as `size` for a file. A link
    /// counts as itself: its own size, as the system tells it. A file with two names in the tree counts twice. At
    /// more than 4,294,967,295 bytes it throws `GetSizeFailed` with the reason `SizeLimit`, and the text says "Size of
    /// file exceeds 4 GBytes."; but a single file is told modulo 4 GiB.
    ///
    /// Throws missing, and `GetSizeFailed` when a folder can't be read. What comes or goes meanwhile may be counted or
    /// not.
    static unsigned long rsize(const SAnsiString& path);

    /// As `rsize`, without a limit, also for a single file.
    static __int64 rsizeEx(const SAnsiString& path);

    /// The files in a folder and below it, links and devices among them; 1 for a path that is no folder. No link is
    /// followed below the path. Throws missing, and `GetAttributesFailed` when a folder can't be read.
    static unsigned long countFiles(const SAnsiString& path);

    /// As `countFiles`, and the folders as well, but for the one at the path.
    static unsigned long countAll(const SAnsiString& path);

    /// Appends a row for each entry of the folder that matches the pattern (see `SSFileSearch`), without `.`
    /// and `..`. A folder part of the pattern is joined to the folder. What comes or goes meanwhile may be left out;
    /// rows that were added before a failure stay. Throws missing, and `GetAttributesFailed` when the folder can't be
    /// read or an entry can't be looked at.
    ///
    /// POSIX: a link counts as what it leads to, and as itself when it leads nowhere. Windows: links count as
    /// themselves, with the size 0, and those to folders are folders.
    static void listing(const SAnsiString& folder, const SAnsiString& pattern, SIArray<FileProp>& rows);

    /// When the content of a file or folder last changed, to the millisecond at or before it. Times before 1970 and
    /// after 2038 are told as well. Throws missing, and `GetAttributesFailed`.
    static SDateTime getLastModifiedTime(const SAnsiString& path);

    /// Sets it, to the millisecond, and leaves the time of the last access alone. A folder is reported as an assertion
    /// and left alone. Throws missing, and `SetAttributesFailed`, with the reason `InvalidArgument` for an
    /// invalid moment.
    ///
    /// POSIX: a time that the file system can't keep becomes the nearest one that it can; only the owner may set
    /// one. Windows: a time before 1601 is a failure, and so is a file that is open anywhere or may not be written.
    static void setLastModifiedTime(const SAnsiString& path, const SDateTime& time);

    /// Gives a file another name in one step, in place of what has that name, and returns when the change has
    /// reached the disk. It does not move a file to another disk. A folder is reported as an assertion and
    /// left alone. Throws missing, and `RenameFailed`; the file then has its old name, or, when only writing
    /// it to the disk failed, the new one.
    ///
    /// POSIX: when both are names of one file already, both stay.
    static void renameFile(const SAnsiString& from, const SAnsiString& to);

    /// Puts new content in place of a file's in one step, or makes the file, and returns when that has reached the disk.
    /// Whoever opens the file finds the old content or the new one, never a part of either, whenever the process or
    /// the machine should stop; who has it open keeps the old one. Several may replace one file at once: one of
    /// the contents stays.
    ///
    ///     SFileSys::replaceFile("settings", settings.view());       // of an SSimpleBuffer
    ///     SFileSys::replaceFile("state/position", "4711\n", SFile::ownerRMask | SFile::ownerWMask);
    ///
    /// The permissions are for a file that is made; one that is replaced keeps its own, and must be one that may
    /// be written. Throws `ReplaceFailed`; the file then has its old content, or, when only writing the folder to
    /// the disk failed, the new one. What had to be kept beside it is gone.
    ///
    /// Beside the file a name that begins with `.morvex-` comes and goes, so its folder must be writable. A
    /// process that is killed may leave such a file behind, rarely; the next call for the same file removes it.
    /// Other names of an old file keep the old content.
    ///
    /// POSIX: owner, group and access list are kept as far as the process may give them, and what the group could do is
    /// taken from it where the group can't be kept. The bits that lend the owner's rights go. A link is
    /// followed. A device or a pipe is refused. Windows: the new file has the access list that its folder gives;
    /// hidden and system files stay what they are; a link is replaced; it fails while anybody has the file open.
    static void replaceFile(const SAnsiString& path, std::span<const unsigned char> content,
                            int permissions = SFile::defaultPermissions);
    static void replaceFile(const SAnsiString& path, std::string_view content,
                            int permissions = SFile::defaultPermissions);

    /// Copies a file, or a folder with all that is in it, and makes the folders that lead to the target. Permissions
    /// and the time of change are kept, those of a folder only where the copy made it. With `overwrite` false a file
    /// that exists is not touched and is a failure; a folder that exists is added to either way.
    ///
    /// A folder is copied as far as possible, and the first failure is thrown at the end with the paths of the entry
    /// that it met. A link at either path is followed, unless it leads nowhere: then it is replaced by a file if
    /// `overwrite` is set. Below them none is followed: a link is copied as a link with the same text, and one that
    /// stands where a file or a link of the copy belongs is replaced if `overwrite` is set, but where a folder belongs
    /// it is a failure. So is a device, a pipe or a socket in the folder.
    ///
    /// Onto itself, be it through a link, nothing is copied and the failure has the reason `AccessDenied`. When the
    /// target lies inside the source, the copy leaves the target's own folder out. Throws missing, `CopyFailed`, and
    /// as `makeDirectories`.
    ///
    /// POSIX: the content is put together without a name, or, where the system can't name a file later, under one that
    /// begins with `.morvex-` beside the target, and then takes its place, so the target's folder must be writable;
    /// other names of an old target keep the old content. A file that can't be copied leaves the target as it was. Holes
    /// stay holes. For a single file, a device or a pipe at the target is written to. Windows: a copy that fails in the
    /// middle takes the old content with it; links to files become what the system makes of them; folders get no
    /// permissions of their own.
    static void copyFile(const SAnsiString& from, const SAnsiString& to, bool overwrite);

    /// Bytes on the disk of a folder: what the caller may still use, the disk's size, and what is free. The first
    /// is less than the last where something is kept back for others. Throws missing, and `DiskUsageFailed`, with
    /// the reason `InvalidArgument` when it is no folder; the figures are then as they stood.
    static void diskUsageInfo(const SAnsiString& path, __int64& available, __int64& total, __int64& free);

    /// Sets the permissions of a file or folder to exactly these, in the words of `SFile`. Throws missing, and
    /// `SetAttributesFailed`, with `InvalidArgument` for `SFile::defaultPermissions`, which names none.
    ///
    /// POSIX: groups and others have no bits in these words, so that nobody but the owner keeps any right; other
    /// permission bits may be given in place of the words. The bits that lend the owner's rights go. Windows:
    /// without `SFile::ownerWMask` the file is "read only", and nothing else changes.
    static void giveAccess(const SAnsiString& path, int permissions);

    /// With true the same as `giveAccess` with `SFile::readWriteMask`. With false the bits are
    /// `SFile::writeMask | SFile::readMask`, and whoever may execute the file now still may. As each of these words has
    /// all three bits of the owner, both make a file executable for the owner. Throws as `giveAccess`.
    static void giveAllAccess(const SAnsiString& path, bool readWrite);

    /// Whether the owner's bit is set; it says nothing of the caller's rights. A folder is reported as an assertion,
    /// and has not. Throws missing, and `SetAttributesFailed`. Windows: a file is executable by its extension.
    static bool HasOwnerExePermission(const SAnsiString& path);
    static bool HasOwnerWritePermission(const SAnsiString& path);

    /// POSIX: gives the file or folder to a user, told by name or decimal number; the group stays. As a rule only root
    /// may. Throws `SetOwnerFailed`, with `InvalidArgument` when there is no such user. Windows: does nothing.
    static void setFileOwner(const SAnsiString& path, const SAnsiString& owner);

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

    static SAnsiString getUniqueFilenameHelper(const SAnsiString& dir, const SAnsiString& prefix,
                                               const SAnsiString& extension, bool create, int permissions,
                                               bool isDirectory);
};

} // namespace MorvexA106
