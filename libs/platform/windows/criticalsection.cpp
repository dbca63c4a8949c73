#include "platform/criticalsection.h"

#include <windows.h>

namespace MorvexA106::Platform
{

namespace
{

static_assert(sizeof(CRITICAL_SECTION) <= criticalSectionBytes);

CRITICAL_SECTION* section(void* storage) noexcept
{
    return static_cast<CRITICAL_SECTION*>(storage);
}

} // namespace

void makeCriticalSection(void* storage)
{
    InitializeCriticalSection(section(storage));
}
void destroyCriticalSection(void* storage) noexcept
{
    DeleteCriticalSection(section(storage));
}
void enterCriticalSection(void* storage)
{
    EnterCriticalSection(section(storage));
}
void leaveCriticalSection(void* storage) noexcept
{
    LeaveCriticalSection(section(storage));
}

} // namespace MorvexA106::Platform
