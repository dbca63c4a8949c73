#include "morvex/utfkernels.h"

#include "utftexts.h"

#include <gtest/gtest.h>

#include <string>

using namespace MorvexA106::UtfKernels;
using UtfOracle::Outcome;
using UtfTexts::Guarded;
using UtfTexts::Placed;
using UtfTexts::Random;

namespace
{

/// The longest prefix that is well-formed and has room. The result is always success: the loops have none.
Outcome<Unit> strictUtf8ToUtf16(const std::vector<Byte>& source, std::size_t room)
{
    Outcome<Unit> outcome;
    while (outcome.consumed < source.size()) {
        const Byte* text = source.data() + outcome.consumed;
        const std::size_t length = UtfOracle::wellFormedLength(text, source.size() - outcome.consumed);
        if (length == 0 ||
            !UtfOracle::append(outcome.written, UtfOracle::asUtf16(UtfOracle::looseValue(text, length).value),
                               room)) {
            break;
        }
        outcome.consumed += length;
    }
    return outcome;
}

Outcome<Byte> strictUtf16ToUtf8(const std::vector<Unit>& source, std::size_t room)
{
    Outcome<Byte> outcome;
    while (outcome.consumed < source.size()) {
        const UtfOracle::Loose next = UtfOracle::joined(source, outcome.consumed);
        const bool alone = UtfOracle::isHigh(next.value) || UtfOracle::isLow(next.value);
        if (alone || !UtfOracle::append(outcome.written, UtfOracle::asUtf8(next.value), room)) {
            break;
        }
        outcome.consumed += next.length;
    }
    return outcome;
}

std::size_t charactersIn(const std::vector<Byte>& source, std::size_t size)
{
    return static_cast<std::size_t>(std::count_if(source.begin(),
                                                  source.begin() + static_cast<std::ptrdiff_t>(size),
                                                  [](Byte byte) { return byte < 0x80 || byte >= 0xC0; }));
}

template <class S, class T>
void expectConverts(Converted<S, T> (*convert)(const S*, const S*, T*, const T*) noexcept,
                    const std::vector<S>& source, std::size_t offset, std::size_t room,
                    const Outcome<T>& expected)
{
    const Placed<S> placed(source, offset);
    Guarded<T> target(room);
    const Converted<S, T> done = convert(placed.begin(), placed.end(), target.begin(), target.end());
    ASSERT_EQ(done.source - placed.begin(), static_cast<std::ptrdiff_t>(expected.consumed));
    ASSERT_EQ(target.upTo(done.target), expected.written);
    ASSERT_TRUE(target.isIntact());
}

class UtfKernelsTest : public testing::TestWithParam<Level>
{
protected:
    void SetUp() override
    {
        if (kernelsOf(GetParam()) == nullptr) {
            GTEST_SKIP() << "the processor has no such level";
        }
    }

    const Kernels& kernels() const { return *kernelsOf(GetParam()); }

    void expectUtf8(const std::vector<Byte>& source, std::size_t offset, std::size_t room) const
    {
        expectConverts(kernels().utf8ToUtf16, source, offset, room, strictUtf8ToUtf16(source, room));
    }

    void expectUtf16(const std::vector<Unit>& source, std::size_t offset, std::size_t room) const
    {
        expectConverts(kernels().utf16ToUtf8, source, offset, room, strictUtf16ToUtf8(source, room));
    }

    void expectCounts(const std::vector<Byte>& source, std::size_t offset) const
    {
        const Outcome<Unit> expected = strictUtf8ToUtf16(source, source.size());
        const Placed<Byte> placed(source, offset);
        const Counted counted = kernels().countUtf8(placed.begin(), placed.end());
        ASSERT_EQ(counted.stop - placed.begin(), static_cast<std::ptrdiff_t>(expected.consumed));
        ASSERT_EQ(counted.characters, charactersIn(source, expected.consumed));
        ASSERT_EQ(counted.units16, expected.written.size());
    }

