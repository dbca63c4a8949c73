// Splitting a line of twelve fields.

#include "leastwork.h"
#include "rows.h"

#include <morvex/sstrtok.h>

#include <array>
#include <cstring>
#include <sstream>

using namespace MorvexA106;

namespace TextBench
{

namespace
{

using Bench::keep;

constexpr std::size_t maxFields = 32;

/// The tokeniser shares the text's buffer, and the fields refer to it.
std::size_t splitIntoViews(const SAnsiString& line)
{
    std::array<std::string_view, maxFields> fields;
    std::size_t count = 0;
    RSStrTok tokens(line);
    while (!tokens.isAtEnd()) {
        fields[count++] = tokens.NextView(',');
    }
    keep(fields);
    return count;
}

void splitIntoStrings(const SAnsiString& line)
{
    std::vector<SAnsiString> fields;
    RSStrTok tokens(line);
    while (!tokens.isAtEnd()) {
        fields.push_back(tokens.Next(','));
    }
    keep(fields);
}

void splitAtSet(const SAnsiString& line)
{
    std::array<std::string_view, maxFields> fields;
    std::size_t count = 0;
    SStrTok tokens(line, ",");
    while (tokens.Next(fields[count])) {
        ++count;
    }
    keep(fields);
    keep(count);
}

void splitByStrtok(const std::string& line)
{
    std::array<char, 128> copy;
    std::array<const char*, maxFields> fields;
    std::memcpy(copy.data(), line.c_str(), line.size() + 1);
    char* state = nullptr;
    std::size_t count = 0;
    for (char* at = strtok_r(copy.data(), ",", &state); at != nullptr; at = strtok_r(nullptr, ",", &state)) {
        fields[count++] = at;
    }
    keep(fields);
    keep(count);
}

void splitByStream(const std::string& line)
{
    std::vector<std::string> fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, ',');) {
        fields.push_back(field);
    }
    keep(fields);
}

} // namespace

void addTokenRows(Rows& rows, const Texts& texts)
{
    Bench::Row& row = rows.add(Name::split);
    const SAnsiString ours(texts.line.c_str());
    require(splitIntoViews(ours) == 12 && splitIntoOneBlock(texts.line) == 12, "the line has twelve fields");
    row.ours([ours] { keep(splitIntoViews(ours)); });
    row.variant("strings", [ours] { splitIntoStrings(ours); });
    row.variant("at any of a set", [ours] { splitAtSet(ours); });
    row.peer("strtok_r, views", [&texts] { splitByStrtok(texts.line); });
    row.peer("std::istringstream", [&texts] { splitByStream(texts.line); });
    row.limit("one allocation", [&texts] { keep(splitIntoOneBlock(texts.line)); });
    row.target(0.5, {"absl::StrSplit"});
}

} // namespace TextBench
