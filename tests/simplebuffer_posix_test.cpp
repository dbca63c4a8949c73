// Memory that runs out: this program's operator new stands in for the library's, which binds to it. Windows'
// libraries keep their own.

#include "morvex/mbcscodesetconverter.h"
#include "morvex/simplebuffer.h"

#include "mappedbuffer.h"
#include "recorder.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

namespace
{

/// Lets a number of allocations pass and fails the next one, or that and all after it.
struct Failure
{
    int passing = 0;
    bool lasting = false;
    bool armed = false;
    bool met = false;

    bool isNow()
    {
        const bool now = armed && (passing == 0 || (lasting && passing < 0));
        passing -= armed ? 1 : 0;
        met = met || now;
        return now;
    }
};

thread_local Failure failure;

void* allocate(std::size_t bytes) noexcept
{
    return failure.isNow() ? nullptr : std::malloc(bytes != 0 ? bytes : 1);
}

} // namespace

void* operator new(std::size_t bytes)
{
    void* const block = allocate(bytes);
    return block != nullptr ? block : throw std::bad_alloc();
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept
{
    return allocate(bytes);
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}

using namespace MorvexA106;

namespace
{

const unsigned char* bytesOf(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

struct Row
{
    const char* name;
    void (*write)(SSimpleBuffer&);
    const char* done;
    const char* failed;
};

const Row rows[] = {
    {"append", [](SSimpleBuffer& b) { b.append(bytesOf("++"), 2, 5); }, "content++", "content"},
    {"one byte", [](SSimpleBuffer& b) { b << '+'; }, "content+", "content"},
    {"own bytes", [](SSimpleBuffer& b) { b.append(b, 3, SSimpleBuffer::none); }, "contentcon", "content"},
    {"reserve", [](SSimpleBuffer& b) { b.reserve(100); }, "content", "content"},
    {"getBuffer", [](SSimpleBuffer& b) { b.getBuffer(20); }, "content", "content"},
    {"a copy", [](SSimpleBuffer& b) { b = SSimpleBuffer(b.getBuffer(), 4, false); }, "cont", ""},
    {"a new block", [](SSimpleBuffer& b) { b = SSimpleBuffer(50u); }, "", ""},
    {"an adopted block",
     [](SSimpleBuffer& b) {
         if (unsigned char* const block = SSimpleBuffer::alloc(2)) {
             std::copy_n("ok", 2, block);
             b = SSimpleBuffer(block, 2, true);
         }
     },
     "ok", ""},
};

/// Runs the row with the given failure. False when no allocation was left to fail.
bool survives(const Row& row, int point, bool lasting, bool shared)
{
    Recorder recorder;
    SSimpleBuffer buffer;
    buffer.append(bytesOf("content"), 7, SSimpleBuffer::none);
    const SSimpleBuffer other = shared ? buffer : SSimpleBuffer();
    failure = {point, lasting, true, false};
    row.write(buffer);
    failure.armed = false;
    const std::string now = text(buffer);
    const bool asBefore = now == "content"; // the block to adopt was not even there
    EXPECT_TRUE(now == row.done || now == row.failed || asBefore) << row.name << ": " << now;
    EXPECT_EQ(text(other), shared ? "content" : "");
    EXPECT_TRUE(failure.met || now == row.done) << row.name;
    EXPECT_TRUE(lasting || now == row.done || asBefore || recorder.count("(buffer") == 1) << row.name;
    buffer << '!';
    EXPECT_EQ(text(buffer), now + '!') << row.name;
    return failure.met;
}

} // namespace

TEST(SimpleBufferWithoutMemory, KeepsTheContentAndReports)
{
    for (const Row& row : rows) {
        for (const bool lasting : {false, true}) {
            for (const bool shared : {false, true}) {
                int point = 0;
                while (survives(row, point, lasting, shared)) {
                    ++point;
                }
                EXPECT_GE(point, shared ? 2 : 1) << row.name << ": a block, and a record where it was shared";
            }
        }
    }
}

TEST(SimpleBufferWithoutMemory, DetachingASharedBufferLosesItFromTheHandleOnly)
{
    const char content[] = "content";
    for (const int point : {0, 1}) {
        Recorder recorder;
        SSimpleBuffer buffer;
        buffer.append(bytesOf(content), 7, SSimpleBuffer::none);
        const SSimpleBuffer other(buffer);
        MorvexA106::Diagnostics::exchangeSink(nullptr); // what it has to say would take the memory first
        failure = {point, false, true, false};
        EXPECT_EQ(buffer.detach(), nullptr);
        failure.armed = false;
        MorvexA106::Diagnostics::exchangeSink(&recorder);
        EXPECT_TRUE(buffer.isEmpty());
        EXPECT_EQ(text(other), content);
    }
}

TEST(SimpleBufferWithoutMemory, FilesAreLoadedAndSavedOrNot)
{
    const Scratch scratch;
    putFile(scratch / "file", "content");
    struct FileRow
    {
        const char* name;
        bool (*work)(SSimpleBuffer&, const SAnsiString& file, const SAnsiString& other);
        bool possible;
    };
    const FileRow fileRows[] = {
        {"read", [](SSimpleBuffer& b, auto& file, auto&) { return b.loadFromFile(file, false, false); },
         true},
        {"map", [](SSimpleBuffer& b, auto& file, auto&) { return b.loadFromFile(file, true, false); }, true},
        {"read nothing",
         [](SSimpleBuffer& b, auto&, auto& other) { return b.loadFromFile(other, false, true); }, false},
        {"map nothing",
         [](SSimpleBuffer& b, auto&, auto& other) { return b.loadFromFile(other, true, true); }, false},
        {"save", [](SSimpleBuffer& b, auto&, auto& other) { return b.saveToFile(other, true); }, true},
        {"save beside", [](SSimpleBuffer& b, auto& file, auto&) { return b.saveToFile(file, false); }, false},
    };
    for (const FileRow& row : fileRows) {
        for (int point = 0;; ++point) {
            std::filesystem::remove(scratch / "other");
            const SAnsiString file = scratch.path("file");
            const SAnsiString other = scratch.path("other");
            Recorder recorder;
            SSimpleBuffer buffer = holding("content");
            failure = {point, true, true, false};
            const bool done = row.work(buffer, file, other);
            failure.armed = false;
            EXPECT_TRUE(row.possible ? done || failure.met : !done) << row.name << ' ' << point;
            EXPECT_TRUE(text(buffer) == "content" || (!done && buffer.isEmpty())) << row.name << ' ' << point;
            buffer << '!';
            if (!failure.met) {
                break;
            }
        }
    }
}

TEST(SimpleBufferWithoutMemory, MappedFilesAreComparedAndSavedInSmallSteps)
{
    const Scratch scratch;
    const std::string content = longText(1000);
    putFile(scratch / "file", content);
    const FileBuffer mapped = loaded(scratch.path("file"), true);
    const FileBuffer same = loaded(scratch.path("file"), true);
    const FileBuffer greater = holding(content + "!");
    const SAnsiString saved = scratch.path("saved");
    for (const int point : {0, 1}) { // one of two readers, or both, without their block
        failure = {point, true, true, false};
        EXPECT_EQ(mapped.compare(same), 0);
        EXPECT_EQ(mapped.compare(greater), -1);
        EXPECT_TRUE(mapped == greater.view().data());
        EXPECT_TRUE(mapped.saveToFile(saved, true));
        failure.armed = false;
        EXPECT_EQ(contentOf(scratch / "saved"), content);
    }
}

TEST(MBCSCodesetConverterWithoutMemory, ThrowsBadAllocation)
{
    using Converter = MBCSCodesetConverter;
    const SAnsiString text("text");
    for (const auto codeset :
         {Converter::Native, Converter::UTF8, Converter::Windows1252, Converter::Windows932}) {
        for (int point = 0;; ++point) {
            failure = {point, true, true, false};
            try {
                const SSimpleBuffer bytes = Converter::TToExplicitCodeset(text, codeset);
                failure.armed = false;
                EXPECT_EQ(bytes.getNBytes(), 5u);
            } catch (const std::bad_alloc& thrown) {
                failure.armed = false;
                EXPECT_STREQ(thrown.what(), "bad allocation");
            }
            if (!failure.met) {
                EXPECT_GE(point, 2);
                break;
            }
        }
    }
}
