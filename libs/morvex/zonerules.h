#pragma once

/// @file
/// Rules of time zones and their text form. Pure functions.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/stimezone.h"

#include <optional>

namespace MorvexA106
{

/// What was read of a zone. The fields always make a zone; where they say less than their source did, or the source
/// could not be read, `problem` tells so.
struct MORVEX_EXPORT ZoneRules
{
    using Fields = STimeZone::Fields;
    using Change = STimeZone::Change;
    using Changes = STimeZone::Changes;

    /// When a change comes: minutes that count from midnight of a weekday, and may be negative.
    struct Timing
    {
        int month = 1;
        int week = 1;
        int dayOfWeek = 0;
        int minutes = 0;
    };

    Fields fields = utc();
    const char* problem = nullptr;

    static Fields utc();

    /// A rule text that is no rule is UTC, with a problem.
    static ZoneRules fromText(const SAnsiString& text);
    static SAnsiString textOf(const Fields& fields);

    /// The change with its minutes in 0 to 59 and its hours in 0 to 255, on an earlier day where it must be.
    /// Nothing when month, week or day are none, and when no weekday and hour mean the same in every year.
    static std::optional<Change> changeAt(const Timing& timing) noexcept;
};

} // namespace MorvexA106
