#include "morvex/sstring.h"

#include "opened.h"
#include "recorder.h"

#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using namespace MorvexA106;

namespace
{

/// Text literals for either unit width.
template <class T>
std::basic_string<T> units(const char* text)
{
    return std::basic_string<T>(text, text + std::char_traits<char>::length(text));
}

template <class Text>
using UnitOf = std::remove_const_t<std::remove_pointer_t<decltype(std::declval<Text>().getString())>>;

template <class Base>
std::basic_string<UnitOf<Base>> held(const Base& text)
{
    return text.getString();
}

std::uint32_t seedOfRun()
{
    static const std::uint32_t seed = [] {
        const char* given = std::getenv("MORVEX_TEST_SEED");
        return given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10))
                                : std::random_device()();
    }();
    return seed;
}

} // namespace

/// Everything here holds for all three instantiations; in the C locale a multibyte character is one byte.
template <class Base>
class StringCore : public testing::Test
{
protected:
    using Unit = UnitOf<Base>;
    using TestText = Opened<Base>;
    using TestPlain = std::basic_string<Unit>;

    static TestPlain lit(const char* text) { return units<Unit>(text); }
    static TestText make(const char* text) { return TestText(lit(text).c_str()); }
};

using Engines = testing::Types<SString_t<char, 0>, SString_t<char, 1>, SString_t<unsigned short, 1>>;
TYPED_TEST_SUITE(StringCore, Engines);

TYPED_TEST(StringCore, NothingIsAllocatedForEmptyText)
{
    using Text = typename TestFixture::TestText;
    const typename TestFixture::TestPlain none;
    const Text built;
    const Text fromNull(static_cast<const typename TestFixture::Unit*>(nullptr));
    const Text fromEmpty(none.c_str());
    const Text fromZero{typename Text::character()};
    for (const Text* each : {&built, &fromNull, &fromEmpty, &fromZero}) {
        EXPECT_TRUE(each->onEmptyBuffer() && each->isEmpty());
        EXPECT_EQ(each->count(), -1);
        EXPECT_EQ(each->getString()[0], 0);
    }
}

TYPED_TEST(StringCore, GrowthIsFlatForEditsAndDoublesForAppends)
{
    auto text = this->make("abcde");
    EXPECT_EQ(text.capacity(), 5u + 33);
    typename TestFixture::TestText appended;
    appended += text;
    EXPECT_EQ(appended.capacity(), 5u + 33) << "append to empty: n + 33";
    appended.concat(TestFixture::lit("1234567890123456789012345678901234567890").c_str());
    EXPECT_EQ(appended.capacity(), 2u * 5 + 40 + 1) << "private without room: 2L + n + 1";

    auto shared = this->make("abcde");
    const auto other = shared;
    shared += TestFixture::lit("x").c_str();
    EXPECT_EQ(shared.capacity(), 5u + 1 + 1 + 32) << "shared, room enough: L + n + 1 + 32";
    auto tight = this->make("abcde");
    const auto keeper = tight;
    tight += TestFixture::lit("1234567890123456789012345678901234567890").c_str();
    EXPECT_EQ(tight.capacity(), 2u * 5 + 40 + 1 + 32) << "shared without room: 2L + n + 1 + 32";

    auto edited = this->make("abcde");
    edited.insertChars(0, this->make("1234567890123456789012345678901234567890"));
    EXPECT_EQ(edited.capacity(), 45u + 33) << "an edit adds 32 units of slack";
    typename TestFixture::TestText reserved;
    reserved.setBufferSize(100);
    EXPECT_EQ(reserved.capacity(), 101u + 33);
    EXPECT_FALSE(reserved.onEmptyBuffer());
    EXPECT_TRUE(reserved.isEmpty());
    EXPECT_EQ(text.concatAllocHelper(0), nullptr);
}

TYPED_TEST(StringCore, CopiesShareUntilOneIsWritten)
{
    const auto source = this->make("shared");
    {
        auto copy = source;
        EXPECT_EQ(source.count(), 2);
        EXPECT_EQ(copy.getString(), source.getString());
        copy.setAt(0u, TestFixture::lit("X")[0]);
        EXPECT_EQ(source.count(), 1);
        EXPECT_EQ(held(copy), TestFixture::lit("Xhared"));
    }
    EXPECT_EQ(held(source), TestFixture::lit("shared"));
    const auto whole = typename TestFixture::TestText(source.right(99));
    EXPECT_EQ(whole.getString(), source.getString());
}

