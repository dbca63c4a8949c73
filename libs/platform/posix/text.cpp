#include "platform/text.h"

#include "platform/utf16.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <functional>
#include <langinfo.h>
#include <numeric>

namespace MorvexA106::Platform
{

namespace
{

static_assert(sizeof(wchar_t) == 4, "a wide character holds a code point here");

/// The bytes of a UTF-8 sequence by its first byte, as the C library counts them: five and six byte forms
/// exist, 0 means that no character begins so.
int utf8SequenceLength(unsigned char first) noexcept
{
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2) {
        return 0;
    }
    if (first < 0xE0) {
        return 2;
    }
    if (first < 0xF0) {
        return 3;
    }
    if (first < 0xF8) {
        return 4;
    }
    if (first < 0xFC) {
        return 5;
    }
    return first < 0xFE ? 6 : 0;
}

/// The smallest code of each length: anything below it is an overlong form.
constexpr WideCode utf8Smallest[] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};

bool isContinuation(unsigned char byte) noexcept
{
    return (byte & 0xC0) == 0x80;
}

int decodeLongUtf8(const unsigned char* bytes, WideCode& character) noexcept
{
    const int length = utf8SequenceLength(bytes[0]);
    WideCode code = bytes[0] & (0x7Fu >> length);
    for (int i = 1; i < length; ++i) {
        if (!isContinuation(bytes[i])) {
            return -1;
        }
        code = (code << 6) | (bytes[i] & 0x3Fu);
    }
    if (length == 0 || code < utf8Smallest[length] || (code >= 0xD800 && code < 0xE000)) {
        return -1;
    }
    character = code;
    return length;
}

/// The two lengths that nearly all text has are taken without a loop.
int decodeUtf8(const char* text, WideCode& character) noexcept
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    if (bytes[0] < 0x80) {
        character = bytes[0];
        return bytes[0] != 0 ? 1 : 0;
    }
    if (bytes[0] < 0xE0) {
        character = ((bytes[0] & 0x1Fu) << 6) | (bytes[1] & 0x3Fu);
        return bytes[0] >= 0xC2 && isContinuation(bytes[1]) ? 2 : -1;
    }
    return decodeLongUtf8(bytes, character);
}

/// As a walk moves. The leads of nearly all text, which allow no overlong form and no surrogate, are taken first.
std::size_t stepOfUtf8(const char* text) noexcept
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    if (bytes[0] - 0xC2u < 0x1E) {
        return isContinuation(bytes[1]) ? 2 : 1;
    }
    if (bytes[0] - 0xE1u < 0x0C) {
        return isContinuation(bytes[1]) && isContinuation(bytes[2]) ? 3 : 1;
    }
    WideCode ignored = 0;
    const int length = decodeUtf8(text, ignored);
    return static_cast<std::size_t>(length < 0 ? 1 : length);
}

int encodeUtf8(WideCode character, char* bytes) noexcept
{
    if (character < 0x80) {
        *bytes = static_cast<char>(character);
        return 1;
    }
    if ((character >= 0xD800 && character < 0xE000) || character > 0x7FFFFFFF) {
        return -1;
    }
    int length = 2;
    while (length < 6 && character >= utf8Smallest[length + 1]) {
        ++length;
    }
    for (int i = length - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (character & 0x3F));
        character >>= 6;
    }
    bytes[0] = static_cast<char>((0xFF00u >> length) | character);
    return length;
}

int decodeByLibrary(const char* text, WideCode& character) noexcept
{
    std::mbstate_t state{};
    wchar_t wide = 0;
    const std::size_t limit = strnlen(text, maxCharacterBytes);
    if (limit == 0) {
        character = 0;
        return 0;
    }
    const std::size_t length = std::mbrtowc(&wide, text, limit, &state);
    if (length > limit) { // (size_t)-1 no character, (size_t)-2 cut off by the terminator
        return -1;
    }
    character = static_cast<WideCode>(wide);
    return static_cast<int>(length);
}

/// Compares names without a call or a loop, as this is asked for every step of a walk.
template <std::size_t Size>
bool isNamed(const char* codeset, const char (&name)[Size]) noexcept
{
#pragma GCC unroll 16
    for (std::size_t i = 0; i < Size; ++i) {
        if (codeset[i] != name[i]) {
            return false;
        }
    }
    return true;
}

/// Characters that are handed to the C library at one go.
constexpr std::size_t runLength = 512;

/// No locale's character is longer.
constexpr std::size_t maxEncodedBytes = 16;

/// Loops over so many at a time are turned into vector instructions.
constexpr std::size_t blockLength = 8;

/// A number as large as the largest character, or somewhat larger.
WideCode boundOf(const wchar_t* wide, std::size_t count) noexcept
{
    WideCode all[blockLength] = {};
    std::size_t i = 0;
    for (; i + blockLength <= count; i += blockLength) {
        for (std::size_t k = 0; k < blockLength; ++k) {
            all[k] |= static_cast<WideCode>(wide[i + k]);
        }
    }
    for (; i < count; ++i) {
        all[0] |= static_cast<WideCode>(wide[i]);
    }
    return std::accumulate(all, all + blockLength, WideCode{0}, std::bit_or<WideCode>());
}

