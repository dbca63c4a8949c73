#include "morvex/wordsplit.h"

#include "morvex/textunits.h"

#include <string_view>
#include <utility>

namespace MorvexA106::WordSplit
{

namespace
{

/// Walks by characters: bytes of any separator but the lowest can be a part of a longer character.
class Splitter
{
public:
    Splitter(const char* text, const char* separators, bool quotes)
        : m_at(text),
          m_separators(separators),
          m_quotes(quotes)
    {}

    bool next(std::string_view& word)
    {
        while (isSeparator()) {
            advance();
        }
        if (*m_at == 0) {
            return false;
        }
        word = isQuote() ? quotedWord() : plainWord();
        return true;
    }

private:
    std::string_view quotedWord()
    {
        advance();
        const char* const begin = m_at;
        while (*m_at != 0 && !isQuote()) {
            advance();
        }
        const std::string_view word(begin, static_cast<std::size_t>(m_at - begin));
        advance();
        return word;
    }

    std::string_view plainWord()
    {
        const char* const begin = m_at;
        while (*m_at != 0 && !isQuote() && !isSeparator()) {
            advance();
        }
        return std::string_view(begin, static_cast<std::size_t>(m_at - begin));
    }

    bool isQuote() const noexcept { return m_quotes && *m_at == '"'; }

    bool isSeparator() const noexcept
    {
        // A quote begins a word even where it is named as a separator.
        if (*m_at == 0 || isQuote()) {
            return false;
        }
        const std::string_view wanted = characterAt(m_at);
        for (const char* walk = m_separators; *walk != 0; walk += m_walker.step(walk)) {
            if (characterAt(walk) == wanted) {
                return true;
            }
        }
        return false;
    }

    std::string_view characterAt(const char* text) const noexcept
    {
        return std::string_view(text, m_walker.step(text));
    }

    /// The terminator holds the walk.
    void advance() noexcept { m_at += m_walker.step(m_at); }

    const char* m_at;
    const char* m_separators;
    bool m_quotes;
    TextUnits::Walker<char, 0> m_walker;
};

} // namespace

void makeWords(const SAnsiString& text, const SAnsiString& separators, SIArray<SAnsiString>& words,
               bool quotes)
{
    // Collected apart, since the text may be one of the words that are replaced.
    SIArray<SAnsiString> found;
    Splitter splitter(text.getString(), separators.getString(), quotes);
    for (std::string_view word; splitter.next(word);) {
        found.Add(SAnsiString(word));
    }
    words = std::move(found);
}

} // namespace MorvexA106::WordSplit
