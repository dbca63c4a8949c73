#pragma once

/// @file
/// Where topics of the help are found.

#include "morvex/export.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// Addresses of help topics. What stands before and behind a topic's number is the message 0xB0E0, "help/%1.html"
/// unless a source of `SResManager` has another, which is how a suite names the place of its help, a language's too:
///
///     0xB0E0 = https://help.example.com/de/topic-%1.html
///
///     SAnsiString address = SSHelp::GetTopicAddress(47001);
class MORVEX_EXPORT SSHelp
{
public:
    SSHelp() = delete;

    /// The number is decimal. Whether there is such a topic is not asked. Any thread may call. Throws "bad
    /// allocation".
    static SAnsiString GetTopicAddress(unsigned long topic);
};

} // namespace MorvexA106
