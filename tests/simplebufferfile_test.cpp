// Buffers that are loaded from files and saved to them.

#include "morvex/simplebuffer.h"

#include "mappedbuffer.h"
#include "recorder.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace MorvexA106;

namespace
{

bool isThere(const std::string& path)
{
    return std::filesystem::exists(path);
}

} // namespace

TEST(SimpleBufferFile, WhatIsSavedIsLoadedReadOrMapped)
{
    const Scratch scratch;
    for (const std::size_t bytes : {1u, 65536u, 65537u, 1000003u}) {
        SCOPED_TRACE(bytes);
        const std::string content = longText(bytes);
        EXPECT_TRUE(holding(content).saveToFile(scratch.path("saved"), true));
        EXPECT_EQ(contentOf(scratch / "saved"), content);
        for (const bool mapping : {false, true}) {
            const FileBuffer buffer = loaded(scratch.path("saved"), mapping);
            EXPECT_EQ(text(buffer), content);
            EXPECT_EQ(buffer.getNBytesAllocated(), bytes);
            EXPECT_TRUE(buffer.saveToFile(scratch.path("again"), true));
            EXPECT_EQ(contentOf(scratch / "again"), content);
        }
    }
}

TEST(SimpleBufferFile, WhatCannotBeLoadedLeavesAnEmptyBufferAndATrace)
{
    const Scratch scratch;
    putFile(scratch / "empty", "");
    std::filesystem::create_directory(scratch / "folder");
    struct Row
    {
        const char* name;
        const char* file;
        bool mapping;
        std::string trace;
    };
    const std::string read = "SSimpleBuffer::loadFromFile: could not read from file ";
    const Row rows[] = {
        {"nothing there", "absent", false, read + scratch / "absent" + ". Reason: "},
        {"nothing there to map", "absent", true,
         "could not open file " + scratch / "absent" + " for memory-mapped reading. Errno is 2"},
        {"a folder", "folder", false, read + scratch / "folder" + ". Reason: "},
        {"a folder to map", "folder", true,
         "could not open file " + scratch / "folder" + " for memory-mapped reading. Errno is 5"},
        {"an empty file to map", "empty", true,
         "could not create file mapping on file " + scratch / "empty" + ". Errno is 1006"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Recorder recorder;
        FileBuffer buffer = holding("before");
        EXPECT_FALSE(buffer.loadFromFile(scratch.path(row.file), row.mapping, true));
        EXPECT_EQ(recorder.lines().size(), 1u);
        EXPECT_EQ(recorder.count(row.trace), 1);
        EXPECT_TRUE(buffer.isEmpty() && !buffer.isMapped() && !buffer.ownsFile());
        put(buffer, "usable");
        EXPECT_EQ(text(buffer), "usable");
    }
    EXPECT_TRUE(isThere(scratch / "empty"));
}

TEST(SimpleBufferFile, AnEmptyFileIsReadAsAnEmptyContentThatMayOwnIt)
{
    const Scratch scratch;
    putFile(scratch / "empty", "");
    {
        FileBuffer buffer = holding("before");
        EXPECT_TRUE(buffer.loadFromFile(scratch.path("empty"), false, true));
        EXPECT_TRUE(buffer.isEmpty());
        EXPECT_TRUE(isThere(scratch / "empty"));
    }
    EXPECT_FALSE(isThere(scratch / "empty"));
}

TEST(SimpleBufferFile, SavingCreatesReplacesOrRefuses)
{
    const Scratch scratch;
    struct Row
    {
        const char* name;
        const char* content;
        const char* file;
        bool overwrite;
        bool saved;
        const char* left;
    };
    const Row rows[] = {
        {"a new file", "new", "absent", false, true, "new"},
        {"a new file, overwriting", "new", "absent", true, true, "new"},
        {"a longer file", "new", "old", true, true, "new"},
        {"a file that must not be there", "new", "old", false, false, "a longer content"},
        {"an empty buffer over a file", "", "old", true, true, "a longer content"},
        {"an empty buffer", "", "absent", true, true, nullptr},
        {"an empty buffer beside a file", "", "old", false, true, "a longer content"},
        {"no folder", "new", "no/file", true, false, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        putFile(scratch / "old", "a longer content");
        std::filesystem::remove(scratch / "absent");
        Recorder recorder;
        EXPECT_EQ(holding(row.content).saveToFile(scratch.path(row.file), row.overwrite), row.saved);
        EXPECT_EQ(isThere(scratch / row.file), row.left != nullptr);
        EXPECT_EQ(contentOf(scratch / row.file), row.left != nullptr ? row.left : "");
        EXPECT_EQ(recorder.count("SSimpleBuffer::saveToFile: could not open file " + scratch / row.file +
                                 " for writing.  Reason: Failed to open the file "),
                  row.saved ? 0 : 1);
    }
}

TEST(SimpleBufferFile, TheLastHandleRemovesTheFileThatItOwns)
{
    struct Row
    {
        const char* name;
        void (*letGo)(FileBuffer&);
    };
    const Row rows[] = {
        {"empty", [](FileBuffer& b) { b.empty(); }},
        {"assignment", [](FileBuffer& b) { b = holding("other"); }},
        {"growth", [](FileBuffer& b) { put(b, "more"); }},
        {"a write in its place", [](FileBuffer& b) { b.getBuffer(100); }},
        {"detach", [](FileBuffer& b) { SSimpleBuffer::dealloc(b.detach()); }},
        {"destruction", [](FileBuffer& b) { FileBuffer(std::move(b)); }},
        {"another file", [](FileBuffer& b) { EXPECT_FALSE(b.loadFromFile("", false, false)); }},
    };
    const Scratch scratch;
    for (const Row& row : rows) {
        for (const bool mapping : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (mapping ? ", mapped" : ""));
            putFile(scratch / "owned", "content");
            FileBuffer buffer = loaded(scratch.path("owned"), mapping, true);
            {
                FileBuffer other;
                other = buffer;
                put(other, "private now");
            }
            EXPECT_TRUE(isThere(scratch / "owned"));
            row.letGo(buffer);
            EXPECT_FALSE(isThere(scratch / "owned"));
        }
    }
}

TEST(SimpleBufferFile, AFileThatCannotBeRemovedLeavesATraceOnly)
{
    const Scratch scratch;
    putFile(scratch / "owned", "content");
    FileBuffer buffer = loaded(scratch.path("owned"), false, true);
    std::filesystem::remove(scratch / "owned");
    std::filesystem::create_directory(scratch / "owned");
    putFile(scratch / "owned/inside", "x");
    Recorder recorder;
    buffer.empty();
    EXPECT_EQ(recorder.count("SSimpleBuffer could not delete file " + scratch / "owned" + ". Reason is: "),
              1);
    EXPECT_TRUE(buffer.onEmptyRecord());
}

TEST(SimpleBufferFile, TheFileThatItOwnsIsKeptWhenItIsLoadedAgain)
{
    const Scratch scratch;
    for (const bool wasMapped : {false, true}) {
        for (const bool mapping : {false, true}) {
            for (const bool owns : {false, true}) {
                SCOPED_TRACE(std::to_string(wasMapped) + std::to_string(mapping) + std::to_string(owns));
                putFile(scratch / "owned", "content");
                {
                    FileBuffer buffer = loaded(scratch.path("owned"), wasMapped, true);
                    EXPECT_TRUE(buffer.loadFromFile(scratch.path("./owned"), mapping, owns));
                    EXPECT_EQ(text(buffer), "content");
                    EXPECT_TRUE(isThere(scratch / "owned"));
                }
                EXPECT_EQ(isThere(scratch / "owned"), !owns);
            }
        }
    }

    putFile(scratch / "owned", "content");
    FileBuffer buffer = loaded(scratch.path("owned"), false, true);
    putFile(scratch / "owned", "");
    EXPECT_FALSE(buffer.loadFromFile(scratch.path("owned"), true, true));
    EXPECT_TRUE(isThere(scratch / "owned")) << "lost because it could not be loaded";

    putFile(scratch / "owned", "content");
    EXPECT_TRUE(buffer.loadFromFile(scratch.path("owned"), false, true));
    EXPECT_TRUE(buffer.loadFromFile(buffer.record().backingFileName, false, true)) << "the record's own text";
    {
        const FileBuffer other(buffer);
        EXPECT_TRUE(buffer.loadFromFile(scratch.path("owned"), false, false));
    }
    EXPECT_FALSE(isThere(scratch / "owned")) << "the other handle's word still holds";
}

TEST(SimpleBufferFile, AWriteToAMappedBufferMovesItToTheHeap)
{
    struct Row
    {
        const char* name;
        void (*write)(FileBuffer&);
        const char* result;
    };
    const Row rows[] = {
        {"append", [](FileBuffer& b) { put(b, "s"); },
         "mapped file"
         "s"},
        {"one byte", [](FileBuffer& b) { b << '!'; }, "mapped file!"},
        {"own bytes", [](FileBuffer& b) { b.append(b.view().data() + 6, 5, 0); }, "mapped file file"},
        {"concat of own bytes", [](FileBuffer& b) { b.concat(b, 6); }, "mapped filemapped"},
        {"getBuffer", [](FileBuffer& b) { b.getBuffer()[0] = 'M'; }, "Mapped file"},
        {"a larger getBuffer", [](FileBuffer& b) { b.getBuffer(50)[0] = 'M'; }, "Mapped file"},
        {"reserve", [](FileBuffer& b) { EXPECT_TRUE(b.reserve(4)); }, "mapped file"},
        {"releaseBuffer", [](FileBuffer& b) { b.releaseBuffer(6); }, "mapped"},
    };
    const Scratch scratch;
    putFile(scratch / "file", "mapped file");
    const FileBuffer original = loaded(scratch.path("file"), true);
    for (const Row& row : rows) {
        for (const bool shared : {false, true}) {
            SCOPED_TRACE(row.name);
            Recorder recorder;
            FileBuffer buffer = shared ? original : loaded(scratch.path("file"), true);
            row.write(buffer);
            EXPECT_EQ(text(buffer), std::string(row.result).substr(0, buffer.getNBytes()));
            EXPECT_EQ(buffer.getNBytes(), std::string_view(row.result).size());
            EXPECT_FALSE(buffer.isMapped());
            EXPECT_EQ(recorder.count("buffer->refCount.read() == 1"),
                      row.name == std::string("releaseBuffer"));
        }
    }
    EXPECT_EQ(text(original), "mapped file");
    EXPECT_EQ(contentOf(scratch / "file"), "mapped file");
}

TEST(SimpleBufferFile, DetachingAMappedBufferGivesACopy)
{
    const Scratch scratch;
    putFile(scratch / "file", "mapped");
    FileBuffer buffer = loaded(scratch.path("file"), true);
    Recorder recorder;
    unsigned char* const block = buffer.detach();
    EXPECT_EQ(std::string(block, block + 6), "mapped");
    EXPECT_TRUE(buffer.onEmptyRecord());
    EXPECT_EQ(recorder.count("SSimpleBuffer::detach() copying buffer before detaching"), 1);
    SSimpleBuffer::dealloc(block);
}

TEST(SimpleBufferFile, AMappedFileIsNotOverwrittenByThisLibrary)
{
    const Scratch scratch;
    putFile(scratch / "file", "mapped");
    FileBuffer buffer = loaded(scratch.path("file"), true);
    Recorder recorder;
    EXPECT_FALSE(buffer.saveToFile(scratch.path("file"), true));
    EXPECT_FALSE(holding("another content").saveToFile(scratch.path("file"), true));
    EXPECT_EQ(recorder.count("SSimpleBuffer::saveToFile: could not open file "), 2);
    EXPECT_EQ(text(buffer), "mapped");
    EXPECT_EQ(contentOf(scratch / "file"), "mapped");
    buffer.empty();
    EXPECT_TRUE(holding("another content").saveToFile(scratch.path("file"), true));

    SFile writer(scratch.path("file"), SFile::readAndWrite, SFile::defaultPermissions, SFile::denyNothing);
    EXPECT_FALSE(buffer.loadFromFile(scratch.path("file"), true, false)) << "somebody may write it";
    EXPECT_TRUE(buffer.loadFromFile(scratch.path("file"), false, false));
}

TEST(SimpleBufferFile, MappedBuffersCompareAsThoseOfTheHeap)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const Scratch scratch;
    for (int round = 0; round < 60; ++round) {
        const std::string base = longText(1 + random() % 150000);
        const auto changed = [&] {
            std::string text = base.substr(0, 1 + random() % base.size());
            text[random() % 2 == 0 ? text.size() - 1 : random() % text.size()] +=
                static_cast<char>(random() % 3);
            return random() % 3 == 0 ? base : text;
        };
        const std::string left = changed();
        const std::string right = changed();
        putFile(scratch / "left", left);
        putFile(scratch / "right", right);
        const int order = left.compare(right) < 0 ? -1 : left.compare(right) > 0;
        for (const int mapped : {1, 2, 3}) {
            const FileBuffer one = loaded(scratch.path("left"), (mapped & 1) != 0);
            const FileBuffer other = loaded(scratch.path("right"), (mapped & 2) != 0);
            EXPECT_EQ(one.compare(other), order);
            EXPECT_EQ(other.compare(one), -order);
            EXPECT_EQ(one == other, order == 0);
            const std::string wide = right + std::string(left.size(), '\0');
            EXPECT_EQ(one == reinterpret_cast<const unsigned char*>(wide.data()), wide.starts_with(left));
        }
    }
}

