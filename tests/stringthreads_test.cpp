// Several threads with handles on the same buffers. Each thread copies, reads, edits and drops its own handles with no
// lock; only the exchange of handles is locked. What a handle holds is compared with a model that shares nothing. The
// thread sanitizer sees here whether a drop on one thread is ordered before an edit in place on another.

#include "latch.h"

#include <morvex/sstring.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace
{

constexpr unsigned threadCount = 4;
constexpr unsigned stepsEach = 40000;

template <class Text>
using UnitOf = std::remove_cvref_t<decltype(*std::declval<Text>().getString())>;

/// A handle and the units that it must have.
template <class Text>
struct Pair
{
    Text text;
    std::vector<UnitOf<Text>> model;

    bool agrees() const
    {
        const UnitOf<Text>* units = text.getString();
        return text.view().size() == model.size() && std::equal(model.begin(), model.end(), units) &&
               units[model.size()] == 0;
    }
};

/// Few, so that threads meet at the same buffers all the time.
template <class Text>
class Exchange
{
public:
    Pair<Text> copy(unsigned slot)
    {
        const std::lock_guard guard(m_lock);
        return m_slots[slot % m_slots.size()];
    }

    /// The slot's old content is given back, so that it is dropped, or edited, with no lock.
    void swap(unsigned slot, Pair<Text>& other)
    {
        const std::lock_guard guard(m_lock);
        std::swap(m_slots[slot % m_slots.size()], other);
    }

private:
    std::mutex m_lock;
    std::array<Pair<Text>, 3> m_slots;
};

template <class Text>
void insertAt(Pair<Text>& pair, unsigned index, UnitOf<Text> unit)
{
    pair.text.insertChar(index, typename Text::character(unit));
    pair.model.insert(pair.model.begin() + index, unit);
}

/// One edit of each kind that the engine has a way of its own for.
template <class Text>
void edit(Pair<Text>& pair, std::mt19937& random)
{
    const auto unit = static_cast<UnitOf<Text>>('a' + random() % 26);
    const auto size = static_cast<unsigned>(pair.model.size());
    const unsigned index = size != 0 ? static_cast<unsigned>(random()) % size : 0;
    switch (random() % 7) {
    case 0:
        pair.text += unit;
        pair.model.push_back(unit);
        break;
    case 1:
        pair.text += pair.text;
        pair.model.insert(pair.model.end(), pair.model.begin(), pair.model.end());
        break;
    case 2:
        insertAt(pair, index, unit);
        break;
    case 3:
        pair.text.deleteChars(index, 3);
        pair.model.erase(pair.model.begin() + index, pair.model.begin() + std::min(index + 3, size));
        break;
    case 4:
        if (size != 0) {
            pair.text.setAt(index, typename Text::character(unit));
            pair.model[index] = unit;
        }
        break;
    case 5:
        pair.text = pair.text.mid(index);
        pair.model.erase(pair.model.begin(), pair.model.begin() + index);
        break;
    default:
        pair.text.empty();
        pair.model.clear();
    }
    if (pair.model.size() > 200) {
        pair.text = pair.text.left(50u);
        pair.model.resize(50);
    }
}

/// Runs the task on all threads, which begin at the same time.
template <class Task>
void onAllThreads(Task task)
{
    Latch begin(threadCount);
    std::vector<std::jthread> threads;
    for (unsigned i = 0; i < threadCount; ++i) {
        threads.emplace_back([&begin, &task, i] {
            begin.arrive_and_wait();
            task(i);
        });
    }
}

/// True when no handle ever held other text than its model.
template <class Text>
bool playAlone(Exchange<Text>& exchange, unsigned seed)
{
    std::mt19937 random(seed);
    Pair<Text> own;
    for (unsigned step = 0; step < stepsEach; ++step) {
        const auto slot = static_cast<unsigned>(random());
        switch (random() % 4) {
        case 0:
            own = exchange.copy(slot);
            break;
        case 1:
            exchange.swap(slot, own);
            break;
        case 2: {
            const Pair<Text> other = exchange.copy(slot); // read and dropped with no lock
            if (!other.agrees()) {
                return false;
            }
            break;
        }
        default:
            edit(own, random);
        }
        if (!own.agrees()) {
            return false;
        }
    }
    return true;
}

template <class Text>
class stringThreads : public testing::Test
{};

struct ClassNames
{
    template <class Text>
    static std::string GetName(int)
    {
        return sizeof(UnitOf<Text>) == 2            ? "SWCharString"
               : std::is_same_v<Text, SAsciiString> ? "SAsciiString"
                                                    : "SAnsiString";
    }
};

using Texts = testing::Types<SAnsiString, SAsciiString, SWCharString>;

} // namespace

TYPED_TEST_SUITE(stringThreads, Texts, ClassNames);

TYPED_TEST(stringThreads, neverSeeEachOthersEdits)
{
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << '\n';
    Exchange<TypeParam> exchange;
    std::atomic<unsigned> faults{0};
    onAllThreads([&](unsigned i) { faults += playAlone(exchange, seed + i) ? 0 : 1; });
    EXPECT_EQ(faults, 0u);
}

/// The count must come back to one, or the text would never again be edited where it stands.
TYPED_TEST(stringThreads, leaveTheLastHandleAlone)
{
    TypeParam text;
    for (const char letter : std::string("held by everyone")) {
        text += static_cast<UnitOf<TypeParam>>(letter);
    }
    const auto* const before = text.getString();
    onAllThreads([&text](unsigned) {
        for (unsigned step = 0; step < stepsEach; ++step) {
            TypeParam copy(text);
            TypeParam second;
            second = copy;
            copy = std::move(second);
        }
    });
    text.setAt(0u, typename TypeParam::character(UnitOf<TypeParam>('H')));
    EXPECT_EQ(text.getString(), before) << "the text moved, as if somebody still shared it";
    TypeParam copy(text);
    text.setAt(0u, typename TypeParam::character(UnitOf<TypeParam>('h')));
    EXPECT_NE(text.getString(), copy.getString()) << "the text was edited though it was shared";
}
