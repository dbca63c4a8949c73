#include "morvex/folderpicture.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace MorvexA106
{

FolderPicture::FolderPicture() : m_root(std::make_shared<Entry>())
{
    m_root->look.folder = true;
}

// Entry by entry: a tree may be deeper than the stack.
FolderPicture::~FolderPicture()
try {
    for (Entry* entry : contentOf(*m_root)) {
        remove(*entry);
    }
} catch (const std::bad_alloc&) {
    // What is left goes with the root.
}

FolderPicture::Entry* FolderPicture::find(const Entry& folder, std::string_view name) noexcept
{
    const auto found = folder.inside.find(name);
    return found != folder.inside.end() ? found->second.get() : nullptr;
}

FolderPicture::Shared FolderPicture::add(Entry& folder, const std::string& name,
                                         const Platform::EntryLook& look)
{
    const auto entry = std::make_shared<Entry>();
    entry->name = name;
    entry->folder = &folder;
    entry->look = look;
    const auto indexed = m_byIdentity.emplace(look.identity, entry.get());
    try {
        folder.inside.emplace(entry->name, entry);
    } catch (...) {
        m_byIdentity.erase(indexed);
        throw;
    }
    return entry;
}

void FolderPicture::move(Entry& entry, Entry& folder, const std::string& name)
{
    std::string newName = name;
    if (folder.inside.size() >= folder.inside.bucket_count()) {
        folder.inside.reserve(2 * folder.inside.size() + 1); // afterwards nothing can fail
    }
    auto node = entry.folder->inside.extract(entry.name);
    entry.name.swap(newName);
    entry.folder = &folder;
    node.key() = entry.name;
    folder.inside.insert(std::move(node));
}

void FolderPicture::remove(Entry& entry) noexcept
{
    forgetIdentity(entry);
    m_byWatch.erase(entry.watch);
    const auto place = entry.folder->inside.find(entry.name);
    const Shared kept = place->second; // its name is the key
    entry.folder->inside.erase(place);
}

void FolderPicture::forgetIdentity(const Entry& entry) noexcept
{
    const auto [begin, end] = m_byIdentity.equal_range(entry.look.identity);
    const auto place = std::find_if(begin, end, [&](const auto& pair) { return pair.second == &entry; });
    if (place != end) {
        m_byIdentity.erase(place);
    }
}

void FolderPicture::setIdentity(Entry& entry, const Platform::EntryIdentity& identity)
{
    m_byIdentity.emplace(identity, &entry);
    forgetIdentity(entry);
    entry.look.identity = identity;
}

void FolderPicture::setWatch(Entry& entry, std::uint64_t watch)
{
    if (watch == entry.watch) {
        return;
    }
    if (watch != 0) {
        Entry*& holder = m_byWatch[watch];
        if (holder != nullptr) {
            holder->watch = 0;
        }
        holder = &entry;
    }
    m_byWatch.erase(entry.watch);
    entry.watch = watch;
}

FolderPicture::Entry* FolderPicture::byWatch(std::uint64_t watch) const noexcept
{
    const auto found = m_byWatch.find(watch);
    return found != m_byWatch.end() ? found->second : nullptr;
}

std::vector<FolderPicture::Entry*> FolderPicture::byIdentity(const Platform::EntryIdentity& identity) const
{
    std::vector<Entry*> entries;
    const auto [begin, end] = m_byIdentity.equal_range(identity);
    std::transform(begin, end, std::back_inserter(entries), [](const auto& pair) { return pair.second; });
    return entries;
}

std::string FolderPicture::pathOf(const Entry& entry, char separator)
{
    std::size_t length = 0;
    for (const Entry* step = &entry; step->folder != nullptr; step = step->folder) {
        length += step->name.size() + 1;
    }
    std::string path(length == 0 ? 0 : length - 1, separator);
    std::size_t end = path.size();
    for (const Entry* step = &entry; step->folder != nullptr; step = step->folder) {
        path.replace(end - step->name.size(), step->name.size(), step->name);
        end -= step->name.size() + (step->folder->folder != nullptr ? 1 : 0);
    }
    return path;
}

std::vector<FolderPicture::Entry*> FolderPicture::contentOf(const Entry& entry)
{
    std::vector<Entry*> content;
    const auto appendInside = [&](const Entry& folder) {
        for (const auto& [name, inner] : folder.inside) {
            content.push_back(inner.get());
        }
    };
    appendInside(entry);
    for (std::size_t at = 0; at < content.size(); ++at) {
        appendInside(*content[at]);
    }
    std::reverse(content.begin(), content.end());
    return content;
}

bool FolderPicture::isWithin(const Entry& entry, const Entry& folder) noexcept
{
    const Entry* step = &entry;
    while (step != nullptr && step != &folder) {
        step = step->folder;
    }
    return step != nullptr;
}

FolderPicture::Weak FolderPicture::referenceTo(const Entry& entry) const
{
    return entry.folder != nullptr ? entry.folder->inside.find(entry.name)->second : m_root;
}

} // namespace MorvexA106
