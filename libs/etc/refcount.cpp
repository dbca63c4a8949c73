#include "etc/refcount.h"

#include "etc/exception.h"
#include "etc/handle.h"

namespace Etc10012
{

JTCRefCount::~JTCRefCount() = default;

void JTCRefCount::release() noexcept
{
    // Acquire and release, so that the destructor sees what every other holder wrote.
    if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

void throwNullHandle()
{
    throw JTCNullHandle("JTCHandleT: an empty handle was followed");
}

} // namespace Etc10012
