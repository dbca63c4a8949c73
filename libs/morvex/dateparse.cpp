#include "morvex/dateparse.h"

#include "morvex/calendar.h"
#include "morvex/checks.h"
#include "morvex/dateformat.h"
#include "morvex/sdatetimestring.h"

#include <algorithm>
#include <array>
#include <optional>

namespace MorvexA106::DateParse
{

namespace
{

using DateFormat::PatternReader;
using DateFormat::Piece;

/// What a field is in the text, and where.
struct Found
{
    std::optional<int> value;
    std::size_t at = 0;
};

struct Fields
{
    Found year;
    Found yearOfCentury;
    Found month;
    Found day;
    Found dayOfWeek;
    Found isCommonEra;
    Found hour;
    Found halfDayHour;
    Found isMorning;
    Found minute;
    Found second;
    Found millisecond;
};

bool isDigit(char unit) noexcept
{
    return unit >= '0' && unit <= '9';
}

/// The text and how far it is taken. What fails leaves the position where the text differs.
class Scanner
{
public:
    explicit Scanner(std::string_view text) noexcept : m_text(text) {}

    std::size_t at() const noexcept { return m_at; }
    bool isAtEnd() const noexcept { return m_at == m_text.size(); }
    void goBackTo(std::size_t at) noexcept { m_at = at; }

    bool takeLiteral(std::string_view literal) noexcept
    {
        const std::string_view rest = m_text.substr(m_at);
        const auto differs = std::mismatch(literal.begin(), literal.end(), rest.begin(), rest.end()).first;
        m_at += static_cast<std::size_t>(differs - literal.begin());
        return differs == literal.end();
    }

    /// Digits, as many as there are up to `most`. Without padding a zero stands alone.
    std::optional<int> takeNumber(std::size_t fewest, std::size_t most) noexcept
    {
        const bool isPadded = fewest == most;
        std::size_t digits = 0;
        int value = 0;
        while (digits < most && !isAtEnd() && isDigit(m_text[m_at]) &&
               (isPadded || digits == 0 || value != 0)) {
            value = value * 10 + (m_text[m_at] - '0');
            ++m_at;
            ++digits;
        }
        return digits >= fewest ? std::optional(value) : std::nullopt;
    }

