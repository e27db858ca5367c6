#include "TimerThread.h"

#include "WorkerThreads.h"

namespace Platform {

TimerThread& TimerThread::shared() {
    static auto* thread = new TimerThread;
    return *thread;
}

void TimerThread::add(std::chrono::nanoseconds delay, std::function<void()> block) {
    const std::lock_guard lock(m_mutex);
    const auto position = m_deadlines.emplace(Clock::now() + delay, std::move(block));
    if (!m_running) {
        m_running = startThread([this] { work(); });
    } else if (position == m_deadlines.begin()) {
        m_changed.notify_one();
    }
}

void TimerThread::work() {
    std::unique_lock lock(m_mutex);
    while (!m_deadlines.empty()) {
        const Clock::time_point next = m_deadlines.begin()->first;
        if (Clock::now() < next) {
            m_changed.wait_until(lock, next);
            continue;
        }
        auto node = m_deadlines.extract(m_deadlines.begin());
        lock.unlock();
        node.mapped()();
        node = {};
        lock.lock();
    }
    m_running = false;
}

} // namespace Platform
