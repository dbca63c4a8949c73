#pragma once

/// @file
/// Multibyte text under an order of its own, for the keys of maps.

#include "morvex/export.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// Ordered and equal by bytes, so that look-ups do not depend on the locale.
class MORVEX_EXPORT SStringBinary : public SAnsiString
{
public:
    using SAnsiString::SAnsiString;
    using SAnsiString::operator=;
    SStringBinary() noexcept = default;
    SStringBinary(const SAnsiString& text) noexcept : SAnsiString(text) {}
    SStringBinary(const SString_t<char, 0>& text) noexcept : SAnsiString(text) {}

    bool operator==(const SStringBinary& other) const noexcept { return compareBinary(other) == 0; }
    bool operator==(const SAnsiString& other) const noexcept { return compareBinary(other) == 0; }
    bool operator==(const char* other) const noexcept { return compareBinary(other) == 0; }
    std::strong_ordering operator<=>(const SStringBinary& other) const noexcept
    {
        return compareBinary(other) <=> 0;
    }
    std::strong_ordering operator<=>(const SAnsiString& other) const noexcept
    {
        return compareBinary(other) <=> 0;
    }
    std::strong_ordering operator<=>(const char* other) const noexcept { return compareBinary(other) <=> 0; }
};

/// Ordered and equal by `compareNoCase`. The same order as `SAnsiStringCI`, whose `find` it does without.
class MORVEX_EXPORT SMapStringCaseInsensitive : public SAnsiString
{
public:
    using SAnsiString::SAnsiString;
    using SAnsiString::operator=;
    SMapStringCaseInsensitive() noexcept = default;
    SMapStringCaseInsensitive(const SAnsiString& text) noexcept : SAnsiString(text) {}
    SMapStringCaseInsensitive(const SString_t<char, 0>& text) noexcept : SAnsiString(text) {}

    bool operator==(const SMapStringCaseInsensitive& other) const { return compareNoCase(other) == 0; }
    bool operator==(const SAnsiString& other) const { return compareNoCase(other) == 0; }
    bool operator==(const char* other) const { return compareNoCase(other) == 0; }
    std::weak_ordering operator<=>(const SMapStringCaseInsensitive& other) const
    {
        return compareNoCase(other) <=> 0;
    }
    std::weak_ordering operator<=>(const SAnsiString& other) const { return compareNoCase(other) <=> 0; }
    std::weak_ordering operator<=>(const char* other) const { return compareNoCase(other) <=> 0; }
};

} // namespace MorvexA106

template <>
struct std::hash<MorvexA106::SStringBinary>
{
    std::size_t operator()(const MorvexA106::SStringBinary& text) const noexcept
    {
        return std::hash<std::string_view>()(text.getString());
    }
};
