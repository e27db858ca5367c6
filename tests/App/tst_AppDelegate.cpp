#include "ViewWorld.h"

#include "AppDelegate.h"
#include "BusConnection.h"
#include "Client.h"
#include "CustomMessageBox.h"
#include "FormField.h"
#include "MavExportLogController.h"
#include "MavMianViewCtrl.h"
#include "QenMainWindow.h"
#include "TrayHost.h"
#include "WindowContents.h"

#include <QDialog>
#include <QMenu>
#include <QStackedWidget>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;

namespace {

const QString LogoutPath = u"/api/public/clientlogin/logout"_s;

/// The running application in a home of its own, without a desktop's tray.
class Application {
public:
    explicit Application(std::chrono::milliseconds processListenerDelay = 30s)
        : delegate({client, window, trayHost, [this](int status) { ended << status; }, processListenerDelay}) {}
    void writeForAgent(const QString& name, const QVariant& value) {
        QVERIFY(
            archiveRootObject(Platform::ArchiveValue::fromVariant(value), home.agent() + u'/' + name + u".archive"_s));
    }
    void hideTray(bool hidden) {
        writeForAgent(u"hideqenswitch"_s, hidden ? u"1"_s : u"0"_s);
        client.center.post(u"HideTrayForConfigNotificationKey"_s);
    }
    void signInAs(const QString& user) { home.store(recordOf(user), client.session); }
    QMenu* menu() { return find<QMenu>(window, "applicationMenu"); }
    QAction* item(const char* name) { return menu()->findChild<QAction*>(QString::fromLatin1(name)); }
    QString logText() { return home.logText(client.log); }

    RunningHome home;
    Client client;
    Platform::BusConnection bus{u"unix:path=/no/such/bus"_s};
    Platform::TrayHost trayHost{bus};
    QList<int> ended;
    QenMainWindow window{client.defaults};
    AppDelegate delegate;
};

/// Notes what is wrong with the windows it comes by.
struct Walk {
    QWidget& main;
    QStringList faults;

    void look(const QString& where, QWidget& window) {
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTest::qWait(50);
        for (const QString& fault : doorsShut(window))
            faults << where + u": "_s + fault;
    }
    /// Each page of a stack, also after a refusal.
    void lookAtPages(const char* stack, QWidget& window) {
        auto* pages = find<QStackedWidget>(window, stack);
        for (int page = 0; page < pages->count(); ++page) {
            pages->setCurrentIndex(page);
            const QString where = u"%1 %2"_s.arg(QLatin1StringView(stack)).arg(page);
            look(where, window);
            if (auto* field = pages->currentWidget()->findChild<FormField*>()) {
                field->setError(textFor("PwdFormatError"));
                look(where + u", refused"_s, window);
            }
        }
    }
    /// What opens over the main window, which gets the keyboard back.
    void lookOver(const QString& where, const std::function<void()>& open) {
        open();
        QTRY_VERIFY(QApplication::activeWindow() && QApplication::activeWindow() != &main);
        QWidget* window = QApplication::activeWindow();
        look(where, *window);
        window->close();
        QTRY_VERIFY(QApplication::activeWindow() != window);
    }
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

