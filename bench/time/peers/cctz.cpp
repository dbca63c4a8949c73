#include "work.h"

#include <cctz/time_zone.h>
#include <chrono>
#include <string>

namespace TimeBench
{

namespace
{

using Bench::keep;
using std::chrono::system_clock;

const Peer cctz([](Rows& rows) {
    static ::cctz::time_zone berlin;
    require(::cctz::load_time_zone("Europe/Berlin", &berlin), "cctz knows Berlin");
    rows.utcText.peer("cctz", [] {
        keep(::cctz::format("%Y-%m-%d %H:%M:%E3S", system_clock::now(), ::cctz::utc_time_zone()));
    });
    rows.localText.peer("cctz",
                        [] { keep(::cctz::format("%Y-%m-%d %H:%M:%E3S", system_clock::now(), berlin)); });
    rows.offset.peer("cctz", onEachMoment([](std::int64_t seconds) {
                         keep(berlin.lookup(system_clock::from_time_t(seconds)).offset);
                     }));
    rows.parse.peer("cctz", [] {
        system_clock::time_point moment;
        keep(::cctz::parse("%Y-%m-%d %H:%M:%E*S", fixedText, ::cctz::utc_time_zone(), &moment));
        keep(moment);
    });
});

} // namespace

} // namespace TimeBench
