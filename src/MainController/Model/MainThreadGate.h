#pragma once

#include "Queue.h"

#include <condition_variable>
#include <memory>
#include <mutex>

/// Lets other threads run blocks on the main thread for a view, and wait for them, without ever outliving it.
///
/// The view closes the gate when it goes; blocks that have not begun by then never run and whoever waits goes on.
class MainThreadGate final : public std::enable_shared_from_this<MainThreadGate> {
public:
    static std::shared_ptr<MainThreadGate> make() { return std::make_shared<MainThreadGate>(); }

    /// Any thread; returns at once.
    void async(Platform::Block block);
    /// Any thread; on the main thread the block runs at once. @returns false when the gate closed before it ran
    bool runAndWait(const Platform::Block& block);
    /// Main thread.
    void close();
    /// Any thread; what it says stays true on the main thread only.
    bool isClosed();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_closed = false;
};
