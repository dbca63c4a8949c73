#pragma once

/// @file
/// How Windows tells of a folder's entries, and which folder of a chain is in hand.

#include "platform/folderchain.h"
#include "platform/windows/owned.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace MorvexA106::Platform
{

/// Links and junctions have a tag with the bit for names that stand for others; files that are compressed or kept
/// elsewhere have tags without it, and are what they seem to be. 0 is told where the tag isn't known.
inline bool isLinkTag(DWORD attributes, DWORD tag) noexcept
{
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && (tag == 0 || IsReparseTagNameSurrogate(tag));
}

template <class FindData>
EntryKind kindOf(const FindData& found) noexcept
{
    if (isLinkTag(found.dwFileAttributes, found.dwReserved0)) {
        return EntryKind::link;
    }
    return (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EntryKind::folder : EntryKind::file;
}

template <class FindData>
std::uint64_t sizeOf(const FindData& found) noexcept
{
    return (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) + found.nFileSizeLow;
}

/// Of nothing, where the file's number is 0: some network disks have no numbers, and all their files would be one.
inline FileIdentity identityOf(const BY_HANDLE_FILE_INFORMATION& told) noexcept
{
    const std::uint64_t index = (static_cast<std::uint64_t>(told.nFileIndexHigh) << 32) + told.nFileIndexLow;
    return index != 0 ? FileIdentity{told.dwVolumeSerialNumber, index} : FileIdentity{};
}

struct FolderChain::Place
{
    std::wstring path; ///< in the form without a limit of length, ended by a separator
    FileHandle held;

    std::wstring operator/(NameText name) const { return path + name; }
};

} // namespace MorvexA106::Platform
