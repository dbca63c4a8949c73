#pragma once

/// @file
/// What a call that returns 0 for success has come to, with the number that its caller promised.

#include "platform/systemerror.h"

namespace MorvexA106::Platform
{

inline SystemError windowsOutcome(int result) noexcept
{
    return result == 0 ? SystemError{} : lastWindowsError();
}

inline SystemError runtimeOutcome(int result) noexcept
{
    return result == 0 ? SystemError{} : lastRuntimeError();
}

} // namespace MorvexA106::Platform
