#include "work.h"

#include <chrono>
#include <fmt/chrono.h>
#include <fmt/compile.h>

namespace TimeBench
{

namespace
{

template <class ToFields>
auto nowAsText(ToFields toFields)
{
    return [toFields] {
        char text[64];
        const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
        const std::tm fields = toFields(std::chrono::system_clock::to_time_t(now));
        Bench::keep(fmt::format_to(text, "{:%F %T}.{:03}", fields, now.time_since_epoch().count() % 1000));
        Bench::keep(text);
    };
}

const Peer fmt([](Rows& rows) {
    rows.utcText.peer("fmt", nowAsText([](std::time_t time) { return fmt::gmtime(time); }));
    rows.localText.peer("fmt", nowAsText([](std::time_t time) { return fmt::localtime(time); }));
});

} // namespace

} // namespace TimeBench
