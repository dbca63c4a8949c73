#include "platform/folderwatch.h"

#include "platform/windows/folderview.h"
#include "platform/windows/owned.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

namespace MorvexA106::Platform
{

using Kind = FolderEvent::Kind;

namespace
{

/// More is refused by shares of a network.
constexpr std::size_t roomForEvents = std::size_t{64} * 1024;

constexpr DWORD wantedEvents = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                               FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;

using EventHandle = Handle<&CloseHandle>;

std::string narrowed(const WCHAR* name, std::size_t units)
{
    const int length = static_cast<int>(units);
    const int bytes = WideCharToMultiByte(CP_ACP, 0, name, length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(std::max(bytes, 0)), '\0');
    WideCharToMultiByte(CP_ACP, 0, name, length, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}

DWORD waitLimit(long milliseconds) noexcept
{
    return milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
}

} // namespace

/// The one watch: a call of the system that is under way as long as the watch lives, and into whose buffer the
/// system writes meanwhile. The system gathers what happens between two calls.
struct FolderEvents::State
{
    /// A read that is under way ends before its buffer goes.
    ~State() { stop(); }

    SystemError ask() noexcept;
    void stop() noexcept;
    void takeAll(std::vector<FolderEvent>& found);
    void askAgain(std::vector<FolderEvent>& found);
    void appendAll(std::size_t size, std::vector<FolderEvent>& found);
    void append(DWORD action, std::string name, std::vector<FolderEvent>& found);

    EventHandle wakes;
    EventHandle arrived;
    FileHandle folder;
    std::unique_ptr<std::byte[]> buffer = std::make_unique<std::byte[]>(roomForEvents);
    OVERLAPPED call{};
    std::uint64_t watch = 0;
    std::uint32_t cookie = 0;
    bool tree = false;
    bool asked = false;
};

SystemError FolderEvents::State::ask() noexcept
{
    call = {};
    call.hEvent = arrived.get();
    asked = ReadDirectoryChangesW(folder.get(), buffer.get(), static_cast<DWORD>(roomForEvents), tree,
                                  wantedEvents, nullptr, &call, nullptr) != 0;
    return asked ? SystemError{} : lastWindowsError();
}

void FolderEvents::State::stop() noexcept
{
    if (std::exchange(asked, false)) {
        DWORD size = 0;
        CancelIoEx(folder.get(), &call);
        GetOverlappedResult(folder.get(), &call, &size, TRUE);
    }
    folder.reset();
}

/// Nothing in the buffer means that it was too small. The end of the thread that asked ends the call, too; a rescan
/// makes up for what was missed.
void FolderEvents::State::takeAll(std::vector<FolderEvent>& found)
{
    DWORD size = 0;
    const bool told = GetOverlappedResult(folder.get(), &call, &size, FALSE) != 0;
    asked = false;
    if (!told && GetLastError() == ERROR_ACCESS_DENIED) { // the folder was removed
        found.push_back({Kind::ended, watch, {}, 0});
        folder.reset(); // it keeps its name as long as it is open
        return;
    }
    if (told && size != 0) {
        appendAll(size, found);
    } else {
        found.push_back({Kind::lost, 0, {}, 0});
    }
    askAgain(found);
}

void FolderEvents::State::askAgain(std::vector<FolderEvent>& found)
{
    if (ask()) {
        found.push_back({Kind::ended, watch, {}, 0});
        folder.reset();
    }
}

void FolderEvents::State::appendAll(std::size_t size, std::vector<FolderEvent>& found)
{
    constexpr std::size_t header = offsetof(FILE_NOTIFY_INFORMATION, FileName);
    for (std::size_t at = 0; at + header <= size;) {
        FILE_NOTIFY_INFORMATION told{};
        std::memcpy(&told, buffer.get() + at, header);
        const auto* name = reinterpret_cast<const WCHAR*>(buffer.get() + at + header);
        append(told.Action, narrowed(name, told.FileNameLength / sizeof(WCHAR)), found);
        if (told.NextEntryOffset == 0) {
            return;
        }
        at += told.NextEntryOffset;
    }
}

/// A file that is moved to another folder is told as removed and added; so something that is gone may yet appear.
void FolderEvents::State::append(DWORD action, std::string name, std::vector<FolderEvent>& found)
{
    switch (action) {
    case FILE_ACTION_ADDED:
        found.push_back({Kind::appeared, watch, std::move(name), 0});
        break;
    case FILE_ACTION_REMOVED:
    case FILE_ACTION_RENAMED_OLD_NAME:
        found.push_back({Kind::movedFrom, watch, std::move(name), ++cookie});
        break;
    case FILE_ACTION_RENAMED_NEW_NAME:
        found.push_back({Kind::movedTo, watch, std::move(name), cookie});
        break;
    default:
        found.push_back({Kind::written, watch, std::move(name), 0});
    }
}

FolderEvents::FolderEvents() noexcept = default;
FolderEvents::~FolderEvents() = default;

SystemError FolderEvents::open()
{
    auto state = std::make_unique<State>();
    state->wakes.reset(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    state->arrived.reset(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    if (!state->wakes || !state->arrived) {
        return lastWindowsError();
    }
    m_state = std::move(state);
    return {};
}

SystemError FolderEvents::begin()
{
    return {};
}

bool FolderEvents::coverTrees() noexcept
{
    return true;
}

SystemError FolderEvents::add(const FolderView& folder, bool tree, std::uint64_t& watch)
{
    m_state->stop();
    m_state->folder.reset(
        validOrNull(CreateFileA(folder.m_state->path.c_str(), FILE_LIST_DIRECTORY,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr)));
    if (!m_state->folder) {
        return lastWindowsError();
    }
    m_state->tree = tree;
    watch = ++m_state->watch;
    const SystemError error = m_state->ask();
    if (error) {
        m_state->stop(); // the caller keeps no number to remove it by
    }
    return error;
}

void FolderEvents::remove(std::uint64_t watch) noexcept
{
    if (watch == m_state->watch) {
        m_state->stop();
    }
}

SystemError FolderEvents::wait(long milliseconds, std::vector<FolderEvent>& events)
{
    if (m_state->folder && !m_state->asked) { // an exception came in between
        m_state->askAgain(events);
    }
    const HANDLE sources[] = {m_state->wakes.get(), m_state->arrived.get()};
    const DWORD count = m_state->asked ? 2 : 1;
    const DWORD ready = WaitForMultipleObjects(count, sources, FALSE, waitLimit(milliseconds));
    if (ready == WAIT_FAILED) {
        return lastWindowsError();
    }
    if (ready == WAIT_OBJECT_0 + 1) {
        m_state->takeAll(events);
    }
    return {};
}

void FolderEvents::wake() noexcept
{
    SetEvent(m_state->wakes.get());
}

} // namespace MorvexA106::Platform
