#pragma once

/// @file
/// Zones as others write them down: the rules of POSIX, compiled zone files, and the settings of a machine.

#include "morvex/export.h"
#include "morvex/zonerules.h"
#include "platform/machinezone.h"

#include <cstdint>
#include <string_view>

namespace MorvexA106::ZoneSources
{

/// A rule of POSIX (IEEE 1003.1, chapter 8.3, with the hours of RFC 8536, chapter 3.3.1). The year of `now` is the one
/// that a change on a fixed date is taken from.
///
/// | text                          | rules                                                             |
/// |-------------------------------|-------------------------------------------------------------------|
/// | `CET-1CEST,M3.5.0,M10.5.0/3`  | `CET,-60,CEST,-120;3.5.0/02:00,10.5.0/03:00`                      |
/// | `<-02>2<-01>,M3.5.0/-1,M10.5.0/0` | `-02,120,-01,60;3.4.4/71:00,10.5.0/00:00`                     |
/// | `EST5EDT`                     | as `EST5EDT,M3.2.0,M11.1.0`                                       |
/// | `UTC`, `GMT`                  | that name with no offset                                          |
/// | `X0Y,J60,J300`                | the weekdays of 1 March and 27 October this year, with a problem  |
/// | others                        | UTC, with a problem                                               |
MORVEX_EXPORT ZoneRules fromPosix(std::string_view text, std::int64_t now);

/// A compiled zone file (RFC 8536), of any version: the rule at its end, else the offset in force at `now`. What is
/// no such file is UTC, with a problem.
MORVEX_EXPORT ZoneRules fromFile(std::string_view bytes, std::int64_t now);

MORVEX_EXPORT ZoneRules fromSettings(const Platform::ZoneSettings& settings);

/// The machine's zone as it is now.
ZoneRules fromMachine();

} // namespace MorvexA106::ZoneSources
