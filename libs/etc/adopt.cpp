#include "etc/adopt.h"

#include "etc/initialize.h"
#include "etc/threadrecord.h"
#include "platform/thread.h"

namespace Etc10012
{

namespace
{

// A plain value, so that it can still be asked when the holder itself is gone.
thread_local bool holderGone = false;

} // namespace

// The adopted thread's own hold on its object, in the thread's storage. It keeps `currentThread()` safe when
// another thread ends the adoption, and ends the identity with the thread at the latest.
struct JTCAdoptCurrentThread::Holder
{
    Holder() noexcept = default;
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    ~Holder()
    {
        drop();
        holderGone = true;
    }

    void hold(const JTCHandleT<JTCThread>& newcomer) noexcept
    {
        drop();
        setCurrentThread(newcomer.get());
        thread = newcomer;
    }

    void drop() noexcept
    {
        if (!thread)
            return;
        setCurrentThread(nullptr);
        thread->m_record->advance(JTCThread::Record::Phase::released);
        thread = nullptr;
    }

    static Holder& ofThisThread()
    {
        thread_local Holder holder;
        return holder;
    }

    JTCHandleT<JTCThread> thread;
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
    if (phase != Phase::running)
        return false;
    ++adoptions;
    return true;
}

void JTCThread::Record::endAdoption() noexcept
{
    const std::lock_guard lock(mutex);
    if (--adoptions > 0)
        return;
    phase = Phase::released;
    changed.notify_all();
}

JTCHandleT<JTCThread> JTCAdoptCurrentThread::adoptAfresh()
{
    const std::string name = MorvexA106::Platform::nameOfThisThread();
    JTCHandleT<JTCThread> thread(new JTCThread(JTCInitialize::getTermGroup(), name.c_str()));
    thread->m_record->adopt();
    Holder::ofThisThread().hold(thread);
    return thread;
}

JTCAdoptCurrentThread::JTCAdoptCurrentThread()
{
    JTCThread* const known = JTCThread::currentThread();
    if (known && !known->m_record->adopted)
        return;
    if (known && known->m_record->adoptAgain())
        m_thread = known;
    else if (!holderGone)
        m_thread = adoptAfresh();
}

JTCAdoptCurrentThread::~JTCAdoptCurrentThread()
{
    if (!m_thread)
        return;
    m_thread->m_record->endAdoption();
    if (holderGone)
        return;
    Holder& own = Holder::ofThisThread();
    if (own.thread == m_thread && !m_thread->isAlive())
        own.drop();
}

} // namespace Etc10012
