#include "morvex/checks.h"
#include "morvex/conversioninput.h"
#include "morvex/sdatetimeconv.h"
#include "morvex/stimezone.h"

#include "platform/calendarclock.h"

#include <limits>

namespace MorvexA106
{

namespace
{

constexpr int firstYearOfTm = 1900;

/// The month and year of the fields may be anything; what leaves the range of `int` names no day.
SDateTime readTm(const std::tm& fields, const STimeZone& zone)
{
    const bool fits = fields.tm_year <= std::numeric_limits<int>::max() - firstYearOfTm &&
                      fields.tm_mon < std::numeric_limits<int>::max();
    const int year = fits ? fields.tm_year + firstYearOfTm : 0;
    const int month = fits ? fields.tm_mon + 1 : 0;
    return SDateTime(year, month, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec, 0, zone);
}

std::tm makeTm(const SDateTime& moment, const STimeZone& zone)
{
    std::tm fields{};
    int year = 0;
    int month = 0;
    int millisecond = 0;
    moment.GetDateTime(year, month, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec, millisecond,
                       zone);
    const SDate date(year, month, fields.tm_mday);
    fields.tm_year = year - firstYearOfTm;
    fields.tm_mon = month - 1;
    fields.tm_wday = date.GetDayOfWeek();
    fields.tm_yday = static_cast<int>((date - SDate(year, 1, 1)).GetDays());
    fields.tm_isdst = -1;
    return fields;
}

} // namespace

SDateTime sicTime_tToSDateTime(long time, const STimeZone& zone)
{
    std::tm fields{};
    if (time == -1 || !Platform::localFields(time, fields)) {
        return {};
    }
    return readTm(fields, zone);
}

SDateTime sicTime_tToSDateTime(long time)
{
    return sicTime_tToSDateTime(time, STimeZone::TZ_Local());
}

long sicSDateTimeToTime_t(const SDateTime& moment, const STimeZone& zone)
{
    MORVEX_CHECK_INPUT(moment.IsValid());
    if (!moment.IsValid()) {
        return -1;
    }
    const std::int64_t seconds = Platform::secondsOf(makeTm(moment, zone));
    const auto time = static_cast<long>(seconds);
    return time == seconds ? time : -1;
}

long sicSDateTimeToTime_t(const SDateTime& moment)
{
    return sicSDateTimeToTime_t(moment, STimeZone::TZ_Local());
}

SDateTime sicTmToSDateTime(const std::tm* pTm, const STimeZone& zone)
{
    MORVEX_CHECK_INPUT(pTm != nullptr);
    return pTm != nullptr ? readTm(*pTm, zone) : SDateTime();
}

SDateTime sicTmToSDateTime(const std::tm* pTm)
{
    return sicTmToSDateTime(pTm, STimeZone::TZ_Local());
}

bool sicSDateTimeToTm(const SDateTime& moment, std::tm* pTm, const STimeZone& zone)
{
    const bool usable = pTm != nullptr && moment.IsValid();
    MORVEX_CHECK_INPUT(usable);
    if (usable) {
        *pTm = makeTm(moment, zone);
    }
    return usable;
}

bool sicSDateTimeToTm(const SDateTime& moment, std::tm* pTm)
{
    return sicSDateTimeToTm(moment, pTm, STimeZone::TZ_Local());
}

} // namespace MorvexA106
