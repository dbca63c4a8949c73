#pragma once

/// @file
/// What the vector implementations share. They go through the source in blocks of a fixed size, whatever characters
/// it holds: a block that is well-formed as far as it goes is converted, the units of a character are written with
/// its last byte, and the first block that isn't ends the loop. The scalar code then finds the exact place, and does
/// what is shorter than a block.

#include "morvex/utfscalar.h"

#include <array>
#include <cstdint>

namespace MorvexA106::UtfKernels
{

extern const Kernels sse2Kernels;
extern const Kernels avx2Kernels;

/// The begin of a character that the bytes before `stop` leave unfinished, or `stop`. They must be well-formed as
/// far as they go.
inline const Byte* unfinishedCharacter(const Byte* begin, const Byte* stop) noexcept
{
    const std::ptrdiff_t most = stop - begin < 3 ? stop - begin : 3;
    for (std::ptrdiff_t back = 1; back <= most; ++back) {
        const Byte byte = stop[-back];
        if ((byte & 0xC0) != 0x80) {
            const std::ptrdiff_t length = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
            return length > back ? stop - back : stop;
        }
    }
    return stop;
}

/// The count of blocks that end at `stop`, and of what is left, counted with the narrower loops.
inline Counted finishCount(Counted blocks, const Byte* source, const Byte* sourceEnd,
                           const Kernels& narrower) noexcept
{
    const Byte* const begin = unfinishedCharacter(source, blocks.stop);
    if (begin != blocks.stop) {
        blocks.characters -= 1;
        blocks.units16 -= *begin >= 0xF0 ? 2 : 1;
    }
    const Counted rest = narrower.countUtf8(begin, sourceEnd);
    return {rest.stop, blocks.characters + rest.characters, blocks.units16 + rest.units16};
}

/// The byte positions that a shuffle of 16 bytes brings together.
using Shuffle = std::array<std::uint8_t, 16>;
using Shuffles = std::array<Shuffle, 256>;

/// Appends positions one after the other; places that are left over are cleared by the shuffle.
struct ShuffleWriter
{
    Shuffle shuffle = {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                       0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    std::size_t size = 0;

    constexpr void add(std::size_t position) { shuffle[size++] = static_cast<std::uint8_t>(position); }
};

/// Of eight units, those whose bits are set.
constexpr Shuffles makeUnitShuffles()
{
    Shuffles shuffles = {};
    for (std::size_t bits = 0; bits < 256; ++bits) {
        ShuffleWriter writer;
        for (std::size_t unit = 0; unit < 8; ++unit) {
            if ((bits >> unit & 1) != 0) {
                writer.add(2 * unit);
                writer.add(2 * unit + 1);
            }
        }
        shuffles[bits] = writer.shuffle;
    }
    return shuffles;
}

/// Of eight characters of two bytes each, the second byte of all, and the first of those whose bits are set.
constexpr Shuffles makeTwoByteShuffles()
{
    Shuffles shuffles = {};
    for (std::size_t bits = 0; bits < 256; ++bits) {
        ShuffleWriter writer;
        for (std::size_t character = 0; character < 8; ++character) {
            if ((bits >> character & 1) != 0) {
                writer.add(2 * character);
            }
            writer.add(2 * character + 1);
        }
        shuffles[bits] = writer.shuffle;
    }
    return shuffles;
}

/// Of four characters of four bytes each, whose first is unused: the last byte of all, the third of those whose
/// bits are set in the low half, the second of those whose bits are set in the high half.
constexpr Shuffles makeThreeByteShuffles()
{
    Shuffles shuffles = {};
    for (std::size_t bits = 0; bits < 256; ++bits) {
        ShuffleWriter writer;
        for (std::size_t character = 0; character < 4; ++character) {
            if ((bits >> (character + 4) & 1) != 0) {
                writer.add(4 * character + 1);
            }
            if ((bits >> character & 1) != 0) {
                writer.add(4 * character + 2);
            }
            writer.add(4 * character + 3);
        }
        shuffles[bits] = writer.shuffle;
    }
    return shuffles;
}

/// What can be wrong with two bytes in a row, each a bit. A bit that three tables share, looked up with the halves
/// of the first byte and the high half of the second, is a fault that the two bytes have. The idea is John Keiser's
/// and Daniel Lemire's ("Validating UTF-8 In Less Than One Instruction Per Byte", 2021).
struct FaultTables
{
    Shuffle firstHigh = {};
    Shuffle firstLow = {};
    Shuffle secondHigh = {};

    constexpr void add(std::uint8_t fault, unsigned firstHighs, unsigned firstLows, unsigned secondHighs)
    {
        for (std::size_t half = 0; half < 16; ++half) {
            firstHigh[half] |= (firstHighs >> half & 1) != 0 ? fault : 0;
            firstLow[half] |= (firstLows >> half & 1) != 0 ? fault : 0;
            secondHigh[half] |= (secondHighs >> half & 1) != 0 ? fault : 0;
        }
    }
};

/// The bit of two continuation bytes in a row: right where a lead of three or four bytes stands before them, and
/// only there. It is the highest, so that it can be compared with a sign.
inline constexpr std::uint8_t twoContinuations = 0x80;

constexpr FaultTables makeFaultTables()
{
    // Sets of half bytes, bit n for the half n.
    constexpr unsigned any = 0xFFFF;
    constexpr unsigned ascii = 0x00FF;
    constexpr unsigned continuation = 0x0F00;
    constexpr unsigned leads = 0xF000;
    constexpr unsigned c = 0x1000, e = 0x4000, f = 0x8000;

    FaultTables tables;
    tables.add(0x01, leads, any, ascii | leads); // a lead without its second byte
    tables.add(0x02, ascii, any, continuation);  // a continuation byte after ASCII
    tables.add(0x04, e, 0x0001, 0x0300);         // E0 80 to E0 9F: overlong
    tables.add(0x08, e, 0x2000, 0x0C00);         // ED A0 to ED BF: surrogates
    tables.add(0x10, c, 0x0003, continuation);   // C0 and C1: overlong
    tables.add(0x20, f, 0xFFF0, 0x0E00);         // F4 90 and more: too large
    tables.add(0x40, f, 0xFFE1, 0x0100);         // F0 80: overlong; F5 80 and more: too large
    tables.add(twoContinuations, continuation, any, continuation);
    return tables;
}

inline constexpr FaultTables faultTables = makeFaultTables();

} // namespace MorvexA106::UtfKernels
