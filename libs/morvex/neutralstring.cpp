#include "morvex/calendar.h"
#include "morvex/sdate.h"
#include "morvex/sdatetime.h"
#include "morvex/sstringconv.h"
#include "morvex/stime.h"
#include "morvex/stimespan.h"

#include <algorithm>
#include <array>
#include <optional>

namespace MorvexA106
{

namespace
{

constexpr std::string_view invalidText = "invalid";

// Of these only a year has no fixed size. A zero stands for any digit.
constexpr std::string_view monthAndDay = "-00-00";
constexpr std::string_view timeOfDay = "00:00:00.000Z";

constexpr std::string_view spanBegin = "PT";
constexpr std::string_view spanEnd = ".000S";

/// Collects a text that surely has room.
class Collector
{
public:
    void put(char unit) noexcept { m_units[m_used++] = unit; }
    void put(std::string_view text) noexcept
    {
        std::copy(text.begin(), text.end(), m_units.begin() + static_cast<std::ptrdiff_t>(m_used));
        m_used += text.size();
    }
    /// As many digits, which must do for the number.
    void put(unsigned int number, std::size_t digits) noexcept
    {
        for (std::size_t at = digits; at-- > 0; number /= 10) {
            m_units[m_used + at] = static_cast<char>('0' + number % 10);
        }
        m_used += digits;
    }
    template <class Unsigned>
    void putDecimal(Unsigned number) noexcept
    {
        char* const begin = m_units.data() + m_used;
        m_used += static_cast<std::size_t>(NumberText::writeDecimal(begin, number) - begin);
    }
    std::string_view view() const noexcept { return std::string_view(m_units.data(), m_used); }

private:
    std::array<char, 48> m_units;
    std::size_t m_used = 0;
};

/// Both must be valid, as in `putTime`.
void putDate(Collector& out, const SDate& date) noexcept
{
    const Calendar::Day day = Calendar::dayOf(date.GetDayNumber());
    const std::uint32_t year = NumberText::magnitudeOf(day.year);
    if (day.year < 0) {
        out.put('-');
    }
    if (year < 10'000) {
        out.put(year, 4);
    } else {
        out.putDecimal(year);
    }
    out.put('-');
    out.put(static_cast<unsigned int>(day.month), 2);
    out.put('-');
    out.put(static_cast<unsigned int>(day.day), 2);
}

void putTime(Collector& out, const STime& time) noexcept
{
    const auto count = static_cast<unsigned int>(time.GetTotalMilliseconds());
    out.put(count / 3'600'000, 2);
    out.put(':');
    out.put(count / 60'000 % 60, 2);
    out.put(':');
    out.put(count / 1000 % 60, 2);
    out.put('.');
    out.put(count % 1000, 3);
    out.put('Z');
}

Collector written(const SDate& date) noexcept
{
    Collector out;
    putDate(out, date);
    return out;
}

Collector written(const STime& time) noexcept
{
    Collector out;
    putTime(out, time);
    return out;
}

Collector written(const SDateTime& moment) noexcept
{
    Collector out;
    putDate(out, moment.GetUTCDate());
    out.put('T');
    putTime(out, moment.GetUTCTime());
    return out;
}

Collector written(const STimeSpan& span) noexcept
{
    const std::int64_t count = span.GetTotalMilliseconds();
    const std::uint64_t magnitude = NumberText::magnitudeOf(count);
    Collector out;
    if (count < 0) {
        out.put('-');
    }
    out.put(spanBegin);
    out.putDecimal(magnitude / 1000);
    out.put('.');
    out.put(static_cast<unsigned int>(magnitude % 1000), 3);
    out.put('S');
    return out;
}

bool isDigit(char unit) noexcept
{
    return unit >= '0' && unit <= '9';
}

bool hasShape(std::string_view text, std::string_view shape) noexcept
{
    const auto fits = [](char unit, char wanted) { return wanted == '0' ? isDigit(unit) : unit == wanted; };
    return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), fits);
}

/// Takes off the end that has the shape, where there is one.
std::optional<std::string_view> takeEnd(std::string_view& text, std::string_view shape) noexcept
{
    const std::size_t begin = text.size() - std::min(text.size(), shape.size());
    const std::string_view end = text.substr(begin);
    if (!hasShape(end, shape)) {
        return std::nullopt;
    }
    text = text.substr(0, begin);
    return end;
}

bool takeSign(std::string_view& text) noexcept
{
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    return isNegative;
}

/// Up to nine digits, which were seen to be there.
int numberOf(std::string_view digits) noexcept
{
    int number = 0;
    for (const char digit : digits) {
        number = number * 10 + (digit - '0');
    }
    return number;
}

std::optional<int> yearOf(std::string_view text) noexcept
{
    const bool isNegative = takeSign(text);
    if (text.size() < 4 || text.size() > 7 || !std::all_of(text.begin(), text.end(), isDigit)) {
        return std::nullopt;
    }
    const int year = numberOf(text);
    return isNegative ? -year : year;
}

SDate dateOf(int year, int month, int day) noexcept
{
    if (year == 0 || day < 1 || day > Calendar::daysOfMonth(year, month)) {
        return {};
    }
    const std::int64_t number = Calendar::numberOf(year, month, day);
    const auto cut = static_cast<std::int32_t>(number);
    return cut == number ? SDate::FromDayNumber(cut) : SDate();
}

// What these can't read gives an invalid value, or none.

SDate readDate(std::string_view text) noexcept
{
    const std::string_view whole = text;
    const auto end = takeEnd(text, monthAndDay);
    const auto year = yearOf(text);
    if (!end || !year) {
        return {};
    }
    const SDate date = dateOf(*year, numberOf(end->substr(1, 2)), numberOf(end->substr(4, 2)));
    // Some days have texts that are never written: of October 1582, and years with zeros in front.
    return date.IsValid() && written(date).view() == whole ? date : SDate();
}

STime readTime(std::string_view text) noexcept
{
    if (!hasShape(text, timeOfDay)) {
        return {};
    }
    const int hour = numberOf(text.substr(0, 2));
    const int minute = numberOf(text.substr(3, 2));
    const int second = numberOf(text.substr(6, 2));
    if (hour > 23 || minute > 59 || second > 59) {
        return {};
    }
    return STime::FromMilliseconds(((hour * 60 + minute) * 60 + second) * 1000 + numberOf(text.substr(9, 3)));
}

SDateTime readMoment(std::string_view text) noexcept
{
    const auto time = takeEnd(text, timeOfDay);
    if (!time || !text.ends_with('T')) {
        return {};
    }
    text.remove_suffix(1);
    return SDateTime::FromUTC(readDate(text), readTime(*time));
}

std::optional<STimeSpan> readSpan(std::string_view text) noexcept
{
    const std::string_view whole = text;
    const bool isNegative = takeSign(text);
    const auto end = takeEnd(text, spanEnd);
    std::uint64_t seconds = 0;
    if (!end || !text.starts_with(spanBegin) ||
        !NeutralString::FromString(text.substr(spanBegin.size()), seconds) ||
        seconds > std::uint64_t{std::numeric_limits<std::int64_t>::max()} / 1000) {
        return std::nullopt;
    }
    const std::uint64_t magnitude = seconds * 1000 + static_cast<std::uint64_t>(numberOf(end->substr(1, 3)));
    const STimeSpan span(static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude));
    // Too large by less than a second, it has come out with the other sign.
    return written(span).view() == whole ? std::optional(span) : std::nullopt;
}

