#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// A counting semaphore that the thread sanitizer can see through, unlike the one inside the prebuilt library.
class Tally final {
public:
    void release(int count = 1) {
        const std::lock_guard lock(m_mutex);
        m_count += count;
        m_changed.notify_all();
    }
    bool tryAcquire(int count, int milliseconds) {
        std::unique_lock lock(m_mutex);
        const auto enough = [&] { return m_count >= count; };
        if (!m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds), enough))
            return false;
        m_count -= count;
        return true;
    }
    void acquire() { tryAcquire(1, 30000); }
    int available() {
        const std::lock_guard lock(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};
