#include "morvex/sfilelock.h"

#include "child_posix.h"
#include "morvex/sfile.h"
#include "scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

using namespace MorvexA106;

namespace
{

constexpr SFileLock::Kind shared = SFileLock::shared;
constexpr SFileLock::Kind exclusive = SFileLock::exclusive;
constexpr unsigned long aMinute = 60000;

/// A process that holds a lock until it is killed.
class Holder : public Child
{
public:
    Holder(const SAnsiString& path, SFileLock::Kind kind, __int64 begin = 0,
           __int64 length = SFileLock::toTheEnd)
        : Child([=](Ready ready) {
              SFileLock lock(path, true);
              lock.lock(kind, begin, length);
              ready();
              ::pause();
          })
    {
        EXPECT_TRUE(waitUntilReady());
    }
};

struct flock wholeFile(short type)
{
    struct flock bytes
    {};
    bytes.l_type = type;
    bytes.l_whence = SEEK_SET;
    return bytes;
}

} // namespace

TEST(SFileLockPosix, DeathOfTheHolderFreesTheLock)
{
    const Scratch scratch;
    for (int round = 0; round < 20; ++round) {
        Holder holder(scratch.path("a"), exclusive);
        SFileLock lock(scratch.path("a"));
        ASSERT_FALSE(lock.tryLock(shared));
        holder.kill();
        ASSERT_TRUE(lock.tryLock(exclusive));
    }
}

TEST(SFileLockPosix, WaitersGetTheLockOfOneWhoIsKilled)
{
    const Scratch scratch;
    for (const bool forEver : {true, false}) {
        Holder holder(scratch.path("a"), exclusive);
        Child waiter([&](Child::Ready ready) {
            SFileLock lock(scratch.path("a"));
            if (lock.tryLock(exclusive)) {
                return;
            }
            ready();
            if (forEver) {
                lock.lock(exclusive);
            } else if (!lock.tryLockFor(aMinute, exclusive)) {
                return;
            }
            ready();
            ::pause();
        });
        ASSERT_TRUE(waiter.waitUntilReady());
        holder.kill();
        EXPECT_TRUE(waiter.waitUntilReady());
    }
}

TEST(SFileLockPosix, OwnerIsTheProcessThatHoldsTheLock)
{
    const Scratch scratch;
    Holder first(scratch.path("a"), shared, 0, 10);
    Holder second(scratch.path("a"), exclusive, 100, 10);
    SFileLock lock(scratch.path("a"));
    struct Row
    {
        const char* name;
        __int64 begin;
        pid_t holder;
    };
    for (const Row& row : {Row{"the same bytes", 0, first.process()},
                           {"one of its bytes", 5, first.process()},
                           {"from one of its bytes on", 109, second.process()}}) {
        SCOPED_TRACE(row.name);
        ASSERT_FALSE(lock.tryLock(exclusive, row.begin, 1));
        const SFileLock::Owner owner = lock.owner();
        EXPECT_TRUE(owner.known);
        EXPECT_EQ(owner.process, static_cast<unsigned long>(row.holder));
        const STimeSpan age = SDateTime::GetCurrentDateTime() - owner.started;
        EXPECT_GE(age, STimeSpan(0, 0, 0, -1, 0));
        EXPECT_LT(age, STimeSpan(0, 0, 2, 0, 0));
    }
    second.kill();
    EXPECT_FALSE(lock.owner().known) << "the lock is free";
    EXPECT_TRUE(lock.tryLock(exclusive, 100, 10));
}

TEST(SFileLockPosix, HeirsKeepALockAndAreNotTakenForTheDead)
{
    const Scratch scratch;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Child parent([&](Child::Ready ready) {
        SFileLock lock(scratch.path("a"), true);
        lock.lock(exclusive);
        if (::fork() == 0) {
            char byte;
            ::close(ends[1]);
            static_cast<void>(!::read(ends[0], &byte, 1)); // until the test lets it go
            ::_exit(0);
        }
        ready();
        ::pause();
    });
    ASSERT_TRUE(parent.waitUntilReady());
    ::close(ends[0]);
    SFileLock lock(scratch.path("a"));
    EXPECT_FALSE(lock.tryLock(shared));
    EXPECT_EQ(lock.owner().process, static_cast<unsigned long>(parent.process()));
    parent.kill();
    EXPECT_FALSE(lock.tryLock(shared));
    EXPECT_FALSE(lock.owner().known);
    ::close(ends[1]);
    EXPECT_TRUE(lock.tryLockFor(aMinute, shared));
}

TEST(SFileLockPosix, LockEndsWithTheObjectThatTookItAndNotWithItsCopyInAnotherProcess)
{
    const Scratch scratch;
    auto lock = std::make_unique<SFileLock>(scratch.path("a"), true);
    lock->lock(exclusive);
    EXPECT_EQ(inChild([&] { return lock.reset(), 0; }), 0);
    SFileLock other(scratch.path("a"));
    EXPECT_FALSE(other.tryLock(shared));
    Child heir([](Child::Ready ready) {
        ready();
        ::pause();
    });
    ASSERT_TRUE(heir.waitUntilReady());
    lock.reset();
    EXPECT_TRUE(other.tryLock(shared));
}

TEST(SFileLockPosix, LocksOfOtherProgramsAreRespectedAndTheirOwnersTold)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    const std::string path = scratch / "a";
    Child classic([&](Child::Ready ready) {
        const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        struct flock bytes = wholeFile(F_WRLCK);
        if (::fcntl(file, F_SETLK, &bytes) == 0) {
            ready();
            ::pause();
        }
    });
    ASSERT_TRUE(classic.waitUntilReady());
    SFileLock lock(scratch.path("a"));
    EXPECT_FALSE(lock.tryLock(shared));
    EXPECT_EQ(lock.owner().process, static_cast<unsigned long>(classic.process()));
    classic.kill();

    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    struct flock bytes = wholeFile(F_RDLCK);
    ASSERT_EQ(::fcntl(file, F_OFD_SETLK, &bytes), 0);
    EXPECT_FALSE(lock.tryLock(exclusive));
    EXPECT_FALSE(lock.owner().known) << "such a lock tells nothing";
    ::close(file);

    lock.lock(exclusive);
    const int refused = inChild([&] {
        const int other = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        struct flock wanted = wholeFile(F_RDLCK);
        return ::fcntl(other, F_SETLK, &wanted) == -1 && errno == EAGAIN ? 0 : 1;
    });
    EXPECT_EQ(refused, 0);
}

TEST(SFileLockPosix, FileThatMayOnlyBeReadIsLockedSharedOnly)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    ASSERT_EQ(::chmod((scratch / "a").c_str(), 0444), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 100;
        }
        SFileLock lock(scratch.path("a"));
        lock.lock(shared);
        lock.unlock();
        try {
            lock.lock(exclusive);
            return 1;
        } catch (const SFileLockException& failure) {
            return failure.getErrno() == EACCES && failure.DetailCode() == SFileException::AccessDenied ? 0
                                                                                                        : 2;
        }
    });
    EXPECT_EQ(result, 0);
}

TEST(SFileLockPosix, ProgramsThatAreStartedDoNotInheritTheLock)
{
    const Scratch scratch;
    SFileLock lock(scratch.path("a"), true);
    const std::string links = "/proc/self/fd";
    lock.lock(exclusive);
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator(links)) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) == scratch / "a") {
            ++found;
            EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
        }
    }
    EXPECT_EQ(found, 1);
}
