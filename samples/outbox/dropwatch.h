#pragma once

#include <morvex/sdirectorychangewatcher.h>
#include <morvex/sstring.h>

#include <memory>
#include <mutex>

namespace Outbox
{

/// Waits for files in the drop folder, so that nobody has to look while there are none. It only says when to look:
/// whether a file is complete is not for it to tell, since a file that was renamed in, or closed by its writer, may
/// still be open in another one's hands.
class DropWatch
{
public:
    /// From here on nothing is missed. Where the folder can't be watched, `isReliable` is false.
    void open(const MorvexA106::SAnsiString& folder);

    /// Whether the system tells each file as it comes. Otherwise the folder has to be looked at.
    bool isReliable() const;

    /// Waits at most this long (milliseconds) until there is something to look at: a file that came or was
    /// changed, or one of the folders that isn't what it was. True when there is; false when the time is over
    /// or `stop` was called.
    bool waitForFile(long milliseconds);

    /// Ends the waiting, for good. On any thread, also before `open`.
    void stop();

private:
    class Receiver : public MorvexA106::SDirectoryChangeReceiver
    {
    public:
        void changed(const MorvexA106::SDirectoryChange& change) override;

        bool hasWork = false;
    };

    Receiver m_receiver;
    std::mutex m_mutex; ///< guards the making of the watcher, and what follows
    std::unique_ptr<MorvexA106::SDirectoryChangeWatcher> m_watcher;
    bool m_stopped = false;
};

} // namespace Outbox
