#pragma once

#include "delivery.h"
#include "dropfolder.h"
#include "events.h"
#include "scanner.h"
#include "targetfolder.h"
#include "troublebook.h"

#include <morvex/sstring.h>

namespace Outbox
{

/// Delivers files from one folder into another, a round at a time:
///
///     Agent agent("/var/spool/orders", "/mnt/partner/in", 200, events);
///     agent.open();
///     while (!stopRequested)
///         sleep(agent.round());
///
/// A round goes on with what is under way, looks at the drop folder, and delivers what was seen complete. Of
/// trouble (see failures.h) it tells the events, once, and leaves everything for a later round. Belongs to one
/// thread.
class Agent
{
public:
    /// `interval` in milliseconds: how long a complete file has stood still. Paths are full.
    Agent(const MorvexA106::SAnsiString& from, const MorvexA106::SAnsiString& to, long interval,
          Events& events);

    /// Takes the drop folder. Throws `Trouble` and `SFileException` and `SFileSysException` when a folder is
    /// not there, or another process has the drop folder: reasons not to begin.
    void open();

    /// Returns how long to wait before the next one, in milliseconds: the interval, and more and more, up to
    /// five seconds, while trouble lasts.
    long round();

    /// Whether the last round left nothing to do until a file comes: no file waits, and nothing is in disorder.
    bool isIdle() const { return m_isIdle; }

    /// Lets other processes have the drop folder. Nothing is lost when it is not called.
    void close();

private:
    void work();
    void recordTrouble(const MorvexA106::SAnsiString& text);
    void freeSpace();
    void tellTroubles();
    void requireOtherFolder() const;

    DropFolder m_drop;
    TargetFolder m_target;
    Scanner m_scanner;
    TroubleBook m_troubles;
    Events& m_events;
    Delivery m_delivery;
    const long m_interval;
    long m_wait;
    bool m_isIdle = false;
};

} // namespace Outbox
