// Buffers and their files where the system shows its teeth: files that are cut under a mapped buffer, calls that fail
// or do half of their work, and what is no file.

#include "morvex/simplebuffer.h"

#include "child_posix.h"
#include "faults_posix.h"
#include "mappedbuffer.h"
#include "recorder.h"
#include "scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <string_view>

using namespace MorvexA106;

namespace
{

constexpr std::size_t mappedBytes = 100000;
constexpr char unread[] = "SSimpleBuffer could not read mapped file ";

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

void cut(const std::string& path, std::size_t bytes)
{
    std::filesystem::resize_file(path, bytes);
}

/// A mapped buffer whose file has been cut since.
FileBuffer cutBuffer(const std::string& path, std::size_t left = mappedBytes / 2)
{
    putFile(path, longText(mappedBytes));
    FileBuffer buffer = loaded(path.c_str(), true);
    cut(path, left);
    return buffer;
}

} // namespace

TEST(SimpleBufferFilePosix, AFileThatIsCutUnderTheMappingFailsTheCallAndKeepsTheContent)
{
    struct Row
    {
        const char* name;
        bool (*call)(FileBuffer&, const Scratch&);
    };
    const Row rows[] = {
        {"append", [](FileBuffer& b, const Scratch&) { return put(b, "more"), !b.isMapped(); }},
        {"one byte", [](FileBuffer& b, const Scratch&) { return b << '!', !b.isMapped(); }},
        {"own bytes",
         [](FileBuffer& b, const Scratch&) { return b.append(b, mappedBytes, 9), !b.isMapped(); }},
        {"concat", [](FileBuffer& b, const Scratch&) { return b.concat(b, mappedBytes), !b.isMapped(); }},
        {"reserve", [](FileBuffer& b, const Scratch&) { return b.reserve(1); }},
        {"getBuffer", [](FileBuffer& b, const Scratch&) { return b.getBuffer() != nullptr; }},
        {"a larger getBuffer", [](FileBuffer& b, const Scratch&) { return b.getBuffer(700000) != nullptr; }},
        {"detach",
         [](FileBuffer& b, const Scratch&) {
             unsigned char* const block = b.detach();
             SSimpleBuffer::dealloc(block);
             return block != nullptr;
         }},
        {"compare", [](FileBuffer& b, const Scratch&) { return b == holding(longText(mappedBytes)); }},
        {"compare with a pointer",
         [](FileBuffer& b, const Scratch&) { return b == bytesOf(longText(mappedBytes)); }},
        {"save", [](FileBuffer& b, const Scratch& s) { return b.saveToFile(s.path("saved"), false); }},
    };
    const Scratch scratch;
    const unsigned before = Faults::openDescriptors();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        FileBuffer buffer = cutBuffer(scratch / "file");
        Recorder recorder;
        EXPECT_FALSE(row.call(buffer, scratch));
        EXPECT_EQ(recorder.count(unread + scratch / "file" + " from byte 50000 on. Reason is: It has become"),
                  1);
        EXPECT_TRUE(buffer.isMapped());
        EXPECT_EQ(buffer.getNBytes(), mappedBytes);
        EXPECT_FALSE(std::filesystem::exists(scratch / "saved")) << "half a file was left";

        putFile(scratch / "file", longText(mappedBytes));
        EXPECT_TRUE(row.call(buffer, scratch)) << "the file has all its bytes again";
        std::filesystem::remove(scratch / "saved");
    }
    EXPECT_EQ(Faults::openDescriptors(), before);
}

TEST(SimpleBufferFilePosix, ReleaseBufferOfACutFileChangesNothing)
{
    const Scratch scratch;
    FileBuffer buffer = cutBuffer(scratch / "file");
    buffer.releaseBuffer(3);
    EXPECT_EQ(buffer.getNBytes(), mappedBytes);
}

TEST(SimpleBufferFilePosix, BuffersOfCutFilesHaveAnOrderStill)
{
    const Scratch scratch;
    const std::string whole = longText(mappedBytes);
    const FileBuffer empty = cutBuffer(scratch / "empty", 0);
    const FileBuffer shorter = cutBuffer(scratch / "shorter", 65536);
    const FileBuffer longer = cutBuffer(scratch / "longer", 70000);
    const FileBuffer twin = cutBuffer(scratch / "twin", 70000);
    const FileBuffer heap = holding(whole.substr(0, 70000));
    const FileBuffer greater = holding("\xFF");
    const FileBuffer nothing;
    // By what can be read, then by the length that was.
    const FileBuffer* const ascending[] = {&nothing, &empty, &shorter, &heap, &longer, &greater};
    for (const FileBuffer* const& left : ascending) {
        for (const FileBuffer* const& right : ascending) {
            EXPECT_EQ(left->compare(*right), &left < &right ? -1 : &left > &right);
            EXPECT_EQ(*left == *right, left == right);
        }
    }
    EXPECT_EQ(longer.compare(twin), 0);
    EXPECT_TRUE(empty == FileBuffer(empty)) << "one record";
}

