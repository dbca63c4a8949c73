#include "morvex/utfvectors.h"

#include <immintrin.h>

/// Code that the compiler may build with these instructions, whatever the rest of the library is built for.
#define MORVEX_AVX2 [[gnu::target("avx2,popcnt")]]
#define MORVEX_AVX2_PART [[gnu::target("avx2,popcnt"), gnu::always_inline]] inline

namespace MorvexA106::UtfKernels
{

namespace
{

using Vector = __m256i;

constexpr std::ptrdiff_t vectorBytes = 32;
constexpr std::ptrdiff_t vectorUnits = 16;

alignas(16) constexpr Shuffles unitShuffles = makeUnitShuffles();
alignas(16) constexpr Shuffles twoByteShuffles = makeTwoByteShuffles();
alignas(16) constexpr Shuffles threeByteShuffles = makeThreeByteShuffles();

template <class T>
MORVEX_AVX2_PART Vector load(const T* source) noexcept
{
    return _mm256_loadu_si256(reinterpret_cast<const Vector*>(source));
}

template <class T>
MORVEX_AVX2_PART void store(T* target, Vector vector) noexcept
{
    _mm256_storeu_si256(reinterpret_cast<Vector*>(target), vector);
}

MORVEX_AVX2_PART Vector allBytes(int value) noexcept
{
    return _mm256_set1_epi8(static_cast<char>(value));
}

MORVEX_AVX2_PART Vector allUnits(int value) noexcept
{
    return _mm256_set1_epi16(static_cast<short>(value));
}

/// The sign bit of every byte.
MORVEX_AVX2_PART std::uint32_t signs(Vector bytes) noexcept
{
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
}

MORVEX_AVX2_PART bool hasNone(Vector vector, Vector bits) noexcept
{
    return _mm256_testz_si256(vector, bits) != 0;
}

MORVEX_AVX2_PART std::size_t bitsIn(std::uint32_t bits) noexcept
{
    return static_cast<std::size_t>(_mm_popcnt_u32(bits));
}

/// Moves the bits of every byte by less than 8; those that cross into the neighbour are for the caller to mask.
MORVEX_AVX2_PART Vector left(Vector bytes, int bits) noexcept
{
    return _mm256_slli_epi16(bytes, bits);
}

MORVEX_AVX2_PART Vector right(Vector bytes, int bits) noexcept
{
    return _mm256_srli_epi16(bytes, bits);
}

MORVEX_AVX2_PART Vector both(Vector one, Vector other) noexcept
{
    return _mm256_and_si256(one, other);
}

MORVEX_AVX2_PART Vector either(Vector one, Vector other) noexcept
{
    return _mm256_or_si256(one, other);
}

/// `chosen` where the sign bit of a byte is set, `other` elsewhere.
MORVEX_AVX2_PART Vector choose(Vector bytes, Vector chosen, Vector other) noexcept
{
    return _mm256_blendv_epi8(other, chosen, bytes);
}

/// The sign bit of every byte that is `least` or more; `least` must be above 0x80.
MORVEX_AVX2_PART Vector atLeast(Vector bytes, int least) noexcept
{
    return _mm256_subs_epu8(bytes, allBytes(least - 0x80));
}

MORVEX_AVX2_PART Vector unitsAtLeast(Vector units, int least) noexcept
{
    return _mm256_cmpeq_epi16(_mm256_max_epu16(units, allUnits(least)), units);
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

MORVEX_AVX2_PART Block blockAfter(Vector previous, Vector bytes) noexcept
{
    const Vector middle = _mm256_permute2x128_si256(previous, bytes, 0x21);
    return {bytes, _mm256_alignr_epi8(bytes, middle, 15), _mm256_alignr_epi8(bytes, middle, 14),
            _mm256_alignr_epi8(bytes, middle, 13)};
}

/// Where there are three bytes before it. Loading them anew costs less than shifting.
MORVEX_AVX2_PART Block blockAt(const Byte* bytes) noexcept
{
    return {load(bytes), load(bytes - 1), load(bytes - 2), load(bytes - 3)};
}

MORVEX_AVX2_PART Vector lookUp(const Shuffle& table, Vector halves) noexcept
{
    const __m128i half = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data()));
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(half), both(halves, allBytes(0x0F)));
}

