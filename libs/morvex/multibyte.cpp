#include "morvex/multibyte.h"

#include "morvex/asciifold.h"
#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "morvex/utfkernels.h"

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

namespace
{

int collateNoCase(const char* left, const char* right)
{
    return sayingBadAllocation([&] { return Platform::collateNoCase(left, right); });
}

unsigned int countWalking(const LocaleText& locale, const char* text) noexcept
{
    const std::size_t all = locale.countAll(text);
    if (all != LocaleText::notAll) {
        return static_cast<unsigned int>(all);
    }
    unsigned int count = 0;
    for (; *text != 0; ++count) {
        text += locale.step(text);
    }
    return count;
}

/// Well-formed runs at one go, and what the locale makes of anything else in single steps.
unsigned int countUtf8(const LocaleText& locale, const char* text) noexcept
{
    const auto* at = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* end = at + std::strlen(text);
    std::size_t count = 0;
    while (at != end) {
        const auto run = UtfKernels::countUtf8(at, end);
        at = run.stop;
        count += run.characters;
        if (at != end) {
            at += locale.step(reinterpret_cast<const char*>(at));
            ++count;
        }
    }
    return static_cast<unsigned int>(count);
}

} // namespace

unsigned int countCharacters(const char* text) noexcept
{
    const LocaleText locale = LocaleText::current();
    if (locale.isSingleByte()) {
        return static_cast<unsigned int>(std::strlen(text));
    }
    return locale.isUtf8() ? countUtf8(locale, text) : countWalking(locale, text);
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

int compareNoCase(const char* left, const char* right, std::size_t common)
{
    const AsciiFold::Prefix same = AsciiFold::equalPrefix(left, right, common);
    const char l = left[same.length];
    const char r = right[same.length];
    if (same.needsI && !Platform::foldsLikeAscii()) {
        return collateNoCase(left, right);
    }
    if (l == 0 && r == 0) {
        return 0;
    }
    // Where I has another small letter, it does not tell the order.
    const bool decides = AsciiFold::areAscii(l, r) && Platform::collationIsByteOrder() &&
                         ((l != 'I' && r != 'I') || Platform::foldsLikeAscii());
    return decides ? AsciiFold::folded(l) - AsciiFold::folded(r) : collateNoCase(left, right);
}

int compareBytesNoCase(const char* left, const char* right, std::size_t common) noexcept
{
    const AsciiFold::Prefix same = AsciiFold::equalPrefix(left, right, common);
    const std::size_t begin = same.needsI ? 0 : same.length;
    for (left += begin, right += begin;; ++left, ++right) {
        const int l = std::tolower(static_cast<unsigned char>(*left));
        const int r = std::tolower(static_cast<unsigned char>(*right));
        if (l != r || l == 0) {
            return l - r;
        }
    }
}

} // namespace MorvexA106::Multibyte
