#pragma once

/// @file
/// Turns the system's events, and looks at the disk, into changes.

#include "morvex/export.h"
#include "morvex/folderpicture.h"
#include "morvex/sdirectorychangewatcher.h"
#include "platform/folderview.h"
#include "platform/folderwatch.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace MorvexA106
{

/// A picture of a tree that follows the disk, and the changes that it took. An event of the system is only a hint
/// where to look. It tells of the past, while a look finds what is there by now; so an entry may be found under a
/// name whose event is yet to come, or be missed under one that it no longer has. That mends itself, for after its
/// last event each name is looked at once more:
///
/// - an event that tells a name appeared, vanished or moved makes the picture of that name equal what is there now,
///   and a later difference has an event that is yet to come;
/// - an entry that turns up under a name is the one that is known by the same identity, if that is no longer where
///   it was: this pairs the two ends of a move in whatever order they are met. The cookie tells when there is no
///   more to wait for;
/// - a folder is watched first and read then, so whatever is missed by one is met by the other;
/// - a place that can't be looked at now is looked at again: after the batch, then at the next interval, and
///   where events were lost everything is.
///
/// What is found about the content of a file goes into a list, and is told at the end of the batch: once for any
/// number of writes.
class MORVEX_EXPORT DirectoryWatch
{
public:
    DirectoryWatch(std::string folder, const SDirectoryWatchOptions& options);
    ~DirectoryWatch();

    /// Watches, and takes the first picture. Nothing is kept after a failure.
    Platform::SystemError open();

    /// Takes the events of one reading, which may be none. Throws std::bad_alloc; everything is looked at again then
    /// by the next batch or `look`.
    void take(const std::vector<Platform::FolderEvent>& batch);

    /// To be called each interval.
    void look();

    /// Everything must be looked at again.
    void lose() noexcept { m_isLost = true; }

    /// Whether an entry is waited for that may have been moved; an empty batch soon ends that.
    bool isWaiting() const noexcept { return !m_leaving.empty(); }

    Platform::FolderEvents& events() noexcept { return m_events; }
    std::deque<SDirectoryChange>& changes() noexcept { return m_changes; }

    /// The number of the watched folder's watch, 0 where it is not watched.
    std::uint64_t rootWatch() const noexcept { return m_picture.root()->watch; }

    /// Any thread may ask.
    SDirectoryChangeWatcher::Source source() const noexcept { return m_source; }
    unsigned long rescans() const noexcept { return m_rescans; }

private:
    using Entry = FolderPicture::Entry;
    using Weak = FolderPicture::Weak;
    using Kind = Platform::FolderEvent::Kind;

    struct Leaving
    {
        Weak entry;
        std::uint32_t cookie;
        bool isFresh;
    };

    struct Visit
    {
        Weak folder;
        bool isDeep;
    };

    void giveUp() noexcept;

    // Events
    void takeOne(const Platform::FolderEvent& event);
    void takeHint(const Platform::FolderEvent& event);
    Entry* folderOf(const Platform::FolderEvent& event, std::string& name);
    void takeEnd(Entry& folder);
    void markTouched(Entry& entry);
    void endBatch();
    void settleLeaving(std::uint32_t cookie);
    void settleStale();
    void settleUnclear();
    void tellWritten();

    // Looking
    const Platform::FolderView* view(Entry& folder);
    const Platform::FolderView* openView(Entry& folder);
    bool lookAt(Entry& folder, const std::string& name, Platform::EntryLook& look, bool& isAbsent);
    bool isStillAt(Entry& entry);
    void closeViews() noexcept;

    // The picture
    void reconcile(Entry& folder, const std::string& name, bool isScan = false);
    void update(Entry& entry, const Platform::EntryLook& look, bool isScan);
    void appear(Entry& folder, const std::string& name, const Platform::EntryLook& look);
    Entry* moverOf(const Platform::EntryLook& look);
    void rename(Entry& entry, Entry& folder, const std::string& name, const Platform::EntryLook& look);
    void vanish(Entry& entry);
    void drop(Entry& entry);
    void leave(Entry& entry, std::uint32_t cookie, bool isFresh);
    void markWritten(Entry& entry, bool isCertain);
    void tell(SDirectoryChange::Kind kind, const Entry& entry);
    void tellRename(const Entry& entry, const Entry& folder, const std::string& name);
    void takeBack() noexcept;

    // Folders
    void enter(Entry& folder, bool isDeep);
    void lookAgain(Entry& folder, bool isDeep);
    void visitAll();
    void visit(Entry& folder, bool isDeep);
    void watchFolder(Entry& folder);
    void scan(Entry& folder);
    void rescan();
    void listDoubtsAnew();
    void checkRoot();
    void takeRoot(const Platform::EntryLook& look);
    void loseRoot();
    void stopWatchingRoot();
    void updateSource() noexcept;

    const std::string m_path;
    const SDirectoryWatchOptions m_options;
    FolderPicture m_picture;
    Platform::FolderEvents m_events;
    std::deque<SDirectoryChange> m_changes;

    std::vector<Leaving> m_leaving;
    std::vector<Weak> m_written;
    std::vector<Visit> m_unclear;
    std::vector<Visit> m_visits;

    Platform::FolderView m_rootView;
    Platform::FolderView m_view;
    const Entry* m_viewed = nullptr;

    bool m_hasEvents = false;
    bool m_isThere = false;
    bool m_isSilent = false;
    bool m_inRescan = false;
    bool m_isLost = false;
    bool m_isLongUnclear = false;
    bool m_checkRoot = false;
    bool m_isShared = false;
    bool m_someUnwatched = false;

    std::atomic<SDirectoryChangeWatcher::Source> m_source{SDirectoryChangeWatcher::Events};
    std::atomic<unsigned long> m_rescans{0};
};

} // namespace MorvexA106
