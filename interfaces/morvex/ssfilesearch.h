#pragma once

/// @file
/// Walks the entries of a folder.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

#include <ctime>
#include <memory>

namespace MorvexA106
{

/// Walks the entries of one folder that match a pattern, one name at a time, in the system's order.
///
///     SSFileSearch search("spool", "*.msg");
///     SAnsiString name;
///     for (bool found = search.FindFirst(name); found; found = search.FindNext(name))
///         if (!search.isDir())
///             deliver(SStringHelper::MakePath("spool", name));
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
    /// What the system tells of an entry.
    struct Entry
    {
        /// When the content last changed.
        std::time_t m_modificationTime = 0;

        bool m_directory = false;
        bool m_link = false; ///< or, Windows, a junction

        /// Bytes.
        __int64 m_size = 0;
    };

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

    /// Tells of the entry that was found last, as `SFileSys::listing` does. False, with the entry unchanged, when it is
    /// gone meanwhile or can't be looked at, and when no entry was found last.
    ///
    /// POSIX: a link counts as what it leads to, and as itself when it leads nowhere; costs a call of the system or
    /// two. Windows: the entry itself, from what the search has told; costs nothing.
    bool getEntry(Entry& entry) const;

    /// Whether the entry that was found last is a folder, or a link to one, and whether it is a link. False without an
    /// entry. Unlike `getEntry` these seldom have to ask the system: POSIX, for links to what, and on the few file
    /// systems that do not tell while they are read.
    bool isDir() const noexcept;
    bool isLink() const noexcept;

    /// True when the walk ended because the system refused to go on, and not because it was at its end.
    bool failed() const noexcept;

    /// The Windows error with which the walk failed, 0 without a failure. POSIX: the Windows error of the
    /// same meaning.
    unsigned long getError() const noexcept;

    /// The system's words for it; empty without a failure.
    SAnsiString getErrorText() const;

private:
    struct Walk;

    bool isAtEntry() const noexcept;

    SAnsiString m_folder;
    SAnsiString m_pattern;
    std::unique_ptr<Walk> m_walk;
};

} // namespace MorvexA106
