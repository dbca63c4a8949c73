#include "morvex/messagefile.h"

#include "morvex/sstringconv.h"
#include "morvex/textbuilder.h"
#include "morvex/utfkernels.h"

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

const unsigned char* asBytes(const char* text) noexcept
{
    return reinterpret_cast<const unsigned char*>(text);
}

/// Well-formed, and no zero in it.
bool isUtf8(std::string_view text) noexcept
{
    const unsigned char* const end = asBytes(text.data()) + text.size();
    return text.find('\0') == std::string_view::npos &&
           UtfKernels::countUtf8(asBytes(text.data()), end).stop == end;
}

/// Well-formed text, of which no byte becomes more than a unit.
SQCAString unitsOf(std::string_view text)
{
    if (text.empty()) {
        return {};
    }
    const unsigned char* const begin = asBytes(text.data());
    TextBuilder<unsigned short, 1> builder(text.size());
    unsigned short* const units = builder.extend(text.size());
    const auto done = UtfKernels::utf8ToUtf16(begin, begin + text.size(), units, units + text.size());
    builder.cutTo(static_cast<std::size_t>(done.target - units));
    return SQCAString(builder.take());
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
