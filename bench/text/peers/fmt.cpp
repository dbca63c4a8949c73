#include "rows.h"

#include <fmt/compile.h>
#include <fmt/format.h>

namespace TextBench
{

namespace
{

using Bench::keep;

void addEngine(Rows& rows, const Texts&)
{
    rows[Name::appendCharacters].peer("fmt::memory_buffer", [] {
        fmt::memory_buffer text;
        for (int i = 0; i < 1000; ++i) {
            text.push_back(static_cast<char>('a' + (i & 15)));
        }
        keep(text);
    });
    rows[Name::appendPieces].peer("fmt::memory_buffer", [&] {
        static constexpr char piece[] = "0123456789abcdef";
        fmt::memory_buffer text;
        for (int i = 0; i < 65536; ++i) {
            text.append(piece, piece + 16);
        }
        keep(text);
    });
}

template <class Number>
void addDefault(Bench::Row& row, const std::vector<Number>& values)
{
    row.peer("fmt::format_to", onEachOf(values, [](Number number) {
                 char text[64];
                 keep(fmt::format_to(text, FMT_COMPILE("{}"), number));
                 keep(text);
             }));
}

void addNumbers(Rows& rows, const Texts& texts)
{
    rows[Name::integerToText].peer("fmt::format_int", onEachOf(texts.integers.values, [](int number) {
                                       const fmt::format_int text(number);
                                       keep(text.data());
                                       keep(text);
                                   }));
    addDefault(rows[Name::integerToText], texts.integers.values);
    addDefault(rows[Name::toText(texts.random)], texts.random.values);
    addDefault(rows[Name::toText(texts.prices)], texts.prices.values);
}

const Peer fmt({.engine = addEngine, .numbers = addNumbers});

} // namespace

} // namespace TextBench
