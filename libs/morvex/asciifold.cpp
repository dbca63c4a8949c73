#include "morvex/asciifold.h"

#include <cstdint>
#include <cstring>

namespace MorvexA106::AsciiFold
{

namespace
{

/// One block of bytes that is compared at once. The compiler has the instructions for it, or makes do.
template <std::size_t Size>
struct Block
{
    using Bytes [[gnu::vector_size(Size)]] = unsigned char;
};

constexpr bool isSame(unsigned char left, unsigned char right) noexcept
{
    const unsigned char small = left | 0x20;
    const bool bothCases = (left ^ right) == 0x20 && small - unsigned{'a'} < 26 && small != 'i';
    return left - 1u < 0x7F && (left == right || bothCases);
}

/// As `isSame` of every byte of the block.
template <std::size_t Size>
[[gnu::always_inline]] inline bool isSameBlock(const char* left, const char* right) noexcept
{
    using Bytes = typename Block<Size>::Bytes;
    Bytes l;
    Bytes r;
    std::memcpy(&l, left, Size);
    std::memcpy(&r, right, Size);
    const Bytes differs = l ^ r;
    const Bytes small = l | 0x20;
    const auto isLetter = (small - 'a' < 26) & (small != 'i');
    const auto isFolded = (differs == 0) | ((differs == 0x20) & isLetter);
    const auto isSame = isFolded & (l - 1 < 0x7F);
    std::uint64_t parts[Size / 8];
    std::memcpy(parts, &isSame, Size);
    std::uint64_t all = ~std::uint64_t{0};
    for (const std::uint64_t part : parts) {
        all &= part;
    }
    return all == ~std::uint64_t{0};
}

template <std::size_t Size>
[[gnu::always_inline]] inline std::size_t prefixInBlocks(const char* left, const char* right,
                                                         std::size_t length) noexcept
{
    std::size_t at = 0;
    while (at + Size <= length && isSameBlock<Size>(left + at, right + at)) {
        at += Size;
    }
    return at;
}

using Prefix = std::size_t(const char*, const char*, std::size_t) noexcept;

std::size_t prefixOf16(const char* left, const char* right, std::size_t length) noexcept
{
    return prefixInBlocks<16>(left, right, length);
}

[[gnu::target("avx2")]] std::size_t prefixOf32(const char* left, const char* right,
                                               std::size_t length) noexcept
{
    return prefixInBlocks<32>(left, right, length);
}

Prefix* bestPrefix() noexcept
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 ? prefixOf32 : prefixOf16;
}

} // namespace

std::size_t equalPrefix(const char* left, const char* right, std::size_t length) noexcept
{
    static Prefix* const inLargeBlocks = bestPrefix();
    std::size_t at = length < 64 ? 0 : inLargeBlocks(left, right, length);
    at += prefixInBlocks<8>(left + at, right + at, length - at);
    while (at < length &&
           isSame(static_cast<unsigned char>(left[at]), static_cast<unsigned char>(right[at]))) {
        ++at;
    }
    return at;
}

} // namespace MorvexA106::AsciiFold
