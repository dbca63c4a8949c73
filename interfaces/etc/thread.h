#pragma once

/// @file
/// A thread as an object.

#include "etc/export.h"
#include "etc/handle.h"
#include "etc/refcount.h"
#include "etc/threadgroup.h"

#include <exception>
#include <memory>
#include <string>

namespace Etc10012
{

/// A thread with a name, in a group. Derive from it, say in `run` what it does, make it with `new` and keep it
/// in a handle:
///
///     class Counter : public JTCThread
///     {
///     public:
///         using JTCThread::JTCThread;
///         void run() override { countTo(1000000); }
///     };
///
///     JTCHandleT<Counter> counter(new Counter(JTCInitialize::getTermGroup(), "counter"));
///     counter->start();
///     counter->join();
///
/// | state   | `start`                      | `join`               | `isAlive` | comes from                  |
/// |---------|------------------------------|----------------------|-----------|-----------------------------|
/// | new     | running                      | returns at once      | false     | construction, failed `start` |
/// | running | throws JTCIllegalThreadState | waits; own: throws   | true      | `start`, adoption           |
/// | ended   | throws JTCIllegalThreadState | returns at once      | false     | end of `run` or of adoption |
///
/// All operations may be called from any thread. The library holds a reference of its own from `start` until
/// `run` has ended, so the handle that started a thread may go. When the library's reference is the last one,
/// the destructor runs on the thread itself, where `currentThread()` is null by then.
///
/// Objects on the stack, or as members, are not possible: they would be deleted at the end of `run`.
class ETC_EXPORT JTCThread : public virtual JTCRefCount
{
public:
    /// An empty group handle stands for the group of `JTCInitialize`; where there is none either, throws
    /// `JTCNotInitialized`. A null or empty name is replaced by "thread-" and a number. The name is also what
    /// debuggers and system tools show, on Linux its first 15 bytes.
    JTCThread(JTCHandleT<JTCThreadGroup>& group, const char* name);
    JTCThread(JTCHandleT<JTCThreadGroup>&& group, const char* name);

protected:
    ~JTCThread() override;

public:
    /// What the thread does; as it stands, nothing. It ends by returning. An exception that leaves it ends
    /// this thread only: one line on standard error tells the thread's name and the exception's text, and the
    /// exception is kept for `uncaughtException`.
    virtual void run();

    /// Runs `run` on a new thread. Throws `JTCIllegalThreadState` when the thread was started before, also when
    /// it has ended, and `JTCSystemFailure` when the system makes no thread; then it can be tried again.
    void start();

    /// Waits until the thread has ended and the library has released its reference; what the thread wrote is
    /// visible then. Any number of threads may wait. Returns at once when the thread was not started. Throws
    /// `JTCIllegalThreadState` when a thread waits for itself in `run`.
    void join();

    /// As `join()`, for `milliseconds` at the most: false when the thread was still running then. With 0 or
    /// less it only looks.
    bool join(long milliseconds);

    /// True from `start` until `run` has ended.
    bool isAlive() const noexcept;

    /// The exception that left `run`, or null. It is there when the thread has ended.
    std::exception_ptr uncaughtException() const;

    const std::string& getName() const noexcept;
    JTCHandleT<JTCThreadGroup> getGroup() const noexcept;

    /// The object of the calling thread, or null for one that neither this library made nor
    /// `JTCAdoptCurrentThread` adopted. Good until the end of `run` or of the adoption; put it into a handle
    /// to keep it longer.
    static JTCThread* currentThread() noexcept;

private:
    friend class JTCAdoptCurrentThread;
    struct Record;

    static void entry(JTCThread* thread) noexcept;
    void undoStart() noexcept;
    void runAndKeepException() noexcept;

    std::shared_ptr<Record> m_record;
};

} // namespace Etc10012
