#include "UserNotifications.h"

#include "BusConnection.h"
#include "SystemLog.h"
#include "UserDefaults.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

const QString Service = u"org.freedesktop.Notifications"_s;
const QString Path = u"/org/freedesktop/Notifications"_s;
const QString ActionKey = u"action"_s;
const QString OtherKey = u"other"_s;
const QString ContentsKey = u"default"_s;
/// Milliseconds; the bus may have to start the service.
constexpr int NotifyLimit = 10000;
/// In the record: texts of a service's unique bus name, a blank, and the number of an open notification.
const QString OpenKey = u"OpenNotifications"_s;

QVariantList notifyArguments(const QString& identifier, const UserNotifications::Content& content) {
    constexpr uint NewOne = 0;
    constexpr int NeverExpires = 0;
    constexpr uchar Critical = 2;
    const QVariantMap hints{{u"urgency"_s, QVariant::fromValue(Critical)}, {u"desktop-entry"_s, identifier}};
    return {QCoreApplication::applicationName(), NewOne, identifier, content.title, content.subtitle,
        QStringList{ActionKey, content.actionTitle, OtherKey, content.otherTitle}, hints, NeverExpires};
}

} // namespace

UserNotifications::UserNotifications(QString identifier, BusConnection& bus, UserDefaults* record)
    : m_identifier(std::move(identifier)), m_wantedBus(bus), m_record(record) {}

void UserNotifications::deliver(const Content& content, std::function<void(Activation)> activated) {
    auto message = QDBusMessage::createMethodCall(Service, Path, Service, u"Notify"_s);
    message.setArguments(notifyArguments(m_identifier, content));
    withBus([this, message, activated = std::move(activated), generation = m_generation] {
        if (generation == m_generation)
            send(message, activated);
    });
}

void UserNotifications::removeAll() {
    ++m_generation;
    for (const uint id : m_open.keys())
        close(Service, id);
    m_open.clear();
    keepRecord();
}

void UserNotifications::removeEarlier() {
    const ArchiveValue open = m_record ? m_record->objectForKey(OpenKey) : ArchiveValue();
    if (!open.isArray() || open.array().empty())
        return;
    withBus([this, open] {
        for (const ArchiveValue& entry : open.array()) {
            // By the service's unique name: another one that is there by now knows nothing of them.
            const QString& text = entry.string();
            const QString service = text.section(u' ', 0, 0);
            if (service.startsWith(u':'))
                close(service, text.section(u' ', 1).toUInt());
        }
        keepRecord();
    });
}

void UserNotifications::keepRecord() const {
    if (!m_record)
        return;
    ArchiveValue open;
    for (auto it = m_open.cbegin(); it != m_open.cend(); ++it)
        open.append(it->owner + u' ' + QString::number(it.key()));
    m_record->setObject(open, OpenKey);
}

void UserNotifications::actionInvoked(uint id, const QString& key, const QDBusMessage& message) {
    static const QHash<QString, Activation> activations{{ActionKey, Activation::ActionButton},
        {OtherKey, Activation::OtherButton}, {ContentsKey, Activation::Contents}};
    const Activated activated = take(id, message);
    if (activated && activations.contains(key))
        activated(activations.value(key));
}

void UserNotifications::notificationClosed(uint id, uint, const QDBusMessage& message) {
    take(id, message);
}

/// Later, with whatever bus there is then.
void UserNotifications::withBus(std::function<void()> use) {
    m_wantedBus.find(this, [this, use = std::move(use)](const QDBusConnection& found) {
        if (found.name() != m_bus.name()) {
            m_bus = found;
            // From any sender: naming one makes the library ask for its owner, blocking. The slots look at the sender.
            m_bus.connect(
                {}, Path, Service, u"ActionInvoked"_s, this, SLOT(actionInvoked(uint, QString, QDBusMessage)));
            m_bus.connect(
                {}, Path, Service, u"NotificationClosed"_s, this, SLOT(notificationClosed(uint, uint, QDBusMessage)));
        }
        use();
    });
}

void UserNotifications::send(const QDBusMessage& message, const Activated& activated) {
    auto* const sent = new QDBusPendingCallWatcher(m_bus.asyncCall(message, NotifyLimit), this);
    connect(sent, &QDBusPendingCallWatcher::finished, this,
        [this, activated, generation = m_generation](QDBusPendingCallWatcher* watcher) {
            watcher->deleteLater();
            const QDBusPendingReply<uint> reply = *watcher;
            if (!reply.isValid())
                systemLog(u"a notification cannot be shown: %1"_s.arg(reply.error().message()));
            else if (generation != m_generation)
                close(Service, reply.value());
            else
                open(reply.value(), activated);
        });
}

void UserNotifications::open(uint id, const Activated& activated) {
    m_open.insert(id, {{}, activated});
    // The reply does not say whose it is in each version of the library.
    auto message = QDBusMessage::createMethodCall(
        u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s, u"GetNameOwner"_s);
    message.setArguments({Service});
    auto* const asked = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    connect(asked, &QDBusPendingCallWatcher::finished, this, [this, id](QDBusPendingCallWatcher* watcher) {
        watcher->deleteLater();
        if (const auto found = m_open.find(id); found != m_open.end())
            found->owner = QDBusPendingReply<QString>(*watcher).value();
        keepRecord();
    });
}

/// At once, for the process may be about to end.
void UserNotifications::close(const QString& service, uint id) {
    auto message = QDBusMessage::createMethodCall(service, Path, Service, u"CloseNotification"_s);
    message.setAutoStartService(false);
    message.setArguments({id});
    m_bus.send(message);
}

UserNotifications::Activated UserNotifications::take(uint id, const QDBusMessage& message) {
    if (m_open.value(id).owner != message.service())
        return {};
    const Open open = m_open.take(id);
    keepRecord();
    return open.activated;
}

} // namespace Platform
