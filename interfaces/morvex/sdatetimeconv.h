#pragma once

/// @file
/// Moments to and from what the operating system and other libraries keep time in. Every function may be called on any
/// thread; none uses a buffer shared with another. Without a zone, the machine's is meant: `STimeZone::TZ_Local()`.
///
/// Null and an invalid moment are reported as an assertion and give an invalid moment, false, or what is told below.

#include "morvex/export.h"
#include "morvex/sdatetime.h"
#include "morvex/sstring.h"
#include "morvex/variant.h"

#include <ctime>

namespace MorvexA106
{

/// The C library's seconds. They are turned into wall-clock fields by the system's zone and the fields read in the
/// given one: only with the machine's zone this is the same moment, and an hour that the machine's clock goes through
/// twice is read as one of the two. -1, which says failure, gives an invalid moment: 23:59:59 UTC on 31 December
/// 1969 can't be had, and on the way back it looks like a failure. So does a time that the C library can't
/// turn: on Windows all before 1970. `GetTimePoint` and the constructor from a point of `std::chrono` have no such gaps.
MORVEX_EXPORT SDateTime sicTime_tToSDateTime(long time, const STimeZone& zone);
MORVEX_EXPORT SDateTime sicTime_tToSDateTime(long time);

/// The way back by `mktime`: -1 for an invalid moment, and for one that the C library or a `long` can't hold: on
/// Windows from 19 January 2038 on.
MORVEX_EXPORT long sicSDateTimeToTime_t(const SDateTime& moment, const STimeZone& zone);
MORVEX_EXPORT long sicSDateTimeToTime_t(const SDateTime& moment);

/// Broken-down time of the zone. Only year, month, day, hour, minute and second are read, and a leap second is refused
/// like any field out of range.
MORVEX_EXPORT SDateTime sicTmToSDateTime(const std::tm* pTm, const STimeZone& zone);
MORVEX_EXPORT SDateTime sicTmToSDateTime(const std::tm* pTm);

/// Fills in the day of the week and of the year too, and leaves it to the C library (-1) whether there is daylight
/// saving time. The milliseconds are lost. False leaves the target as it was.
MORVEX_EXPORT bool sicSDateTimeToTm(const SDateTime& moment, std::tm* pTm, const STimeZone& zone);
MORVEX_EXPORT bool sicSDateTimeToTm(const SDateTime& moment, std::tm* pTm);

/// The day of the week is not read. False, with the target as it was, also for a year that 16 bits can't hold:
/// before 1 and after 65535.
MORVEX_EXPORT SDateTime sicSYSTEMTIMEToSDateTime(const SYSTEMTIME* pSystemTime, const STimeZone& zone);
MORVEX_EXPORT SDateTime sicSYSTEMTIMEToSDateTime(const SYSTEMTIME* pSystemTime);
MORVEX_EXPORT bool sicSDateTimeToSYSTEMTIME(const SDateTime& moment, SYSTEMTIME* pSystemTime,
                                            const STimeZone& zone);
MORVEX_EXPORT bool sicSDateTimeToSYSTEMTIME(const SDateTime& moment, SYSTEMTIME* pSystemTime);

/// The date of OLE automation: days since 30 December 1899 of the zone's calendar, and behind the point the time of
/// day, which counts forwards for negative dates too.
///
/// | date    | is                     | date     | is                      |
/// |---------|------------------------|----------|-------------------------|
/// | 0       | 30 December 1899, 0:00 | 36526.25 | 1 January 2000, 6:00    |
/// | -1.25   | 29 December 1899, 6:00 | -0.25    | the same as 0.25        |
///
/// Read to the nearest millisecond, which may be the next midnight. What is no number, or outside of the years 100 to
/// 9999 (above -657435 and below 2958466), gives an invalid moment with an assertion; on the way back it is no number.
MORVEX_EXPORT SDateTime sicDATEToSDateTime(double date, const STimeZone& zone);
MORVEX_EXPORT SDateTime sicDATEToSDateTime(double date);
MORVEX_EXPORT double sicSDateTimeToDATE(const SDateTime& moment, const STimeZone& zone);
MORVEX_EXPORT double sicSDateTimeToDATE(const SDateTime& moment);

/// A date of the zone as "yyyy-MM-dd HH:mm:ss" in UTC; of an invalid one the literal text is left.
MORVEX_EXPORT SAnsiString sicDATEToUTCString(double date, const STimeZone& zone);
MORVEX_EXPORT SAnsiString sicDATEToUTCString(double date);

/// The fields of a variant's date as they stand in it, whatever zone they are of, as "yyyy-MM-dd HH:mm:ss". Taken is
/// `VT_DATE`, with its value in the variant or, with `VT_BYREF`, where that points. Everything else, null
/// and a date out of range too, is reported as an assertion and gives an empty text.
MORVEX_EXPORT SAnsiString sicVariantDateToSString(const VARIANT& variant);

} // namespace MorvexA106
