#pragma once

#include "dropfolder.h"

#include <morvex/sfile.h>
#include <morvex/sstring.h>

namespace Outbox
{

/// What a look into a staging folder tells.
enum class Staging
{
    absent, ///< the target doesn't have this staging folder: it is another target, or its disk is not there
    empty,  ///< no complete copy waits in it
    ready   ///< a complete copy waits to be renamed into place
};

/// The folder that files are delivered into. Copies are put together in a staging folder of ours in it, whose
/// name T no other process and no other target has:
///
/// | path                  | what                                                         |
/// |-----------------------|--------------------------------------------------------------|
/// | `NAME`                | a delivered file                                             |
/// | `.outbox/T/part/NAME` | a copy that may not be complete                              |
/// | `.outbox/T/ready`     | a complete copy                                              |
/// | `.outbox/lock`        | held for the moment in which somebody renames into place     |
class TargetFolder
{
public:
    explicit TargetFolder(const MorvexA106::SAnsiString& folder);

    /// Finds the staging folder that this drop folder used in this target before, or makes one. Throws
    /// `Trouble`, and what `SFileSys` throws.
    void secure(const DropFolder& drop);

    const MorvexA106::SAnsiString& folder() const { return m_folder; }

    /// The T of the table, for new copies.
    const MorvexA106::SAnsiString& staging() const { return m_staging; }

    /// Looks once, so that the answer is true at one moment even when the target goes and comes meanwhile.
    Staging look(const MorvexA106::SAnsiString& staging) const;

    MorvexA106::SAnsiString part(const MorvexA106::SAnsiString& name) const;

    /// Removes what is left of copies that were given up, so that it takes no space.
    void clearParts() const;

    /// The same, and a copy that is ready; only while no file is in the drop folder's part for this staging.
    void clear() const;

    /// Turns the copy of that name into the one that is ready; both are on the disk then.
    void finishPart(const MorvexA106::SAnsiString& name) const;

    /// Renames the ready copy into place and returns its name there: the given one, or the first free one with
    /// a number. Nothing is ever replaced, as long as nobody but processes like this one puts files there at
    /// the very moment. Throws `Trouble` while another process holds the lock, after waiting a little.
    MorvexA106::SAnsiString place(const MorvexA106::SAnsiString& staging,
                                  const MorvexA106::SAnsiString& name) const;

private:
    MorvexA106::SAnsiString pathOf(const MorvexA106::SAnsiString& staging, const char* what) const;
    MorvexA106::SAnsiString findStaging(const DropFolder& drop) const;
    void makeStaging(const DropFolder& drop);

    MorvexA106::SAnsiString m_folder;
    MorvexA106::SAnsiString m_work;
    MorvexA106::SAnsiString m_staging;
};

} // namespace Outbox
