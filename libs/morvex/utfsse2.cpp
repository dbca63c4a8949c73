#include "morvex/utfvectors.h"

#include <immintrin.h>

#include <bit>

/// Code that the compiler may build with these instructions, whatever the rest of the library is built for. Where a
/// processor may lack them, callers need not keep the stack aligned as they want it.
#define MORVEX_SSE2 [[gnu::target("sse2"), gnu::force_align_arg_pointer]]
#define MORVEX_SSE2_PART [[gnu::target("sse2"), gnu::always_inline]] inline

namespace MorvexA106::UtfKernels
{

namespace
{

using Vector = __m128i;

constexpr std::ptrdiff_t vectorBytes = 16;
constexpr std::ptrdiff_t vectorUnits = 8;

template <class T>
MORVEX_SSE2_PART Vector load(const T* source) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<const Vector*>(source));
}

template <class T>
MORVEX_SSE2_PART void store(T* target, Vector vector) noexcept
{
    _mm_storeu_si128(reinterpret_cast<Vector*>(target), vector);
}

MORVEX_SSE2_PART Vector allBytes(int value) noexcept
{
    return _mm_set1_epi8(static_cast<char>(value));
}

MORVEX_SSE2_PART Vector allUnits(int value) noexcept
{
    return _mm_set1_epi16(static_cast<short>(value));
}

/// The sign bit of every byte.
MORVEX_SSE2_PART std::uint32_t signs(Vector bytes) noexcept
{
    return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
}

MORVEX_SSE2_PART Vector either(Vector one, Vector other) noexcept
{
    return _mm_or_si128(one, other);
}

MORVEX_SSE2_PART Vector both(Vector one, Vector other) noexcept
{
    return _mm_and_si128(one, other);
}

/// The sign bit of every byte that is `least` or more; `least` must be above 0x80.
MORVEX_SSE2_PART Vector atLeast(Vector bytes, int least) noexcept
{
    return _mm_subs_epu8(bytes, allBytes(least - 0x80));
}

MORVEX_SSE2_PART Vector equal(Vector bytes, int value) noexcept
{
    return _mm_cmpeq_epi8(bytes, allBytes(value));
}

/// Of bytes from 0x80 on, those below `end`.
MORVEX_SSE2_PART Vector below(Vector bytes, int end) noexcept
{
    return _mm_cmplt_epi8(bytes, allBytes(end));
}

/// The number of bytes in a mask that are all ones; the others are zero. The processor need not know how to count
/// bits.
MORVEX_SSE2_PART std::size_t countOf(Vector mask) noexcept
{
    const Vector sums = _mm_sad_epu8(both(mask, allBytes(1)), _mm_setzero_si128());
    return static_cast<std::size_t>(_mm_extract_epi16(sums, 0)) +
           static_cast<std::size_t>(_mm_extract_epi16(sums, 4));
}

/// Those that are not below 0x80 among the first units of a text, as the bits of a mask say, `bits` of them a unit:
/// where they begin and where they end.
template <class T>
struct Run
{
    const T* begin;
    const T* end;
};

/// A run that reaches the vector's end goes on as far behind it as a character can, so that none is cut in two.
template <class T, int bits>
Run<T> firstRun(const T* source, const T* sourceEnd, std::uint32_t mask) noexcept
{
    constexpr std::ptrdiff_t units = 16 / bits;
    constexpr std::ptrdiff_t behind = bits == 1 ? 3 : 1;
    const std::ptrdiff_t begin = std::countr_zero(mask) / bits;
    const std::ptrdiff_t end = std::countr_one(mask >> std::countr_zero(mask)) / bits + begin;
    const std::ptrdiff_t most = end < units ? end : units + behind;
    return {source + begin, sourceEnd - source < most ? sourceEnd : source + most};
}

// --- Blocks of UTF-8 ----------------------------------------------------------------------------------------

/// A block, and at each of its bytes those that stand one, two and three before it.
struct Block
{
    Vector bytes;
    Vector before1;
    Vector before2;
    Vector before3;
};

MORVEX_SSE2_PART Block blockAfter(Vector previous, Vector bytes) noexcept
{
    return {bytes, either(_mm_slli_si128(bytes, 1), _mm_srli_si128(previous, 15)),
            either(_mm_slli_si128(bytes, 2), _mm_srli_si128(previous, 14)),
            either(_mm_slli_si128(bytes, 3), _mm_srli_si128(previous, 13))};
}

