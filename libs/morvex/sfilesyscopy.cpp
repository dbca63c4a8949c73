#include "morvex/sfile.h"
#include "morvex/sfilesyswork.h"
#include "morvex/ssfilesearch.h"
#include "morvex/sstringhelper.h"
#include "platform/copyfile.h"
#include "platform/filesystem.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace MorvexA106
{

using Platform::FileIdentity;
using Platform::SystemError;

/// Copies a folder as far as possible and keeps the first failure.
class SFileSys::Work::TreeCopy
{
public:
    struct Failure
    {
        Reasons reason;
        SAnsiString text;
    };

    TreeCopy(const SAnsiString& target, bool overwrite) : m_overwrite(overwrite)
    {
        Platform::identify(target, m_target);
    }

    void copyFolder(const SAnsiString& from, const SAnsiString& to);
    const std::optional<Failure>& failure() const noexcept { return m_failure; }

private:
    std::vector<SAnsiString> namesIn(const SAnsiString& folder);
    void copyEntries(const SAnsiString& from, const SAnsiString& to);
    void copyEntry(const SAnsiString& from, const SAnsiString& to);
    void record(Reasons reason, const SAnsiString& text);

    FileIdentity m_target;
    bool m_overwrite;
    std::vector<FileIdentity> m_entered;
    std::optional<Failure> m_failure;
};

void SFileSys::Work::TreeCopy::record(Reasons reason, const SAnsiString& text)
{
    if (!m_failure) {
        m_failure = Failure{reason, text};
    }
}

/// All at once: no folder stays open while its subfolders are copied, and what the copy adds is not found.
std::vector<SAnsiString> SFileSys::Work::TreeCopy::namesIn(const SAnsiString& folder)
{
    std::vector<SAnsiString> names;
    SSFileSearch search(folder, "*.*");
    SAnsiString name;
    for (bool found = search.FindFirst(name); found; found = search.FindNext(name)) {
        if (!isDotEntry(name)) {
            names.push_back(name);
        }
    }
    if (search.failed()) {
        record(SFileSysException::mapError(search.getError()), search.getErrorText());
    }
    return names;
}

/// A folder in which we are already is not entered again: a link leads back to it.
void SFileSys::Work::TreeCopy::copyFolder(const SAnsiString& from, const SAnsiString& to)
{
    FileIdentity identity;
    const bool known = Platform::identify(from, identity);
    if (known && std::ranges::find(m_entered, identity) != m_entered.end()) {
        record(Reasons::OtherReason, "The folder leads back to itself.");
        return;
    }
    m_entered.push_back(identity);
    try {
        makeDirectory(to, SFile::defaultPermissions);
        copyEntries(from, to);
    } catch (const SFileSysException& failure) {
        record(failure.ErrReason(), failure.reason());
    }
    m_entered.pop_back();
}

void SFileSys::Work::TreeCopy::copyEntries(const SAnsiString& from, const SAnsiString& to)
{
    for (const SAnsiString& name : namesIn(from)) {
        try {
            copyEntry(SStringHelper::MakePath(from, name), SStringHelper::MakePath(to, name));
        } catch (const SFileSysException& failure) {
            record(failure.ErrReason(), failure.reason());
        }
    }
}

void SFileSys::Work::TreeCopy::copyEntry(const SAnsiString& from, const SAnsiString& to)
{
    if (!isDir(from)) {
        if (const SystemError error = Platform::copyFile(from, to, m_overwrite)) {
            record(reasonOf(error), textOf(error));
        }
        return;
    }
    FileIdentity identity;
    if (!Platform::identify(from, identity) || identity != m_target) {
        copyFolder(from, to);
    }
}

void SFileSys::copyFile(const SAnsiString& from, const SAnsiString& to, bool overwrite)
{
    Work::requireExists(from, "copyFile");
    if (!isDir(from)) {
        SAnsiString folder;
        SAnsiString name;
        SAnsiString extension;
        SStringHelper::SplitPathEx(to, folder, name, extension);
        if (!folder.isEmpty()) {
            makeDirectories(folder, SFile::defaultPermissions);
        }
        Work::check(Platform::copyFile(from, to, overwrite), SFileSysException::CopyFailed, from, to,
                    "copyFile");
        return;
    }
    if (Platform::isSameFile(from, to)) {
        Work::fail(SFileSysException::CopyFailed, Platform::fileInUse(), from, to, "copyFile");
    }
    SAnsiString source(from);
    SAnsiString target(to);
    SStringHelper::AppendSlashToDir(source);
    SStringHelper::AppendSlashToDir(target);
    makeDirectories(target, SFile::defaultPermissions);
    Work::TreeCopy copy(target, overwrite);
    copy.copyFolder(source, target);
    if (copy.failure()) {
        throw SFileSysException(SFileSysException::CopyFailed, copy.failure()->reason, from,
                                copy.failure()->text, to, "copyFile");
    }
}

} // namespace MorvexA106
