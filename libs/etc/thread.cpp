#include "etc/thread.h"

#include "etc/exception.h"
#include "etc/identity.h"
#include "etc/initialize.h"
#include "etc/membership.h"
#include "etc/threadrecord.h"
#include "etc/threadstarter.h"
#include "platform/thread.h"

#include <atomic>
#include <cstdio>
#include <system_error>
#include <utility>

namespace Etc10012
{

namespace
{

namespace Platform = MorvexA106::Platform;

Platform::ThreadSlot& slot() noexcept
{
    static Platform::ThreadSlot only;
    return only;
}

std::thread startSystemThread(ThreadEntry entry, JTCThread* thread)
{
    return std::thread(entry, thread);
}

std::atomic<ThreadStarter> threadStarter{&startSystemThread};

std::string nameOrNumber(const char* name)
{
    static std::atomic<unsigned> unnamed{0};
    if (name && *name) {
        return name;
    }
    return "thread-" + std::to_string(++unnamed);
}

std::string quoted(const std::string& name)
{
    return "\"" + name + "\"";
}

std::string textOf(const std::exception_ptr& problem)
{
    try {
        std::rethrow_exception(problem);
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return "unknown exception";
    }
}

void tell(const std::string& name, const std::exception_ptr& problem)
{
    std::fprintf(stderr, "etc: thread %s was ended by an exception: %s\n", quoted(name).c_str(),
                 textOf(problem).c_str());
}

} // namespace

ThreadStarter exchangeThreadStarter(ThreadStarter starter) noexcept
{
    return threadStarter.exchange(starter);
}

Identity* Identity::current() noexcept
{
    return static_cast<Identity*>(slot().get());
}

bool Identity::setCurrent(Identity* identity) noexcept
{
    return slot().set(identity);
}

JTCThread::Record::Record(const JTCHandleT<JTCThreadGroup>& itsGroup, const char* itsName)
    : name(nameOrNumber(itsName)),
      group(itsGroup ? itsGroup : JTCInitialize::getTermGroup())
{}

void JTCThread::Record::advance(Phase next) noexcept
{
    const std::lock_guard lock(mutex);
    phase = next;
    changed.notify_all();
}

bool JTCThread::Record::awaitEnd(const std::optional<Clock::time_point>& deadline)
{
    std::unique_lock lock(mutex);
    if (phase == Phase::fresh) {
        return true;
    }
    if (id == std::this_thread::get_id()) {
        if (phase == Phase::running) {
            throw JTCIllegalThreadState("join: thread " + quoted(name) + " can't wait for itself");
        }
        return true; // in the destructor of its own object
    }
    const auto released = [this] { return phase == Phase::released; };
    if (deadline) {
        return waitUntil(changed, lock, *deadline, released);
    }
    changed.wait(lock, released);
    return true;
}

std::thread JTCThread::Record::takeSystemThread() noexcept
{
    const std::lock_guard lock(mutex);
    return std::move(systemThread);
}

JTCThread::JTCThread(JTCHandleT<JTCThreadGroup>& group, const char* name)
    : m_record(std::make_shared<Record>(group, name))
{}

JTCThread::JTCThread(JTCHandleT<JTCThreadGroup>&& group, const char* name) : JTCThread(group, name) {}

JTCThread::~JTCThread() = default;

void JTCThread::run() {}

void JTCThread::start()
{
    // The object may be gone, with all that it has, as soon as the new thread runs.
    const std::shared_ptr<Record> record = m_record;
    const std::lock_guard lock(record->mutex);
    if (record->phase != Record::Phase::fresh) {
        throw JTCIllegalThreadState("start: thread " + quoted(record->name) + " was started before");
    }
    record->group->enter();
    addRef();
    record->phase = Record::Phase::running; // before the thread is there, as it may look at itself at once
    try {
        record->systemThread = threadStarter.load()(&JTCThread::entry, this);
    } catch (const std::system_error& refusal) {
        undoStart();
        throw JTCSystemFailure("start: no thread for " + quoted(record->name), refusal.code().value());
    } catch (...) {
        undoStart();
        throw;
    }
    record->id = record->systemThread.get_id();
}

void JTCThread::undoStart() noexcept
{
    m_record->phase = Record::Phase::fresh;
    m_record->group->withdraw();
    dropRef();
}

void JTCThread::entry(JTCThread* thread) noexcept
{
    const std::shared_ptr<Record> record = thread->m_record;
    const JTCHandleT<JTCThreadGroup> group = record->group;
    {
        const Membership member(*group);
        Platform::nameThisThread(record->name);
        Identity self(*thread);
        Identity::setCurrent(&self);
        thread->runAndKeepException();
        Identity::setCurrent(nullptr);
        record->advance(Record::Phase::ended);
        thread->release();
        record->advance(Record::Phase::released);
    }
    group->leave(record->takeSystemThread());
}

void JTCThread::runAndKeepException() noexcept
{
    try {
        run();
    } catch (...) {
        const std::exception_ptr problem = std::current_exception();
        tell(m_record->name, problem);
        const std::lock_guard lock(m_record->mutex);
        m_record->uncaught = problem;
    }
}

void JTCThread::join()
{
    const std::shared_ptr<Record> record = m_record;
    record->awaitEnd(std::nullopt);
}

bool JTCThread::join(long milliseconds)
{
    const std::shared_ptr<Record> record = m_record;
    return record->awaitEnd(deadlineAfter(milliseconds));
}

bool JTCThread::isAlive() const noexcept
{
    return m_record->phase == Record::Phase::running;
}

std::exception_ptr JTCThread::uncaughtException() const
{
    const std::lock_guard lock(m_record->mutex);
    return m_record->uncaught;
}

const std::string& JTCThread::getName() const noexcept
{
    return m_record->name;
}

JTCHandleT<JTCThreadGroup> JTCThread::getGroup() const noexcept
{
    return m_record->group;
}

JTCThread* JTCThread::currentThread() noexcept
{
    const Identity* const identity = Identity::current();
    return identity && identity->thread().isAlive() ? &identity->thread() : nullptr;
}

} // namespace Etc10012
