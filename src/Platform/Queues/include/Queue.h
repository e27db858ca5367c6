#pragma once

#include <QString>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace Platform {

using Block = std::function<void()>;

/// Something that runs blocks later, on a thread of its own choice.
class Queue {
public:
    virtual ~Queue() = default;
    /// Hands @p block over and returns at once. Any thread.
    virtual void async(Block block) = 0;
};

/// Runs its blocks one after the other in the order of async(), on a borrowed thread that it holds only while there is
/// work.
///
/// Destruction waits for the blocks handed over so far; a queue must not be destroyed from one of its own blocks.
class SerialQueue final : public Queue {
public:
    explicit SerialQueue(QString label);
    ~SerialQueue() override;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(Block block) override;
    /// As async(), but at once on the calling thread while the queue has nothing to do, so that no thread is woken:
    /// for blocks that take microseconds. What others hand over meanwhile runs on a borrowed thread.
    void asyncOrHere(Block block);
    /// Waits until every block handed over before this call has run. Must not be called from one of its own blocks.
    void drain();
    /// True on the thread that is running one of this queue's blocks.
    bool isCurrent() const;
    const QString& label() const { return m_label; }

private:
    struct State;
    QString m_label;
    std::shared_ptr<State> m_state;
};

/// A fixed number of serial queues, handed out in turn.
class QueuePool final {
public:
    QueuePool(const QString& label, int count);
    /// The next queue of the round. Any thread.
    SerialQueue& queue();

private:
    std::vector<std::unique_ptr<SerialQueue>> m_queues;
    std::atomic<unsigned> m_next{0};
};

/// The main thread's event loop; blocks run in order when it is idle. Blocks posted without an application are dropped.
Queue& mainQueue();
/// Concurrent background work of ordinary priority. Blocks may block for seconds; the number of threads grows with
/// need.
Queue& globalQueue();
/// Runs @p block on @p queue once @p delay has passed. Survives neither process nor @p queue, which must outlive it.
void after(Queue& queue, std::chrono::milliseconds delay, Block block);
bool isMainThread();

} // namespace Platform
