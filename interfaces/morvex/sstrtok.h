#pragma once

/// @file
/// Taking text apart, one token a call. The text itself is never changed.
///
/// | class         | a token ends at                       | empty tokens | for                            |
/// |---------------|---------------------------------------|--------------|--------------------------------|
/// | `SStrTok`     | any character of a set, runs as one   | none         | words, lists typed by people   |
/// | `RSStrTok`    | one delimiter, named anew each time   | tokens too   | records: `a=1&b=2`, `x,,y`     |
/// | `SScanString` | what the caller asks for next         | -            | small grammars                 |
///
/// Text is walked by the characters of the current locale, which must stay while an object is used, so that a
/// delimiter's byte inside a multibyte character is never taken for one; a byte that is no character counts as one.
/// Everything is linear in the text.
///
/// Each holds its text: a string's buffer is shared, not copied, and stays as it was whatever becomes of the string.
/// Made from a `std::string_view`, they only refer to what their caller keeps. The forms that give a
/// `std::string_view` allocate nothing; what they give is valid as long as the object, or a copy of it, lives and
/// is not assigned to.
///
/// A copy goes on by itself from where the original stands. Objects are not locked, and belong to one thread.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/sstringconvimpl.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace MorvexA106
{

/// A set of characters of the locale that is in force when it is made. What the tokenisers split at.
class MORVEX_EXPORT SCharacterSet
{
public:
    /// Throws "bad allocation" where a view has to be copied.
    explicit SCharacterSet(const SAnsiString& characters);
    template <std::same_as<std::string_view> View>
    explicit SCharacterSet(View characters) : SCharacterSet(SAnsiString(characters))
    {}

    /// Whether the character of so many bytes is one of the set.
    bool contains(const char* character, std::size_t size) const noexcept
    {
        const auto byte = static_cast<unsigned char>(*character);
        return size == 1 ? (m_single[byte / 64] >> byte % 64 & 1) != 0
                         : m_hasLong && containsLong(std::string_view(character, size));
    }

    /// Whether all are ASCII.
    bool isAscii() const noexcept { return m_isAscii; }

private:
    bool containsLong(std::string_view character) const noexcept;

    SAnsiString m_characters;
    std::uint64_t m_single[4] = {}; ///< a bit for each character of one byte
    bool m_hasLong = false;
    bool m_isAscii = true;
};

/// The text of a tokeniser, and how much of it is taken.
class MORVEX_EXPORT STokenText
{
public:
    STokenText(const STokenText&) = default;
    STokenText& operator=(const STokenText&) = default;

    /// What is not taken yet, without the delimiter that ended the last token.
    SAnsiString rest() const { return SAnsiString(restView()); }
    std::string_view restView() const noexcept { return viewUpTo(m_end); }

protected:
    explicit STokenText(const SAnsiString& text);
    explicit STokenText(std::string_view text) noexcept;
    ~STokenText() = default;

    /// Whether a byte can be looked for without walking by characters.
    bool isPlain(char delimiter) const noexcept
    {
        return m_walk == Walk::bytes ||
               (m_walk == Walk::utf8 && static_cast<unsigned char>(delimiter) < 0x80);
    }

    /// The next such character, or the end.
    const char* find(char delimiter) const noexcept
    {
        if (!isPlain(delimiter)) {
            return findByCharacters(delimiter);
        }
        const void* const found =
            m_at != m_end ? std::memchr(m_at, delimiter, static_cast<std::size_t>(m_end - m_at)) : nullptr;
        return found != nullptr ? static_cast<const char*>(found) : m_end;
    }

    std::string_view viewUpTo(const char* end) const noexcept
    {
        return std::string_view(m_at, static_cast<std::size_t>(end - m_at));
    }

    enum class Walk : unsigned char
    {
        bytes,     ///< every byte is a character
        utf8,      ///< every byte below 0x80 is a character
        characters ///< only the locale can tell
    };

    const char* m_at;
    const char* m_end;
    Walk m_walk;

private:
    const char* findByCharacters(char delimiter) const noexcept;

    SAnsiString m_held;
};

/// Splits at any character of a set. Delimiters in a row count as one and those at either end as none, so that no
/// token is empty.
///
///     SStrTok words("  one, two ", ", ");
///     for (std::string_view word; words.Next(word);) { ... }   // one, two
///
/// | text     | delimiters | tokens      |
/// |----------|------------|-------------|
/// | `a b  c` | blank      | `a` `b` `c` |
/// | `,a;,b,` | `,;`       | `a` `b`     |
/// | `,,`     | `,`        |             |
/// | `a b`    | none       | `a b`       |
class MORVEX_EXPORT SStrTok : public STokenText
{
public:
    SStrTok(const SAnsiString& text, const SAnsiString& delimiters)
        : STokenText(text),
          m_delimiters(delimiters)
    {}

    /// The set is copied, the text is not.
    template <std::same_as<std::string_view> View>
    SStrTok(View text, std::string_view delimiters) : STokenText(text),
                                                      m_delimiters(delimiters)
    {}

    /// False when no token is left; the token is then as it was.
    [[nodiscard]] bool Next(std::string_view& token) noexcept;
    [[nodiscard]] bool Next(SAnsiString& token);

    /// Empty text when no token is left.
    SAnsiString Next();

private:
    bool isBytewise() const noexcept;
    std::size_t sizeAt(const char* at) const noexcept;
    const char* skip(const char* at, bool delimiters) const noexcept;

    SCharacterSet m_delimiters;
};

/// Splits at one delimiter after the other, each named when it is asked for. An empty token is a token.
///
///     RSStrTok pairs(text);                       // name=value&name=value
///     while (!pairs.isAtEnd()) {
///         RSStrTok pair(pairs.Next('&'));
///         SAnsiString name = pair.Next('=');
///         SAnsiString value = pair.Next();        // whatever follows, `=` included
///     }
///
/// | text      | `Next('&')` | then `rest()` | `isAtEnd()`                     |
/// |-----------|-------------|---------------|---------------------------------|
/// | `a=1&b&c` | `a=1`       | `b&c`         | false                           |
/// | `a=1`     | `a=1`       |               | true                            |
/// | `a=1&`    | `a=1`       |               | false: an empty token is left   |
/// | `&b`      |             | `b`           | false                           |
/// |           |             |               | true; false before              |
///
/// At the end, which is when a token was ended by the end of the text, every further token is empty.
class MORVEX_EXPORT RSStrTok : public STokenText
{
public:
    explicit RSStrTok(const SAnsiString& text) : STokenText(text) {}
    template <std::same_as<std::string_view> View>
    explicit RSStrTok(View text) noexcept : STokenText(text)
    {}

    bool isAtEnd() const noexcept { return m_isAtEnd; }

    /// What stands in front of the next delimiter, which is taken as well; without one all that is left.
    SAnsiString Next(char delimiter) { return SAnsiString(NextView(delimiter)); }
    std::string_view NextView(char delimiter) noexcept
    {
        const char* const found = find(delimiter);
        const std::string_view token = viewUpTo(found);
        m_isAtEnd = found == m_end;
        m_at = m_isAtEnd ? m_end : found + 1;
        return token;
    }

    /// All that is left.
    SAnsiString Next() { return SAnsiString(NextView()); }
    std::string_view NextView() noexcept
    {
        const std::string_view token = restView();
        m_at = m_end;
        m_isAtEnd = true;
        return token;
    }

private:
    bool m_isAtEnd = false;
};

/// A cursor that moves over what is expected of a text. What is not there leaves cursor and target as they were,
/// and gives false.
///
///     SScanString scan("timeout = 30;");
///     std::string_view name;
///     int value = 0;
///     const bool isSetting = scan.TakeUntil('=', name) && scan.SkipBlanks().TakeInteger(value) && scan.Take(";");
///
/// | text       | call                | gives            | left   |
/// |------------|---------------------|------------------|--------|
/// | `a b`      | `TakeWord`          | `a`              | ` b`   |
/// | `-12;`     | `TakeInteger`       | -12              | `;`    |
/// | `1.5e2x`   | `TakeReal`          | 150              | `x`    |
/// | `"a b"c`   | `TakeQuoted`        | `a b`            | `c`    |
/// | `a=b=c`    | `TakeUntil('=')`    | `a`              | `b=c`  |
/// | `ab`       | `Take("a")`         | true             | `b`    |
class MORVEX_EXPORT SScanString : public STokenText
{
public:
    explicit SScanString(const SAnsiString& text) : STokenText(text) {}
    template <std::same_as<std::string_view> View>
    explicit SScanString(View text) noexcept : STokenText(text)
    {}

    bool isAtEnd() const noexcept { return m_at == m_end; }

    /// Over white space, as the locale has it, line ends included.
    SScanString& SkipBlanks() noexcept;

    /// Exactly this text, in whole characters.
    [[nodiscard]] bool Take(std::string_view expected) noexcept;

    /// Up to white space or the end; false when there is nothing in front of it.
    [[nodiscard]] bool TakeWord(std::string_view& word) noexcept;
    [[nodiscard]] bool TakeWord(SAnsiString& word);

    /// What stands between a double quote at the cursor and the next one; there is no way to quote a quote.
    [[nodiscard]] bool TakeQuoted(std::string_view& text) noexcept;
    [[nodiscard]] bool TakeQuoted(SAnsiString& text);

    /// What stands in front of the next delimiter, perhaps nothing; the delimiter is taken as well.
    [[nodiscard]] bool TakeUntil(char delimiter, std::string_view& text) noexcept;
    [[nodiscard]] bool TakeUntil(char delimiter, SAnsiString& text);

    /// As many digits as there are, with one sign in front, as `SStringConv` reads them. False for a number that
    /// the type can't hold, and for an unknown base, which is an assertion.
    template <SInteger N>
    [[nodiscard]] bool TakeInteger(N& value, unsigned int base = 10)
    {
        std::uint64_t magnitude = 0;
        NumberText::Bounded<char> text{m_at, m_end};
        const bool negative = NumberText::takeSign(text);
        const bool isNumber =
            base == 10 ? NumberText::takeDecimal(text, magnitude)
                       : NumberText::checkBase(base) && NumberText::takeInBase(text, base, magnitude);
        if (!isNumber || !NumberText::store(magnitude, negative, value)) {
            return false;
        }
        m_at = text.at;
        return true;
    }

    /// The longest text that `SStringConv` reads as a real number.
    [[nodiscard]] bool TakeReal(double& value) noexcept;

private:
    const char* skipSpace(const char* at, bool space) const noexcept;
};

} // namespace MorvexA106
