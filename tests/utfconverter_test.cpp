#include "morvex/utfconverter.h"

#include "locales.h"
#include "recorder.h"
#include "utftexts.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <thread>

using namespace MorvexA106;
using UtfOracle::Byte;
using UtfOracle::Outcome;
using UtfOracle::Unit;
using UtfTexts::Guarded;
using UtfTexts::Placed;
using UtfTexts::Random;

namespace
{

using Ucs4s = std::vector<SUcs4>;

template <class S, class T>
using Conversion = ConversionResult (*)(const S**, const S*, T**, const T*) noexcept;

template <class S, class T>
using Oracle = Outcome<T> (*)(const std::vector<S>&, std::size_t);

template <class S, class T>
void expectLikeOracle(Conversion<S, T> convert, Oracle<S, T> oracle, const std::vector<S>& source,
                      std::size_t room)
{
    const Outcome<T> expected = oracle(source, room);
    const Placed<S> placed(source, room % 16);
    Guarded<T> target(room);
    const S* from = placed.begin();
    T* to = target.begin();
    ASSERT_EQ(convert(&from, placed.end(), &to, target.end()), expected.result);
    ASSERT_EQ(from - placed.begin(), static_cast<std::ptrdiff_t>(expected.consumed));
    ASSERT_EQ(target.upTo(to), expected.written);
    ASSERT_TRUE(target.isIntact());
}

void expectAllFromUtf8(const std::vector<Byte>& source, std::size_t room)
{
    expectLikeOracle(ConvertUTF8toUTF16, UtfOracle::utf8ToUtf16, source, room);
    expectLikeOracle(ConvertUTF8toUCS4, UtfOracle::utf8ToUcs4, source, room);
}

void expectAllFromUtf16(const std::vector<Unit>& source, std::size_t room)
{
    expectLikeOracle(ConvertUTF16toUTF8, UtfOracle::utf16ToUtf8, source, room);
    expectLikeOracle(ConvertUTF16toUCS4, UtfOracle::utf16ToUcs4, source, room);
}

void expectAllFromUcs4(const Ucs4s& source, std::size_t room)
{
    expectLikeOracle(ConvertUCS4toUTF8, UtfOracle::ucs4ToUtf8, source, room);
    expectLikeOracle(ConvertUCS4toUTF16, UtfOracle::ucs4ToUtf16, source, room);
}

/// Room for the whole outcome and some more.
constexpr std::size_t ample = 64;

std::vector<Byte> bytes(const char* text)
{
    return {text, text + std::char_traits<char>::length(text)};
}

const Byte* asBytes(const std::string& text)
{
    return reinterpret_cast<const Byte*>(text.c_str());
}

std::vector<Unit> unitsOf(const SQCAString& text)
{
    return {text.getString(), text.getString() + text.getNChars()};
}

SQCAString wide(std::vector<Unit> units)
{
    units.push_back(0);
    return SQCAString(units.data());
}

template <class T>
std::vector<T> heldBy(const CSmartRefCountPtr<UTFBuffer_t<T>>& buffer)
{
    EXPECT_EQ(buffer->getBuffer()[buffer->getLength()], T()) << "no terminator";
    return {buffer->getBuffer(), buffer->getBuffer() + buffer->getLength()};
}

std::string textOf(const CUTFConverter& converter)
{
    return {reinterpret_cast<const char*>(converter.getBuffer()), converter.getLength()};
}

const char* const utf8Locale[] = {"C.UTF-8", "en_US.UTF-8"};

} // namespace

TEST(CoreConversions, TakeEveryUnitSurrogatesIncludedAndCharactersOfAllPlanes)
{
    std::vector<std::uint32_t> text;
    for (std::uint32_t value = 0; value < 0x110000; value += value < 0x10000 ? 1 : 13) {
        text.push_back(value);
    }
    text.push_back(0x10FFFF);
    const std::vector<Unit> units = UtfTexts::encoded(text, UtfOracle::asUtf16);
    expectAllFromUtf16(units, 4 * units.size());
    expectAllFromUcs4(Ucs4s(text.begin(), text.end()), 4 * text.size());
    expectAllFromUtf8(UtfTexts::encoded(text, UtfOracle::asUtf8), units.size());
}

