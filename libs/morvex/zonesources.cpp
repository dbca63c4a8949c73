#include "morvex/zonesources.h"

#include "morvex/sdate.h"
#include "platform/calendarclock.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

namespace MorvexA106::ZoneSources
{

namespace
{

using Change = ZoneRules::Change;
using Fields = ZoneRules::Fields;
using Timing = ZoneRules::Timing;

constexpr const char* noRule = "The machine's rule of a time zone can't be read: UTC is taken";
constexpr const char* noFile = "The machine's file of a time zone can't be read: UTC is taken";
constexpr const char* noSettings = "The machine's settings of a time zone make no sense: UTC is taken";
constexpr const char* noSeconds = "Seconds in a rule of a time zone are rounded to minutes";
constexpr const char* fixedDate = "A time zone changes on fixed dates: the weekdays of this year are taken";
constexpr const char* noDaylight = "The daylight time of a time zone can't be said: it is left out";

constexpr int secondsPerMinute = 60;
constexpr int secondsPerHour = 3600;
constexpr std::int64_t secondsPerDay = 86400;
constexpr std::int64_t leastEast = -25LL * secondsPerHour; // as RFC 8536 has it
constexpr std::int64_t mostEast = 26LL * secondsPerHour;
constexpr std::int32_t epochDay = 2440587; // 1 January 1970

ZoneRules utcWith(const char* problem)
{
    return ZoneRules{ZoneRules::utc(), problem};
}

/// A comma would end the name in the text of the rules.
SAnsiString nameFrom(std::string_view name)
{
    std::string text(name.substr(0, name.find('\0')));
    std::replace(text.begin(), text.end(), ',', ' ');
    return SAnsiString(std::string_view(text));
}

int minutesOf(int seconds) noexcept
{
    const int half = seconds < 0 ? -secondsPerMinute / 2 : secondsPerMinute / 2;
    return (seconds + half) / secondsPerMinute;
}

bool isShort(long number) noexcept
{
    return number >= std::numeric_limits<short>::min() && number <= std::numeric_limits<short>::max();
}

int yearOf(std::int64_t now) noexcept
{
    const std::int64_t day = now / secondsPerDay + epochDay;
    const bool isDay = day > 0 && day < std::numeric_limits<std::int32_t>::max();
    return SDate::FromDayNumber(isDay ? static_cast<std::int32_t>(day) : epochDay).GetYear();
}

/// The change on that weekday of the month that the date is. Read so, the 29th to the 31st are the last one.
Timing timingOf(const SDate& date, int minutes) noexcept
{
    return {date.GetMonth(), (date.GetDay() - 1) / 7 + 1, date.GetDayOfWeek(), minutes};
}

/// Reads a rule of POSIX. What is not taken leaves the reader somewhere, and the whole rule is none.
class PosixReader
{
public:
    PosixReader(std::string_view text, int year) noexcept : m_rest(text), m_year(year) {}

    bool read(Fields& fields, bool& canSayDaylight);
    const char* problem() const noexcept { return m_problem; }

private:
    bool readDaylight(Fields& fields, bool& canSay);
    bool readChanges(Fields& fields, bool& canSay);
    bool takeChange(Change& change, bool& canSay);
    bool takeDay(Timing& timing);
    bool takeFixedDay(Timing& timing);
    bool takeName(SAnsiString& name);
    bool takeOffset(short& minutes, int mostHours);
    bool takeSeconds(int& seconds, int mostHours);
    bool takeNumber(int& number, int least, int most) noexcept;
    bool take(char expected) noexcept;
    bool startsWith(char expected) const noexcept { return !m_rest.empty() && m_rest.front() == expected; }
    int roundedToMinutes(int seconds) noexcept;

