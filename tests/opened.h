#pragma once

#include "morvex/sstring.h"

#include <cstdint>
#include <new>
#include <string>

namespace MorvexA106
{

/// Opens the storage of a string to a test.
template <class Base>
class Opened : public Base
{
public:
    using Base::Base;
    using Base::operator=;
    using Base::concatAllocHelper;
    using Base::copyOnWrite;
    using Base::GetEmptyBuffer;
    using Base::IsEmptyBuffer;

    Opened() = default;
    Opened(const Base& text) : Base(text) {}

    std::uint32_t length() const { return this->m_buffer->m_length; }
    std::uint32_t capacity() const { return this->m_buffer->m_capacity; }
    std::int32_t count() const { return this->m_buffer->m_refCount.load(); }
    bool onEmptyBuffer() const { return Base::IsEmptyBuffer(this->m_buffer); }
};

} // namespace MorvexA106
