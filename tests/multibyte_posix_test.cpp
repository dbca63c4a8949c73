#include "platform/collation.h"
#include "platform/text.h"

#include "morvex/sstring.h"

#include "locales.h"
#include "locales_posix.h"
#include "opened.h"
#include "recorder.h"

#include <climits>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <locale.h>
#include <random>
#include <string>
#include <thread>

using namespace MorvexA106;
using Platform::LocaleText;

namespace
{

/// The C library's own answer, with a state of its own for every character.
int referenceLength(const char* text)
{
    std::mbstate_t state{};
    const std::size_t limit = std::min<std::size_t>(std::strlen(text), 6);
    const std::size_t length = limit == 0 ? 0 : std::mbrlen(text, limit, &state);
    return length > limit ? -1 : static_cast<int>(length);
}

void expectWalk(const std::string& text, const LocaleText& locale)
{
    const char* at = text.c_str();
    SAnsiString::iterator cursor(at);
    unsigned int count = 0;
    while (*at != 0) {
        const int expected = referenceLength(at);
        ASSERT_EQ(locale.length(at), expected) << testing::PrintToString(text);
        ++cursor;
        at += expected < 0 ? 1 : expected;
        ASSERT_EQ(cursor.getCursor(), at) << testing::PrintToString(text);
        ++count;
    }
    ASSERT_EQ(SAnsiString(text.c_str()).getNChars(), count);
}

/// Puts a locale in force for this thread alone.
class ThreadLocale
{
public:
    explicit ThreadLocale(locale_t locale) : m_locale(locale), m_before(uselocale(m_locale)) {}
    ~ThreadLocale()
    {
        uselocale(m_before);
        freelocale(m_locale);
    }
    ThreadLocale(const ThreadLocale&) = delete;
    ThreadLocale& operator=(const ThreadLocale&) = delete;

private:
    locale_t m_locale;
    locale_t m_before;
};

} // namespace

TEST(Walking, AgreesWithTheLibraryOnEveryPairAndOnNoise)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        const LocaleText locale = LocaleText::current();
        std::string text;
        for (int first = 1; first < 256; ++first) {
            for (int second = 1; second < 256; second += (first < 0x80 ? 31 : 1)) {
                text = {static_cast<char>(first), static_cast<char>(second), 'x'};
                ASSERT_NO_FATAL_FAILURE(expectWalk(text, locale)) << name;
            }
        }
        for (int round = 0; round < 3000; ++round) {
            text.clear();
            for (unsigned i = random() % 20; i > 0; --i) {
                // Bytes that leads and trails are made of, with the boundaries of the UTF-8 forms among them.
                static constexpr unsigned char edges[] = {
                    0x7F, 0x80, 0xBF, 0xC0, 0xC1, 0xC2, 0xE0, 0xED, 0xA0, 0x9F, 0xEF, 0xF0, 0x8F, 0x90,
                    0xF4, 0xF7, 0xF8, 0x88, 0x87, 0xFC, 0x84, 0x83, 0xFD, 0xFE, 0xFF, 0x8E, 0x41};
                const unsigned draw = random();
                text +=
                    static_cast<char>(draw % 3 == 0 ? draw / 3 % 255 + 1 : edges[draw / 3 % sizeof edges]);
            }
            ASSERT_NO_FATAL_FAILURE(expectWalk(text, locale)) << name;
        }
    }
}

TEST(Walking, EveryUtf8CharacterIsReadAndWrittenAsTheLibraryDoes)
{
    const LocaleInForce inForce({"en_US.UTF-8"});
    ASSERT_TRUE(inForce.found());
    const LocaleText locale = LocaleText::current();
    for (char32_t code = 1; code < 0x80000000; code += code < 0x11000 ? 1 : 0x1FFF1) {
        char expected[16] = {};
        char actual[16] = {};
        std::mbstate_t state{};
        const auto length = static_cast<int>(std::wcrtomb(expected, static_cast<wchar_t>(code), &state));
        ASSERT_EQ(locale.encode(code, actual), length) << static_cast<unsigned>(code);
        if (length > 0) {
            char32_t read = 0;
            ASSERT_STREQ(actual, expected) << static_cast<unsigned>(code);
            ASSERT_EQ(locale.decode(actual, read), length) << static_cast<unsigned>(code);
            ASSERT_TRUE(read == code);
        }
    }
}

TEST(Walking, FollowsTheThreadsOwnLocale)
{
    locale_t utf8 = nullptr;
    {
        const LocaleInForce inForce({"en_US.UTF-8"});
        ASSERT_TRUE(inForce.found());
        utf8 = duplocale(LC_GLOBAL_LOCALE);
    }
    const SAnsiString text("\xE2\x82\xAC");
    unsigned int inThread = 0;
    std::thread other([&] {
        const ThreadLocale mine(utf8);
        inThread = text.getNChars();
    });
    EXPECT_EQ(text.getNChars(), 3u);
    other.join();
    EXPECT_EQ(inThread, 1u);
}

