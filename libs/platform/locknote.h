#pragma once

/// @file
/// What a holder of a lock tells of itself: one more locked byte, far behind all that can be locked, whose place is the
/// message.
///
/// Such a note changes no file, ends with the lock's descriptor however its process dies, and is never there without
/// the lock, since it is made after the lock and goes before it or with it. From low to high the bits of its place are
///
///     variant 2, start stamp 14, process 22, where the lock begins 23, and one that is always set
///
/// so that all notes on locks that begin at one byte stand in one region. The stamp is a part of the time at which the
/// process started: by it a number that belongs to another process by now is told apart. The beginning is folded, and
/// exact below 8 MiB. The variants are for systems on which two holders can't lock the same byte.

#include <cstdint>

namespace MorvexA106::Platform
{

struct LockNote
{
    static constexpr int variantBits = 2;
    static constexpr int stampBits = 14;
    static constexpr int processBits = 22;
    static constexpr int beginBits = 23;

    /// Notes begin here, and what is locked must end here.
    static constexpr std::int64_t first = std::int64_t{1} << 61;

    /// Behind all notes.
    static constexpr std::int64_t last = first << 1;

    /// The bytes of a region.
    static constexpr std::int64_t regionSize = std::int64_t{1} << (variantBits + stampBits + processBits);

    std::uint32_t process;
    std::uint32_t stamp;

    /// The region of locks that begin at that byte.
    static constexpr std::int64_t regionOf(std::int64_t lockBegin) noexcept
    {
        std::int64_t folded = 0;
        for (; lockBegin != 0; lockBegin >>= beginBits) {
            folded ^= lockBegin;
        }
        return first + (folded & ((std::int64_t{1} << beginBits) - 1)) * regionSize;
    }

    /// A larger number finds no room, and its process says nothing. 0 is no process.
    constexpr bool canBeTold() const noexcept { return process != 0 && process < (1U << processBits); }

    constexpr std::int64_t placeIn(std::int64_t region, unsigned variant) const noexcept
    {
        const std::int64_t told = std::int64_t{process} << stampBits | stampOf(stamp);
        return region + (told << variantBits | variant);
    }

    static constexpr LockNote at(std::int64_t place) noexcept
    {
        const std::int64_t told = (place & (regionSize - 1)) >> variantBits;
        return {static_cast<std::uint32_t>(told >> stampBits), stampOf(static_cast<std::uint64_t>(told))};
    }

    /// The part of a start time that is told.
    static constexpr std::uint32_t stampOf(std::uint64_t time) noexcept
    {
        return static_cast<std::uint32_t>(time & ((1U << stampBits) - 1));
    }
};

static_assert(LockNote::first == LockNote::regionSize << LockNote::beginBits,
              "the regions end at twice the first");

} // namespace MorvexA106::Platform
