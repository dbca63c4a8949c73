#pragma once

/// @file
/// The byte buffer.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <atomic>
#include <compare>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

namespace MorvexA106
{

/// Bytes in a counted record that is shared until it is written. No text: there is no terminating zero and a
/// zero byte is like any other.
///
///     SSimpleBuffer packet;
///     packet.reserve(64);
///     packet << 0x01 << 0x02;
///     packet.append(body, bodyBytes, SSimpleBuffer::none);
///     unsigned char* room = packet.getBuffer(packet.getNBytes() + 16); // write at most 16 bytes ...
///     packet.releaseBuffer(packet.getNBytes() + written);             // ... and say how many there are now
///
///     SSimpleBuffer report;
///     if (report.loadFromFile("report.bin", true, false))
///         send(report.view());
///
/// Copying a handle costs one atomic increment, an empty buffer costs no allocation.
///
/// Where the bytes are: on the heap, or in a view of a file that was loaded by mapping. A view is never written:
/// what writes the buffer moves its content to the heap first.
///
/// A mapped file that another process cuts short takes pages of the view with it. Whatever reads the content
/// through a call of this class, that is `compare` and the operators of comparison, `saveToFile`, `detach`, and
/// all calls that move the content to the heap, reads the file instead, and reports the loss as a trace, as
/// told at each. Whoever reads through a pointer, be it from `view`, the conversion to a pointer or one of these
/// handed to another buffer, touches the view: on Linux such a touch past the new end ends the process with
/// SIGBUS. On Windows nobody can cut a file that is mapped.
///
/// Growth: capacity is exact, so that a loop of one-byte appends copies everything each time, unless there is
/// `reserve` or headroom. Content that would fill the capacity to the last byte moves to a new record as well:
/// a request is met in place only when it is smaller than the capacity.
///
/// Failure: nothing is thrown. When memory is exhausted, or a size passes 32 bits, the assertion "buffer->data"
/// is reported and the buffer keeps its content; where a pointer is returned it is null. The same goes for
/// a mapped file that can no longer be read, but with a trace. A handle whose constructor refused its arguments
/// holds nothing: reading calls find it empty, writing calls report the assertion "buffer" and do nothing, until
/// `empty`, an assignment or a file gives it a record.
///
/// Threads: handles on one record may be read, copied and dropped on different threads; one handle must not be
/// written by one thread while another uses it, and that includes being copied.
class MORVEX_EXPORT SSimpleBuffer
{
public:
    /// As headroom: none. As a minimum: no minimum.
    static constexpr unsigned none = static_cast<unsigned>(-1);

    SSimpleBuffer() noexcept : buffer(&GetEmptyBuffer()) {}

    /// A private record of this capacity, without content; without memory, the empty buffer.
    explicit SSimpleBuffer(unsigned capacity) noexcept;

    /// With `adopt`, takes over a block of `n` bytes that came from `alloc`; otherwise copies the bytes. Without
    /// memory it is the empty buffer, and a block that was to be adopted is freed. Null and a length of 0 are
    /// refused: the assertion "0" is reported, the handle holds nothing and the caller keeps the block.
    SSimpleBuffer(unsigned char* bytes, unsigned n, bool adopt) noexcept;

    SSimpleBuffer(const SSimpleBuffer& other) noexcept : buffer(other.buffer)
    {
        if (buffer != nullptr) {
            countUp(*buffer);
        } else {
            shareNothing();
        }
    }

    /// The other handle is empty afterwards.
    SSimpleBuffer(SSimpleBuffer&& other) noexcept;
    SSimpleBuffer& operator=(const SSimpleBuffer& other) noexcept;
    SSimpleBuffer& operator=(SSimpleBuffer&& other) noexcept;

    /// The last handle of a record that owns a file removes the file. That it could not is only traced. So it
    /// is wherever a handle lets go of its record: `empty`, assignment, loading, and writes that move the content.
    virtual ~SSimpleBuffer();