/// Not zero where the block isn't well-formed. A character that its end leaves unfinished is no fault.
MORVEX_AVX2_PART Vector faultsOf(const Block& block) noexcept
{
    const Vector first = both(lookUp(faultTables.firstHigh, right(block.before1, 4)),
                              lookUp(faultTables.firstLow, block.before1));
    const Vector faults = both(first, lookUp(faultTables.secondHigh, right(block.bytes, 4)));
    const Vector thirdOrFourth = either(atLeast(block.before2, 0xE0), atLeast(block.before3, 0xF0));
    return _mm256_xor_si256(faults, both(thirdOrFourth, allBytes(twoContinuations)));
}

MORVEX_AVX2_PART bool isZero(Vector vector) noexcept
{
    return hasNone(vector, vector);
}

/// True when a block with these signs may leave a character unfinished: its last byte isn't ASCII.
MORVEX_AVX2_PART bool mayEndInside(std::uint32_t signsOfBlock) noexcept
{
    return signsOfBlock >> 31 != 0;
}

MORVEX_AVX2_PART std::size_t countBegins(Vector bytes) noexcept
{
    return bitsIn(signs(_mm256_cmpgt_epi8(bytes, allBytes(0xBF))));
}

MORVEX_AVX2_PART std::size_t countFours(Vector bytes) noexcept
{
    return bitsIn(signs(atLeast(bytes, 0xF0)));
}

MORVEX_AVX2 Counted countUtf8Avx2(const Byte* source, const Byte* sourceEnd) noexcept
{
    Counted counted = {source, 0, 0};
    bool inside = false;
    for (; sourceEnd - counted.stop >= 2 * vectorBytes; counted.stop += 2 * vectorBytes) {
        const Vector first = load(counted.stop);
        const Vector second = load(counted.stop + vectorBytes);
        if (!inside && signs(either(first, second)) == 0) {
            counted.characters += 2 * vectorBytes;
            counted.units16 += 2 * vectorBytes;
            continue;
        }
        const Block block =
            counted.stop != source ? blockAt(counted.stop) : blockAfter(_mm256_setzero_si256(), first);
        if (!isZero(either(faultsOf(block), faultsOf(blockAt(counted.stop + vectorBytes))))) {
            break;
        }
        const std::size_t characters = countBegins(first) + countBegins(second);
        counted.characters += characters;
        counted.units16 += characters;
        if (signs(atLeast(_mm256_max_epu8(first, second), 0xF0)) != 0) {
            counted.units16 += countFours(first) + countFours(second);
        }
        inside = mayEndInside(signs(second));
    }
    return finishCount(counted, source, sourceEnd, sse2Kernels);
}

/// The bytes of the units that end at each byte of a block.
struct UnitHalves
{
    Vector low;
    Vector high;
};

/// For characters of up to three bytes; also right for the low byte of a low surrogate.
MORVEX_AVX2_PART UnitHalves halvesOf(const Block& block) noexcept
{
    const Vector isThird = _mm256_cmpgt_epi8(allBytes(0xC0), block.before1);
    const Vector lead = both(both(left(block.before2, 4), allBytes(0xF0)), isThird);
    const Vector low =
        either(both(block.bytes, allBytes(0x3F)), both(left(block.before1, 6), allBytes(0xC0)));
    const Vector high = either(both(right(block.before1, 2), allBytes(0x0F)), lead);
    return {choose(block.bytes, low, block.bytes), choose(block.bytes, high, _mm256_setzero_si256())};
}

