#pragma once

/// @file
/// Replaces one file in one step.

#include "platform/systemerror.h"

#include <span>

namespace MorvexA106::Platform
{

/// Puts the content in place of the file's, or makes the file, and returns when that has reached the disk. At no
/// moment has the file anything but its old content or the new one, whole, though the process or the machine stop
/// in the middle. The permissions are the published words, for a file that is made; those of a file that is
/// replaced stay. Windows error.
///
/// POSIX: a link is followed, also one that leads to nothing yet. Windows: a link is replaced.
SystemError replaceFile(const char* path, std::span<const unsigned char> content, int permissions);

} // namespace MorvexA106::Platform