/// Signs of the second bytes that their leads don't allow: overlong forms, surrogates, and what is too large.
MORVEX_SSE2_PART Vector forbiddenSeconds(const Block& block) noexcept
{
    const Vector belowA0 = below(block.bytes, 0xA0);
    const Vector below90 = below(block.bytes, 0x90);
    const Vector tooSmall =
        either(both(equal(block.before1, 0xE0), belowA0), both(equal(block.before1, 0xF0), below90));
    const Vector tooLarge = either(_mm_andnot_si128(belowA0, equal(block.before1, 0xED)),
                                   _mm_andnot_si128(below90, equal(block.before1, 0xF4)));
    return either(tooSmall, tooLarge);
}

/// Not zero where the block isn't well-formed. A character that its end leaves unfinished is no fault.
MORVEX_SSE2_PART std::uint32_t faultsOf(const Block& block) noexcept
{
    const Vector continuations = below(block.bytes, 0xC0);
    const Vector wanted = either(atLeast(block.before1, 0xC0),
                                 either(atLeast(block.before2, 0xE0), atLeast(block.before3, 0xF0)));
    const Vector noLeads = either(equal(both(block.bytes, allBytes(0xFE)), 0xC0), atLeast(block.bytes, 0xF5));
    return signs(either(_mm_xor_si128(continuations, wanted), either(noLeads, forbiddenSeconds(block))));
}

MORVEX_SSE2 Counted countUtf8Sse2(const Byte* source, const Byte* sourceEnd) noexcept
{
    Counted counted = {source, 0, 0};
    Vector previous = _mm_setzero_si128();
    bool inside = false;
    for (; sourceEnd - counted.stop >= vectorBytes; counted.stop += vectorBytes) {
        const Vector bytes = load(counted.stop);
        const std::uint32_t signsOfBlock = signs(bytes);
        std::size_t characters = vectorBytes;
        std::size_t fours = 0;
        if (inside || signsOfBlock != 0) {
            if (faultsOf(blockAfter(previous, bytes)) != 0) {
                break;
            }
            characters = countOf(_mm_cmpgt_epi8(bytes, allBytes(0xBF)));
            fours = countOf(_mm_cmpeq_epi8(_mm_max_epu8(bytes, allBytes(0xF0)), bytes));
        }
        counted.characters += characters;
        counted.units16 += characters + fours;
        previous = bytes;
        inside = signsOfBlock >> 15 != 0; // the last byte isn't ASCII
    }
    return finishCount(counted, source, sourceEnd, scalarKernels);
}