/// The third byte of four gives the high surrogate 110110ww wwxxxxxx, where wwww is one less than the plane, and the
/// fourth the low one.
MORVEX_AVX2_PART UnitHalves withSurrogates(const Block& block, UnitHalves halves, Vector thirds,
                                           Vector fourths) noexcept
{
    const Vector planes =
        either(both(left(block.before2, 2), allBytes(0x1C)), both(right(block.before1, 4), allBytes(0x03)));
    const Vector w = _mm256_sub_epi8(planes, allBytes(1));
    const Vector x =
        either(both(left(block.before1, 2), allBytes(0x3C)), both(right(block.bytes, 4), allBytes(0x03)));
    const Vector highOfHigh = either(allBytes(0xD8), both(right(w, 2), allBytes(0x03)));
    const Vector lowOfHigh = either(both(left(w, 6), allBytes(0xC0)), x);
    const Vector highOfLow = either(allBytes(0xDC), both(right(block.before1, 2), allBytes(0x03)));
    return {choose(thirds, lowOfHigh, halves.low),
            choose(thirds, highOfHigh, choose(fourths, highOfLow, halves.high))};
}

MORVEX_AVX2_PART __m128i shuffled(__m128i bytes, const Shuffle& shuffle) noexcept
{
    return _mm_shuffle_epi8(bytes, _mm_load_si128(reinterpret_cast<const __m128i*>(shuffle.data())));
}

template <class T>
MORVEX_AVX2_PART void store(T* target, __m128i vector) noexcept
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), vector);
}

/// Writes those of 32 units whose bits are set, and overwrites up to 32 units.
MORVEX_AVX2_PART Unit* writeKept(Unit* target, UnitHalves halves, std::uint32_t kept) noexcept
{
    const Vector even = _mm256_unpacklo_epi8(halves.low, halves.high);
    const Vector odd = _mm256_unpackhi_epi8(halves.low, halves.high);
    store(target, shuffled(_mm256_castsi256_si128(even), unitShuffles[kept & 0xFF]));
    store(target + bitsIn(kept & 0xFF),
          shuffled(_mm256_castsi256_si128(odd), unitShuffles[kept >> 8 & 0xFF]));
    store(target + bitsIn(kept & 0xFFFF),
          shuffled(_mm256_extracti128_si256(even, 1), unitShuffles[kept >> 16 & 0xFF]));
    store(target + bitsIn(kept & 0xFFFFFF),
          shuffled(_mm256_extracti128_si256(odd, 1), unitShuffles[kept >> 24]));
    return target + bitsIn(kept);
}

/// Writes the units of all characters that end in the block, and the high surrogate of one that ends behind it.
MORVEX_AVX2_PART Unit* writeUnits(const Block& block, Unit* target) noexcept
{
    UnitHalves halves = halvesOf(block);
    const Vector thirds = atLeast(block.before2, 0xF0);
    const Vector fourths = atLeast(block.before3, 0xF0);
    if (signs(either(thirds, fourths)) != 0) {
        halves = withSurrogates(block, halves, thirds, fourths);
    }
    // Leads, and the second bytes of three and four, have no unit.
    const Vector without = either(both(block.bytes, left(block.bytes, 1)), atLeast(block.before1, 0xE0));
    return writeKept(target, halves, ~signs(without));
}

MORVEX_AVX2_PART void widen(Unit* target, Vector bytes) noexcept
{
    store(target, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(bytes)));
    store(target + vectorUnits, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(bytes, 1)));
}

MORVEX_AVX2 Converted<Byte, Unit> utf8ToUtf16Avx2(const Byte* source, const Byte* sourceEnd, Unit* target,
                                                  const Unit* targetEnd) noexcept
{
    const Byte* stop = source;
    Vector previous = _mm256_setzero_si256();
    bool inside = false;
    for (; sourceEnd - stop >= vectorBytes && targetEnd - target >= vectorBytes; stop += vectorBytes) {
        const Vector bytes = load(stop);
        const std::uint32_t signsOfBlock = signs(bytes);
        if (!inside && signsOfBlock == 0) {
            widen(target, bytes);
            target += vectorBytes;
            continue;
        }
        const Block block = blockAfter(previous, bytes);
        if (!isZero(faultsOf(block))) {
            break;
        }
        target = writeUnits(block, target);
        previous = bytes;
        inside = mayEndInside(signsOfBlock);
    }
    const Byte* const begin = unfinishedCharacter(source, stop);
    if (stop - begin == 3) {
        --target; // the high surrogate
    }
    return sse2Kernels.utf8ToUtf16(begin, sourceEnd, target, targetEnd);
}

