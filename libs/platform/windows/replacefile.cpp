#include "platform/replacefile.h"

#include "platform/file.h"
#include "platform/windows/outcome.h"
#include "platform/windows/owned.h"

#include <windows.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

/// The content is written into a file beside the target, which then takes its place. While it is written nobody else
/// can open it, and so nobody can remove it; one that a dead process left is removed by whoever wants its name. For the
/// moment between closing and moving it the replacers of one target take turns, by a mutex of this machine.
namespace MorvexA106::Platform
{

namespace
{

/// FNV-1a.
std::uint32_t hashOf(std::string_view text) noexcept
{
    std::uint32_t hash = 0x811C9DC5;
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x01000193;
    }
    return hash;
}

/// The name is short, so that it fits where the target's does, and the same for each replacing of one target.
std::string stagePath(std::string_view target, unsigned turn)
{
    const std::size_t nameStart = target.find_last_of("\\/:") + 1;
    char name[40];
    std::snprintf(name, sizeof name, ".morvex-%08x-%u",
                  static_cast<unsigned>(hashOf(target.substr(nameStart))), turn);
    return std::string(target.substr(0, nameStart)) + name;
}

/// Keeps other replacers of the target away. A process that dies lets go of it. Who may not have it, or doesn't get it
/// in time, goes on without: the names of the stages still keep two apart while they write.
class Turn
{
public:
    explicit Turn(const char* target) noexcept : m_mutex(mutexOf(target))
    {
        constexpr DWORD longest = 10000;
        const DWORD outcome = m_mutex ? WaitForSingleObject(m_mutex.get(), longest) : WAIT_FAILED;
        m_held = outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn()
    {
        if (m_held) {
            ReleaseMutex(m_mutex.get());
        }
    }

private:
    /// Two targets of the same hash take turns for nothing, and no harm is done.
    static FileHandle mutexOf(const char* target) noexcept
    {
        char path[MAX_PATH];
        const DWORD length = GetFullPathNameA(target, sizeof path, path, nullptr);
        if (length == 0 || length >= sizeof path) {
            return nullptr;
        }
        CharLowerBuffA(path, length);
        char name[48];
        std::snprintf(name, sizeof name, "Global\\morvex-replace-%08x",
                      static_cast<unsigned>(hashOf({path, length})));
        return FileHandle(CreateMutexA(nullptr, FALSE, name));
    }

    FileHandle m_mutex;
    bool m_held = false;
};

bool removeAnyhow(const std::string& path) noexcept
{
    return DeleteFileA(path.c_str()) ||
           (GetLastError() == ERROR_ACCESS_DENIED &&
            SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL) && DeleteFileA(path.c_str()));
}

/// False, with the error of a name that is taken, when it is held by somebody who lives.
bool clear(const std::string& path) noexcept
{
    const bool removed = removeAnyhow(path);
    SetLastError(ERROR_FILE_EXISTS);
    return removed;
}

/// The new content until it has taken the target's place.
class Stage
{
public:
    Stage(const char* target, DWORD attributes) : m_target(target), m_attributes(attributes) {}
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;
    ~Stage()
    {
        m_file.reset();
        if (!m_path.empty()) {
            removeAnyhow(m_path);
        }
    }

    SystemError create();
    SystemError write(std::span<const unsigned char> bytes) noexcept;
    SystemError publish() noexcept;

private:
    FileHandle createUnder(const std::string& path) const noexcept
    {
        return FileHandle(validOrNull(
            CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, m_attributes, nullptr)));
    }

    const char* m_target;
    DWORD m_attributes;
    std::string m_path;
    FileHandle m_file;
};

SystemError Stage::create()
{
    constexpr unsigned mostTurns = 4096; // so many are never at one file at once
    for (unsigned turn = 0; turn < mostTurns; ++turn) {
        const std::string path = stagePath(m_target, turn);
        m_file = createUnder(path);
        if (!m_file && GetLastError() == ERROR_FILE_EXISTS && clear(path)) {
            m_file = createUnder(path);
        }
        if (m_file) {
            m_path = path;
            return {};
        }
        if (GetLastError() != ERROR_FILE_EXISTS) {
            return lastWindowsError();
        }
    }
    return fileInUse();
}

SystemError Stage::write(std::span<const unsigned char> bytes) noexcept
{
    constexpr std::size_t mostAtOnce = std::size_t{1} << 30;
    while (!bytes.empty()) {
        const auto count = static_cast<DWORD>(std::min(bytes.size(), mostAtOnce));
        DWORD written = 0;
        if (!WriteFile(m_file.get(), bytes.data(), count, &written, nullptr)) {
            return lastWindowsError();
        }
        if (written == 0) {
            SetLastError(ERROR_DISK_FULL);
            return lastWindowsError();
        }
        bytes = bytes.subspan(written);
    }
    return windowsOutcome(FlushFileBuffers(m_file.get()));
}

SystemError Stage::publish() noexcept
{
    m_file.reset();
    if (!MoveFileExA(m_path.c_str(), m_target, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        return lastWindowsError();
    }
    m_path.clear();
    return {};
}

/// A folder and a file that is protected from writing are refused.
SystemError readAttributes(const char* path, int permissions, DWORD& attributes) noexcept
{
    constexpr DWORD refused = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY;
    constexpr DWORD kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                           FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    const DWORD old = GetFileAttributesA(path);
    if (old == INVALID_FILE_ATTRIBUTES) {
        const bool writable = permissions == FileWord::defaultPermissions || (permissions & _S_IWRITE) != 0;
        attributes = writable ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_READONLY;
        return GetLastError() == ERROR_FILE_NOT_FOUND ? SystemError{} : lastWindowsError();
    }
    if ((old & refused) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return lastWindowsError();
    }
    attributes = (old & kept) != 0 ? old & kept : FILE_ATTRIBUTE_NORMAL;
    return {};
}

SystemError replaceOnce(const char* path, std::span<const unsigned char> content, DWORD attributes)
{
    Stage stage(path, attributes);
    SystemError error = stage.create();
    if (!error) {
        error = stage.write(content);
    }
    return error ? error : stage.publish();
}

} // namespace

SystemError replaceFile(const char* path, std::span<const unsigned char> content, int permissions)
{
    DWORD attributes = 0;
    if (const SystemError error = readAttributes(path, permissions, attributes)) {
        return error;
    }
    const Turn turn(path);
    // Somebody without a turn, of another machine say, may take a closed stage for one that was left behind.
    constexpr int mostTries = 16;
    SystemError error = replaceOnce(path, content, attributes);
    for (int tries = 1; error.number == ERROR_FILE_NOT_FOUND && tries < mostTries; ++tries) {
        error = replaceOnce(path, content, attributes);
    }
    return error;
}

} // namespace MorvexA106::Platform
