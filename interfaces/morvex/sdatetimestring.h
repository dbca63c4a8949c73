#pragma once

/// @file
/// The names in dates.

#include "morvex/export.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

class SDate;

/// The names that the formats of dates and times put in, of the locale that is in force on the calling thread when
/// they are asked for, and in its multibyte form. `SLocale` has the same names of any locale, and says more of each.
///
///     SDateTimeString::GetLongDay(0);    // "Sunday", "Sonntag", ...
///     SDateTimeString::GetShortMonth(8); // "Aug"
///
/// Any thread may call; none waits for another. Throws "bad allocation" only.
class MORVEX_EXPORT SDateTimeString
{
public:
    SDateTimeString() = delete;

    /// 0 to 6, Sunday to Saturday; anything else gives empty text.
    static SAnsiString GetShortDay(int day);
    static SAnsiString GetLongDay(int day);

    /// 1 to 12, January to December; anything else gives empty text.
    static SAnsiString GetShortMonth(int month);
    static SAnsiString GetLongMonth(int month);

    /// The mark of morning (true) or afternoon, empty where the locale has none; short is its first character, or
    /// all of it where the two begin alike.
    static SAnsiString GetShortAM(bool morning);
    static SAnsiString GetLongAM(bool morning);

    /// Empty for an invalid date.
    static SAnsiString GetEra(const SDate& date);
};

} // namespace MorvexA106
