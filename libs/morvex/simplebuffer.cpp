#include "morvex/simplebuffer.h"

#include "morvex/checks.h"
#include "morvex/sfilesys.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace MorvexA106
{

namespace
{

/// Reports what it is told to, unless the report itself runs out of memory: the buffer promises not to throw,
/// and the failure shows in its result.
template <class Say>
void quietly(Say say) noexcept
{
    try {
        say();
    } catch (...) { // NOLINT(bugprone-empty-catch): nobody is left to tell
    }
}

bool check(bool holds, const char* expression, int line = __builtin_LINE()) noexcept
{
    if (!holds) {
        quietly([&] {
            if (ShouldAssert(__FILE_NAME__)) {
                SAssert(__FILE_NAME__, line, expression);
            }
        });
    }
    return holds;
}

void removeBackingFile(const SAnsiString& name) noexcept
{
    quietly([&] {
        try {
            SFileSys::remove(name);
        } catch (const SFileSysException& failure) {
            MORVEX_TRACE("SSimpleBuffer could not delete file %1. Reason is: %2.\n", name, failure.summary());
        }
    });
}

void copyBytes(unsigned char* to, const unsigned char* from, std::size_t count) noexcept
{
    if (count != 0) {
        std::memcpy(to, from, count);
    }
}

int compareBytes(const unsigned char* left, const unsigned char* right, std::size_t count) noexcept
{
    return count != 0 ? std::memcmp(left, right, count) : 0;
}

} // namespace

SSimpleBuffer::SSimpleInternalBuffer::SSimpleInternalBuffer(long count, unsigned used, unsigned allocated,
                                                            unsigned char* content) noexcept
    : refCount(static_cast<std::int32_t>(count)),
      bytesUsed(used),
      bytesAllocated(allocated),
      data(content)
{}

SSimpleBuffer::SSimpleInternalBuffer::SSimpleInternalBuffer(const SSimpleInternalBuffer& other) noexcept
    : refCount(other.refCount.load()),
      bytesUsed(other.bytesUsed),
      bytesAllocated(other.bytesAllocated),
      data(other.data),
      mapped(other.mapped),
      deleteBackingFile(other.deleteBackingFile),
      backingFileName(other.backingFileName),
      fileHandle(other.fileHandle),
      mappingHandle(other.mappingHandle)
{}

SSimpleBuffer::SSimpleInternalBuffer&
SSimpleBuffer::SSimpleInternalBuffer::operator=(const SSimpleInternalBuffer& other) noexcept
{
    refCount.store(other.refCount.load());
    bytesUsed = other.bytesUsed;
    bytesAllocated = other.bytesAllocated;
    data = other.data;
    mapped = other.mapped;
    deleteBackingFile = other.deleteBackingFile;
    backingFileName = other.backingFileName;
    fileHandle = other.fileHandle;
    mappingHandle = other.mappingHandle;
    return *this;
}

SSimpleBuffer::_EmptyBuffer::_EmptyBuffer(long count, unsigned used, unsigned allocated,
                                          unsigned char last) noexcept
    : SSimpleInternalBuffer(count, used, allocated, nullptr),
      terminator(last)
{}

/// A record that its handle has left, released at the end of the scope: until then its bytes can be copied.
class SSimpleBuffer::Held
{
public:
    Held() = default;
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { ReleaseBuffer(m_record); }

    void hold(SSimpleInternalBuffer* record) noexcept { m_record = record; }

private:
    SSimpleInternalBuffer* m_record = nullptr;
};

SSimpleBuffer::SSimpleInternalBuffer& SSimpleBuffer::GetEmptyBuffer() noexcept
{
    alignas(_EmptyBuffer) static unsigned char storage[sizeof(_EmptyBuffer)];
    static _EmptyBuffer* const record = new (storage) _EmptyBuffer(emptyCount, 0, 1, 0);
    return *record;
}

SSimpleBuffer::SSimpleBuffer(unsigned capacity) noexcept : SSimpleBuffer()
{
    Held old;
    moveTo(capacity, 0, old);
}

SSimpleBuffer::SSimpleBuffer(unsigned char* bytes, unsigned n, bool adopt) noexcept : SSimpleBuffer()
{
    if (!check(bytes != nullptr && n != 0, "0")) {
        buffer = nullptr;
        return;
    }
    if (!adopt) {
        concat(bytes, n);
        return;
    }
    if (!check(allocBufferHeader(n), "buffer")) {
        dealloc(bytes);
        buffer = &GetEmptyBuffer();
        return;
    }
    buffer->data = bytes;
    buffer->bytesUsed = n;
}

SSimpleBuffer::SSimpleBuffer(SSimpleBuffer&& other) noexcept
    : buffer(std::exchange(other.buffer, &GetEmptyBuffer()))
{}

SSimpleBuffer& SSimpleBuffer::operator=(const SSimpleBuffer& other) noexcept
{
    setBuffer(other.buffer);
    return *this;
}

SSimpleBuffer& SSimpleBuffer::operator=(SSimpleBuffer&& other) noexcept
{
    if (this == &other || !check(other.buffer != nullptr, "buffer_ != 0")) {
        return *this;
    }
    Held old;
    old.hold(std::exchange(buffer, std::exchange(other.buffer, &GetEmptyBuffer())));
    return *this;
}

SSimpleBuffer::~SSimpleBuffer()
{
    releaseInternalBuffer();
}

void SSimpleBuffer::empty() noexcept
{
    setBuffer(&GetEmptyBuffer());
}

bool SSimpleBuffer::reserve(unsigned bytes) noexcept
{
    if (!check(buffer != nullptr, "buffer")) {
        return false;
    }
    if (isWritable() && hasRoomFor(bytes)) {
        return true;
    }
    // One more, since a request that meets the capacity exactly moves.
    Held old;
    return moveTo(std::max<std::uint64_t>(bytes, buffer->bytesUsed) + 1, buffer->bytesUsed, old);
}

/// Where `append` finds no room in place, or nothing to append.
void SSimpleBuffer::appendSlow(const unsigned char* bytes, unsigned n, unsigned headroom) noexcept
{
    if (bytes == nullptr || n == 0 || !check(buffer != nullptr, "buffer")) {
        return;
    }
    Held old; // the bytes may be its own
    if (makeRoom(std::uint64_t(buffer->bytesUsed) + n, headroom, old)) {
        write(bytes, n);
    }
}

bool SSimpleBuffer::operator==(const unsigned char* bytes) const noexcept
{
    return isEmpty() || (bytes != nullptr && compareBytes(data(), bytes, getNBytes()) == 0);
}

int SSimpleBuffer::compare(const SSimpleBuffer& other) const noexcept
{
    const unsigned mine = getNBytes();
    const unsigned others = other.getNBytes();
    const int order = buffer != other.buffer ? compareBytes(data(), other.data(), std::min(mine, others)) : 0;
    if (order != 0) {
        return order < 0 ? -1 : 1;
    }
    return mine == others ? 0 : mine < others ? -1 : 1;
}

unsigned char* SSimpleBuffer::getBuffer(unsigned minBytes) noexcept
{
    if (!check(buffer != nullptr, "buffer")) {
        return nullptr;
    }
    if (isWritable() && (minBytes == none || hasRoomFor(minBytes))) {
        return buffer->data;
    }
    const unsigned capacity = minBytes == none ? buffer->bytesUsed : std::max(minBytes, buffer->bytesUsed);
    Held old;
    return moveTo(capacity, buffer->bytesUsed, old) ? buffer->data : nullptr;
}

void SSimpleBuffer::releaseBuffer(unsigned bytesUsed) noexcept
{
    if (!check(buffer != nullptr, "buffer") || !check(!IsEmptyBuffer(*buffer), "!IsEmptyBuffer(*buffer)")) {
        return;
    }
    if (!check(isWritable(), "buffer->refCount.read() == 1")) {
        copyBufferBeforeWrite();
    }
    if (isWritable()) {
        terminateBuffer(bytesUsed);
    }
}

unsigned char* SSimpleBuffer::detach() noexcept
{
    if (buffer != nullptr && !IsEmptyBuffer(*buffer) && !isWritable()) {
        copyBeforeDetach();
    }
    if (buffer == nullptr || IsEmptyBuffer(*buffer)) {
        return nullptr;
    }
    unsigned char* const block = std::exchange(buffer->data, nullptr);
    releaseInternalBuffer();
    buffer = &GetEmptyBuffer();
    return block;
}

unsigned char* SSimpleBuffer::alloc(unsigned n) noexcept
{
    return static_cast<unsigned char*>(::operator new(n, std::nothrow));
}

void SSimpleBuffer::dealloc(unsigned char* block) noexcept
{
    ::operator delete(block);
}

void SSimpleBuffer::setBufferProtected(unsigned char* data) noexcept
{
    if (check(buffer != nullptr, "buffer")) {
        buffer->data = data;
    }
}

bool SSimpleBuffer::allocBufferHeader(unsigned capacity) noexcept
{
    buffer = new (std::nothrow) SSimpleInternalBuffer(1, 0, capacity, nullptr);
    return buffer != nullptr;
}

bool SSimpleBuffer::allocBuffer(unsigned capacity) noexcept
{
    if (!allocBufferHeader(capacity)) {
        return false;
    }
    buffer->data = alloc(capacity);
    if (buffer->data == nullptr) {
        buffer->bytesAllocated = 0;
    }
    return buffer->data != nullptr;
}

void SSimpleBuffer::concat(const unsigned char* bytes, unsigned n) noexcept
{
    if (bytes == nullptr || n == 0 || !check(buffer != nullptr, "buffer")) {
        return;
    }
    Held old;
    if (moveTo(std::uint64_t(buffer->bytesUsed) + n, buffer->bytesUsed, old)) {
        write(bytes, n);
    }
}

void SSimpleBuffer::setBuffer(SSimpleInternalBuffer* record) noexcept
{
    if (!check(record != nullptr, "buffer_ != 0") || record == buffer) {
        return;
    }
    countUp(*record);
    ReleaseBuffer(std::exchange(buffer, record));
}

void SSimpleBuffer::ReleaseBuffer(SSimpleInternalBuffer* record) noexcept
{
    if (record == nullptr || IsEmptyBuffer(*record) ||
        record->refCount.fetch_sub(1, std::memory_order_acq_rel) != 1) {
        return;
    }
    if (!record->IsMapped()) {
        dealloc(record->data);
    }
    if (record->deleteBackingFile) {
        removeBackingFile(record->backingFileName);
    }
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the empty record has been told apart by its count
    delete record;
}

void SSimpleBuffer::releaseInternalBuffer() noexcept
{
    ReleaseBuffer(std::exchange(buffer, nullptr));
}

void SSimpleBuffer::terminateBuffer(unsigned bytesUsed) noexcept
{
    if (check(buffer != nullptr, "buffer")) {
        check(bytesUsed <= buffer->bytesAllocated, "bytesUsed <= buffer->bytesAllocated");
        buffer->bytesUsed = std::min(bytesUsed, buffer->bytesAllocated);
    }
}

void SSimpleBuffer::copyOnAppend(unsigned needed, unsigned headroom) noexcept
{
    if (check(buffer != nullptr, "buffer")) {
        Held old;
        makeRoom(needed, headroom, old);
    }
}

void SSimpleBuffer::copyBufferBeforeWrite() noexcept
{
    if (check(buffer != nullptr, "buffer") && !isWritable()) {
        // Bytes behind the content count too: their writer may have lost the record's privacy before he could
        // state the new length.
        Held old;
        moveTo(buffer->bytesAllocated, buffer->bytesAllocated, old);
    }
}

/// Puts a private record with the content in place and leaves the one before in `old`. Without memory, or
/// for a capacity that 32 bits cannot hold, nothing changes.
bool SSimpleBuffer::moveTo(std::uint64_t capacity, std::uint64_t bytesToCopy, Held& old) noexcept
{
    SSimpleInternalBuffer* const before = buffer;
    if (capacity > UINT32_MAX || !allocBuffer(static_cast<unsigned>(capacity))) {
        old.hold(buffer != before ? buffer : nullptr);
        buffer = before;
        return check(false, "buffer->data");
    }
    old.hold(before);
    copyBytes(buffer->data, before->data, bytesToCopy);
    buffer->bytesUsed = before->bytesUsed;
    return true;
}

/// The same unless the record has room. The room that a caller is promised here is real, so that he may write
/// behind the content.
bool SSimpleBuffer::makeRoom(std::uint64_t needed, unsigned headroom, Held& old) noexcept
{
    const std::uint64_t required = std::max<std::uint64_t>(needed, buffer->bytesUsed);
    if (isWritable() && hasRoomFor(required)) {
        return true;
    }
    return moveTo(required + (headroom != none ? headroom : 0), buffer->bytesUsed, old);
}

/// What a copy of a handle that holds nothing comes to.
void SSimpleBuffer::shareNothing() noexcept
{
    buffer = &GetEmptyBuffer();
    check(false, "buffer_ != 0");
}

void SSimpleBuffer::write(const unsigned char* bytes, unsigned n) noexcept
{
    std::memmove(buffer->data + buffer->bytesUsed, bytes, n);
    terminateBuffer(buffer->bytesUsed + n);
}

void SSimpleBuffer::copyBeforeDetach() noexcept
{
    quietly([] { MORVEX_TRACE("SSimpleBuffer::detach() copying buffer before detaching"); });
    Held old;
    if (!moveTo(buffer->bytesUsed, buffer->bytesUsed, old)) {
        quietly([] { MORVEX_TRACE("DetachableSSimpleBuffer:: memory allocation failure?"); });
        empty();
    }
}

} // namespace MorvexA106