    /// Takes the content of a file in place of its own, whole or not at all: true, or false with a trace or an
    /// assertion, and an empty buffer then. With `deleteWhenReleased` the buffer owns the file, which goes away
    /// with the last handle on this content. Files of 4 GiB - 1 bytes and more are refused, and so is what has no
    /// size, such as a folder or a pipe.
    ///
    /// Without `useMapping` the file is read: it is as long as it was at the beginning, and one that gets shorter
    /// meanwhile fails. An empty file gives an empty content.
    ///
    /// With `useMapping` the content is a view of the file, which costs the same for any size, and the file stays
    /// open until the last handle lets go. Until then others may read the file and not write it. An empty file
    /// can't be mapped, and fails. POSIX: the others are those who use this library; what any other program
    /// writes to the file shows in the content, and for the case that it cuts the file see above.
    ///
    /// The earlier content is let go of first, which removes a file that it alone owns, unless it is this very
    /// file: that one is kept. After a success it belongs to the buffer if this call says so, after a failure to
    /// nobody.
    [[nodiscard]] bool loadFromFile(const SAnsiString& name, bool useMapping,
                                    bool deleteWhenReleased) noexcept;

    /// Writes the content to a file that only its owner may use where it is new. False, with a trace, when the
    /// file can't be opened, or can't be written to its end. Without `overwrite` the file must not exist, and
    /// goes away again after a failure. With it an existing file is emptied first, so a failure leaves a part of
    /// the content there, and nothing of what it was: where the old content counts, hand `view` to
    /// `SFileSys::replaceFile`. A file that a buffer holds mapped is not overwritten, but refused. An empty
    /// buffer creates and changes nothing and returns true. That the bytes have reached the disk is not waited
    /// for. POSIX: a pipe waits for its reader.
    [[nodiscard]] bool saveToFile(const SAnsiString& name, bool overwrite) const noexcept;

    /// The content, null for the empty buffer; valid until the handle is next written. It is not terminated. Of
    /// a mapped file it is the view, with the risk that is told above.
    operator const unsigned char*() const noexcept { return data(); }

    /// The same with its length.
    std::span<const unsigned char> view() const noexcept { return {data(), getNBytes()}; }

    bool isEmpty() const noexcept { return getNBytes() == 0; }
    unsigned getNBytes() const noexcept { return buffer != nullptr ? buffer->bytesUsed : 0; }

    /// Capacity in bytes. The empty buffer says 1 though it has none.
    unsigned getNBytesAllocated() const noexcept { return buffer != nullptr ? buffer->bytesAllocated : 0; }

    /// Lets go of the record.
    void empty() noexcept;

    /// Makes the content private with room for this many bytes in all: appends up to there don't allocate.
    /// False without memory. To append a stream of unknown length at amortised cost, reserve twice the length
    /// each time, or pass the length as headroom.
    bool reserve(unsigned bytes) noexcept;

    /// Appends `n` bytes, which may be the buffer's own, those of a mapped file included. A move to a new record,
    /// which happens when the record is shared, or has no room to spare after the append, adds `headroom` to the
    /// new capacity. Null or no bytes change nothing.
    void append(const unsigned char* bytes, unsigned n, unsigned headroom) noexcept
    {
        unsigned char* const end = bytes != nullptr && n != 0 ? growInPlace(n) : nullptr;
        if (end == nullptr) {
            appendSlow(bytes, n, headroom);
            return;
        }
        std::memmove(end, bytes, n);
    }

    /// Without headroom.
    void append(unsigned char byte) noexcept
    {
        unsigned char* const end = growInPlace(1);
        if (end == nullptr) {
            appendSlow(&byte, 1, none);
            return;
        }
        *end = byte;
    }
    SSimpleBuffer& operator<<(unsigned char byte) noexcept
    {
        append(byte);
        return *this;
    }

    bool operator==(const SSimpleBuffer& other) const noexcept
    {
        return getNBytes() == other.getNBytes() && compare(other) == 0;
    }

    /// Compares as many bytes as this buffer holds: the caller vouches that so many stand at the pointer. A
    /// null pointer is equal to the empty buffer only. False when a mapped file can't be read any more.
    bool operator==(const unsigned char* bytes) const noexcept;

    /// By unsigned bytes, -1, 0 or 1; of two that are equal as far as both go, the shorter is the lesser. A mapped
    /// file that can't be read to the end counts as far as it can, and among equals by the length it had: so this
    /// remains an order. Handles on one record are equal unread.
    int compare(const SSimpleBuffer& other) const noexcept;
    bool operator<(const SSimpleBuffer& other) const noexcept { return compare(other) < 0; }
    std::strong_ordering operator<=>(const SSimpleBuffer& other) const noexcept
    {
        return compare(other) <=> 0;
    }

