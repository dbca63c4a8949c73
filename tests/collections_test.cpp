#include "morvex/siarray.h"
#include "morvex/simap.h"
#include "morvex/siset.h"
#include "morvex/sstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <memory>
#include <random>
#include <ranges>
#include <string>
#include <vector>

using namespace MorvexA106;

static_assert(std::ranges::contiguous_range<SIArray<SAnsiString>>);
static_assert(std::bidirectional_iterator<SIMap<int, int>::Iterator>);
static_assert(std::bidirectional_iterator<SIMap<int, int>::ConstIterator>);
static_assert(std::bidirectional_iterator<SISet<SAnsiString>::Iterator>);
static_assert(std::is_convertible_v<SIMap<int, int>::Iterator, SIMap<int, int>::ConstIterator>);
static_assert(!std::is_convertible_v<SIMap<int, int>::ConstIterator, SIMap<int, int>::Iterator>);

namespace
{

using Strings = SIArray<std::string>;

Strings letters(const std::string& text)
{
    Strings result;
    for (char letter : text) {
        result.Add(std::string(30, letter));
    }
    return result;
}

std::string initials(const Strings& strings)
{
    std::string result;
    for (const std::string& element : strings) {
        result += element.empty() ? '.' : element[0];
    }
    return result;
}

/// The same random operations on an array and on plain elements, with the growth of the storage worked out
/// beside them.
class RandomPair
{
public:
    explicit RandomPair(unsigned seed) : m_random(seed) {}

    Strings array;
    std::vector<std::string> model;
    std::size_t capacity = 0;

    const char* act()
    {
        struct Action
        {
            const char* name;
            void (RandomPair::*run)();
        };
        static constexpr Action actions[] = {
            {"add", &RandomPair::add},         {"insert", &RandomPair::insert},
            {"set", &RandomPair::set},         {"remove", &RandomPair::remove},
            {"set size", &RandomPair::resize}, {"append itself", &RandomPair::appendItself},
        };
        const Action& action = actions[below(std::size(actions))];
        (this->*action.run)();
        return action.name;
    }

private:
    unsigned below(std::size_t limit) { return static_cast<unsigned>(m_random() % limit); }
    unsigned position() { return below(model.size() + 1); }

    /// The array's own element as often as a new one.
    const std::string& element()
    {
        if (!model.empty() && below(2) == 0) {
            return array.ElementAt(below(model.size()));
        }
        m_fresh = "element number " + std::to_string(m_random()) + " of the array under test";
        return m_fresh;
    }

    void makeRoom(std::size_t count)
    {
        if (model.size() + count > capacity) {
            capacity = model.size() + std::max(model.size(), count);
        }
    }

    void add()
    {
        const std::string& added = element();
        makeRoom(1);
        model.push_back(added);
        EXPECT_EQ(array.Add(added), model.size() - 1);
    }
    void insert()
    {
        const std::string& inserted = element();
        const unsigned index = position();
        const unsigned count = below(6);
        makeRoom(count);
        model.insert(model.begin() + index, count, inserted);
        array.InsertAt(index, inserted, count);
    }
    void set()
    {
        if (!model.empty()) {
            const std::string& value = element();
            const unsigned index = below(model.size());
            model[index] = value;
            array.SetAt(index, value);
        }
    }
    void remove()
    {
        const unsigned index = position();
        const unsigned count = below(20);
        const std::size_t end = std::min<std::size_t>(index + count, model.size());
        model.erase(model.begin() + index, model.begin() + end);
        array.RemoveAt(index, count);
    }
    void resize()
    {
        const unsigned size = below(10) == 0 ? 0 : position() + below(6);
        if (size > capacity) {
            const std::size_t step = std::clamp<std::size_t>(model.size() / 8, 4, 1024);
            capacity = model.empty() ? size : std::max<std::size_t>(capacity + step, size);
        }
        model.resize(size);
        array.SetSize(size);
    }
    void appendItself()
    {
        if (model.size() < 300) {
            makeRoom(model.size());
            const std::vector<std::string> half = model;
            model.insert(model.end(), half.begin(), half.end());
            array.Append(array);
        }
    }

