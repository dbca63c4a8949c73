#include "morvex/utfkernels.h"

#include "morvex/utfvectors.h"

namespace MorvexA106::UtfKernels
{

namespace
{

/// What makes a continuation byte a number of six bits, and any other a larger one.
std::uint32_t bitsOf(Byte continuation) noexcept
{
    return continuation ^ 0x80u;
}

// The decoders below store a character and return the units that it takes, or 0 where no well-formed one begins.
// Results in two registers, not one structure, are what makes them fast.

int decodeTwo(const Byte* text, std::ptrdiff_t size, std::uint32_t& character) noexcept
{
    if (text[0] < 0xC2 || size < 2 || bitsOf(text[1]) > 0x3F) {
        return 0;
    }
    character = (text[0] & 0x1Fu) << 6 | bitsOf(text[1]);
    return 2;
}

int decodeThree(const Byte* text, std::ptrdiff_t size, std::uint32_t& character) noexcept
{
    if (size < 3 || (bitsOf(text[1]) | bitsOf(text[2])) > 0x3F) {
        return 0;
    }
    character = (text[0] & 0x0Fu) << 12 | bitsOf(text[1]) << 6 | bitsOf(text[2]);
    return character < 0x800 || isSurrogate(character) ? 0 : 3;
}

int decodeFour(const Byte* text, std::ptrdiff_t size, std::uint32_t& character) noexcept
{
    if (text[0] > 0xF4 || size < 4 || (bitsOf(text[1]) | bitsOf(text[2]) | bitsOf(text[3])) > 0x3F) {
        return 0;
    }
    character = (text[0] & 0x07u) << 18 | bitsOf(text[1]) << 12 | bitsOf(text[2]) << 6 | bitsOf(text[3]);
    return character < 0x10000 || character > 0x10FFFF ? 0 : 4;
}

/// The text must begin with a byte from 0x80 on.
int decodeLong(const Byte* text, const Byte* end, std::uint32_t& character) noexcept
{
    const Byte lead = *text;
    if (lead < 0xE0) {
        return decodeTwo(text, end - text, character);
    }
    return lead < 0xF0 ? decodeThree(text, end - text, character) : decodeFour(text, end - text, character);
}

/// The text must not be at its end.
int decodeUtf16(const Unit* text, const Unit* end, std::uint32_t& character) noexcept
{
    character = *text;
    if (!isSurrogate(character)) {
        return 1;
    }
    if (!isHighSurrogate(character) || end - text < 2 || !isLowSurrogate(text[1])) {
        return 0;
    }
    character = joinSurrogates(text[0], text[1]);
    return 2;
}

int utf8Size(std::uint32_t character) noexcept
{
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

Converted<Byte, Unit> scalarUtf8ToUtf16(const Byte* source, const Byte* sourceEnd, Unit* target,
                                        const Unit* targetEnd) noexcept
{
    while (source < sourceEnd && target < targetEnd) {
        if (*source < 0x80) {
            *target++ = *source++;
            continue;
        }
        std::uint32_t character = 0;
        const int length = decodeLong(source, sourceEnd, character);
        if (length == 0 || (length == 4 && targetEnd - target < 2)) {
            break;
        }
        if (length == 4) {
            writePair(character, target);
            ++target;
        } else {
            *target = static_cast<Unit>(character);
        }
        ++target;
        source += length;
    }
    return {source, target};
}

Converted<Unit, Byte> scalarUtf16ToUtf8(const Unit* source, const Unit* sourceEnd, Byte* target,
                                        const Byte* targetEnd) noexcept
{
    while (source < sourceEnd) {
        std::uint32_t character = 0;
        const int length = decodeUtf16(source, sourceEnd, character);
        const int size = utf8Size(character);
        if (length == 0 || targetEnd - target < size) {
            break;
        }
        writeUtf8(character, size, target);
        source += length;
        target += size;
    }
    return {source, target};
}

Counted scalarCountUtf8(const Byte* source, const Byte* sourceEnd) noexcept
{
    std::size_t characters = 0;
    std::size_t fours = 0;
    for (; source < sourceEnd; ++characters) {
        if (*source < 0x80) {
            ++source;
            continue;
        }
        std::uint32_t character = 0;
        const int length = decodeLong(source, sourceEnd, character);
        if (length == 0) {
            break;
        }
        source += length;
        fours += length == 4 ? 1 : 0;
    }
    return {source, characters, characters + fours};
}

Sized scalarUtf8SizeOfUtf16(const Unit* source, const Unit* sourceEnd) noexcept
{
    Sized sized = {source, 0};
    while (sized.stop < sourceEnd) {
        std::uint32_t character = 0;
        const int length = decodeUtf16(sized.stop, sourceEnd, character);
        if (length == 0) {
            break;
        }
        sized.stop += length;
        sized.bytes += static_cast<std::size_t>(utf8Size(character));
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

namespace
{

/// The wider loops leave what is shorter than their vectors to the narrower ones.
bool hasLevel(Level level) noexcept
{
    switch (level) {
    case Level::sse2:
        return __builtin_cpu_supports("sse2") != 0;
    case Level::avx2:
        return hasLevel(Level::sse2) && __builtin_cpu_supports("avx2") != 0 &&
               __builtin_cpu_supports("popcnt") != 0;
    default:
        return true;
    }
}

const Kernels& chooseKernels() noexcept
{
    // Needed where a constructor of static storage may ask before the compiler's own has run.
    __builtin_cpu_init();
    return hasLevel(Level::avx2) ? avx2Kernels : hasLevel(Level::sse2) ? sse2Kernels : scalarKernels;
}

} // namespace

const Kernels* kernelsOf(Level level) noexcept
{
    static constexpr const Kernels* kernels[] = {&scalarKernels, &sse2Kernels, &avx2Kernels};
    return hasLevel(level) ? kernels[static_cast<int>(level)] : nullptr;
}

const Kernels& best() noexcept
{
    static const Kernels& chosen = chooseKernels();
    return chosen;
}

} // namespace MorvexA106::UtfKernels
