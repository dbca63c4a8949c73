#include "delivery.h"

#include "failures.h"
#include "filecopy.h"
#include "filenames.h"

#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

SAnsiString pathIn(const SAnsiString& folder, const SAnsiString& name)
{
    return SStringHelper::MakePath(folder, name);
}

// What is no file has no stamp of its own; that shows when it is copied.
Stamp stampOf(const SAnsiString& folder, const SAnsiString& name)
{
    for (const Sighting& file : filesIn(folder)) {
        if (file.name.view() == name.view()) {
            return file.stamp;
        }
    }
    return Stamp();
}

} // namespace

Delivery::Delivery(const DropFolder& drop, const TargetFolder& target, Events& events, TroubleBook& troubles)
    : m_drop(drop),
      m_target(target),
      m_events(events),
      m_troubles(troubles)
{}

// What is being delivered comes before what is claimed: a copy that is ready may belong to it.
bool Delivery::settle()
{
    settleFailing(SAnsiString());
    settleDelivering();
    return settleClaimed();
}

bool Delivery::take(const Sighting& file)
{
    if (!claim(file.name)) {
        return true;
    }
    m_claim = file;
    m_events.reached(Step::claimed);
    return settleClaimed();
}

bool Delivery::claim(const SAnsiString& name)
{
    const SAnsiString from = pathIn(m_drop.folder(), name);
    const SAnsiString to = pathIn(m_drop.claimed(), name);
    try {
        SFileSys::renameFile(from, to);
    } catch (const SFileSysException& failure) {
        if (SFileSys::exists(from)) {
            m_troubles.note(failure.toString());
        }
    }
    return SFileSys::exists(to);
}

bool Delivery::settleClaimed()
{
    for (const SAnsiString& name : namesIn(m_drop.claimed())) {
        if (!standsStill(name)) {
            return false;
        }
        deliver(name);
    }
    m_claim.reset();
    return true;
}

// It may have been changed, or replaced by a newer one, between the last look and the claim.
bool Delivery::standsStill(const SAnsiString& name)
{
    const Sighting now{name, stampOf(m_drop.claimed(), name)};
    const bool isNew = !m_claim || m_claim->name.view() != name.view();
    const bool changed = isNew || m_claim->stamp != now.stamp;
    m_claim = now;
    if (changed && !isNew) {
        throw Trouble{SAnsiString("The file ") + name + " is still being written"};
    }
    return !changed;
}

void Delivery::deliver(const SAnsiString& name)
{
    const SAnsiString staging = m_target.staging();
    try {
        prepareCopy(name);
    } catch (const FileFault& fault) {
        m_target.clear();
        fail(name, fault.reason);
        return;
    }
    move(pathIn(m_drop.claimed(), name), pathIn(m_drop.deliveringBy(staging), name), Step::delivering);
    finishDelivering(staging, name, Staging::ready);
}

void Delivery::prepareCopy(const SAnsiString& name)
{
    const SAnsiString original = pathIn(m_drop.claimed(), name);
    if (isSpecial(original)) {
        throw FileFault{"It is not a file."};
    }
    SFileSys::remove(m_drop.reason());
    m_target.clear();
    copyFlushed(original, m_target.part(name), [this] { return m_events.stopRequested(); });
    m_events.reached(Step::copied);
    standsStill(name);
    m_target.finishPart(name);
    m_events.reached(Step::ready);
}

void Delivery::settleDelivering()
{
    for (const SAnsiString& staging : namesIn(m_drop.delivering())) {
        const std::vector<SAnsiString> names = namesIn(m_drop.deliveringBy(staging));
        if (names.empty()) {
            continue;
        }
        const Staging found = m_target.look(staging);
        if (found == Staging::absent && staging.view() == m_target.staging().view()) {
            throw Trouble{"The target folder has just gone away"};
        }
        if (found == Staging::absent) {
            m_troubles.note(SAnsiString("The target folder is not the one that ") + names.front() +
                            " was being delivered into, so it stays in " + m_drop.deliveringBy(staging));
            continue;
        }
        if (names.size() > 1) {
            throw Trouble{SAnsiString("There is more than one file in ") + m_drop.deliveringBy(staging)};
        }
        finishDelivering(staging, names.front(), found);
    }
}

void Delivery::finishDelivering(const SAnsiString& staging, const SAnsiString& name, Staging found)
{
    const SAnsiString original = pathIn(m_drop.deliveringBy(staging), name);
    SAnsiString placedAs;
    if (found == Staging::ready) {
        placedAs = m_target.place(staging, name);
        m_events.reached(Step::placed);
    }
    const __int64 bytes = SFileSys::sizeEx(original);
    move(original, pathIn(m_drop.sent(), freeName(m_drop.sent(), name)), Step::sent);
    m_events.delivered(name, placedAs, bytes);
}

void Delivery::fail(const SAnsiString& name, const SAnsiString& reason)
{
    writeFlushed(m_drop.reason(), name + "\n" + reason + "\n");
    m_events.reached(Step::reasonWritten);
    move(pathIn(m_drop.claimed(), name), pathIn(m_drop.failing(), name), Step::failing);
    settleFailing(reason);
}

void Delivery::settleFailing(const SAnsiString& reason)
{
    for (const SAnsiString& name : namesIn(m_drop.failing())) {
        const SAnsiString failedName = freeName(m_drop.failed(), name);
        if (SFileSys::exists(m_drop.reason())) {
            const SAnsiString reasonName = freeName(m_drop.failed(), failedName, ".reason.txt");
            move(m_drop.reason(), pathIn(m_drop.failed(), reasonName), Step::reasonMoved);
        }
        move(pathIn(m_drop.failing(), name), pathIn(m_drop.failed(), failedName), Step::failed);
        m_events.failed(name, reason);
    }
}

// Returns when the change is on the disk.
void Delivery::move(const SAnsiString& from, const SAnsiString& to, Step step)
{
    SFileSys::renameFile(from, to);
    m_events.reached(step);
}

} // namespace Outbox
