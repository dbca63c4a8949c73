#pragma once

/// @file
/// Slow and obvious conversions between the Unicode forms, one character at a time: what the library's must give.

#include "morvex/utfconverter.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace UtfOracle
{

using Byte = unsigned char;
using Unit = unsigned short;
using MorvexA106::ConversionResult;
using MorvexA106::SUcs4;

/// What a conversion gives: how it ends, how much of the source is behind its cursor, and what it has written.
template <class T>
struct Outcome
{
    ConversionResult result = MorvexA106::conversionSuccess;
    std::size_t consumed = 0;
    std::vector<T> written = {};
};

/// A row of Table 3-7 of The Unicode Standard; the bytes after the second are 80 to BF.
struct WellFormedRow
{
    Byte firstLow, firstHigh, secondLow, secondHigh;
    std::size_t length;
};

inline constexpr WellFormedRow wellFormedRows[] = {
    {0x00, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

/// Bytes of the well-formed character that the text begins with; 0 where none begins.
inline std::size_t wellFormedLength(const Byte* text, std::size_t size)
{
    for (const WellFormedRow& row : wellFormedRows) {
        if (size < row.length || text[0] < row.firstLow || text[0] > row.firstHigh) {
            continue;
        }
        bool good = row.length == 1 || (text[1] >= row.secondLow && text[1] <= row.secondHigh);
        for (std::size_t i = 2; i < row.length; ++i) {
            good = good && text[i] >= 0x80 && text[i] <= 0xBF;
        }
        return good ? row.length : 0;
    }
    return 0;
}

/// The value of a lead byte and the bytes that it announces, whatever they are, modulo 2^32; `length` is 0 when
/// the text ends inside.
struct Loose
{
    std::uint32_t value;
    std::size_t length;
};

inline Loose looseValue(const Byte* text, std::size_t size)
{
    static constexpr Byte firstLeads[] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    static constexpr std::uint32_t offsets[] = {0, 0x3080, 0xE2080, 0x3C82080, 0xFA082080, 0x82082080};
    std::size_t extra = 0;
    for (const Byte lead : firstLeads) {
        extra += text[0] >= lead ? 1 : 0;
    }
    if (size < extra + 1) {
        return {0, 0};
    }
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i <= extra; ++i) {
        sum = sum * 64 + text[i];
    }
    return {static_cast<std::uint32_t>(sum - offsets[extra]), extra + 1};
}

inline bool isHigh(std::uint32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

inline bool isLow(std::uint32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

template <class T>
bool pairBegins(const std::vector<T>& text, std::size_t at)
{
    return isHigh(text[at]) && at + 1 < text.size() && isLow(text[at + 1]);
}

/// The character at a place of UTF-16 or UCS-4, pairs joined, and the units it takes.
template <class T>
Loose joined(const std::vector<T>& text, std::size_t at)
{
    if (!pairBegins(text, at)) {
        return {static_cast<std::uint32_t>(text[at]), 1};
    }
    const std::uint32_t high = text[at] - 0xD800;
    const std::uint32_t low = text[at + 1] - 0xDC00;
    return {0x10000 + high * 0x400 + low, 2};
}

inline std::vector<Byte> asUtf8(std::uint32_t value)
{
    const auto rest = [value](int shift) { return static_cast<Byte>(0x80 + (value >> shift) % 64); };
    const auto lead = [value](int shift, int mark) { return static_cast<Byte>(mark + (value >> shift)); };
    if (value < 0x80) {
        return {static_cast<Byte>(value)};
    }
    if (value < 0x800) {
        return {lead(6, 0xC0), rest(0)};
    }
    if (value < 0x10000) {
        return {lead(12, 0xE0), rest(6), rest(0)};
    }
    if (value < 0x200000) {
        return {lead(18, 0xF0), rest(12), rest(6), rest(0)};
    }
    if (value < 0x4000000) {
        return {lead(24, 0xF8), rest(18), rest(12), rest(6), rest(0)};
    }
    if (value < 0x80000000) {
        return {lead(30, 0xFC), rest(24), rest(18), rest(12), rest(6), rest(0)};
    }
    return {0xFF, 0xBD};
}

inline std::vector<Unit> asUtf16(std::uint32_t value)
{
    if (value < 0x10000) {
        return {static_cast<Unit>(value)};
    }
    if (value < 0x110000) {
        const std::uint32_t above = value - 0x10000;
        return {static_cast<Unit>(0xD800 + above / 0x400), static_cast<Unit>(0xDC00 + above % 0x400)};
    }
    return {0xFFFD};
}

inline std::vector<SUcs4> asUcs4(std::uint32_t value)
{
    return {value < 0x110000 ? value : 0xFFFD};
}

/// False, and nothing appended, when there is no room.
template <class T>
bool append(std::vector<T>& written, const std::vector<T>& units, std::size_t room)
{
    if (written.size() + units.size() > room) {
        return false;
    }
    written.insert(written.end(), units.begin(), units.end());
    return true;
}

template <class T>
Outcome<T> fromUtf8(const std::vector<Byte>& source, std::size_t room, std::vector<T> (*as)(std::uint32_t))
{
    Outcome<T> outcome;
    while (outcome.consumed < source.size()) {
        const Loose loose = looseValue(source.data() + outcome.consumed, source.size() - outcome.consumed);
        if (loose.length == 0) {
            outcome.result = MorvexA106::sourceExhausted;
            break;
        }
        if (!append(outcome.written, as(loose.value), room)) {
            outcome.result = MorvexA106::targetExhausted;
            break;
        }
        outcome.consumed += loose.length;
    }
    return outcome;
}

/// From units of UTF-16 or UCS-4. `passesBy`: the source moves past a character that has no room. `joins`: pairs
/// are one character.
template <class S, class T>
Outcome<T> fromUnits(const std::vector<S>& source, std::size_t room, std::vector<T> (*as)(std::uint32_t),
                     bool passesBy, bool joins)
{
    Outcome<T> outcome;
    while (outcome.consumed < source.size()) {
        const std::size_t at = outcome.consumed;
        const Loose loose = joins ? joined(source, at) : Loose{static_cast<std::uint32_t>(source[at]), 1};
        const bool fits = append(outcome.written, as(loose.value), room);
        outcome.consumed += fits || passesBy ? loose.length : 0;
        if (!fits) {
            outcome.result = MorvexA106::targetExhausted;
            break;
        }
    }
    return outcome;
}

inline Outcome<Unit> utf8ToUtf16(const std::vector<Byte>& source, std::size_t room)
{
    return fromUtf8(source, room, asUtf16);
}

inline Outcome<SUcs4> utf8ToUcs4(const std::vector<Byte>& source, std::size_t room)
{
    return fromUtf8(source, room, asUcs4);
}

inline Outcome<Byte> utf16ToUtf8(const std::vector<Unit>& source, std::size_t room)
{
    return fromUnits(source, room, asUtf8, true, true);
}

inline Outcome<SUcs4> utf16ToUcs4(const std::vector<Unit>& source, std::size_t room)
{
    return fromUnits(source, room, asUcs4, false, true);
}

inline Outcome<Byte> ucs4ToUtf8(const std::vector<SUcs4>& source, std::size_t room)
{
    return fromUnits(source, room, asUtf8, true, true);
}

inline Outcome<Unit> ucs4ToUtf16(const std::vector<SUcs4>& source, std::size_t room)
{
    return fromUnits(source, room, asUtf16, false, false);
}

} // namespace UtfOracle
