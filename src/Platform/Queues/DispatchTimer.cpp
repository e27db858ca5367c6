#include "DispatchTimer.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

namespace Platform {

namespace {

using Clock = std::chrono::steady_clock;

/// Less would keep the timer thread from ever sleeping.
constexpr std::chrono::milliseconds ShortestInterval{1};

/// One borrowed thread that sleeps until the next deadline and is kept only while there is one. Never destroyed.
class TimerThread final {
public:
    static TimerThread& shared() {
        static auto* thread = new TimerThread;
        return *thread;
    }

    /// Calls @p block on the timer thread, once, at @p deadline; it must only hand work over. Any thread.
    void add(Clock::time_point deadline, Block block) {
        const std::lock_guard lock(m_mutex);
        const auto position = m_deadlines.emplace(deadline, std::move(block));
        if (!std::exchange(m_isRunning, true))
            globalQueue().async([this] { work(); });
        else if (position == m_deadlines.begin())
            m_changed.notify_one();
    }

private:
    void work() {
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
        m_isRunning = false;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::multimap<Clock::time_point, Block> m_deadlines;
    bool m_isRunning = false;
};

} // namespace

void after(Queue& queue, std::chrono::milliseconds delay, Block block) {
    TimerThread::shared().add(
        Clock::now() + delay, [&queue, block = std::move(block)]() mutable { queue.async(std::move(block)); });
}

struct DispatchTimer::State : std::enable_shared_from_this<DispatchTimer::State> {
    State(Queue& queueToUse, std::chrono::milliseconds every, Block block)
        : queue(queueToUse), interval(every), tick(std::move(block)) {}

    Queue& queue;
    const std::chrono::milliseconds interval;
    const Block tick;

    std::mutex mutex;
    bool started = false;
    bool cancelled = false;
    /// A tick was handed to the queue and has not begun.
    bool waiting = false;
    // Held while a tick runs, so that cancel() can wait for it; recursive because a tick may cancel its own timer.
    std::recursive_mutex ticking;
    Clock::time_point next;

    void fire();
    void runTick();
};

void DispatchTimer::State::fire() {
    const std::lock_guard lock(mutex);
    if (cancelled)
        return;
    // A machine that slept, or a thread that was late, owes one tick and not all that were missed.
    next += interval;
    if (next < Clock::now())
        next = Clock::now() + interval;
    TimerThread::shared().add(next, [self = shared_from_this()] { self->fire(); });
    // With the mutex held: cancel() takes it, so that nothing reaches for the queue once that has returned.
    if (!std::exchange(waiting, true))
        queue.async([self = shared_from_this()] { self->runTick(); });
}

void DispatchTimer::State::runTick() {
    const std::lock_guard onlyOne(ticking);
    {
        const std::lock_guard lock(mutex);
        if (cancelled)
            return;
        waiting = false;
    }
    tick();
}

DispatchTimer::DispatchTimer(Queue& queue, std::chrono::milliseconds interval, Block tick)
    : m_state(std::make_shared<State>(queue, std::max(interval, ShortestInterval), std::move(tick))) {}

DispatchTimer::~DispatchTimer() {
    cancel();
}

void DispatchTimer::start() {
    {
        const std::lock_guard lock(m_state->mutex);
        if (m_state->started)
            return;
        m_state->started = true;
        m_state->next = Clock::now();
    }
    m_state->fire();
}

void DispatchTimer::cancel() {
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->cancelled = true;
    }
    const std::lock_guard noneRunning(m_state->ticking);
}

} // namespace Platform