    /// The number of the longest name that the text goes on with.
    template <class NameOf>
    std::optional<int> takeName(int first, int last, NameOf nameOf)
    {
        const std::string_view rest = m_text.substr(m_at);
        std::optional<int> found;
        std::size_t longest = 0;
        for (int number = first; number <= last; ++number) {
            const SAnsiString name = nameOf(number);
            if (name.view().size() > longest && rest.starts_with(name.view())) {
                found = number;
                longest = name.view().size();
            }
        }
        m_at += longest;
        return found;
    }

private:
    std::string_view m_text;
    std::size_t m_at = 0;
};

/// Keeps a field that begins at `at`, unless it is none, out of range, or was another one before.
bool keep(Scanner& text, Found& field, std::size_t at, std::optional<int> value, int first, int last) noexcept
{
    if (!value) {
        return false;
    }
    if (*value < first || *value > last || (field.value && *field.value != *value)) {
        text.goBackTo(at);
        return false;
    }
    field = {value, at};
    return true;
}

bool readNumber(Scanner& text, Found& field, unsigned int run, int first, int last) noexcept
{
    const std::size_t at = text.at();
    return keep(text, field, at, text.takeNumber(run == 1 ? 1 : 2, 2), first, last);
}

bool readDay(Scanner& text, Fields& fields, unsigned int run, bool)
{
    if (run <= 2) {
        return readNumber(text, fields.day, run, 1, 31);
    }
    const std::size_t at = text.at();
    const auto name = run == 3 ? SDateTimeString::GetShortDay : SDateTimeString::GetLongDay;
    return keep(text, fields.dayOfWeek, at, text.takeName(0, 6, name), 0, 6);
}

bool readMonth(Scanner& text, Fields& fields, unsigned int run, bool)
{
    if (run <= 2) {
        return readNumber(text, fields.month, run, 1, 12);
    }
    const std::size_t at = text.at();
    const auto name = run == 3 ? SDateTimeString::GetShortMonth : SDateTimeString::GetLongMonth;
    return keep(text, fields.month, at, text.takeName(1, 12, name), 1, 12);
}

bool readYear(Scanner& text, Fields& fields, unsigned int run, bool numberFollows)
{
    if (run <= 2) {
        return readNumber(text, fields.yearOfCentury, run, 0, 99);
    }
    constexpr int latest = 9'999'999;
    const std::size_t at = text.at();
    const bool isNegative = text.takeLiteral("-");
    std::optional<int> year = numberFollows ? text.takeNumber(4, 4) : text.takeNumber(1, 7);
    if (year && *year < (numberFollows ? 1000 : 1)) {
        text.goBackTo(at);
        return false;
    }
    if (year && isNegative) {
        year = -*year;
    }
    return keep(text, fields.year, at, year, -latest, latest);
}

bool readEra(Scanner& text, Fields& fields, unsigned int, bool)
{
    const std::size_t at = text.at();
    const auto nameOf = [](int isCommon) {
        return SDateTimeString::GetEra(SDate(isCommon != 0 ? 1 : -1, 1, 1));
    };
    return keep(text, fields.isCommonEra, at, text.takeName(0, 1, nameOf), 0, 1);
}

bool readHalfDayHour(Scanner& text, Fields& fields, unsigned int run, bool)
{
    return readNumber(text, fields.halfDayHour, run, 1, 12);
}

bool readHour(Scanner& text, Fields& fields, unsigned int run, bool)
{
    return readNumber(text, fields.hour, run, 0, 23);
}

bool readMinute(Scanner& text, Fields& fields, unsigned int run, bool)
{
    return readNumber(text, fields.minute, run, 0, 59);
}

bool readSecond(Scanner& text, Fields& fields, unsigned int run, bool)
{
    return readNumber(text, fields.second, run, 0, 59);
}

bool readMillisecond(Scanner& text, Fields& fields, unsigned int run, bool)
{
    const std::size_t at = text.at();
    return keep(text, fields.millisecond, at, text.takeNumber(run == 1 ? 1 : 3, 3), 0, 999);
}

bool readHalfOfDay(Scanner& text, Fields& fields, unsigned int run, bool)
{
    const std::size_t at = text.at();
    const auto nameOf = [run](int isMorning) {
        return run == 1 ? SDateTimeString::GetShortAM(isMorning != 0)
                        : SDateTimeString::GetLongAM(isMorning != 0);
    };
    return keep(text, fields.isMorning, at, text.takeName(0, 1, nameOf), 0, 1);
}

struct Token
{
    char letter;
    bool (*read)(Scanner& text, Fields& fields, unsigned int run, bool numberFollows);
};

constexpr std::array tokens = {
    Token{'d', readDay},         Token{'M', readMonth},     Token{'y', readYear},   Token{'g', readEra},
    Token{'h', readHalfDayHour}, Token{'H', readHour},      Token{'m', readMinute}, Token{'s', readSecond},
    Token{'S', readMillisecond}, Token{'t', readHalfOfDay},
};

/// Whether what comes next in the pattern begins with a digit, so that a full year in front of it has no end of
/// its own.
bool doesNumberFollow(PatternReader pattern) noexcept
{
    for (Piece piece; pattern.next(piece);) {
        if (piece.letter != 0) {
            const bool isName = (piece.letter == 'd' || piece.letter == 'M') && piece.run > 2;
            return !isName && piece.letter != 'g' && piece.letter != 't';
        }
        if (!piece.literal.empty()) {
            return isDigit(piece.literal.front());
        }
    }
    return false;
}

bool readPiece(Scanner& text, Fields& fields, const Piece& piece, const PatternReader& behind)
{
    if (piece.letter == 0) {
        return text.takeLiteral(piece.literal);
    }
    const auto isIt = [&piece](const Token& token) { return token.letter == piece.letter; };
    const auto token = std::find_if(tokens.begin(), tokens.end(), isIt);
    const bool isFullYear = piece.letter == 'y' && piece.run >= 3;
    return token->read(text, fields, piece.run, isFullYear && doesNumberFollow(behind));
}

bool tellsEnough(const Fields& fields) noexcept
{
    const bool hasYear = fields.year.value || fields.yearOfCentury.value;
    const bool hasHour = fields.hour.value || !fields.halfDayHour.value || fields.isMorning.value;
    return hasYear && fields.month.value && fields.day.value && hasHour;
}

/// Two digits stand for the years 1970 to 2069.
int yearOf(const Fields& fields) noexcept
{
    if (fields.year.value) {
        return *fields.year.value;
    }
    const int year = *fields.yearOfCentury.value;
    return year < 70 ? 2000 + year : 1900 + year;
}

/// The day, or an invalid one with the place of the field that does not fit the others.
SDate dateOf(const Fields& fields, std::size_t& mismatch)
{
    const int year = yearOf(fields);
    const int month = *fields.month.value;
    const int day = *fields.day.value;
    const auto differs = [&mismatch](const Found& field, int value) {
        mismatch = field.value && *field.value != value ? field.at : mismatch;
        return field.value && *field.value != value;
    };
    mismatch = fields.day.at;
    if (day > Calendar::daysOfMonth(year, month)) {
        return {};
    }
    const std::int64_t number = Calendar::numberOf(year, month, day);
    if (number != static_cast<std::int32_t>(number)) {
        mismatch = fields.year.at;
        return {};
    }
    const SDate date = SDate::FromDayNumber(static_cast<std::int32_t>(number));
    const bool isDropped = Calendar::dayOf(date.GetDayNumber()).day != day;
    if (isDropped || differs(fields.yearOfCentury, year < 0 ? -(year % 100) : year % 100) ||
        differs(fields.dayOfWeek, Calendar::dayOfWeek(date.GetDayNumber())) ||
        differs(fields.isCommonEra, year > 0 ? 1 : 0)) {
        return {};
    }
    return date;
}

/// The same for the time of day. What is not told is 0.
STime timeOf(const Fields& fields, std::size_t& mismatch)
{
    std::optional<int> hour = fields.hour.value;
    if (!hour && fields.halfDayHour.value) {
        hour = *fields.halfDayHour.value % 12 + (*fields.isMorning.value != 0 ? 0 : 12);
    }
    const int told = hour.value_or(fields.isMorning.value.value_or(1) != 0 ? 0 : 12);
    if (fields.halfDayHour.value && *fields.halfDayHour.value % 12 != told % 12) {
        mismatch = fields.halfDayHour.at;
        return {};
    }
    if (fields.isMorning.value && (*fields.isMorning.value != 0) != (told < 12)) {
        mismatch = fields.isMorning.at;
        return {};
    }
    const int minutes = told * 60 + fields.minute.value.value_or(0);
    const int seconds = minutes * 60 + fields.second.value.value_or(0);
    return STime::FromMilliseconds(seconds * 1000 + fields.millisecond.value.value_or(0));
}

bool readFields(Scanner& scanner, const char* pattern, Fields& fields)
{
    PatternReader reader(pattern);
    for (Piece piece; reader.next(piece);) {
        if (!readPiece(scanner, fields, piece, reader)) {
            return false;
        }
    }
    return scanner.isAtEnd();
}

} // namespace

Parsed parse(std::string_view text, const char* pattern)
{
    Scanner scanner(text);
    Fields fields;
    const bool taken = readFields(scanner, pattern, fields);
    Parsed parsed;
    parsed.mismatch = scanner.at();
    if (!taken) {
        return parsed;
    }
    if (!tellsEnough(fields)) {
        MORVEX_FAIL("a pattern to read by tells year, month and day, and AM or PM with hours of 12");
        return parsed;
    }
    const SDate date = dateOf(fields, parsed.mismatch);
    if (!date.IsValid()) {
        return parsed;
    }
    parsed.time = timeOf(fields, parsed.mismatch);
    if (parsed.time.IsValid()) {
        parsed.date = date;
        parsed.mismatch = text.size();
    }
    return parsed;
}

} // namespace MorvexA106::DateParse
