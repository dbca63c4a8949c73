#pragma once

#include <condition_variable>
#include <mutex>

namespace MorvexA106
{

/// As std::latch, which loses a wake-up now and then where the C++ library has no futex (MinGW), and then waits for
/// ever.
class Latch
{
public:
    explicit Latch(int count) : m_count(count) {}

    void count_down()
    {
        const std::lock_guard lock(m_mutex);
        if (--m_count == 0) {
            m_open.notify_all();
        }
    }

    void wait()
    {
        std::unique_lock lock(m_mutex);
        m_open.wait(lock, [this] { return m_count == 0; });
    }

    void arrive_and_wait()
    {
        count_down();
        wait();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_open;
    int m_count;
};

} // namespace MorvexA106
