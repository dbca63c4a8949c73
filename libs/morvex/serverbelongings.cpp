#include "morvex/serverbelongings.h"

#include "morvex/resourcetexts.h"
#include "morvex/siserverexception.h"

#include <etc/adopt.h>

#include <string>
#include <system_error>

namespace MorvexA106
{

using Etc10012::JTCAdoptCurrentThread;

namespace
{

SAnsiString textOf(const std::system_error& problem)
{
    const std::string text =
        std::string(problem.what()) + " (" + std::to_string(problem.code().value()) + ")";
    return SAnsiString(text.c_str());
}

} // namespace

void ServerBelongings::takePidFile(const CParamLineArgs& arguments)
{
    SAnsiString path;
    if (!arguments.Lookup("pidfile", path)) {
        return;
    }
    if (path.isEmpty()) {
        throw SIServerException(SIServerException::badCommandLine, "The option pidfile needs a path.");
    }
    try {
        m_pidFile.emplace(path.getString());
    } catch (const Platform::PidFileInUse& holder) {
        throw SIServerException(
            SIServerException::pidFileFailed,
            filledMessage("The pid file \"%1\" is held by a running process (%2).", path, holder.what()));
    } catch (const std::system_error& problem) {
        throw SIServerException(
            SIServerException::pidFileFailed,
            filledMessage("The pid file \"%1\" can't be made: %2.", path, textOf(problem)));
    }
}

void ServerBelongings::listen(void (*asked)())
{
    try {
        m_signals.emplace([asked] {
            const JTCAdoptCurrentThread adopted;
            asked();
        });
    } catch (const std::system_error& problem) {
        throw SIServerException(SIServerException::noResources,
                                filledMessage("Requests to end can't be listened to: %1.", textOf(problem)));
    }
}

void ServerBelongings::release() noexcept
{
    m_pidFile.reset();
    m_signals.reset();
}

} // namespace MorvexA106
