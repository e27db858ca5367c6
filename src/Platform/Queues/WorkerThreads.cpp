#include "WorkerThreads.h"

#include <system_error>
#include <thread>

namespace Platform {

namespace {

constexpr std::chrono::seconds IdleLife{10};

/// False when the system has no thread to give, which is not for ever.
bool startThread(std::function<void()> body) {
    try {
        std::thread(std::move(body)).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

} // namespace

WorkerThreads& WorkerThreads::shared() {
    static auto* threads = new WorkerThreads;
    return *threads;
}

void WorkerThreads::run(std::function<void()> block) {
    std::unique_lock lock(m_mutex);
    m_blocks.push_back(std::move(block));
    if (m_idle >= static_cast<int>(m_blocks.size())) {
        // Whoever wakes would sleep again at once for the lock.
        lock.unlock();
        m_wanted.notify_one();
        return;
    }
    if (startThread([this] { work(); }))
        ++m_threads;
}

int WorkerThreads::threadCount() const {
    const std::lock_guard lock(m_mutex);
    return m_threads;
}

void WorkerThreads::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (m_blocks.empty()) {
            ++m_idle;
            const bool hasWork = m_wanted.wait_for(lock, IdleLife, [this] { return !m_blocks.empty(); });
            --m_idle;
            if (!hasWork)
                break;
        }
        {
            std::function<void()> block = std::move(m_blocks.front());
            m_blocks.pop_front();
            lock.unlock();
            block();
        }
        lock.lock();
    }
    --m_threads;
}

} // namespace Platform
