#include "morvex/refcount.h"

#include "morvex/splat.h"
#include "morvex/splatrules.h"
#include "recorder.h"

#include <memory>
#include <thread>
#include <utility>
#include <vector>

using namespace MorvexA106;

namespace
{

/// Counts how many of its kind are alive.
class Tracked : public CRefCount
{
public:
    explicit Tracked(int* alive) : m_alive(alive) { ++*m_alive; }
    Tracked(const Tracked& other) : CRefCount(other), m_alive(other.m_alive) { ++*m_alive; }
    Tracked& operator=(const Tracked&) = default;

    CSmartRefCountPtr<Tracked> next;
    using CRefCount::clearRefCount;

    ~Tracked() override { --*m_alive; }

private:
    int* m_alive;
};

class Special : public Tracked
{
public:
    using Tracked::Tracked;
};

/// Opens the protected primitives.
struct Primitives : SInterlockedBase
{
    using SInterlockedBase::asmAcquireLock;
    using SInterlockedBase::asmExchange;
    using SInterlockedBase::asmExchangeAdd;
    using SInterlockedBase::asmInitLock;
    using SInterlockedBase::asmUnlock;
};

template <class Counter, class Value>
void expectOperations(Value top, Value wrapped)
{
    Counter counter(0);
    EXPECT_EQ(counter++, Value(0));
    EXPECT_EQ(++counter, Value(2));
    EXPECT_EQ(counter--, Value(2));
    EXPECT_EQ(--counter, Value(0));
    EXPECT_EQ(counter.exchangeAdd(5), Value(0));
    EXPECT_EQ(counter.exchange(9), Value(5));
    EXPECT_EQ(counter.read(), Value(9));
    EXPECT_EQ(counter.nonInterlockedSet(7), Value(9));
    EXPECT_EQ(SNonInterlockedSet(&counter, 8), Value(7));
    EXPECT_EQ(SNonInterlockedRead(&counter), Value(8));
    Counter copy(counter);
    EXPECT_TRUE(copy == counter);
    counter.initialize(top);
    EXPECT_EQ(++counter, wrapped);
    copy = counter;
    EXPECT_EQ(copy.read(), wrapped);
}

} // namespace

TEST(Counter, BothKindsAnswerAndWrapAtThirtyTwoBits)
{
    expectOperations<SInterlockedInt32s, long>(2147483647L, -2147483647L - 1);
    expectOperations<SInterlockedInt32u, unsigned long>(4294967295UL, 0UL);
}

TEST(Counter, TakingOneFromZeroTellsTheOldValue)
{
    SInterlockedInt32s counter(0);
    EXPECT_EQ(counter--, 0);
    EXPECT_EQ(counter.read(), -1);
    EXPECT_EQ(SInterlockedExchangeAdd(&counter, 3), -1);
    EXPECT_EQ(SInterlockedExchange(&counter, 4), 2);
}

TEST(Counter, LocksAreTakenOnceAndFreed)
{
    long lock = 7;
    Primitives::asmInitLock(&lock);
    EXPECT_EQ(Primitives::asmAcquireLock(&lock), 0);
    EXPECT_EQ(Primitives::asmAcquireLock(&lock), 1);
    Primitives::asmUnlock(&lock);
    EXPECT_EQ(Primitives::asmAcquireLock(&lock), 0);
    long value = 5;
    EXPECT_EQ(Primitives::asmExchangeAdd(&value, 2), 5);
    EXPECT_EQ(Primitives::asmExchange(&value, 1), 7);
}

