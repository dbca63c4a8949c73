#include "morvex/slocale.h"

#include "locales.h"
#include "morvex/sdate.h"
#include "morvex/sdatetimestring.h"

#include <gtest/gtest.h>

#include <clocale>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace
{

using Words = std::vector<std::string>;

std::string plain(const SAnsiString& text)
{
    return std::string(text.view());
}

/// All the names that an object, or the class of the current names, has; the numbers around the range too.
template <class Names>
Words wordsOf(const Names& names)
{
    Words words;
    for (int day = -1; day <= 7; ++day) {
        words.push_back(plain(names.GetShortDay(day)));
        words.push_back(plain(names.GetLongDay(day)));
    }
    for (int month = -1; month <= 13; ++month) {
        words.push_back(plain(names.GetShortMonth(month)));
        words.push_back(plain(names.GetLongMonth(month)));
    }
    for (const bool morning : {true, false}) {
        words.push_back(plain(names.GetShortAM(morning)));
        words.push_back(plain(names.GetLongAM(morning)));
    }
    return words;
}

/// The text as the locale in force has it: characters without a form become `?`, or what the system has in their
/// stead.
std::string inForceForm(std::u16string_view text)
{
    SAnsiString bytes;
    bytes.copyFrom(SWCharString(text).getString());
    return plain(bytes);
}

/// The current names under the object's names.
struct Current
{
    static SAnsiString GetShortDay(int day) { return SDateTimeString::GetShortDay(day); }
    static SAnsiString GetLongDay(int day) { return SDateTimeString::GetLongDay(day); }
    static SAnsiString GetShortMonth(int month) { return SDateTimeString::GetShortMonth(month); }
    static SAnsiString GetLongMonth(int month) { return SDateTimeString::GetLongMonth(month); }
    static SAnsiString GetShortAM(bool morning) { return SDateTimeString::GetShortAM(morning); }
    static SAnsiString GetLongAM(bool morning) { return SDateTimeString::GetLongAM(morning); }
};

const Words englishWords = {"",    "",          "Sun", "Sunday",   "Mon", "Monday",   "Tue", "Tuesday",
                            "Wed", "Wednesday", "Thu", "Thursday", "Fri", "Friday",   "Sat", "Saturday",
                            "",    "",          "",    "",         "",    "",         "Jan", "January",
                            "Feb", "February",  "Mar", "March",    "Apr", "April",    "May", "May",
                            "Jun", "June",      "Jul", "July",     "Aug", "August",   "Sep", "September",
                            "Oct", "October",   "Nov", "November", "Dec", "December", "",    "",
                            "A",   "AM",        "P",   "PM"};

const std::vector<const char*> german1252 = {"de_DE.CP1252", "German_Germany.1252"};
const std::vector<const char*> japanese932 = {"ja_JP.CP932", "Japanese_Japan.932"};

bool otherLocalesAreThere()
{
    return LocaleInForce(german1252).found();
}

} // namespace

TEST(SLocale, EnglishIsBuiltIn)
{
    const SLocale english = SLocale::English();
    EXPECT_EQ(wordsOf(english), englishWords);
    EXPECT_EQ(plain(english.GetEra(1)), "A.D.");
    EXPECT_EQ(plain(english.GetEra(-1)), "B.C.");
    EXPECT_EQ(plain(english.GetDecimalSign()), ".");
    EXPECT_EQ(plain(english.GetGroupingSign()), ",");
    EXPECT_TRUE(english.isKnown());
}

TEST(SLocale, UnknownNamesAreEnglish)
{
    struct Row
    {
        const char* name;
        bool known;
    };
    const Row rows[] = {{"C", true},
                        {"POSIX", true},
                        {"en", true},
                        {"en_NOWHERE", true},
                        {"zz_ZZ", false},
                        {"no such locale", false},
                        {"../../etc/passwd", false},
                        {"\xFF\xFE", false},
                        {"zz_ZZ.UTF-8", false}};
    for (const Row& row : rows) {
        const SLocale locale(row.name);
        EXPECT_EQ(locale.isKnown(), row.known) << row.name;
        EXPECT_EQ(wordsOf(locale), englishWords) << row.name;
    }
}

TEST(SLocale, NamesOfAnotherLocaleComeInTheFormOfTheOneInForce)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    const SLocale german("de_DE.CP1252");
    ASSERT_TRUE(german.isKnown());
    const SLocale japanese("ja-JP");
    ASSERT_TRUE(japanese.isKnown());
    const std::vector<std::vector<const char*>> locales = {{"C"}, german1252, japanese932};
    for (const auto& names : locales) {
        const LocaleInForce inForce(names);
        ASSERT_TRUE(inForce.found()) << names[0];
        const std::string before = std::setlocale(LC_ALL, nullptr);
        EXPECT_EQ(plain(german.GetLongMonth(3)), inForceForm(u"M\u00E4rz")) << names[0];
        EXPECT_EQ(plain(japanese.GetLongDay(0)), inForceForm(u"\u65E5\u66DC\u65E5")) << names[0];
        EXPECT_EQ(plain(german.GetLongDay(3)), "Mittwoch") << names[0];
        EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before) << names[0];
    }
}

