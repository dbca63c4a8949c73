#include "morvex/messagefile.h"

#include "morvex/sstringconv.h"
#include "platform/utf16.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace MorvexA106
{

namespace
{

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) noexcept
{
    const std::size_t first = std::min(text.find_first_not_of(blanks), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

struct Utf8Row
{
    unsigned char lastLead;
    unsigned char size;
    unsigned char lowest;
    unsigned char highest;
};

/// By lead byte: the length, and the bounds of the second byte (Unicode 15, table 3-7). Zero is refused.
constexpr Utf8Row utf8Rows[] = {
    {0x00, 0, 0, 0},       {0x7F, 1, 0, 0},       {0xC1, 0, 0, 0},       {0xDF, 2, 0x80, 0xBF},
    {0xE0, 3, 0xA0, 0xBF}, {0xEC, 3, 0x80, 0xBF}, {0xED, 3, 0x80, 0x9F}, {0xEF, 3, 0x80, 0xBF},
    {0xF0, 4, 0x90, 0xBF}, {0xF3, 4, 0x80, 0xBF}, {0xF4, 4, 0x80, 0x8F}, {0xFF, 0, 0, 0},
};

/// Bytes of the character that the text begins with, 0 when they are none.
std::size_t utf8Size(std::string_view text) noexcept
{
    const auto byteAt = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const Utf8Row& row = *std::ranges::lower_bound(utf8Rows, byteAt(0), {}, &Utf8Row::lastLead);
    if (row.size < 2 || row.size > text.size()) {
        return row.size == 1 ? 1 : 0;
    }
    bool isGood = byteAt(1) >= row.lowest && byteAt(1) <= row.highest;
    for (std::size_t i = 2; i < row.size; ++i) {
        isGood = isGood && (byteAt(i) & 0xC0) == 0x80;
    }
    return isGood ? row.size : 0;
}

bool isUtf8(std::string_view text) noexcept
{
    while (!text.empty()) {
        const std::size_t size = utf8Size(text);
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

/// The text must be UTF-8.
SQCAString unitsOf(std::string_view text)
{
    static constexpr unsigned char leadMasks[] = {0x7F, 0x1F, 0x0F, 0x07};
    std::u16string units;
    while (!text.empty()) {
        const std::size_t size = utf8Size(text);
        char32_t character = static_cast<unsigned char>(text[0]) & leadMasks[size - 1];
        for (std::size_t i = 1; i < size; ++i) {
            character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
        }
        unsigned short pair[2];
        units.append(pair, Platform::putUnits(character, pair));
        text.remove_prefix(size);
    }
    return SQCAString(std::u16string_view(units));
}

bool readNumber(std::string_view text, unsigned long& number)
{
    std::uint32_t value = 0;
    const bool isHexadecimal = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    const std::string_view digits = isHexadecimal ? text.substr(2) : text;
    const bool isSigned = digits.substr(0, 1) == "+";
    const bool isRead = !isSigned && SStringConv::FromString(digits, value, isHexadecimal ? 16 : 10);
    number = value;
    return isRead;
}

/// The character that an escape stands for, 0 for no escape.
char escaped(char letter) noexcept
{
    switch (letter) {
    case 'n':
        return '\n';
    case 't':
        return '\t';
    case '\\':
    case '"':
        return letter;
    default:
        return 0;
    }
}

/// Null, or what is wrong with the text.
const char* unescape(std::string_view written, bool isQuoted, std::string& text)
{
    for (std::size_t at = 0; at < written.size(); ++at) {
        char byte = written[at];
        if (byte == '\\') {
            byte = at + 1 < written.size() ? escaped(written[++at]) : '\0';
        } else if (byte == '"' && isQuoted) {
            return "a quotation mark inside a quoted text without a backslash";
        }
        if (byte == 0) {
            return "a backslash before something that it can't stand before";
        }
        text += byte;
    }
    return nullptr;
}

/// Null, or what is wrong with the text behind the equals sign.
const char* readText(std::string_view written, SQCAString& text)
{
    const bool isQuoted = written.size() >= 2 && written.front() == '"' && written.back() == '"';
    if (isQuoted) {
        written = written.substr(1, written.size() - 2);
    }
    std::string bytes;
    if (const char* const wrong = unescape(written, isQuoted, bytes)) {
        return wrong;
    }
    text = unitsOf(bytes);
    return nullptr;
}

/// Null, or what is wrong with the line.
const char* readLine(std::string_view line, MessageTexts& texts)
{
    if (!isUtf8(line)) {
        return "no UTF-8";
    }
    line = trimmed(line);
    if (line.empty() || line.front() == '#') {
        return nullptr;
    }
    const std::size_t equals = std::min(line.find('='), line.size());
    unsigned long number = 0;
    if (equals == line.size() || !readNumber(trimmed(line.substr(0, equals)), number)) {
        return "neither a number, an equals sign and a text, nor a comment";
    }
    if (texts.contains(number)) {
        return "a number that stands above already";
    }
    return readText(trimmed(line.substr(equals + 1)), texts[number]);
}

} // namespace

MessageFault readMessages(std::string_view bytes, MessageTexts& texts)
{
    if (bytes.starts_with(byteOrderMark)) {
        bytes.remove_prefix(byteOrderMark.size());
    }
    for (std::size_t number = 1; !bytes.empty(); ++number) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        if (const char* const wrong = readLine(bytes.substr(0, end), texts)) {
            return {number, wrong};
        }
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
    return {};
}

} // namespace MorvexA106
