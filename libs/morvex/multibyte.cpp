#include "morvex/multibyte.h"

#include "morvex/checks.h"

#include <cctype>
#include <cstring>

namespace MorvexA106::Multibyte
{

using Platform::LocaleText;
using Platform::WideCode;

const CaseMapping upperCase = {Platform::toUpper, "MakeUpperCaseChar: Fail to convert to wchar_t",
                               "MakeUpperCaseChar: Fail to convert back to MBCS",
                               "MakeUpperCaseChar(dest, &charSize)"};
const CaseMapping lowerCase = {Platform::toLower, "MakeLowerCaseChar: Fail to convert to wchar_t",
                               "MakeLowerCaseChar: Fail to convert back to MBCS",
                               "MakeLowerCaseChar(dest, &charSize)"};

MapResult mapCharacter(const LocaleText& locale, const char* text, const CaseMapping& mapping, char* bytes,
                       std::size_t& length) noexcept
{
    WideCode character = 0;
    if (locale.decode(text, character) < 0) {
        return MapResult::noWideForm;
    }
    const int mapped = locale.encode(mapping.map(character), bytes);
    if (mapped < 0) {
        return MapResult::noWayBack;
    }
    length = static_cast<std::size_t>(mapped);
    return MapResult::mapped;
}

void reportMapping(MapResult result, const CaseMapping& mapping)
{
    if (result != MapResult::mapped) {
        MORVEX_FAIL(result == MapResult::noWideForm ? mapping.noWideForm : mapping.noWayBack);
    }
}

unsigned int countCharacters(const char* text) noexcept
{
    const LocaleText locale = LocaleText::current();
    if (locale.isSingleByte()) {
        return static_cast<unsigned int>(std::strlen(text));
    }
    unsigned int count = 0;
    for (; *text != 0; ++count) {
        text += locale.step(text);
    }
    return count;
}

const char* findText(const char* text, const char* pattern) noexcept
{
    const LocaleText locale = LocaleText::current();
    const char* hit = std::strstr(text, pattern);
    // Inside a UTF-8 character there are continuation bytes only, and in single-byte text there is no inside.
    const bool inside =
        !locale.isSingleByte() && !(locale.isUtf8() && (static_cast<unsigned char>(*pattern) & 0xC0) != 0x80);
    while (hit != nullptr && inside && text != hit) {
        while (text < hit) {
            text += locale.step(text);
        }
        if (text != hit) {
            hit = std::strstr(text, pattern);
        }
    }
    return hit != nullptr ? hit : text + std::strlen(text);
}

int compareBytesNoCase(const char* left, const char* right) noexcept
{
    for (;; ++left, ++right) {
        const int l = std::tolower(static_cast<unsigned char>(*left));
        const int r = std::tolower(static_cast<unsigned char>(*right));
        if (l != r || l == 0) {
            return l - r;
        }
    }
}

} // namespace MorvexA106::Multibyte
