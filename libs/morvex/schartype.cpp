#include "morvex/schartype.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace MorvexA106
{

namespace
{

enum ClassFlags : unsigned short
{
    alphabetic = 0x01,
    lowerCase = 0x02,
    upperCase = 0x04,
    space = 0x08,
    punctuation = 0x10,
    digit = 0x20
};

/// A run of neighbouring codes of the same classes.
struct Run
{
    unsigned short first;
    unsigned short last;
    unsigned short flags;
};

/// Ascending and without overlap; a code in no run has no class.
constexpr Run runs[] = {
#include "charclasstable.inc"
};

unsigned short flagsOf(unsigned short code) noexcept
{
    const Run* run =
        std::lower_bound(std::begin(runs), std::end(runs), code,
                         [](const Run& each, unsigned short wanted) { return each.last < wanted; });
    return run != std::end(runs) && run->first <= code ? run->flags : 0;
}

bool hasClass(unsigned short code, ClassFlags wanted, int (*ofRuntime)(int))
{
    return code <= 0x7F ? ofRuntime(code) != 0 : (flagsOf(code) & wanted) != 0;
}

} // namespace

bool is_upper(unsigned short code)
{
    return hasClass(code, upperCase, std::isupper);
}
bool is_lower(unsigned short code)
{
    return hasClass(code, lowerCase, std::islower);
}
bool is_alpha(unsigned short code)
{
    return hasClass(code, alphabetic, std::isalpha);
}
bool is_space(unsigned short code)
{
    return hasClass(code, space, std::isspace);
}
bool is_punct(unsigned short code)
{
    return hasClass(code, punctuation, std::ispunct);
}
bool is_digit(unsigned short code)
{
    return hasClass(code, digit, std::isdigit);
}

} // namespace MorvexA106
