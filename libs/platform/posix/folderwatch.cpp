#include "platform/folderwatch.h"

#include "platform/posix/folderview.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace MorvexA106::Platform
{

using Kind = FolderEvent::Kind;

namespace
{

constexpr std::uint32_t wantedEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                                       IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF |
                                       IN_ONLYDIR;

constexpr std::size_t roomForEvents = std::size_t{64} * 1024;

/// The first that fits counts.
constexpr struct
{
    std::uint32_t mask;
    Kind kind;
} kinds[] = {
    {IN_Q_OVERFLOW, Kind::lost},
    {IN_IGNORED, Kind::ended},
    {IN_UNMOUNT | IN_MOVE_SELF | IN_DELETE_SELF, Kind::moved},
    {IN_CREATE, Kind::appeared},
    {IN_DELETE, Kind::vanished},
    {IN_MOVED_FROM, Kind::movedFrom},
    {IN_MOVED_TO, Kind::movedTo},
    {IN_MODIFY | IN_CLOSE_WRITE, Kind::written},
    {IN_ATTRIB, Kind::touched},
};

void append(const inotify_event& told, const char* name, std::vector<FolderEvent>& events)
{
    const auto row =
        std::ranges::find_if(kinds, [&](const auto& kind) { return (told.mask & kind.mask) != 0; });
    if (row != std::end(kinds)) {
        const auto watch = static_cast<std::uint64_t>(std::max(told.wd, 0));
        events.push_back({row->kind, watch, told.len != 0 ? name : "", told.cookie});
    }
}

void appendAll(const char* bytes, std::size_t size, std::vector<FolderEvent>& events)
{
    for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
        inotify_event told{};
        std::memcpy(&told, bytes + at, sizeof told);
        append(told, bytes + at + sizeof told, events);
        at += sizeof told + told.len;
    }
}

int pollLimit(long milliseconds) noexcept
{
    return static_cast<int>(std::clamp<long>(milliseconds, -1, std::numeric_limits<int>::max()));
}

} // namespace

struct FolderEvents::State
{
    SystemError readAll(std::vector<FolderEvent>& found);
    void takeWake() noexcept;

    Descriptor wakes;
    Descriptor events;
    std::unique_ptr<char[]> buffer = std::make_unique<char[]>(roomForEvents);
};

SystemError FolderEvents::State::readAll(std::vector<FolderEvent>& found)
{
    const ssize_t size = uninterrupted([&] { return ::read(events.get(), buffer.get(), roomForEvents); });
    if (size < 0) {
        return errno == EAGAIN ? SystemError{} : lastWindowsError();
    }
    appendAll(buffer.get(), static_cast<std::size_t>(size), found);
    return {};
}

void FolderEvents::State::takeWake() noexcept
{
    eventfd_t count = 0;
    ::eventfd_read(wakes.get(), &count);
}

FolderEvents::FolderEvents() noexcept = default;
FolderEvents::~FolderEvents() = default;

SystemError FolderEvents::open()
{
    auto state = std::make_unique<State>();
    state->wakes = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!state->wakes) {
        return lastWindowsError();
    }
    m_state = std::move(state);
    return {};
}

SystemError FolderEvents::begin()
{
    if (m_state->events) {
        return {};
    }
    m_state->events = Descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    return m_state->events ? SystemError{} : lastWindowsError();
}

bool FolderEvents::coverTrees() noexcept
{
    return false;
}

// The watch must be for the folder that was looked at, and not for what has its path by now; this name of the
// descriptor leads to nothing else.
SystemError FolderEvents::add(const FolderView& folder, bool, std::uint64_t& watch)
{
    const std::string path = "/proc/self/fd/" + std::to_string(folder.m_state->folder.get());
    const int number = ::inotify_add_watch(m_state->events.get(), path.c_str(), wantedEvents);
    if (number < 0) {
        return lastWindowsError();
    }
    watch = static_cast<std::uint64_t>(number);
    return {};
}

void FolderEvents::remove(std::uint64_t watch) noexcept
{
    ::inotify_rm_watch(m_state->events.get(), static_cast<int>(watch));
}

SystemError FolderEvents::wait(long milliseconds, std::vector<FolderEvent>& events)
{
    pollfd sources[] = {{m_state->wakes.get(), POLLIN, 0}, {m_state->events.get(), POLLIN, 0}};
    const int ready = ::poll(sources, std::size(sources), pollLimit(milliseconds));
    if (ready < 0) {
        return errno == EINTR ? SystemError{} : lastWindowsError(); // whoever waits looks at the clock anyway
    }
    if (sources[0].revents != 0) {
        m_state->takeWake();
    }
    return sources[1].revents != 0 ? m_state->readAll(events) : SystemError{};
}

void FolderEvents::wake() noexcept
{
    ::eventfd_write(m_state->wakes.get(), 1);
}

} // namespace MorvexA106::Platform
