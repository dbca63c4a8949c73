#include "platform/text.h"

#include <windows.h>

#include <cctype>
#include <cstring>

extern "C" __declspec(dllimport) unsigned int __cdecl ___lc_codepage_func(void);

namespace MorvexA106::Platform
{

namespace
{

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

} // namespace MorvexA106::Platform
