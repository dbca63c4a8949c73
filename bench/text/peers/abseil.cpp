#include "rows.h"

#include <absl/strings/cord.h>
#include <absl/strings/match.h>

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

const Peer abseil({.engine = addEngine});

} // namespace

} // namespace TextBench
