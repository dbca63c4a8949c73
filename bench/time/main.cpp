// Dates and zones against their peers, in the zone Europe/Berlin: time_bench

#include "work.h"

#include <morvex/sdatetime.h>
#include <morvex/stimezone.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>

using namespace MorvexA106;

namespace TimeBench
{

const char* const fixedText = "2026-11-21 10:15:33.123";

namespace
{

using Bench::keep;

std::vector<void (*)(Rows&)>& peers()
{
    static std::vector<void (*)(Rows&)> all;
    return all;
}

constexpr char pattern[] = "yyyy-MM-dd HH:mm:ss.SSS";

void addOurs(Rows& rows)
{
    static const STimeZone& utc = STimeZone::TZ_UTC();
    static const STimeZone& local = STimeZone::TZ_Local();
    require(local.DSTEnabled() && local.StandardOffset() == -60, "the machine's zone is that of Berlin");
    rows.utcText.ours([] { keep(SDateTime::GetCurrentDateTime().Format(pattern, utc)); });
    rows.utcText.target(0.5, {"fmt"});
    rows.localText.ours([] { keep(SDateTime::GetCurrentDateTime().Format(pattern, local)); });
    rows.localText.target(0.5, {"fmt"});

    static std::vector<SDateTime> ours;
    for (const std::int64_t seconds : moments()) {
        ours.emplace_back(std::chrono::system_clock::time_point(std::chrono::seconds(seconds)));
    }
    rows.fields.ours([next = 0u]() mutable {
        int year = 0;
        int month = 0;
        int day = 0;
        ours[next++ % 1024].GetUTCDate().GetYearMonthDay(year, month, day);
        keep(year + month + day);
    });
    rows.fields.target(1, {"date"});
    rows.offset.ours(
        [next = 0u]() mutable { keep(local.UTCOffset(ours[next++ % 1024]).GetTotalMilliseconds()); });
    rows.offset.target(0.25, {"date"});

    const SDateTime parsed = SDateTime::Parse(fixedText, pattern, utc);
    require(parsed.GetTimePoint().time_since_epoch().count() == fixedMilliseconds,
            "our parser finds the moment");
    rows.parse.ours([] { keep(SDateTime::Parse(fixedText, pattern, utc)); });
    rows.parse.target(1);
}

void addLibrary(Rows& rows)
{
    const auto text = [](auto* toFields) {
        return [toFields] {
            std::timespec now{};
            std::timespec_get(&now, TIME_UTC);
            std::tm fields{};
            toFields(&now.tv_sec, &fields);
            char bytes[64];
            const std::size_t length = std::strftime(bytes, sizeof bytes, "%Y-%m-%d %H:%M:%S", &fields);
            std::snprintf(bytes + length, 8, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
            keep(bytes);
        };
    };
    rows.utcText.peer("strftime", text(gmtime_r));
    rows.localText.peer("strftime", text(localtime_r));
    rows.fields.peer("gmtime_r", onEachMoment([](std::int64_t seconds) {
                         const std::time_t time = seconds;
                         std::tm fields{};
                         gmtime_r(&time, &fields);
                         keep(fields);
                     }));
    rows.offset.peer("localtime_r", onEachMoment([](std::int64_t seconds) {
                         const std::time_t time = seconds;
                         std::tm fields{};
                         localtime_r(&time, &fields);
                         keep(fields.tm_gmtoff);
                     }));
    rows.parse.peer("strptime", [] {
        std::tm fields{};
        const char* const end = strptime(fixedText, "%Y-%m-%d %H:%M:%S", &fields);
        keep(timegm(&fields) * 1000 + std::atoi(end + 1));
    });
}

} // namespace

const std::vector<std::int64_t>& moments()
{
    static const std::vector<std::int64_t> all = [] {
        std::mt19937_64 random(9);
        std::vector<std::int64_t> made(1024);
        for (std::int64_t& each : made) {
            each = 1200000000 + static_cast<std::int64_t>(random() % 800000000);
        }
        return made;
    }();
    return all;
}

void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "time_bench: this does not hold: %s\n", what);
        std::exit(1);
    }
}

Peer::Peer(void (*add)(Rows& rows))
{
    peers().push_back(add);
}

void Peer::addAll(Rows& rows)
{
    for (const auto add : peers()) {
        add(rows);
    }
}

} // namespace TimeBench

int main()
{
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    std::setlocale(LC_ALL, "C.UTF-8");
    std::printf("medians in turns; xN is our time to theirs; peers that are not there: %s\n",
                MORVEX_BENCH_MISSING);
    TimeBench::Rows rows;
    TimeBench::addOurs(rows);
    TimeBench::addLibrary(rows);
    TimeBench::Peer::addAll(rows);
    Bench::printHeading();
    std::vector<Bench::Verdict> verdicts;
    for (Bench::Row* row : {&rows.utcText, &rows.localText, &rows.fields, &rows.offset, &rows.parse}) {
        verdicts.push_back(row->measure().print());
    }
    Bench::printSummary("dates", verdicts);
}
