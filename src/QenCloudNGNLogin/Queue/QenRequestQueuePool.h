#pragma once

#include "Queue.h"

/// The serial queues that requests are started from: ten with the login label, handed out in turn.
///
/// They are background queues, and a background queue costs nothing while it is idle. Their blocks only hand a request
/// to the network thread, which takes microseconds, so no thread is given a lower priority for them.
class QenRequestQueuePool final {
public:
    static constexpr int QueueCount = 10;

    QenRequestQueuePool();
    /// The next queue of the round; it lives as long as the pool. Any thread.
    Platform::SerialQueue& queue();

private:
    Platform::QueuePool m_pool;
};
