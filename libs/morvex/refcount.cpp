#include "morvex/refcount.h"

#include "morvex/checks.h"
#include "platform/criticalsection.h"

namespace MorvexA106
{

static_assert(sizeof(CS_Wrapper) == Platform::criticalSectionBytes);
static_assert(sizeof(SInterlockedInt32s) == 4 && sizeof(SInterlockedInt32u) == 4);

CS_Wrapper::CS_Wrapper()
{
    Platform::makeCriticalSection(m_section);
}
CS_Wrapper::~CS_Wrapper()
{
    Platform::destroyCriticalSection(m_section);
}
void CS_Wrapper::Lock()
{
    Platform::enterCriticalSection(m_section);
}
void CS_Wrapper::Unlock()
{
    Platform::leaveCriticalSection(m_section);
}

long CRefCount::addRef() const
{
    return ++m_lRefCount;
}

long CRefCount::release() const
{
    const long left = --m_lRefCount;
    if (left == 0) {
        delete this;
    }
    return left;
}

CRefCount::~CRefCount()
{
    MORVEX_CHECK(SNonInterlockedRead(&m_lRefCount) == 0, "SNonInterlockedRead(&m_lRefCount) == 0");
}

} // namespace MorvexA106
