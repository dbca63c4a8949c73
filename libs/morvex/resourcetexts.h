#pragma once

/// @file
/// The texts of the messages that go to the log by number.

#include "morvex/export.h"
#include "morvex/messageformat.h"
#include "morvex/sstring.h"

#include <array>

namespace MorvexA106
{

enum ResourceText : unsigned long
{
    unknownReason = 0xB090,
    noServerGiven = 0xB098,
    serverFailed = 0xB09B,   ///< %1: the reason
    serverStarting = 0xB09D, ///< %1: the service's name
    serverEnding = 0xB09E    ///< %1: the service's name
};

/// The text with its markers (see messageformat.h); empty for a number without one.
MORVEX_EXPORT const char* resourceText(unsigned long number) noexcept;

/// A message with its markers replaced, as by `replaceMarkers`.
template <class... Values>
SAnsiString filledMessage(const char* message, const Values&... values)
{
    const std::array<SAnsiString, sizeof...(values)> list = {SAnsiString(values)...};
    return replaceMarkers(message, list);
}

} // namespace MorvexA106
