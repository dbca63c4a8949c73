#include "platform/folderchain.h"

#include "platform/windows/entries.h"

#include <cwchar>
#include <string_view>
#include <utility>
#include <vector>

namespace MorvexA106::Platform
{

namespace
{

// The calls for wide names: those for the code page's stop at 260 units, and can't name every entry.

SystemError outcome(BOOL succeeded) noexcept
{
    return succeeded ? SystemError{} : lastWindowsError();
}

UINT codePageOfPaths() noexcept
{
    return AreFileApisANSI() ? CP_ACP : CP_OEMCP;
}

std::wstring widened(std::string_view text)
{
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(codePageOfPaths(), 0, text.data(), size, wide.data(), size)));
    return wide;
}

std::string narrowed(std::wstring_view wide)
{
    const int size = static_cast<int>(wide.size());
    const int room = size * 4;
    std::string text(static_cast<std::size_t>(room), '\0');
    text.resize(static_cast<std::size_t>(
        WideCharToMultiByte(codePageOfPaths(), 0, wide.data(), size, text.data(), room, nullptr, nullptr)));
    return text;
}

SystemError fullPath(const std::wstring& path, std::wstring& full)
{
    full.resize(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr));
    const DWORD length =
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size()) {
        return length == 0 ? lastWindowsError() : outcome(FALSE);
    }
    full.resize(length);
    return {};
}

/// In the form in which paths have no limit of 260 units.
std::wstring unlimited(const std::wstring& full)
{
    if (full.starts_with(LR"(\\?\)") || full.starts_with(LR"(\\.\)")) {
        return full;
    }
    return full.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + full.substr(1) : LR"(\\?\)" + full;
}

std::wstring withSeparator(std::wstring path)
{
    if (!path.ends_with(L'\\')) {
        path += L'\\';
    }
    return path;
}

/// Held without sharing its removal, the folder stays what its path leads to.
FileHandle holdFolder(const std::wstring& path, DWORD flags) noexcept
{
    return FileHandle(
        validOrNull(CreateFileW(path.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr)));
}