    std::string_view m_rest;
    int m_year;
    const char* m_problem = nullptr;
};

bool PosixReader::take(char expected) noexcept
{
    const bool taken = startsWith(expected);
    if (taken) {
        m_rest.remove_prefix(1);
    }
    return taken;
}

/// Digits, in a row of at most four.
bool PosixReader::takeNumber(int& number, int least, int most) noexcept
{
    const std::size_t digits = std::min(m_rest.find_first_not_of("0123456789"), m_rest.size());
    if (digits == 0 || digits > 4) {
        return false;
    }
    number = 0;
    for (const char digit : m_rest.substr(0, digits)) {
        number = number * 10 + (digit - '0');
    }
    m_rest.remove_prefix(digits);
    return number >= least && number <= most;
}

bool isNameByte(char byte, bool quoted) noexcept
{
    const bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    return letter || (quoted && ((byte >= '0' && byte <= '9') || byte == '+' || byte == '-'));
}

bool PosixReader::takeName(SAnsiString& name)
{
    constexpr std::ptrdiff_t leastLength = 3;
    const bool quoted = take('<');
    const auto end =
        std::find_if(m_rest.begin(), m_rest.end(), [quoted](char byte) { return !isNameByte(byte, quoted); });
    const auto length = end - m_rest.begin();
    if (length < leastLength) {
        return false;
    }
    name = nameFrom(m_rest.substr(0, static_cast<std::size_t>(length)));
    m_rest.remove_prefix(static_cast<std::size_t>(length));
    return !quoted || take('>');
}

/// Hours, minutes and seconds, of which the last may be missing, with one sign.
bool PosixReader::takeSeconds(int& seconds, int mostHours)
{
    const int sign = take('-') ? -1 : 1;
    if (sign == 1) {
        take('+');
    }
    int hours = 0;
    int minutes = 0;
    int rest = 0;
    if (!takeNumber(hours, 0, mostHours) || (take(':') && !takeNumber(minutes, 0, 59)) ||
        (take(':') && !takeNumber(rest, 0, 59))) {
        return false;
    }
    seconds = sign * (hours * secondsPerHour + minutes * secondsPerMinute + rest);
    return true;
}

int PosixReader::roundedToMinutes(int seconds) noexcept
{
    if (seconds % secondsPerMinute != 0) {
        m_problem = noSeconds;
    }
    return minutesOf(seconds);
}

bool PosixReader::takeOffset(short& minutes, int mostHours)
{
    int seconds = 0;
    const bool taken = takeSeconds(seconds, mostHours);
    minutes = static_cast<short>(roundedToMinutes(seconds));
    return taken;
}

/// `J1` to `J365` leave out 29 February; `0` to `365` count it.
bool PosixReader::takeFixedDay(Timing& timing)
{
    const bool isJulian = take('J');
    int number = 0;
    if (!takeNumber(number, isJulian ? 1 : 0, 365)) {
        return false;
    }
    // Years of 365 days have no day 365 that is counted from 0: it is the next 1 January, or rather the last day.
    const int commonYear = 2001;
    const int last = SDate(m_year, 12, 31).GetDayNumber() - SDate(m_year, 1, 1).GetDayNumber();
    const SDate inCommonYear =
        SDate::FromDayNumber(SDate(commonYear, 1, 1).GetDayNumber() + std::max(number - 1, 0));
    const SDate date =
        isJulian ? SDate(m_year, inCommonYear.GetMonth(), inCommonYear.GetDay())
                 : SDate::FromDayNumber(SDate(m_year, 1, 1).GetDayNumber() + std::min(number, last));
    timing = timingOf(date, 0);
    m_problem = fixedDate;
    return true;
}

bool PosixReader::takeDay(Timing& timing)
{
    if (!take('M')) {
        return takeFixedDay(timing);
    }
    return takeNumber(timing.month, 1, 12) && take('.') && takeNumber(timing.week, 1, 5) && take('.') &&
           takeNumber(timing.dayOfWeek, 0, 6);
}

bool PosixReader::takeChange(Change& change, bool& canSay)
{
    constexpr int mostHours = 167;
    Timing timing;
    int seconds = 2 * secondsPerHour;
    if (!take(',') || !takeDay(timing) || (take('/') && !takeSeconds(seconds, mostHours))) {
        return false;
    }
    timing.minutes = roundedToMinutes(seconds);
    const std::optional<Change> said = ZoneRules::changeAt(timing);
    change = said.value_or(change);
    canSay = canSay && said.has_value();
    return true;
}

bool PosixReader::readChanges(Fields& fields, bool& canSay)
{
    if (m_rest.empty()) {
        m_rest = ",M3.2.0,M11.1.0";
    }
    return takeChange(fields.start, canSay) && takeChange(fields.end, canSay);
}

bool PosixReader::readDaylight(Fields& fields, bool& canSay)
{
    constexpr int mostHours = 24;
    if (!takeName(fields.daylightName)) {
        return false;
    }
    fields.dstEnabled = true;
    fields.daylightOffset = static_cast<short>(fields.standardOffset - 60);
    if (!m_rest.empty() && !startsWith(',') && !takeOffset(fields.daylightOffset, mostHours)) {
        return false;
    }
    return readChanges(fields, canSay);
}

bool PosixReader::read(Fields& fields, bool& canSayDaylight)
{
    constexpr int mostHours = 24;
    canSayDaylight = true;
    if (m_rest == "UTC" || m_rest == "GMT") {
        return takeName(fields.standardName);
    }
    return takeName(fields.standardName) && takeOffset(fields.standardOffset, mostHours) &&
           (m_rest.empty() || readDaylight(fields, canSayDaylight)) && m_rest.empty();
}

Fields withoutDaylight(Fields fields)
{
    fields.dstEnabled = false;
    fields.daylightName = SAnsiString();
    fields.daylightOffset = 0;
    fields.start = fields.end = Change();
    return fields;
}

/// Takes bytes off the front of a file, never more than there are.
class ByteReader
{
public:
    explicit ByteReader(std::string_view bytes) noexcept : m_rest(bytes) {}

