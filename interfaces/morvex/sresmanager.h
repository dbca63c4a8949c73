#pragma once

/// @file
/// The texts of messages, by number.

#include "morvex/export.h"
#include "morvex/refcount.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// Where texts of messages come from. Derive from it to have them from elsewhere than a file.
///
/// It is asked by any number of threads at once, and may be asked still after it was taken out, by those that were
/// under way.
class MORVEX_EXPORT SResourceSource : public CRefCount
{
public:
    ~SResourceSource() override;

    /// Stores the text of the number, in the multibyte form of the calling thread's locale; false, with the text as
    /// it was, for a number that it doesn't know.
    virtual bool Find(unsigned long number, SAnsiString& text) const = 0;
};

/// The texts of the process's messages by their number: the library's own, in English, and those of any number of
/// sources, which translate them and add their own.
///
///     SAnsiString problem;
///     if (!SResManager::AddFile("german", "messages.de", &problem))
///         report(problem);
///     SAnsiString text = SResManager::LoadStringA(47001);
///
/// Sources are asked in turn, the one that was added last first, and the library's own texts at the end. A source has a
/// name, by which it is replaced and taken out; names are compared byte by byte.
///
/// All may be called from any thread. A look-up locks for the time of a pointer's copy, and no lock is held while
/// sources are asked; it sees the sources as they were when it began. Sources are released when the process ends at the
/// earliest, so that destructors of static objects find them. Throws "bad allocation", and what a source of yours throws.
class MORVEX_EXPORT SResManager
{
public:
    SResManager() = delete;

    /// The text with its markers (see `SResString`); empty for a number without one.
    static SAnsiString LoadStringA(unsigned long number);

    /// False, with the text as it was, for a number without one.
    [[nodiscard]] static bool LoadStringA(unsigned long number, SAnsiString& text);

    /// Adds a source, or puts it in the place of the one of the same name. A null source is reported as an assertion
    /// and changes nothing.
    static void AddSource(const SAnsiString& name, CSmartRefCountPtr<SResourceSource> source);

    /// Adds the texts of a file, which is read whole and at once: later changes of the file change nothing. False
    /// when it can't be read or breaks the format; then nothing is changed, and `problem`, unless it is null, says
    /// why and in which line.
    ///
    /// The file is UTF-8, with or without a byte order mark. Its lines end in LF or CR LF:
    ///
    ///     # a comment, as are empty lines
    ///     47001 = "%1" ist keine Adresse.
    ///     0xB09D = %1 beginnt.\n
    ///     100001 = " with blanks at its ends "
    ///
    /// Numbers are decimal or hexadecimal, up to 32 bits, and each stands once. Blanks around a text are no part of it.
    /// Quotation marks that stand at both of its ends are taken off, and then quotation marks inside are written `\"`.
    /// `\n`, `\t`, `\\` and `\"` stand for a line end, a tab, a backslash and a quotation mark; nothing else may follow
    /// a backslash. A character that has no form in the locale of the thread that asks becomes `?`.
    [[nodiscard]] static bool AddFile(const SAnsiString& name, const SAnsiString& path,
                                      SAnsiString* problem = nullptr);

    /// Whether there was such a source.
    static bool RemoveSource(const SAnsiString& name);
};

} // namespace MorvexA106