TEST(SimpleBufferFilePosix, WhatIsNoFileIsRefusedAndNotWaitedFor)
{
    const Scratch scratch;
    ASSERT_EQ(::mkfifo((scratch / "pipe").c_str(), 0600), 0);
    putFile(scratch / "huge", "");
    cut(scratch / "huge", 0xFFFFFFFF); // a hole
    struct Row
    {
        const char* name;
        std::string file;
        bool mapping;
        const char* trace;
    };
    const Row rows[] = {
        {"a pipe", scratch / "pipe", false, "Illegal seek"},
        {"a pipe to map", scratch / "pipe", true, "Errno is 87"},
        {"a device without end", "/dev/zero", false, "The system does not tell its size."},
        {"a device to map", "/dev/zero", true, "Errno is 87"},
        {"a file of the kernel", "/proc/self/status", false, "could not read from file /proc/self/status"},
        {"a file of the kernel to map", "/proc/self/status", true, "Errno is 1006"},
        {"a folder", scratch / "", false, "Is a directory"},
        {"4 GiB", scratch / "huge", false, "File too large"},
        {"4 GiB to map", scratch / "huge", true, "Errno is 223"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Recorder recorder;
        FileBuffer buffer;
        EXPECT_FALSE(buffer.loadFromFile(row.file.c_str(), row.mapping, false));
        EXPECT_EQ(recorder.count(row.trace), 1);
        EXPECT_EQ(recorder.lines().size(), 1u);
    }
    FileBuffer buffer;
    EXPECT_TRUE(buffer.loadFromFile("/dev/null", false, false));
}

TEST(SimpleBufferFilePosix, AMappedFileMayLoseItsName)
{
    const Scratch scratch;
    putFile(scratch / "file", "still there");
    FileBuffer buffer = loaded(scratch.path("file"), true);
    std::filesystem::remove(scratch / "file");
    put(buffer, "!");
    EXPECT_EQ(text(buffer), "still there!");
}

TEST(SimpleBufferFilePosix, LoadingIsWholeOrFailsWhateverCallFails)
{
    const Scratch scratch;
    const std::string content = longText(70000);
    putFile(scratch / "file", content);
    const unsigned before = Faults::openDescriptors();
    constexpr std::string_view moving[] = {"read", "pread"};
    const Faults::Fault faults[] = {
        {.error = EIO},
        {.error = EMFILE},
        {.error = ENOMEM},
        {.error = EINTR, .only = Faults::interruptible},
        {.count = Faults::Fault::Count::half, .only = moving},
        {.count = Faults::Fault::Count::none, .only = moving, .lasts = true},
    };
    for (const Faults::Fault& fault : faults) {
        for (const bool mapping : {false, true}) {
            SCOPED_TRACE(std::to_string(fault.error) + (mapping ? " mapping" : " reading"));
            const bool harmless =
                fault.error == EINTR || (fault.error == 0 && fault.count == Faults::Fault::Count::half);
            const unsigned calls = Faults::eachCall(fault, [&](Faults::Injection& injection) {
                Recorder recorder;
                FileBuffer buffer = holding("before");
                injection.arm();
                const bool loaded = buffer.loadFromFile(scratch.path("file"), mapping, false);
                injection.disarm();
                EXPECT_TRUE(loaded || !harmless) << injection.call();
                EXPECT_EQ(text(buffer) == content, loaded) << injection.call();
                EXPECT_TRUE(loaded || buffer.isEmpty()) << injection.call();
                // Of a size that can't be told nothing is said.
                const bool silent = mapping && std::string_view(injection.call()) == "fstat";
                EXPECT_EQ(recorder.lines().size(), loaded || silent ? 0u : 1u) << injection.call();
            });
            EXPECT_GE(calls, fault.error != 0 ? 2u : mapping ? 0u : 1u);
            EXPECT_EQ(Faults::openDescriptors(), before);
        }
    }
}

TEST(SimpleBufferFilePosix, SavingIsWholeOrFailsWhateverCallFails)
{
    const Scratch scratch;
    const std::string content = longText(70000);
    putFile(scratch / "source", content);
    const unsigned before = Faults::openDescriptors();
    const Faults::Fault faults[] = {
        {.error = ENOSPC, .lasts = true},
        {.error = EIO},
        {.error = EINTR, .only = Faults::interruptible},
        {.count = Faults::Fault::Count::half},
        {.count = Faults::Fault::Count::none, .lasts = true},
    };
    for (const Faults::Fault& fault : faults) {
        for (const bool mapped : {false, true}) {
            for (const bool overwrite : {false, true}) {
                SCOPED_TRACE(std::to_string(fault.error) + std::to_string(mapped) +
                             std::to_string(overwrite));
                const bool harmless = fault.error == EINTR || (fault.error == 0 && !fault.lasts);
                const FileBuffer buffer = loaded(scratch.path("source"), mapped);
                const unsigned calls = Faults::eachCall(fault, [&](Faults::Injection& injection) {
                    std::filesystem::remove(scratch / "saved");
                    Recorder recorder;
                    injection.arm();
                    const bool saved = buffer.saveToFile(scratch.path("saved"), overwrite);
                    injection.disarm();
                    EXPECT_TRUE(saved || !harmless) << injection.call();
                    EXPECT_EQ(contentOf(scratch / "saved") == content, saved) << injection.call();
                    EXPECT_EQ(recorder.lines().size(), saved ? 0u : 1u) << injection.call();
                    EXPECT_TRUE(saved || overwrite || !std::filesystem::exists(scratch / "saved"))
                        << injection.call();
                });
                EXPECT_GE(calls, 1u);
            }
        }
    }
    EXPECT_EQ(Faults::openDescriptors(), before);
}

TEST(SimpleBufferFilePosix, ADiskThatFillsUpFailsTheSave)
{
    const Scratch scratch;
    const int result = inChild([&] {
        const rlimit limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
        const FileBuffer buffer = holding(longText(3000));
        const bool refused =
            !buffer.saveToFile(scratch.path("new"), false) && !buffer.saveToFile(scratch.path("old"), true);
        return refused ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(std::filesystem::exists(scratch / "new"));
    EXPECT_EQ(contentOf(scratch / "old"), longText(1000)) << "what the disk took";
}

TEST(SimpleBufferFilePosix, ReadingAMappedFileGoesOnAfterShortReadsAndSignals)
{
    const Scratch scratch;
    const std::string content = longText(70000);
    putFile(scratch / "file", content);
    const FileBuffer mapped = loaded(scratch.path("file"), true);
    for (const Faults::Fault& fault : {Faults::Fault{.error = EINTR}, Faults::Fault{}}) {
        const unsigned calls = Faults::eachCall(fault, [&](Faults::Injection& injection) {
            FileBuffer copy(mapped);
            injection.arm();
            EXPECT_TRUE(copy.reserve(0));
            const bool equal = copy == mapped;
            injection.disarm();
            EXPECT_TRUE(equal);
        });
        EXPECT_GE(calls, 3u) << "one to copy, two to compare";
    }
    Faults::eachCall({.error = EIO}, [&](Faults::Injection& injection) {
        Recorder recorder;
        FileBuffer copy(mapped);
        injection.arm();
        copy << '!';
        injection.disarm();
        EXPECT_EQ(copy.isMapped(), injection.happened());
        EXPECT_EQ(recorder.count("Reason is: Input/output error."), injection.happened());
    });
}

TEST(SimpleBufferFilePosix, WithoutLocksAFileIsMappedAndStillNotOverwrittenByItsBuffer)
{
    const Scratch scratch;
    putFile(scratch / "file", "content");
    constexpr std::string_view locks[] = {"fcntl", "flock"};
    for (const int error : {ENOLCK, EOPNOTSUPP, ENOSYS, EINVAL}) {
        Faults::Injection injection({.error = error, .only = locks, .lasts = true}, 0);
        injection.arm();
        FileBuffer buffer;
        EXPECT_TRUE(buffer.loadFromFile(scratch.path("file"), true, false));
        Recorder recorder;
        EXPECT_FALSE(buffer.saveToFile(scratch.path("./file"), true));
        EXPECT_TRUE(buffer.saveToFile(scratch.path("other"), true));
        std::filesystem::rename(scratch / "file", scratch / "renamed");
        EXPECT_FALSE(buffer.saveToFile(scratch.path("renamed"), true));
        injection.disarm();
        std::filesystem::rename(scratch / "renamed", scratch / "file");
        EXPECT_TRUE(injection.happened());
        EXPECT_EQ(recorder.count("Device or resource busy"), 2);
        EXPECT_EQ(text(buffer), "content");
    }
}