    void launchRunsItsSteps() {
        Application app(500ms);
        app.home.configure(m_server.httpPort());
        app.delegate.setTerminateCode(7);
        app.delegate.applicationDidFinishLaunching();
        QCOMPARE(app.delegate.terminateCode(), -1);
        QVERIFY(app.home.hasState(u"soleid.archive"_s));
        // The channel listens.
        QVERIFY(QFile::exists(app.home.file(u"run/mav/QenCloudUIIPCListeningKey"_s)));
        // The tray is looked at later, in the event loop.
        QVERIFY(!app.window.isVisible());
        QTRY_VERIFY(app.window.isVisible());
        QVERIFY(app.delegate.hasStatusItem());
        // A window that was closed comes back when the program is started once more, or its item is pressed.
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
        // The network is chosen at once, and again by the watchdog's first look.
        QTRY_VERIFY(app.home.hasState(u"netType.archive"_s));
        QVERIFY(QFile::remove(app.home.state(u"netType.archive"_s)));
        QTRY_VERIFY(app.home.hasState(u"netType.archive"_s));
        // The agent's files are followed.
        QVERIFY(archiveRootObject(u"1"_s, app.home.agent() + u"/hideqenswitch.archive"_s));
        QTRY_VERIFY_WITH_TIMEOUT(!app.window.isVisible(), 8000);
        const QString log = app.logText();
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

    void windowRemembersItsPlace() {
        Application app;
        app.window.show();
        app.window.setGeometry(30, 40, 880, 650); // no higher than the platform's screen
        app.window.close();
        QenMainWindow again(app.client.defaults);
        QCOMPARE(again.size(), QSize(880, 650));
        QCOMPARE(again.minimumSize(), QSize(880, 600));
    }

    void menuFollowsTheLogin() {
        Application app;
        const auto states = [&app] {
            Q_EMIT app.menu()->aboutToShow();
            return QList<bool>{app.item("modifyPasswordItem")->isEnabled(), app.item("logoutItem")->isEnabled()};
        };
        QCOMPARE(states(), (QList<bool>{false, false}));
        QVERIFY(!app.item("logoutItem")->toolTip().isEmpty());
        app.signInAs(u"lin"_s);
        QCOMPARE(states(), (QList<bool>{true, true}));

        app.window.show();
        const auto* exportItem = app.item("exportLogsItem");
        for (const char* name : {"modifyPasswordItem", "serverSettingsItem", "exportLogsItem"}) {
            app.item(name)->trigger();
            QVERIFY2(QApplication::activeModalWidget(), name);
            QApplication::activeModalWidget()->close();
        }
        auto* sheet = app.window.findChild<MavExportLogController*>();
        QVERIFY(sheet && exportItem->isEnabled());
        // The end is seen in a menu that is open.
        Q_EMIT sheet->exportingChanged(true);
        QVERIFY(!exportItem->isEnabled());
        QVERIFY(exportItem->toolTip() != exportItem->text());
        Q_EMIT sheet->exportingChanged(false);
        QVERIFY(exportItem->isEnabled());
    }

    void menuOpensByKeys() {
        Application app;
        app.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&app.window));
        QTest::keyClick(&app.window, Qt::Key_F10);
        QTRY_VERIFY(app.menu()->isVisible());
        QTest::keyClick(app.menu(), Qt::Key_Escape);
        QVERIFY(!app.menu()->isVisible());
        QTest::keyPress(&app.window, Qt::Key_Alt);
        QTest::keyRelease(&app.window, Qt::Key_Alt);
        QTRY_VERIFY(app.menu()->isVisible());
        app.menu()->close();
        QTest::keyPress(&app.window, Qt::Key_Alt);
        QTest::keyClick(&app.window, Qt::Key_X, Qt::AltModifier);
        QTest::keyRelease(&app.window, Qt::Key_Alt);
        QVERIFY(!app.menu()->isVisible());
    }

