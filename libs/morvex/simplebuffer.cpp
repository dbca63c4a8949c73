#include "morvex/simplebuffer.h"

#include "morvex/checks.h"
#include "morvex/sfilesys.h"
#include "morvex/simplebuffercontent.h"
#include "morvex/simplebufferfile.h"
#include "platform/filesystem.h"

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

void removeFile(const SAnsiString& name) noexcept
{
    quietly([&] {
        try {
            SFileSys::remove(name);
        } catch (const SFileSysException& failure) {
            MORVEX_TRACE("SSimpleBuffer could not delete file %1. Reason is: %2.\n", name, failure.summary());
        }
    });
}

void reportUnread(const SAnsiString& file, std::uint64_t position,
                  const Platform::SystemError& error) noexcept
{
    quietly([&] {
        MORVEX_TRACE("SSimpleBuffer could not read mapped file %1 from byte %2 on. Reason is: %3.\n", file,
                     static_cast<unsigned long long>(position),
                     error ? Platform::errorText(error).c_str() : "It has become shorter");
    });
}

void reportUnmapped(const SAnsiString& file, const Platform::MappingOutcome& failure) noexcept
{
    quietly([&] {
        if (failure.step == Platform::MappingStep::open) {
            MORVEX_TRACE("could not open file %1 for memory-mapped reading. Errno is %2", file,
                         failure.error.number);
        } else if (failure.step == Platform::MappingStep::mapping) {
            MORVEX_TRACE("could not create file mapping on file %1. Errno is %2", file, failure.error.number);
        }
    });
}

/// Works on a file. A failure of the file goes to the report, one of memory is reported as an assertion.
template <class Work, class Report>
void attempt(Work work, Report report) noexcept
{
    quietly([&] {
        try {
            work();
        } catch (const SFileException& failure) {
            report(failure);
        } catch (...) {
            check(false, "false");
        }
    });
}

bool openToSave(SFile& file, bool overwrite, std::intptr_t mapped) noexcept
{
    attempt([&] { SimpleBufferFile::openToSave(file, overwrite, mapped); },
            [&](const SFileException& failure) {
                MORVEX_TRACE("SSimpleBuffer::saveToFile: could not open file %1 for writing.  Reason: %2.",
                             file.getFilename(), failure.toString());
            });
    return file.isOpened();
}

/// True when the file took all that the content gave.
bool save(SimpleBufferReader& content, SFile& file) noexcept
{
    bool written = false;
    attempt(
        [&] {
            for (auto part = content.next(); !part.empty(); part = content.next()) {
                SimpleBufferFile::writeAll(file, part);
            }
            written = true;
        },
        [&](const SFileException& failure) {
            MORVEX_TRACE("SSimpleBuffer::saveToFile: could not write to file %1.  Reason: %2",
                         file.getFilename(), failure.toString());
        });
    return written;
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

// The record's class is protected, so what is done with records here takes it as a parameter.

template <class Record>
SimpleBufferReader readerOf(const Record& record) noexcept
{
    return SimpleBufferReader({record.bytesUsed, record.data, record.mapped, record.fileHandle});
}

template <class Record>
void reportUnread(const Record& record, const SimpleBufferReader& reader) noexcept
{
    if (reader.failed()) {
        reportUnread(record.mappedFileName, reader.position(), reader.error());
    }
}

template <class Record>
bool copyContent(const Record& from, unsigned char* to, std::size_t bytes) noexcept
{
    if (!from.mapped) {
        copyBytes(to, from.data, bytes);
        return true;
    }
    const auto read = Platform::readMapped(from.fileHandle, 0, to, bytes);
    if (read.count < bytes) {
        reportUnread(from.mappedFileName, read.count, read.error);
    }
    return read.count == bytes;
}

} // namespace

bool SSimpleBuffer::SSimpleInternalBuffer::Map(const SAnsiString& name) noexcept
{
    if (!check(data == nullptr, "data == 0") || !check(!IsEmptyBuffer(*this), "!IsEmptyBuffer(*this)")) {
        return false;
    }
    Platform::FileMapping mapping;
    if (const auto failure = Platform::mapFile(name, mapping)) {
        reportUnmapped(name, failure);
        fileHandle = -1;
        mappingHandle = failure.step == Platform::MappingStep::view ? -1 : 0;
        return false;
    }
    data = mapping.view;
    bytesAllocated = bytesUsed = mapping.size;
    fileHandle = mapping.file;
    mappingHandle = mapping.mapping;
    mappedFileName = name;
    mapped = true;
    return true;
}

