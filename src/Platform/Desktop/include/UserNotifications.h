#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>

#include <functional>

namespace Platform {

class BusConnection;
class UserDefaults;

/// Shows notifications with buttons on the desktop and hears which button was pressed.
///
/// Reacts only to notifications of its own, and only to what the notification service itself says of them. What is open
/// when this goes stays open. The bus is first wanted by the first deliver(). Main thread.
class UserNotifications final : public QObject {
    Q_OBJECT

public:
    enum class Activation {
        ActionButton,
        OtherButton,
        /// The notification itself was clicked.
        Contents
    };

    struct Content {
        QString title;
        /// Without markup.
        QString subtitle;
        QString actionTitle;
        QString otherTitle;
    };

    /// @param identifier  by which the desktop knows the application's entry and picture
    /// @param bus  outlives this object
    /// @param record  remembers what is open, for a run after this one; may be null, else it outlives this object
    UserNotifications(QString identifier, BusConnection& bus, UserDefaults* record = nullptr);
    /// Stays until it is answered or dismissed. @p activated is called at most once, from the event loop. Without a
    /// notification service nothing is shown, and a line on the system console says so.
    void deliver(const Content& content, std::function<void(Activation)> activated);
    /// Takes back all that are open; their buttons do nothing from now on.
    void removeAll();
    /// Takes back what an earlier run that was killed has left open. Connects to the bus only when there is something.
    void removeEarlier();

private Q_SLOTS:
    void actionInvoked(uint id, const QString& key, const QDBusMessage& message);
    void notificationClosed(uint id, uint reason, const QDBusMessage& message);

private:
    using Activated = std::function<void(Activation)>;
    struct Open {
        /// The unique bus name of the service that shows it.
        QString owner;
        Activated activated;
    };

    void withBus(std::function<void()> use);
    void send(const QDBusMessage& message, const Activated& activated);
    void open(uint id, const Activated& activated);
    void close(const QString& service, uint id);
    void keepRecord() const;
    /// The open notification that its service tells of, which is open no longer.
    Activated take(uint id, const QDBusMessage& message);

    const QString m_identifier;
    BusConnection& m_wantedBus;
    UserDefaults* const m_record;
    QDBusConnection m_bus{QString()};
    QHash<uint, Open> m_open;
    /// Goes up whenever all are taken back: an id that is on its way then belongs to an older one.
    int m_generation = 0;
};

} // namespace Platform
