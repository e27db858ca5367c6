#pragma once

#include "DispatchTimer.h"

#include <QString>

#include <functional>

class QenLogHelper;

/// Watches over what a signed-in user depends on: every tick it has the network chosen anew, sets the ticket service up
/// again when that was restarted, and has the VPN component loaded again when its process is gone.
///
/// Parked until startListening(). Ticks run one after the other on a queue of its own, since they wait for the service;
/// a slow process check may overlap the next tick.
class QenCloudClientProcessListener final {
public:
    /// What the ticks ask and do; each may be called on any thread.
    struct World {
        std::function<void()> getNetworkType;
        std::function<bool()> iflogin;
        std::function<bool()> isCheckAndShow;
        std::function<bool()> checkXPCServiceIsReInital;
        std::function<void()> existZelVPN;
        std::function<void()> runTicketXPC;
        std::function<void()> reloadZelVPN;
    };

    QenCloudClientProcessListener(World world, QenLogHelper& log, QString vpnExecutable,
        std::chrono::milliseconds interval = std::chrono::seconds(15));
    static QenCloudClientProcessListener& sharedInstance();

    /// The first tick comes at once.
    void startListening();
    /// One tick.
    void checkNgnServerAndLoad();

private:
    void checkVpnProcess();

    const World m_world;
    QenLogHelper& m_log;
    const QString m_vpnExecutable;
    Platform::SerialQueue m_checkQueue;
    Platform::SerialQueue m_tickQueue;
    // Last, so that it ends before the queues that its ticks use.
    Platform::DispatchTimer m_timer;
};
