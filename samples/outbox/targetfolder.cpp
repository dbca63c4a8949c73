#include "targetfolder.h"

#include "failures.h"
#include "filenames.h"

#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

// Others hold the lock for two calls of the system and a flush.
void lockSoon(SFile& lock)
{
    constexpr int tries = 50;
    for (int i = 1;; ++i) {
        try {
            lock.open(SFile::readAndWrite | SFile::create, SFile::defaultPermissions,
                      SFile::denyReadAndWrite);
            return;
        } catch (const SFileException& failure) {
            if (failure.getErrno() != EACCES || i == tries) {
                throw;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

} // namespace

TargetFolder::TargetFolder(const SAnsiString& folder)
    : m_folder(folder),
      m_work(SStringHelper::MakePath(folder, ".outbox"))
{}

void TargetFolder::secure(const DropFolder& drop)
{
    requireFolder(m_folder, "target");
    const bool known = !m_staging.isEmpty() && SFileSys::exists(drop.deliveringBy(m_staging)) &&
                       look(m_staging) != Staging::absent;
    if (known) {
        return;
    }
    m_staging = findStaging(drop);
    if (m_staging.isEmpty()) {
        makeStaging(drop);
    }
    if (SFileSys::exists(SStringHelper::MakePath(drop.work(), m_staging))) {
        throw Trouble{"The target folder is the drop folder by another path"};
    }
}

Staging TargetFolder::look(const SAnsiString& staging) const
{
    const SAnsiString folder = SStringHelper::MakePath(m_work, staging);
    if (!SFileSys::exists(folder)) {
        return Staging::absent;
    }
    bool isWhole = false;
    bool isReady = false;
    for (const SAnsiString& name : namesIn(folder)) {
        isWhole = isWhole || name.view() == "part";
        isReady = isReady || name.view() == "ready";
    }
    if (!isWhole) {
        return Staging::absent;
    }
    return isReady ? Staging::ready : Staging::empty;
}

SAnsiString TargetFolder::part(const SAnsiString& name) const
{
    return SStringHelper::MakePath(pathOf(m_staging, "part"), name);
}

void TargetFolder::clearParts() const
{
    for (const SAnsiString& name : namesIn(pathOf(m_staging, "part"))) {
        SFileSys::remove(part(name));
    }
}

void TargetFolder::clear() const
{
    clearParts();
    SFileSys::remove(pathOf(m_staging, "ready"));
}

void TargetFolder::finishPart(const SAnsiString& name) const
{
    SFileSys::renameFile(part(name), pathOf(m_staging, "ready"));
}

SAnsiString TargetFolder::place(const SAnsiString& staging, const SAnsiString& name) const
{
    SFile lock(SStringHelper::MakePath(m_work, "lock"));
    lockSoon(lock);
    const SAnsiString placed = freeName(m_folder, name);
    SFileSys::renameFile(pathOf(staging, "ready"), SStringHelper::MakePath(m_folder, placed));
    return placed;
}

SAnsiString TargetFolder::pathOf(const SAnsiString& staging, const char* what) const
{
    return SStringHelper::MakePath(SStringHelper::MakePath(m_work, staging), what);
}

SAnsiString TargetFolder::findStaging(const DropFolder& drop) const
{
    for (const SAnsiString& staging : namesIn(drop.delivering())) {
        if (look(staging) != Staging::absent) {
            return staging;
        }
    }
    return SAnsiString();
}

// The folder "part" comes last: it says that the staging folder is whole and that the drop folder knows of it. The
// drop folder comes late, so that a target which can't be written leaves no trace there at each try.
void TargetFolder::makeStaging(const DropFolder& drop)
{
    const SAnsiString staging = drawNumber();
    makeFolder(m_work);
    makeFolder(SStringHelper::MakePath(m_work, staging));
    makeFolder(drop.deliveringBy(staging));
    makeFolder(pathOf(staging, "part"));
    m_staging = staging;
}

} // namespace Outbox
