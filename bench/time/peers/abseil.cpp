#include "work.h"

#include <absl/time/civil_time.h>
#include <absl/time/clock.h>
#include <absl/time/time.h>
#include <string>

namespace TimeBench
{

namespace
{

using Bench::keep;

const Peer abseil([](Rows& rows) {
    static absl::TimeZone berlin;
    require(absl::LoadTimeZone("Europe/Berlin", &berlin), "abseil knows Berlin");
    rows.utcText.peer(
        "abseil", [] { keep(absl::FormatTime("%Y-%m-%d %H:%M:%E3S", absl::Now(), absl::UTCTimeZone())); });
    rows.localText.peer("abseil", [] { keep(absl::FormatTime("%Y-%m-%d %H:%M:%E3S", absl::Now(), berlin)); });
    rows.fields.peer("abseil", onEachMoment([](std::int64_t seconds) {
                         const absl::CivilDay day = absl::CivilDay(1970, 1, 1) + seconds / 86400;
                         keep(static_cast<int>(day.year()) + day.month() + day.day());
                     }));
    rows.offset.peer("abseil", onEachMoment([](std::int64_t seconds) {
                         keep(berlin.At(absl::FromUnixSeconds(seconds)).offset);
                     }));
    rows.parse.peer("abseil", [] {
        absl::Time moment;
        std::string error;
        keep(absl::ParseTime("%Y-%m-%d %H:%M:%E*S", fixedText, absl::UTCTimeZone(), &moment, &error));
        keep(moment);
    });
});

} // namespace

} // namespace TimeBench
