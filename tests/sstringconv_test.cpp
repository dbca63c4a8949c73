#include "morvex/sstringconv.h"

#include "locales.h"
#include "recorder.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

const std::vector<const char*> german = {"de_DE.CP1252", "German_Germany.1252"};
const std::vector<const char*> pashto = {"ps_AF.UTF-8"};

std::string narrow(const SWCharString& text)
{
    std::string bytes;
    for (const unsigned short* unit = text; *unit != 0; ++unit) {
        bytes += static_cast<char>(*unit);
    }
    return bytes;
}

SWCharString wide(std::string_view text)
{
    SWCharString units;
    for (const char byte : text) {
        units += static_cast<unsigned short>(static_cast<unsigned char>(byte));
    }
    return units;
}

template <class N>
std::string standardText(N value, int base)
{
    char digits[70];
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, value, base).ptr);
}

/// All bits at random, or only some of the low ones, or close to a boundary.
template <class N>
N someInteger(std::mt19937_64& random)
{
    const auto bits = random();
    switch (random() % 4) {
    case 0:
        return static_cast<N>(bits);
    case 1:
        return static_cast<N>(std::numeric_limits<N>::max() - static_cast<N>(bits % 3));
    case 2:
        return static_cast<N>(std::numeric_limits<N>::min() + static_cast<N>(bits % 3));
    default:
        return static_cast<N>(static_cast<N>(bits >> random() % 64) * (bits % 2 != 0 ? 1 : -1));
    }
}

template <class N>
void expectTextOf(N value, unsigned base)
{
    const std::string expected = standardText(value, static_cast<int>(base));
    ASSERT_EQ(SStringConv::ToString(value, base).view(), expected) << "base " << base;
    ASSERT_EQ(narrow(SWCharStringConv::ToString(value, base)), expected);

    char buffer[80];
    for (const std::size_t room : {sizeof buffer - 1, expected.size() + 1, expected.size()}) {
        std::memset(buffer, '#', sizeof buffer);
        const unsigned length = SStringConv::ToBuffer(value, std::span(buffer, room), base);
        ASSERT_EQ(length, room > expected.size() ? expected.size() : 0);
        ASSERT_EQ(std::string(buffer, length), expected.substr(0, length));
        ASSERT_EQ(buffer[length], length != 0 ? 0 : '#');
        ASSERT_EQ(buffer[room], '#') << "past the end";
    }
    unsigned short units[80];
    const unsigned length = SWCharStringConv::ToBuffer(value, units, base);
    ASSERT_EQ(std::string(units, units + length), expected);
    ASSERT_EQ(units[length], 0);
}

/// The plain rules: one sign, digits to the end, and the standard's opinion on the range.
template <class N>
std::optional<N> standardNumber(std::string text, int base)
{
    if (text.starts_with('+')) {
        text.erase(0, 1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    N value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const bool taken = error == std::errc() && end == text.data() + text.size();
    return taken ? std::optional(value) : std::nullopt;
}

template <class N>
void expectNumberOf(const std::string& text, unsigned base)
{
    const std::optional<N> expected = standardNumber<N>(text, static_cast<int>(base));
    constexpr N before = 42;
    N fromPointer = before;
    N fromView = before;
    N fromString = before;
    N fromWide = before;
    N fromWideView = before;
    const SWCharString units = wide(text);
    ASSERT_EQ(StringConvToInteger(text.c_str(), fromPointer, base), expected.has_value()) << text;
    ASSERT_EQ(StringConvToInteger(text, fromView, base), expected.has_value()) << text;
    ASSERT_EQ(StringConvToInteger(SAnsiString(text.c_str()), fromString, base), expected.has_value()) << text;
    ASSERT_EQ(StringConvToInteger(units, fromWide, base), expected.has_value()) << text;
    ASSERT_EQ(StringConvToInteger(units.view(), fromWideView, base), expected.has_value()) << text;
    for (const N value : {fromPointer, fromView, fromString, fromWide, fromWideView}) {
        ASSERT_EQ(value, expected.value_or(before)) << text << " base " << base;
    }
}

/// A number's text with something wrong about it, more often than not.
std::string damaged(std::string text, std::mt19937_64& random)
{
    constexpr std::string_view pieces = "0190-+ .azAZ/:@[`{xX_\xB2";
    const auto piece = [&] { return pieces[random() % pieces.size()]; };
    switch (random() % 6) {
    case 0:
        return text;
    case 1:
        return text + piece();
    case 2:
        return piece() + text;
    case 3:
        text[random() % text.size()] = piece();
        return text;
    case 4:
        return std::string(random() % 70, '0') + text;
    default:
        return text.substr(0, random() % (text.size() + 1));
    }
}

template <class N>
void convertManyBothWays(unsigned seed)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << sizeof(N) << " bytes, "
                                    << (std::is_signed_v<N> ? "signed" : "unsigned"));
    std::mt19937_64 random(seed);
    for (int i = 0; i < 4000 && !testing::Test::HasFatalFailure(); ++i) {
        const N value = someInteger<N>(random);
        const unsigned base = i % 2 == 0 ? 10 : 2 + static_cast<unsigned>(random() % 35);
        expectTextOf(value, base);
        expectNumberOf<N>(standardText(value, static_cast<int>(base)), base);
        expectNumberOf<N>(damaged(standardText(value, static_cast<int>(base)), random), base);
        // What fits a wider type need not fit this one.
        expectNumberOf<N>(damaged(standardText(someInteger<std::uint64_t>(random), 10), random), 10);
    }
}

