#pragma once

#include "VpnComponent.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

class QenCloudLoginHelper;
class QenLogHelper;

/// What happens between the menu's Quit and the end of the process: the VPN component is stopped when it runs.
class QuitSequence final : public std::enable_shared_from_this<QuitSequence> {
public:
    struct World {
        QenCloudLoginHelper& login;
        QenLogHelper& log;
        VpnComponent& vpn;
        /// After which the client quits whatever the agent does.
        std::chrono::milliseconds limit{20000};
    };

    /// Starts in the background. @param terminate  called once, on any thread, whatever happened
    static void start(const World& world, std::function<void()> terminate);

private:
    QuitSequence(const World& world, std::function<void()> terminate);
    void stopVpnComponent();
    void judgeStop(const AgentStop& stop);
    void finish();

    const World m_world;
    std::mutex m_mutex;
    std::function<void()> m_terminate;
};
