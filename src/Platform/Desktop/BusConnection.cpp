#include "BusConnection.h"

#include "BusProbe.h"

#include <QPointer>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace Platform {

BusConnection::BusConnection(QString address, std::chrono::milliseconds limit)
    : m_address(address.isEmpty() ? BusProbe::sessionAddress() : std::move(address)), m_limit(limit),
      m_queue(u"bus"_s) {}

BusConnection::~BusConnection() {
    m_queue.drain();
    if (!m_name.isEmpty())
        QDBusConnection::disconnectFromBus(m_name);
}

QDBusConnection BusConnection::connection() {
    const std::lock_guard lock(m_mutex);
    if (const QDBusConnection known(m_name); known.isConnected())
        return known;
    if (!m_name.isEmpty())
        QDBusConnection::disconnectFromBus(m_name);
    m_name = QUuid::createUuid().toString();
    // The library would wait for half a minute, and every other connection of the process with it.
    const auto answer = BusProbe::ask(m_address, m_limit);
    m_isSilent = answer == BusProbe::Answer::Silent;
    if (answer != BusProbe::Answer::There)
        return QDBusConnection(m_name);
    return m_address.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_name)
                               : QDBusConnection::connectToBus(m_address, m_name);
}

QDBusMessage BusConnection::call(const QDBusMessage& message, std::chrono::milliseconds limit) {
    return connection().call(message, QDBus::Block, static_cast<int>(limit.count()));
}

void BusConnection::find(QObject* receiver, std::function<void(const QDBusConnection&)> found) {
    m_queue.async([this, guard = QPointer(receiver), found = std::move(found)] {
        mainQueue().async([guard, found, bus = connection()] {
            if (guard)
                found(bus);
        });
    });
}

bool activateRunningApplication(BusConnection& bus, const QString& identifier) {
    auto message = QDBusMessage::createMethodCall(
        identifier, applicationObjectPath(identifier), u"org.freedesktop.Application"_s, u"Activate"_s);
    // An owner that has just gone must not be started again by the bus.
    message.setAutoStartService(false);
    message.setArguments({QVariantMap()});
    return bus.call(message).type() == QDBusMessage::ReplyMessage;
}

QString applicationObjectPath(const QString& identifier) {
    return u'/' + QString(identifier).replace(u'.', u'/').replace(u'-', u'_');
}

} // namespace Platform
