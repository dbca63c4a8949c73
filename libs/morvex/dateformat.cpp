#include "morvex/dateformat.h"

#include "morvex/calendar.h"
#include "morvex/sdatetimestring.h"
#include "morvex/sstringconvimpl.h"
#include "morvex/textbuilder.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace MorvexA106::DateFormat
{

namespace
{

/// All numbers of two digits, one behind the other.
constexpr auto digitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t number = 0; number < 100; ++number) {
        pairs[2 * number] = static_cast<char>('0' + number / 10);
        pairs[2 * number + 1] = static_cast<char>('0' + number % 10);
    }
    return pairs;
}();

/// Collects text in a buffer of its own, so that a text of usual length costs one allocation. Numbers and single
/// units are put in without a look at the room: whoever puts them has it made, enough for any of our numbers.
class Writer
{
public:
    static constexpr std::size_t roomOfNumber = NumberText::decimalRoom<int>;

    void makeRoom()
    {
        if (m_room.size() - m_used < roomOfNumber) [[unlikely]] {
            flush();
        }
    }
    void put(char unit) noexcept { m_room[m_used++] = unit; }

    /// Below 100.
    void putTwoDigits(int value) noexcept
    {
        std::memcpy(m_room.data() + m_used, &digitPairs[2 * static_cast<std::size_t>(value)], 2);
        m_used += 2;
    }
    void putUnpadded(int value) noexcept
    {
        if (value >= 10) {
            putTwoDigits(value);
            return;
        }
        put(static_cast<char>('0' + value));
    }
    void putInteger(int value) noexcept
    {
        if (value < 0) {
            put('-');
        }
        char* const begin = m_room.data() + m_used;
        m_used +=
            static_cast<std::size_t>(NumberText::writeDecimal(begin, NumberText::magnitudeOf(value)) - begin);
    }

    void put(std::string_view text)
    {
        if (text.size() > m_room.size() - m_used) {
            flush();
        }
        if (text.size() > m_room.size()) {
            append(text);
            return;
        }
        std::memcpy(m_room.data() + m_used, text.data(), text.size());
        m_used += text.size();
    }

    SAnsiString take()
    {
        if (m_text.length() == 0 && m_used != 0) [[likely]] {
            m_text = TextBuilder<char, 0>(m_used);
        }
        flush();
        return SAnsiString(m_text.take());
    }

private:
    void append(std::string_view text) { std::memcpy(m_text.extend(text.size()), text.data(), text.size()); }
    void flush()
    {
        if (m_used != 0) {
            append(std::string_view(m_room.data(), m_used));
            m_used = 0;
        }
    }

    TextBuilder<char, 0> m_text;
    std::array<char, 128> m_room;
    std::size_t m_used = 0;
};

