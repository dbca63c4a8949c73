#include "morvex/calendar.h"
#include "morvex/checks.h"
#include "morvex/dateformat.h"
#include "morvex/dateparse.h"
#include "morvex/sdatetimeconv.h"
#include "morvex/stimezone.h"

#include "platform/calendarclock.h"

#include <array>

namespace MorvexA106
{

namespace
{

constexpr auto largest = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();

std::int64_t addWithin(std::int64_t left, std::int64_t right) noexcept
{
    std::int64_t sum = 0;
    if (__builtin_add_overflow(left, right, &sum)) {
        return left < 0 ? smallest : largest;
    }
    return sum;
}

std::int64_t subtractWithin(std::int64_t left, std::int64_t right) noexcept
{
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(left, right, &difference)) {
        return left < 0 ? smallest : largest;
    }
    return difference;
}

std::int64_t multiplyWithin(std::int64_t count, std::int64_t length) noexcept
{
    std::int64_t product = 0;
    if (__builtin_mul_overflow(count, length, &product)) {
        return count < 0 ? smallest : largest;
    }
    return product;
}

bool areOfOneSign(const std::array<long, 5>& fields) noexcept
{
    bool positive = false;
    bool negative = false;
    for (const long field : fields) {
        positive = positive || field > 0;
        negative = negative || field < 0;
    }
    return !(positive && negative);
}

bool isTimeOfDay(int hour, int minute, int second, int millisecond) noexcept
{
    const auto below = [](int value, int limit) { return value >= 0 && value < limit; };
    return below(hour, 24) && below(minute, 60) && below(second, 60) && below(millisecond, 1000);
}

std::int32_t sinceMidnight(int hour, int minute, int second, int millisecond) noexcept
{
    return ((hour * 60 + minute) * 60 + second) * 1000 + millisecond;
}

/// A wall clock's time in a zone by the zone's offset of now.
STime fromWallClock(std::int32_t milliseconds, const STimeZone& zone)
{
    return STime::FromMilliseconds(milliseconds) + zone.UTCOffset();
}

STime toWallClock(const STime& time, const STimeZone& zone)
{
    return time - zone.UTCOffset();
}

} // namespace

STimeSpan::STimeSpan(long nDays, long nHours, long nMinutes, long nSeconds, long nMilliseconds)
{
    Set(nDays, nHours, nMinutes, nSeconds, nMilliseconds);
}

void STimeSpan::Set(long nDays, long nHours, long nMinutes, long nSeconds, long nMilliseconds)
{
    MORVEX_CHECK(
        areOfOneSign({nDays, nHours, nMinutes, nSeconds, nMilliseconds}),
        "((nDays >= 0) && (nHours >= 0) && (nMinutes >= 0) && (nSeconds >= 0) && (nMilliseconds >= 0)) "
        "|| ((nDays <= 0) && (nHours <= 0) && (nMinutes <= 0) && (nSeconds <= 0) && (nMilliseconds <= "
        "0))");
    m_count = nMilliseconds;
    m_count = addWithin(m_count, multiplyWithin(nSeconds, secondLength));
    m_count = addWithin(m_count, multiplyWithin(nMinutes, minuteLength));
    m_count = addWithin(m_count, multiplyWithin(nHours, hourLength));
    m_count = addWithin(m_count, multiplyWithin(nDays, dayLength));
}

STimeSpan& STimeSpan::operator+=(const STimeSpan& span) noexcept
{
    m_count = addWithin(m_count, span.m_count);
    return *this;
}

STimeSpan& STimeSpan::operator-=(const STimeSpan& span) noexcept
{
    m_count = subtractWithin(m_count, span.m_count);
    return *this;
}

SDate SDate::GetCurrentDate(const STimeZone& zone)
{
    return SDateTime::GetCurrentDateTime().GetDate(zone);
}

std::int32_t SDate::YMDToJulian(int year, int month, int day) noexcept
{
    const std::int64_t number = Calendar::numberOf(year, month, day);
    const auto cut = static_cast<std::int32_t>(number);
    return cut == number ? cut : invalidDay;
}