TEST(Walking, NothingIsRememberedOfABadSequence)
{
    const LocaleInForce inForce({"ja_JP.CP932"});
    ASSERT_TRUE(inForce.found());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(SAnsiString("a\x83").getNChars(), 2u);
        EXPECT_EQ(SAnsiString("\x41\x83\x41").getNChars(), 2u);
    }
}

TEST(CaseInUtf8, MappingsThatChangeTheSizeKeepTheRest)
{
    struct Row
    {
        const char* locale;
        const char* text;
        const char* upper;
        const char* lower;
    };
    const Row rows[] = {
        {"en_US.UTF-8", "x\xC4\xB1y", "XIY", "x\xC4\xB1y"},                // U+0131 shrinks
        {"en_US.UTF-8", "x\xE2\xB1\xA5y", "X\xC8\xBAY", "x\xE2\xB1\xA5y"}, // U+2C65 shrinks
        {"en_US.UTF-8", "x\xC8\xBAy", "X\xC8\xBAY", "x\xE2\xB1\xA5y"},     // U+023A grows
        {"en_US.UTF-8", "\xE1\xBA\x9E!", "\xE1\xBA\x9E!", "\xC3\x9F!"},    // U+1E9E shrinks
        {"tr_TR.UTF-8", "iI\xC4\xB0\xC4\xB1", "\xC4\xB0I\xC4\xB0I", "i\xC4\xB1i\xC4\xB1"},
        {"en_US.UTF-8", "a\xFF\xC3z", "A\xFF\xC3Z", "a\xFF\xC3z"}, // no characters: copied
    };
    for (const Row& row : rows) {
        const LocaleInForce inForce({row.locale});
        ASSERT_TRUE(inForce.found());
        for (const bool upper : {true, false}) {
            Opened<SString_t<char, 0>> text(row.text);
            const auto length = text.length();
            upper ? text.toUpper() : text.toLower();
            EXPECT_STREQ(text, upper ? row.upper : row.lower) << row.text;
            EXPECT_EQ(text.length(), length) << "the recorded length stays";
            EXPECT_GT(text.capacity(), std::strlen(text)) << "the text fits its buffer";
            EXPECT_STREQ(SAnsiString(text.getString()) + "!",
                         (std::string(upper ? row.upper : row.lower) + "!").c_str());
        }
    }
}

TEST(CaseInUtf8, ManyGrowingCharactersStayLinearAndInside)
{
    const LocaleInForce inForce({"en_US.UTF-8"});
    std::string grown;
    SAnsiString text;
    for (int i = 0; i < 100000; ++i) {
        text += "\xC8\xBA";
        grown += "\xE2\xB1\xA5";
    }
    text.toLower();
    EXPECT_STREQ(text, grown.c_str());
}

TEST(CaseInUtf8, FindingWithoutCaseSurvivesAChangeOfSize)
{
    const LocaleInForce inForce({"en_US.UTF-8"});
    const SAnsiStringCI text("\xC8\xBA\xC8\xBA-\xC3\x89t\xC3\xA9");
    EXPECT_STREQ(text.find("\xC3\xA9T").getCursor(), "\xC3\x89t\xC3\xA9");
    EXPECT_TRUE(SAnsiStringCI("\xE2\xB1\xA5") == "\xC8\xBA");
}

TEST(CaseInCodePage, ACharacterWithoutAWayBackIsReportedAndCopied)
{
    const LocaleInForce inForce({"de_DE.CP1252"});
    ASSERT_TRUE(inForce.found());
    Recorder recorder;
    SAnsiString text("a\xB5z"); // the micro sign's capital is Greek
    text.toUpper();
    EXPECT_STREQ(text, "A\xB5Z");
    EXPECT_EQ(recorder.count("(false : MakeUpperCaseChar: Fail to convert back to MBCS)"), 1);
    EXPECT_EQ(recorder.count("(MakeUpperCaseChar(dest, &charSize) : no message)"), 1);
}

