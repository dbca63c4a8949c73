#include "morvex/splat.h"

#include "morvex/checks.h"
#include "morvex/splatrules.h"

namespace MorvexA106
{

namespace
{

bool thisSystemMatches(unsigned long family, double oldest, double wanted)
{
    Platform::SystemVersion record;
    const bool known = Platform::systemVersion(record);
    MORVEX_CHECK(known, "GetVersionExA(&osinfo)");
    return PlatformRules::matches(record, family, oldest, wanted);
}

} // namespace

bool PlatformRules::matches(const Platform::SystemVersion& record, unsigned long family, double oldest,
                            double wanted)
{
    // Volatile: the comparison is of doubles, and a 32-bit build may hold the sum in a wider register.
    const volatile double version =
        static_cast<double>(record.major) + static_cast<double>(record.minor) * 0.01;
    return record.platform == family && version >= oldest && (wanted == 0.0 || wanted == version);
}

bool SPlat::IsWinNT(double version)
{
    return thisSystemMatches(PlatformRules::familyNT, 0.0, version);
}
bool SPlat::IsWin95(double version)
{
    return thisSystemMatches(PlatformRules::family95, 0.0, version);
}
bool SPlat::IsWin2K(double version)
{
    return thisSystemMatches(PlatformRules::familyNT, 5.0, version);
}

} // namespace MorvexA106
