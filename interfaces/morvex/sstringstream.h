#pragma once

/// @file
/// Strings on the standard's streams.
///
///     std::cout << std::setw(20) << std::left << name << '\n';
///     for (SAnsiString word; std::cin >> word;) { ... }
///
/// Without this header a stream takes a byte string for the pointer that it converts to, and prints the text of it
/// all the same; of a 16-bit string it prints an address.

#include "morvex/sstring.h"

#include <istream>
#include <ostream>
#include <string>
#include <string_view>

namespace MorvexA106
{

/// Write the text up to its terminator, and honour width, fill and adjustment, which count bytes as everywhere in
/// streams. 16-bit text is written as multibyte text of the current locale, with `?` for what has no form there.
template <int M>
std::ostream& operator<<(std::ostream& stream, const SString_t<char, M>& text)
{
    return stream << std::string_view(text.getString());
}

template <int M>
std::ostream& operator<<(std::ostream& stream, const SString_t<unsigned short, M>& text)
{
    SAnsiString bytes;
    bytes.copyFrom(text.getString());
    return stream << bytes;
}

/// One character, as the text that has only that one; the zero character writes nothing but its width in fill.
template <class T, int M>
std::ostream& operator<<(std::ostream& stream, const SChar_t<T, M>& character)
{
    return stream << SString_t<T, M>(character);
}

/// Reads a word as for `std::string`: white space in front is skipped unless the stream says otherwise, the word ends
/// at white space, at the stream's width or at the end. What white space is, the stream's locale tells, byte by
/// byte. A stream with nothing left fails and leaves the text alone.
template <int M>
std::istream& operator>>(std::istream& stream, SString_t<char, M>& text)
{
    std::string word(text.getString());
    stream >> word;
    text = SString_t<char, M>(std::string_view(word));
    return stream;
}

/// Reads a line as `std::getline` does for `std::string`: the delimiter is taken off the stream and left out.
template <int M>
std::istream& getline(std::istream& stream, SString_t<char, M>& text, char delimiter = '\n')
{
    std::string line(text.getString());
    std::getline(stream, line, delimiter);
    text = SString_t<char, M>(std::string_view(line));
    return stream;
}

} // namespace MorvexA106
