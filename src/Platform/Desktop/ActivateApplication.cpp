#include "ActivateApplication.h"

#include "BusConnection.h"

using namespace Qt::StringLiterals;

namespace Platform {

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
