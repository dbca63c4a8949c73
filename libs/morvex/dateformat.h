#pragma once

/// @file
/// Dates and times of day as text, by patterns.

#include "morvex/sdate.h"
#include "morvex/stime.h"
#include "platform/text.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace MorvexA106::DateFormat
{

/// What a unit of a pattern begins. The letters come behind all others, and among them those that always stand for a
/// number of one or two digits behind `day` and `month`, which do so in runs of one or two.
enum class Token : unsigned char
{
    end,
    literal,
    quote,
    year,
    era,
    halfOfDay,
    millisecond,
    day,
    month,
    halfDayHour,
    hour,
    minute,
    second
};

inline constexpr std::size_t tokenCount = 13;

constexpr bool isLetter(Token token) noexcept
{
    return token >= Token::year;
}

/// Whether a run of the letter stands for a number of one or two digits in every date and time.
constexpr bool isTwoDigitNumber(Token token, std::size_t run) noexcept
{
    return token >= Token::day && (run <= 2 || token > Token::month);
}

/// Of every byte.
inline constexpr auto tokensOfBytes = [] {
    std::array<Token, 256> tokens{};
    tokens.fill(Token::literal);
    tokens[0] = Token::end;
    tokens['\''] = tokens['"'] = Token::quote;
    tokens['d'] = Token::day;
    tokens['M'] = Token::month;
    tokens['y'] = Token::year;
    tokens['g'] = Token::era;
    tokens['h'] = Token::halfDayHour;
    tokens['H'] = Token::hour;
    tokens['m'] = Token::minute;
    tokens['s'] = Token::second;
    tokens['S'] = Token::millisecond;
    tokens['t'] = Token::halfOfDay;
    return tokens;
}();

constexpr Token tokenOf(char unit) noexcept
{
    return tokensOfBytes[static_cast<unsigned char>(unit)];
}

/// Behind the run of one letter that begins there.
inline const char* endOfRun(const char* at) noexcept
{
    const char letter = *at;
    while (*++at == letter) {}
    return at;
}

/// Whether the literal text that begins there is a single unit, as are most between two fields.
inline bool isSingleLiteral(const char* at) noexcept
{
    return static_cast<unsigned char>(*at) < 0x80 && tokenOf(at[1]) != Token::literal;
}

/// The literal text in a pattern. The locale must stay as it is.
class LiteralReader
{
public:
    /// Takes the text that begins at `at`, quoted or not, and moves to behind it.
    std::string_view take(const char*& at) noexcept;

private:
    std::string_view takeQuoted(const char*& at) noexcept;
    const char* step(const char* at) noexcept;

    std::optional<Platform::LocaleText> m_locale;
};

/// What stands in the text is the day and the wall-clock time given. What is invalid leaves nothing but the literals.
/// Null is an empty pattern.
SAnsiString format(const char* pattern, const SDate& date, const STime& time);

} // namespace MorvexA106::DateFormat
