#include "morvex/sstring.h"

#include "morvex/checks.h"
#include "morvex/codesetwalk.h"
#include "morvex/textbuilder.h"
#include "morvex/textunits.h"
#include "morvex/utfkernels.h"

#include <algorithm>

namespace MorvexA106
{

using TextUnits::lengthOf;

namespace
{

/// The unsigned result that says no.
constexpr unsigned int none = UINT32_MAX;

template <class Unit>
bool isAsciiUnit(Unit unit) noexcept
{
    return static_cast<std::make_unsigned_t<Unit>>(unit) <= 0x7F;
}

/// The size in bytes of that many units and a terminator, or `none` where 32 bits are too few.
unsigned int sizeInBytes(std::uint64_t units, std::uint64_t unitSize) noexcept
{
    const std::uint64_t bytes = (units + 1) * unitSize;
    return bytes < none ? static_cast<unsigned int>(bytes) : none;
}

/// Reads the text up to its terminator.
UnitReader readerOf(const char* text) noexcept
{
    return {text, text + lengthOf(text)};
}

/// The same where the terminator is not behind `length`.
ByteWriter writerOf(const unsigned short* text, std::size_t length) noexcept
{
    return {text, UtfKernels::findZero(text, text + length)};
}

/// Copies the text with its terminator, or nothing when there is no room: what a conversion within one form does.
template <class Unit>
unsigned int copyAll(Unit* target, const Unit* text, std::size_t length, std::size_t room) noexcept
{
    if (room <= length) {
        return none;
    }
    TextUnits::copyUnits(target, text, length);
    target[length] = 0;
    return static_cast<unsigned int>(length + 1);
}

/// Ends what a walk wrote with a terminator, where the walk came to its end and left room for one.
template <class Walk, class Unit>
unsigned int terminated(const Walk& walk, Unit* target, std::size_t written, std::size_t room) noexcept
{
    if (!walk.isAtEnd() || written >= room || written >= none - 1) {
        return none;
    }
    target[written] = 0;
    return static_cast<unsigned int>(written + 1);
}

/// The text that a walk gives, in a buffer that fits. Short text is made on the stack and copied once; for longer text
/// `guess` units are tried, and more as needed. 32 bits of length are refused by the builder.
template <class T, int M, class Walk>
SString_t<T, M> built(Walk walk, std::uint64_t guess)
{
    constexpr std::size_t scratchSize = 256;
    T scratch[scratchSize];
    const std::size_t begun = walk.next(scratch, scratchSize);
    if (begun == 0) {
        return {};
    }
    TextBuilder<T, M> builder(walk.isAtEnd() ? begun : std::max<std::uint64_t>(guess, begun));
    TextUnits::copyUnits(builder.extend(begun), scratch, begun);
    while (!walk.isAtEnd()) {
        const std::size_t before = builder.length();
        const std::size_t room = std::max<std::size_t>(builder.room(), scratchSize);
        builder.cutTo(before + walk.next(builder.extend(room), room));
    }
    if (builder.room() != TextBuilder<T, M>::slack) {
        builder.fit();
    }
    return builder.take();
}

SString_t<unsigned short, 1> widened(const char* text)
{
    const std::size_t length = lengthOf(text);
    return built<unsigned short, 1>(UnitReader(text, text + length), length);
}

SString_t<char, 0> narrowed(const unsigned short* text)
{
    const std::size_t length = lengthOf(text);
    return built<char, 0>(ByteWriter(text, text + length), length + length / 2);
}

/// Copies the units if they are 7-bit text.
template <class Unit>
bool copyAscii(SString_t<char, 1>& target, const Unit* text, const char* complaint)
{
    const std::size_t length = lengthOf(text);
    if (!std::all_of(text, text + length, isAsciiUnit<Unit>)) {
        MORVEX_FAIL(complaint);
        return false;
    }
    TextBuilder<char, 1> builder;
    std::transform(text, text + length, builder.extend(length),
                   [](Unit unit) { return static_cast<char>(unit); });
    target = builder.take();
    return true;
}

/// As in `fromAscii` of every form; the bytes may be the string's own.
template <class T, int M>
SString_t<T, M> widenedAscii(const char* bytes, std::size_t count)
{
    if (count == 0) {
        return {};
    }
    TextBuilder<T, M> builder(count);
    std::transform(bytes, bytes + count, builder.extend(count),
                   [](char byte) { return static_cast<T>(static_cast<unsigned char>(byte)); });
    return builder.take();
}

/// Searches folded copies and answers with a cursor into the original: characters keep their number when they
/// are folded, though not their size.
template <class Text>
typename Text::iterator findNoCase(const Text& text, Text wanted)
{
    Text folded(text);
    folded.toLower();
    wanted.toLower();
    const typename Text::iterator hit = folded.find(wanted);
    typename Text::iterator found(text);
    found += folded.getCharIndex(hit);
    return found;
}

} // namespace

// --- sizes

template <class T, int M>
unsigned int SString_t<T, M>::getNBytesForMBCS() const
{
    if constexpr (sizeof(T) == 1) {
        return sizeInBytes(m_buffer->m_length, 1);
    } else {
        return sizeInBytes(writerOf(getString(), m_buffer->m_length).count(), 1);
    }
}

template <class T, int M>
unsigned int SString_t<T, M>::getNBytesForQCA() const
{
    if constexpr (M == 0) {
        return sizeInBytes(readerOf(getString()).count(), 2);
    } else {
        return sizeInBytes(m_buffer->m_length, 2);
    }
}

template <class T, int M>
unsigned int SString_t<T, M>::getNBytesForWChar() const
{
    return getNBytesForQCA();
}

template <class T, int M>
unsigned int SString_t<T, M>::getNBytesForAscii() const
{
    return sizeInBytes(m_buffer->m_length, 1);
}

// --- writing out

template <class T, int M>
unsigned int SString_t<T, M>::toMBCS(char* outBuffer, unsigned int nBytesInBuffer) const
{
    if constexpr (sizeof(T) == 1) {
        MORVEX_CHECK(outBuffer != nullptr, "outBuffer != 0");
        MORVEX_CHECK(nBytesInBuffer > m_buffer->m_length, "nBytesInBuffer >= nBytesUsed");
        return outBuffer == nullptr ? none
                                    : copyAll(outBuffer, getString(), m_buffer->m_length, nBytesInBuffer);
    } else {
        MORVEX_CHECK(outBuffer != nullptr, "outBuffer!=NULL");
        if (outBuffer == nullptr) {
            return none;
        }
        ByteWriter writer = writerOf(getString(), m_buffer->m_length);
        return terminated(writer, outBuffer, writer.next(outBuffer, nBytesInBuffer), nBytesInBuffer);
    }
}

template <class T, int M>
unsigned int SString_t<T, M>::toQCA(unsigned short* outBuffer, unsigned int nBytesInBuffer) const
{
    MORVEX_CHECK(outBuffer != nullptr, "outBuffer!=NULL");
    const std::size_t room = nBytesInBuffer / 2;
    const std::size_t length = m_buffer->m_length;
    if (outBuffer == nullptr) {
        return none;
    }
    if constexpr (M == 0) {
        UnitReader reader = readerOf(getString());
        return terminated(reader, outBuffer, reader.next(outBuffer, room), room);
    } else if constexpr (sizeof(T) == 1) {
        if (room <= length) {
            return none;
        }
        std::transform(getString(), getString() + length + 1, outBuffer, [](char byte) {
            return static_cast<unsigned short>(static_cast<signed char>(byte)); // the sign goes along
        });
        return static_cast<unsigned int>(length + 1);
    } else {
        const T* end = UtfKernels::findZero(getString(), getString() + length);
        return copyAll(outBuffer, getString(), static_cast<std::size_t>(end - getString()), room);
    }
}

template <class T, int M>
unsigned int SString_t<T, M>::toWChar(unsigned short* outBuffer, unsigned int nBytesInBuffer) const
{
    return toQCA(outBuffer, nBytesInBuffer);
}

template <class T, int M>
unsigned int SString_t<T, M>::toAscii(char* outBuffer, unsigned int nBytesInBuffer) const
{
    MORVEX_CHECK(outBuffer != nullptr, "outBuffer != 0");
    const T* text = getString();
    const std::size_t length = m_buffer->m_length;
    if (outBuffer == nullptr || nBytesInBuffer <= length) {
        return none;
    }
    const T* end = std::find_if_not(text, text + length, isAsciiUnit<T>);
    char* written = std::transform(text, end, outBuffer, [](T unit) { return static_cast<char>(unit); });
    if (end != text + length) {
        MORVEX_FAIL("Not a valid ASCII string in SString");
        return none;
    }
    *written = 0;
    return static_cast<unsigned int>(length + 1);
}

// --- reading in

template <class T, int M>
bool SString_t<T, M>::fromMBCS(const char* inBuffer)
{
    if constexpr (M == 0) {
        return copyFrom(inBuffer);
    }
    MORVEX_CHECK(inBuffer != nullptr, "inBuffer != 0");
    if (inBuffer == nullptr) {
        return false;
    }
    if constexpr (M != 0 && sizeof(T) == 1) {
        return copyAscii(*this, inBuffer, "Not a valid ASCII string in MBCS");
    } else if constexpr (M != 0) {
        *this = widened(inBuffer);
    }
    return true;
}

template <class T, int M>
bool SString_t<T, M>::fromQCA(const unsigned short* inBuffer)
{
    MORVEX_CHECK(inBuffer != nullptr, "inBuffer != 0");
    if (inBuffer == nullptr) {
        return false;
    }
    if constexpr (M == 0) {
        *this = narrowed(inBuffer);
    } else if constexpr (sizeof(T) == 1) {
        return copyAscii(*this, inBuffer, "Not a valid ASCII string in QCA");
    } else {
        return copyFrom(inBuffer);
    }
    return true;
}

template <class T, int M>
bool SString_t<T, M>::fromWChar(const unsigned short* inBuffer)
{
    if constexpr (M != 0 && sizeof(T) == 1) {
        MORVEX_CHECK(inBuffer != nullptr, "inBuffer != 0");
        return inBuffer != nullptr && copyAscii(*this, inBuffer, "Not a valid ASCII string in WChar");
    } else {
        return fromQCA(inBuffer);
    }
}

template <class T, int M>
bool SString_t<T, M>::fromAscii(const char* inBuffer, unsigned int count)
{
    MORVEX_CHECK(inBuffer != nullptr, "inBuffer != 0");
    if (inBuffer == nullptr) {
        return false;
    }
    *this = widenedAscii<T, M>(inBuffer, count == none ? lengthOf(inBuffer) : count);
    return true;
}

template <class T, int M>
bool SString_t<T, M>::copyFrom(const other_unit* text)
{
    if (text == nullptr) {
        empty();
        return true;
    }
    if constexpr (sizeof(T) == 1) {
        return fromQCA(text);
    } else {
        return fromMBCS(text);
    }
}

#define MORVEX_CONVERSIONS(T, M)                                                                             \
    template unsigned int SString_t<T, M>::getNBytesForMBCS() const;                                         \
    template unsigned int SString_t<T, M>::getNBytesForQCA() const;                                          \
    template unsigned int SString_t<T, M>::getNBytesForWChar() const;                                        \
    template unsigned int SString_t<T, M>::getNBytesForAscii() const;                                        \
    template unsigned int SString_t<T, M>::toMBCS(char*, unsigned int) const;                                \
    template unsigned int SString_t<T, M>::toQCA(unsigned short*, unsigned int) const;                       \
    template unsigned int SString_t<T, M>::toWChar(unsigned short*, unsigned int) const;                     \
    template unsigned int SString_t<T, M>::toAscii(char*, unsigned int) const;                               \
    template bool SString_t<T, M>::fromMBCS(const char*);                                                    \
    template bool SString_t<T, M>::fromQCA(const unsigned short*);                                           \
    template bool SString_t<T, M>::fromWChar(const unsigned short*);                                         \
    template bool SString_t<T, M>::fromAscii(const char*, unsigned int);                                     \
    template bool SString_t<T, M>::copyFrom(const other_unit*)

MORVEX_CONVERSIONS(char, 0);
MORVEX_CONVERSIONS(char, 1);
MORVEX_CONVERSIONS(unsigned short, 1);
#undef MORVEX_CONVERSIONS

// --- the 7-bit class

SAsciiString::SAsciiString(const SAnsiString& text, bool copy)
{
    if (copy) {
        concatFromAsciiCharacters(text.getString(), text.getNChars());
    }
}

SAsciiString::SAsciiString(const SWCharString& text, bool copy)
{
    if (copy) {
        concatFromAsciiCharacters(text.getString(), text.getNChars());
    }
}

SAsciiString::SAsciiString(const SQCAString& text, bool copy)
{
    if (copy) {
        concatFromAsciiCharacters(text.getString(), text.getNChars());
    }
}

void SAsciiString::concatFromAsciiCharacters(const char* text, unsigned int count)
{
    if (text != nullptr) {
        concatFromAscii(text, count);
    }
}

void SAsciiString::concatFromAsciiCharacters(const unsigned short* text, unsigned int count)
{
    if (text != nullptr) {
        std::transform(text, text + count, concatAllocHelper(count),
                       [](unsigned short unit) { return static_cast<char>(unit); });
    }
}

// --- search without case

SAnsiStringCI::iterator SAnsiStringCI::find(const SAnsiString& wanted) const
{
    return findNoCase<SAnsiString>(*this, wanted);
}

SWCharStringCI::iterator SWCharStringCI::find(const SWCharString& wanted) const
{
    return findNoCase<SWCharString>(*this, wanted);
}

} // namespace MorvexA106
