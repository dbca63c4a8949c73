// Zones as the machine's database and the C library have them.

#include "morvex/sdatetime.h"
#include "morvex/stimezone.h"
#include "recorder.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

using namespace MorvexA106;
namespace fs = std::filesystem;

namespace
{

const fs::path database = "/usr/share/zoneinfo";

/// Sets a variable of the environment, or takes it away, while it lives.
class Variable
{
public:
    Variable(const char* name, const char* value) : m_name(name)
    {
        if (const char* const before = std::getenv(name)) {
            m_before = before;
        }
        set(value);
    }
    ~Variable() { set(m_before ? m_before->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    void set(const char* value)
    {
        if (value != nullptr) {
            ::setenv(m_name, value, 1);
        } else {
            ::unsetenv(m_name);
        }
    }

    const char* m_name;
    std::optional<std::string> m_before;
};

/// A zone of the C library too.
class ZoneInForce : public Variable
{
public:
    explicit ZoneInForce(const std::string& name) : Variable("TZ", name.c_str()) { ::tzset(); }
};

std::string machineRules(const char* zone)
{
    const Variable variable("TZ", zone);
    return std::string(STimeZone("").GetRules().view());
}

/// Seconds east of Greenwich and whether it is daylight time, as the C library has them in the zone in force.
struct Local
{
    long east;
    bool daylight;

    bool operator==(const Local&) const = default;
};

Local localAt(std::time_t moment)
{
    std::tm fields{};
    ::localtime_r(&moment, &fields);
    return {fields.tm_gmtoff, fields.tm_isdst > 0};
}

constexpr std::time_t firstMoment = 1577836800; // 1 January 2020
constexpr std::time_t endMoment = 2871763200;   // 1 January 2061

std::time_t changeBetween(std::time_t before, std::time_t after)
{
    const Local old = localAt(before);
    while (after - before > 1) {
        const std::time_t middle = before + (after - before) / 2;
        (localAt(middle) == old ? before : after) = middle;
    }
    return after;
}

/// Every moment at which the C library's zone in force changes. None is shorter than some weeks.
std::vector<std::time_t> changes()
{
    constexpr std::time_t step = 5 * 86400;
    std::vector<std::time_t> found;
    Local last = localAt(firstMoment);
    for (std::time_t at = firstMoment + step; at < endMoment; at += step) {
        const Local now = localAt(at);
        if (!(now == last)) {
            found.push_back(changeBetween(at - step, at));
        }
        last = now;
    }
    return found;
}

/// The line at the end of a zone file; empty for other files.
std::string ruleOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!bytes.starts_with("TZif") || !bytes.ends_with('\n')) {
        return std::string();
    }
    bytes.pop_back();
    return bytes.substr(bytes.rfind('\n') + 1);
}

/// Zones with a rule for daylight time, by their names in the database.
std::map<std::string, std::string> zonesWithDaylight()
{
    std::map<std::string, std::string> zones;
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator(database, missing)) {
        const std::string name = fs::relative(entry.path(), database).string();
        const bool other = name.starts_with("right/") || name.starts_with("posix/");
        const std::string rule = !other && entry.is_regular_file() ? ruleOf(entry.path()) : std::string();
        if (rule.find(',') != std::string::npos) {
            zones.emplace(name, rule);
        }
    }
    return zones;
}

Local answerOf(const STimeZone& zone, std::time_t moment)
{
    const SDateTime when(std::chrono::system_clock::from_time_t(moment));
    return {static_cast<long>(-zone.UTCOffset(when).GetTotalSeconds()), zone.InDST(when)};
}

/// Asks at each change, and one second before and after it.
template <class Compare>
void atEach(const std::vector<std::time_t>& moments, Compare compare)
{
    for (const std::time_t change : moments) {
        for (const std::time_t moment : {change - 1, change, change + 1}) {
            compare(moment);
        }
    }
}

} // namespace

TEST(MachineZone, AgreesWithTheSystemAtEveryChangeThatARuleMakes)
{
    const auto zones = zonesWithDaylight();
    if (zones.empty()) {
        GTEST_SKIP() << "no zone with daylight time below " << database << ": install tzdata";
    }
    Recorder recorder;
    int asked = 0;
    for (const auto& entry : zones) {
        const std::string& name = entry.first;
        const std::string& rule = entry.second;
        const ZoneInForce inForce(rule);
        const STimeZone zone("");
        const std::vector<std::time_t> all = changes();
        EXPECT_EQ(all.size(), 82u) << name << ": " << rule;
        atEach(all, [&](std::time_t moment) {
            ++asked;
            const Local expected = localAt(moment);
            const Local answer = answerOf(zone, moment);
            EXPECT_EQ(answer.east, expected.east) << name << ": " << rule << " at " << moment;
            EXPECT_EQ(answer.daylight, expected.daylight) << name << ": " << rule << " at " << moment;
        });
    }
    EXPECT_TRUE(recorder.lines().empty()) << recorder.lines().front().second;
    std::cout << zones.size() << " zones, " << asked << " moments\n";
}

