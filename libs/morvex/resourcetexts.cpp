#include "morvex/resourcetexts.h"

#include <algorithm>
#include <array>

namespace MorvexA106
{

namespace
{

struct Entry
{
    unsigned long number;
    const char* text;
};

constexpr std::array<Entry, 5> entries = {{
    {unknownReason, "an exception of an unknown kind"},
    {noServerGiven, "The server controller was given no server."},
    {serverFailed, "The server failed: %1."},
    {serverStarting, "%1 is starting."},
    {serverEnding, "%1 ends after a failure."},
}};

} // namespace

const char* resourceText(unsigned long number) noexcept
{
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [number](const Entry& entry) { return entry.number == number; });
    return found == entries.end() ? "" : found->text;
}

} // namespace MorvexA106
