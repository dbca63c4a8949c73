#include "rows.h"

#include <cstdio>
#include <cstdlib>

namespace TextBench
{

namespace
{

std::vector<Peer::Parts>& peers()
{
    static std::vector<Peer::Parts> all;
    return all;
}

} // namespace

void require(bool holds, const std::string& what)
{
    if (!holds) {
        std::fprintf(stderr, "text_bench: this does not hold: %s\n", what.c_str());
        std::exit(1);
    }
}

Bench::Row& Rows::operator[](const std::string& name)
{
    for (Bench::Row& each : m_rows) {
        if (each.name() == name) {
            return each;
        }
    }
    require(false, "the row is there that a peer takes part in: " + name);
    std::abort();
}

std::vector<Bench::Verdict> Rows::run(const std::string& part)
{
    std::vector<Bench::Verdict> verdicts;
    for (Bench::Row& each : m_rows) {
        if (each.name().find(part) != std::string::npos) {
            verdicts.push_back(each.measure().print());
        }
    }
    return verdicts;
}

std::vector<std::pair<const std::string*, const std::string*>> casePairs(const Texts& texts)
{
    return {{&texts.letters10, &texts.mixedCase10},
            {&texts.letters100, &texts.mixedCase100},
            {&texts.letters1000, &texts.mixedCase1000}};
}

std::vector<const UnicodeText*> unicodeTexts(const Texts& texts)
{
    return {&texts.ascii, &texts.latin, &texts.cjk};
}

std::vector<const UnicodeText*> walkableTexts(const Texts& texts, bool utf8)
{
    return utf8 ? unicodeTexts(texts) : std::vector<const UnicodeText*>{&texts.ascii};
}

Peer::Peer(const Parts& parts)
{
    peers().push_back(parts);
}

void Peer::addAll(Part Parts::*part, Rows& rows, const Texts& texts)
{
    for (const Parts& each : peers()) {
        if (each.*part != nullptr) {
            (each.*part)(rows, texts);
        }
    }
}

} // namespace TextBench