TEST(SimpleBufferFile, SameAsATextUnderRandomOperationsAndNoFileIsLeft)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&](std::size_t limit) { return static_cast<unsigned>(random() % limit); };
    const Scratch scratch;
    {
        FileBuffer buffers[4];
        std::string models[4];
        for (int step = 0; step < 2000; ++step) {
            FileBuffer& buffer = buffers[below(4)];
            std::string& model = models[&buffer - buffers];
            const unsigned source = below(4);
            const SAnsiString file = scratch.path(std::to_string(step));
            switch (below(8)) {
            case 0:
            case 1: // the file is the target's to remove
                EXPECT_TRUE(buffers[source].saveToFile(file, false));
                EXPECT_EQ(buffer.loadFromFile(file, below(3) != 0, true), !models[source].empty());
                model = models[source];
                break;
            case 2:
                buffer = buffers[source];
                model = models[source];
                break;
            case 3: {
                const unsigned begin = below(model.size() + 1);
                const unsigned count = below(std::min<std::size_t>(model.size() - begin, 20000) + 1);
                buffer.append(buffer.view().data() + begin, count, below(100));
                model += std::string(model, begin, count);
                break;
            }
            case 4:
                buffer << static_cast<unsigned char>(step);
                model += static_cast<char>(step);
                break;
            case 5: {
                unsigned char* const block = buffer.getBuffer(20);
                std::fill(block, block + 20, static_cast<unsigned char>(step));
                buffer.releaseBuffer(20);
                model.assign(20, static_cast<char>(step));
                break;
            }
            case 6:
                SSimpleBuffer::dealloc(buffer.detach());
                model.clear();
                break;
            default:
                EXPECT_EQ(buffer.compare(buffers[source]), std::clamp(model.compare(models[source]), -1, 1));
                break;
            }
            ASSERT_EQ(text(buffer), model) << "step " << step;
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty(scratch / ""));
}

