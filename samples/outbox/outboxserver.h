#pragma once

#include "agent.h"
#include "consolereport.h"
#include "dropwatch.h"

#include <morvex/siserver.h>

#include <optional>

namespace Outbox
{

/// The server around `Agent`. Options: `-from DROP` and `-to TARGET`, folders that are there, and `-interval MS`,
/// 10 to 3600000, 200 when left out.
class OutboxServer : public MorvexA106::SIServer
{
public:
    /// Throws `SIServerException` with the reason.
    bool initialize() override;
    bool run(int mode) override;
    void stop() override;
    void uninitialize() override;
    MorvexA106::SAnsiString getStatusText() override { return m_report.statusText(); }

private:
    MorvexA106::SAnsiString folderOption(const char* name);
    long intervalOption();

    ConsoleReport m_report{*this};
    std::optional<Agent> m_agent;
    DropWatch m_watch;
};

} // namespace Outbox
