#pragma once

#include "Queue.h"

namespace Platform {

/// A repeating timer source: first tick at once, then every interval, each on its queue.
///
/// Ticks that fall due while one waits are that one; those that fall due while one runs become one, right after it.
/// After cancel() has returned no tick starts and, unless it was called from the tick itself, none is running.
/// Destruction cancels. The queue must outlive the timer.
class DispatchTimer final {
public:
    DispatchTimer(Queue& queue, std::chrono::milliseconds interval, Block tick);
    ~DispatchTimer();
    DispatchTimer(const DispatchTimer&) = delete;
    DispatchTimer& operator=(const DispatchTimer&) = delete;

    void start();
    void cancel();

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace Platform
