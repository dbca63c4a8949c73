#include "troublebook.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Outbox
{

void TroubleBook::note(const MorvexA106::SAnsiString& text)
{
    m_met.emplace(text.view());
}

std::vector<std::string> TroubleBook::endRound()
{
    std::vector<std::string> fresh;
    std::set_difference(m_met.begin(), m_met.end(), m_known.begin(), m_known.end(),
                        std::back_inserter(fresh));
    m_known = std::exchange(m_met, {});
    return fresh;
}

} // namespace Outbox
