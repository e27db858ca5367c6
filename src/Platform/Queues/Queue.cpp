#include "Queue.h"

#include "TimerThread.h"
#include "WorkerThreads.h"

#include <QCoreApplication>
#include <QThread>

#include <condition_variable>
#include <deque>
#include <mutex>

namespace Platform {

struct SerialQueue::State {
    std::mutex mutex;
    std::condition_variable idle;
    std::deque<Block> blocks;
    bool running = false;
    std::thread::id runner;
    quint64 queued = 0;
    quint64 done = 0;

    static void run(const std::shared_ptr<State>& state);
};

void SerialQueue::State::run(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    state->runner = std::this_thread::get_id();
    while (!state->blocks.empty()) {
        {
            Block block = std::move(state->blocks.front());
            state->blocks.pop_front();
            lock.unlock();
            block();
            // The block dies before it counts as done: what it captured may be waiting for that.
        }
        lock.lock();
        ++state->done;
        state->idle.notify_all();
    }
    state->runner = {};
    state->running = false;
    state->idle.notify_all();
}

SerialQueue::SerialQueue(QString label) : m_label(std::move(label)), m_state(std::make_shared<State>()) {}

SerialQueue::~SerialQueue() {
    drain();
}

void SerialQueue::async(Block block) {
    const std::lock_guard lock(m_state->mutex);
    m_state->blocks.push_back(std::move(block));
    ++m_state->queued;
    if (m_state->running)
        return;
    m_state->running = true;
    WorkerThreads::shared().run([state = m_state] { State::run(state); });
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

void after(Queue& queue, std::chrono::milliseconds delay, Block block) {
    TimerThread::shared().add(delay, [&queue, block = std::move(block)]() mutable { queue.async(std::move(block)); });
}

bool isMainThread() {
    const QCoreApplication* application = QCoreApplication::instance();
    return application && application->thread() == QThread::currentThread();
}

} // namespace Platform
