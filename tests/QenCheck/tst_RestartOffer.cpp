#include "BusConnection.h"
#include "CheckWorld.h"
#include "ClientNotifications.h"
#include "JoinDomainAction.h"
#include "PrivateBus.h"
#include "RestartOffer.h"
#include "SilentBus.h"
#include "UserDefaults.h"
#include "UserNotifications.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QString Service = u"org.freedesktop.Notifications"_s;
const QString Path = u"/org/freedesktop/Notifications"_s;

} // namespace

/// The desktop's notification service.
class NotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit NotificationService(const QString& bus) : m_bus(QDBusConnection::connectToBus(bus, "service")) {
        m_bus.registerObject(Path, this, QDBusConnection::ExportAllSlots);
        m_bus.registerService(Service);
    }
    ~NotificationService() override {
        m_bus.unregisterObject(Path);
        // A call that is still on its way to this object must not outlive the connection.
        QCoreApplication::removePostedEvents(this);
        QDBusConnection::disconnectFromBus("service");
    }

    static void say(QDBusConnection bus, const QString& signal, const QVariantList& arguments) {
        auto message = QDBusMessage::createSignal(Path, Service, signal);
        message.setArguments(arguments);
        bus.send(message);
    }
    void press(uint id, const QString& key) { say(m_bus, "ActionInvoked", {id, key}); }
    void dismiss(uint id) { say(m_bus, "NotificationClosed", {id, 2U}); }

    QStringList shown;
    QList<uint> closed;
    uint lastId = 40;

public Q_SLOTS:
    uint Notify(const QString& application, uint replaced, const QString&, const QString& title, const QString& body,
        const QStringList& actions, const QVariantMap&, int expires) {
        shown << QStringList{application, QString::number(replaced), title, body, actions.join(u','),
            QString::number(expires)}
                     .join(u'|');
        return ++lastId;
    }
    void CloseNotification(uint id) { closed << id; }

private:
    QDBusConnection m_bus;
};

/// The join-domain tool as it runs.
class RunningTool : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    int activations = 0;
public Q_SLOTS:
    void Activate(const QVariantMap&) { ++activations; }
};

