#include "platform/version.h"

#include <windows.h>

namespace MorvexA106::Platform
{

bool systemVersion(SystemVersion& version) noexcept
{
    OSVERSIONINFOA record{};
    record.dwOSVersionInfoSize = sizeof record;
    if (!GetVersionExA(&record)) {
        return false;
    }
    version = {record.dwPlatformId, record.dwMajorVersion, record.dwMinorVersion};
    return true;
}

} // namespace MorvexA106::Platform