template <class V>
SAnsiString textOrInvalid(const V& value)
{
    return SAnsiString(value.IsValid() ? written(value).view() : invalidText);
}

template <class V>
bool take(const V& read, std::string_view text, V& value) noexcept
{
    if (!read.IsValid() && text != invalidText) {
        return false;
    }
    value = read;
    return true;
}

} // namespace

SAnsiString NeutralString::textOf(const SDate& value)
{
    return textOrInvalid(value);
}

SAnsiString NeutralString::textOf(const STime& value)
{
    return textOrInvalid(value);
}

SAnsiString NeutralString::textOf(const SDateTime& value)
{
    return textOrInvalid(value);
}

SAnsiString NeutralString::textOf(const STimeSpan& value)
{
    return SAnsiString(written(value).view());
}

bool NeutralString::read(std::string_view text, SDate& value) noexcept
{
    return take(readDate(text), text, value);
}

bool NeutralString::read(std::string_view text, STime& value) noexcept
{
    return take(readTime(text), text, value);
}

bool NeutralString::read(std::string_view text, SDateTime& value) noexcept
{
    const SDateTime moment = readMoment(text);
    return take(moment.IsValid() ? moment : SDateTime(), text, value);
}

bool NeutralString::read(std::string_view text, STimeSpan& value) noexcept
{
    const auto span = readSpan(text);
    value = span.value_or(value);
    return span.has_value();
}

} // namespace MorvexA106