class tst_RestartOffer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationName(u"Mav"_s); }

    void presses_data() {
        QTest::addColumn<QStringList>("expected");
        const QString script = u"do shell script \"sudo reboot\" with administrator privileges"_s;
        QTest::newRow("action") << QStringList{script, script, "restart computor success"};
        QTest::newRow("refused") << QStringList{
            script, script, "restart computor fail with error:Error Domain=NSAppleScript Code=-128"};
        // The other button, the notification itself and an unknown button; another one's notification, a press that the
        // service does not tell of, one after it was dismissed, one after it was taken back.
        for (const char* nothing : {"other", "default", "reboot", "foreign", "forged", "dismissed", "removed"})
            QTest::newRow(nothing) << QStringList();
    }
    void presses() {
        const QString event = QString::fromLatin1(QTest::currentDataTag());
        const bool succeeds = event != u"refused";
        const PrivateBus bus;
        NotificationService service(bus.address());
        Platform::BusConnection connection(bus.address());
        Platform::UserNotifications notifications(u"org.example.Client"_s, connection);
        CheckWorld world;
        RestartOffer offer({.log = world.log(),
            .center = world.center,
            .notifications = notifications,
            .runScript = [log = world.log(), succeeds](const QString& source, Platform::Error* error) {
                log(source, OrdinaryLine);
                if (!succeeds && error)
                    *error = Platform::Error("NSAppleScript", -128);
                return succeeds ? u""_s : QString();
            }});
        Platform::globalQueue().async([&world] { world.center.post(ClientNotification::Restart); });
        QTRY_COMPARE(service.shown,
            QStringList{"Mav|0|Qen提醒|安全策略下发异常，请重启系统激活设置|action,立即重启,other,取消|0"});
        QTest::qWait(50); // its number travels back
        if (event == u"dismissed")
            service.dismiss(service.lastId);
        if (event == u"removed")
            offer.removeScheduled();
        const uint id = event == u"foreign" ? service.lastId + 1 : service.lastId;
        const QString key = QStringList{"other", "default", "reboot"}.contains(event) ? event : u"action"_s;
        if (event == u"forged") {
            NotificationService::say(
                QDBusConnection::connectToBus(bus.address(), "forger"), "ActionInvoked", {id, key});
            QTest::qWait(50);
            QDBusConnection::disconnectFromBus("forger");
        } else {
            service.press(id, key);
            service.press(id, key); // once is enough
        }
        QFETCH(QStringList, expected);
        QTRY_COMPARE(world.lines(), expected);
        QTest::qWait(60);
        QCOMPARE(world.lines(), expected);
        QCOMPARE(service.closed, event == u"removed" ? QList<uint>{service.lastId} : QList<uint>());
    }

    void whatAKilledRunLeftIsTakenBack() {
        const PrivateBus bus;
        NotificationService service(bus.address());
        const QTemporaryDir folder;
        const auto ignore = [](Platform::UserNotifications::Activation) {};
        const auto run = [&](auto use) {
            Platform::UserDefaults record(folder.filePath("preferences.plist"));
            Platform::BusConnection connection(bus.address());
            Platform::UserNotifications notifications(u"org.example.Client"_s, connection, &record);
            use(notifications);
            QTest::qWait(50);
        };
        run([&](Platform::UserNotifications& earlier) {
            earlier.deliver({"a", "b", "c", "d"}, ignore);
            earlier.deliver({"answered", "b", "c", "d"}, ignore);
            QTRY_COMPARE(service.shown.size(), 2);
            QTest::qWait(50);
            service.press(service.lastId, "action");
        });
        QVERIFY(service.closed.isEmpty());
        for (int start = 0; start < 2; ++start)
            run([](Platform::UserNotifications& later) { later.removeEarlier(); });
        QCOMPARE(service.closed, QList<uint>{service.lastId - 1});
    }

    void withoutService() {
        const PrivateBus bus;
        const SilentBus silent;
        for (const QString& address : {bus.address(), u"unix:path=/nonexistent/bus"_s, silent.address()}) {
            Platform::BusConnection connection(address, std::chrono::milliseconds(100));
            Platform::UserNotifications notifications(u"org.example.Client"_s, connection);
            notifications.deliver(
                {"a", "b", "c", "d"}, [](Platform::UserNotifications::Activation) { QFAIL("nobody pressed"); });
            notifications.removeAll();
            QTest::qWait(50);
        }
    }

    void joinDomain_data() {
        QTest::addColumn<bool>("runs");
        QTest::newRow("runs already") << true;
        QTest::newRow("is started") << false;
    }
    void joinDomain() {
        QFETCH(bool, runs);
        const PrivateBus bus;
        RunningTool tool;
        QDBusConnection desktop = QDBusConnection::connectToBus(bus.address(), "tool");
        desktop.registerObject("/com/qencloud/Join_Tool", &tool, QDBusConnection::ExportAllSlots);
        if (runs)
            QVERIFY(desktop.registerService("com.qencloud.Join-Tool"));
        CheckWorld world;
        JoinDomainAction action({.activateRunningTool =
                                     [&bus] {
                                         Platform::BusConnection connection(bus.address());
                                         return Platform::activateRunningApplication(
                                             connection, "com.qencloud.Join-Tool");
                                     },
            .resources = "/b/Resources",
            .console = [log = world.log()](const QString& line) { log(line, OrdinaryLine); },
            .runScript =
                [log = world.log()](const QString& source, Platform::Error* error) {
                    log(source, OrdinaryLine);
                    *error = Platform::Error("NSAppleScript", 1);
                    return QString();
                }});
        QSignalSpy joining(&action, &JoinDomainAction::joiningChanged);
        action.tapDomainBtn();
        action.tapDomainBtn(); // one is under way
        QVERIFY(action.isJoiningDomain());
        QTRY_COMPARE(joining.size(), 2);
        QVERIFY(!action.isJoiningDomain());
        const QStringList started{
            "do shell script \"open -a /b/Resources/JoinDomainTool.app/Contents/MacOS/JoinDomainTool\"",
            "Open JoinDomainTool result:(null), error:Error Domain=NSAppleScript Code=1"};
        QCOMPARE(world.lines(), runs ? QStringList() : started);
        QCOMPARE(tool.activations, runs ? 1 : 0);
        QDBusConnection::disconnectFromBus("tool");
    }
};

QTEST_GUILESS_MAIN(tst_RestartOffer)
#include "tst_RestartOffer.moc"
