#include "platform/localenames.h"

#include "platform/text.h"
#include "platform/utf16.h"

#include <algorithm>
#include <charconv>
#include <langinfo.h>
#include <locale.h>
#include <memory>
#include <mutex>
#include <string_view>
#include <type_traits>

namespace MorvexA106::Platform
{

namespace
{

struct FreeLocale
{
    void operator()(locale_t locale) const noexcept { freelocale(locale); }
};
using OwnedLocale = std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale>;

/// Puts a locale in force on this thread while it lives.
class ThreadInLocale
{
public:
    explicit ThreadInLocale(const OwnedLocale& locale) noexcept : m_before(uselocale(locale.get())) {}
    ~ThreadInLocale() { uselocale(m_before); }
    ThreadInLocale(const ThreadInLocale&) = delete;
    ThreadInLocale& operator=(const ThreadInLocale&) = delete;

private:
    locale_t m_before;
};

struct Group
{
    std::size_t first;
    nl_item item;
};

constexpr Group groups[] = {
    {firstShortDay, ABDAY_1}, {firstLongDay, DAY_1},   {firstShortMonth, ABMON_1},  {firstLongMonth, MON_1},
    {morningMark, AM_STR},    {afternoonMark, PM_STR}, {signOfFraction, RADIXCHAR}, {signOfGroups, THOUSEP},
};

/// The items of a group stand in a row, in the system's numbering as in ours. Eras have no item of their own.
nl_item itemOf(std::size_t word) noexcept
{
    const Group* const next = std::ranges::find_if(groups, [word](const Group& g) { return g.first > word; });
    const Group& group = next[-1];
    return group.item + static_cast<nl_item>(word - group.first);
}

/// How many eras the locale in force has: the number comes in place of the pointer.
unsigned int eraCount() noexcept
{
    const auto number = reinterpret_cast<std::uintptr_t>(nl_langinfo(_NL_TIME_ERA_NUM_ENTRIES));
    return static_cast<unsigned int>(number);
}

std::string_view takeField(std::string_view& rest) noexcept
{
    const std::size_t colon = std::min(rest.find(':'), rest.size());
    const std::string_view field = rest.substr(0, colon);
    rest.remove_prefix(std::min(colon + 1, rest.size()));
    return field;
}

/// The name of an era `direction:offset:start:end:name:format` (POSIX, LC_TIME) that begins with its year 1 at the
/// year given, in which case years are counted as they are everywhere; else empty.
std::string_view nameOfEraFrom(std::string_view era, int year) noexcept
{
    takeField(era);
    const std::string_view offset = takeField(era);
    const std::string_view start = takeField(era);
    takeField(era);
    int startYear = 0;
    std::from_chars(start.data(), start.data() + start.size(), startYear);
    return offset == "1" && startYear == year ? takeField(era) : std::string_view();
}

std::string currentEra(int firstYear)
{
    const char* era = nl_langinfo(ERA);
    for (unsigned int left = eraCount(); left != 0; --left) {
        const std::string_view entry = era;
        const std::string_view name = nameOfEraFrom(entry, firstYear);
        if (!name.empty()) {
            return std::string(name);
        }
        era += entry.size() + 1;
    }
    return {};
}

/// Text of the locale in force, walked as all its text is: a byte that is no character becomes `?`.
std::u16string widened(const std::string& word)
{
    const LocaleText locale = LocaleText::current();
    std::u16string units;
    const char* at = word.c_str();
    WideCode character = 0;
    for (int bytes = locale.decode(at, character); bytes != 0; bytes = locale.decode(at, character)) {
        unsigned short pair[2];
        units.append(pair, putUnits(bytes < 0 ? U'?' : character, pair));
        at += std::max(bytes, 1);
    }
    return units;
}

bool readWords(const char* name, LocaleWords& words)
{
    // One after the other: what the C library does to keep loaded locales from each other's threads can't be seen from
    // outside, so that a tool which looks for races would report them.
    static std::mutex loading;
    const std::lock_guard guard(loading);
    const OwnedLocale locale(newlocale(LC_ALL_MASK, name, locale_t{}));
    if (!locale) {
        return false;
    }
    const ThreadInLocale inForce(locale);
    for (std::size_t word = 0; word < words.size(); ++word) {
        words[word] = widened(currentLocaleWord(word));
    }
    return true;
}

} // namespace

bool localeWords(const std::string& name, LocaleWords& words)
{
    if (readWords(name.c_str(), words)) {
        return true;
    }
    if (name.find('.') != std::string::npos) {
        return false;
    }
    std::string withCodeSet = name + ".UTF-8";
    std::ranges::replace(withCodeSet.begin(), withCodeSet.begin() + static_cast<std::ptrdiff_t>(name.size()),
                         '-', '_');
    return readWords(withCodeSet.c_str(), words);
}

std::string currentLocaleWord(std::size_t word)
{
    switch (word) {
    case commonEra:
        return currentEra(1);
    case eraBefore:
        return currentEra(-1);
    default:
        return nl_langinfo(itemOf(word));
    }
}

} // namespace MorvexA106::Platform
