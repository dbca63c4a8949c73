#pragma once

/// @file
/// Marks what the shared library exports. Everything else stays hidden.

#if defined(_WIN32)
#    if defined(ETC_BUILDING)
#        define ETC_EXPORT __declspec(dllexport)
#    else
#        define ETC_EXPORT __declspec(dllimport)
#    endif
#else
#    define ETC_EXPORT __attribute__((visibility("default")))
#endif
