#pragma once

/// @file
/// The rules behind SPlat, apart from asking the system.

#include "morvex/export.h"
#include "platform/version.h"

namespace MorvexA106::PlatformRules
{

inline constexpr unsigned long family95 = 1;
inline constexpr unsigned long familyNT = 2;

/// True when the record is of the family, of at least the oldest version, and of exactly the wanted one
/// (0.0: of any).
MORVEX_EXPORT bool matches(const Platform::SystemVersion& record, unsigned long family, double oldest,
                           double wanted);

} // namespace MorvexA106::PlatformRules
