#pragma once

#include "Queue.h"
#include "TaskGroup.h"

#include <atomic>
#include <chrono>
#include <memory>

/// A repeating timer that a view may drop at any moment: its end never waits for a tick that runs.
///
/// First tick at once, then every interval, on @p queue. A tick may outlive the timer, so it must own all that it uses;
/// the queue's work group outlives it.
class PollTimer final {
public:
    /// A queue for timers; whoever lets go of it last does not wait for what it still runs.
    static std::shared_ptr<Platform::SerialQueue> makeQueue(const QString& label, Platform::TaskGroup& work);

    PollTimer(std::shared_ptr<Platform::SerialQueue> queue, std::chrono::milliseconds interval, Platform::Block tick);
    /// No tick starts any more.
    ~PollTimer();
    PollTimer(const PollTimer&) = delete;
    PollTimer& operator=(const PollTimer&) = delete;

private:
    struct Armed;
    std::shared_ptr<std::atomic<bool>> m_isOn;
    std::shared_ptr<Armed> m_armed;
};
