#pragma once

/// @file
/// One character at a time: the implementation that needs nothing of the processor, the tail of the others, and
/// what they are checked against.

#include "morvex/utfkernels.h"
#include "platform/utf16.h"

#include <cstdint>

namespace MorvexA106::UtfKernels
{

extern const Kernels scalarKernels;

using Platform::isHighSurrogate;
using Platform::isLowSurrogate;
using Platform::joinSurrogates;
using Platform::writePair;

inline bool isSurrogate(std::uint32_t unit) noexcept
{
    return (unit & 0xFFFFF800u) == 0xD800;
}

/// Writes the character as that many bytes, 1 to 6, whether they are the right number for it or not.
inline void writeUtf8(std::uint32_t character, int size, Byte* target) noexcept
{
    static constexpr Byte marks[] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    if (size == 1) {
        *target = static_cast<Byte>(character);
        return;
    }
    for (int last = size - 1; last > 0; --last) {
        target[last] = static_cast<Byte>(0x80 | (character & 0x3F));
        character >>= 6;
    }
    target[0] = static_cast<Byte>(marks[size] | character);
}

} // namespace MorvexA106::UtfKernels