    void expectSizes(const std::vector<Unit>& source, std::size_t offset) const
    {
        const Outcome<Byte> expected = strictUtf16ToUtf8(source, 3 * source.size());
        const Placed<Unit> placed(source, offset);
        const Sized sized = kernels().utf8SizeOfUtf16(placed.begin(), placed.end());
        ASSERT_EQ(sized.stop - placed.begin(), static_cast<std::ptrdiff_t>(expected.consumed));
        ASSERT_EQ(sized.bytes, expected.written.size());
    }
};

std::string nameOfLevel(const testing::TestParamInfo<Level>& info)
{
    static const char* const names[] = {"scalar", "sse2", "avx2"};
    return names[static_cast<int>(info.param)];
}

/// Characters of all four lengths, with a run of each.
std::vector<std::uint32_t> mixedText()
{
    std::vector<std::uint32_t> text;
    for (const std::uint32_t value : {0x61u, 0xE4u, 0x4E00u, 0x1F600u, 0x10FFFFu, 0xFFFDu, 0x7FFu, 0x7Fu}) {
        for (std::uint32_t run : {1, 2, 3, 11}) {
            text.insert(text.end(), run, value);
        }
        text.push_back('.');
    }
    return text;
}

std::vector<std::uint32_t> everyCharacter()
{
    std::vector<std::uint32_t> text;
    for (std::uint32_t value = 0; value < 0x110000; ++value) {
        if (value < 0xD800 || value > 0xDFFF) {
            text.push_back(value);
        }
    }
    return text;
}

const std::vector<Byte> mixedBytes = UtfTexts::encoded(mixedText(), UtfOracle::asUtf8);
const std::vector<Unit> mixedUnits = UtfTexts::encoded(mixedText(), UtfOracle::asUtf16);

} // namespace

INSTANTIATE_TEST_SUITE_P(Levels, UtfKernelsTest, testing::Values(Level::scalar, Level::sse2, Level::avx2),
                         nameOfLevel);

TEST_P(UtfKernelsTest, ConvertsCountsAndSizesEveryCharacter)
{
    static const std::vector<std::uint32_t> text = everyCharacter();
    static const std::vector<Byte> bytes = UtfTexts::encoded(text, UtfOracle::asUtf8);
    static const std::vector<Unit> units = UtfTexts::encoded(text, UtfOracle::asUtf16);
    expectConverts(kernels().utf8ToUtf16, bytes, 0, units.size(), {{}, bytes.size(), units});
    expectConverts(kernels().utf16ToUtf8, units, 0, bytes.size(), {{}, units.size(), bytes});
    const Counted counted = kernels().countUtf8(bytes.data(), bytes.data() + bytes.size());
    EXPECT_EQ(counted.stop, bytes.data() + bytes.size());
    EXPECT_EQ(counted.characters, text.size());
    EXPECT_EQ(counted.units16, units.size());
    const Sized sized = kernels().utf8SizeOfUtf16(units.data(), units.data() + units.size());
    EXPECT_EQ(sized.stop, units.data() + units.size());
    EXPECT_EQ(sized.bytes, bytes.size());
}

TEST_P(UtfKernelsTest, StopsBeforeEveryTwoBytesThatAreNotWellFormed)
{
    // Far enough from both ends, and after a character that isn't ASCII, to be met by the widest loop.
    std::vector<Byte> text(140, 'a');
    text[20] = 0xC3;
    text[21] = 0xA4;
    std::vector<Unit> units(text.size());
    const std::size_t where = 52;
    for (std::uint32_t pair = 0; pair < 0x10000; ++pair) {
        text[where] = static_cast<Byte>(pair >> 8);
        text[where + 1] = static_cast<Byte>(pair);
        std::size_t stop = where;
        for (std::size_t length = 1; length != 0 && stop < where + 2; stop += length) {
            length = UtfOracle::wellFormedLength(&text[stop], text.size() - stop);
        }
        stop = stop >= where + 2 ? text.size() : stop;
        const Byte* const end = text.data() + text.size();
        const auto done = kernels().utf8ToUtf16(text.data(), end, units.data(), units.data() + units.size());
        ASSERT_EQ(done.source - text.data(), static_cast<std::ptrdiff_t>(stop)) << std::hex << pair;
        ASSERT_EQ(kernels().countUtf8(text.data(), end).stop, done.source) << std::hex << pair;
    }
}

TEST_P(UtfKernelsTest, StopsBeforeWhatIsCutAtEveryLengthAndAlignment)
{
    for (std::size_t size = 0; size <= mixedBytes.size(); ++size) {
        const std::vector<Byte> cut(mixedBytes.begin(),
                                    mixedBytes.begin() + static_cast<std::ptrdiff_t>(size));
        ASSERT_NO_FATAL_FAILURE(expectUtf8(cut, size % 64, size)) << size;
        ASSERT_NO_FATAL_FAILURE(expectCounts(cut, size % 64)) << size;
    }
    for (std::size_t size = 0; size <= mixedUnits.size(); ++size) {
        const std::vector<Unit> cut(mixedUnits.begin(),
                                    mixedUnits.begin() + static_cast<std::ptrdiff_t>(size));
        ASSERT_NO_FATAL_FAILURE(expectUtf16(cut, size % 64, 3 * size)) << size;
        ASSERT_NO_FATAL_FAILURE(expectSizes(cut, size % 64)) << size;
    }
}