    void logout_data() {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<QString>("text");
        QTest::newRow("done") << QJsonObject() << QString();
        QTest::newRow("refused") << QJsonObject{{"kind", "errorcode"}, {"ret", 3}, {"errorcode", 1}, {"msg", "稍后"}}
                                 << u"稍后"_s;
        QTest::newRow("nothing said") << QJsonObject{{"kind", "shape"}, {"shape", "empty_object"}}
                                      << textFor("AnswerUnusable");
    }
    void logout() {
        QFETCH(QJsonObject, fault);
        QFETCH(QString, text);
        Application app;
        app.home.configure(m_server.httpPort());
        Outcome login;
        app.client.login.login({{"userid", "lin"}, {"password", "Abcdefg1!"}, {"otp", ""}}, login.completion());
        QVERIFY(login.wait());
        Platform::Reachability reachability;
        WindowContents contents(app.client, app.delegate, app.window, reachability, app.bus);
        app.window.setContentView(new MavMianViewCtrl(contents.world()));
        auto* pages = find<QStackedWidget>(app.window, "mianTabView");
        QTRY_COMPARE(pages->currentIndex(), 2);
        if (!fault.isEmpty())
            QVERIFY(m_server.fault(LogoutPath, fault));
        m_server.action(u"clear_requests"_s);
        Q_EMIT app.menu()->aboutToShow();
        app.item("logoutItem")->trigger();
        QVERIFY(!app.item("logoutItem")->isEnabled());
        QTRY_VERIFY(app.logText().contains(u"[QenDetailWindow] QenCloud logout ret:"_s));
        QTRY_COMPARE(boxTexts(), text.isEmpty() ? QStringList() : QStringList(text));
        QTRY_COMPARE(pages->currentIndex(), text.isEmpty() ? 0 : 2);
        QCOMPARE(app.item("logoutItem")->isEnabled(), !text.isEmpty());
        const QJsonObject sent = m_server.requests(LogoutPath).first().toObject().value(u"fields").toObject();
        QCOMPARE(sent.value(u"userid").toString(), u"lin"_s);
        QCOMPARE(sent.value(u"deviceid").toString(), app.client.device.uuid());
        QCOMPARE(sent.value(u"msg").toString(), u"logout"_s);
    }

