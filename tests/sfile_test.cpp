#include "morvex/sfile.h"

#include "recorder.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace
{

constexpr __int64 gibibyte = 1LL << 30;

SFileException thrownBy(const std::function<void()>& operation)
{
    return failureOf<SFileException>(operation);
}

void openAs(SFile& file, const SAnsiString& path, int flags, int sharing = SFile::denyNothing)
{
    file.open(path, flags, SFile::defaultPermissions, sharing);
}

int writeText(SFile& file, const std::string& text)
{
    return file.write(text.data(), static_cast<unsigned>(text.size()));
}

std::string readText(SFile& file, unsigned limit)
{
    std::string text(limit, '\0');
    text.resize(static_cast<std::size_t>(file.read(text.data(), limit)));
    return text;
}

/// A file object whose descriptor goes bad.
class BentFile : public SFile
{
public:
    ~BentFile() override { m_fd = m_kept; }
    void bend(int descriptor)
    {
        m_kept = m_fd;
        m_fd = descriptor;
    }

private:
    int m_kept = -1;
};

} // namespace

TEST(SFile, RefusesEveryOperationWhileItIsClosed)
{
    using Codes = SFileException::ErrorCodes;
    struct Row
    {
        const char* name;
        Codes code;
        std::function<void(SFile&)> operation;
    };
    char byte = 0;
    const Row rows[] = {
        {"read", Codes::ReadFailed, [&](SFile& file) { file.read(&byte, 1); }},
        {"write", Codes::WriteFailed, [&](SFile& file) { static_cast<void>(file.write(&byte, 1)); }},
        {"seek", Codes::SeekFailed, [](SFile& file) { file.seek(SFile::seekBegin, 0); }},
        {"seekEx", Codes::SeekFailed, [](SFile& file) { file.seekEx(SFile::seekBegin, 0); }},
        {"getPosition", Codes::SeekFailed, [](SFile& file) { file.getPosition(); }},
        {"size", Codes::SeekFailed, [](SFile& file) { file.size(); }},
        {"sizeEx", Codes::SeekFailed, [](SFile& file) { file.sizeEx(); }},
        {"eof", Codes::SeekFailed, [](SFile& file) { file.eof(); }},
        {"readString", Codes::ReadFailed, [](SFile& file) { file.readString(); }},
        {"readLine", Codes::ReadFailed, [](SFile& file) { file.readLine(); }},
        {"writeString", Codes::WriteFailed, [](SFile& file) { static_cast<void>(file.writeString("a")); }},
    };
    const Scratch scratch;
    putFile(scratch / "a", "content");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        SFile neverOpened(scratch.path("a"));
        SFile closed(scratch.path("a"), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
        closed.close();
        for (SFile* file : {&neverOpened, &closed}) {
            const SFileException failure = thrownBy([&] { row.operation(*file); });
            EXPECT_EQ(failure.ErrCode(), row.code);
            EXPECT_EQ(failure.DetailCode(), SFileException::NotOpen);
            EXPECT_EQ(failure.getErrno(), 0);
            EXPECT_EQ(failure.toString().view().find("File not opened yet.") == std::string::npos,
                      row.code == Codes::SeekFailed);
        }
    }
}

TEST(SFile, MessagesNameTheFileAndTheReasonInOnePass)
{
    struct Row
    {
        int code;
        const char* message;
    };
    const Row rows[] = {
        {0, "Failed to open the file a%2b.  Reason: why"},
        {1, "Fail to read file a%2b.  Reason given: why"},
        {2, "Fail to write file a%2b.  Reason given: why"},
        {3, "Fail to flush file a%2b.  Reason given: why.  File may not be completely written to disk."},
        {4, "Unknown error (exception).  "},
        {5, "Unknown error (exception).  "},
        {6, "Unknown error (exception).  "},
    };
    for (const Row& row : rows) {
        const SFileException failure(static_cast<SFileException::ErrorCodes>(row.code), 5, "a%2b",
                                     SFileException::Other, "why", "extra");
        EXPECT_EQ(failure.toString().view(), row.message);
        EXPECT_EQ(failure.summary().view(), std::string(row.message) + ":extra");
    }
}

