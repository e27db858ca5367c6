#pragma once

#include "Error.h"

#include <QJsonObject>

#include <chrono>
#include <functional>
#include <memory>

class AgentAccessLink;
class QenCloudLoginHelper;
class QenLogHelper;

/// What happens between the menu's Quit and the end of the process: the VPN component is stopped when it runs.
class QuitSequence final : public std::enable_shared_from_this<QuitSequence> {
public:
    struct World {
        QenCloudLoginHelper& login;
        QenLogHelper& log;
        /// May be null: then a running component cannot be stopped.
        AgentAccessLink* agent;
        QString vpnExecutable;
        /// After which the client quits whatever the agent does.
        std::chrono::milliseconds limit{20000};
    };

    /// Starts in the background. @param terminate  called once, on the main queue, whatever happened
    static void start(World world, std::function<void()> terminate);

private:
    QuitSequence(World world, std::function<void()> terminate);
    void stopVpnComponent();
    void requestStop();
    void judgeStop(const QJsonObject& answer);
    void finish();

    const World m_world;
    std::function<void()> m_terminate;
};
