#include "PollTimer.h"

#include "DispatchTimer.h"

struct PollTimer::Armed {
    // The timer goes before its queue.
    std::shared_ptr<Platform::SerialQueue> queue;
    Platform::DispatchTimer timer;
};

std::shared_ptr<Platform::SerialQueue> PollTimer::makeQueue(const QString& label, Platform::TaskGroup& work) {
    const auto retire = [busy = work.token()](Platform::SerialQueue* queue) {
        Platform::globalQueue().async([busy, queue] { delete queue; });
    };
    return {new Platform::SerialQueue(label), retire};
}

PollTimer::PollTimer(
    std::shared_ptr<Platform::SerialQueue> queue, std::chrono::milliseconds interval, Platform::Block tick)
    : m_isOn(std::make_shared<std::atomic<bool>>(true)) {
    Platform::SerialQueue& ticksOn = *queue;
    const auto tickWhileOn = [isOn = m_isOn, tick = std::move(tick)] {
        if (*isOn)
            tick();
    };
    m_armed = std::shared_ptr<Armed>(new Armed{std::move(queue), {ticksOn, interval, tickWhileOn}});
    m_armed->timer.start();
}

PollTimer::~PollTimer() {
    *m_isOn = false;
    // The timer's own end waits for a tick that runs; that is not for the thread of the views.
    Platform::globalQueue().async([armed = std::move(m_armed)]() mutable { armed.reset(); });
}