template <class F>
using Bits = std::conditional_t<sizeof(F) == 4, std::uint32_t, std::uint64_t>;

/// The standard's shortest text, which comes back bit by bit.
template <class F>
void expectRoundTripOf(F value)
{
    char digits[64];
    const std::string expected(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    const SAnsiString text = NeutralString::ToString(value);
    const SWCharString units = SWCharStringConv::ToString(value);
    ASSERT_EQ(text.view(), expected);
    ASSERT_EQ(narrow(units), expected);

    F back = 0;
    F wideBack = 0;
    ASSERT_TRUE(NeutralString::FromString(text, back)) << expected;
    ASSERT_TRUE(SWCharStringConv::FromString(units, wideBack)) << expected;
    ASSERT_EQ(std::bit_cast<Bits<F>>(back), std::bit_cast<Bits<F>>(value)) << expected;
    ASSERT_EQ(std::bit_cast<Bits<F>>(wideBack), std::bit_cast<Bits<F>>(value)) << expected;

    char buffer[64] = {};
    for (const std::size_t room : {sizeof buffer, expected.size() + 1, expected.size()}) {
        const unsigned length = SStringConv::ToBuffer(value, std::span(buffer, room));
        ASSERT_EQ(std::string(buffer, length), room > expected.size() ? expected : "");
    }
}

template <class F>
void convertManyReals(unsigned seed)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << sizeof(F) << " bytes");
    std::mt19937_64 random(seed);
    using Limits = std::numeric_limits<F>;
    for (const F value :
         {F(0), -F(0), F(0.1), F(1e5), F(1e5 + 0.5), F(0.001), F(0.0005), F(0.0004), F(-999.999), F(999999),
          F(999999999999.999), F(1e12), Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(),
          Limits::epsilon(), Limits::infinity(), -Limits::infinity()}) {
        expectRoundTripOf(value);
    }
    for (int i = 0; i < 20000 && !testing::Test::HasFatalFailure(); ++i) {
        const F value = std::bit_cast<F>(static_cast<Bits<F>>(random()));
        expectRoundTripOf(std::isnan(value) ? F(0) : value);
        // Short decimal numbers have a way of their own, and their neighbours must not go it.
        const auto decimal = static_cast<F>(static_cast<std::int64_t>(random()) >> random() % 63) /
                             static_cast<F>(std::pow(10, random() % 6));
        expectRoundTripOf(decimal);
        expectRoundTripOf(std::nextafter(decimal, Limits::max()));
    }
}

} // namespace

TEST(StringConv, IntegersOfEveryWidthAgreeWithTheStandardBothWays)
{
    const unsigned seed = std::random_device()();
    convertManyBothWays<signed char>(seed);
    convertManyBothWays<unsigned char>(seed);
    convertManyBothWays<short>(seed);
    convertManyBothWays<unsigned short>(seed);
    convertManyBothWays<int>(seed);
    convertManyBothWays<unsigned>(seed);
    convertManyBothWays<long>(seed);
    convertManyBothWays<unsigned long>(seed);
    convertManyBothWays<long long>(seed);
    convertManyBothWays<unsigned long long>(seed);
}

