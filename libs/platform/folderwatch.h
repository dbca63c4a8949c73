#pragma once

/// @file
/// What the system tells about changes in folders. Windows errors.

#include "platform/systemerror.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace MorvexA106::Platform
{

class FolderView;

/// One thing that happened, in the order of happening. It says that something was so when it happened; by the time
/// it is read the folder may look different.
struct FolderEvent
{
    enum class Kind
    {
        appeared,  ///< the name, by being made, linked or moved from elsewhere
        vanished,  ///< the name
        movedFrom, ///< the name, to one that an event with the same cookie tells, if it is watched
        movedTo,   ///< the name, from another one, if that was watched
        written,   ///< the entry's content
        touched,   ///< what is known of the entry: times, permissions and the like
        moved,     ///< the watched folder itself was moved, removed, or taken off with its disk
        ended,     ///< the system watches the folder no longer
        lost       ///< events; the other fields are empty
    };

    Kind kind;

    /// The number of the folder's watch.
    std::uint64_t watch = 0;

    /// Where watches cover trees, a path below the watched folder.
    std::string name;

    /// 0 for none.
    std::uint32_t cookie = 0;
};

/// The events of any number of folders. `wake` may be called on any thread, everything else belongs to one.
///
/// POSIX: inotify. Each folder is watched on its own.
///
/// Windows: ReadDirectoryChangesW. One folder is watched, alone or with all below it; names that the ANSI code page
/// doesn't have come with question marks.
class FolderEvents
{
public:
    FolderEvents() noexcept;
    ~FolderEvents();

    /// Makes what `wake` needs; without it nothing else works.
    SystemError open();

    /// Gets ready to watch, if that wasn't done or the system refused it before.
    SystemError begin();

    /// Whether a watch for a tree covers the folders below.
    static bool coverTrees() noexcept;

    /// Begins to watch the folder, and stores a number that no other watch has or had. A folder that is watched
    /// keeps its number.
    SystemError add(const FolderView& folder, bool tree, std::uint64_t& watch);

    /// Events that happened before may still come. An unknown number is ignored.
    void remove(std::uint64_t watch) noexcept;

    /// Waits for events at most this long (milliseconds; negative: no limit) or until `wake`, and appends what is
    /// there, if anything.
    SystemError wait(long milliseconds, std::vector<FolderEvent>& events);

    /// Ends the wait, or the next one.
    void wake() noexcept;

private:
    struct State;

    std::unique_ptr<State> m_state;
};

} // namespace MorvexA106::Platform
