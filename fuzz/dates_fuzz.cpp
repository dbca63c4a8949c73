// Patterns of dates, and text read by them. What is written of a moment by a pattern is either read back as the same
// text or refused (a pattern may tell too little, or run numbers together); what is read is written as it stood.

#include "fuzz.h"

#include "morvex/sdatetime.h"
#include "morvex/sstringconv.h"
#include "morvex/stimezone.h"

#include <string>
#include <string_view>

using namespace MorvexA106;

namespace
{

std::string written(const SDateTime& moment, const std::string& pattern, const STimeZone& zone)
{
    return std::string(moment.Format(pattern.c_str(), zone).view());
}

/// Of the years -6383 to 9999, and at times invalid.
SDateTime momentFrom(Fuzz::Input& input)
{
    const unsigned low = input.unit();
    const unsigned high = input.byte() & 0x3F;
    const auto day = static_cast<std::int32_t>(low + (high << 16)) - 610'000;
    const auto time =
        static_cast<std::int32_t>(input.unit() + (static_cast<std::uint32_t>(input.unit() & 0x5FF) << 16));
    return SDateTime::FromUTC(SDate::FromDayNumber(day), STime::FromMilliseconds(time));
}

void checkReading(const std::string& text, const std::string& pattern, const STimeZone& zone)
{
    unsigned int mismatch = 0;
    const SDateTime moment = SDateTime::Parse(text.c_str(), pattern.c_str(), zone, &mismatch);
    Fuzz::require(mismatch <= text.size(), "the place of a mismatch is in the text");
    if (moment.IsValid()) {
        Fuzz::require(mismatch == text.size(), "text that is taken is taken whole");
        Fuzz::require(written(moment, pattern, zone) == text, "what is read is written as it stood");
    }
}

template <class V>
void checkNeutral(const std::string& text, const V& known)
{
    V value;
    Fuzz::require(NeutralString::FromString(NeutralString::ToString(known).view(), value) && value == known,
                  "a value comes back from its neutral text");
    if (NeutralString::FromString(std::string_view(text), value)) {
        Fuzz::require(NeutralString::ToString(value).view() == text, "a value has one neutral text");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    static const STimeZone zone("X,-345");
    Fuzz::Input input(bytes, size);
    Fuzz::useLocale(input.byte());
    const SDateTime moment = momentFrom(input);
    const std::string pattern = input.until('\0');
    const std::string text = input.until('\0');
    checkReading(text, pattern, zone);
    checkNeutral(text, moment.GetUTCDate());
    checkNeutral(text, moment.GetUTCTime());
    checkNeutral(text, moment.IsValid() ? moment : SDateTime());
    checkNeutral(text, STimeSpan(moment.GetTotalMilliseconds()));
    checkReading(written(moment, pattern, zone), pattern, zone);
    return 0;
}
