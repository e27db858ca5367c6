#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

namespace Platform {

class BusConnection;

/// Sees to it that one copy of the application runs, and lets the others bring it forward.
///
/// The copy that runs holds a lock in a folder of the user's home, one for each computer, and listens on a socket
/// beside it, so that copies on two session buses are two, too. Where there is a session bus it also owns the bundle
/// identifier there and answers org.freedesktop.Application. Of copies that start at the same moment exactly one is the
/// first; an activation that comes before a handler is set waits for it. Main thread.
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
        /// Of the lock. Made when missing; 0700.
        QString folder;
        /// Longest wait for another copy.
        std::chrono::milliseconds limit{2000};
    };

    /// @param bus  outlives this object
    RunningApplications(Place place, BusConnection& bus);
    /// Gives name and lock back.
    ~RunningApplications();
    RunningApplications(const RunningApplications&) = delete;
    RunningApplications& operator=(const RunningApplications&) = delete;

    /// Once; needs no application object. A copy or a bus that hangs costs at most the limit; such a copy counts as
    /// running. Where neither bus nor lock can be had, this copy counts as first: better two copies than none.
    Claim claim();
    /// @p activated is called from the event loop whenever another copy or the desktop asks this one to come forward;
    /// activations that waited for it are one call. Needs the application object.
    void setActivationHandler(std::function<void()> activated);

private:
    class Inbox;
    class Name;
    const Place m_place;
    BusConnection& m_bus;
    std::unique_ptr<Inbox> m_inbox;
    std::unique_ptr<class InstanceLock> m_lock;
    std::unique_ptr<Name> m_name;
};

} // namespace Platform