TEST(CriticalSection, IsRecursiveAndKeepsOthersOut)
{
    CS_Wrapper lock;
    CS_Wrapper other;
    lock = other; // both free: each stays a lock of its own
    int total = 0;
    const auto work = [&] {
        for (int i = 0; i < 5000; ++i) {
            lock.Lock();
            lock.Lock();
            ++total;
            lock.Unlock();
            lock.Unlock();
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(total, 10000);
}

TEST(RefCount, LivesUntilTheLastRelease)
{
    int alive = 0;
    auto* object = new Tracked(&alive);
    EXPECT_EQ(object->addRef(), 2);
    EXPECT_EQ(object->release(), 1);
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(object->release(), 0);
    EXPECT_EQ(alive, 0);
}

TEST(RefCount, CopyStartsAtOneAndAssignmentTakesTheCount)
{
    int alive = 0;
    Tracked source(&alive);
    for (int i = 0; i < 4; ++i) {
        source.addRef();
    }
    Tracked copy(source);
    EXPECT_EQ(copy.getCount(), 1);
    copy = source;
    EXPECT_EQ(copy.getCount(), 5);
    source.clearRefCount();
    copy.clearRefCount();
}

TEST(RefCount, DestructionWithReferencesIsReportedAndGoesOn)
{
    Recorder recorder;
    int alive = 0;
    {
        Tracked local(&alive);
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(recorder.count("SNonInterlockedRead(&m_lRefCount) == 0 : no message"), 1);
    EXPECT_EQ(recorder.askedFile(), "refcount.cpp");
    {
        Tracked local(&alive);
        local.clearRefCount();
    }
    EXPECT_EQ(recorder.lines().size(), 1u);
}

TEST(SmartPointer, TakesOverRawPointersAndCountsCopies)
{
    int alive = 0;
    {
        CSmartRefCountPtr<Tracked> first = new Tracked(&alive);
        EXPECT_EQ(first->getCount(), 1);
        CSmartRefCountPtr<Tracked> second(first);
        EXPECT_EQ(first->getCount(), 2);
        CSmartRefCountPtr<Tracked> shared = CSmartRefCountPtr<Tracked>::share(first.get());
        EXPECT_EQ((*first).getCount(), 3);
        CSmartRefCountPtr<Tracked> moved(std::move(shared));
        EXPECT_FALSE(shared);
        EXPECT_TRUE(moved == first && moved == first.get() && shared == nullptr);
        EXPECT_EQ(first->getCount(), 3);
        const auto byValue = [](CSmartRefCountPtr<Tracked> each) { return each->getCount(); };
        EXPECT_EQ(byValue(first), 4);
    }
    EXPECT_EQ(alive, 0);
}

TEST(SmartPointer, AssignmentSecuresTheNewObjectFirst)
{
    int alive = 0;
    CSmartRefCountPtr<Tracked> head = new Tracked(&alive);
    head->next = new Tracked(&alive);
    head->next->next = new Tracked(&alive);
    head = head->next;
    EXPECT_EQ(alive, 2);
    const auto& same = head;
    head = same;
    head = head.get();
    EXPECT_EQ(head->getCount(), 1);
    head = std::move(head->next);
    EXPECT_EQ(alive, 1);
    Tracked* raw = head.get();
    raw->addRef();
    head = raw; // hands over the second reference of the object that it holds
    EXPECT_EQ(head->getCount(), 1);
    head = nullptr;
    EXPECT_EQ(alive, 0);
}

TEST(SmartPointer, ConvertsToItsBase)
{
    int alive = 0;
    CSmartRefCountPtr<Special> special = new Special(&alive);
    CSmartRefCountPtr<Tracked> base(special);
    EXPECT_EQ(base->getCount(), 2);
    CSmartRefCountPtr<Tracked> taken(std::move(special));
    EXPECT_EQ(taken->getCount(), 2);
    EXPECT_TRUE(base == taken);
}

TEST(SmartPointer, CountsAcrossThreads)
{
    int alive = 0;
    CSmartRefCountPtr<Tracked> shared = new Tracked(&alive);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([mine = shared] {
            for (int i = 0; i < 2000; ++i) {
                CSmartRefCountPtr<Tracked> copy(mine);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    EXPECT_EQ(shared->getCount(), 1);
}

TEST(Platform, VersionsAreMajorPlusHundredthsOfMinor)
{
    struct Row
    {
        const char* name;
        Platform::SystemVersion record;
        unsigned long family;
        double oldest;
        double wanted;
        bool expected;
    };
    using PlatformRules::family95;
    using PlatformRules::familyNT;
    const Row rows[] = {
        {"XP is 5.01", {2, 5, 1}, familyNT, 0.0, 5.01, true},
        {"XP is not 5.1", {2, 5, 1}, familyNT, 0.0, 5.1, false},
        {"any version of the family", {2, 4, 0}, familyNT, 0.0, 0.0, true},
        {"another family", {1, 4, 10}, familyNT, 0.0, 0.0, false},
        {"98 in its own family", {1, 4, 10}, family95, 0.0, 4.10, true},
        {"NT 4 is not 2000 or later", {2, 4, 0}, familyNT, 5.0, 0.0, false},
        {"2000 or later", {2, 10, 0}, familyNT, 5.0, 0.0, true},
        {"2000 or later, but that version", {2, 10, 0}, familyNT, 5.0, 5.01, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(PlatformRules::matches(row.record, row.family, row.oldest, row.wanted), row.expected)
            << row.name;
    }
    EXPECT_TRUE(SPlat::IsWinNT(0.0));
    EXPECT_TRUE(SPlat::IsWin2K(0.0));
    EXPECT_FALSE(SPlat::IsWin95(0.0));
}
