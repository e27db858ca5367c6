#include "BusConnection.h"
#include "PrivateBus.h"
#include "SilentBus.h"
#include "TrayHost.h"
#include "X11Calls.h"

#include <QGuiApplication>
#include <QTimer>
#include <QtTest>

#include <cstdio>
#include <memory>

#include <xcb/xcb.h>

using namespace Qt::StringLiterals;

using Platform::TrayHost;

namespace {

const QString NoBus = u"unix:path=/nonexistent/bus"_s;
const QString WatcherName = u"org.kde.StatusNotifierWatcher"_s;

/// Says what a tray host under X11 is told, in a process of its own on that display.
int watchX11(QGuiApplication& application) {
    Platform::BusConnection noBus(NoBus);
    TrayHost host(noBus);
    host.start([](bool isAvailable) {
        std::puts(isAvailable ? "yes" : "no");
        std::fflush(stdout);
    });
    QTimer::singleShot(30000, &application, &QCoreApplication::quit);
    return QGuiApplication::exec();
}

/// A tray as X11 desktops have it: a window that owns the selection and says so.
class X11Tray {
public:
    explicit X11Tray(const QString& display) : m_connection(xcb_connect(display.toLocal8Bit().constData(), nullptr)) {}
    ~X11Tray() { xcb_disconnect(m_connection); }
    X11Tray(const X11Tray&) = delete;
    X11Tray& operator=(const X11Tray&) = delete;

    void appear() {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        m_window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, 1, 1, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_client_message_event_t notice{};
        notice.response_type = XCB_CLIENT_MESSAGE;
        notice.format = 32;
        notice.window = screen->root;
        notice.type = Platform::X11::atom(m_connection, "MANAGER");
        notice.data.data32[0] = XCB_CURRENT_TIME;
        notice.data.data32[1] = Platform::X11::atom(m_connection, "_NET_SYSTEM_TRAY_S0");
        notice.data.data32[2] = m_window;
        xcb_set_selection_owner(m_connection, m_window, notice.data.data32[1], XCB_CURRENT_TIME);
        xcb_send_event(
            m_connection, 0, screen->root, XCB_EVENT_MASK_STRUCTURE_NOTIFY, reinterpret_cast<const char*>(&notice));
        xcb_flush(m_connection);
    }
    void vanish() {
        xcb_destroy_window(m_connection, m_window);
        xcb_flush(m_connection);
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_window = 0;
};

} // namespace

/// What knows of the tray hosts of a desktop.
class Watcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered MEMBER hasHost)

public:
    explicit Watcher(const QString& bus) : m_bus(QDBusConnection::connectToBus(bus, "watcher")) {
        m_bus.registerObject(
            "/StatusNotifierWatcher", this, QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSignals);
    }
    ~Watcher() override {
        m_bus.unregisterObject("/StatusNotifierWatcher");
        // A call that is still on its way to this object must not outlive the connection.
        QCoreApplication::removePostedEvents(this);
        QDBusConnection::disconnectFromBus("watcher");
    }
    bool appear() { return m_bus.registerService(WatcherName); }
    bool vanish() { return m_bus.unregisterService(WatcherName); }

    bool hasHost = false;

Q_SIGNALS:
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    QDBusConnection m_bus;
};

class TestTrayHost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void followsTheWatcher() {
        const PrivateBus bus;
        QVERIFY2(!bus.address().isEmpty(), "dbus-daemon does not start");
        Watcher watcher(bus.address());
        Platform::BusConnection connection(bus.address());
        TrayHost host(connection);
        QList<bool> told;
        QVERIFY(!host.isAvailable());
        host.start([&](bool isAvailable) { told.append(isAvailable); });
        QVERIFY(told.isEmpty());
        QTRY_COMPARE(told, QList<bool>{false});

        QVERIFY(watcher.appear()); // a watcher without hosts is no place for an item
        QTest::qWait(200);
        QCOMPARE(told.size(), 1);
        watcher.hasHost = true;
        Q_EMIT watcher.StatusNotifierHostRegistered();
        QTRY_COMPARE(told, (QList<bool>{false, true}));
        QVERIFY(host.isAvailable());
        Q_EMIT watcher.StatusNotifierHostRegistered(); // one more changes nothing

        QVERIFY(watcher.vanish()); // the desktop's shell restarts
        QTRY_COMPARE(told, (QList<bool>{false, true, false}));
        QVERIFY(watcher.appear());
        QTRY_COMPARE(told, (QList<bool>{false, true, false, true}));

        watcher.hasHost = false;
        Q_EMIT watcher.StatusNotifierHostUnregistered();
        QTRY_COMPARE(told, (QList<bool>{false, true, false, true, false}));
        QVERIFY(!host.isAvailable());
    }

    void withoutBus() {
        const SilentBus silent;
        for (const QString& address : {NoBus, silent.address()}) {
            Platform::BusConnection connection(address, std::chrono::milliseconds(300));
            TrayHost host(connection);
            QList<bool> told;
            host.start([&](bool isAvailable) { told.append(isAvailable); });
            QVERIFY(told.isEmpty());
            QTRY_COMPARE(told, QList<bool>{false});
        }
    }

    void followsX11() {
        QProcess server;
        server.start("Xvfb", {"-displayfd", "1", "-nolisten", "tcp"});
        QVERIFY2(server.waitForReadyRead(10000), "Xvfb does not start");
        const QString display = u':' + QString::fromUtf8(server.readLine()).trimmed();
        X11Tray tray(display);
        tray.appear();
        QProcess watch;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DISPLAY", display);
        environment.insert("QT_QPA_PLATFORM", "xcb");
        watch.setProcessEnvironment(environment);
        watch.start(QCoreApplication::applicationFilePath(), {"--watch-x11"});
        QByteArray said;
        const auto heard = [&] {
            watch.waitForReadyRead(10);
            return said += watch.readAllStandardOutput();
        };
        QTRY_COMPARE_WITH_TIMEOUT(heard(), "yes\n", 15000); // a tray that was there before
        tray.vanish();
        QTRY_COMPARE(heard(), "yes\nno\n");
        tray.appear();
        QTRY_COMPARE(heard(), "yes\nno\nyes\n");
        tray.vanish();
        QTRY_COMPARE(heard(), "yes\nno\nyes\nno\n");
        watch.kill();
        watch.waitForFinished(5000);
        server.terminate();
        server.waitForFinished(5000);
    }
};

int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    if (application.arguments().value(1) == "--watch-x11")
        return watchX11(application);
    TestTrayHost test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TrayHost.moc"
