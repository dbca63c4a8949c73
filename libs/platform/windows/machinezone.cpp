#include "platform/machinezone.h"

#include <windows.h>

#include <cwchar>

namespace MorvexA106::Platform
{

namespace
{

/// In the process's code page, as all text of the library; characters that it lacks become its default character.
std::string nameOf(const WCHAR (&name)[32])
{
    // A name of full length has no terminator.
    const int units = static_cast<int>(wcsnlen(name, 32));
    std::string bytes(units * 4u, '\0');
    const int count = WideCharToMultiByte(CP_ACP, 0, name, units, bytes.data(),
                                          static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

/// The last millisecond before midnight is how these settings say midnight: nearer to the next minute is that one.
ZoneChange changeOf(const SYSTEMTIME& date) noexcept
{
    const int minutes = date.wHour * 60 + date.wMinute + (date.wSecond >= 30 ? 1 : 0);
    return {date.wYear, date.wMonth, date.wDayOfWeek, date.wDay, minutes};
}

} // namespace

MachineZone machineZone()
{
    TIME_ZONE_INFORMATION zone{};
    if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) {
        return std::monostate();
    }
    return ZoneSettings{nameOf(zone.StandardName),   zone.Bias + zone.StandardBias,
                        nameOf(zone.DaylightName),   zone.Bias + zone.DaylightBias,
                        changeOf(zone.DaylightDate), changeOf(zone.StandardDate)};
}

} // namespace MorvexA106::Platform
