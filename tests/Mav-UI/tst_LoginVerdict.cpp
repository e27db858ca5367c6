#include "LoginVerdict.h"
#include "NetworkLook.h"
#include "PasswordVerdict.h"
#include "ServerAddress.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;
using LoginShow = LoginVerdict::Show;
using PasswordShow = PasswordVerdict::Show;
using RetrievalShow = RetrievalVerdict::Show;

namespace {

QJsonObject json(const char* text) {
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

const Error NoError;
const Error NotJson(Platform::CocoaErrorDomain, Error::NotJson, u"不是 JSON"_s);
const Error Timeout(Platform::UrlErrorDomain, Error::TimedOut, u"请求超时"_s);
const Error Wordless(Platform::UrlErrorDomain, Error::TimedOut);

void answerColumns() {
    QTest::addColumn<QJsonObject>("answer");
    QTest::addColumn<int>("show");
    QTest::addColumn<QString>("text");
}

template <typename Show>
void row(const char* name, const char* answer, Show show, const char* text) {
    QTest::newRow(name) << json(answer) << static_cast<int>(show) << QString::fromUtf8(text);
}

/// Answers that say neither "ret" 0 nor a refusal in words: nothing is shown.
template <typename Show>
void speechlessRows() {
    row("empty", "{}", Show::Nothing, "");
    row("no ret", R"({"data":{"status":0,"state":0},"msg":"ok"})", Show::Nothing, "");
    row("ret is null", R"({"ret":null,"data":{"status":0}})", Show::Nothing, "");
    row("ret is a list", R"({"ret":[0],"data":{"status":0}})", Show::Nothing, "");
    row("ret is a word", R"({"ret":"ok","data":{"status":0}})", Show::Nothing, "");
    row("ret is false", R"({"ret":false,"data":{"status":0}})", Show::Nothing, "");
    row("refused without words", R"({"ret":1,"errorcode":7})", Show::Nothing, "");
    row("words are a number", R"({"ret":1,"errorcode":7,"msg":5})", Show::Nothing, "");
}

/// Answers without a status: nobody is signed in.
template <typename Show>
void rowsWithoutStatus() {
    row("no data", R"({"ret":0})", Show::Nothing, "");
    row("data is a list", R"({"ret":0,"data":[]})", Show::Nothing, "");
    row("data is text", R"({"ret":0,"data":"0"})", Show::Nothing, "");
    row("status missing", R"({"ret":0,"data":{"state":0}})", Show::Nothing, "");
    row("status is null", R"({"ret":0,"data":{"status":null}})", Show::Nothing, "");
    row("status is an object", R"({"ret":0,"data":{"status":{}}})", Show::Nothing, "");
}

/// What "status" says is the same for login and password answers.
template <typename Show>
void statusRows() {
    row("-9", R"({"ret":0,"data":{"status":-9}})", Show::Nothing, "");
    row("-8", R"({"ret":0,"data":{"status":-8}})", Show::Key, "Deviceapproved");
    row("-7", R"({"ret":0,"data":{"status":-7}})", Show::Key, "Devicelogout");
    row("-6", R"({"ret":0,"data":{"status":-6}})", Show::Key, "Devicerejected");
    row("-5", R"({"ret":0,"data":{"status":-5}})", Show::Key, "Devicereview");
    row("-4", R"({"ret":0,"data":{"status":-4}})", Show::Key, "DevicenoRegister");
    row("-3", R"({"ret":0,"data":{"status":-3}})", Show::Key, "Faillogin");
    row("-2", R"({"ret":0,"data":{"status":-2}})", Show::Key, "NotLogin");
    row("-1", R"({"ret":0,"data":{"status":-1}})", Show::Text, "二维码已扫描");
    row("1", R"({"ret":0,"data":{"status":1}})", Show::Nothing, "");
    row("-5 as text", R"({"ret":"0","data":{"status":"-5"}})", Show::Key, "Devicereview");
    row("state says otherwise", R"({"ret":0,"data":{"status":-5,"state":0}})", Show::Key, "Devicereview");
}

} // namespace

class tst_LoginVerdict : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void login_data() {
        answerColumns();
        speechlessRows<LoginShow>();
        rowsWithoutStatus<LoginShow>();
        statusRows<LoginShow>();
        row("signed in", R"({"ret":0,"data":{"status":0}})", LoginShow::SignedIn, "");
        row("signed in, said as text", R"({"ret":"0","data":{"status":"0"}})", LoginShow::SignedIn, "");
        row("signed in, said with a fraction", R"({"ret":0.5,"data":{"status":0.9}})", LoginShow::SignedIn, "");
        row("wrong password", R"({"ret":1,"errorcode":6,"msg":"m"})", LoginShow::Key, "AccountOrPwdError");
        row("blocked user", R"({"ret":1,"errorcode":15})", LoginShow::Key, "Userblocked");
        row("expired user", R"({"ret":-1,"errorcode":16})", LoginShow::Key, "Userexpired");
        row("bound device", R"({"ret":1,"errorcode":"24"})", LoginShow::Key, "Devicebound");
        row("blocked device", R"({"ret":1,"errorcode":25})", LoginShow::Key, "Deviceblocked");
        row("new password wanted", R"({"ret":1,"errorcode":20,"msg":"改密"})", LoginShow::ResetPage, "");
        row("other code", R"({"ret":1,"errorcode":99,"msg":"服务器忙"})", LoginShow::Text, "服务器忙");
        row("no code", R"({"ret":2,"msg":"服务器忙"})", LoginShow::Text, "服务器忙");
        row("code is a list", R"({"ret":2,"errorcode":[20],"msg":"服务器忙"})", LoginShow::Text, "服务器忙");
        row("refusal with a good status", R"({"ret":1,"data":{"status":0},"msg":"m"})", LoginShow::Text, "m");
    }
    void login() {
        QFETCH(QJsonObject, answer);
        QFETCH(int, show);
        QFETCH(QString, text);
        const LoginVerdict verdict = judgeLoginAnswer(answer, NoError);
        QCOMPARE(static_cast<int>(verdict.show), show);
        QCOMPARE(verdict.text, text);
    }

