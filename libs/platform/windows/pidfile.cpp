#include "platform/pidfile.h"

#include "platform/windows/owned.h"

#include <windows.h>

#include <array>
#include <string_view>
#include <system_error>

namespace MorvexA106::Platform
{

namespace
{

std::system_error failureOf(const std::string& operation, DWORD number = GetLastError())
{
    return std::system_error(static_cast<int>(number), std::system_category(), operation);
}

FileHandle opened(HANDLE handle) noexcept
{
    return FileHandle(validOrNull(handle));
}

std::string fullPath(const std::string& path)
{
    std::string full(GetFullPathNameA(path.c_str(), 0, nullptr, nullptr), '\0');
    const DWORD length =
        GetFullPathNameA(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size()) {
        throw failureOf("GetFullPathName");
    }
    full.resize(length);
    return full;
}

std::string processIn(const std::string& path)
{
    const FileHandle file = opened(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                               nullptr, OPEN_EXISTING, 0, nullptr));
    std::array<char, 20> text{};
    DWORD count = 0;
    if (!file || !ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &count, nullptr)) {
        return {};
    }
    const std::string_view content(text.data(), count);
    return std::string(content.substr(0, content.find_first_not_of("0123456789")));
}

// What is open without sharing, or going away, somebody has at this moment.
bool isInUse(DWORD number)
{
    return number == ERROR_SHARING_VIOLATION || number == ERROR_DELETE_PENDING;
}

// Whoever holds this is the only one who makes or removes the file. It goes with the handle.
FileHandle turn(const std::string& path)
{
    return opened(CreateFileA((path + ".lock").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

void writeProcess(const std::string& path)
{
    const FileHandle file = opened(
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        throw failureOf("CreateFile");
    }
    const std::string text = std::to_string(GetCurrentProcessId()) + "\n";
    DWORD count = 0;
    if (!WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &count, nullptr)) {
        throw failureOf("WriteFile");
    }
}

// Open for writing, and nobody else may: that is the lock. Empty when there is no such file.
FileHandle lockedFile(const std::string& path)
{
    FileHandle file = opened(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file && isInUse(GetLastError())) {
        throw PidFileInUse(processIn(path));
    }
    if (!file && GetLastError() != ERROR_FILE_NOT_FOUND) {
        throw failureOf("CreateFile");
    }
    return file;
}

} // namespace

class PidFile::Held
{
public:
    explicit Held(const std::string& path) : m_path(fullPath(path))
    {
        const FileHandle mine = turn(m_path);
        if (!mine && isInUse(GetLastError())) {
            throw PidFileInUse(processIn(m_path));
        }
        if (!mine) {
            throw failureOf("CreateFile");
        }
        install();
    }

    ~Held()
    {
        const FileHandle mine = turn(m_path);
        m_file.reset();
        if (mine) { // else somebody is about to replace it
            DeleteFileA(m_path.c_str());
        }
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    void install()
    {
        lockedFile(m_path); // throws when somebody has it
        const std::string draft = m_path + ".new";
        writeProcess(draft);
        if (!MoveFileExA(draft.c_str(), m_path.c_str(), MOVEFILE_REPLACE_EXISTING)) {
            const DWORD number = GetLastError();
            DeleteFileA(draft.c_str());
            throw failureOf("MoveFileEx", number);
        }
        m_file = lockedFile(m_path);
        if (!m_file) {
            throw failureOf("CreateFile");
        }
    }

    std::string m_path;
    FileHandle m_file;
};

PidFile::PidFile(const std::string& path) : m_held(new Held(path)) {}

PidFile::~PidFile() = default;

} // namespace MorvexA106::Platform
