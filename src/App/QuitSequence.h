#pragma once

#include <chrono>
#include <functional>

class QenCloudLoginHelper;
class QenLogHelper;
class VpnComponent;

/// All of it outlives the sequence.
struct QuitWorld {
    QenCloudLoginHelper& login;
    QenLogHelper& log;
    VpnComponent& vpn;
    /// After which the client quits whatever the agent does.
    std::chrono::milliseconds limit{20000};
};

/// What happens between the menu's Quit and the end of the process: the VPN component is stopped when it runs. Returns
/// at once.
/// @param terminate  called once, on any thread, whatever happened
void runQuitSequence(const QuitWorld& world, std::function<void()> terminate);
