// A watched folder in which files are made at a steady rate, beside the bare events of the system.

#include "workbench.h"

#include <morvex/sdirectorychangewatcher.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace MorvexA106;

namespace FilesBench
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int perSecond = 10000;
constexpr int seconds = 5;
constexpr int files = perSecond * seconds;

/// When each file was made, and when that was told.
class Times
{
public:
    void made(int number) { m_made[index(number)] = Clock::now(); }
    void told(const char* name)
    {
        const auto number = index(static_cast<int>(std::strtol(name, nullptr, 10)));
        if (m_told[number] == Clock::time_point()) {
            m_told[number] = Clock::now();
            ++m_count;
        } else {
            ++m_twice;
        }
    }
    int count() const { return m_count; }
    int twice() const { return m_twice; }

    /// Milliseconds that the given part of the files took at most.
    double latency(double part) const
    {
        std::vector<double> all;
        for (std::size_t i = 0; i < m_made.size(); ++i) {
            all.push_back(std::chrono::duration<double, std::milli>(m_told[i] - m_made[i]).count());
        }
        std::ranges::sort(all);
        return all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))];
    }

private:
    static std::size_t index(int number) { return static_cast<std::size_t>(number); }

    std::vector<Clock::time_point> m_made = std::vector<Clock::time_point>(files);
    std::vector<Clock::time_point> m_told = std::vector<Clock::time_point>(files);
    std::atomic<int> m_count{0};
    std::atomic<int> m_twice{0};
};

class Counter : public SDirectoryChangeReceiver
{
public:
    explicit Counter(Times& times) : m_times(times) {}
    void changed(const SDirectoryChange& change) override
    {
        if (change.m_kind == SDirectoryChange::Created) {
            m_times.told(change.m_name.getString());
        }
    }

private:
    Times& m_times;
};

/// Makes the files; returns how many a second.
double makeFiles(const std::string& folder, Times& times)
{
    const Clock::time_point begin = Clock::now();
    for (int number = 0; number < files; ++number) {
        const auto due = begin + std::chrono::nanoseconds(1000000000LL / perSecond) * number;
        if (number % 10 == 0) {
            std::this_thread::sleep_until(due);
        }
        const std::string path = folder + "/" + std::to_string(number);
        times.made(number);
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        require(file >= 0 && ::close(file) == 0, "files can be made");
    }
    return files / std::chrono::duration<double>(Clock::now() - begin).count();
}

void waitForAll(const Times& times)
{
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (times.count() < files && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// What a reader of nothing but events does.
class BareWatch
{
public:
    BareWatch(const std::string& folder, Times& times)
        : m_times(times),
          m_events(::inotify_init1(IN_CLOEXEC)),
          m_thread([this] { work(); })
    {
        require(::inotify_add_watch(m_events, folder.c_str(), IN_CREATE) >= 0, "the folder can be watched");
    }
    ~BareWatch()
    {
        m_stop = true;
        m_thread.join();
        ::close(m_events);
    }
    BareWatch(const BareWatch&) = delete;
    BareWatch& operator=(const BareWatch&) = delete;

private:
    void work()
    {
        std::vector<char> buffer(std::size_t{64} * 1024);
        while (!m_stop) {
            pollfd source{m_events, POLLIN, 0};
            if (::poll(&source, 1, 20) > 0) {
                take(buffer.data(), ::read(m_events, buffer.data(), buffer.size()));
            }
        }
    }
    void take(const char* bytes, ssize_t size)
    {
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, bytes + at, sizeof event);
            at += static_cast<ssize_t>(sizeof event);
            if ((event.mask & IN_CREATE) != 0) {
                m_times.told(bytes + at);
            }
            at += event.len;
        }
    }

    Times& m_times;
    const int m_events;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

std::string wordsFor(const Times& times, double rate)
{
    char words[160];
    std::snprintf(words, sizeof words,
                  "%d of %d told, %.0f made a second; latency median %.2f ms, 99 %% %.2f ms", times.count(),
                  files, rate, times.latency(0.5), times.latency(0.99));
    return words;
}

void makeRows(Workbench& workbench)
{
    const std::string row = "10,000 files a second, watched";
    if (!workbench.wants(row)) {
        return;
    }
    const std::string bareFolder = workbench.folder() + "/bare";
    const std::string folder = workbench.folder() + "/watched";
    std::filesystem::create_directory(bareFolder);
    std::filesystem::create_directory(folder);
    std::string bare;
    {
        Times times;
        const BareWatch watch(bareFolder, times);
        const double rate = makeFiles(bareFolder, times);
        waitForAll(times);
        bare = wordsFor(times, rate);
    }
    Times times;
    Counter counter(times);
    SDirectoryChangeWatcher watcher(folder.c_str(), counter, {.m_tree = true});
    watcher.start();
    const double rate = makeFiles(folder, times);
    waitForAll(times);
    watcher.stop();
    const bool isKept = times.count() == files && times.twice() == 0 && watcher.rescans() == 0;
    workbench.add(row, isKept, wordsFor(times, rate) + ", " + std::to_string(watcher.rescans()) + " rescans");
    std::printf("%40s %s\n", "the system's events alone:", bare.c_str());
    std::filesystem::remove_all(bareFolder);
    std::filesystem::remove_all(folder);
}

const Group group(makeRows);

} // namespace

} // namespace FilesBench
