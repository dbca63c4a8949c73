#pragma once

/// @file
/// Numbers as text, and text as numbers.
///
/// | class                 | makes           | decimal sign        | for                                        |
/// |-----------------------|-----------------|---------------------|--------------------------------------------|
/// | `SStringConv`         | `SAnsiString`   | the point           | everyday use: `SAnsiStringConv` for short  |
/// | `SWCharStringConv`    | `SWCharString`  | the point           | 16-bit text                                |
/// | `SAsciiStringConv`    | `SAsciiString`  | the point           | wire and format text                       |
/// | `NeutralString`       | `SAnsiString`   | the point           | files, settings, wires: a promise for good; dates and times too |
/// | `SStringConvByLocale` | `SAnsiString`   | the locale's        | people                                     |
///
/// Written: integers in a base of 2 to 36 with small letters; a `double` or `float` as the shortest text that reads
/// back as the same number of its type, fixed or with an exponent, whichever is shorter; `true` and `false`. No
/// grouping signs, no leading zeros, no plus.
///
/// | number   | text  | number       | text      | number                  | text    |
/// |----------|-------|--------------|-----------|-------------------------|---------|
/// | `255`    | `255` | `0.1`        | `0.1`     | `-0.0`                  | `-0`    |
/// | 255, 16  | `ff`  | `1e5`        | `1e+05`   | infinity                | `inf`   |
/// | -8, 2    | `-1000` | `123456.0` | `123456`  | what is no number       | `nan`   |
///
/// Read: the whole text or nothing. A text that is not taken gives false and leaves the target as it was.
///
/// | taken                                                | refused                                          |
/// |------------------------------------------------------|--------------------------------------------------|
/// | one sign, a plus too; leading zeros                  | empty text, null, a sign alone, a second sign    |
/// | digits of either case                                | blanks at either end, characters behind          |
/// | `.5`, `5.`, `5e3`, `5E+3`                            | prefixes such as `0x`, grouping signs            |
/// | `inf`, `infinity`, `nan`, of either case             | a number that the type can't hold                |
/// | `true`, `false` of either case, `1`, `0`             | a minus for an unsigned type, `-0` too           |
///
/// A real number beyond the type is refused, and so is one that is not zero and too small for it; between them
/// the nearest one is taken. A not-a-number loses its sign and payload.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/sstringconvimpl.h"

#include <concepts>
#include <limits>
#include <span>
#include <string_view>
#include <type_traits>