    std::mt19937 m_random;
    std::string m_fresh;
};

/// A key that knows no comparison but less: by length first, then without case.
struct ShortFirst
{
    SAnsiString text;

    bool operator==(const ShortFirst&) const = delete;
    bool operator<(const ShortFirst& other) const
    {
        const unsigned length = text.getNChars();
        const unsigned otherLength = other.text.getNChars();
        return length != otherLength ? length < otherLength : text.compareNoCase(other.text) < 0;
    }
};

using Names = SIMap<ShortFirst, int>;
using Numbers = SIMap<int, std::string>;

Numbers numbersUpTo(int count)
{
    Numbers numbers;
    for (int number = 1; number <= count; ++number) {
        numbers.Insert(number, std::to_string(number));
    }
    return numbers;
}

} // namespace

TEST(SIArray, isEmptyWithoutStorageWhenNew)
{
    const SIArray<SAnsiString> array;
    EXPECT_EQ(array.GetSize(), 0u);
    EXPECT_EQ(array.GetUpperBound(), UINT_MAX);
    EXPECT_EQ(array.GetCapacity(), 0u);
    EXPECT_EQ(array.Begin(), nullptr);
    EXPECT_EQ(array.End(), nullptr);
}

TEST(SIArray, growsBySteps)
{
    struct Row
    {
        const char* name;
        unsigned full;
        unsigned newSize;
        unsigned growBy;
        std::size_t capacity;
    };
    const Row rows[] = {
        {"no elements take what they need", 0, 3, 100, 3},
        {"least step", 1, 2, UINT_MAX, 5},
        {"last size of the least step", 39, 40, UINT_MAX, 43},
        {"an eighth", 40, 41, UINT_MAX, 45},
        {"last size of an eighth", 8199, 8200, UINT_MAX, 9223},
        {"largest step", 20000, 20001, UINT_MAX, 21024},
        {"more than a step", 40, 100, UINT_MAX, 100},
        {"given step", 10, 11, 50, 60},
        {"given step of nothing", 10, 11, 0, 11},
        {"within the capacity", 40, 7, UINT_MAX, 40},
    };
    for (const Row& row : rows) {
        SIArray<unsigned> array;
        array.SetSize(row.full);
        ASSERT_EQ(array.GetCapacity(), row.full) << row.name;
        array.SetSize(row.newSize, row.growBy);
        EXPECT_EQ(array.GetSize(), row.newSize) << row.name;
        EXPECT_EQ(array.GetCapacity(), row.capacity) << row.name;
    }
}

TEST(SIArray, keepsItsStorageWhenEmptied)
{
    Strings array = letters("abcd");
    const std::string* const storage = array.Begin();
    array.SetSize(0);
    array.Add("again");
    EXPECT_EQ(array.Begin(), storage);
    array.RemoveAll();
    array.SetSize(4);
    EXPECT_EQ(array.Begin(), storage);
    EXPECT_EQ(initials(array), "....");
}

TEST(SIArray, takesItsOwnElements)
{
    struct Row
    {
        const char* name;
        void (*act)(Strings& array);
        const char* after;
    };
    const Row rows[] = {
        {"add the first", [](Strings& a) { a.Add(a[0]); }, "abca"},
        {"insert the last in front", [](Strings& a) { a.InsertAt(0, a[2], 2); }, "ccabc"},
        {"insert one that moves", [](Strings& a) { a.InsertAt(1, a[1], 1); }, "abbc"},
        {"set over another", [](Strings& a) { a.SetAt(0, a[2]); }, "cbc"},
        {"set over itself", [](Strings& a) { a.SetAt(1, a[1]); }, "abc"},
        {"append itself", [](Strings& a) { EXPECT_EQ(a.Append(a), 3u); }, "abcabc"},
        {"copy itself", [](Strings& a) { a.Copy(a); }, "abc"},
    };
    for (const Row& row : rows) {
        Strings full = letters("abc");
        Strings roomy = full;
        roomy.SetSize(20);
        roomy.SetSize(3);
        row.act(full);
        row.act(roomy);
        EXPECT_EQ(initials(full), row.after) << row.name << ", full storage";
        EXPECT_EQ(initials(roomy), row.after) << row.name << ", room left";
    }
}

