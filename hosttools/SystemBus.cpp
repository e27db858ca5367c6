#include "SystemBus.h"

#include <QDBusVariant>
#include <QFile>

using namespace Qt::StringLiterals;

namespace SystemBus {

namespace {

const QString Socket = u"/run/dbus/system_bus_socket"_s;

} // namespace

bool isThere(const Facts& facts) {
    return facts.exists(Socket);
}

QDBusConnection connect(const Facts& facts) {
    const QByteArray file = QFile::encodeName(facts.root() + Socket).toPercentEncoding("/");
    return QDBusConnection::connectToBus(u"unix:path="_s + QString::fromLatin1(file), u"hosttools"_s);
}

QVariant call(const QDBusConnection& bus, const QDBusMessage& message, Milliseconds limit) {
    const QDBusMessage reply = bus.call(message, QDBus::Block, static_cast<int>(limit.count()));
    const QVariant first = reply.arguments().value(0);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return {};
    return first.canConvert<QDBusVariant>() ? first.value<QDBusVariant>().variant() : first;
}

QVariant property(const QDBusConnection& bus, const QString& service, const QString& path, const QString& interface,
    const QString& name, Milliseconds limit) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    message << interface << name;
    return call(bus, message, limit);
}

} // namespace SystemBus