void SDate::JulianToYMD(std::int32_t number, int& year, int& month, int& day) noexcept
{
    const Calendar::Day found = Calendar::dayOf(number);
    year = found.year;
    month = found.month;
    day = found.day;
}

void SDate::assign(int year, int month, int day)
{
    m_day = invalidDay;
    const int length = year != 0 ? Calendar::daysOfMonth(year, month) : 0;
    const int named = day == lastDayOfMonth ? length : day;
    if (named >= 1 && named <= length) {
        m_day = YMDToJulian(year, month, named);
    }
    MORVEX_CHECK(IsValid(), "false");
}

void SDate::GetYearMonthDay(int& year, int& month, int& day) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    const Calendar::Day found = Calendar::dayOf(m_day);
    year = found.year;
    month = found.month;
    day = found.day;
}

int SDate::GetYear() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return Calendar::dayOf(m_day).year;
}

int SDate::GetMonth() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return Calendar::dayOf(m_day).month;
}

int SDate::GetDay() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return Calendar::dayOf(m_day).day;
}

int SDate::GetDayOfWeek() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return Calendar::dayOfWeek(m_day);
}

int SDate::GetWeekOfMonth(unsigned char firstDayOfWeek) const
{
    const int daysBefore = GetDay() - 1;
    const int weekdayOfFirst = (Calendar::dayOfWeek(m_day) - daysBefore % 7 + 7) % 7;
    const int missingInFirstWeek = (weekdayOfFirst - firstDayOfWeek % 7 + 7) % 7;
    return (daysBefore + missingInFirstWeek) / 7 + 1;
}

void SDate::move(std::int64_t days)
{
    if (!IsValid()) {
        return;
    }
    const std::int64_t moved = addWithin(m_day, days);
    const auto cut = static_cast<std::int32_t>(moved);
    m_day = cut == moved ? cut : invalidDay;
    MORVEX_CHECK(IsValid(), "false");
}

SDate& SDate::operator+=(const STimeSpan& span)
{
    move(span.GetDays());
    return *this;
}

SDate& SDate::operator-=(const STimeSpan& span)
{
    move(-span.GetDays());
    return *this;
}

STimeSpan SDate::operator-(const SDate& date) const
{
    MORVEX_CHECK(IsValid() && date.IsValid(), "IsValid() && date.IsValid()");
    return (std::int64_t{m_day} - date.m_day) * Calendar::millisecondsOfDay;
}

SAnsiString SDate::Format(const char* pattern) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return DateFormat::format(pattern, *this, STime());
}

STime::STime(int hour, int minute, int second, int millisecond, const STimeZone& zone)
{
    const bool inRange = isTimeOfDay(hour, minute, second, millisecond);
    MORVEX_CHECK(inRange, "false");
    if (inRange) {
        *this = fromWallClock(sinceMidnight(hour, minute, second, millisecond), zone);
    }
}

void STime::Set(int hour, int minute, int second, int millisecond, const STimeZone& zone)
{
    const bool inRange = isTimeOfDay(hour, minute, second, millisecond);
    MORVEX_CHECK(inRange, "(hour < 24) && (minute < 60) && (second < 60) && (millisecond < 1000)");
    *this = inRange ? fromWallClock(sinceMidnight(hour, minute, second, millisecond), zone) : STime();
}

STime(STime::GetCurrentTime)(const STimeZone& zone)
{
    return SDateTime::GetCurrentDateTime().GetTime(zone);
}

void STime::GetHourMinuteSecond(int& hour, int& minute, int& second, const STimeZone& zone) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    const std::int32_t local = toWallClock(*this, zone).m_count;
    hour = local / 3'600'000;
    minute = local / 60'000 % 60;
    second = m_count / 1000 % 60;
}

int STime::GetHour(const STimeZone& zone) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return toWallClock(*this, zone).m_count / 3'600'000;
}

int STime::GetMinute(const STimeZone& zone) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return toWallClock(*this, zone).m_count / 60'000 % 60;
}

int STime::GetSecond() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return m_count / 1000 % 60;
}

int STime::GetMillisecond() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return m_count % 1000;
}

STime& STime::operator+=(const STimeSpan& span) noexcept
{
    if (IsValid()) {
        const std::int64_t moved = m_count + span.GetTotalMilliseconds() % dayLength;
        m_count = static_cast<std::int32_t>((moved + dayLength) % dayLength);
    }
    return *this;
}

