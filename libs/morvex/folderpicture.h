#pragma once

/// @file
/// What a watcher knows of a tree of folders.

#include "platform/folderview.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace MorvexA106
{

/// The entries of a tree by name, by identity and by the number of their watch. It only keeps what it is told.
class FolderPicture
{
public:
    struct Entry;
    using Shared = std::shared_ptr<Entry>;
    using Weak = std::weak_ptr<Entry>;

    struct Entry
    {
        std::string name;
        Entry* folder = nullptr;
        Platform::EntryLook look;

        /// Written since it was told.
        bool written = false;

        /// In the list of those to look at, since it was written or may have been.
        bool doubtful = false;

        /// Stamped so shortly before we looked that the next write may get the same stamp.
        bool young = false;

        /// Said to be gone, and not yet known whether to another place.
        bool leaving = false;

        /// Of a folder: 0 where it is not watched.
        std::uint64_t watch = 0;

        /// Of a folder. The names are those in the entries.
        std::unordered_map<std::string_view, Shared> inside;
    };

    FolderPicture();
    FolderPicture(const FolderPicture&) = delete;
    FolderPicture& operator=(const FolderPicture&) = delete;
    ~FolderPicture();

    const Shared& root() const noexcept { return m_root; }

    /// Null when there is none.
    static Entry* find(const Entry& folder, std::string_view name) noexcept;

    /// The name is free.
    Shared add(Entry& folder, const std::string& name, const Platform::EntryLook& look);
    void move(Entry& entry, Entry& folder, const std::string& name);

    /// The entry has nothing inside any more, and is not the root.
    void remove(Entry& entry) noexcept;

    void setIdentity(Entry& entry, const Platform::EntryIdentity& identity);

    /// The number is taken away from the entry that has it now.
    void setWatch(Entry& entry, std::uint64_t watch);

    /// Null when nobody has it.
    Entry* byWatch(std::uint64_t watch) const noexcept;
    std::vector<Entry*> byIdentity(const Platform::EntryIdentity& identity) const;

    /// Below the root.
    static std::string pathOf(const Entry& entry, char separator);

    /// Everything in the entry, each before the folder that it is in.
    static std::vector<Entry*> contentOf(const Entry& entry);
    static bool isWithin(const Entry& entry, const Entry& folder) noexcept;

    /// A reference that is empty when the entry has gone.
    Weak referenceTo(const Entry& entry) const;

private:
    void forgetIdentity(const Entry& entry) noexcept;

    Shared m_root;
    std::unordered_multimap<Platform::EntryIdentity, Entry*, Platform::HashOfIdentity> m_byIdentity;
    std::unordered_map<std::uint64_t, Entry*> m_byWatch;
};

} // namespace MorvexA106
