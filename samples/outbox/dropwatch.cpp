#include "dropwatch.h"

#include <morvex/sfilesysexception.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace Outbox
{

using namespace MorvexA106;

// What goes away is what we have taken; what begins with a dot is not for us.
void DropWatch::Receiver::changed(const SDirectoryChange& change)
{
    const bool isOurs = change.m_directory != 0 || change.m_kind != SDirectoryChange::Removed;
    const bool isHidden = change.m_directory == 0 && change.m_name.view().starts_with('.');
    hasWork = hasWork || (isOurs && !isHidden);
}

void DropWatch::open(const SAnsiString& folder)
{
    auto watcher = std::make_unique<SDirectoryChangeWatcher>(folder, m_receiver);
    try {
        watcher->open();
    } catch (const SFileSysException&) {
        return;
    }
    const std::lock_guard guard(m_mutex);
    if (!m_stopped) {
        m_watcher = std::move(watcher);
    }
}

bool DropWatch::isReliable() const
{
    return m_watcher && m_watcher->source() == SDirectoryChangeWatcher::Events;
}

bool DropWatch::waitForFile(long milliseconds)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (isReliable() && !m_receiver.hasWork && !m_watcher->isStopped() && Clock::now() < end) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        m_watcher->poll(static_cast<long>(std::max<decltype(rest)>(rest, 0)));
    }
    return std::exchange(m_receiver.hasWork, false);
}

void DropWatch::stop()
{
    const std::lock_guard guard(m_mutex);
    m_stopped = true;
    if (m_watcher) {
        m_watcher->stop();
    }
}

} // namespace Outbox
