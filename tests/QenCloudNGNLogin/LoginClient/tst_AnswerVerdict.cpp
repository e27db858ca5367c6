#include "AnswerVerdict.h"
#include "MavResources.h"
#include "PasswordRules.h"
#include "StringTable.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;
using Show = AnswerVerdict::Show;

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
    QTest::addColumn<QString>("log");
}

void row(const char* name, const char* answer, Show show, const char* text, const char* log = "") {
    QTest::newRow(name) << json(answer) << static_cast<int>(show) << QString::fromUtf8(text) << QString::fromUtf8(log);
}

/// Answers without a result cannot be used, and refusals without words show nothing.
void speechlessRows() {
    row("empty", "{}", Show::Key, "AnswerUnusable");
    row("no ret", R"({"data":{"status":0,"state":0},"msg":"ok"})", Show::Key, "AnswerUnusable");
    row("ret is null", R"({"ret":null,"data":{"status":0}})", Show::Key, "AnswerUnusable");
    row("ret is a list", R"({"ret":[0],"data":{"status":0}})", Show::Key, "AnswerUnusable");
    row("ret is a word", R"({"ret":"ok","data":{"status":0}})", Show::Key, "AnswerUnusable");
    row("ret is false", R"({"ret":false,"data":{"status":0}})", Show::Key, "AnswerUnusable");
    row("refused without words", R"({"ret":1,"errorcode":7})", Show::Nothing, "");
    row("words are a number", R"({"ret":1,"errorcode":7,"msg":5})", Show::Nothing, "");
}

/// Answers without a status: nobody is signed in.
void rowsWithoutStatus() {
    row("no data", R"({"ret":0})", Show::Nothing, "");
    row("data is a list", R"({"ret":0,"data":[]})", Show::Nothing, "");
    row("data is text", R"({"ret":0,"data":"0"})", Show::Nothing, "");
    row("status missing", R"({"ret":0,"data":{"state":0}})", Show::Nothing, "");
    row("status is null", R"({"ret":0,"data":{"status":null}})", Show::Nothing, "");
    row("status is an object", R"({"ret":0,"data":{"status":{}}})", Show::Nothing, "");
}

/// What "status" says is the same for login and password answers.
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