TEST(SimpleBufferFile, ARecordIsMappedOnceAndUnmappedOnce)
{
    const Scratch scratch;
    putFile(scratch / "file", "mapped");
    FileBuffer buffer = loaded(scratch.path("file"), true);
    Recorder recorder;
    EXPECT_FALSE(buffer.record().Map(scratch.path("file")));
    EXPECT_EQ(recorder.count("(data == 0 : "), 1);
    EXPECT_EQ(text(buffer), "mapped");
    buffer.record().UnMap();
    EXPECT_TRUE(buffer.isEmpty() && buffer.record().data == nullptr && !buffer.isMapped());
    EXPECT_EQ(buffer.record().fileHandle, -1);
    EXPECT_EQ(buffer.record().mappingHandle, 0);
    EXPECT_EQ(recorder.lines().size(), 1u);
    buffer.record().UnMap();
    EXPECT_EQ(recorder.count("(IsMapped() : "), 1);
    EXPECT_EQ(recorder.askedFile(), "simplebuffer.cpp");
    put(buffer, "usable");
    EXPECT_EQ(text(buffer), "usable");
}

TEST(SimpleBufferFile, WhatIsNoBlockOfItsOwnIsNotSetFromADerivedClass)
{
    const Scratch scratch;
    putFile(scratch / "file", "mapped");
    unsigned char block[] = "block";
    const FileBuffer empty;
    Recorder recorder;
    FileBuffer buffer;
    buffer.terminateBuffer(1);
    buffer.setBufferProtected(block);
    EXPECT_FALSE(buffer.record().Map(scratch.path("file")));
    EXPECT_TRUE(empty.isEmpty() && empty.view().data() == nullptr && !empty.isMapped());
    EXPECT_EQ(recorder.count("(!IsEmptyBuffer(*"), 3);

    EXPECT_TRUE(buffer.loadFromFile(scratch.path("file"), true, false));
    buffer.terminateBuffer(1);
    buffer.setBufferProtected(block);
    EXPECT_EQ(recorder.count("(!buffer->IsMapped() : "), 2);
    buffer << '!';
    EXPECT_EQ(text(buffer), "mapped!");
}

TEST(SimpleBufferFile, ThreadsReadOneMappedContent)
{
    const Scratch scratch;
    const std::string content = longText(100000);
    putFile(scratch / "file", content);
    const FileBuffer mapped = loaded(scratch.path("file"), true);
    const FileBuffer heap = holding(content);
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&heap, mine = FileBuffer(mapped)]() mutable {
            EXPECT_TRUE(mine == heap);
            mine << '!';
            EXPECT_EQ(mine.compare(heap), 1);
        });
    }
    EXPECT_TRUE(mapped == heap);
}
