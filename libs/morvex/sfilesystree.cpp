#include "morvex/badalloc.h"
#include "morvex/sfilesyswork.h"
#include "morvex/sstringhelper.h"
#include "morvex/treewalk.h"
#include "platform/filesystem.h"

#include <cerrno>
#include <cstdint>
#include <limits>

namespace MorvexA106
{

namespace
{

using Platform::EntryKind;
using Platform::FolderChain;
using Platform::SystemError;

/// Empties the top, as far as possible.
class TreeRemoval final : public TreeWalk
{
public:
    using TreeWalk::TreeWalk;

    /// Until nothing new has come while we were at it, within reason.
    void runUntilEmpty()
    {
        std::size_t before = 0;
        int passes = 0;
        do {
            before = m_removed;
            run();
        } while (m_removed != before && failures() == 0 && ++passes < mostReturns);
    }

private:
    static constexpr int mostReturns = 16;

    /// How many failures there were when a folder was entered, and how often we have returned to the last folder in it.
    struct Visit
    {
        std::size_t failures = 0;
        int returns = 0;
    };

    void file(NameText name, EntryKind) override;
    bool entered(NameText) override;
    void left(NameText name) override;
    void closed(NameText name, const SystemError& error) override;
    void lost() override { m_visits.resize(chain().depth()); }
    void couldNotRemove(NameText name, const SystemError& error);

    std::size_t m_removed = 0;
    std::vector<Visit> m_visits{Visit()}; ///< of the top and so on
};

void TreeRemoval::file(NameText name, EntryKind)
{
    const SystemError error = chain().removeFile(name);
    if (!error) {
        ++m_removed;
        return;
    }
    EntryKind kind = EntryKind::file;
    std::uint64_t size = 0;
    if (const SystemError looked = chain().look(name, kind, size)) {
        couldNotRemove(name, meansGone(looked) ? looked : error);
    } else if (kind == EntryKind::folder) {
        queue(name);
    } else {
        couldNotRemove(name, error);
    }
}

bool TreeRemoval::entered(NameText)
{
    m_visits.push_back({failures(), 0});
    return true;
}

/// A folder that has new entries by now, or of which the system passed some over while others were removed, is gone
/// through again.
void TreeRemoval::left(NameText name)
{
    const Visit visit = m_visits.back();
    m_visits.pop_back();
    int& returns = m_visits.back().returns;
    const SystemError error = chain().removeFolder(name);
    if (!error) {
        ++m_removed;
        returns = 0;
        return;
    }
    const bool hasNew = meansNotEmpty(error) && failures() == visit.failures;
    if (hasNew && ++returns < mostReturns) {
        queue(name);
        return;
    }
    returns = 0;
    EntryKind kind = EntryKind::folder;
    std::uint64_t size = 0;
    if (!chain().look(name, kind, size) && kind != EntryKind::folder) {
        file(name, kind);
    } else {
        couldNotRemove(name, error);
    }
}

/// One that is empty can be removed without being read.
void TreeRemoval::closed(NameText name, const SystemError& error)
{
    if (chain().removeFolder(name)) {
        couldNotRemove(name, error);
    } else {
        ++m_removed;
    }
}

void TreeRemoval::couldNotRemove(NameText name, const SystemError& error)
{
    if (!meansGone(error)) {
        fail(name, error);
    }
}

/// What a tree comes to, the top itself left out.
class TreeMeasure final : public TreeWalk
{
public:
    /// Ends once there are more bytes than the limit.
    TreeMeasure(FolderChain& chain, std::uint64_t limit) : TreeWalk(chain), m_limit(limit), m_sizes(true) {}

    /// Only counts, and asks for no sizes.
    explicit TreeMeasure(FolderChain& chain) : TreeWalk(chain) {}

    std::uint64_t bytes() const noexcept { return m_bytes; }
    std::size_t files() const noexcept { return m_files; }
    std::size_t folders() const noexcept { return m_folders; }
    bool isOverLimit() const noexcept { return m_bytes > m_limit; }

private:
    void file(NameText name, EntryKind) override
    {
        ++m_files;
        if (m_sizes) {
            addSize(name);
        }
    }
    bool entered(NameText) override
    {
        ++m_folders;
        return true;
    }

    /// A part of a sum is of no use to anybody.
    void closed(NameText name, const SystemError& error) override
    {
        fail(name, error);
        stop();
    }
    void lost() override { stop(); }
    void addSize(NameText name);

