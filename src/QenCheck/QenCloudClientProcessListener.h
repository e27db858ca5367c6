#pragma once

#include "DispatchTimer.h"
#include "Error.h"
#include "Shared.h"

#include <QString>

#include <functional>

class QenLogHelper;

/// Watches over what a signed-in user depends on, and starts nothing for one who has signed out meanwhile: every tick
/// it has the network chosen anew, sets the ticket service up again when that was restarted, and has the VPN component
/// loaded again when its process is gone.
///
/// Parked until startListening(). Ticks run one after the other on a queue of its own, since they wait for the service;
/// a slow process check may overlap the next tick.
class QenCloudClientProcessListener final {
public:
    /// What the ticks ask and do; each may be called on any thread.
    struct World {
        std::function<void()> getNetworkType;
        /// The number of the sign-in of whoever is signed in; 0 for nobody.
        std::function<quint64()> signIn;
        std::function<bool()> isCheckAndShow;
        std::function<bool()> checkXPCServiceIsReInital;
        /// The ticket service has refused its last start, or did not answer it.
        std::function<bool()> isTicketServiceRefusing;
        /// Waits for the end of the stop.
        std::function<void()> existZelVPN;
        std::function<void()> runTicketXPC;
        std::function<void()> reloadZelVPN;
        /// Identifiers of the VPN component's processes; null when it does not run.
        std::function<QString(Platform::Error* error)> vpnProcessIds;
    };

    QenCloudClientProcessListener(
        World world, QenLogHelper& log, std::chrono::milliseconds interval = std::chrono::seconds(15));
    static QenCloudClientProcessListener& sharedInstance() {
        return Platform::Shared<QenCloudClientProcessListener>::instance();
    }

    /// The first tick comes at once.
    void startListening();
    /// A tick.
    void timerHandle() { checkNgnServerAndLoad(); }
    void checkNgnServerAndLoad();

private:
    void createClientCheckTimer(std::chrono::milliseconds interval);
    void setUpTicketService(quint64 who);
    void checkVpnProcess(quint64 who);

    const World m_world;
    QenLogHelper& m_log;
    Platform::SerialQueue m_checkQueue;
    Platform::SerialQueue m_tickQueue;
    // Last, so that it ends before the queues that its ticks use.
    std::unique_ptr<Platform::DispatchTimer> m_timer;
};