STime& STime::operator-=(const STimeSpan& span) noexcept
{
    return *this += STimeSpan(-(span.GetTotalMilliseconds() % dayLength));
}

STimeSpan STime::operator-(const STime& timeOfDay) const
{
    MORVEX_CHECK(IsValid() && timeOfDay.IsValid(), "IsValid() && timeOfDay.IsValid()");
    return std::int64_t{m_count} - timeOfDay.m_count;
}

SAnsiString STime::Format(const char* pattern, const STimeZone& zone) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return DateFormat::format(pattern, SDate(), IsValid() ? toWallClock(*this, zone) : *this);
}

SDateTime::SDateTime(int year, int month, int day, int hour, int minute, int second, int millisecond,
                     const STimeZone& zone)
    : m_date(year, month, day),
      m_time(hour, minute, second, millisecond, STimeZone::TZ_UTC())
{
    *this = fromWallClock(*this, zone);
}

SDateTime SDateTime::fromWallClock(const SDateTime& fields, const STimeZone& zone)
{
    return fields.IsValid() ? fields + zone.UTCOffset(fields, false) : fields;
}

SDateTime::SDateTime(long time, const STimeZone& zone)
{
    if (time == -1) {
        MORVEX_CHECK_SAYING(false, "FALSE", "time_t is invalid");
        return;
    }
    *this = sicTime_tToSDateTime(time, zone);
}

SDateTime::SDateTime(const std::tm* pTm, const STimeZone& zone)
{
    if (pTm == nullptr) {
        MORVEX_CHECK_SAYING(false, "FALSE", "pTm is NULL");
        return;
    }
    *this = sicTmToSDateTime(pTm, zone);
}

SDateTime::SDateTime(const SYSTEMTIME* pSystemTime, const STimeZone& zone)
    : SDateTime(sicSYSTEMTIMEToSDateTime(pSystemTime, zone))
{}

SDateTime::SDateTime(double date, const STimeZone& zone) : SDateTime(sicDATEToSDateTime(date, zone)) {}

SDateTime SDateTime::fromMilliseconds(std::int64_t sinceEpoch)
{
    std::int64_t days = sinceEpoch / Calendar::millisecondsOfDay;
    std::int64_t rest = sinceEpoch - days * Calendar::millisecondsOfDay;
    if (rest < 0) {
        rest += Calendar::millisecondsOfDay;
        --days;
    }
    SDateTime moment(SDate::FromDayNumber(Calendar::firstOf1970),
                     STime::FromMilliseconds(static_cast<std::int32_t>(rest)));
    moment.m_date.move(days);
    return moment;
}

SDateTime SDateTime::GetCurrentDateTime()
{
    return fromMilliseconds(Platform::utcMilliseconds());
}

SDateTime SDateTime::inZone(const STimeZone& zone) const
{
    if (!IsValid()) {
        return *this;
    }
    const STimeSpan offset = zone.UTCOffset(*this);
    const std::int64_t shifted = m_time.GetTotalMilliseconds() - offset.GetTotalMilliseconds();
    if (shifted >= 0 && shifted < Calendar::millisecondsOfDay) [[likely]] {
        return SDateTime(m_date, STime::FromMilliseconds(static_cast<std::int32_t>(shifted)));
    }
    return *this - offset;
}

SDateTime SDateTime::readInZone(const STimeZone& zone) const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return inZone(zone);
}

void SDateTime::GetDateTime(int& year, int& month, int& day, int& hour, int& minute, int& second,
                            int& millisecond, const STimeZone& zone) const
{
    const SDateTime local = readInZone(zone);
    SDate::JulianToYMD(local.m_date.GetDayNumber(), year, month, day);
    const std::int32_t count = local.m_time.GetTotalMilliseconds();
    hour = count / 3'600'000;
    minute = count / 60'000 % 60;
    second = count / 1000 % 60;
    millisecond = count % 1000;
}

int SDateTime::GetYear(const STimeZone& zone) const
{
    return Calendar::dayOf(readInZone(zone).m_date.GetDayNumber()).year;
}

