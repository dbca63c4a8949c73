#pragma once

/// @file
/// The command line.

#include "morvex/export.h"
#include "morvex/siarray.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// A command line in parts: the program's name and its options, each with a value or without.
///
///     CParamLineArgs args(argc, argv);            // prog --from drop -fg
///     SAnsiString from;
///     if (args.Lookup("from", from)) { ... }      // "drop"
///     if (args.Lookup("FG", from)) { ... }        // there, with empty text
///
/// A word whose first character is `-` is an option, and its name is the word without all its leading dashes.
/// The next word is its value unless that is an option itself. Other words are dropped.
///
/// | words after the program    | options (name, value)              |
/// |----------------------------|------------------------------------|
/// | `-a 1 -b`                  | (a, 1) (b, )                       |
/// | `--log x y`                | (log, x)                           |
/// | `-a -1`                    | (a, ) (1, ): no value begins with a dash |
/// | `-A 1 -a 2`                | (a, 2)                             |
/// | `-a=b`                     | (a=b, )                            |
/// | `-` or `--`                | (, ): an option whose name is empty |
///
/// Names compare without case by the current locale, and an option occurs once: setting it again moves it to
/// the end and takes the new spelling.
///
/// Cost: reading a command line grows with its length and the logarithm of its options, so that a hostile line
/// does no harm; `SetArg`, `RemoveArg` and `Lookup` walk all options. Failure: `std::bad_alloc`, and everything
/// is as it was. Threads: not locked; any number may read at once.
class MORVEX_EXPORT CParamLineArgs
{
public:
    CParamLineArgs() = default;

    /// As `SetArgs` with the same arguments.
    CParamLineArgs(int argc, char** const argv) { SetArgs(argc, argv); }
    CParamLineArgs(const SAnsiString& line) { SetArgs(line); }

    CParamLineArgs(const CParamLineArgs&) = default;
    CParamLineArgs(CParamLineArgs&&) noexcept = default;
    CParamLineArgs& operator=(const CParamLineArgs& other) { return *this = CParamLineArgs(other); }
    CParamLineArgs& operator=(CParamLineArgs&&) noexcept = default;
    virtual ~CParamLineArgs() = default;

    /// The first word, empty when there was none. Both spellings are the same.
    const SAnsiString& GetProgramName() const noexcept { return m_programName; }
    const SAnsiString& getProgramName() const noexcept { return m_programName; }
    void SetProgramName(const SAnsiString& name) { m_programName = name; }

    /// Replaces everything by what `main` is given. The list ends at its null pointer: the count is not
    /// looked at. A null list, or one that begins with its end, leaves no program name and no options.
    void SetArgs(int argc, char** const argv);

    /// Replaces everything by one line; but an empty line changes nothing, and the earlier content stays.
    ///
    /// Blanks, tabs and line ends separate words. A word that begins with a double quote runs to the next
    /// one, or to the end of the line, and the quotes are no part of it. There is no escape, and a dash is a
    /// dash behind a quote as well. An empty word (`""`) can be a value, which is no value then; elsewhere it
    /// is skipped. A double quote also ends a word that began without:
    ///
    /// | line               | words                |
    /// |--------------------|----------------------|
    /// | `prog -p "a b" c`  | `prog` `-p` `a b` `c` |
    /// | `"a b"c`           | `a b` `c`            |
    /// | `ab"c d"`          | `ab` `c d`           |
    /// | `prog -p "a b`     | `prog` `-p` `a b`    |
    ///
    /// A line whose first word is empty, or that has no word, is reported as an assertion and leaves no
    /// program name.
    void SetArgs(const SAnsiString& line);

    /// Sets an option, which becomes the last one. The name is taken as it is, without dashes.
    void SetArg(const SAnsiString& name, const SAnsiString& value);

    /// Whether the option was there and is removed now.
    bool RemoveArg(const SAnsiString& name);

    /// Whether the option is there. An option without a value gives true and empty text; `value` is left as
    /// it was when there is no such option.
    bool Lookup(const SAnsiString& name, SAnsiString& value) const;

    /// Appends the program name and the options as words: "-" with the name, and the value where there is
    /// one. A list that is not empty is reported as an assertion and appended to; an empty program name is
    /// reported and written as an empty word.
    void GetArgs(SIArray<SAnsiString>& args) const;

    /// The same, with the program name and the values in double quotes where they hold a blank (a blank
    /// alone: no other white space) and don't begin with a quote. Quotes inside are not escaped, and option
    /// names are not quoted.
    void GetArgsWithQuote(SIArray<SAnsiString>& args) const;

    /// The words of `GetArgsWithQuote` with a blank behind each, the last one too; an empty program name is
    /// left out. `SetArgs` reads it back as it was, unless a text holds a double quote, or white space that is
    /// not quoted, or an option's name or value begins with a dash.
    SAnsiString GetCmdLine() const;

private:
    void DeleteAll() noexcept;
    void setWords(const SIArray<SAnsiString>& words);
    void appendOption(const SAnsiString& name, const SAnsiString& value);
    void removeOption(int index);
    void appendWords(SIArray<SAnsiString>& args, SAnsiString (*form)(const SAnsiString& text)) const;

    /// The index of the option, or -1.
    int findIndex(const SAnsiString& name) const;

    SIArray<SAnsiString> m_names;
    SIArray<SAnsiString> m_values;
    SAnsiString m_programName;
};

} // namespace MorvexA106
