#include "morvex/badalloc.h"
#include "morvex/csiprocess.h"
#include "morvex/multibyte.h"
#include "morvex/refcount.h"
#include "morvex/sdatetime.h"
#include "morvex/sfile.h"
#include "morvex/sfilesyswork.h"
#include "morvex/sstringhelper.h"
#include "platform/filesystem.h"
#include "platform/process.h"
#include "platform/text.h"

#include <cerrno>
#include <charconv>
#include <string>
#include <string_view>

namespace MorvexA106
{

using Platform::SystemError;

namespace
{

constexpr const char* helperName = "getUniqueFilenameHelper";

/// So many names in a row are never taken by chance: something is wrong with the folder.
constexpr int mostTries = 1 << 12;

constexpr int readBits = 0444;
constexpr int fromReadToExecute = 2;

/// Plain data without destructors, so that the destructors of other statics may still ask for names.
std::uint64_t millisecondsNow()
{
    static const SDateTime reference = SDateTime::FromUTC(SDate(1997, 1, 1), STime::FromMilliseconds(0));
    return static_cast<std::uint64_t>((SDateTime::GetCurrentDateTime() - reference).GetTotalMilliseconds());
}

std::uint32_t nextCount() noexcept
{
    static SInterlockedInt32s counter(-1);
    return static_cast<std::uint32_t>(++counter);
}

void appendHexadecimal(std::string& text, std::uint64_t number)
{
    char digits[16];
    const auto written = std::to_chars(digits, std::end(digits), number, 16);
    text.append(digits, written.ptr);
}

/// By the locale's characters. Bytes that are no text, and characters without a small form here, stay.
std::string inLowerCase(const std::string& text)
{
    const auto locale = Platform::LocaleText::current();
    std::string result;
    for (const char* at = text.c_str(); *at != 0;) {
        char mapped[Multibyte::mappedBytes];
        std::size_t length = 0;
        const auto bytes = static_cast<std::size_t>(locale.step(at));
        if (Multibyte::mapCharacter(locale, at, Multibyte::lowerCase, mapped, length) ==
            Multibyte::MapResult::mapped) {
            result.append(mapped, length);
        } else {
            result.append(at, bytes);
        }
        at += bytes;
    }
    return result;
}

std::string nextName(const SAnsiString& prefix)
{
    std::string name(prefix.view());
    appendHexadecimal(name, CSIProcess::GetCurrentProcessID());
    appendHexadecimal(name, millisecondsNow());
    appendHexadecimal(name, nextCount());
    return inLowerCase(name);
}

/// Who may read a folder may enter it too.
int folderPermissions(int permissions) noexcept
{
    return permissions == SFile::defaultPermissions
               ? SFile::readWriteMask
               : permissions | (permissions & readBits) >> fromReadToExecute;
}

int filePermissions(int permissions) noexcept
{
    return permissions == SFile::defaultPermissions
               ? SFile::ownerRWXMask | SFile::groupRWXMask | SFile::othersRWXMask
               : permissions;
}

} // namespace

class SFileSys::Work::UniqueName
{
public:
    UniqueName(const SAnsiString& folder, int permissions) : m_folder(folder), m_permissions(permissions) {}

    bool isFree(const SAnsiString& path) const;

    /// False when somebody else was faster.
    bool takeFile(const SAnsiString& path) const;
    bool takeFolder(const SAnsiString& path) const;

    [[noreturn]] void failBy(const SystemError& error) const
    {
        fail(Codes::UniqueNameFailed, error, m_folder, SAnsiString(), helperName);
    }

private:
    void makeWayTo(const SAnsiString& path) const;