    void password_data() {
        answerColumns();
        speechlessRows<PasswordShow>();
        rowsWithoutStatus<PasswordShow>();
        statusRows<PasswordShow>();
        row("changed", R"({"ret":0,"data":{"status":0}})", PasswordShow::Changed, "");
        row("wrong old password", R"({"ret":-1,"errorcode":21,"msg":"m"})", PasswordShow::Key, "OldKey");
        row("other code", R"({"ret":-1,"errorcode":7,"msg":"太简单"})", PasswordShow::Text, "太简单");
        row("21 counts with -1 only", R"({"ret":2,"errorcode":21,"msg":"m"})", PasswordShow::Text, "m");
    }
    void password() {
        QFETCH(QJsonObject, answer);
        QFETCH(int, show);
        QFETCH(QString, text);
        const PasswordVerdict verdict = judgePasswordAnswer(answer, NoError, u"OldKey"_s);
        QCOMPARE(static_cast<int>(verdict.show), show);
        QCOMPARE(verdict.text, text);
    }

    void retrieval_data() {
        answerColumns();
        speechlessRows<RetrievalShow>();
        row("mail sent", R"({"ret":0,"data":{"user_email":"l***@example.com"}})", RetrievalShow::MailSent,
            "l***@example.com");
        row("address is a number", R"({"ret":0,"data":{"user_email":7}})", RetrievalShow::MailSent, "");
        row("no data", R"({"ret":0})", RetrievalShow::MailSent, "");
        row("bad request", R"({"ret":1,"errorcode":11})", RetrievalShow::Key, "RequestParameterError");
        row("user without mailbox", R"({"ret":1,"errorcode":42})", RetrievalShow::Key, "UserNoMailbox");
        row("administrator without mailbox", R"({"ret":1,"errorcode":43})", RetrievalShow::Key, "AdminNoMailbox");
        row("mail failed", R"({"ret":-1,"errorcode":44})", RetrievalShow::Key, "BackPwdMailSendFail");
        row("other code", R"({"ret":1,"errorcode":6,"msg":"没有该用户"})", RetrievalShow::Text, "没有该用户");
    }
    void retrieval() {
        QFETCH(QJsonObject, answer);
        QFETCH(int, show);
        QFETCH(QString, text);
        const RetrievalVerdict verdict = judgeRetrievalAnswer(answer, NoError);
        QCOMPARE(static_cast<int>(verdict.show), show);
        QCOMPARE(verdict.text, text);
    }

