#include "Motion.h"
#include "PrivateBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QTest>

namespace {

/// The desktop's settings as its portal tells them: the value in one more variant.
class Portal final : public QDBusVirtualObject {
public:
    QVariantList asked;

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        asked = message.arguments();
        const QVariant value = QVariant::fromValue(QDBusVariant(false));
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        return true;
    }
    QString introspect(const QString&) const override { return {}; }
};

} // namespace

class tst_Motion : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void followsTheDesktop() {
        const PrivateBus bus;
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
        QDBusConnection desktop = QDBusConnection::connectToBus(bus.address(), u"desktop"_s);
        Portal portal;
        QVERIFY(desktop.registerVirtualObject(u"/org/freedesktop/portal/desktop"_s, &portal));
        QVERIFY(desktop.registerService(u"org.freedesktop.portal.Desktop"_s));
        QVERIFY(!Motion::isReduced());
        QTRY_VERIFY(Motion::isReduced());
        QCOMPARE(portal.asked, (QVariantList{u"org.gnome.desktop.interface"_s, u"enable-animations"_s}));
        qputenv("MAV_REDUCED_MOTION", "0");
        QVERIFY(!Motion::isReduced());
        QDBusConnection::disconnectFromBus(u"desktop"_s);
    }
};

QTEST_GUILESS_MAIN(tst_Motion)
#include "tst_Motion.moc"
