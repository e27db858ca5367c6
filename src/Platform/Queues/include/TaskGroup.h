#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

namespace Platform {

/// Counts work under way, so that its owner can wait for the end of it all before it goes.
///
/// Each piece of work holds a token for as long as it, or what it handed on, may still touch the owner. Any thread.
class TaskGroup final {
public:
    using Token = std::shared_ptr<void>;

    /// Waits.
    ~TaskGroup() { wait(); }

    [[nodiscard]] Token token() {
        const std::lock_guard lock(m_state->mutex);
        ++m_state->count;
        return Token(m_state.get(), [state = m_state](void*) {
            const std::lock_guard end(state->mutex);
            if (--state->count == 0)
                state->idle.notify_all();
        });
    }
    /// Until no token is left. Not from work that holds one.
    void wait() {
        std::unique_lock lock(m_state->mutex);
        m_state->idle.wait(lock, [this] { return m_state->count == 0; });
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable idle;
        int count = 0;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace Platform