TEST(CoreConversions, GiveEveryTwoBytesTheirValue)
{
    for (std::uint32_t first = 0; first < 0x100; ++first) {
        // Each pair is set off by as many letters as the longest sequence could swallow.
        std::vector<Byte> text;
        for (std::uint32_t second = 0; second < 0x100; ++second) {
            for (const std::uint32_t byte : {first, second, 0x61u, 0x62u, 0x63u, 0x64u, 0x65u}) {
                text.push_back(static_cast<Byte>(byte));
            }
        }
        ASSERT_NO_FATAL_FAILURE(expectAllFromUtf8(text, text.size())) << first;
    }
}

TEST(CoreConversions, AgreeWithTheOracleOnNoiseAndSpoiledText)
{
    RecordProperty("seed", static_cast<int>(UtfTexts::seedOfRun()));
    Random random(UtfTexts::seedOfRun());
    for (int round = 0; round < 1500; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(UtfTexts::seedOfRun()));
        const std::vector<std::uint32_t> text = UtfTexts::characters(random, UtfTexts::below(random, 120));
        std::vector<Byte> utf8 = UtfTexts::encoded(text, UtfOracle::asUtf8);
        std::vector<Unit> utf16 = UtfTexts::encoded(text, UtfOracle::asUtf16);
        Ucs4s ucs4(text.begin(), text.end());
        UtfTexts::spoil(random, utf8, UtfTexts::badBytes);
        UtfTexts::spoil(random, utf16, UtfTexts::badUnits);
        UtfTexts::spoil(random, ucs4, UtfTexts::badUcs4s);
        const std::size_t room = UtfTexts::below(random, 2) == 0 ? 1000 : UtfTexts::below(random, 300);
        ASSERT_NO_FATAL_FAILURE(expectAllFromUtf8(utf8, room));
        ASSERT_NO_FATAL_FAILURE(expectAllFromUtf16(utf16, room));
        ASSERT_NO_FATAL_FAILURE(expectAllFromUcs4(ucs4, room));
    }
}

TEST(CoreConversions, GiveThreeToSixBytesTheirValueWhateverTheyAre)
{
    Random random(UtfTexts::seedOfRun());
    std::vector<Byte> text;
    for (int sample = 0; sample < 200000; ++sample) {
        const std::uint32_t bits = random();
        text.push_back(static_cast<Byte>(sample % 3 != 0 ? 0xE0 | (bits & 0x1F) : bits));
        text.push_back(static_cast<Byte>(sample % 2 != 0 ? 0x80 | (bits >> 8 & 0x3F) : bits >> 8));
    }
    SCOPED_TRACE("seed " + std::to_string(UtfTexts::seedOfRun()));
    expectAllFromUtf8(text, text.size());
}

TEST(CoreConversions, AreExactForEveryTargetSizeAndEveryCutOfTheSource)
{
    const std::vector<std::uint32_t> text = {'a',      0xE4,   0x4E00,     0x1F600,   0xD800,
                                             'b',      0xDC00, 0x200000,   0x4000000, 0x7FFFFFFF,
                                             0x10FFFF, 0xD834, 0x80000000, 'c'};
    const std::vector<Byte> utf8 = UtfTexts::encoded(text, UtfOracle::asUtf8);
    const std::vector<Unit> utf16 = UtfTexts::encoded(text, UtfOracle::asUtf16);
    const Ucs4s ucs4(text.begin(), text.end());
    for (std::size_t room = 0; room <= utf8.size() + 1; ++room) {
        SCOPED_TRACE(room);
        ASSERT_NO_FATAL_FAILURE(expectAllFromUtf8(utf8, room));
        ASSERT_NO_FATAL_FAILURE(expectAllFromUtf16(utf16, room));
        ASSERT_NO_FATAL_FAILURE(expectAllFromUcs4(ucs4, room));
    }
    for (std::size_t size = 0; size <= utf8.size(); ++size) {
        SCOPED_TRACE(size);
        const std::vector<Byte> cut(utf8.begin(), utf8.begin() + static_cast<std::ptrdiff_t>(size));
        ASSERT_NO_FATAL_FAILURE(expectAllFromUtf8(cut, ample));
    }
}