TEST(SFile, FailedOpenTellsTheCauseAndLeavesTheObjectClosed)
{
    struct Row
    {
        const char* name;
        int flags;
        int sharing;
        int errorNumber;
        SFileException::DetailCodes detail;
    };
    const Row rows[] = {
        {"absent", SFile::readOnly, SFile::denyNothing, 2, SFileException::FileNotFound},
        {"present", SFile::writeOnly | SFile::create | SFile::exclusive, SFile::denyNothing, 17,
         SFileException::Other},
        {"present", SFile::readOnly | SFile::truncate, SFile::denyNothing, 22, SFileException::Other},
        {"present", 3, SFile::denyNothing, 22, SFileException::Other},
        {"present", SFile::readOnly, 0x50, 22, SFileException::Other},
        {"present", -1, SFile::denyNothing, 0, SFileException::Other},
    };
    const Scratch scratch;
    putFile(scratch / "present", "content");
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.flags));
        SFile file;
        const SFileException failure =
            thrownBy([&] { openAs(file, scratch.path(row.name), row.flags, row.sharing); });
        EXPECT_EQ(failure.ErrCode(), SFileException::OpenFailed);
        EXPECT_EQ(failure.getErrno(), row.errorNumber);
        EXPECT_EQ(failure.DetailCode(), row.detail);
        EXPECT_NE(failure.toString().view().find(scratch / row.name), std::string::npos);
        EXPECT_FALSE(file.isOpened());
        EXPECT_EQ(file.getFd(), -1);
        EXPECT_EQ(contentOf(scratch / "present"), "content");
    }
    EXPECT_EQ(thrownBy([&] { SFile("x", -1, 0, 0); }).toString().view(),
              "Failed to open the file x.  Reason: No file access mode provided.");
}

TEST(SFile, FlagsDecideWhatAnOpenLeavesAndWhereWritesGo)
{
    struct Row
    {
        const char* name;
        int flags;
        const char* before; ///< null: no file
        const char* after;  ///< when "XY" was written
    };
    const int write = SFile::writeOnly;
    const Row rows[] = {
        {"over the beginning", write, "12345", "XY345"},
        {"created", write | SFile::create, nullptr, "XY"},
        {"created where it is", write | SFile::create, "12345", "XY345"},
        {"truncated", write | SFile::truncate, "12345", "XY"},
        {"read and write, truncated", SFile::readAndWrite | SFile::create | SFile::truncate, "12345", "XY"},
        {"appended", write | SFile::append, "12345", "12345XY"},
        {"exclusive without create", write | SFile::exclusive, "12345", "XY345"},
        {"text bytes stay as they are", write | SFile::create | SFile::sequential | SFile::noInherit,
         "\r\n\n", "XY\n"},
        {"random", write | SFile::random, "12345", "XY345"},
    };
    const Scratch scratch;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = scratch / row.name;
        if (row.before != nullptr) {
            putFile(path, row.before);
        }
        SFile file(path.c_str(), row.flags, SFile::defaultPermissions, SFile::denyNothing);
        file.seekToBegin(); // no help against append
        EXPECT_EQ(writeText(file, "XY"), 2);
        file.flush();
        EXPECT_EQ(contentOf(path), row.after);
    }
}

TEST(SFile, DefaultPermissionsLetTheFileBeWrittenAgain)
{
    const Scratch scratch;
    for (const int permissions : {SFile::defaultPermissions, SFile::ownerRWXMask, SFile::writeMask}) {
        SFile file(scratch.path("a"), SFile::writeOnly | SFile::create, permissions, SFile::denyNothing);
        file.close();
        EXPECT_NO_THROW(file.open(SFile::readAndWrite, permissions, SFile::denyNothing));
        file.close();
        std::filesystem::remove(scratch / "a");
    }
}