    /// The content for writing, in a private record on the heap, with room for `minBytes` bytes in all; `none`
    /// asks for no more than the content has. The content stays as it is, its length is changed by
    /// `releaseBuffer` alone. What stands behind the content is not initialised. Null without memory.
    ///
    /// | before              | call                              | result                                |
    /// |---------------------|-----------------------------------|---------------------------------------|
    /// | empty buffer        | `getBuffer(0)`, `getBuffer(none)` | null, still the empty buffer          |
    /// | empty buffer        | `getBuffer(1)`                    | a block of 1 byte, content of 0 bytes |
    /// | private, capacity 8 | `getBuffer(7)`                    | the block that it has                 |
    /// | private, capacity 8 | `getBuffer(8)`                    | a new block of 8 bytes                |
    /// | shared, 5 bytes     | `getBuffer(3)`                    | a new block of 5 bytes                |
    unsigned char* getBuffer(unsigned minBytes = none) noexcept;

    /// Ends what `getBuffer` began: the content has `bytesUsed` bytes now. Only for a handle that `getBuffer`
    /// has made private; what else may meet it is reported as an assertion, and harms no other buffer:
    ///
    /// | handle                         | what happens                                                |
    /// |--------------------------------|-------------------------------------------------------------|
    /// | on the empty record            | nothing changes                                             |
    /// | shared since `getBuffer`       | it gets a private copy of the whole block, written part     |
    /// |                                | included, of the new length; the others keep theirs         |
    /// | `bytesUsed` above the capacity | the length is the capacity                                  |
    void releaseBuffer(unsigned bytesUsed) noexcept;

    /// Hands the content to the caller, who frees it with `dealloc`, and leaves the handle empty. A private
    /// block changes hands as it is; one that is shared or mapped is copied, which is traced. Null for the
    /// empty buffer, and without memory for the copy; in the latter case, too, the handle is empty. Null as well
    /// when a mapped file can't be read any more; then the handle stays as it is.
    [[nodiscard]] unsigned char* detach() noexcept;

    /// A block of the heap, null on any failure.
    [[nodiscard]] static unsigned char* alloc(unsigned n) noexcept;

    /// Frees what came from `alloc` or `detach`; null is fine.
    static void dealloc(unsigned char* block) noexcept;

protected:
    /// The record of a content. All that stands on the heap, the block and the record alike, belongs to the
    /// handles that are counted.
    class MORVEX_EXPORT SSimpleInternalBuffer
    {
    public:
        SSimpleInternalBuffer(long count, unsigned used, unsigned allocated, unsigned char* content) noexcept;

        /// Copies every field, the count as it stands; no block is copied.
        SSimpleInternalBuffer(const SSimpleInternalBuffer& other) noexcept;
        SSimpleInternalBuffer& operator=(const SSimpleInternalBuffer& other) noexcept;

        bool IsMapped() const noexcept { return mapped; }

        /// Makes the content a view of the file. False when it can't, which is traced for most causes, and for
        /// the empty record and one that has a block or a view already, which is reported as an assertion.
        bool Map(const SAnsiString& name) noexcept;

        /// Lets go of the view and the file, and has no content then. On a record without a view the assertion
        /// "IsMapped()" is reported and nothing changes.
        void UnMap() noexcept;

        /// Handles that share the record; -1 in the record of all empty buffers.
        std::atomic<std::int32_t> refCount;
        std::uint32_t bytesUsed;
        std::uint32_t bytesAllocated;
        unsigned char* data;

        /// `data` is a view of a file, to be read only.
        bool mapped = false;
        bool deleteBackingFile = false;
        SAnsiString backingFileName;

        /// The system's handles of a mapped file; `UnMap` closes them. POSIX: the descriptor, and no second one.
        std::intptr_t fileHandle = -1;
        std::intptr_t mappingHandle = 0;

        /// The name by which the file was mapped; empty in a record without a view.
        SAnsiString mappedFileName;
    };

    /// The record of all empty buffers: never counted, never written, never destroyed, so that buffers of
    /// static storage may use it to the last. It has a capacity of 1 with null `data`, by which a request for
    /// 0 bytes counts as met.
    class MORVEX_EXPORT _EmptyBuffer : public SSimpleInternalBuffer
    {
    public:
        _EmptyBuffer(long count, unsigned used, unsigned allocated, unsigned char terminator) noexcept;

        unsigned char terminator;
    };

    static SSimpleInternalBuffer& GetEmptyBuffer() noexcept;

    /// By the count, not by the address.
    static bool IsEmptyBuffer(const SSimpleInternalBuffer& record) noexcept
    {
        return record.refCount.load(std::memory_order_relaxed) == emptyCount;
    }

