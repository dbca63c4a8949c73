#include "morvex/sfile.h"

#include "child_posix.h"
#include "scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

using namespace MorvexA106;

namespace
{

constexpr int usual = SFile::defaultPermissions;

int errnoOfOpen(const SAnsiString& path, int flags, int sharing)
{
    try {
        SFile file(path, flags, usual, sharing);
        return 0;
    } catch (const SFileException& failure) {
        return failure.getErrno();
    }
}

std::atomic<int> signalsSeen{0};

/// Has SIGUSR1 do nothing but interrupt.
class Interruptions
{
public:
    Interruptions()
    {
        signalsSeen = 0;
        struct sigaction action
        {};
        action.sa_handler = [](int) { ++signalsSeen; };
        ::sigaction(SIGUSR1, &action, &m_before);
    }
    ~Interruptions() { ::sigaction(SIGUSR1, &m_before, nullptr); }

private:
    struct sigaction m_before;
};

bool isAsleep(pid_t thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(status, line);
    return line.find(") S ") != std::string::npos;
}

/// Interrupts the system call in which a thread waits, several times.
void interrupt(pthread_t thread, const std::atomic<pid_t>& number)
{
    for (int i = 0; i < 10; ++i) {
        const int before = signalsSeen;
        while (number == 0 || !isAsleep(number)) {
            std::this_thread::yield();
        }
        ::pthread_kill(thread, SIGUSR1);
        while (signalsSeen == before) {
            std::this_thread::yield();
        }
    }
}

} // namespace

TEST(SFilePosix, WriteThatTheDiskRefusesIsReportedWithTheNumber)
{
    SFile full("/dev/full", SFile::writeOnly | SFile::truncate, usual, SFile::denyNothing);
    const auto failure = failureOf<SFileException>([&] { static_cast<void>(full.write("text", 4)); });
    EXPECT_EQ(failure.ErrCode(), SFileException::WriteFailed);
    EXPECT_EQ(failure.DetailCode(), SFileException::Other);
    EXPECT_EQ(failure.getErrno(), ENOSPC);
    EXPECT_EQ(failure.toString().view(),
              "Fail to write file /dev/full.  Reason given: No space left on device");
}

TEST(SFilePosix, TextIsReadOnlyFromWhatHasAPositionAndAnEnd)
{
    const Scratch scratch;
    const std::string pipe = scratch / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int writer = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::write(writer, "a line\n", 7), 7);
    for (const auto& [path, error] : {std::pair{pipe.c_str(), ESPIPE}, {"/proc/version", EINVAL}}) {
        SCOPED_TRACE(path);
        SFile file(path, SFile::readOnly, usual, SFile::denyNothing);
        for (const auto& failure : {failureOf<SFileException>([&] { file.readLine(); }),
                                    failureOf<SFileException>([&] { file.readString(); })}) {
            EXPECT_EQ(failure.ErrCode(), SFileException::SeekFailed);
            EXPECT_EQ(failure.getErrno(), error);
        }
    }
    ::close(writer);
}

TEST(SFilePosix, WhoSharesTheDescriptorFindsThePositionAfterTheLine)
{
    const Scratch scratch;
    putFile(scratch / "a", "one\ntwo\nthree\n");
    const std::pair<const char*, std::function<void(SFile&)>> endings[] = {
        {"getFd", [](SFile& file) { file.getFd(); }},
        {"flush", [](SFile& file) { file.flush(); }},
        {"close", [](SFile& file) { file.close(); }},
    };
    for (const auto& [name, ending] : endings) {
        SCOPED_TRACE(name);
        SFile file(scratch.path("a"), SFile::readOnly, usual, SFile::denyNothing);
        const int duplicate = ::dup(file.getFd());
        file.readLine();
        file.readLine();
        ending(file);
        EXPECT_EQ(::lseek(duplicate, 0, SEEK_CUR), 8);
        ::close(duplicate);
    }
}

