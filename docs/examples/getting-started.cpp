// Says which words a text has, and how often, without regard to case:
//
//     getting-started -text "one Two two ONE one"

#include <morvex/morvex.h>

#include <clocale>
#include <cstdio>

using namespace MorvexA106;

namespace
{

using Counts = SIMap<SAnsiStringCI, unsigned>;

Counts countWords(SAnsiString text)
{
    Counts counts;
    for (text.trim(); !text.isEmpty(); text.trimLeft()) {
        const auto wordEnd = text.findFirst(' ');
        const SAnsiStringCI word(text.left(wordEnd));

        unsigned count = 0;
        counts.Lookup(word, count); // leaves the 0 where the word is new
        counts.Insert(word, count + 1);
        text = text.right(wordEnd);
    }
    return counts;
}

} // namespace

int main(int argc, char** argv)
{
    // The library reads text by the current locale and never sets it: that is the program's business.
    std::setlocale(LC_ALL, "");

    const CParamLineArgs args(argc, argv);
    SAnsiString text;
    if (!args.Lookup("text", text)) {
        std::fprintf(stderr, "usage: %s -text TEXT\n", args.GetProgramName().getString());
        return 2;
    }
    for (const auto& [word, count] : countWords(text)) {
        std::printf("%s %u\n", word.getString(), count);
    }
    return 0;
}
