#pragma once

/// @file
/// What a server process takes of the system. Not installed.

#include "morvex/paramlineargs.h"
#include "platform/pidfile.h"
#include "platform/stopsignals.h"

#include <optional>

namespace MorvexA106
{

/// The pid file and the signals of a server process, each taken where its mode asks for it. What the system
/// refuses is thrown as `SIServerException`.
class ServerBelongings
{
public:
    /// Does nothing without the option `pidfile`.
    void takePidFile(const CParamLineArgs& arguments);

    /// `asked` is called on an adopted thread when somebody asks the process to end.
    void listen(void (*asked)());

    /// Gives all back. The signals go last, so that none cuts off the end.
    void release() noexcept;

private:
    std::optional<Platform::StopSignals> m_signals;
    std::optional<Platform::PidFile> m_pidFile;
};

} // namespace MorvexA106