namespace MorvexA106
{

class SDate;
class SDateTime;
class STime;
class STimeSpan;

/// What `NeutralString` has a text of beside numbers.
template <class V>
concept SCalendarValue = std::same_as<V, SDate> || std::same_as<V, STime> || std::same_as<V, SDateTime> ||
    std::same_as<V, STimeSpan>;

template <class B>
concept STruth = std::same_as<B, bool>;

/// What numbers are read from: a string, a pointer to terminated text (null reads as empty text), or a view.
template <class Text, class T>
concept SNumberText = std::convertible_to<const Text&, const T*> ||
    std::convertible_to<const Text&,
                        std::conditional_t<sizeof(T) == 1, std::string_view, std::u16string_view>>;

namespace NumberText
{

/// The text with its end, from all that numbers are read from.
template <class T, class Text>
auto viewOf(const Text& text) noexcept
{
    if constexpr (std::is_convertible_v<const Text&, const T*>) {
        const T* const begin = text;
        return Bounded<T>{begin, begin != nullptr ? begin + std::char_traits<T>::length(begin) : begin};
    } else if constexpr (sizeof(T) == 1) {
        const std::string_view view = text;
        return Bounded<char>{view.data(), view.data() + view.size()};
    } else {
        const std::u16string_view view = text;
        return Bounded<char16_t>{view.data(), view.data() + view.size()};
    }
}

inline std::string_view bytesOf(Bounded<char> text) noexcept
{
    return std::string_view(text.at, static_cast<std::size_t>(text.end - text.at));
}

/// Reads an integer that fills the text.
template <class T, class Text, SInteger N>
bool readInteger(const Text& text, N& value, unsigned int base)
{
    if (base != 10) {
        return checkBase(base) && readInBase(viewOf<T>(text), value, base);
    }
    if constexpr (std::is_convertible_v<const Text&, const T*>) {
        const T* const begin = text;
        return begin != nullptr && readDecimal(Terminated<T>{begin}, value);
    } else {
        return readDecimal(viewOf<T>(text), value);
    }
}

/// Units of 16 bits. Allocates.
template <class T, SReal F>
MORVEX_EXPORT bool readWideReal(Bounded<T> text, F& value);
template <class T>
MORVEX_EXPORT bool readTruth(Bounded<T> text, bool& value) noexcept;

/// Writes the text and its terminator where there is room for both; its length without the terminator, else 0.
template <class T>
MORVEX_EXPORT unsigned int writeInteger(std::span<T> buffer, std::uint64_t magnitude, bool negative,
                                        unsigned int base);
template <class T, SReal F>
MORVEX_EXPORT unsigned int writeReal(std::span<T> buffer, F value) noexcept;
template <class T>
MORVEX_EXPORT unsigned int writeTruth(std::span<T> buffer, bool value) noexcept;

} // namespace NumberText

/// Conversions between numbers and one class of text, free of the locale. Static; any thread may call them.
///
///     SAnsiString port = SStringConv::ToString(8080);
///     unsigned short number = 0;
///     if (!SStringConv::FromString(port, number)) { ... }
///
///     char digits[SStringConv::integerRoom];
///     text.concat(digits, SStringConv::ToBuffer(-5, digits));
///
/// A base that is none of 2 to 36 is reported as an assertion, and then gives empty text, 0 units and false.
template <class S>
class MORVEX_EXPORT SStringConv_t
{
public:
    using string_type = S;
    using unit_type = std::remove_cvref_t<decltype(*std::declval<S>().getString())>;

    /// Units that hold any integer in any base, and any real number, with sign and terminator.
    static constexpr std::size_t integerRoom = 66;
    static constexpr std::size_t realRoom = NumberText::realRoom;

    SStringConv_t() = delete;

    /// One allocation. Throws "bad allocation".
    template <SInteger N>
    static S ToString(N value, unsigned int base = 10)
    {
        return fromMagnitude(NumberText::magnitudeOf(value), NumberText::isNegative(value), base);
    }
    template <SReal F>
    static S ToString(F value)
    {
        return fromReal(value);
    }
    template <STruth B>
    static S ToString(B value)
    {
        return fromTruth(value);
    }

    /// Writes terminated text into a buffer without allocating, and returns its units without the terminator. 0
    /// when there is no room for both: then nothing is written.
    template <SInteger N>
    static unsigned int ToBuffer(N value, std::span<unit_type> buffer, unsigned int base = 10)
    {
        const bool negative = NumberText::isNegative(value);
        if (base != 10 || buffer.size() < NumberText::decimalRoom<N>) {
            return NumberText::writeInteger(buffer, NumberText::magnitudeOf(value), negative, base);
        }
        unit_type* const begin = buffer.data();
        *begin = '-';
        unit_type* const end =
            NumberText::writeDecimal(begin + (negative ? 1 : 0), NumberText::magnitudeOf(value));
        *end = 0;
        return static_cast<unsigned int>(end - begin);
    }
    template <SReal F>
    static unsigned int ToBuffer(F value, std::span<unit_type> buffer) noexcept
    {
        if constexpr (sizeof(unit_type) == 1) {
            if (buffer.size() >= realRoom) {
                char* const end = NumberText::putReal(buffer.data(), value);
                *end = 0;
                return static_cast<unsigned int>(end - buffer.data());
            }
        }
        return NumberText::writeReal(buffer, value);
    }
    template <STruth B>
    static unsigned int ToBuffer(B value, std::span<unit_type> buffer) noexcept
    {
        return NumberText::writeTruth(buffer, value);
    }

