#include "rows.h"

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

const Peer fmt({.engine = addEngine});

} // namespace

} // namespace TextBench
