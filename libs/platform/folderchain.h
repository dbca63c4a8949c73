#pragma once

/// @file
/// Walks down and up a tree of folders without ever being led out of it.

#include "platform/filesystem.h"
#include "platform/systemerror.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace MorvexA106::Platform
{

enum class EntryKind
{
    file,
    folder,
    link,   ///< whatever it leads to
    special ///< a device, a pipe, a socket
};

/// The folders from the top of a tree down to the one in hand, held by the system's own handles, so that what is
/// done to an entry is done in the very folder that was read, whatever happens to its path meanwhile. Below the
/// top no link is ever followed.
///
/// Names are in the system's own form, so that those which the locale has no form for are handled too. Failures
/// are Windows errors. One thread at a time.
///
/// POSIX: needs no path but the top's, so it goes as deep as the disk does; a bounded number of descriptors is
/// kept, and a folder that had to be let go is taken up again only when it is the same one. Windows: paths may
/// have 32,767 units; a folder in the chain can't be renamed or removed by others.
class FolderChain
{
public:
    using Name = std::filesystem::path::string_type;
    using NameText = const Name::value_type*;
    using Visitor = std::function<void(NameText name, EntryKind kind)>;

    FolderChain();
    ~FolderChain();

    /// Takes the top in hand; called once, before anything else. A link at the path itself is followed, or is no
    /// folder.
    enum class TopLink
    {
        follow,
        refuse
    };
    SystemError open(const char* path, TopLink link);

    /// Whether the top is the one folder that everything stands in. Windows: there is none such.
    bool isRootOfAll() const noexcept;

    /// How many folders are in the chain: 1 at the top.
    std::size_t depth() const noexcept;

    /// The name under which the folder in hand was entered; empty for the top.
    const Name& name() const noexcept;

    /// The path of an entry of the folder in hand as from the top, in the locale's text; of that folder itself for an
    /// empty name.
    std::string pathOf(NameText name) const;

    /// Of nothing, where the system doesn't tell.
    FileIdentity identity() const noexcept;

    /// Calls for each entry but `.` and `..`; the visitor may remove it. What comes or goes meanwhile may be
    /// left out.
    SystemError read(const Visitor& visit);

    /// Fails for all that is no folder.
    SystemError enter(NameText name);

    /// Enters the folder after making it where it isn't there, only for the owner at first; says which.
    SystemError make(NameText name, bool& made);

    /// Back to the folder above. After a failure a higher one is in hand, if need be the top: see `depth`. Not
    /// to be called at the top.
    SystemError leave();

    /// Closes a folder that will be found again, for others who need a descriptor; false when there is none to spare.
    /// Entering does so by itself. Windows: always false.
    bool letGoOfOne() noexcept;

    /// What the entry itself is, and its bytes.
    SystemError look(NameText name, EntryKind& kind, std::uint64_t& size) const;

    /// Takes links by their own name.
    SystemError removeFile(NameText name) const;
    SystemError removeFolder(NameText name) const;

    /// What the system knows the folder in hand by; for the seam itself.
    struct Place;
    const Place& inHand() const noexcept;

private:
    struct State;

    std::unique_ptr<State> m_state;
};

/// Whether the path itself is a link, or a junction.
bool isLinkToAnything(const char* path) noexcept;

/// Whether an entry was not there any more.
bool meansGone(const SystemError& error) noexcept;

/// Whether a folder was not removed because it has entries.
bool meansNotEmpty(const SystemError& error) noexcept;

/// Whether the process or the system has no handles or descriptors left.
bool meansOutOfHandles(const SystemError& error) noexcept;

} // namespace MorvexA106::Platform