void SSimpleBuffer::SSimpleInternalBuffer::UnMap() noexcept
{
    if (!check(IsMapped(), "IsMapped()")) {
        return;
    }
    Platform::unmapFile({data, bytesAllocated, fileHandle, mappingHandle});
    data = nullptr;
    bytesAllocated = bytesUsed = 0;
    fileHandle = -1;
    mappingHandle = 0;
    mapped = false;
    mappedFileName = SAnsiString();
}

/// What a handle has left, a record or only its block, released at the end of the scope: until then its bytes can be
/// copied.
class SSimpleBuffer::Held
{
public:
    Held() = default;
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held()
    {
        ReleaseBuffer(m_record);
        dealloc(m_block);
    }

    void hold(SSimpleInternalBuffer* record) noexcept { m_record = record; }
    void hold(unsigned char* block) noexcept { m_block = block; }
    SSimpleInternalBuffer* record() const noexcept { return m_record; }

private:
    SSimpleInternalBuffer* m_record = nullptr;
    unsigned char* m_block = nullptr;
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
    const auto place = placeInView(bytes, n);
    Held old; // the bytes may be its own
    if (makeRoom(std::uint64_t(buffer->bytesUsed) + n, headroom, old)) {
        write(place ? buffer->data + *place : bytes, n);
    }
}

bool SSimpleBuffer::operator==(const unsigned char* bytes) const noexcept
{
    if (isEmpty() || bytes == nullptr) {
        return isEmpty();
    }
    if (!buffer->mapped) {
        return std::memcmp(buffer->data, bytes, buffer->bytesUsed) == 0;
    }
    auto content = readerOf(*buffer);
    const bool same = isContentAt(content, bytes);
    reportUnread(*buffer, content);
    return same;
}

int SSimpleBuffer::compare(const SSimpleBuffer& other) const noexcept
{
    const unsigned mine = getNBytes();
    const unsigned others = other.getNBytes();
    const unsigned both = buffer != other.buffer ? std::min(mine, others) : 0;
    if (both != 0 && (buffer->mapped || other.buffer->mapped)) {
        return compareThroughFiles(other);
    }
    const int order = compareBytes(data(), other.data(), both);
    if (order != 0) {
        return order < 0 ? -1 : 1;
    }
    return mine == others ? 0 : mine < others ? -1 : 1;
}

