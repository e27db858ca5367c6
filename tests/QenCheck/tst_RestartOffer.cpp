#include "BusConnection.h"
#include "ClientNotifications.h"
#include "JoinDomainAction.h"
#include "PrivateBus.h"
#include "Queue.h"
#include "RestartOffer.h"
#include "SilentBus.h"
#include "UserDefaults.h"
#include "UserNotifications.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QMutex>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QString Service = u"org.freedesktop.Notifications"_s;
const QString Path = u"/org/freedesktop/Notifications"_s;

/// Lines of several threads.
class Lines {
public:
    void add(const QString& line) {
        const QMutexLocker lock(&m_mutex);
        m_lines << line;
    }
    QStringList all() {
        const QMutexLocker lock(&m_mutex);
        return m_lines;
    }

private:
    QMutex m_mutex;
    QStringList m_lines;
};

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
        QTest::addColumn<QString>("event");
        QTest::addColumn<bool>("isForged");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<QStringList>("expected");
        const QString script = u"do shell script \"sudo reboot\" with administrator privileges"_s;
        const QString failed = u"restart computor fail with error:Error Domain=NSAppleScript Code=-128"_s;
        QTest::newRow("restart") << "action" << false << true
                                 << QStringList{script, script, "restart computor success"};
        QTest::newRow("refused") << "action" << false << false << QStringList{script, script, failed};
        QTest::newRow("cancel") << "other" << false << true << QStringList();
        QTest::newRow("the notification itself") << "default" << false << true << QStringList();
        QTest::newRow("unknown button") << "reboot" << false << true << QStringList();
        QTest::newRow("another one's notification") << "foreign" << false << true << QStringList();
        QTest::newRow("not said by the service") << "action" << true << true << QStringList();
        QTest::newRow("dismissed before") << "dismissed" << false << true << QStringList();
        QTest::newRow("taken back") << "removed" << false << true << QStringList();
    }
    void presses() {
        QFETCH(QString, event);
        QFETCH(bool, isForged);
        QFETCH(bool, succeeds);
        const PrivateBus bus;
        NotificationService service(bus.address());
        Platform::BusConnection connection(bus.address());
        Platform::UserNotifications notifications(u"org.example.Client"_s, connection);
        Platform::NotificationCenter center;
        Lines lines;
        RestartOffer offer({.log = [&lines](const QString& message, int) { lines.add(message); },
            .center = center,
            .notifications = notifications,
            .runScript =
                [&lines, succeeds](const QString& source, Platform::Error* error) {
                    lines.add(source);
                    if (!succeeds && error)
                        *error = Platform::Error("NSAppleScript", -128);
                    return succeeds ? u""_s : QString();
                }});
        Platform::globalQueue().async([&center] { center.post(ClientNotification::Restart); });
        QTRY_COMPARE(service.shown,
            QStringList{"Mav|0|Qen提醒|安全策略下发异常，请重启系统激活设置|action,立即重启,other,取消|0"});
        QTest::qWait(50); // its number travels back
        if (event == u"dismissed")
            service.dismiss(service.lastId);
        if (event == u"removed")
            offer.removeScheduled();
        const uint id = event == u"foreign" ? service.lastId + 1 : service.lastId;
        const QString key = QStringList{"foreign", "dismissed", "removed"}.contains(event) ? u"action"_s : event;
        if (isForged) {
            NotificationService::say(
                QDBusConnection::connectToBus(bus.address(), "forger"), "ActionInvoked", {id, key});
            QTest::qWait(50);
            QDBusConnection::disconnectFromBus("forger");
        } else {
            service.press(id, key);
            service.press(id, key); // once is enough
        }
        QFETCH(QStringList, expected);
        QTRY_COMPARE(lines.all(), expected);
        QTest::qWait(60);
        QCOMPARE(lines.all(), expected);
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
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("runs already") << true << QStringList();
        QTest::newRow("is started")
            << false
            << QStringList{"do shell script \"open -a /b/Resources/JoinDomainTool.app/Contents/MacOS/"
                           "JoinDomainTool\"",
                   "Open JoinDomainTool result:(null), error:Error Domain=NSAppleScript Code=1"};
    }
    void joinDomain() {
        QFETCH(bool, runs);
        const PrivateBus bus;
        RunningTool tool;
        QDBusConnection desktop = QDBusConnection::connectToBus(bus.address(), "tool");
        desktop.registerObject("/com/qencloud/Join_Tool", &tool, QDBusConnection::ExportAllSlots);
        if (runs)
            QVERIFY(desktop.registerService("com.qencloud.Join-Tool"));
        Lines lines;
        JoinDomainAction action({.activateRunningTool =
                                     [&bus] {
                                         Platform::BusConnection connection(bus.address());
                                         return Platform::activateRunningApplication(
                                             connection, "com.qencloud.Join-Tool");
                                     },
            .resources = "/b/Resources",
            .console = [&lines](const QString& line) { lines.add(line); },
            .runScript =
                [&lines](const QString& source, Platform::Error* error) {
                    lines.add(source);
                    *error = Platform::Error("NSAppleScript", 1);
                    return QString();
                }});
        QSignalSpy joining(&action, &JoinDomainAction::joiningChanged);
        action.tapDomainBtn();
        action.tapDomainBtn(); // one is under way
        QVERIFY(action.isJoiningDomain());
        QTRY_COMPARE(joining.size(), 2);
        QVERIFY(!action.isJoiningDomain());
        QTEST(lines.all(), "expected");
        QCOMPARE(tool.activations, runs ? 1 : 0);
        QDBusConnection::disconnectFromBus("tool");
    }
};

QTEST_GUILESS_MAIN(tst_RestartOffer)
#include "tst_RestartOffer.moc"
