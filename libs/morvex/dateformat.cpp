#include "morvex/dateformat.h"

#include "morvex/calendar.h"
#include "morvex/sdatetimestring.h"
#include "morvex/sstringconvimpl.h"
#include "morvex/textbuilder.h"

#include <algorithm>
#include <cstring>

namespace MorvexA106::DateFormat
{

namespace
{

/// Writes into the room of a string that is made first, large enough for a text of usual length. The place of the
/// next unit is the caller's, who passes it in and gets it back: so it stays in a register.
class Writer
{
public:
    static constexpr std::size_t roomOfField = NumberText::decimalRoom<int> + 1;

    Writer() : m_text(usualLength) { grow(m_begin, m_text.room()); }

    char* begin() noexcept { return m_begin; }

    /// Without more, room for any of our numbers and a sign behind it, which are put in without another look.
    char* makeRoom(char* at, std::size_t units = roomOfField)
    {
        if (static_cast<std::size_t>(m_end - at) < units) [[unlikely]] {
            return grow(at, units);
        }
        return at;
    }

    /// A sign may stand behind this as well.
    char* put(char* at, std::string_view text)
    {
        at = makeRoom(at, text.size() + 1);
        std::memcpy(at, text.data(), text.size());
        return at + text.size();
    }

    SAnsiString take(const char* at) noexcept
    {
        if (at == m_begin) {
            return SAnsiString();
        }
        m_text.cutTo(static_cast<std::size_t>(at - m_begin));
        return SAnsiString(m_text.take());
    }

private:
    static constexpr std::size_t usualLength = 30;

    char* grow(const char* at, std::size_t units)
    {
        const auto used = static_cast<std::size_t>(at - m_begin);
        m_text.cutTo(used);
        char* const next = m_text.extend(std::max(units, m_text.room()));
        m_begin = next - used;
        m_end = m_begin + m_text.length();
        return next;
    }

    TextBuilder<char, 0> m_text;
    char* m_begin = nullptr;
    char* m_end = nullptr;
};

struct Fields
{
    SDate date;
    int year = 0;
    int millisecond = 0;
    /// Those of one or two digits, at the place of their token.
    std::array<unsigned char, tokenCount> numbers{};
    /// A bit for each token that has something to tell.
    unsigned int told = 0;

