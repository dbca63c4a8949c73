#pragma once

/// @file
/// The work of this benchmark, and how a peer library takes part in it.

#include "bench.h"

#include <cstdint>
#include <vector>

namespace TimeBench
{

/// Seconds since 1970 between 2008 and 2033, in no order.
const std::vector<std::int64_t>& moments();

/// "2026-11-21 10:15:33.123", whose moment every parser must find.
extern const char* const fixedText;
inline constexpr std::int64_t fixedMilliseconds = 1795256133123;

/// The rows of design's table. Texts have milliseconds.
struct Rows
{
    Bench::Row utcText{"now as text, UTC"};
    Bench::Row localText{"now as text, local time"};
    Bench::Row fields{"day number to fields"};
    Bench::Row offset{"zone offset of a moment"};
    Bench::Row parse{"moment from fixed text"};
};

/// An operation on the next of the moments, in turns.
template <class Operation>
auto onEachMoment(Operation operation)
{
    return [&all = moments(), operation, next = 0u]() mutable { operation(all[next++ % 1024]); };
}

/// Ends the program where what is measured would not be the work that its row tells.
void require(bool holds, const char* what);

/// A peer library: `peers/<name>.cpp` defines one such object, and the file is built where the library is there.
class Peer
{
public:
    explicit Peer(void (*add)(Rows& rows));
    static void addAll(Rows& rows);
};

} // namespace TimeBench
