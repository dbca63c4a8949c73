#pragma once

/// @file
/// Messages with values put in.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/sstringconv.h"

#include <array>
#include <concepts>
#include <span>

namespace MorvexA106
{

/// What can be put into a message: text, or a number, which is written as `SStringConv` has it.
template <class V>
concept SResValue = SNumber<V> || std::constructible_from<SAnsiString, const V&>;

/// The text of a message whose markers are replaced by values. It is a text like any other from then on.
///
///     throw Failure(SResString("Failed to rename %1 to %2.", '%', before, after));
///     report(SResString::Load(47001, url));       // the message of that number
///
/// A marker is the marker character and a number from 1 to 12. Values are put in as they are and not searched for
/// markers; each may be used any number of times, or not at all.
///
/// | message    | values | text      | because                                                      |
/// |------------|--------|-----------|--------------------------------------------------------------|
/// | `%2, %1`   | a, b   | `b, a`    |                                                              |
/// | `100 %% 1` | a      | `100 % 1` | a doubled marker character is one as text                    |
/// | `%%1`      | a      | `%1`      |                                                              |
/// | `%2 %0 %x` | a      | the same  | a marker without a value stays as it is                      |
/// | `%12`      | a      | `a2`      | two digits are taken where there are so many values          |
/// | `%1`       | `%1%%` | `%1%%`    | values are not searched                                      |
///
/// The marker is found as a character of the current locale. Throws "bad allocation".
class MORVEX_EXPORT SResString : public SAnsiString
{
public:
    static constexpr std::size_t maxValues = 12;

    SResString() noexcept = default;

    /// A marker that is zero replaces nothing.
    template <SResValue... Values>
    requires(sizeof...(Values) <= maxValues) explicit SResString(const SAnsiString& message,
                                                                 char marker = '%', const Values&... values)
        : SResString(message, marker, listOf(values...))
    {}

    /// The message of that number (see `SResManager`), its marker character being `%`; empty where there is none.
    template <SResValue... Values>
    requires(sizeof...(Values) <= maxValues) static SResString
        Load(unsigned long number, const Values&... values)
    {
        return SResString(messageOf(number), '%', values...);
    }

private:
    SResString(const SAnsiString& message, char marker, std::span<const SAnsiString> values);

    static SAnsiString messageOf(unsigned long number);

    template <class... Values>
    static std::array<SAnsiString, sizeof...(Values)> listOf(const Values&... values)
    {
        return {textOf(values)...};
    }

    template <SResValue V>
    static SAnsiString textOf(const V& value)
    {
        if constexpr (SNumber<V>) {
            return SStringConv::ToString(value);
        } else {
            return SAnsiString(value);
        }
    }
};

} // namespace MorvexA106
