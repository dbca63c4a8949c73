// A server for tests of the whole process. It tells each phase on standard output, and goes wrong as asked:
//
// -initfalse        initialize returns false
// -initthrow TEXT   initialize throws SIServerException
// -runthrow         run throws what nobody knows
// -uninitthrow      uninitialize throws what nobody knows
// -status N         the server's status
// -deaf             stop does not end run

#include "morvex/siservercontroller.h"

#include <cstdlib>
#include <future>
#include <iostream>
#include <stdexcept>

using namespace MorvexA106;

namespace
{

class TalkingServer : public SIServer
{
public:
    bool initialize() override
    {
        // The thread sanitizer loses a signal that meets a thread in its first wait: let that be over.
        sleepUntilStop(1);
        std::cout << "initialize" << std::endl;
        SAnsiString value;
        if (getServerStartupParam().Lookup("initthrow", value)) {
            throw SIServerException(SIServerException::firstOfServer, value);
        }
        if (getServerStartupParam().Lookup("status", value)) {
            setStatus(std::atoi(value));
        }
        return !isAsked("initfalse");
    }

    bool run(int) override
    {
        std::cout << "run" << std::endl;
        if (isAsked("runthrow")) {
            throw std::runtime_error("run was told to fail");
        }
        if (isAsked("deaf")) {
            std::promise<void>().get_future().wait();
        }
        sleepUntilStop(-1);
        return true;
    }

    void uninitialize() override
    {
        std::cout << "uninitialize" << std::endl;
        if (isAsked("uninitthrow")) {
            throw std::runtime_error("uninitialize was told to fail");
        }
    }

    SAnsiString getStatusText() override { return "as ever"; }

private:
    bool isAsked(const char* option)
    {
        SAnsiString value;
        return getServerStartupParam().Lookup(option, value);
    }
};

} // namespace

int main(int argc, char** argv)
{
    SIServerController controller("fgserver", "Server for tests", "Tells its phases", new TalkingServer);
    return controller.run(argc, argv);
}