TEST(SIArray, cutsWhatGoesTooFar)
{
    struct Row
    {
        const char* name;
        void (*act)(Strings& array);
        const char* after;
    };
    const Row rows[] = {
        {"insert at the end", [](Strings& a) { a.InsertAt(3, "x", 2); }, "abcxx"},
        {"insert beyond", [](Strings& a) { a.InsertAt(UINT_MAX, "x"); }, "abcx"},
        {"insert none", [](Strings& a) { a.InsertAt(1, "x", 0); }, "abc"},
        {"remove too many", [](Strings& a) { a.RemoveAt(1, UINT_MAX); }, "a"},
        {"remove at the end", [](Strings& a) { a.RemoveAt(3); }, "abc"},
        {"remove beyond", [](Strings& a) { a.RemoveAt(UINT_MAX, 2); }, "abc"},
        {"remove none", [](Strings& a) { a.RemoveAt(1, 0); }, "abc"},
    };
    for (const Row& row : rows) {
        Strings array = letters("abc");
        row.act(array);
        EXPECT_EQ(initials(array), row.after) << row.name;
    }
}

TEST(SIArray, refusesMoreElementsThanItCanCount)
{
    SIArray<unsigned char> bytes;
    bytes.Add(1);
    EXPECT_THROW(bytes.InsertAt(0, 2, UINT_MAX), std::bad_alloc);
    EXPECT_EQ(bytes.GetSize(), 1u);
}

TEST(SIArray, doesAsPlainElementsDo)
{
    const unsigned seed = std::random_device()();
    RandomPair pair(seed);
    for (int step = 0; step < 5000; ++step) {
        const char* const action = pair.act();
        ASSERT_TRUE(std::ranges::equal(pair.array, pair.model))
            << "seed " << seed << " step " << step << " " << action;
        ASSERT_EQ(pair.array.GetCapacity(), pair.capacity)
            << "seed " << seed << " step " << step << " " << action;
    }
}

TEST(SIMap, keepsTheFirstKeyAndTheLastValue)
{
    Names names;
    names.Insert({"Path"}, 1);
    names.SetAt({"PATH"}, 2);
    names.Update({"zz"}, 3);
    EXPECT_EQ(names.GetCount(), 2u);
    int value = 0;
    EXPECT_TRUE(names.Lookup({"path"}, value));
    EXPECT_EQ(value, 2);
    EXPECT_STREQ(names.Find({"pATH"}).Key().text, "Path");
    EXPECT_STREQ(names.GetFirst().Key().text, "zz") << "a shorter name comes first";
}

TEST(SIMap, changesNothingForAMissingKey)
{
    Names names;
    names.Insert({"here"}, 1);
    int value = 42;
    EXPECT_FALSE(names.Lookup({"gone"}, value));
    EXPECT_EQ(value, 42);
    EXPECT_FALSE(names.RemoveKey({"gone"}));
    EXPECT_EQ(names.GetCount(), 1u);
    EXPECT_TRUE(names.Find({"gone"}).IsAtEnd());
    EXPECT_EQ(names.BeginAt({"gone"}), names.End());
}

TEST(SIMap, takesItsOwnKeysAndValues)
{
    Numbers numbers = numbersUpTo(3);
    numbers.Insert(4, numbers.GetFirst().Value());
    numbers.Insert(1, numbers.GetFirst().Value());
    EXPECT_EQ(numbers.GetLast().Value(), "1");
    EXPECT_TRUE(numbers.RemoveKey(numbers.GetFirst().Key()));
    EXPECT_TRUE(numbers.Lookup(2, numbers.Find(2).Value()));
    EXPECT_EQ(numbers.GetFirst().Value(), "2");
}

