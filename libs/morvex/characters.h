#pragma once

/// @file
/// The walk over text that no terminator ends, by the characters of the locale.

#include "platform/text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace MorvexA106::Characters
{

/// The character at `at`, which is before `end`, with a terminator behind it, as the locale's rules want it.
class Terminated
{
public:
    Terminated(const char* at, const char* end) noexcept
    {
        std::copy_n(at, std::min<std::ptrdiff_t>(end - at, Platform::maxCharacterBytes), m_bytes.data());
    }
    const char* get() const noexcept { return m_bytes.data(); }

private:
    std::array<char, Platform::maxCharacterBytes + 1> m_bytes{};
};

/// Bytes of the character at `at`, which is before `end`; a byte that is no character counts as one, and so does a
/// zero byte.
inline std::size_t sizeAt(const char* at, const char* end, Platform::LocaleText locale) noexcept
{
    if (static_cast<unsigned char>(*at) < 0x80 || locale.isSingleByte()) {
        return 1;
    }
    return static_cast<std::size_t>(std::max(locale.length(Terminated(at, end).get()), 1));
}

} // namespace MorvexA106::Characters