    /// By Tab alone, and for somebody who hears it.
    void everyWindowIsOpenToEverybody_data() {
        QTest::addColumn<qreal>("typeScale");
        QTest::newRow("type of ours") << 1.0;
        QTest::newRow("half as large again") << 1.5;
    }
    void everyWindowIsOpenToEverybody() {
        QFETCH(qreal, typeScale);
        Theme::apply(*qApp, typeScale);
        const auto before = qScopeGuard([] { Theme::apply(*qApp, 1); });
        Application app;
        app.home.configure(m_server.httpPort());
        const QString longName = u"一个名字很长很长很长很长很长很长很长很长的办公工具"_s;
        app.writeForAgent(u"appmgrlist"_s,
            QVariantList{QVariantMap{{"appname", u"邮件"_s}, {"desturl", u"https://mail.example"_s}},
                QVariantMap{{"appname", longName}, {"desturl", u"https://a.example"_s}}});
        app.writeForAgent(u"ngncloudlist"_s,
            QVariantMap{{"trustedapp", QVariantList{QVariantMap{{"categoryname", longName}, {"appname", longName}}}}});
        app.writeForAgent(
            u"userlogin"_s, QVariantMap{{"double_factor_auth", u"1"_s}, {"qrcode_login", 1}, {"pc_account_login", 1}});
        app.writeForAgent(u"complianceInfo"_s, QVariantMap{{"access", QVariantMap{{"is_disk_encrypt", u"1"_s}}}});
        Platform::Reachability reachability;
        WindowContents contents(app.client, app.delegate, app.window, reachability, app.bus);
        MainViewWorld world = contents.world();
        world.probeDelay = 0ms;
        app.window.setContentView(new MavMianViewCtrl(world));
        app.window.resize(app.window.minimumSize());
        app.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&app.window));
        QCOMPARE(find<QLineEdit>(app.window, "PortLab")->font().pixelSize(), qRound(14 * typeScale));
        auto* pages = find<QStackedWidget>(app.window, "mianTabView");
        Walk walk{app.window, {}};
        walk.look(u"server page"_s, app.window);
        type(app.window, "domainOrIPLab", u"127.0.0.1"_s);
        type(app.window, "PortLab", QString::number(m_server.httpPort()));
        press(app.window, "saveServerBtn");
        QTRY_COMPARE(pages->currentIndex(), 1);
        walk.lookAtPages("loginTypeTable", app.window);
        contents.world().openDetailWindow(&app.window);
        QTRY_VERIFY(QApplication::activeModalWidget());
        walk.lookAtPages("loginPages", *QApplication::activeModalWidget());
        QApplication::activeModalWidget()->close();
        Outcome login;
        app.client.login.login({{"userid", "lin"}, {"password", "Abcdefg1!"}, {"otp", ""}}, login.completion());
        QVERIFY(login.wait());
        QTRY_COMPARE(pages->currentIndex(), 2);
        walk.lookAtPages("tabView", app.window);
        find<QStackedWidget>(app.window, "tabView")->setCurrentIndex(1);
        walk.lookOver(u"trusted"_s, [&app] { press(app.window, "applistButton"); });
        Q_EMIT app.menu()->aboutToShow();
        for (const char* name : {"modifyPasswordItem", "serverSettingsItem", "exportLogsItem"})
            walk.lookOver(QLatin1StringView(name), [&app, name] { app.item(name)->trigger(); });
        walk.lookOver(u"about"_s, [&app] { app.delegate.tapAboutItem(); });
        walk.lookOver(u"help"_s, [&app] { app.delegate.tapHelp(); });
        walk.lookOver(u"alert"_s, [&app] { app.delegate.showAlertTipForLogin(u"一"_s); });
        walk.lookOver(u"long alert"_s, [&app] { app.delegate.showAlertTipForLogin(u"很长。"_s.repeated(1000)); });
        QVERIFY2(walk.faults.isEmpty(), qPrintable(walk.faults.join(u'\n')));
    }

    void alertComesFromAnyThreadAndOnce() {
        Application app;
        app.window.show();
        std::thread([&app] {
            for (const QString& text : {u"一"_s, QString(), u"一"_s, u"二"_s})
                app.delegate.showAlertTipForLogin(text);
        }).join();
        QVERIFY(boxTexts().isEmpty());
        QTRY_COMPARE(boxTexts().size(), 2);
        QVERIFY(boxTexts().contains(u"一"_s) && boxTexts().contains(u"二"_s));
        for (const CustomMessageBox* box : CustomMessageBox::shown())
            QCOMPARE(box->parentWidget(), &app.window);
        QTest::keyClick(CustomMessageBox::shown().constFirst(), Qt::Key_Return);
        QCOMPARE(boxTexts().size(), 1);
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
        app.delegate.applicationShouldTerminate();
        QCOMPARE(app.ended, QList<int>{0});
        app.delegate.setTerminateCode(1);
        QVERIFY(!app.delegate.applicationShouldTerminate());
        QCOMPARE(app.ended.size(), 1);
        QCOMPARE(boxTexts(), QStringList{textFor("ForbidenExit")});
        app.delegate.applicationShouldTerminate();
        QCOMPARE(app.ended.size(), 2);
        for (const auto& [code, left] : {std::pair(5, 0), {-1, -1}}) {
            app.delegate.setTerminateCode(code);
            app.delegate.applicationDockMenu();
            QCOMPARE(app.delegate.terminateCode(), left);
        }
        app.item("quitItem")->trigger();
        QTRY_COMPARE(app.ended.size(), 3);
    }

    void aboutAndHelpAreOneWindowEach() {
        Application app;
        app.window.setGeometry(200, 100, 960, 640);
        for (int round = 0; round < 2; ++round) {
            app.delegate.tapAboutItem();
            app.delegate.tapHelp();
        }
        QWidgetList windows = QApplication::topLevelWidgets();
        windows.removeIf([](const QWidget* window) { return !window->isVisible(); });
        QCOMPARE(windows.size(), 2);
        if (windows[0]->objectName().contains(u"Help"))
            windows.swapItemsAt(0, 1);
        QVERIFY(find<QLabel>(*windows[0], "versionLab")->text().contains(QStringLiteral(MAV_VERSION)));
        QCOMPARE(windows[1]->geometry().center(), app.window.geometry().center() + QPoint(50, 50));
        QTest::keyClick(windows[1], Qt::Key_Escape);
        QVERIFY(!windows[1]->isVisible());
    }

private:
    ReferenceServer m_server;
};

QTEST_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
