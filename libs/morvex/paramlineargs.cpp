#include "morvex/paramlineargs.h"

#include "morvex/checks.h"
#include "morvex/siset.h"
#include "morvex/wordsplit.h"

#include <cstring>
#include <utility>

namespace MorvexA106
{

// The characters that the syntax knows (the dash 0x2D, the quote 0x22, the blank 0x20) lie below every trail
// byte of the multibyte sets, so a byte of that value is always the character itself.

namespace
{

constexpr int none = -1;

bool isOption(const SAnsiString& word) noexcept
{
    return *word.getString() == '-';
}

SAnsiString optionName(const SAnsiString& word)
{
    return SAnsiString(word.getString() + std::strspn(word.getString(), "-"));
}

SAnsiString quoted(const SAnsiString& text)
{
    const char* const begin = text.getString();
    if (*begin == '"' || std::strchr(begin, ' ') == nullptr) {
        return text;
    }
    SAnsiString result("\"");
    result += text;
    result += '"';
    return result;
}

struct Options
{
    SIArray<SAnsiString> names;
    SIArray<SAnsiString> values;

    void add(const SAnsiString& name, const SAnsiString& value)
    {
        names.Add(name);
        values.Add(value);
    }
};

/// All options behind the first word, repeated ones included.
Options readOptions(const SIArray<SAnsiString>& words)
{
    Options read;
    const SAnsiString* const end = words.End();
    for (const SAnsiString* word = words.Begin() + 1; word < end; ++word) {
        if (!isOption(*word)) {
            continue;
        }
        const SAnsiString name = optionName(*word);
        const bool hasValue = word + 1 != end && !isOption(word[1]);
        read.add(name, hasValue ? *++word : SAnsiString());
    }
    return read;
}

/// Each name's last occurrence, in order: what setting one after the other leaves, without its quadratic cost.
/// A tree and not a sort, which could leave its bounds if the locale's collation were no proper order.
Options lastOfEach(const Options& read)
{
    SISet<SAnsiStringCI> seen;
    SIArray<unsigned> kept;
    for (unsigned left = read.names.GetSize(); left-- > 0;) {
        if (seen.Insert(read.names.Begin()[left])) {
            kept.Add(left);
        }
    }
    Options last;
    for (unsigned left = kept.GetSize(); left-- > 0;) {
        last.add(read.names.Begin()[kept[left]], read.values.Begin()[kept[left]]);
    }
    return last;
}

} // namespace

void CParamLineArgs::SetArgs(int, char** const argv)
{
    SIArray<SAnsiString> words;
    for (char** word = argv; word != nullptr && *word != nullptr; ++word) {
        words.Add(SAnsiString(*word));
    }
    setWords(words);
}

void CParamLineArgs::SetArgs(const SAnsiString& line)
{
    if (line.isEmpty()) {
        return;
    }
    SIArray<SAnsiString> words;
    WordSplit::makeWords(line, " \t\r\n", words, true);
    setWords(words);
    MORVEX_CHECK(!m_programName.isEmpty(), "!m_programName.isEmpty()");
}

void CParamLineArgs::setWords(const SIArray<SAnsiString>& words)
{
    if (words.GetSize() == 0) {
        DeleteAll();
        return;
    }
    Options options = lastOfEach(readOptions(words));
    m_names = std::move(options.names);
    m_values = std::move(options.values);
    m_programName = words[0];
}

void CParamLineArgs::SetArg(const SAnsiString& name, const SAnsiString& value)
{
    // The new one first: when there is no room for it, the old one is still there.
    const int index = findIndex(name);
    appendOption(name, value);
    if (index != none) {
        removeOption(index);
    }
}

void CParamLineArgs::appendOption(const SAnsiString& name, const SAnsiString& value)
{
    m_names.Add(name);
    try {
        m_values.Add(value);
    } catch (...) {
        m_names.RemoveAt(m_names.GetUpperBound());
        throw;
    }
}

void CParamLineArgs::removeOption(int index)
{
    m_names.RemoveAt(static_cast<unsigned>(index));
    m_values.RemoveAt(static_cast<unsigned>(index));
}

bool CParamLineArgs::RemoveArg(const SAnsiString& name)
{
    const int index = findIndex(name);
    if (index == none) {
        return false;
    }
    removeOption(index);
    return true;
}

bool CParamLineArgs::Lookup(const SAnsiString& name, SAnsiString& value) const
{
    const int index = findIndex(name);
    if (index == none) {
        return false;
    }
    value = m_values[static_cast<unsigned>(index)];
    return true;
}

void CParamLineArgs::GetArgs(SIArray<SAnsiString>& args) const
{
    appendWords(args, [](const SAnsiString& text) { return text; });
}

void CParamLineArgs::GetArgsWithQuote(SIArray<SAnsiString>& args) const
{
    appendWords(args, quoted);
}

void CParamLineArgs::appendWords(SIArray<SAnsiString>& args, SAnsiString (*form)(const SAnsiString&)) const
{
    MORVEX_CHECK(args.GetSize() == 0, "args.GetSize() == 0");
    MORVEX_CHECK(!m_programName.isEmpty(), "!m_programName.isEmpty()");
    args.Add(form(m_programName));
    for (unsigned index = 0; index < m_names.GetSize(); ++index) {
        args.Add(SAnsiString("-") + m_names[index]);
        if (!m_values[index].isEmpty()) {
            args.Add(form(m_values[index]));
        }
    }
}

SAnsiString CParamLineArgs::GetCmdLine() const
{
    SAnsiString line;
    const auto append = [&line](const SAnsiString& word) {
        line += word;
        line += ' ';
    };
    if (!m_programName.isEmpty()) {
        append(quoted(m_programName));
    }
    for (unsigned index = 0; index < m_names.GetSize(); ++index) {
        line += '-';
        append(m_names[index]);
        if (!m_values[index].isEmpty()) {
            append(quoted(m_values[index]));
        }
    }
    return line;
}

void CParamLineArgs::DeleteAll() noexcept
{
    m_names.RemoveAll();
    m_values.RemoveAll();
    m_programName.empty();
}

int CParamLineArgs::findIndex(const SAnsiString& name) const
{
    for (unsigned index = 0; index < m_names.GetSize(); ++index) {
        if (m_names[index].compareNoCase(name) == 0) {
            return static_cast<int>(index);
        }
    }
    return none;
}

} // namespace MorvexA106
