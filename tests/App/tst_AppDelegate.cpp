#include "ViewWorld.h"

#include "AppDelegate.h"
#include "ApplicationMenu.h"
#include "BusConnection.h"
#include "CustomMessageBox.h"
#include "MavMianViewCtrl.h"
#include "QenMainWindow.h"
#include "TrayHost.h"

#include <QDialog>
#include <QStackedWidget>
#include <QTextBrowser>
#include <QToolButton>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;

namespace {

const QString LogoutPath = u"/api/public/clientlogin/logout"_s;

/// The application of one client, without a desktop's tray.
class Application {
public:
    explicit Application(ApplicationParts parts = {})
        : delegate({.login = world.client.helper,
              .device = world.client.device,
              .log = world.client.log,
              .center = world.center,
              .trayHost = trayHost,
              .applicationSupport = world.folder.support(),
              .vpn = world.client.vpn,
              .work = world.client.work,
              .parts = std::move(parts),
              .exitProcess = [this](int status) { ended << status; }}),
          window(world.defaults) {
        delegate.setMainWindow(&window);
    }
    void hideTray(bool hidden) {
        QVERIFY(archiveRootObject(hidden ? u"1"_s : u"0"_s, world.folder.agent() + u"/hideqenswitch.archive"_s));
        world.center.post(u"HideTrayForConfigNotificationKey"_s);
    }
    QAction* item(const char* name) { return delegate.menu()->findChild<QAction*>(QString::fromLatin1(name)); }

    ViewWorld world;
    Platform::BusConnection bus{u"unix:path=/no/such/bus"_s};
    Platform::TrayHost trayHost{bus};
    QList<int> ended;
    AppDelegate delegate;
    QenMainWindow window;
};

} // namespace

