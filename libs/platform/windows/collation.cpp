#include "platform/collation.h"

#include <cstring>
#include <cwchar>
#include <cwctype>
#include <functional>
#include <mbstring.h>
#include <string>

namespace MorvexA106::Platform
{

namespace
{

const wchar_t* asWide(const unsigned short* text) noexcept
{
    return reinterpret_cast<const wchar_t*>(text);
}

} // namespace

bool foldsLikeAscii() noexcept
{
    return towlower(L'I') == L'i';
}

WideCode toUpper(WideCode character) noexcept
{
    return towupper(static_cast<wint_t>(character));
}

WideCode toLower(WideCode character) noexcept
{
    return towlower(static_cast<wint_t>(character));
}

bool collationIsByteOrder() noexcept
{
    return false;
}

int collate(const char* left, const char* right) noexcept
{
    return _mbscoll(reinterpret_cast<const unsigned char*>(left),
                    reinterpret_cast<const unsigned char*>(right));
}

bool collatesEqual(const char* left, const char* right) noexcept
{
    return collate(left, right) == 0;
}

bool collatesEqualWide(const unsigned short* left, const unsigned short* right)
{
    return collateWide(left, right) == 0;
}

std::size_t collationHash(const char* text)
{
    std::string key(std::strxfrm(nullptr, text, 0) + 1, '\0');
    key.resize(std::strxfrm(key.data(), text, key.size()));
    return std::hash<std::string>()(key);
}

std::size_t collationHashWide(const unsigned short* text)
{
    std::wstring key(std::wcsxfrm(nullptr, asWide(text), 0) + 1, L'\0');
    key.resize(std::wcsxfrm(key.data(), asWide(text), key.size()));
    return std::hash<std::wstring>()(key);
}

int collateNoCase(const char* left, const char* right)
{
    return _mbsicoll(reinterpret_cast<const unsigned char*>(left),
                     reinterpret_cast<const unsigned char*>(right));
}

int collateWide(const unsigned short* left, const unsigned short* right)
{
    return wcscoll(asWide(left), asWide(right));
}

int collateWideNoCase(const unsigned short* left, const unsigned short* right)
{
    return _wcsicoll(asWide(left), asWide(right));
}

void makeUpperWide(unsigned short* text) noexcept
{
    _wcsupr(reinterpret_cast<wchar_t*>(text));
}
void makeLowerWide(unsigned short* text) noexcept
{
    _wcslwr(reinterpret_cast<wchar_t*>(text));
}

unsigned short toUpperUnit(unsigned short unit) noexcept
{
    return towupper(unit);
}
unsigned short toLowerUnit(unsigned short unit) noexcept
{
    return towlower(unit);
}

} // namespace MorvexA106::Platform
