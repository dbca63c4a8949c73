#pragma once

#include <functional>
#include <memory>

namespace MorvexA106::Platform
{

/// Listens, while it lives, to those outside who ask the process to end. There is one listener at a time.
///
/// POSIX: SIGINT, SIGTERM, and SIGHUP unless it was ignored before (then `nohup` was meant). It makes no
/// difference how many threads there are and whether they block the signals.
///
/// Windows: Ctrl-C, Ctrl-Break, and the end of the console, of the session and of the system; after one of
/// the latter three the system ends the process after a few seconds, whatever it does.
///
/// A Ctrl-C that `StopRequests` calls impatient ends the process at once by the system's own handling.
class StopSignals
{
public:
    /// `asked` is called for each request on a thread that is neither the caller's nor the threading
    /// library's; an ordinary one, so it may take locks. It returns soon and throws nothing.
    ///
    /// Throws `std::system_error` when the system refuses, and with `EBUSY` when a listener is there.
    explicit StopSignals(std::function<void()> asked);

    /// The former handling is back, and `asked` is not called any more.
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    class Listener;

    std::unique_ptr<Listener> m_listener;
};

} // namespace MorvexA106::Platform
