#include "morvex/checks.h"
#include "morvex/multibyte.h"
#include "morvex/sstringimpl.h"
#include "morvex/textunits.h"
#include "platform/collation.h"
#include "platform/text.h"
#include "platform/utf16.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <type_traits>

namespace MorvexA106
{

namespace
{

using Platform::LocaleText;
using Platform::WideCode;

bool isBlankCode(unsigned short code)
{
    return code == 0x20 || code == 0x09 || code == 0x3000;
}

/// Asks the table of 16-bit codes for the character, or the C runtime for a byte.
template <class T, int M>
bool isOfClass(const T* units, bool (*ofCode)(unsigned short), int (*ofByte)(int))
{
    if constexpr (M == 0) {
        WideCode character = 0;
        const int length = LocaleText::current().decode(units, character);
        return length >= 0 && character <= 0xFFFF && ofCode(static_cast<unsigned short>(character));
    } else if constexpr (sizeof(T) == 1) {
        return ofByte(static_cast<unsigned char>(*units)) != 0;
    } else {
        return ofCode(*units);
    }
}

SChar_t<char, 0> mapMultibyte(const SChar_t<char, 0>& single, const Multibyte::CaseMapping& mapping)
{
    char bytes[Multibyte::mappedBytes] = {};
    std::size_t length = 0;
    const auto result =
        Multibyte::mapCharacter(LocaleText::current(), single.getUnits(), mapping, bytes, length);
    Multibyte::reportMapping(result, mapping);
    return SChar_t<char, 0>(result == Multibyte::MapResult::mapped ? &bytes[0] : nullptr);
}

} // namespace

template <class T, int M>
SChar_t<T, M>::SChar_t(const T* text) noexcept
{
    if (text != nullptr) {
        std::copy_n(text, TextUnits::Walker<T, M>().step(text), m_units);
    }
}

template <class T, int M>
unsigned int SChar_t<T, M>::getLength() const noexcept
{
    if constexpr (M == 0) {
        return static_cast<unsigned int>(LocaleText::current().length(m_units));
    } else {
        return 1;
    }
}

template <class T, int M>
bool SChar_t<T, M>::operator==(const SChar_t& other) const noexcept
{
    return std::equal(std::begin(m_units), std::end(m_units), std::begin(other.m_units));
}

template <class T, int M>
bool SChar_t<T, M>::isUpper() const noexcept
{
    return isOfClass<T, M>(m_units, is_upper, std::isupper);
}

template <class T, int M>
bool SChar_t<T, M>::isLower() const noexcept
{
    return isOfClass<T, M>(m_units, is_lower, std::islower);
}

template <class T, int M>
bool SChar_t<T, M>::isAlpha() const noexcept
{
    return isOfClass<T, M>(m_units, is_alpha, std::isalpha);
}

template <class T, int M>
bool SChar_t<T, M>::isDigit() const noexcept
{
    return isOfClass<T, M>(m_units, is_digit, std::isdigit);
}

template <class T, int M>
bool SChar_t<T, M>::isWhiteSpace() const noexcept
{
    return isOfClass<T, M>(m_units, is_space, std::isspace);
}

template <class T, int M>
bool SChar_t<T, M>::isBlank() const noexcept
{
    return isOfClass<T, M>(m_units, isBlankCode, std::isspace);
}

template <class T, int M>
SChar_t<T, M> SChar_t<T, M>::toLower() const
{
    if constexpr (M == 0) {
        return mapMultibyte(*this, Multibyte::lowerCase);
    } else if constexpr (sizeof(T) == 1) {
        return static_cast<T>(std::tolower(static_cast<unsigned char>(*m_units)));
    } else {
        return Platform::toLowerUnit(*m_units);
    }
}

template <class T, int M>
SChar_t<T, M> SChar_t<T, M>::toUpper() const
{
    if constexpr (M == 0) {
        return mapMultibyte(*this, Multibyte::upperCase);
    } else if constexpr (sizeof(T) == 1) {
        return static_cast<T>(std::toupper(static_cast<unsigned char>(*m_units)));
    } else {
        return Platform::toUpperUnit(*m_units);
    }
}

template <class T, int M>
unsigned int SChar_t<T, M>::toMBCSChar(char* buffer, unsigned int size) const noexcept
{
    char encoded[Multibyte::mappedBytes] = {};
    int length = 1;
    if constexpr (M == 0) {
        length = LocaleText::current().length(m_units);
        std::copy(std::begin(m_units), std::end(m_units), encoded);
    } else if constexpr (sizeof(T) == 1) {
        *encoded = *m_units;
        length = buffer != nullptr ? 1 : 0;
    } else {
        length = LocaleText::current().encode(*m_units, encoded);
    }
    const auto count = static_cast<unsigned int>(length);
    if (buffer != nullptr && length >= 0 && count <= size) {
        std::fill_n(buffer, size, '\0');
        std::copy_n(encoded, count, buffer);
    }
    return count;
}

template <class T, int M>
unsigned int SChar_t<T, M>::toAsciiChar(char* buffer) const noexcept
{
    const auto unit = static_cast<std::make_unsigned_t<T>>(*m_units);
    const bool hasForm = (M == 1 && sizeof(T) == 1) || (unit < 0x80 && getLength() == 1);
    if (buffer == nullptr || !hasForm) {
        return 0;
    }
    *buffer = static_cast<char>(unit);
    return 1;
}

template <class T, int M>
unsigned int SChar_t<T, M>::toQCAChar(unsigned short* buffer) const noexcept
{
    if (buffer == nullptr) {
        return 0;
    }
    if constexpr (M == 0) {
        WideCode character = 0;
        if (LocaleText::current().decode(m_units, character) < 0 || character > 0x10FFFF) {
            return 0;
        }
        if (character > 0xFFFF) {
            Platform::writePair(character, buffer);
            return 2;
        }
        *buffer = static_cast<unsigned short>(character);
    } else {
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): the sign goes along on purpose
        *buffer = static_cast<unsigned short>(static_cast<std::make_signed_t<T>>(*m_units));
    }
    return 1;
}

template class SChar_t<char, 0>;
template class SChar_t<char, 1>;
template class SChar_t<unsigned short, 1>;

} // namespace MorvexA106