    const SAnsiString& m_folder;
    int m_permissions;
};

/// Where one may not even look, every name seems taken.
bool SFileSys::Work::UniqueName::isFree(const SAnsiString& path) const
{
    const SystemError error = Platform::lookFor(path);
    if (error && !meansAbsent(error.number)) {
        failBy(error);
    }
    return static_cast<bool>(error);
}

void SFileSys::Work::UniqueName::makeWayTo(const SAnsiString& path) const
{
    std::string_view folder;
    std::string_view name;
    std::string_view extension;
    SStringHelper::SplitPathEx(path.view(), folder, name, extension);
    if (!folder.empty()) {
        makeDirectories(SAnsiString(folder), folderPermissions(m_permissions));
    }
}

bool SFileSys::Work::UniqueName::takeFile(const SAnsiString& path) const
{
    makeWayTo(path);
    try {
        const SFile file(path, SFile::create | SFile::exclusive, filePermissions(m_permissions),
                         SFile::denyNothing);
        return true;
    } catch (const SFileException& failure) {
        if (failure.getErrno() == EEXIST) {
            return false;
        }
        trace("SFileSys::getUniqueFilenameHelper: Fail to create uniquely-named file. %1",
              failure.toString());
        failBy(Platform::runtimeError(failure.getErrno()));
    }
}

bool SFileSys::Work::UniqueName::takeFolder(const SAnsiString& path) const
{
    makeWayTo(path);
    const SystemError error = Platform::makeFolder(path, folderPermissions(m_permissions));
    if (error.number == EEXIST) {
        return false;
    }
    check(error, Codes::MakeDirectoryFailed, path, SAnsiString(), "makeDirectory");
    return true;
}

SAnsiString SFileSys::getUniqueFilenameHelper(const SAnsiString& dir, const SAnsiString& prefix,
                                              const SAnsiString& extension, bool create, int permissions,
                                              bool isDirectory)
{
    bool folder = false;
    if (!Platform::readAttributes(Work::trimmed(dir), folder) && !folder) {
        Work::failAsNoFolder(SFileSysException::UniqueNameFailed, dir, helperName);
    }
    const Work::UniqueName unique(dir, permissions);
    try {
        for (int tries = 0; tries < mostTries; ++tries) {
            const SAnsiString path = SStringHelper::MakePath(
                dir, sayingBadAllocation([&] { return nextName(prefix); }).c_str(), extension);
            if (unique.isFree(path) &&
                (!create || (isDirectory ? unique.takeFolder(path) : unique.takeFile(path)))) {
                return path;
            }
        }
    } catch (const SFileSysException& failure) {
        if (failure.ErrCode() != SFileSysException::UniqueNameFailed) {
            Work::trace("SFileSys::getUniqueFilenameHelper: fail to create directories. %1",
                        failure.toString());
        }
        throw;
    }
    unique.failBy(Platform::runtimeError(EEXIST));
}

SAnsiString SFileSys::getUniqueFilename(const SAnsiString& dir, const SAnsiString& prefix,
                                        const SAnsiString& extension, bool create, int permissions)
{
    return getUniqueFilenameHelper(dir, prefix, extension, create, permissions, false);
}

SAnsiString SFileSys::getUniqueDirname(const SAnsiString& dir, const SAnsiString& prefix, bool create,
                                       int permissions)
{
    return getUniqueFilenameHelper(dir, prefix, SAnsiString(), create, permissions, true);
}

SAnsiString SFileSys::getTempFilename(const SAnsiString& prefix)
{
    return getUniqueFilename(getTempDirname(), prefix, SAnsiString(), true, SFile::defaultPermissions);
}

SAnsiString SFileSys::getTempDirname()
{
    constexpr std::size_t told = 256;
    std::string folder;
    if (const SystemError error = sayingBadAllocation([&] { return Platform::temporaryFolder(folder); })) {
        throw SFileSysException(SFileSysException::UniqueNameFailed, SFileSysException::NoTempFolder,
                                SAnsiString(), Work::textOf(error), SAnsiString(), "getTempFilename");
    }
    if (folder.size() >= told) {
        Work::reportFalse("Length of temp dir returned is bigger than _MAX_DIR");
    }
    return folder.c_str();
}

} // namespace MorvexA106
