#pragma once

#include "BusConnection.h"
#include "Queue.h"
#include "Shared.h"

#include <atomic>
#include <memory>

class QenLogHelper;

/// Keeps the link to the ticket service, which runs the signed-in user's session work once there is a ticket.
///
/// The service answers on the session bus and is started by it when it is first called. A bus that is missing or goes
/// away, and a service that is absent, count as a service that does not reply; a bus that comes back is used again. Any
/// thread.
class QenCloudTicketHelper final {
public:
    /// Opens the connection.
    /// @param busAddress  of the session bus; the environment's when empty
    /// @param replyLimit  how long checkXPCServiceIsReInital() waits
    explicit QenCloudTicketHelper(
        QenLogHelper& log, QString busAddress = {}, std::chrono::milliseconds replyLimit = std::chrono::seconds(10));
    static QenCloudTicketHelper& sharedInstance() { return Platform::Shared<QenCloudTicketHelper>::instance(); }

    /// The connection, opened when there was none; sets @p isNew then.
    std::shared_ptr<Platform::BusConnection> initialConnection(bool* isNew = nullptr);
    /// Asks the service to start its proxy, connecting first when closed. Returns at once; the outcome is logged.
    void runTicketXPC();
    /// Whether the service's connection is new: it was closed, or the service was started again. False without a reply
    /// in time. Blocks its caller until then.
    bool checkXPCServiceIsReInital();
    /// Asks the service to stop its proxy and forgets the connection. Returns at once.
    void closeNgnServerXpc();
    /// The connection to the service; null while closed.
    std::shared_ptr<Platform::BusConnection> XPCConnection() const;
    /// The service has refused its last start, or did not answer it.
    bool isRefusing() const { return m_isRefusing; }

private:
    QenLogHelper& m_log;
    const QString m_busAddress;
    const std::chrono::milliseconds m_replyLimit;
    mutable std::mutex m_mutex;
    std::shared_ptr<Platform::BusConnection> m_XPCConnection;
    std::atomic<bool> m_isRefusing{false};
    /// Last: its end waits for the calls under way.
    Platform::SerialQueue m_queue;
};
