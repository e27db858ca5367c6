#include "ViewWorld.h"

#include "ClientNotifications.h"
#include "QRCodeView.h"
#include "QenMainLeftBar.h"
#include "SpinnerButton.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QStackedWidget>
#include <QToolButton>

#include <ZXing/ReadBarcode.h>

using namespace Qt::StringLiterals;

namespace {

const QString LoginPath = u"/api/public/clientlogin/account_login"_s;
const QString LogoutPath = u"/api/public/clientlogin/logout"_s;
const QString ResetPath = u"/api/public/clientlogin/resetpass"_s;
const QString StatusPath = u"/api/public/clientlogin/scan_status"_s;
const QString TicketPath = u"/api/public/clientlogin/ticket_auth"_s;
const QString Password = u"Abcdefg1!"_s;

QJsonObject answering(int state) {
    return {{"kind", "state"}, {"state", state}};
}

} // namespace

class tst_QenDetailWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        ViewWorld::prepareApplication();
        m_server.addAccount(u"lin"_s, Password);
        m_server.addAccount(u"code"_s, Password, u"123456"_s);
        m_server.addAccount(u"must"_s, Password);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() {
        m_server.clearFaults();
        for (const char* action : {"reset", "clear_requests"})
            m_server.action(QString::fromLatin1(action));
        m_world.emplace(m_server.httpPort());
        m_bar = std::make_unique<QenMainLeftBar>(m_world->sessionViews());
        m_bar->show();
        m_signedIn = 0;
        m_told = m_world->center.observe(ClientNotification::QRLoginState, [this](const Platform::Notification& told) {
            if (told.object == QVariant(0))
                ++m_signedIn;
        });
    }
    void cleanup() {
        m_bar.reset();
        m_told = {};
        for (CustomMessageBox* window : CustomMessageBox::shown())
            window->close();
        qApp->sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void codeIsShownScannedAndConfirmed() {
        open();
        QCOMPARE(page(), QenDetailWindow::QRPage);
        auto* view = window().findChild<QRCodeView*>();
        QTRY_COMPARE(view->state(), QRCodeView::State::Shown);
        QCOMPARE(label("loginStatusLab"), u"请使用手机客户端扫码登录"_s);
        const QUrl url(readCode(*view));
        QVERIFY2(url.scheme() == u"https", qPrintable(url.toString()));
        const QString target = url.path() + u'?' + url.query(QUrl::FullyEncoded);
        QCOMPARE(m_server.get(target).status, 200);
        QTRY_COMPARE(label("loginStatusLab"), u"已扫码,待确定..."_s);
        QVERIFY(find<QLabel>(window(), "hintLab")->isVisible());
        const QByteArray form = url.query(QUrl::FullyEncoded).toLatin1() + "&userid=lin&decision=confirm";
        QCOMPARE(m_server.post(url.path(), form, {{"Content-Type", "application/x-www-form-urlencoded"}}).status, 200);
        QTRY_VERIFY(!m_window);
        QVERIFY(!m_bar->ishowDetailWin());
        QVERIFY(m_signedIn > 0);
        QVERIFY(m_world->record());
        QCOMPARE(m_world->record()->userid(), u"lin"_s);
        QCOMPARE(m_world->record()->loginType(), qint64(LoginType::QrCode));
        QTRY_VERIFY(label(*m_bar, "userNameLab").contains(u"lin"));
        // The poll of the QR sign-in has stopped, the one of the ticket has begun.
        QTRY_VERIFY(m_server.requests(TicketPath).size() > 1);
        const auto polls = m_server.requests(StatusPath).size();
        QTest::qWait(350);
        QCOMPARE(m_server.requests(StatusPath).size(), polls);
        QVERIFY(m_world->client.logText().contains(u"[QenMainLeftBar] QenCloud Check QRLogin State"_s));
        QVERIFY(!m_world->folder.hasState(u"soleid.archive"_s));
    }

    void codeIsRefreshed() {
        m_world->codeInterval = std::chrono::milliseconds(1100);
        m_bar = std::make_unique<QenMainLeftBar>(m_world->sessionViews());
        open();
        auto* view = window().findChild<QRCodeView*>();
        QTRY_COMPARE(view->state(), QRCodeView::State::Shown);
        const QImage first = view->image();
        // The text carries the second of its making.
        QTRY_VERIFY(view->image() != first);
    }

    void codeThatCannotBeMadeIsTold() {
        m_world->folder.configure(QVariantList());
        open();
        auto* view = window().findChild<QRCodeView*>();
        QTRY_COMPARE(view->state(), QRCodeView::State::Failed);
        m_world->folder.configure(m_server.httpPort());
        QTRY_VERIFY(find<SpinnerButton>(window(), "renewCodeBtn")->isVisible());
        press(window(), "renewCodeBtn");
        QTRY_COMPARE(view->state(), QRCodeView::State::Shown);
    }

    void withoutNetworkTheCodeIsPale() {
        m_world->network.isKnown = true;
        open();
        QTRY_COMPARE(window().findChild<QRCodeView*>()->state(), QRCodeView::State::Offline);
    }

    void polledStates() {
        open();
        // Nothing is told of the first one.
        for (const auto& [state, text] : {std::pair(-7, u"请使用手机客户端扫码登录"_s), {-8, u"设备审核通过"_s},
                 {-6, u"设备审核拒绝"_s}, {-5, u"设备待审核"_s}, {3, u"其它异常"_s}}) {
            m_server.clearFaults();
            m_server.fault(StatusPath, answering(state), 1000);
            const auto asked = m_server.requests(StatusPath).size();
            QVERIFY(m_server.waitForRequests(StatusPath, static_cast<int>(asked) + 3));
            QTRY_COMPARE(label("loginStatusLab"), text);
            QCOMPARE(find<QLabel>(window(), "hintLab")->isVisible(), state == -5);
        }
    }

    void emptyFields() {
        m_world->offer("1", 1, 1);
        openAccountPage();
        const std::tuple<const char*, QString, QString> fields[] = {{"account", u"账号不能为空"_s, u"code"_s},
            {"password", u"密码不能为空"_s, Password}, {"otp", u"OTP不能为空"_s, u"123456"_s}};
        for (const auto& [field, refusal, text] : fields) {
            enter(window(), "account");
            QCOMPARE(label(qPrintable(QString::fromLatin1(field) + "Error")), refusal);
            QCOMPARE(window().focusWidget()->objectName(), QLatin1String(field));
            type(window(), field, text);
        }
        QVERIFY(m_server.requests(LoginPath).isEmpty());
        enter(window(), "otp");
        QTRY_VERIFY(!m_window);
        QVERIFY(m_signedIn > 0);
        QCOMPARE(m_world->record()->userid(), u"code"_s);
        QVERIFY(!m_world->client.logText().contains(Password));
    }

    void onlyTheAccountIsOffered() {
        m_world->offer("0", 0, 1);
        open();
        QCOMPARE(page(), QenDetailWindow::AccountPage);
        QVERIFY(!find<QToolButton>(window(), "qrTabBtn")->isVisible());
        QVERIFY(!find<QLineEdit>(window(), "otp")->isVisible());
    }

    void demandedPassword_data() {
        QTest::addColumn<bool>("isStored");
        QTest::newRow("signs in") << true;
        QTest::newRow("the record cannot be written") << false;
    }
    void demandedPassword() {
        QFETCH(bool, isStored);
        m_server.action(u"set_password"_s, {{"userid", "must"}, {"password", Password}});
        QVERIFY(m_server.action(u"require_password_change"_s, {{"userid", "must"}}));
        openAccountPage();
        signInAs(u"must"_s, Password);
        QTRY_COMPARE(page(), QenDetailWindow::ResetPage);
        QVERIFY(window().isresetPassword());
        QVERIFY(boxTexts().isEmpty());
        if (!isStored)
            QVERIFY(QDir().mkpath(m_world->folder.state(u"login.archive.aside"_s) + u"/in the way"_s));
        type(window(), "newPassword", u"Newpass1!"_s);
        for (const QString& repeated : {u"Newpass1?"_s, u"Newpass1!"_s}) {
            QVERIFY(m_server.requests(ResetPath).isEmpty());
            type(window(), "repeatedPassword", repeated);
            enter(window(), "repeatedPassword");
        }
        const QStringList told{textFor("PasswordChanged") + u'\n' + textFor("SessionNotStored")};
        if (isStored)
            QTRY_VERIFY(!m_window);
        else
            QTRY_COMPARE(boxTexts(), told);
        QCOMPARE(isStored, m_world->record().has_value());
        if (!isStored)
            QTRY_COMPARE(page(), QenDetailWindow::AccountPage);
        QVERIFY(m_world->client.logText().contains(u"[QenDetailWindow] QenCloud resetpassword in qen"_s));
    }

    void signedInWindowStaysAndLogsOut() {
        signInBeforehand();
        open();
        QCOMPARE(page(), QenDetailWindow::SignedInPage);
        QVERIFY(m_server.waitForRequests(TicketPath, 3));
        QTest::qWait(150);
        QVERIFY(m_window);
        QVERIFY(m_server.requests(StatusPath).isEmpty());
        press(window(), "logoutBtn");
        QTRY_COMPARE(page(), QenDetailWindow::QRPage);
        QVERIFY(!m_world->record());
        QVERIFY(m_server.waitForRequests(StatusPath, 1));
        QTRY_COMPARE(label(*m_bar, "userNameLab"), u"未登录"_s);
    }

    void scanThatMakesNoSessionIsTold() {
        const QJsonObject granted{{"ret", 0}, {"data", QJsonObject{{"state", 0}, {"ticket", "T"}, {"userid", ""}}}};
        m_server.fault(StatusPath, {{"kind", "json"}, {"json", granted}}, 1000);
        open();
        QTRY_COMPARE(label("loginStatusLab"), textFor("AnswerUnusable"));
        QVERIFY(!m_world->record());
    }

    void signOutIsAskedForOnce() {
        signInBeforehand();
        open();
        m_server.fault(LogoutPath, {{"kind", "delay"}, {"seconds", 0.5}}, 2);
        auto* button = find<SpinnerButton>(window(), "logoutBtn");
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(m_server.waitForRequests(LogoutPath, 1));
        // Meanwhile the agent writes its note.
        AccountModel record = *m_world->record();
        record.setTicket_state(1);
        m_world->client.store(record);
        QTest::qWait(50);
        QVERIFY(button->isBusy());
        QTRY_COMPARE(page(), QenDetailWindow::QRPage);
    }

    void pendingSignOutIsReported() {
        signInBeforehand();
        AccountModel record = *m_world->record();
        record.setIslogout(1);
        m_world->client.store(record);
        // One that makes no sense for it must not be the last.
        m_server.fault(StatusPath, answering(0), 1);
        m_server.fault(TicketPath, {{"kind", "close"}}, 1000);
        open();
        QTRY_VERIFY(!m_world->record());
        QCOMPARE(m_server.requests(StatusPath).at(0)[u"fields"][u"clientoper"].toInt(), 1);
        QTRY_COMPARE(page(), QenDetailWindow::QRPage);
        QTRY_COMPARE(label(*m_bar, "userNameLab"), u"未登录"_s);
    }

    void sessionEndedByTheServer() {
        signInBeforehand();
        open();
        QVERIFY(m_server.action(u"revoke_ticket"_s));
        QTRY_VERIFY(!m_world->record());
        QTRY_COMPARE(label(*m_bar, "userNameLab"), u"未登录"_s);
        QVERIFY(m_window);
        // Nothing is left to log out from: the window offers the sign-in again.
        QTRY_COMPARE(page(), QenDetailWindow::QRPage);
        QTRY_VERIFY(m_bar->ishowDetailWin());
        const auto asked = m_server.requests(TicketPath).size();
        QTest::qWait(350);
        QCOMPARE(m_server.requests(TicketPath).size(), asked);
    }

    void signInIsToldThoughTheWindowIsClosed() {
        m_server.fault(LoginPath, {{"kind", "delay"}, {"seconds", 0.3}}, 1);
        openAccountPage();
        signInAs(u"lin"_s, Password);
        QVERIFY(m_server.waitForRequests(LoginPath, 1));
        QTest::keyClick(&window(), Qt::Key_Escape);
        QTRY_VERIFY(!m_window);
        QVERIFY(!m_world->record());
        QTRY_COMPARE(m_world->client.session.state(), SessionState::Confirmed);
        QCOMPARE(m_world->record()->userid(), u"lin"_s);
    }

    void failureIsTold_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<bool>("isClosed");
        const QJsonObject blocked{{"kind", "errorcode"}, {"errorcode", 15}, {"msg", "用户已锁定"}};
        QTest::newRow("sign-in, still open") << LoginPath << blocked << false;
        QTest::newRow("sign-in without an answer, still open") << LoginPath << QJsonObject{{"kind", "close"}} << false;
        QTest::newRow("sign-in") << LoginPath << blocked << true;
        QTest::newRow("sign-out") << LogoutPath << blocked << true;
    }
    void failureIsTold() {
        QFETCH(QString, path);
        QFETCH(QJsonObject, fault);
        QFETCH(bool, isClosed);
        const bool isSignIn = path == LoginPath;
        if (!isSignIn)
            signInBeforehand();
        // A request on a kept connection that is cut is sent once more.
        m_server.fault(path, fault, 10);
        if (isSignIn) {
            openAccountPage();
            signInAs(u"lin"_s, Password);
        } else {
            open();
            press(window(), "logoutBtn");
        }
        if (isClosed)
            QTest::keyClick(&window(), Qt::Key_Escape);
        const auto told = [&] { return isClosed ? m_world->alerts() : boxTexts(); };
        QTRY_COMPARE(told().size(), 1);
        QVERIFY(fault.contains(u"msg") ? told().constFirst() == u"用户已锁定" : !told().constFirst().isEmpty());
        QCOMPARE(m_window.isNull(), isClosed);
        if (isClosed)
            return;
        QVERIFY(!find<SpinnerButton>(window(), "confirmBtn")->isBusy());
        QCOMPARE(page(), QenDetailWindow::AccountPage);
        QVERIFY(!m_world->record());
    }

    void silentServerNeverHoldsTheWindow() {
        m_server.fault(u"*"_s, {{"kind", "silent"}}, 1000);
        openAccountPage();
        signInAs(u"lin"_s, Password);
        QVERIFY(m_server.waitForRequests(LoginPath, 1));
        QVERIFY(find<SpinnerButton>(window(), "confirmBtn")->isBusy());
        QElapsedTimer timer;
        timer.start();
        QTest::keyClick(&window(), Qt::Key_Escape);
        QTRY_VERIFY(!m_window);
        m_bar.reset();
        QVERIFY2(timer.elapsed() < 500, qPrintable(QString::number(timer.elapsed())));
    }

    void deviceFactsAreCopied() {
        open();
        QTRY_COMPARE(label("deviceName"), m_world->client.device.machineName());
        for (const char* fact : {"deviceName", "deviceType", "systemVersion", "clientVersion", "ipAddress"}) {
            press(window(), qPrintable(QString::fromLatin1(fact) + "Copy"));
            QCOMPARE(QGuiApplication::clipboard()->text(), label(fact));
        }
        QVERIFY(find<QLabel>(window(), "alertTip")->isVisible());
        QTRY_VERIFY(!find<QLabel>(window(), "alertTip")->isVisible());
    }

    void keyboardReachesEverythingInOrder() {
        openAccountPage();
        QTRY_VERIFY(find<QToolButton>(window(), "macAddressCopy")->isEnabled());
        const QStringList wanted{"account", "password", "passwordEye", "confirmBtn", "deviceNameCopy", "deviceTypeCopy",
            "systemVersionCopy", "clientVersionCopy", "ipAddressCopy", "macAddressCopy", "qrTabBtn", "accountTabBtn"};
        QCOMPARE(tabOrder(window(), wanted.size()), wanted);
    }

    void tabsAndLooksOfTheBar() {
        QList<int> reported;
        m_bar->setTabCallback([&](int tag) { reported << tag; });
        auto* detail = find<QToolButton>(*m_bar, "detailBtn");
        QTest::mouseClick(detail, Qt::LeftButton);
        QVERIFY(detail->isChecked());
        m_bar->switchbtnsecond();
        m_bar->functionListHandleWithTag(7, true);
        QVERIFY(find<QToolButton>(*m_bar, "toolsTabBtn")->isChecked() && !detail->isChecked());
        QCOMPARE(reported, QList<int>{2});
        m_bar->setHideDetilBtn(true);
        QVERIFY(!detail->isVisible());
        // The pointer brings another picture up, and the level changes it.
        auto* avatar = find<QToolButton>(*m_bar, "avatarBtn");
        const auto drawn = [avatar] { return avatar->grab().toImage(); };
        QList<QImage> looks{drawn()};
        avatar->setAttribute(Qt::WA_UnderMouse);
        looks << drawn();
        m_bar->setUIWithWarnLevel(2);
        looks << drawn();
        QVERIFY(looks[0] != looks[1] && looks[1] != looks[2]);
    }

    void onlyATicketIsPolled() {
        m_bar->StartCheckTicketStatus();
        QTest::qWait(350);
        m_world->signInAs(u"lin"_s, LoginType::Domain);
        QTest::qWait(350);
        QVERIFY(m_server.requests(TicketPath).isEmpty());
    }

