#include "etc/adopt.h"

#include "etc/exception.h"
#include "etc/identity.h"
#include "etc/initialize.h"
#include "etc/threadrecord.h"
#include "platform/thread.h"

#include <cerrno>
#include <memory>

namespace Etc10012
{

// The adopted thread's own hold on its object. It keeps `currentThread()` safe when another thread ends the
// adoption, and ends the identity with the thread at the latest. It belongs to the thread's slot.
struct JTCAdoptCurrentThread::Hold : Identity
{
    explicit Hold(const JTCHandleT<JTCThread>& adopted) : Identity(*adopted), object(adopted) {}

    void threadEnds() noexcept override
    {
        object->m_record->advance(JTCThread::Record::Phase::released);
        delete this;
    }

    const JTCHandleT<JTCThread> object;
};

void JTCThread::Record::adopt()
{
    const std::lock_guard lock(mutex);
    id = std::this_thread::get_id();
    adopted = true;
    adoptions = 1;
    phase = Phase::running;
}

bool JTCThread::Record::adoptAgain() noexcept
{
    const std::lock_guard lock(mutex);
    if (phase != Phase::running) {
        return false;
    }
    ++adoptions;
    return true;
}

void JTCThread::Record::endAdoption() noexcept
{
    const std::lock_guard lock(mutex);
    if (--adoptions > 0) {
        return;
    }
    phase = Phase::released;
    changed.notify_all();
}

JTCHandleT<JTCThread> JTCAdoptCurrentThread::adoptAfresh()
{
    dropEndedIdentity();
    const std::string name = MorvexA106::Platform::nameOfThisThread();
    JTCHandleT<JTCThread> thread(new JTCThread(JTCInitialize::getTermGroup(), name.c_str()));
    auto hold = std::make_unique<Hold>(thread);
    if (!Identity::setCurrent(hold.get())) {
        throw JTCSystemFailure("JTCAdoptCurrentThread: no room for the thread's identity", ENOMEM);
    }
    (void)hold.release(); // the slot's now
    thread->m_record->adopt();
    return thread;
}

/// Empties the slot of the calling thread of an adoption that is over.
void JTCAdoptCurrentThread::dropEndedIdentity() noexcept
{
    Identity* const identity = Identity::current();
    if (identity && !identity->thread().isAlive() && Identity::setCurrent(nullptr)) {
        identity->threadEnds();
    }
}

JTCAdoptCurrentThread::JTCAdoptCurrentThread()
{
    JTCThread* const known = JTCThread::currentThread();
    if (known && !known->m_record->adopted) {
        return;
    }
    m_thread = known && known->m_record->adoptAgain() ? known : adoptAfresh();
}

JTCAdoptCurrentThread::~JTCAdoptCurrentThread()
{
    if (m_thread) {
        m_thread->m_record->endAdoption();
        dropEndedIdentity();
    }
}

} // namespace Etc10012
