#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace Platform {

class BusConnection;
class UserDefaults;

/// Shows notifications with buttons on the desktop and hears which button was pressed.
///
/// Reacts only to notifications of its own, and only to what the notification service itself says of them. The bus is
/// first wanted by the first deliver(). Main thread.
class UserNotifications final {
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
    /// Leaves open notifications where they are, and hears no more of them.
    ~UserNotifications();
    UserNotifications(const UserNotifications&) = delete;
    UserNotifications& operator=(const UserNotifications&) = delete;

    /// Stays until it is answered or dismissed. @p activated is called at most once, from the event loop. Without a
    /// notification service nothing is shown, and a line on the system console says so.
    void deliver(const Content& content, std::function<void(Activation)> activated);
    /// Takes back all that are open; their buttons do nothing from now on.
    void removeAll();
    /// Takes back what an earlier run that was killed has left open. Connects to the bus only when there is something.
    void removeEarlier();

private:
    class Link;
    std::unique_ptr<Link> m_link;
};

} // namespace Platform