TEST(CoreConversions, GiveMalformedUtf8ADefinedValue)
{
    struct Case
    {
        const char* name;
        const char* bytes;
        std::vector<Unit> utf16;
        Ucs4s ucs4;
    };
    const Case cases[] = {
        {"an overlong slash", "\xC0\xAF", {0x2F}, {0x2F}},
        {"an overlong slash in three bytes", "\xE0\x80\xAF", {0x2F}, {0x2F}},
        {"an overlong zero", "\xC0\x80", {0}, {0}},
        {"a continuation byte alone", "\xBFx", {0xBF, 'x'}, {0xBF, 'x'}},
        {"a lead byte that swallows a quote", "\xC3\"x", {'b', 'x'}, {'b', 'x'}},
        {"a value below zero", "\xC0\x01", {0xFFFD}, {0xFFFD}},
        {"a surrogate in three bytes", "\xED\xA0\x80", {0xD800}, {0xD800}},
        {"a pair in six bytes", "\xED\xA0\xBD\xED\xB8\x80", {0xD83D, 0xDE00}, {0xD83D, 0xDE00}},
        {"the last character", "\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}, {0x10FFFF}},
        {"the first value above", "\xF4\x90\x80\x80", {0xFFFD}, {0xFFFD}},
        {"five bytes", "\xF8\x88\x80\x80\x80x", {0xFFFD, 'x'}, {0xFFFD, 'x'}},
        {"six bytes of an overlong A", "\xFC\x80\x80\x80\x81\x81", {'A'}, {'A'}},
        {"bytes that are never used", "\xFE\x80\x80\x80\x80\x80x", {0xFFFD, 'x'}, {0xFFFD, 'x'}},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        const std::vector<Byte> source = bytes(row.bytes);
        Guarded<Unit> utf16(ample);
        Guarded<SUcs4> ucs4(ample);
        const Byte* from = source.data();
        Unit* toUtf16 = utf16.begin();
        EXPECT_EQ(ConvertUTF8toUTF16(&from, from + source.size(), &toUtf16, utf16.end()), conversionSuccess);
        EXPECT_EQ(utf16.upTo(toUtf16), row.utf16);
        from = source.data();
        SUcs4* toUcs4 = ucs4.begin();
        EXPECT_EQ(ConvertUTF8toUCS4(&from, from + source.size(), &toUcs4, ucs4.end()), conversionSuccess);
        EXPECT_EQ(ucs4.upTo(toUcs4), row.ucs4);
    }
}

TEST(CoreConversions, IntoUtf8LoseTheCharacterThatHasNoRoomAndTheOthersKeepIt)
{
    const Unit pair[] = {0xD800, 0xDC00};
    const SUcs4 astral[] = {0x10000};
    const Byte four[] = {0xF0, 0x90, 0x80, 0x80};
    Byte utf8[3] = {9, 9, 9};
    Unit utf16[1] = {9};

    const Unit* from16 = pair;
    Byte* to8 = utf8;
    EXPECT_EQ(ConvertUTF16toUTF8(&from16, pair + 2, &to8, utf8 + 3), targetExhausted);
    EXPECT_EQ(from16 - pair, 2);
    EXPECT_EQ(to8, utf8);
    EXPECT_EQ(utf8[0], 9);

    const SUcs4* from32 = astral;
    Unit* to16 = utf16;
    EXPECT_EQ(ConvertUCS4toUTF16(&from32, astral + 1, &to16, utf16 + 1), targetExhausted);
    EXPECT_EQ(from32, astral);
    EXPECT_EQ(utf16[0], 9);

    const Byte* from8 = four;
    EXPECT_EQ(ConvertUTF8toUTF16(&from8, four + 4, &to16, utf16 + 1), targetExhausted);
    EXPECT_EQ(from8, four);
    EXPECT_EQ(utf16[0], 9);
}

TEST(WholeTexts, LeaveTheTargetAloneWhenTheSourceEndsInsideASequence)
{
    const char* const cutTexts[] = {"\xC3", "abc\xE4\xB8", "\xF0\x9F\x98", "\xC0\xAF\xFC\x80\x80\x80\x80"};
    for (const char* text : cutTexts) {
        SCOPED_TRACE(text);
        SQCAString target = wide({'o', 'l', 'd'});
        EXPECT_FALSE(CUTFConverter::UTF8ToUTF16(asBytes(text), target));
        EXPECT_EQ(unitsOf(target), (std::vector<Unit>{'o', 'l', 'd'}));

        CUTFConverter::Ucs4Buffer buffer;
        EXPECT_TRUE(CUTFConverter::UTF8ToUCS4(asBytes("old"), buffer));
        EXPECT_FALSE(CUTFConverter::UTF8ToUCS4(asBytes(text), buffer));
        EXPECT_EQ(heldBy(buffer), (Ucs4s{'o', 'l', 'd'}));
    }
}

TEST(WholeTexts, EmptyAndNullTextEmptyTheTarget)
{
    const SUcs4 none[] = {0};
    SQCAString target = wide({'x'});
    EXPECT_TRUE(CUTFConverter::UTF8ToUTF16(nullptr, target));
    EXPECT_TRUE(target.isEmpty());
    target = wide({'x'});
    EXPECT_TRUE(CUTFConverter::UTF8ToUTF16(asBytes(""), target));
    EXPECT_TRUE(target.isEmpty());
    target = wide({'x'});
    EXPECT_TRUE(CUTFConverter::UCS4ToUTF16(nullptr, target));
    EXPECT_TRUE(target.isEmpty());

    CUTFConverter::Utf8Buffer utf8;
    EXPECT_TRUE(CUTFConverter::UTF16ToUTF8(SQCAString(), utf8));
    ASSERT_TRUE(utf8);
    EXPECT_EQ(utf8->getBuffer(), nullptr);
    EXPECT_TRUE(utf8->isEmpty());
    EXPECT_TRUE(CUTFConverter::UCS4ToUTF8(none, utf8));
    EXPECT_EQ(utf8->getBuffer(), nullptr);
    CUTFConverter::Ucs4Buffer ucs4;
    EXPECT_TRUE(CUTFConverter::UTF8ToUCS4(nullptr, ucs4));
    EXPECT_TRUE(CUTFConverter::UTF16ToUCS4(SQCAString(), ucs4));
    EXPECT_EQ(ucs4->getBuffer(), nullptr);
}

TEST(WholeTexts, EndAtAZeroThatAnOverlongFormGives)
{
    SQCAString target;
    EXPECT_TRUE(CUTFConverter::UTF8ToUTF16(asBytes("ab\xC0\x80"
                                                   "cd"),
                                           target));
    EXPECT_EQ(unitsOf(target), (std::vector<Unit>{'a', 'b'}));
    EXPECT_TRUE(CUTFConverter::UTF8ToUTF16(asBytes("\xC0\x80"), target));
    EXPECT_TRUE(target.isEmpty());

    CUTFConverter::Ucs4Buffer buffer;
    EXPECT_TRUE(CUTFConverter::UTF8ToUCS4(asBytes("ab\xC0\x80"
                                                  "cd"),
                                          buffer));
    EXPECT_EQ(heldBy(buffer), (Ucs4s{'a', 'b', 0, 'c', 'd'}));
}

TEST(WholeTexts, ComeBackFromEveryForm)
{
    Random random(UtfTexts::seedOfRun());
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(UtfTexts::seedOfRun()));
        std::vector<std::uint32_t> text = UtfTexts::characters(random, 1 + UtfTexts::below(random, 300));
        std::replace(text.begin(), text.end(), std::uint32_t(0), std::uint32_t('0'));
        Ucs4s ucs4(text.begin(), text.end());
        const std::vector<Unit> utf16 = UtfTexts::encoded(text, UtfOracle::asUtf16);
        const std::vector<Byte> utf8 = UtfTexts::encoded(text, UtfOracle::asUtf8);
        ucs4.push_back(0);

        SQCAString string;
        ASSERT_TRUE(CUTFConverter::UCS4ToUTF16(ucs4.data(), string));
        ASSERT_EQ(unitsOf(string), utf16);
        CUTFConverter::Utf8Buffer fromUtf16;
        CUTFConverter::Utf8Buffer fromUcs4;
        ASSERT_TRUE(CUTFConverter::UTF16ToUTF8(string, fromUtf16));
        ASSERT_TRUE(CUTFConverter::UCS4ToUTF8(ucs4.data(), fromUcs4));
        ASSERT_EQ(heldBy(fromUtf16), utf8);
        ASSERT_EQ(heldBy(fromUcs4), utf8);
        SQCAString again;
        ASSERT_TRUE(CUTFConverter::UTF8ToUTF16(fromUtf16->getBuffer(), again));
        ASSERT_EQ(unitsOf(again), utf16);
        CUTFConverter::Ucs4Buffer fromUtf8;
        CUTFConverter::Ucs4Buffer fromString;
        ASSERT_TRUE(CUTFConverter::UTF8ToUCS4(fromUtf16->getBuffer(), fromUtf8));
        ASSERT_TRUE(CUTFConverter::UTF16ToUCS4(string, fromString));
        ucs4.pop_back();
        ASSERT_EQ(heldBy(fromUtf8), ucs4);
        ASSERT_EQ(heldBy(fromString), ucs4);
    }
}

