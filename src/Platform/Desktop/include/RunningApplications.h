#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

namespace Platform {

/// Sees to it that one copy of the application runs, and lets the others bring it forward.
///
/// The copy that runs owns the bundle identifier as its name on the session bus and answers org.freedesktop.Application
/// there. Without a session bus it holds a lock in the runtime folder and listens on a socket beside it. Of copies that
/// start at the same moment exactly one is the first; an activation that comes before a handler is set waits for it.
/// Main thread.
class RunningApplications final {
public:
    enum class Claim {
        /// This copy runs on.
        First,
        /// Another one runs and has been told to come forward: end with status 1.
        Second
    };

    struct Place {
        QString identifier;
        /// Empty for the user's session bus.
        QString busAddress;
        /// Made when missing; 0700.
        QString runtimeFolder;
        /// Longest wait for one answer of the bus or the other copy.
        std::chrono::milliseconds limit{2000};
    };

    explicit RunningApplications(Place place);
    /// Gives name or lock back.
    ~RunningApplications();
    RunningApplications(const RunningApplications&) = delete;
    RunningApplications& operator=(const RunningApplications&) = delete;

    /// Once, after the application object has been made. A copy that hangs costs at most the limit and counts as
    /// running. Where neither bus nor lock can be had, this copy counts as first: better two copies than none.
    Claim claim();
    /// @p activated is called from the event loop whenever another copy or the desktop asks this one to come forward;
    /// activations that waited for it are one call.
    void setActivationHandler(std::function<void()> activated);

private:
    class Inbox;
    class Bus;
    const Place m_place;
    std::unique_ptr<Inbox> m_inbox;
    std::unique_ptr<Bus> m_bus;
    std::unique_ptr<class InstanceLock> m_lock;
};

} // namespace Platform
