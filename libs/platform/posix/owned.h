#pragma once

/// @file
/// Ownership of what the system hands out, and calls that signals interrupt.

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace MorvexA106::Platform
{

/// Closes its descriptor; `errno` stays what it was.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) noexcept : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const noexcept { return m_number; }
    explicit operator bool() const noexcept { return m_number >= 0; }
    int release() noexcept { return std::exchange(m_number, -1); }

    /// An interrupted close is not repeated: the number is free already and may be somebody else's by now.
    void reset() noexcept
    {
        if (m_number >= 0) {
            const int before = errno;
            ::close(release());
            errno = before;
        }
    }

private:
    int m_number;
};

/// Makes the call until no signal interrupts it.
template <class Call>
auto uninterrupted(Call call) noexcept
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace MorvexA106::Platform
