#include "MainThreadGate.h"

bool MainThreadGate::isClosed() {
    const std::lock_guard lock(m_mutex);
    return m_closed;
}

void MainThreadGate::async(Platform::Block block) {
    // Closed on the main thread only, so a gate that is open here stays open while the block runs.
    Platform::mainQueue().async([self = shared_from_this(), block = std::move(block)] {
        if (!self->isClosed())
            block();
    });
}

bool MainThreadGate::runAndWait(const Platform::Block& block) {
    if (Platform::isMainThread()) {
        if (isClosed())
            return false;
        block();
        return true;
    }
    const auto ran = std::make_shared<bool>(false);
    async([self = shared_from_this(), block, ran] {
        block();
        const std::lock_guard lock(self->m_mutex);
        *ran = true;
        self->m_changed.notify_all();
    });
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return *ran || m_closed; });
    return *ran;
}

void MainThreadGate::close() {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    m_changed.notify_all();
}
