#pragma once

#include "LoginLinks.h"

class TaskHelper;

/// The VPN component inside the bundle: whether it runs, and its end through the agent.
///
/// Any thread. The look-ups run a command and block for up to seven seconds; not on the main thread.
class VpnComponent final {
public:
    struct World {
        const TaskHelper& tasks;
        /// By whose path the component's process is found.
        QString executable;
        /// Asks the agent for access and for the stop. Absent: a running component cannot be stopped.
        std::function<void(AgentStopped done)> accessAndStop = {};
    };

    explicit VpnComponent(World world) : m_world(std::move(world)) {}

    /// The lines of the process list that name it; null when it does not run.
    QString processes() const { return search({}, nullptr); }
    /// The process identifiers of its running copies, one a line; null when it does not run or the list cannot be read.
    QString processIds(Platform::Error* error) const { return search(u" | awk '{print $2}'"_s, error); }

    /// Has the agent stop it, as one unit that nobody else's stop can void.
    /// @param done  called once, on any thread; without an agent as one that refuses
    void stop(const AgentStopped& done) const;

private:
    QString search(const QString& filter, Platform::Error* error) const;

    const World m_world;
};
