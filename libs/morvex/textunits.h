#pragma once

/// @file
/// Small operations on terminated text of either unit width, and the walk over its characters.

#include "morvex/schartype.h"
#include "platform/text.h"

#include <cctype>
#include <cstddef>
#include <cstring>

namespace MorvexA106::TextUnits
{

/// Units before the terminator; 0 for null.
template <class T>
std::size_t lengthOf(const T* text) noexcept
{
    if (text == nullptr) {
        return 0;
    }
    if constexpr (sizeof(T) == 1) {
        return std::strlen(text);
    } else {
        const T* end = text;
        while (*end != 0) {
            ++end;
        }
        return static_cast<std::size_t>(end - text);
    }
}

/// Units before the terminator, but no more than the limit, past which nothing is read; 0 for null.
template <class T>
std::size_t lengthWithin(const T* text, std::size_t limit) noexcept
{
    std::size_t length = 0;
    while (text != nullptr && length < limit && text[length] != 0) {
        ++length;
    }
    return length;
}

/// The two may overlap.
template <class T>
void copyUnits(T* target, const T* source, std::size_t count) noexcept
{
    if (count != 0) {
        std::memmove(target, source, count * sizeof(T));
    }
}

inline int sign(int order) noexcept
{
    return (order > 0) - (order < 0);
}

template <class T>
const T* orEmpty(const T* text) noexcept
{
    static constexpr T none = 0;
    return text != nullptr ? text : &none;
}

/// By units as unsigned numbers: -1, 0 or 1.
template <class T>
int compareUnits(const T* left, const T* right) noexcept
{
    if constexpr (sizeof(T) == 1) {
        return sign(std::strcmp(left, right));
    } else {
        while (*left != 0 && *left == *right) {
            ++left;
            ++right;
        }
        return sign(*left - *right);
    }
}

/// The walk over a text's characters, with the locale asked once: it must not outlive the operation.
template <class T, int M>
class Walker
{
public:
    /// Units to the next character; the terminator holds the walk.
    std::size_t step(const T* text) const noexcept
    {
        if constexpr (M == 0) {
            return static_cast<std::size_t>(m_locale.step(text));
        } else {
            return *text != 0 ? 1 : 0;
        }
    }

    bool isSpace(const T* text) const noexcept
    {
        if constexpr (M == 0) {
            Platform::WideCode character = 0;
            const int length = m_locale.decode(text, character);
            return length >= 0 && character <= 0xFFFF && is_space(static_cast<unsigned short>(character));
        } else if constexpr (sizeof(T) == 1) {
            return std::isspace(static_cast<unsigned char>(*text)) != 0;
        } else {
            return is_space(*text);
        }
    }

private:
    struct None
    {};
    static auto rules() noexcept
    {
        if constexpr (M == 0) {
            return Platform::LocaleText::current();
        } else {
            return None();
        }
    }

    decltype(rules()) m_locale = rules();
};

} // namespace MorvexA106::TextUnits
