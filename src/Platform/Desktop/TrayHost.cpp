#include "TrayHost.h"

#include "BusConnection.h"
#include "X11TrayOwner.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

#include <optional>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

const QString WatcherName = u"org.kde.StatusNotifierWatcher"_s;
const QString WatcherPath = u"/StatusNotifierWatcher"_s;
constexpr int AnswerLimit = 2000;

} // namespace

class TrayHost::Watch final : public QObject {
    Q_OBJECT

public:
    Watch(BusConnection& bus, std::function<void(bool)> changed)
        : m_changed(std::move(changed)), m_x11([this] { settle(); }) {
        bus.find(this, [this](const QDBusConnection& found) { follow(found); });
    }

    bool isAvailable() const { return m_told.value_or(false); }

private Q_SLOTS:
    void ask() {
        auto message =
            QDBusMessage::createMethodCall(WatcherName, WatcherPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        message.setAutoStartService(false);
        message.setArguments({WatcherName, u"IsStatusNotifierHostRegistered"_s});
        // Replacing the watcher drops the answer to an older question.
        m_question = std::make_unique<QDBusPendingCallWatcher>(m_bus.asyncCall(message, AnswerLimit));
        connect(m_question.get(), &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* watcher) {
            const QDBusPendingReply<QVariant> reply = *watcher;
            m_hasHost = reply.isValid() && reply.value().toBool();
            settle();
        });
    }

private:
    void follow(const QDBusConnection& bus) {
        m_bus = bus;
        if (!m_bus.isConnected()) {
            m_hasHost = false;
            settle();
            return;
        }
        // From any sender: naming one makes the library ask for its owner, blocking. A forged signal only makes us ask
        // again.
        for (const char16_t* signal : {u"StatusNotifierHostRegistered", u"StatusNotifierHostUnregistered"})
            m_bus.connect({}, WatcherPath, WatcherName, QString::fromUtf16(signal), this, SLOT(ask()));
        m_owners.setConnection(m_bus);
        m_owners.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
        m_owners.addWatchedService(WatcherName);
        connect(&m_owners, &QDBusServiceWatcher::serviceOwnerChanged, this, &Watch::ask);
        ask();
    }
    void settle() {
        if (!m_hasHost)
            return;
        const bool isAvailable = *m_hasHost || m_x11.exists();
        if (m_told == isAvailable)
            return;
        m_told = isAvailable;
        m_changed(isAvailable);
    }

    const std::function<void(bool)> m_changed;
    QDBusConnection m_bus{QString()};
    QDBusServiceWatcher m_owners;
    std::unique_ptr<QDBusPendingCallWatcher> m_question;
    /// The bus's answer; nothing before the first.
    std::optional<bool> m_hasHost;
    std::optional<bool> m_told;
    X11TrayOwner m_x11;
};

TrayHost::TrayHost(BusConnection& bus) : m_bus(bus) {}

TrayHost::~TrayHost() = default;

void TrayHost::start(std::function<void(bool)> changed) {
    m_watch = std::make_unique<Watch>(m_bus, std::move(changed));
}

bool TrayHost::isAvailable() const {
    return m_watch && m_watch->isAvailable();
}

} // namespace Platform

#include "TrayHost.moc"
