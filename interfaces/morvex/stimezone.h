#pragma once

/// @file
/// Time zones: names, offsets from UTC, and the rules by which clocks change twice a year.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/stimespan.h"

namespace MorvexA106
{

class SDateTime;

/// One zone. Offsets are minutes, positive west of Greenwich: UTC is local time plus the offset.
///
///     const STimeZone zone("CET,-60,CEST,-120;3.5.0/02:00,10.5.0/03:00");
///     const STimeSpan offset = zone.UTCOffset(moment);  // of -120 minutes in July
///     if (STimeZone::TZ_Local().InDST(moment)) { ... }
///
/// A rule text is the standard name and offset, and for a zone with daylight time, the daylight name and offset,
/// and when that begins and ends:
///
/// | text                                         | zone                                                        |
/// |----------------------------------------------|-------------------------------------------------------------|
/// | `UTC,0`                                      | no daylight time                                            |
/// | `X,300,Y,240;4.1.0/02:00,10.5.0/02:00`       | from the first Sunday of April to the last one of October   |
/// | `X,-600,Y,-630;10.1.0/02:00,4.1.0/02:00`     | half an hour; the southern hemisphere: the end comes first  |
/// | `X,0,Y,-60;3.5.0/24:00,10.5.0/-1:00`         | Monday 0:00 behind, and Saturday 23:00 before that Sunday   |
///
/// A change is month (1 to 12) `.` week (1 to 4, 5 for the last) `.` day of the week (0 is Sunday) `/` hour `:`
/// minute (00 to 59). It begins daylight time by the clock that shows standard time, and ends it by the clock that
/// shows daylight time. Hours up to 255 go on into the days that follow; what comes before the day is kept as an
/// earlier day with more hours. A name ends at a comma, and holds any other character of the current locale.
///
/// What a zone can't say:
/// - changes on a fixed date: the constructor tells what becomes of them;
/// - more than two changes a year, as where daylight time is interrupted for a month of fasting;
/// - rules of other years: every year has the rules that the zone was made with;
/// - seconds in offsets and changes.
///
/// In February the last week is the one that ends by the 28th in every year. Rules go by the calendar year of the
/// moment in UTC, so a change within some hours of New Year may be missed for those hours. "Daylight time" is
/// what the second name stands for; in a zone that calls its winter time so (Dublin, by the machine's rules)
/// `InDST` is true in winter, and all offsets are right.
///
/// A zone never changes but by assignment; any thread may read one. To ask one takes some ten nanoseconds and no
/// memory.
class MORVEX_EXPORT STimeZone
{
public:
    /// A zone with the names "XST" and "XDT", where `useDST` says whether it has daylight time: one hour from the
    /// first Sunday of April at 2:00 to the last Sunday of October at 2:00.
    STimeZone(short offset, bool useDST);

    /// A zone from its rule text, or for empty text the machine's zone as it is now. Text that is no rule, or one
    /// whose changes can't be said (in January, before the year begins), is reported as an assertion, and gives
    /// the zone `UTC,0`.
    ///
    /// POSIX: the machine's zone is what `TZ` says, else `/etc/localtime`. `TZ` names a zone file ("Europe/Berlin",
    /// a full path, with or without a colon in front) or is a rule of POSIX ("CET-1CEST,M3.5.0,M10.5.0/3",
    /// "<+03>-3"). Of a file the rule that stands at its end is taken, and where it has none the offset in force
    /// now. A file or text that can't be read gives `UTC,0`, with an assertion. A change on a fixed date
    /// ("J60", "59") becomes the weekday and week that this date has this year, and is reported, as is an offset
    /// with seconds, which is rounded. Without a rule for daylight time in such a text, that of the United States
    /// holds, as in the system's library.
    ///
    /// Windows: the machine's zone is that of the system's settings. A change on a fixed date becomes its weekday
    /// and week.
    ///
    /// In both, a comma in a name becomes a blank.
    STimeZone(const SAnsiString& rules);

    STimeZone(const STimeZone&) = default;
    STimeZone& operator=(const STimeZone&) = default;

    /// Whether it is daylight time: from the very moment of its beginning, up to but without that of its end. An
    /// invalid moment is reported as an assertion, and is not.
    bool InDST(const SDateTime& moment) const;

    /// The offset now. A zone without daylight time does not look at the clock.
    STimeSpan UTCOffset() const;

    /// The offset at a moment; the standard one for an invalid moment.
    STimeSpan UTCOffset(const SDateTime& moment) const;

    /// The name that the zone's time has at a moment.
    SAnsiString GetName(const SDateTime& moment) const;

    /// The rule text of this zone; a zone made of it is the same. Hours of more than two digits are written out.
    SAnsiString GetRules() const;

    bool DSTEnabled() const noexcept { return m_fields.dstEnabled; }

    /// In minutes, positive west of Greenwich.
    short StandardOffset() const noexcept { return m_fields.standardOffset; }

    /// The zone `UTC,0`. Made at the first call, from any thread, and there until the process is gone, for static
    /// destructors too.
    static const STimeZone& TZ_UTC();

    /// The machine's zone as it was at the first call; it does not follow later changes. It lives as `TZ_UTC` does.
    static const STimeZone& TZ_Local();

private:
    friend class SDateTime;
    friend struct ZoneRules;

    /// One yearly change of the clock.
    struct Change
    {
        unsigned char month = 1;
        unsigned char week = 1;
        unsigned char dayOfWeek = 0;
        unsigned char hour = 0;
        unsigned char minute = 0;
    };

    struct Fields
    {
        SAnsiString standardName;
        short standardOffset = 0;
        SAnsiString daylightName;
        short daylightOffset = 0;
        bool dstEnabled = false;
        Change start;
        Change end;
    };

    /// The two changes in years that begin on 1 March, whose days have the same weekdays where that day has: minutes
    /// in UTC since its midnight. All changes fall on one of seven pairs of minutes then.
    struct Changes
    {
        int first[7] = {};
        int second[7] = {};
        bool isDaylightBetween = false;

        /// False where a change may come near the ends of a year, or the two near each other.
        bool isKnown = false;
    };

    explicit STimeZone(const Fields& fields);

    /// With `isUTC` false the moment holds what the zone's clocks show. The hour that the change to daylight time
    /// leaves out counts as standard time, and the one that the change back repeats as daylight time.
    bool InDST(const SDateTime& moment, bool isUTC) const;
    STimeSpan UTCOffset(const SDateTime& moment, bool isUTC) const;

    bool isInDaylight(const SDateTime& moment) const;

    Fields m_fields;
    Changes m_changes;
};

} // namespace MorvexA106
