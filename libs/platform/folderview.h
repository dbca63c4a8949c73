#pragma once

/// @file
/// Looks at the entries of a folder that stays the same one, whatever becomes of its path meanwhile. Links are
/// never followed, but for the path that a view is opened by. Names are bytes as they stand. Windows errors.

#include "platform/systemerror.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace MorvexA106::Platform
{

/// What tells one entry from all others, also from one that is made when it is gone and gets its number.
struct EntryIdentity
{
    std::uint64_t device = 0;
    std::uint64_t index = 0;

    /// When it was made, in nanoseconds; 0 where that isn't kept, or isn't needed to tell one from the next.
    std::int64_t birth = 0;

    bool operator==(const EntryIdentity&) const = default;
};

struct HashOfIdentity
{
    std::size_t operator()(const EntryIdentity& identity) const noexcept
    {
        return std::hash<std::uint64_t>()(identity.index * 0x9E3779B97F4A7C15u ^ identity.device ^
                                          static_cast<std::uint64_t>(identity.birth));
    }
};

/// How an entry looked at one moment.
struct EntryLook
{
    EntryIdentity identity;
    bool folder = false;

    /// Of a folder, 0.
    std::uint64_t size = 0;

    /// When the content changed last, in nanoseconds since 1970.
    std::int64_t modified = 0;
};

/// Whether a failure means that there is no such entry, or none that can be entered as a folder; any other one
/// says nothing about the entry.
bool meansAbsent(const SystemError& error) noexcept;

/// Nanoseconds since 1970 on the clock that this system's files are stamped by.
std::int64_t fileClock() noexcept;

/// POSIX: a descriptor of the folder, for which it needs no right to be read.
///
/// Windows: the folder's path, so a folder that is moved is lost, and a folder above it that is replaced by a link
/// is followed. Only `open` and `openIn` tell that.
class FolderView
{
public:
    FolderView() noexcept;
    FolderView(FolderView&& other) noexcept;
    FolderView& operator=(FolderView&& other) noexcept;
    ~FolderView();

    /// Whether it is open.
    explicit operator bool() const noexcept { return m_state != nullptr; }

    /// A failed open leaves it closed.
    SystemError open(const std::string& path);
    SystemError openIn(const FolderView& parent, const std::string& name);

    /// At the folder itself.
    SystemError look(EntryLook& look) const;

    /// At an entry. On systems that compare names without case: of just this spelling.
    SystemError look(const std::string& name, EntryLook& look) const;

    /// The names of the entries but `.` and `..`; after a failure those that were read before it.
    SystemError list(std::vector<std::string>& names) const;

    /// Whether others may change the folder without this system's knowing, as those that share it over a network
    /// do.
    bool isShared() const noexcept;

private:
    friend class FolderEvents;
    struct State;

    std::unique_ptr<State> m_state;
};

} // namespace MorvexA106::Platform