TEST(WholeTexts, HoldTheWorstCaseAndTheTerminator)
{
    // Exact blocks, so that the address sanitizer sees one that is too small.
    const Ucs4s six(100, 0x7FFFFFFF);
    Ucs4s terminated = six;
    terminated.push_back(0);
    CUTFConverter::Utf8Buffer utf8;
    EXPECT_TRUE(CUTFConverter::UCS4ToUTF8(terminated.data(), utf8));
    EXPECT_EQ(utf8->getLength(), 600u);
    terminated.assign(100, 0x10FFFF);
    terminated.push_back(0);
    SQCAString string;
    EXPECT_TRUE(CUTFConverter::UCS4ToUTF16(terminated.data(), string));
    EXPECT_EQ(string.getNChars(), 200u);
    EXPECT_TRUE(CUTFConverter::UTF16ToUTF8(wide(std::vector<Unit>(100, 0xDC00)), utf8 = nullptr));
    EXPECT_EQ(heldBy(utf8).size(), 300u);
    EXPECT_TRUE(CUTFConverter::UTF8ToUTF16(asBytes(std::string(100, '\x80')), string));
    EXPECT_EQ(string.getNChars(), 100u);
}

TEST(WholeTexts, ABufferThatHoldsABlockIsReportedAndGetsOneThatIsLargeEnough)
{
    CUTFConverter::Utf8Buffer buffer;
    ASSERT_TRUE(CUTFConverter::UTF16ToUTF8(wide({'a'}), buffer));
    const CUTFConverter::Utf8Buffer shared = buffer;
    const Recorder recorder;
    ASSERT_TRUE(CUTFConverter::UTF16ToUTF8(wide(std::vector<Unit>(5000, 0x4E00)), buffer));
    EXPECT_EQ(recorder.count("false"), 1);
    EXPECT_EQ(recorder.askedFile(), "UTFConverter.cpp");
    EXPECT_EQ(heldBy(buffer).size(), 15000u);
    EXPECT_EQ(shared.get(), buffer.get());
}

