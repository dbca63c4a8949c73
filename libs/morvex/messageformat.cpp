#include "morvex/messageformat.h"

#include <cstring>

namespace MorvexA106
{

namespace
{

struct Marker
{
    std::size_t number;
    std::size_t digits;
};

bool isDigit(char byte) noexcept
{
    return byte >= '0' && byte <= '9';
}

/// The marker whose digits begin here; number 0 when it names no value.
Marker readMarker(const char* digits, std::size_t count) noexcept
{
    if (!isDigit(digits[0])) {
        return {0, 0};
    }
    const auto first = static_cast<std::size_t>(digits[0] - '0');
    if (isDigit(digits[1])) {
        const std::size_t both = first * 10 + static_cast<std::size_t>(digits[1] - '0');
        if (first != 0 && both <= count) {
            return {both, 2};
        }
    }
    return {first <= count ? first : 0, 1};
}

} // namespace

SAnsiString replaceMarkers(const char* message, std::span<const SAnsiString> values)
{
    SAnsiString text;
    if (message == nullptr) {
        return text;
    }
    while (const char* percent = std::strchr(message, '%')) {
        const Marker marker = readMarker(percent + 1, values.size());
        const char* next = percent + 1 + (marker.number != 0 ? marker.digits : 0);
        text += SAnsiString(std::string_view(
            message, static_cast<std::size_t>((marker.number != 0 ? percent : next) - message)));
        if (marker.number != 0) {
            text += values[marker.number - 1];
        }
        message = next;
    }
    text += message;
    return text;
}

} // namespace MorvexA106
