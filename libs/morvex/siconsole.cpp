#include "morvex/siconsole.h"

#include "morvex/siserverexception.h"

#include <etc/initialize.h>
#include <etc/thread.h>

#include <array>
#include <exception>
#include <iostream>
#include <string>
#include <utility>

namespace MorvexA106
{

using Etc10012::JTCHandleT;
using Etc10012::JTCInitialize;
using Etc10012::JTCThread;

namespace
{

// Runs the server and keeps what came of it.
class Runner : public JTCThread
{
public:
    explicit Runner(CSmartRefCountPtr<SIServer> server)
        : JTCThread(JTCInitialize::getTermGroup(), "serverrun"),
          m_server(std::move(server))
    {}

    void run() override
    {
        try {
            m_ranWell = m_server->run(SIServer::asProgram);
        } catch (...) {
            m_problem = std::current_exception();
        }
    }

    // Both are there when the thread has ended.
    bool ranWell() const noexcept { return m_ranWell; }
    std::exception_ptr problem() const noexcept { return m_problem; }

private:
    CSmartRefCountPtr<SIServer> m_server;
    std::exception_ptr m_problem;
    bool m_ranWell = false;
};

SAnsiString textOf(const std::exception_ptr& problem)
{
    try {
        std::rethrow_exception(problem);
    } catch (const SIServerException& known) {
        return known.toString();
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return "unknown exception";
    }
}

} // namespace

// The server's thread for the life of the console.
class SIConsole::ServerThread
{
public:
    explicit ServerThread(const CSmartRefCountPtr<SIServer>& server)
        : m_server(server),
          m_runner(new Runner(server))
    {
        m_runner->start();
    }

    ~ServerThread() { end(); }
    ServerThread(const ServerThread&) = delete;
    ServerThread& operator=(const ServerThread&) = delete;

    void end()
    {
        if (!std::exchange(m_asked, true)) {
            m_server->stop();
        }
        m_runner->join();
    }

    bool outcome()
    {
        end();
        if (m_runner->problem()) {
            std::rethrow_exception(m_runner->problem());
        }
        return m_runner->ranWell();
    }

    SAnsiString state()
    {
        if (m_runner->isAlive()) {
            return "The server is running.";
        }
        m_runner->join();
        if (m_runner->problem()) {
            return SAnsiString("The server has failed: ") + textOf(m_runner->problem());
        }
        return m_runner->ranWell() ? "The server has ended." : "The server has ended with a failure.";
    }

private:
    CSmartRefCountPtr<SIServer> m_server;
    JTCHandleT<Runner> m_runner;
    bool m_asked = false;
};

SIConsole::SIConsole(CSmartRefCountPtr<SIServer> server) : SIConsole(std::move(server), std::cin, std::cout)
{}

SIConsole::SIConsole(CSmartRefCountPtr<SIServer> server, std::istream& commands, std::ostream& answers)
    : m_server(std::move(server)),
      m_commands(commands),
      m_answers(answers)
{}

SIConsole::~SIConsole() = default;

const std::array<SIConsole::Command, 4> SIConsole::commandTable = {{
    {"status", "tells how the server is", &SIConsole::tellStatus},
    {"stop", "stops the server", &SIConsole::stopServer},
    {"quit", "stops the server and ends", &SIConsole::quit},
    {"help", "tells this", &SIConsole::tellHelp},
}};

bool SIConsole::run()
{
    ServerThread server(m_server);
    m_answers << "Type help for the commands." << std::endl;
    std::string line;
    while (std::getline(m_commands, line) && obey(SAnsiString(line.c_str()), server)) {}
    return server.outcome();
}

bool SIConsole::obey(SAnsiString command, ServerThread& server)
{
    command.trim();
    if (command.isEmpty()) {
        return true;
    }
    for (const Command& known : commandTable) {
        if (command.compareNoCase(known.name) == 0) {
            return (this->*known.action)(server);
        }
    }
    m_answers << "There is no command \"" << command.getString() << "\". Type help for the commands."
              << std::endl;
    return true;
}

bool SIConsole::tellStatus(ServerThread& server)
{
    m_answers << server.state().getString() << std::endl;
    const SAnsiString details = m_server->getStatusText();
    if (!details.isEmpty()) {
        m_answers << details.getString() << std::endl;
    }
    return true;
}

bool SIConsole::stopServer(ServerThread& server)
{
    server.end();
    m_answers << server.state().getString() << std::endl;
    return true;
}

bool SIConsole::quit(ServerThread&)
{
    return false;
}

bool SIConsole::tellHelp(ServerThread&)
{
    for (const Command& known : commandTable) {
        m_answers << known.name << ": " << known.help << '\n';
    }
    m_answers << std::flush;
    return true;
}

} // namespace MorvexA106
