#pragma once

#include "CheckLog.h"
#include "Completion.h"
#include "Error.h"
#include "NotificationCenter.h"

namespace Platform {
class UserNotifications;
}

/// Runs a script and hands back its result; null with the error set on failure. Any thread, blocking.
using ScriptCall = std::function<QString(const QString& source, Platform::Error* error)>;
/// The platform's script runner.
ScriptCall systemScripts();

/// Offers a restart in a user notification whenever the agent asks for one, and restarts when the person wants it.
/// Main thread; the scripts run in the background and outlive this object.
class RestartOffer final {
public:
    struct World {
        CheckLog log;
        Platform::NotificationCenter& center;
        Platform::UserNotifications& notifications;
        ScriptCall runScript = systemScripts();
    };

    explicit RestartOffer(World world);
    ~RestartOffer();
    RestartOffer(const RestartOffer&) = delete;
    RestartOffer& operator=(const RestartOffer&) = delete;

    void restartComputorWithNotification();
    /// Takes back the offers that this process made and nobody has answered.
    void removeScheduled();

private:
    void restart() const;

    const World m_world;
    Platform::NotificationCenter::Observer m_requests;
    const Platform::Receiver m_main;
};
