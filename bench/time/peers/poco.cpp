#include "work.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/DateTimeParser.h>
#include <Poco/LocalDateTime.h>

#include <string>

namespace TimeBench
{

namespace
{

using Bench::keep;

const Peer poco([](Rows& rows) {
    static const std::string format = "%Y-%m-%d %H:%M:%S.%i";
    static const std::string text = fixedText;
    rows.utcText.peer("Poco", [] { keep(Poco::DateTimeFormatter::format(Poco::Timestamp(), format)); });
    rows.localText.peer("Poco", [] { keep(Poco::DateTimeFormatter::format(Poco::LocalDateTime(), format)); });
    rows.fields.peer("Poco", onEachMoment([](std::int64_t seconds) {
                         const Poco::DateTime day(2440587.5 + static_cast<double>(seconds / 86400));
                         keep(day.year() + day.month() + day.day());
                     }));
    rows.parse.peer("Poco", [] {
        int offset = 0;
        keep(Poco::DateTimeParser::parse(format, text, offset));
    });
});

} // namespace

} // namespace TimeBench
