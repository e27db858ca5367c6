#pragma once

#include <chrono>
#include <functional>

class QenCloudLoginHelper;
class QenLogHelper;
class VpnComponent;

/// What happens between the menu's Quit and the end of the process: the VPN component is stopped when it runs. Returns
/// at once; the three outlive it.
/// @param terminate  called once, on any thread, whatever happened
/// @param limit  after which the client quits whatever the agent does
void runQuitSequence(QenCloudLoginHelper& login, QenLogHelper& log, VpnComponent& vpn, std::function<void()> terminate,
    std::chrono::milliseconds limit = std::chrono::seconds(20));