    unsigned char* getBufferProtected() const noexcept { return buffer != nullptr ? buffer->data : nullptr; }

    /// Overwrites `data` and nothing else: the record frees the new block in its time, and never the old one. On
    /// the empty record and a mapped one it is reported as an assertion and changes nothing.
    void setBufferProtected(unsigned char* data) noexcept;

    /// Puts a new record with a count of 1 in place; what stood there is the caller's to release. Without
    /// memory the handle holds nothing, and the result is false.
    bool allocBufferHeader(unsigned capacity) noexcept;

    /// The same with a block of that capacity. False without memory: then there is no record, or one of
    /// capacity 0 without a block.
    bool allocBuffer(unsigned capacity) noexcept;

    /// Appends, and moves to a new record of exactly the size in every case.
    void concat(const unsigned char* bytes, unsigned n) noexcept;

    /// Shares the record; null is reported as an assertion and changes nothing.
    void setBuffer(SSimpleInternalBuffer* record) noexcept;

    /// Counts down, and destroys a record that nobody holds, with its block and its file.
    static void ReleaseBuffer(SSimpleInternalBuffer* record) noexcept;
    void releaseInternalBuffer() noexcept;

    /// Records the length of the content; above the capacity it is reported as an assertion and cut. There is
    /// no terminator. On the empty record and a mapped one it is reported and changes nothing.
    void terminateBuffer(unsigned bytesUsed) noexcept;

    /// Makes the record private with a capacity above `needed`; a new one has exactly the larger of `needed`
    /// and the content's length, and the headroom.
    void copyOnAppend(unsigned needed, unsigned headroom) noexcept;

    /// Makes the record private, capacity and all bytes kept.
    void copyBufferBeforeWrite() noexcept;

    /// Null only in a handle whose constructor refused its arguments.
    SSimpleInternalBuffer* buffer;

private:
    static constexpr std::int32_t emptyCount = -1;

    class Held;

    const unsigned char* data() const noexcept { return getBufferProtected(); }

    /// True for the empty record as well, whose capacity keeps writers away. An acquire load, since the
    /// threads that let go of the record have read its bytes.
    bool isWritable() const noexcept
    {
        return buffer != nullptr && buffer->refCount.load(std::memory_order_acquire) <= 1 && !buffer->mapped;
    }

    /// Where `n` bytes more go, which count as content from now on; null where there is no room for them in place.
    /// A mapped record never has any.
    unsigned char* growInPlace(unsigned n) noexcept
    {
        SSimpleInternalBuffer* const record = buffer;
        if (record == nullptr || record->refCount.load(std::memory_order_acquire) > 1) {
            return nullptr;
        }
        const unsigned used = record->bytesUsed;
        if (std::uint64_t(used) + n >= record->bytesAllocated) {
            return nullptr;
        }
        record->bytesUsed = used + n;
        return record->data + used;
    }
    bool hasRoomFor(std::uint64_t bytes) const noexcept { return bytes < buffer->bytesAllocated; }
    static void countUp(SSimpleInternalBuffer& record) noexcept
    {
        if (!IsEmptyBuffer(record)) {
            record.refCount.fetch_add(1, std::memory_order_relaxed);
        }
    }
    void shareNothing() noexcept;
    void appendSlow(const unsigned char* bytes, unsigned n, unsigned headroom) noexcept;
    bool replaceRecord(std::uint64_t capacity, Held& old) noexcept;
    bool copyFrom(std::uint64_t bytes, Held& old) noexcept;
    bool mayKeepRecord() const noexcept;
    bool replaceBlock(std::uint64_t capacity, std::uint64_t bytesToCopy, Held& old) noexcept;
    bool moveTo(std::uint64_t capacity, std::uint64_t bytesToCopy, Held& old) noexcept;
    bool makeRoom(std::uint64_t needed, unsigned headroom, Held& old) noexcept;
    std::optional<std::size_t> placeInView(const unsigned char* bytes, unsigned n) const noexcept;
    void write(const unsigned char* bytes, unsigned n) noexcept;
    int compareThroughFiles(const SSimpleBuffer& other) const noexcept;
    void copyBeforeDetach() noexcept;
    bool hasOwnBlock() const noexcept;
    bool ownsAlone(const SAnsiString& file) const noexcept;
    bool readFile(const SAnsiString& name) noexcept;
    bool readOpened(const SAnsiString& name);
    bool mapFile(const SAnsiString& name) noexcept;
};

} // namespace MorvexA106
