#include "outboxserver.h"

#include "failures.h"

#include <morvex/sfileexception.h>
#include <morvex/sfilesys.h>
#include <morvex/siserverexception.h>

#include <algorithm>
#include <charconv>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

constexpr const char* usage = "usage: outbox -fg -from DROP -to TARGET [-interval MS] [-pidfile PATH], or "
                              "-serverconsole in place of -fg";

constexpr long defaultInterval = 200;
constexpr long shortestInterval = 10;
constexpr long longestInterval = 3600000;

// Then it looks all the same, and would tell that the target is away.
constexpr long longestIdleness = 60000;

[[noreturn]] void refuse(const SAnsiString& reason)
{
    throw SIServerException(SIServerException::toldToUser, reason);
}

} // namespace

bool OutboxServer::initialize()
{
    const SAnsiString from = folderOption("from");
    const SAnsiString to = folderOption("to");
    const long interval = intervalOption();
    try {
        m_agent.emplace(from, to, interval, m_report);
        m_agent->open();
        m_watch.open(from);
    } catch (const Trouble& trouble) {
        refuse(trouble.text);
    } catch (const SFileException& failure) {
        refuse(failure.toString());
    } catch (const SFileSysException& failure) {
        refuse(failure.toString());
    }
    return true;
}

bool OutboxServer::run(int)
{
    long wait = 0;
    while (!sleepUntilStop(wait)) {
        wait = m_agent->round();
        if (m_agent->isIdle() && m_watch.isReliable()) {
            m_watch.waitForFile(std::max(wait, longestIdleness));
            wait = 0;
        }
    }
    return true;
}

void OutboxServer::stop()
{
    SIServer::stop();
    m_watch.stop();
}

void OutboxServer::uninitialize()
{
    m_agent->close();
}

SAnsiString OutboxServer::folderOption(const char* name)
{
    SAnsiString folder;
    if (!getServerStartupParam().Lookup(name, folder) || folder.isEmpty()) {
        refuse(SAnsiString("The option -") + name + " needs a folder.\n" + usage);
    }
    return SFileSys::getFullPath(folder);
}

long OutboxServer::intervalOption()
{
    SAnsiString text;
    if (!getServerStartupParam().Lookup("interval", text)) {
        return defaultInterval;
    }
    long interval = 0;
    const char* end = text.getString() + text.view().size();
    const auto [rest, error] = std::from_chars(text.getString(), end, interval);
    if (error != std::errc() || rest != end || interval < shortestInterval || interval > longestInterval) {
        refuse(SAnsiString("The option -interval takes 10 to 3600000 milliseconds.\n") + usage);
    }
    return interval;
}

} // namespace Outbox