    bool take(std::uint64_t count, std::string_view& taken) noexcept
    {
        if (count > m_rest.size()) {
            return false;
        }
        taken = m_rest.substr(0, static_cast<std::size_t>(count));
        m_rest.remove_prefix(taken.size());
        return true;
    }
    std::string_view rest() const noexcept { return m_rest; }

private:
    std::string_view m_rest;
};

/// Of at most eight bytes, the high one first, with a sign.
std::int64_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) noexcept
{
    std::uint64_t number = (static_cast<unsigned char>(bytes[at]) & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < size; ++i) {
        number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    }
    return static_cast<std::int64_t>(number);
}

/// One of the two sets of data that a zone file holds. The first has times of 4 bytes, the second of 8.
class ZoneData
{
public:
    bool read(ByteReader& file, std::size_t timeSize) noexcept;
    char version() const noexcept { return m_version; }

    /// False where the data tell no offset.
    bool inForce(std::int64_t now, ZoneRules& rules) const;

private:
    bool readHeader(ByteReader& file) noexcept;
    std::size_t typeAt(std::int64_t now) const noexcept;

    static constexpr std::size_t typeSize = 6;

    char m_version = 0;
    std::uint64_t m_counts[6] = {};
    std::size_t m_timeSize = 0;
    std::string_view m_times;
    std::string_view m_timeTypes;
    std::string_view m_types;
    std::string_view m_names;
};

bool ZoneData::readHeader(ByteReader& file) noexcept
{
    constexpr std::size_t countsAt = 20;
    std::string_view header;
    if (!file.take(44, header) || !header.starts_with("TZif")) {
        return false;
    }
    m_version = header[4];
    for (std::size_t i = 0; i < std::size(m_counts); ++i) {
        m_counts[i] = static_cast<std::uint32_t>(numberAt(header, countsAt + 4 * i, 4));
    }
    return true;
}

bool ZoneData::read(ByteReader& file, std::size_t timeSize) noexcept
{
    if (!readHeader(file)) {
        return false;
    }
    const auto [universal, standard, leapSeconds, times, types, nameBytes] = m_counts;
    m_timeSize = timeSize;
    std::string_view skipped;
    return file.take(times * timeSize, m_times) && file.take(times, m_timeTypes) &&
           file.take(types * typeSize, m_types) && file.take(nameBytes, m_names) &&
           file.take(leapSeconds * (timeSize + 4) + standard + universal, skipped);
}

/// The type of the last change at or before the moment; the first type before all changes.
std::size_t ZoneData::typeAt(std::int64_t now) const noexcept
{
    std::size_t type = 0;
    for (std::size_t i = 0; i < m_timeTypes.size() && numberAt(m_times, i * m_timeSize, m_timeSize) <= now;
         ++i) {
        type = static_cast<unsigned char>(m_timeTypes[i]);
    }
    return type;
}

bool ZoneData::inForce(std::int64_t now, ZoneRules& rules) const
{
    const std::size_t at = typeAt(now) * typeSize;
    if (at + typeSize > m_types.size()) {
        return false;
    }
    const std::int64_t east = numberAt(m_types, at, 4);
    const auto name = static_cast<unsigned char>(m_types[at + 5]);
    if (name >= m_names.size() || east < leastEast || east > mostEast) {
        return false;
    }
    rules.fields.standardName = nameFrom(m_names.substr(name));
    rules.fields.standardOffset = static_cast<short>(-minutesOf(static_cast<int>(east)));
    rules.problem = east % secondsPerMinute != 0 ? noSeconds : nullptr;
    return true;
}

/// What stands between line ends behind the data; nothing where there is no rule.
std::string_view ruleAtEnd(std::string_view rest) noexcept
{
    if (!rest.starts_with('\n')) {
        return {};
    }
    rest.remove_prefix(1);
    return rest.substr(0, rest.find('\n') != std::string_view::npos ? rest.find('\n') : 0);
}

std::optional<Change> changeOf(const Platform::ZoneChange& change) noexcept
{
    if (change.year == 0) {
        return ZoneRules::changeAt({change.month, change.day, change.dayOfWeek, change.minutes});
    }
    const bool isDate = change.month >= 1 && change.month <= 12 && change.day >= 1 && change.day <= 31;
    return isDate
               ? ZoneRules::changeAt(timingOf(SDate(change.year, change.month, change.day), change.minutes))
               : std::nullopt;
}

} // namespace

