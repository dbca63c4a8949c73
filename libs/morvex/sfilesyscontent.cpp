#include "morvex/badalloc.h"
#include "morvex/sfilesyswork.h"
#include "morvex/ssfilesearch.h"
#include "morvex/sstringhelper.h"
#include "platform/fileattributes.h"
#include "platform/filesystem.h"
#include "platform/folderchain.h"

#include <vector>

namespace MorvexA106
{

using Platform::SystemError;

namespace
{

/// All at once: some systems pass entries over when others are removed during the walk.
std::vector<SAnsiString> namesIn(SSFileSearch& search)
{
    std::vector<SAnsiString> names;
    SAnsiString name;
    for (bool found = search.FindFirst(name); found; found = search.FindNext(name)) {
        names.push_back(name);
    }
    return names;
}

} // namespace

/// Removes the files of one folder and counts the bytes of those that it removed itself.
class SFileSys::Work::ContentRemoval
{
public:
    explicit ContentRemoval(const char* operation) : m_operation(operation) {}

    std::uint64_t removeFrom(const SAnsiString& folder, const SAnsiString& pattern);

private:
    void removeEntry(const SAnsiString& path);

    const char* m_operation;
    std::uint64_t m_bytes = 0;
};

/// What is gone before its turn is neither a failure nor our doing.
void SFileSys::Work::ContentRemoval::removeEntry(const SAnsiString& path)
{
    Platform::EntryStatus status;
    SystemError error = Platform::readEntry(path, status);
    if (!error && status.folder) {
        return;
    }
    if (!error) {
        error = Platform::removeFile(path);
    }
    if (!error) {
        m_bytes += status.link ? 0 : status.size;
    } else if (!Platform::meansGone(error)) {
        trace("SFileSys::removeContent: Can't remove file %1. Reason: %2\n", path, textOf(error));
    }
}

std::uint64_t SFileSys::Work::ContentRemoval::removeFrom(const SAnsiString& folder,
                                                         const SAnsiString& pattern)
{
    if (!exists(folder)) {
        return 0;
    }
    if (!isDir(folder)) {
        failAsNoFolder(Codes::RemoveTreeFailed, folder, m_operation);
    }
    SSFileSearch search(folder, pattern);
    for (const SAnsiString& name : sayingBadAllocation([&] { return namesIn(search); })) {
        removeEntry(SStringHelper::MakePath(folder, name));
    }
    if (search.failed()) {
        throw SFileSysException(Codes::RemoveTreeFailed, SFileSysException::mapError(search.getError()),
                                folder, search.getErrorText(), SAnsiString(), m_operation);
    }
    return m_bytes;
}

void SFileSys::removeContent(const SAnsiString& dir, const SAnsiString& pattern, unsigned long& bytes)
{
    bytes = 0;
    bytes = static_cast<std::uint32_t>(Work::ContentRemoval("removeContent").removeFrom(dir, pattern));
}

void SFileSys::removeContentEx(const SAnsiString& dir, const SAnsiString& pattern, __int64& bytes)
{
    bytes = 0;
    bytes = static_cast<__int64>(Work::ContentRemoval("removeContentEx").removeFrom(dir, pattern));
}

} // namespace MorvexA106
