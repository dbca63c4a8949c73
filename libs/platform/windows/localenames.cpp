#include "platform/localenames.h"

#include <windows.h>

#include <algorithm>
#include <clocale>
#include <ctime>

namespace MorvexA106::Platform
{

namespace
{

constexpr int longestWord = 128; // units; the system's data have 80 at most

struct Group
{
    std::size_t first;
    LCTYPE item;
    const char* format; ///< the C runtime's, where it has one
};

// The system's days begin with Monday.
constexpr Group groups[] = {
    {firstShortDay, LOCALE_SABBREVDAYNAME1, "%a"},
    {firstLongDay, LOCALE_SDAYNAME1, "%A"},
    {firstShortMonth, LOCALE_SABBREVMONTHNAME1, "%b"},
    {firstLongMonth, LOCALE_SMONTHNAME1, "%B"},
    {morningMark, LOCALE_S1159, "%p"},
    {afternoonMark, LOCALE_S2359, "%p"},
    {commonEra, 0, nullptr},
    {eraBefore, 0, nullptr},
    {signOfFraction, LOCALE_SDECIMAL, nullptr},
    {signOfGroups, LOCALE_STHOUSAND, nullptr},
};

const Group& groupOf(std::size_t word) noexcept
{
    const Group* const next =
        std::find_if(std::begin(groups), std::end(groups), [word](const Group& g) { return g.first > word; });
    return next[-1];
}

bool isDay(const Group& group) noexcept
{
    return group.first < firstShortMonth;
}

LCTYPE itemOf(std::size_t word) noexcept
{
    const Group& group = groupOf(word);
    const std::size_t index = word - group.first;
    return group.item + static_cast<LCTYPE>(isDay(group) ? (index + 6) % 7 : index);
}

/// "de_DE.UTF-8@euro" is "de-DE" here.
std::wstring systemName(const std::string& name)
{
    const std::string place = name.substr(0, name.find_first_of(".@"));
    std::wstring wide(place.begin(), place.end());
    std::replace(wide.begin(), wide.end(), L'_', L'-');
    return wide;
}

std::u16string fromBuffer(const wchar_t* buffer, int unitsWithTerminator)
{
    return unitsWithTerminator > 0 ? std::u16string(buffer, buffer + unitsWithTerminator - 1)
                                   : std::u16string();
}

std::u16string askItem(const wchar_t* locale, LCTYPE item)
{
    wchar_t buffer[longestWord];
    return fromBuffer(buffer, GetLocaleInfoEx(locale, item, buffer, longestWord));
}

/// The system has one name for the calendar's one era.
std::u16string askEra(const wchar_t* locale)
{
    wchar_t buffer[longestWord];
    return fromBuffer(buffer, GetCalendarInfoEx(locale, CAL_GREGORIAN, nullptr, CAL_SERASTRING, buffer,
                                                longestWord, nullptr));
}

std::u16string askWord(const wchar_t* locale, std::size_t word)
{
    switch (word) {
    case commonEra:
        return askEra(locale);
    case eraBefore:
        return {};
    default:
        return askItem(locale, itemOf(word));
    }
}

/// A moment whose day, month or half of the day the word names.
std::tm momentOf(std::size_t word) noexcept
{
    const Group& group = groupOf(word);
    const int index = static_cast<int>(word - group.first);
    std::tm moment{};
    moment.tm_year = 100;
    moment.tm_mday = 1;
    moment.tm_wday = isDay(group) ? index : 0;
    moment.tm_mon = word >= firstShortMonth && word < morningMark ? index : 0;
    moment.tm_hour = word == afternoonMark ? 12 : 0;
    return moment;
}

std::string formatted(std::size_t word)
{
    const char* const format = groupOf(word).format;
    if (format == nullptr) {
        return {};
    }
    const std::tm moment = momentOf(word);
    char buffer[longestWord];
    return std::string(buffer, std::strftime(buffer, sizeof buffer, format, &moment));
}

} // namespace

bool localeWords(const std::string& name, LocaleWords& words)
{
    // An empty name means a locale too, but not one that was asked for.
    const std::wstring system = systemName(name);
    const wchar_t* const locale = name.empty() ? LOCALE_NAME_USER_DEFAULT : system.c_str();
    if (!name.empty() && (system.empty() || !IsValidLocaleName(locale))) {
        return false;
    }
    for (std::size_t word = 0; word < words.size(); ++word) {
        words[word] = askWord(locale, word);
    }
    return true;
}

std::string currentLocaleWord(std::size_t word)
{
    switch (word) {
    case signOfFraction:
        return std::localeconv()->decimal_point;
    case signOfGroups:
        return std::localeconv()->thousands_sep;
    default:
        return formatted(word);
    }
}

} // namespace MorvexA106::Platform
