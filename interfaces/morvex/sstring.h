#pragma once

/// @file
/// The named string classes. The class says what the text is, its engine how it is walked.
///
/// | class            | text                                                       | `==` and order           |
/// |------------------|------------------------------------------------------------|--------------------------|
/// | `SAnsiString`    | multibyte text of the current locale: the everyday string  | the locale's collation   |
/// | `SAnsiStringCI`  | the same                                                   | collation without case   |
/// | `SAsciiString`   | 7-bit text, free of the locale                             | bytes                    |
/// | `SWCharString`   | the system's wide text in 16-bit units                     | the locale's collation   |
/// | `SWCharStringCI` | the same                                                   | collation without case   |
/// | `SQCAString`     | UCS-2 for interchange                                      | the locale's collation   |
///
///     SAnsiString name("outbox");
///     SAnsiString file = name + ".log";
///     if (SAnsiStringCI("OUTBOX") == name) { ... }
///
/// None adds data to the engine. See sstringimpl.h for storage, failure and threads.

#include "morvex/export.h"
#include "morvex/sstringimpl.h"

namespace MorvexA106
{

class MORVEX_EXPORT SAnsiString : public SString_t<char, 0>
{
    using Base = SString_t<char, 0>;

public:
    using Base::Base;
    using Base::operator=;
    SAnsiString() noexcept = default;
    SAnsiString(const Base& text) noexcept : Base(text) {}
    SAnsiString(Base&& text) noexcept : Base(std::move(text)) {}

    /// Bytes of the text in its own form, terminator included.
    unsigned int getTotalBytes() const { return getNBytesForMBCS(); }
};

class SWCharString;
class SQCAString;

class MORVEX_EXPORT SAsciiString : public SString_t<char, 1>
{
    using Base = SString_t<char, 1>;

public:
    using Base::Base;
    using Base::operator=;
    SAsciiString() noexcept = default;
    SAsciiString(const Base& text) noexcept : Base(text) {}
    SAsciiString(Base&& text) noexcept : Base(std::move(text)) {}

    /// The text between two cursors.
    SAsciiString(const iterator& first, const iterator& last) { concat(first, last); }

    /// Empty unless `copy` is true. Then the units are copied without any check, and need not be 7-bit text: of
    /// 16-bit text the low byte of each unit, of multibyte text the first bytes, as many as it has characters (so
    /// that text with characters of two bytes is cut).
    SAsciiString(const SAnsiString& text, bool copy);
    SAsciiString(const SWCharString& text, bool copy);
    SAsciiString(const SQCAString& text, bool copy);

    /// Append `count` units without any check, of 16-bit text the low bytes. Null appends nothing.
    void concatFromAsciiCharacters(const char* text, unsigned int count);
    void concatFromAsciiCharacters(const unsigned short* text, unsigned int count);

    /// Bytes of the text, terminator included.
    unsigned int getTotalBytes() const { return getNBytesForAscii(); }
};

class MORVEX_EXPORT SWCharString : public SString_t<unsigned short, 1>
{
    using Base = SString_t<unsigned short, 1>;

public:
    using Base::Base;
    using Base::operator=;
    SWCharString() noexcept = default;
    SWCharString(const Base& text) noexcept : Base(text) {}
    SWCharString(Base&& text) noexcept : Base(std::move(text)) {}

    /// Bytes of the text in its own form, terminator included.
    unsigned int getTotalBytes() const { return getNBytesForWChar(); }
};

class MORVEX_EXPORT SQCAString : public SString_t<unsigned short, 1>
{
    using Base = SString_t<unsigned short, 1>;

public:
    using Base::Base;
    using Base::operator=;
    SQCAString() noexcept = default;
    SQCAString(const Base& text) noexcept : Base(text) {}
    SQCAString(Base&& text) noexcept : Base(std::move(text)) {}

    /// Bytes of the text in its own form, terminator included.
    unsigned int getTotalBytes() const { return getNBytesForQCA(); }
};

/// Equality, order and `find` go without case; the inherited `compare` stays the locale's collation. A
/// comparison with a case-insensitive string on either side goes without case.
class MORVEX_EXPORT SAnsiStringCI : public SAnsiString
{
public:
    using SAnsiString::SAnsiString;
    using SAnsiString::operator=;
    SAnsiStringCI() noexcept = default;
    SAnsiStringCI(const SAnsiString& text) noexcept : SAnsiString(text) {}
    SAnsiStringCI(const SString_t<char, 0>& text) noexcept : SAnsiString(text) {}

    bool operator==(const SAnsiStringCI& other) const { return compareNoCase(other) == 0; }
    bool operator==(const SAnsiString& other) const { return compareNoCase(other) == 0; }
    bool operator==(const char* other) const { return compareNoCase(other) == 0; }
    std::weak_ordering operator<=>(const SAnsiStringCI& other) const { return compareNoCase(other) <=> 0; }
    std::weak_ordering operator<=>(const SAnsiString& other) const { return compareNoCase(other) <=> 0; }
    std::weak_ordering operator<=>(const char* other) const { return compareNoCase(other) <=> 0; }

    /// A cursor into this text on the first match without regard to case, or at the end. Copies both texts.
    iterator find(const SAnsiString& wanted) const;
};

/// The 16-bit twin.
class MORVEX_EXPORT SWCharStringCI : public SWCharString
{
public:
    using SWCharString::SWCharString;
    using SWCharString::operator=;
    SWCharStringCI() noexcept = default;
    SWCharStringCI(const SWCharString& text) noexcept : SWCharString(text) {}
    SWCharStringCI(const SString_t<unsigned short, 1>& text) noexcept : SWCharString(text) {}

    bool operator==(const SWCharStringCI& other) const { return compareNoCase(other) == 0; }
    bool operator==(const SWCharString& other) const { return compareNoCase(other) == 0; }
    bool operator==(const unsigned short* other) const { return compareNoCase(other) == 0; }
    std::weak_ordering operator<=>(const SWCharStringCI& other) const { return compareNoCase(other) <=> 0; }
    std::weak_ordering operator<=>(const SWCharString& other) const { return compareNoCase(other) <=> 0; }
    std::weak_ordering operator<=>(const unsigned short* other) const { return compareNoCase(other) <=> 0; }

    /// As on the multibyte twin.
    iterator find(const SWCharString& wanted) const;
};

} // namespace MorvexA106

/// The standard's hash tables take the strings as keys, by their `==`; the locale must stay while a table lives.
/// The classes without regard to case have no hash: an ordered map takes them.
template <class T, int M>
struct std::hash<MorvexA106::SString_t<T, M>>
{
    std::size_t operator()(const MorvexA106::SString_t<T, M>& text) const { return MorvexA106::hashOf(text); }
};
template <>
struct std::hash<MorvexA106::SAnsiString> : std::hash<MorvexA106::SString_t<char, 0>>
{};
template <>
struct std::hash<MorvexA106::SAsciiString> : std::hash<MorvexA106::SString_t<char, 1>>
{};
template <>
struct std::hash<MorvexA106::SWCharString> : std::hash<MorvexA106::SString_t<unsigned short, 1>>
{};
template <>
struct std::hash<MorvexA106::SQCAString> : std::hash<MorvexA106::SString_t<unsigned short, 1>>
{};
