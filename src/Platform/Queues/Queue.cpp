#include "Queue.h"

#include "WorkerThreads.h"

#include <QCoreApplication>
#include <QThread>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace Platform {

struct SerialQueue::State {
    std::mutex mutex;
    std::condition_variable idle;
    std::deque<Block> blocks;
    bool running = false;
    std::thread::id runner;
    quint64 queued = 0;
    quint64 done = 0;

    /// @returns whether nobody runs the blocks yet and the caller has to see to it
    bool add(Block block);
    /// With @p lock held, which it lets go while the block runs.
    void runFirst(std::unique_lock<std::mutex>& lock);
    static void run(const std::shared_ptr<State>& state);
    static void runOne(const std::shared_ptr<State>& state);
};

bool SerialQueue::State::add(Block block) {
    const std::lock_guard lock(mutex);
    blocks.push_back(std::move(block));
    ++queued;
    return !std::exchange(running, true);
}

void SerialQueue::State::runFirst(std::unique_lock<std::mutex>& lock) {
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
}

void SerialQueue::State::run(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    while (!state->blocks.empty())
        state->runFirst(lock);
}

void SerialQueue::State::runOne(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    state->runFirst(lock);
    const bool hasMore = state->running;
    lock.unlock();
    if (hasMore)
        WorkerThreads::shared().run([state] { run(state); });
}

SerialQueue::SerialQueue(QString label) : m_label(std::move(label)), m_state(std::make_shared<State>()) {}

SerialQueue::~SerialQueue() {
    drain();
}

void SerialQueue::async(Block block) {
    const auto state = m_state;
    if (state->add(std::move(block)))
        WorkerThreads::shared().run([state] { State::run(state); });
}

void SerialQueue::asyncOrHere(Block block) {
    const auto state = m_state;
    if (state->add(std::move(block)))
        State::runOne(state);
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

class MainQueue final : public Queue {
public:
    void async(Block block) override {
        if (const QCoreApplication* application = QCoreApplication::instance())
            QMetaObject::invokeMethod(receiver(application->thread()), std::move(block), Qt::QueuedConnection);
    }

private:
    // Never destroyed, unlike the application, which may go while another thread is posting.
    static QObject* receiver(QThread* mainThread) {
        static QObject* const object = [mainThread] {
            auto* made = new QObject;
            made->moveToThread(mainThread);
            return made;
        }();
        return object;
    }
};

class GlobalQueue final : public Queue {
public:
    void async(Block block) override { WorkerThreads::shared().run(std::move(block)); }
};

} // namespace

// Never destroyed: worker threads may still use them while the process ends.
Queue& mainQueue() {
    static auto* queue = new MainQueue;
    return *queue;
}

Queue& globalQueue() {
    static auto* queue = new GlobalQueue;
    return *queue;
}

bool isMainThread() {
    const QCoreApplication* application = QCoreApplication::instance();
    return application && application->thread() == QThread::currentThread();
}

} // namespace Platform