// Each row of the decimal writer's table has its own arithmetic: all its edges, and every number of the short ones.
TEST(StringConv, WritesAllDigitsOfSmallNumbersAndOfTheEdgesOfEachLength)
{
    char digits[SStringConv::integerRoom];
    for (unsigned value = 0; value < 1'000'000; ++value) {
        const unsigned length = SStringConv::ToBuffer(value, digits);
        ASSERT_EQ(std::string_view(digits, length), standardText(value, 10));
    }
    std::uint64_t power = 1;
    for (int exponent = 0; exponent < 20; ++exponent, power *= 10) {
        for (const std::uint64_t value :
             {power - 2, power - 1, power, power + 1, power / 2, power * 10 - 1}) {
            expectTextOf(value, 10);
            expectTextOf(static_cast<std::uint32_t>(value), 10);
        }
    }
}

TEST(StringConv, RefusesWhatIsNoNumberAndLeavesTheTargetAlone)
{
    struct Row
    {
        const char* name;
        const char* text;
        unsigned base;
    };
    const Row rows[] = {
        {"null", nullptr, 10},
        {"empty", "", 10},
        {"blank alone", " ", 10},
        {"blank in front", " 5", 10},
        {"blank behind", "5 ", 10},
        {"line end behind", "5\n", 10},
        {"sign alone", "-", 10},
        {"two signs", "--5", 10},
        {"plus and minus", "+-5", 10},
        {"minus and plus", "-+5", 10},
        {"sign behind", "5-", 10},
        {"blank behind the sign", "- 5", 10},
        {"letters behind", "5a", 10},
        {"fraction", "5.0", 10},
        {"exponent", "5e1", 10},
        {"grouping", "1,000", 10},
        {"one too many", "2147483648", 10},
        {"one too few", "-2147483649", 10},
        {"past 32 bits", "4294967296", 10},
        {"past 64 bits", "18446744073709551616", 10},
        {"far past 64 bits", "99999999999999999999999999", 10},
        {"past 64 bits in hex", "10000000000000000", 16},
        {"hex prefix", "0x10", 16},
        {"hex prefix in base 10", "0x10", 10},
        {"digit of a higher base", "12", 2},
        {"letter of a higher base", "g", 16},
        {"superscript two", "\xB2", 10},
    };
    for (const Row& row : rows) {
        int value = 42;
        EXPECT_FALSE(StringConvToInteger(row.text, value, row.base)) << row.name;
        EXPECT_EQ(value, 42) << row.name;
    }
    unsigned value = 42;
    EXPECT_FALSE(StringConvToInteger("-1", value));
    EXPECT_FALSE(StringConvToInteger("-0", value));
    EXPECT_FALSE(StringConvToInteger(std::string_view("5\0", 2), value)) << "a zero byte in a view";
    EXPECT_FALSE(StringConvToInteger(std::string_view(), value));
    EXPECT_FALSE(StringConvToInteger(u"\uFF15", value)) << "a digit, but no ASCII one";
    EXPECT_EQ(value, 42u);
}

TEST(StringConv, TakesAPlusLeadingZerosAndBothCases)
{
    signed char tiny = 0;
    EXPECT_TRUE(StringConvToInteger("+127", tiny));
    EXPECT_EQ(tiny, 127);
    EXPECT_TRUE(StringConvToInteger("-00000000000000000000000000128", tiny));
    EXPECT_EQ(tiny, -128);
    unsigned long long big = 0;
    EXPECT_TRUE(StringConvToInteger(SAsciiString("FFffFFffFFffFFff"), big, 16));
    EXPECT_EQ(big, UINT64_MAX);
    EXPECT_EQ(SAsciiStringConv::ToString(big, 16).view(), "ffffffffffffffff");
    __int64 negative = 0;
    EXPECT_TRUE(StringConvToInteger(SWCharStringConv::ToString(INT64_MIN), negative));
    EXPECT_EQ(negative, INT64_MIN);
    EXPECT_EQ(StringConvFromInteger(static_cast<unsigned long>(255), 16).view(), "ff");
}

