#include "dropfolder.h"

#include "failures.h"
#include "filecopy.h"

#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

#include <cerrno>
#include <cstdio>
#include <random>

namespace Outbox
{

using namespace MorvexA106;

DropFolder::DropFolder(const SAnsiString& folder)
    : m_folder(folder),
      m_work(SStringHelper::MakePath(folder, ".outbox")),
      m_sent(SStringHelper::MakePath(folder, "sent")),
      m_failed(SStringHelper::MakePath(folder, "failed")),
      m_claimed(SStringHelper::MakePath(m_work, "claimed")),
      m_failing(SStringHelper::MakePath(m_work, "failing")),
      m_delivering(SStringHelper::MakePath(m_work, "delivering")),
      m_reason(SStringHelper::MakePath(m_work, "reason")),
      m_owner(SStringHelper::MakePath(m_work, "owner")),
      m_lock(SStringHelper::MakePath(m_work, "lock"))
{}

bool DropFolder::secure()
{
    requireFolder(m_folder, "drop");
    const bool anew = !isOurs();
    if (anew) {
        release();
        makeFolder(m_work);
        lock();
    }
    makeFolders();
    if (anew) {
        signOwner();
    }
    return anew;
}

void DropFolder::release()
{
    m_lock.close();
    m_ownerNumber.empty();
}

SAnsiString DropFolder::deliveringBy(const SAnsiString& staging) const
{
    return SStringHelper::MakePath(m_delivering, staging);
}

// The lock that we hold may be that of a folder which has been moved away, so the lock alone says nothing.
bool DropFolder::isOurs() const
{
    if (m_ownerNumber.isEmpty() || !SFileSys::exists(m_owner)) {
        return false;
    }
    SFile file(m_owner, SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    char number[32];
    const int length = file.read(number, sizeof number);
    return m_ownerNumber.view() == std::string_view(number, static_cast<std::size_t>(length));
}

// The system gives the lock back when the process dies, however it dies.
void DropFolder::lock()
{
    try {
        m_lock.open(SFile::readAndWrite | SFile::create, SFile::defaultPermissions, SFile::denyReadAndWrite);
    } catch (const SFileException& failure) {
        if (failure.getErrno() != EACCES) {
            throw;
        }
        throw Trouble{SAnsiString("Another process serves the drop folder ") + m_folder +
                      ", or this one may not write there"};
    }
}

void DropFolder::makeFolders()
{
    for (const SAnsiString& folder : {m_claimed, m_failing, m_delivering, m_sent, m_failed}) {
        makeFolder(folder);
    }
}

// Moving it into place also brings the folders made before it to the disk.
void DropFolder::signOwner()
{
    const SAnsiString number = drawNumber();
    const SAnsiString unfinished = m_owner + ".new";
    writeFlushed(unfinished, number);
    SFileSys::renameFile(unfinished, m_owner);
    m_ownerNumber = number;
}

SAnsiString drawNumber()
{
    std::random_device source;
    char digits[17];
    std::snprintf(digits, sizeof digits, "%08x%08x", source(), source());
    return digits;
}

void makeFolder(const SAnsiString& folder)
{
    SFileSys::makeDirectory(folder, SFile::defaultPermissions);
}

void requireFolder(const SAnsiString& folder, const char* what)
{
    if (!SFileSys::exists(folder) || !SFileSys::isDir(folder)) {
        throw Trouble{SAnsiString("The ") + what + " folder " + folder + " is not there"};
    }
}

} // namespace Outbox
