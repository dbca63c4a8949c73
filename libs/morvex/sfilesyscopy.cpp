#include "morvex/badalloc.h"
#include "morvex/sfile.h"
#include "morvex/sfilesyswork.h"
#include "morvex/sstringhelper.h"
#include "morvex/treewalk.h"
#include "platform/copyfile.h"
#include "platform/filesystem.h"

#include <cerrno>
#include <vector>

namespace MorvexA106
{

namespace
{

using Platform::EntryKind;
using Platform::FolderChain;
using Platform::SystemError;

/// Copies all that is in the top to the top of another chain, as far as possible.
class TreeCopy final : public TreeWalk
{
public:
    /// `made`: the other top is new.
    TreeCopy(FolderChain& from, FolderChain& to, bool made, bool overwrite)
        : TreeWalk(from),
          m_to(to),
          m_target(to.identity()),
          m_made(1, made),
          m_overwrite(overwrite)
    {}

    void runWhole()
    {
        run();
        if (m_made.size() == 1) { // else the walk was stopped below
            leaving();
        }
    }

private:
    void file(NameText name, EntryKind kind) override;
    bool entered(NameText name) override;
    void leaving() override;
    void left(NameText) override;
    void lost() override { stop(); }
    void closed(NameText name, const SystemError& error) override;
    bool isGone(NameText name) const;
    SystemError copyOne(NameText name);
    SystemError makeFolder(NameText name, bool& made);

    FolderChain& m_to;
    Platform::FileIdentity m_target;
    std::vector<bool> m_made; ///< for each folder in the other chain, whether it is new
    bool m_overwrite;
};

bool TreeCopy::isGone(NameText name) const
{
    EntryKind kind = EntryKind::file;
    std::uint64_t size = 0;
    const SystemError error = chain().look(name, kind, size);
    return error && meansGone(error);
}

/// The two chains hold more descriptors than they need; a copy needs two of its own.
SystemError TreeCopy::copyOne(NameText name)
{
    SystemError error = copyEntry(chain(), m_to, name, m_overwrite);
    while (error && meansOutOfHandles(error) && (chain().letGoOfOne() || m_to.letGoOfOne())) {
        error = copyEntry(chain(), m_to, name, m_overwrite);
    }
    return error;
}

SystemError TreeCopy::makeFolder(NameText name, bool& made)
{
    SystemError error = m_to.make(name, made);
    while (error && meansOutOfHandles(error) && chain().letGoOfOne()) {
        bool again = false;
        error = m_to.make(name, again);
        made = made || again;
    }
    return error;
}

void TreeCopy::closed(NameText name, const SystemError& error)
{
    if (meansOutOfHandles(error) && m_to.letGoOfOne()) {
        queue(name);
    } else {
        fail(name, error);
    }
}

void TreeCopy::file(NameText name, EntryKind kind)
{
    if (kind == EntryKind::special) { // whose mere opening may do something
        fail(name, Platform::runtimeError(EINVAL));
        return;
    }
    const SystemError error = copyOne(name);
    if (error && !isGone(name)) {
        fail(name, error);
    }
}

/// The target itself, when it lies in the source, is left out. Where it can't be told from others, a copy into itself
/// would have no end.
bool TreeCopy::entered(NameText name)
{
    const Platform::FileIdentity here = chain().identity();
    if (here == m_target) {
        if (here == Platform::FileIdentity{}) {
            failInHand(Platform::runtimeError(ENOSYS));
        }
        return false;
    }
    bool made = false;
    if (const SystemError error = makeFolder(name, made)) {
        failInHand(error);
        return false;
    }
    m_made.push_back(made);
    return true;
}

/// Last of all: the source may forbid to write, and whatever is written changes the time.
void TreeCopy::leaving()
{
    if (m_made.back()) {
        if (const SystemError error = copyFolderProperties(chain(), m_to)) {
            failInHand(error);
        }
    }
}

void TreeCopy::left(NameText name)
{
    m_made.pop_back();
    if (const SystemError error = m_to.leave()) {
        fail(name, error);
        stop();
    }
}

} // namespace

/// The way there, and the folder itself for its owner only, until it has the permissions of its source.
bool SFileSys::Work::makeTarget(const SAnsiString& path)
{
    const SAnsiString target = trimmed(path);
    if (exists(target)) {
        return false;
    }
    makeFolderOf(target);
    makeDirectory(target, SFile::ownerRWXMask);
    return true;
}

void SFileSys::Work::makeFolderOf(const SAnsiString& path)
{
    SAnsiString folder;
    SAnsiString name;
    SAnsiString extension;
    SStringHelper::SplitPathEx(path, folder, name, extension);
    if (!folder.isEmpty()) {
        makeDirectories(folder, SFile::defaultPermissions);
    }
}

void SFileSys::Work::copyTree(const SAnsiString& from, const SAnsiString& to, bool overwrite)
{
    if (Platform::isSameFile(from, to)) {
        fail(Codes::CopyFailed, Platform::fileInUse(), from, to, "copyFile");
    }
    FolderChain source;
    FolderChain target;
    constexpr auto follow = FolderChain::TopLink::follow;
    check(source.open(trimmed(from), follow), Codes::CopyFailed, from, to, "copyFile");
    const bool made = makeTarget(to);
    check(target.open(trimmed(to), follow), Codes::CopyFailed, from, to, "copyFile");
    TreeCopy copy(source, target, made, overwrite);
    copy.runWhole();
    if (copy.failure()) {
        const auto& [error, path] = *copy.failure();
        fail(Codes::CopyFailed, error, pathIn(from, path), pathIn(to, path), "copyFile");
    }
}

void SFileSys::copyFile(const SAnsiString& from, const SAnsiString& to, bool overwrite)
{
    Work::requireExists(from, "copyFile");
    if (isDir(from)) {
        sayingBadAllocation([&] { Work::copyTree(from, to, overwrite); });
        return;
    }
    Work::makeFolderOf(to);
    const SystemError error = sayingBadAllocation([&] { return Platform::copyFile(from, to, overwrite); });
    Work::check(error, SFileSysException::CopyFailed, from, to, "copyFile");
}

} // namespace MorvexA106
