#pragma once

/// @file
/// Copies one file.

#include "platform/systemerror.h"

namespace MorvexA106::Platform
{

/// Copies content, permissions and the time of change. A target that exists is a failure unless `overwrite` is
/// set, and so is the source itself by another name. Windows error.
///
/// POSIX: the target has its old content, or is absent, until the copy is whole. A target that is a link is
/// followed; a device or a pipe is written to.
SystemError copyFile(const char* from, const char* to, bool overwrite);

} // namespace MorvexA106::Platform
