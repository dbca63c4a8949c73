#include "platform/collation.h"

#include "platform/utf16.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <functional>
#include <langinfo.h>
#include <string>
#include <string_view>

namespace MorvexA106::Platform
{

namespace
{

/// Gives the bytes of a text in small letters, one at a time, and zeros behind the end. What is no character, or has
/// no small letter in the locale, is given as it is.
class FoldedBytes
{
public:
    FoldedBytes(const char* text, LocaleText locale) noexcept : m_text(text), m_locale(locale) {}

    unsigned char next() noexcept
    {
        if (m_next == m_length) {
            fold();
        }
        return static_cast<unsigned char>(m_bytes[m_next++]);
    }

private:
    void fold() noexcept
    {
        m_next = 0;
        if (*m_text == 0) {
            m_bytes[0] = 0;
            m_length = 1;
            return;
        }
        WideCode character = 0;
        const int taken = m_locale.decode(m_text, character);
        const auto size = static_cast<std::size_t>(taken < 0 ? 1 : taken);
        const int mapped = taken < 0 ? -1 : m_locale.encode(toLower(character), m_bytes);
        if (mapped < 0) {
            std::copy_n(m_text, size, m_bytes);
        }
        m_text += size;
        m_length = mapped < 0 ? size : static_cast<std::size_t>(mapped);
    }

    const char* m_text;
    LocaleText m_locale;
    char m_bytes[16] = {};
    std::size_t m_next = 0;
    std::size_t m_length = 0;
};

std::string foldedText(const char* text, LocaleText locale)
{
    std::string folded;
    folded.reserve(std::strlen(text));
    FoldedBytes bytes(text, locale);
    while (const unsigned char byte = bytes.next()) {
        folded += static_cast<char>(byte);
    }
    return folded;
}

int compareFolded(const char* left, const char* right, LocaleText locale) noexcept
{
    FoldedBytes leftBytes(left, locale);
    FoldedBytes rightBytes(right, locale);
    for (;;) {
        const int l = leftBytes.next();
        const int r = rightBytes.next();
        if (l != r || l == 0) {
            return l - r;
        }
    }
}

/// The character at the cursor, as a small letter if that is wanted; advances the cursor.
WideCode nextMapped(const unsigned short*& text, bool fold) noexcept
{
    const WideCode character = nextCharacter(text);
    return fold ? toLower(character) : character;
}

std::wstring toWide(const unsigned short* text, bool fold)
{
    std::wstring wide;
    while (*text != 0) {
        wide.push_back(static_cast<wchar_t>(nextMapped(text, fold)));
    }
    return wide;
}

int compareUnits(const unsigned short* left, const unsigned short* right) noexcept
{
    while (*left != 0 && *left == *right) {
        ++left;
        ++right;
    }
    return *left - *right;
}

int compareCharacters(const unsigned short* left, const unsigned short* right, bool fold) noexcept
{
    for (;;) {
        const WideCode l = nextMapped(left, fold);
        const WideCode r = nextMapped(right, fold);
        if (l != r || l == 0) {
            return (l > r) - (l < r);
        }
    }
}

/// Collation completed: texts that the locale calls equal are put in the order of their characters.
int collateCompleted(const unsigned short* left, const unsigned short* right, bool fold)
{
    if (collationIsByteOrder() || compareUnits(left, right) == 0) {
        return compareCharacters(left, right, fold);
    }
    const int order = std::wcscoll(toWide(left, fold).c_str(), toWide(right, fold).c_str());
    return order != 0 ? order : compareCharacters(left, right, fold);
}

template <class Map>
void mapWide(unsigned short* text, Map map) noexcept
{
    while (*text != 0) {
        const unsigned short* next = text;
        const WideCode mapped = map(nextCharacter(next));
        if ((next - text == 2) == (mapped >= 0x10000)) {
            putUnits(mapped, text);
        }
        text += next - text;
    }
}

} // namespace

WideCode toUpper(WideCode character) noexcept
{
    return static_cast<WideCode>(std::towupper(static_cast<std::wint_t>(character)));
}

WideCode toLower(WideCode character) noexcept
{
    return static_cast<WideCode>(std::towlower(static_cast<std::wint_t>(character)));
}

bool foldsLikeAscii() noexcept
{
    // The item's value is a number that the C library hands out in place of the pointer. It also tells of letters with
    // bytes from 0x80 up, so that a locale that has any is asked once more.
    return reinterpret_cast<std::size_t>(nl_langinfo(_NL_CTYPE_NONASCII_CASE)) == 0 || toLower('I') == 'i';
}

bool collationIsByteOrder() noexcept
{
    // The item's value is a number that the C library hands out in place of the pointer.
    return reinterpret_cast<std::size_t>(nl_langinfo(_NL_COLLATE_NRULES)) == 0;
}

int collate(const char* left, const char* right) noexcept
{
    // The C library does not look for identical bytes first, and equal bytes always collate as equal.
    const int bytes = std::strcmp(left, right);
    if (bytes == 0 || collationIsByteOrder()) {
        return bytes;
    }
    const int order = std::strcoll(left, right);
    return order != 0 ? order : bytes;
}

bool collatesEqual(const char* left, const char* right) noexcept
{
    return std::strcmp(left, right) == 0;
}

bool collatesEqualWide(const unsigned short* left, const unsigned short* right)
{
    return compareUnits(left, right) == 0;
}

std::size_t collationHash(const char* text)
{
    return std::hash<std::string_view>()(text);
}

std::size_t collationHashWide(const unsigned short* text)
{
    const unsigned short* end = text;
    while (*end != 0) {
        ++end;
    }
    const auto* bytes = reinterpret_cast<const char*>(text);
    return std::hash<std::string_view>()({bytes, static_cast<std::size_t>(end - text) * sizeof *text});
}

int collateNoCase(const char* left, const char* right)
{
    if (std::strcmp(left, right) == 0) {
        return 0;
    }
    const LocaleText locale = LocaleText::current();
    if (collationIsByteOrder()) {
        return compareFolded(left, right, locale);
    }
    return collate(foldedText(left, locale).c_str(), foldedText(right, locale).c_str());
}

int collateWide(const unsigned short* left, const unsigned short* right)
{
    return collateCompleted(left, right, false);
}

int collateWideNoCase(const unsigned short* left, const unsigned short* right)
{
    return collateCompleted(left, right, true);
}

void makeUpperWide(unsigned short* text) noexcept
{
    mapWide(text, toUpper);
}
void makeLowerWide(unsigned short* text) noexcept
{
    mapWide(text, toLower);
}

unsigned short toUpperUnit(unsigned short unit) noexcept
{
    const WideCode mapped = toUpper(unit);
    return mapped < 0x10000 ? static_cast<unsigned short>(mapped) : unit;
}

unsigned short toLowerUnit(unsigned short unit) noexcept
{
    const WideCode mapped = toLower(unit);
    return mapped < 0x10000 ? static_cast<unsigned short>(mapped) : unit;
}

} // namespace MorvexA106::Platform
