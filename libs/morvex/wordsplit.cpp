#include "morvex/wordsplit.h"

#include "morvex/badalloc.h"
#include "morvex/characters.h"
#include "morvex/sstrtok.h"

#include <utility>

namespace MorvexA106::WordSplit
{

namespace
{

/// Walks by characters: bytes of any separator but the lowest can be a part of a longer character.
class Splitter
{
public:
    Splitter(std::string_view text, const SAnsiString& separators, bool quotes)
        : m_at(text.data()),
          m_end(text.data() + text.size()),
          m_separators(separators),
          m_quotes(quotes)
    {}

    bool next(std::string_view& word)
    {
        skip([this] { return isSeparator(); });
        if (m_at == m_end) {
            return false;
        }
        word = isQuote() ? quotedWord() : skip([this] { return !isQuote() && !isSeparator(); });
        return true;
    }

private:
    std::string_view quotedWord()
    {
        ++m_at;
        const std::string_view word = skip([this] { return !isQuote(); });
        m_at += m_at != m_end ? 1 : 0;
        return word;
    }

    /// What was stepped over.
    template <class Condition>
    std::string_view skip(Condition condition)
    {
        const char* const begin = m_at;
        while (m_at != m_end && condition()) {
            m_at += size();
        }
        return std::string_view(begin, static_cast<std::size_t>(m_at - begin));
    }

    std::size_t size() const noexcept { return m_bytewise ? 1 : Characters::sizeAt(m_at, m_end, m_locale); }
    bool isQuote() const noexcept { return m_quotes && *m_at == '"'; }

    /// A quote begins a word even where it is named as a separator.
    bool isSeparator() const noexcept { return !isQuote() && m_separators.contains(m_at, size()); }

    const char* m_at;
    const char* m_end;
    SCharacterSet m_separators;
    bool m_quotes;
    Platform::LocaleText m_locale = Platform::LocaleText::current();

    /// No byte of a longer character looks like a quote or a separator.
    bool m_bytewise = m_locale.isSingleByte() || (m_locale.isUtf8() && m_separators.isAscii());
};

/// The words as `Word`s.
template <class Word>
void makeWordsOf(std::string_view text, const SAnsiString& separators, SIArray<Word>& words, bool quotes)
{
    // Collected apart, since the text may be one of the words that are replaced.
    SIArray<Word> found;
    Splitter splitter(text, separators, quotes);
    for (std::string_view word; splitter.next(word);) {
        sayingBadAllocation([&] { return found.Add(Word(word)); });
    }
    words = std::move(found);
}

} // namespace

void makeWords(const SAnsiString& text, const SAnsiString& separators, SIArray<SAnsiString>& words,
               bool quotes)
{
    makeWordsOf(text.getString(), separators, words, quotes);
}

void makeWords(std::string_view text, const SAnsiString& separators, SIArray<std::string_view>& words,
               bool quotes)
{
    makeWordsOf(text, separators, words, quotes);
}

} // namespace MorvexA106::WordSplit
