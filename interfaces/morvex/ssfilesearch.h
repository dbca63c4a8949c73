#pragma once

/// @file
/// Walks the entries of a folder.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <memory>

namespace MorvexA106
{

/// Walks the entries of one folder that match a pattern, one name at a time, in the system's order.
///
///     SSFileSearch search("spool", "*.msg");
///     SAnsiString name;
///     for (bool found = search.FindFirst(name); found; found = search.FindNext(name))
///         deliver(SStringHelper::MakePath("spool", name));
///     if (search.failed())
///         report(search.getErrorText());
///
/// A pattern is matched against the whole name: `*` stands for any characters, `?` for exactly one, and `*.*`
/// as a whole, like the empty pattern, for every name. The entries `.` and `..` are found too when they match.
/// Entries that come or go during the walk may be found or not; all others are found once.
///
/// POSIX: case counts. Windows: it doesn't, and the system's further rules of matching hold.
///
/// The object holds an open folder from `FindFirst` to the end of the walk. It belongs to one thread at a time.
class MORVEX_EXPORT SSFileSearch
{
public:
    /// Keeps both; the folder is not looked at before `FindFirst`. An empty folder is the current one.
    explicit SSFileSearch(const SAnsiString& folder, const SAnsiString& pattern = "*");
    SSFileSearch(SSFileSearch&& other) noexcept;
    SSFileSearch& operator=(SSFileSearch&& other) noexcept;
    ~SSFileSearch();

    /// Begins a walk, also after another one. Stores the name, without its folder, of the first entry that
    /// matches; false, with the name unchanged, when there is none or the folder can't be read: ask `failed`.
    bool FindFirst(SAnsiString& name);

    /// Goes on; false at the end, or without a walk.
    bool FindNext(SAnsiString& name);

    /// True when the walk ended because the system refused to go on, and not because it was at its end.
    bool failed() const noexcept;

    /// The Windows error with which the walk failed, 0 without a failure. POSIX: the Windows error of the
    /// same meaning.
    unsigned long getError() const noexcept;

    /// The system's words for it; empty without a failure.
    SAnsiString getErrorText() const;

private:
    struct Walk;

    SAnsiString m_folder;
    SAnsiString m_pattern;
    std::unique_ptr<Walk> m_walk;
};

} // namespace MorvexA106
