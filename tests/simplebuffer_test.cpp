#include "morvex/simplebuffer.h"

#include "recorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace MorvexA106;

namespace
{

using Bytes = std::vector<unsigned char>;

/// Opens the storage of a buffer to a test.
class OpenedBuffer : public SSimpleBuffer
{
public:
    using SSimpleBuffer::concat;
    using SSimpleBuffer::copyOnAppend;
    using SSimpleBuffer::setBuffer;
    using SSimpleBuffer::SSimpleBuffer;
    using SSimpleBuffer::terminateBuffer;

    int count() const { return buffer->refCount.load(); }
    bool onEmptyRecord() const { return buffer == &GetEmptyBuffer(); }
    bool holdsNothing() const { return buffer == nullptr; }
    const void* record() const { return buffer; }

    void pretendLength(unsigned bytes) { buffer->bytesUsed = bytes; }
};

void put(SSimpleBuffer& buffer, std::string_view text)
{
    const Bytes bytes(text.begin(), text.end());
    buffer.append(bytes.data(), static_cast<unsigned>(bytes.size()), SSimpleBuffer::none);
}

OpenedBuffer holding(std::string_view text)
{
    OpenedBuffer buffer;
    put(buffer, text);
    return buffer;
}

std::string text(const SSimpleBuffer& buffer)
{
    return {buffer.view().begin(), buffer.view().end()};
}

Bytes content(const SSimpleBuffer& buffer)
{
    return {buffer.view().begin(), buffer.view().end()};
}

/// A buffer that has lost its constructor's argument.
OpenedBuffer refused()
{
    Recorder recorder;
    OpenedBuffer buffer(nullptr, 0u, true);
    EXPECT_EQ(recorder.count("(0 : no message)"), 1);
    return buffer;
}

} // namespace

TEST(SimpleBuffer, EmptyBuffersShareOneRecordThatIsNeverCounted)
{
    OpenedBuffer buffer;
    const OpenedBuffer copy(buffer);
    EXPECT_EQ(copy.record(), buffer.record());
    EXPECT_EQ(copy.count(), -1);
    EXPECT_TRUE(copy.isEmpty());
    EXPECT_EQ(copy.getNBytesAllocated(), 1u);
    EXPECT_EQ(static_cast<const unsigned char*>(copy), nullptr);
    EXPECT_EQ(buffer.getBuffer(0), nullptr);
    EXPECT_EQ(buffer.getBuffer(SSimpleBuffer::none), nullptr);
    EXPECT_TRUE(buffer.onEmptyRecord());
}

TEST(SimpleBuffer, ARequestIsMetInPlaceOnlyBelowTheCapacity)
{
    OpenedBuffer buffer;
    ASSERT_NE(buffer.getBuffer(1), nullptr);
    EXPECT_EQ(buffer.getNBytesAllocated(), 1u);
    EXPECT_EQ(buffer.getNBytes(), 0u);

    OpenedBuffer eight(8);
    unsigned char* const block = eight.getBuffer(7);
    EXPECT_EQ(eight.getBuffer(), block);
    EXPECT_NE(eight.getBuffer(8), block);
    EXPECT_EQ(eight.getNBytesAllocated(), 8u);

    put(eight, "1234567");
    const unsigned char* const before = eight;
    EXPECT_EQ(eight.getNBytes(), 7u);
    eight << '8';
    EXPECT_NE(static_cast<const unsigned char*>(eight), before) << "content that fills the capacity moves";
    EXPECT_EQ(eight.getNBytesAllocated(), 8u);
    EXPECT_EQ(text(eight), "12345678");
}

TEST(SimpleBuffer, HeadroomAndReserveKeepAppendsInPlace)
{
    OpenedBuffer buffer;
    buffer.append(reinterpret_cast<const unsigned char*>("ab"), 2, 10);
    EXPECT_EQ(buffer.getNBytesAllocated(), 12u);
    EXPECT_TRUE(buffer.reserve(100));
    const unsigned char* const block = buffer;
    for (unsigned i = 2; i < 100; ++i) {
        buffer << static_cast<unsigned char>(i);
    }
    EXPECT_EQ(static_cast<const unsigned char*>(buffer), block);
    EXPECT_EQ(buffer.getNBytes(), 100u);

    OpenedBuffer shared(buffer);
    EXPECT_TRUE(shared.reserve(0));
    EXPECT_NE(shared.record(), buffer.record());
    EXPECT_EQ(content(shared), content(buffer));
}