TYPED_TEST(StringCore, DeletingAllLeavesAHeapBufferAndEmptyDoesNot)
{
    auto text = this->make("abc");
    text.deleteChars(0u, 99);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_FALSE(text.onEmptyBuffer());
    text.empty();
    EXPECT_TRUE(text.onEmptyBuffer());
}

TYPED_TEST(StringCore, ATextMayBeItsOwnOperand)
{
    auto doubled = this->make("abc");
    doubled += doubled;
    EXPECT_EQ(held(doubled), TestFixture::lit("abcabc"));

    auto tail = this->make("0123456789");
    for (int i = 0; i < 6; ++i) {
        tail.concat(tail.getString() + 5); // grows through several buffers
    }
    EXPECT_EQ(held(tail).substr(0, 20), TestFixture::lit("01234567895678956789"));

    auto counted = this->make("0123456789");
    counted.concat(counted.getString() + 7, 60);
    EXPECT_EQ(counted.length(), 70u);
    EXPECT_EQ(held(counted), TestFixture::lit("0123456789789"));

    auto inserted = this->make("abc");
    inserted.insertChars(1, inserted);
    EXPECT_EQ(held(inserted), TestFixture::lit("aabcbc"));

    auto assigned = this->make("abcdef");
    assigned = assigned.getString();
    EXPECT_EQ(held(assigned), TestFixture::lit("abcdef"));
    const auto before = assigned;
    assigned = assigned.getString() + 2;
    EXPECT_EQ(held(assigned), TestFixture::lit("cdef"));
    EXPECT_EQ(held(before), TestFixture::lit("abcdef"));

    auto between = this->make("abcdef");
    typename TestFixture::TestText::iterator first(between);
    typename TestFixture::TestText::iterator last(between);
    first += 1;
    last += 3;
    between.concat(first, last);
    EXPECT_EQ(held(between), TestFixture::lit("abcdefbc"));
    between.concat(typename TestFixture::TestText::iterator(between) += 3,
                   typename TestFixture::TestText::iterator(between));
    EXPECT_EQ(held(between), TestFixture::lit("abcdefbc")) << "cursors in the wrong order";
}

TYPED_TEST(StringCore, ACountedAppendStopsAtTheTerminatorAndPads)
{
    auto text = this->make("a");
    text.concat(TestFixture::lit("bc").c_str(), 5);
    EXPECT_EQ(text.length(), 6u);
    EXPECT_EQ(held(text), TestFixture::lit("abc"));
    for (unsigned i = 3; i <= 6; ++i) {
        EXPECT_EQ(text.getString()[i], 0) << i;
    }
    auto ascii = this->make("a");
    ascii.concatFromAscii("b\xFF", 2);
    EXPECT_EQ(static_cast<std::make_unsigned_t<typename TestFixture::Unit>>(ascii.getString()[2]), 0xFF);
}

TYPED_TEST(StringCore, EditsAtTheEdges)
{
    auto text = this->make("abc");
    const auto X = typename TestFixture::TestText::character(TestFixture::lit("X")[0]);
    typename TestFixture::TestText::iterator end(text);
    end += 99;
    EXPECT_TRUE(end.isAtEnd() && !end);
    text.setAt(end, X);
    text.deleteChar(end);
    text.deleteChars(3u, 5);
    text.insertChar(0u, typename TestFixture::TestText::character());
    EXPECT_EQ(held(text), TestFixture::lit("abc"));
    text.insertChar(end, X);
    EXPECT_EQ(held(text), TestFixture::lit("abcX"));
    EXPECT_TRUE(*end == X) << "the cursor stays on what was inserted";
    text.insertChar(99u, X);
    text.deleteChar(0u);
    EXPECT_EQ(held(text), TestFixture::lit("bcXX"));
    EXPECT_EQ(text.getAt(99u), typename TestFixture::TestText::character());

    typename TestFixture::TestText foreign;
    typename TestFixture::TestText::iterator elsewhere(text);
    foreign.deleteChars(elsewhere, 2); // a cursor of another text stands at the end
    foreign.insertChar(elsewhere = typename TestFixture::TestText::iterator(text), X);
    EXPECT_EQ(held(foreign), TestFixture::lit("X"));
}

