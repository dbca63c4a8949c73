#include "morvex/directorywatch.h"

#include "morvex/pathrules.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace MorvexA106
{

using Platform::EntryLook;
using Platform::FolderEvent;
using Platform::FolderView;
using Platform::SystemError;

namespace
{

char separator() noexcept
{
    return PathRules::separatorOf(Platform::nativePathStyle());
}

SAnsiString textFrom(const std::string& text)
{
    return SAnsiString(std::string_view(text));
}

bool isForbidden(const SystemError& error) noexcept
{
    return error.number == 5;
}

/// A file system keeps times in steps. Two writes in one step leave one time.
bool isYoung(const EntryLook& look) noexcept
{
    constexpr std::int64_t second = 1000000000;
    const bool inSeconds = look.modified % second == 0;
    const std::int64_t step = inSeconds ? 2 * second : second / 50;
    const std::int64_t age = Platform::fileClock() - look.modified;
    return !look.folder && age < step && age > -step;
}

bool isSameContent(const EntryLook& a, const EntryLook& b) noexcept
{
    return a.folder || (a.size == b.size && a.modified == b.modified);
}

bool isSameEntry(const EntryLook& a, const EntryLook& b) noexcept
{
    return a.identity == b.identity && a.folder == b.folder;
}

} // namespace

DirectoryWatch::DirectoryWatch(std::string folder, const SDirectoryWatchOptions& options)
    : m_path(std::move(folder)),
      m_options(options)
{}

DirectoryWatch::~DirectoryWatch() = default;

SystemError DirectoryWatch::open()
{
    if (const SystemError error = m_events.open()) {
        return error;
    }
    m_hasEvents = !m_events.begin();
    EntryLook look;
    FolderView root;
    SystemError error = root.open(m_path);
    if (!error) {
        error = root.look(look);
    }
    std::vector<std::string> names;
    if (!error) {
        error = root.list(names);
    }
    if (error) {
        return error;
    }
    m_isSilent = !m_options.m_reportExisting;
    takeRoot(look);
    endBatch();
    m_isSilent = false;
    m_rescans = 0;
    return {};
}

void DirectoryWatch::take(const std::vector<FolderEvent>& batch)
try {
    for (const FolderEvent& event : batch) {
        takeOne(event);
    }
    endBatch();
} catch (...) {
    giveUp();
    throw;
}

void DirectoryWatch::look()
try {
    m_hasEvents = m_hasEvents || !m_events.begin();
    checkRoot();
    const bool isBlind = m_source.load() != SDirectoryChangeWatcher::Events;
    // One interval is time enough for the event that says where a folder is.
    if (m_isThere && (isBlind || m_isLost || m_isLongUnclear)) {
        rescan();
    }
    m_isLongUnclear = !m_unclear.empty();
    endBatch();
} catch (...) {
    giveUp();
    throw;
}

/// Whatever was begun is made up for by a rescan.
void DirectoryWatch::giveUp() noexcept
{
    closeViews();
    m_visits.clear();
    m_inRescan = false;
    m_isLost = true;
}

// --- Events

void DirectoryWatch::takeOne(const FolderEvent& event)
{
    if (event.kind == Kind::lost) {
        m_isLost = true;
        return;
    }
    Entry* folder = m_picture.byWatch(event.watch);
    if (folder == nullptr) {
        return; // no longer ours
    }
    if (event.kind == Kind::ended) {
        takeEnd(*folder);
    } else if (event.kind == Kind::moved) {
        m_checkRoot = m_checkRoot || folder == m_picture.root().get();
    } else {
        takeHint(event);
        visitAll();
    }
}

// The folder was removed, or its disk taken off, which nothing else tells.
void DirectoryWatch::takeEnd(Entry& folder)
{
    m_picture.setWatch(folder, 0);
    if (folder.folder == nullptr) {
        m_checkRoot = true;
        return;
    }
    const Weak ended = m_picture.referenceTo(folder);
    reconcile(*folder.folder, std::string(folder.name));
    if (const auto left = ended.lock()) {
        enter(*left, false);
    }
    visitAll();
}

DirectoryWatch::Entry* DirectoryWatch::folderOf(const FolderEvent& event, std::string& name)
{
    Entry* folder = m_picture.byWatch(event.watch);
    std::string_view rest = event.name;
    for (std::size_t end = rest.find(separator()); end != std::string_view::npos;
         end = rest.find(separator())) {
        Entry* next = FolderPicture::find(*folder, rest.substr(0, end));
        if (next == nullptr || !next->look.folder) {
            lookAgain(*folder, true);
            return nullptr;
        }
        folder = next;
        rest.remove_prefix(end + 1);
    }
    name = rest;
    return folder;
}

void DirectoryWatch::takeHint(const FolderEvent& event)
{
    std::string name;
    Entry* folder = folderOf(event, name);
    if (folder == nullptr || name.empty()) {
        return;
    }
    Entry* known = FolderPicture::find(*folder, name);
    switch (event.kind) {
    case Kind::movedFrom:
        if (known != nullptr) {
            leave(*known, event.cookie, true);
        }
        break;
    case Kind::movedTo:
        reconcile(*folder, name);
        settleLeaving(event.cookie);
        break;
    case Kind::written:
    case Kind::touched:
        if (known != nullptr) {
            event.kind == Kind::written ? markWritten(*known, true) : markTouched(*known);
            break;
        }
        [[fallthrough]];
    default:
        reconcile(*folder, name);
    }
}

// A folder that nobody could read may be readable now.
void DirectoryWatch::markTouched(Entry& entry)
{
    if (!entry.look.folder) {
        markWritten(entry, false);
    } else if (m_options.m_tree && entry.watch == 0 && !Platform::FolderEvents::coverTrees()) {
        enter(entry, false);
    }
}

void DirectoryWatch::endBatch()
{
    visitAll();
    if (m_checkRoot) {
        checkRoot();
    }
    if (m_isLost && m_isThere) {
        rescan();
    }
    settleUnclear();
    settleStale();
    tellWritten();
    m_isLongUnclear = m_isLongUnclear && !m_unclear.empty();
    closeViews();
    updateSource();
}

/// The other end has been told: what is still where it was is not the one that was moved.
void DirectoryWatch::settleLeaving(std::uint32_t cookie)
{
    std::vector<Weak> settled;
    std::erase_if(m_leaving, [&](const Leaving& leaving) {
        if (leaving.cookie != cookie || cookie == 0) {
            return false;
        }
        settled.push_back(leaving.entry);
        return true;
    });
    for (const Weak& weak : settled) {
        const auto entry = weak.lock();
        if (entry && entry->leaving) {
            entry->leaving = false;
            reconcile(*entry->folder, std::string(entry->name));
        }
    }
}

/// The other end of a move may come with the next batch, but not later.
void DirectoryWatch::settleStale()
{
    std::vector<Leaving> stale;
    std::swap(stale, m_leaving);
    for (Leaving& leaving : stale) {
        const auto entry = leaving.entry.lock();
        if (!entry || !entry->leaving) {
            continue;
        }
        if (leaving.isFresh) {
            m_leaving.push_back({entry, leaving.cookie, false});
            continue;
        }
        entry->leaving = false;
        reconcile(*entry->folder, std::string(entry->name));
    }
    visitAll();
}

void DirectoryWatch::settleUnclear()
{
    std::vector<Visit> unclear;
    std::swap(unclear, m_unclear);
    std::unordered_map<const Entry*, bool> isDeep;
    for (const Visit& place : unclear) {
        if (const auto folder = place.folder.lock()) {
            isDeep[folder.get()] |= place.isDeep;
        }
    }
    for (const Visit& place : unclear) {
        const auto folder = place.folder.lock();
        if (folder && isDeep.contains(folder.get())) {
            enter(*folder, isDeep[folder.get()]);
            isDeep.erase(folder.get());
        }
    }
    visitAll();
}

// A file that is not where it should be, is told when it turns up.
void DirectoryWatch::tellWritten()
{
    std::vector<Weak> written;
    std::swap(written, m_written);
    for (const Weak& weak : written) {
        const auto entry = weak.lock();
        EntryLook look;
        bool isAbsent = false;
        if (!entry) {
            continue;
        }
        entry->doubtful = false;
        if (!lookAt(*entry->folder, entry->name, look, isAbsent) || !isSameEntry(look, entry->look)) {
            continue;
        }
        if (entry->written || !isSameContent(look, entry->look)) {
            tell(SDirectoryChange::Changed, *entry);
        }
        entry->written = false;
        entry->look = look;
        entry->young = isYoung(look);
    }
}

// --- Looking

/// Null when the folder can't be reached: it is elsewhere, of which an event is still to come, or the system
/// refuses.
const FolderView* DirectoryWatch::view(Entry& folder)
{
    if (m_viewed != &folder) {
        const FolderView* opened = openView(folder);
        if (opened == nullptr) {
            lookAgain(folder, false);
        }
        return opened;
    }
    return &folder == m_picture.root().get() ? &m_rootView : &m_view;
}

const FolderView* DirectoryWatch::openView(Entry& folder)
{
    EntryLook look;
    if (!m_rootView) {
        if (m_rootView.open(m_path) || m_rootView.look(look) ||
            look.identity != m_picture.root()->look.identity) {
            m_rootView = FolderView();
            m_checkRoot = true;
            return nullptr;
        }
    }
    std::vector<const Entry*> way;
    const Entry* from = &folder;
    for (; from != m_viewed && from->folder != nullptr; from = from->folder) {
        way.push_back(from);
    }
    FolderView reached = from == m_viewed && from->folder != nullptr ? std::move(m_view) : FolderView();
    m_viewed = nullptr;
    for (; !way.empty(); way.pop_back()) {
        FolderView next;
        if (next.openIn(reached ? reached : m_rootView, way.back()->name)) {
            return nullptr;
        }
        reached = std::move(next);
    }
    const FolderView& end = reached ? reached : m_rootView;
    if (end.look(look) || look.identity != folder.look.identity) {
        return nullptr;
    }
    m_viewed = &folder;
    m_view = std::move(reached);
    return m_view ? &m_view : &m_rootView;
}

/// False, with `isAbsent` told, when there is no such entry or that can't be told.
bool DirectoryWatch::lookAt(Entry& folder, const std::string& name, EntryLook& look, bool& isAbsent)
{
    isAbsent = false;
    const FolderView* seen = view(folder);
    if (seen == nullptr) {
        return false;
    }
    const SystemError error = seen->look(name, look);
    if (!error) {
        return true;
    }
    EntryLook self;
    isAbsent = Platform::meansAbsent(error) && !seen->look(self) && self.identity == folder.look.identity;
    if (!isAbsent) {
        lookAgain(folder, false);
    }
    return false;
}

bool DirectoryWatch::isStillAt(Entry& entry)
{
    EntryLook look;
    bool isAbsent = false;
    return !entry.leaving && lookAt(*entry.folder, entry.name, look, isAbsent) &&
           isSameEntry(look, entry.look);
}

// An open folder would keep its disk from being taken off.
void DirectoryWatch::closeViews() noexcept
{
    m_viewed = nullptr;
    m_view = FolderView();
    m_rootView = FolderView();
}

// --- The picture

void DirectoryWatch::reconcile(Entry& folder, const std::string& name, bool isScan)
{
    EntryLook look;
    bool isAbsent = false;
    const bool isThere = lookAt(folder, name, look, isAbsent);
    Entry* known = FolderPicture::find(folder, name);
    if (!isThere) {
        if (isAbsent && known != nullptr) {
            vanish(*known);
        }
        return;
    }
    if (known != nullptr && isSameEntry(known->look, look)) {
        update(*known, look, isScan);
        return;
    }
    if (known != nullptr) {
        vanish(*known);
    }
    appear(folder, name, look);
}

void DirectoryWatch::update(Entry& entry, const EntryLook& look, bool isScan)
{
    entry.leaving = false;
    if (entry.written || !isSameContent(entry.look, look) || (isScan && entry.young)) {
        markWritten(entry, true);
    }
}

void DirectoryWatch::appear(Entry& folder, const std::string& name, const EntryLook& look)
{
    if (Entry* mover = moverOf(look)) {
        if (FolderPicture::isWithin(folder, *mover)) {
            lookAgain(folder, false); // the folder around it has moved before
            return;
        }
        rename(*mover, folder, name, look);
        return;
    }
    const auto entry = m_picture.add(folder, name, look);
    entry->young = isYoung(look);
    try {
        tell(SDirectoryChange::Created, *entry);
    } catch (...) {
        m_picture.remove(*entry);
        throw;
    }
    if (look.folder && m_options.m_tree) {
        enter(*entry, false);
    }
}

/// The known entry that this one is, unless that is one more name of it.
DirectoryWatch::Entry* DirectoryWatch::moverOf(const EntryLook& look)
{
    for (Entry* entry : m_picture.byIdentity(look.identity)) {
        if (entry->folder != nullptr && entry->look.folder == look.folder && !isStillAt(*entry)) {
            return entry;
        }
    }
    return nullptr;
}

void DirectoryWatch::rename(Entry& entry, Entry& folder, const std::string& name, const EntryLook& look)
{
    tellRename(entry, folder, name);
    try {
        m_picture.move(entry, folder, name);
    } catch (...) {
        takeBack();
        throw;
    }
    entry.leaving = false;
    if (entry.look.folder) {
        m_viewed = nullptr; // a path that leads through it has changed
    }
    if (entry.written || !isSameContent(entry.look, look)) {
        markWritten(entry, true);
    }
    const bool isWatched = entry.watch != 0 || Platform::FolderEvents::coverTrees();
    if (entry.look.folder && m_options.m_tree && (m_inRescan || !isWatched)) {
        enter(entry, m_inRescan);
    }
}

void DirectoryWatch::vanish(Entry& entry)
{
    for (Entry* inner : FolderPicture::contentOf(entry)) {
        drop(*inner);
    }
    drop(entry);
}

void DirectoryWatch::drop(Entry& entry)
{
    tell(SDirectoryChange::Removed, entry);
    if (m_viewed == &entry) {
        m_viewed = nullptr;
    }
    if (entry.watch != 0) {
        m_events.remove(entry.watch);
    }
    m_picture.remove(entry);
}

void DirectoryWatch::leave(Entry& entry, std::uint32_t cookie, bool isFresh)
{
    m_leaving.push_back({m_picture.referenceTo(entry), cookie, isFresh});
    entry.leaving = true;
}

void DirectoryWatch::markWritten(Entry& entry, bool isCertain)
{
    if (entry.look.folder) {
        return;
    }
    entry.written = entry.written || isCertain;
    if (!entry.doubtful) {
        m_written.push_back(m_picture.referenceTo(entry));
        entry.doubtful = true;
    }
}

void DirectoryWatch::tell(SDirectoryChange::Kind kind, const Entry& entry)
{
    if (!m_isSilent) {
        const std::string name = FolderPicture::pathOf(entry, separator());
        m_changes.push_back({kind, textFrom(name), SAnsiString(), entry.look.folder ? 1 : 0});
    }
}

/// The last one, which could not be carried out.
void DirectoryWatch::takeBack() noexcept
{
    if (!m_isSilent) {
        m_changes.pop_back();
    }
}

/// Before the entry goes there, since what has moved in the picture without being told never will be.
void DirectoryWatch::tellRename(const Entry& entry, const Entry& folder, const std::string& name)
{
    if (!m_isSilent) {
        const std::string above = FolderPicture::pathOf(folder, separator());
        const std::string newName = above.empty() ? name : above + separator() + name;
        m_changes.push_back({SDirectoryChange::Renamed, textFrom(newName),
                             textFrom(FolderPicture::pathOf(entry, separator())), entry.look.folder ? 1 : 0});
    }
}

// --- Folders

/// Visits wait in a list, since a tree may be deeper than the stack.
void DirectoryWatch::enter(Entry& folder, bool isDeep)
{
    m_visits.push_back({m_picture.referenceTo(folder), isDeep});
}

/// For what can't be told now: when the batch has been taken, or later.
void DirectoryWatch::lookAgain(Entry& folder, bool isDeep)
{
    m_unclear.push_back({m_picture.referenceTo(folder), isDeep});
}

void DirectoryWatch::visitAll()
{
    while (!m_visits.empty()) {
        const Visit next = std::move(m_visits.back());
        m_visits.pop_back();
        if (const auto folder = next.folder.lock()) {
            visit(*folder, next.isDeep);
        }
    }
}

void DirectoryWatch::visit(Entry& folder, bool isDeep)
{
    std::vector<Entry*> known;
    for (const auto& [name, entry] : folder.inside) {
        if (isDeep && m_options.m_tree && entry->look.folder) {
            known.push_back(entry.get());
        }
    }
    for (Entry* inner : known) {
        enter(*inner, true);
    }
    watchFolder(folder);
    scan(folder);
}

void DirectoryWatch::watchFolder(Entry& folder)
{
    const bool isRoot = folder.folder == nullptr;
    if (!m_hasEvents || (!isRoot && Platform::FolderEvents::coverTrees())) {
        return;
    }
    const FolderView* seen = view(folder);
    if (seen == nullptr) {
        return;
    }
    const bool isOtherDisk = isRoot || folder.folder->look.identity.device != folder.look.identity.device;
    m_isShared = m_isShared || (isOtherDisk && seen->isShared());
    if (isRoot && folder.watch != 0) {
        return;
    }
    std::uint64_t watch = 0;
    const SystemError error = m_events.add(*seen, m_options.m_tree, watch);
    m_picture.setWatch(folder, error ? 0 : watch);
    m_someUnwatched = m_someUnwatched || (error && !isForbidden(error));
}

/// What may not be read counts as empty; it is tried again when its permissions change.
void DirectoryWatch::scan(Entry& folder)
{
    const FolderView* seen = view(folder);
    if (seen == nullptr) {
        return;
    }
    std::vector<std::string> names;
    const SystemError error = seen->list(names);
    for (const std::string& name : names) {
        reconcile(folder, name, true);
    }
    if (error) {
        if (!isForbidden(error)) {
            lookAgain(folder, false);
        }
        return;
    }
    const std::unordered_set<std::string_view> found(names.begin(), names.end());
    std::vector<Entry*> missing;
    for (const auto& [name, entry] : folder.inside) {
        if (!found.contains(name) && !entry->leaving) {
            missing.push_back(entry.get());
        }
    }
    for (Entry* entry : missing) {
        leave(*entry, 0, false); // it may turn up elsewhere
    }
}

void DirectoryWatch::rescan()
{
    m_isLost = false;
    m_someUnwatched = false;
    m_isShared = m_options.m_alwaysRescan;
    ++m_rescans;
    m_unclear.clear();
    listDoubtsAnew();
    m_inRescan = true;
    enter(*m_picture.root(), true);
    visitAll();
    m_inRescan = false;
}

/// An exception may have thrown entries out of the lists that are marked as being there.
void DirectoryWatch::listDoubtsAnew()
{
    m_leaving.clear();
    m_written.clear();
    for (Entry* entry : FolderPicture::contentOf(*m_picture.root())) {
        if (std::exchange(entry->leaving, false)) {
            leave(*entry, 0, false);
        }
        if (std::exchange(entry->doubtful, false)) {
            markWritten(*entry, false);
        }
    }
}

/// A failure that doesn't mean that it is gone leaves everything as it is.
void DirectoryWatch::checkRoot()
{
    m_checkRoot = false;
    EntryLook look;
    FolderView root;
    SystemError error = root.open(m_path);
    if (!error) {
        error = root.look(look);
    }
    if (error) {
        if (Platform::meansAbsent(error) && m_isThere) {
            loseRoot();
        } else if (Platform::FolderEvents::coverTrees()) {
            stopWatchingRoot(); // a removed folder keeps its name, and can't be opened, as long as we hold it
        }
        return;
    }
    const Entry& known = *m_picture.root();
    if (!m_isThere || known.look.identity != look.identity) {
        takeRoot(look);
    }
}

void DirectoryWatch::takeRoot(const EntryLook& look)
{
    Entry& root = *m_picture.root();
    stopWatchingRoot();
    closeViews();
    m_picture.setIdentity(root, look.identity);
    m_isThere = true;
    rescan();
}

void DirectoryWatch::loseRoot()
{
    for (Entry* entry : FolderPicture::contentOf(*m_picture.root())) {
        drop(*entry);
    }
    stopWatchingRoot();
    closeViews();
    m_isThere = false;
    m_isLost = false;
    m_unclear.clear();
}

void DirectoryWatch::stopWatchingRoot()
{
    Entry& root = *m_picture.root();
    if (root.watch != 0) {
        m_events.remove(root.watch);
        m_picture.setWatch(root, 0);
    }
}

void DirectoryWatch::updateSource() noexcept
{
    using Watcher = SDirectoryChangeWatcher;
    if (!m_isThere) {
        return;
    }
    if (m_picture.root()->watch == 0) {
        m_source = Watcher::Rescans;
    } else {
        m_source = m_isShared || m_someUnwatched ? Watcher::EventsAndRescans : Watcher::Events;
    }
}

} // namespace MorvexA106
