#pragma once

/// @file
/// The console of a server process.

#include "morvex/export.h"
#include "morvex/refcount.h"
#include "morvex/siserver.h"
#include "morvex/sstring.h"

#include <array>
#include <iosfwd>

namespace MorvexA106
{

/// Runs a server on a thread of its own and reads commands, a line each, until "quit" or the end of input.
/// `SIServerController` makes one under `serverconsole`; the server is initialised by then.
///
/// | command  | effect                                                                       |
/// |----------|------------------------------------------------------------------------------|
/// | `status` | tells whether the server runs, and what `SIServer::getStatusText` says       |
/// | `stop`   | stops the server and waits until it has ended; the console goes on           |
/// | `quit`   | stops the server and ends the console                                        |
/// | `help`   | lists the commands                                                           |
///
/// Case and white space around a command don't count, an empty line is nothing, and another command is
/// answered with a hint. A server that ends by itself doesn't end the console.
///
///     Etc10012::JTCInitialize threads;
///     std::istringstream commands("status\nquit\n");
///     SIConsole(server, commands, std::cout).run();
class MORVEX_EXPORT SIConsole
{
public:
    /// On standard input and output.
    explicit SIConsole(CSmartRefCountPtr<SIServer> server);

    /// On streams that outlive the console.
    SIConsole(CSmartRefCountPtr<SIServer> server, std::istream& commands, std::ostream& answers);
    SIConsole(const SIConsole&) = delete;
    SIConsole& operator=(const SIConsole&) = delete;
    virtual ~SIConsole();

    /// Reads and obeys, and returns when the server has ended: what its `run` returned. An exception that
    /// left the server's `run` is thrown on from here, at the end of the commands. Throws
    /// `Etc10012::JTCException` when there can be no thread.
    virtual bool run();

private:
    class ServerThread;

    // Whether the console goes on.
    using Action = bool (SIConsole::*)(ServerThread& server);

    struct Command
    {
        const char* name;
        const char* help;
        Action action;
    };

    static const std::array<Command, 4> commandTable;

    bool obey(SAnsiString command, ServerThread& server);
    bool tellStatus(ServerThread& server);
    bool stopServer(ServerThread& server);
    bool quit(ServerThread& server);
    bool tellHelp(ServerThread& server);

    CSmartRefCountPtr<SIServer> m_server;
    std::istream& m_commands;
    std::ostream& m_answers;
};

} // namespace MorvexA106