class tst_AppDelegate : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        ViewWorld::prepareApplication();
        m_server.addAccount(u"lin"_s, u"Abcdefg1!"_s);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() { m_server.clearFaults(); }
    void cleanup() {
        for (CustomMessageBox* box : CustomMessageBox::shown())
            delete box;
    }

    void launchRunsItsStepsInOrder() {
        QStringList steps;
        ApplicationParts parts;
        parts.startUIResourcesFileListen = [&steps] { steps << u"files"_s; };
        parts.configParlo = [&steps] { steps << u"parlo"_s; };
        parts.startProcessListener = [&steps] { steps << u"processes"_s; };
        parts.processListenerDelay = 150ms;
        Application app(parts);
        app.delegate.setTerminateCode(7);
        app.delegate.applicationDidFinishLaunching();
        QCOMPARE(steps, (QStringList{u"files"_s, u"parlo"_s}));
        QCOMPARE(app.delegate.terminateCode(), -1);
        QVERIFY(app.world.folder.hasState(u"soleid.archive"_s));
        // The tray is looked at later, in the event loop.
        QVERIFY(!app.window.isVisible());
        QTRY_VERIFY(app.window.isVisible());
        QVERIFY(app.delegate.hasStatusItem());
        QTRY_COMPARE(steps.size(), 3);
        const QString log = app.world.client.logText();
        QVERIFY2(log.section(u'\n', 0, 0).contains(u"----------start Mav-----------"_s), qPrintable(log));
    }

    void trayFollowsTheAgent() {
        Application app;
        app.hideTray(true);
        app.delegate.applicationDidFinishLaunching();
        QTest::qWait(50);
        QVERIFY(!app.window.isVisible());
        QVERIFY(!app.delegate.hasStatusItem());
        app.hideTray(false);
        QTRY_VERIFY(app.window.isVisible());
        QVERIFY(app.delegate.hasStatusItem());
        QDialog above(&app.window);
        above.open();
        app.delegate.tapAboutItem();
        app.hideTray(true);
        QTRY_VERIFY(!app.window.isVisible());
        for (const QWidget* window : QApplication::topLevelWidgets())
            QVERIFY2(!window->isVisible(), window->metaObject()->className());
        QVERIFY(!app.delegate.hasStatusItem());
        // A second launch cannot show what the agent hides.
        QVERIFY(app.delegate.applicationShouldHandleReopen(false));
        QTest::qWait(50);
        QVERIFY(!app.window.isVisible());
    }

    void closedWindowComesBack() {
        Application app;
        app.delegate.applicationDidFinishLaunching();
        QTRY_VERIFY(app.window.isVisible());
        QVERIFY(app.window.close());
        QVERIFY(app.window.isCloseWindow());
        app.delegate.applicationShouldHandleReopen(true);
        QTest::qWait(20);
        QVERIFY(!app.window.isVisible());
        app.delegate.applicationShouldHandleReopen(false);
        QTRY_VERIFY(app.window.isVisible());
        app.window.close();
        app.delegate.statusItemDidCliked();
        QVERIFY(app.window.isVisible());
    }

    void windowRemembersItsPlace() {
        Application app;
        app.window.show();
        app.window.setGeometry(30, 40, 900, 610);
        app.window.close();
        QenMainWindow again(app.world.defaults);
        QCOMPARE(again.size(), QSize(900, 610));
        QCOMPARE(again.minimumSize(), QSize(880, 600));
    }

    void menuFollowsTheLogin() {
        Application app;
        for (const char* name : {"aboutItem", "helpItem", "exportLogsItem", "serverSettingsItem", "modifyPasswordItem",
                 "logoutItem", "quitItem"})
            QVERIFY2(app.item(name), name);
        const auto states = [&app] {
            Q_EMIT app.delegate.menu()->aboutToShow();
            return QList<bool>{app.item("modifyPasswordItem")->isEnabled(), app.item("logoutItem")->isEnabled()};
        };
        QCOMPARE(states(), (QList<bool>{false, false}));
        QVERIFY(!app.item("logoutItem")->toolTip().isEmpty());
        app.world.signInAs(u"lin"_s);
        QCOMPARE(states(), (QList<bool>{true, true}));

        int sheets = 0;
        ApplicationParts parts;
        parts.beginModifyPasswordSheet = [&sheets](QWidget*) { ++sheets; };
        std::function<void(bool)> tellExporting;
        parts.beginExportLogSheet = [&](QWidget*, const std::function<void(bool)>& exporting) {
            ++sheets;
            tellExporting = exporting;
        };
        Application whole(parts);
        whole.world.signInAs(u"lin"_s);
        Q_EMIT whole.delegate.menu()->aboutToShow();
        whole.item("modifyPasswordItem")->trigger();
        whole.item("exportLogsItem")->trigger();
        QCOMPARE(sheets, 2);
        const QAction* exportItem = whole.item("exportLogsItem");
        QTRY_VERIFY(exportItem->isEnabled());
        tellExporting(true);
        Q_EMIT whole.delegate.menu()->aboutToShow();
        QTRY_VERIFY(!exportItem->isEnabled());
        QCOMPARE(exportItem->toolTip(), u"正在导出日志…"_s);
        // The end is seen in a menu that is open.
        tellExporting(false);
        QTRY_VERIFY(exportItem->isEnabled());
        QCOMPARE(exportItem->toolTip(), exportItem->text());
    }

    void menuOpensByKeys() {
        Application app;
        app.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&app.window));
        QTest::keyClick(&app.window, Qt::Key_F10);
        QTRY_VERIFY(app.delegate.menu()->isVisible());
        QTest::keyClick(app.delegate.menu(), Qt::Key_Escape);
        QVERIFY(!app.delegate.menu()->isVisible());
        QTest::keyPress(&app.window, Qt::Key_Alt);
        QTest::keyRelease(&app.window, Qt::Key_Alt);
        QTRY_VERIFY(app.delegate.menu()->isVisible());
        app.delegate.menu()->close();
        QTest::keyPress(&app.window, Qt::Key_Alt);
        QTest::keyClick(&app.window, Qt::Key_X, Qt::AltModifier);
        QTest::keyRelease(&app.window, Qt::Key_Alt);
        QVERIFY(!app.delegate.menu()->isVisible());
    }

    void logout_data() {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<bool>("signedOut");
        QTest::addColumn<QString>("text");
        QTest::newRow("done") << QJsonObject() << true << "";
        QTest::newRow("refused") << QJsonObject{{"kind", "errorcode"}, {"ret", 3}, {"errorcode", 1},
                                        {"msg", "请稍后再试"}}
                                 << false << "请稍后再试";
        QTest::newRow("no ret") << QJsonObject{{"kind", "json"}, {"json", QJsonObject{{"msg", "ok"}}}} << false
                                << textFor("AnswerUnusable");
        QTest::newRow("nothing said") << QJsonObject{{"kind", "shape"}, {"shape", "empty_object"}} << false
                                      << textFor("AnswerUnusable");
    }
    void logout() {
        QFETCH(QJsonObject, fault);
        QFETCH(bool, signedOut);
        QFETCH(QString, text);
        Application app;
        app.world.folder.configure(m_server.httpPort());
        Outcome login;
        app.world.client.helper.login({{"userid", "lin"}, {"password", "Abcdefg1!"}, {"otp", ""}}, login.completion());
        QVERIFY(login.wait());
        app.window.setContentView(new MavMianViewCtrl(app.world.views()));
        auto* pages = find<QStackedWidget>(app.window, "mianTabView");
        QTRY_COMPARE(pages->currentIndex(), 2);
        if (!fault.isEmpty())
            QVERIFY(m_server.fault(LogoutPath, fault));
        m_server.action(u"clear_requests"_s);
        Q_EMIT app.delegate.menu()->aboutToShow();
        app.item("logoutItem")->trigger();
        QVERIFY(!app.item("logoutItem")->isEnabled());
        QTRY_VERIFY(app.world.client.logText().contains(u"[QenDetailWindow] QenCloud logout ret:"_s));
        QTRY_COMPARE(CustomMessageBox::shown().size(), text.isEmpty() ? 0 : 1);
        if (!text.isEmpty())
            QCOMPARE(CustomMessageBox::shown().constFirst()->message(), text);
        QTRY_COMPARE(pages->currentIndex(), signedOut ? 0 : 2);
        QCOMPARE(app.item("logoutItem")->isEnabled(), !signedOut);
        const QJsonObject sent = m_server.requests(LogoutPath).first().toObject().value(u"fields").toObject();
        QCOMPARE(sent.value(u"userid").toString(), u"lin"_s);
        QCOMPARE(sent.value(u"deviceid").toString(), app.world.client.device.uuid());
        QCOMPARE(sent.value(u"msg").toString(), u"logout"_s);
    }

    void logoutWithoutNetworkKeepsTheSession() {
        Application app;
        app.world.folder.configure(m_server.httpPort());
        app.world.signInAs(u"lin"_s);
        m_server.fault(LogoutPath, {{"kind", "close"}});
        app.delegate.setItemsHiddenMenu();
        app.item("logoutItem")->trigger();
        QTRY_COMPARE(CustomMessageBox::shown().size(), 1);
        QVERIFY(app.world.client.logText().contains(u"[QenDetailWindow] QenCloud logout fail msg:"_s));
        QVERIFY(app.world.client.helper.iflogin());
        QVERIFY(app.item("logoutItem")->isEnabled());
    }

    void alertComesFromAnyThreadAndOnce() {
        Application app;
        app.window.show();
        std::thread([&app] {
            app.delegate.showAlertTipForLogin(u"一"_s);
            app.delegate.showAlertTipForLogin(QString());
            app.delegate.showAlertTipForLogin(u"一"_s);
            app.delegate.showAlertTipForLogin(u"二"_s);
        }).join();
        QVERIFY(CustomMessageBox::shown().isEmpty());
        QTRY_COMPARE(CustomMessageBox::shown().size(), 2);
        QCOMPARE(CustomMessageBox::shown().constFirst()->message(), u"一"_s);
        QCOMPARE(CustomMessageBox::shown().constFirst()->parentWidget(), &app.window);
        QTest::keyClick(CustomMessageBox::shown().constFirst(), Qt::Key_Return);
        QCOMPARE(CustomMessageBox::shown().size(), 1);
    }

    void alertIsAnsweredOverASheet() {
        Application app;
        app.window.show();
        app.delegate.ConfigureServerClick();
        QTRY_VERIFY(QApplication::activeModalWidget());
        app.delegate.showAlertTipForLogin(u"一"_s);
        QTRY_COMPARE(CustomMessageBox::shown().size(), 1);
        CustomMessageBox* box = CustomMessageBox::shown().constFirst();
        QVERIFY(QTest::qWaitForWindowExposed(box));
        // To the window, as the display does: whoever is blocked by a sheet gets nothing.
        QTest::keyClick(box->windowHandle(), Qt::Key_Return);
        QTRY_COMPARE(CustomMessageBox::shown().size(), 0);
    }

    void quitGate() {
        Application app;
        app.delegate.applicationDidFinishLaunching();
        app.delegate.terminate();
        QCOMPARE(app.ended, QList<int>{0});
        app.delegate.setTerminateCode(1);
        QVERIFY(!app.delegate.applicationShouldTerminate());
        QCOMPARE(app.delegate.terminateCode(), 0);
        QCOMPARE(app.ended.size(), 1);
        QCOMPARE(CustomMessageBox::shown().size(), 1);
        QCOMPARE(CustomMessageBox::shown().constFirst()->message(), textFor("ForbidenExit"));
        app.delegate.terminate();
        QCOMPARE(app.ended.size(), 2);
        app.delegate.setTerminateCode(5);
        app.delegate.applicationDockMenu();
        QCOMPARE(app.delegate.terminateCode(), 0);
        app.delegate.setTerminateCode(-1);
        app.delegate.applicationDockMenu();
        QCOMPARE(app.delegate.terminateCode(), -1);
        app.item("quitItem")->trigger();
        QTRY_COMPARE(app.ended.size(), 3);
    }

    void aboutAndHelpAreOneWindowEach() {
        Application app;
        app.window.setGeometry(200, 100, 960, 640);
        const auto windows = [](const char* name) {
            QList<QWidget*> found;
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                if (widget->objectName() == QLatin1String(name))
                    found << widget;
            }
            return found;
        };
        for (int round = 0; round < 2; ++round) {
            app.delegate.tapAboutItem();
            app.delegate.tapHelp();
            QCOMPARE(windows("QenAboutWindowController").size(), 1);
            QCOMPARE(windows("QenHelpWebWindowController").size(), 1);
        }
        QWidget* about = windows("QenAboutWindowController").constFirst();
        QWidget* help = windows("QenHelpWebWindowController").constFirst();
        QVERIFY(about->isVisible() && help->isVisible());
        const QRect frame = app.window.geometry();
        QCOMPARE(help->geometry(),
            QRect(frame.x() + 50 + (frame.width() - 920) / 2, frame.y() + 50 + (frame.height() - 600) / 2, 920, 600));
        QVERIFY(find<QLabel>(*about, "versionLab")->text().contains(QStringLiteral(MAV_VERSION)));
        auto* page = find<QTextBrowser>(*help, "helpPage");
        QSet<QString> pages;
        for (int topic = 0; topic < 5; ++topic) {
            pages << page->toPlainText();
            QTest::keyClick(help->focusWidget(), Qt::Key_Down);
        }
        QCOMPARE(pages.size(), 5);
        QVERIFY(!pages.contains(QString()));
        QTest::keyClick(help, Qt::Key_Escape);
        QVERIFY(!help->isVisible());
    }

    void certificateCheck_data() {
        QTest::addColumn<bool>("exists");
        QTest::newRow("there") << true;
        QTest::newRow("not there") << false;
    }
    void certificateCheck() {
        QFETCH(bool, exists);
        int installed = 0;
        ApplicationParts parts;
        parts.checkCaVersion = [exists] { return exists; };
        parts.installStaticMobileconfig = [&installed] { ++installed; };
        Application app(parts);
        app.delegate.checkIsCAVersion();
        QCOMPARE(installed, exists ? 1 : 0);
        const QString log = app.world.client.logText();
        QVERIFY(log.contains(u"[iNacManager] QenCloud Check Ca"_s));
        QCOMPARE(log.contains(u"[iNacManager] QenCloud Ca exist"_s), exists);
    }

private:
    ReferenceServer m_server;
};

QTEST_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
