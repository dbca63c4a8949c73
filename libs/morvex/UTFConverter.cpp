#include "morvex/utfconverter.h"

#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "morvex/textbuilder.h"
#include "morvex/utfscalar.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace MorvexA106
{

namespace
{

using UtfKernels::Byte;
using UtfKernels::Unit;

constexpr std::uint32_t replacement = 0xFFFD;
constexpr std::uint32_t endOfUnicode = 0x110000;

// --- One character, with no questions asked -----------------------------------------------------------------

/// A character and the units it was read from; `length` is 0 where the source's end cuts it.
struct Decoded
{
    std::uint32_t character;
    int length;
};

int extraBytes(Byte lead) noexcept
{
    return lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF8 ? 3 : lead < 0xFC ? 4 : 5;
}

/// What the marks of lead and continuation bytes add up to, by the number of extra bytes, modulo 2^32.
constexpr std::uint32_t markSums[] = {0, 0x3080, 0xE2080, 0x3C82080, 0xFA082080, 0x82082080};

/// The source must not be at its end.
Decoded decodeUtf8(const Byte* source, const Byte* sourceEnd) noexcept
{
    const int extra = extraBytes(*source);
    if (sourceEnd - source <= extra) {
        return {0, 0};
    }
    std::uint32_t sum = *source;
    for (int i = 1; i <= extra; ++i) {
        sum = (sum << 6) + source[i];
    }
    return {sum - markSums[extra], extra + 1};
}

/// The source must not be at its end. Joins pairs; `T` is a unit of UTF-16 or UCS-4.
template <class T>
Decoded decodePairs(const T* source, const T* sourceEnd) noexcept
{
    const bool pair = UtfKernels::isHighSurrogate(source[0]) && sourceEnd - source >= 2 &&
                      UtfKernels::isLowSurrogate(source[1]);
    if (pair) {
        return {UtfKernels::joinSurrogates(source[0], source[1]), 2};
    }
    return {source[0], 1};
}

/// A character as it will be written, and the bytes it takes.
struct Encodable
{
    std::uint32_t character;
    int size;
};

Encodable encodableUtf8(std::uint32_t character) noexcept
{
    static constexpr std::uint32_t limits[] = {0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000};
    const auto* limit = std::upper_bound(std::begin(limits), std::end(limits), character);
    if (limit == std::end(limits)) {
        return {replacement, 2};
    }
    return {character, static_cast<int>(limit - limits) + 1};
}

int unitsOf(std::uint32_t character) noexcept
{
    return character >= 0x10000 && character < endOfUnicode ? 2 : 1;
}

/// False when there is no room.
bool putUtf16(std::uint32_t character, Unit*& target, const Unit* targetEnd) noexcept
{
    const int units = unitsOf(character);
    if (targetEnd - target < units) {
        return false;
    }
    if (units == 2) {
        UtfKernels::writePair(character, target);
    } else {
        *target = static_cast<Unit>(character < 0x10000 ? character : replacement);
    }
    target += units;
    return true;
}

bool putUcs4(std::uint32_t character, SUcs4*& target, const SUcs4* targetEnd) noexcept
{
    if (target >= targetEnd) {
        return false;
    }
    *target++ = character;
    return true;
}

/// Takes one character, whether it has room or not. The source must not be at its end.
template <class T>
ConversionResult encodeOne(const T*& source, const T* sourceEnd, Byte*& target,
                           const Byte* targetEnd) noexcept
{
    const Decoded decoded = decodePairs(source, sourceEnd);
    const Encodable encodable = encodableUtf8(decoded.character);
    source += decoded.length;
    if (targetEnd - target < encodable.size) {
        return targetExhausted;
    }
    UtfKernels::writeUtf8(encodable.character, encodable.size, target);
    target += encodable.size;
    return conversionSuccess;
}

ConversionResult decodeOne(const Byte*& source, const Byte* sourceEnd, Unit*& target,
                           const Unit* targetEnd) noexcept
{
    const Decoded decoded = decodeUtf8(source, sourceEnd);
    if (decoded.length == 0) {
        return sourceExhausted;
    }
    if (!putUtf16(decoded.character, target, targetEnd)) {
        return targetExhausted;
    }
    source += decoded.length;
    return conversionSuccess;
}

// --- Whole texts --------------------------------------------------------------------------------------------

struct FreeBlock
{
    void operator()(void* block) const noexcept { std::free(block); }
};

template <class T>
using Block = std::unique_ptr<T[], FreeBlock>;

/// Refuses a size that 32 bits, or the address space, cannot hold. The count is reckoned in 64 bits, so that no
/// size is ever cut.
template <class T>
void checkRoom(std::uint64_t units)
{
    constexpr std::uint64_t most =
        std::min<std::uint64_t>(UINT32_MAX, std::numeric_limits<std::size_t>::max() / sizeof(T));
    if (units >= most - 1) {
        throw SBadAlloc();
    }
}

/// A block for that many units and a terminator, of undefined content.
template <class T>
Block<T> makeBlock(std::uint64_t units)
{
    checkRoom<T>(units);
    Block<T> block(static_cast<T*>(std::malloc(static_cast<std::size_t>(units + 1) * sizeof(T))));
    if (!block) {
        throw SBadAlloc();
    }
    return block;
}

/// For that many units and a terminator; what it holds is kept, and when it fails the block as well.
template <class T>
void resizeBlock(Block<T>& block, std::uint64_t units)
{
    checkRoom<T>(units);
    void* resized = std::realloc(block.get(), static_cast<std::size_t>(units + 1) * sizeof(T));
    if (resized == nullptr) {
        throw SBadAlloc();
    }
    static_cast<void>(block.release());
    block.reset(static_cast<T*>(resized));
}

/// A part of a text, from its begin to its end.
template <class T>
struct Range
{
    const T* begin;
    const T* end;

    std::size_t size() const noexcept { return static_cast<std::size_t>(end - begin); }
    bool isEmpty() const noexcept { return begin == end; }
};

/// Up to the terminator; null is empty.
Range<Byte> rangeOf(const Byte* text) noexcept
{
    return {text, text != nullptr ? text + std::strlen(reinterpret_cast<const char*>(text)) : text};
}

Range<SUcs4> rangeOf(const SUcs4* text) noexcept
{
    const SUcs4* end = text;
    while (end != nullptr && *end != 0) {
        ++end;
    }
    return {text, end};
}

Range<Unit> rangeOf(const SQCAString& text) noexcept
{
    const Unit* begin = text.getString();
    return {begin, UtfKernels::findZero(begin, begin + text.getNChars())};
}

// What a result holds at most: of well-formed text exactly that, and of the rest the most that its units can become.

/// Three bytes a unit; a pair takes less.
std::uint64_t roomForUtf8(Range<Unit> source) noexcept
{
    const UtfKernels::Sized sized = UtfKernels::utf8SizeOfUtf16(source.begin, source.end);
    return sized.bytes + std::uint64_t(3) * static_cast<std::size_t>(source.end - sized.stop);
}

/// Up to six bytes a unit; a pair takes less than its surrogates.
std::uint64_t roomForUtf8(Range<SUcs4> source) noexcept
{
    std::uint64_t bytes = 0;
    for (const SUcs4* unit = source.begin; unit != source.end; ++unit) {
        bytes += static_cast<std::uint64_t>(encodableUtf8(*unit).size);
    }
    return bytes;
}

std::uint64_t roomForUtf16(Range<SUcs4> source) noexcept
{
    std::uint64_t units = 0;
    for (const SUcs4* unit = source.begin; unit != source.end; ++unit) {
        units += static_cast<std::uint64_t>(unitsOf(*unit));
    }
    return units;
}

std::uint64_t roomForUcs4(Range<Byte> source) noexcept
{
    const UtfKernels::Counted counted = UtfKernels::countUtf8(source.begin, source.end);
    return std::uint64_t(counted.characters) + static_cast<std::size_t>(source.end - counted.stop);
}

template <class Source, class Target>
using Conversion = ConversionResult (*)(const Source**, const Source*, Target**, const Target*) noexcept;

/// A terminated text in a block of its own.
template <class T>
struct Made
{
    Block<T> block;
    unsigned int length;
};

constexpr std::uint64_t failed = UINT64_MAX;

/// Converts into a block that has room, and a unit for the terminator besides, and zeroes what is left of it.
/// Returns the units before the terminator, or `failed`.
template <class Source, class Target>
std::uint64_t fill(Range<Source> source, Target* block, std::uint64_t room,
                   Conversion<Source, Target> convert)
{
    Target* const end = block + room;
    Target* cursor = block;
    if (convert(&source.begin, source.end, &cursor, end) != conversionSuccess) {
        return failed;
    }
    std::fill(cursor, end + 1, Target());
    return static_cast<std::uint64_t>(cursor - block);
}

/// Null when the conversion fails.
template <class Source, class Target>
Made<Target> make(Range<Source> source, std::uint64_t room, Conversion<Source, Target> convert)
{
    Block<Target> block = makeBlock<Target>(room);
    const std::uint64_t length = fill(source, block.get(), room, convert);
    if (length == failed) {
        return {};
    }
    return {std::move(block), static_cast<unsigned int>(length)};
}

/// Most text is ASCII, which needs no measuring: only from the first other character on it is measured.
Made<Byte> makeUtf8(Range<Unit> source)
{
    Block<Byte> block = makeBlock<Byte>(source.size());
    const auto ascii =
        UtfKernels::narrowAscii(source.begin, source.end, block.get(), block.get() + source.size());
    const auto asciiBytes = static_cast<std::size_t>(ascii.target - block.get());
    const Range<Unit> rest = {ascii.source, source.end};
    const std::uint64_t room = roomForUtf8(rest);
    resizeBlock(block, asciiBytes + room);
    const std::uint64_t restBytes = fill(rest, block.get() + asciiBytes, room, ConvertUTF16toUTF8);
    return {std::move(block), static_cast<unsigned int>(asciiBytes + restBytes)};
}

template <class T>
void deliver(Made<T> made, CSmartRefCountPtr<UTFBuffer_t<T>>& target)
{
    if (!target) {
        target = new (std::nothrow) UTFBuffer_t<T>;
    }
    if (!target) {
        throw SBadAlloc();
    }
    MORVEX_CHECK(target->getBuffer() == nullptr, "false");
    target->adopt(made.block.release(), made.length);
}

template <class Source, class Target>
bool convertInto(CSmartRefCountPtr<UTFBuffer_t<Target>>& target, Range<Source> source, std::uint64_t room,
                 Conversion<Source, Target> convert)
{
    if (source.isEmpty()) {
        deliver(Made<Target>(), target);
        return true;
    }
    Made<Target> made = make(source, room, convert);
    if (!made.block) {
        return false;
    }
    deliver(std::move(made), target);
    return true;
}

/// The target changes only when the conversion succeeds. A zero that was made ends the text.
template <class Source>
bool convertInto(SQCAString& target, Range<Source> source, std::uint64_t room, bool mayMakeZeros,
                 Conversion<Source, Unit> convert)
{
    if (source.isEmpty()) {
        target.empty();
        return true;
    }
    TextBuilder<Unit, 1> builder(room);
    Unit* const begin = builder.extend(room);
    Unit* cursor = begin;
    if (convert(&source.begin, source.end, &cursor, begin + room) != conversionSuccess) {
        return false;
    }
    const Unit* const end = mayMakeZeros ? UtfKernels::findZero(begin, cursor) : cursor;
    builder.cutTo(static_cast<std::size_t>(end - begin));
    target = builder.take();
    return true;
}

/// Text whose conversion fails as a whole is told by a question mark.
SQCAString wideForm(const SAnsiString& text)
{
    static constexpr Unit unknown[] = {'?', 0};
    SQCAString wide;
    return wide.copyFrom(text.getString()) ? wide : SQCAString(unknown);
}

} // namespace

ConversionResult ConvertUTF16toUTF8(const unsigned short** source, const unsigned short* sourceEnd,
                                    unsigned char** target, const unsigned char* targetEnd) noexcept
{
    for (;;) {
        const auto done = UtfKernels::utf16ToUtf8(*source, sourceEnd, *target, targetEnd);
        *source = done.source;
        *target = done.target;
        if (*source >= sourceEnd) {
            return conversionSuccess;
        }
        const ConversionResult result = encodeOne(*source, sourceEnd, *target, targetEnd);
        if (result != conversionSuccess) {
            return result;
        }
    }
}

ConversionResult ConvertUTF8toUTF16(const unsigned char** source, const unsigned char* sourceEnd,
                                    unsigned short** target, const unsigned short* targetEnd) noexcept
{
    for (;;) {
        const auto done = UtfKernels::utf8ToUtf16(*source, sourceEnd, *target, targetEnd);
        *source = done.source;
        *target = done.target;
        if (*source >= sourceEnd) {
            return conversionSuccess;
        }
        const ConversionResult result = decodeOne(*source, sourceEnd, *target, targetEnd);
        if (result != conversionSuccess) {
            return result;
        }
    }
}

ConversionResult ConvertUCS4toUTF8(const SUcs4** source, const SUcs4* sourceEnd, unsigned char** target,
                                   const unsigned char* targetEnd) noexcept
{
    ConversionResult result = conversionSuccess;
    while (result == conversionSuccess && *source < sourceEnd) {
        result = encodeOne(*source, sourceEnd, *target, targetEnd);
    }
    return result;
}

ConversionResult ConvertUTF8toUCS4(const unsigned char** source, const unsigned char* sourceEnd,
                                   SUcs4** target, const SUcs4* targetEnd) noexcept
{
    while (*source < sourceEnd) {
        const Decoded decoded = decodeUtf8(*source, sourceEnd);
        if (decoded.length == 0) {
            return sourceExhausted;
        }
        const bool known = decoded.character < endOfUnicode;
        if (!putUcs4(known ? decoded.character : replacement, *target, targetEnd)) {
            return targetExhausted;
        }
        *source += decoded.length;
    }
    return conversionSuccess;
}

ConversionResult ConvertUCS4toUTF16(const SUcs4** source, const SUcs4* sourceEnd, unsigned short** target,
                                    const unsigned short* targetEnd) noexcept
{
    for (; *source < sourceEnd; ++*source) {
        if (!putUtf16(**source, *target, targetEnd)) {
            return targetExhausted;
        }
    }
    return conversionSuccess;
}

ConversionResult ConvertUTF16toUCS4(const unsigned short** source, const unsigned short* sourceEnd,
                                    SUcs4** target, const SUcs4* targetEnd) noexcept
{
    while (*source < sourceEnd) {
        const Decoded decoded = decodePairs(*source, sourceEnd);
        if (!putUcs4(decoded.character, *target, targetEnd)) {
            return targetExhausted;
        }
        *source += decoded.length;
    }
    return conversionSuccess;
}

template <class T>
UTFBuffer_t<T>::~UTFBuffer_t()
{
    std::free(m_block);
}

template <class T>
void UTFBuffer_t<T>::adopt(T* block, unsigned int length) noexcept
{
    std::free(std::exchange(m_block, block));
    m_length = length;
}

template class UTFBuffer_t<unsigned char>;
template class UTFBuffer_t<SUcs4>;

void CUTFConverter::Free::operator()(unsigned char* block) const noexcept
{
    std::free(block);
}

CUTFConverter::CUTFConverter(const CUTFConverter& other) : m_text(other.m_text)
{
    if (other.m_length != 0) {
        m_buffer.reset(makeBlock<Byte>(other.m_length - 1).release());
        m_length = other.m_length;
        std::memcpy(m_buffer.get(), other.m_buffer.get(), m_length);
    }
}

CUTFConverter::CUTFConverter(CUTFConverter&& other) noexcept
{
    swap(other);
}

CUTFConverter& CUTFConverter::operator=(CUTFConverter other) noexcept
{
    swap(other);
    return *this;
}

CUTFConverter::~CUTFConverter() = default;

void CUTFConverter::swap(CUTFConverter& other) noexcept
{
    std::swap(m_text, other.m_text);
    std::swap(m_buffer, other.m_buffer);
    std::swap(m_length, other.m_length);
}

void CUTFConverter::setText(const SAnsiString& text)
{
    CUTFConverter made;
    made.m_text = text;
    if (!text.isEmpty()) {
        const SQCAString wide = wideForm(text);
        const Range<Unit> source = rangeOf(wide);
        Made<Byte> encoded = makeUtf8(source);
        made.m_buffer.reset(encoded.block.release());
        made.m_length = encoded.length + 1;
    }
    swap(made);
}

bool CUTFConverter::UTF8ToUTF16(const unsigned char* source, SQCAString& target)
{
    const Range<Byte> text = rangeOf(source);
    const UtfKernels::Counted counted = UtfKernels::countUtf8(text.begin, text.end);
    const auto malformed = static_cast<std::size_t>(text.end - counted.stop);
    // No byte becomes more than one unit, and no well-formed character but the terminator a zero.
    const std::uint64_t room = std::uint64_t(counted.units16) + malformed;
    return convertInto(target, text, room, malformed != 0, ConvertUTF8toUTF16);
}

bool CUTFConverter::UTF16ToUTF8(const SQCAString& source, Utf8Buffer& target)
{
    const Range<Unit> text = rangeOf(source);
    deliver(text.isEmpty() ? Made<Byte>() : makeUtf8(text), target);
    return true;
}

bool CUTFConverter::UTF16ToUTF8(const SQCAString& source, SSimpleBuffer& target)
{
    const Range<Unit> text = rangeOf(source);
    if (text.isEmpty()) {
        target.empty();
        return true;
    }
    const std::uint64_t room = roomForUtf8(text);
    checkRoom<Byte>(room);
    SSimpleBuffer made;
    Byte* const block = made.getBuffer(static_cast<unsigned int>(room + 1));
    if (block == nullptr) {
        throw SBadAlloc();
    }
    made.releaseBuffer(static_cast<unsigned int>(fill(text, block, room, ConvertUTF16toUTF8)));
    target = std::move(made);
    return true;
}

bool CUTFConverter::UCS4ToUTF8(const SUcs4* source, Utf8Buffer& target)
{
    const Range<SUcs4> text = rangeOf(source);
    return convertInto(target, text, roomForUtf8(text), ConvertUCS4toUTF8);
}

bool CUTFConverter::UTF8ToUCS4(const unsigned char* source, Ucs4Buffer& target)
{
    const Range<Byte> text = rangeOf(source);
    return convertInto(target, text, roomForUcs4(text), ConvertUTF8toUCS4);
}

bool CUTFConverter::UTF16ToUCS4(const SQCAString& source, Ucs4Buffer& target)
{
    const Range<Unit> text = rangeOf(source);
    return convertInto(target, text, text.size(), ConvertUTF16toUCS4);
}

bool CUTFConverter::UCS4ToUTF16(const SUcs4* source, SQCAString& target)
{
    const Range<SUcs4> text = rangeOf(source);
    return convertInto(target, text, roomForUtf16(text), false, ConvertUCS4toUTF16);
}

unsigned int CUTFConverter::UTF16ToUCS4(const unsigned short* source, SUcs4* target,
                                        unsigned int count) noexcept
{
    SUcs4* cursor = target;
    ConvertUTF16toUCS4(&source, source + count, &cursor, target + count);
    return static_cast<unsigned int>(cursor - target);
}

} // namespace MorvexA106