TEST(SFilePosix, WriteAtTheSizeLimitIsShortAndThenFails)
{
    const Scratch scratch;
    const int result = inChild([&] {
        const rlimit limit{10, 10};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
        SFile file(scratch.path("a"), SFile::writeOnly | SFile::create, usual, SFile::denyNothing);
        if (file.write("0123456789abcdef", 16) != 10) {
            return 1;
        }
        try {
            static_cast<void>(file.write("abcdef", 6));
            return 2;
        } catch (const SFileException& failure) {
            return failure.getErrno() == EFBIG ? 0 : 3;
        }
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(contentOf(scratch / "a"), "0123456789");
}

TEST(SFilePosix, OpenReadAndWriteGoOnAfterSignals)
{
    const Interruptions interruptions;
    const Scratch scratch;
    const std::string pipe = scratch / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::atomic<pid_t> number{0};
    std::string received;
    std::string failure;
    std::jthread reader([&] {
        try {
            number = ::gettid();
            SFile file(pipe.c_str(), SFile::readOnly, usual, SFile::denyNothing); // waits for a writer
            char bytes[8];
            received.assign(bytes, static_cast<std::size_t>(file.read(bytes, sizeof bytes)));
        } catch (const SFileException& thrown) {
            failure = thrown.toString().view();
        }
    });
    interrupt(reader.native_handle(), number);
    const int writer = ::open(pipe.c_str(), O_WRONLY);
    interrupt(reader.native_handle(), number); // it waits for bytes now
    EXPECT_EQ(::write(writer, "text", 4), 4);
    reader.join();
    ::close(writer);
    EXPECT_EQ(received, "text");
    EXPECT_EQ(failure, "");
    EXPECT_GE(signalsSeen, 20);
}

TEST(SFilePosix, PermissionsOfACreatedFileAreTheWordsAndTheMask)
{
    struct Row
    {
        const char* name;
        int permissions;
        mode_t mode;
    };
    const Row rows[] = {
        {"default", SFile::defaultPermissions, 0640},
        {"owner", SFile::ownerRWXMask | SFile::groupRWXMask | SFile::othersRWXMask, 0700},
        {"read", SFile::ownerRMask, 0400},
        {"bits", 0644, 0640},
        {"none", 0, 0},
    };
    const Scratch scratch;
    const mode_t before = ::umask(027);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        SFile file(scratch.path(row.name), SFile::writeOnly | SFile::create, row.permissions,
                   SFile::denyNothing);
        struct stat status;
        ASSERT_EQ(::fstat(file.getFd(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, row.mode);
        EXPECT_EQ(::fcntl(file.getFd(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << "children don't inherit it";
    }
    ::umask(before);
}

TEST(SFilePosix, SharingHoldsBetweenProcessesAndEndsWithThem)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    const SAnsiString path = scratch.path("a");
    for (const int access : {int{SFile::readOnly}, int{SFile::writeOnly}, int{SFile::readAndWrite}}) {
        SCOPED_TRACE(access);
        Child holder([&](Child::Ready ready) {
            SFile file(path, access, usual, SFile::denyReadAndWrite);
            ready();
            ::pause();
        });
        ASSERT_TRUE(holder.waitUntilReady());
        EXPECT_EQ(errnoOfOpen(path, SFile::readOnly, SFile::denyNothing), EACCES);
        EXPECT_EQ(errnoOfOpen(path, SFile::writeOnly, SFile::denyNothing), EACCES);
        holder.kill();
        EXPECT_EQ(errnoOfOpen(path, SFile::readAndWrite, SFile::denyReadAndWrite), 0);
    }
}

TEST(SFilePosix, LockThatTheProgramHoldsOnTheFileIsNoObstacle)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    const int foreign = ::open((scratch / "a").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(foreign, LOCK_EX), 0);
    {
        SFile holder(scratch.path("a"), SFile::readOnly, usual, SFile::denyWrite);
        EXPECT_EQ(errnoOfOpen(scratch.path("a"), SFile::writeOnly, SFile::denyNothing), EACCES);
        EXPECT_EQ(errnoOfOpen(scratch.path("a"), SFile::readOnly, SFile::denyWrite), 0);
    }
    EXPECT_EQ(errnoOfOpen(scratch.path("a"), SFile::writeOnly, SFile::denyRead), 0);
    ::close(foreign);
}

TEST(SFilePosix, SharingNeedsNoRightBeyondTheAccess)
{
    const Scratch scratch;
    putFile(scratch / "read", "text");
    putFile(scratch / "write", "text");
    ASSERT_EQ(::chmod((scratch / "read").c_str(), 0444), 0);
    ASSERT_EQ(::chmod((scratch / "write").c_str(), 0222), 0);
    const int result = inChild([&] {
        if (!dropPrivileges()) {
            return 100;
        }
        int failures = 0;
        for (const int sharing : {int{SFile::denyNothing}, int{SFile::denyRead}, int{SFile::denyWrite},
                                  int{SFile::denyReadAndWrite}}) {
            failures += errnoOfOpen(scratch.path("read"), SFile::readOnly, sharing) == 0 ? 0 : 1;
            failures += errnoOfOpen(scratch.path("write"), SFile::writeOnly, sharing) == 0 ? 0 : 1;
            failures += errnoOfOpen(scratch.path("read"), SFile::writeOnly, sharing) == EACCES ? 0 : 1;
        }
        return failures;
    });
    EXPECT_EQ(result, 0);
}
