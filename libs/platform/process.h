#pragma once

/// @file
/// What a process knows of itself and of its surroundings.

#include "platform/systemerror.h"

#include <string>

namespace MorvexA106::Platform
{

/// The system's number of this process; after a fork the child's own.
unsigned long processId() noexcept;

/// The folder for temporary files, as it is told and whether it exists or not, with a separator at its end.
/// Windows error.
///
/// POSIX: `TMPDIR`, unless it is empty or the program runs with rights that its caller doesn't have; else `/tmp`.
SystemError temporaryFolder(std::string& folder);

} // namespace MorvexA106::Platform
