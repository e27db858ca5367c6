#include "ViewWorld.h"

#include "ClientNotifications.h"
#include "MavMianViewCtrl.h"
#include "MavNavigationViewCtrl.h"
#include "MavServerSetingWinCtrl.h"
#include "SpinnerButton.h"

#include <QElapsedTimer>
#include <QStackedWidget>

#include <semaphore>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QString TicketPath = u"/api/public/clientlogin/ticket_auth"_s;

int page(MavMianViewCtrl& view) {
    return find<QStackedWidget>(view, "mianTabView")->currentIndex();
}

void submitServer(QWidget& view, const QString& address, const QString& port) {
    type(view, "domainOrIPLab", address);
    type(view, "PortLab", port);
    enter(view, "PortLab");
}

} // namespace

class tst_MavMianViewCtrl : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        ViewWorld::prepareApplication();
        m_server.addAccount(u"lin"_s, u"Abcdefg1!"_s);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() { m_server.clearFaults(); }

    void firstStartIsEmptyAndLaterOnesKnowTheServer() {
        ViewWorld world;
        world.folder.configure({QVariantList{"10.0.0.1", 80}, QVariantList{"203.0.113.7", 8443}});
        MavMianViewCtrl first(world.views());
        QCOMPARE(page(first), 0);
        QCOMPARE(find<QLineEdit>(first, "domainOrIPLab")->text(), QString());
        QCOMPARE(find<QLineEdit>(first, "PortLab")->text(), QString());
        Platform::UserDefaults stored(world.folder.file(u"defaults.plist"_s));
        QVERIFY(stored.boolForKey(u"firstInstallMark"_s));
        MavMianViewCtrl later(world.views());
        QCOMPARE(find<QLineEdit>(later, "domainOrIPLab")->text(), u"203.0.113.7"_s);
        QCOMPARE(find<QLineEdit>(later, "PortLab")->text(), u"8443"_s);
    }

    void badEntryIsToldAndNotSaved() {
        ViewWorld world;
        MavMianViewCtrl view(world.views());
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        const auto refuses = [&](const QString& address, const QString& port, const char* field, const char* key) {
            world.clearAlerts();
            submitServer(view, address, port);
            QCOMPARE(world.alerts(), QStringList{textFor(key)});
            const auto* error = find<QLabel>(view, qPrintable(QString::fromLatin1(field) + "Error"));
            QCOMPARE(error->isVisible() ? error->text() : QString(), textFor(key));
            QCOMPARE(view.focusWidget(), find<QLineEdit>(view, field));
        };
        refuses(u"10.0.0"_s, u"8a"_s, "domainOrIPLab", "IPOrDomainNameNonconformance");
        refuses(u"10.0.0.1"_s, u"8a"_s, "PortLab", "PortIncorrect");
        QVERIFY(!world.folder.hasState(u"domianorip.archive"_s));
        QVERIFY(!find<SpinnerButton>(view, "saveServerBtn")->isBusy());
    }

    void failedWriteIsOnlyLogged() {
        ViewWorld world(m_server.httpPort());
        QDir(world.folder.support() + u"/QenCloudL"_s).removeRecursively();
        QFile file(world.folder.support() + u"/QenCloudL"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
        MavMianViewCtrl view(world.views());
        submitServer(view, u"127.0.0.1"_s, QString());
        QTRY_COMPARE(page(view), 1);
        QVERIFY(world.client.logText().contains(u"设置服务器失败"_s));
        QVERIFY(world.alerts().isEmpty());
    }

    void validTicketOpensTheSignedInPageAndEndsThePoll() {
        ViewWorld world(m_server.httpPort());
        signInBefore(world);
        // Answers that do not say "valid" leave the poll running.
        m_server.fault(TicketPath, {{"kind", "shape"}, {"shape", "no_data"}}, 2);
        m_server.action(u"clear_requests"_s);
        MavMianViewCtrl view(world.views());
        QCOMPARE(page(view), 0);
        QTRY_COMPARE(page(view), 2);
        QCOMPARE(m_server.requests(TicketPath).size(), 3);
        QTest::qWait(350);
        QCOMPARE(m_server.requests(TicketPath).size(), 3);
        QVERIFY(world.client.logText().contains(u"[QenDetailWindow] QenCloud Check ticket response msg:"_s));
        world.center.post(u"UpdateLogoutStatusNotificationKey"_s, 0);
        QTRY_COMPARE(page(view), 0);
    }

    void closingThePollWaitsForNoTick() {
        ViewWorld world;
        world.signInAs(u"lin"_s);
        std::counting_semaphore<> asked{0};
        std::counting_semaphore<> answered{0};
        ClientFolder::listing = [&] {
            asked.release();
            answered.acquire();
        };
        {
            MavMianViewCtrl view(world.views());
            QVERIFY(asked.try_acquire_for(std::chrono::seconds(5)));
            const std::jthread late([&answered] {
                std::this_thread::sleep_for(std::chrono::seconds(1));
                answered.release(1000);
            });
            QElapsedTimer timer;
            timer.start();
            view.closeCheckTicketStatus();
            QVERIFY2(timer.elapsed() < 500, qPrintable(QString::number(timer.elapsed())));
        }
        world.client.work.wait();
        ClientFolder::listing = {};
    }

    void domainSessionIsNotPolled() {
        ViewWorld world(m_server.httpPort());
        m_server.action(u"clear_requests"_s);
        world.signInAs(u"lin"_s, LoginType::Domain);
        MavMianViewCtrl atTheStart(world.views());
        QTest::qWait(350);
        QVERIFY(m_server.requests(TicketPath).isEmpty());
        world.signInAs(u"lin"_s);
        QTRY_VERIFY(!m_server.requests(TicketPath).isEmpty());
        world.signInAs(u"lin"_s, LoginType::Domain);
        QTest::qWait(50);
        const auto sent = m_server.requests(TicketPath).size();
        QTest::qWait(350);
        QCOMPARE(m_server.requests(TicketPath).size(), sent);
    }

    void lateTicketAnswerShowsNothing() {
        ViewWorld world(m_server.httpPort());
        signInBefore(world);
        m_server.fault(TicketPath, {{"kind", "delay"}, {"seconds", 0.4}}, 100);
        m_server.action(u"clear_requests"_s);
        MavMianViewCtrl view(world.views());
        QTRY_VERIFY(!m_server.requests(TicketPath).isEmpty());
        world.client.store(std::nullopt);
        QTRY_VERIFY(world.client.logText().contains(u"Check ticket response msg"_s));
        QTest::qWait(50);
        QCOMPARE(page(view), 0);
    }

    void endOfASessionLeavesTheNextOneItsPage() {
        ViewWorld world(m_server.httpPort());
        world.signInAs(u"old"_s);
        const AskedFor asked = world.client.session.asked();
        MavMianViewCtrl view(world.views());
        Outcome login;
        world.client.helper.login({{"userid", "lin"}, {"password", "Abcdefg1!"}, {"otp", ""}}, login.completion());
        QTRY_COMPARE(page(view), 2);
        view.UpdateTableView(asked);
        QTest::qWait(50);
        QCOMPARE(page(view), 2);
        view.UpdateTableView(world.client.session.asked());
        QTRY_COMPARE(page(view), 0);
    }

    void endOfSession() {
        for (const auto& [object, ends] :
            {std::pair(QVariant(1), false), {QVariant(QVariantList{2}), false}, {QVariant(2), true}}) {
            ViewWorld world;
            world.signInAs(u"lin"_s);
            MavMianViewCtrl view(world.views());
            find<QStackedWidget>(view, "mianTabView")->setCurrentIndex(2);
            // As the agent's side posts it: from a thread of its own.
            std::thread([&center = world.center, told = object] {
                center.post(ClientNotification::TicketTimeOut, told);
            }).join();
            QTRY_COMPARE(page(view), 0);
            QTRY_COMPARE(world.folder.hasState(u"login.archive"_s), !ends);
            QTRY_COMPARE(world.folder.hasState(u"soleid.archive"_s), ends);
            QTRY_COMPARE(world.alerts(), ends ? QStringList{textFor("TicketTips")} : QStringList());
        }
    }

    void sessionEndedByTheServerIsTold() {
        ViewWorld world(m_server.httpPort());
        signInBefore(world);
        MavMianViewCtrl view(world.views());
        QTRY_COMPARE(page(view), 2); // its own poll ends here
        // One that waits for approval stays.
        for (const int state : {-5, -7}) {
            QCOMPARE(page(view), 2);
            QVERIFY(world.alerts().isEmpty());
            m_server.fault(TicketPath, {{"kind", "state"}, {"state", state}});
            Outcome check;
            world.client.helper.checkTicketStatus(check.completion());
            QVERIFY(check.wait());
            QTest::qWait(50);
        }
        QTRY_COMPARE(page(view), 0);
        QCOMPARE(world.alerts(), QStringList{textFor("SessionEnded")});
    }

    void signInOpensItsPageOnce() {
        ViewWorld world(m_server.httpPort());
        QWidget window;
        auto* elsewhere = new QLineEdit(&window);
        MavMianViewCtrl view(world.views(), &window);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        submitServer(view, u"127.0.0.1"_s, QString());
        QTRY_COMPARE(page(view), 1);
        QVERIFY(world.client.logText().contains(u"设置服务器成功"_s));
        press(view, "backToServerBtn");
        QCOMPARE(page(view), 0);
        press(view, "saveServerBtn");
        QTRY_COMPARE(page(view), 1);
        type(view, "userIdLb", u"lin"_s);
        type(view, "passwordLb", u"Abcdefg1!"_s);
        // Whoever turns to something else as soon as the page is there is not called back by the answer's own end.
        connect(&world.client.session, &Session::changed, elsewhere, [elsewhere] { elsewhere->setFocus(); });
        auto* button = find<SpinnerButton>(view, "loginBtn");
        button->setFocus(Qt::TabFocusReason);
        QTest::keyClick(button, Qt::Key_Space);
        QTRY_COMPARE(page(view), 2);
        QTRY_VERIFY(!button->isBusy());
        QTest::qWait(50);
        QCOMPARE(window.focusWidget(), elsewhere);
        QVERIFY(find<QLineEdit>(view, "passwordLb")->text().isEmpty());
    }

    void domainSessionOpensTheSignedInPage() {
        ViewWorld world;
        MavMianViewCtrl early(world.views());
        QCOMPARE(page(early), 0);
        // The news without the fact opens nothing.
        world.center.post(ClientNotification::QRLoginState, 0);
        QTest::qWait(50);
        QCOMPARE(page(early), 0);
        world.signInAs(u"lin"_s, LoginType::Domain);
        QTRY_COMPARE(page(early), 2);
        MavMianViewCtrl later(world.views());
        QCOMPARE(page(later), 2);
        // A notice of its record is not its end.
        world.center.post(ClientNotification::TicketTimeOut);
        QTest::qWait(50);
        QCOMPARE(page(later), 2);
        world.center.post(ClientNotification::TicketTimeOut, 2);
        QTRY_COMPARE(page(later), 0);
    }

    void signOutThatWaitsIsToldOnTheServerPage() {
        ViewWorld world;
        AccountModel record = recordOf(u"lin"_s);
        record.setIslogout(1);
        world.client.store(record);
        MavMianViewCtrl view(world.views());
        QCOMPARE(page(view), 0);
        const auto* note = find<QLabel>(view, "serverNoteLab");
        QVERIFY(!note->isHidden());
        QCOMPARE(note->text(), textFor("SignOutPending"));
        world.client.store(std::nullopt);
        QTRY_VERIFY(note->isHidden());
    }

    void networkStateIsShown() {
        ViewWorld world;
        MavNavigationViewCtrl view(world.views());
        const auto* text = find<QLabel>(view, "networkLab");
        QTRY_COMPARE(text->text(), textFor("ReconnectServer"));
        // What is no status leaves the one before.
        for (const auto& [status, isOnline] :
            {std::pair(1, true), {3, true}, {-2, true}, {-1, false}, {2, true}, {0, false}, {3, false}}) {
            view.updateNetWorkStatus(status);
            QCOMPARE(text->text(), textFor(isOnline ? "MavSuccess" : "ReconnectServer"));
            QCOMPARE(find<QLabel>(view, "noteLab")->isHidden(), isOnline);
        }
    }

    void sheetRefusesWithoutAWord() {
        ClientFolder folder;
        QWidget window;
        window.show();
        MavServerSetingWinCtrl sheet(folder.support(), &window);
        QList<int> results;
        connect(&sheet, &QDialog::finished, this, [&results](int result) { results << result; });
        sheet.beginSheet();
        submitServer(sheet, u"10.0.0.1"_s, u"8a0"_s);
        submitServer(sheet, u"mav.example.com"_s, u"80"_s);
        QVERIFY(results.isEmpty());
        QTest::keyClick(&sheet, Qt::Key_Escape);
        QCOMPARE(results, QList<int>{0});
        QVERIFY(!folder.hasState(u"domianorip.archive"_s));
        sheet.beginSheet();
        submitServer(sheet, u"10.0.0.1"_s, QString());
        QCOMPARE(results, (QList<int>{0, 1}));
        const QVariant pair = QVariantList{u"10.0.0.1"_s, QString()};
        const auto saved = folder.read(u"domianorip.archive"_s);
        QVERIFY(saved && saved->isMutable());
        QCOMPARE(saved->toVariant(), QVariant(QVariantList{pair, pair}));
    }

private:
    /// Leaves the record of an earlier run, which nobody has confirmed yet.
    static void signInBefore(ViewWorld& world) {
        {
            ClientWorld earlier(world.folder);
            Outcome login;
            earlier.helper.login({{"userid", "lin"}, {"password", "Abcdefg1!"}, {"otp", ""}}, login.completion());
            QVERIFY(login.wait());
        }
        world.client.session.current();
        QCoreApplication::processEvents();
    }

    ReferenceServer m_server;
};

QTEST_MAIN(tst_MavMianViewCtrl)
#include "tst_MavMianViewCtrl.moc"
