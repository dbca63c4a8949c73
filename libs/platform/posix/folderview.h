#pragma once

/// @file
/// What a view of a folder holds.

#include "platform/folderview.h"
#include "platform/posix/owned.h"

namespace MorvexA106::Platform
{

struct FolderView::State
{
    /// Opened with O_PATH: good for naming the folder, not for reading it.
    Descriptor folder;
};

} // namespace MorvexA106::Platform