    std::uint64_t m_limit = 0;
    bool m_sizes = false;
    std::uint64_t m_bytes = 0;
    std::size_t m_files = 0;
    std::size_t m_folders = 0;
};

void TreeMeasure::addSize(NameText name)
{
    EntryKind kind = EntryKind::file;
    std::uint64_t size = 0;
    const SystemError error = chain().look(name, kind, size);
    if (!error) {
        m_bytes += size;
    } else if (!meansGone(error)) {
        closed(name, error);
    }
    if (isOverLimit()) {
        stop();
    }
}

} // namespace

SAnsiString SFileSys::Work::pathIn(const SAnsiString& top, const std::string& entry)
{
    return entry.empty() ? top : SStringHelper::MakePath(top, entry.c_str());
}

void SFileSys::Work::checkTree(const TreeWalk& walk, const SAnsiString& top, Codes code, const char* function)
{
    if (walk.failure()) {
        fail(code, walk.failure()->error, pathIn(top, walk.failure()->path), SAnsiString(), function);
    }
}

void SFileSys::Work::removeContentOf(const SAnsiString& folder, const char* function)
{
    FolderChain chain;
    const SystemError error = chain.open(trimmed(folder), FolderChain::TopLink::refuse);
    if (error && meansGone(error)) {
        return;
    }
    check(error, Codes::RemoveTreeFailed, folder, SAnsiString(), function);
    if (chain.isRootOfAll()) {
        fail(Codes::RemoveTreeFailed, Platform::fileInUse(), folder, SAnsiString(), function);
    }
    TreeRemoval removal(chain);
    removal.runUntilEmpty();
    checkTree(removal, folder, Codes::RemoveTreeFailed, function);
}

bool SFileSys::Work::isLink(const SAnsiString& path)
{
    return Platform::isLinkToAnything(trimmed(path));
}

void SFileSys::rremove(const SAnsiString& path)
{
    const bool link = Work::isLink(path);
    if (!link && !exists(path)) {
        return;
    }
    if (!link && isDir(path)) {
        sayingBadAllocation([&] { Work::removeContentOf(path, "rremove"); });
    }
    remove(path);
}

void SFileSys::rremoveContent(const SAnsiString& folder)
{
    const bool link = Work::isLink(folder);
    if (!link && !exists(folder)) {
        return;
    }
    if (link || !isDir(folder)) {
        Work::failAsNoFolder(SFileSysException::RemoveTreeFailed, folder, "rremoveContent");
    }
    sayingBadAllocation([&] { Work::removeContentOf(folder, "rremoveContent"); });
}

std::uint64_t SFileSys::Work::sizeOfTree(const SAnsiString& path, std::uint64_t limit, const char* function)
{
    FolderChain chain;
    check(chain.open(trimmed(path), FolderChain::TopLink::follow), Codes::GetSizeFailed, path, SAnsiString(),
          function);
    TreeMeasure measure(chain, limit);
    measure.run();
    checkTree(measure, path, Codes::GetSizeFailed, function);
    if (measure.isOverLimit()) {
        throw SFileSysException(Codes::GetSizeFailed, Reasons::SizeLimit, path,
                                textOf(Platform::runtimeError(EFBIG)), "Size of file exceeds 4 GBytes.",
                                function);
    }
    return measure.bytes();
}

unsigned long SFileSys::rsize(const SAnsiString& path)
{
    Work::requireExists(path, "rsize");
    if (!isDir(path)) {
        return size(path);
    }
    constexpr std::uint64_t limit = std::numeric_limits<std::uint32_t>::max();
    const auto bytes = sayingBadAllocation([&] { return Work::sizeOfTree(path, limit, "rsize"); });
    return static_cast<unsigned long>(bytes);
}

__int64 SFileSys::rsizeEx(const SAnsiString& path)
{
    Work::requireExists(path, "rsizeEx");
    if (!isDir(path)) {
        return sizeEx(path);
    }
    constexpr std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
    const auto bytes = sayingBadAllocation([&] { return Work::sizeOfTree(path, limit, "rsizeEx"); });
    return static_cast<__int64>(bytes);
}

unsigned long SFileSys::Work::count(const SAnsiString& path, bool folders, const char* function)
{
    requireExists(path, function);
    if (!isDir(path)) {
        return 1;
    }
    FolderChain chain;
    check(chain.open(trimmed(path), FolderChain::TopLink::follow), Codes::GetAttributesFailed, path,
          SAnsiString(), function);
    TreeMeasure measure(chain);
    measure.run();
    checkTree(measure, path, Codes::GetAttributesFailed, function);
    return static_cast<unsigned long>(measure.files() + (folders ? measure.folders() : 0));
}

unsigned long SFileSys::countFiles(const SAnsiString& path)
{
    return sayingBadAllocation([&] { return Work::count(path, false, "countFiles"); });
}

unsigned long SFileSys::countAll(const SAnsiString& path)
{
    return sayingBadAllocation([&] { return Work::count(path, true, "countAll"); });
}

} // namespace MorvexA106
