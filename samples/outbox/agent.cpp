#include "agent.h"

#include "failures.h"

#include <morvex/sfile.h>
#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

constexpr long longestWait = 5000;

bool isSamePath(SAnsiString a, SAnsiString b)
{
    SStringHelper::StripSlashOffDirEnd(a);
    SStringHelper::StripSlashOffDirEnd(b);
    return a.compareBinary(b) == 0;
}

} // namespace

Agent::Agent(const SAnsiString& from, const SAnsiString& to, long interval, Events& events)
    : m_drop(from),
      m_target(to),
      m_events(events),
      m_delivery(m_drop, m_target, events, m_troubles),
      m_interval(interval),
      m_wait(interval)
{}

void Agent::open()
{
    requireOtherFolder();
    requireFolder(m_target.folder(), "target");
    m_drop.secure();
}

long Agent::round()
{
    m_isIdle = false;
    m_wait = std::min(m_wait * 2, std::max(m_interval, longestWait));
    try {
        work();
        m_wait = m_interval;
    } catch (const Stopped&) {
        freeSpace();
    } catch (const Trouble& trouble) {
        recordTrouble(trouble.text);
    } catch (const SFileException& failure) {
        recordTrouble(failure.toString());
    } catch (const SFileSysException& failure) {
        recordTrouble(failure.toString());
    }
    tellTroubles();
    m_isIdle = m_isIdle && m_troubles.isEmpty();
    return m_wait;
}

void Agent::close()
{
    m_drop.release();
}

void Agent::work()
{
    if (m_drop.secure()) {
        m_scanner = Scanner();
    }
    m_target.secure(m_drop);
    if (!m_delivery.settle()) {
        return;
    }
    const std::vector<Sighting> files = filesIn(m_drop.folder());
    std::size_t waiting = files.size();
    m_events.waiting(waiting);
    for (const Sighting& file : m_scanner.completeOf(files)) {
        if (m_events.stopRequested() || !m_delivery.take(file)) {
            return;
        }
        m_events.waiting(--waiting);
    }
    m_isIdle = waiting == 0;
}

void Agent::recordTrouble(const SAnsiString& text)
{
    m_troubles.note(text);
    freeSpace();
}

// What was copied so far would only keep a full target full. Where it can't be removed now, the next copy does.
void Agent::freeSpace()
{
    try {
        m_target.clearParts();
    } catch (const Trouble&) {
    } catch (const SFileSysException&) {}
}

void Agent::tellTroubles()
{
    const bool wasEmpty = m_troubles.isEmpty();
    for (const std::string& text : m_troubles.endRound()) {
        m_events.troubled(text.c_str());
    }
    if (m_troubles.isEmpty() && !wasEmpty) {
        m_events.recovered();
    }
}

void Agent::requireOtherFolder() const
{
    for (const SAnsiString& own : {m_drop.folder(), m_drop.sent(), m_drop.failed(), m_drop.work()}) {
        if (isSamePath(own, m_target.folder())) {
            throw Trouble{SAnsiString("The target folder ") + own + " is the drop folder or one of its own"};
        }
    }
}

} // namespace Outbox
