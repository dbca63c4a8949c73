#include "work.h"

#include <chrono>
#include <date/date.h>
#include <date/tz.h>
#include <sstream>

namespace TimeBench
{

namespace
{

using Bench::keep;
using std::chrono::milliseconds;
using std::chrono::system_clock;

const Peer date([](Rows& rows) {
    static const ::date::time_zone* const berlin = ::date::locate_zone("Europe/Berlin");
    rows.utcText.peer(
        "date", [] { keep(::date::format("%F %T", std::chrono::floor<milliseconds>(system_clock::now()))); });
    rows.localText.peer("date", [] {
        const auto now = std::chrono::floor<milliseconds>(system_clock::now());
        keep(::date::format("%F %T", ::date::make_zoned(berlin, now)));
    });
    rows.fields.peer("date", onEachMoment([](std::int64_t seconds) {
                         const ::date::sys_days day(::date::days(seconds / 86400));
                         const ::date::year_month_day fields(day);
                         keep(int(fields.year()) + int(unsigned(fields.month())) +
                              int(unsigned(fields.day())));
                     }));
    rows.offset.peer("date", onEachMoment([](std::int64_t seconds) {
                         keep(berlin->get_info(system_clock::from_time_t(seconds)).offset.count());
                     }));
    rows.parse.peer("date", [] {
        std::istringstream text(fixedText);
        ::date::sys_time<milliseconds> moment{};
        text >> ::date::parse("%F %T", moment);
        keep(moment);
    });
});

} // namespace

} // namespace TimeBench