TYPED_TEST(StringCore, ExtractionTakesCharactersAndCursors)
{
    const auto text = this->make("abcdef");
    typename TestFixture::TestText::iterator two(text);
    two += 2;
    typename TestFixture::TestText::iterator four(text);
    four += 4;
    EXPECT_EQ(held(text.left(2)), TestFixture::lit("ab"));
    EXPECT_EQ(held(text.left(99)), TestFixture::lit("abcdef"));
    EXPECT_EQ(held(text.left(two)), TestFixture::lit("ab"));
    EXPECT_EQ(held(text.right(2)), TestFixture::lit("ef"));
    EXPECT_EQ(held(text.right(two)), TestFixture::lit("cdef"));
    EXPECT_EQ(held(text.mid(4)), TestFixture::lit("ef"));
    EXPECT_EQ(held(text.mid(1, 2)), TestFixture::lit("bc"));
    EXPECT_EQ(held(text.mid(5, 9)), TestFixture::lit("f"));
    EXPECT_EQ(held(text.mid(two, four)), TestFixture::lit("cd"));
    EXPECT_TRUE(text.mid(four, two).isEmpty());
    EXPECT_TRUE(text.mid(99).isEmpty());
    EXPECT_EQ(four - two, 2);
}

TYPED_TEST(StringCore, TrimmingTakesWhiteSpaceOnly)
{
    for (const auto& [given, expected] : {std::pair{"", ""},
                                          {"   ", ""},
                                          {" \t\r\n", ""},
                                          {"a", "a"},
                                          {"  a b  ", "a b"},
                                          {"a  ", "a"},
                                          {"  a", "a"}}) {
        auto text = this->make(given);
        const auto* before = text.getString();
        text.trim();
        EXPECT_EQ(held(text), TestFixture::lit(expected)) << '"' << given << '"';
        EXPECT_TRUE(std::string(given) != expected || text.getString() == before)
            << "nothing to trim, nothing done";
    }
}

TYPED_TEST(StringCore, SearchesEndAtTheEndWithoutAMatch)
{
    const auto text = this->make("abcabc");
    const auto is = [&](const typename TestFixture::TestText::iterator& hit) {
        return hit - typename TestFixture::TestText::iterator(text);
    };
    const auto b = typename TestFixture::TestText::character(TestFixture::lit("b")[0]);
    const auto z = typename TestFixture::TestText::character(TestFixture::lit("z")[0]);
    EXPECT_EQ(is(text.findFirst(b)), 1);
    EXPECT_EQ(is(text.findLast(b)), 4);
    EXPECT_EQ(is(text.findFirst(z)), 6);
    EXPECT_EQ(is(text.findLast(z)), 6);
    EXPECT_FALSE(static_cast<bool>(text.findLast(z)));
    EXPECT_EQ(is(text.findFirst({})), 6) << "the zero character is nowhere";
    EXPECT_EQ(is(text.find(this->make("ca"))), 2);
    EXPECT_EQ(is(text.find(this->make("cax"))), 6);
    EXPECT_EQ(is(text.find(this->make(""))), 0);
    auto from = text.findFirst(b);
    EXPECT_EQ(is((++from).find(b)), 4);
}

TYPED_TEST(StringCore, ComparisonsEndAtTheFirstZeroUnit)
{
    auto text = this->make("ab");
    text.concat(TestFixture::lit("").c_str(), 2);
    const auto plain = this->make("ab");
    EXPECT_NE(text.length(), plain.length());
    EXPECT_TRUE(text == plain && text == TestFixture::lit("ab").c_str());
    EXPECT_FALSE(text != plain || text < plain || text > plain);
    EXPECT_TRUE(typename TestFixture::TestText() == static_cast<const typename TestFixture::Unit*>(nullptr));
    EXPECT_TRUE(plain > static_cast<const typename TestFixture::Unit*>(nullptr));
    EXPECT_EQ(plain.compareBinary(this->make("b")), -1);
    EXPECT_EQ(this->make("AbC").compareNoCase(this->make("aBc")), 0);
    EXPECT_LT(this->make("AbC").compareNoCase(this->make("aBd")), 0);
    EXPECT_TRUE(this->make("a") < this->make("b") && this->make("a") <= this->make("a"));
}

TYPED_TEST(StringCore, CaseIsMappedInPlaceOnAPrivateCopy)
{
    auto text = this->make("aBc-1");
    const auto other = text;
    text.toUpper();
    EXPECT_EQ(held(text), TestFixture::lit("ABC-1"));
    text.toLower();
    EXPECT_EQ(held(text), TestFixture::lit("abc-1"));
    EXPECT_EQ(held(other), TestFixture::lit("aBc-1"));
}

