#pragma once

/// @file
/// The names and signs of a language and country, as the system's data have them.

#include <array>
#include <cstddef>
#include <string>

namespace MorvexA106::Platform
{

/// Where a group of words begins. Days begin with Sunday, months with January.
enum LocaleWord : std::size_t
{
    firstShortDay = 0,
    firstLongDay = 7,
    firstShortMonth = 14,
    firstLongMonth = 26,
    morningMark = 38,
    afternoonMark,
    commonEra,
    eraBefore,
    signOfFraction,
    signOfGroups,
    localeWordCount
};

/// In UTF-16. Eras and marks that the locale doesn't have are empty.
using LocaleWords = std::array<std::u16string, localeWordCount>;

/// The words of a named locale, or with an empty name of the one that the environment or the user asks for. False,
/// with some of the words changed, when the system doesn't know the name. May be called from any thread. Throws
/// std::bad_alloc.
///
/// POSIX: the calling thread is in that locale for the length of the call.
bool localeWords(const std::string& name, LocaleWords& words);

/// A word of the locale in force, in its own multibyte form. Throws std::bad_alloc.
///
/// POSIX: the calling thread's locale. Windows: the C runtime's, which knows no eras.
std::string currentLocaleWord(std::size_t word);

} // namespace MorvexA106::Platform