struct Fields
{
    SDate date;
    Calendar::Day day{};
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

Fields fieldsOf(const SDate& date, const STime& time) noexcept
{
    Fields fields;
    fields.date = date;
    if (date.IsValid()) {
        fields.day = Calendar::dayOf(date.GetDayNumber());
    }
    if (time.IsValid()) {
        const std::int32_t count = time.GetTotalMilliseconds();
        fields.hour = count / 3'600'000;
        fields.minute = count / 60'000 % 60;
        fields.second = count / 1000 % 60;
        fields.millisecond = count % 1000;
    }
    return fields;
}

void putNumber(Writer& out, int value, unsigned int run)
{
    if (run == 1) {
        out.putUnpadded(value);
        return;
    }
    out.putTwoDigits(value);
}

void putYear(Writer& out, int year)
{
    if (year >= 1000 && year <= 9999) [[likely]] {
        out.putTwoDigits(year / 100);
        out.putTwoDigits(year % 100);
        return;
    }
    out.putInteger(year);
}

void writeDay(Writer& out, const Fields& fields, unsigned int run)
{
    if (run <= 2) {
        putNumber(out, fields.day.day, run);
        return;
    }
    const int day = Calendar::dayOfWeek(fields.date.GetDayNumber());
    out.put((run == 3 ? SDateTimeString::GetShortDay(day) : SDateTimeString::GetLongDay(day)).view());
}

void writeMonth(Writer& out, const Fields& fields, unsigned int run)
{
    const int month = fields.day.month;
    if (run <= 2) {
        putNumber(out, month, run);
        return;
    }
    out.put((run == 3 ? SDateTimeString::GetShortMonth(month) : SDateTimeString::GetLongMonth(month)).view());
}

void writeYear(Writer& out, const Fields& fields, unsigned int run)
{
    const int year = fields.day.year;
    if (run >= 3) {
        putYear(out, year);
        return;
    }
    putNumber(out, year < 0 ? -(year % 100) : year % 100, run);
}

void writeEra(Writer& out, const Fields& fields, unsigned int)
{
    out.put(SDateTimeString::GetEra(fields.date).view());
}

void writeHalfDayHour(Writer& out, const Fields& fields, unsigned int run)
{
    const int hour = fields.hour % 12;
    putNumber(out, hour != 0 ? hour : 12, run);
}

void writeHour(Writer& out, const Fields& fields, unsigned int run)
{
    putNumber(out, fields.hour, run);
}

void writeMinute(Writer& out, const Fields& fields, unsigned int run)
{
    putNumber(out, fields.minute, run);
}

void writeSecond(Writer& out, const Fields& fields, unsigned int run)
{
    putNumber(out, fields.second, run);
}

void writeMillisecond(Writer& out, const Fields& fields, unsigned int run)
{
    const int value = fields.millisecond;
    if (run == 1 && value < 100) {
        out.putUnpadded(value);
        return;
    }
    out.put(static_cast<char>('0' + value / 100));
    out.putTwoDigits(value % 100);
}

void writeHalfOfDay(Writer& out, const Fields& fields, unsigned int run)
{
    const bool morning = fields.hour < 12;
    out.put((run == 1 ? SDateTimeString::GetShortAM(morning) : SDateTimeString::GetLongAM(morning)).view());
}

enum class Tells
{
    date,
    time
};

struct Token
{
    char letter;
    Tells tells;
    void (*write)(Writer& out, const Fields& fields, unsigned int run);
};

constexpr std::array tokens = {
    Token{'d', Tells::date, writeDay},         Token{'M', Tells::date, writeMonth},
    Token{'y', Tells::date, writeYear},        Token{'g', Tells::date, writeEra},
    Token{'h', Tells::time, writeHalfDayHour}, Token{'H', Tells::time, writeHour},
    Token{'m', Tells::time, writeMinute},      Token{'s', Tells::time, writeSecond},
    Token{'S', Tells::time, writeMillisecond}, Token{'t', Tells::time, writeHalfOfDay},
};

constexpr std::size_t noToken = tokens.size();

/// The place in the table of every byte's token.
constexpr auto tokenPlaces = [] {
    std::array<std::uint8_t, 256> places{};
    places.fill(noToken);
    for (std::size_t place = 0; place < tokens.size(); ++place) {
        places[static_cast<unsigned char>(tokens[place].letter)] = static_cast<std::uint8_t>(place);
    }
    return places;
}();

std::size_t placeOf(char letter) noexcept
{
    return tokenPlaces[static_cast<unsigned char>(letter)];
}

/// Most are a single sign between two fields.
void putLiteral(Writer& out, std::string_view literal)
{
    if (literal.size() == 1) {
        out.put(literal.front());
        return;
    }
    out.put(literal);
}

bool isQuote(char unit) noexcept
{
    return unit == '\'' || unit == '"';
}

} // namespace

const char* PatternReader::step(const char* at) noexcept
{
    if (static_cast<unsigned char>(*at) < 0x80) [[likely]] {
        return at + 1;
    }
    if (!m_locale) {
        m_locale = Platform::LocaleText::current();
    }
    return at + m_locale->step(at);
}

void PatternReader::takeQuoted(Piece& piece) noexcept
{
    const char quote = *m_at++;
    const char* const begin = m_at;
    while (*m_at != 0 && *m_at != quote) {
        m_at = step(m_at);
    }
    piece.literal = std::string_view(begin, static_cast<std::size_t>(m_at - begin));
    m_at += *m_at != 0 ? 1 : 0;
}

void PatternReader::takeLiteral(Piece& piece) noexcept
{
    const char* const begin = m_at;
    while (*m_at != 0 && !isQuote(*m_at) && placeOf(*m_at) == noToken) {
        m_at = step(m_at);
    }
    piece.literal = std::string_view(begin, static_cast<std::size_t>(m_at - begin));
}

bool PatternReader::next(Piece& piece) noexcept
{
    const char first = *m_at;
    if (first == 0) {
        return false;
    }
    piece.letter = 0;
    if (isQuote(first)) {
        takeQuoted(piece);
        return true;
    }
    if (placeOf(first) == noToken) {
        takeLiteral(piece);
        return true;
    }
    const char* const begin = m_at;
    while (*m_at == first) {
        ++m_at;
    }
    piece.letter = first;
    piece.run = static_cast<unsigned int>(m_at - begin);
    return true;
}

SAnsiString format(const char* pattern, const SDate& date, const STime& time)
{
    const Fields fields = fieldsOf(date, time);
    PatternReader reader(pattern);
    Writer out;
    for (Piece piece; reader.next(piece);) {
        out.makeRoom();
        if (piece.letter == 0) {
            putLiteral(out, piece.literal);
            continue;
        }
        const Token& token = tokens[placeOf(piece.letter)];
        if (token.tells == Tells::date ? date.IsValid() : time.IsValid()) {
            token.write(out, fields, piece.run);
        }
    }
    return out.take();
}

} // namespace MorvexA106::DateFormat