TEST(Collation, DifferentTextIsNeverEqual)
{
    const LocaleInForce inForce({"en_US.UTF-8"});
    // The locale's tables give none of these a weight.
    EXPECT_FALSE(SAnsiString("\xEA\xB0\x80") == "\xEA\xB0\x81");
    EXPECT_FALSE(SAnsiString("\xF0\x9F\xA5\xB0") == "\xF0\x9F\xA5\xB1");
    EXPECT_TRUE(SAnsiString("\xEA\xB0\x80") < "\xEA\xB0\x81");
    EXPECT_TRUE(SAnsiString("a") < "B") << "the locale's order, not that of bytes";
    EXPECT_GT(SAnsiString("a").compareBinary("B"), 0);
    const unsigned short left[] = {0xAC00, 0};
    const unsigned short right[] = {0xAC01, 0};
    EXPECT_TRUE(SWCharString(left) < right && SWCharString(left) != right);
    const unsigned short small[] = {'a', 0};
    const unsigned short capital[] = {'B', 0};
    EXPECT_TRUE(SWCharString(small) < capital);
}

TEST(WideText, PairsAreOneCharacterToTheSystem)
{
    const LocaleInForce inForce({"en_US.UTF-8"});
    const unsigned short small[] = {'x', 0xD801, 0xDC28, 0xD83D, 0xDE00, 0xD801, 0};
    const unsigned short capital[] = {'X', 0xD801, 0xDC00, 0xD83D, 0xDE00, 0xD801, 0};
    SWCharString text(small);
    EXPECT_EQ(text.getNChars(), 6u);
    EXPECT_EQ(text.compareNoCase(capital), 0);
    text.toUpper();
    EXPECT_EQ(text.compareBinary(capital), 0);
    const unsigned short otherPair[] = {'x', 0xD801, 0xDC29, 0xD83D, 0xDE00, 0xD801, 0};
    EXPECT_NE(SWCharString(small).compareNoCase(otherPair), 0);
}

namespace
{

/// Small letters by the C library, one character after the other; what is no character is copied.
std::string referenceFolded(const char* text)
{
    std::string folded;
    while (*text != 0) {
        std::mbstate_t state{};
        wchar_t wide = 0;
        char bytes[MB_LEN_MAX];
        const int length = referenceLength(text);
        if (length > 0) {
            std::mbrtowc(&wide, text, static_cast<std::size_t>(length), &state);
        }
        state = {};
        const std::size_t mapped =
            length < 0
                ? static_cast<std::size_t>(-1)
                : std::wcrtomb(bytes, static_cast<wchar_t>(std::towlower(static_cast<wint_t>(wide))), &state);
        const auto taken = static_cast<std::size_t>(length < 0 ? 1 : length);
        folded.append(mapped == static_cast<std::size_t>(-1) ? text : bytes,
                      mapped == static_cast<std::size_t>(-1) ? taken : mapped);
        text += taken;
    }
    return folded;
}

int sign(int order)
{
    return (order > 0) - (order < 0);
}

int referenceNoCase(const std::string& left, const std::string& right)
{
    const std::string l = referenceFolded(left.c_str());
    const std::string r = referenceFolded(right.c_str());
    const int order = std::strcoll(l.c_str(), r.c_str());
    return sign(order != 0 ? order : std::strcmp(l.c_str(), r.c_str()));
}

} // namespace

TEST(ComparingWithoutCase, AgreesWithFoldingFirstAndCollatingThen)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        for (int round = 0; round < 4000; ++round) {
            // Long equal beginnings in the two cases, with an I, other characters or a difference here and there.
            std::string left;
            std::string right;
            for (unsigned i = random() % 100; i > 0; --i) {
                const char letter = static_cast<char>((random() % 40 == 0 ? 'i' : 'j') + random() % 12);
                left += random() % 2 == 0 ? letter : static_cast<char>(letter - 0x20);
                right += random() % 2 == 0 ? letter : static_cast<char>(letter - 0x20);
            }
            if (const unsigned draw = random() % 8; draw < 6 && !left.empty()) {
                static constexpr const char* odd[] = {"\xC4", "\xE4", "\x83\x5C", "\xC3\xA4", "@", "["};
                left.replace(random() % left.size(), 1, odd[draw]);
                right.replace(random() % right.size(), 1, odd[random() % 6]);
            }
            ASSERT_EQ(SAnsiString(left.c_str()).compareNoCase(SAnsiString(right.c_str())),
                      referenceNoCase(left, right))
                << name << testing::PrintToString(left) << testing::PrintToString(right);
        }
    }
}

TEST(ComparingWithoutCase, TheLocalesWordOnAsciiHoldsForItsCharacters)
{
    for (const char* name : localeNames) {
        const LocaleInForce inForce({name});
        ASSERT_TRUE(inForce.found()) << name;
        bool plain = true;
        for (wint_t letter = 'A'; letter <= 'Z'; ++letter) {
            plain = plain && std::towlower(letter) == letter + 0x20 && std::towupper(letter + 0x20) == letter;
        }
        EXPECT_EQ(Platform::foldsLikeAscii(), plain) << name;
    }
}
