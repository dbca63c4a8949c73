#pragma once

#include "dropfolder.h"
#include "events.h"
#include "scanner.h"
#include "targetfolder.h"
#include "troublebook.h"

#include <morvex/sstring.h>

#include <optional>

namespace Outbox
{

/// Brings one file at a time from the drop folder into the target, exactly once, whatever moment the process dies
/// at. Each step is one rename, made durable before the next step begins, so that the folders always tell how
/// far the file has come. `settle` goes on from there; it makes no difference whether this process or a dead one
/// came that far.
///
/// | reached         | the original                | staging folder T | what `settle` does                      |
/// |-----------------|-----------------------------|------------------|-----------------------------------------|
/// |                 | `NAME`                      |                  | nothing: `take` begins                  |
/// | `claimed`       | `.outbox/claimed/NAME`      | nothing          | copies                                  |
/// | `copied`        | `.outbox/claimed/NAME`      | `part/NAME`      | removes the part and copies again       |
/// | `ready`         | `.outbox/claimed/NAME`      | `ready`          | removes the copy and copies again       |
/// | `delivering`    | `.outbox/delivering/T/NAME` | `ready`          | renames the copy into place             |
/// | `placed`        | `.outbox/delivering/T/NAME` | nothing          | moves the original to `sent`            |
/// | `sent`          | `sent/NAME`                 | nothing          | nothing                                 |
/// |                 | `.outbox/delivering/T/NAME` | no such folder   | nothing: it can't tell, and says so     |
/// | `reasonWritten` | `.outbox/claimed/NAME`, and `.outbox/reason` | nothing      | copies again             |
/// | `failing`       | `.outbox/failing/NAME`, and `.outbox/reason` | nothing      | moves the reason to `failed` |
/// | `reasonMoved`   | `.outbox/failing/NAME`      | nothing          | moves the original to `failed`          |
/// | `failed`        | `failed/NAME`               | nothing          | nothing                                 |
///
/// Until `delivering` the file has not been delivered, since a copy is renamed into place from there only. From
/// then on it has been delivered exactly when `ready` is gone, for nothing else takes `ready` away: not even a
/// reader who has fetched the delivered file from the target meanwhile leaves a doubt.
class Delivery
{
public:
    /// The folders have been secured whenever one of the operations is called.
    Delivery(const DropFolder& drop, const TargetFolder& target, Events& events, TroubleBook& troubles);

    /// Goes on with what is under way. Afterwards nothing is, unless it said that a file is not settled: `take`
    /// must not be called then. Throws `Trouble`, `Stopped`, and what `SFile` and `SFileSys` throw; what was
    /// reached by then stays.
    bool settle();

    /// Claims a file that was seen complete, and delivers it. A file that has gone, or can't be claimed, is left
    /// to whoever keeps it. Throws as `settle`.
    bool take(const Sighting& file);

private:
    bool claim(const MorvexA106::SAnsiString& name);
    bool settleClaimed();
    bool standsStill(const MorvexA106::SAnsiString& name);
    void deliver(const MorvexA106::SAnsiString& name);
    void prepareCopy(const MorvexA106::SAnsiString& name);
    void settleDelivering();
    void finishDelivering(const MorvexA106::SAnsiString& staging, const MorvexA106::SAnsiString& name,
                          Staging found);
    void fail(const MorvexA106::SAnsiString& name, const MorvexA106::SAnsiString& reason);
    void settleFailing(const MorvexA106::SAnsiString& reason);
    void move(const MorvexA106::SAnsiString& from, const MorvexA106::SAnsiString& to, Step step);

    const DropFolder& m_drop;
    const TargetFolder& m_target;
    Events& m_events;
    TroubleBook& m_troubles;

    /// The claimed file, as it looked when we looked last.
    std::optional<Sighting> m_claim;
};

} // namespace Outbox
