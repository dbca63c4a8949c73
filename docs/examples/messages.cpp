#include <morvex/morvex.h>

#include <clocale>
#include <cstdio>
#include <fstream>

using namespace MorvexA106;

int main()
{
    std::setlocale(LC_ALL, ""); // texts and names come in the locale's multibyte form

    // A message by its number, and one of one's own.
    std::printf("%s\n", SResString::Load(47001, "no address").getString());
    std::printf("%s\n", SResString("%1 of %2 done (100 %% is %2).", '%', 3, 8).getString());

    // A translation, from a file.
    const char path[] = "messages.example";
    std::ofstream(path) << "# a comment\n"
                           "47001  = \"%1\" ist keine Adresse.\n"
                           "0xB0E0 = https://help.example.com/de/%1\n";
    SAnsiString problem;
    if (!SResManager::AddFile("german", path, &problem)) {
        std::printf("%s\n", problem.getString());
    }
    std::remove(path);
    std::printf("%s\n", SResString::Load(47001, "no address").getString());
    std::printf("%s\n", SSHelp::GetTopicAddress(47001).getString());

    // English is there whatever the locale.
    std::printf("%s %s\n", SLocale::English().GetShortDay(0).getString(),
                SDateTimeString::GetLongMonth(5).getString());

    // Versions.
    SVersion module;
    if (!SVersion::OfModule("plugin-1-5.so", module)) {
        std::printf("no version\n");
    }
    std::printf("%s\n", SVersion::Library() < SVersion(1, 6) ? "too old" : "new enough");
}
