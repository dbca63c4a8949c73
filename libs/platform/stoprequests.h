#pragma once

#include <chrono>
#include <optional>

namespace MorvexA106::Platform
{

/// Tells a request to end in order from impatience with one: a Ctrl-C that comes long after the first request
/// means that the orderly way hangs. What comes sooner may be the same request twice, since a terminal sends
/// a Ctrl-C to a script and to the server that it started, and the script passes it on.
///
/// | request | from                     | `isImpatient` |
/// |---------|--------------------------|---------------|
/// | first   | anybody                  | false         |
/// | later   | Ctrl-C, 2 s later or less | false        |
/// | later   | Ctrl-C, more than 2 s later | true       |
/// | later   | anybody else             | false         |
class StopRequests
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds patience{2};

    /// Takes note of one request.
    bool isImpatient(bool byCtrlC, Clock::time_point now)
    {
        if (!m_first) {
            m_first = now;
        }
        return byCtrlC && now - *m_first > patience;
    }

private:
    std::optional<Clock::time_point> m_first;
};

} // namespace MorvexA106::Platform
