#pragma once

/// @file
/// The walks between the locale's multibyte text and 16-bit units: total, bounded, and quick where the text is
/// well-formed. Both ask the locale once and must not outlive the operation.

#include "platform/text.h"

#include <cstddef>

namespace MorvexA106
{

/// Reads multibyte text as units. `end` is the text's terminator.
class UnitReader
{
public:
    UnitReader(const char* text, const char* end) noexcept : m_text(text), m_end(end) {}

    bool isAtEnd() const noexcept { return m_text == m_end; }

    /// Fills at most `room` units and returns how many; a pair that does not fit is left where it is, so 0 means
    /// the end or such a pair.
    std::size_t next(unsigned short* units, std::size_t room) noexcept;

    /// Counts all that is left.
    std::size_t count() noexcept;

private:
    std::size_t readRun(unsigned short* units, std::size_t room) noexcept;
    std::size_t readSingle(unsigned short* units, std::size_t room) noexcept;

    const char* m_text;
    const char* m_end;
    Platform::LocaleText m_locale = Platform::LocaleText::current();
};

/// Writes units as multibyte text.
class ByteWriter
{
public:
    ByteWriter(const unsigned short* units, const unsigned short* end) noexcept : m_units(units), m_end(end)
    {}

    bool isAtEnd() const noexcept { return m_units == m_end; }

    /// Fills at most `room` bytes and returns how many; a character that does not fit is left where it is.
    std::size_t next(char* bytes, std::size_t room) noexcept;

    /// Counts all that is left.
    std::size_t count() noexcept;

private:
    std::size_t writeRun(char* bytes, std::size_t room) noexcept;
    std::size_t writeSingle(char* bytes, std::size_t room) noexcept;

    const unsigned short* m_units;
    const unsigned short* m_end;
    Platform::LocaleText m_locale = Platform::LocaleText::current();
};

} // namespace MorvexA106
