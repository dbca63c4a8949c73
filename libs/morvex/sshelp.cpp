#include "morvex/sshelp.h"

#include "morvex/resourcetexts.h"
#include "morvex/sresstring.h"

namespace MorvexA106
{

SAnsiString SSHelp::GetTopicAddress(unsigned long topic)
{
    return SResString::Load(helpAddress, topic);
}

} // namespace MorvexA106
