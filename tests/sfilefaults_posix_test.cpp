#include "morvex/sfile.h"

#include "faults_posix.h"
#include "morvex/sfilelock.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>

using namespace MorvexA106;
using Faults::Injection;

namespace
{

constexpr int usual = SFile::defaultPermissions;

/// What the operation threw, as its number; 0 when it came to its end.
int errnoOf(const std::function<void()>& operation)
{
    try {
        operation();
        return 0;
    } catch (const SFileException& failure) {
        EXPECT_NE(failure.toString().view(), "");
        return failure.getErrno();
    }
}

const std::string longLine(10000, 'l');
const std::string content = "first\r\nsecond\n" + longLine + "\nthe rest\nof it";

/// Goes through the file in every way, and tells how far it came and what was wrong on the way.
void readAll(SFile& file, const SAnsiString& path)
{
    file.open(path, SFile::readOnly, usual, SFile::denyWrite);
    EXPECT_EQ(file.readLine().view(), "first");
    char bytes[3];
    EXPECT_EQ(file.read(bytes, 3), 3);
    EXPECT_EQ(std::string_view(bytes, 3), "sec");
    EXPECT_EQ(file.readLine().view(), "ond");
    EXPECT_FALSE(file.eof());
    EXPECT_EQ(file.readLine().view(), longLine);
    EXPECT_EQ(file.size(), static_cast<long>(content.size()));
    EXPECT_EQ(file.readString().view(), "the rest\nof it");
    file.seekToBegin();
    EXPECT_EQ(file.readLine().view(), "first");
}

} // namespace

TEST(SFileFaults, ReadingTellsEveryFailureAndLosesNoDescriptor)
{
    const Scratch scratch;
    putFile(scratch / "a", content);
    const std::string_view calls[] = {"open", "read", "lseek"};
    const unsigned before = Faults::openDescriptors();
    const unsigned met =
        Faults::eachCall({.error = EIO, .only = calls, .lasts = true}, [&](Injection& injection) {
            SFile file;
            injection.arm();
            const int error = errnoOf([&] { readAll(file, scratch.path("a")); });
            injection.disarm();
            EXPECT_EQ(error, injection.happened() ? EIO : 0) << injection.call();
            EXPECT_EQ(file.isOpened(), std::string_view(injection.call()) != "open");
        });
    EXPECT_GT(met, 10u);
    EXPECT_EQ(Faults::openDescriptors(), before);
}

TEST(SFileFaults, RefusedOpenEmptiesNothing)
{
    const Scratch scratch;
    const unsigned before = Faults::openDescriptors();
    const std::string_view calls[] = {"open", "ftruncate", "unlink"};
    const int truncating = SFile::readAndWrite | SFile::create | SFile::truncate;
    for (const int flags : {truncating, truncating | SFile::temporary}) {
        const unsigned met = Faults::eachCall({.error = EIO, .only = calls}, [&](Injection& injection) {
            putFile(scratch / "a", content);
            SFile file;
            injection.arm();
            const int error =
                errnoOf([&] { file.open(scratch.path("a"), flags, usual, SFile::denyNothing); });
            injection.disarm();
            EXPECT_EQ(error, injection.happened() ? EIO : 0);
            EXPECT_EQ(file.isOpened(), error == 0);
            const bool isThere = std::filesystem::exists(scratch / "a");
            EXPECT_TRUE(error == 0 || !isThere || contentOf(scratch / "a") == content) << injection.call();
        });
        EXPECT_EQ(met, flags == truncating ? 2u : 3u);
    }
    EXPECT_EQ(Faults::openDescriptors(), before);
}

TEST(SFileFaults, DenyingNothingNeedsNoLocksAndDenyingDoes)
{
    const Scratch scratch;
    putFile(scratch / "a", content);
    const std::string_view calls[] = {"fcntl"};
    for (const int sharing : {int{SFile::denyNothing}, int{SFile::denyWrite}}) {
        Faults::eachCall({.error = ENOLCK, .only = calls, .lasts = true}, [&](Injection& injection) {
            SFile file;
            injection.arm();
            const int error = errnoOf([&] { file.open(scratch.path("a"), SFile::readOnly, usual, sharing); });
            injection.disarm();
            EXPECT_TRUE(error == 0 || (error == ENOLCK && sharing != SFile::denyNothing)) << error;
        });
    }
}

