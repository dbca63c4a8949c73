#include "rows.h"

#include <absl/strings/cord.h>
#include <absl/strings/match.h>
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_split.h>

namespace TextBench
{

namespace
{

using Bench::keep;

void addEngine(Rows& rows, const Texts& texts)
{
    rows[Name::share].peer("absl::Cord", [text = absl::Cord(texts.letters100)] {
        absl::Cord copy(text);
        keep(copy);
    });
    rows[Name::appendPieces].peer("absl::Cord", [] {
        absl::Cord text;
        for (int i = 0; i < 65536; ++i) {
            text.Append(absl::string_view("0123456789abcdef", 16));
        }
        keep(text);
    });
    for (const auto& [lower, mixed] : casePairs(texts)) {
        rows[Name::noCase(*lower)].peer("absl::EqualsIgnoreCase", [left = lower, right = mixed] {
            keep(absl::EqualsIgnoreCase(*left, *right));
        });
    }
    rows[Name::find].peer("absl::StrContains",
                          [&texts] { keep(absl::StrContains(texts.haystack, texts.needle)); });
}

void addReading(Bench::Row& row, const Doubles& doubles)
{
    row.peer("absl::SimpleAtod", onEachOf(doubles.texts, [](const std::string& text) {
                 double number = 0;
                 keep(absl::SimpleAtod(text, &number));
                 keep(number);
             }));
}

// StrCat writes six digits of a double, which is other work.
void addNumbers(Rows& rows, const Texts& texts)
{
    rows[Name::integerToText].peer("absl::StrCat", onEachOf(texts.integers.values, [](int number) {
                                       const std::string text = absl::StrCat(number);
                                       keep(text);
                                   }));
    rows[Name::textToInteger].peer("absl::SimpleAtoi",
                                   onEachOf(texts.integers.texts, [](const std::string& text) {
                                       int number = 0;
                                       keep(absl::SimpleAtoi(text, &number));
                                       keep(number);
                                   }));
    addReading(rows[Name::fromText(texts.random)], texts.random);
    addReading(rows[Name::fromText(texts.prices)], texts.prices);
}

void addTokens(Rows& rows, const Texts& texts)
{
    rows[Name::split].peer("absl::StrSplit", [&texts] {
        const std::vector<std::string> fields = absl::StrSplit(texts.line, ',');
        keep(fields);
    });
    rows[Name::split].peer("absl::StrSplit, views", [&texts] {
        const std::vector<absl::string_view> fields = absl::StrSplit(texts.line, ',');
        keep(fields);
    });
}

const Peer abseil({.engine = addEngine, .numbers = addNumbers, .tokens = addTokens});

} // namespace

} // namespace TextBench
