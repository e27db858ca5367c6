#include "ActivateApplication.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace Platform {

bool activateRunningApplication(const QString& identifier, const QString& busAddress, std::chrono::milliseconds limit) {
    const QString name = QUuid::createUuid().toString();
    bool isActivated = false;
    {
        QDBusConnection bus = busAddress.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)
                                                   : QDBusConnection::connectToBus(busAddress, name);
        const QString path = u'/' + QString(identifier).replace(u'.', u'/').replace(u'-', u'_');
        auto message =
            QDBusMessage::createMethodCall(identifier, path, u"org.freedesktop.Application"_s, u"Activate"_s);
        message.setAutoStartService(false);
        message.setArguments({QVariantMap()});
        isActivated = bus.isConnected() &&
            bus.call(message, QDBus::Block, static_cast<int>(limit.count())).type() == QDBusMessage::ReplyMessage;
    }
    QDBusConnection::disconnectFromBus(name);
    return isActivated;
}

} // namespace Platform
