#pragma once

/// @file
/// What the machine says of its time zone, in the form in which the system keeps it.

#include <string>
#include <variant>

namespace MorvexA106::Platform
{

/// A yearly change. With a year it is that one date, and `day` is the day of the month; without one (0) `day` is
/// the week, 5 for the last.
struct ZoneChange
{
    int year = 0;
    int month = 0;
    int dayOfWeek = 0;
    int day = 0;
    int minutes = 0;
};

/// Offsets in minutes, positive west of Greenwich. The change to daylight time is in standard time and the change
/// back in daylight time. No month: no daylight time.
struct ZoneSettings
{
    std::string standardName;
    long standardOffset = 0;
    std::string daylightName;
    long daylightOffset = 0;
    ZoneChange start;
    ZoneChange end;
};

/// A zone's rule as the environment states it.
struct ZoneText
{
    std::string text;
};

/// The content of a compiled zone file.
struct ZoneFile
{
    std::string bytes;
};

/// The first where the system tells nothing: the machine runs on UTC.
using MachineZone = std::variant<std::monostate, ZoneSettings, ZoneText, ZoneFile>;

/// Reads the machine's zone anew. Throws what running out of memory throws.
///
/// POSIX: as the environment's `TZ` has it, with or without a colon in front: the name of a file, in the folder of
/// zones (`TZDIR`, else the system's) where it is no full path; what names no file is a text. Empty is UTC. Without
/// `TZ` it is what `/etc/localtime` holds. What is no regular file of at most 1 MiB is not read.
///
/// Windows: the settings of the control panel; `TZ` counts for nothing.
MachineZone machineZone();

} // namespace MorvexA106::Platform
