// Walking and counting characters by the locale.

#include "leastwork.h"
#include "rows.h"

#include <morvex/sstring.h>

#include <cstdlib>

using namespace MorvexA106;

namespace TextBench
{

namespace
{

using Bench::keep;

std::size_t walk(const SAnsiString& text)
{
    std::size_t characters = 0;
    for (SAnsiString::iterator at(text); !at.isAtEnd(); ++at) {
        ++characters;
    }
    return characters;
}

std::size_t walkByMblen(const std::string& text)
{
    const char* at = text.c_str();
    const char* const end = at + text.size();
    std::size_t characters = 0;
    while (at < end) {
        const int bytes = std::mblen(at, static_cast<std::size_t>(end - at));
        at += bytes > 0 ? bytes : 1;
        ++characters;
    }
    return characters;
}

void addWalk(Rows& rows, const UnicodeText& text)
{
    Bench::Row& row = rows.add(Name::walk(text));
    require(walk(SAnsiString(text.utf8.c_str())) == text.characters &&
                walkByMblen(text.utf8) == text.characters &&
                walkByLeadByte(text.utf8.c_str()) == text.characters,
            "every walk finds the same characters");
    row.ours([ours = SAnsiString(text.utf8.c_str())] { keep(walk(ours)); });
    row.peer("mblen", [&text] { keep(walkByMblen(text.utf8)); });
    row.limit("a step by the lead byte", [&text] { keep(walkByLeadByte(text.utf8.c_str())); });
    row.per(text.characters);
    row.target(0.1, {"mblen"});
}

void addCount(Rows& rows, const UnicodeText& text)
{
    Bench::Row& row = rows.add(Name::count(text));
    require(SAnsiString(text.utf8.c_str()).getNChars() == text.characters &&
                countBySse2(text.utf8) == text.characters,
            "every count finds the same characters");
    row.ours([ours = SAnsiString(text.utf8.c_str())] { keep(ours.getNChars()); });
    row.peer("mbstowcs", [&text] { keep(std::mbstowcs(nullptr, text.utf8.c_str(), 0)); });
    row.peer("mblen", [&text] { keep(walkByMblen(text.utf8)); });
    row.limit("SSE2", [&text] { keep(countBySse2(text.utf8)); });
    if (hasAvx2()) {
        row.limit("AVX2", [&text] { keep(countByAvx2(text.utf8)); });
    }
    row.targetNanoseconds(5000);
}

} // namespace

void addWalkingRows(Rows& rows, const Texts& texts, bool utf8)
{
    for (const UnicodeText* text : walkableTexts(texts, utf8)) {
        addWalk(rows, *text);
    }
    for (const UnicodeText* text : walkableTexts(texts, utf8)) {
        addCount(rows, *text);
    }
}

} // namespace TextBench
