#pragma once

/// @file
/// Marks what the shared library exports. Everything else stays hidden.

#if defined(_WIN32)
#    if defined(MORVEX_BUILDING)
#        define MORVEX_EXPORT __declspec(dllexport)
#    else
#        define MORVEX_EXPORT __declspec(dllimport)
#    endif
#else
#    define MORVEX_EXPORT __attribute__((visibility("default")))
#endif
