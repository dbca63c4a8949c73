#pragma once

/// @file
/// What all contenders work on. The same on every run.

#include <string>
#include <vector>

namespace TextBench
{

/// Text in both encodings, 64 KB as UTF-8.
struct UnicodeText
{
    std::string name;
    std::string utf8;
    std::u16string utf16;
    std::size_t characters;
};

/// As many numbers as a turn can take in order by a mask, and each as text.
inline constexpr unsigned numberCount = 256;

struct Integers
{
    std::vector<int> values; ///< of all lengths, most of them short
    std::vector<std::string> texts;
};

struct Doubles
{
    std::string name;
    std::vector<double> values;
    std::vector<std::string> texts; ///< the shortest that read back
};

struct Texts
{
    Texts();

    std::string letters10, letters100, letters1000;
    std::string mixedCase10, mixedCase100, mixedCase1000; ///< the letters with every other one a capital
    std::string haystack;                                 ///< 64 KB that end in the needle
    std::string needle;
    std::string piece; ///< 16 bytes
    std::string line;  ///< twelve fields with commas between
    UnicodeText ascii, latin, cjk;
    Integers integers;
    Doubles random; ///< 16 or 17 digits each
    Doubles prices; ///< two decimals
};

/// Lower-case letters.
std::string lettersOf(std::size_t size);

/// One character as UTF-8.
void append(std::string& text, char32_t character);

} // namespace TextBench
