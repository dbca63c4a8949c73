#pragma once

/// @file
/// What a view of a folder holds.

#include "platform/folderview.h"

#include <string>

namespace MorvexA106::Platform
{

struct FolderView::State
{
    /// Full, so that a change of the current folder means nothing to it.
    std::string path;
};

} // namespace MorvexA106::Platform
