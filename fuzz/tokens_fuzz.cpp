// The tokenisers against slow ones over characters that are told apart first, and the scanner against its promises.

#include "fuzz.h"

#include <morvex/sstrtok.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

using namespace MorvexA106;

namespace
{

using Words = std::vector<std::string>;

/// A byte that begins no character of the locale is one by itself.
Words charactersOf(const std::string& text)
{
    Words characters;
    for (std::size_t at = 0; at < text.size(); at += characters.back().size()) {
        std::mbstate_t state{};
        const std::size_t length = std::mbrlen(&text[at], std::min<std::size_t>(6, text.size() - at), &state);
        characters.push_back(text.substr(at, length <= 6 ? length : 1));
    }
    return characters;
}

/// Tokens at any of the delimiters, empty ones too.
Words slowTokens(const std::string& text, const Words& delimiters)
{
    Words tokens(1);
    for (const std::string& character : charactersOf(text)) {
        if (std::find(delimiters.begin(), delimiters.end(), character) != delimiters.end()) {
            tokens.emplace_back();
        } else {
            tokens.back() += character;
        }
    }
    return tokens;
}

Words tokensOf(RSStrTok tokens, char delimiter)
{
    Words found;
    while (!tokens.isAtEnd()) {
        found.emplace_back(tokens.NextView(delimiter));
    }
    Fuzz::require(tokens.NextView(delimiter).empty() && tokens.NextView().empty(), "nothing behind the end");
    return found;
}

Words tokensOf(SStrTok tokens)
{
    Words found;
    for (std::string_view token; tokens.Next(token);) {
        found.emplace_back(token);
    }
    Fuzz::require(tokens.restView().empty(), "nothing behind the end");
    return found;
}

void checkSplitters(const std::string& text, const std::string& delimiters)
{
    // A block of its own, so that a byte read behind its end is seen.
    const std::vector<char> block(text.begin(), text.end());
    const std::string_view view(block.data(), block.size());
    if (!delimiters.empty()) {
        const Words expected = slowTokens(text, {delimiters.substr(0, 1)});
        Fuzz::require(tokensOf(RSStrTok(text.c_str()), delimiters[0]) == expected, "tokens at one delimiter");
        Fuzz::require(tokensOf(RSStrTok(view), delimiters[0]) == expected, "and those of a view");
    }
    Words expected = slowTokens(text, charactersOf(delimiters));
    std::erase(expected, "");
    Fuzz::require(tokensOf(SStrTok(text.c_str(), delimiters.c_str())) == expected, "tokens at any delimiter");
    Fuzz::require(tokensOf(SStrTok(view, delimiters)) == expected, "and those of a view");
}

bool takeSomething(SScanString& scan, unsigned char choice, const std::string& delimiters)
{
    std::string_view part;
    long long number = 0;
    double real = 0;
    switch (choice % 7) {
    case 0:
        return scan.TakeWord(part) && !part.empty();
    case 1:
        return scan.TakeQuoted(part);
    case 2:
        return scan.TakeUntil(delimiters.empty() ? ';' : delimiters[0], part);
    case 3:
        return scan.TakeInteger(number, 2 + choice % 35u);
    case 4:
        return scan.TakeReal(real);
    case 5:
        return !delimiters.empty() && scan.Take(delimiters);
    default:
        return scan.restView() != scan.SkipBlanks().restView();
    }
}

void checkScanner(const std::string& text, const std::string& steps, const std::string& delimiters)
{
    const std::vector<char> block(text.begin(), text.end());
    SScanString scan(std::string_view(block.data(), block.size()));
    for (const char step : steps) {
        const std::string before(scan.restView());
        const bool taken = takeSomething(scan, static_cast<unsigned char>(step), delimiters);
        const std::string_view after = scan.restView();
        Fuzz::require(taken ? after.size() < before.size() : after == before,
                      "what is taken moves the cursor on, and nothing else does");
        Fuzz::require(before.ends_with(after), "what is left is an end of the text");
        Fuzz::require(scan.isAtEnd() == after.empty(), "the end is where nothing is left");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    Fuzz::useLocale(input.byte());
    const std::string delimiters = input.until('\n').c_str();
    const std::string steps = input.until('\n');
    const std::string text = input.rest().c_str();
    checkSplitters(text, delimiters);
    checkScanner(text, steps, delimiters);
    return 0;
}
