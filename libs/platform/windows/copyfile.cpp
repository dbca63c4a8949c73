#include "platform/copyfile.h"

#include "platform/filesystem.h"
#include "platform/windows/entries.h"

#include <windows.h>

namespace MorvexA106::Platform
{

namespace
{

constexpr DWORD linksAsLinks = 0x800; // COPY_FILE_COPY_SYMLINK, which not every compiler's headers have

SystemError notSupported() noexcept
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return lastWindowsError();
}

/// The system makes the new folder what the old one is. One that doesn't know links makes a plain folder.
SystemError copyFolderLink(const std::wstring& from, const std::wstring& to) noexcept
{
    if (!CreateDirectoryExW(from.c_str(), to.c_str(), nullptr)) {
        return lastWindowsError();
    }
    if ((GetFileAttributesW(to.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return {};
    }
    RemoveDirectoryW(to.c_str());
    return notSupported();
}

} // namespace

SystemError copyEntry(const FolderChain& from, const FolderChain& to, FolderChain::NameText name,
                      bool overwrite)
{
    const std::wstring source = from.inHand() / name;
    const std::wstring target = to.inHand() / name;
    EntryKind kind = EntryKind::file;
    std::uint64_t size = 0;
    if (overwrite && !to.look(name, kind, size) && kind == EntryKind::link) {
        // Else the content would go where the link leads.
        if (const SystemError error = to.removeFile(name)) {
            return error;
        }
    }
    const DWORD attributes = GetFileAttributesW(source.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return copyFolderLink(source, target);
    }
    const DWORD flags = linksAsLinks | (overwrite ? 0 : COPY_FILE_FAIL_IF_EXISTS);
    const BOOL copied = CopyFileExW(source.c_str(), target.c_str(), nullptr, nullptr, nullptr, flags);
    return copied ? SystemError{} : lastWindowsError();
}

SystemError copyFolderProperties(const FolderChain&, const FolderChain&) noexcept
{
    return {};
}

SystemError copyFile(const char* from, const char* to, bool overwrite)
{
    if (overwrite && isSameFile(from, to)) {
        return fileInUse(); // not every system notices before it has emptied the target
    }
    return CopyFileA(from, to, overwrite ? FALSE : TRUE) ? SystemError{} : lastWindowsError();
}

} // namespace MorvexA106::Platform