    /// Reads the whole text. False for text that is not such a number; the value is then as it was.
    template <SNumberText<unit_type> Text, SInteger N>
    [[nodiscard]] static bool FromString(const Text& text, N& value, unsigned int base = 10)
    {
        return NumberText::readInteger<unit_type>(text, value, base);
    }
    template <SNumberText<unit_type> Text, SReal F>
    [[nodiscard]] static bool FromString(const Text& text, F& value)
    {
        const auto units = NumberText::viewOf<unit_type>(text);
        if constexpr (sizeof(unit_type) == 1) {
            return NumberText::readReal(NumberText::bytesOf(units), value);
        } else {
            return NumberText::readWideReal(units, value);
        }
    }
    template <SNumberText<unit_type> Text, STruth B>
    [[nodiscard]] static bool FromString(const Text& text, B& value) noexcept
    {
        return NumberText::readTruth(NumberText::viewOf<unit_type>(text), value);
    }

private:
    static S fromMagnitude(std::uint64_t magnitude, bool negative, unsigned int base);
    static S fromReal(double value);
    static S fromReal(float value);
    static S fromTruth(bool value);
};

using SAnsiStringConv = SStringConv_t<SAnsiString>;
using SAsciiStringConv = SStringConv_t<SAsciiString>;
using SWCharStringConv = SStringConv_t<SWCharString>;
using SStringConv = SAnsiStringConv;

/// The text form of values that does not depend on the locale, and that reads back exactly: for what other
/// processes, other machines and later versions read.
///
///     settings.WriteValue("ratio", NeutralString::ToString(ratio));
///     if (!NeutralString::FromString(settings.ReadValue("ratio"), ratio)) { ... }
///
/// Numbers are as in the tables above. Dates and times have the forms of ISO 8601, in UTC:
///
/// | class       | text                       | more                                                            |
/// |-------------|----------------------------|-----------------------------------------------------------------|
/// | `SDate`     | `2026-11-21`               | `0044-03-15`, `-0044-03-15`, `12026-01-01`                      |
/// | `STime`     | `10:15:33.123Z`            | always with milliseconds                                        |
/// | `SDateTime` | `2026-11-21T10:15:33.123Z` | sorted as bytes, the years 1 to 9999 are in the order of time   |
/// | `STimeSpan` | `PT90061.005S`             | in seconds, `-PT0.001S` where negative                          |
/// | all others  | `invalid`                  | an invalid date, time or moment; of a moment, either half of it |
///
/// The days are those of `SDate`: before 15 October 1582 another calendar than in ISO 8601, without a year 0.
///
/// Of these, text is taken as it is written here and in no other way, so that every value has one text: no missing
/// part, no other zone, no blanks, no small letters. `invalid` is taken, and gives the default value of the class.
class MORVEX_EXPORT NeutralString : public SStringConv_t<SAnsiString>
{
public:
    using SStringConv_t<SAnsiString>::ToString;
    using SStringConv_t<SAnsiString>::FromString;

