#pragma once

/// @file
/// What the classes of names in dates share.

#include "morvex/sstring.h"
#include "platform/localenames.h"

namespace MorvexA106
{

/// The built-in names.
const char* englishWord(std::size_t word) noexcept;

/// Where the word stands, or `localeWordCount` for a number that is none of the group's.
constexpr std::size_t dayWord(Platform::LocaleWord first, int day) noexcept
{
    return day >= 0 && day <= 6 ? first + static_cast<std::size_t>(day) : Platform::localeWordCount;
}
constexpr std::size_t monthWord(Platform::LocaleWord first, int month) noexcept
{
    return month >= 1 && month <= 12 ? first + static_cast<std::size_t>(month - 1)
                                     : Platform::localeWordCount;
}
constexpr std::size_t markWord(bool morning) noexcept
{
    return morning ? Platform::morningMark : Platform::afternoonMark;
}
constexpr std::size_t eraWord(long year) noexcept
{
    return year > 0 ? Platform::commonEra : Platform::eraBefore;
}

/// The mark's first character; the whole mark where that would not tell it from the other one.
SAnsiString shortMark(const SAnsiString& mark, const SAnsiString& other);

/// Eras have a name in every locale, if need be the English one.
constexpr bool isNeverEmpty(std::size_t word) noexcept
{
    return word == Platform::commonEra || word == Platform::eraBefore || word == Platform::signOfFraction;
}

} // namespace MorvexA106
