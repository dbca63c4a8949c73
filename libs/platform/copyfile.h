#pragma once

/// @file
/// Copies one file.

#include "platform/folderchain.h"
#include "platform/systemerror.h"

namespace MorvexA106::Platform
{

/// Copies content, permissions and the time of change. A target that exists is a failure unless `overwrite` is
/// set, and so is the source itself by another name. Windows error.
///
/// POSIX: the target has its old content, or is absent, until the copy is whole. A target that is a link is
/// followed; a device or a pipe is written to.
SystemError copyFile(const char* from, const char* to, bool overwrite);

/// The same for an entry of the folder in hand to the same name in that of another chain, with these differences: a
/// link is copied as a link, and one in the target's place is not followed but replaced. All that is special fails on
/// either side. Windows error.
SystemError copyEntry(const FolderChain& from, const FolderChain& to, FolderChain::NameText name,
                      bool overwrite);

/// Gives the folder in hand the permissions and times of the other. Windows error; Windows: does nothing.
SystemError copyFolderProperties(const FolderChain& from, const FolderChain& to) noexcept;

} // namespace MorvexA106::Platform