// --- Blocks of UTF-16 ---------------------------------------------------------------------------------------

/// 16 units, all below 0x80.
MORVEX_AVX2_PART __m128i narrowed(Vector units) noexcept
{
    return _mm_packus_epi16(_mm256_castsi256_si128(units), _mm256_extracti128_si256(units, 1));
}

/// Copies units below 0x80 as long as there are two vectors of them.
MORVEX_AVX2_PART Converted<Unit, Byte> narrowRun(const Unit* source, const Unit* sourceEnd, Byte* target,
                                                 const Byte* targetEnd) noexcept
{
    while (sourceEnd - source >= 2 * vectorUnits && targetEnd - target >= vectorBytes) {
        const Vector first = load(source);
        const Vector second = load(source + vectorUnits);
        if (!hasNone(either(first, second), allUnits(0xFF80))) {
            break;
        }
        store(target, _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8));
        source += 2 * vectorUnits;
        target += 2 * vectorUnits;
    }
    return {source, target};
}

/// The last bytes of the characters in the high halves: a continuation byte, or ASCII.
MORVEX_AVX2_PART Vector lastBytes(Vector units, Vector notAscii) noexcept
{
    const Vector continuation = either(left(both(units, allUnits(0x3F)), 8), allUnits(0x8000));
    return choose(notAscii, continuation, left(units, 8));
}

/// Units below 0x800. Overwrites up to 32 bytes.
MORVEX_AVX2_PART Byte* writeTwoBytes(Vector units, Byte* target) noexcept
{
    const Vector notAscii = _mm256_cmpgt_epi16(units, allUnits(0x7F));
    const Vector leads = either(right(units, 6), allUnits(0xC0));
    const Vector bytes = either(lastBytes(units, notAscii), leads);
    const std::uint32_t bits = signs(_mm256_packs_epi16(notAscii, notAscii));
    store(target, shuffled(_mm256_castsi256_si128(bytes), twoByteShuffles[bits & 0xFF]));
    target += 8 + bitsIn(bits & 0xFF);
    store(target, shuffled(_mm256_extracti128_si256(bytes, 1), twoByteShuffles[bits >> 24]));
    return target + 8 + bitsIn(bits >> 24);
}

/// Which bytes of a unit are written besides the last: all bits of a unit are set or none.
struct Lengths
{
    Vector two;
    Vector three;
};

/// The lengths of four characters stand in the bits 0 to 3 and 8 to 11.
MORVEX_AVX2_PART Byte* writeFour(__m128i characters, std::uint32_t bits, Byte* target) noexcept
{
    const std::uint32_t mask = (bits & 0x0F) | (bits >> 4 & 0xF0);
    store(target, shuffled(characters, threeByteShuffles[mask]));
    return target + 4 + bitsIn(mask);
}

/// Writes units whose last two bytes are given, lead of two bytes or second of three first. Overwrites up to 64
/// bytes.
MORVEX_AVX2_PART Byte* writeThreeBytes(Vector units, Vector lastTwo, Lengths lengths, Byte* target) noexcept
{
    const Vector leads = either(both(right(units, 4), allUnits(0x0F00)), allUnits(0xE000));
    const Vector even = _mm256_unpacklo_epi16(leads, lastTwo);
    const Vector odd = _mm256_unpackhi_epi16(leads, lastTwo);
    // Per half: eight bits for two bytes, eight bits for three.
    const std::uint32_t bits = signs(_mm256_packs_epi16(lengths.two, lengths.three));
    target = writeFour(_mm256_castsi256_si128(even), bits, target);
    target = writeFour(_mm256_castsi256_si128(odd), bits >> 4, target);
    target = writeFour(_mm256_extracti128_si256(even, 1), bits >> 16, target);
    target = writeFour(_mm256_extracti128_si256(odd, 1), bits >> 20, target);
    return target;
}

