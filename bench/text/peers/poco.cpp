#include "rows.h"

#include <Poco/String.h>
#include <Poco/TextIterator.h>
#include <Poco/UTF8Encoding.h>

namespace TextBench
{

namespace
{

using Bench::keep;

void addEngine(Rows& rows, const Texts& texts)
{
    for (const auto& [lower, mixed] : casePairs(texts)) {
        rows[Name::noCase(*lower)].peer(
            "Poco::icompare", [left = lower, right = mixed] { keep(Poco::icompare(*left, *right)); });
    }
}

std::size_t walk(const std::string& text)
{
    static const Poco::UTF8Encoding encoding;
    const Poco::TextIterator end(text);
    std::size_t characters = 0;
    for (Poco::TextIterator at(text, encoding); at != end; ++at) {
        ++characters;
    }
    return characters;
}

void addWalking(Rows& rows, const Texts& texts)
{
    for (const UnicodeText* text : unicodeTexts(texts)) {
        rows[Name::walk(*text)].peer("Poco::TextIterator", [text] { keep(walk(text->utf8)); });
        rows[Name::count(*text)].peer("Poco::TextIterator", [text] { keep(walk(text->utf8)); });
    }
}

const Peer poco({.engine = addEngine, .walking = addWalking});

} // namespace

} // namespace TextBench
