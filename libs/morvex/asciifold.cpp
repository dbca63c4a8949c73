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

template <LetterI I>
constexpr bool isSame(unsigned char left, unsigned char right) noexcept
{
    const unsigned char small = left | 0x20;
    const bool bothCases =
        (left ^ right) == 0x20 && small - unsigned{'a'} < 26 && (I == LetterI::folded || small != 'i');
    return left - 1u < 0x7F && (left == right || bothCases);
}

/// As `isSame` of every byte of the block.
template <LetterI I, std::size_t Size>
[[gnu::always_inline]] inline bool isSameBlock(const char* left, const char* right) noexcept
{
    using Bytes = typename Block<Size>::Bytes;
    Bytes l;
    Bytes r;
    std::memcpy(&l, left, Size);
    std::memcpy(&r, right, Size);
    const Bytes differs = l ^ r;
    const Bytes small = l | 0x20;
    auto isLetter = small - 'a' < 26;
    if constexpr (I == LetterI::apart) {
        isLetter &= small != 'i';
    }
    const auto isSame = ((differs == 0) | ((differs == 0x20) & isLetter)) & (l - 1 < 0x7F);
    std::uint64_t parts[Size / 8];
    std::memcpy(parts, &isSame, Size);
    std::uint64_t all = ~std::uint64_t{0};
    for (const std::uint64_t part : parts) {
        all &= part;
    }
    return all == ~std::uint64_t{0};
}

/// The last block may overlap the one before it.
template <LetterI I, std::size_t Size>
[[gnu::always_inline]] inline std::size_t prefixInBlocks(const char* left, const char* right,
                                                         std::size_t length) noexcept
{
    std::size_t at = 0;
    while (at + Size <= length && isSameBlock<I, Size>(left + at, right + at)) {
        at += Size;
    }
    const bool tail = at < length && at + Size > length && length >= Size;
    return tail && isSameBlock<I, Size>(left + length - Size, right + length - Size) ? length : at;
}

template <LetterI I>
std::size_t prefixOf16(const char* left, const char* right, std::size_t length) noexcept
{
    return prefixInBlocks<I, 16>(left, right, length);
}

template <LetterI I>
[[gnu::target("avx2")]] std::size_t prefixOf32(const char* left, const char* right,
                                               std::size_t length) noexcept
{
    return prefixInBlocks<I, 32>(left, right, length);
}

template <LetterI I>
std::size_t prefixOfLong(const char* left, const char* right, std::size_t length) noexcept
{
    static const bool hasLargeBlocks = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return hasLargeBlocks ? prefixOf32<I>(left, right, length) : prefixOf16<I>(left, right, length);
}

template <LetterI I>
std::size_t prefix(const char* left, const char* right, std::size_t length) noexcept
{
    std::size_t at = length < 64 ? 0 : prefixOfLong<I>(left, right, length);
    at += prefixInBlocks<I, 8>(left + at, right + at, length - at);
    while (at < length &&
           isSame<I>(static_cast<unsigned char>(left[at]), static_cast<unsigned char>(right[at]))) {
        ++at;
    }
    return at;
}

} // namespace

std::size_t equalPrefix(const char* left, const char* right, std::size_t length, LetterI letterI) noexcept
{
    return letterI == LetterI::apart ? prefix<LetterI::apart>(left, right, length)
                                     : prefix<LetterI::folded>(left, right, length);
}

} // namespace MorvexA106::AsciiFold
