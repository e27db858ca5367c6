#include "Queue.h"

#include <QCoreApplication>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace Platform {

namespace {

constexpr std::chrono::seconds IdleLife{10};

/// The process's borrowed threads: made when work waits and none is free, gone after ten idle seconds.
///
/// No fixed bound that could stall: blocks may wait on each other for seconds. Never destroyed.
class WorkerThreads final : public Queue {
public:
    /// When the system gives no thread the block runs once one is free.
    void async(Block block) override;

private:
    void work();

    std::mutex m_mutex;
    std::condition_variable m_wanted;
    std::deque<Block> m_blocks;
    int m_idle = 0;
};

void WorkerThreads::async(Block block) {
    std::unique_lock lock(m_mutex);
    m_blocks.push_back(std::move(block));
    if (m_idle >= static_cast<int>(m_blocks.size())) {
        // Whoever wakes would sleep again at once for the lock.
        lock.unlock();
        m_wanted.notify_one();
        return;
    }
    try {
        std::thread([this] { work(); }).detach();
    } catch (const std::system_error&) {
        // None to be had, which is not for ever.
    }
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
            Block block = std::move(m_blocks.front());
            m_blocks.pop_front();
            lock.unlock();
            block();
        }
        lock.lock();
    }
}

} // namespace

struct SerialQueue::State : std::enable_shared_from_this<SerialQueue::State> {
    std::mutex mutex;
    std::condition_variable idle;
    std::deque<Block> blocks;
    bool running = false;
    std::thread::id runner;
    quint64 queued = 0;
    quint64 done = 0;

    /// @returns whether nobody runs the blocks yet and the caller has to see to it
    bool add(Block block);
    /// Runs all that waits, or @p isOnlyFirst and the others on a borrowed thread.
    void run(bool isOnlyFirst);
};

bool SerialQueue::State::add(Block block) {
    const std::lock_guard lock(mutex);
    blocks.push_back(std::move(block));
    ++queued;
    return !std::exchange(running, true);
}

void SerialQueue::State::run(bool isOnlyFirst) {
    std::unique_lock lock(mutex);
    do {
        runner = std::this_thread::get_id();
        {
            Block block = std::move(blocks.front());
            blocks.pop_front();
            lock.unlock();
            block();
            // The block dies before it counts as done: what it captured may be waiting for that.
        }
        lock.lock();
        runner = {};
        running = !blocks.empty();
        ++done;
        idle.notify_all();
    } while (running && !isOnlyFirst);
    if (running)
        globalQueue().async([self = shared_from_this()] { self->run(false); });
}

SerialQueue::SerialQueue(QString label) : m_label(std::move(label)), m_state(std::make_shared<State>()) {}

SerialQueue::~SerialQueue() {
    drain();
}

void SerialQueue::async(Block block) {
    const auto state = m_state;
    if (state->add(std::move(block)))
        globalQueue().async([state] { state->run(false); });
}

void SerialQueue::asyncOrHere(Block block) {
    const auto state = m_state;
    if (state->add(std::move(block)))
        state->run(true);
}

void SerialQueue::drain() {
    std::unique_lock lock(m_state->mutex);
    const quint64 target = m_state->queued;
    m_state->idle.wait(lock, [&] { return m_state->done >= target; });
}

bool SerialQueue::isCurrent() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->runner == std::this_thread::get_id();
}

QueuePool::QueuePool(const QString& label, int count) {
    Q_ASSERT(count > 0);
    m_queues.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        m_queues.push_back(std::make_unique<SerialQueue>(label));
}

SerialQueue& QueuePool::queue() {
    return *m_queues[m_next.fetch_add(1, std::memory_order_relaxed) % m_queues.size()];
}

namespace {

/// Runs on the main thread what other threads post. One event for each block, which keeps the block's place among the
/// other events; the block itself waits behind a lock of our own, for the event queue's is not seen by the thread
/// sanitizer.
class MainThreadBlocks final : public QObject {
public:
    explicit MainThreadBlocks(QThread* mainThread) { moveToThread(mainThread); }

    void post(Block block) {
        {
            const std::lock_guard lock(m_mutex);
            m_blocks.push_back(std::move(block));
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

protected:
    void customEvent(QEvent*) override {
        Block block;
        {
            const std::lock_guard lock(m_mutex);
            block = std::move(m_blocks.front());
            m_blocks.pop_front();
        }
        block();
    }

private:
    std::mutex m_mutex;
    std::deque<Block> m_blocks;
};

class MainQueue final : public Queue {
public:
    void async(Block block) override {
        const QCoreApplication* application = QCoreApplication::instance();
        if (!application)
            return;
        // Never destroyed, unlike the application, which may go while another thread is posting.
        static auto* const blocks = new MainThreadBlocks(application->thread());
        blocks->post(std::move(block));
    }
};

} // namespace

// Never destroyed: worker threads may still use them while the process ends.
Queue& mainQueue() {
    static auto* queue = new MainQueue;
    return *queue;
}

Queue& globalQueue() {
    static auto* queue = new WorkerThreads;
    return *queue;
}

bool isMainThread() {
    const QCoreApplication* application = QCoreApplication::instance();
    return application && application->thread() == QThread::currentThread();
}

} // namespace Platform
