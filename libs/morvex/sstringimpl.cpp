#include "morvex/sstringimpl.h"

#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "morvex/multibyte.h"
#include "morvex/textunits.h"
#include "platform/collation.h"
#include "platform/text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace MorvexA106
{

using TextUnits::compareUnits;
using TextUnits::copyUnits;
using TextUnits::lengthOf;
using TextUnits::lengthWithin;
using TextUnits::orEmpty;
using TextUnits::sign;
using TextUnits::Walker;

namespace
{

/// Slack of an edit that needs room, in units.
constexpr std::uint64_t slack = 32;

/// The largest capacity; all ones marks the shared empty buffer.
constexpr std::uint64_t largestCapacity = UINT32_MAX - 1u;

} // namespace

// --- buffers

template <class T, int M>
constinit const typename SString_t<T, M>::_EmptyBuffer SString_t<T, M>::s_emptyBuffer;

/// The size of a buffer's block; refuses what 32 bits of capacity, or this system's memory, cannot hold. Sizes are
/// reckoned in 64 bits everywhere, so that nothing wraps before it gets here.
template <class T, int M>
std::size_t SString_t<T, M>::blockBytes(std::uint64_t capacity)
{
    const std::uint64_t bytes = sizeof(SStringBuffer) + capacity * sizeof(T);
    if (capacity > largestCapacity || bytes > SIZE_MAX) {
        throw SBadAlloc();
    }
    return static_cast<std::size_t>(bytes);
}

template <class T, int M>
typename SString_t<T, M>::SStringBuffer* SString_t<T, M>::makeBuffer(std::uint64_t capacity)
{
    static_assert(sizeof(SStringBuffer) == 12 && sizeof(SString_t) == sizeof(void*));
    void* block = std::malloc(blockBytes(capacity));
    if (block == nullptr) {
        throw SBadAlloc();
    }
    auto* buffer = new (block) SStringBuffer(1, 0, static_cast<std::uint32_t>(capacity));
    *buffer->getBuffer() = 0;
    return buffer;
}

template <class T, int M>
void SString_t<T, M>::growBuffer(std::uint64_t capacity)
{
    // Nobody else may look at a private buffer, so its bytes can be moved.
    void* block = std::realloc(static_cast<void*>(m_buffer), blockBytes(capacity));
    if (block == nullptr) {
        throw SBadAlloc();
    }
    m_buffer = static_cast<SStringBuffer*>(block);
    m_buffer->m_capacity = static_cast<std::uint32_t>(capacity);
}

/// Puts a private copy of the text in place, in a buffer of that capacity.
template <class T, int M>
void SString_t<T, M>::replaceBuffer(std::uint64_t capacity)
{
    SStringBuffer* old = m_buffer;
    m_buffer = makeBuffer(capacity);
    copyUnits(m_buffer->getBuffer(), old->getBuffer(), old->m_length);
    terminateBuffer(old->m_length);
    ReleaseBuffer(old);
}

template <class T, int M>
void SString_t<T, M>::allocBuffer(std::uint64_t units)
{
    m_buffer = makeBuffer(units + slack);
}

template <class T, int M>
void SString_t<T, M>::ReleaseBuffer(SStringBuffer* buffer) noexcept
{
    if (buffer == nullptr || IsEmptyBuffer(buffer)) {
        return;
    }
    // The last holder needs no locked instruction: nobody else can raise the count any more.
    if (buffer->m_refCount.load(std::memory_order_acquire) == 1 ||
        buffer->m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        std::free(static_cast<void*>(buffer));
    }
}

template <class T, int M>
void SString_t<T, M>::terminateBuffer(std::size_t units) noexcept
{
    m_buffer->getBuffer()[units] = 0;
    m_buffer->m_length = static_cast<std::uint32_t>(units);
}

template <class T, int M>
void SString_t<T, M>::copyOnWrite(std::uint64_t units)
{
    if (IsEmptyBuffer(m_buffer)) {
        allocBuffer(units + 1);
        return;
    }
    units = std::max<std::uint64_t>(units, m_buffer->m_length);
    if (!isPrivate()) {
        replaceBuffer(units + 1 + slack);
    } else if (units + 1 > m_buffer->m_capacity) {
        growBuffer(units + slack + 1);
        terminateBuffer(m_buffer->m_length);
    }
}

template <class T, int M>
T* SString_t<T, M>::concatAllocSlow(std::uint64_t units)
{
    if (units == 0) {
        return nullptr;
    }
    const std::uint64_t length = m_buffer->m_length;
    const std::uint64_t needed = length + units + 1;
    if (needed < units || needed > largestCapacity) {
        throw SBadAlloc();
    }
    const std::uint64_t doubled = std::min(2 * length + units + 1, largestCapacity);
    if (m_buffer->m_capacity < needed && isPrivate()) {
        growBuffer(doubled);
    } else if (m_buffer->m_capacity < needed) {
        replaceBuffer(std::min(doubled + slack, largestCapacity));
    } else if (!isPrivate()) {
        replaceBuffer(std::min(needed + slack, largestCapacity));
    }
    terminateBuffer(static_cast<std::size_t>(length + units));
    return m_buffer->getBuffer() + length;
}

template <class T, int M>
bool SString_t<T, M>::holds(const T* text) const noexcept
{
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    const auto begin = reinterpret_cast<std::uintptr_t>(getString());
    return !IsEmptyBuffer(m_buffer) && address >= begin &&
           address < begin + std::uintptr_t{m_buffer->m_capacity} * sizeof(T);
}

/// Where a cursor stands, in units; a cursor that is not in this text stands at its end.
template <class T, int M>
std::size_t SString_t<T, M>::offsetOf(const iterator& position) const noexcept
{
    const T* cursor = position.getCursor();
    const std::size_t offset = cursor == getString() ? 0
                               : holds(cursor)       ? static_cast<std::size_t>(cursor - getString())
                                                     : m_buffer->m_length;
    return std::min<std::size_t>(offset, m_buffer->m_length);
}

// --- construction and assignment

template <class T, int M>
SString_t<T, M>::SString_t(const T* text) : m_buffer(GetEmptyBuffer())
{
    const std::size_t length = lengthOf(text);
    if (length != 0) {
        allocBuffer(length + 1);
        copyUnits(m_buffer->getBuffer(), text, length);
        terminateBuffer(length);
    }
}

template <class T, int M>
SString_t<T, M>::SString_t(const character& single) : SString_t()
{
    concat(single);
}

template <class T, int M>
SString_t<T, M>::SString_t(const T* text, unsigned int count) : SString_t()
{
    const std::size_t taken = lengthWithin(text, count);
    allocBuffer(std::uint64_t{count} + 1);
    copyUnits(m_buffer->getBuffer(), text, taken);
    std::fill_n(m_buffer->getBuffer() + taken, count - taken, T{0});
    terminateBuffer(count);
}

/// A string of exactly these units, zero units included.
template <class T, int M>
SString_t<T, M> SString_t<T, M>::fromUnits(const T* text, std::size_t count)
{
    SString_t result;
    result.allocBuffer(count + 1);
    copyUnits(result.m_buffer->getBuffer(), text, count);
    result.terminateBuffer(count);
    return result;
}

template <class T, int M>
bool SString_t<T, M>::copyFrom(const T* text)
{
    if (text == getString()) {
        return true;
    }
    const std::size_t length = lengthOf(text);
    if (length == 0) {
        empty();
        return true;
    }
    const bool own = holds(text);
    const std::size_t offset = own ? static_cast<std::size_t>(text - getString()) : 0;
    copyOnWrite(length);
    copyUnits(m_buffer->getBuffer(), own ? getString() + offset : text, length);
    terminateBuffer(length);
    return true;
}

template <class T, int M>
bool SString_t<T, M>::fromSChar(const character& single)
{
    *this = SString_t(single);
    return true;
}

// --- size and position

template <class T, int M>
unsigned int SString_t<T, M>::getNChars() const noexcept
{
    if constexpr (M == 0) {
        return Multibyte::countCharacters(getString());
    } else {
        return m_buffer->m_length;
    }
}

template <class T, int M>
unsigned int SString_t<T, M>::getCharIndex(const iterator& position) const
{
    iterator walk(*this);
    unsigned int index = 0;
    for (; walk < position && !walk.isAtEnd(); ++walk) {
        ++index;
    }
    MORVEX_CHECK(walk == position, "iter2 == iter");
    return index;
}

template <class T, int M>
void SString_t<T, M>::setBufferSize(unsigned int units)
{
    copyOnWrite(std::uint64_t{units} + 1);
}

// --- editing

/// Replaces `oldUnits` units at the offset by as many units of undefined content as asked for, in a private
/// buffer, moving the rest of the text.
template <class T, int M>
void SString_t<T, M>::openGap(std::size_t offset, std::size_t oldUnits, std::size_t newUnits)
{
    const std::size_t length = m_buffer->m_length;
    const std::uint64_t newLength = std::uint64_t{length} + newUnits - oldUnits;
    copyOnWrite(newLength);
    T* gap = m_buffer->getBuffer() + offset;
    if (oldUnits != newUnits) {
        copyUnits(gap + newUnits, gap + oldUnits, length - offset - oldUnits);
    }
    terminateBuffer(static_cast<std::size_t>(newLength));
}

template <class T, int M>
void SString_t<T, M>::setAt(iterator& position, const character& replacement)
{
    if (position.isAtEnd() || *position == replacement) {
        return;
    }
    unsigned int oldSize = 1;
    unsigned int newSize = 1;
    if constexpr (M == 0) {
        oldSize = (*position).getLength();
        newSize = replacement.getLength();
        if (oldSize == UINT32_MAX || newSize == UINT32_MAX) {
            MORVEX_FAIL("SString::setAt: Cannot set because c is not a valid character in this locale");
            return;
        }
    }
    const std::size_t offset = offsetOf(position);
    if (offset + oldSize > m_buffer->m_length) { // no cursor of this text
        MORVEX_CHECK(oldSize == newSize, "(ptrdiff_t)length > (cursor + iNumNativeChars - getString ())");
        return;
    }
    openGap(offset, oldSize, newSize);
    copyUnits(m_buffer->getBuffer() + offset, replacement.getUnits(), newSize);
    position = iterator(getString() + offset);
}

template <class T, int M>
void SString_t<T, M>::setAt(unsigned int index, const character& replacement)
{
    iterator position = cursorAt(index);
    setAt(position, replacement);
}

template <class T, int M>
void SString_t<T, M>::insertChar(iterator& position, const character& inserted)
{
    insertChars(position, SString_t(inserted));
}

template <class T, int M>
void SString_t<T, M>::insertChar(unsigned int index, const character& inserted)
{
    iterator position = cursorAt(index);
    insertChar(position, inserted);
}

template <class T, int M>
void SString_t<T, M>::insertChars(iterator& position, const SString_t& inserted)
{
    const SString_t text(inserted); // holds on to its text, should it be this very string's
    const std::size_t length = text.m_buffer->m_length;
    if (length == 0) {
        return;
    }
    const std::size_t offset = offsetOf(position);
    openGap(offset, 0, length);
    copyUnits(m_buffer->getBuffer() + offset, text.getString(), length);
    position = iterator(getString() + offset);
}

template <class T, int M>
void SString_t<T, M>::insertChars(unsigned int index, const SString_t& inserted)
{
    iterator position = cursorAt(index);
    insertChars(position, inserted);
}

template <class T, int M>
void SString_t<T, M>::deleteChars(iterator& position, unsigned int count)
{
    iterator end(position);
    end += count;
    if (end == position) {
        return;
    }
    const std::size_t offset = offsetOf(position);
    auto units = static_cast<std::size_t>(end - position);
    MORVEX_CHECK(offset + units <= m_buffer->m_length, "byteN + nBytesToDelete <= nBytesInString");
    units = std::min(units, m_buffer->m_length - offset);
    openGap(offset, units, 0);
    position = iterator(getString() + offset);
}

template <class T, int M>
void SString_t<T, M>::deleteChars(unsigned int index, unsigned int count)
{
    iterator position = cursorAt(index);
    deleteChars(position, count);
}

// --- appending

template <class T, int M>
void SString_t<T, M>::concatUnits(const T* text, std::size_t taken, std::size_t count)
{
    // Text of our own is found again by its offset where the buffer moves.
    const bool moves = !hasRoomFor(count) && holds(text);
    const std::size_t offset = moves ? static_cast<std::size_t>(text - getString()) : 0;
    if (T* gap = concatAllocHelper(count)) {
        copyUnits(gap, moves ? getString() + offset : text, taken);
        std::fill(gap + taken, gap + count, T{0});
    }
}

template <class T, int M>
void SString_t<T, M>::concat(const character& single)
{
    if constexpr (M == 0) {
        const std::size_t length = lengthWithin(single.getUnits(), Platform::maxCharacterBytes);
        concatUnits(single.getUnits(), length, length);
    } else {
        concat(single.getChar());
    }
}

template <class T, int M>
void SString_t<T, M>::concat(const T* text, unsigned int count)
{
    concatUnits(text, lengthWithin(text, count), count);
}

template <class T, int M>
void SString_t<T, M>::concat(const iterator& first, const iterator& last)
{
    if (first < last) {
        const auto count = static_cast<std::size_t>(last - first);
        concatUnits(first.getCursor(), count, count);
    }
}

template <class T, int M>
void SString_t<T, M>::concatFromAscii(const char* bytes, unsigned int count)
{
    if constexpr (sizeof(T) == 1) {
        concatUnits(bytes, count, count);
    } else if (T* gap = concatAllocHelper(count)) {
        std::transform(bytes, bytes + count, gap, [](char byte) { return static_cast<unsigned char>(byte); });
    }
}

template <class T, int M>
SString_t<T, M> SString_t<T, M>::operator+(const SString_t& text) const
{
    SString_t result(*this);
    result.concat(text);
    return result;
}

template <class T, int M>
SString_t<T, M> SString_t<T, M>::operator+(const T* text) const
{
    SString_t result(*this);
    result.concat(text);
    return result;
}

template <class T, int M>
SString_t<T, M> SString_t<T, M>::operator+(const character& single) const
{
    SString_t result(*this);
    result.concat(single);
    return result;
}

// --- extraction

template <class T, int M>
SString_t<T, M> SString_t<T, M>::left(const iterator& end) const
{
    return mid(iterator(*this), end);
}

template <class T, int M>
SString_t<T, M> SString_t<T, M>::right(unsigned int count) const
{
    const unsigned int present = getNChars();
    return count >= present ? *this : mid(present - count);
}

template <class T, int M>
SString_t<T, M> SString_t<T, M>::mid(const iterator& begin, unsigned int count) const
{
    iterator end(begin);
    end += count;
    return mid(begin, end);
}

template <class T, int M>
SString_t<T, M> SString_t<T, M>::mid(const iterator& first, const iterator& last) const
{
    if (!(first < last)) {
        return {};
    }
    return fromUnits(first.getCursor(), static_cast<std::size_t>(last - first));
}

// --- trimming and case

template <class T, int M>
void SString_t<T, M>::trimLeft()
{
    const Walker<T, M> walker;
    const T* first = getString();
    while (*first != 0 && walker.isSpace(first)) {
        first += walker.step(first);
    }
    if (first != getString()) {
        *this = SString_t(first);
    }
}

template <class T, int M>
void SString_t<T, M>::trimRight()
{
    const Walker<T, M> walker;
    const T* end = getString();
    for (const T* walk = end; *walk != 0;) {
        const bool kept = !walker.isSpace(walk);
        walk += walker.step(walk);
        end = kept ? walk : end;
    }
    if (end == getString()) {
        empty();
    } else if (*end != 0) {
        *this = left(iterator(end));
    }
}

namespace
{

/// Walks terminated multibyte text and hands `sink` each character as it stood and as it is mapped; what
/// cannot be mapped is handed on as it is.
template <class Sink, class Report>
void mapEach(const char* text, const Multibyte::CaseMapping& mapping, Report report, Sink sink)
{
    const auto locale = Platform::LocaleText::current();
    char bytes[Multibyte::mappedBytes];
    while (*text != 0) {
        const auto size = static_cast<std::size_t>(locale.step(text));
        std::size_t length = 0;
        const auto result = Multibyte::mapCharacter(locale, text, mapping, bytes, length);
        report(result);
        if (result == Multibyte::MapResult::mapped) {
            sink(size, static_cast<const char*>(bytes), length);
        } else {
            sink(size, text, size);
        }
        text += size;
    }
}

/// True when no character changes its size, so that the text can be mapped where it stands.
bool keepsSizes(const char* text, const Multibyte::CaseMapping& mapping)
{
    bool same = true;
    mapEach(
        text, mapping, [](Multibyte::MapResult) {},
        [&same](std::size_t size, const char*, std::size_t length) { same = same && size == length; });
    return same;
}

} // namespace

/// Maps a private buffer. The recorded length stays what it was, even where the text gets another one.
template <class T, int M>
void SString_t<T, M>::mapMultibyte([[maybe_unused]] const Multibyte::CaseMapping& mapping)
{
    if constexpr (M == 0) {
        // A byte that is no character at all is copied without a word, as walking steps over it.
        const auto report = [&mapping](Multibyte::MapResult result) {
            if (result == Multibyte::MapResult::noWayBack) {
                Multibyte::reportMapping(result, mapping);
                MORVEX_CHECK(false, mapping.failedCall);
            }
        };
        T* target = m_buffer->getBuffer();
        if (keepsSizes(target, mapping)) {
            mapEach(target, mapping, report, [&target](std::size_t, const char* mapped, std::size_t length) {
                copyUnits(target, mapped, length);
                target += length;
            });
            return;
        }
        SString_t mappedText;
        mapEach(target, mapping, report, [&mappedText](std::size_t, const char* mapped, std::size_t length) {
            mappedText.concatUnits(mapped, length, length);
        });
        const std::uint32_t length = m_buffer->m_length;
        const std::uint32_t mappedLength = mappedText.m_buffer->m_length;
        mappedText.copyOnWrite(length);
        std::fill(mappedText.m_buffer->getBuffer() + mappedLength,
                  mappedText.m_buffer->getBuffer() + std::max(mappedLength, length), T{0});
        mappedText.m_buffer->m_length = length;
        std::swap(m_buffer, mappedText.m_buffer);
    }
}

template <class T, int M>
void SString_t<T, M>::toUpper()
{
    copyOnWrite(0);
    [[maybe_unused]] T* text = m_buffer->getBuffer();
    if constexpr (M == 0) {
        mapMultibyte(Multibyte::upperCase);
    } else if constexpr (sizeof(T) == 1) {
        std::transform(text, text + lengthOf(text), text,
                       [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    } else {
        Platform::makeUpperWide(text);
    }
}

template <class T, int M>
void SString_t<T, M>::toLower()
{
    copyOnWrite(0);
    [[maybe_unused]] T* text = m_buffer->getBuffer();
    if constexpr (M == 0) {
        mapMultibyte(Multibyte::lowerCase);
    } else if constexpr (sizeof(T) == 1) {
        std::transform(text, text + lengthOf(text), text,
                       [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    } else {
        Platform::makeLowerWide(text);
    }
}

// --- comparison

template <class T, int M>
int SString_t<T, M>::compare(const T* other) const noexcept(sizeof(T) == 1)
{
    const T* right = orEmpty(other);
    if constexpr (M == 0) {
        return Platform::collate(getString(), right);
    } else if constexpr (sizeof(T) == 1) {
        return compareUnits(getString(), right);
    } else {
        return sayingBadAllocation([&] { return Platform::collateWide(getString(), right); });
    }
}

template <class T, int M>
bool SString_t<T, M>::isEqual(const T* other) const noexcept
{
    const T* right = orEmpty(other);
    if constexpr (M == 0) {
        return Platform::collatesEqual(getString(), right);
    } else if constexpr (sizeof(T) == 1) {
        return compareUnits(getString(), right) == 0;
    } else {
        return Platform::collatesEqualWide(getString(), right);
    }
}

template <class T, int M>
std::size_t hashOf(const SString_t<T, M>& text)
{
    return sayingBadAllocation([&] {
        if constexpr (M == 0) {
            return Platform::collationHash(text.getString());
        } else if constexpr (sizeof(T) == 1) {
            return std::hash<std::string_view>()(text.getString());
        } else {
            return Platform::collationHashWide(text.getString());
        }
    });
}

template std::size_t hashOf(const SString_t<char, 0>& text);
template std::size_t hashOf(const SString_t<char, 1>& text);
template std::size_t hashOf(const SString_t<unsigned short, 1>& text);

template <class T, int M>
int SString_t<T, M>::compareNoCase(const T* other) const
{
    return compareNoCase(orEmpty(other), lengthOf(other));
}

/// The length is a hint: text ends at its terminator, wherever that is.
template <class T, int M>
int SString_t<T, M>::compareNoCase(const T* other, [[maybe_unused]] std::size_t length) const
{
    if constexpr (M == 0) {
        const std::size_t common = std::min<std::size_t>(length, m_buffer->m_length);
        return sign(Multibyte::compareNoCase(getString(), other, common));
    } else if constexpr (sizeof(T) == 1) {
        const std::size_t common = std::min<std::size_t>(length, m_buffer->m_length);
        return Multibyte::compareBytesNoCase(getString(), other, common);
    } else {
        return sayingBadAllocation([&] { return sign(Platform::collateWideNoCase(getString(), other)); });
    }
}

template <class T, int M>
int SString_t<T, M>::compareBinary(const T* other) const noexcept
{
    return compareUnits(getString(), orEmpty(other));
}

template <class T, int M>
typename SString_t<T, M>::iterator SString_t<T, M>::findLast(const character& wanted) const noexcept
{
    iterator last(getString() + lengthOf(getString()));
    for (iterator walk = findFirst(wanted); !walk.isAtEnd(); walk = walk.find(wanted)) {
        last = walk;
        ++walk;
    }
    return last;
}

template class SString_t<char, 0>;
template class SString_t<char, 1>;
template class SString_t<unsigned short, 1>;

} // namespace MorvexA106
