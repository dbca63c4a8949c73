#include "morvex/ssfilesearch.h"

#include "morvex/badalloc.h"
#include "morvex/pathrules.h"
#include "morvex/wildcard.h"
#include "platform/filesystem.h"

#include <string>

namespace MorvexA106
{

struct SSFileSearch::Walk
{
    Platform::FolderWalk entries;
    Platform::SystemError error;
    bool atEntry = false;
};

SSFileSearch::SSFileSearch(const SAnsiString& folder, const SAnsiString& pattern)
    : m_folder(folder),
      m_pattern(pattern.isEmpty() ? SAnsiString("*") : pattern)
{}

SSFileSearch::SSFileSearch(SSFileSearch&& other) noexcept = default;
SSFileSearch& SSFileSearch::operator=(SSFileSearch&& other) noexcept = default;
SSFileSearch::~SSFileSearch() = default;

bool SSFileSearch::FindFirst(SAnsiString& name)
{
    sayingBadAllocation([&] {
        m_walk = std::make_unique<Walk>();
        const std::string folder =
            PathRules::join({.folder = m_folder.getString()}, Platform::nativePathStyle());
        m_walk->error = m_walk->entries.open(folder, m_pattern, matchesWildcard);
    });
    return FindNext(name);
}

bool SSFileSearch::FindNext(SAnsiString& name)
{
    const char* found = nullptr;
    if (!m_walk) {
        return false;
    }
    m_walk->atEntry = false;
    const auto next = [&] { return m_walk->entries.next(found, m_walk->error); };
    if (m_walk->error || !sayingBadAllocation(next)) {
        return false;
    }
    m_walk->atEntry = true;
    name = found;
    return true;
}

bool SSFileSearch::getEntry(Entry& entry) const
{
    Platform::FoundEntry status;
    if (!isAtEntry() || m_walk->entries.readStatus(status)) {
        return false;
    }
    entry = {status.modificationTime, status.folder, status.link, static_cast<__int64>(status.size)};
    return true;
}

bool SSFileSearch::isDir() const noexcept
{
    return isAtEntry() && m_walk->entries.isFolder();
}

bool SSFileSearch::isLink() const noexcept
{
    return isAtEntry() && m_walk->entries.isLink();
}

bool SSFileSearch::isAtEntry() const noexcept
{
    return m_walk && m_walk->atEntry;
}

bool SSFileSearch::failed() const noexcept
{
    return getError() != 0;
}

unsigned long SSFileSearch::getError() const noexcept
{
    return m_walk ? m_walk->error.number : 0;
}

SAnsiString SSFileSearch::getErrorText() const
{
    return failed() ? SAnsiString(Platform::errorText(m_walk->error).c_str()) : SAnsiString();
}

} // namespace MorvexA106
