#include "morvex/sstrtok.h"

#include "morvex/characters.h"
#include "morvex/textunits.h"

#include <algorithm>
#include <charconv>

namespace MorvexA106
{

using Platform::LocaleText;

namespace
{

/// What `take(view)` gives as a string.
template <class Take>
bool takeAsString(SAnsiString& text, Take take)
{
    std::string_view view;
    const bool taken = take(view);
    if (taken) {
        text = SAnsiString(view);
    }
    return taken;
}

/// Bytes of the longest real number that a text begins with; 0 for none.
std::size_t lengthOfReal(std::string_view text) noexcept
{
    const std::size_t plus = text.starts_with('+') && !text.starts_with("+-") ? 1 : 0;
    double number = 0;
    const char* const end = std::from_chars(text.data() + plus, text.data() + text.size(), number).ptr;
    const auto length = static_cast<std::size_t>(end - text.data());
    // A payload behind `nan` is for the next one to read.
    return length > plus ? std::min(length, text.find('(')) : 0;
}

} // namespace

SCharacterSet::SCharacterSet(const SAnsiString& characters) : m_characters(characters)
{
    const LocaleText locale = LocaleText::current();
    const std::string_view all = m_characters.getString();
    for (const char* at = all.data(); at != all.data() + all.size();) {
        const std::size_t size = Characters::sizeAt(at, all.data() + all.size(), locale);
        const auto byte = static_cast<unsigned char>(*at);
        m_single[byte / 64] |= size == 1 ? std::uint64_t{1} << byte % 64 : 0;
        m_hasLong = m_hasLong || size > 1;
        m_isAscii = m_isAscii && byte < 0x80;
        at += size;
    }
}

bool SCharacterSet::containsLong(std::string_view character) const noexcept
{
    const LocaleText locale = LocaleText::current();
    const std::string_view all = m_characters.getString();
    const char* const end = all.data() + all.size();
    for (const char* at = all.data(); at != end;) {
        const std::size_t size = Characters::sizeAt(at, end, locale);
        if (std::string_view(at, size) == character) {
            return true;
        }
        at += size;
    }
    return false;
}

STokenText::STokenText(const SAnsiString& text) : STokenText(std::string_view(text.getString()))
{
    m_held = text;
}

STokenText::STokenText(std::string_view text) noexcept : m_at(text.data()), m_end(text.data() + text.size())
{
    const LocaleText locale = LocaleText::current();
    m_walk = locale.isSingleByte() ? Walk::bytes : locale.isUtf8() ? Walk::utf8 : Walk::characters;
}

const char* STokenText::findByCharacters(char delimiter) const noexcept
{
    const LocaleText locale = LocaleText::current();
    const char* at = m_at;
    while (at != m_end) {
        const std::size_t size = Characters::sizeAt(at, m_end, locale);
        if (size == 1 && *at == delimiter) {
            break;
        }
        at += size;
    }
    return at;
}

bool SStrTok::isBytewise() const noexcept
{
    return m_walk == Walk::bytes || (m_walk == Walk::utf8 && m_delimiters.isAscii());
}

std::size_t SStrTok::sizeAt(const char* at) const noexcept
{
    return isBytewise() ? 1 : Characters::sizeAt(at, m_end, LocaleText::current());
}

const char* SStrTok::skip(const char* at, bool delimiters) const noexcept
{
    if (isBytewise()) {
        return std::find_if(
            at, m_end, [=, this](const char& byte) { return m_delimiters.contains(&byte, 1) != delimiters; });
    }
    const LocaleText locale = LocaleText::current();
    for (std::size_t size = 0; at != m_end; at += size) {
        size = Characters::sizeAt(at, m_end, locale);
        if (m_delimiters.contains(at, size) != delimiters) {
            break;
        }
    }
    return at;
}

bool SStrTok::Next(std::string_view& token) noexcept
{
    m_at = skip(m_at, true);
    if (m_at == m_end) {
        return false;
    }
    const char* const end = skip(m_at, false);
    token = viewUpTo(end);
    m_at = end != m_end ? end + sizeAt(end) : m_end;
    return true;
}

bool SStrTok::Next(SAnsiString& token)
{
    return takeAsString(token, [this](std::string_view& view) { return Next(view); });
}

SAnsiString SStrTok::Next()
{
    SAnsiString token;
    static_cast<void>(Next(token));
    return token;
}

SScanString& SScanString::SkipBlanks() noexcept
{
    m_at = skipSpace(m_at, true);
    return *this;
}

const char* SScanString::skipSpace(const char* at, bool space) const noexcept
{
    const LocaleText locale = LocaleText::current();
    const TextUnits::Walker<char, 0> walker;
    while (at != m_end && walker.isSpace(Characters::Terminated(at, m_end).get()) == space) {
        at += Characters::sizeAt(at, m_end, locale);
    }
    return at;
}

bool SScanString::Take(std::string_view expected) noexcept
{
    if (!restView().starts_with(expected)) {
        return false;
    }
    const LocaleText locale = LocaleText::current();
    const char* const end = m_at + expected.size();
    const char* at = m_at;
    while (at < end) {
        at += Characters::sizeAt(at, m_end, locale);
    }
    if (at != end) {
        return false;
    }
    m_at = end;
    return true;
}

bool SScanString::TakeWord(std::string_view& word) noexcept
{
    const char* const end = skipSpace(m_at, false);
    if (end == m_at) {
        return false;
    }
    word = viewUpTo(end);
    m_at = end;
    return true;
}

bool SScanString::TakeUntil(char delimiter, std::string_view& text) noexcept
{
    const char* const end = find(delimiter);
    if (end == m_end) {
        return false;
    }
    text = viewUpTo(end);
    m_at = end + 1;
    return true;
}

bool SScanString::TakeQuoted(std::string_view& text) noexcept
{
    const char* const begin = m_at;
    if (!Take("\"")) {
        return false;
    }
    const bool isClosed = TakeUntil('"', text);
    if (!isClosed) {
        m_at = begin;
    }
    return isClosed;
}

bool SScanString::TakeWord(SAnsiString& word)
{
    return takeAsString(word, [this](std::string_view& view) { return TakeWord(view); });
}

bool SScanString::TakeUntil(char delimiter, SAnsiString& text)
{
    return takeAsString(text, [=, this](std::string_view& view) { return TakeUntil(delimiter, view); });
}

bool SScanString::TakeQuoted(SAnsiString& text)
{
    return takeAsString(text, [this](std::string_view& view) { return TakeQuoted(view); });
}

bool SScanString::TakeReal(double& value) noexcept
{
    const std::size_t length = lengthOfReal(restView());
    if (!NumberText::readReal(restView().substr(0, length), value)) {
        return false;
    }
    m_at += length;
    return true;
}

} // namespace MorvexA106
