#pragma once

/// @file
/// Dates and times of day as text, by patterns.

#include "morvex/sdate.h"
#include "morvex/stime.h"
#include "platform/text.h"

#include <optional>
#include <string_view>

namespace MorvexA106::DateFormat
{

/// One piece of a pattern: a run of one token's letter, or literal text (and then no letter).
struct Piece
{
    char letter = 0;
    unsigned int run = 0;
    std::string_view literal;
};

/// Takes a pattern apart. The pattern must outlive the reader and its pieces, the locale stay as it is.
class PatternReader
{
public:
    /// Null is an empty pattern.
    explicit PatternReader(const char* pattern) noexcept : m_at(pattern != nullptr ? pattern : "") {}

    /// False at the end.
    bool next(Piece& piece) noexcept;

private:
    void takeQuoted(Piece& piece) noexcept;
    void takeLiteral(Piece& piece) noexcept;
    const char* step(const char* at) noexcept;

    const char* m_at;
    std::optional<Platform::LocaleText> m_locale;
};

/// What stands in the text is the day and the wall-clock time given. What is invalid leaves nothing but the literals.
SAnsiString format(const char* pattern, const SDate& date, const STime& time);

} // namespace MorvexA106::DateFormat