TEST(SimpleBuffer, WritingASharedBufferLeavesTheOtherHandles)
{
    const OpenedBuffer original = holding("shared");
    struct Row
    {
        const char* name;
        void (*write)(OpenedBuffer&);
        const char* result;
    };
    const Row rows[] = {
        {"append", [](OpenedBuffer& b) { put(b, "!"); }, "shared!"},
        {"one byte", [](OpenedBuffer& b) { b << '!'; }, "shared!"},
        {"concat", [](OpenedBuffer& b) { b.concat(b.view().data(), 2); }, "sharedsh"},
        {"getBuffer", [](OpenedBuffer& b) { b.getBuffer()[0] = 'S'; }, "Shared"},
        {"empty", [](OpenedBuffer& b) { b.empty(); }, ""},
        {"append of nothing", [](OpenedBuffer& b) { b.append(nullptr, 5, 5); }, "shared"},
        {"detach", [](OpenedBuffer& b) { SSimpleBuffer::dealloc(b.detach()); }, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        OpenedBuffer copy(original);
        EXPECT_EQ(original.count(), 2);
        row.write(copy);
        EXPECT_EQ(text(copy), row.result);
        EXPECT_EQ(text(original), "shared");
    }
    EXPECT_EQ(original.count(), 1);
}

TEST(SimpleBuffer, ItsOwnBytesMayBeAppendedInPlaceAndWithAMove)
{
    for (const unsigned capacity : {0u, 100u}) {
        OpenedBuffer buffer = holding("abcdef");
        buffer.reserve(capacity);
        buffer.append(buffer.view().data() + 2, 3, SSimpleBuffer::none);
        buffer.append(buffer, buffer.getNBytes(), 4);
        buffer.append(buffer.view()[1]);
        EXPECT_EQ(text(buffer), "abcdefcdeabcdefcdeb");
        buffer = *&buffer;
        EXPECT_EQ(text(buffer), "abcdefcdeabcdefcdeb");
    }
}

TEST(SimpleBuffer, OrderGoesByUnsignedBytesAndThenByLength)
{
    struct Row
    {
        const char* left;
        const char* right;
        int order;
    };
    const Row rows[] = {{"", "", 0},      {"", "a", -1},       {"a", "b", -1},      {"ab", "abc", -1},
                        {"abc", "ab", 1}, {"\xFF", "\x01", 1}, {"same", "same", 0}, {"b", "abc", 1}};
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.left) + " and " + row.right);
        const SSimpleBuffer left = holding(row.left);
        const SSimpleBuffer right = holding(row.right);
        EXPECT_EQ(left.compare(right), row.order);
        EXPECT_EQ(left < right, row.order < 0);
        EXPECT_EQ(left > right, row.order > 0);
        EXPECT_EQ(left == right, row.order == 0);
        EXPECT_EQ(left != right, row.order != 0);
    }
    EXPECT_TRUE(SSimpleBuffer() == static_cast<const unsigned char*>(nullptr));
    EXPECT_TRUE(holding("ab") == reinterpret_cast<const unsigned char*>("abc"));
    EXPECT_FALSE(holding("ab") == static_cast<const unsigned char*>(nullptr));
}

TEST(SimpleBuffer, ReleaseBufferWithoutAPrivateBlockIsReportedAndHarmsNoOther)
{
    Recorder recorder;
    OpenedBuffer none;
    none.releaseBuffer(5);
    EXPECT_EQ(recorder.count("!IsEmptyBuffer(*buffer)"), 1);
    EXPECT_TRUE(SSimpleBuffer().isEmpty()) << "the record of all empty buffers was written";

    OpenedBuffer writer = holding("12");
    std::copy_n("12345678", 8, writer.getBuffer(8));
    const SSimpleBuffer tooEarly(writer);
    writer.releaseBuffer(8);
    EXPECT_EQ(recorder.count("buffer->refCount.read() == 1"), 1);
    EXPECT_EQ(text(writer), "12345678");
    EXPECT_EQ(text(tooEarly), "12");

    writer.releaseBuffer(9);
    EXPECT_EQ(recorder.count("bytesUsed <= buffer->bytesAllocated"), 1);
    EXPECT_EQ(text(writer), "12345678");
    EXPECT_EQ(recorder.askedFile(), "simplebuffer.cpp");
    EXPECT_EQ(recorder.lines().size(), 3u);
}

