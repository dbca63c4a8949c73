#include <morvex/morvex.h>

#include <cstdio>

using namespace MorvexA106;

namespace
{

constexpr char pattern[] = "yyyy-MM-dd HH:mm";

void show(const char* what, const SDateTime& moment, const STimeZone& zone)
{
    std::printf("%s: %s %s = %s UTC\n", what, moment.Format(pattern, zone).getString(),
                zone.GetName(moment).getString(), moment.Format(pattern, STimeZone::TZ_UTC()).getString());
}

} // namespace

int main()
{
    const STimeZone berlin(SAnsiString("CET,-60,CEST,-120;3.5.0/02:00,10.5.0/03:00"));

    show("winter", SDateTime(2026, 1, 15, 12, 0, 0, 0, berlin), berlin);
    show("summer", SDateTime(2026, 7, 15, 12, 0, 0, 0, berlin), berlin);
    show("an hour that is left out", SDateTime(2026, 3, 29, 2, 30, 0, 0, berlin), berlin);
    show("an hour that comes twice", SDateTime(2026, 10, 25, 2, 30, 0, 0, berlin), berlin);

    const SDateTime begun(2026, 3, 28, 12, 0, 0, 0, berlin);
    show("a day of 24 hours later", begun + STimeSpan(1, 0, 0, 0, 0), berlin);

    unsigned int mismatch = 0;
    if (!SDateTime::Parse("2026-02-29", "yyyy-MM-dd", berlin, &mismatch).IsValid()) {
        std::printf("no such day, from byte %u on\n", mismatch);
    }
}
