// Numbers to text and back.

#include "rows.h"

#include <morvex/sstringconv.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>

using namespace MorvexA106;

namespace TextBench
{

namespace
{

using Bench::keep;

std::vector<SAnsiString> oursOf(const std::vector<std::string>& texts)
{
    std::vector<SAnsiString> ours;
    for (const std::string& text : texts) {
        ours.emplace_back(text.c_str());
    }
    return ours;
}

template <class Number>
void writeByToChars(Number number)
{
    char text[64];
    keep(std::to_chars(text, text + sizeof text, number).ptr);
    keep(text);
}

template <class Number>
void readByFromChars(const std::string& text)
{
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    keep(number);
}

template <class Number>
void addOursWriting(Bench::Row& row, const std::vector<Number>& values)
{
    row.ours(onEachOf(values, [](Number number) {
        char text[SStringConv::integerRoom];
        keep(SStringConv::ToBuffer(number, text));
        keep(text);
    }));
    row.variant("a string", onEachOf(values, [](Number number) {
                    const SAnsiString text = SStringConv::ToString(number);
                    keep(text);
                }));
}

template <class Number>
void requireReadsBack(const std::vector<Number>& values, const std::vector<std::string>& texts)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        Number number{};
        require(SStringConv::FromString(texts[i], number) && number == values[i] &&
                    SStringConv::ToString(values[i]).view().size() == texts[i].size(),
                "a number has the shortest text, and reads back: " + texts[i]);
    }
}

template <class Number>
void addOursReading(Bench::Row& row, const std::vector<std::string>& texts)
{
    row.ours([ours = oursOf(texts), next = 0u]() mutable {
        Number number{};
        keep(SStringConv::FromString(ours[next++ % numberCount], number));
        keep(number);
    });
}

void addIntegers(Rows& rows, const Integers& integers)
{
    requireReadsBack(integers.values, integers.texts);
    Bench::Row& toText = rows.add(Name::integerToText);
    addOursWriting(toText, integers.values);
    toText.peer("std::to_chars", onEachOf(integers.values, [](int number) { writeByToChars(number); }));
    toText.peer("std::to_string", onEachOf(integers.values, [](int number) {
                    const std::string text = std::to_string(number);
                    keep(text);
                }));
    toText.peer("snprintf", onEachOf(integers.values, [](int number) {
                    char text[16];
                    keep(std::snprintf(text, sizeof text, "%d", number));
                    keep(text);
                }));
    toText.target(1.2);

    Bench::Row& fromText = rows.add(Name::textToInteger);
    addOursReading<int>(fromText, integers.texts);
    fromText.peer("std::from_chars",
                  onEachOf(integers.texts, [](const std::string& text) { readByFromChars<int>(text); }));
    fromText.peer("strtol", onEachOf(integers.texts, [](const std::string& text) {
                      keep(std::strtol(text.c_str(), nullptr, 10));
                  }));
    fromText.target(1.2);
}

void addDoubles(Rows& rows, const Doubles& doubles)
{
    requireReadsBack(doubles.values, doubles.texts);
    Bench::Row& toText = rows.add(Name::toText(doubles));
    addOursWriting(toText, doubles.values);
    toText.peer("std::to_chars", onEachOf(doubles.values, [](double number) { writeByToChars(number); }));
    toText.peer("snprintf of 17 digits", onEachOf(doubles.values, [](double number) {
                    char text[64];
                    keep(std::snprintf(text, sizeof text, "%.17g", number));
                    keep(text);
                }));
    toText.target(1.15);

    Bench::Row& fromText = rows.add(Name::fromText(doubles));
    addOursReading<double>(fromText, doubles.texts);
    fromText.peer("std::from_chars",
                  onEachOf(doubles.texts, [](const std::string& text) { readByFromChars<double>(text); }));
    fromText.peer("strtod", onEachOf(doubles.texts, [](const std::string& text) {
                      keep(std::strtod(text.c_str(), nullptr));
                  }));
    fromText.target(1.15);
}

} // namespace

void addNumberRows(Rows& rows, const Texts& texts)
{
    addIntegers(rows, texts.integers);
    addDoubles(rows, texts.random);
    addDoubles(rows, texts.prices);
}

} // namespace TextBench
