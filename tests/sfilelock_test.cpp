#include "morvex/sfilelock.h"

#include "morvex/sfile.h"
#include "platform/locknote.h"
#include "platform/process.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace
{

constexpr SFileLock::Kind shared = SFileLock::shared;
constexpr SFileLock::Kind exclusive = SFileLock::exclusive;
constexpr __int64 toTheEnd = SFileLock::toTheEnd;
constexpr unsigned long aMinute = 60000;

/// A file with a lock on it, and what is needed for another one.
struct Place
{
    const Scratch scratch;
    const SAnsiString path = scratch.path("a");
    SFileLock lock{path, true};
    SFileLock other{path};
};

} // namespace

TEST(SFileLock, LocksExcludeEachOtherWhereTheyMeetUnlessBothAreShared)
{
    struct Row
    {
        const char* name;
        SFileLock::Kind heldKind;
        __int64 heldBegin;
        __int64 heldLength;
        SFileLock::Kind kind;
        __int64 begin;
        __int64 length;
        bool granted;
    };
    const __int64 last = SFileLock::limit - 1;
    const Row rows[] = {
        {"two exclusive", exclusive, 0, toTheEnd, exclusive, 0, toTheEnd, false},
        {"exclusive after shared", shared, 0, toTheEnd, exclusive, 0, toTheEnd, false},
        {"shared after exclusive", exclusive, 0, toTheEnd, shared, 0, toTheEnd, false},
        {"two shared", shared, 0, toTheEnd, shared, 0, toTheEnd, true},
        {"beside", exclusive, 10, 10, exclusive, 20, 10, true},
        {"before", exclusive, 10, 10, exclusive, 0, 10, true},
        {"one byte of it", exclusive, 10, 10, shared, 19, 1, false},
        {"around it", shared, 10, 10, exclusive, 0, toTheEnd, false},
        {"the last byte", exclusive, 100, toTheEnd, exclusive, last, 1, false},
        {"before a rest", exclusive, 100, toTheEnd, exclusive, 0, 100, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Place place;
        place.lock.lock(row.heldKind, row.heldBegin, row.heldLength);
        EXPECT_EQ(place.other.tryLock(row.kind, row.begin, row.length), row.granted);
        EXPECT_EQ(place.other.isLocked(), row.granted);
        place.lock.unlock();
        EXPECT_FALSE(place.lock.isLocked());
        EXPECT_TRUE(row.granted || place.other.tryLock(row.kind, row.begin, row.length));
    }
}

TEST(SFileLock, RangesOutsideAndSecondLocksFailAndChangeNothing)
{
    Place place;
    const std::pair<__int64, __int64> ranges[] = {{-1, 1},
                                                  {INT64_MIN, toTheEnd},
                                                  {0, 0},
                                                  {0, -2},
                                                  {SFileLock::limit, toTheEnd},
                                                  {SFileLock::limit, 1},
                                                  {1, SFileLock::limit},
                                                  {INT64_MAX, INT64_MAX}};
    for (const auto& [begin, length] : ranges) {
        SCOPED_TRACE(testing::Message() << begin << ", " << length);
        const auto failure =
            failureOf<SFileLockException>([&, at = begin, n = length] { place.lock.lock(shared, at, n); });
        EXPECT_EQ(failure.getErrno(), EINVAL);
        EXPECT_FALSE(place.lock.isLocked());
    }
    place.lock.unlock(); // nothing to do
    place.lock.lock(shared);
    const auto failure =
        failureOf<SFileLockException>([&] { static_cast<void>(place.lock.tryLock(shared, 5, 1)); });
    EXPECT_EQ(failure.getErrno(), EDEADLK);
    EXPECT_EQ(failure.ErrCode(), SFileException::UnknownError);
    EXPECT_EQ(failure.toString().view().find("Fail to lock bytes of file " + std::string(place.path.view())),
              0u);
    EXPECT_FALSE(place.other.tryLock(exclusive)) << "the first lock is there still";
}

TEST(SFileLock, FileIsMadeOnlyWhenAskedForAndKeepsItsContent)
{
    const Scratch scratch;
    const auto failure = failureOf<SFileException>([&] { SFileLock lock(scratch.path("a")); });
    EXPECT_EQ(failure.ErrCode(), SFileException::OpenFailed);
    EXPECT_EQ(failure.getErrno(), ENOENT);
    EXPECT_FALSE(std::filesystem::exists(scratch / "a"));
    {
        SFileLock lock(scratch.path("a"), true);
        EXPECT_EQ(contentOf(scratch / "a"), "");
    }
    putFile(scratch / "a", "content");
    for (const SFileLock::Kind kind : {shared, exclusive}) {
        SFileLock lock(scratch.path("a"), true);
        lock.lock(kind);
        lock.unlock();
        EXPECT_EQ(contentOf(scratch / "a"), "content");
    }
}

TEST(SFileLock, OtherDescriptorsOfTheFileTakeNoLockAway)
{
    Place place;
    place.lock.lock(exclusive, 100, 1);
    {
        SFileLock third(place.path);
        EXPECT_FALSE(third.tryLock(exclusive));
        SFileLock fourth(place.path);
        fourth.lock(exclusive, 50, 1);
        SFile file(place.path, SFile::readAndWrite, SFile::defaultPermissions, SFile::denyNothing);
        EXPECT_EQ(file.writeString("text"), 4);
    }
    EXPECT_EQ(contentOf(place.path.getString()), "text");
    EXPECT_FALSE(place.other.tryLock(shared));
}

TEST(SFileLock, LockEndsWithItsObject)
{
    Place place;
    {
        SFileLock third(place.path);
        third.lock(exclusive);
        EXPECT_FALSE(place.other.tryLock(shared));
    }
    EXPECT_TRUE(place.other.tryLock(exclusive));
}

TEST(SFileLock, SharingOfOpenFilesIsAnotherMatter)
{
    Place place;
    SFile file(place.path, SFile::readAndWrite, SFile::defaultPermissions, SFile::denyWrite);
    EXPECT_TRUE(place.lock.tryLock(exclusive));
    SFile reader(place.path, SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    EXPECT_EQ(failureOf<SFileException>([&] {
                  SFile writer(place.path, SFile::writeOnly, SFile::defaultPermissions, SFile::denyNothing);
              }).getErrno(),
              13);
}

TEST(SFileLock, ThreadsTakeTurns)
{
    constexpr int threads = 4;
    constexpr int rounds = 200;
    Place place;
    std::atomic<int> counted{0}; // no single step adds to it: the lock alone guards it
    const auto work = [&](int self) {
        SFileLock lock(place.path);
        for (int i = 0; i < rounds; ++i) {
            if (self % 2 == 0) {
                lock.lock(exclusive);
            } else if (!lock.tryLockFor(aMinute, exclusive)) {
                ADD_FAILURE() << "a minute was not enough";
                return;
            }
            counted.store(counted.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            lock.unlock();
        }
    };
    {
        std::vector<std::jthread> running;
        for (int i = 0; i < threads; ++i) {
            running.emplace_back(work, i);
        }
    }
    EXPECT_EQ(counted, threads * rounds);
}

TEST(SFileLock, WaitingEndsWithTheTimeOrTheOthersLock)
{
    using namespace std::chrono;
    Place place;
    place.lock.lock(exclusive);
    for (const unsigned long limit : {0UL, 30UL}) {
        const auto begun = steady_clock::now();
        EXPECT_FALSE(place.other.tryLockFor(limit, shared));
        EXPECT_GE(steady_clock::now() - begun, milliseconds(limit));
    }
    std::promise<void> waits;
    std::jthread waiter([&] {
        waits.set_value();
        EXPECT_TRUE(place.other.tryLockFor(aMinute, shared));
    });
    waits.get_future().wait();
    place.lock.unlock();
    waiter.join();
    EXPECT_FALSE(place.lock.tryLock(exclusive));
}

TEST(SFileLock, OwnerIsToldWhileItIsInTheWay)
{
    Place place;
    EXPECT_FALSE(place.other.owner().known) << "nothing was asked for";
    const SDateTime now = SDateTime::GetCurrentDateTime();
    for (const __int64 begin : {INT64_C(0), INT64_C(7), INT64_C(123456789012)}) {
        SCOPED_TRACE(begin);
        place.lock.lock(shared, begin, 10);
        SFileLock second(place.path); // holds the same
        second.lock(shared, begin, 10);
        EXPECT_FALSE(place.other.tryLock(exclusive, begin, 1));
        const SFileLock::Owner owner = place.other.owner();
        EXPECT_TRUE(owner.known);
        EXPECT_EQ(owner.process, Platform::processId());
        EXPECT_LT(owner.started, now + STimeSpan(0, 0, 0, 1, 0));
        EXPECT_GT(owner.started, now - STimeSpan(1, 0, 0, 0, 0));
        place.lock.unlock();
        EXPECT_TRUE(place.other.owner().known) << "the second holds it still";
        second.unlock();
        EXPECT_FALSE(place.other.owner().known);
        EXPECT_TRUE(place.other.tryLock(exclusive, begin, 1));
        EXPECT_FALSE(place.other.owner().known) << "it is not in its own way";
        place.other.unlock();
    }
}

TEST(SFileLock, NotesSayWhatTheyWereMadeOfAndStandBesideAllElse)
{
    using Note = Platform::LockNote;
    const std::int64_t lastNote = (std::int64_t{1} << 62) - 1;
    struct Row
    {
        Note note;
        std::int64_t lockBegin;
        unsigned variant;
    };
    const Row rows[] = {
        {{1, 0}, 0, 0},
        {{(1U << 22) - 1, (1U << 14) - 1}, (1 << 23) - 1, 3},
        {{4711, 77}, SFileLock::limit - 1, 1},
    };
    for (const Row& row : rows) {
        const std::int64_t place = row.note.placeIn(Note::regionOf(row.lockBegin), row.variant);
        EXPECT_GT(place, Note::first + 1) << "never beside a locked byte";
        EXPECT_LE(place, lastNote);
        EXPECT_EQ(Note::at(place).process, row.note.process);
        EXPECT_EQ(Note::at(place).stamp, row.note.stamp);
    }
    EXPECT_EQ(rows[1].note.placeIn(Note::regionOf(rows[1].lockBegin), 3), lastNote);
    EXPECT_NE(Note::regionOf(0), Note::regionOf(1));
    EXPECT_NE(Note::regionOf(1), Note::regionOf(INT64_C(1) << 40));
    EXPECT_FALSE((Note{0, 1}.canBeTold()));
    EXPECT_FALSE((Note{1U << 22, 1}.canBeTold()));
}