TEST(SIMap, copiesDeeplyAndIsDestroyedThroughItsBase)
{
    struct Derived : Numbers
    {
        std::shared_ptr<int> witness = std::make_shared<int>(0);
    };
    auto derived = std::make_unique<Derived>();
    const std::weak_ptr<int> alive = derived->witness;
    derived->Insert(1, "one");
    const Numbers copy = *derived;
    derived->Find(1)->second = "changed";
    std::unique_ptr<Numbers> base = std::move(derived);
    EXPECT_EQ(copy.Find(1).Value(), "one");
    base.reset();
    EXPECT_TRUE(alive.expired());
}

TEST(SIIterator, knowsThatItLeftTheRangeAtEitherSide)
{
    for (int count : {0, 1, 3}) {
        Numbers numbers = numbersUpTo(count);
        std::vector<int> forward;
        for (auto entry = numbers.GetFirst(); entry; ++entry) {
            forward.push_back(entry.Key());
        }
        std::vector<int> backward;
        for (auto entry = numbers.GetLast(); !entry.IsAtEnd(); --entry) {
            backward.push_back(entry->first);
        }
        EXPECT_EQ(forward.size(), static_cast<std::size_t>(count));
        EXPECT_TRUE(std::equal(forward.begin(), forward.end(), backward.rbegin(), backward.rend()));
    }
}

TEST(SIIterator, staysWithinTheRange)
{
    Numbers numbers = numbersUpTo(2);
    auto end = numbers.End();
    EXPECT_EQ(++end, numbers.End());
    EXPECT_EQ(end--, numbers.End());
    EXPECT_EQ(end, numbers.GetLast());
    EXPECT_EQ(--numbers.GetFirst(), numbers.End());
    EXPECT_EQ(numbers.GetFirst()++, numbers.Begin());

    Numbers none;
    EXPECT_EQ(none.GetLast(), none.End());
    EXPECT_EQ(none.GetFirst(), none.End());
    EXPECT_EQ(--none.End(), none.End());
    EXPECT_EQ(Numbers::Iterator(), Numbers::Iterator());
}

TEST(SIIterator, servesTheStandardAlgorithms)
{
    Numbers numbers = numbersUpTo(4);
    for (auto& [number, text] : numbers) {
        text += "!";
    }
    const Numbers& constant = numbers;
    std::string backward;
    const auto stop = std::make_reverse_iterator(constant.begin());
    for (auto entry = std::make_reverse_iterator(constant.end()); entry != stop; ++entry) {
        backward += entry->second;
    }
    EXPECT_EQ(backward, "4!3!2!1!");
    EXPECT_EQ(std::distance(constant.begin(), constant.end()), 4);
    EXPECT_EQ(std::prev(numbers.end()), numbers.GetLast());
    EXPECT_EQ(std::ranges::find_if(constant, [](const auto& entry) { return entry.second == "3!"; }),
              numbers.Find(3));
}

TEST(SIIterator, staysGoodWhenEntriesAreInserted)
{
    Numbers numbers = numbersUpTo(2);
    auto entry = numbers.GetLast();
    numbers.Insert(3, "3");
    EXPECT_EQ((++entry).Key(), 3);
    EXPECT_TRUE((++entry).IsAtEnd());
}

TEST(SISet, holdsEachElementOnce)
{
    SISet<SAnsiStringCI> names;
    EXPECT_TRUE(names.IsEmpty());
    EXPECT_EQ(names.GetLast(), names.End());
    EXPECT_TRUE(names.Insert("Beta"));
    EXPECT_TRUE(names.Insert("alpha"));
    EXPECT_FALSE(names.Insert("BETA"));
    EXPECT_EQ(names.GetCount(), 2u);
    EXPECT_STREQ(*names.GetLast(), "Beta") << "the first spelling stays";
    EXPECT_TRUE(names.Lookup("ALPHA"));
    EXPECT_FALSE(names.Lookup("gamma"));
    std::string order;
    for (const SAnsiStringCI& name : names) {
        order += name.getString();
    }
    EXPECT_EQ(order, "alphaBeta");
    EXPECT_TRUE(names.RemoveKey("Alpha"));
    EXPECT_FALSE(names.RemoveKey("Alpha"));
    EXPECT_TRUE(names.Find("alpha").IsAtEnd());
    names.RemoveAll();
    EXPECT_TRUE(names.IsEmpty());
}