    template <SCalendarValue V>
    static SAnsiString ToString(const V& value)
    {
        return textOf(value);
    }
    // One for each class: some compilers would let one template for all hide those for numbers.
    template <SNumberText<char> Text>
    [[nodiscard]] static bool FromString(const Text& text, SDate& value) noexcept
    {
        return read(bytesIn(text), value);
    }
    template <SNumberText<char> Text>
    [[nodiscard]] static bool FromString(const Text& text, STime& value) noexcept
    {
        return read(bytesIn(text), value);
    }
    template <SNumberText<char> Text>
    [[nodiscard]] static bool FromString(const Text& text, SDateTime& value) noexcept
    {
        return read(bytesIn(text), value);
    }
    template <SNumberText<char> Text>
    [[nodiscard]] static bool FromString(const Text& text, STimeSpan& value) noexcept
    {
        return read(bytesIn(text), value);
    }

private:
    template <class Text>
    static std::string_view bytesIn(const Text& text) noexcept
    {
        return NumberText::bytesOf(NumberText::viewOf<char>(text));
    }
    static SAnsiString textOf(const SDate& value);
    static SAnsiString textOf(const STime& value);
    static SAnsiString textOf(const SDateTime& value);
    static SAnsiString textOf(const STimeSpan& value);
    static bool read(std::string_view text, SDate& value) noexcept;
    static bool read(std::string_view text, STime& value) noexcept;
    static bool read(std::string_view text, SDateTime& value) noexcept;
    static bool read(std::string_view text, STimeSpan& value) noexcept;
};

/// Real numbers as the calling thread's locale (its category of numbers) writes them, with its decimal sign in place
/// of the point. Grouping signs are neither written nor read, and nor is the point where it is not the sign: `1.234`
/// is no number where the sign is a comma, instead of being one of two. Integers and truth values have no such
/// sign, and are as `SStringConv` has them.
///
/// The locale must not be changed by another thread during a call.
class MORVEX_EXPORT SStringConvByLocale
{
public:
    SStringConvByLocale() = delete;

    template <SInteger N>
    static SAnsiString ToString(N value, unsigned int base = 10)
    {
        return SStringConv::ToString(value, base);
    }
    template <STruth B>
    static SAnsiString ToString(B value)
    {
        return SStringConv::ToString(value);
    }
    template <SReal F>
    static SAnsiString ToString(F value)
    {
        return fromReal(value);
    }

    template <SNumberText<char> Text, SInteger N>
    [[nodiscard]] static bool FromString(const Text& text, N& value, unsigned int base = 10)
    {
        return SStringConv::FromString(text, value, base);
    }
    template <SNumberText<char> Text, STruth B>
    [[nodiscard]] static bool FromString(const Text& text, B& value)
    {
        return SStringConv::FromString(text, value);
    }
    template <SNumberText<char> Text, SReal F>
    [[nodiscard]] static bool FromString(const Text& text, F& value)
    {
        return readReal(NumberText::bytesOf(NumberText::viewOf<char>(text)), value);
    }

private:
    static SAnsiString fromReal(double value);
    static SAnsiString fromReal(float value);
    static bool readReal(std::string_view text, double& value);
    static bool readReal(std::string_view text, float& value);
};

/// As `SStringConv::ToString`.
template <SInteger N>
SAnsiString StringConvFromInteger(N value, unsigned int base = 10)
{
    return SStringConv::ToString(value, base);
}

/// As `FromString`, from text of either unit width: a string, a pointer or a view.
///
///     unsigned long number = 0;
///     if (StringConvToInteger(text, number) && number != 0 && number <= 65535) { ... }
template <SNumberText<char> Text, SInteger N>
[[nodiscard]] bool StringConvToInteger(const Text& text, N& value, unsigned int base = 10)
{
    return NumberText::readInteger<char>(text, value, base);
}
template <SNumberText<unsigned short> Text, SInteger N>
[[nodiscard]] bool StringConvToInteger(const Text& text, N& value, unsigned int base = 10)
{
    return NumberText::readInteger<unsigned short>(text, value, base);
}

/// Append a number's text to a string, as the `ToString` of its width: `text << "error " << code`. Text can stand
/// between the numbers; characters and truth values can't, since their numbers and texts are easily mistaken for
/// each other.
template <class T, int M, SNumber N>
SString_t<T, M>& operator<<(SString_t<T, M>& text, N value)
{
    using Conv = std::conditional_t<sizeof(T) == 1, SAnsiStringConv, SWCharStringConv>;
    T digits[Conv::integerRoom];
    text.concat(digits, Conv::ToBuffer(value, digits));
    return text;
}
template <class T, int M>
SString_t<T, M>& operator<<(SString_t<T, M>& text, std::type_identity_t<const T*> appended)
{
    text.concat(appended);
    return text;
}

} // namespace MorvexA106
