#include "morvex/asciifold.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <immintrin.h>

namespace MorvexA106::AsciiFold
{

namespace
{

/// What a block of bytes says, a bit for each.
struct Masks
{
    std::uint32_t same;
    std::uint32_t needsI;
};

/// Sixteen bytes each. Bytes from 0x80 up are negative numbers here, and so neither letters nor above zero.
[[gnu::target("sse2")]] inline Masks compareBlock(__m128i left, __m128i right) noexcept
{
    const __m128i differs = _mm_xor_si128(left, right);
    const __m128i small = _mm_or_si128(left, _mm_set1_epi8(0x20));
    const __m128i isLetter = _mm_and_si128(_mm_cmpgt_epi8(small, _mm_set1_epi8('a' - 1)),
                                           _mm_cmplt_epi8(small, _mm_set1_epi8('z' + 1)));
    const __m128i bothCases = _mm_and_si128(_mm_cmpeq_epi8(differs, _mm_set1_epi8(0x20)), isLetter);
    const __m128i equal = _mm_or_si128(_mm_cmpeq_epi8(differs, _mm_setzero_si128()), bothCases);
    const __m128i same = _mm_and_si128(equal, _mm_cmpgt_epi8(left, _mm_setzero_si128()));
    const __m128i isI = _mm_and_si128(bothCases, _mm_cmpeq_epi8(small, _mm_set1_epi8('i')));
    return {static_cast<std::uint32_t>(_mm_movemask_epi8(same)),
            static_cast<std::uint32_t>(_mm_movemask_epi8(isI))};
}

[[gnu::target("avx2")]] inline Masks compareBlock(__m256i left, __m256i right) noexcept
{
    const __m256i differs = _mm256_xor_si256(left, right);
    const __m256i small = _mm256_or_si256(left, _mm256_set1_epi8(0x20));
    const __m256i isLetter = _mm256_and_si256(_mm256_cmpgt_epi8(small, _mm256_set1_epi8('a' - 1)),
                                              _mm256_cmpgt_epi8(_mm256_set1_epi8('z' + 1), small));
    const __m256i bothCases = _mm256_and_si256(_mm256_cmpeq_epi8(differs, _mm256_set1_epi8(0x20)), isLetter);
    const __m256i equal = _mm256_or_si256(_mm256_cmpeq_epi8(differs, _mm256_setzero_si256()), bothCases);
    const __m256i same = _mm256_and_si256(equal, _mm256_cmpgt_epi8(left, _mm256_setzero_si256()));
    const __m256i isI = _mm256_and_si256(bothCases, _mm256_cmpeq_epi8(small, _mm256_set1_epi8('i')));
    return {static_cast<std::uint32_t>(_mm256_movemask_epi8(same)),
            static_cast<std::uint32_t>(_mm256_movemask_epi8(isI))};
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

/// Takes a block's answer in: true while the texts are the same. What lies behind a difference does not count.
template <std::uint32_t All>
bool extend(Prefix& prefix, std::size_t at, Masks masks) noexcept
{
    if (masks.same == All) {
        prefix.needsI |= masks.needsI != 0;
        prefix.length = at + std::bit_width(All);
        return true;
    }
    const int same = std::countr_one(masks.same);
    prefix.needsI |= (masks.needsI & ((1u << same) - 1)) != 0;
    prefix.length = at + static_cast<std::size_t>(same);
    return false;
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
    const Masks masks = compareBlock(loadHalves(left, length), loadHalves(right, length));
    if (masks.same == 0xFFFF) {
        return {length, masks.needsI != 0};
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
    Prefix prefix{0, false};
    std::size_t at = 0;
    for (; at + 16 < length; at += 16) {
        if (!extend<0xFFFF>(prefix, at, compareBlock(load16(left + at), load16(right + at)))) {
            return prefix;
        }
    }
    at = length - 16;
    extend<0xFFFF>(prefix, at, compareBlock(load16(left + at), load16(right + at)));
    return prefix;
}

[[gnu::target("avx2")]] Prefix prefixBy32(const char* left, const char* right, std::size_t length) noexcept
{
    if (length < 32) {
        return prefixBy16(left, right, length);
    }
    Prefix prefix{0, false};
    std::size_t at = 0;
    for (; at + 32 < length; at += 32) {
        if (!extend<0xFFFFFFFF>(prefix, at, compareBlock(load32(left + at), load32(right + at)))) {
            return prefix;
        }
    }
    at = length - 32;
    extend<0xFFFFFFFF>(prefix, at, compareBlock(load32(left + at), load32(right + at)));
    return prefix;
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