TEST(WholeTexts, GoIntoAByteBufferWithoutTheirTerminator)
{
    SSimpleBuffer buffer;
    buffer << 0x55;
    const SSimpleBuffer before(buffer);
    EXPECT_TRUE(CUTFConverter::UTF16ToUTF8(wide({'a', 0xE4, 0xD83D, 0xDE00, 0xD800}), buffer));
    const std::vector<Byte> expected = bytes("a\xC3\xA4\xF0\x9F\x98\x80\xED\xA0\x80");
    EXPECT_EQ(std::vector<Byte>(buffer.view().begin(), buffer.view().end()), expected);
    EXPECT_EQ(static_cast<const Byte*>(buffer)[expected.size()], 0);
    EXPECT_EQ(before.getNBytes(), 1u);
    EXPECT_TRUE(CUTFConverter::UTF16ToUTF8(SQCAString(), buffer));
    EXPECT_TRUE(buffer.isEmpty());
}

TEST(WholeTexts, UnitsAreConvertedToTheGivenCountZeroUnitsIncluded)
{
    const std::vector<Unit> source = {'a', 0, 0xD83D, 0xDE00, 0xD83D};
    Guarded<SUcs4> target(source.size());
    const unsigned int written =
        CUTFConverter::UTF16ToUCS4(source.data(), target.begin(), static_cast<unsigned int>(source.size()));
    EXPECT_EQ(target.upTo(target.begin() + written), (Ucs4s{'a', 0, 0x1F600, 0xD83D}));
    EXPECT_TRUE(target.isIntact());
    EXPECT_EQ(CUTFConverter::UTF16ToUCS4(nullptr, nullptr, 0), 0u);
}

