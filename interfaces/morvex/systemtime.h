#pragma once

/// @file
/// The calendar fields of Windows' `SYSTEMTIME`, on every system.

#include <type_traits>

struct _SYSTEMTIME;

namespace MorvexA106
{

/// Fields and layout as published for `SYSTEMTIME`.
struct SSystemTime
{
    unsigned short wYear;
    unsigned short wMonth;     ///< 1 to 12
    unsigned short wDayOfWeek; ///< 0 for Sunday to 6
    unsigned short wDay;
    unsigned short wHour;
    unsigned short wMinute;
    unsigned short wSecond;
    unsigned short wMilliseconds;
};

static_assert(sizeof(SSystemTime) == 16);

/// POSIX: the structure above.
///
/// Windows, told by its wide characters of 16 bits: the system's own, so that the name means the same whether or not
/// <windows.h> is included, which is needed to make one.
using SYSTEMTIME = std::conditional_t<sizeof(wchar_t) == 2, ::_SYSTEMTIME, SSystemTime>;

} // namespace MorvexA106
