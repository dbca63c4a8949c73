#include "rows.h"

#include <Poco/NumberFormatter.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>
#include <Poco/StringTokenizer.h>
#include <Poco/TextIterator.h>
#include <Poco/UTF8Encoding.h>
#include <Poco/UnicodeConverter.h>

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

void addUnicode(Rows& rows, const Texts& texts)
{
    for (const UnicodeText* text : unicodeTexts(texts)) {
        rows[Name::toUtf16(*text)].peer("Poco::UnicodeConverter", [text] {
            Poco::UTF16String made;
            Poco::UnicodeConverter::convert(text->utf8, made);
            keep(made);
        });
        Poco::UTF16String wide;
        Poco::UnicodeConverter::convert(text->utf8, wide);
        rows[Name::toUtf8(*text)].peer("Poco::UnicodeConverter", [wide] {
            std::string made;
            Poco::UnicodeConverter::convert(wide, made);
            keep(made);
        });
    }
}

void addDoubles(Rows& rows, const Doubles& doubles)
{
    rows[Name::toText(doubles)].peer("Poco::NumberFormatter", onEachOf(doubles.values, [](double number) {
                                         const std::string text = Poco::NumberFormatter::format(number);
                                         keep(text);
                                     }));
    rows[Name::fromText(doubles)].peer("Poco::NumberParser",
                                       onEachOf(doubles.texts, [](const std::string& text) {
                                           double number = 0;
                                           keep(Poco::NumberParser::tryParseFloat(text, number));
                                           keep(number);
                                       }));
}

void addNumbers(Rows& rows, const Texts& texts)
{
    rows[Name::integerToText].peer("Poco::NumberFormatter", onEachOf(texts.integers.values, [](int number) {
                                       const std::string text = Poco::NumberFormatter::format(number);
                                       keep(text);
                                   }));
    rows[Name::textToInteger].peer("Poco::NumberParser",
                                   onEachOf(texts.integers.texts, [](const std::string& text) {
                                       int number = 0;
                                       keep(Poco::NumberParser::tryParse(text, number));
                                       keep(number);
                                   }));
    addDoubles(rows, texts.random);
    addDoubles(rows, texts.prices);
}

void addTokens(Rows& rows, const Texts& texts)
{
    rows[Name::split].peer("Poco::StringTokenizer", [&texts] {
        const Poco::StringTokenizer fields(texts.line, ",");
        keep(fields);
    });
}

const Peer poco({.engine = addEngine,
                 .walking = addWalking,
                 .unicode = addUnicode,
                 .numbers = addNumbers,
                 .tokens = addTokens});

} // namespace

} // namespace TextBench
