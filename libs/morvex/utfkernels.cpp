#include "morvex/utfkernels.h"

#include "morvex/utfscalar.h"

namespace MorvexA106::UtfKernels
{

namespace
{

/// A character and the units it was read from; `length` is 0 where none begins.
struct Decoded
{
    std::uint32_t character;
    int length;
};

constexpr Decoded none = {0, 0};

bool isContinuation(Byte byte) noexcept
{
    return (byte & 0xC0) == 0x80;
}

Decoded decodeTwo(const Byte* text, std::ptrdiff_t size) noexcept
{
    if (size < 2 || !isContinuation(text[1])) {
        return none;
    }
    return {(text[0] & 0x1Fu) << 6 | (text[1] & 0x3Fu), 2};
}

Decoded decodeThree(const Byte* text, std::ptrdiff_t size) noexcept
{
    if (size < 3 || !isContinuation(text[1]) || !isContinuation(text[2])) {
        return none;
    }
    const std::uint32_t character = (text[0] & 0x0Fu) << 12 | (text[1] & 0x3Fu) << 6 | (text[2] & 0x3Fu);
    return character < 0x800 || isSurrogate(character) ? none : Decoded{character, 3};
}

Decoded decodeFour(const Byte* text, std::ptrdiff_t size) noexcept
{
    if (size < 4 || !isContinuation(text[1]) || !isContinuation(text[2]) || !isContinuation(text[3])) {
        return none;
    }
    const std::uint32_t character =
        (text[0] & 0x07u) << 18 | (text[1] & 0x3Fu) << 12 | (text[2] & 0x3Fu) << 6 | (text[3] & 0x3Fu);
    return character < 0x10000 || character > 0x10FFFF ? none : Decoded{character, 4};
}

/// The text must not be at its end.
Decoded decodeUtf8(const Byte* text, const Byte* end) noexcept
{
    const Byte lead = *text;
    if (lead < 0x80) {
        return {lead, 1};
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return none;
    }
    if (lead < 0xE0) {
        return decodeTwo(text, end - text);
    }
    return lead < 0xF0 ? decodeThree(text, end - text) : decodeFour(text, end - text);
}

/// The text must not be at its end.
Decoded decodeUtf16(const Unit* text, const Unit* end) noexcept
{
    if (!isSurrogate(*text)) {
        return {*text, 1};
    }
    if (!isHighSurrogate(*text) || end - text < 2 || !isLowSurrogate(text[1])) {
        return none;
    }
    return {joinSurrogates(text[0], text[1]), 2};
}

int utf8Size(std::uint32_t character) noexcept
{
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

Converted<Byte, Unit> scalarUtf8ToUtf16(const Byte* source, const Byte* sourceEnd, Unit* target,
                                        const Unit* targetEnd) noexcept
{
    while (source < sourceEnd && target < targetEnd) {
        const Decoded decoded = decodeUtf8(source, sourceEnd);
        if (decoded.length == 0) {
            break;
        }
        if (decoded.length < 4) {
            *target++ = static_cast<Unit>(decoded.character);
        } else if (targetEnd - target >= 2) {
            writePair(decoded.character, target);
            target += 2;
        } else {
            break;
        }
        source += decoded.length;
    }
    return {source, target};
}

Converted<Unit, Byte> scalarUtf16ToUtf8(const Unit* source, const Unit* sourceEnd, Byte* target,
                                        const Byte* targetEnd) noexcept
{
    while (source < sourceEnd) {
        const Decoded decoded = decodeUtf16(source, sourceEnd);
        const int size = utf8Size(decoded.character);
        if (decoded.length == 0 || targetEnd - target < size) {
            break;
        }
        writeUtf8(decoded.character, size, target);
        source += decoded.length;
        target += size;
    }
    return {source, target};
}

Counted scalarCountUtf8(const Byte* source, const Byte* sourceEnd) noexcept
{
    Counted counted = {source, 0, 0};
    while (counted.stop < sourceEnd) {
        const Decoded decoded = decodeUtf8(counted.stop, sourceEnd);
        if (decoded.length == 0) {
            break;
        }
        counted.stop += decoded.length;
        counted.characters += 1;
        counted.units16 += decoded.length < 4 ? 1 : 2;
    }
    return counted;
}

Sized scalarUtf8SizeOfUtf16(const Unit* source, const Unit* sourceEnd) noexcept
{
    Sized sized = {source, 0};
    while (sized.stop < sourceEnd) {
        const Decoded decoded = decodeUtf16(sized.stop, sourceEnd);
        if (decoded.length == 0) {
            break;
        }
        sized.stop += decoded.length;
        sized.bytes += static_cast<std::size_t>(utf8Size(decoded.character));
    }
    return sized;
}

template <class Source, class Target>
Converted<Source, Target> scalarCopyAscii(const Source* source, const Source* sourceEnd, Target* target,
                                          const Target* targetEnd) noexcept
{
    while (source < sourceEnd && target < targetEnd && *source < 0x80) {
        *target++ = static_cast<Target>(*source++);
    }
    return {source, target};
}

const Unit* scalarFindZero(const Unit* source, const Unit* sourceEnd) noexcept
{
    while (source < sourceEnd && *source != 0) {
        ++source;
    }
    return source;
}

} // namespace

const Kernels scalarKernels = {
    scalarUtf8ToUtf16,           scalarUtf16ToUtf8,           scalarCountUtf8, scalarUtf8SizeOfUtf16,
    scalarCopyAscii<Byte, Unit>, scalarCopyAscii<Unit, Byte>, scalarFindZero};

const Kernels* kernelsOf(Level level) noexcept
{
    return level == Level::scalar ? &scalarKernels : nullptr;
}

const Kernels& best() noexcept
{
    return scalarKernels;
}

} // namespace MorvexA106::UtfKernels