TEST(SFileFaults, SignalsShortReadsAndEmptyReadsChangeNothing)
{
    using Count = Faults::Fault::Count;
    const Scratch scratch;
    putFile(scratch / "a", content);
    const std::string_view reads[] = {"read"};
    const auto inText = [&](Injection& injection) {
        SFile file(scratch.path("a"), SFile::readOnly, usual, SFile::denyNothing);
        injection.arm();
        EXPECT_EQ(file.readLine().view(), "first");
        EXPECT_EQ(file.readLine().view(), "second");
        EXPECT_EQ(file.readLine().view(), longLine);
        EXPECT_EQ(file.readString().view(), "the rest\nof it");
        injection.disarm();
    };
    EXPECT_GE(Faults::eachCall({.count = Count::half, .only = reads}, inText), 3u);
    EXPECT_GE(Faults::eachCall({.count = Count::none, .only = reads}, inText), 3u);
    Faults::eachCall({.error = EINTR, .only = Faults::interruptible}, [&](Injection& injection) {
        SFile file;
        injection.arm();
        EXPECT_EQ(errnoOf([&] { readAll(file, scratch.path("a")); }), 0);
        injection.disarm();
    });
}

TEST(SFileFaults, FileThatGivesNoMoreBytesEndsReading)
{
    const Scratch scratch;
    putFile(scratch / "a", content);
    const std::string_view reads[] = {"read"};
    Injection injection({.count = Faults::Fault::Count::none, .only = reads, .lasts = true}, 0);
    SFile file(scratch.path("a"), SFile::readOnly, usual, SFile::denyNothing);
    injection.arm();
    EXPECT_EQ(file.readLine().view(), "");
    const auto failure = failureOf<SFileException>([&] { file.readString(); });
    EXPECT_EQ(failure.ErrCode(), SFileException::ReadFailed);
    EXPECT_EQ(failure.getErrno(), 0);
    EXPECT_NE(failure.toString().view().find("The file has become shorter."), std::string_view::npos);
}

// Between the lines that were read ahead and a write stands a move of the position.
TEST(SFileFaults, NothingIsWrittenInTheWrongPlace)
{
    const Scratch scratch;
    const std::string_view calls[] = {"lseek", "write", "fsync"};
    Faults::eachCall({.error = ENOSPC, .only = calls}, [&](Injection& injection) {
        putFile(scratch / "a", "one\ntwo\nthree\n");
        SFile file(scratch.path("a"), SFile::readAndWrite, usual, SFile::denyNothing);
        EXPECT_EQ(file.readLine().view(), "one");
        injection.arm();
        const int error = errnoOf([&] {
            EXPECT_EQ(file.writeString("TWO"), 3);
            EXPECT_EQ(file.readLine().view(), "");
            EXPECT_EQ(file.writeString("THREE"), 5);
            file.flush();
        });
        injection.disarm();
        EXPECT_EQ(error, injection.happened() ? ENOSPC : 0) << injection.call();
        EXPECT_TRUE(contentOf(scratch / "a") == "one\nTWO\nTHREE\n" ||
                    contentOf(scratch / "a") == "one\nTWO\nthree\n" ||
                    contentOf(scratch / "a") == "one\ntwo\nthree\n")
            << contentOf(scratch / "a");
    });
}

TEST(SFileFaults, LockIsThereOrItsFailureIsTold)
{
    const Scratch scratch;
    const unsigned before = Faults::openDescriptors();
    SFileLock other(scratch.path("a"), true);
    const unsigned met = Faults::eachCall({.error = ENOLCK}, [&](Injection& injection) {
        injection.arm();
        const int error = errnoOf([&] {
            SFileLock lock(scratch.path("a"), true);
            lock.lock(SFileLock::exclusive);
            injection.disarm();
            EXPECT_FALSE(other.tryLock(SFileLock::shared));
            injection.arm();
            lock.unlock();
            injection.disarm();
            EXPECT_TRUE(other.tryLock(SFileLock::shared));
            other.unlock();
        });
        injection.disarm();
        // the note of the holder may fail
        EXPECT_TRUE(error == ENOLCK || (error == 0 && injection.call() != std::string_view("open"))) << error;
        EXPECT_TRUE(other.tryLock(SFileLock::exclusive)) << "it ended with its object";
        other.unlock();
    });
    EXPECT_GE(met, 4u);
    EXPECT_EQ(Faults::openDescriptors(), before + 1);
}

TEST(SFileFaults, SignalsAreNoObstacleToALock)
{
    const Scratch scratch;
    SFileLock other(scratch.path("a"), true);
    Faults::eachCall({.error = EINTR, .only = Faults::interruptible}, [&](Injection& injection) {
        injection.arm();
        SFileLock lock(scratch.path("a"));
        lock.lock(SFileLock::exclusive);
        EXPECT_FALSE(other.tryLock(SFileLock::shared));
        EXPECT_TRUE(other.owner().known);
        lock.unlock();
        EXPECT_TRUE(other.tryLock(SFileLock::shared));
        other.unlock();
        injection.disarm();
    });
}
