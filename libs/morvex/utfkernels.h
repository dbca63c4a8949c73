#pragma once

/// @file
/// The inner loops of the Unicode conversions: each takes the longest prefix that it can and says where it
/// stopped. Well-formed is what The Unicode Standard's Table 3-7 allows: no overlong form, no surrogate, nothing
/// above U+10FFFF. What to do about the rest is the caller's business.
///
///     const Counted counted = countUtf8(text, text + size);
///     if (counted.stop == text + size) { ... counted.characters ... }
///
/// Every loop stops before the first thing that it does not take, never reads at or past an end and never writes
/// at or past the target's; between the place where the target stands afterwards and its end it may have. Source
/// and target must not overlap. An end before its begin is an empty range.
///
/// There is an implementation for every level of the processor; all give the same answers.

#include "morvex/export.h"

#include <cstddef>

namespace MorvexA106::UtfKernels
{

using Byte = unsigned char;
using Unit = unsigned short;

/// Where source and target stand after a conversion.
template <class Source, class Target>
struct Converted
{
    const Source* source;
    Target* target;
};

/// What a well-formed prefix of UTF-8 holds.
struct Counted
{
    const Byte* stop;
    std::size_t characters;
    std::size_t units16;
};

/// The bytes that a well-formed prefix of UTF-16 takes as UTF-8.
struct Sized
{
    const Unit* stop;
    std::size_t bytes;
};

/// One implementation of all loops.
struct Kernels
{
    Converted<Byte, Unit> (*utf8ToUtf16)(const Byte*, const Byte*, Unit*, const Unit*) noexcept;
    Converted<Unit, Byte> (*utf16ToUtf8)(const Unit*, const Unit*, Byte*, const Byte*) noexcept;
    Counted (*countUtf8)(const Byte*, const Byte*) noexcept;
    Sized (*utf8SizeOfUtf16)(const Unit*, const Unit*) noexcept;
    Converted<Byte, Unit> (*widenAscii)(const Byte*, const Byte*, Unit*, const Unit*) noexcept;
    Converted<Unit, Byte> (*narrowAscii)(const Unit*, const Unit*, Byte*, const Byte*) noexcept;
    const Unit* (*findZero)(const Unit*, const Unit*) noexcept;
};

enum class Level
{
    scalar,
    sse2,
    avx2
};

/// Null where the processor has no such level. For tests, which compare the levels with each other.
MORVEX_EXPORT const Kernels* kernelsOf(Level level) noexcept;

/// The best that the processor has, chosen at the first call.
MORVEX_EXPORT const Kernels& best() noexcept;

/// Stops before bytes that are not well-formed, before a sequence that the source's end cuts, and before a
/// character that has no room: a pair is written whole or not at all.
inline Converted<Byte, Unit> utf8ToUtf16(const Byte* source, const Byte* sourceEnd, Unit* target,
                                         const Unit* targetEnd) noexcept
{
    return best().utf8ToUtf16(source, sourceEnd, target, targetEnd);
}

/// Stops before a surrogate without its partner and before a character that has no room.
inline Converted<Unit, Byte> utf16ToUtf8(const Unit* source, const Unit* sourceEnd, Byte* target,
                                         const Byte* targetEnd) noexcept
{
    return best().utf16ToUtf8(source, sourceEnd, target, targetEnd);
}

/// Counts up to where `utf8ToUtf16` would stop if it had room without limit. Zero bytes are characters.
inline Counted countUtf8(const Byte* source, const Byte* sourceEnd) noexcept
{
    return best().countUtf8(source, sourceEnd);
}

/// Counts up to where `utf16ToUtf8` would stop if it had room without limit.
inline Sized utf8SizeOfUtf16(const Unit* source, const Unit* sourceEnd) noexcept
{
    return best().utf8SizeOfUtf16(source, sourceEnd);
}

/// Bytes below 0x80 become units; stops before the first other one.
inline Converted<Byte, Unit> widenAscii(const Byte* source, const Byte* sourceEnd, Unit* target,
                                        const Unit* targetEnd) noexcept
{
    return best().widenAscii(source, sourceEnd, target, targetEnd);
}

/// Units below 0x80 become bytes; stops before the first other one.
inline Converted<Unit, Byte> narrowAscii(const Unit* source, const Unit* sourceEnd, Byte* target,
                                         const Byte* targetEnd) noexcept
{
    return best().narrowAscii(source, sourceEnd, target, targetEnd);
}

/// The first zero unit, or the end.
inline const Unit* findZero(const Unit* source, const Unit* sourceEnd) noexcept
{
    return best().findZero(source, sourceEnd);
}

} // namespace MorvexA106::UtfKernels
