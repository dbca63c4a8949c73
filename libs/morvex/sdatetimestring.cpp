#include "morvex/sdatetimestring.h"

#include "morvex/badalloc.h"
#include "morvex/localewords.h"
#include "morvex/sdate.h"

#include <cstdint>
#include <string>

namespace MorvexA106
{

namespace
{

constexpr std::int32_t firstDayOfYearOne = 1721423;

SAnsiString current(std::size_t word)
{
    if (word >= Platform::localeWordCount) {
        return {};
    }
    return sayingBadAllocation([word] {
        const std::string text = Platform::currentLocaleWord(word);
        return SAnsiString(text.empty() && isNeverEmpty(word) ? englishWord(word) : text.c_str());
    });
}

} // namespace

SAnsiString SDateTimeString::GetShortDay(int day)
{
    return current(dayWord(Platform::firstShortDay, day));
}

SAnsiString SDateTimeString::GetLongDay(int day)
{
    return current(dayWord(Platform::firstLongDay, day));
}

SAnsiString SDateTimeString::GetShortMonth(int month)
{
    return current(monthWord(Platform::firstShortMonth, month));
}

SAnsiString SDateTimeString::GetLongMonth(int month)
{
    return current(monthWord(Platform::firstLongMonth, month));
}

SAnsiString SDateTimeString::GetShortAM(bool morning)
{
    return shortMark(GetLongAM(morning), GetLongAM(!morning));
}

SAnsiString SDateTimeString::GetLongAM(bool morning)
{
    return current(markWord(morning));
}

SAnsiString SDateTimeString::GetEra(const SDate& date)
{
    if (!date.IsValid()) {
        return {};
    }
    return current(date.GetDayNumber() < firstDayOfYearOne ? Platform::eraBefore : Platform::commonEra);
}

} // namespace MorvexA106