ZoneRules fromPosix(std::string_view text, std::int64_t now)
{
    ZoneRules rules{Fields(), nullptr};
    PosixReader reader(text, yearOf(now));
    bool canSayDaylight = true;
    if (!reader.read(rules.fields, canSayDaylight)) {
        return utcWith(noRule);
    }
    rules.problem = reader.problem();
    if (!canSayDaylight) {
        rules = ZoneRules{withoutDaylight(rules.fields), noDaylight};
    }
    return rules;
}

ZoneRules fromFile(std::string_view bytes, std::int64_t now)
{
    ByteReader file(bytes);
    ZoneData data;
    if (!data.read(file, 4)) {
        return utcWith(noFile);
    }
    if (data.version() >= '2') {
        if (!data.read(file, 8)) {
            return utcWith(noFile);
        }
        const std::string_view rule = ruleAtEnd(file.rest());
        if (!rule.empty()) {
            return fromPosix(rule, now);
        }
    }
    ZoneRules rules{Fields(), nullptr};
    return data.inForce(now, rules) ? rules : utcWith(noFile);
}

ZoneRules fromSettings(const Platform::ZoneSettings& settings)
{
    if (!isShort(settings.standardOffset) || !isShort(settings.daylightOffset)) {
        return utcWith(noSettings);
    }
    ZoneRules rules{Fields(), nullptr};
    rules.fields.standardName = nameFrom(settings.standardName);
    rules.fields.standardOffset = static_cast<short>(settings.standardOffset);
    if (settings.start.month == 0 || settings.end.month == 0) {
        return rules;
    }
    const std::optional<Change> start = changeOf(settings.start);
    const std::optional<Change> end = changeOf(settings.end);
    if (!start || !end) {
        rules.problem = noDaylight;
        return rules;
    }
    rules.fields.daylightName = nameFrom(settings.daylightName);
    rules.fields.daylightOffset = static_cast<short>(settings.daylightOffset);
    rules.fields.dstEnabled = true;
    rules.fields.start = *start;
    rules.fields.end = *end;
    return rules;
}

namespace
{

/// Picks the reader for what the machine has.
struct MachineReader
{
    std::int64_t now;

    ZoneRules operator()(std::monostate) const { return ZoneRules(); }
    ZoneRules operator()(const Platform::ZoneSettings& settings) const { return fromSettings(settings); }
    ZoneRules operator()(const Platform::ZoneText& zone) const { return fromPosix(zone.text, now); }
    ZoneRules operator()(const Platform::ZoneFile& zone) const { return fromFile(zone.bytes, now); }
};

} // namespace

ZoneRules fromMachine()
{
    return std::visit(MachineReader{Platform::utcMilliseconds() / 1000}, Platform::machineZone());
}

} // namespace MorvexA106::ZoneSources