TEST_P(UtfKernelsTest, TakesWhatHasRoomForEveryTargetSizeAndAlignment)
{
    for (std::size_t room = 0; room <= mixedUnits.size() + 70; ++room) {
        ASSERT_NO_FATAL_FAILURE(expectUtf8(mixedBytes, room % 64, room)) << room;
    }
    for (std::size_t room = 0; room <= mixedBytes.size() + 70; ++room) {
        ASSERT_NO_FATAL_FAILURE(expectUtf16(mixedUnits, room % 64, room)) << room;
    }
}

TEST_P(UtfKernelsTest, AgreesWithTheOracleOnSpoiledText)
{
    RecordProperty("seed", static_cast<int>(UtfTexts::seedOfRun()));
    Random random(UtfTexts::seedOfRun());
    for (int round = 0; round < 1000; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(UtfTexts::seedOfRun()));
        const std::vector<std::uint32_t> text = UtfTexts::characters(random, UtfTexts::below(random, 200));
        std::vector<Byte> bytes = UtfTexts::encoded(text, UtfOracle::asUtf8);
        std::vector<Unit> units = UtfTexts::encoded(text, UtfOracle::asUtf16);
        UtfTexts::spoil(random, bytes, UtfTexts::badBytes);
        UtfTexts::spoil(random, units, UtfTexts::badUnits);
        const std::size_t offset = UtfTexts::below(random, 64);
        const std::size_t less = UtfTexts::below(random, 2) == 0 ? 0 : UtfTexts::below(random, 40);
        ASSERT_NO_FATAL_FAILURE(expectUtf8(bytes, offset, units.size() + 3 - std::min(units.size(), less)));
        ASSERT_NO_FATAL_FAILURE(expectUtf16(units, offset, bytes.size() + 6 - std::min(bytes.size(), less)));
        ASSERT_NO_FATAL_FAILURE(expectCounts(bytes, offset));
        ASSERT_NO_FATAL_FAILURE(expectSizes(units, offset));
    }
}

TEST_P(UtfKernelsTest, CopiesSevenBitTextUpToTheFirstOtherUnitOrTheEndOfTheTarget)
{
    for (std::size_t size = 0; size < 150; ++size) {
        std::vector<Byte> bytes(size, 'x');
        std::vector<Unit> units(size, 'x');
        const auto check = [&](std::size_t room, std::size_t stop) {
            expectConverts(kernels().widenAscii, bytes, size % 64, room,
                           {{}, stop, std::vector<Unit>(stop, 'x')});
            expectConverts(kernels().narrowAscii, units, size % 64, room,
                           {{}, stop, std::vector<Byte>(stop, 'x')});
        };
        check(size, size);
        check(size + 70, size);
        check(size / 2, size / 2);
        for (std::size_t where = 0; where < size; ++where) {
            bytes[where] = 0x80;
            units[where] = where % 2 == 0 ? 0x0080 : 0x8041;
            check(size, where);
            bytes[where] = 'x';
            units[where] = 'x';
        }
    }
}

TEST_P(UtfKernelsTest, FindsTheFirstZeroUnit)
{
    for (std::size_t size = 0; size < 150; ++size) {
        std::vector<Unit> text(size, 0x0100);
        for (std::size_t where = 0; where <= size; ++where) {
            const Placed<Unit> placed(text, size % 64);
            ASSERT_EQ(kernels().findZero(placed.begin(), placed.end()), placed.begin() + (size - where));
            if (where < size) {
                text[size - where - 1] = 0;
            }
        }
    }
}

TEST(UtfKernelsChoice, TheChosenLevelIsTheBestThatTheProcessorHas)
{
    const Kernels* expected = nullptr;
    for (const Level level : {Level::scalar, Level::sse2, Level::avx2}) {
        expected = kernelsOf(level) != nullptr ? kernelsOf(level) : expected;
    }
    EXPECT_EQ(&best(), expected);
}
