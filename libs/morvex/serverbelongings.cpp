#include "morvex/serverbelongings.h"

#include "morvex/resourcetexts.h"
#include "morvex/siserverexception.h"
#include "morvex/sresstring.h"

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
        throw SIServerException(SIServerException::badCommandLine, SResString::Load(pidFileNeedsPath));
    }
    try {
        m_pidFile.emplace(path.getString());
    } catch (const Platform::PidFileInUse& holder) {
        throw SIServerException(SIServerException::pidFileFailed,
                                SResString::Load(pidFileHeld, path, holder.what()));
    } catch (const std::system_error& problem) {
        throw SIServerException(SIServerException::pidFileFailed,
                                SResString::Load(pidFileNotMade, path, textOf(problem)));
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
                                SResString::Load(notListening, textOf(problem)));
    }
}

void ServerBelongings::release() noexcept
{
    m_pidFile.reset();
    m_signals.reset();
}

} // namespace MorvexA106
