#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace Platform {

/// The process's borrowed threads: made when work waits and none is free, gone after ten idle seconds.
///
/// No fixed bound that could stall: blocks may wait on each other for seconds. Never destroyed.
class WorkerThreads final {
public:
    static WorkerThreads& shared();

    /// Runs @p block soon on some thread. Any thread. When the system gives no thread it runs once one is free.
    void run(std::function<void()> block);
    /// Threads alive now; for tests and measurements.
    int threadCount() const;

private:
    void work();

    mutable std::mutex m_mutex;
    std::condition_variable m_wanted;
    std::deque<std::function<void()>> m_blocks;
    int m_threads = 0;
    int m_idle = 0;
};

} // namespace Platform
