#include "ViewWorld.h"

#include "MavLoginStateViewCtrl.h"
#include "SpinnerButton.h"

#include <QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

const QString LoginPath = u"/api/public/clientlogin/account_login"_s;
const QString ResetPath = u"/api/public/clientlogin/resetpass"_s;
const QString RetrievalPath = u"/api/public/clientlogin/retrieve_password"_s;
const QString Password = u"Abcdefg1!"_s;

int page(QWidget& view) {
    return find<QStackedWidget>(view, "loginTypeTable")->currentIndex();
}

/// Types account and password and submits them by Enter.
void submit(QWidget& view, const QString& user, const QString& password) {
    type(view, "userIdLb", user);
    type(view, "passwordLb", password);
    enter(view, "passwordLb");
}

} // namespace

class tst_MavLoginStateViewCtrl : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        ViewWorld::prepareApplication();
        m_server.addAccount(u"lin"_s, Password, {}, u"lin@example.com"_s);
        m_server.addAccount(u"mute"_s, Password);
        m_server.addAccount(u"must"_s, Password);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() {
        m_server.clearFaults();
        m_server.action(u"clear_requests"_s);
        m_world.emplace(m_server.httpPort());
        m_view = std::make_unique<MavLoginStateViewCtrl>(m_world->views());
        m_signedIn = 0;
        m_view->setTapLoginBlock([this] { ++m_signedIn; });
        m_view->show();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
    }
    void cleanup() { m_view.reset(); }
    void emptyFieldsAreToldAndNotSent() {
        const auto refuses = [this](const QString& user, const char* field, const char* key) {
            m_world->clearAlerts();
            submit(*m_view, user, QString());
            QCOMPARE(m_world->alerts(), QStringList{textFor(key)});
            QCOMPARE(find<QLabel>(*m_view, qPrintable(QString::fromLatin1(field) + "Error"))->text(), textFor(key));
            QCOMPARE(m_view->focusWidget(), find<QLineEdit>(*m_view, field));
        };
        refuses(QString(), "userIdLb", "AccountNotEmpty");
        refuses(u"lin"_s, "passwordLb", "PwdNotEmpty");
        QTest::qWait(50);
        QVERIFY(m_server.requests(LoginPath).isEmpty());
    }

    void signInEmptiesTheFieldsAndOpensTheNextPage() {
        submit(*m_view, u"lin"_s, Password);
        // A second Enter while the answer is on its way sends nothing.
        enter(*m_view, "passwordLb");
        QTRY_COMPARE(m_signedIn, 1);
        QCOMPARE(m_server.requests(LoginPath).size(), 1);
        QCOMPARE(find<QLineEdit>(*m_view, "userIdLb")->text(), QString());
        QCOMPARE(find<QLineEdit>(*m_view, "passwordLb")->text(), QString());
        QVERIFY(m_world->alerts().isEmpty());
        QVERIFY(m_world->client.helper.iflogin());
        const QString log = m_world->client.logText();
        QVERIFY(log.contains(u"[QenDetailWindow] QenCloud Account login"_s));
        QVERIFY(!log.contains(Password));
    }

    void answersAreShown() {
        const auto code = [](int errorcode) {
            return QJsonObject{{"kind", "errorcode"}, {"ret", 1}, {"errorcode", errorcode}, {"msg", "服务器说"}};
        };
        const auto shape = [](const char* name) { return QJsonObject{{"kind", "shape"}, {"shape", name}}; };
        const QJsonObject text{{"kind", "text"}, {"body", "<html>"}};
        const auto* button = find<SpinnerButton>(*m_view, "loginBtn");
        for (const auto& [fault, told] :
            {std::pair(code(15), textFor("Userblocked")), {code(99), u"服务器说"_s}, {text, textFor("NoAccount")},
                {shape("array"), textFor("AnswerUnusable")}, {shape("no_data"), QString()}, {code(20), QString()}}) {
            QCOMPARE(page(*m_view), 0);
            m_world->clearAlerts();
            QVERIFY(m_server.fault(LoginPath, fault));
            submit(*m_view, u"lin"_s, Password);
            QVERIFY(button->isBusy());
            QTRY_VERIFY(!button->isBusy());
            QCOMPARE(m_world->alerts(), told.isEmpty() ? QStringList() : QStringList(told));
        }
        // The last one wants a new password.
        QCOMPARE(page(*m_view), 1);
        QCOMPARE(m_signedIn, 0);
    }

    void anotherSessionIsNoSuccess() {
        // A sign-out that waits is still there when the answer says "status" 0 without a ticket.
        AccountModel record = recordOf(u"lin"_s);
        record.setIslogout(1);
        m_world->client.store(record);
        m_server.fault(
            LoginPath, {{"kind", "json"}, {"json", QJsonObject{{"ret", 0}, {"data", QJsonObject{{"status", 0}}}}}});
        submit(*m_view, u"lin"_s, Password);
        QTRY_COMPARE(m_world->alerts(), QStringList{textFor("AnswerUnusable")});
        QCOMPARE(m_signedIn, 0);
    }

    void demandedPasswordIsSetUnderTheRules() {
        QVERIFY(m_server.action(u"require_password_change"_s, {{"userid", "must"}}));
        submit(*m_view, u"must"_s, Password);
        QTRY_COMPARE(page(*m_view), 1);
        QVERIFY(m_world->alerts().isEmpty());
        QCOMPARE(m_view->focusWidget(), find<QLineEdit>(*m_view, "fnewPassWordLab"));
        const auto refused = [this](const QString& one, const QString& two, const char* key) {
            m_world->clearAlerts();
            reset(one, two);
            return m_world->alerts() == QStringList{textFor(key)};
        };
        QVERIFY(refused(QString(), QString(), "PwdRuleTips"));
        QVERIFY(refused(u"Newpass1!"_s, u"Newpass1?"_s, "PwdInconsistent"));
        QCOMPARE(m_view->focusWidget(), find<QLineEdit>(*m_view, "confirmPassWordLab"));
        QVERIFY(refused(Password, Password, "NOUseOldPwd"));
        QVERIFY(m_server.requests(ResetPath).isEmpty());
        m_world->clearAlerts();
        reset(u"Newpass1!"_s, u"Newpass1!"_s);
        QTRY_COMPARE(m_signedIn, 1);
        QVERIFY(m_world->alerts().isEmpty());
        QVERIFY(m_world->client.helper.iflogin());
        QCOMPARE(page(*m_view), 0);
    }

    void enterInTheNewPasswordMovesOnWhenItIsGood() {
        m_view->selectLoginTypeTableView(MavLoginStateViewCtrl::ResetPage);
        for (const auto& [text, focused] :
            {std::pair(u"Abcdefgh"_s, u"fnewPassWordLab"_s), {u"Newpass1!"_s, u"confirmPassWordLab"_s}}) {
            type(*m_view, "fnewPassWordLab", text);
            enter(*m_view, "fnewPassWordLab");
            QCOMPARE(m_view->focusWidget()->objectName(), focused);
        }
        QCOMPARE(find<QLabel>(*m_view, "fnewPassWordLabError")->text(), QString());
        QVERIFY(m_world->alerts().isEmpty());
    }

    void resetAnswersAreShown() {
        const QJsonObject wrong{{"kind", "errorcode"}, {"ret", -1}, {"errorcode", 21}, {"msg", "m"}};
        const QJsonObject noTicket{
            {"kind", "json"}, {"json", QJsonObject{{"ret", 0}, {"data", QJsonObject{{"status", 0}}}}}};
        type(*m_view, "userIdLb", u"lin"_s);
        type(*m_view, "passwordLb", Password);
        m_view->selectLoginTypeTableView(MavLoginStateViewCtrl::ResetPage);
        for (const auto& [fault, key, nextPage] :
            {std::tuple(wrong, "ModifyPwdFailedForOldPwdError", 1), {noTicket, "PasswordChanged", 0}}) {
            m_world->clearAlerts();
            QVERIFY(m_server.fault(ResetPath, fault));
            reset(u"Newpass1!"_s, u"Newpass1!"_s);
            QTRY_VERIFY(!find<SpinnerButton>(*m_view, "confirmResetBtn")->isBusy());
            QCOMPARE(m_world->alerts(), QStringList{textFor(key)});
            QCOMPARE(page(*m_view), nextPage);
            QCOMPARE(m_signedIn, 0);
        }
    }

    void retrieval() {
        const auto* steps = find<QStackedWidget>(*m_view, "retrieveTableView");
        press(*m_view, "forgotPasswordBtn");
        QCOMPARE(page(*m_view), 2);
        press(*m_view, "sendUseridBtn");
        QCOMPARE(m_world->alerts(), QStringList{textFor("AccountNotEmpty")});
        QVERIFY(m_server.requests(RetrievalPath).isEmpty());
        m_world->clearAlerts();
        type(*m_view, "getbackLab", u"mute"_s);
        enter(*m_view, "getbackLab");
        QTRY_COMPARE(m_world->alerts(), QStringList{textFor("UserNoMailbox")});
        type(*m_view, "getbackLab", u"lin"_s);
        enter(*m_view, "getbackLab");
        QTRY_COMPARE(steps->currentIndex(), 1);
        const QString told = find<QLabel>(*m_view, "mailInfoLab")->text();
        QVERIFY2(
            told.startsWith(textFor("PasswordSendTo") + u' ') && told.endsWith(u"@example.com"_s), qPrintable(told));
        press(*m_view, "mailBackBtn");
        press(*m_view, "forgotPasswordBtn");
        QCOMPARE(find<QLineEdit>(*m_view, "getbackLab")->text(), QString());
        QCOMPARE(steps->currentIndex(), 0);
    }

    void keyboardReachesEverythingInOrder() {
        find<QLineEdit>(*m_view, "userIdLb")->setFocus();
        const QStringList wanted{
            "userIdLb", "passwordLb", "passwordLbEye", "loginBtn", "forgotPasswordBtn", "backToServerBtn", "userIdLb"};
        QCOMPARE(tabOrder(*m_view, wanted.size()), wanted);
    }

private:
    /// Types the new password twice and submits it.
    void reset(const QString& one, const QString& two) {
        type(*m_view, "fnewPassWordLab", one);
        type(*m_view, "confirmPassWordLab", two);
        press(*m_view, "confirmResetBtn");
    }

    ReferenceServer m_server;
    std::optional<ViewWorld> m_world;
    std::unique_ptr<MavLoginStateViewCtrl> m_view;
    int m_signedIn = 0;
};

QTEST_MAIN(tst_MavLoginStateViewCtrl)
#include "tst_MavLoginStateViewCtrl.moc"
