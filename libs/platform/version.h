#pragma once

/// @file
/// Which Windows family this machine is, or stands for.

namespace MorvexA106::Platform
{

/// The platform identifier: 1 is the 95 family, 2 the NT family.
struct SystemVersion
{
    unsigned long platform = 0;
    unsigned long major = 0;
    unsigned long minor = 0;
};

/// False when the system does not tell; the record is then as it stood.
///
/// POSIX: the NT family, version 10.0.
bool systemVersion(SystemVersion& version) noexcept;

} // namespace MorvexA106::Platform
