#pragma once

/// @file
/// Which Windows family the process runs on.

#include "morvex/export.h"

namespace MorvexA106
{

/// Static questions about the Windows family. A version is written as major + minor * 0.01, which is not the
/// usual reading of the pair: Windows 2000 is 5.0 and Windows XP, version 5.1, is 5.01.
///
/// POSIX: the answers are those of the NT family, version 10.0. Thread safe.
class MORVEX_EXPORT SPlat
{
public:
    /// The NT family; 0.0 asks for any version, another number for exactly that version.
    static bool IsWinNT(double version);

    /// The 95 family; the version as above.
    static bool IsWin95(double version);

    /// The NT family from 5.0 upward; the version as above.
    static bool IsWin2K(double version);
};

} // namespace MorvexA106
