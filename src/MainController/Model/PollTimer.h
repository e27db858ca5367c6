#pragma once

#include "Queue.h"

#include <atomic>
#include <chrono>
#include <memory>

/// A repeating timer that a view may drop at any moment: its end never waits for a tick that runs.
///
/// First tick at once, then every interval, on @p queue. A tick may outlive the timer, so it must own all that it uses.
class PollTimer final {
public:
    PollTimer(std::shared_ptr<Platform::SerialQueue> queue, std::chrono::milliseconds interval, Platform::Block tick);
    /// No tick starts any more.
    ~PollTimer();
    PollTimer(const PollTimer&) = delete;
    PollTimer& operator=(const PollTimer&) = delete;

    /// Lets go of a queue without waiting for what it still runs.
    static void retire(std::shared_ptr<Platform::SerialQueue> queue);

private:
    struct Armed;
    std::shared_ptr<std::atomic<bool>> m_isOn;
    std::shared_ptr<Armed> m_armed;
};
