#include "morvex/asciifold.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <immintrin.h>

namespace MorvexA106::AsciiFold
{

namespace
{

/// Sixteen bytes each. What is so is all ones, byte by byte.
struct Block16
{
    __m128i same;   ///< the same without case, ASCII and not zero
    __m128i bothIs; ///< the two cases of the letter i
};

struct Block32
{
    __m256i same;
    __m256i bothIs;
};

/// Moves 'a' to the smallest number that a signed byte has, so that one comparison finds the 26 letters.
constexpr char letterShift = static_cast<char>(-128 - 'a');
constexpr char behindLetters = -128 + 26;

/// Bytes from 0x80 up are negative numbers here, and so neither letters nor above zero.
[[gnu::target("sse2")]] inline Block16 compareBlock(__m128i left, __m128i right) noexcept
{
    const __m128i differs = _mm_xor_si128(left, right);
    const __m128i small = _mm_or_si128(left, _mm_set1_epi8(0x20));
    const __m128i isLetter =
        _mm_cmplt_epi8(_mm_add_epi8(small, _mm_set1_epi8(letterShift)), _mm_set1_epi8(behindLetters));
    const __m128i bothCases = _mm_and_si128(_mm_cmpeq_epi8(differs, _mm_set1_epi8(0x20)), isLetter);
    const __m128i equal = _mm_or_si128(_mm_cmpeq_epi8(differs, _mm_setzero_si128()), bothCases);
    return {_mm_and_si128(equal, _mm_cmpgt_epi8(left, _mm_setzero_si128())),
            _mm_and_si128(bothCases, _mm_cmpeq_epi8(small, _mm_set1_epi8('i')))};
}

[[gnu::target("avx2")]] inline Block32 compareBlock(__m256i left, __m256i right) noexcept
{
    const __m256i differs = _mm256_xor_si256(left, right);
    const __m256i small = _mm256_or_si256(left, _mm256_set1_epi8(0x20));
    const __m256i isLetter = _mm256_cmpgt_epi8(_mm256_set1_epi8(behindLetters),
                                               _mm256_add_epi8(small, _mm256_set1_epi8(letterShift)));
    const __m256i bothCases = _mm256_and_si256(_mm256_cmpeq_epi8(differs, _mm256_set1_epi8(0x20)), isLetter);
    const __m256i equal = _mm256_or_si256(_mm256_cmpeq_epi8(differs, _mm256_setzero_si256()), bothCases);
    return {_mm256_and_si256(equal, _mm256_cmpgt_epi8(left, _mm256_setzero_si256())),
            _mm256_and_si256(bothCases, _mm256_cmpeq_epi8(small, _mm256_set1_epi8('i')))};
}

/// One byte after the other: for what is shorter than a block.
Prefix prefixByBytes(const char* left, const char* right, std::size_t length) noexcept
{
    Prefix prefix{0, false};
    for (; prefix.length < length; ++prefix.length) {
        const auto l = static_cast<unsigned char>(left[prefix.length]);
        const auto r = static_cast<unsigned char>(right[prefix.length]);
        const bool bothCases = (l ^ r) == 0x20 && (l | 0x20) - unsigned{'a'} < 26;
        if (l - 1u >= 0x7F || (l != r && !bothCases)) {
            break;
        }
        prefix.needsI |= bothCases && (l | 0x20) == 'i';
    }
    return prefix;
}

/// The prefix that ends in the block at `at`, of whose bytes, a bit each, not all are the same.
Prefix endedBy(std::uint32_t same, std::uint32_t bothIs, std::size_t at, bool needsI) noexcept
{
    const int length = std::countr_one(same);
    return {at + static_cast<std::size_t>(length), needsI || (bothIs & ((1u << length) - 1)) != 0};
}

/// Both halves of 8 to 16 bytes, which may overlap, as one block.
[[gnu::target("sse2")]] __m128i loadHalves(const char* text, std::size_t length) noexcept
{
    std::int64_t halves[2];
    std::memcpy(&halves[0], text, 8);
    std::memcpy(&halves[1], text + length - 8, 8);
    return _mm_set_epi64x(halves[1], halves[0]);
}

[[gnu::target("sse2")]] Prefix prefixByHalves(const char* left, const char* right,
                                              std::size_t length) noexcept
{
    const Block16 block = compareBlock(loadHalves(left, length), loadHalves(right, length));
    if (_mm_movemask_epi8(block.same) == 0xFFFF) {
        return {length, _mm_movemask_epi8(block.bothIs) != 0};
    }
    return prefixByBytes(left, right, length); // a difference is near
}

[[gnu::target("sse2")]] __m128i load16(const char* text) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
}

[[gnu::target("avx2")]] __m256i load32(const char* text) noexcept
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
}

/// Blocks; the last one ends with the text and may overlap the one before it.
[[gnu::target("sse2")]] Prefix prefixBy16(const char* left, const char* right, std::size_t length) noexcept
{
    if (length < 16) {
        return length < 8 ? prefixByBytes(left, right, length) : prefixByHalves(left, right, length);
    }
    __m128i bothIs = _mm_setzero_si128();
    for (std::size_t at = 0; at < length; at += 16) {
        at = std::min(at, length - 16);
        const Block16 block = compareBlock(load16(left + at), load16(right + at));
        const auto same = static_cast<std::uint32_t>(_mm_movemask_epi8(block.same));
        if (same != 0xFFFF) {
            return endedBy(same, static_cast<std::uint32_t>(_mm_movemask_epi8(block.bothIs)), at,
                           _mm_movemask_epi8(bothIs) != 0);
        }
        bothIs = _mm_or_si128(bothIs, block.bothIs);
    }
    return {length, _mm_movemask_epi8(bothIs) != 0};
}

[[gnu::target("avx2")]] Prefix prefixBy32(const char* left, const char* right, std::size_t length) noexcept
{
    if (length < 32) {
        return prefixBy16(left, right, length);
    }
    __m256i bothIs = _mm256_setzero_si256();
    for (std::size_t at = 0; at < length; at += 32) {
        at = std::min(at, length - 32);
        const Block32 block = compareBlock(load32(left + at), load32(right + at));
        const auto same = static_cast<std::uint32_t>(_mm256_movemask_epi8(block.same));
        if (same != UINT32_MAX) {
            return endedBy(same, static_cast<std::uint32_t>(_mm256_movemask_epi8(block.bothIs)), at,
                           _mm256_movemask_epi8(bothIs) != 0);
        }
        bothIs = _mm256_or_si256(bothIs, block.bothIs);
    }
    return {length, _mm256_movemask_epi8(bothIs) != 0};
}

using Implementation = Prefix(const char*, const char*, std::size_t) noexcept;

Implementation* best() noexcept
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0   ? prefixBy32
           : __builtin_cpu_supports("sse2") != 0 ? prefixBy16
                                                 : prefixByBytes;
}

} // namespace

Prefix equalPrefix(const char* left, const char* right, std::size_t length) noexcept
{
    static Implementation* const implementation = best();
    return implementation(left, right, length);
}

} // namespace MorvexA106::AsciiFold
