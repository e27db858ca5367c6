#pragma once

#include "Queue.h"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace Platform {

/// Where answers come back to, and for how long: a queue and a life.
///
/// Its owner makes it the last member. What was handed over and has not begun when it goes never runs, and its end
/// waits for what runs on another thread. Any thread may hand over; one that is made for the main queue ends on the
/// main thread.
class Receiver final {
public:
    /// @param queue  outlives this object
    explicit Receiver(Queue& queue = mainQueue()) : m_queue(queue) {}
    ~Receiver() {
        const std::lock_guard lock(m_life->mutex);
        m_life->isOver = true;
    }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// Runs @p call on the queue, later, while this lives.
    template <typename Call>
    void async(Call call) const {
        wrapped(std::move(call))();
    }
    /// What runs @p call with the same values on the queue, whenever and wherever it is called.
    template <typename Call>
    auto wrapped(Call call) const {
        return
            [life = m_life, &queue = m_queue, call = std::make_shared<Call>(std::move(call))](const auto&... values) {
                queue.async([life, call, values...] {
                    const std::lock_guard lock(life->mutex);
                    if (!life->isOver)
                        (*call)(values...);
                });
            };
    }

private:
    struct Life {
        // A call may end its own receiver.
        std::recursive_mutex mutex;
        bool isOver = false;
    };
    Queue& m_queue;
    const std::shared_ptr<Life> m_life = std::make_shared<Life>();
};

/// The way back for one answer: called exactly once by whoever was asked, on any thread.
///
/// Made with a receiver, it continues on the receiver's queue, only while the receiver lives; made from a callable
/// alone, it continues at once where it is called.
template <typename... Values>
class Completion final {
public:
    Completion() = default;
    template <typename Call>
    Completion(const Receiver& receiver, Call call) : m_call(receiver.wrapped(std::move(call))) {}
    template <typename Call>
    requires std::invocable<Call&, const Values&...> Completion(Call call) : m_call(std::move(call)) {}

    void operator()(const Values&... values) const {
        if (m_call)
            m_call(values...);
    }

private:
    std::function<void(const Values&...)> m_call;
};

} // namespace Platform
