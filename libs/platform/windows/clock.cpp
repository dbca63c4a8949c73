#include "platform/clock.h"

#include <windows.h>

namespace MorvexA106::Platform
{

std::uint32_t tickCount() noexcept
{
    return GetTickCount();
}

} // namespace MorvexA106::Platform