private:
    QenDetailWindow& window() {
        QenDetailWindow* open = m_window.data();
        if (!open)
            qFatal("the login window is not open");
        return *open;
    }
    void open() {
        m_bar->openDetailWindow(m_bar.get());
        m_window = m_bar->findChild<QenDetailWindow*>();
        QVERIFY(m_window);
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        QVERIFY(window().isModal());
    }
    void openAccountPage() {
        open();
        press(window(), "accountTabBtn");
        QCOMPARE(page(), QenDetailWindow::AccountPage);
    }
    void signInAs(const QString& user, const QString& password) {
        type(window(), "account", user);
        type(window(), "password", password);
        press(window(), "confirmBtn");
    }
    /// As at a start of the program with a session that the server confirms.
    void signInBeforehand() {
        Outcome outcome;
        m_world->client.helper.login({{"userid", "lin"}, {"password", Password}, {"otp", ""}}, outcome.completion());
        QVERIFY(outcome.wait());
        QVERIFY(m_world->client.helper.isCheckAndShow());
        m_bar = std::make_unique<QenMainLeftBar>(m_world->sessionViews());
        m_bar->show();
    }
    int page() { return find<QStackedWidget>(window(), "loginPages")->currentIndex(); }
    static QString label(QWidget& root, const char* name) { return find<QLabel>(root, name)->text(); }
    QString label(const char* name) { return label(window(), name); }
    /// What a phone reads from the screen.
    static QString readCode(QWidget& view) {
        const QImage grey = view.grab().toImage().convertToFormat(QImage::Format_Grayscale8);
        const ZXing::Result read = ZXing::ReadBarcode({grey.constBits(), grey.width(), grey.height(),
            ZXing::ImageFormat::Lum, static_cast<int>(grey.bytesPerLine())});
        return read.isValid() ? QString::fromStdString(read.text()) : u"unreadable"_s;
    }

    ReferenceServer m_server;
    std::optional<ViewWorld> m_world;
    std::unique_ptr<QenMainLeftBar> m_bar;
    QPointer<QenDetailWindow> m_window;
    Platform::NotificationCenter::Observer m_told;
    std::atomic<int> m_signedIn{0};
};

QTEST_MAIN(tst_QenDetailWindow)
#include "tst_QenDetailWindow.moc"
