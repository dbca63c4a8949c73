#include "morvex/sfilesys.h"

#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "morvex/pathrules.h"
#include "morvex/sfilesyswork.h"
#include "morvex/sstringhelper.h"
#include "morvex/wildcard.h"
#include "platform/filesystem.h"
#include "platform/folderchain.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace MorvexA106
{

namespace
{

using Platform::SystemError;

std::string_view viewOf(const SAnsiString& text) noexcept
{
    return text.getString();
}

SAnsiString textFrom(std::string_view text)
{
    return SAnsiString(text);
}

PathRules::PathStyle style() noexcept
{
    return Platform::nativePathStyle();
}

/// The folder of the current drive, or server and share, to which a path with a bare root belongs.
std::string rootOfCurrentFolder()
{
    const SAnsiString current = SFileSys::getCurrentDirectory();
    return std::string(PathRules::rootOf(viewOf(current), style()));
}

} // namespace

SFileSys::Work::Reasons SFileSys::Work::reasonOf(const SystemError& error) noexcept
{
    return error.kind == Platform::ErrorKind::runtime
               ? SFileSysException::mapErrno(static_cast<int>(error.number))
               : SFileSysException::mapError(error.number);
}

SAnsiString SFileSys::Work::textOf(const SystemError& error)
{
    return sayingBadAllocation([&] { return Platform::errorText(error); }).c_str();
}

void SFileSys::Work::fail(Codes code, const SystemError& error, const SAnsiString& path,
                          const SAnsiString& second, const char* function)
{
    throw SFileSysException(code, reasonOf(error), path, textOf(error), second, function);
}

void SFileSys::Work::failAsNoFolder(Codes code, const SAnsiString& path, const char* function)
{
    throw SFileSysException(code, Reasons::InvalidArgument, path, textOf(Platform::runtimeError(ENOTDIR)),
                            SAnsiString(), function);
}

void SFileSys::Work::requireExists(const SAnsiString& path, const char* function)
{
    if (!exists(path)) {
        fail(Codes::FileNotFound, Platform::runtimeError(2), path, SAnsiString(), function);
    }
}

/// No such file, a path that can't be one, a path through a file, a loop of links, a name too long. Of the last
/// three nothing can be known to be there, and whoever makes what is absent must hear of it.
bool SFileSys::Work::meansAbsent(unsigned long errorNumber) noexcept
{
    constexpr unsigned long absent[] = {2, 22, ENOTDIR, ELOOP, ENAMETOOLONG};
    return std::ranges::find(absent, errorNumber) != std::end(absent);
}

void SFileSys::Work::trace(const char* format, const STraceParameter& first, const STraceParameter& second)
{
    MORVEX_TRACE(format, first, second);
}

void SFileSys::Work::reportFalse(const char* message)
{
    MORVEX_FAIL(message);
}

SAnsiString SFileSys::Work::trimmed(const SAnsiString& path)
{
    return textFrom(PathRules::trimmed(viewOf(path), style()));
}

bool SFileSys::Work::isDotEntry(std::string_view name) noexcept
{
    return name == "." || name == "..";
}

std::uint64_t SFileSys::Work::readSize(const SAnsiString& path, const char* function)
{
    requireExists(path, function);
    std::uint64_t bytes = 0;
    check(Platform::readSize(trimmed(path), bytes), Codes::GetAttributesFailed, path, SAnsiString(),
          "getFindBufFileAttributes");
    return bytes;
}

bool SFileSys::exists(SAnsiString path)
{
    const bool rooted = !path.isEmpty();
    SStringHelper::StripSlashOffDirEnd(path);
    if (path.isEmpty() && !rooted) {
        return false;
    }
    if (path.isEmpty()) {
        path = SStringHelper::getDirSeparator(); // nothing but separators: the root
    }
    const SystemError error = Platform::lookFor(path);
    return !error || !Work::meansAbsent(error.number);
}

bool SFileSys::isDir(const SAnsiString& path)
{
    Work::requireExists(path, "isDir");
    if (PathRules::isDrive(viewOf(path), style())) {
        return true;
    }
    bool folder = false;
    if (const SystemError error = Platform::readAttributes(path, folder)) {
        MORVEX_TRACE("Failed to get file attribute for file: %1, error: %2", path, error.number);
        Work::fail(SFileSysException::GetAttributesFailed, error, path, SAnsiString(), "isDir");
    }
    return folder;
}

bool SFileSys::isFile(const SAnsiString& path)
{
    Work::requireExists(path, "isFile");
    return !isDir(path);
}

bool SFileSys::isDrive(const SAnsiString& path)
{
    Work::requireExists(path, "isDrive");
    return PathRules::isDrive(viewOf(path), style());
}

bool SFileSys::isFullPath(const SAnsiString& path)
{
    return PathRules::isFullPath(viewOf(path), style());
}

bool SFileSys::isUNCPath(const SAnsiString& path)
{
    return PathRules::isUncPath(viewOf(path), style());
}

void SFileSys::makeDirectory(const SAnsiString& path, int permissions)
{
    if (exists(path)) {
        return;
    }
    const SystemError error = Platform::makeFolder(path, permissions);
    // Somebody else may have been faster; but a link that leads nowhere has the name without being there.
    const bool madeByOthers = error.number == EEXIST && exists(path);
    if (error && !madeByOthers) {
        Work::fail(SFileSysException::MakeDirectoryFailed, error, path, SAnsiString(), "makeDirectory");
    }
}

void SFileSys::makeDirectories(const SAnsiString& path, int permissions)
{
    if (exists(path)) {
        return;
    }
    std::vector<std::size_t> lengths;
    const bool isPath = sayingBadAllocation(
        [&] { return !path.isEmpty() && PathRules::foldersOnTheWay(viewOf(path), style(), lengths); });
    if (!isPath) {
        Work::fail(SFileSysException::BadPath, Platform::runtimeError(22), path, SAnsiString(),
                   "makeDirectories");
    }
    for (const std::size_t length : lengths) {
        makeDirectory(textFrom(viewOf(path).substr(0, length)), permissions);
    }
    if (lengths.empty()) { // a root that isn't there can't be made
        Work::fail(SFileSysException::MakeDirectoryFailed, Platform::runtimeError(2), path, SAnsiString(),
                   "makeDirectories");
    }
}

void SFileSys::remove(const SAnsiString& path)
{
    const SAnsiString target = Work::trimmed(path);
    SystemError error;
    try {
        const bool folder = !Platform::isLink(target) && isDir(target);
        error = folder ? Platform::removeFolder(target) : Platform::removeFile(target);
    } catch (const SFileSysException& failure) {
        if (failure.ErrReason() != SFileSysException::NotFound) {
            throw;
        }
        return;
    }
    if (error && Work::reasonOf(error) != SFileSysException::NotFound) {
        Work::fail(SFileSysException::RemoveFailed, error, path, SAnsiString(), "remove");
    }
}

unsigned long SFileSys::size(const SAnsiString& path)
{
    return static_cast<std::uint32_t>(Work::readSize(path, "size"));
}

__int64 SFileSys::sizeEx(const SAnsiString& path)
{
    return static_cast<__int64>(Work::readSize(path, "sizeEx"));
}

void SFileSys::listing(const SAnsiString& folder, const SAnsiString& pattern, SIArray<FileProp>& rows)
{
    Work::requireExists(folder, "listing");
    SAnsiString subfolder;
    SAnsiString name;
    SAnsiString extension;
    SStringHelper::SplitPathEx(pattern, subfolder, name, extension);
    const SAnsiString searched = SStringHelper::MakePath(folder, subfolder);
    const SAnsiString sought = name + extension;
    const SystemError error = sayingBadAllocation(
        [&] { return Work::addRows(searched, sought.isEmpty() ? "*" : sought.getString(), rows); });
    Work::check(error, SFileSysException::GetAttributesFailed, searched, SAnsiString(), "listing");
}

SystemError SFileSys::Work::addRows(const SAnsiString& folder, const char* pattern, SIArray<FileProp>& rows)
{
    const std::string prefix = PathRules::join({.folder = viewOf(folder)}, style());
    Platform::FolderWalk walk;
    SystemError error = walk.open(prefix, pattern, matchesWildcard);
    const char* entry = nullptr;
    while (!error && walk.next(entry, error)) {
        if (!isDotEntry(entry)) {
            addRow(walk, prefix + entry, rows);
        }
    }
    return error;
}

/// An entry that is gone by its turn gets none.
void SFileSys::Work::addRow(const Platform::FolderWalk& walk, std::string_view path, SIArray<FileProp>& rows)
{
    Platform::FoundEntry status;
    const SystemError error = walk.readStatus(status);
    if (error && meansGone(error)) {
        return;
    }
    const SAnsiString row = textFrom(path);
    check(error, Codes::GetAttributesFailed, row, SAnsiString(), "listing");
    rows.Add({status.modificationTime, row, status.folder ? 1 : 0, static_cast<std::uint32_t>(status.size)});
}

void SFileSys::renameFile(const SAnsiString& from, const SAnsiString& to)
{
    Work::requireExists(from, "renameFile");
    if (isDir(from)) {
        MORVEX_FAIL("SFileSys::renameFile: Directory rename not supported\n");
        return;
    }
    Work::check(Platform::moveFile(from, to), SFileSysException::RenameFailed, from, to, "renameFile");
}

SAnsiString SFileSys::getCurrentDirectory()
{
    std::string folder;
    return Platform::currentFolder(folder) ? SAnsiString() : textFrom(folder);
}

void SFileSys::setCurrentDirectory(const SAnsiString& path)
{
    Work::check(Platform::changeFolder(path), SFileSysException::SetCurrentDirectoryFailed, path,
                SAnsiString(), "setCurrentDirectory");
}

SAnsiString SFileSys::getFullPath(const SAnsiString& path)
{
    if (path.isEmpty()) {
        return getCurrentDirectory();
    }
    const char separator = SStringHelper::getDirSeparator();
    std::string full = PathRules::unified(viewOf(path), separator);
    std::string dir; // what the rest of the path is joined to
    if (PathRules::hasDrive(full, style()) && full.substr(2, 1)[0] != separator) {
        const SystemError error = Platform::currentFolderOfDrive(full[0], dir);
        Work::check(error, SFileSysException::SetCurrentDirectoryFailed, path, SAnsiString(),
                    "setCurrentDirectory");
        full.erase(0, 2);
    } else if (!PathRules::isFullPath(full, style())) {
        const bool rooted = full[0] == separator;
        MORVEX_CHECK(!rooted, "dir.getNChars() == 0 || dir.getAt(0) != DIRSEPARATOR");
        if (rooted) {
            full.insert(0, rootOfCurrentFolder());
        } else {
            dir = viewOf(getCurrentDirectory());
            if (dir.empty()) {
                return textFrom(full);
            }
        }
    }
    return textFrom(PathRules::withoutDots(PathRules::join({.folder = dir, .name = full}, style()), style()));
}

} // namespace MorvexA106
