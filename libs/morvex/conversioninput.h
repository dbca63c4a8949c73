#pragma once

/// @file
/// The check that all conversions of moments have in common.

#include "morvex/checks.h"

#define MORVEX_CHECK_INPUT(usable)                                                                           \
    MORVEX_CHECK_SAYING(usable, "0", "Input SDateTime value is NULL or not valid")
