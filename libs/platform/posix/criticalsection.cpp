#include "platform/criticalsection.h"

#include <memory>
#include <mutex>
#include <new>

namespace MorvexA106::Platform
{

namespace
{

static_assert(sizeof(std::recursive_mutex) <= criticalSectionBytes);
static_assert(alignof(std::recursive_mutex) <= alignof(std::max_align_t));

std::recursive_mutex& section(void* storage) noexcept
{
    return *std::launder(static_cast<std::recursive_mutex*>(storage));
}

} // namespace

void makeCriticalSection(void* storage)
{
    new (storage) std::recursive_mutex;
}
void destroyCriticalSection(void* storage) noexcept
{
    std::destroy_at(&section(storage));
}
void enterCriticalSection(void* storage)
{
    section(storage).lock();
}
void leaveCriticalSection(void* storage) noexcept
{
    section(storage).unlock();
}

} // namespace MorvexA106::Platform
