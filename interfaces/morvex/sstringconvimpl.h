#pragma once

/// @file
/// The digits of numbers, written and read. They stand in a header so that a conversion into a caller's buffer
/// costs no more than its work; sstringconv.h has the classes that callers use.

#include "morvex/export.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace MorvexA106
{

/// An integer that is a number: of every width and sign, `signed char` and `unsigned char` included. A truth value
/// is none, nor is a character type (`char`, `wchar_t` and their kin): whether a `char` is meant as a number, and
/// with which sign, is for the caller to say with a cast.
template <class N>
concept SInteger = std::integral<N> && sizeof(N) <= sizeof(std::uint64_t) &&
                   !(std::same_as<N, bool> || std::same_as<N, char> || std::same_as<N, wchar_t> ||
                     std::same_as<N, char8_t> || std::same_as<N, char16_t> || std::same_as<N, char32_t>);

/// A real number: `double` or `float`.
template <class F>
concept SReal = std::same_as<F, double> || std::same_as<F, float>;

template <class N>
concept SNumber = SInteger<N> || SReal<N>;

namespace NumberText
{

/// Holds the amount of a number of type `N`. 64-bit arithmetic is dear where the machine has 32 bits.
template <SInteger N>
using Magnitude = std::conditional_t<sizeof(N) <= sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;

/// The decimal text of any `N` with sign and terminator has at most so many units.
template <SInteger N>
inline constexpr std::size_t decimalRoom = std::numeric_limits<N>::digits10 + 3;

template <SInteger N>
constexpr bool isNegative(N value) noexcept
{
    if constexpr (std::is_signed_v<N>) {
        return value < 0;
    } else {
        return false;
    }
}

template <SInteger N>
constexpr Magnitude<N> magnitudeOf(N value) noexcept
{
    const auto bits = static_cast<Magnitude<N>>(value);
    return isNegative(value) ? Magnitude<N>(0) - bits : bits;
}

/// All two-digit numbers.
inline constexpr char digitPairs[] =
    "0001020304050607080910111213141516171819202122232425262728293031323334353637383940414243444546474849"
    "5051525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";

/// The same without leading zeros: a one-digit number is followed by a digit that doesn't count.
inline constexpr char leadingPairs[] =
    "0010203040506070809010111213141516171819202122232425262728293031323334353637383940414243444546474849"
    "5051525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";

template <class T>
void putPair(T* at, const char* pairs, std::uint64_t pair) noexcept
{
    if constexpr (sizeof(T) == 1) {
        std::memcpy(at, pairs + 2 * pair, 2);
    } else {
        at[0] = static_cast<unsigned char>(pairs[2 * pair]);
        at[1] = static_cast<unsigned char>(pairs[2 * pair + 1]);
    }
}

/// One digit or two, with no branch that a processor would have to guess.
template <class T>
T* putLeading(T* at, std::uint64_t pair) noexcept
{
    putPair(at, leadingPairs, pair);
    return at + (pair < 10 ? 1 : 2);
}

/// Writes `pairs` pairs of digits of what stands behind the point of a fixed-point number, which has `point` bits
/// there: each pair is what a multiplication by 100 lifts above the point.
template <int point, int pairs, class T>
T* putFraction(T* at, std::uint64_t fixed) noexcept
{
    for (int i = 0; i < pairs; ++i, at += 2) {
        fixed = (fixed & ((std::uint64_t{1} << point) - 1)) * 100;
        putPair(at, digitPairs, fixed >> point);
    }
    return at;
}

/// With the one or two digits that stand before the point.
template <int point, int pairs, class T>
T* putFixed(T* at, std::uint64_t fixed) noexcept
{
    return putFraction<point, pairs>(putLeading(at, fixed >> point), fixed);
}

/// Writes a number below 10^8 with all its leading zeros.
template <class T>
T* putEightDigits(T* at, std::uint64_t value) noexcept
{
    const std::uint64_t fixed = value * 281'474'977; // 2^48 / 10^6
    putPair(at, digitPairs, fixed >> 48);
    return putFraction<48, 3>(at + 2, fixed);
}

/// Writes a number in decimal and returns its end. The unit at the end may be written over, so the room is that of
/// the digits and the terminator.
///
/// Instead of dividing for each pair of digits, the number is made a fixed-point one that has its first pair before
/// the point. The factors are rounded up, by so little that no digit of any number of the row is touched: every
/// 32-bit number was tried.
template <class T>
T* writeDecimal(T* at, std::uint32_t value) noexcept
{
    const std::uint64_t wide = value;
    if (value < 100) {
        return putLeading(at, wide);
    }
    if (value < 10'000) {
        return putFixed<32, 1>(at, wide * 42'949'673); // 2^32 / 10^2
    }
    if (value < 1'000'000) {
        return putFixed<32, 2>(at, wide * 429'497); // 2^32 / 10^4
    }
    if (value < 100'000'000) {
        return putFixed<48, 3>(at, wide * 281'474'977); // 2^48 / 10^6
    }
    return putFixed<57, 4>(at, wide * 1'441'151'881); // 2^57 / 10^8
}

template <class T>
T* writeDecimal(T* at, std::uint64_t value) noexcept
{
    if (value <= std::numeric_limits<std::uint32_t>::max()) {
        return writeDecimal(at, static_cast<std::uint32_t>(value));
    }
    at = writeDecimal(at, value / 100'000'000);
    return putEightDigits(at, value % 100'000'000);
}

/// Units that hold any real number, with sign and terminator.
inline constexpr std::size_t realRoom = 32;

/// Thousandths, at most three digits, without zeros at the end; nothing for none.
inline char* putThousandths(char* at, unsigned int thousandths) noexcept
{
    if (thousandths == 0) {
        return at;
    }
    *at++ = '.';
    for (unsigned int unit = 100; thousandths != 0; unit /= 10) {
        *at++ = static_cast<char>('0' + thousandths / unit);
        thousandths %= unit;
    }
    return at;
}

/// Writes a number that is a whole number of thousandths, as most that people meet are; null for another.
///
/// With no more digits than the type keeps (`digits10`), no two decimal numbers are the same number of the type. So
/// the one that reads back as the value, which one division tells, is the shortest text; and with three decimals
/// at most it is shorter than one with an exponent, unless many zeros stand at the end of a whole number. Not where
/// the machine rounds a step to something else than the type.
template <SReal F>
char* putShortDecimal(char* at, F value) noexcept
{
    constexpr F limit = sizeof(F) == sizeof(double) ? F(1e15) : F(1e6);
    const F scaled = std::fabs(value) * 1000 + F(0.5);
    if (FLT_EVAL_METHOD != 0 || !(scaled >= 1 && scaled < limit)) {
        return nullptr;
    }
    const auto thousandths = static_cast<std::uint64_t>(scaled);
    const std::uint64_t whole = thousandths / 1000;
    const auto rest = static_cast<unsigned int>(thousandths % 1000);
    const bool isExact = static_cast<F>(thousandths) / 1000 == std::fabs(value);
    if (!isExact || (rest == 0 && whole % 100'000 == 0)) {
        return nullptr;
    }
    *at = '-';
    return putThousandths(writeDecimal(at + (value < 0 ? 1 : 0), whole), rest);
}

/// Needs `realRoom`, the terminator's unit included; returns the end. What is no number has a sign, which says
/// nothing, and is written without.
template <SReal F>
char* putReal(char* at, F value) noexcept
{
    if (char* const end = putShortDecimal(at, value)) {
        return end;
    }
    const F unsignedNan = std::numeric_limits<F>::quiet_NaN();
    return std::to_chars(at, at + realRoom - 1, std::isnan(value) ? unsignedNan : value).ptr;
}

/// As `writeDecimal` in a base of 2 to 36, with small letters.
template <class T>
MORVEX_EXPORT T* writeInBase(T* at, std::uint64_t value, unsigned int base) noexcept;

/// Reports an assertion and returns false for a base that there is none of.
MORVEX_EXPORT bool checkBase(unsigned int base);

/// Text that is read up to its terminator.
template <class T>
struct Terminated
{
    const T* at;

    unsigned int unit() const noexcept { return static_cast<unsigned int>(*at); }
    bool isAtEnd() const noexcept { return *at == 0; }
};

/// Text that is read up to a pointer; there is a zero unit there for the reader.
template <class T>
struct Bounded
{
    const T* at;
    const T* end;

    unsigned int unit() const noexcept { return at != end ? static_cast<unsigned int>(*at) : 0; }
    bool isAtEnd() const noexcept { return at == end; }
};

/// Steps over one sign; true for a minus.
template <class Text>
bool takeSign(Text& text) noexcept
{
    const unsigned int unit = text.unit();
    if (unit == '-' || unit == '+') {
        ++text.at;
    }
    return unit == '-';
}

/// Reads digits, at least one. False for none and for a number beyond the type; what is not a digit ends it.
template <class Text, class Unsigned>
bool takeDecimal(Text& text, Unsigned& value) noexcept
{
    constexpr Unsigned most = std::numeric_limits<Unsigned>::max();
    const auto* const begin = text.at;
    Unsigned sum = 0;
    for (unsigned int digit = text.unit() - '0'; digit < 10; digit = text.unit() - '0') {
        if (sum >= most / 10 && (sum > most / 10 || digit > most % 10)) {
            return false;
        }
        sum = sum * 10 + digit;
        ++text.at;
    }
    value = sum;
    return text.at != begin;
}

/// The same in a base of 2 to 36, letters of either case.
template <class T>
MORVEX_EXPORT bool takeInBase(Bounded<T>& text, unsigned int base, std::uint64_t& value) noexcept;

/// Stores the number if it fits.
template <SInteger N, class Unsigned>
bool store(Unsigned magnitude, bool negative, N& value) noexcept
{
    constexpr auto most = static_cast<Unsigned>(std::numeric_limits<N>::max());
    if ((negative && std::is_unsigned_v<N>) || magnitude > most + (negative ? 1 : 0)) {
        return false;
    }
    value = static_cast<N>(negative ? Unsigned(0) - magnitude : magnitude);
    return true;
}

/// Reads a decimal number that fills the text.
template <class Text, SInteger N>
bool readDecimal(Text text, N& value) noexcept
{
    Magnitude<N> magnitude = 0;
    const bool negative = takeSign(text);
    return takeDecimal(text, magnitude) && text.isAtEnd() && store(magnitude, negative, value);
}

/// The same in another base.
template <class T, SInteger N>
bool readInBase(Bounded<T> text, N& value, unsigned int base) noexcept
{
    std::uint64_t magnitude = 0;
    const bool negative = takeSign(text);
    return takeInBase(text, base, magnitude) && text.isAtEnd() && store(magnitude, negative, value);
}

/// Whether a text that reads as zero or as no finite number is one of those that are taken. The standard's reader
/// takes a payload behind `nan`, and whether it tells of a number that is too small depends on its version.
MORVEX_EXPORT bool isTakenAsUnusual(std::string_view text) noexcept;

/// The powers of ten up to the one that goes with `shortDecimalUnits`; a `double` holds each of them exactly.
inline constexpr double powersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
inline constexpr std::ptrdiff_t shortDecimalUnits = 17;

/// Reads a decimal number of at most 15 digits and no exponent that fills the text: digits and power of ten are exact
/// then, so that one division rounds as it should, where the machine rounds each step to `double`. Returns false
/// for all others, which says nothing of them.
inline bool readShortDecimal(const char* at, const char* end, double& value) noexcept
{
    if (FLT_EVAL_METHOD != 0 || end - at > shortDecimalUnits) {
        return false;
    }
    const bool negative = at != end && *at == '-';
    const char* point = nullptr;
    std::uint64_t sum = 0;
    int digits = 0;
    for (at += negative ? 1 : 0; at != end; ++at) {
        const unsigned int digit = static_cast<unsigned int>(*at) - '0';
        if (digit < 10) {
            sum = sum * 10 + digit;
            ++digits;
        } else if (*at == '.' && point == nullptr) {
            point = at;
        } else {
            return false;
        }
    }
    if (digits == 0 || digits > 15) {
        return false;
    }
    const double amount = static_cast<double>(sum) / powersOfTen[point != nullptr ? end - point - 1 : 0];
    value = negative ? -amount : amount;
    return true;
}

/// Reads a real number that fills the text. The standard's reader takes no plus.
template <SReal F>
bool readReal(std::string_view text, F& value) noexcept
{
    const char* at = text.data();
    const char* const end = at + text.size();
    if constexpr (std::same_as<F, double>) {
        if (readShortDecimal(at, end, value)) {
            return true;
        }
    }
    if (text.starts_with('+')) [[unlikely]] {
        ++at;
        if (text.starts_with("+-")) {
            return false;
        }
    }
    F number = 0;
    const std::from_chars_result result = std::from_chars(at, end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        return false;
    }
    const F amount = std::fabs(number);
    const bool isUsual = amount > 0 && amount <= std::numeric_limits<F>::max();
    if (!isUsual && !isTakenAsUnusual(text)) {
        return false;
    }
    value = std::isnan(number) ? std::numeric_limits<F>::quiet_NaN() : number;
    return true;
}

} // namespace NumberText

} // namespace MorvexA106
