#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>

#include <functional>
#include <memory>
#include <optional>

class QDBusPendingCallWatcher;

namespace Platform {

class BusConnection;

/// Tells whether the desktop has a place for tray items, and follows it.
///
/// The toolkit asks for a tray host once in a process and remembers "no", so a tray item must be made only while this
/// says yes. A host is one that a StatusNotifierWatcher on the session bus knows of, or the owner of the screen's tray
/// selection under X11. Nothing is polled. Main thread.
class TrayHost final : public QObject {
    Q_OBJECT

public:
    /// @param bus  outlives this object
    explicit TrayHost(BusConnection& bus);
    ~TrayHost() override;

    /// Begins to watch and calls @p changed from the event loop: once when the first answer is there, then at each
    /// change. Once.
    void start(std::function<void(bool isAvailable)> changed);
    /// False before start() and until the first answer.
    bool isAvailable() const { return m_told.value_or(false); }

private Q_SLOTS:
    void ask();

private:
    void follow(const QDBusConnection& bus);
    void settle();

    BusConnection& m_bus;
    std::function<void(bool)> m_changed;
    QDBusConnection m_found{QString()};
    QDBusServiceWatcher m_owners;
    std::unique_ptr<QDBusPendingCallWatcher> m_question;
    std::unique_ptr<class X11TrayOwner> m_x11;
    /// The bus's answer; nothing before the first.
    std::optional<bool> m_hasHost;
    std::optional<bool> m_told;
};

} // namespace Platform
