#pragma once

/// @file
/// What the fuzz targets share. A target is one function, `LLVMFuzzerTestOneInput`, that checks properties of
/// what it calls and ends the program where one does not hold:
///
///     extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
///     {
///         Fuzz::Input input(bytes, size);
///         Fuzz::useLocale(input.byte());
///         const std::string text = input.rest();
///         Fuzz::require(decode(encode(text)) == text, "what is encoded reads back");
///         return 0;
///     }

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

namespace Fuzz
{

/// Ends the program, and so reports the input, where a property does not hold.
inline void require(bool holds, const char* property)
{
    if (!holds) {
        std::fprintf(stderr, "fuzz: this does not hold: %s\n", property);
        std::abort();
    }
}

/// Deals out the bytes of one input from the front. What is asked for past the end is zero or empty, so that
/// every input is a valid one.
class Input
{
public:
    Input(const unsigned char* bytes, std::size_t size) : m_rest(reinterpret_cast<const char*>(bytes), size)
    {}

    unsigned char byte()
    {
        const std::string taken = bytes(1);
        return taken.empty() ? 0 : static_cast<unsigned char>(taken[0]);
    }

    /// Two bytes, the low one first.
    unsigned unit()
    {
        const unsigned low = byte();
        return low | static_cast<unsigned>(byte()) << 8;
    }

    std::string bytes(std::size_t count)
    {
        const std::string taken(m_rest.substr(0, count));
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    /// What stands before the next such byte, or the rest where there is none; the byte is taken off as well.
    std::string until(char end)
    {
        std::string taken = bytes(std::min(m_rest.find(end), m_rest.size()));
        bytes(1);
        return taken;
    }

    std::string rest() { return bytes(m_rest.size()); }

private:
    std::string_view m_rest;
};

/// Puts one of the locales in force, chosen by the number; the last has the longest names. `fuzz/run` sets `LOCPATH`
/// to where they stand.
inline const char* useLocale(unsigned char choice)
{
    static constexpr const char* names[] = {"C.UTF-8",      "C",           "ja_JP.CP932",
                                            "en_US.UTF-8",  "zh_CN.GBK",   "de_DE.CP1252",
                                            "ja_JP.EUC-JP", "tr_TR.UTF-8", "ps_AF.UTF-8"};
    const char* name = names[choice % std::size(names)];
    require(std::setlocale(LC_ALL, name) != nullptr, name);
    return name;
}

} // namespace Fuzz
