#include "platform/folderchain.h"

#include "platform/posix/entries.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace MorvexA106::Platform
{

namespace
{

/// More folders than this are closed and found again on the way back: a descriptor for each would run out.
constexpr std::size_t mostOpen = 16;

SystemError outcome(int result) noexcept
{
    return result == 0 ? SystemError{} : lastWindowsError();
}

Descriptor openFolder(int folder, const char* name, int flags) noexcept
{
    return Descriptor(uninterrupted(
        [&] { return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY | flags); }));
}

/// Of nothing, where the system doesn't tell.
FileIdentity identityOf(int folder) noexcept
{
    struct stat status;
    return ::fstat(folder, &status) == 0 ? FileIdentity{status.st_dev, status.st_ino} : FileIdentity{};
}

EntryKind kindOf(mode_t mode) noexcept
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return EntryKind::file;
    case S_IFDIR:
        return EntryKind::folder;
    case S_IFLNK:
        return EntryKind::link;
    default:
        return EntryKind::special;
    }
}

} // namespace

/// Open are the top, and all levels from `lowestOpen` down to the folder in hand.
struct FolderChain::State
{
    struct Level
    {
        Name name;
        Place place;
        FileIdentity identity; // once the folder has been let go
    };

    std::vector<Level> levels;
    std::size_t lowestOpen = 1;
    EntryReader reader;

    int descriptor() const noexcept { return levels.back().place.folder.get(); }
    bool letGoOfOne() noexcept;
    void push(Level level);
    void pop() noexcept;
};

bool FolderChain::State::letGoOfOne() noexcept
{
    if (lowestOpen + 1 >= levels.size()) {
        return false;
    }
    Level& level = levels[lowestOpen++];
    level.identity = identityOf(level.place.folder.get());
    level.place.folder.reset();
    return true;
}

void FolderChain::State::push(Level level)
{
    levels.push_back(std::move(level));
    if (levels.size() - lowestOpen >= mostOpen) {
        letGoOfOne();
    }
}

void FolderChain::State::pop() noexcept
{
    levels.pop_back();
    lowestOpen = std::max<std::size_t>(1, std::min(lowestOpen, levels.size()));
}

FolderChain::FolderChain() : m_state(std::make_unique<State>()) {}
FolderChain::~FolderChain() = default;

SystemError FolderChain::open(const char* path, TopLink link)
{
    const int flags = link == TopLink::refuse ? O_NOFOLLOW : 0;
    Descriptor folder = openFolder(AT_FDCWD, *path != '\0' ? path : ".", flags);
    if (!folder) {
        return lastWindowsError();
    }
    m_state->levels.push_back({{}, {std::move(folder)}, {}});
    return {};
}

bool FolderChain::isRootOfAll() const noexcept
{
    FileIdentity root;
    return Platform::identify("/", root) && root == identityOf(m_state->levels.front().place.folder.get());
}

std::size_t FolderChain::depth() const noexcept
{
    return m_state->levels.size();
}

const FolderChain::Name& FolderChain::name() const noexcept
{
    return m_state->levels.back().name;
}

std::string FolderChain::pathOf(NameText name) const
{
    std::string path;
    for (std::size_t i = 1; i < m_state->levels.size(); ++i) {
        path += m_state->levels[i].name + '/';
    }
    path += name;
    if (path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

FileIdentity FolderChain::identity() const noexcept
{
    return identityOf(m_state->descriptor());
}

SystemError FolderChain::read(const Visitor& visit)
{
    const int folder = m_state->descriptor();
    m_state->reader.begin();
    if (::lseek(folder, 0, SEEK_SET) != 0) {
        return lastWindowsError();
    }
    mode_t type = 0;
    while (const char* name = m_state->reader.next(folder, type)) {
        if (isDotName(name)) {
            continue;
        }
        EntryKind kind = kindOf(type);
        std::uint64_t size;
        if (const SystemError error = type == 0 ? look(name, kind, size) : SystemError{}) {
            if (meansGone(error)) {
                continue;
            }
            kind = EntryKind::file; // what is done to it will tell why not
        }
        visit(name, kind);
    }
    return outcome(errno);
}

SystemError FolderChain::enter(NameText name)
{
    Descriptor folder = openFolder(m_state->descriptor(), name, O_NOFOLLOW);
    SystemError error = outcome(folder ? 0 : -1);
    while (error && meansOutOfHandles(error) && letGoOfOne()) {
        folder = openFolder(m_state->descriptor(), name, O_NOFOLLOW);
        error = outcome(folder ? 0 : -1);
    }
    if (error) {
        return error;
    }
    m_state->push({name, {std::move(folder)}, {}});
    return {};
}

SystemError FolderChain::make(NameText name, bool& made)
{
    made = ::mkdirat(m_state->descriptor(), name, S_IRWXU) == 0;
    if (!made && errno != EEXIST) {
        return lastWindowsError();
    }
    return enter(name);
}

/// What `..` leads to may have become another folder, when the one in hand was moved.
SystemError FolderChain::leave()
{
    const Descriptor below = std::move(m_state->levels.back().place.folder);
    m_state->pop();
    State::Level& level = m_state->levels.back();
    if (level.place.folder) {
        return {};
    }
    Descriptor above = openFolder(below.get(), "..", O_NOFOLLOW);
    const bool same = above && level.identity != FileIdentity{} && identityOf(above.get()) == level.identity;
    if (same) {
        level.place.folder = std::move(above);
        m_state->lowestOpen = m_state->levels.size() - 1;
        return {};
    }
    if (above) {
        errno = ESTALE;
    }
    const SystemError error = lastWindowsError();
    while (m_state->levels.size() > 1) {
        m_state->pop();
    }
    return error;
}

bool FolderChain::letGoOfOne() noexcept
{
    return m_state->letGoOfOne();
}

SystemError FolderChain::look(NameText name, EntryKind& kind, std::uint64_t& size) const
{
    struct stat status;
    if (::fstatat(m_state->descriptor(), name, &status, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0) {
        return lastWindowsError();
    }
    kind = kindOf(status.st_mode);
    size = static_cast<std::uint64_t>(status.st_size);
    return {};
}

SystemError FolderChain::removeFile(NameText name) const
{
    return outcome(::unlinkat(m_state->descriptor(), name, 0));
}

SystemError FolderChain::removeFolder(NameText name) const
{
    return outcome(::unlinkat(m_state->descriptor(), name, AT_REMOVEDIR));
}

const FolderChain::Place& FolderChain::inHand() const noexcept
{
    return m_state->levels.back().place;
}

bool isLinkToAnything(const char* path) noexcept
{
    return isLink(path);
}

bool meansGone(const SystemError& error) noexcept
{
    return error.native == ENOENT;
}

bool meansNotEmpty(const SystemError& error) noexcept
{
    return error.native == ENOTEMPTY || error.native == EEXIST;
}

bool meansOutOfHandles(const SystemError& error) noexcept
{
    return error.native == EMFILE || error.native == ENFILE;
}

} // namespace MorvexA106::Platform