TEST(SFile, TemporaryFileIsUsableAndGoneAfterwards)
{
    const Scratch scratch;
    {
        SFile file;
        openAs(file, scratch.path("a"), SFile::readAndWrite | SFile::create | SFile::temporary);
        EXPECT_EQ(writeText(file, "text"), 4);
        file.seekToBegin();
        EXPECT_EQ(readText(file, 10), "text");
    }
    EXPECT_FALSE(std::filesystem::exists(scratch / "a"));
}

TEST(SFile, ReadsShortAtTheEndAndThenNothing)
{
    const Scratch scratch;
    putFile(scratch / "a", std::string("one\0two", 7));
    SFile file(scratch.path("a"), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    EXPECT_EQ(readText(file, 5), std::string("one\0t", 5));
    EXPECT_FALSE(file.eof());
    EXPECT_EQ(readText(file, 5), "wo");
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(readText(file, 5), "");
    file.seek(SFile::seekEnd, 10);
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(file.getPosition(), 17);
    file.seek(SFile::seekCurrent, -12);
    EXPECT_EQ(readText(file, 5), "wo");
}

TEST(SFile, WritingAFileOpenedForReadingFailsWithTheNumber)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    SFile file(scratch.path("a"), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    const SFileException failure = thrownBy([&] { writeText(file, "X"); });
    EXPECT_EQ(failure.ErrCode(), SFileException::WriteFailed);
    EXPECT_EQ(failure.getErrno(), 9);
}

TEST(SFile, SeeksBeforeTheBeginningAndFromNowhereAreRefused)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    SFile file(scratch.path("a"), SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    file.seek(SFile::seekBegin, 2);
    for (const auto& seek : {std::pair{int{SFile::seekBegin}, -1}, {int{SFile::seekCurrent}, -3}, {3, 0}}) {
        const SFileException failure = thrownBy([&] { file.seek(seek.first, seek.second); });
        EXPECT_EQ(failure.getErrno(), 22);
        EXPECT_EQ(failure.DetailCode(), SFileException::Other);
        EXPECT_EQ(failure.toString().view(), "Unknown error (exception).  ");
    }
    EXPECT_EQ(file.getPosition(), 2);
}

TEST(SFile, PositionsAndSizesPast32BitsAreWholeInTheLongFormAndCutInTheShort)
{
    const Scratch scratch;
    SFile file;
    openAs(file, scratch.path("big"), SFile::readAndWrite | SFile::create);
    file.seekEx(SFile::seekBegin, 5 * gibibyte - 1);
    ASSERT_EQ(writeText(file, "!"), 1);

    struct Row
    {
        __int64 position;
        long shortForm;
    };
    const Row rows[] = {
        {2 * gibibyte - 1, 0x7FFFFFFF},
        {2 * gibibyte, -0x7FFFFFFF - 1},
        {4 * gibibyte - 1, -1}, // not a failure
        {4 * gibibyte, 0},
        {5 * gibibyte - 2, 0x3FFFFFFE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.position);
        EXPECT_EQ(file.seekEx(SFile::seekBegin, row.position), row.position);
        EXPECT_EQ(file.getPosition(), row.shortForm);
        EXPECT_EQ(file.size(), gibibyte);
        EXPECT_EQ(file.sizeEx(), 5 * gibibyte);
        EXPECT_FALSE(file.eof());
        EXPECT_EQ(file.getPositionEx(), row.position) << "the questions move nothing";
    }
    EXPECT_EQ(file.seekToEnd(), gibibyte);
    EXPECT_TRUE(file.eof());
}

TEST(SFile, FlushAsksTheDiskOnlyForWhatWasOpenedForWriting)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    SFile never;
    EXPECT_NO_THROW(never.flush());
    never.open(scratch.path("a"), SFile::writeOnly, SFile::defaultPermissions, SFile::denyNothing);
    never.close();
    EXPECT_NO_THROW(never.flush());
    for (const int flags : {int{SFile::readOnly}, int{SFile::writeOnly}, int{SFile::readAndWrite}}) {
        BentFile file;
        openAs(file, scratch.path("a"), flags);
        EXPECT_NO_THROW(file.flush());
        file.bend(-1);
        if (flags == SFile::readOnly) {
            EXPECT_NO_THROW(file.flush());
            continue;
        }
        const SFileException failure = thrownBy([&] { file.flush(); });
        EXPECT_EQ(failure.ErrCode(), SFileException::FlushFailed);
        EXPECT_EQ(failure.getErrno(), 9);
    }
}

