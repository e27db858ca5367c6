#include "DispatchTimer.h"

#include "TimerThread.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace Platform {

namespace {
/// Less would keep the timer thread from ever sleeping.
constexpr std::chrono::milliseconds ShortestInterval{1};
} // namespace

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
    bool running = false;
    /// A tick fell due while one was running.
    bool missed = false;
    // Held while a tick runs, so that cancel() can wait for it; recursive because a tick may cancel its own timer.
    std::recursive_mutex ticking;
    TimerThread::Clock::time_point next;

    void fire();
    void runTick();
    void schedule();
    void handOver();
};

void DispatchTimer::State::schedule() {
    next += interval;
    const auto now = TimerThread::Clock::now();
    // A machine that slept, or a thread that was late, owes one tick and not all that were missed.
    if (next < now)
        next = now + interval;
    TimerThread::shared().add(next - now, [self = shared_from_this()] { self->fire(); });
}

void DispatchTimer::State::fire() {
    const std::lock_guard lock(mutex);
    if (cancelled)
        return;
    schedule();
    if (running)
        missed = true;
    else if (!waiting)
        handOver();
}

// With the mutex held: cancel() takes it, so that nothing reaches for the queue once that has returned.
void DispatchTimer::State::handOver() {
    waiting = true;
    queue.async([self = shared_from_this()] { self->runTick(); });
}

void DispatchTimer::State::runTick() {
    const std::lock_guard onlyOne(ticking);
    {
        const std::lock_guard lock(mutex);
        if (cancelled)
            return;
        waiting = false;
        running = true;
    }
    tick();
    const std::lock_guard lock(mutex);
    running = false;
    if (std::exchange(missed, false) && !cancelled)
        handOver();
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
        m_state->next = TimerThread::Clock::now();
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
