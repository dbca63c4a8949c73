#include "morvex/sresstring.h"

#include "morvex/messageformat.h"
#include "morvex/sresmanager.h"

namespace MorvexA106
{

SResString::SResString(const SAnsiString& message, char marker, std::span<const SAnsiString> values)
    : SAnsiString(replaceMarkers(message, values, {marker, true}))
{}

SAnsiString SResString::messageOf(unsigned long number)
{
    return SResManager::LoadStringA(number);
}

} // namespace MorvexA106
