#include "leastwork.h"

#include "bench.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <immintrin.h>
#include <memory>

namespace TextBench
{

namespace
{

/// Bytes that continue a character are the signed numbers up to this.
constexpr char lastContinuation = -65;

/// A byte counts at most this many hits before it must be added up.
constexpr std::size_t blocksPerSum = 255;

std::size_t countOneByOne(const char* at, const char* end)
{
    std::size_t characters = 0;
    for (; at < end; ++at) {
        characters += *at > lastContinuation ? 1 : 0;
    }
    return characters;
}

struct Field
{
    std::uint32_t offset;
    std::uint32_t length;
};

} // namespace

bool hasAvx2()
{
    return __builtin_cpu_supports("avx2") != 0;
}

std::size_t countBySse2(const std::string& text)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    const __m128i zero = _mm_setzero_si128();
    __m128i total = zero;
    while (end - at >= 16) {
        const auto left = static_cast<std::size_t>(end - at) / 16;
        const char* const stop = at + 16 * std::min(left, blocksPerSum);
        __m128i hits = zero;
        for (; at < stop; at += 16) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
            hits = _mm_sub_epi8(hits, _mm_cmpgt_epi8(block, _mm_set1_epi8(lastContinuation)));
        }
        total = _mm_add_epi64(total, _mm_sad_epu8(hits, zero));
    }
    const auto sum = _mm_cvtsi128_si64(_mm_add_epi64(total, _mm_unpackhi_epi64(total, total)));
    return static_cast<std::size_t>(sum) + countOneByOne(at, end);
}

__attribute__((target("avx2"))) std::size_t countByAvx2(const std::string& text)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    const __m256i zero = _mm256_setzero_si256();
    __m256i total = zero;
    while (end - at >= 32) {
        const auto left = static_cast<std::size_t>(end - at) / 32;
        const char* const stop = at + 32 * std::min(left, blocksPerSum);
        __m256i hits = zero;
        for (; at < stop; at += 32) {
            const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
            hits = _mm256_sub_epi8(hits, _mm256_cmpgt_epi8(block, _mm256_set1_epi8(lastContinuation)));
        }
        total = _mm256_add_epi64(total, _mm256_sad_epu8(hits, zero));
    }
    const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(total), _mm256_extracti128_si256(total, 1));
    const auto sum = _mm_cvtsi128_si64(_mm_add_epi64(halves, _mm_unpackhi_epi64(halves, halves)));
    return static_cast<std::size_t>(sum) + countOneByOne(at, end);
}

std::size_t walkByLeadByte(const char* text)
{
    std::size_t characters = 0;
    while (*text != 0) {
        const auto lead = static_cast<unsigned char>(*text);
        text += lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        ++characters;
    }
    return characters;
}

std::size_t splitIntoOneBlock(const std::string& line)
{
    constexpr std::size_t maxFields = 32;
    const auto block = std::make_unique_for_overwrite<char[]>(maxFields * sizeof(Field) + line.size() + 1);
    char* const copy = block.get() + maxFields * sizeof(Field);
    std::memcpy(copy, line.c_str(), line.size() + 1);
    std::size_t count = 0;
    std::uint32_t begin = 0;
    const auto addField = [&](std::uint32_t end) {
        const Field field{begin, end - begin};
        std::memcpy(&block[count++ * sizeof field], &field, sizeof field);
        begin = end + 1;
    };
    std::uint32_t at = 0;
    for (; at + 16 <= line.size(); at += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(copy + at));
        auto commas = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(','))));
        for (; commas != 0; commas &= commas - 1) {
            addField(at + static_cast<std::uint32_t>(std::countr_zero(commas)));
        }
    }
    for (; at < line.size(); ++at) {
        if (copy[at] == ',') {
            addField(at);
        }
    }
    addField(at);
    Bench::keep(block);
    return count;
}

} // namespace TextBench