TEST(SFile, SeekingWithoutADescriptorIsReportedAndFails)
{
    const Scratch scratch;
    putFile(scratch / "a", "text");
    BentFile file;
    openAs(file, scratch.path("a"), SFile::readOnly);
    file.bend(-1);
    Recorder recorder;
    EXPECT_EQ(thrownBy([&] { file.seek(SFile::seekBegin, 0); }).getErrno(), 9);
    EXPECT_EQ(recorder.count("(sfile.cpp:"), 1);
    EXPECT_EQ(thrownBy([&] { file.seekEx(SFile::seekBegin, 0); }).getErrno(), 9);
    EXPECT_EQ(recorder.count("(sfile64.cpp:"), 1);
    EXPECT_EQ(recorder.count("(m_fd != -1 : no message)"), 2);
}

TEST(SFile, ReopensAfterCloseAndTakesItsPathAnew)
{
    const Scratch scratch;
    putFile(scratch / "a", "first");
    putFile(scratch / "b", "second");
    SFile file(scratch.path("a"));
    EXPECT_EQ(file.getFd(), 0);
    file.open(SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    file.setFilePath(scratch.path("b"));
    EXPECT_EQ(readText(file, 10), "first");
    const int descriptor = file.getFd();
    file.close();
    EXPECT_EQ(file.getFd(), descriptor);
    file.close();
    file.open(SFile::readOnly, SFile::defaultPermissions, SFile::denyNothing);
    EXPECT_EQ(readText(file, 10), "second");
    EXPECT_EQ(file.getFilename().view(), scratch / "b");
}

TEST(SFile, OpeningAnOpenObjectClosesTheEarlierDescriptor)
{
    const Scratch scratch;
    putFile(scratch / "a", "first");
    putFile(scratch / "b", "second");
    SFile file;
    openAs(file, scratch.path("a"), SFile::readOnly, SFile::denyReadAndWrite);
    const int descriptor = file.getFd();
    openAs(file, scratch.path("a"), SFile::readOnly, SFile::denyReadAndWrite); // is not in its own way
    openAs(file, scratch.path("b"), SFile::readOnly);
    EXPECT_EQ(file.getFd(), descriptor) << "the number is free again";
    EXPECT_EQ(readText(file, 10), "second");
    SFile other;
    EXPECT_NO_THROW(openAs(other, scratch.path("a"), SFile::readOnly));

    EXPECT_THROW(file.open(-1, 0, 0), SFileException);
    EXPECT_FALSE(file.isOpened());
    EXPECT_EQ(file.getFd(), -1);
    EXPECT_NO_THROW(openAs(other, scratch.path("b"), SFile::writeOnly, SFile::denyReadAndWrite));
}

// Whoever has the file and whoever comes see each other's access and sharing, and it doesn't matter who was first.
TEST(SFile, SharingRefusesWhatEitherSideForbids)
{
    const int accesses[] = {SFile::readOnly, SFile::writeOnly, SFile::readAndWrite};
    const int sharings[] = {SFile::denyNothing, SFile::denyRead, SFile::denyWrite, SFile::denyReadAndWrite};
    const auto reads = [](int access) { return access != SFile::writeOnly; };
    const auto writes = [](int access) { return access != SFile::readOnly; };
    const auto forbids = [&](int sharing, int access) {
        return ((sharing == SFile::denyRead || sharing == SFile::denyReadAndWrite) && reads(access)) ||
               ((sharing == SFile::denyWrite || sharing == SFile::denyReadAndWrite) && writes(access));
    };
    const Scratch scratch;
    putFile(scratch / "a", "text");
    const SAnsiString path = scratch.path("a");
    for (const int access : accesses) {
        for (const int sharing : sharings) {
            SFile holder(path, access, SFile::defaultPermissions, sharing);
            for (const int secondAccess : accesses) {
                for (const int secondSharing : sharings) {
                    SCOPED_TRACE(testing::Message() << "held " << access << "/" << sharing << ", asked "
                                                    << secondAccess << "/" << secondSharing);
                    SFile second;
                    if (forbids(sharing, secondAccess) || forbids(secondSharing, access)) {
                        const SFileException failure =
                            thrownBy([&] { openAs(second, path, secondAccess, secondSharing); });
                        EXPECT_EQ(failure.getErrno(), 13);
                        EXPECT_EQ(failure.DetailCode(), SFileException::AccessDenied);
                    } else {
                        EXPECT_NO_THROW(openAs(second, path, secondAccess, secondSharing));
                    }
                }
            }
        }
    }
}

TEST(SFile, RefusedOpenTruncatesNothingAndForbidsNothing)
{
    const Scratch scratch;
    putFile(scratch / "a", "content");
    SFile holder(scratch.path("a"), SFile::readOnly, SFile::defaultPermissions, SFile::denyWrite);
    SFile second;
    const int truncating = SFile::writeOnly | SFile::create | SFile::truncate;
    EXPECT_EQ(thrownBy([&] { openAs(second, scratch.path("a"), truncating, SFile::denyRead); }).getErrno(),
              13);
    EXPECT_EQ(contentOf(scratch / "a"), "content");
    SFile third;
    EXPECT_NO_THROW(openAs(third, scratch.path("a"), SFile::readOnly));
    holder.close();
    third.close();
    EXPECT_NO_THROW(openAs(second, scratch.path("a"), truncating, SFile::denyRead));
    EXPECT_EQ(second.size(), 0);
}

// Marks and look-around of two openers must not overlap, or each would give way to the other.
TEST(SFile, OfManyThatExcludeEachOtherExactlyOneGetsTheFile)
{
    constexpr unsigned rounds = 3000;
    constexpr unsigned contenders = 2;
    const Scratch scratch;
    putFile(scratch / "a", "text");
    const SAnsiString path = scratch.path("a");
    std::vector<std::atomic<int>> admitted(rounds);
    std::atomic<unsigned> steps{0};
    const auto meet = [&](unsigned meeting) { // closer together than a barrier lets them start
        ++steps;
        for (int spins = 0; steps < meeting * contenders; ++spins) {
            if (spins > 1000) {
                std::this_thread::yield();
            }
        }
    };
    const auto contend = [&](unsigned self) {
        const int flags[] = {SFile::readOnly, SFile::writeOnly, SFile::readAndWrite};
        for (unsigned round = 0; round < rounds; ++round) {
            SFile file;
            meet(2 * round + 1);
            try {
                openAs(file, path, flags[(self + round) % 3], SFile::denyReadAndWrite);
                ++admitted[round];
            } catch (const SFileException&) {}
            meet(2 * round + 2);
        }
    };
    {
        std::vector<std::jthread> threads;
        for (unsigned self = 0; self < contenders; ++self) {
            threads.emplace_back(contend, self);
        }
    }
    for (unsigned round = 0; round < rounds; ++round) {
        EXPECT_EQ(admitted[round], 1) << "round " << round;
    }
}