MORVEX_AVX2_PART Vector lastTwoBytes(Vector units, Lengths lengths) noexcept
{
    const Vector second = either(both(right(units, 6), allUnits(0x3F)), allUnits(0x80));
    const Vector lead = either(both(right(units, 6), allUnits(0x1F)), allUnits(0xC0));
    return either(lastBytes(units, lengths.two), choose(lengths.three, second, lead));
}

struct Surrogates
{
    Vector high;
    Vector low;
};

MORVEX_AVX2_PART Surrogates surrogatesOf(Vector units) noexcept
{
    const Vector kinds = both(units, allUnits(0xFC00));
    return {_mm256_cmpeq_epi16(kinds, allUnits(0xD800)), _mm256_cmpeq_epi16(kinds, allUnits(0xDC00))};
}

/// A bit a unit.
MORVEX_AVX2_PART std::uint32_t bitsOfUnits(Vector masks) noexcept
{
    const Vector packed = _mm256_packs_epi16(masks, _mm256_setzero_si256());
    const std::uint32_t bits = signs(packed);
    return (bits & 0xFF) | (bits >> 8 & 0xFF00);
}

/// How many of the 16 units are pairs and other whole characters: all, all but a high surrogate at the end, or
/// none of them when there is a surrogate without a partner.
MORVEX_AVX2_PART std::ptrdiff_t wellFormedUnits(Surrogates surrogates) noexcept
{
    const std::uint32_t high = bitsOfUnits(surrogates.high);
    if (bitsOfUnits(surrogates.low) != (high << 1 & 0xFFFF)) {
        return 0;
    }
    return high >> 15 != 0 ? vectorUnits - 1 : vectorUnits;
}

/// Of the four bytes of a pair, 11110uuu 10uuxxxx 10xxyyyy 10yyyyyy, the high surrogate's unit takes the first two
/// and the low one's the others.
MORVEX_AVX2_PART Vector pairBytes(Vector units, Surrogates surrogates, Vector others) noexcept
{
    const Vector u = _mm256_add_epi16(both(right(units, 6), allUnits(0x0F)), allUnits(1));
    const Vector second = either(left(both(u, allUnits(0x03)), 12), left(both(units, allUnits(0x3C)), 6));
    const Vector highBytes = either(either(right(u, 2), second), allUnits(0x80F0));
    const Vector before = _mm256_alignr_epi8(units, _mm256_permute2x128_si256(units, units, 0x08), 14);
    const Vector third = either(left(both(before, allUnits(0x03)), 4), both(right(units, 6), allUnits(0x0F)));
    const Vector lowBytes = either(either(third, left(both(units, allUnits(0x3F)), 8)), allUnits(0x8080));
    return choose(surrogates.high, highBytes, choose(surrogates.low, lowBytes, others));
}

MORVEX_AVX2 Converted<Unit, Byte> utf16ToUtf8Avx2(const Unit* source, const Unit* sourceEnd, Byte* target,
                                                  const Byte* targetEnd) noexcept
{
    while (sourceEnd - source >= vectorUnits && targetEnd - target >= 2 * vectorBytes) {
        const Vector units = load(source);
        if (hasNone(units, allUnits(0xFF80))) {
            store(target, narrowed(units));
            const Converted<Unit, Byte> run =
                narrowRun(source + vectorUnits, sourceEnd, target + vectorUnits, targetEnd);
            source = run.source;
            target = run.target;
            continue;
        }
        if (hasNone(units, allUnits(0xF800))) {
            target = writeTwoBytes(units, target);
            source += vectorUnits;
            continue;
        }
        Lengths lengths = {unitsAtLeast(units, 0x80), unitsAtLeast(units, 0x800)};
        const Surrogates surrogates = surrogatesOf(units);
        const Vector anySurrogate = either(surrogates.high, surrogates.low);
        Vector lastTwo = lastTwoBytes(units, lengths);
        std::ptrdiff_t taken = vectorUnits;
        if (!isZero(anySurrogate)) {
            taken = wellFormedUnits(surrogates);
            if (taken == 0) {
                break;
            }
            lastTwo = pairBytes(units, surrogates, lastTwo);
            lengths.three = _mm256_andnot_si256(anySurrogate, lengths.three);
        }
        target = writeThreeBytes(units, lastTwo, lengths, target);
        target -= taken < vectorUnits ? 2 : 0;
        source += taken;
    }
    return sse2Kernels.utf16ToUtf8(source, sourceEnd, target, targetEnd);
}