TEST(SLocale, SignsInNumbersAreTheLocales)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    const SLocale german("de_DE.CP1252");
    EXPECT_EQ(plain(german.GetDecimalSign()), ",");
    EXPECT_EQ(plain(german.GetGroupingSign()), ".");
    const SLocale japanese("ja-JP");
    EXPECT_EQ(plain(japanese.GetDecimalSign()), ".");
    EXPECT_EQ(plain(japanese.GetGroupingSign()), ",");
}

TEST(SLocale, WithoutANameIsTheLocaleInForceWhenItIsMade)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    std::optional<SLocale> kept;
    {
        const LocaleInForce inForce(german1252);
        ASSERT_TRUE(inForce.found());
        kept.emplace();
        EXPECT_EQ(plain(kept->GetLongMonth(3)), "M\xE4rz");
        EXPECT_EQ(plain(kept->GetDecimalSign()), ",");
        EXPECT_EQ(wordsOf(*kept), wordsOf(Current()));
    }
    EXPECT_EQ(plain(kept->GetLongDay(0)), "Sonntag");
    EXPECT_EQ(plain(kept->GetLongMonth(3)), inForceForm(u"M\u00E4rz"));
    EXPECT_TRUE(kept->isKnown());
    EXPECT_EQ(wordsOf(SLocale()), englishWords);
}

TEST(SLocale, MarksThatBeginAlikeAreNotShortened)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    const LocaleInForce inForce(japanese932);
    ASSERT_TRUE(inForce.found());
    const std::string morning = "\x8C\xDF\x91\x4F";
    const std::string afternoon = "\x8C\xDF\x8C\xE3";
    const SLocale japanese("ja-JP");
    EXPECT_EQ(plain(japanese.GetLongAM(true)), morning);
    EXPECT_EQ(plain(japanese.GetShortAM(true)), morning);
    EXPECT_EQ(plain(japanese.GetShortAM(false)), afternoon);
    EXPECT_EQ(plain(SDateTimeString::GetLongAM(false)), afternoon);
    EXPECT_EQ(plain(SDateTimeString::GetShortAM(true)), morning);
}

TEST(SLocale, ErasOfTheCommonCalendarAreNotThoseOfEmperors)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    const LocaleInForce inForce(japanese932);
    ASSERT_TRUE(inForce.found());
    const SLocale japanese("ja-JP");
    for (const long year : {1L, 1872L, 1990L, 2026L}) {
        EXPECT_EQ(plain(japanese.GetEra(year)), "\x90\xBC\x97\xEF") << year;
    }
}

TEST(SDateTimeString, FollowsTheLocaleInForce)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    EXPECT_EQ(wordsOf(Current()), englishWords);
    const LocaleInForce inForce(german1252);
    ASSERT_TRUE(inForce.found());
    EXPECT_EQ(plain(SDateTimeString::GetLongDay(6)), "Samstag");
    EXPECT_EQ(plain(SDateTimeString::GetLongMonth(3)), "M\xE4rz");
    EXPECT_EQ(plain(SDateTimeString::GetShortDay(7)), "");
    EXPECT_EQ(plain(SDateTimeString::GetLongMonth(0)), "");
}

TEST(SDateTimeString, TellsTheEra)
{
    EXPECT_EQ(plain(SDateTimeString::GetEra(SDate::FromDayNumber(1721423))), "A.D."); // 1 January of year 1
    EXPECT_EQ(plain(SDateTimeString::GetEra(SDate::FromDayNumber(1721422))), "B.C.");
    EXPECT_EQ(plain(SDateTimeString::GetEra(SDate::FromDayNumber(-1))), "B.C.");
    EXPECT_EQ(plain(SDateTimeString::GetEra(SDate())), "");
}

TEST(SLocale, CanBeMadeAndAskedByManyThreads)
{
    if (!otherLocalesAreThere()) {
        GTEST_SKIP() << "there is no locale but the built-in ones";
    }
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    const SLocale shared("ja-JP");
    const std::string sunday = inForceForm(u"\u65E5\u66DC\u65E5");
    for (int& count : wrong) {
        threads.emplace_back([&count, &shared, &sunday] {
            for (int i = 0; i < 50; ++i) {
                const SLocale own("ja-JP");
                count += plain(own.GetLongDay(0)) != sunday ? 1 : 0;
                count += plain(shared.GetLongDay(0)) != sunday ? 1 : 0;
                count += plain(SDateTimeString::GetLongDay(0)) != "Sunday" ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(4));
}
