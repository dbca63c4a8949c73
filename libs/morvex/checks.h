#pragma once

/// @file
/// The library's own guarded checks. A check that fails is reported, if anybody wants to know, and the code
/// goes on: what follows a check must have a defined result.

#include "morvex/sassert.h"

/// Reports `expression` (the text that callers know the check by) when `holds` is false.
#define MORVEX_CHECK(holds, expression) MORVEX_CHECK_SAYING(holds, expression, "no message")

#define MORVEX_CHECK_SAYING(holds, expression, message)                                                      \
    do {                                                                                                     \
        if (!(holds) && ::MorvexA106::ShouldAssert(__FILE_NAME__)) {                                         \
            ::MorvexA106::SAssert(__FILE_NAME__, __LINE__, expression, message);                             \
        }                                                                                                    \
    } while (false)

/// For a place that should not be reached: the condition reads `false`.
#define MORVEX_FAIL(message) MORVEX_CHECK_SAYING(false, "false", message)

/// A guarded trace on channel 0 with its source position.
#define MORVEX_TRACE(...)                                                                                    \
    do {                                                                                                     \
        if (::MorvexA106::ShouldTrace(0, __FILE_NAME__)) {                                                   \
            ::MorvexA106::STrace(0, __FILE_NAME__, __LINE__, __VA_ARGS__);                                   \
        }                                                                                                    \
    } while (false)
