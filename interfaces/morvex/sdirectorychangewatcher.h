#pragma once

/// @file
/// Watches a folder, or a tree of folders, for changes.

#include "morvex/export.h"
#include "morvex/sstring.h"

#include <memory>

namespace MorvexA106
{

/// One change below a watched folder.
struct SDirectoryChange
{
    enum Kind
    {
        Created = 0, ///< is there now, whether it was made, linked, or moved here from outside
        Changed = 1, ///< a file's content was written, or its size or time of change is another one
        Renamed = 2, ///< has another name or another folder now, with all that is in it
        Removed = 3  ///< is no longer there, whether it was removed or moved outside
    };

    Kind m_kind = Created;

    /// The path below the watched folder, bytes as they stand.
    SAnsiString m_name;

    /// The path before a `Renamed`; empty for the others.
    SAnsiString m_oldName;

    /// 1 for a folder, 0 for everything else; links are never followed.
    int m_directory = 0;
};

/// Is told what changes. See `SDirectoryChangeWatcher` for the thread on which, and what an exception does.
class MORVEX_EXPORT SDirectoryChangeReceiver
{
public:
    SDirectoryChangeReceiver() = default;
    SDirectoryChangeReceiver(const SDirectoryChangeReceiver&) = default;
    SDirectoryChangeReceiver& operator=(const SDirectoryChangeReceiver&) = default;
    virtual ~SDirectoryChangeReceiver();

    virtual void changed(const SDirectoryChange& change) = 0;
};

/// How a folder is watched.
struct SDirectoryWatchOptions
{
    /// With all folders below; else the entries of the one folder only.
    bool m_tree = false;

    /// Tells what is there at the beginning as `Created`.
    bool m_reportExisting = false;

    /// Milliseconds, 10 at the least, between two looks whether the path still leads to the same folder, and
    /// between two rescans where the system's own events don't tell everything. Rescans take a tenth of the
    /// time at the most: where one takes long, the next one comes later.
    long m_interval = 1000;

    /// Rescans each interval also where the system's events are said to tell everything. For places where that is
    /// not so: layered and emulated file systems, systems that only resemble Windows.
    bool m_alwaysRescan = false;
};

/// Watches a folder, or a tree of folders, and tells a receiver what changes:
///
///     class Printer : public SDirectoryChangeReceiver
///     {
///         void changed(const SDirectoryChange& change) override { std::cout << change.m_name << '\n'; }
///     };
///
///     Printer printer;
///     SDirectoryChangeWatcher watcher("spool", printer);
///     watcher.start();
///     ...
///     watcher.stop();
///
/// The receiver is told on a thread of the watcher's own after `start`, or on the caller's in `poll`, never with a
/// lock held.
///
/// What it can rely on: whoever takes what was there in the beginning and applies each change in turn has, once
/// the folder rests, the same names of files and folders as the disk. In particular:
///
/// - An entry is told as `Created` once, before anything else about it, and its folder before it. A removed folder
///   is told after everything in it. A name that is taken is told as `Removed` before another entry gets it, also
///   when a file is renamed in place of another. A `Renamed` folder takes along what is in it.
/// - After the last write to a file at least one `Changed` or `Created` is told. How many come for how many
///   writes is not said, and a `Changed` may come after later changes of other entries. Only files are told as
///   changed. Permissions and owners alone are not told.
/// - By the time that it is told the disk may have changed again, and another entry have the name. So whoever keeps
///   something of the content looks at it anew after a `Renamed` as well, of a folder at all files in it.
/// - An entry that came and went before the watcher looked may not be told at all, and one that had several names
///   meanwhile may be told with the last. A rename that the system doesn't tell as one is a `Removed` and a
///   `Created`.
/// - When the system lost events (it keeps a number of them for a receiver that is slow), the watcher looks at
///   everything again and tells the difference. The same makes up for folders that are filled before they can be
///   watched.
/// - The watched folder itself is never told. When it is removed, moved, unmounted or replaced, what was in it is
///   told as `Removed`, and what is in the one that has its path then as `Created`, but for entries that moved from
///   the one to the other; the watcher waits for one.
///
/// It keeps a picture of all entries in memory, some 300 bytes each.
///
/// POSIX: each folder of a tree takes one of the system's watches, and each watcher one of its inotify instances.
/// Where these are used up, or events would not tell everything, as on network folders, it rescans: ask `source`.
/// Writes through a mapping are told when the file is closed. Windows: entries whose names the ANSI code page lacks,
/// and those whose path is longer than 259 bytes, are not seen; the system may tell writes to a file only when it is
/// closed or flushed; what is done in a folder that leaves the tree and is back before the receiver was told of it is
/// not seen.
///
/// All operations may be called on any thread, but `open`, `start` and `poll` not at the same time.
class MORVEX_EXPORT SDirectoryChangeWatcher
{
public:
    /// How changes are found.
    enum Source
    {
        Events = 0,           ///< the system tells them as they happen
        EventsAndRescans = 1, ///< the system doesn't tell all, and a rescan each interval finds the rest
        Rescans = 2           ///< a rescan each interval
    };

    /// Doesn't look at the disk yet. The receiver must outlive the watcher. A path that is not full belongs to the
    /// folder that is the current one now.
    SDirectoryChangeWatcher(const SAnsiString& folder, SDirectoryChangeReceiver& receiver,
                            const SDirectoryWatchOptions& options = {});
    SDirectoryChangeWatcher(const SDirectoryChangeWatcher&) = delete;
    SDirectoryChangeWatcher& operator=(const SDirectoryChangeWatcher&) = delete;

    /// As `stop`. Allowed in a call of the receiver, when it was made by the watcher's own thread.
    ~SDirectoryChangeWatcher();

    /// Begins to watch, and then looks at everything, so that nothing falls in between: what happens after the
    /// return is told. Again it does nothing. Throws `SFileSysException` when the folder is not there or can't be
    /// read; then it can be tried again.
    void open();

    /// Opens it if it is not open, and tells all changes on a thread of its own until `stop`. An exception out
    /// of the receiver is reported as an assertion, and the next change is told. Throws as `open`, and
    /// `std::system_error` when the system makes no thread. Again, or after `stop`, it does nothing.
    void start();

    /// Opens it if it is not open, waits at most this long (milliseconds; negative: no limit) for changes, and tells
    /// those that are there. Returns whether it told any: false when the time was over or `stop` was called, and at
    /// once when it was started. An exception out of the receiver comes through; the changes that it had not
    /// been told yet are told by the next call. Throws as `open`.
    bool poll(long ms);

    /// Ends the watching, for good. Afterwards the receiver is not called any more: where the watcher's own
    /// thread is calling it, `stop` waits for that, unless that very call is where `stop` is called. A `poll` ends
    /// soon; it is not waited for.
    void stop() noexcept;
    bool isStopped() const noexcept;

    /// `Events` until it is open. It may change at any time, as folders come that can't be watched.
    Source source() const noexcept;

    /// How often everything was looked at since `open`, because events were lost, by the interval, or because the
    /// folder was another one.
    unsigned long rescans() const noexcept;

    /// The watched folder's full path.
    const SAnsiString& folder() const noexcept;

private:
    struct State;

    std::shared_ptr<State> m_state;
};

} // namespace MorvexA106
