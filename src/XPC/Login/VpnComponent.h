#pragma once

#include "Error.h"
#include "LoginLinks.h"

#include <QJsonObject>
#include <QString>

#include <functional>

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
        /// May be null: then a running component cannot be stopped.
        AgentAccessLink* agent = nullptr;
    };

    explicit VpnComponent(World world) : m_world(std::move(world)) {}

    /// The lines of the process list that name it; null when it does not run.
    QString processes() const;
    /// The process identifiers of its running copies, one a line; null when it does not run or the list cannot be read.
    QString processIds(Platform::Error* error) const;

    /// Has the agent stop it, as one unit that nobody else's stop can void.
    /// @param done  called once, on any thread; without an agent as one that refuses
    void stop(const std::function<void(const AgentStop&)>& done) const;

private:
    QString search(const QString& filter, Platform::Error* error) const;

    const World m_world;
};
