#pragma once

#include <morvex/sfile.h>
#include <morvex/sstring.h>

#include <vector>

namespace Outbox
{

/// The folder that files are dropped into, with what we keep in it:
///
/// | path                       | what                                                                    |
/// |----------------------------|-------------------------------------------------------------------------|
/// | `NAME`                     | a file that waits                                                       |
/// | `sent/NAME`                | the original of a delivered file                                        |
/// | `failed/NAME`, `failed/NAME.reason.txt` | a file that can't be delivered, and why                    |
/// | `.outbox/claimed/NAME`     | the file that is being delivered, while that can still be undone        |
/// | `.outbox/delivering/T/NAME` | the same, once its copy is complete in staging folder T of a target    |
/// | `.outbox/failing/NAME`, `.outbox/reason` | the same on its way to `failed`, and why                  |
/// | `.outbox/lock`             | held by the process that serves the folder                              |
/// | `.outbox/owner`            | a number that this process drew when it got the lock                    |
///
/// `work()` is the path of `.outbox`, the other readers are named as their row.
class DropFolder
{
public:
    explicit DropFolder(const MorvexA106::SAnsiString& folder);

    /// Sees to it that the folders are there and that no other process serves them, whatever happened since the
    /// last call: the folder may have been away, or be another one by now. True when it is so anew, false when
    /// nothing changed. Throws `Trouble`, and what `SFile` and `SFileSys` throw.
    bool secure();

    /// Lets other processes have it.
    void release();

    const MorvexA106::SAnsiString& folder() const { return m_folder; }
    const MorvexA106::SAnsiString& work() const { return m_work; }
    const MorvexA106::SAnsiString& sent() const { return m_sent; }
    const MorvexA106::SAnsiString& failed() const { return m_failed; }
    const MorvexA106::SAnsiString& claimed() const { return m_claimed; }
    const MorvexA106::SAnsiString& failing() const { return m_failing; }
    const MorvexA106::SAnsiString& delivering() const { return m_delivering; }
    const MorvexA106::SAnsiString& reason() const { return m_reason; }
    MorvexA106::SAnsiString deliveringBy(const MorvexA106::SAnsiString& staging) const;

private:
    bool isOurs() const;
    void lock();
    void makeFolders();
    void signOwner();

    MorvexA106::SAnsiString m_folder;
    MorvexA106::SAnsiString m_work;
    MorvexA106::SAnsiString m_sent;
    MorvexA106::SAnsiString m_failed;
    MorvexA106::SAnsiString m_claimed;
    MorvexA106::SAnsiString m_failing;
    MorvexA106::SAnsiString m_delivering;
    MorvexA106::SAnsiString m_reason;
    MorvexA106::SAnsiString m_owner;
    MorvexA106::SAnsiString m_ownerNumber;
    MorvexA106::SFile m_lock;
};

/// 16 hexadecimal digits that nobody else draws.
MorvexA106::SAnsiString drawNumber();

/// Makes one folder whose own folder is there.
void makeFolder(const MorvexA106::SAnsiString& folder);

/// Throws `Trouble` when there is no such folder.
void requireFolder(const MorvexA106::SAnsiString& folder, const char* what);

} // namespace Outbox