TEST(SimpleBuffer, AHandleThatWasRefusedAnswersEveryCall)
{
    OpenedBuffer buffer = refused();
    EXPECT_TRUE(buffer.holdsNothing());
    EXPECT_TRUE(buffer.isEmpty() && buffer.view().empty());
    EXPECT_EQ(buffer.getNBytes() + buffer.getNBytesAllocated(), 0u);
    EXPECT_EQ(static_cast<const unsigned char*>(buffer), nullptr);
    EXPECT_TRUE(buffer == SSimpleBuffer());
    EXPECT_EQ(buffer.detach(), nullptr);

    Recorder recorder;
    put(buffer, "lost");
    buffer << 'x';
    buffer.concat(reinterpret_cast<const unsigned char*>("x"), 1);
    buffer.releaseBuffer(1);
    buffer.terminateBuffer(1);
    buffer.copyOnAppend(1, 1);
    EXPECT_EQ(buffer.getBuffer(4), nullptr);
    EXPECT_FALSE(buffer.reserve(4));
    EXPECT_EQ(recorder.count("(buffer : no message)"), 8);

    SSimpleBuffer kept = holding("kept");
    kept = static_cast<const SSimpleBuffer&>(buffer);
    const SSimpleBuffer copy(static_cast<const SSimpleBuffer&>(buffer));
    EXPECT_EQ(recorder.count("(buffer_ != 0 : no message)"), 2);
    EXPECT_EQ(text(kept), "kept");
    EXPECT_TRUE(copy.isEmpty());
    static_cast<SSimpleBuffer&>(buffer) = kept;
    EXPECT_EQ(text(buffer), "kept");
}

TEST(SimpleBuffer, AdoptsABlockAndHandsItBackWithoutACopy)
{
    Recorder recorder;
    unsigned char* const block = SSimpleBuffer::alloc(3);
    std::copy_n("xyz", 3, block);
    SSimpleBuffer buffer(block, 3, true);
    EXPECT_EQ(text(buffer), "xyz");
    EXPECT_EQ(buffer.detach(), block);
    EXPECT_TRUE(buffer.isEmpty());
    EXPECT_EQ(buffer.getNBytesAllocated(), 1u);

    const SSimpleBuffer copied(block, 3, false);
    EXPECT_NE(static_cast<const unsigned char*>(copied), block);
    SSimpleBuffer::dealloc(block);
    EXPECT_EQ(text(copied), "xyz");
    EXPECT_EQ(recorder.lines().size(), 0u);

    SSimpleBuffer shared(copied);
    unsigned char* const own = shared.detach();
    EXPECT_NE(own, static_cast<const unsigned char*>(copied));
    EXPECT_EQ(std::string(own, own + 3), "xyz");
    SSimpleBuffer::dealloc(own);
    EXPECT_EQ(recorder.count("SSimpleBuffer::detach() copying buffer before detaching"), 1);
}

TEST(SimpleBuffer, MovingLeavesAnEmptyHandle)
{
    OpenedBuffer from = holding("moved");
    const void* const record = from.record();
    OpenedBuffer to(std::move(from));
    EXPECT_TRUE(
        from.onEmptyRecord()); // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): promised
    EXPECT_EQ(to.record(), record);
    from = std::move(to);
    EXPECT_TRUE(
        to.onEmptyRecord()); // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): promised
    EXPECT_EQ(text(from), "moved");
    EXPECT_EQ(from.count(), 1);
}

TEST(SimpleBuffer, SizesThatPassThirtyTwoBitsFailAndKeepTheContent)
{
    Recorder recorder;
    OpenedBuffer buffer = holding("kept");
    const unsigned huge = 0xFFFFFFFEu;
    buffer.append(buffer, 4, huge);
    buffer.copyOnAppend(huge, 2);
    EXPECT_FALSE(buffer.reserve(0xFFFFFFFFu));
    EXPECT_EQ(text(buffer), "kept");

    // Lengths that nobody has memory for: only the arithmetic is asked.
    const unsigned char bytes[] = {'b', 'y', 't', 'e', 's'};
    OpenedBuffer full = holding("full");
    full.pretendLength(huge);
    full.append(bytes, 5, SSimpleBuffer::none);
    full.concat(bytes, 2);
    EXPECT_EQ(full.getNBytes(), huge);
    full.pretendLength(4);
    EXPECT_EQ(text(full), "full");
    EXPECT_EQ(recorder.count("(buffer->data : no message)"), 5);
}