/// None may be above U+FFFF.
void narrow(const wchar_t* wide, std::size_t count, unsigned short* units) noexcept
{
    std::size_t i = 0;
    for (; i + blockLength <= count; i += blockLength) {
        for (std::size_t k = 0; k < blockLength; ++k) {
            units[i + k] = static_cast<unsigned short>(static_cast<WideCode>(wide[i + k]));
        }
    }
    for (; i < count; ++i) {
        units[i] = static_cast<unsigned short>(static_cast<WideCode>(wide[i]));
    }
}

bool isUtf16(wchar_t character) noexcept
{
    return static_cast<WideCode>(character) <= 0x10FFFF;
}

/// The C library drops these without a word where a code set lacks them.
bool isLanguageTag(WideCode character) noexcept
{
    return character >> 7 == 0xE0000 >> 7;
}

/// Widens whole blocks without surrogates; how many units that were.
std::size_t widenBlocks(const unsigned short* units, std::size_t count, wchar_t* wide) noexcept
{
    std::size_t done = 0;
    for (; done + blockLength <= count; done += blockLength) {
        bool surrogates = false;
        for (std::size_t k = 0; k < blockLength; ++k) {
            surrogates |= (units[done + k] & 0xF800) == 0xD800;
        }
        if (surrogates) {
            break;
        }
        for (std::size_t k = 0; k < blockLength; ++k) {
            wide[done + k] = units[done + k];
        }
    }
    return done;
}

/// Joins pairs until there are `room` characters, up to a language tag; moves the cursor on.
std::size_t widen(const unsigned short*& units, const unsigned short* end, wchar_t* wide,
                  std::size_t room) noexcept
{
    std::size_t count = 0;
    while (count < room && units != end) {
        const auto left = static_cast<std::size_t>(end - units);
        const std::size_t done = widenBlocks(units, std::min(room - count, left), wide + count);
        count += done;
        units += done;
        for (std::size_t k = 0; k < blockLength && count < room && units != end; ++k) {
            const unsigned short* next = units;
            const WideCode character = nextCharacter(next, end);
            if (isLanguageTag(character)) {
                return count;
            }
            units = next;
            wide[count++] = static_cast<wchar_t>(character);
        }
    }
    return count;
}

} // namespace

LocaleText LocaleText::current() noexcept
{
    const char* codeset = nl_langinfo(CODESET);
    if (isNamed(codeset, "UTF-8")) {
        return LocaleText(Form::utf8);
    }
    if (isNamed(codeset, "ANSI_X3.4-1968")) {
        return LocaleText(Form::ascii);
    }
    return LocaleText(MB_CUR_MAX == 1 ? Form::singleByte : Form::other);
}

int LocaleText::length(const char* text) const noexcept
{
    WideCode ignored = 0;
    return decode(text, ignored);
}

int LocaleText::decode(const char* text, WideCode& character) const noexcept
{
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < 0x80 && (m_form == Form::utf8 || m_form == Form::ascii)) {
        character = byte;
        return byte != 0 ? 1 : 0;
    }
    return m_form == Form::utf8 ? decodeUtf8(text, character) : decodeByLibrary(text, character);
}

int LocaleText::encode(WideCode character, char* bytes) const noexcept
{
    if (m_form == Form::utf8) {
        return encodeUtf8(character, bytes);
    }
    std::mbstate_t state{};
    const std::size_t length = std::wcrtomb(bytes, static_cast<wchar_t>(character), &state);
    return length == static_cast<std::size_t>(-1) || length == 0 ? -1 : static_cast<int>(length);
}

std::size_t stepOf(const char* text) noexcept
{
    return isNamed(nl_langinfo(CODESET), "UTF-8")
               ? stepOfUtf8(text)
               : static_cast<std::size_t>(LocaleText::current().step(text));
}

std::size_t LocaleText::countAll(const char* text) const noexcept
{
    std::mbstate_t state{};
    return std::mbsrtowcs(nullptr, &text, 0, &state);
}

std::size_t LocaleText::decodeRun(const char*& text, unsigned short* units, std::size_t room) const noexcept
{
    wchar_t wide[runLength];
    const char* next = text;
    std::mbstate_t state{};
    // Every character may become a pair, and the call must not run ahead of what can be written.
    const std::size_t count = std::mbsrtowcs(wide, &next, std::min(runLength, room / 2), &state);
    if (count == static_cast<std::size_t>(-1)) {
        return 0;
    }
    const bool single = boundOf(wide, count) <= 0xFFFF;
    if (!single && !std::all_of(wide, wide + count, isUtf16)) {
        return 0;
    }
    text = next != nullptr ? next : text + std::strlen(text);
    if (single) {
        narrow(wide, count, units);
        return count;
    }
    const unsigned short* begin = units;
    for (std::size_t i = 0; i < count; ++i) {
        units = putUnits(static_cast<WideCode>(wide[i]), units);
    }
    return static_cast<std::size_t>(units - begin);
}

std::size_t LocaleText::encodeRun(const unsigned short*& units, const unsigned short* end, char* bytes,
                                  std::size_t room) const noexcept
{
    wchar_t wide[runLength];
    const unsigned short* next = units;
    const std::size_t count = widen(next, end, wide, std::min(runLength, room / maxEncodedBytes));
    const wchar_t* source = wide;
    std::mbstate_t state{};
    const std::size_t length = wcsnrtombs(bytes, &source, count, room, &state);
    if (length == static_cast<std::size_t>(-1)) {
        return 0;
    }
    units = next;
    return length;
}

} // namespace MorvexA106::Platform
