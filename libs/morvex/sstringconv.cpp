#include "morvex/sstringconv.h"

#include "morvex/checks.h"
#include "morvex/textbuilder.h"
#include "platform/numberformat.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

namespace MorvexA106
{

namespace
{

using NumberText::Bounded;

using NumberText::putReal;
using NumberText::realRoom;

/// 99 for what is no digit in any base.
unsigned int digitOf(unsigned int unit) noexcept
{
    const unsigned int letter = (unit | 0x20) - 'a';
    return unit - '0' < 10 ? unit - '0' : letter < 26 ? letter + 10 : 99;
}

/// The digit of a value below 36.
template <class T>
T digitUnit(std::uint64_t value) noexcept
{
    return static_cast<T>(value < 10 ? '0' + value : 'a' + (value - 10));
}

/// In the base of 2 to the power of `bits`; returns the end.
template <class T>
T* writeByShifting(T* at, std::uint64_t value, int bits) noexcept
{
    T* end = at + 1;
    for (std::uint64_t rest = value >> bits; rest != 0; rest >>= bits) {
        ++end;
    }
    for (T* digit = end; digit != at; value >>= bits) {
        *--digit = digitUnit<T>(value & ((1u << bits) - 1));
    }
    return end;
}

template <class T>
T* writeByDividing(T* at, std::uint64_t value, unsigned int base) noexcept
{
    T digits[64];
    T* const end = digits + 64;
    T* begin = end;
    do {
        *--begin = digitUnit<T>(value % base);
        value /= base;
    } while (value != 0);
    return std::copy(begin, end, at);
}

/// Both sign and digits; returns the end.
template <class T>
T* putInteger(T* at, std::uint64_t magnitude, bool negative, unsigned int base) noexcept
{
    *at = '-';
    at += negative ? 1 : 0;
    return base == 10 ? NumberText::writeDecimal(at, magnitude)
                      : NumberText::writeInBase(at, magnitude, base);
}

/// Copies text and terminator when there is room for both; its length, or 0.
template <class T>
unsigned int copyInto(std::span<T> buffer, const T* begin, const T* end) noexcept
{
    const auto length = static_cast<std::size_t>(end - begin);
    if (buffer.size() <= length) {
        return 0;
    }
    *std::copy(begin, end, buffer.data()) = 0;
    return static_cast<unsigned int>(length);
}

/// 7-bit text as units of another width.
template <class T>
unsigned int copyInto(std::span<T> buffer, std::string_view text) noexcept
{
    T units[realRoom];
    std::copy(text.begin(), text.end(), units);
    return copyInto<T>(buffer, units, units + text.size());
}

template <class T, int M>
TextBuilder<T, M> builderFor(const SString_t<T, M>*, std::size_t room)
{
    return TextBuilder<T, M>(room);
}

/// A string that `put(begin)` fills, for which at most `room` units are needed; it returns the end.
template <class S, class Put>
S built(std::size_t room, Put put)
{
    auto text = builderFor(static_cast<const S*>(nullptr), room);
    auto* const begin = text.extend(room);
    text.cutTo(static_cast<std::size_t>(put(begin) - begin));
    return S(text.take());
}

template <class T>
bool isWord(Bounded<T> text, std::string_view lowerCase) noexcept
{
    return std::equal(text.at, text.end, lowerCase.begin(), lowerCase.end(),
                      [](T unit, unsigned char wanted) {
                          const unsigned int code = static_cast<std::make_unsigned_t<T>>(unit);
                          return code == wanted || (code - 'A' < 26 && (code | 0x20) == wanted);
                      });
}

std::string_view truthText(bool value) noexcept
{
    return value ? "true" : "false";
}

template <class F>
SAnsiString localReal(F value)
{
    const Platform::DecimalSign sign = Platform::decimalSign();
    char digits[realRoom];
    const char* const end = putReal(digits, value);
    const char* const point = std::find(static_cast<const char*>(digits), end, '.');
    return built<SAnsiString>(realRoom + sizeof sign.bytes, [&](char* at) {
        at = std::copy(static_cast<const char*>(digits), point, at);
        if (point == end) {
            return at;
        }
        at = std::copy_n(sign.bytes, sign.length, at);
        return std::copy(point + 1, end, at);
    });
}

template <class F>
bool readLocal(std::string_view text, F& value)
{
    const Platform::DecimalSign sign = Platform::decimalSign();
    const std::string_view local(sign.bytes, sign.length);
    if (local == ".") {
        return NumberText::readReal(text, value);
    }
    const std::size_t found = text.find(local);
    if (text.find('.') != std::string_view::npos) {
        return false;
    }
    if (found == std::string_view::npos) {
        return NumberText::readReal(text, value);
    }
    const auto neutral = built<SAsciiString>(text.size() + 1, [&](char* at) {
        at += text.copy(at, found);
        *at++ = '.';
        return at + text.copy(at, text.size(), found + local.size());
    });
    return NumberText::readReal(neutral.view(), value);
}

} // namespace

namespace NumberText
{

bool checkBase(unsigned int base)
{
    const bool known = base >= 2 && base <= 36;
    MORVEX_CHECK(known, "base >= 2 && base <= 36");
    return known;
}

bool isTakenAsUnusual(std::string_view text) noexcept
{
    if (text.back() == ')') {
        return false;
    }
    const std::size_t at = text.find_first_of("123456789eE");
    return at == std::string_view::npos || text[at] == 'e' || text[at] == 'E';
}

template <class T>
T* writeInBase(T* at, std::uint64_t value, unsigned int base) noexcept
{
    return std::has_single_bit(base) ? writeByShifting(at, value, std::countr_zero(base))
                                     : writeByDividing(at, value, base);
}

template <class T>
bool takeInBase(Bounded<T>& text, unsigned int base, std::uint64_t& value) noexcept
{
    const std::uint64_t most = UINT64_MAX / base;
    const T* const begin = text.at;
    std::uint64_t sum = 0;
    for (unsigned int digit = digitOf(text.unit()); digit < base; digit = digitOf(text.unit())) {
        if (sum > most || sum * base > UINT64_MAX - digit) {
            return false;
        }
        sum = sum * base + digit;
        ++text.at;
    }
    value = sum;
    return text.at != begin;
}

template <class T>
unsigned int writeInteger(std::span<T> buffer, std::uint64_t magnitude, bool negative, unsigned int base)
{
    if (!checkBase(base)) {
        return 0;
    }
    if (buffer.size() >= SStringConv::integerRoom) {
        T* const end = putInteger(buffer.data(), magnitude, negative, base);
        *end = 0;
        return static_cast<unsigned int>(end - buffer.data());
    }
    T units[SStringConv::integerRoom];
    return copyInto<T>(buffer, units, putInteger(units, magnitude, negative, base));
}

template <class T, SReal F>
unsigned int writeReal(std::span<T> buffer, F value) noexcept
{
    char digits[realRoom];
    return copyInto(buffer,
                    std::string_view(digits, static_cast<std::size_t>(putReal(digits, value) - digits)));
}

template <class T>
unsigned int writeTruth(std::span<T> buffer, bool value) noexcept
{
    return copyInto(buffer, truthText(value));
}

template <class T, SReal F>
bool readWideReal(Bounded<T> text, F& value)
{
    if (!std::all_of(text.at, text.end, [](T unit) { return unit < 0x80; })) {
        return false;
    }
    const auto narrow = built<SAsciiString>(static_cast<std::size_t>(text.end - text.at), [&](char* at) {
        return std::transform(text.at, text.end, at, [](T unit) { return static_cast<char>(unit); });
    });
    return readReal(narrow.view(), value);
}

template <class T>
bool readTruth(Bounded<T> text, bool& value) noexcept
{
    const bool yes = isWord(text, "true") || isWord(text, "1");
    if (!yes && !isWord(text, "false") && !isWord(text, "0")) {
        return false;
    }
    value = yes;
    return true;
}

template char* writeInBase(char*, std::uint64_t, unsigned int) noexcept;
template unsigned short* writeInBase(unsigned short*, std::uint64_t, unsigned int) noexcept;
template bool takeInBase(Bounded<char>&, unsigned int, std::uint64_t&) noexcept;
template bool takeInBase(Bounded<unsigned short>&, unsigned int, std::uint64_t&) noexcept;
template bool takeInBase(Bounded<char16_t>&, unsigned int, std::uint64_t&) noexcept;
template unsigned int writeInteger(std::span<char>, std::uint64_t, bool, unsigned int);
template unsigned int writeInteger(std::span<unsigned short>, std::uint64_t, bool, unsigned int);
template unsigned int writeReal(std::span<char>, double) noexcept;
template unsigned int writeReal(std::span<char>, float) noexcept;
template unsigned int writeReal(std::span<unsigned short>, double) noexcept;
template unsigned int writeReal(std::span<unsigned short>, float) noexcept;
template unsigned int writeTruth(std::span<char>, bool) noexcept;
template unsigned int writeTruth(std::span<unsigned short>, bool) noexcept;
template bool readWideReal(Bounded<unsigned short>, double&);
template bool readWideReal(Bounded<unsigned short>, float&);
template bool readWideReal(Bounded<char16_t>, double&);
template bool readWideReal(Bounded<char16_t>, float&);
template bool readTruth(Bounded<char>, bool&) noexcept;
template bool readTruth(Bounded<unsigned short>, bool&) noexcept;
template bool readTruth(Bounded<char16_t>, bool&) noexcept;

} // namespace NumberText

template <class S>
S SStringConv_t<S>::fromMagnitude(std::uint64_t magnitude, bool negative, unsigned int base)
{
    if (base == 10) {
        constexpr std::size_t room = NumberText::decimalRoom<std::uint64_t>;
        return built<S>(room, [=](auto* at) { return putInteger(at, magnitude, negative, 10); });
    }
    if (!NumberText::checkBase(base)) {
        return S();
    }
    return built<S>(integerRoom, [=](auto* at) { return putInteger(at, magnitude, negative, base); });
}

namespace
{

template <class S, class F>
S textOfReal(F value)
{
    return built<S>(realRoom, [=](auto* at) {
        if constexpr (sizeof *at == 1) {
            return putReal(at, value);
        } else {
            char digits[realRoom];
            return std::copy(digits, putReal(digits, value), at);
        }
    });
}

} // namespace

template <class S>
S SStringConv_t<S>::fromReal(double value)
{
    return textOfReal<S>(value);
}

template <class S>
S SStringConv_t<S>::fromReal(float value)
{
    return textOfReal<S>(value);
}

template <class S>
S SStringConv_t<S>::fromTruth(bool value)
{
    const std::string_view text = truthText(value);
    return built<S>(text.size(), [=](auto* at) { return std::copy(text.begin(), text.end(), at); });
}

SAnsiString SStringConvByLocale::fromReal(double value)
{
    return localReal(value);
}

SAnsiString SStringConvByLocale::fromReal(float value)
{
    return localReal(value);
}

bool SStringConvByLocale::readReal(std::string_view text, double& value)
{
    return readLocal(text, value);
}

bool SStringConvByLocale::readReal(std::string_view text, float& value)
{
    return readLocal(text, value);
}

template class SStringConv_t<SAnsiString>;
template class SStringConv_t<SAsciiString>;
template class SStringConv_t<SWCharString>;

} // namespace MorvexA106
