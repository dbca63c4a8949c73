#include "rows.h"

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

const Peer icu({.walking = addWalking});

} // namespace

} // namespace TextBench
