#include "platform/version.h"

namespace MorvexA106::Platform
{

bool systemVersion(SystemVersion& version) noexcept
{
    version = {2, 10, 0};
    return true;
}

} // namespace MorvexA106::Platform
