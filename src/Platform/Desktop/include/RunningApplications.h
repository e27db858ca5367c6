#pragma once

#include "UniqueFd.h"

#include <QObject>
#include <QSocketNotifier>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace Platform {

class BusConnection;

/// Sees to it that one copy of the application runs, and lets the others bring it forward.
///
/// The copy that runs holds a lock in a folder of the user's home, one for each computer, and listens on a socket
/// beside it, so that copies on two session buses are two, too. Where there is a session bus it also owns the bundle
/// identifier there and answers org.freedesktop.Application. Of copies that start at the same moment exactly one is the
/// first; an activation that comes before a handler is set waits for it. Main thread.
class RunningApplications final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    enum class Claim {
        /// This copy runs on.
        First,
        /// Another one runs and has been told to come forward: end with status 1.
        Second
    };

    struct Place {
        QString identifier;
        /// Of the lock. Made when missing; 0700.
        QString folder;
        /// Longest wait for another copy.
        std::chrono::milliseconds limit{2000};
    };

    /// @param bus  outlives this object
    RunningApplications(Place place, BusConnection& bus);
    /// Gives the lock back; the name goes with its connection.
    ~RunningApplications() override;

    /// Once; needs no application object. A copy or a bus that hangs costs at most the limit; such a copy counts as
    /// running. Where neither bus nor lock can be had, this copy counts as first: better two copies than none.
    Claim claim();
    /// @p activated is called from the event loop whenever another copy or the desktop asks this one to come forward;
    /// activations that waited for it are one call. Needs the application object.
    void setActivationHandler(std::function<void()> activated);

    // What the desktop may ask, named as the interface wants it. Whatever it is, the window comes forward: there are no
    // documents to open.
public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QVariantMap&) { activate(); }
    Q_SCRIPTABLE void Open(const QStringList&, const QVariantMap&) { activate(); }
    Q_SCRIPTABLE void ActivateAction(const QString&, const QVariantList&, const QVariantMap&) { activate(); }

private:
    std::optional<Claim> claimByLock();
    std::optional<Claim> claimByName();
    bool takeLock();
    QVariant askBus(const QString& method, const QVariantList& arguments);
    void takeKnocks();
    void activate();
    void deliver();

    const Place m_place;
    BusConnection& m_bus;
    const QString m_lockFile;
    const QString m_socketFile;
    UniqueFd m_lock;
    UniqueFd m_listener;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::function<void()> m_handler;
    bool m_isWaiting = false;
};

} // namespace Platform