TEST(MachineZone, ReadsZonesByName)
{
    const auto zones = zonesWithDaylight();
    if (zones.empty()) {
        GTEST_SKIP() << "no zone with daylight time below " << database << ": install tzdata";
    }
    // A database also tells years in which another rule held, or that no rule can tell; there the zone's rule is
    // what the system has for it by the rule alone.
    int exceptions = 0;
    for (const auto& entry : zones) {
        const std::string& name = entry.first;
        const std::string& rule = entry.second;
        EXPECT_EQ(machineRules(name.c_str()), machineRules(rule.c_str())) << name;

        std::vector<std::time_t> all;
        std::map<std::time_t, Local> expected;
        {
            const ZoneInForce inForce(name);
            all = changes();
            atEach(all, [&](std::time_t moment) { expected.emplace(moment, localAt(moment)); });
        }
        const ZoneInForce inForce(rule);
        const STimeZone zone("");
        std::optional<std::time_t> lastOther;
        atEach(all, [&](std::time_t moment) {
            const Local answer = answerOf(zone, moment);
            if (!(localAt(moment) == expected.at(moment))) {
                lastOther = moment;
            } else {
                EXPECT_EQ(answer, expected.at(moment)) << name << " at " << moment;
            }
        });
        if (lastOther) {
            ++exceptions;
            std::cout << name << ": by its rule alone only from " << 1970 + *lastOther / 31556952 << " on\n";
        }
    }
    EXPECT_LT(exceptions * 4, static_cast<int>(zones.size())) << "the rule is no good for a quarter of all";
}

TEST(MachineZone, FollowsTheEnvironment)
{
    if (!fs::exists(database / "Europe/Berlin")) {
        GTEST_SKIP() << "no zone Europe/Berlin below " << database << ": install tzdata";
    }
    const std::string central = "CET,-60,CEST,-120;3.5.0/02:00,10.5.0/03:00";
    const std::string path = (database / "Europe/Berlin").string();
    struct Row
    {
        std::string zone;
        std::string rules;
        bool reported = false;
    };
    const Row rows[] = {
        {"Europe/Berlin", central},
        {":Europe/Berlin", central},
        {path, central},
        {":" + path, central},
        {"CET-1CEST,M3.5.0,M10.5.0/3", central},
        {":CET-1CEST,M3.5.0,M10.5.0/3", central},
        {"Europe/Dublin", "IST,-60,GMT,0;10.5.0/02:00,3.5.0/01:00"},
        {"America/Nuuk", "-02,120,-01,60;3.4.4/71:00,10.5.0/00:00"},
        {"Asia/Kathmandu", "+0545,-345"},
        {"<+03>-3", "+03,-180"},
        {"", "UTC,0"},
        {":", "UTC,0"},
        {"UTC", "UTC,0"},
        {"Europe", "UTC,0", true}, // a folder
        {"Nowhere/Atlantis", "UTC,0", true},
        {"/dev/zero", "UTC,0", true},
        {"/etc/passwd", "UTC,0", true},
    };
    for (const Row& row : rows) {
        Recorder recorder;
        EXPECT_EQ(machineRules(row.zone.c_str()), row.rules) << row.zone;
        EXPECT_EQ(recorder.count("stimezone.cpp"), row.reported ? 1 : 0) << row.zone;
    }
}

TEST(MachineZone, IsThatOfTheSystemWhereTheEnvironmentTellsNone)
{
    if (!fs::exists("/etc/localtime")) {
        GTEST_SKIP() << "this machine has no /etc/localtime";
    }
    EXPECT_EQ(machineRules(nullptr), machineRules("/etc/localtime"));
}

TEST(MachineZone, LooksForNamesInTheFolderThatTheEnvironmentTells)
{
    const Scratch folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::ofstream(folder / "large") << "TZif" << std::string(2 << 20, '2');
    const Variable variable("TZDIR", (folder / "").c_str());
    Recorder recorder;
    EXPECT_EQ(machineRules("pipe"), "UTC,0") << "nobody waits for a writer";
    EXPECT_EQ(machineRules("large"), "UTC,0");
    EXPECT_EQ(machineRules("Europe/Berlin"), "UTC,0");
    EXPECT_EQ(recorder.count("stimezone.cpp"), 3);
}

TEST(MachineZone, ReportsABadOneToWhoeverAsksForTheLocalTimeMeanwhile)
{
    struct Asking final : Diagnostics::Sink
    {
        bool shouldTrace(int, const char*) override { return true; }
        bool shouldAssert(const char*) override { return true; }
        void trace(int, const SAnsiString&) override
        {
            ++asked;
            rules = STimeZone::TZ_Local().GetRules();
        }
        void log(int, int, unsigned long, std::span<const char* const>) override {}
        bool canStackDump() override { return false; }
        bool isNativeAssert() override { return true; }
        SAnsiString stackWalkAll() override { return {}; }
        int asked = 0;
        SAnsiString rules;
    };
    // In a process of its own: the local zone is read once.
    const auto ask = [] {
        const Variable variable("TZ", "Nowhere/Atlantis");
        Asking sink;
        Diagnostics::exchangeSink(&sink);
        static_cast<void>(STimeZone::TZ_Local());
        static_cast<void>(STimeZone::TZ_Local());
        Diagnostics::exchangeSink(nullptr);
        std::_Exit(sink.asked == 1 && sink.rules == SAnsiString("UTC,0") ? 0 : 1);
    };
    EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "");
}
