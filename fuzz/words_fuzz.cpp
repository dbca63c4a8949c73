// Splitting into words against a slow splitter over characters that are told apart first.

#include "fuzz.h"

#include <morvex/sstringhelper.h>

#include <algorithm>
#include <cwchar>
#include <vector>

using namespace MorvexA106;

namespace
{

using Characters = std::vector<std::string>;

/// A byte that begins no character of the locale is one by itself.
Characters charactersOf(const std::string& text)
{
    Characters characters;
    for (std::size_t at = 0; at < text.size(); at += characters.back().size()) {
        std::mbstate_t state{};
        const std::size_t length = std::mbrlen(&text[at], std::min<std::size_t>(6, text.size() - at), &state);
        characters.push_back(text.substr(at, length <= 6 ? length : 1));
    }
    return characters;
}

class SlowSplitter
{
public:
    SlowSplitter(const std::string& text, const std::string& separators, bool quotes)
        : m_characters(charactersOf(text)),
          m_separators(charactersOf(separators)),
          m_quotes(quotes)
    {}

    std::vector<std::string> words()
    {
        std::vector<std::string> found;
        while (m_at < m_characters.size()) {
            if (isQuote()) {
                ++m_at;
                found.push_back(takeWhile([this] { return !isQuote(); }));
                ++m_at;
            } else if (isSeparator()) {
                ++m_at;
            } else {
                found.push_back(takeWhile([this] { return !isQuote() && !isSeparator(); }));
            }
        }
        return found;
    }

private:
    bool isQuote() const { return m_quotes && m_characters[m_at] == "\""; }
    bool isSeparator() const
    {
        return std::find(m_separators.begin(), m_separators.end(), m_characters[m_at]) != m_separators.end();
    }

    template <class Condition>
    std::string takeWhile(Condition condition)
    {
        std::string word;
        for (; m_at < m_characters.size() && condition(); ++m_at) {
            word += m_characters[m_at];
        }
        return word;
    }

    Characters m_characters;
    Characters m_separators;
    bool m_quotes;
    std::size_t m_at = 0;
};

std::string cutAtZero(const std::string& text)
{
    return text.c_str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)
{
    Fuzz::Input input(bytes, size);
    Fuzz::useLocale(input.byte());
    const bool quotes = input.byte() % 2 != 0;
    const std::string separators = cutAtZero(input.until('\n'));
    const std::string text = cutAtZero(input.rest());

    SIArray<SAnsiString> words;
    words.Add("what stood there");
    SStringHelper::makeWords(text.c_str(), separators.c_str(), words, quotes);

    const std::vector<std::string> expected = SlowSplitter(text, separators, quotes).words();
    Fuzz::require(words.GetSize() == expected.size(), "as many words as the slow splitter finds");
    for (unsigned i = 0; i < words.GetSize(); ++i) {
        Fuzz::require(words.ElementAt(i).view() == expected[i], "the words that the slow splitter finds");
    }
    return 0;
}