TEST(SimpleBuffer, SameAsAVectorUnderRandomOperations)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&](std::size_t limit) { return static_cast<unsigned>(random() % limit); };

    constexpr unsigned handles = 4;
    SSimpleBuffer buffers[handles];
    Bytes models[handles];
    for (int step = 0; step < 20000; ++step) {
        const unsigned target = below(handles);
        SSimpleBuffer& buffer = buffers[target];
        Bytes& model = models[target];
        switch (below(9)) {
        case 0:
            buffer << static_cast<unsigned char>(step);
            model.push_back(static_cast<unsigned char>(step));
            break;
        case 1: {
            const Bytes bytes(below(40), static_cast<unsigned char>(step));
            buffer.append(bytes.data(), static_cast<unsigned>(bytes.size()),
                          below(2) != 0 ? below(50) : SSimpleBuffer::none);
            model.insert(model.end(), bytes.begin(), bytes.end());
            break;
        }
        case 2: {
            const unsigned source = below(handles);
            buffer = buffers[source];
            model = models[source];
            break;
        }
        case 3: {
            const unsigned begin = below(model.size() + 1);
            const unsigned count = below(model.size() - begin + 1);
            const Bytes part(model.begin() + begin, model.begin() + begin + count);
            buffer.append(buffer.view().data() + begin, count, below(8));
            model.insert(model.end(), part.begin(), part.end());
            break;
        }
        case 4: {
            const unsigned length = below(60) + 1;
            unsigned char* const block = buffer.getBuffer(length);
            model.resize(length);
            std::iota(model.begin(), model.end(), static_cast<unsigned char>(step));
            std::copy(model.begin(), model.end(), block);
            buffer.releaseBuffer(length);
            break;
        }
        case 5: {
            unsigned char* const block = buffer.detach();
            EXPECT_EQ(Bytes(block, block + model.size()), model);
            SSimpleBuffer::dealloc(block);
            model.clear();
            break;
        }
        case 6:
            EXPECT_TRUE(buffer.reserve(below(200)));
            break;
        case 7:
            if (model.size() > 500) {
                buffer.empty();
                model.clear();
            }
            break;
        default: {
            const unsigned other = below(handles);
            EXPECT_EQ(buffer.compare(buffers[other]), model < models[other] ? -1 : models[other] < model);
            break;
        }
        }
        ASSERT_EQ(content(buffer), model) << "step " << step;
    }
}

TEST(SimpleBuffer, ThreadsShareCopyAndWriteTheirOwnHandles)
{
    const SSimpleBuffer shared = holding("from the first thread");
    std::atomic<int> damaged = 0;
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([copy = shared, &damaged] {
                for (int round = 0; round < 2000; ++round) {
                    SSimpleBuffer mine(copy);
                    const SSimpleBuffer nothing;
                    damaged += text(mine) != "from the first thread" || !nothing.isEmpty();
                    mine << '!';
                    damaged += mine.getNBytes() != copy.getNBytes() + 1;
                }
            });
        }
    }
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(text(shared), "from the first thread");
}

TEST(SimpleBuffer, ARecordIsWrittenInPlaceOnceTheOtherThreadLetsGo)
{
    for (int round = 0; round < 200; ++round) {
        OpenedBuffer mine = holding("handed back and forth");
        mine.reserve(1000);
        std::jthread reader([copy = SSimpleBuffer(mine)]() mutable {
            EXPECT_EQ(copy.getNBytes(), 21u);
            copy.empty();
        });
        while (mine.count() != 1) {
            std::this_thread::yield();
        }
        mine.getBuffer()[0] = 'H';
        EXPECT_EQ(text(mine), "Handed back and forth");
    }
}

namespace
{

/// A buffer of static storage that is used after everything else of this program has gone.
struct Lasting
{
    SSimpleBuffer buffer;
    ~Lasting()
    {
        const SSimpleBuffer late;
        buffer = late;
        if (!buffer.isEmpty() || !late.isEmpty()) {
            std::abort();
        }
    }
} lasting;

} // namespace

TEST(SimpleBuffer, StaticBuffersMayBeUsedToTheLast)
{
    put(lasting.buffer, "until the program ends");
    EXPECT_FALSE(lasting.buffer.isEmpty());
}
