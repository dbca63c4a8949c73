#pragma once

#include <morvex/sstring.h>

#include <set>
#include <string>
#include <vector>

namespace Outbox
{

/// Remembers what is in disorder, so that each thing is told once for as long as it lasts, however often it is
/// met.
class TroubleBook
{
public:
    /// Writes down what was met in this round.
    void note(const MorvexA106::SAnsiString& text);

    /// Ends the round. Gives what was met for the first time; what was met before and not in this round is over.
    std::vector<std::string> endRound();

    /// Whether the last round met anything.
    bool isEmpty() const { return m_known.empty(); }

private:
    std::set<std::string> m_known;
    std::set<std::string> m_met;
};

} // namespace Outbox