TYPED_TEST(StringCore, ALengthThatCannotBeHeldIsRefusedAndLosesNothing)
{
    auto text = this->make("kept");
    const auto refuse = [&](auto action, const char* name) {
        try {
            action();
            ADD_FAILURE() << name << " succeeded";
        } catch (const std::bad_alloc& error) {
            EXPECT_STREQ(error.what(), "bad allocation") << name;
        }
        EXPECT_EQ(held(text), TestFixture::lit("kept")) << name;
    };
    refuse([&] { text.setBufferSize(0xFFFFFFFFu); }, "reserve, private");
    refuse([&] { text.concatAllocHelper(0xFFFFFFFFu); }, "append, private");
    const auto sharer = text;
    refuse([&] { text.setBufferSize(0xFFFFFFF0u); }, "reserve, shared");
    refuse([&] { text.concatAllocHelper(0xFFFFFFFFu); }, "append, shared");
    EXPECT_EQ(sharer.count(), 2);
}

/// The same random operations on the string and on the standard's.
TYPED_TEST(StringCore, BehavesAsAStandardStringUnderRandomEdits)
{
    std::mt19937 random(seedOfRun());
    SCOPED_TRACE("MORVEX_TEST_SEED=" + std::to_string(seedOfRun()));
    using Text = typename TestFixture::TestText;
    using Plain = typename TestFixture::TestPlain;
    Text text;
    Plain model;
    Text shared;
    const auto below = [&](std::size_t limit) { return static_cast<unsigned>(random() % (limit + 1)); };
    for (int step = 0; step < 6000; ++step) {
        Plain piece(below(12), TestFixture::lit("a")[0]);
        for (auto& unit : piece) {
            unit = static_cast<typename TestFixture::Unit>('a' + below(25));
        }
        const unsigned at = below(model.size() + 2);
        const unsigned inside = std::min<unsigned>(at, static_cast<unsigned>(model.size()));
        switch (random() % 12) {
        case 0:
            text += piece.c_str();
            model += piece;
            break;
        case 1:
            text += Text(piece.c_str());
            model += piece;
            break;
        case 2:
            text.insertChars(at, Text(piece.c_str()));
            model.insert(inside, piece);
            break;
        case 3: {
            const unsigned count = below(6);
            text.deleteChars(at, count);
            model.erase(inside, count);
            break;
        }
        case 4:
            if (inside < model.size()) {
                text.setAt(at, typename Text::character('Z'));
                model[inside] = 'Z';
            }
            break;
        case 5:
            text = text.left(at);
            model = model.substr(0, inside);
            break;
        case 6:
            text = text.mid(at / 2);
            model = model.substr(std::min<std::size_t>(at / 2, model.size()));
            break;
        case 7:
            shared = text;
            break;
        case 8:
            text.insertChar(at, typename Text::character('Q'));
            model.insert(inside, 1, 'Q');
            break;
        case 9:
            text.concat(typename TestFixture::Unit('C'));
            model += 'C';
            break;
        case 10:
            text += text;
            model += model;
            break;
        default:
            text = piece.c_str();
            model = piece;
            break;
        }
        if (model.size() > 5000) {
            text.empty();
            model.clear();
        }
        ASSERT_EQ(held(text), model) << "step " << step;
        ASSERT_EQ(text.length(), model.size()) << "step " << step;
        ASSERT_GE(text.onEmptyBuffer() ? 1u : text.capacity(), text.length() + 1) << "step " << step;
    }
}

