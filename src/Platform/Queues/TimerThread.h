#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>

namespace Platform {

/// One thread that sleeps until the next deadline and exists only while there is one. Never destroyed.
class TimerThread final {
public:
    using Clock = std::chrono::steady_clock;

    static TimerThread& shared();

    /// Calls @p block on the timer thread, once, after @p delay; it must only hand work over. Any thread.
    void add(std::chrono::nanoseconds delay, std::function<void()> block);

private:
    void work();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::multimap<Clock::time_point, std::function<void()>> m_deadlines;
    bool m_running = false;
};

} // namespace Platform
