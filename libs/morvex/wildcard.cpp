#include "morvex/wildcard.h"

#include "platform/text.h"

#include <cstring>

namespace MorvexA106
{

namespace
{

bool matchesEverything(const char* pattern) noexcept
{
    return *pattern == '\0' || std::strcmp(pattern, "*") == 0 || std::strcmp(pattern, "*.*") == 0;
}

/// Bytes that the pattern and the name have in common at their heads as one character; 0 when they differ.
int commonCharacter(const char* pattern, const char* name, Platform::LocaleText locale) noexcept
{
    const int size = locale.step(name);
    return std::strncmp(pattern, name, static_cast<std::size_t>(size)) == 0 ? size : 0;
}

} // namespace

bool matchesWildcard(const char* pattern, const char* name) noexcept
{
    if (matchesEverything(pattern)) {
        return true;
    }
    const auto locale = Platform::LocaleText::current();
    const char* afterStar = nullptr; // of the last star, which takes one character more each time we fail
    const char* starEnd = nullptr;
    while (*name != '\0') {
        if (*pattern == '*') {
            afterStar = ++pattern;
            starEnd = name;
        } else if (*pattern == '?') {
            ++pattern;
            name += locale.step(name);
        } else if (const int size = commonCharacter(pattern, name, locale); size != 0) {
            pattern += size;
            name += size;
        } else if (afterStar != nullptr) {
            pattern = afterStar;
            starEnd += locale.step(starEnd);
            name = starEnd;
        } else {
            return false;
        }
    }
    while (*pattern == '*') {
        ++pattern;
    }
    return *pattern == '\0';
}

} // namespace MorvexA106
