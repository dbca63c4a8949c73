#include "morvex/conversioninput.h"
#include "morvex/sdatetimeconv.h"
#include "morvex/stimezone.h"

#include <cstring>
#include <limits>

namespace MorvexA106
{

// On Windows the system's structure is known here by its published layout alone, and so it is copied, not read.

SDateTime sicSYSTEMTIMEToSDateTime(const SYSTEMTIME* pSystemTime, const STimeZone& zone)
{
    MORVEX_CHECK_INPUT(pSystemTime != nullptr);
    if (pSystemTime == nullptr) {
        return {};
    }
    SSystemTime fields{};
    std::memcpy(&fields, static_cast<const void*>(pSystemTime), sizeof(fields));
    return SDateTime(fields.wYear, fields.wMonth, fields.wDay, fields.wHour, fields.wMinute, fields.wSecond,
                     fields.wMilliseconds, zone);
}

SDateTime sicSYSTEMTIMEToSDateTime(const SYSTEMTIME* pSystemTime)
{
    return sicSYSTEMTIMEToSDateTime(pSystemTime, STimeZone::TZ_Local());
}

bool sicSDateTimeToSYSTEMTIME(const SDateTime& moment, SYSTEMTIME* pSystemTime, const STimeZone& zone)
{
    MORVEX_CHECK_INPUT(pSystemTime != nullptr && moment.IsValid());
    if (pSystemTime == nullptr || !moment.IsValid()) {
        return false;
    }
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
    moment.GetDateTime(year, month, day, hour, minute, second, millisecond, zone);
    if (year < 1 || year > std::numeric_limits<unsigned short>::max()) {
        MORVEX_FAIL("a year that SYSTEMTIME can't hold");
        return false;
    }
    const auto narrow = [](int field) { return static_cast<unsigned short>(field); };
    const SSystemTime fields = {
        narrow(year),   narrow(month),      narrow(SDate(year, month, day).GetDayOfWeek()),
        narrow(day),    narrow(hour),       narrow(minute),
        narrow(second), narrow(millisecond)};
    std::memcpy(static_cast<void*>(pSystemTime), &fields, sizeof(fields));
    return true;
}

bool sicSDateTimeToSYSTEMTIME(const SDateTime& moment, SYSTEMTIME* pSystemTime)
{
    return sicSDateTimeToSYSTEMTIME(moment, pSystemTime, STimeZone::TZ_Local());
}

} // namespace MorvexA106
