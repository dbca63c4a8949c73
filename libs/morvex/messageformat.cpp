#include "morvex/messageformat.h"

#include "platform/text.h"

#include <cstring>

namespace MorvexA106
{

namespace
{

/// What stands at a marker character: how many bytes it takes, and which value it names, 0 for none.
struct Marker
{
    std::size_t size;
    std::size_t number;
};

bool isDigit(char byte) noexcept
{
    return byte >= '0' && byte <= '9';
}

Marker readMarker(const char* at, std::size_t count, const MarkerStyle& style) noexcept
{
    if (style.doubledIsOne && at[1] == style.marker) {
        return {2, 0};
    }
    const std::size_t first = isDigit(at[1]) ? static_cast<std::size_t>(at[1] - '0') : 0;
    if (first == 0) {
        return {1, 0};
    }
    if (isDigit(at[2])) {
        const std::size_t both = first * 10 + static_cast<std::size_t>(at[2] - '0');
        if (both <= count) {
            return {3, both};
        }
    }
    return first <= count ? Marker{2, first} : Marker{1, 0};
}

/// No character of several bytes has one of these behind its first byte, in any code set in use.
constexpr bool standsAlone(char byte) noexcept
{
    return byte > 0 && byte < '0';
}

/// Null where there is no further marker.
const char* findMarker(const char* text, char marker) noexcept
{
    if (standsAlone(marker)) {
        return std::strchr(text, marker);
    }
    const auto locale = Platform::LocaleText::current();
    int step = locale.step(text);
    while (step != 0 && (step != 1 || *text != marker)) {
        text += step;
        step = locale.step(text);
    }
    return step != 0 ? text : nullptr;
}

} // namespace

SAnsiString replaceMarkers(const char* message, std::span<const SAnsiString> values, const MarkerStyle& style)
{
    SAnsiString text;
    if (message == nullptr) {
        return text;
    }
    while (const char* at = findMarker(message, style.marker)) {
        const Marker marker = readMarker(at, values.size(), style);
        text.concat(message, static_cast<unsigned int>(at - message));
        if (marker.number != 0) {
            text += values[marker.number - 1];
        } else {
            text += style.marker;
        }
        message = at + marker.size;
    }
    text += message;
    return text;
}

} // namespace MorvexA106
