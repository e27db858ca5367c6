#include "SessionBus.h"

#include "BusConnection.h"

using namespace Qt::StringLiterals;

namespace SessionBus {

namespace {

struct Wanted {
    Platform::BusConnection connection;
    /// Asked for once: a silent bus costs its limit, not the limit for each question.
    const QDBusConnection bus = connection.connection();
};

Wanted& wanted() {
    static Wanted one;
    return one;
}

} // namespace

QVariant ask(const QString& service, const QString& path, const QString& interface, const QString& method,
    const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setAutoStartService(false);
    message.setArguments(arguments);
    const QDBusMessage reply =
        wanted().bus.call(message, QDBus::Block, static_cast<int>(Platform::BusConnection::Limit.count()));
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QVariant askBus(const QString& method, const QVariantList& arguments) {
    const QString bus = u"org.freedesktop.DBus"_s;
    return ask(bus, u"/org/freedesktop/DBus"_s, bus, method, arguments);
}

bool isThere() {
    return wanted().bus.isConnected() || wanted().connection.isSilent();
}

} // namespace SessionBus
