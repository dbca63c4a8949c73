#pragma once

/// @file
/// What a call has come to: of the system, which returns true for success, or of the C runtime, which returns 0.

#include "platform/systemerror.h"

#include <windows.h>

namespace MorvexA106::Platform
{

inline SystemError windowsOutcome(BOOL succeeded) noexcept
{
    return succeeded ? SystemError{} : lastWindowsError();
}

inline SystemError runtimeOutcome(int result) noexcept
{
    return result == 0 ? SystemError{} : lastRuntimeError();
}

} // namespace MorvexA106::Platform
