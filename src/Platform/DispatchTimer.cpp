#include "DispatchTimer.h"

#include "TimerThread.h"

#include <mutex>
#include <thread>

namespace Platform {

struct DispatchTimer::State : std::enable_shared_from_this<DispatchTimer::State> {
    State(Queue& queueToUse, std::chrono::milliseconds every, Block block)
        : queue(queueToUse), interval(every), tick(std::move(block)) {}

    Queue& queue;
    const std::chrono::milliseconds interval;
    const Block tick;

    std::mutex mutex;
    bool started = false;
    bool cancelled = false;
    bool tickPending = false;
    // Held while a tick runs, so that cancel() can wait for it; recursive because a tick may cancel its own timer.
    std::recursive_mutex ticking;
    TimerThread::Clock::time_point next;

    void fire();
    void runTick();
    void schedule();
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
    if (tickPending)
        return;
    tickPending = true;
    queue.async([self = shared_from_this()] { self->runTick(); });
}

void DispatchTimer::State::runTick() {
    const std::lock_guard running(ticking);
    {
        const std::lock_guard lock(mutex);
        if (cancelled)
            return;
    }
    tick();
    const std::lock_guard lock(mutex);
    tickPending = false;
}

DispatchTimer::DispatchTimer(Queue& queue, std::chrono::milliseconds interval, Block tick)
    : m_state(std::make_shared<State>(queue, interval, std::move(tick))) {}

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
    const std::lock_guard running(m_state->ticking);
}

} // namespace Platform