    void errorsOfTransport() {
        const QJsonObject good = json(R"({"ret":0,"data":{"status":0,"state":0}})");
        QCOMPARE(judgeLoginAnswer(good, NotJson), (LoginVerdict{LoginShow::Key, u"NoAccount"_s}));
        QCOMPARE(judgeLoginAnswer(good, Timeout), (LoginVerdict{LoginShow::Text, u"请求超时"_s}));
        QCOMPARE(judgeLoginAnswer(good, Wordless), LoginVerdict());
        QCOMPARE(judgePasswordAnswer(good, NotJson, {}), (PasswordVerdict{PasswordShow::Text, u"不是 JSON"_s}));
        QCOMPARE(judgeRetrievalAnswer(good, Timeout), (RetrievalVerdict{RetrievalShow::Text, u"请求超时"_s}));
    }

    void ticketAndLogout() {
        QVERIFY(confirmsTicket(json(R"({"ret":0,"data":{"state":0}})")));
        for (const char* other : {"{}", R"({"ret":0})", R"({"ret":0,"data":{"status":0}})", R"({"data":{"state":0}})",
                 R"({"ret":1,"data":{"state":0}})", R"({"ret":0,"data":{"state":-5}})", R"({"ret":0,"data":[0]})"})
            QVERIFY2(!confirmsTicket(json(other)), other);
        QVERIFY(judgeLogoutAnswer(json(R"({"ret":0,"msg":"ok"})"), NoError).signedOut);
        QVERIFY(!judgeLogoutAnswer(json(R"({"msg":"ok"})"), NoError).signedOut);
        QVERIFY(!judgeLogoutAnswer(json(R"({"ret":0})"), Timeout).signedOut);
        QCOMPARE(judgeLogoutAnswer(json(R"({"ret":3,"msg":"忙"})"), NoError).message, u"忙"_s);
        QCOMPARE(judgeLogoutAnswer({}, Timeout).message, u"请求超时"_s);
    }

    void passwordEntry_data() {
        QTest::addColumn<QStringList>("entry");
        QTest::addColumn<int>("refused");
        const auto entry = [](const char* name, const QStringList& fields, PasswordCase refused) {
            QTest::newRow(name) << fields << static_cast<int>(refused);
        };
        entry("accepted", {"lin", "old1!aaa", "abcdefg1!", "abcdefg1!"}, PasswordCase::Accepted);
        entry("full-width mark", {"lin", "old", "Abcdef1！", "Abcdef1！"}, PasswordCase::Accepted);
        entry("no old password comes first", {"", "", "", ""}, PasswordCase::Empty);
        entry("empty new one breaks the rule", {"lin", "old", "", ""}, PasswordCase::Rule);
        entry("no digit", {"lin", "old", "Abcdefgh", "Abcdefgh"}, PasswordCase::Rule);
        entry("33 characters", {"lin", "old", QString(31, u'a') + "1!", QString(31, u'a') + "1!"}, PasswordCase::Rule);
        entry("differ", {"lin", "old", "abcdefg1!", "abcdefg1?"}, PasswordCase::Inconsistent);
        entry("not repeated", {"lin", "old", "abcdefg1!", ""}, PasswordCase::Inconsistent);
        entry("no user", {"", "old", "abcdefg1!", "abcdefg1!"}, PasswordCase::NoOldAccount);
        entry("same as old", {"lin", "abcdefg1!", "abcdefg1!", "abcdefg1!"}, PasswordCase::SameAsOld);
    }
    void passwordEntry() {
        QFETCH(QStringList, entry);
        QFETCH(int, refused);
        const PasswordCase found = checkPasswordEntry({entry[0], entry[1], entry[2], entry[3]});
        QCOMPARE(static_cast<int>(found), refused);
        QCOMPARE(tipKey(found).isEmpty(), found == PasswordCase::Accepted);
    }