MORVEX_SSE2_PART void widen(Unit* target, Vector bytes) noexcept
{
    store(target, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
    store(target + vectorUnits, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}

MORVEX_SSE2 Converted<Byte, Unit> utf8ToUtf16Sse2(const Byte* source, const Byte* sourceEnd, Unit* target,
                                                  const Unit* targetEnd) noexcept
{
    while (sourceEnd - source >= vectorBytes && targetEnd - target >= vectorBytes) {
        const Vector bytes = load(source);
        const std::uint32_t notAscii = signs(bytes);
        widen(target, bytes);
        if (notAscii == 0) {
            source += vectorBytes;
            target += vectorBytes;
            continue;
        }
        const Run<Byte> run = firstRun<Byte, 1>(source, sourceEnd, notAscii);
        target += run.begin - source;
        const Converted<Byte, Unit> after = scalarKernels.utf8ToUtf16(run.begin, run.end, target, targetEnd);
        if (after.source == run.begin) {
            return after;
        }
        source = after.source;
        target = after.target;
    }
    return scalarKernels.utf8ToUtf16(source, sourceEnd, target, targetEnd);
}

// --- Blocks of UTF-16 ---------------------------------------------------------------------------------------

/// Signs, two a unit, of the units from 0x80 on.
MORVEX_SSE2_PART std::uint32_t notAsciiUnits(Vector units) noexcept
{
    const Vector ascii = _mm_cmpeq_epi16(both(units, allUnits(0xFF80)), _mm_setzero_si128());
    return signs(ascii) ^ 0xFFFF;
}

/// Writes eight units below 0x80, and eight bytes that count for nothing.
MORVEX_SSE2_PART void narrow(Byte* target, Vector units) noexcept
{
    store(target, _mm_packus_epi16(units, units));
}

MORVEX_SSE2 Converted<Unit, Byte> utf16ToUtf8Sse2(const Unit* source, const Unit* sourceEnd, Byte* target,
                                                  const Byte* targetEnd) noexcept
{
    while (sourceEnd - source >= vectorUnits && targetEnd - target >= vectorBytes) {
        const Vector units = load(source);
        const std::uint32_t notAscii = notAsciiUnits(units);
        narrow(target, units);
        if (notAscii == 0) {
            source += vectorUnits;
            target += vectorUnits;
            continue;
        }
        const Run<Unit> run = firstRun<Unit, 2>(source, sourceEnd, notAscii);
        target += run.begin - source;
        const Converted<Unit, Byte> after = scalarKernels.utf16ToUtf8(run.begin, run.end, target, targetEnd);
        if (after.source == run.begin) {
            return after;
        }
        source = after.source;
        target = after.target;
    }
    return scalarKernels.utf16ToUtf8(source, sourceEnd, target, targetEnd);
}

/// Not zero where one of the units is a surrogate.
MORVEX_SSE2_PART std::uint32_t surrogatesIn(Vector units) noexcept
{
    return signs(_mm_cmpeq_epi16(both(units, allUnits(0xF800)), allUnits(0xD800)));
}

/// The mask of the units none of whose given bits is set.
MORVEX_SSE2_PART Vector without(Vector units, int bits) noexcept
{
    return _mm_cmpeq_epi16(both(units, allUnits(bits)), _mm_setzero_si128());
}

MORVEX_SSE2 Sized utf8SizeOfUtf16Sse2(const Unit* source, const Unit* sourceEnd) noexcept
{
    Sized sized = {source, 0};
    while (sourceEnd - sized.stop >= vectorUnits) {
        const Vector units = load(sized.stop);
        if (surrogatesIn(units) == 0) {
            const Vector fewer = _mm_packs_epi16(without(units, 0xFF80), without(units, 0xF800));
            sized.bytes += 3 * vectorUnits - countOf(fewer);
            sized.stop += vectorUnits;
            continue;
        }
        // A pair that begins with the last of the units isn't cut in two.
        const bool more =
            sourceEnd - sized.stop > vectorUnits && isHighSurrogate(sized.stop[vectorUnits - 1]);
        const Unit* const end = sized.stop + vectorUnits + (more ? 1 : 0);
        const Sized some = scalarKernels.utf8SizeOfUtf16(sized.stop, end);
        sized = {some.stop, sized.bytes + some.bytes};
        if (some.stop != end) {
            return sized;
        }
    }
    const Sized rest = scalarKernels.utf8SizeOfUtf16(sized.stop, sourceEnd);
    return {rest.stop, sized.bytes + rest.bytes};
}

// --- Seven bits, and zero -----------------------------------------------------------------------------------

MORVEX_SSE2 Converted<Byte, Unit> widenAsciiSse2(const Byte* source, const Byte* sourceEnd, Unit* target,
                                                 const Unit* targetEnd) noexcept
{
    while (sourceEnd - source >= vectorBytes && targetEnd - target >= vectorBytes) {
        const Vector bytes = load(source);
        const int ascii = std::countr_zero(signs(bytes) | 1u << vectorBytes);
        widen(target, bytes);
        source += ascii;
        target += ascii;
        if (ascii < vectorBytes) {
            return {source, target};
        }
    }
    return scalarKernels.widenAscii(source, sourceEnd, target, targetEnd);
}

MORVEX_SSE2 Converted<Unit, Byte> narrowAsciiSse2(const Unit* source, const Unit* sourceEnd, Byte* target,
                                                  const Byte* targetEnd) noexcept
{
    while (sourceEnd - source >= vectorUnits && targetEnd - target >= vectorBytes) {
        const Vector units = load(source);
        const int ascii = std::countr_zero(notAsciiUnits(units) | 1u << vectorBytes) / 2;
        narrow(target, units);
        source += ascii;
        target += ascii;
        if (ascii < vectorUnits) {
            return {source, target};
        }
    }
    return scalarKernels.narrowAscii(source, sourceEnd, target, targetEnd);
}

MORVEX_SSE2 const Unit* findZeroSse2(const Unit* source, const Unit* sourceEnd) noexcept
{
    for (; sourceEnd - source >= vectorUnits; source += vectorUnits) {
        const std::uint32_t zeros = signs(without(load(source), 0xFFFF));
        if (zeros != 0) {
            return source + std::countr_zero(zeros) / 2;
        }
    }
    return scalarKernels.findZero(source, sourceEnd);
}

} // namespace

const Kernels sse2Kernels = {utf8ToUtf16Sse2, utf16ToUtf8Sse2, countUtf8Sse2, utf8SizeOfUtf16Sse2,
                             widenAsciiSse2,  narrowAsciiSse2, findZeroSse2};

} // namespace MorvexA106::UtfKernels