int SDateTime::GetMonth(const STimeZone& zone) const
{
    return Calendar::dayOf(readInZone(zone).m_date.GetDayNumber()).month;
}

int SDateTime::GetDay(const STimeZone& zone) const
{
    return Calendar::dayOf(readInZone(zone).m_date.GetDayNumber()).day;
}

int SDateTime::GetDayOfWeek(const STimeZone& zone) const
{
    return Calendar::dayOfWeek(readInZone(zone).m_date.GetDayNumber());
}

int SDateTime::GetHour(const STimeZone& zone) const
{
    return readInZone(zone).m_time.GetTotalMilliseconds() / 3'600'000;
}

int SDateTime::GetMinute(const STimeZone& zone) const
{
    return readInZone(zone).m_time.GetTotalMilliseconds() / 60'000 % 60;
}

int SDateTime::GetSecond() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return m_time.GetTotalMilliseconds() / 1000 % 60;
}

int SDateTime::GetMillisecond() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    return m_time.GetTotalMilliseconds() % 1000;
}

SDate SDateTime::GetDate(const STimeZone& zone) const
{
    return readInZone(zone).m_date;
}

STime SDateTime::GetTime(const STimeZone& zone) const
{
    return readInZone(zone).m_time + zone.UTCOffset();
}

long SDateTime::GetTimeT(const STimeZone& zone) const
{
    return sicSDateTimeToTime_t(*this, zone);
}

bool SDateTime::GetSYSTEMTIME(SYSTEMTIME* pSystemTime, const STimeZone& zone) const
{
    return sicSDateTimeToSYSTEMTIME(*this, pSystemTime, zone);
}

double SDateTime::GetOleDate(const STimeZone& zone) const
{
    return sicSDateTimeToDATE(*this, zone);
}

SDateTime::time_point SDateTime::GetTimePoint() const
{
    MORVEX_CHECK(IsValid(), "IsValid()");
    if (!IsValid()) {
        return time_point::min();
    }
    const std::int64_t epoch = Calendar::firstOf1970 * Calendar::millisecondsOfDay;
    return time_point(std::chrono::milliseconds(GetTotalMilliseconds() - epoch));
}

void SDateTime::carry(std::int64_t days, std::int64_t milliseconds)
{
    if (m_time.IsValid()) {
        const std::int64_t total = m_time.GetTotalMilliseconds() + milliseconds;
        const std::int64_t crossed = Calendar::divideDown(total, Calendar::millisecondsOfDay);
        m_time =
            STime::FromMilliseconds(static_cast<std::int32_t>(total - crossed * Calendar::millisecondsOfDay));
        days += crossed;
    }
    m_date.move(days);
}

SDateTime& SDateTime::operator+=(const STimeSpan& span)
{
    const std::int64_t count = span.GetTotalMilliseconds();
    carry(count / Calendar::millisecondsOfDay, count % Calendar::millisecondsOfDay);
    return *this;
}

SDateTime& SDateTime::operator-=(const STimeSpan& span)
{
    const std::int64_t count = span.GetTotalMilliseconds();
    carry(-(count / Calendar::millisecondsOfDay), -(count % Calendar::millisecondsOfDay));
    return *this;
}

STimeSpan SDateTime::operator-(const SDateTime& datetime) const
{
    MORVEX_CHECK(IsValid() && datetime.IsValid(), "IsValid() && datetime.IsValid()");
    return GetTotalMilliseconds() - datetime.GetTotalMilliseconds();
}

SAnsiString SDateTime::Format(const char* pattern, const STimeZone& zone) const
{
    const SDateTime local = inZone(zone);
    return DateFormat::format(pattern, local.m_date, local.m_time);
}

SDateTime SDateTime::Parse(const char* text, const char* pattern, const STimeZone& zone,
                           unsigned int* mismatch)
{
    const DateParse::Parsed parsed = DateParse::parse(text != nullptr ? text : "", pattern);
    if (mismatch != nullptr) {
        *mismatch = static_cast<unsigned int>(parsed.mismatch);
    }
    return fromWallClock(SDateTime(parsed.date, parsed.time), zone);
}

} // namespace MorvexA106
