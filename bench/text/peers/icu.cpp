#include "rows.h"

#include <unicode/ustring.h>
#include <unicode/utf8.h>

namespace TextBench
{

namespace
{

using Bench::keep;

std::size_t walk(const std::string& text)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    std::int32_t at = 0;
    std::size_t characters = 0;
    while (at < length) {
        U8_FWD_1(bytes, at, length);
        ++characters;
    }
    return characters;
}

void addWalking(Rows& rows, const Texts& texts)
{
    for (const UnicodeText* text : unicodeTexts(texts)) {
        rows[Name::walk(*text)].peer("U8_FWD_1", [text] { keep(walk(text->utf8)); });
        rows[Name::count(*text)].peer("U8_FWD_1", [text] { keep(walk(text->utf8)); });
    }
}

void addUnicode(Rows& rows, const Texts& texts)
{
    static std::vector<UChar> units(70000);
    static std::vector<char> bytes(70000);
    for (const UnicodeText* text : unicodeTexts(texts)) {
        rows[Name::toUtf16(*text)].peer("u_strFromUTF8", [text] {
            UErrorCode error = U_ZERO_ERROR;
            std::int32_t length = 0;
            u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, text->utf8.data(),
                          static_cast<std::int32_t>(text->utf8.size()), &error);
            keep(length);
        });
        rows[Name::toUtf8(*text)].peer("u_strToUTF8", [text] {
            UErrorCode error = U_ZERO_ERROR;
            std::int32_t length = 0;
            u_strToUTF8(bytes.data(), static_cast<std::int32_t>(bytes.size()), &length, text->utf16.data(),
                        static_cast<std::int32_t>(text->utf16.size()), &error);
            keep(length);
        });
    }
}

const Peer icu({.walking = addWalking, .unicode = addUnicode});

} // namespace

} // namespace TextBench