/// Passes two vectors of units below 0x80 at a time.
MORVEX_AVX2_PART const Unit* endOfAscii(const Unit* source, const Unit* sourceEnd) noexcept
{
    while (sourceEnd - source >= 2 * vectorUnits &&
           hasNone(either(load(source), load(source + vectorUnits)), allUnits(0xFF80))) {
        source += 2 * vectorUnits;
    }
    return source;
}

MORVEX_AVX2 Sized utf8SizeOfUtf16Avx2(const Unit* source, const Unit* sourceEnd) noexcept
{
    Sized sized = {source, 0};
    while (sourceEnd - sized.stop >= vectorUnits) {
        const Vector units = load(sized.stop);
        if (hasNone(units, allUnits(0xFF80))) {
            const Unit* const end = endOfAscii(sized.stop + vectorUnits, sourceEnd);
            sized.bytes += static_cast<std::size_t>(end - sized.stop);
            sized.stop = end;
            continue;
        }
        const Surrogates surrogates = surrogatesOf(units);
        const Vector anySurrogate = either(surrogates.high, surrogates.low);
        std::ptrdiff_t taken = vectorUnits;
        if (!isZero(anySurrogate)) {
            taken = wellFormedUnits(surrogates);
            if (taken == 0) {
                break;
            }
        }
        const Vector three = _mm256_andnot_si256(anySurrogate, unitsAtLeast(units, 0x800));
        const std::size_t more = bitsIn(signs(_mm256_packs_epi16(unitsAtLeast(units, 0x80), three)));
        sized.bytes += vectorUnits + more - (taken < vectorUnits ? 2 : 0);
        sized.stop += taken;
    }
    const Sized rest = scalarKernels.utf8SizeOfUtf16(sized.stop, sourceEnd);
    return {rest.stop, sized.bytes + rest.bytes};
}

// --- Seven bits, and zero -----------------------------------------------------------------------------------

MORVEX_AVX2 Converted<Byte, Unit> widenAsciiAvx2(const Byte* source, const Byte* sourceEnd, Unit* target,
                                                 const Unit* targetEnd) noexcept
{
    while (sourceEnd - source >= vectorBytes && targetEnd - target >= vectorBytes) {
        const Vector bytes = load(source);
        if (signs(bytes) != 0) {
            break;
        }
        widen(target, bytes);
        source += vectorBytes;
        target += vectorBytes;
    }
    return sse2Kernels.widenAscii(source, sourceEnd, target, targetEnd);
}

MORVEX_AVX2 Converted<Unit, Byte> narrowAsciiAvx2(const Unit* source, const Unit* sourceEnd, Byte* target,
                                                  const Byte* targetEnd) noexcept
{
    const Converted<Unit, Byte> run = narrowRun(source, sourceEnd, target, targetEnd);
    return sse2Kernels.narrowAscii(run.source, sourceEnd, run.target, targetEnd);
}

MORVEX_AVX2 const Unit* findZeroAvx2(const Unit* source, const Unit* sourceEnd) noexcept
{
    for (; sourceEnd - source >= 2 * vectorUnits; source += 2 * vectorUnits) {
        const Vector least = _mm256_min_epu16(load(source), load(source + vectorUnits));
        if (signs(_mm256_cmpeq_epi16(least, _mm256_setzero_si256())) != 0) {
            break;
        }
    }
    return sse2Kernels.findZero(source, sourceEnd);
}

} // namespace

const Kernels avx2Kernels = {utf8ToUtf16Avx2, utf16ToUtf8Avx2, countUtf8Avx2, utf8SizeOfUtf16Avx2,
                             widenAsciiAvx2,  narrowAsciiAvx2, findZeroAvx2};

} // namespace MorvexA106::UtfKernels
