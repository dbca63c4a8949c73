// Rule texts, rules of POSIX and zone files of any bytes: what is read makes a zone that answers, writes itself down,
// and reads back as the same.

#include "fuzz.h"

#include <morvex/sdatetime.h>
#include <morvex/stimezone.h>
#include <morvex/zonesources.h>

#include <cstdint>
#include <string>

using namespace MorvexA106;

namespace
{

constexpr std::int64_t secondsPerYear = 31556952;

bool isIn(const SAnsiString& name, const std::string& text)
{
    return text.find(std::string(name.view())) != std::string::npos;
}

void checkChange(const ZoneRules::Change& change)
{
    const bool isDay = change.month >= 1 && change.month <= 12 && change.week >= 1 && change.week <= 5;
    Fuzz::require(isDay && change.dayOfWeek <= 6, "a change names a weekday of a week of a month");
    Fuzz::require(change.minute < 60, "a change has minutes of a clock");
}

/// What the zone says in every month of three years must be one of its two times.
void checkAnswers(const STimeZone& zone, const ZoneRules::Fields& fields, std::int64_t year)
{
    const SDateTime first = SDateTime(1970, 1, 1, 0, 0, 0, 0, STimeZone::TZ_UTC()) +
                            STimeSpan((year - 1970) * secondsPerYear * 1000);
    for (int month = 0; month < 36; ++month) {
        const SDateTime moment = first + STimeSpan(month * (secondsPerYear / 12) * 1000);
        const std::int64_t offset = zone.UTCOffset(moment).GetTotalMinutes();
        const bool daylight = zone.InDST(moment);
        Fuzz::require(offset == (daylight ? fields.daylightOffset : fields.standardOffset),
                      "the offset of the time that it is");
        Fuzz::require(zone.DSTEnabled() || !daylight, "daylight time only where there is any");
    }
}

void check(const ZoneRules& rules, std::int64_t year)
{
    const ZoneRules::Fields& fields = rules.fields;
    if (fields.dstEnabled) {
        checkChange(fields.start);
        checkChange(fields.end);
    }
    const SAnsiString text = ZoneRules::textOf(fields);
    const ZoneRules back = ZoneRules::fromText(text);
    Fuzz::require(back.problem == nullptr, "a zone reads its own text");
    Fuzz::require(ZoneRules::textOf(back.fields) == text, "and it is the same zone");
    const STimeZone zone(text);
    Fuzz::require(zone.GetRules() == text, "the class reads it so too");
    checkAnswers(zone, fields, year);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    const unsigned kind = input.byte() % 3u;
    Fuzz::useLocale(input.byte());
    const std::int64_t year = 1500 + input.unit() % 8192u;
    const std::int64_t now = (year - 1970) * secondsPerYear;
    const std::string content = input.rest();
    if (kind == 0) {
        const SAnsiString text(content.c_str());
        const ZoneRules rules = ZoneRules::fromText(text);
        Fuzz::require(rules.problem != nullptr || isIn(rules.fields.standardName, content), "its name");
        check(rules, year);
    } else {
        check(kind == 1 ? ZoneSources::fromPosix(content, now) : ZoneSources::fromFile(content, now), year);
    }
    return 0;
}
