#include "platform/text.h"

#include <windows.h>

#include <cctype>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <functional>
#include <mbstring.h>
#include <string>

extern "C" __declspec(dllimport) unsigned int __cdecl ___lc_codepage_func(void);

namespace MorvexA106::Platform
{

namespace
{

const wchar_t* asWide(const unsigned short* text) noexcept
{
    return reinterpret_cast<const wchar_t*>(text);
}

/// The code page of the C runtime's character class category; 0 in the C locale.
unsigned int codePage() noexcept
{
    return ___lc_codepage_func();
}

/// Bytes by lead and trail rule: the runtime's own call takes a lead byte before the terminator for a pair.
int sequenceLength(const char* text) noexcept
{
    const auto first = static_cast<unsigned char>(*text);
    if (first == 0) {
        return 0;
    }
    if (isleadbyte(first) == 0) {
        return 1;
    }
    return text[1] != 0 ? 2 : -1;
}

} // namespace

LocaleText LocaleText::current() noexcept
{
    return LocaleText(MB_CUR_MAX == 1 ? Form::singleByte : Form::other);
}

int LocaleText::length(const char* text) const noexcept
{
    WideCode ignored = 0;
    return decode(text, ignored);
}

int LocaleText::decode(const char* text, WideCode& character) const noexcept
{
    const int bytes = sequenceLength(text);
    const unsigned int page = codePage();
    if (bytes <= 0 || page == 0) {
        character = static_cast<unsigned char>(*text); // the C locale: every byte is its own character
        return bytes;
    }
    wchar_t wide[2];
    if (MultiByteToWideChar(page, MB_PRECOMPOSED | MB_ERR_INVALID_CHARS, text, bytes, wide, 1) != 1) {
        return -1;
    }
    character = static_cast<unsigned short>(wide[0]);
    return bytes;
}

int LocaleText::encode(WideCode character, char* bytes) const noexcept
{
    const unsigned int page = codePage();
    if (page == 0) {
        *bytes = static_cast<char>(character);
        return character < 0x100 ? 1 : -1;
    }
    const wchar_t wide = static_cast<wchar_t>(character);
    BOOL replaced = FALSE;
    const int length = WideCharToMultiByte(page, 0, &wide, 1, bytes, 16, nullptr, &replaced);
    return length > 0 && !replaced && character < 0x10000 ? length : -1;
}

std::size_t stepOf(const char* text) noexcept
{
    return static_cast<std::size_t>(LocaleText::current().step(text));
}

std::size_t LocaleText::countAll(const char*) const noexcept
{
    return notAll;
}

std::size_t LocaleText::decodeRun(const char*&, unsigned short*, std::size_t) const noexcept
{
    return 0; // one character at a time: the system's call for whole texts does not stop at what is none
}

std::size_t LocaleText::encodeRun(const unsigned short*&, const unsigned short*, char*,
                                  std::size_t) const noexcept
{
    return 0;
}

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
