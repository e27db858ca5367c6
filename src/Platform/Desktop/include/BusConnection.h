#pragma once

#include "Queue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <atomic>
#include <mutex>

namespace Platform {

/// A connection of one's own to a message bus: made when it is first wanted, and again after the bus went away.
///
/// A bus that does not answer within the limit counts as absent until it is wanted again. What waits is neither for the
/// main nor for the network thread, with one exception: the claim of the single copy, before there is anything to show.
class BusConnection final {
public:
    static constexpr std::chrono::milliseconds Limit{2000};

    /// @param address  empty for the user's session bus, as the environment named it first
    /// @param limit  how long the bus may take to let one in, and by default to answer one call
    explicit BusConnection(QString address = {}, std::chrono::milliseconds limit = Limit);
    /// Waits for what find() has begun.
    ~BusConnection();

    /// Not connected when there is no bus or it stays silent. Waits.
    QDBusConnection connection();
    /// The answer to @p message; no ReplyMessage without one. Waits.
    QDBusMessage call(const QDBusMessage& message) { return call(message, m_limit); }
    QDBusMessage call(const QDBusMessage& message, std::chrono::milliseconds limit);
    /// Calls @p found with connection() on the main thread, in the order of the calls, while @p receiver lives.
    void find(QObject* receiver, std::function<void(const QDBusConnection&)> found);
    /// When last wanted, there was a bus that stayed silent.
    bool isSilent() const { return m_isSilent; }

private:
    const QString m_address;
    const std::chrono::milliseconds m_limit;
    std::mutex m_mutex;
    /// Of the connection; empty before the first.
    QString m_name;
    std::atomic<bool> m_isSilent{false};
    SerialQueue m_queue;
};

/// Brings the running application that owns @p identifier on the bus forward. Never starts one. Waits, as calls on @p
/// bus do.
///
/// @returns false when none runs, it does not answer, or there is no bus
bool activateRunningApplication(BusConnection& bus, const QString& identifier);
/// Where an application of that identifier answers on the bus.
QString applicationObjectPath(const QString& identifier);

} // namespace Platform
