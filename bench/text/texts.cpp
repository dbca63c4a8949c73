#include "texts.h"

#include <charconv>
#include <cstdint>
#include <iterator>

namespace TextBench
{

namespace
{

constexpr std::size_t textBytes = 65536;

/// A small generator of our own: the texts must be the same with every standard library.
class Dice
{
public:
    explicit Dice(std::uint32_t seed) : m_state(seed) {}

    /// Below `sides`.
    std::uint32_t roll(std::uint32_t sides) { return (next() >> 8) % sides; }

    std::uint32_t next()
    {
        m_state = m_state * 1664525u + 1013904223u;
        return m_state;
    }

private:
    std::uint32_t m_state;
};

char letter(Dice& dice)
{
    return static_cast<char>('a' + dice.roll(26));
}

std::string otherCase(std::string text)
{
    for (char& each : text) {
        each = static_cast<char>(each % 2 != 0 ? each - 'a' + 'A' : each);
    }
    return text;
}

std::string logWords()
{
    const char* const words[] = {"the ",   "error ",  "connection ", "server ", "request ",
                                 "needl ", "handle ", "timeout ",    "neede "};
    Dice dice(1);
    std::string text;
    while (text.size() < textBytes - 20) {
        text += words[dice.roll(std::size(words))];
    }
    text.resize(textBytes - 8, ' ');
    return text + "needle42";
}

/// Fills up to the full size with what the function appends, and at the end with `x`.
template <class Append>
std::string filled(Append appendNext)
{
    Dice dice(7);
    std::string text;
    while (text.size() < textBytes - 3) {
        appendNext(text, dice);
    }
    text.resize(textBytes, 'x');
    return text;
}

std::string asciiText()
{
    return filled([](std::string& text, Dice& dice) { text += dice.roll(7) == 0 ? ' ' : letter(dice); });
}

/// Eight characters in a hundred have two bytes, fourteen are blanks.
std::string latinText()
{
    return filled([](std::string& text, Dice& dice) {
        static constexpr char32_t accented[] = {0xE4, 0xF6, 0xFC, 0xDF, 0xE9, 0xE8};
        const std::uint32_t kind = dice.roll(100);
        append(text, kind < 8    ? accented[dice.roll(std::size(accented))]
                     : kind < 22 ? U' '
                                 : static_cast<char32_t>(letter(dice)));
    });
}

/// Ideographs with a blank now and then.
std::string cjkText()
{
    return filled([](std::string& text, Dice& dice) {
        append(text, dice.roll(100) < 5 ? U' ' : U'\u4E00' + dice.roll(0x5000));
    });
}

/// No text here has a character above U+FFFF.
UnicodeText unicodeText(const char* name, std::string utf8)
{
    UnicodeText text{name, std::move(utf8), {}, 0};
    for (std::size_t at = 0; at < text.utf8.size();) {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text.utf8[at + i]); };
        if (byte(0) < 0x80) {
            text.utf16 += static_cast<char16_t>(byte(0));
            at += 1;
        } else if (byte(0) < 0xE0) {
            text.utf16 += static_cast<char16_t>((byte(0) & 0x1F) << 6 | (byte(1) & 0x3F));
            at += 2;
        } else {
            text.utf16 +=
                static_cast<char16_t>((byte(0) & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F));
            at += 3;
        }
    }
    text.characters = text.utf16.size();
    return text;
}

template <class Number>
std::string textOf(Number number)
{
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

template <class Number>
std::vector<std::string> textsOf(const std::vector<Number>& numbers)
{
    std::vector<std::string> texts;
    for (const Number number : numbers) {
        texts.push_back(textOf(number));
    }
    return texts;
}

template <class Number, class Make>
std::vector<Number> numbersOf(Make make)
{
    Dice dice(12345);
    std::vector<Number> numbers;
    for (unsigned i = 0; i < numberCount; ++i) {
        numbers.push_back(make(dice));
    }
    return numbers;
}

int anyInteger(Dice& dice)
{
    return static_cast<std::int32_t>(dice.next() * 2654435761u);
}

Integers makeIntegers()
{
    auto values = numbersOf<int>([](Dice& dice) { return anyInteger(dice) >> dice.roll(31); });
    return {values, textsOf(values)};
}

Doubles makeRandom()
{
    auto values = numbersOf<double>([](Dice& dice) { return anyInteger(dice) / (dice.roll(4096) + 3.0); });
    return {"17 digits", values, textsOf(values)};
}

Doubles makePrices()
{
    auto values = numbersOf<double>([](Dice& dice) { return (anyInteger(dice) >> 8) / 100.0; });
    return {"2 decimals", values, textsOf(values)};
}

} // namespace

void append(std::string& text, char32_t character)
{
    if (character < 0x80) {
        text += static_cast<char>(character);
        return;
    }
    if (character < 0x800) {
        text += static_cast<char>(0xC0 | character >> 6);
    } else {
        text += static_cast<char>(0xE0 | character >> 12);
        text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
    }
    text += static_cast<char>(0x80 | (character & 0x3F));
}

std::string lettersOf(std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += static_cast<char>('a' + i * 7 % 26);
    }
    return text;
}

Texts::Texts()
    : letters10(lettersOf(10)),
      letters100(lettersOf(100)),
      letters1000(lettersOf(1000)),
      mixedCase10(otherCase(letters10)),
      mixedCase100(otherCase(letters100)),
      mixedCase1000(otherCase(letters1000)),
      haystack(logWords()),
      needle("needle42"),
      piece("0123456789abcdef"),
      line(
          "2026-11-21,10:15:33.123,INFO,server7,worker-12,GET,/api/v1/items/4711,200,1532,0.0123,client/7.88,"
          "10.0.0.12"),
      ascii(unicodeText("ASCII", asciiText())),
      latin(unicodeText("Latin", latinText())),
      cjk(unicodeText("CJK", cjkText())),
      integers(makeIntegers()),
      random(makeRandom()),
      prices(makePrices())
{}

} // namespace TextBench
