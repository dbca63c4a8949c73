#include "morvex/dateparse.h"

#include "morvex/calendar.h"
#include "morvex/checks.h"
#include "morvex/dateformat.h"
#include "morvex/sdatetimestring.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace MorvexA106::DateParse
{

namespace
{

using DateFormat::Token;
using DateFormat::tokenOf;

/// A place in the text, null for none, and what stands there.
struct Found
{
    const char* at = nullptr;
    int value = 0;

    explicit operator bool() const noexcept { return at != nullptr; }
    int valueOr(int other) const noexcept { return at != nullptr ? value : other; }
};

/// The fields that have no token of their own come behind the others.
constexpr std::size_t yearOfCentury = DateFormat::tokenCount;
constexpr std::size_t dayOfWeek = DateFormat::tokenCount + 1;

class Fields
{
public:
    Found& operator[](Token token) noexcept { return m_found[static_cast<std::size_t>(token)]; }
    const Found& operator[](Token token) const noexcept { return m_found[static_cast<std::size_t>(token)]; }
    Found& operator[](std::size_t place) noexcept { return m_found[place]; }
    const Found& operator[](std::size_t place) const noexcept { return m_found[place]; }

private:
    std::array<Found, DateFormat::tokenCount + 2> m_found{};
};

/// What is read of the text: up to where it fits, and whether that is all that was asked. The end is passed along
/// apart from it, so that both stay in registers.
struct Taken
{
    const char* at;
    bool fits;
};

bool isDigit(char unit) noexcept
{
    return unit >= '0' && unit <= '9';
}

Taken takeLiteral(const char* at, const char* end, std::string_view literal) noexcept
{
    const auto [differs, here] = std::mismatch(literal.begin(), literal.end(), at, end);
    return {here, differs == literal.end()};
}

/// Digits, as many as there are up to `most`. Without padding a zero stands alone.
Taken takeNumber(const char* at, const char* end, std::ptrdiff_t fewest, std::ptrdiff_t most,
                 int& value) noexcept
{
    const bool isPadded = fewest == most;
    const char* const begin = at;
    const char* const last = begin + std::min(most, end - begin);
    value = 0;
    while (at != last && isDigit(*at) && (isPadded || at == begin || value != 0)) {
        value = value * 10 + (*at++ - '0');
    }
    return {at, at - begin >= fewest};
}

/// The number of the longest name that the text goes on with.
template <class NameOf>
Taken takeName(const char* at, const char* end, int first, int last, NameOf nameOf, int& value)
{
    const std::string_view rest(at, static_cast<std::size_t>(end - at));
    std::size_t longest = 0;
    for (int number = first; number <= last; ++number) {
        const SAnsiString name = nameOf(number);
        if (name.view().size() > longest && rest.starts_with(name.view())) {
            value = number;
            longest = name.view().size();
        }
    }
    return {at + longest, longest != 0};
}

/// Keeps a field that begins at `begin`, unless it is none, out of range, or was another one before.
Taken keep(Found& field, const char* begin, Taken taken, int value, int first, int last) noexcept
{
    if (!taken.fits) {
        return taken;
    }
    if (value < first || value > last || (field && field.value != value)) {
        return {begin, false};
    }
    field = {begin, value};
    return taken;
}

struct Range
{
    int first;
    int last;
};

/// Of the fields that are numbers of one or two digits.
constexpr Range rangeOf(Token token) noexcept
{
    constexpr Range ranges[] = {{1, 31}, {1, 12}, {1, 12}, {0, 23}, {0, 59}, {0, 59}};
    return ranges[static_cast<std::size_t>(token) - static_cast<std::size_t>(Token::day)];
}

Taken readNumber(const char* at, const char* end, Found& field, std::size_t run, Range range) noexcept
{
    if (run != 1 && end - at >= 2 && isDigit(at[0]) && isDigit(at[1])) [[likely]] {
        const int value = (at[0] - '0') * 10 + (at[1] - '0');
        return keep(field, at, {at + 2, true}, value, range.first, range.last);
    }
    int value = 0;
    const Taken taken = takeNumber(at, end, run == 1 ? 1 : 2, 2, value);
    return keep(field, at, taken, value, range.first, range.last);
}

Taken readDayName(const char* at, const char* end, Fields& fields, std::size_t run)
{
    const auto name = run == 3 ? SDateTimeString::GetShortDay : SDateTimeString::GetLongDay;
    int value = 0;
    const Taken taken = takeName(at, end, 0, 6, name, value);
    return keep(fields[dayOfWeek], at, taken, value, 0, 6);
}

Taken readMonthName(const char* at, const char* end, Fields& fields, std::size_t run)
{
    const auto name = run == 3 ? SDateTimeString::GetShortMonth : SDateTimeString::GetLongMonth;
    int value = 0;
    const Taken taken = takeName(at, end, 1, 12, name, value);
    return keep(fields[Token::month], at, taken, value, 1, 12);
}

Taken readFullYear(const char* at, const char* end, Fields& fields, bool numberFollows) noexcept
{
    constexpr int latest = 9'999'999;
    const bool isNegative = at != end && *at == '-';
    int year = 0;
    const Taken taken =
        takeNumber(at + (isNegative ? 1 : 0), end, numberFollows ? 4 : 1, numberFollows ? 4 : 7, year);
    if (taken.fits && year < (numberFollows ? 1000 : 1)) {
        return {at, false};
    }
    return keep(fields[Token::year], at, taken, isNegative ? -year : year, -latest, latest);
}

Taken readEra(const char* at, const char* end, Fields& fields)
{
    const auto nameOf = [](int isCommon) {
        return SDateTimeString::GetEra(SDate(isCommon != 0 ? 1 : -1, 1, 1));
    };
    int value = 0;
    const Taken taken = takeName(at, end, 0, 1, nameOf, value);
    return keep(fields[Token::era], at, taken, value, 0, 1);
}

Taken readMillisecond(const char* at, const char* end, Fields& fields, std::size_t run) noexcept
{
    int value = 0;
    const Taken taken = takeNumber(at, end, run == 1 ? 1 : 3, 3, value);
    return keep(fields[Token::millisecond], at, taken, value, 0, 999);
}

Taken readHalfOfDay(const char* at, const char* end, Fields& fields, std::size_t run)
{
    const auto nameOf = [run](int isMorning) {
        return run == 1 ? SDateTimeString::GetShortAM(isMorning != 0)
                        : SDateTimeString::GetLongAM(isMorning != 0);
    };
    int value = 0;
    const Taken taken = takeName(at, end, 0, 1, nameOf, value);
    return keep(fields[Token::halfOfDay], at, taken, value, 0, 1);
}

/// Whether what comes next in the pattern begins with a digit, so that a full year in front of it has no end of
/// its own.
bool doesNumberFollow(const char* pattern) noexcept
{
    DateFormat::LiteralReader literals;
    for (Token token = tokenOf(*pattern); token != Token::end; token = tokenOf(*pattern)) {
        if (isLetter(token)) {
            const bool isName =
                (token == Token::day || token == Token::month) && DateFormat::endOfRun(pattern) - pattern > 2;
            return !isName && token != Token::era && token != Token::halfOfDay;
        }
        if (token == Token::literal) {
            return isDigit(*pattern);
        }
        const std::string_view quoted = literals.take(pattern);
        if (!quoted.empty()) {
            return isDigit(quoted.front());
        }
    }
    return false;
}

/// `behind` is the pattern behind the run.
Taken readField(const char* at, const char* end, Fields& fields, Token token, std::size_t run,
                const char* behind)
{
    if (isTwoDigitNumber(token, run)) [[likely]] {
        return readNumber(at, end, fields[token], run, rangeOf(token));
    }
    switch (token) {
    case Token::day:
        return readDayName(at, end, fields, run);
    case Token::month:
        return readMonthName(at, end, fields, run);
    case Token::year:
        return run <= 2 ? readNumber(at, end, fields[yearOfCentury], run, {0, 99})
                        : readFullYear(at, end, fields, doesNumberFollow(behind));
    case Token::era:
        return readEra(at, end, fields);
    case Token::millisecond:
        return readMillisecond(at, end, fields, run);
    default:
        return readHalfOfDay(at, end, fields, run);
    }
}

bool tellsEnough(const Fields& fields) noexcept
{
    const bool hasYear = fields[Token::year] || fields[yearOfCentury];
    const bool hasHour = fields[Token::hour] || !fields[Token::halfDayHour] || fields[Token::halfOfDay];
    return hasYear && fields[Token::month] && fields[Token::day] && hasHour;
}

/// Two digits stand for the years 1970 to 2069.
int yearOf(const Fields& fields) noexcept
{
    if (fields[Token::year]) {
        return fields[Token::year].value;
    }
    const int year = fields[yearOfCentury].value;
    return year < 70 ? 2000 + year : 1900 + year;
}

/// Whether the field was told, and is another one; then the text differs there.
bool differs(const Found& field, int value, const char*& mismatch) noexcept
{
    const bool isOther = field && field.value != value;
    mismatch = isOther ? field.at : mismatch;
    return isOther;
}

/// The days that were left out when the calendar changed.
bool isDropped(int year, int month, int day) noexcept
{
    return year == 1582 && month == 10 && day > 4 && day < 15;
}

/// The day, or an invalid one with the place of the field that does not fit the others.
SDate dateOf(const Fields& fields, const char*& mismatch)
{
    const int year = yearOf(fields);
    const int month = fields[Token::month].value;
    const int day = fields[Token::day].value;
    mismatch = fields[Token::day].at;
    if (day > Calendar::daysOfMonth(year, month) || isDropped(year, month, day)) {
        return {};
    }
    const std::int64_t number = Calendar::numberOf(year, month, day);
    const auto cut = static_cast<std::int32_t>(number);
    const SDate date = SDate::FromDayNumber(cut);
    if (number != cut || !date.IsValid()) {
        mismatch = fields[Token::year].at;
        return {};
    }
    if (differs(fields[yearOfCentury], year < 0 ? -(year % 100) : year % 100, mismatch) ||
        differs(fields[dayOfWeek], Calendar::dayOfWeek(cut), mismatch) ||
        differs(fields[Token::era], year > 0 ? 1 : 0, mismatch)) {
        return {};
    }
    return date;
}

/// The hour that the text tells in one way or the other; what is not told is 0.
int hourOf(const Fields& fields) noexcept
{
    const int halfDay = fields[Token::halfOfDay].valueOr(1) != 0 ? 0 : 12;
    return fields[Token::hour].valueOr(fields[Token::halfDayHour].valueOr(0) % 12 + halfDay);
}

/// The same as `dateOf` for the time of day.
STime timeOf(const Fields& fields, const char*& mismatch) noexcept
{
    const int hour = hourOf(fields);
    const Found& halfDayHour = fields[Token::halfDayHour];
    if (halfDayHour && halfDayHour.value % 12 != hour % 12) {
        mismatch = halfDayHour.at;
        return {};
    }
    if (differs(fields[Token::halfOfDay], hour < 12 ? 1 : 0, mismatch)) {
        return {};
    }
    const int minutes = hour * 60 + fields[Token::minute].valueOr(0);
    const int seconds = minutes * 60 + fields[Token::second].valueOr(0);
    return STime::FromMilliseconds(seconds * 1000 + fields[Token::millisecond].valueOr(0));
}

Taken readFields(std::string_view text, const char* next, Fields& fields)
{
    DateFormat::LiteralReader literals;
    const char* const end = text.data() + text.size();
    Taken taken = {text.data(), true};
    for (Token token = tokenOf(*next); token != Token::end; token = tokenOf(*next)) {
        if (isLetter(token)) {
            const char* const begin = next;
            next = DateFormat::endOfRun(next);
            const auto run = static_cast<std::size_t>(next - begin);
            taken = readField(taken.at, end, fields, token, run, next);
        } else if (token == Token::literal && DateFormat::isSingleLiteral(next)) {
            const bool fits = taken.at != end && *taken.at == *next++;
            taken = {taken.at + (fits ? 1 : 0), fits};
        } else {
            const char* rest = next;
            taken = takeLiteral(taken.at, end, literals.take(rest));
            next = rest;
        }
        if (!taken.fits) {
            return taken;
        }
    }
    return {taken.at, taken.at == end};
}

} // namespace

Parsed parse(std::string_view text, const char* pattern)
{
    Fields fields;
    const Taken taken = readFields(text, pattern != nullptr ? pattern : "", fields);
    const auto placeOf = [text](const char* at) { return static_cast<std::size_t>(at - text.data()); };
    Parsed parsed;
    parsed.mismatch = placeOf(taken.at);
    if (!taken.fits) {
        return parsed;
    }
    if (!tellsEnough(fields)) {
        MORVEX_FAIL("a pattern to read by tells year, month and day, and AM or PM with hours of 12");
        return parsed;
    }
    const char* mismatch = nullptr;
    const SDate date = dateOf(fields, mismatch);
    const STime time = date.IsValid() ? timeOf(fields, mismatch) : STime();
    if (!time.IsValid()) {
        parsed.mismatch = placeOf(mismatch);
        return parsed;
    }
    parsed.date = date;
    parsed.time = time;
    return parsed;
}

} // namespace MorvexA106::DateParse