    void whileItIsTyped_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("breaks");
        QTest::newRow("empty") << "" << false;
        QTest::newRow("letters of one case") << "abcdefg1!" << false;
        QTest::newRow("full-width mark") << u"Abcdef1！"_s << false;
        QTest::newRow("8 characters") << "abcdef1!" << false;
        QTest::newRow("7 characters") << "abcde1!" << true;
        QTest::newRow("32 characters") << QString(30, u'a') + "1!" << false;
        QTest::newRow("33 characters") << QString(31, u'a') + "1!" << true;
        QTest::newRow("no digit, no mark") << "Abcdefgh" << true;
        QTest::newRow("no letter") << "1234567!" << true;
    }
    void whileItIsTyped() {
        QFETCH(QString, text);
        QFETCH(bool, breaks);
        QCOMPARE(breaksPasswordRule(text), breaks);
    }

    void balloons() {
        QCOMPARE(passwordBalloon(u"newpassword"_s), (PasswordBalloon{u"PwdRuleTips"_s, 67.0}));
        QCOMPARE(passwordBalloon(u"confirmpassword"_s), (PasswordBalloon{u"PwdInconsistent"_s, 32.0}));
        QVERIFY(!passwordBalloon(QString()));
        QVERIFY(!passwordBalloon(u"oldpassword"_s));
    }

    void serverAddress_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("port");
        QTest::addColumn<int>("fault");
        const auto entry = [](const char* name, const char* address, const char* port, ServerAddressFault fault) {
            QTest::newRow(name) << QString::fromUtf8(address) << QString::fromUtf8(port) << static_cast<int>(fault);
        };
        using Fault = ServerAddressFault;
        entry("good", "10.0.0.1", "8080", Fault::None);
        entry("empty port", "10.0.0.1", "", Fault::None);
        entry("letter in the port", "10.0.0.1", "8a", Fault::Port);
        entry("letter within the port", "10.0.0.1", "8a0", Fault::Port);
        entry("empty address", "", "80", Fault::Address);
        entry("both wrong", "256.1.1.1", "8a", Fault::Address);
        entry("three groups", "1.2.3", "80", Fault::Address);
        entry("host name", "mav.example.com", "443", Fault::Address);
    }
    void serverAddress() {
        QFETCH(QString, address);
        QFETCH(QString, port);
        QFETCH(int, fault);
        QCOMPARE(static_cast<int>(checkServerAddress(address, port)), fault);
    }

    void networkLooks() {
        const NetworkLook good{u"Mav-icon"_s, u"MavSuccess"_s};
        const NetworkLook bad{u"Mav-gray"_s, u"ReconnectServer"_s};
        QCOMPARE(networkLook(1), std::optional(good));
        QCOMPARE(networkLook(2), std::optional(good));
        QCOMPARE(networkLook(0), std::optional(bad));
        QCOMPARE(networkLook(-1), std::optional(bad));
        QCOMPARE(networkLook(3), std::nullopt);
        QCOMPARE(networkLook(-2), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_LoginVerdict)
#include "tst_LoginVerdict.moc"
