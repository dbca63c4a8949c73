// Files of texts by number: what was taken, written again in the form of such a file, is taken as the same texts.

#include "fuzz.h"

#include "morvex/messagefile.h"

#include <algorithm>
#include <string>

using namespace MorvexA106;

namespace
{

/// In a locale of UTF-8.
std::string utf8(const SQCAString& text)
{
    SAnsiString bytes;
    bytes.copyFrom(text.getString());
    return std::string(bytes.view());
}

std::string escaped(const std::string& text)
{
    std::string written;
    for (const char byte : text) {
        switch (byte) {
        case '\n':
            written += "\\n";
            break;
        case '"':
        case '\\':
            written += '\\';
            [[fallthrough]];
        default:
            written += byte;
        }
    }
    return written;
}

std::string fileOf(const MessageTexts& texts)
{
    std::string file;
    for (const auto& [number, text] : texts) {
        file += std::to_string(number) + "=\"" + escaped(utf8(text)) + "\"\n";
    }
    return file;
}

bool areSame(const MessageTexts& left, const MessageTexts& right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const auto& a, const auto& b) {
        return a.first == b.first && a.second.view() == b.second.view();
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::useLocale(0);
    Fuzz::Input input(bytes, size);
    const std::string file = input.rest();
    MessageTexts texts;
    const MessageFault fault = readMessages(file, texts);
    const auto lines = static_cast<std::size_t>(std::count(file.begin(), file.end(), '\n')) + 1;
    Fuzz::require(fault.line <= lines, "a fault is in a line that there is");
    Fuzz::require((fault.line == 0) == (*fault.what == '\0'), "a fault has a reason");
    if (fault.line != 0) {
        return 0;
    }
    MessageTexts again;
    Fuzz::require(readMessages(fileOf(texts), again).line == 0, "what was taken can be written");
    Fuzz::require(areSame(texts, again), "the same texts again");
    return 0;
}
