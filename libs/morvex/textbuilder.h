#pragma once

/// @file
/// A string whose end is written in place, for those who make text of a size that they know beforehand.

#include "morvex/sstringimpl.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace MorvexA106
{

/// Use it up with `take`. `extend` throws "bad allocation" as every append does.
template <class T, int M>
class TextBuilder : private SString_t<T, M>
{
    using Base = SString_t<T, M>;

public:
    TextBuilder() noexcept = default;

    /// Begins with an empty private buffer of capacity `units` + 33.
    explicit TextBuilder(std::uint64_t units) { Base::allocBuffer(units + 1); }

    /// Begins anew, with room for `units` units, in the memory of a string if nobody shares that.
    TextBuilder(Base&& used, std::uint64_t units) : Base(std::move(used))
    {
        if (Base::m_buffer->m_refCount.load(std::memory_order_acquire) == 1) {
            Base::terminateBuffer(0);
        } else {
            Base::releaseBuffer();
            Base::allocBuffer(units + 1);
        }
    }

    /// Appends `units` units of undefined content, to be filled by the caller; null for none. What was returned
    /// before is no longer valid.
    T* extend(std::uint64_t units) { return Base::concatAllocHelper(units); }

    /// Units so far.
    std::size_t length() const noexcept { return Base::m_buffer->m_length; }

    /// Units that can be had without a larger buffer.
    std::size_t room() const noexcept { return Base::m_buffer->m_capacity - length() - 1; }

    /// The room that an edit leaves.
    static constexpr std::size_t slack = 32;

    /// Takes back what was extended too far.
    void cutTo(std::size_t units) noexcept
    {
        if (units < length()) {
            Base::terminateBuffer(units);
        }
    }

    /// Gives back the room that is not needed but for the slack of an edit.
    void fit()
    {
        if (!Base::isEmpty()) {
            Base::growBuffer(length() + std::uint64_t{slack} + 1);
        }
    }

    Base take() noexcept { return std::move(static_cast<Base&>(*this)); }
};

} // namespace MorvexA106