    unsigned char& operator[](Token token) noexcept { return numbers[static_cast<std::size_t>(token)]; }
    unsigned char operator[](Token token) const noexcept { return numbers[static_cast<std::size_t>(token)]; }
    bool tells(Token token) const noexcept { return (told >> static_cast<unsigned int>(token) & 1) != 0; }
};

template <class... Tokens>
constexpr unsigned int bitsOf(Tokens... tokens) noexcept
{
    return ((1U << static_cast<unsigned int>(tokens)) | ...);
}

void addDate(Fields& fields, const SDate& date) noexcept
{
    const Calendar::Day day = Calendar::dayOf(date.GetDayNumber());
    fields.date = date;
    fields.year = day.year;
    fields[Token::month] = static_cast<unsigned char>(day.month);
    fields[Token::day] = static_cast<unsigned char>(day.day);
    fields.told |= bitsOf(Token::year, Token::month, Token::day, Token::era);
}

void addTime(Fields& fields, const STime& time) noexcept
{
    const auto count = static_cast<std::uint32_t>(time.GetTotalMilliseconds());
    const std::uint32_t seconds = count / 1000;
    const std::uint32_t minutes = count / 60'000;
    const std::uint32_t hours = count / 3'600'000;
    const std::uint32_t halfDayHours = hours % 12;
    fields.millisecond = static_cast<int>(count - seconds * 1000);
    fields[Token::second] = static_cast<unsigned char>(seconds - minutes * 60);
    fields[Token::minute] = static_cast<unsigned char>(minutes - hours * 60);
    fields[Token::hour] = static_cast<unsigned char>(hours);
    fields[Token::halfDayHour] = static_cast<unsigned char>(halfDayHours != 0 ? halfDayHours : 12);
    fields.told |= bitsOf(Token::halfOfDay, Token::millisecond, Token::halfDayHour, Token::hour,
                          Token::minute, Token::second);
}

Fields fieldsOf(const SDate& date, const STime& time) noexcept
{
    Fields fields;
    if (date.IsValid()) {
        addDate(fields, date);
    }
    if (time.IsValid()) {
        addTime(fields, time);
    }
    return fields;
}

/// Below 100.
char* putTwoDigits(char* at, int value) noexcept
{
    NumberText::putPair(at, NumberText::digitPairs, static_cast<unsigned int>(value));
    return at + 2;
}

char* putNumber(char* at, int value, std::size_t run) noexcept
{
    return run == 1 ? NumberText::putLeading(at, static_cast<unsigned int>(value)) : putTwoDigits(at, value);
}

char* putFullYear(char* at, int year) noexcept
{
    if (year >= 1000 && year <= 9999) [[likely]] {
        return putTwoDigits(putTwoDigits(at, year / 100), year % 100);
    }
    if (year < 0) {
        *at++ = '-';
    }
    return NumberText::writeDecimal(at, NumberText::magnitudeOf(year));
}

char* putYear(char* at, int year, std::size_t run) noexcept
{
    if (run >= 3) [[likely]] {
        return putFullYear(at, year);
    }
    return putNumber(at, year < 0 ? -(year % 100) : year % 100, run);
}

char* putMillisecond(char* at, int value, std::size_t run) noexcept
{
    if (run == 1 && value < 100) {
        return putNumber(at, value, 1);
    }
    *at = static_cast<char>('0' + value / 100);
    return putTwoDigits(at + 1, value % 100);
}

SAnsiString nameOf(Token token, const Fields& fields, std::size_t run)
{
    const bool isShort = run <= 3;
    const bool isMorning = fields[Token::hour] < 12;
    switch (token) {
    case Token::day: {
        const int day = Calendar::dayOfWeek(fields.date.GetDayNumber());
        return isShort ? SDateTimeString::GetShortDay(day) : SDateTimeString::GetLongDay(day);
    }
    case Token::month: {
        const int month = fields[Token::month];
        return isShort ? SDateTimeString::GetShortMonth(month) : SDateTimeString::GetLongMonth(month);
    }
    case Token::era:
        return SDateTimeString::GetEra(fields.date);
    default:
        return run == 1 ? SDateTimeString::GetShortAM(isMorning) : SDateTimeString::GetLongAM(isMorning);
    }
}

/// There is room for a number.
char* putField(Writer& out, char* at, Token token, const Fields& fields, std::size_t run)
{
    if (isTwoDigitNumber(token, run)) [[likely]] {
        return putNumber(at, fields[token], run);
    }
    if (token == Token::year) {
        return putYear(at, fields.year, run);
    }
    if (token == Token::millisecond) {
        return putMillisecond(at, fields.millisecond, run);
    }
    return out.put(at, nameOf(token, fields, run).view());
}

} // namespace

const char* LiteralReader::step(const char* at) noexcept
{
    if (static_cast<unsigned char>(*at) < 0x80) [[likely]] {
        return at + 1;
    }
    if (!m_locale) {
        m_locale = Platform::LocaleText::current();
    }
    return at + m_locale->step(at);
}

std::string_view LiteralReader::takeQuoted(const char*& at) noexcept
{
    const char quote = *at++;
    const char* const begin = at;
    while (*at != 0 && *at != quote) {
        at = step(at);
    }
    const std::string_view text(begin, static_cast<std::size_t>(at - begin));
    at += *at != 0 ? 1 : 0;
    return text;
}

std::string_view LiteralReader::take(const char*& at) noexcept
{
    if (tokenOf(*at) == Token::quote) {
        return takeQuoted(at);
    }
    const char* const begin = at;
    while (tokenOf(*at) == Token::literal) {
        at = step(at);
    }
    return std::string_view(begin, static_cast<std::size_t>(at - begin));
}

SAnsiString format(const char* pattern, const SDate& date, const STime& time)
{
    const Fields fields = fieldsOf(date, time);
    LiteralReader literals;
    Writer out;
    char* at = out.begin();
    const char* next = pattern != nullptr ? pattern : "";
    for (Token token = tokenOf(*next); token != Token::end; token = tokenOf(*next)) {
        at = out.makeRoom(at);
        if (isLetter(token)) {
            const char* const begin = next;
            next = endOfRun(next);
            if (fields.tells(token)) [[likely]] {
                at = putField(out, at, token, fields, static_cast<std::size_t>(next - begin));
            }
            if (tokenOf(*next) == Token::literal && isSingleLiteral(next)) {
                *at++ = *next++;
            }
        } else if (token == Token::literal && isSingleLiteral(next)) {
            *at++ = *next++;
        } else {
            const char* rest = next;
            at = out.put(at, literals.take(rest));
            next = rest;
        }
    }
    return out.take(at);
}

} // namespace MorvexA106::DateFormat