int SSimpleBuffer::compareThroughFiles(const SSimpleBuffer& other) const noexcept
{
    auto mine = readerOf(*buffer);
    auto others = readerOf(*other.buffer);
    const int order = compareContents(mine, others);
    reportUnread(*buffer, mine);
    reportUnread(*other.buffer, others);
    return order;
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
    if (buffer == nullptr || IsEmptyBuffer(*buffer) || !isWritable()) {
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

/// Whether block and length of the record may be set; reported where not. The empty record is everybody's. A view is
/// unmapped by its address, and behind a smaller length an append would write into it.
bool SSimpleBuffer::hasOwnBlock() const noexcept
{
    return check(buffer != nullptr, "buffer") && check(!IsEmptyBuffer(*buffer), "!IsEmptyBuffer(*buffer)") &&
           check(!buffer->IsMapped(), "!buffer->IsMapped()");
}

void SSimpleBuffer::setBufferProtected(unsigned char* data) noexcept
{
    if (hasOwnBlock()) {
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
    const auto place = placeInView(bytes, n);
    Held old;
    if (moveTo(std::uint64_t(buffer->bytesUsed) + n, buffer->bytesUsed, old)) {
        write(place ? buffer->data + *place : bytes, n);
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
    if (record->IsMapped()) {
        record->UnMap();
    } else {
        dealloc(record->data);
    }
    if (record->deleteBackingFile) {
        removeFile(record->backingFileName);
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
    if (hasOwnBlock()) {
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

/// Puts a private record without content in place and leaves the one before in `old`. Without memory, or for
/// a capacity that 32 bits cannot hold, nothing changes.
bool SSimpleBuffer::replaceRecord(std::uint64_t capacity, Held& old) noexcept
{
    SSimpleInternalBuffer* const before = buffer;
    if (capacity > UINT32_MAX || !allocBuffer(static_cast<unsigned>(capacity))) {
        old.hold(buffer != before ? buffer : nullptr);
        buffer = before;
        return check(false, "buffer->data");
    }
    old.hold(before);
    return true;
}

/// Gives the record the content of the one before, which comes back when it can't be read.
bool SSimpleBuffer::copyFrom(std::uint64_t bytes, Held& old) noexcept
{
    SSimpleInternalBuffer* const before = old.record();
    if (!copyContent(*before, buffer->data, bytes)) {
        old.hold(std::exchange(buffer, before));
        return false;
    }
    buffer->bytesUsed = before->bytesUsed;
    return true;
}

/// Whether a new record would be like this one, but for its block. A file that the record owns goes away with it.
bool SSimpleBuffer::mayKeepRecord() const noexcept
{
    return isWritable() && !IsEmptyBuffer(*buffer) && !buffer->deleteBackingFile;
}

bool SSimpleBuffer::replaceBlock(std::uint64_t capacity, std::uint64_t bytesToCopy, Held& old) noexcept
{
    unsigned char* const block = capacity <= UINT32_MAX ? alloc(static_cast<unsigned>(capacity)) : nullptr;
    if (block == nullptr) {
        return check(false, "buffer->data");
    }
    copyBytes(block, buffer->data, bytesToCopy);
    old.hold(std::exchange(buffer->data, block));
    buffer->bytesAllocated = static_cast<unsigned>(capacity);
    return true;
}

/// Puts a private block with the content in place and leaves the one before in `old`, or changes nothing.
bool SSimpleBuffer::moveTo(std::uint64_t capacity, std::uint64_t bytesToCopy, Held& old) noexcept
{
    return mayKeepRecord() ? replaceBlock(capacity, bytesToCopy, old)
                           : replaceRecord(capacity, old) && copyFrom(bytesToCopy, old);
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

/// Where in its own mapped content the bytes stand: they are taken from the copy of it then, not from the view.
std::optional<std::size_t> SSimpleBuffer::placeInView(const unsigned char* bytes, unsigned n) const noexcept
{
    const auto place = reinterpret_cast<std::uintptr_t>(bytes) - reinterpret_cast<std::uintptr_t>(data());
    const bool within = buffer->mapped && place < buffer->bytesUsed && n <= buffer->bytesUsed - place;
    return within ? std::optional<std::size_t>(place) : std::nullopt;
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
    if (replaceRecord(buffer->bytesUsed, old)) {
        copyFrom(old.record()->bytesUsed, old);
        return;
    }
    quietly([] { MORVEX_TRACE("DetachableSSimpleBuffer:: memory allocation failure?"); });
    empty();
}

bool SSimpleBuffer::loadFromFile(const SAnsiString& name, bool useMapping, bool deleteWhenReleased) noexcept
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may stand in the record that goes away now
    const SAnsiString file(name);
    if (ownsAlone(file)) {
        buffer->deleteBackingFile = false;
    }
    empty();
    if (useMapping ? !mapFile(file) : !readFile(file)) {
        return false;
    }
    buffer->deleteBackingFile = deleteWhenReleased;
    buffer->backingFileName = deleteWhenReleased ? file : SAnsiString();
    return true;
}

bool SSimpleBuffer::saveToFile(const SAnsiString& name, bool overwrite) const noexcept
{
    if (isEmpty()) {
        return true;
    }
    SFile file(name);
    if (!openToSave(file, overwrite, buffer->fileHandle)) {
        return false;
    }
    auto content = readerOf(*buffer);
    const bool saved = save(content, file) && !content.failed();
    reportUnread(*buffer, content);
    file.close();
    if (!saved && !overwrite) {
        removeFile(name);
    }
    return saved;
}

bool SSimpleBuffer::ownsAlone(const SAnsiString& file) const noexcept
{
    return buffer != nullptr && buffer->deleteBackingFile &&
           buffer->refCount.load(std::memory_order_acquire) == 1 &&
           Platform::isSameFile(buffer->backingFileName, file);
}

bool SSimpleBuffer::readFile(const SAnsiString& name) noexcept
{
    bool read = false;
    attempt([&] { read = readOpened(name); },
            [&](const SFileException& failure) {
                MORVEX_TRACE("SSimpleBuffer::loadFromFile: could not read from file %1. Reason: %2\n", name,
                             failure.toString());
            });
    if (!read) {
        empty();
    }
    return read;
}

bool SSimpleBuffer::readOpened(const SAnsiString& name)
{
    SFile file(name);
    const unsigned size = SimpleBufferFile::openToLoad(file);
    Held before;
    if (!replaceRecord(size, before)) {
        return false;
    }
    SimpleBufferFile::readAll(file, {buffer->data, size});
    terminateBuffer(size);
    return true;
}

/// After a failure there is a record without content.
bool SSimpleBuffer::mapFile(const SAnsiString& name) noexcept
{
    if (!check(allocBufferHeader(0), "buffer")) {
        buffer = &GetEmptyBuffer();
        return false;
    }
    return buffer->Map(name);
}

} // namespace MorvexA106