TEST(Sharing, ThreadsCopyEditAndDropOneBuffer)
{
    const SAnsiString shared("the text that all of them hold");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([source = shared] {
            for (int i = 0; i < 2000; ++i) {
                SAnsiString copy(source);
                const SAnsiString second(copy);
                copy += "!";
                ASSERT_STREQ(second, "the text that all of them hold");
                copy = second;
                copy.setAt(0u, 'T');
                ASSERT_STREQ(copy, "The text that all of them hold");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_STREQ(shared, "the text that all of them hold");
}

TEST(Flavours, EachTakesItsOwnAndItsEnginesText)
{
    SAnsiString text("abc");
    text = SString_t<char, 0>("def");
    EXPECT_STREQ(text, "def");
    text = 'x';
    EXPECT_STREQ(text + 'y' + "z" + SAnsiString("!"), "xyz!");
    SAnsiStringCI folded(text);
    folded = "CI";
    SWCharString wide(units<unsigned short>("w").c_str());
    SQCAString interchange(wide);
    EXPECT_TRUE(interchange == wide);
    SAsciiString ascii('a');
    EXPECT_EQ(std::string(ascii.view()), "a");
    EXPECT_EQ(SAnsiString(std::string_view("a\0b", 3)).view().size(), 3u);
    SAnsiString moved(std::move(text));
    EXPECT_TRUE(text.isEmpty());
    EXPECT_STREQ(moved, "x");
}

TEST(Flavours, CaseInsensitiveOnEitherSideGoesWithoutCase)
{
    const SAnsiStringCI folded("ABC");
    const SAnsiString plain("abc");
    EXPECT_TRUE(folded == plain && plain == folded && folded == "aBc" && folded == SAnsiStringCI("abc"));
    EXPECT_FALSE(folded != plain || plain != folded || folded < plain || folded > plain);
    EXPECT_TRUE(folded <= "abd" && SAnsiStringCI("ABD") > plain);
    EXPECT_FALSE(SAnsiString("ABC") == plain);
    EXPECT_NE(folded.compare(plain), 0) << "the inherited comparison keeps to the case";
    const SWCharStringCI wide(units<unsigned short>("ABC").c_str());
    EXPECT_TRUE(wide == units<unsigned short>("abc").c_str() && wide <= SWCharString(wide));
}

TEST(Flavours, FindingWithoutCaseAnswersInTheOriginal)
{
    const SAnsiStringCI text("Hello World");
    EXPECT_STREQ(text.find("WORLD").getCursor(), "World");
    EXPECT_TRUE(text.find("moon").isAtEnd());
    EXPECT_STREQ(text, "Hello World");
    const SWCharStringCI wide(units<unsigned short>("Hello").c_str());
    EXPECT_EQ(wide.find(units<unsigned short>("LL").c_str()) - SWCharStringCI::iterator(wide), 2);
}

TEST(Characters, EachFormKnowsWhatItIs)
{
    using Multibyte = SChar_t<char, 0>;
    using Ascii = SChar_t<char, 1>;
    using Wide = SChar_t<unsigned short, 1>;
    EXPECT_TRUE(Multibyte::isMBCSChar() && !Multibyte::isAsciiChar() && !Multibyte::isUnicode());
    EXPECT_TRUE(Ascii::isAsciiChar() && !Ascii::isMBCSChar() && !Ascii::isWideChar());
    EXPECT_TRUE(Wide::isUnicode() && Wide::isWideChar() && !Wide::isMBCSChar() && !Wide::isAsciiChar());
    EXPECT_FALSE(Multibyte::isQCAChar() || Ascii::isQCAChar() || Wide::isQCAChar());
    EXPECT_EQ(Multibyte().getLength(), 0u);
    EXPECT_EQ(Ascii().getLength(), 1u);
    EXPECT_TRUE(Ascii('\n').isBlank()) << "the 7-bit form takes line ends for blanks";
    EXPECT_FALSE(Wide('\n').isBlank());
    EXPECT_FALSE(Multibyte('\n').isBlank());
    EXPECT_TRUE(Wide(0x3000).isBlank() && Multibyte('\t').isBlank());
    EXPECT_TRUE(Multibyte('a').isLower() && Multibyte('A').isUpper() && Multibyte('7').isDigit());
    EXPECT_EQ(Wide('q').toUpper(), Wide('Q'));
    EXPECT_EQ(Ascii('Q').toLower(), Ascii('q'));
}

TEST(Characters, ClassesAboveSevenBitsComeFromTheTable)
{
    struct Row
    {
        unsigned short code;
        const char* classes; // of the letters u l a s p d
    };
    const Row rows[] = {
        {'A', "ua"},   {' ', "s"},    {'!', "p"},     {'0', "d"},    {0x7F, ""},    {0x80, ""},
        {0xA0, "s"},   {0xA1, "p"},   {0xA2, ""},     {0xAA, "la"},  {0xAB, "p"},   {0xAD, "p"},
        {0xB5, "la"},  {0xBA, "la"},  {0xC0, "ua"},   {0xD7, ""},    {0xDF, "la"},  {0x1C5, "a"},
        {0x3000, "s"}, {0x3042, "a"}, {0x4E00, "a"},  {0x9FFF, "a"}, {0xAC00, "a"}, {0xD7A3, "a"},
        {0xD800, ""},  {0xFF10, "d"}, {0xFF21, "ua"}, {0xFFDC, "a"}, {0xFFDD, ""},  {0xFFFF, ""},
    };
    for (const Row& row : rows) {
        std::string actual;
        const std::pair<bool (*)(unsigned short), char> questions[] = {{is_upper, 'u'}, {is_lower, 'l'},
                                                                       {is_alpha, 'a'}, {is_space, 's'},
                                                                       {is_punct, 'p'}, {is_digit, 'd'}};
        for (const auto& [question, letter] : questions) {
            actual += question(row.code) ? std::string(1, letter) : "";
        }
        EXPECT_EQ(actual, row.classes) << std::hex << row.code;
    }
}