/// A failure for what is held but is no folder, or a link to one.
SystemError requireFolder(HANDLE held) noexcept
{
    BY_HANDLE_FILE_INFORMATION told;
    if (!GetFileInformationByHandle(held, &told)) {
        return lastWindowsError();
    }
    FILE_ATTRIBUTE_TAG_INFO tag{told.dwFileAttributes, 0};
    const bool link = (told.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
                      (!GetFileInformationByHandleEx(held, FileAttributeTagInfo, &tag, sizeof tag) ||
                       isLinkTag(tag.FileAttributes, tag.ReparseTag));
    if ((told.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && !link) {
        return {};
    }
    SetLastError(ERROR_DIRECTORY);
    return lastWindowsError();
}

bool isDotName(std::wstring_view name) noexcept
{
    return name == L"." || name == L"..";
}

SystemError find(const std::wstring& path, FindHandle& search, WIN32_FIND_DATAW& found) noexcept
{
    search.reset(validOrNull(FindFirstFileW(path.c_str(), &found)));
    return outcome(search != nullptr);
}

} // namespace

struct FolderChain::State
{
    struct Level
    {
        Name name;
        Place place;
    };

    std::vector<Level> levels;

    const Place& inHand() const noexcept { return levels.back().place; }
};

FolderChain::FolderChain() : m_state(std::make_unique<State>()) {}
FolderChain::~FolderChain() = default;

SystemError FolderChain::open(const char* path, TopLink link)
{
    std::wstring full;
    if (const SystemError error = fullPath(widened(*path != '\0' ? path : "."), full)) {
        return error;
    }
    const std::wstring top = unlimited(full);
    FileHandle held = holdFolder(top, link == TopLink::refuse ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
    if (!held) {
        return lastWindowsError();
    }
    if (const SystemError error = requireFolder(held.get())) {
        return error;
    }
    m_state->levels.push_back({{}, {withSeparator(top), std::move(held)}});
    return {};
}

bool FolderChain::isRootOfAll() const noexcept
{
    return false;
}

std::size_t FolderChain::depth() const noexcept
{
    return m_state->levels.size();
}

const FolderChain::Name& FolderChain::name() const noexcept
{
    return m_state->levels.back().name;
}

const FolderChain::Place& FolderChain::inHand() const noexcept
{
    return m_state->inHand();
}

std::string FolderChain::pathOf(NameText name) const
{
    const std::size_t top = m_state->levels.front().place.path.size();
    std::wstring path = (inHand() / name).substr(top);
    if (path.ends_with(L'\\')) {
        path.pop_back();
    }
    return narrowed(path);
}

FileIdentity FolderChain::identity() const noexcept
{
    BY_HANDLE_FILE_INFORMATION told;
    const bool asked = GetFileInformationByHandle(inHand().held.get(), &told) != 0;
    return asked ? identityOf(told) : FileIdentity{};
}

SystemError FolderChain::read(const Visitor& visit)
{
    WIN32_FIND_DATAW found;
    FindHandle search;
    if (const SystemError error = find(inHand() / L"*", search, found)) {
        return error.number == ERROR_FILE_NOT_FOUND ? SystemError{} : error;
    }
    do {
        if (!isDotName(found.cFileName)) {
            visit(found.cFileName, kindOf(found));
        }
    } while (FindNextFileW(search.get(), &found));
    return outcome(GetLastError() == ERROR_NO_MORE_FILES);
}

SystemError FolderChain::enter(NameText name)
{
    const std::wstring path = inHand() / name;
    FileHandle held = holdFolder(path, FILE_FLAG_OPEN_REPARSE_POINT);
    if (!held) {
        return lastWindowsError();
    }
    if (const SystemError error = requireFolder(held.get())) {
        return error;
    }
    m_state->levels.push_back({name, {withSeparator(path), std::move(held)}});
    return {};
}

SystemError FolderChain::make(NameText name, bool& made)
{
    made = CreateDirectoryW((inHand() / name).c_str(), nullptr);
    if (!made && GetLastError() != ERROR_ALREADY_EXISTS) {
        return lastWindowsError();
    }
    return enter(name);
}

SystemError FolderChain::leave()
{
    m_state->levels.pop_back();
    return {};
}

bool FolderChain::letGoOfOne() noexcept
{
    return false;
}

SystemError FolderChain::look(NameText name, EntryKind& kind, std::uint64_t& size) const
{
    WIN32_FIND_DATAW found;
    FindHandle search;
    const SystemError error = find(inHand() / name, search, found);
    if (!error) {
        kind = kindOf(found);
        size = sizeOf(found);
    }
    return error;
}

/// Links to folders are folders to the calls, which never go through them.
SystemError FolderChain::removeFile(NameText name) const
{
    const std::wstring path = inHand() / name;
    if (DeleteFileW(path.c_str())) {
        return {};
    }
    const SystemError error = lastWindowsError();
    EntryKind kind = EntryKind::file;
    std::uint64_t size = 0;
    const bool link = !look(name, kind, size) && kind == EntryKind::link;
    return link && RemoveDirectoryW(path.c_str()) ? SystemError{} : error;
}

SystemError FolderChain::removeFolder(NameText name) const
{
    return outcome(RemoveDirectoryW((inHand() / name).c_str()));
}

bool isLinkToAnything(const char* path) noexcept
{
    WIN32_FIND_DATAA found;
    const FindHandle search(validOrNull(FindFirstFileA(path, &found)));
    return search && kindOf(found) == EntryKind::link;
}

bool meansGone(const SystemError& error) noexcept
{
    return error.native == ERROR_FILE_NOT_FOUND || error.native == ERROR_PATH_NOT_FOUND;
}

bool meansNotEmpty(const SystemError& error) noexcept
{
    return error.native == ERROR_DIR_NOT_EMPTY;
}

bool meansOutOfHandles(const SystemError& error) noexcept
{
    return error.native == ERROR_TOO_MANY_OPEN_FILES;
}

} // namespace MorvexA106::Platform