class tst_AnswerVerdict : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void loginPage_data() {
        answerColumns();
        speechlessRows();
        rowsWithoutStatus();
        statusRows();
        row("signed in", R"({"ret":0,"data":{"status":0}})", Show::Done, "");
        row("signed in, said as text", R"({"ret":"0","data":{"status":"0"}})", Show::Done, "");
        row("signed in, said with a fraction", R"({"ret":0.5,"data":{"status":0.9}})", Show::Done, "");
        row("wrong password", R"({"ret":1,"errorcode":6,"msg":"m"})", Show::Key, "AccountOrPwdError");
        row("blocked user", R"({"ret":1,"errorcode":15})", Show::Key, "Userblocked");
        row("expired user", R"({"ret":-1,"errorcode":16})", Show::Key, "Userexpired");
        row("bound device", R"({"ret":1,"errorcode":"24"})", Show::Key, "Devicebound");
        row("blocked device", R"({"ret":1,"errorcode":25})", Show::Key, "Deviceblocked");
        row("new password wanted", R"({"ret":1,"errorcode":20,"msg":"改密"})", Show::ResetPage, "");
        row("other code", R"({"ret":1,"errorcode":99,"msg":"服务器忙"})", Show::Text, "服务器忙");
        row("no code", R"({"ret":2,"msg":"服务器忙"})", Show::Text, "服务器忙");
        row("code is a list", R"({"ret":2,"errorcode":[20],"msg":"服务器忙"})", Show::Text, "服务器忙");
        row("refusal with a good status", R"({"ret":1,"data":{"status":0},"msg":"m"})", Show::Text, "m");
    }
    void loginPage() { compare(AnswerPlace::LoginPage); }

    void password_data() {
        answerColumns();
        speechlessRows();
        rowsWithoutStatus();
        statusRows();
        row("changed", R"({"ret":0,"data":{"status":0}})", Show::Done, "");
        row("wrong old password", R"({"ret":-1,"errorcode":21,"msg":"m"})", Show::Key, "OldPwdError");
        row("other code", R"({"ret":-1,"errorcode":7,"msg":"太简单"})", Show::Text, "太简单");
        row("21 counts with -1 only", R"({"ret":2,"errorcode":21,"msg":"m"})", Show::Text, "m");
    }
    void password() { compare(AnswerPlace::PasswordSheet); }

    void retrieval_data() {
        answerColumns();
        speechlessRows();
        row("mail sent", R"({"ret":0,"data":{"user_email":"l***@example.com"}})", Show::Done, "");
        row("no data", R"({"ret":0})", Show::Done, "");
        row("bad request", R"({"ret":1,"errorcode":11})", Show::Key, "RequestParameterError");
        row("user without mailbox", R"({"ret":1,"errorcode":42})", Show::Key, "UserNoMailbox");
        row("administrator without mailbox", R"({"ret":1,"errorcode":43})", Show::Key, "AdminNoMailbox");
        row("mail failed", R"({"ret":-1,"errorcode":44})", Show::Key, "BackPwdMailSendFail");
        row("other code", R"({"ret":1,"errorcode":6,"msg":"没有该用户"})", Show::Text, "没有该用户");
    }
    void retrieval() { compare(AnswerPlace::RetrievalPage); }

    void loginWindow_data() {
        answerColumns();
        row("empty", "{}", Show::Key, "AnswerUnusable", " ret:(null) msg:(null)");
        row("no ret", R"({"data":{"state":0},"msg":"m"})", Show::Key, "AnswerUnusable", " ret:(null) msg:m");
        row("no ret, 20", R"({"errorcode":20,"msg":"m"})", Show::Key, "AnswerUnusable", " ret:(null) msg:m");
        row("refused", R"({"ret":1,"errorcode":15,"msg":"已锁定"})", Show::Text, "已锁定", " ret:1 msg:已锁定");
        row("refused, words are a number", R"({"ret":2,"msg":5})", Show::Nothing, "", " ret:2 msg:5");
        row("new password", R"({"ret":1,"errorcode":20,"msg":"m"})", Show::ResetPage, "", "");
        row("new password, as text", R"({"ret":"-1","errorcode":"20"})", Show::ResetPage, "", "");
        row("20 with ret 0", R"({"ret":0,"errorcode":20,"data":{"state":-5}})", Show::Key, "Devicereview",
            " state:-5 msg:(null)");
        row("approved", R"({"ret":0,"data":{"state":-8},"msg":"m"})", Show::Key, "Deviceapproved", " state:-8 msg:m");
        row("logged out", R"({"ret":0,"data":{"state":-7}})", Show::Key, "Devicelogout", " state:-7 msg:(null)");
        row("not signed in", R"({"ret":0,"data":{"state":-2}})", Show::Key, "NotLogin", " state:-2 msg:(null)");
        row("scanned", R"({"ret":0,"data":{"state":-1}})", Show::Text, "二维码已扫描", " state:-1 msg:(null)");
        row("other state", R"({"ret":0,"data":{"state":-9}})", Show::Nothing, "", " state:-9 msg:(null)");
        row("no data", R"({"ret":0})", Show::Nothing, "", " state:(null) msg:(null)");
        row("data is a list", R"({"ret":0,"data":[0]})", Show::Nothing, "", " state:(null) msg:(null)");
        row("state is null", R"({"ret":0,"data":{"state":null,"status":0}})", Show::Nothing, "",
            " state:(null) msg:(null)");
        row("signed in", R"({"ret":0,"data":{"state":0,"status":-5},"msg":"ok"})", Show::Done, "", " state:0 msg:ok");
    }
    void loginWindow() { compare(AnswerPlace::LoginWindow); }

    void otherPlacesAndTransport() {
        const QJsonObject good = json(R"({"ret":0,"data":{"state":0,"status":0},"msg":"ok"})");
        const QString head = u"[QenDetailWindow] QenCloud "_s;
        const auto judge = [](const char* answer, const AnswerPlace& place) {
            return judgeAnswer(json(answer), NoError, place);
        };
        QCOMPARE(judgeAnswer(good, Timeout, AnswerPlace::LoginWindow),
            (AnswerVerdict{Show::Text, u"请求超时"_s, head + u"Account login fail msg:请求超时"_s}));
        QCOMPARE(judgeAnswer(good, Timeout, AnswerPlace::ResetInLoginWindow),
            (AnswerVerdict{Show::Text, u"请求超时"_s, head + u"resetpassword fail msg:请求超时"_s}));
        QCOMPARE(judge(R"({"ret":-1,"errorcode":20,"msg":"m"})", AnswerPlace::ResetInLoginWindow),
            (AnswerVerdict{Show::Text, u"m"_s, head + u"resetpassword ret:-1 msg:m"_s}));
        QCOMPARE(judgeAnswer(good, NoError, AnswerPlace::ResetInLoginWindow),
            (AnswerVerdict{Show::Done, {}, head + u"resetpassword state:0 msg:ok"_s}));
        QCOMPARE(judgeAnswer(good, NoError, AnswerPlace::LogoutInLoginWindow), (AnswerVerdict{Show::Done, {}, {}}));
        QCOMPARE(judgeAnswer(good, NoError, AnswerPlace::LogoutMenu),
            (AnswerVerdict{Show::Done, {}, head + u"logout ret:0 msg:ok"_s}));
        for (const AnswerPlace& place : {AnswerPlace::LogoutInLoginWindow, AnswerPlace::LogoutMenu}) {
            QCOMPARE(judge(R"({"ret":3,"msg":"忙"})", place),
                (AnswerVerdict{Show::Text, u"忙"_s, head + u"logout ret:3 msg:忙"_s}));
            QCOMPARE(judgeAnswer({}, Timeout, place).log, head + u"logout fail msg:请求超时"_s);
        }
        QCOMPARE(
            judge(R"({"ret":-1,"errorcode":21})", AnswerPlace::ResetPage).text, u"ModifyPwdFailedForOldPwdError"_s);
        QCOMPARE(judgeAnswer(good, NotJson, AnswerPlace::LoginPage), (AnswerVerdict{Show::Key, u"NoAccount"_s, {}}));
        QCOMPARE(judgeAnswer(good, Wordless, AnswerPlace::LoginPage), AnswerVerdict());
        QCOMPARE(
            judgeAnswer(good, NotJson, AnswerPlace::PasswordSheet), (AnswerVerdict{Show::Text, u"不是 JSON"_s, {}}));
    }

    void grantsAreWholeOrNone_data() {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("claims");
        QTest::addColumn<QString>("userid");
        const auto grant = [](const char* name, const char* answer, bool claims, const char* userid) {
            QTest::newRow(name) << json(answer) << claims << QString::fromUtf8(userid);
        };
        grant("whole", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":"T"}})", true, "lin");
        grant("user id is a number", R"({"ret":0,"data":{"state":0,"userid":1007,"ticket":"T"}})", true, "1007");
        grant("large number", R"({"ret":0,"data":{"state":0,"userid":9007199254740993,"ticket":"T"}})", true,
            "9007199254740993");
        grant("user id is a fraction", R"({"ret":0,"data":{"state":0,"userid":3.9,"ticket":"T"}})", true, "");
        grant("user id is too large", R"({"ret":0,"data":{"state":0,"userid":1e300,"ticket":"T"}})", true, "");
        grant("ticket is a number", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":7}})", true, "");
        grant("no ticket", R"({"ret":0,"data":{"state":0,"userid":"lin"}})", false, "");
        grant("ticket is null", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":null}})", false, "");
        grant("no user id", R"({"ret":0,"data":{"state":0,"ticket":"T"}})", true, "");
        grant("user id is a list", R"({"ret":0,"data":{"state":0,"userid":["lin"],"ticket":"T"}})", true, "");
        grant("empty ticket", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":""}})", true, "");
        grant("refused, whatever data says",
            R"({"ret":-1,"errorcode":20,"data":{"state":0,"userid":"lin","ticket":"T"}})", false, "");
        grant("no ret", R"({"data":{"state":0,"userid":"lin","ticket":"T"}})", false, "");
        grant("another state", R"({"ret":0,"data":{"state":-5,"userid":"lin","ticket":"T"}})", false, "");
    }
    void grantsAreWholeOrNone() {
        QFETCH(QJsonObject, answer);
        QFETCH(bool, claims);
        QFETCH(QString, userid);
        QCOMPARE(ServerAnswer::grantsSession(answer), claims);
        const auto granted = ServerAnswer::grantedSession(answer);
        QCOMPARE(granted.has_value(), !userid.isEmpty());
        if (granted)
            QCOMPARE(granted->userid, userid);
    }

    void states_data() {
        QTest::addColumn<qint64>("state");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("hint");
        const auto state = [](qint64 value, const char* text, bool hint = false) {
            QTest::addRow("%lld", static_cast<long long>(value)) << value << QString::fromUtf8(text) << hint;
        };
        state(-9, "其它异常");
        state(-8, "设备审核通过");
        state(-7, "设备已注销");
        state(-6, "设备审核拒绝");
        state(-5, "设备待审核", true);
        state(-4, "其它异常");
        state(-3, "其它异常");
        state(-2, "其它异常");
        state(-1, "已扫码,待确定...", true);
        state(3, "其它异常");
    }
    void states() {
        QFETCH(qint64, state);
        QFETCH(QString, text);
        QFETCH(bool, hint);
        QCOMPARE(qrStateLook(state), (QRStateLook{text, hint, false}));
        QCOMPARE(qrStateLook(0), (QRStateLook{{}, false, true}));
    }

    void qrPoll_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<qint64>("forwarded");
        QTest::addColumn<QString>("log");
        QTest::addColumn<int>("logType");
        constexpr qint64 None = 99;
        for (const qint64 state : {-9, -8, -6, -5, -1, 0, 1, 3})
            QTest::addRow("state %lld", static_cast<long long>(state))
                << uR"({"ret":0,"msg":"m","data":{"state":%1}})"_s.arg(state) << state << u"state:%1 msg:m"_s.arg(state)
                << 32;
        for (const qint64 state : {-7, -4, -3, -2})
            QTest::addRow("state %lld", static_cast<long long>(state))
                << uR"({"ret":0,"msg":"m","data":{"state":%1}})"_s.arg(state) << None << u"state:%1 msg:m"_s.arg(state)
                << 32;
        QTest::newRow("no state") << R"({"ret":0,"data":{}})" << None << "state:(null) msg:(null)" << 32;
        QTest::newRow("refused") << R"({"ret":-1,"msg":"m","data":{"state":0}})" << None << "ret:-1 msg:m" << 1;
        QTest::newRow("no ret") << R"({"data":{"state":0}})" << None << "ret:(null) msg:(null)" << 1;
    }
    void qrPoll() {
        QFETCH(QString, answer);
        QFETCH(qint64, forwarded);
        QFETCH(QString, log);
        QFETCH(int, logType);
        const QRPollVerdict verdict = judgeQRPoll(json(answer.toUtf8().constData()), NoError);
        QCOMPARE(verdict.forwarded.value_or(99), forwarded);
        QCOMPARE(verdict.log, u"[QenDetailWindow] QenCloud Check QRLogin "_s + log);
        QCOMPARE(verdict.logType, logType);
    }

    void aPollThatCannotBeUsedIsTold() {
        initMavResources();
        QVERIFY(installStringTable());
        const QString unusable = localizedString(u"AnswerUnusable"_s);
        QVERIFY(!unusable.isEmpty());
        QCOMPARE(judgeQRPoll(json(R"({"data":{"state":0}})"), NoError).tells, unusable);
        QCOMPARE(judgeQRPoll(json(R"({"ret":-1})"), NoError).tells, QString());
        QCOMPARE(judgeQRPoll({}, ServerAnswer::unusable()).tells, unusable);
    }

    void pollLines() {
        QCOMPARE(judgeQRPoll({}, Timeout),
            (QRPollVerdict{std::nullopt, {}, u"[QenDetailWindow] QenCloud Check QRLogin fail msg:请求超时"_s, 1}));
        QCOMPARE(ticketPollLine({}, Timeout), u"[QenDetailWindow] QenCloud Check ticket error:请求超时"_s);
        QCOMPARE(ticketPollLine(json(R"({"ret":0,"msg":"ok"})"), NoError),
            u"[QenDetailWindow] QenCloud Check ticket response msg:ok"_s);
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

private:
    static void compare(const AnswerPlace& place) {
        QFETCH(QJsonObject, answer);
        QFETCH(int, show);
        QFETCH(QString, text);
        QFETCH(QString, log);
        const AnswerVerdict verdict = judgeAnswer(answer, NoError, place);
        QCOMPARE(static_cast<int>(verdict.show), show);
        QCOMPARE(verdict.text, text);
        QCOMPARE(verdict.log, log.isEmpty() ? QString() : u"[QenDetailWindow] QenCloud Account login"_s + log);
    }
};

QTEST_GUILESS_MAIN(tst_AnswerVerdict)
#include "tst_AnswerVerdict.moc"