TEST(StringConv, UnknownBaseIsAnAssertionAndGivesNothing)
{
    const Recorder recorder;
    int reports = 0;
    for (const unsigned base : {0u, 1u, 37u, 0x80000000u, UINT32_MAX}) {
        int value = 42;
        char buffer[80] = "#";
        EXPECT_TRUE(StringConvFromInteger(5, base).isEmpty());
        EXPECT_TRUE(SWCharStringConv::ToString(5, base).isEmpty());
        EXPECT_EQ(SStringConv::ToBuffer(5, buffer, base), 0u);
        EXPECT_EQ(buffer[0], '#');
        EXPECT_FALSE(StringConvToInteger("1", value, base));
        EXPECT_EQ(value, 42);
        reports += 4;
    }
    EXPECT_EQ(recorder.count("base >= 2 && base <= 36"), reports);
    EXPECT_STREQ(recorder.askedFile().substr(0, 11).c_str(), "sstringconv");
}

TEST(StringConv, RealNumbersReadBackBitByBitFromTheShortestText)
{
    const unsigned seed = std::random_device()();
    convertManyReals<double>(seed);
    convertManyReals<float>(seed);
}

TEST(StringConv, WhatIsNoNumberLosesItsSignAndPayload)
{
    const double negative = std::bit_cast<double>(0xFFF8000000000123);
    EXPECT_EQ(NeutralString::ToString(negative).view(), "nan");
    EXPECT_EQ(NeutralString::ToString(-std::numeric_limits<float>::quiet_NaN()).view(), "nan");
    double back = 0;
    EXPECT_TRUE(NeutralString::FromString("-NaN", back));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back), 0x7FF8000000000000u);
}

TEST(StringConv, ReadsRealNumbersWholeOrNotAtAll)
{
    struct Row
    {
        const char* text;
        std::optional<double> value;
    };
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const std::string manyZeros = "0." + std::string(400, '0') + "1e401";
    const Row rows[] = {
        {"1.5", 1.5},
        {"+1.5", 1.5},
        {".5", .5},
        {"5.", 5},
        {"5E+3", 5000},
        {"5e-3", .005},
        {"-0", -0.0},
        {"0e9999", 0},
        {"0.000", 0},
        {"INFINITY", infinite},
        {"-Inf", -infinite},
        {"9007199254740993", 9007199254740992}, // halfway, to the even one
        {"9007199254740993.0000000000000000000000000001", 9007199254740994},
        {"4.9e-324", 4.9e-324},
        {"2.5e-324", 4.9e-324},
        {manyZeros.c_str(), 1},
        {"", {}},
        {"+", {}},
        {"-", {}},
        {".", {}},
        {"e5", {}},
        {"1e", {}},
        {"1e+", {}},
        {"+-1", {}},
        {"--1", {}},
        {" 1", {}},
        {"1 ", {}},
        {"1,5", {}},
        {"1.5.5", {}},
        {"1.5f", {}},
        {"0x1p3", {}},
        {"1e309", {}},
        {"-1e309", {}},
        {"1e-400", {}},
        {"2.4e-324", {}},
        {"nan(7)", {}},
        {"nano", {}},
        {"in", {}},
        {"1\xB2", {}},
    };
    for (const Row& row : rows) {
        double value = 42;
        double fromWide = 42;
        EXPECT_EQ(SStringConv::FromString(row.text, value), row.value.has_value()) << row.text;
        EXPECT_EQ(SWCharStringConv::FromString(wide(row.text), fromWide), row.value.has_value()) << row.text;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(row.value.value_or(42)))
            << row.text;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(fromWide), std::bit_cast<std::uint64_t>(value)) << row.text;
    }
    float small = 42;
    EXPECT_FALSE(SStringConv::FromString("1e39", small));
    EXPECT_FALSE(SStringConv::FromString("1e-50", small));
    EXPECT_FALSE(SStringConv::FromString(static_cast<const char*>(nullptr), small));
    EXPECT_EQ(small, 42);
}

