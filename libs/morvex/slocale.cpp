#include "morvex/slocale.h"

#include "morvex/badalloc.h"
#include "morvex/localewords.h"

#include <array>
#include <utility>

namespace MorvexA106
{

using Platform::localeWordCount;
using Platform::LocaleWords;

namespace
{

constexpr const char* english[localeWordCount] = {
    "Sun",      "Mon",       "Tue",      "Wed",    "Thu",      "Fri",  "Sat",    "Sunday",    "Monday",
    "Tuesday",  "Wednesday", "Thursday", "Friday", "Saturday", "Jan",  "Feb",    "Mar",       "Apr",
    "May",      "Jun",       "Jul",      "Aug",    "Sep",      "Oct",  "Nov",    "Dec",       "January",
    "February", "March",     "April",    "May",    "June",     "July", "August", "September", "October",
    "November", "December",  "AM",       "PM",     "A.D.",     "B.C.", ".",      ",",
};

bool isEnglish(const std::string& name)
{
    const std::string language = name.substr(0, name.find_first_of("_-.@"));
    return language == "en" || language == "C" || language == "POSIX";
}

bool isBuiltIn(const std::string& name)
{
    return isEnglish(name) && name.substr(0, 2) != "en";
}

SWCharString wideText(const std::u16string& units)
{
    return SWCharString(std::u16string_view(units));
}

SWCharString wideText(const std::string& bytes)
{
    SWCharString text;
    text.copyFrom(bytes.c_str());
    return text;
}

} // namespace

/// 16-bit text has a form for every name, and is turned into the caller's locale when it is asked for.
struct SLocale::Names
{
    std::array<SWCharString, localeWordCount> words;

    template <class Source>
    explicit Names(Source wordAt)
    {
        for (std::size_t word = 0; word < words.size(); ++word) {
            words[word] = wideText(wordAt(word));
            if (words[word].isEmpty() && isNeverEmpty(word)) {
                words[word] = wideText(std::string(englishWord(word)));
            }
        }
    }

    /// Empty text for a word that there is not.
    SAnsiString text(std::size_t word) const
    {
        SAnsiString bytes;
        if (word < words.size()) {
            bytes.copyFrom(words[word].getString());
        }
        return bytes;
    }

    static std::shared_ptr<const Names> english()
    {
        // Kept until the process is gone: destructors of static objects may ask.
        static const auto& kept = *new const std::shared_ptr<const Names>(
            std::make_shared<const Names>([](std::size_t word) { return std::string(englishWord(word)); }));
        return kept;
    }

    static std::shared_ptr<const Names> current()
    {
        return std::make_shared<const Names>(&Platform::currentLocaleWord);
    }

    /// Null where the system doesn't know the name.
    static std::shared_ptr<const Names> named(const std::string& name)
    {
        LocaleWords found;
        if (!Platform::localeWords(name, found)) {
            return nullptr;
        }
        return std::make_shared<const Names>([&found](std::size_t word) { return found[word]; });
    }
};

const char* englishWord(std::size_t word) noexcept
{
    return english[word];
}

SAnsiString shortMark(const SAnsiString& mark, const SAnsiString& other)
{
    const SAnsiString first = mark.left(1);
    return first.compareBinary(other.left(1)) == 0 ? mark : first;
}

SLocale::SLocale() : m_names(sayingBadAllocation([] { return Names::current(); })), m_known(true) {}

SLocale::SLocale(const SAnsiString& name) : m_known(true)
{
    sayingBadAllocation([&] {
        const std::string asked(name.view());
        m_names = isBuiltIn(asked) ? Names::english() : Names::named(asked);
        if (!m_names) {
            m_names = Names::english();
            m_known = isEnglish(asked);
        }
    });
}

SLocale::SLocale(std::shared_ptr<const Names> names, bool known) noexcept
    : m_names(std::move(names)),
      m_known(known)
{}

SLocale SLocale::English()
{
    return SLocale(sayingBadAllocation([] { return Names::english(); }), true);
}

SAnsiString SLocale::GetShortDay(int day) const
{
    return m_names->text(dayWord(Platform::firstShortDay, day));
}

SAnsiString SLocale::GetLongDay(int day) const
{
    return m_names->text(dayWord(Platform::firstLongDay, day));
}

SAnsiString SLocale::GetShortMonth(int month) const
{
    return m_names->text(monthWord(Platform::firstShortMonth, month));
}

SAnsiString SLocale::GetLongMonth(int month) const
{
    return m_names->text(monthWord(Platform::firstLongMonth, month));
}

SAnsiString SLocale::GetShortAM(bool morning) const
{
    return shortMark(GetLongAM(morning), GetLongAM(!morning));
}

SAnsiString SLocale::GetLongAM(bool morning) const
{
    return m_names->text(markWord(morning));
}

SAnsiString SLocale::GetEra(long year) const
{
    return m_names->text(eraWord(year));
}

SAnsiString SLocale::GetDecimalSign() const
{
    return m_names->text(Platform::signOfFraction);
}

SAnsiString SLocale::GetGroupingSign() const
{
    return m_names->text(Platform::signOfGroups);
}

} // namespace MorvexA106