TEST(TextInUtf8, CountsItsTerminatorAndIsNothingWhenEmpty)
{
    CUTFConverter converter(SAnsiString("A"));
    EXPECT_EQ(textOf(converter), std::string("A\0", 2));
    converter.setText(SAnsiString());
    EXPECT_EQ(converter.getBuffer(), nullptr);
    EXPECT_EQ(converter.getLength(), 0u);
    EXPECT_EQ(CUTFConverter().getBuffer(), nullptr);
}

TEST(TextInUtf8, KeepsWhatIsTextAroundBytesThatAreNoCharacters)
{
    const LocaleInForce locale({utf8Locale[0], utf8Locale[1]});
    if (!locale.found()) {
        GTEST_SKIP() << "the system has no locale with UTF-8";
    }
    const CUTFConverter converter(SAnsiString("a\xFF\xC3\xA4\xC3z\xF0\x9F\x98\x80"));
    EXPECT_EQ(textOf(converter), std::string("a?\xC3\xA4?z\xF0\x9F\x98\x80\0", 11));
}

TEST(TextInUtf8, ACopyHasBytesOfItsOwn)
{
    CUTFConverter first(SAnsiString("first"));
    CUTFConverter copy(first);
    EXPECT_NE(copy.getBuffer(), first.getBuffer());
    copy = first;
    EXPECT_NE(copy.getBuffer(), first.getBuffer());
    first.setText("second, which is longer");
    EXPECT_EQ(textOf(copy), std::string("first\0", 6));
    const CUTFConverter& itself = copy;
    copy = itself;
    EXPECT_EQ(textOf(copy), std::string("first\0", 6));
    const CUTFConverter moved(std::move(copy));
    EXPECT_EQ(textOf(moved), std::string("first\0", 6));
    EXPECT_EQ(CUTFConverter(CUTFConverter()).getLength(), 0u);
}
