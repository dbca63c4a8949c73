#pragma once

#include "events.h"

#include <morvex/siserver.h>

#include <cstddef>
#include <mutex>
#include <string>

namespace Outbox
{

/// Tells deliveries on standard output, a line each, failed files and trouble on standard error, and counts.
class ConsoleReport : public Events
{
public:
    /// The server outlives it, and its stop ends copies.
    explicit ConsoleReport(const MorvexA106::SIServer& server) : m_server(server) {}

    /// The counts since the start, and the latest trouble while there is any. On any thread.
    MorvexA106::SAnsiString statusText() const;

    bool stopRequested() override { return m_server.isStopRequested(); }
    void delivered(const MorvexA106::SAnsiString& name, const MorvexA106::SAnsiString& placedAs,
                   __int64 bytes) override;
    void failed(const MorvexA106::SAnsiString& name, const MorvexA106::SAnsiString& reason) override;
    void troubled(const MorvexA106::SAnsiString& text) override;
    void recovered() override;
    void waiting(std::size_t files) override;

private:
    const MorvexA106::SIServer& m_server;
    mutable std::mutex m_mutex; ///< guards what follows
    std::size_t m_waiting = 0;
    unsigned long m_delivered = 0;
    __int64 m_bytes = 0;
    unsigned long m_failed = 0;
    std::string m_trouble;
};

} // namespace Outbox