TEST(StringConv, TruthValuesAreWords)
{
    EXPECT_EQ(SStringConv::ToString(true).view(), "true");
    EXPECT_EQ(narrow(SWCharStringConv::ToString(false)), "false");
    char buffer[5];
    EXPECT_EQ(SStringConv::ToBuffer(true, buffer), 4u);
    EXPECT_EQ(SStringConv::ToBuffer(false, buffer), 0u);
    struct Row
    {
        const char* text;
        std::optional<bool> value;
    };
    const Row rows[] = {
        {"true", true}, {"False", false}, {"TRUE", true}, {"1", true}, {"0", false}, {"", {}},
        {"yes", {}},    {"truer", {}},    {"tru", {}},    {" 1", {}},  {"01", {}},   {"\x14rue", {}},
    };
    for (const Row& row : rows) {
        for (const bool before : {false, true}) {
            bool value = before;
            EXPECT_EQ(SStringConv::FromString(row.text, value), row.value.has_value()) << row.text;
            EXPECT_EQ(value, row.value.value_or(before)) << row.text;
            EXPECT_EQ(SWCharStringConv::FromString(wide(row.text), value), row.value.has_value()) << row.text;
        }
    }
}

TEST(StringConv, OnlyTheFormByLocaleDependsOnTheLocale)
{
    const LocaleInForce locale(german);
    ASSERT_TRUE(locale.found());
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    EXPECT_EQ(NeutralString::ToString(-1234.5).view(), "-1234.5");
    EXPECT_EQ(SStringConv::ToString(1.5f).view(), "1.5");
    EXPECT_EQ(SStringConvByLocale::ToString(-1234.5).view(), "-1234,5");
    EXPECT_EQ(SStringConvByLocale::ToString(1.5f).view(), "1,5");
    EXPECT_EQ(SStringConvByLocale::ToString(1e300).view(), "1e+300");
    EXPECT_EQ(SStringConvByLocale::ToString(1234567).view(), "1234567");
    EXPECT_EQ(SStringConvByLocale::ToString(true).view(), "true");

    struct Row
    {
        const char* text;
        std::optional<double> neutral;
        std::optional<double> local;
    };
    const Row rows[] = {
        {"1234.5", 1234.5, {}}, {"1234,5", {}, 1234.5}, {"1.234,5", {}, {}},
        {"1,5,5", {}, {}},      {"12", 12, 12},         {"-,5e1", {}, -5},
        {"", {}, {}},           {",", {}, {}},          {"inf", {HUGE_VAL}, {HUGE_VAL}},
        {" 1,5", {}, {}},
    };
    for (const Row& row : rows) {
        double neutral = 42;
        double local = 42;
        EXPECT_EQ(NeutralString::FromString(row.text, neutral), row.neutral.has_value()) << row.text;
        EXPECT_EQ(SStringConvByLocale::FromString(row.text, local), row.local.has_value()) << row.text;
        EXPECT_EQ(neutral, row.neutral.value_or(42)) << row.text;
        EXPECT_EQ(local, row.local.value_or(42)) << row.text;
    }
}

TEST(StringConv, FormByLocaleTakesADecimalSignOfSeveralBytes)
{
    const LocaleInForce locale(pashto);
    if (!locale.found()) {
        GTEST_SKIP() << "no such locale";
    }
    const std::string sign = std::localeconv()->decimal_point;
    ASSERT_GT(sign.size(), 1u);
    EXPECT_EQ(SStringConvByLocale::ToString(-12.25).view(), "-12" + sign + "25");
    double value = 0;
    EXPECT_TRUE(SStringConvByLocale::FromString("-12" + sign + "25", value));
    EXPECT_EQ(value, -12.25);
    EXPECT_FALSE(SStringConvByLocale::FromString("12" + sign.substr(0, 1) + "25", value));
}

TEST(StringConv, NumbersAreAppendedToAText)
{
    SAnsiString text("error ");
    text << -5 << ", " << 18446744073709551615u << " of " << 0.5;
    EXPECT_EQ(text.view(), "error -5, 18446744073709551615 of 0.5");
    SWCharString units;
    units << static_cast<unsigned short>(65) << SWCharStringConv::ToString(1.5f);
    EXPECT_EQ(narrow(units), "651.5");
}
