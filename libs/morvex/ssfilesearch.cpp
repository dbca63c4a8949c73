#include "morvex/ssfilesearch.h"

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
    m_walk = std::make_unique<Walk>();
    const std::string folder = PathRules::join({.folder = m_folder.getString()}, Platform::nativePathStyle());
    m_walk->error = m_walk->entries.open(folder, m_pattern, matchesWildcard);
    return FindNext(name);
}

bool SSFileSearch::FindNext(SAnsiString& name)
{
    std::string found;
    if (!m_walk || m_walk->error || !m_walk->entries.next(found, m_walk->error)) {
        return false;
    }
    name = found.c_str();
    return true;
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
